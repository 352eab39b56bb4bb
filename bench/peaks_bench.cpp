#include <benchmark/benchmark.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "sigflow/analysis/PeakHost.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/numeric/Fft.h"

namespace {

// The spectrum of one 4096-point frame with ten tones, standing in for the analyzer.
class TBenchHost : public sigflow::TPeakHost {
public:
  sigflow::TSpectrum Spec{nullptr};
  sigflow::TVec X;
  TBenchHost() {
    const int n = 4096;
    std::vector<double> x(n);
    for (int i = 0; i < n; ++i)
      for (int h = 1; h <= 10; ++h) x[i] += std::cos(2 * std::numbers::pi * (41.37 * h) * i / n + h) / h;
    std::vector<sigflow::TCplx> f(n / 2 + 1);
    sigflow::RealFFT(x, f);
    Spec.SetLength(n / 2);
    Spec.SetSamplingFrequency(n);
    Spec.SetMainlobeWidth(4);
    X.Size(n / 2, true);
    for (int k = 0; k < n / 2; ++k) {
      X.SetCValues(k, f[k] * (2.0 / n));
      Spec.Amplt().SetValues(k, std::abs(f[k]) * 2.0 / n);
      Spec.Phase().SetValues(k, std::arg(f[k]));
    }
  }
  sigflow::TSpectrum& HostSpectrum() override { return Spec; }
  const sigflow::TVec& HostComplexSpectrum() const override { return X; }
  bool HostComplexSpectrumValid() const override { return true; }
  double HostZeroPaddingRatio() const override { return 0; }
  int HostWindow() const override { return 0; }
  int HostSpectrumType() const override { return 0; }
  std::uint32_t HostAveraged() const override { return 0; }
  double HostConvergeToMaximum(double Freq) override {
    const int i = static_cast<int>(std::lround((Freq - Spec.BandWidthL()) / Spec.HzRes()));
    return Spec.Amplt().NearestMaximum(i) * Spec.HzRes() + Spec.BandWidthL();
  }
};

}  // namespace

// Search of the ten largest peaks of a 2048-bin spectrum, each refined by Quinn's second
// estimator; items = frames.
static void BM_Peaks10_sigflow(benchmark::State& state) {
  TBenchHost host;
  sigflow::TSpectrumPeaksAnalyzer peaks(nullptr, &host);
  peaks.SetLargestCount(10);
  peaks.Interpolation()->SetMethod(sigflow::imQuinnSecond);
  for (auto _ : state) {
    peaks.Update();
    benchmark::DoNotOptimize(host.Spec.Marks().Values(0).Freq);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Peaks10_sigflow);
