#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <vector>

#include "czt_check.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"

using namespace sigflow;
using sigflow::test::AllocationScope;
using LC = std::complex<long double>;

namespace {

constexpr long double kTwoPiL = 6.283185307179586476925286766559005768L;
const TCplx kNaN(std::numeric_limits<double>::quiet_NaN(), 0.0);

std::vector<TCplx> Noise(int n, std::uint64_t seed) {
  TVec v(n, true);
  RandGauss(v, 0.0, 1.0, seed);
  return {v.CData(), v.CData() + n};
}

// Worst |a - b| over max |b|, the failure naming the index.
::testing::AssertionResult Near(const std::vector<TCplx>& a, const std::vector<TCplx>& b, double tol) {
  double scale = 0, worst = -1;
  std::size_t at = 0;
  for (const TCplx& v : b) scale = std::max(scale, std::abs(v));
  for (std::size_t i = 0; i < a.size(); ++i) {
    const double e = std::abs(a[i] - b[i]);
    if (!(e <= worst)) {
      worst = e;
      at = i;
    }
  }
  if (worst <= tol * scale) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "error " << worst << " at " << at << " (scale " << scale << ")";
}

// Slow reference: X[k] = sum_n x[n] r_k^-n e^{-2 pi i n f_k / fs} with r_k = r0 q^k, the angle
// reduced to turns in long double.
std::vector<TCplx> DirectZoom(const std::vector<TCplx>& x, int m, double fs, double f0, double df,
                              long double r0, long double q) {
  std::vector<TCplx> out{std::vector<TCplx>(std::size_t(m))};
  for (int k = 0; k < m; ++k) {
    const long double f = (long double)f0 + (long double)k * df;
    const long double rk = r0 * std::pow(q, (long double)k);
    LC s = 0;
    for (std::size_t n = 0; n < x.size(); ++n) {
      long double t = (long double)n * f / fs;
      t -= std::nearbyint(t);
      const long double mag = rk == 1 ? 1.0L : std::pow(rk, -(long double)n);
      s += LC(x[n]) * LC(mag * std::cos(kTwoPiL * t), -mag * std::sin(kTwoPiL * t));
    }
    out[std::size_t(k)] = TCplx(s);
  }
  return out;
}

std::vector<TCplx> Apply(TCztPlan& plan, const std::vector<TCplx>& x) {
  std::vector<TCplx> out(std::size_t(plan.OutputLength()), kNaN);
  Czt(plan, std::span<const TCplx>(x), out);
  return out;
}

}  // namespace

// With A = 1, W = e^{-2 pi i / N} (one turn in N steps, held exactly) and M = N the transform is
// the FFT. Large prime lengths need the exact reduction of the chirp angles: a chirp computed
// from a rounded e^{-2 pi i / N} is off by about N^2 eps radians at the end (2e-8 at 65537).
TEST(CztLaws, UnitRootsContourEqualsTheFftAtAnyLength) {
  for (int n : {1, 2, 3, 7, 64, 97, 1000, 4099, 65537}) {
    const auto x = Noise(n, 11 + std::uint64_t(n));
    std::vector<TCplx> f(x.size());
    FFT(x, f);
    TCztPlan plan;
    plan.Init(n, n, {TZPolar{0.0, 0.0, 1.0}, TZPolar{0.0, -1.0, double(n)}});
    EXPECT_TRUE(Near(Apply(plan, x), f, 4e-15)) << "n = " << n;
  }
}

TEST(CztLaws, ZoomOfALongRealFrameIsTheDtftAtTheExactFrequencies) {
  const int n = 4096, m = 1000;
  const double fs = 48000, f0 = 997.3, df = 0.25;
  TVec frame(n);
  RandGauss(frame, 0.0, 1.0, 5);
  const std::vector<TCplx> x(frame.Data(), frame.Data() + n);
  TCztPlan plan;
  plan.Init(n, m, CztZoomContour(f0, df, m, 1.0, 1.0, fs));
  TVec out;
  Czt(plan, frame, out);
  ASSERT_TRUE(out.Complex());
  ASSERT_EQ(out.Length(), m);
  EXPECT_TRUE(Near({out.CData(), out.CData() + m}, DirectZoom(x, m, fs, f0, df, 1, 1), 1e-14));
}

// Off the circle the rounding error grows with the spread of the chirp magnitudes: the
// tolerance is the bound of czt_check.h.
TEST(CztLaws, SpiralRadiiRunGeometricallyFromStartToStopRadius) {
  // X of a unit impulse at n = 1 is z_k^-1, so every contour point shows directly.
  const int m = 50;
  const double fs = 8000, f0 = 120, df = 35;
  std::vector<TCplx> x(7, 0.0);
  x[1] = 1.0;
  TCztPlan plan;
  const auto inner = CztZoomContour(f0, df, m, 0.9, 1.2, fs);
  plan.Init(7, m, inner);
  const auto got = Apply(plan, x);
  EXPECT_NEAR(std::abs(got[0]), 1 / 0.9, 1e-14);
  EXPECT_NEAR(std::abs(got[m - 1]), 1 / 1.2, 1e-14);
  const long double q = std::pow(1.2L / 0.9L, 1.0L / (m - 1));
  EXPECT_TRUE(sigflow::test::WithinBound(got, DirectZoom(x, m, fs, f0, df, 0.9L, q),
                                         sigflow::test::BluesteinBound(x, m, inner)));
  // The whole spiral on a longer complex frame.
  const auto y = Noise(300, 3);
  const auto outer = CztZoomContour(f0, df, m, 0.995, 1.002, fs);
  plan.Init(300, m, outer);
  EXPECT_TRUE(sigflow::test::WithinBound(
      Apply(plan, y), DirectZoom(y, m, fs, f0, df, 0.995L, std::pow(1.002L / 0.995L, 1.0L / (m - 1))),
      sigflow::test::BluesteinBound(y, m, outer)));
}

TEST(CztLaws, SineBetweenFftBinsPeaksAtItsFrequencyInTheZoom) {
  const int n = 1024;
  const double fs = 1000, f = 123.4567;
  std::vector<TCplx> x(n);
  for (int i = 0; i < n; ++i) x[std::size_t(i)] = std::cos(2 * std::numbers::pi * f * i / fs);
  // 1/1024 Hz steps from 123 Hz: the peak lies at k = 0.4567 * 1024 = 467.66.
  TCztPlan plan;
  plan.Init(n, 1024, CztZoomContour(123.0, 1.0 / 1024, 1024, 1.0, 1.0, fs));
  const auto X = Apply(plan, x);
  const auto peak = std::max_element(X.begin(), X.end(), [](TCplx a, TCplx b) { return std::abs(a) < std::abs(b); });
  EXPECT_EQ(peak - X.begin(), 468);
  // Rectangular window: the amplitude at the true frequency is N/2 (plus the image's leakage).
  EXPECT_NEAR(std::abs(*peak), n / 2.0, 0.01 * n);
}

TEST(CztShapes, EmptyInputGivesZerosAndSingleSampleInputIsConstant) {
  TCztPlan plan;
  plan.Init(0, 5, CztContour(0.5, TCplx(0.3, 1.1)));
  EXPECT_EQ(plan.FftLength(), 0);
  std::vector<TCplx> none;
  EXPECT_TRUE(Near(Apply(plan, none), std::vector<TCplx>(5, 0.0), 0.0));
  // A^0 W^0 = 1 for every k, on or off the circle.
  plan.Init(1, 4, CztContour(0.5, TCplx(0.3, 1.1)));
  EXPECT_TRUE(Near(Apply(plan, {TCplx(2.5, -1)}), std::vector<TCplx>(4, TCplx(2.5, -1)), 1e-15));
  plan.Init(6, 0, CztContour(1.0, 1.0));
  EXPECT_TRUE(Apply(plan, Noise(6, 1)).empty());
  TCztPlan empty;
  EXPECT_TRUE(Apply(empty, {}).empty());
}

TEST(CztShapes, ReinitialisingToOtherShapesMatchesFreshPlans) {
  const auto x = Noise(200, 9);
  const auto contour = CztZoomContour(0.05, 0.001, 333, 1.0, 0.97, 1.0);
  TCztPlan fresh;
  fresh.Init(200, 333, contour);
  const auto want = Apply(fresh, x);
  TCztPlan reused;
  reused.Init(1000, 17, CztContour(1.0, TCplx(0.0, 1.0)));
  reused.Init(13, 2000, contour);
  reused.Init(200, 333, contour);
  EXPECT_EQ(reused.FftLength(), fresh.FftLength());
  EXPECT_TRUE(Near(Apply(reused, x), want, 0.0));
  TCztPlan copy(reused);
  EXPECT_TRUE(Near(Apply(copy, x), want, 0.0));
}

TEST(CztShapes, FftLengthIsTheNextSevenSmoothLength) {
  EXPECT_EQ(FastFftLength(0), 1);
  EXPECT_EQ(FastFftLength(1), 1);
  EXPECT_EQ(FastFftLength(11), 12);
  EXPECT_EQ(FastFftLength(5095), 5103);  // 3^6 * 7; 4096 + 1000 - 1 inputs of the zoom benchmark
  EXPECT_EQ(FastFftLength(1021), 1024);
  EXPECT_EQ(FastFftLength(1 << 30), 1 << 30);
  TCztPlan plan;
  plan.Init(4096, 1000, CztContour(1.0, 1.0));
  EXPECT_EQ(plan.FftLength(), 5103);
}

TEST(CztZoom, PointCountTruncatesAndAZeroStepGivesNoPoints) {
  EXPECT_EQ(CztZoomPoints(0.0, 0.5, 0.0078125), 64);
  EXPECT_EQ(CztZoomPoints(0.0, 1.0, 0.3), 3);
  EXPECT_EQ(CztZoomPoints(0.8, 0.8, 0.0078125), 0);
  EXPECT_EQ(CztZoomPoints(0.8, 0.5, 0.0078125), 0);
  EXPECT_EQ(CztZoomPoints(0.0, 0.5, 0.0), 0);
  EXPECT_EQ(CztZoomPoints(0.0, 0.5, -1.0), 0);
  EXPECT_EQ(CztZoomPoints(0.0, 0.5, std::numeric_limits<double>::denorm_min()), 1000000);
  EXPECT_EQ(CztZoomPoints(0.0, 2e6, 1.0), 1000000);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(CztZoomPoints(nan, 0.5, 0.01), 0);
  EXPECT_EQ(CztZoomPoints(0.0, inf, 0.01), 0);
  EXPECT_EQ(CztZoomPoints(0.0, 0.5, nan), 0);
}

TEST(CztZoom, ContourOfAZoomOnTheUnitCircle) {
  const auto c = CztZoomContour(100.0, 2.5, 40, 1.0, 1.0, 44100.0);
  EXPECT_EQ(c.A.LogRadius, 0.0);
  EXPECT_EQ(c.W.LogRadius, 0.0);
  EXPECT_NEAR(std::abs(c.A.Value() - std::polar(1.0, 2 * std::numbers::pi * 100 / 44100)), 0.0, 1e-15);
  EXPECT_NEAR(std::abs(c.W.Value() - std::polar(1.0, -2 * std::numbers::pi * 2.5 / 44100)), 0.0, 1e-15);
  // One point: the stop radius plays no part.
  EXPECT_EQ(CztZoomContour(0, 1, 1, 2.0, 5.0, 10).W.LogRadius, 0.0);
}

TEST(CztZoom, PowersKeepTheAngleExactForLargeExponents) {
  // (e^{2 pi i / 7})^(7 * 10^12 + 1) is e^{2 pi i / 7}: the turn count is removed exactly.
  const TZPolar z{0.0, 1.0, 7.0};
  EXPECT_NEAR(std::abs(z.Power(7e12 + 1) - z.Value()), 0.0, 1e-15);
  EXPECT_NEAR(std::abs(z.Power(-7e12 - 1) - std::conj(z.Value())), 0.0, 1e-15);
  const TZPolar r = TZPolar::FromComplex(TCplx(0.0, -2.0));
  EXPECT_NEAR(r.Radius(), 2.0, 1e-15);
  EXPECT_NEAR(std::abs(r.Power(3) - TCplx(0.0, 8.0)), 0.0, 1e-14);
}

TEST(CztErrors, InvalidArgumentsNameTheViolatedCondition) {
  auto message = [](auto&& f) {
    try {
      f();
    } catch (const Exception& e) {
      return e.Message();
    }
    return std::string("no exception");
  };
  TCztPlan plan;
  const auto ok = CztContour(1.0, TCplx(0.0, 1.0));
  EXPECT_EQ(message([&] { plan.Init(-1, 3, ok); }), "Czt: n < 0");
  EXPECT_EQ(message([&] { plan.Init(3, -1, ok); }), "Czt: m < 0");
  EXPECT_EQ(message([&] { plan.Init(1 << 28, 1, ok); }), "Czt: length too large");
  EXPECT_EQ(message([&] { plan.Init(3, 3, CztContour(0.0, 1.0)); }), "Czt: bad contour");
  EXPECT_EQ(message([&] { plan.Init(3, 3, {TZPolar{}, TZPolar{0.0, 1.0, 0.0}}); }), "Czt: bad contour");
  EXPECT_EQ(message([] { CztZoomContour(0, 1, 5, 0.0, 1.0, 1); }), "Czt: StartRadius <= 0");
  EXPECT_EQ(message([] { CztZoomContour(0, 1, 5, 1.0, -0.5, 1); }), "Czt: StopRadius <= 0");
  EXPECT_EQ(message([] { CztZoomContour(0, 1, 5, 1.0, 1.0, 0); }), "Czt: SamplingFrequency <= 0");
  EXPECT_EQ(message([] { CztZoomContour(0, 1, 0, 1.0, 1.0, 1); }), "Czt: points < 1");
  plan.Init(4, 3, ok);
  std::vector<TCplx> x(5), out(3);
  EXPECT_EQ(message([&] { Czt(plan, std::span<const TCplx>(x), out); }), "Czt: input length differs from the plan");
  x.resize(4);
  out.resize(2);
  EXPECT_EQ(message([&] { Czt(plan, std::span<const TCplx>(x), out); }), "Czt: output length differs from the plan");
  TVec v(4);
  EXPECT_EQ(message([&] { Czt(plan, v, v); }), "Czt: destination is the source");
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
    AllocationScope scope;
    for (int i = 0; i < 3; ++i) {
      plan.Init(n, m, contour);
      Czt(plan, frame, out);
      Czt(plan, cframe, out);
      Czt(plan, frame.Span(), out.CSpan());
    }
    EXPECT_EQ(scope.Count(), 0u);
  }
  EXPECT_EQ(FftPlanCount(), plans);
}
