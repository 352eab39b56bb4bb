#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <unistd.h>

#include "sigflow/core/Properties.h"
#include "sigflow/core/VarnComponent.h"
#include "support/message.h"
#include "test_components.h"

using namespace sigflow;
using namespace sigflow::test;

namespace {
void Configure(TGen& g) {
  g.SetAmplitude(0.25);
  g.SetOrder(-7);
  g.SetTitle("Ton \"A\" \xC3\xA4");
  g.SetEnabled(false);
  g.SetSeed(-9007199254740993LL);
  g.SetShape(shTriangle);
  g.SetOptions({goLog, goClip});
  auto* band = static_cast<TBandItem*>(g.Bands()->Add());
  band->SetLow(0.1);
  band->SetHigh(0.2);
  g.Notes()->SetText("first\nsecond");
}

std::string Bytes(const TMemoryStream& s) { return std::string(s.Bytes().begin(), s.Bytes().end()); }
std::string Settings(TGen& g) {
  TMemoryStream s;
  g.SaveToStream(s);
  return Bytes(s);
}
std::string TempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("sigflow_props_" + std::to_string(::getpid()) + "_" + name)).string();
}
}  // namespace

TEST(PropertyTable, DynamicAccessAndDefaults) {
  TGen g(nullptr);
  const TPropInfo* amplitude = g.Properties().Find("Amplitude");
  EXPECT_FALSE(amplitude->IsStored(g));
  SetPropValue(g, "Amplitude", 3.5);
  EXPECT_EQ(g.Amplitude(), 3.5);
  EXPECT_TRUE(amplitude->IsStored(g));
  SetPropValue(g, "Shape", std::int64_t{shSquare});
  EXPECT_EQ(g.Shape(), shSquare);
  EXPECT_EQ(std::get<std::int64_t>(GetPropValue(g, "Options")), 0);
  EXPECT_TRUE(g.Properties().Find("Seed")->IsStored(g));  // no default: always stored
  EXPECT_EQ(MessageOf<EPropertyError>([&] { SetPropValue(g, "Count", std::int64_t{3}); }),
            "Property Count is read-only");
  EXPECT_EQ(MessageOf<EPropertyError>([&] { GetPropValue(g, "Missing"); }), "Unknown property Missing of TGen");
  // A descendant's table reaches its parent's properties; the parent's does not see the new one.
  TGenPlus plus(nullptr);
  SetPropValue(plus, "Amplitude", 2.5);
  SetPropValue(plus, "Extra", 4.0);
  EXPECT_EQ(plus.Amplitude(), 2.5);
  EXPECT_EQ(plus.Extra(), 4.0);
  EXPECT_EQ(MessageOf<EPropertyError>([&] { GetPropValue(g, "Extra"); }), "Unknown property Extra of TGen");
}

TEST(VarnComponentAssign, CopiesEveryPublishedSetting) {
  TGen input(nullptr);
  TGen src(nullptr), dst(nullptr);
  Configure(src);
  src.SetInput(&input);
  dst.Assign(&src);
  // Every value kind is in the settings image; the reference is not.
  EXPECT_EQ(Settings(dst), Settings(src));
  EXPECT_EQ(dst.Seed(), src.Seed());
  EXPECT_EQ(dst.Input(), &input);
  // With BlockAssign the wiring stays.
  TGen wired(nullptr);
  wired.SetBlockAssign(true);
  wired.Assign(&src);
  EXPECT_EQ(wired.Input(), nullptr);
  EXPECT_EQ(Settings(wired), Settings(src));
}

TEST(VarnComponentAssign, AcceptsDescendantsAndRefusesOtherClasses) {
  TGenPlus plus(nullptr);
  plus.SetAmplitude(2);
  plus.SetExtra(5);
  TGen g(nullptr);
  g.Assign(&plus);  // a TGenPlus is a TGen
  EXPECT_EQ(g.Amplitude(), 2);

  TGenPlus back(nullptr);
  EXPECT_EQ(MessageOf<EConvertError>([&] { back.Assign(&g); }), "Cannot assign a TGen to a TGenPlus");
  TOther other(nullptr);
  EXPECT_EQ(MessageOf<EConvertError>([&] { g.Assign(&other); }), "Cannot assign a TOther to a TGen");
  EXPECT_THROW(g.AssignTemplate(&other), EConvertError);
}

TEST(VarnComponentSettings, StreamRoundTripAndByteImage) {
  TGen input(nullptr);
  TGen src(nullptr);
  Configure(src);
  src.SetInput(&input);
  src.SetAmplitude(std::nan(""));
  TMemoryStream stream;
  src.SaveToStream(stream);

  // Tag, class name as a short string, 4-byte length, JSON of the settings.
  const std::string bytes = Bytes(stream);
  ASSERT_GT(bytes.size(), 13u);
  EXPECT_EQ(bytes.substr(0, 4), "SFS1");
  EXPECT_EQ(bytes.substr(4, 5), std::string("\x04TGen", 5));
  const auto n = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[9])) |
                 static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[10])) << 8 |
                 static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[11])) << 16 |
                 static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[12])) << 24;
  EXPECT_EQ(n, bytes.size() - 13);
  const std::string json = bytes.substr(13);
  EXPECT_EQ(json.find("Input"), std::string::npos);  // references are not settings
  EXPECT_EQ(json.find("SampleData"), std::string::npos);
  EXPECT_NE(json.find("\"Amplitude\":\"NaN\""), std::string::npos);
  EXPECT_NE(json.find("\"Options\":[\"goLog\",\"goClip\"]"), std::string::npos);

  TGen dst(nullptr);
  dst.SetOrder(99);
  stream.SetPosition(0);
  dst.LoadFromStream(stream);
  EXPECT_EQ(stream.Position(), stream.Size());
  EXPECT_EQ(Settings(dst), bytes);
  EXPECT_TRUE(std::isnan(dst.Amplitude()));
  EXPECT_EQ(dst.Seed(), -9007199254740993LL);  // not through a double
  EXPECT_EQ(dst.Input(), nullptr);

  // Defaults are written too, so loading resets a changed value.
  TGen fresh(nullptr);
  TMemoryStream defaults;
  fresh.SaveToStream(defaults);
  defaults.SetPosition(0);
  dst.LoadFromStream(defaults);
  EXPECT_EQ(dst.Order(), 4);
  EXPECT_EQ(dst.Amplitude(), 1.0);
  EXPECT_EQ(dst.Bands()->Count(), 0);
}

TEST(VarnComponentSettings, FileRoundTrip) {
  const std::string path = TempPath("settings.bin");
  TGen src(nullptr);
  Configure(src);
  src.SaveToFile(path);
  TGen dst(nullptr);
  dst.LoadFromFile(path);
  EXPECT_EQ(dst.Title(), src.Title());
  std::filesystem::remove(path);
}

TEST(VarnComponentSettings, WrongClassOrDamagedStreamIsRefusedUnchanged) {
  TGenPlus plus(nullptr);
  TMemoryStream stream;
  plus.SaveToStream(stream);
  TGen g(nullptr);
  g.SetOrder(11);
  stream.SetPosition(0);
  EXPECT_EQ(MessageOf<EReadError>([&] { g.LoadFromStream(stream); }),
            "Settings of TGenPlus cannot be loaded into a TGen");

  TMemoryStream junk;
  junk.WriteBuffer("SFX1", 4);
  junk.SetPosition(0);
  EXPECT_EQ(MessageOf<EReadError>([&] { g.LoadFromStream(junk); }), "Stream does not hold component settings");

  // A template stream is not a settings stream.
  TMemoryStream tmpl;
  g.SaveTemplateToStream(tmpl);
  tmpl.SetPosition(0);
  EXPECT_THROW(g.LoadFromStream(tmpl), EReadError);

  // Valid header, bad content: nothing is set, not even the properties before the bad one.
  auto withJson = [](const std::string& json) {
    auto s = std::make_unique<TMemoryStream>();
    s->WriteBuffer("SFS1", 4);
    s->WriteShortString("TGen");
    s->WriteValue<std::uint32_t>(static_cast<std::uint32_t>(json.size()));
    s->WriteBuffer(json.data(), static_cast<std::int64_t>(json.size()));
    s->SetPosition(0);
    return s;
  };
  const std::pair<std::string, std::string> cases[] = {
      {R"({"properties":{"Order":5,"Shape":"shCircle"}})", "TGen.Shape: \"shCircle\" is not a value of TShape"},
      {R"({"properties":{"Order":5,"Amplitude":true}})", "TGen.Amplitude: expected a number"},
      {R"({"properties":{"Order":5,"Input":"X"}})", "TGen.Input: unknown property"},
      {R"({"properties":{"Order":5000000000}})", "TGen.Order: 5000000000 is out of range"},
      {R"({"properties":{"Order":5},"extra":1})", "TGen: unknown key \"extra\""},
      {R"({"properties":{"Order":5,"Count":1}})", "TGen.Count: property is read-only"},
      {R"({"properties":{"Order":5,"Options":["goLog",3]}})", "TGen.Options: expected a list of value names of TGenOption"},
      {R"({"properties":{"Order":5,"Bands":{"items":[{"properties":{"Low":"x"}}]}}})", "TGen.Bands[0].Low: expected a number"},
      {R"({"properties":{"Order":5)", "Invalid JSON at line 1, column 25"},
  };
  for (const auto& [json, message] : cases) {
    auto s = withJson(json);
    EXPECT_EQ(MessageOf<EReadError>([&] { g.LoadFromStream(*s); }), message) << json;
    EXPECT_EQ(g.Order(), 11) << json;
  }

  // Truncated inside the JSON bytes.
  TMemoryStream full;
  g.SaveToStream(full);
  TMemoryStream cut;
  cut.WriteBuffer(full.Memory(), full.Size() - 3);
  cut.SetPosition(0);
  EXPECT_EQ(MessageOf<EReadError>([&] { g.LoadFromStream(cut); }), "Stream read error");
}

TEST(VarnComponentTemplate, RoundTripCarriesOnlyTemplateProperties) {
  TGenPlus src(nullptr);
  src.SetShape(shSquare);
  src.SetOrder(12);
  src.SetAmplitude(9);
  src.SetExtra(3);
  TMemoryStream stream;
  src.SaveTemplateToStream(stream);
  EXPECT_EQ(Bytes(stream).substr(0, 13), std::string("SFT1\x08TGenPlus", 13));

  TGenPlus dst(nullptr);
  stream.SetPosition(0);
  dst.LoadTemplateFromStream(stream);
  EXPECT_EQ(dst.Shape(), shSquare);
  EXPECT_EQ(dst.Order(), 12);
  EXPECT_EQ(dst.Amplitude(), 1.0);
  EXPECT_EQ(dst.Extra(), 0.0);

  TGenPlus viaAssign(nullptr);
  viaAssign.AssignTemplate(&src);
  EXPECT_EQ(viaAssign.Order(), 12);
  EXPECT_EQ(viaAssign.Amplitude(), 1.0);

  const std::string path = TempPath("template.bin");
  src.SaveTemplateToFile(path);
  TGenPlus fromFile(nullptr);
  fromFile.LoadTemplateFromFile(path);
  EXPECT_EQ(fromFile.Shape(), shSquare);
  std::filesystem::remove(path);

  // A template of another class is refused; so is a property outside the template.
  TGen plain(nullptr);
  TMemoryStream other;
  plain.SaveTemplateToStream(other);
  other.SetPosition(0);
  EXPECT_EQ(MessageOf<EReadError>([&] { dst.LoadTemplateFromStream(other); }),
            "Template of TGen cannot be loaded into a TGenPlus");
  TMemoryStream settings;
  src.SaveToStream(settings);
  settings.SetPosition(0);
  EXPECT_EQ(MessageOf<EReadError>([&] { dst.LoadTemplateFromStream(settings); }),
            "Stream does not hold a component template");
}
