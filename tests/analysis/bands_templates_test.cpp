// The band list's byte image, its rejection of bad bytes, and the template store around it.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

#include "peak_host_fixture.h"
#include "sigflow/analysis/SpectrumBandsAnalyzer.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

std::vector<std::uint8_t> Bytes(TMemoryStream& s) {
  std::vector<std::uint8_t> b(static_cast<std::size_t>(s.Size()));
  s.SetPosition(0);
  s.ReadBuffer(b.data(), s.Size());
  return b;
}

void PutDouble(std::vector<std::uint8_t>& b, double v) {
  std::uint8_t raw[8];
  std::memcpy(raw, &v, 8);  // the build machines are little-endian, as the format
  b.insert(b.end(), raw, raw + 8);
}

const TBandRecord kSample{.Active = false, .Reference = fnNthPeak, .AdjustForSpectrumType = true, .PeakNumber = 258,
                          .Start = 0.5, .Stop = -2, .StartTransition = 1, .StopTransition = 0.25};

TEST(BandsTemplates, ByteImage) {
  TSpectrumBands bands;
  bands.AddBand(kSample);
  bands.AddBand(TBandRecord{});
  TMemoryStream s;
  bands.SaveToStream(s);
  std::vector<std::uint8_t> want = {2, 0, 0, 0, 0, 3, 1, 0, 2, 1, 0, 0};
  for (double v : {0.5, -2.0, 1.0, 0.25}) PutDouble(want, v);
  const std::vector<std::uint8_t> second = {1, 0, 1, 0, 1, 0, 0, 0};
  want.insert(want.end(), second.begin(), second.end());
  want.resize(want.size() + 32, 0);
  EXPECT_EQ(Bytes(s), want);
  ASSERT_EQ(s.Size(), 4 + 2 * BandRecordSize);

  s.SetPosition(0);
  TSpectrumBands back;
  back.AddBand(TBandRecord{});
  back.LoadFromStream(s);
  ASSERT_EQ(back.Count(), 2);
  EXPECT_EQ(*back.Items(0), kSample);
  EXPECT_EQ(*back.Items(1), TBandRecord{});
}

TEST(BandsTemplates, BadBytesAreRejectedAndChangeNothing) {
  TSpectrumBands good;
  good.AddBand(kSample);
  TMemoryStream img;
  good.SaveToStream(img);
  const std::vector<std::uint8_t> base = Bytes(img);
  const auto load = [](std::vector<std::uint8_t> b) {
    TMemoryStream s;
    s.WriteBuffer(b.data(), static_cast<std::int64_t>(b.size()));
    s.SetPosition(0);
    TSpectrumBands bands;
    bands.AddBand(TBandRecord{});
    try {
      bands.LoadFromStream(s);
    } catch (const EReadError& e) {
      EXPECT_STREQ(e.what(), "Invalid band list");
      EXPECT_EQ(bands.Count(), 1);
      EXPECT_EQ(*bands.Items(0), TBandRecord{});
      return false;
    }
    return true;
  };
  EXPECT_TRUE(load(base));
  EXPECT_TRUE(load({0, 0, 0, 0}));
  // Two records announced with one present, a negative count, a flag byte, no such reference,
  // padding; then a NaN stop, a short count and a short record.
  const std::pair<int, std::uint8_t> edits[] = {{0, 2}, {3, 0x80}, {4, 2}, {5, 4}, {7, 1}};
  for (auto [at, value] : edits) {
    auto b = base;
    b[std::size_t(at)] = value;
    EXPECT_FALSE(load(b)) << at;
  }
  auto b = base;
  std::memset(b.data() + 12 + 8, 0xff, 8);
  EXPECT_FALSE(load(b));
  EXPECT_FALSE(load({1, 0}));
  b = base;
  b.pop_back();
  EXPECT_FALSE(load(b));
}

TEST(BandsTemplates, StandardTemplatesRoundTripThroughTheStore) {
  test::TTestPeakHost host;
  TSpectrumBandsAnalyzer a(nullptr, &host);
  a.AddStandardTemplates();
  TStreamTemplates& t = *a.Templates();
  ASSERT_EQ(t.Templates()->Count(), 2);
  EXPECT_EQ(t.TemplateName(), "Third octave");
  EXPECT_EQ(a.Bands().Count(), 34);
  t.SetTemplateIndex(0);
  EXPECT_EQ(t.TemplateName(), "Octave");
  EXPECT_EQ(a.Bands().Count(), 11);
  // A user edit of the working copy survives a switch away and back.
  a.Bands().Items(3)->StartTransition = 7;
  t.SetTemplateIndex(1);
  t.SetTemplateIndex(0);
  EXPECT_EQ(a.Bands().Items(3)->StartTransition, 7);

  TMemoryStream s;
  t.SaveToStream(s);
  test::TTestPeakHost host2;
  TSpectrumBandsAnalyzer b(nullptr, &host2);
  s.SetPosition(0);
  b.Templates()->LoadFromStream(s);
  EXPECT_EQ(b.Templates()->TemplateIndex(), 0);
  ASSERT_EQ(b.Bands().Count(), 11);
  for (int i = 0; i < 11; ++i) EXPECT_EQ(*b.Bands().Items(i), *a.Bands().Items(i));
  b.Templates()->SetTemplateName("third OCTAVE");
  EXPECT_EQ(b.Bands().Count(), 34);
  EXPECT_NEAR(b.Bands().Items(20)->Start, OctaveBandLow(3, 0), 0);

  // Assign copies store and working copy.
  TSpectrumBandsAnalyzer c(nullptr, &host2);
  c.Assign(&a);
  EXPECT_EQ(c.Templates()->Templates()->Count(), 2);
  EXPECT_EQ(c.Bands().Count(), 11);
  EXPECT_EQ(c.Bands().Items(3)->StartTransition, 7);
}

}  // namespace
}  // namespace sigflow
