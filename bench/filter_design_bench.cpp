#include <benchmark/benchmark.h>

#include <vector>

#include "sigflow/numeric/IirDesign.h"
#include "sigflow/numeric/RemezDesign.h"

// Design time of a 255-tap equiripple low-pass (pass to 0.2, stop from 0.23 of fs), one item
// per design; bench/peers/filter_design.py times scipy.signal.remez on the same template.
static void BM_Remez255_sigflow(benchmark::State& state) {
  const std::vector<double> bands{0.0, 0.2, 0.23, 0.5}, desired{1.0, 0.0}, weight{1.0, 10.0};
  for (auto _ : state) {
    auto h = sigflow::remez(255, bands, desired, weight);
    benchmark::DoNotOptimize(h.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Remez255_sigflow);

// Elliptic band-pass from a 10th-order prototype (20 poles), 0.5 dB ripple, 60 dB stop band,
// edges 0.2 and 0.4 of Nyquist, as second-order sections; peer: scipy.signal.ellip.
static void BM_Ellip10_sigflow(benchmark::State& state) {
  const std::vector<double> wn{0.2, 0.4};
  for (auto _ : state) {
    auto sos = sigflow::EllipticFilter(10, 0.5, 60.0, wn, sigflow::ftBandpass);
    benchmark::DoNotOptimize(sos.data());
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_Ellip10_sigflow);
