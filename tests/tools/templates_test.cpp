#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <tuple>

#include "support/message.h"
#include "template_support.h"

namespace sigflow::test {
namespace {

using Ints = std::vector<std::int32_t>;
using Shown = std::tuple<int, std::string, Ints>;
const Shown kNothing{-1, "", {}};

struct Manager {
  TFilterHost host;
  TIntList work;
  TStreamTemplates t;
  Manager() {
    t.SetOwner(&host);
    t.SetTemplate(&work);
  }
  Bytes Entry(int i) { return StreamBytes(*t.Templates()->Streams(i)); }
  // Selected index and name, and the working copy's values.
  Shown Showing() const { return {t.TemplateIndex(), t.TemplateName(), work.Values()}; }
  Bytes Save() {
    TMemoryStream s;
    t.SaveToStream(s);
    return StreamBytes(s);
  }
  void Load(const Bytes& b) {
    TMemoryStream s;
    Fill(s, b);
    t.LoadFromStream(s);
  }
};

// Three templates, the middle one selected, the last one empty.
Bytes ThreeTemplateImage() {
  TImage img;
  img.Short("TFilterHost").I32(1).I32(14).Str("Low\r\nMid\r\nHi\r\n");
  img.I32(12).List({7, 8});
  img.I32(8).List({-3});
  img.I32(0);
  return img.b;
}

TEST(StreamTemplatesFormat, EmptyStoreIsTagMinusOneAndZeroLength) {
  Manager m;
  const Bytes expected = TImage().Short("TFilterHost").I32(-1).I32(0).b;
  EXPECT_EQ(m.Save(), expected);
  Manager other;
  other.t.AddTemplate("stale");
  other.Load(expected);
  EXPECT_EQ(other.t.Templates()->Count(), 0);
  EXPECT_EQ(other.t.TemplateIndex(), -1);
  EXPECT_EQ(other.t.TemplateName(), "");
  // Without an owner the tag is the manager's own class name.
  TStreamTemplates t;
  TMemoryStream s;
  t.SaveToStream(s);
  EXPECT_EQ(StreamBytes(s), TImage().Short("TStreamTemplates").I32(-1).I32(0).b);
}

TEST(StreamTemplatesFormat, BuiltStoreMatchesHandImageAndRoundTrips) {
  Manager m;
  m.t.AddTemplate("Low");
  m.work.Append(7);
  m.work.Append(8);
  m.t.AddTemplate("Mid");
  m.work.Append(-3);
  m.t.Templates()->Add("Hi");  // stays empty: size 0
  EXPECT_EQ(m.Save(), ThreeTemplateImage());

  Manager n;
  n.Load(ThreeTemplateImage());
  EXPECT_EQ(n.Showing(), Shown(1, "Mid", {-3}));
  EXPECT_EQ(n.t.Templates()->Streams(2)->Size(), 0);
  EXPECT_EQ(n.Save(), ThreeTemplateImage());
}

TEST(StreamTemplatesFormat, TagMismatchNamesBothAndKeepsStore) {
  Manager m;
  m.t.AddTemplate("A");
  m.work.Append(5);  // unsaved edit: saved back by the load's first step
  EXPECT_EQ(MessageOf<EReadError>([&] { m.Load(TImage().Short("TOtherHost").I32(-1).I32(0).b); }),
            "Data format type missmatch: TOtherHost <> TStreamTemplates");
  ASSERT_EQ(m.t.Templates()->Count(), 1);
  EXPECT_EQ(m.Entry(0), TImage().List({5}).b);
  EXPECT_EQ(m.Showing(), kNothing);
  EXPECT_THROW(m.Load(TImage().Short("TFILTERHOST").I32(-1).I32(0).b), EReadError);  // case matters
}

TEST(StreamTemplatesFormat, OversizedLengthsFailBeforeAllocating) {
  const Bytes head = TImage().Short("TFilterHost").I32(-1).b;
  struct Case {
    Bytes tail;
    const char* message;
  };
  const Case cases[] = {
      {TImage().I32(0x7fffffff).Str("A\r\n").b, "Names length 2147483647 exceeds the 3 bytes left in the stream"},
      {TImage().I32(INT32_MIN).b, "Invalid Names length: -2147483648"},
      {TImage().I32(3).Str("A\r\n").I32(0x7fffffff).I32(1).b,
       "Size of template 0 2147483647 exceeds the 4 bytes left in the stream"},
      {TImage().I32(3).Str("A\r\n").I32(INT32_MIN).b, "Invalid Size of template 0: -2147483648"},
  };
  for (const auto& c : cases) {
    Bytes image = head;
    image.insert(image.end(), c.tail.begin(), c.tail.end());
    Manager m;
    EXPECT_EQ(MessageOf<EReadError>([&] { m.Load(image); }), c.message);
    EXPECT_EQ(m.t.TemplateIndex(), -1);
  }
}

TEST(StreamTemplatesFormat, ShortStreamKeepsEntriesReadSoFar) {
  Manager m;
  TImage img;
  img.Short("TFilterHost").I32(0).I32(6).Str("A\r\nB\r\n").I32(8).List({9}).I32(8).I32(1);
  EXPECT_THROW(m.Load(img.b), EReadError);
  ASSERT_EQ(m.t.Templates()->Count(), 2);
  EXPECT_EQ(m.Entry(0), TImage().List({9}).b);
  EXPECT_EQ(m.t.TemplateIndex(), -1);
}

TEST(StreamTemplatesFormat, IndexOutsideStoreOrOnDamagedTemplateSelectsNothing) {
  Manager m;
  Bytes image = ThreeTemplateImage();
  image[12] = 3;  // the selected index, just past the tag
  m.Load(image);
  EXPECT_EQ(m.t.TemplateIndex(), -1);
  EXPECT_EQ(m.t.Templates()->Count(), 3);
  image[12] = 2;  // the empty template: the int list cannot read it
  EXPECT_THROW(m.Load(image), EReadError);
  EXPECT_EQ(m.Showing(), kNothing);
  EXPECT_EQ(m.t.Templates()->Streams(2)->Size(), 0);
}

TEST(StreamTemplatesFiles, SaveLoadAndMissingFile) {
  const auto dir = std::filesystem::temp_directory_path() / ("sigflow_tpl_" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  const std::string file = (dir / "bands.tpl").string();
  {
    Manager m;
    m.Load(ThreeTemplateImage());
    std::FILE* f = std::fopen(file.c_str(), "wb");  // longer old content must be replaced
    std::fputs(std::string(500, 'x').c_str(), f);
    std::fclose(f);
    m.t.SaveToFile(file);
  }
  EXPECT_EQ(std::filesystem::file_size(file), ThreeTemplateImage().size());
  Manager n;
  n.t.LoadFromFile(file);
  EXPECT_EQ(n.Save(), ThreeTemplateImage());

  n.t.LoadFromFile((dir / "missing.tpl").string());
  EXPECT_EQ(n.t.Templates()->Count(), 3);
  EXPECT_EQ(n.Showing(), Shown(1, "Mid", {-3}));
  std::filesystem::remove_all(dir);
}

TEST(StreamTemplatesSelection, PresentIndexDoesNotReloadConsolidateDoes) {
  Manager m;
  m.Load(ThreeTemplateImage());
  const int loads = m.work.Loads;
  m.work.Append(99);
  m.t.SetTemplateIndex(1);
  EXPECT_EQ(m.work.Loads, loads);
  EXPECT_EQ(m.work.Values(), (Ints{-3, 99}));
  EXPECT_EQ(m.Entry(1), TImage().List({-3}).b);

  m.t.Consolidate();
  EXPECT_EQ(m.work.Loads, loads + 1);
  EXPECT_EQ(m.Entry(1), TImage().List({-3, 99}).b);
  EXPECT_EQ(m.Showing(), Shown(1, "Mid", {-3, 99}));
}

TEST(StreamTemplatesSelection, SwitchingSavesBackThenLoads) {
  Manager m;
  m.Load(ThreeTemplateImage());
  m.work.Append(4);
  m.t.SetTemplateIndex(0);
  EXPECT_EQ(m.Entry(1), TImage().List({-3, 4}).b);
  EXPECT_EQ(m.Showing(), Shown(0, "Low", {7, 8}));
  EXPECT_EQ(m.t.Templates()->Streams(0)->Position(), 0);

  m.t.SetTemplateIndex(17);
  EXPECT_EQ(m.Showing(), kNothing);
}

TEST(StreamTemplatesSelection, TemplateNameLooksUpIgnoringCase) {
  Manager m;
  m.Load(ThreeTemplateImage());
  const int loads = m.work.Loads;
  m.t.SetTemplateName("nowhere");
  EXPECT_EQ(m.Showing(), Shown(1, "Mid", {-3}));
  EXPECT_EQ(m.work.Loads, loads);
  m.t.SetTemplateName("LOW");
  EXPECT_EQ(m.Showing(), Shown(0, "Low", {7, 8}));
}

TEST(StreamTemplatesSelection, AddSavesTheWorkingCopyThenHoldsAClearedOrCopiedImage) {
  for (bool copy : {false, true}) {
    SCOPED_TRACE(copy);
    Manager m;
    m.Load(ThreeTemplateImage());
    m.work.Append(11);
    copy ? m.t.AddCopyTemplate("New") : m.t.AddTemplate("New");
    EXPECT_EQ(m.t.Templates()->Count(), 4);
    EXPECT_EQ(m.Entry(1), TImage().List({-3, 11}).b);
    EXPECT_EQ(m.Entry(3), copy ? TImage().List({-3, 11}).b : TImage().List({}).b);
    EXPECT_EQ(m.Showing(), Shown(3, "New", copy ? Ints{-3, 11} : Ints{}));
  }
}

TEST(StreamTemplatesSelection, DeleteAndClearDeselect) {
  Manager m;
  m.Load(ThreeTemplateImage());
  m.work.Append(1);
  m.t.Delete(0);
  EXPECT_EQ(m.t.TemplateIndex(), -1);
  ASSERT_EQ(m.t.Templates()->Count(), 2);
  EXPECT_EQ(m.t.Templates()->Strings(0), "Mid");
  EXPECT_EQ(m.Entry(0), TImage().List({-3, 1}).b);
  EXPECT_THROW(m.t.Delete(5), EStringListError);

  m.t.SetTemplateIndex(0);
  m.t.Clear();
  EXPECT_EQ(m.t.Templates()->Count(), 0);
  EXPECT_EQ(m.Showing(), kNothing);
}

TEST(StreamTemplatesSelection, WithoutWorkingCopyOnlyIndexAndNameMove) {
  TStreamTemplates t;
  t.Templates()->Add("A");
  t.Templates()->Add("B");
  t.SetTemplateName("b");
  EXPECT_EQ(t.TemplateIndex(), 1);
  EXPECT_EQ(t.TemplateName(), "B");
  t.AddTemplate("C");
  t.AddCopyTemplate("D");
  t.Update();
  EXPECT_EQ(t.TemplateIndex(), 3);
  EXPECT_EQ(t.Templates()->Streams(2)->Size(), 0);
}

TEST(StreamTemplatesAssign, EqualIndexReplacesStoreWithoutReload) {
  Manager a, b;
  a.Load(ThreeTemplateImage());
  b.t.AddTemplate("X");
  b.work.Append(42);
  b.t.AddTemplate("Y");  // b selects 1, as a does
  const int loads = b.work.Loads;
  b.work.Append(5);
  b.t.Assign(&a.t);
  EXPECT_EQ(b.work.Loads, loads);
  EXPECT_EQ(b.work.Values(), Ints{5});
  EXPECT_EQ(b.t.Templates()->Text(), "Low\r\nMid\r\nHi\r\n");
  EXPECT_EQ(b.Entry(0), TImage().List({7, 8}).b);
  EXPECT_EQ(b.t.TemplateName(), "Y");  // the name came with the old selection
}

TEST(StreamTemplatesAssign, OtherIndexSelectsFromNewStore) {
  Manager a, b;
  a.Load(ThreeTemplateImage());
  b.t.Assign(&a.t);
  EXPECT_EQ(b.t.TemplateIndex(), 1);
  EXPECT_EQ(b.work.Values(), Ints{-3});
  EXPECT_EQ(b.Save(), ThreeTemplateImage());

  TStringList foreign;
  EXPECT_EQ(MessageOf<EConvertError>([&] { b.t.Assign(&foreign); }), "Cannot assign a TStringList to a TStreamTemplates");
}

TEST(StreamTemplatesProperties, PublishedAndTemplatesNotWritable) {
  Manager m;
  m.Load(ThreeTemplateImage());
  EXPECT_EQ(MessageOf([&] { m.t.SetTemplates(nullptr); }), "Operation not supported!");
  EXPECT_EQ(std::get<std::int64_t>(GetPropValue(m.t, "TemplateIndex")), 1);
  SetPropValue(m.t, "TemplateName", std::string("Low"));
  EXPECT_EQ(m.t.TemplateIndex(), 0);
  SetPropValue(m.t, "TemplateIndex", std::int64_t{-1});
  EXPECT_EQ(m.t.TemplateName(), "");
  EXPECT_EQ(m.work.Count(), 0);
  m.t.Update();
  EXPECT_EQ(m.work.Updates, 1);
}

}  // namespace
}  // namespace sigflow::test
