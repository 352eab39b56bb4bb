#include <benchmark/benchmark.h>

#include "sine_peer.h"

#include <cmath>
#include <numbers>
#include <vector>

#include "sigflow/numeric/Tone.h"

// One line of a 1 kHz sine at 48 kHz, continued block after block.
static void BM_SineGenerator_sigflow(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<double> out(n);
  sigflow::TToneState tone;
  sigflow::ToneInit(tone, 1000.0, 0.3, 1.0, 48000.0, false);
  for (auto _ : state) {
    sigflow::Tone(tone, out);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SineGenerator_sigflow)->Arg(4096);

// The plain loop: A sin(w i + phi) with the running sample index.
void SineStdSinLoop(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  std::vector<double> out(n);
  const double w = 2.0 * std::numbers::pi * 1000.0 / 48000.0, phi = 0.3, a = 1.0;
  std::int64_t index = 0;
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; ++i) out[i] = a * std::sin(w * static_cast<double>(index + static_cast<std::int64_t>(i)) + phi);
    index += static_cast<std::int64_t>(n);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
static void BM_SineGenerator_stdsin(benchmark::State& state) { SineStdSinLoop(state); }
BENCHMARK(BM_SineGenerator_stdsin)->Arg(4096);
