// Measurements read through the whole analyzer chain: frames of a running signal, Hann
// window, averaging, peak search and refinement, tone measurements and bands.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "analyzer_support.h"
#include "sigflow/analysis/SpectrumBands.h"
#include "sigflow/analysis/SpectrumBandsAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"

namespace sigflow::test {
namespace {

constexpr double Fs = 48000;
constexpr int N = 4096;

// A 1 kHz sine with 1 % second harmonic, running on from frame to frame.
struct HarmonicSource {
  long long sample = 0;
  std::vector<double> Next() {
    std::vector<double> x(N);
    for (int i = 0; i < N; ++i) {
      const double t = double(sample + i) / Fs;
      x[std::size_t(i)] = std::sin(2 * kPi * 1000 * t + 0.4) + 0.01 * std::sin(2 * kPi * 2000 * t + 1.1);
    }
    sample += N;
    return x;
  }
};

void TraceHarmonics(TSpectrumAnalyzer& an, TPeakTraceMethod method) {
  an.SetWindow(wtHanning);
  // A tone between bins leaks -31 dB at 2.5 bins, falling 18 dB per octave: a lobe of 16 bins
  // a side keeps the leakage far below noise 60 dB down (8 a side read 58.2 dB).
  an.SetMainlobeWidth(32);
  an.SetHarmonics(10);
  auto* p = an.Peaks();
  p->SetTraceMethod(method);
  p->SetHarmonicsCount(9);
  p->Interpolation()->SetMethod(imNumeric);
  p->Interpolation()->SetPrecision(ip8);
  p->Interpolation()->SetHarmonics(true);
}

TEST(AnalyzerEndToEnd, FundamentalAndThdOfAHarmonicSine) {
  // One frame at a time: the numeric search refines the fundamental between the bins
  // (1000 Hz lies 1/3 of a bin off bin 85), and the amplitudes are read at the multiples.
  AnalyzerRig rig;
  TraceHarmonics(rig.analyzer, ptFreqHarmonics);
  HarmonicSource src;
  for (int frame = 0; frame < 3; ++frame) {
    SetReal(rig.input, src.Next(), Fs);
    rig.analyzer.Update();
    const TMarkList& m = rig.analyzer.Marks();
    ASSERT_GE(m.Count(), 2);
    EXPECT_NEAR(m.Values(0).Freq, 1000, 1e-3);
    EXPECT_NEAR(m.Values(0).Amplt, 1, 1e-4);
    EXPECT_NEAR(m.Values(1).Freq, 2000, 2e-3);
    EXPECT_NEAR(m.Values(1).Amplt, 0.01, 1e-5);
    EXPECT_NEAR(rig.analyzer.THD(), 1.0, 0.01);
  }
}

TEST(AnalyzerEndToEnd, NumericSearchFindsTonesBetweenBins) {
  // The amplitude estimate follows the window's own kernel, zero padded or not.
  for (TSignalWindowType w : {wtHanning, wtBlackman, wtRectangular})
    for (int pad : {1, 2})
      for (double offset : {0.0, 0.1, 0.25, 0.37, 0.5, 0.81}) {
        SCOPED_TRACE(testing::Message() << int(w) << " pad " << pad << " offset " << offset);
        AnalyzerRig rig;
        TraceHarmonics(rig.analyzer, ptNone);
        rig.analyzer.SetWindow(w);
        rig.analyzer.SetZeroPadding(pad);
        const double bin = Fs / N;
        const double f = (300 + offset) * bin;
        SetReal(rig.input, Sine(N, Fs, 0.5, f, 0.7), Fs);
        rig.analyzer.Update();
        ASSERT_EQ(rig.analyzer.Marks().Count(), 1);
        // The rectangular window's leakage from the negative frequency stays in the estimate.
        const double tol = w == wtRectangular ? 1e-3 : 1e-6;
        EXPECT_NEAR(rig.analyzer.Marks().Values(0).Freq, f, tol * bin);
        EXPECT_NEAR(rig.analyzer.Marks().Values(0).Amplt, 0.5, w == wtRectangular ? 5e-4 : 1e-6);
      }
}

TEST(AnalyzerEndToEnd, ThdOverSixteenAverages) {
  // Averaging switches the numeric refinement off, so the marks sit on the largest bins of
  // the fundamental and of each harmonic; both are 1/3 bin off their tones and scallop alike.
  AnalyzerRig rig;
  TraceHarmonics(rig.analyzer, ptAmpltHarmonics);
  rig.analyzer.SetAveraging(avLinear);
  rig.analyzer.SetAverages(16);
  HarmonicSource src;
  for (int frame = 0; frame < 16; ++frame) {
    SetReal(rig.input, src.Next(), Fs);
    rig.analyzer.Update();
  }
  EXPECT_EQ(rig.analyzer.Averaged(), 16u);
  const TMarkList& m = rig.analyzer.Marks();
  ASSERT_GE(m.Count(), 2);
  EXPECT_NEAR(m.Values(0).Freq, 85 * Fs / N, 1e-9);
  EXPECT_NEAR(m.Values(1).Freq, 171 * Fs / N, 1e-9);
  EXPECT_NEAR(rig.analyzer.THD(), 1.0, 0.01);
}

TEST(AnalyzerEndToEnd, SnrOfASineInSeededNoise) {
  // SNR = A^2 / 2 / sigma^2 over the band up to fs / 2.
  for (double snrDb : {20.0, 40.0, 60.0}) {
    SCOPED_TRACE(snrDb);
    AnalyzerRig rig;
    TraceHarmonics(rig.analyzer, ptFreqHarmonics);
    const double sigma = std::sqrt(0.5 / std::pow(10, snrDb / 10));
    std::vector<double> x = Noise(N, 1234);
    for (int i = 0; i < N; ++i) x[std::size_t(i)] = std::sin(2 * kPi * 1000 * i / Fs) + sigma * x[std::size_t(i)];
    SetReal(rig.input, x, Fs);
    rig.analyzer.Update();
    EXPECT_NEAR(rig.analyzer.SNR(), snrDb, 0.3);
  }
}

TEST(AnalyzerEndToEnd, ThirdOctavesOfPinkNoiseAreFlat) {
  // Pink noise: white noise through a sum of first-order low passes whose poles are spread
  // a decade apart in pairs, flat to about 0.3 dB per octave slope error over 20 Hz .. 20 kHz.
  AnalyzerRig rig;
  TSpectrumAnalyzer& an = rig.analyzer;
  an.SetWindow(wtHanning);
  an.SetAveraging(avLinear);
  an.SetSpectrumType(stPower);  // power averages without the bias of averaged magnitudes
  an.SetAverages(64);
  AddOctaveBands(an.Bands()->Bands(), 3, 100, 16000);
  std::mt19937 gen(77);
  std::normal_distribution<double> white;
  double b0 = 0, b1 = 0, b2 = 0, b3 = 0, b4 = 0, b5 = 0, b6 = 0;
  for (int frame = 0; frame < 64; ++frame) {
    std::vector<double> x(N);
    for (auto& v : x) {
      const double w = white(gen);
      b0 = 0.99886 * b0 + w * 0.0555179;
      b1 = 0.99332 * b1 + w * 0.0750759;
      b2 = 0.96900 * b2 + w * 0.1538520;
      b3 = 0.86650 * b3 + w * 0.3104856;
      b4 = 0.55000 * b4 + w * 0.5329522;
      b5 = -0.7616 * b5 - w * 0.0168980;
      v = b0 + b1 + b2 + b3 + b4 + b5 + b6 + w * 0.5362;
      b6 = w * 0.115926;
    }
    SetReal(rig.input, x, Fs);
    an.Update();
  }
  const std::vector<double>& r = an.Bands()->Results();
  ASSERT_GE(r.size(), 20u);
  double mean = 0;
  for (double v : r) mean += 20 * std::log10(v);
  mean /= double(r.size());
  for (std::size_t i = 0; i < r.size(); ++i) EXPECT_NEAR(20 * std::log10(r[i]), mean, 1.0) << an.Bands()->StartFrequencies()[i];
}

}  // namespace
}  // namespace sigflow::test
