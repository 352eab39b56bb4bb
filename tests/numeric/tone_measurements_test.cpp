#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/ToneMeasurements.h"
#include "support/message.h"

using namespace sigflow;

namespace {
// A lobe of a Hann-windowed, bin-centred tone of amplitude a: a/2, a, a/2.
void PutLobe(std::vector<double>& amplt, int bin, double a) {
  amplt[bin - 1] = a / 2;
  amplt[bin] = a;
  amplt[bin + 1] = a / 2;
}

TToneSettings Settings(double f0, double binHz) {
  TToneSettings s;
  s.FundamentalHz = f0;
  s.BinHz = binHz;
  return s;
}

// Averaged one-sided amplitude spectrum (coherent-gain corrected, periodic Hann) of frames
// of a sine of amplitude a at bin `bin` plus white Gaussian noise of standard deviation
// sigma, by direct DFT: slow and obviously right.
std::vector<double> NoisySineSpectrum(int n, int bin, double a, double h2, double sigma, int frames) {
  std::mt19937_64 rng(12345);
  auto gauss = [&] {
    // Box-Muller on 53-bit uniforms; the engine's raw output is portable.
    const double u1 = (static_cast<double>(rng() >> 11) + 1.0) * 0x1p-53;
    const double u2 = static_cast<double>(rng() >> 11) * 0x1p-53;
    return std::sqrt(-2.0 * std::log(u1)) * std::cos(2 * std::numbers::pi * u2);
  };
  std::vector<double> w(n), power(n / 2, 0.0), x(n);
  for (int i = 0; i < n; ++i) w[i] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * i / n);
  std::vector<std::complex<double>> twiddle(n);
  for (int i = 0; i < n; ++i) twiddle[i] = std::polar(1.0, -2 * std::numbers::pi * i / n);
  for (int f = 0; f < frames; ++f) {
    for (int i = 0; i < n; ++i) {
      const double ph = 2 * std::numbers::pi * bin * i / n;
      x[i] = (a * std::sin(ph) + h2 * a * std::sin(2 * ph) + sigma * gauss()) * w[i];
    }
    for (int k = 0; k < n / 2; ++k) {
      std::complex<double> acc = 0;
      for (int i = 0; i < n; ++i) acc += x[i] * twiddle[(static_cast<long>(k) * i) % n];
      const double amp = 2.0 * std::abs(acc) / (n * 0.5);  // coherent gain of Hann: 0.5
      power[k] += amp * amp / frames;
    }
  }
  for (auto& p : power) p = std::sqrt(p);
  return power;
}
}  // namespace

TEST(ToneMeasurements, DistortionFiguresOfKnownHarmonics) {
  std::vector<double> amplt(512, 0.0);
  PutLobe(amplt, 100, 1.0);
  PutLobe(amplt, 200, 0.01);
  PutLobe(amplt, 300, 0.005);
  auto m = MeasureTone(amplt, Settings(1000.0, 10.0));
  EXPECT_NEAR(m.THD(), 100 * std::sqrt(0.01 * 0.01 + 0.005 * 0.005), 1e-12);  // 1.118 %
  EXPECT_NEAR(m.THDN(), m.THD(), 1e-12);  // no noise
  EXPECT_NEAR(m.SFDR(), 40.0, 1e-12);     // largest spur: the 1 % second harmonic
  EXPECT_TRUE(std::isinf(m.SNR()));
  EXPECT_NEAR(m.SINAD(), -20 * std::log10(m.THD() / 100), 1e-12);
  // DC 0..4, the fundamental's lobe, and the lobes of harmonics 2..5 (6..10 lie beyond bin 511).
  EXPECT_EQ(m.NoiseBins, 512 - 5 - 9 - 4 * 9);
}

TEST(ToneMeasurements, HarmonicsFoldIntoTheBandWhenSampled) {
  // f0 = 300 Hz at fs = 1000 Hz: the 2nd harmonic (600 Hz) appears at 400 Hz.
  std::vector<double> amplt(500, 0.0);  // 1 Hz bins up to fs/2
  PutLobe(amplt, 300, 1.0);
  PutLobe(amplt, 400, 0.02);
  auto s = Settings(300.0, 1.0);
  s.SamplingHz = 1000.0;
  s.Harmonics = 2;
  EXPECT_NEAR(MeasureTone(amplt, s).THD(), 2.0, 1e-12);
  s.SamplingHz = 0;  // unfolded, 400 Hz is noise, not distortion
  const auto unfolded = MeasureTone(amplt, s);
  EXPECT_EQ(unfolded.HarmonicPower, 0.0);
  EXPECT_GT(unfolded.NoisePower, 0.0);
}

TEST(ToneMeasurements, SnrAndSinadOfSineInWhiteNoiseMatchTheTruth) {
  const int n = 512, bin = 40, frames = 64;
  const double a = 1.0, sigma = 0.01, h2 = 0.003;
  const auto amplt = NoisySineSpectrum(n, bin, a, h2, sigma, frames);
  auto s = Settings(bin * 1.0, 1.0);
  s.SamplingHz = n;
  const auto m = MeasureTone(amplt, s);
  const double snrTruth = 10 * std::log10(a * a / 2 / (sigma * sigma));  // 36.99 dB
  EXPECT_NEAR(m.SNR(), snrTruth, 0.2);
  const double sinadTruth = 10 * std::log10((a * a / 2) / (sigma * sigma + h2 * h2 * a * a / 2));
  EXPECT_NEAR(m.SINAD(), sinadTruth, 0.2);
  EXPECT_NEAR(m.THD(), 100 * h2, 0.02 * 100 * h2);
  // Mean noise power per bin relative to the carrier: -SNR - 10 log10(L).
  EXPECT_NEAR(m.NF(), -m.SNR() - 10 * std::log10(n / 2.0), 1e-9);
}

TEST(ToneMeasurements, RejectsMeaninglessSettings) {
  std::vector<double> amplt(16, 1.0);
  auto s = Settings(1.0, 0.0);
  EXPECT_EQ(test::MessageOf([&] { MeasureTone(amplt, s); }), "MeasureTone: BinHz <= 0");
  s.BinHz = 1;
  s.MainlobeWidth = 0;
  EXPECT_THROW(MeasureTone(amplt, s), Exception);
}
