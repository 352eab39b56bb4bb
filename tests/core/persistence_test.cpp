#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "sigflow/core/Persistence.h"
#include "support/message.h"
#include "test_components.h"

using namespace sigflow;
using namespace sigflow::test;

namespace {

// Form1 { Gen1 -> Gen2 (a reference forward), Gen2 -> Gen1, Panel { Deep -> Gen2 } }
struct TTree {
  TBox Root{nullptr};
  TGen* Gen1;
  TGenPlus* Gen2;
  TBox* Panel;
  TGen* Deep;
  TTree() {
    RegisterTestClasses();
    Root.SetName("Form1");
    Gen1 = new TGen(&Root);
    Gen1->SetName("Gen1");
    Gen2 = new TGenPlus(&Root);
    Gen2->SetName("Gen2");
    Panel = new TBox(&Root);
    Panel->SetName("Panel");
    Deep = new TGen(Panel);
    Deep->SetName("Deep");
    Gen1->SetInput(Gen2);
    Gen2->SetInput(Gen1);
    Deep->SetInput(Gen2);
    Gen1->SetAmplitude(0.1);
    Gen1->SetShape(shSquare);
    Gen1->SetOptions({goPhase});
    Gen1->SetTitle("line1\nline2 \"quoted\" \xE2\x82\xAC");
    Gen1->SetSeed(42);
    for (int i = 0; i < 256; ++i) Gen1->Data.push_back(static_cast<std::uint8_t>(255 - i));
    auto* band = static_cast<TBandItem*>(Gen1->Bands()->Add());
    band->SetLow(-1e300);
    Gen1->Bands()->Add();
    Gen1->Notes()->SetText("a\nb");
    Gen2->SetExtra(1.0 / 3.0);
    Gen2->SetEnabled(false);
    Deep->SetOrder(-2147483647 - 1);
    Deep->Data = {0, 1};
  }
};

std::string TempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("sigflow_tree_" + std::to_string(::getpid()) + "_" + name)).string();
}

void ExpectReadError(TComponent& root, const std::string& doc, const std::string& message) {
  const std::string before = SaveComponentTreeToString(root);
  const int count = root.ComponentCount();
  EXPECT_EQ(MessageOf<EReadError>([&] { LoadComponentTreeFromString(root, doc); }), message);
  EXPECT_EQ(root.ComponentCount(), count);
  EXPECT_EQ(SaveComponentTreeToString(root), before) << "the tree changed";
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

}  // namespace

TEST(ComponentTree, SmallTreeByteImage) {
  RegisterTestClasses();
  TBox root(nullptr);
  root.SetName("Form1");
  auto* a = new TGen(&root);
  a->SetName("A");
  auto* b = new TGen(&root);
  b->SetName("B");
  b->SetInput(a);
  b->SetShape(shTriangle);
  b->SetSeed(7);
  a->SetSeed(0);
  a->Data = {0xFB, 0xFF};
  a->SetOptions({goLog, goClip});
  a->SetAmplitude(std::numeric_limits<double>::infinity());
  const std::string expected = R"({
  "class": "TBox",
  "name": "Form1",
  "children": [
    {
      "class": "TGen",
      "name": "A",
      "properties": {
        "Amplitude": "Infinity",
        "Seed": 0,
        "Options": [
          "goLog",
          "goClip"
        ]
      },
      "binary": {
        "SampleData": "+/8="
      }
    },
    {
      "class": "TGen",
      "name": "B",
      "properties": {
        "Seed": 7,
        "Shape": "shTriangle",
        "Input": "A"
      }
    }
  ]
}
)";
  EXPECT_EQ(SaveComponentTreeToString(root), expected);
}

TEST(ComponentTree, RoundTripWithCrossReferencesAndBinaryData) {
  TTree tree;
  const std::string first = SaveComponentTreeToString(tree.Root);

  TBox loaded(nullptr);
  LoadComponentTreeFromString(loaded, first);
  EXPECT_EQ(loaded.Name(), "Form1");
  ASSERT_EQ(loaded.ComponentCount(), 3);
  auto* gen1 = dynamic_cast<TGen*>(loaded.FindComponent("Gen1"));
  auto* gen2 = dynamic_cast<TGenPlus*>(loaded.FindComponent("Gen2"));
  auto* panel = dynamic_cast<TBox*>(loaded.FindComponent("Panel"));
  ASSERT_TRUE(gen1 && gen2 && panel);
  auto* deep = dynamic_cast<TGen*>(panel->FindComponent("Deep"));
  ASSERT_TRUE(deep);
  EXPECT_EQ(gen1->Input(), gen2);
  EXPECT_EQ(gen2->Input(), gen1);
  EXPECT_EQ(deep->Input(), gen2);
  // Values are compared through the saved document below; a few checked directly.
  EXPECT_EQ(gen1->Data, tree.Gen1->Data);
  EXPECT_EQ(gen1->Title(), tree.Gen1->Title());
  EXPECT_EQ(deep->Order(), INT32_MIN);
  // Every component read was told once, and setters ran while csLoading was set.
  EXPECT_EQ(gen1->LoadedCalls, 1);
  EXPECT_EQ(deep->LoadedCalls, 1);
  EXPECT_TRUE(gen1->LoadingSeenInSetter);
  EXPECT_FALSE(gen1->ComponentState().Contains(csLoading));

  const std::string second = SaveComponentTreeToString(loaded);
  EXPECT_EQ(second, first);
  // Loading into the same tree again reuses the components by name.
  LoadComponentTreeFromString(loaded, second);
  EXPECT_EQ(loaded.ComponentCount(), 3);
  EXPECT_EQ(loaded.FindComponent("Gen1"), gen1);
  EXPECT_EQ(SaveComponentTreeToString(loaded), first);

  // The references of the loaded tree still clear when their target goes.
  delete gen2;
  EXPECT_EQ(gen1->Input(), nullptr);
  EXPECT_EQ(deep->Input(), nullptr);
}

TEST(ComponentTree, ReferenceToTheRootUnderItsNewName) {
  RegisterTestClasses();
  TBox root(nullptr);
  root.SetName("Old");
  LoadComponentTreeFromString(root, R"({"class": "TBox", "name": "New", "children": [
      {"class": "TGen", "name": "G", "properties": {"Input": "Inner"}},
      {"class": "TGen", "name": "Inner"}]})");
  EXPECT_EQ(root.Name(), "New");
  auto* g = dynamic_cast<TGen*>(root.FindComponent("G"));
  ASSERT_NE(g, nullptr);
  EXPECT_EQ(g->Input(), root.FindComponent("Inner"));
  // The root is a TBox, not a TGen: refused, and the root keeps its name.
  ExpectReadError(root, R"({"class": "TBox", "name": "Other", "children": [
      {"class": "TGen", "name": "G", "properties": {"Input": "Other"}}]})",
                  "New.G.Input: \"Other\" is not a TGen (line 2)");
  EXPECT_EQ(root.Name(), "New");
}

TEST(ComponentTree, SubComponentsAreLeftToTheirOwner) {
  // A component whose constructor makes an owned helper: loading must not make a second one.
  struct TWithHelper : TGen {
    explicit TWithHelper(TComponent* o) : TGen(o) {
      auto* helper = new TGen(this);
      helper->SetSubComponent(true);
    }
    std::string ClassName() const override { return "TWithHelper"; }
  };
  RegisterTestClasses();
  RegisterComponentClass<TWithHelper>("TWithHelper");
  TBox root(nullptr);
  auto* w = new TWithHelper(&root);
  w->SetName("W");
  const std::string doc = SaveComponentTreeToString(root);
  EXPECT_EQ(doc.find("\"children\": [\n        {"), std::string::npos) << doc;
  TBox back(nullptr);
  LoadComponentTreeFromString(back, doc);
  ASSERT_EQ(back.ComponentCount(), 1);
  EXPECT_EQ(back.Components(0)->ComponentCount(), 1);
  EXPECT_EQ(SaveComponentTreeToString(back), doc);
}

TEST(ComponentTree, StreamAndFileRoundTrip) {
  TTree tree;
  TMemoryStream stream;
  SaveComponentTree(tree.Root, stream);
  stream.SetPosition(0);
  TBox fromStream(nullptr);
  LoadComponentTree(fromStream, stream);
  EXPECT_EQ(SaveComponentTreeToString(fromStream), SaveComponentTreeToString(tree.Root));

  const std::string path = TempPath("tree.json");
  SaveComponentTreeToFile(tree.Root, path);
  TBox fromFile(nullptr);
  LoadComponentTreeFromFile(fromFile, path);
  EXPECT_EQ(SaveComponentTreeToString(fromFile), SaveComponentTreeToString(tree.Root));
  std::filesystem::remove(path);
}

TEST(ComponentTree, BadDocumentsLeaveTheTreeAsItWas) {
  TTree tree;
  const std::string doc = SaveComponentTreeToString(tree.Root);
  // A new component first, so that a rollback has something to undo. Line numbers count
  // from the document's first line; the inserted component sits on line 5.
  const std::string withNew =
      Replace(doc, "\"children\": [\n", "\"children\": [\n{\"class\": \"TGen\", \"name\": \"Gen9\"},\n");

  ExpectReadError(tree.Root, doc.substr(0, 40), "Invalid JSON at line 4, column 1");
  ExpectReadError(tree.Root, "{\"class\": \"TBox\",, }", "Invalid JSON at line 1, column 18");
  ExpectReadError(tree.Root, "[]", "Form1: expected an object (line 1)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Seed\": 42", "\"Seed\": 42, \"Amplitude\": 1e999"),
                  "Invalid JSON: number out of range");
  ExpectReadError(tree.Root, Replace(doc, "\"class\": \"TBox\"", "\"class\": \"TGen\""),
                  "Form1: class \"TGen\" does not match TBox (line 2)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Input\": \"Gen1\"", "\"Input\": \"Nope\""),
                  "Form1.Gen2.Input: unknown component \"Nope\" (line 44)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Input\": \"Gen1\"", "\"Input\": \"Panel\""),
                  "Form1.Gen2.Input: \"Panel\" is not a TGen (line 44)");
  ExpectReadError(tree.Root, Replace(withNew, "\"class\": \"TBox\",\n      \"name\": \"Panel\"", "\"class\": \"TNope\",\n      \"name\": \"Panel9\""),
                  "Form1.Panel9: unknown class \"TNope\" (line 49)");
  ExpectReadError(tree.Root, Replace(withNew, "\"class\": \"TBox\",\n      \"name\": \"Panel\"", "\"class\": \"TGen\",\n      \"name\": \"Panel\""),
                  "Form1.Panel: class \"TGen\" does not match the existing TBox (line 49)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Seed\": 42", "\"Seed\": 42, \"Bogus\": 1"), "Form1.Gen1.Bogus: unknown property (line 12)");
  ExpectReadError(tree.Root, Replace(withNew, "\"shSquare\"", "\"shCircle\""),
                  "Form1.Gen1.Shape: \"shCircle\" is not a value of TShape (line 13)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Seed\": 42", "\"Seed\": 4.2"), "Form1.Gen1.Seed: expected an integer (line 12)");
  ExpectReadError(tree.Root, Replace(withNew, "\"SampleData\": \"AAE=\"", "\"SampleData\": \"AAE\""),
                  "Form1.Panel.Deep.SampleData: invalid base64 data (line 61)");
  ExpectReadError(tree.Root, Replace(withNew, "\"SampleData\": \"AAE=\"", "\"SampleData\": \"AA*=\""),
                  "Form1.Panel.Deep.SampleData: invalid base64 data (line 61)");
  ExpectReadError(tree.Root, Replace(withNew, "\"SampleData\": \"AAE=\"", "\"Other\": \"AAE=\""),
                  "Form1.Panel.Deep.Other: unknown data (line 61)");
  ExpectReadError(tree.Root, Replace(withNew, "\"name\": \"Gen2\"", "\"name\": \"gen1\""),
                  "Form1: A component named gen1 already exists (line 40)");
  ExpectReadError(tree.Root, Replace(withNew, "\"name\": \"Gen2\"", "\"name\": \"2x\""),
                  "Form1.children[2]: '2x' is not a valid component name (line 40)");
  ExpectReadError(tree.Root, Replace(withNew, "\"name\": \"Deep\"", "\"name\": \"Deep\", \"extra\": 0"),
                  "Form1.Panel.Deep: unknown key \"extra\" (line 54)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Seed\": 42", "\"Seed\": 42, \"Count\": 3"),
                  "Form1.Gen1.Count: property is read-only (line 12)");
  ExpectReadError(tree.Root, Replace(withNew, "\"Low\": -1e+300", "\"Low\": null"), "Form1.Gen1.Bands[0].Low: expected a number (line 22)");
}
