#include <benchmark/benchmark.h>

#include "sine_peer.h"

#include <cmath>
#include <numbers>
#include <vector>

#include "sigflow/processing/SignalGenerator.h"

namespace {

void Setup(sigflow::TSignalGenerator& g, const char* Formula, int Length) {
  g.SetSamplingFrequency(48000.0);
  g.SetLength(Length);
  g.Sounds()->AddTemplate("bench");
  for (const auto& r : sigflow::ParseFormula(Formula)) g.Template()->Add(r);
  g.Update();
}

}  // namespace

// A one-line sine formula (1 kHz at 48 kHz), block after block through the component.
static void BM_SineGeneratorComponent_sigflow(benchmark::State& state) {
  sigflow::TSignalGenerator g(nullptr);
  Setup(g, "sine(1000,17.188733853924695,1)", int(state.range(0)));
  for (auto _ : state) {
    g.Update();
    benchmark::DoNotOptimize(g.Data().Data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SineGeneratorComponent_sigflow)->Arg(4096);

// The same plain std::sin loop as the tone kernel's peer: one peer for both work items.
static void BM_SineGeneratorComponent_stdsin(benchmark::State& state) { SineStdSinLoop(state); }
BENCHMARK(BM_SineGeneratorComponent_stdsin)->Arg(4096);

// Three functions and two operators: (sine + square) * triangle.
static void BM_FiveLineFormula_sigflow(benchmark::State& state) {
  sigflow::TSignalGenerator g(nullptr);
  Setup(g, "sine(1000,0,1) square(50,0,0.5,0) + triangle(300,0,1,0.5) *", int(state.range(0)));
  for (auto _ : state) {
    g.Update();
    benchmark::DoNotOptimize(g.Data().Data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FiveLineFormula_sigflow)->Arg(4096);

// Five lines whose functions are all sines: the cost of the evaluation itself, without the
// slower phase-counter waveforms.
static void BM_FiveLineSines_sigflow(benchmark::State& state) {
  sigflow::TSignalGenerator g(nullptr);
  Setup(g, "sine(1000,0,1) sine(50,0,0.5) + sine(300,0,1) *", int(state.range(0)));
  for (auto _ : state) {
    g.Update();
    benchmark::DoNotOptimize(g.Data().Data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_FiveLineSines_sigflow)->Arg(4096);
