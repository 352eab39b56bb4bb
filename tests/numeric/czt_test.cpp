#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "czt_check.h"
#include "numeric_check.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::BluesteinBound;
using sigflow::test::CloseTo;
using sigflow::test::MessageOf;
using sigflow::test::Noise;
using sigflow::test::WithinBound;
using LC = std::complex<long double>;

namespace {

// Slow reference: X[k] = sum_n x[n] r_k^-n e^{-2 pi i n f_k / fs}, f_k = f0 + k df,
// r_k = r0 q^k, the angle reduced to turns in long double.
std::vector<TCplx> DirectZoom(const std::vector<TCplx>& x, int m, double fs, double f0, double df,
                              long double r0 = 1, long double q = 1) {
  constexpr long double kTwoPi = 6.283185307179586476925286766559005768L;
  std::vector<TCplx> out;
  for (int k = 0; k < m; ++k) {
    const long double f = (long double)f0 + (long double)k * df, rk = r0 * std::pow(q, (long double)k);
    LC s = 0;
    for (std::size_t n = 0; n < x.size(); ++n) {
      long double t = (long double)n * f / fs;
      t -= std::nearbyint(t);
      const long double mag = rk == 1 ? 1.0L : std::pow(rk, -(long double)n);
      s += LC(x[n]) * LC(mag * std::cos(kTwoPi * t), -mag * std::sin(kTwoPi * t));
    }
    out.push_back(TCplx(s));
  }
  return out;
}

// Output pre-filled with NaN so that an unwritten point fails.
std::vector<TCplx> Apply(TCztPlan& plan, const std::vector<TCplx>& x) {
  std::vector<TCplx> out(std::size_t(plan.OutputLength()), std::numeric_limits<double>::quiet_NaN());
  Czt(plan, std::span<const TCplx>(x), out);
  return out;
}

}  // namespace

// With A = 1, W = one turn in N steps (held exactly) and M = N the transform is the FFT. At
// large prime lengths this needs the exact reduction of the chirp angles: a chirp built from
// a rounded e^{-2 pi i / N} is off by about N^2 eps radians at the end (2e-8 at 65537).
TEST(CztLaws, UnitRootsContourEqualsTheFftAtAnyLength) {
  for (int n : {1, 2, 3, 7, 64, 97, 1000, 4099, 65537}) {
    const auto x = Noise<TCplx>(n, 11 + std::uint64_t(n));
    std::vector<TCplx> f(x.size());
    FFT(x, f);
    TCztPlan plan;
    plan.Init(n, n, {TZPolar{0.0, 0.0, 1.0}, TZPolar{0.0, -1.0, double(n)}});
    EXPECT_TRUE(CloseTo(Apply(plan, x), f, 4e-15)) << "n = " << n;
  }
  // (e^{2 pi i / 7})^(7 * 10^12 + 1) is e^{2 pi i / 7}: whole turns are removed exactly.
  const TZPolar z{0.0, 1.0, 7.0};
  EXPECT_NEAR(std::abs(z.Power(7e12 + 1) - z.Value()), 0.0, 1e-15);
  EXPECT_NEAR(std::abs(z.Power(-7e12 - 1) - std::conj(z.Value())), 0.0, 1e-15);
}

TEST(CztLaws, ZoomOfALongRealFrameIsTheDtftAtTheExactFrequencies) {
  const int n = 4096, m = 1000;
  const double fs = 48000, f0 = 997.3, df = 0.25;
  TVec frame(n), out;
  RandGauss(frame, 0.0, 1.0, 5);
  TCztPlan plan;
  plan.Init(n, m, CztZoomContour(f0, df, m, 1.0, 1.0, fs));
  Czt(plan, frame, out);
  ASSERT_TRUE(out.Complex());
  ASSERT_EQ(out.Length(), m);
  const std::vector<TCplx> x(frame.Data(), frame.Data() + n);
  EXPECT_TRUE(CloseTo({out.CData(), out.CData() + m}, DirectZoom(x, m, fs, f0, df), 1e-14));
}

// Off the circle the tolerance is the rounding bound of czt_check.h.
TEST(CztLaws, SpiralRadiiRunGeometricallyFromStartToStopRadius) {
  const int m = 50;
  const double fs = 8000, f0 = 120, df = 35;
  // X of a unit impulse at n = 1 is z_k^-1: every contour point shows directly.
  std::vector<TCplx> x(7, 0.0);
  x[1] = 1.0;
  TCztPlan plan;
  const auto inner = CztZoomContour(f0, df, m, 0.9, 1.2, fs);
  plan.Init(7, m, inner);
  const auto got = Apply(plan, x);
  EXPECT_NEAR(std::abs(got[0]), 1 / 0.9, 1e-14);
  EXPECT_NEAR(std::abs(got[m - 1]), 1 / 1.2, 1e-14);
  const long double q = std::pow(1.2L / 0.9L, 1.0L / (m - 1));
  EXPECT_TRUE(WithinBound(got, DirectZoom(x, m, fs, f0, df, 0.9L, q), BluesteinBound(x, m, inner)));
  const auto y = Noise<TCplx>(300, 3);
  const auto outer = CztZoomContour(f0, df, m, 0.995, 1.002, fs);
  plan.Init(300, m, outer);
  const long double q2 = std::pow(1.002L / 0.995L, 1.0L / (m - 1));
  EXPECT_TRUE(WithinBound(Apply(plan, y), DirectZoom(y, m, fs, f0, df, 0.995L, q2), BluesteinBound(y, m, outer)));
}

TEST(CztShapes, EdgeShapesReinitialisationAndFftLength) {
  TCztPlan plan;
  EXPECT_TRUE(Apply(plan, {}).empty());  // a default plan is the empty transform
  plan.Init(0, 5, CztContour(0.5, TCplx(0.3, 1.1)));
  EXPECT_TRUE(CloseTo(Apply(plan, {}), std::vector<TCplx>(5, 0.0), 0.0));
  // A^0 W^0 = 1 for every k, on or off the circle.
  plan.Init(1, 4, CztContour(0.5, TCplx(0.3, 1.1)));
  EXPECT_TRUE(CloseTo(Apply(plan, {TCplx(2.5, -1)}), std::vector<TCplx>(4, TCplx(2.5, -1)), 1e-15));
  // A plan taken through other shapes gives what a fresh one gives; so does a copy.
  const auto x = Noise<TCplx>(200, 9);
  const auto contour = CztZoomContour(0.05, 0.001, 333, 1.0, 0.97, 1.0);
  TCztPlan fresh;
  fresh.Init(200, 333, contour);
  plan.Init(13, 2000, contour);
  plan.Init(200, 333, contour);
  TCztPlan copy(plan);
  EXPECT_TRUE(CloseTo(Apply(plan, x), Apply(fresh, x), 0.0));
  EXPECT_TRUE(CloseTo(Apply(copy, x), Apply(fresh, x), 0.0));
  EXPECT_EQ(FastFftLength(1), 1);
  EXPECT_EQ(FastFftLength(11), 12);
  EXPECT_EQ(FastFftLength(1021), 1024);
  plan.Init(4096, 1000, contour);
  EXPECT_EQ(plan.FftLength(), 5103);  // 3^6 * 7 >= 4096 + 1000 - 1
}

TEST(CztZoom, PointCountTruncatesAndAZeroStepGivesNoPoints) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const struct {
    double from, to, step;
    int points;
  } cases[] = {{0.0, 0.5, 0.0078125, 64}, {0.0, 1.0, 0.3, 3},  {0.8, 0.8, 0.0078125, 0}, {0.8, 0.5, 0.0078125, 0},
               {0.0, 0.5, 0.0, 0},        {0.0, 0.5, -1.0, 0}, {0.0, 2e6, 1.0, 1000000}, {nan, 0.5, 0.01, 0},
               {0.0, inf, 0.01, 0},       {0.0, 0.5, nan, 0},
               {0.0, 0.5, std::numeric_limits<double>::denorm_min(), 1000000}};
  for (const auto& c : cases)
    EXPECT_EQ(CztZoomPoints(c.from, c.to, c.step), c.points) << c.from << " " << c.to << " " << c.step;
}

TEST(CztErrors, InvalidArgumentsNameTheViolatedCondition) {
  TCztPlan plan;
  const auto ok = CztContour(1.0, TCplx(0.0, 1.0));
  EXPECT_EQ(MessageOf([&] { plan.Init(-1, 3, ok); }), "Czt: n < 0");
  EXPECT_EQ(MessageOf([&] { plan.Init(3, -1, ok); }), "Czt: m < 0");
  EXPECT_EQ(MessageOf([&] { plan.Init(1 << 28, 1, ok); }), "Czt: length too large");
  EXPECT_EQ(MessageOf([&] { plan.Init(3, 3, CztContour(0.0, 1.0)); }), "Czt: bad contour");
  EXPECT_EQ(MessageOf([&] { plan.Init(3, 3, {TZPolar{}, TZPolar{0.0, 1.0, 0.0}}); }), "Czt: bad contour");
  EXPECT_EQ(MessageOf([] { CztZoomContour(0, 1, 5, 0.0, 1.0, 1); }), "Czt: StartRadius <= 0");
  EXPECT_EQ(MessageOf([] { CztZoomContour(0, 1, 5, 1.0, -0.5, 1); }), "Czt: StopRadius <= 0");
  EXPECT_EQ(MessageOf([] { CztZoomContour(0, 1, 5, 1.0, 1.0, 0); }), "Czt: SamplingFrequency <= 0");
  EXPECT_EQ(MessageOf([] { CztZoomContour(0, 1, 0, 1.0, 1.0, 1); }), "Czt: points < 1");
  plan.Init(4, 3, ok);
  std::vector<TCplx> x(5), out(3);
  EXPECT_EQ(MessageOf([&] { Czt(plan, std::span<const TCplx>(x), out); }), "Czt: input length differs from the plan");
  x.resize(4);
  out.resize(2);
  EXPECT_EQ(MessageOf([&] { Czt(plan, std::span<const TCplx>(x), out); }), "Czt: output length differs from the plan");
  TVec v(4);
  EXPECT_EQ(MessageOf([&] { Czt(plan, v, v); }), "Czt: destination is the source");
}

TEST(CztAllocation, RepeatedFramesOfOneShapeAllocateAndPlanNothing) {
  const int n = 4096, m = 1000;
  TVec frame(n), cframe(n, true), out;
  RandGauss(frame, 0.0, 1.0, 1);
  RandGauss(cframe, 0.0, 1.0, 2);
  const auto contour = CztZoomContour(0.1, 0.0001, m, 1.0, 1.0, 1.0);
  TCztPlan plan;
  plan.Init(n, m, contour);
  Czt(plan, frame, out);
  Czt(plan, cframe, out);
  const std::size_t plans = FftPlanCount();
  {
    sigflow::test::AllocationScope scope;
    for (int i = 0; i < 3; ++i) {
      plan.Init(n, m, contour);
      Czt(plan, frame, out);
      Czt(plan, cframe, out);
    }
    EXPECT_EQ(scope.Count(), 0u);
  }
  EXPECT_EQ(FftPlanCount(), plans);
}
