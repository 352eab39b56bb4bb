#include "sigflow/numeric/ToneMeasurements.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {
double Db10(double ratio) {
  return ratio > 0 ? 10.0 * std::log10(ratio) : -std::numeric_limits<double>::infinity();
}

// Frequency at which harmonic h of f0 appears after sampling at fs (fs 0: no folding).
double Folded(double f, double fs) {
  if (fs <= 0) return f;
  double r = std::fmod(f, fs);
  return r > fs / 2 ? fs - r : r;
}
}  // namespace

double TToneMeasurement::THD() const {
  return FundamentalPower > 0 ? 100.0 * std::sqrt(HarmonicPower / FundamentalPower) : 0.0;
}
double TToneMeasurement::THDN() const {
  return FundamentalPower > 0 ? 100.0 * std::sqrt((HarmonicPower + NoisePower) / FundamentalPower) : 0.0;
}
double TToneMeasurement::SNR() const { return NoisePower > 0 ? Db10(FundamentalPower / NoisePower) : std::numeric_limits<double>::infinity(); }
double TToneMeasurement::SINAD() const {
  const double d = HarmonicPower + NoisePower;
  return d > 0 ? Db10(FundamentalPower / d) : std::numeric_limits<double>::infinity();
}
double TToneMeasurement::SFDR() const {
  return SpurAmplitude > 0 ? 2.0 * Db10(FundamentalAmplitude / SpurAmplitude) : std::numeric_limits<double>::infinity();
}
double TToneMeasurement::NF() const {
  return FundamentalPower > 0 && Bins > 0 ? Db10(NoisePower / Bins / FundamentalPower) : -std::numeric_limits<double>::infinity();
}

TToneMeasurement MeasureTone(std::span<const double> amplt, const TToneSettings& s) {
  if (!(s.BinHz > 0)) throw Exception("MeasureTone: BinHz <= 0");
  if (s.MainlobeWidth < 1) throw Exception("MeasureTone: MainlobeWidth < 1");
  const auto L = static_cast<long>(amplt.size());
  const long half = s.MainlobeWidth / 2;
  auto binOf = [&](double f) { return std::lround((f - s.StartHz) / s.BinHz); };
  const long fundBin = binOf(s.FundamentalHz);
  const bool hasDc = s.StartHz == 0;

  TToneMeasurement m;
  m.Bins = static_cast<int>(L);
  double noiseSum = 0;
  int fundBins = 0, harmBins = 0;
  for (long k = 0; k < L; ++k) {
    const double a = std::fabs(amplt[static_cast<std::size_t>(k)]);
    const double p = a * a;
    if (hasDc && k <= half) continue;
    if (std::labs(k - fundBin) <= half) {
      m.FundamentalPower += p;
      ++fundBins;
      if (a > m.FundamentalAmplitude) m.FundamentalAmplitude = a;
      continue;
    }
    if (a > m.SpurAmplitude) m.SpurAmplitude = a;
    bool harmonic = false;
    for (int h = 2; h <= s.Harmonics && !harmonic; ++h) {
      harmonic = std::labs(k - binOf(Folded(h * s.FundamentalHz, s.SamplingHz))) <= half;
    }
    if (harmonic) {
      m.HarmonicPower += p;
      ++harmBins;
    } else {
      noiseSum += p;
      ++m.NoiseBins;
    }
  }
  // The tone lobes hold noise too; without this a noisy spectrum reads as distortion.
  const double noiseMean = m.NoiseBins > 0 ? noiseSum / m.NoiseBins : 0.0;
  m.NoisePower = noiseMean * static_cast<double>(L);
  m.FundamentalPower = std::max(0.0, m.FundamentalPower - fundBins * noiseMean);
  m.HarmonicPower = std::max(0.0, m.HarmonicPower - harmBins * noiseMean);
  return m;
}

}  // namespace sigflow
