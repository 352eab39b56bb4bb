// Band RMS values against direct sums: partial edge bins, transitions, Parseval's law,
// amplitude kinds, references, weighting and fractional-octave bands.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "peak_host_fixture.h"
#include "sigflow/analysis/SpectrumBandsAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::TTestPeakHost;

std::vector<double> RandomSpectrum(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> u(0.1, 2.0);
  std::vector<double> y(n);
  for (double& v : y) v = u(gen);
  return y;
}

TBandRecord Band(double start, double stop, TBandReference ref = fnSamplingFrequency) {
  TBandRecord b;
  b.Start = start;
  b.Stop = stop;
  b.Reference = ref;
  return b;
}

// Direct power of [a, b] Hz on a one-sided spectrum of 1/2 Hz bins starting at 0 Hz.
double DirectPower(const std::vector<double>& y, double df, double a, double b) {
  double p = 0;
  for (std::size_t k = 0; k < y.size(); ++k) {
    const double lo = (k - 0.5) * df, hi = (k + 0.5) * df;
    const double overlap = std::max(0.0, std::min(hi, b) - std::max(lo, a));
    p += overlap / df * y[k] * y[k] * (k == 0 ? 1.0 : 0.5);
  }
  return p;
}

TEST(BandsAnalysis, PartialEdgeBinsAgainstDirectSum) {
  TTestPeakHost host;
  const std::vector<double> y = RandomSpectrum(200, 1);
  host.SetAmplitudes(y, 0.5);
  TSpectrumBandsAnalyzer ba(nullptr, &host);
  // Partial bins at both ends; the 0 Hz bin, half of it below 0 Hz; inside one bin; beyond the last bin.
  const std::pair<double, double> bands[] = {{10.3, 20.71}, {0, 3.2}, {40.1, 40.2}, {90, 120}};
  for (auto [a, b] : bands) ba.Bands().AddBand(Band(a, b));
  ba.Update();
  ASSERT_EQ(ba.Results().size(), 4u);
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(ba.Results()[i], std::sqrt(DirectPower(y, 0.5, bands[i].first, bands[i].second)), 1e-12) << i;
  EXPECT_NEAR(ba.Results()[2], std::sqrt(0.2 * y[80] * y[80] / 2), 1e-12);
  // Zero padding spreads the same power over more bins.
  host.ZeroPaddingRatio = 4;
  ba.Update();
  EXPECT_NEAR(ba.Results()[0], std::sqrt(DirectPower(y, 0.5, 10.3, 20.71) / 4), 1e-12);
}

TEST(BandsAnalysis, TransitionsWeighLinearly) {
  TTestPeakHost host;
  const std::vector<double> y = RandomSpectrum(100, 2);
  host.SetAmplitudes(y, 1.0);
  TSpectrumBandsAnalyzer ba(nullptr, &host);
  ba.Bands().AddBand({.Start = 20.2, .Stop = 40.7, .StartTransition = 3.1, .StopTransition = 5.3});
  ba.Update();
  // Fine midpoint integration of the trapezoid weight over each bin.
  double want = 0;
  const int m = 20000;
  for (int k = 0; k < 100; ++k) {
    double frac = 0;
    for (int i = 0; i < m; ++i) {
      const double f = k - 0.5 + (i + 0.5) / m;
      double w = 0;
      if (f > 20.2 && f < 40.7) w = std::min({(f - 20.2) / 3.1, (40.7 - f) / 5.3, 1.0});
      frac += w / m;
    }
    want += frac * y[k] * y[k] * (k == 0 ? 1 : 0.5);
  }
  EXPECT_NEAR(ba.Results()[0], std::sqrt(want), 1e-8);
}

TEST(BandsAnalysis, TilingBandsSumToTheSpectrumPower) {
  for (bool complex : {false, true}) {
    TTestPeakHost host;
    const std::vector<double> y = RandomSpectrum(256, 3);
    host.SetAmplitudes(y, 2.0);
    host.Spec.SetComplex(complex);
    host.Spec.SetLength(256);
    const double df = host.Spec.HzRes();
    const double lo = host.Spec.BandWidthL() - df / 2, hi = lo + 256 * df;
    TSpectrumBandsAnalyzer ba(nullptr, &host);
    std::mt19937 gen(9);
    std::uniform_real_distribution<double> u(0.3, 7.7);
    double edge = lo;
    while (edge < hi) {
      const double next = std::min(hi, edge + u(gen) * df);
      ba.Bands().AddBand(Band(edge, next));
      edge = next;
    }
    ba.Update();
    double sum = 0;
    for (double r : ba.Results()) sum += r * r;
    EXPECT_NEAR(sum, host.Spec.RMS() * host.Spec.RMS(), 1e-10 * sum) << complex;
  }
}

TEST(BandsAnalysis, AmplitudeKindsGiveOneResult) {
  const std::vector<double> y = RandomSpectrum(64, 4);
  const auto run = [&](int type, double scale, bool square, bool adjust) {
    TTestPeakHost host;
    std::vector<double> v(y);
    for (double& x : v) x = square ? x * x : x * scale;
    host.SetAmplitudes(v, 1.0);
    host.SpectrumType = type;
    TSpectrumBandsAnalyzer ba(nullptr, &host);
    ba.Bands().AddBand({.AdjustForSpectrumType = adjust, .Start = 3.3, .Stop = 50.6});
    ba.Update();
    return ba.Results()[0];
  };
  const double base = run(0, 1, false, true);
  EXPECT_NEAR(run(1, std::sqrt(0.5), false, true), base, 1e-12);
  EXPECT_NEAR(run(2, 1, true, true), base, 1e-12);
  EXPECT_NEAR(run(3, 2, false, true), base, 1e-12);
  EXPECT_NEAR(run(3, 2, false, false), 2 * base, 1e-12);  // read as plain amplitudes
}

TEST(BandsAnalysis, References) {
  TTestPeakHost host;
  const std::vector<double> y = RandomSpectrum(200, 5);
  host.SetAmplitudes(y, 1.0);  // sampling frequency 400 Hz
  host.Spec.Marks().Add({50, 1, 0, 0});
  host.Spec.Marks().Add({75, 1, 0, 0});
  TSpectrumPeaksAnalyzer peaks(nullptr, &host);
  TSpectrumBandsAnalyzer ba(nullptr, &host, &peaks);
  ba.Bands().AddBand(Band(0.1, 0.2, fnNyquist));
  ba.Bands().AddBand({.Reference = fnNthPeak, .PeakNumber = 2, .Start = 0.9, .Stop = 1.1});
  ba.Bands().AddBand(Band(1.5, 2.5, fnOrder));
  ba.Bands().AddBand({.Active = false, .Start = 1, .Stop = 2});
  ba.Update();
  EXPECT_DOUBLE_EQ(ba.StartFrequencies()[0], 20);
  EXPECT_DOUBLE_EQ(ba.StopFrequencies()[0], 40);
  EXPECT_NEAR(ba.Results()[0], std::sqrt(DirectPower(y, 1, 20, 40)), 1e-12);
  EXPECT_NEAR(ba.Results()[1], std::sqrt(DirectPower(y, 1, 67.5, 82.5)), 1e-12);
  EXPECT_TRUE(std::isnan(ba.Results()[2]));  // no order reference yet
  EXPECT_EQ(ba.Results()[3], 0.0);
  peaks.SetOrderActive(true);
  peaks.SetOrderFrequency(20);
  peaks.ApplyOrder();
  ba.Update();
  EXPECT_NEAR(ba.Results()[2], std::sqrt(DirectPower(y, 1, 30, 50)), 1e-12);
  host.Spec.Marks().Delete(1);
  ba.Update();
  EXPECT_TRUE(std::isnan(ba.Results()[1]));  // only one mark left

  // Steady state allocates nothing.
  test::AllocationScope scope;
  for (int i = 0; i < 3; ++i) ba.Update();
  EXPECT_EQ(scope.Count(), 0u);
}

TEST(BandsAnalysis, WeightingCurves) {
  EXPECT_NEAR(AWeightingDb(1000), 0, 1e-12);
  EXPECT_NEAR(CWeightingDb(1000), 0, 1e-12);
  // IEC 61672-1 table, at the exact base-10 third-octave frequencies 1000 * 10^(n/10).
  struct Row { int n; double a, c; };
  const Row table[] = {
      {-20, -70.4, -14.3}, {-19, -63.4, -11.2}, {-18, -56.7, -8.5}, {-17, -50.5, -6.2}, {-16, -44.7, -4.4},
      {-15, -39.4, -3.0},  {-14, -34.6, -2.0},  {-13, -30.2, -1.3}, {-12, -26.2, -0.8}, {-11, -22.5, -0.5},
      {-10, -19.1, -0.3},  {-9, -16.1, -0.2},   {-8, -13.4, -0.1},  {-7, -10.9, 0.0},   {-6, -8.6, 0.0},
      {-5, -6.6, 0.0},     {-4, -4.8, 0.0},     {-3, -3.2, 0.0},    {-2, -1.9, 0.0},    {-1, -0.8, 0.0},
      {0, 0.0, 0.0},       {1, 0.6, 0.0},       {2, 1.0, -0.1},     {3, 1.2, -0.2},     {4, 1.3, -0.3},
      {5, 1.2, -0.5},      {6, 1.0, -0.8},      {7, 0.5, -1.3},     {8, -0.1, -2.0},    {9, -1.1, -3.0},
      {10, -2.5, -4.4},    {11, -4.3, -6.2},    {12, -6.6, -8.5},   {13, -9.3, -11.2},
  };
  for (const Row& r : table) {
    const double f = 1000 * std::pow(10.0, r.n / 10.0);
    EXPECT_NEAR(AWeightingDb(f), r.a, 0.05 + 1e-9) << f;
    EXPECT_NEAR(CWeightingDb(f), r.c, 0.05 + 1e-9) << f;
  }
}

TEST(BandsAnalysis, WeightedBandScalesEachBin) {
  TTestPeakHost host;
  std::vector<double> y(2000, 0.0);
  y[1000] = 3;  // 1 kHz
  y[100] = 2;   // 100 Hz
  host.SetAmplitudes(y, 1.0);
  TSpectrumBandsAnalyzer ba(nullptr, &host);
  ba.Bands().AddBand(Band(900, 1100));
  ba.Bands().AddBand(Band(90, 110));
  ba.SetWeighting(bwA);
  ba.Update();
  EXPECT_NEAR(ba.Results()[0], 3 / std::sqrt(2.0), 1e-12);
  EXPECT_NEAR(20 * std::log10(ba.Results()[1] / (2 / std::sqrt(2.0))), AWeightingDb(100), 1e-12);
  ba.SetWeighting(bwC);
  ba.Update();
  EXPECT_NEAR(20 * std::log10(ba.Results()[1] / (2 / std::sqrt(2.0))), CWeightingDb(100), 1e-12);
}

TEST(BandsAnalysis, FractionalOctaveBands) {
  // Base-10 third octaves: the centres are 1000 * 10^(x/10) and the edges a sixth of an
  // octave (base 10) to each side.
  for (int x = -20; x <= 13; ++x) {
    const double c = 1000 * std::pow(10.0, x / 10.0);
    EXPECT_NEAR(OctaveBandCentre(3, x), c, 1e-12 * c);
    EXPECT_NEAR(OctaveBandLow(3, x), c * std::pow(10.0, -0.05), 1e-12 * c);
    EXPECT_NEAR(OctaveBandHigh(3, x), c * std::pow(10.0, 0.05), 1e-12 * c);
    EXPECT_NEAR(OctaveBandCentre(1, x / 3), 1000 * std::pow(10.0, 0.3 * (x / 3)), 1e-9);
  }
  // Nominal third-octave centres, which round the exact ones.
  const double nominal[] = {10,   12.5, 16,   20,   25,   31.5,  40,    50,    63,    80,    100,  125,
                            160,  200,  250,  315,  400,  500,   630,   800,   1000,  1250,  1600, 2000,
                            2500, 3150, 4000, 5000, 6300, 8000, 10000, 12500, 16000, 20000};
  TSpectrumBands third;
  AddOctaveBands(third, 3, 10, 20000);
  ASSERT_EQ(third.Count(), 34);
  for (int i = 0; i < 34; ++i) {
    const double c = std::sqrt(third.Items(i)->Start * third.Items(i)->Stop);
    EXPECT_NEAR(c / nominal[i], 1, 0.02) << nominal[i];
    if (i > 0) {
      EXPECT_NEAR(third.Items(i)->Start, third.Items(i - 1)->Stop, 1e-9 * c);  // bands tile
    }
  }
  TSpectrumBands octave;
  AddOctaveBands(octave, 1, 15, 17000);
  const double onominal[] = {16, 31.5, 63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000};
  ASSERT_EQ(octave.Count(), 11);
  for (int i = 0; i < 11; ++i)
    EXPECT_NEAR(std::sqrt(octave.Items(i)->Start * octave.Items(i)->Stop) / onominal[i], 1, 0.02);
  // Even fractions put the centres between the odd ones' ladder.
  EXPECT_NEAR(OctaveBandCentre(2, 0), 1000 * std::pow(10.0, 0.075), 1e-9);
}

TEST(BandsAnalysis, InactiveAnalyzerKeepsResults) {
  TTestPeakHost host;
  host.SetAmplitudes(RandomSpectrum(50, 6), 1.0);
  TSpectrumBandsAnalyzer ba(nullptr, &host);
  ba.Bands().AddBand(Band(5, 10));
  ba.Update();
  const double r = ba.Results()[0];
  ba.SetActive(false);
  host.SetAmplitudes(RandomSpectrum(50, 7), 1.0);
  ba.Update();
  EXPECT_EQ(ba.Results()[0], r);
}

}  // namespace
}  // namespace sigflow
