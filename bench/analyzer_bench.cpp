#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <cmath>
#include <vector>

#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Windows.h"
#include "sigflow/tools/Signal.h"

using namespace sigflow;

// One frame per iteration: Hann window, real transform, amplitude of every bin. The analyzer
// runs its whole update (axis, scaling, min/max); the phase is switched off because the
// peer computes none. Items are frames.
static void AnalyzerSigflow(benchmark::State& state, int n, TAveraging averaging, int peaks = 0) {
  TSignal sig(nullptr);
  sig.Data().Size(n, false);
  RandGauss(sig.Data(), 0, 1, 1);
  sig.SetSamplingFrequency(48000);
  TSpectrumAnalyzer an(nullptr);
  an.SetInput(&sig);
  an.SetWindow(wtHanning);
  an.SetDCDump(false);
  an.SetPhaseMode(pmIgnore);
  an.SetAveraging(averaging);
  if (peaks > 0) {
    // The 10 largest peaks, refined by the numeric search (which averaging turns into the
    // converged bin).
    an.Peaks()->SetLargestCount(peaks);
    an.Peaks()->Interpolation()->SetMethod(imNumeric);
  }
  an.Update();
  for (auto _ : state) {
    an.Update();
    benchmark::DoNotOptimize(an.Amplt().Data());
  }
  state.SetItemsProcessed(state.iterations());
}

static void AnalyzerFftw(benchmark::State& state, int n) {
  double* in = fftw_alloc_real(std::size_t(n));
  fftw_complex* out = fftw_alloc_complex(std::size_t(n / 2 + 1));
  fftw_plan p = fftw_plan_dft_r2c_1d(n, in, out, FFTW_ESTIMATE);
  TVec x(n, false), w;
  RandGauss(x, 0, 1, 1);
  Hanning(w, n, wsPeriodic);
  std::vector<double> amplt(std::size_t(n / 2));
  const double scale = 2.0 * 2.0 / n;
  for (auto _ : state) {
    for (int i = 0; i < n; ++i) in[i] = x.Data()[i] * w.Data()[i];
    fftw_execute(p);
    for (int k = 0; k < n / 2; ++k) amplt[std::size_t(k)] = std::sqrt(out[k][0] * out[k][0] + out[k][1] * out[k][1]) * scale;
    benchmark::DoNotOptimize(amplt.data());
  }
  state.SetItemsProcessed(state.iterations());
  fftw_destroy_plan(p);
  fftw_free(out);
  fftw_free(in);
}

static void BM_Analyzer4096_sigflow(benchmark::State& s) { AnalyzerSigflow(s, 4096, avNone); }
static void BM_Analyzer4096_fftw(benchmark::State& s) { AnalyzerFftw(s, 4096); }
static void BM_Analyzer65536_sigflow(benchmark::State& s) { AnalyzerSigflow(s, 65536, avNone); }
static void BM_Analyzer65536_fftw(benchmark::State& s) { AnalyzerFftw(s, 65536); }
static void BM_Analyzer4096Avg_sigflow(benchmark::State& s) { AnalyzerSigflow(s, 4096, avLinearInf); }
BENCHMARK(BM_Analyzer4096_sigflow);
BENCHMARK(BM_Analyzer4096_fftw);
BENCHMARK(BM_Analyzer65536_sigflow);
BENCHMARK(BM_Analyzer65536_fftw);
static void BM_Analyzer4096AvgPeaks10_sigflow(benchmark::State& s) { AnalyzerSigflow(s, 4096, avLinearInf, 10); }
BENCHMARK(BM_Analyzer4096Avg_sigflow);
BENCHMARK(BM_Analyzer4096AvgPeaks10_sigflow);
// Without averaging the numeric search runs on every peak.
static void BM_Analyzer4096Peaks10_sigflow(benchmark::State& s) { AnalyzerSigflow(s, 4096, avNone, 10); }
BENCHMARK(BM_Analyzer4096Peaks10_sigflow);
