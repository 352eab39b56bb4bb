// Refinement of a peak between bins: the closed forms against their known behaviour on a
// rectangular-window sine, the numeric search, and the rules that switch estimators off.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "peak_host_fixture.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

using test::TTestPeakHost;

constexpr int N = 4096;
constexpr double Fs = 4096.0;  // one hertz per bin
constexpr int K0 = 1000;

void SineFrame(TTestPeakHost& host, double delta, double phase = 0.3) {
  std::vector<double> x(N);
  for (int i = 0; i < N; ++i) x[i] = std::cos(2 * std::numbers::pi * (K0 + delta) * i / N + phase);
  host.SetFrame(x, Fs);
}

double Refine(TTestPeakHost& host, TInterpolationMethod m) {
  TSpectrumPeaksAnalyzer peaks(nullptr, &host);
  peaks.Interpolation()->SetMethod(m);
  return peaks.Approximate(K0 + 0.2) - K0;  // bin offset; the bin spacing is 1 Hz
}

TEST(PeaksInterpolation, PrecisionDivisors) {
  TSpectrumPeakInterpolation p;
  const std::pair<TInterpolationPrecision, double> table[] = {{ip2, 1e2}, {ip4, 1e4}, {ip6, 1e6}, {ip8, 1e8}};
  for (auto [ip, d] : table) {
    p.SetPrecision(ip);
    EXPECT_EQ(p.PrecisionDivisor(), d);
  }
}

TEST(PeaksInterpolation, ClosedFormsOnRectangularSine) {
  for (double delta : {0.1, 0.2, 0.3, 0.4}) {
    SCOPED_TRACE(delta);
    TTestPeakHost host;
    SineFrame(host, delta);
    ASSERT_DOUBLE_EQ(host.Spec.HzRes(), 1.0);
    // The quadratic rule without the factor 1/2 and the barycentric rule have a known bias
    // on a rectangular-window tone; Quinn's and Jain's estimators are unbiased.
    const double quad = delta * delta / (1 - delta - delta * delta);
    const double bary = 2 * delta * delta / (1 + 2 * delta - delta * delta);
    EXPECT_NEAR(Refine(host, imQuadratic), quad, 2e-3);
    EXPECT_NEAR(Refine(host, imBarycentric), bary, 2e-3);
    EXPECT_NEAR(Refine(host, imJain), delta, 2e-3);
    EXPECT_NEAR(Refine(host, imQuinnSecond), delta, 1e-3);
    EXPECT_NEAR(Refine(host, imQuinnFirst), delta, 2e-3);
    EXPECT_EQ(Refine(host, imNone), 0.0);
    // The amplitude estimate follows the rectangular kernel between the bins, so the numeric
    // search finds the tone; what is left is the leakage of the negative-frequency image.
    TSpectrumPeaksAnalyzer peaks(nullptr, &host);
    peaks.Interpolation()->SetMethod(imNumeric);
    peaks.Interpolation()->SetPrecision(ip8);
    EXPECT_NEAR(peaks.Approximate(K0 + 0.3), K0 + delta, 5e-4);
  }
}

TEST(PeaksInterpolation, SymmetricPeakJainFromBandEdgeAndEdgeBin) {
  TTestPeakHost host;
  std::vector<double> y(32, 0.1);
  y[9] = 0.5;
  y[10] = 2.0;
  y[11] = 0.5;
  host.SetAmplitudes(y, 2.0);
  TSpectrumPeaksAnalyzer peaks(nullptr, &host);
  peaks.Interpolation()->SetMethod(imQuadratic);
  EXPECT_DOUBLE_EQ(peaks.Approximate(21), 20.0);
  peaks.Interpolation()->SetMethod(imBarycentric);
  EXPECT_DOUBLE_EQ(peaks.Approximate(21), 20.0);
  // Jain's rule reads r = y[k+1] / y[k] = 1/4 here: position k + 1/5.
  peaks.Interpolation()->SetMethod(imJain);
  EXPECT_DOUBLE_EQ(peaks.Approximate(21), 2 * (10 + 0.2));
  // A peak symmetric about k + 1/2 (y[k] = y[k+1]) sits at k + 1/2, measured from the lower
  // band edge, not from the converged bin.
  y[11] = 2.0;
  y[12] = 0.5;
  host.SetAmplitudes(y, 2.0);
  EXPECT_DOUBLE_EQ(peaks.Approximate(20), 21.0);
  host.Spec.SetBandWidthL(100);
  EXPECT_DOUBLE_EQ(peaks.Approximate(120), 121.0);
  y[11] = 1.0;  // r = 1/2: position k + 1/3
  host.SetAmplitudes(y, 2.0);
  host.Spec.SetBandWidthL(100);
  EXPECT_DOUBLE_EQ(peaks.Approximate(120), 100 + 2 * (10 + 1.0 / 3));
  // A maximum on the edge bin has no neighbour below it.
  y[0] = 5;
  host.SetAmplitudes(y, 1.0);
  host.Spec.SetBandWidthL(0);
  peaks.Interpolation()->SetMethod(imQuadratic);
  EXPECT_THROW(peaks.Approximate(0.2), Exception);
}

TEST(PeaksInterpolation, TauIsQuinnsCorrection) {
  for (double x : {0.0, 0.01, 0.1, 0.25}) {
    const double r = std::sqrt(2.0 / 3);
    const double want =
        0.25 * std::log(3 * x * x + 6 * x + 1) - std::sqrt(6.0) / 24 * std::log((x + 1 - r) / (x + 1 + r));
    EXPECT_NEAR(TSpectrumPeaksAnalyzer::Tau(x), want, 1e-15);
  }
}

TEST(PeaksInterpolation, ClosedFormsOnlyBeforeTheFirstSpectrum) {
  TTestPeakHost host;
  SineFrame(host, 0.3);
  const double quinn = Refine(host, imQuinnSecond);
  ASSERT_NEAR(quinn, 0.3, 1e-3);
  // After a spectrum (ratio set), with a window, or for power and real/imaginary spectra,
  // every closed form falls back to the bin.
  for (TInterpolationMethod m : {imQuadratic, imBarycentric, imQuinnFirst, imQuinnSecond, imJain}) {
    SCOPED_TRACE(int(m));
    host.ZeroPaddingRatio = 1;
    EXPECT_EQ(Refine(host, m), 0.0);
    host.ZeroPaddingRatio = 0;
    host.Window = 1;
    EXPECT_EQ(Refine(host, m), 0.0);
    host.Window = 0;
    for (int type : {2, 4}) {
      host.SpectrumType = type;
      EXPECT_EQ(Refine(host, m), 0.0);
    }
    host.SpectrumType = 1;
    EXPECT_NE(Refine(host, m), 0.0);
    host.SpectrumType = 0;
  }
}

TEST(PeaksInterpolation, AveragingOrStaleComplexSpectrumFallsBack) {
  TTestPeakHost host;
  SineFrame(host, 0.3);
  host.Averaged = 2;
  EXPECT_EQ(Refine(host, imQuinnFirst), 0.0);
  EXPECT_EQ(Refine(host, imQuinnSecond), 0.0);
  // Amplitude-only estimators still refine an averaged spectrum.
  EXPECT_NE(Refine(host, imQuadratic), 0.0);
  EXPECT_NE(Refine(host, imJain), 0.0);
  host.Averaged = 0;
  host.XValid = false;
  EXPECT_EQ(Refine(host, imQuinnSecond), 0.0);
  EXPECT_NE(Refine(host, imBarycentric), 0.0);

  // The numeric search, seen with a host that does not snap to the bin: it climbs to the
  // tone between the bins unless averaging switches it off; the stored method is left alone.
  host.XValid = true;
  host.Converge = false;
  host.ZeroPaddingRatio = 1;  // the numeric search stays available after a spectrum
  TSpectrumPeaksAnalyzer peaks(nullptr, &host);
  peaks.Interpolation()->SetMethod(imNumeric);
  peaks.Interpolation()->SetPrecision(ip8);
  EXPECT_NEAR(peaks.Approximate(K0 + 0.37), K0 + 0.3, 5e-4);
  host.Averaged = 1;
  EXPECT_EQ(peaks.Approximate(K0 + 0.37), K0 + 0.37);
  EXPECT_EQ(peaks.Interpolation()->Method(), imNumeric);
}

TEST(PeaksInterpolation, NumericSearchStopStep) {
  // A smooth estimate with its maximum at 0.37 bins; bin spacing 1.
  const auto est = [](double f) { return -(f - 0.37) * (f - 0.37); };
  // ip2: the last step is 1/64 bin (1/128 is below 1/100), so the search ends on 0.375.
  EXPECT_DOUBLE_EQ(HillClimbPeak(0.0, 1.0, 1e2, est), 0.375);
  const double f4 = HillClimbPeak(0.0, 1.0, 1e4, est);
  EXPECT_LE(std::fabs(f4 - 0.37), 1.0 / 8192);
  EXPECT_GT(std::fabs(f4 - 0.37), 1e-8);
  EXPECT_LE(std::fabs(HillClimbPeak(0.0, 1.0, 1e8, est) - 0.37), std::ldexp(1.0, -26));
  // Downhill start and a different bin spacing.
  EXPECT_LE(std::fabs(HillClimbPeak(3.0, 2.0, 1e8, [](double f) { return -std::fabs(f - 1.234); }) - 1.234),
            2 * std::ldexp(1.0, -26));
}

}  // namespace
}  // namespace sigflow
