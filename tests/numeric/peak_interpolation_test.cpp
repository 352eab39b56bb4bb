#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/PeakInterpolation.h"
#include "support/message.h"

using namespace sigflow;

namespace {

struct Spectrum {
  std::vector<TCplx> x;
  std::vector<double> y;
};

// Rectangular window: the FFT of a tone at bin k0 + delta, complex (analytic) or real cosine.
Spectrum Tone(int n, int k0, double delta, bool complex) {
  std::vector<TCplx> s{std::vector<TCplx>(std::size_t(n))};
  const double w = 2 * std::numbers::pi * (k0 + delta) / n;
  for (int i = 0; i < n; ++i)
    s[std::size_t(i)] = complex ? std::polar(1.0, w * i + 0.3) : TCplx(std::cos(w * i + 0.3));
  Spectrum r{std::vector<TCplx>(s.size()), std::vector<double>(s.size())};
  FFT(s, r.x);
  for (std::size_t i = 0; i < s.size(); ++i) r.y[i] = std::abs(r.x[i]);
  return r;
}

// Long-frame offsets of the amplitude rules for a rectangular window: with |X[k+j]|
// proportional to 1/|d - j|, a = 1/(1+d), b = 1/d, c = 1/(1-d) for 0 <= d < 1/2, odd in d.
double QuadraticBias(double d) {
  const double e = std::abs(d);
  return std::copysign(e * e / (1 - e - e * e), d);
}
double BarycentricBias(double d) {
  const double e = std::abs(d);
  return std::copysign(2 * e * e / (1 + 2 * e - e * e), d);
}

const double kOffsets[] = {-0.4, -0.3, -0.2, -0.1, 0.1, 0.2, 0.3, 0.4};

}  // namespace

// Bin spacing 2.5 Hz from a band edge at 100 Hz: frequencies map back to offsets in bins.
TEST(PeakInterpolation, ComplexToneAtFractionalOffsetsGivesTheDerivedOffsets) {
  const int n = 1024, k = 200;
  const double df = 2.5, bl = 100;
  auto offset = [&](double f) { return (f - bl) / df - k; };
  for (double d : kOffsets) {
    SCOPED_TRACE(d);
    const Spectrum s = Tone(n, k, d, true);
    EXPECT_NEAR(offset(QuinnSecondPeak(s.x, k, df, bl)), d, 1e-5);
    EXPECT_NEAR(offset(QuinnFirstPeak(s.x, k, df, bl)), d, 1e-5);
    EXPECT_NEAR(offset(JainPeak(s.y, k, df, bl)), d, 1e-5);
    EXPECT_NEAR(offset(QuadraticPeak(s.y, k, df, bl)), QuadraticBias(d), 1e-5);
    EXPECT_NEAR(offset(BarycentricPeak(s.y, k, df, bl)), BarycentricBias(d), 1e-5);
  }
}

// A real cosine adds the leakage of its image at -f, about d / (2 k0) relative: with k0 at
// a quarter of the frame the second estimator still lands within 1e-3 bins.
TEST(PeakInterpolation, QuinnSecondLocatesARealSineWithin1e3Bins) {
  const int n = 4096, k = 1024;
  for (double d : kOffsets) {
    const Spectrum s = Tone(n, k, d, false);
    EXPECT_NEAR(QuinnSecondPeak(s.x, k, 1.0, 0.0) - k, d, 1e-3) << d;
    EXPECT_NEAR(JainPeak(s.y, k, 1.0, 0.0) - k, d, 1e-3) << d;
  }
}

TEST(PeakInterpolation, SymmetricNeighboursGiveTheBinAndJainsMidpoint) {
  const std::vector<double> y{0.1, 0.5, 2.0, 0.5, 0.2};
  EXPECT_EQ(QuadraticPeak(y, 2, 3.0, 10.0), 16.0);
  EXPECT_EQ(BarycentricPeak(y, 2, 3.0, 10.0), 16.0);
  // Jain's rule reads the larger neighbour: it lands half way when that neighbour equals the
  // peak bin (a peak symmetric about k + 1/2) and below k + 1/2 otherwise (r = c / b).
  const std::vector<double> flat{0.1, 0.5, 2.0, 2.0, 0.5};
  EXPECT_EQ(JainPeak(flat, 2, 3.0, 10.0), 10.0 + 2.5 * 3.0);
  EXPECT_DOUBLE_EQ(JainPeak(y, 2, 3.0, 10.0), 10.0 + (2 + 0.25 / 1.25) * 3.0);
  // Mirrored data gives the mirrored position below bin k.
  const std::vector<double> mirrored{0.5, 2.0, 2.0, 0.5, 0.1};
  EXPECT_EQ(JainPeak(mirrored, 2, 3.0, 10.0), 10.0 + 1.5 * 3.0);
}

TEST(PeakInterpolation, QuinnFirstPicksTheUpperEstimateOnlyWhenBothArePositive) {
  // X[k-1] / X[k] = 0.2 and X[k+1] / X[k] = 0.5: dm = 0.25, dp = 1 -> dp.
  const std::vector<TCplx> both{0.0, TCplx(0, 0.2), TCplx(0, 1), TCplx(0, 0.5), 0.0};
  EXPECT_DOUBLE_EQ(QuinnFirstPeak(both, 2, 1.0, 0.0), 3.0);
  // X[k+1] / X[k] = -0.5: dp < 0 -> dm.
  const std::vector<TCplx> one{0.0, 0.2, 1.0, -0.5, 0.0};
  EXPECT_DOUBLE_EQ(QuinnFirstPeak(one, 2, 1.0, 0.0), 2.25);
}

TEST(PeakInterpolation, QuinnTauHasTheClosedFormDerivative) {
  // d/dx Tau = (1.5 x + 1) / (3 x^2 + 6 x + 1), from the two logarithms.
  for (double x : {0.0, 0.01, 0.1, 0.25, 1.0}) {
    const double h = 1e-6;
    const double numeric = (QuinnTau(x + h) - QuinnTau(x - h)) / (2 * h);
    EXPECT_NEAR(numeric, (1.5 * x + 1) / (3 * x * x + 6 * x + 1), 1e-8) << x;
  }
  EXPECT_NEAR(QuinnTau(0.0), std::sqrt(6.0) / 12 * std::atanh(std::sqrt(2.0 / 3.0)), 1e-15);
}

TEST(PeakInterpolation, PeakWithoutBothNeighboursIsRejected) {
  const std::vector<double> y{1, 2, 3};
  const std::vector<TCplx> x{1, 2, 3};
  for (int k : {0, 2, -1}) {
    EXPECT_EQ(test::MessageOf([&] { QuadraticPeak(y, k, 1, 0); }), "PeakInterpolation: bin k needs a neighbour on each side")
        << k;
    EXPECT_THROW(QuinnSecondPeak(x, k, 1, 0), Exception);
  }
}
