#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/numeric/Pcm.h"
#include "sigflow/numeric/Varn.h"
#include "sigflow/numeric/Vec.h"
#include "support/message.h"

using namespace sigflow;

TEST(ScalarHelpers, PowersOfTwoAroundTheArgument) {
  for (std::int64_t x = 1; x < 5000; ++x) {
    const auto p = LargestExp2(x), q = SmallestExp2(x);
    ASSERT_TRUE(p <= x && 2 * p > x && (p & (p - 1)) == 0) << x;
    ASSERT_TRUE(q >= x && q < 2 * x && (q & (q - 1)) == 0) << x;
    ASSERT_EQ(std::int64_t(1) << LargestLog2(x), p) << x;
  }
  EXPECT_EQ(LargestExp2(0), 0);
  EXPECT_EQ(LargestExp2(-5), 0);
  EXPECT_EQ(LargestExp2((std::int64_t(1) << 62) + 5), std::int64_t(1) << 62);
  EXPECT_EQ(SmallestExp2(0), 1);
}

TEST(ScalarHelpers, RangesLogsAndAngles) {
  EXPECT_EQ(EnsureRange(2, 30, 24), 24);
  EXPECT_EQ(EnsureRange(2, -1, 24), 2);
  EXPECT_EQ(EnsureRange(2, 7, 24), 7);
  EXPECT_EQ(EnsureRange(0.0, 1.5, 1), 1.0);
  EXPECT_EQ(EnsureRange(0, std::int64_t(3000000000), 1000000), 1000000);
  EXPECT_TRUE(CheckRange(0, 1, 1));
  EXPECT_FALSE(CheckRange(0.0, -0.1, 1.0));
  EXPECT_DOUBLE_EQ(LogN(2, 0.125), -3.0);
  EXPECT_DOUBLE_EQ(Exp10(-60.0 / 20.0), 0.001);
  EXPECT_DOUBLE_EQ(Power(2.0, 0.5), std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(DegToRad(180.0), M_PI);
  EXPECT_DOUBLE_EQ(RadToDeg(M_PI / 2), 90.0);
}

TEST(Pcm, IntegersBecomeRawDoublesAndBackWithClipping) {
  const std::uint8_t u8[] = {0, 128, 255};
  const std::int16_t s16[] = {-32768, -1, 32767};
  const std::int32_t s32[] = {std::numeric_limits<std::int32_t>::min(), 0, std::numeric_limits<std::int32_t>::max()};
  double d[3];
  PcmToDouble(u8, d);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{0, 128, 255}));
  PcmToDouble(s16, d);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{-32768, -1, 32767}));
  PcmToDouble(s32, d);
  EXPECT_EQ(std::vector<double>(d, d + 3), (std::vector<double>{-2147483648.0, 0, 2147483647.0}));

  const double src[] = {-1e10, -1.5, -0.5, 0.5, 1.5, 2.5, 254.6, 1e10, std::nan("")};
  std::int16_t o16[9];
  const std::pair<TRounding, std::vector<int>> modes[] = {
      {rnTrunc, {-32768, -1, 0, 0, 1, 2, 254, 32767, 0}}, {rnFloor, {-32768, -2, -1, 0, 1, 2, 254, 32767, 0}},
      {rnRound, {-32768, -2, 0, 0, 2, 2, 255, 32767, 0}}, {rnCeil, {-32768, -1, 0, 1, 2, 3, 255, 32767, 0}}};
  for (const auto& [mode, want] : modes) {
    DoubleToPcm(src, o16, mode);
    EXPECT_EQ(std::vector<int>(o16, o16 + 9), want) << int(mode);
  }
  std::uint8_t o8[9];
  DoubleToPcm(src, o8, rnRound);
  EXPECT_EQ(std::vector<int>(o8, o8 + 9), (std::vector<int>{0, 0, 0, 0, 2, 2, 255, 255, 0}));
  std::int32_t o32[9];
  DoubleToPcm(src, o32, rnTrunc);
  EXPECT_EQ(o32[0], std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(o32[7], std::numeric_limits<std::int32_t>::max());
}

TEST(Pcm, ByteBuffersAreLittleEndianBothWays) {
  const std::uint8_t bytes[] = {0x00, 0x80, 0xFF, 0x7F, 0x34, 0x12};
  TVec v;
  PcmBytesToVec(bytes, sizeof(bytes), 16, v);
  EXPECT_EQ(v.Length(), 3);
  EXPECT_EQ(v.Values(0), -32768.0);
  EXPECT_EQ(v.Values(1), 32767.0);
  EXPECT_EQ(v.Values(2), 4660.0);
  PcmBytesToVec(bytes, 5, 8, v);  // unsigned, raw
  EXPECT_EQ(v.Length(), 5);
  EXPECT_EQ(v.Values(2), 255.0);
  PcmBytesToVec(bytes, sizeof(bytes), 32, v);
  EXPECT_EQ(v.Length(), 1);
  EXPECT_EQ(v.Values(0), double(std::int32_t(0x7FFF8000)));

  std::uint8_t out[8] = {};
  v.Size(3, false);
  v.SetValues(0, -2.0);
  v.SetValues(1, 4660.4);
  v.SetValues(2, 1e9);
  EXPECT_EQ(VecToPcmBytes(v, out, 5, 16, rnRound), 2u);  // room for two samples only
  EXPECT_EQ(std::vector<int>(out, out + 5), (std::vector<int>{0xFE, 0xFF, 0x34, 0x12, 0}));
  EXPECT_EQ(test::MessageOf([&] { PcmBytesToVec(bytes, 6, 24, v); }), "PCM: bits per sample must be 8, 16 or 32");
}

TEST(Varn, ElementWiseOperationsOnRealAndComplexMatrices) {
  TVarn a(2, 3);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) a.SetValues(r, c, (r + 1) * (c - 1) * 8.0);  // -8 0 8 / -16 0 16
  TVarn b(a);
  b.Cbrt();
  EXPECT_DOUBLE_EQ(b.Values(0, 0), -2.0);
  EXPECT_DOUBLE_EQ(b.Values(1, 2), std::cbrt(16.0));
  b.Copy(a);
  b.Mag();
  b.Power(0.5);
  EXPECT_DOUBLE_EQ(b.Values(1, 0), 4.0);
  TVarn d(2, 3);
  for (int r = 0; r < 2; ++r)
    for (int c = 0; c < 3; ++c) d.SetValues(r, c, 2.0);
  a.Divide(d);
  EXPECT_EQ(a.Values(1, 2), 8.0);
  a.Scale(0.5);
  EXPECT_EQ(a.Values(1, 2), 4.0);
  EXPECT_EQ(a.Max(), 4.0);
  EXPECT_EQ(a.Row(1).size(), 3u);
  EXPECT_EQ(a.Row(1)[0], -4.0);

  TVarn z(2, 2, true);
  z.SetCValues(0, 1, {3.0, 4.0});
  z.SetCValues(1, 0, {0.0, 8.0});
  TVarn m(z);
  m.Mag();
  EXPECT_FALSE(m.Complex());
  EXPECT_EQ(m.Values(0, 1), 5.0);
  EXPECT_EQ(m.Values(1, 0), 8.0);
  EXPECT_EQ(z.Max(), 8.0);
  TVarn q(z);
  q.Divide(z);
  EXPECT_LE(std::abs(q.CValues(0, 1) - TCplx(1.0, 0.0)), 1e-15);
  z.Cbrt();
  EXPECT_LE(std::abs(z.CValues(1, 0) - std::polar(2.0, M_PI / 6)), 1e-15);
  z.SetComplex(false);
  EXPECT_NEAR(z.Values(1, 0), std::sqrt(3.0), 1e-15);
  EXPECT_EQ(test::MessageOf([&] { a.Divide(z); }), "TVarn: shapes differ (2x3 <> 2x2)");
}
