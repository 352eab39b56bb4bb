#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "sigflow/numeric/AutoRegressive.h"

// Burg order 16 on a 4096-sample frame, with caller-owned buffers as a per-frame caller
// uses it. Items are input samples.
static void BM_Burg4096_sigflow(benchmark::State& state) {
  const std::size_t n = 4096, order = 16;
  std::vector<double> x(n);
  for (std::size_t i = 0; i < n; ++i)
    x[i] =
        std::sin(0.05 * static_cast<double>(i)) + 0.3 * std::sin(0.9 * static_cast<double>(i) + 1);
  std::vector<double> a(order + 1), refl(order), work(2 * n);
  for (auto _ : state) {
    benchmark::DoNotOptimize(sigflow::ArBurg(x, a, refl, work));
    benchmark::DoNotOptimize(a.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}
BENCHMARK(BM_Burg4096_sigflow);
