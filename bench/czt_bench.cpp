#include <benchmark/benchmark.h>

#include <vector>

#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"

using namespace sigflow;

// Zoom of a 4096-sample real frame onto 1000 points (the spectrum analyzer's chirp-z method).
// Items are input samples. The planned form keeps its plan across frames as the analyzer
// does; the one-shot form builds the plan for every frame.
namespace {
constexpr int kFrame = 4096;
constexpr int kPoints = 1000;

TCztContour ZoomContour() { return CztZoomContour(1000.0, 0.5, kPoints, 1.0, 1.0, 48000.0); }
}  // namespace

static void BM_Czt1000_sigflow(benchmark::State& state) {
  TVec x(kFrame), out;
  RandGauss(x, 0.0, 1.0, 1);
  TCztPlan plan;
  plan.Init(kFrame, kPoints, ZoomContour());
  for (auto _ : state) {
    Czt(plan, x, out);
    benchmark::DoNotOptimize(out.Data());
  }
  state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_Czt1000_sigflow);

static void BM_Czt1000Oneshot_sigflow(benchmark::State& state) {
  TVec x(kFrame), out;
  RandGauss(x, 0.0, 1.0, 1);
  for (auto _ : state) {
    TCztPlan plan;
    plan.Init(kFrame, kPoints, ZoomContour());
    Czt(plan, x, out);
    benchmark::DoNotOptimize(out.Data());
  }
  state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_Czt1000Oneshot_sigflow);
