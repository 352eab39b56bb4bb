#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "sigflow/core/Streams.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::AllocationScope;

namespace {

TVec Real(std::initializer_list<double> v) {
  TVec x(int(v.size()));
  int i = 0;
  for (double d : v) x.SetValues(i++, d);
  return x;
}

std::vector<std::uint8_t> Image(const TVec& v, TPrecision p, TRounding r) {
  TMemoryStream s;
  v.SaveToStream(s, p, r);
  return s.Bytes();
}

TVec Load(const std::vector<std::uint8_t>& bytes) {
  TMemoryStream s;
  s.WriteBuffer(bytes.data(), std::int64_t(bytes.size()));
  s.SetPosition(0);
  TVec v;
  v.LoadFromStream(s);
  EXPECT_EQ(s.Position(), s.Size());
  return v;
}

}  // namespace

TEST(VecStream, ByteImageOfAComplexSmallIntVector) {
  TVec v(2, true);
  v.SetCValues(0, {1.0, -2.0});
  v.SetCValues(1, {300.0, 40000.0});  // 40000 clips to 32767
  const std::vector<std::uint8_t> want = {
      'S', 'V', 'E', 'C', 1, prSmallInt, 1, 0,   // tag, version, precision, complex, 0
      2, 0, 0, 0, 0, 0, 0, 0,                    // length 2
      0x01, 0x00, 0xFE, 0xFF, 0x2C, 0x01, 0xFF, 0x7F};
  EXPECT_EQ(Image(v, prSmallInt, rnTrunc), want);
}

TEST(VecStream, DoublesKeepEveryBit) {
  TVec v = Real({0.1, -0.0, std::numeric_limits<double>::denorm_min(), DBL_MAX,
                 std::numeric_limits<double>::infinity(), std::nan("")});
  const TVec back = Load(Image(v, prDouble, rnTrunc));
  ASSERT_EQ(back.Length(), v.Length());
  EXPECT_FALSE(back.Complex());
  EXPECT_EQ(std::memcmp(back.Data(), v.Data(), sizeof(double) * 6), 0);
  EXPECT_EQ(Image(v, prDouble, rnTrunc).size(), 16u + 6 * 8);
}

TEST(VecStream, EveryPrecisionAndRoundingRoundTripsWithClipping) {
  struct Range {
    TPrecision p;
    double lo, hi;
  };
  const Range ranges[] = {
      {prInteger, -2147483648.0, 2147483647.0}, {prCardinal, 0.0, 4294967295.0},
      {prSmallInt, -32768.0, 32767.0},          {prWord, 0.0, 65535.0},
      {prShortInt, -128.0, 127.0},              {prByte, 0.0, 255.0},
  };
  const double probes[] = {-1e12, -129.5, -2.5, -1.5, -0.7, -0.5, 0.0, 0.5, 1.5, 2.5, 2.7, 100.49, 254.5, 1e12};
  for (const auto& r : ranges) {
    for (int m = 0; m < RoundingCount; ++m) {
      const auto mode = TRounding(m);
      TVec v(int(std::size(probes)));
      for (int i = 0; i < v.Length(); ++i) v.SetValues(i, probes[i]);
      const auto bytes = Image(v, r.p, mode);
      ASSERT_EQ(bytes.size(), 16u + std::size(probes) * std::size_t(PrecisionSize(r.p)));
      const TVec back = Load(bytes);
      for (int i = 0; i < v.Length(); ++i) {
        const double x = probes[i];
        double want = m == rnTrunc ? std::trunc(x) : m == rnFloor ? std::floor(x)
                    : m == rnCeil ? std::ceil(x) : std::nearbyint(x);
        want = std::min(std::max(want, r.lo), r.hi);
        ASSERT_EQ(back.Values(i), want) << "precision " << int(r.p) << " rounding " << m << " value " << x;
      }
    }
  }
  // Ties to even, checked by hand.
  const TVec t = Load(Image(Real({0.5, 1.5, 2.5, -2.5}), prInteger, rnRound));
  EXPECT_EQ(t.Values(0), 0.0);
  EXPECT_EQ(t.Values(1), 2.0);
  EXPECT_EQ(t.Values(2), 2.0);
  EXPECT_EQ(t.Values(3), -2.0);
}

TEST(VecStream, SinglePrecisionRoundsToFloatAndClipsToItsRange) {
  const TVec back = Load(Image(Real({0.1, 1e300, -1e300, 3.0}), prSingle, rnTrunc));
  EXPECT_EQ(back.Values(0), double(0.1f));
  EXPECT_EQ(back.Values(1), double(FLT_MAX));
  EXPECT_EQ(back.Values(2), -double(FLT_MAX));
  EXPECT_EQ(back.Values(3), 3.0);
}

TEST(VecStream, IntegerNaNStoresZero) {
  const TVec back = Load(Image(Real({std::nan(""), 5.0}), prSmallInt, rnRound));
  EXPECT_EQ(back.Values(0), 0.0);
  EXPECT_EQ(back.Values(1), 5.0);
}

TEST(VecStream, TruncatedStreamsRaiseAndLeaveTheVectorAsItWas) {
  TVec src(100, true);
  for (int i = 0; i < 100; ++i) src.SetCValues(i, {double(i), -double(i)});
  const auto full = Image(src, prDouble, rnTrunc);
  for (std::size_t cut : {std::size_t(0), std::size_t(3), std::size_t(15), std::size_t(16), std::size_t(17),
                          full.size() - 1}) {
    TMemoryStream s;
    s.WriteBuffer(full.data(), std::int64_t(cut));
    s.SetPosition(0);
    TVec v = Real({7, 8, 9});
    EXPECT_THROW(v.LoadFromStream(s), EReadError) << "cut at " << cut;
    ASSERT_EQ(v.Length(), 3);
    EXPECT_FALSE(v.Complex());
    EXPECT_EQ(v.Values(2), 9.0);
  }
}

TEST(VecStream, HugeClaimedLengthRaisesWithoutAllocatingIt) {
  std::vector<std::uint8_t> head = {'S', 'V', 'E', 'C', 1, prDouble, 0, 0, 0, 0, 0, 0x40, 0, 0, 0, 0};
  head.resize(64, 0);  // a few bytes of "samples" for a length of 2^30
  TMemoryStream s;
  s.WriteBuffer(head.data(), std::int64_t(head.size()));
  s.SetPosition(0);
  TVec v;
  AllocationScope scope;
  EXPECT_EQ(test::MessageOf<EReadError>([&] { v.LoadFromStream(s); }),
            "Vector stream: length 1073741824 exceeds the stream");
  EXPECT_LE(scope.Count(), 4u);  // the message text only, never gigabytes
  EXPECT_EQ(v.Length(), 0);
}

TEST(VecStream, MalformedHeadersRaiseClearErrors) {
  const auto good = Image(Real({1, 2}), prByte, rnTrunc);
  const struct {
    std::size_t at;
    std::uint8_t value;
    const char* message;
  } cases[] = {{0, 'X', "Vector stream: bad tag"},
               {4, 2, "Vector stream: unsupported version 2"},
               {5, 8, "Vector stream: unknown precision 8"},
               {6, 2, "Vector stream: bad complex flag"},
               {15, 0x80, "Vector stream: bad length -9223372036854775806"}};  // negative length
  for (const auto& c : cases) {
    auto bytes = good;
    bytes[c.at] = c.value;
    TMemoryStream s;
    s.WriteBuffer(bytes.data(), std::int64_t(bytes.size()));
    s.SetPosition(0);
    TVec v;
    EXPECT_EQ(test::MessageOf<EReadError>([&] { v.LoadFromStream(s); }), c.message);
  }
  EXPECT_EQ(Load(good).Values(1), 2.0);
}

TEST(VecStream, RawValueBlocksForRecordFormats) {
  TMemoryStream s;
  const TVec v = Real({-1.25, 70000.0});
  v.WriteValues(s, prWord, rnFloor);
  ASSERT_EQ(s.Size(), 4);
  EXPECT_EQ(s.Bytes(), (std::vector<std::uint8_t>{0, 0, 0xFF, 0xFF}));
  s.SetPosition(0);
  TVec back;
  back.ReadValues(s, prWord, 1, true);
  EXPECT_EQ(back.CValues(0), TCplx(0.0, 65535.0));
  s.SetPosition(2);
  EXPECT_THROW(back.ReadValues(s, prWord, 2, false), EReadError);
  EXPECT_EQ(back.Length(), 1);
}
