// Distortion and noise figures of a spectrum: THD from marks, the others from the amplitude
// spectrum around the lowest-frequency mark.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "sigflow/Numeric.h"
#include "sigflow/SignalTools.h"
#include "support/message.h"

namespace sigflow {
namespace {

TEST(SpectrumTHD, FromMarks) {
  TSpectrum s(nullptr);
  EXPECT_EQ(s.THD(), 0);
  // Harmonics first: the fundamental is found by sorting by frequency.
  s.Marks().Add({3000, 0.005, 0, 0});
  s.Marks().Add({2000, 0.01, 0, 0});
  s.Marks().Add({1000, 1.0, 0, 0});
  EXPECT_NEAR(s.THD(), 100 * std::sqrt(0.01 * 0.01 + 0.005 * 0.005), 1e-13);
  EXPECT_EQ(s.Marks().Values(0).Freq, 1000);
  // Harmonics counts the fundamental: 2 keeps only the second harmonic.
  s.SetHarmonics(2);
  EXPECT_NEAR(s.THD(), 1.0, 1e-13);
  // The fundamental's sign does not matter.
  s.Marks().SetValues(0, {1000, -1.0, 0, 0});
  EXPECT_NEAR(s.THD(), 1.0, 1e-13);
}

TEST(SpectrumTHD, ToneFiguresNeedAMark) {
  TSpectrum s(nullptr);
  EXPECT_THROW(s.SNR(), Exception);
  EXPECT_EQ(test::MessageOf([&] { s.THDN(); }), "Marks.Count = 0");
}

// A sine of amplitude A at f0 plus white Gaussian noise of deviation sigma, Hann-windowed,
// averaged over 64 power spectra; Amplt = sqrt(mean |X|^2) over N/2 bins.
void NoisySineSpectrum(TSpectrum& out, double A, double f0, double sigma, double fs, int N, double h2, double h3) {
  TVec window;
  Hanning(window, N, wsPeriodic);
  TVec x(N), noise(N), X;
  TSpectrum power(nullptr), sum(nullptr);
  sum.SetLength(N / 2);
  sum.SetZero();
  for (int avg = 0; avg < 64; ++avg) {
    RandGauss(noise, 0, sigma, 1000 + avg);
    for (int n = 0; n < N; ++n) {
      const double t = 2 * std::numbers::pi * f0 * n / fs + 0.1 * avg;
      x.SetValues(n, A * (std::sin(t) + h2 * std::sin(2 * t) + h3 * std::sin(3 * t)) + noise.Values(n));
    }
    ApplyWindow(x, window);
    x.RealFFT(X);
    power.PowerSpectrum(X);
    power.SetLength(N / 2);
    sum.Add(power);
  }
  out.SetSamplingFrequency(fs);
  out.Copy(sum);
  out.Amplt().Scale(1.0 / 64);
  out.Amplt().Sqrt();
}

TEST(SpectrumNoise, SNRMatchesTheTruth) {
  const double fs = 48000, A = 1, sigma = 0.01, f0 = 1000;
  TSpectrum s(nullptr);
  NoisySineSpectrum(s, A, f0, sigma, fs, 4096, 0, 0);
  ASSERT_NEAR(s.HzRes(), fs / 4096, 1e-12);
  // Off-bin, the tone leaks beyond the Hann main lobe above this noise level: wider lobes.
  s.SetMainlobeWidth(24);
  // A spur mark above the fundamental does not become the fundamental.
  s.Marks().Add({5000, 0.001, 0, 0});
  s.Marks().Add({f0, A, 0, 0});
  const double truth = 10 * std::log10(A * A / 2 / (sigma * sigma));
  EXPECT_NEAR(s.SNR(), truth, 0.2);
  // No harmonics: SINAD is the SNR, THD+N the noise over the fundamental in percent.
  EXPECT_NEAR(s.SINAD(), truth, 0.2);
  EXPECT_NEAR(s.THDN(), 100 * std::pow(10, -truth / 20), 100 * std::pow(10, -truth / 20) * 0.025);
  // Noise floor per bin: total noise spread over the N/2 bins.
  EXPECT_NEAR(s.NF(), -truth - 10 * std::log10(2048), 0.2);
}

TEST(SpectrumNoise, HarmonicsSeparateFromNoise) {
  const double fs = 48000, sigma = 0.001;
  TSpectrum s(nullptr);
  NoisySineSpectrum(s, 1, 1500, sigma, fs, 4096, 0.01, 0.005);
  s.Marks().Add({1500, 1, 0, 0});
  const double thd = 100 * std::sqrt(0.01 * 0.01 + 0.005 * 0.005);
  const double snr = 10 * std::log10(0.5 / (sigma * sigma));
  EXPECT_NEAR(s.SNR(), snr, 0.2);
  // THD+N = sqrt(THD^2 + noise^2) in percent.
  const double noisePct = 100 * std::pow(10, -snr / 20);
  EXPECT_NEAR(s.THDN(), std::hypot(thd, noisePct), 0.01);
  EXPECT_NEAR(s.SINAD(), -20 * std::log10(std::hypot(thd, noisePct) / 100), 0.1);
  // The largest spur is the second harmonic, 40 dB down (Hann lobes keep the ratio).
  EXPECT_NEAR(s.SFDR(), 40, 0.1);
}

TEST(SpectrumRMS, PeakAmplitudesToRMS) {
  TSpectrum s(nullptr);
  s.SetLength(4);
  s.Amplt().SetValues(0, 0.5);  // DC
  s.Amplt().SetValues(2, 2);    // a sine of peak 2
  EXPECT_NEAR(s.RMS(), std::sqrt(0.25 + 2.0), 1e-15);
  s.SetBandWidthL(10);  // bin 0 no longer at 0 Hz
  EXPECT_NEAR(s.RMS(), std::sqrt(0.125 + 2.0), 1e-15);
  s.SetComplex(true);
  EXPECT_NEAR(s.RMS(), std::sqrt(0.25 + 4.0), 1e-15);
}

}  // namespace
}  // namespace sigflow
