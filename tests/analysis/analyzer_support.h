#pragma once
// Shared pieces of the spectrum analyzer tests: an input signal wired to an analyzer, and
// signal makers.
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/tools/Signal.h"

namespace sigflow::test {

inline constexpr double kPi = std::numbers::pi;

inline void SetReal(TSignal& s, const std::vector<double>& x, double fs) {
  s.Data().Size(int(x.size()), false);
  for (std::size_t i = 0; i < x.size(); ++i) s.Data().SetValues(int(i), x[i]);
  s.SetSamplingFrequency(fs);
}

struct AnalyzerRig {
  TSignal input{nullptr};
  TSpectrumAnalyzer analyzer{nullptr};
  AnalyzerRig() { analyzer.SetInput(&input); }
  AnalyzerRig(const std::vector<double>& x, double fs) : AnalyzerRig() { SetReal(input, x, fs); }
  TSpectrumAnalyzer* operator->() { return &analyzer; }
  double Amplt(int k) const { return analyzer.Amplt().Values(k); }
  double Phase(int k) const { return analyzer.Phase().Values(k); }
};

inline std::vector<double> Sine(int n, double fs, double amplitude, double freq, double phase = 0) {
  std::vector<double> x(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) x[std::size_t(i)] = amplitude * std::cos(2 * kPi * freq * i / fs + phase);
  return x;
}

inline std::vector<double> Noise(int n, unsigned seed) {
  std::mt19937 gen(seed);
  std::normal_distribution<double> d;
  std::vector<double> x(static_cast<std::size_t>(n));
  for (auto& v : x) v = d(gen);
  return x;
}

}  // namespace sigflow::test
