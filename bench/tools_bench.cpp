#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "sigflow/SignalTools.h"

namespace {

// A stage that passes one sample on: the cost measured is the update protocol itself.
class TPassOne : public sigflow::TSignal {
public:
  using TSignal::TSignal;

protected:
  bool InternalUpdate() override {
    if (Input()) SetValues(0, Input()->Values(0) + 1);
    return true;
  }
};

}  // namespace

// Pull of the last of 10 chained stages; items = stages updated, so 1e9 / items_per_second
// is the time per stage.
static void BM_PullChain10_sigflow(benchmark::State& state) {
  sigflow::TComponent root(nullptr);
  std::vector<TPassOne*> stages;
  for (int i = 0; i < 10; ++i) {
    auto* s = new TPassOne(&root);
    s->SetLength(1);
    if (i == 0) s->SetUsesInputs(false);
    else s->SetInput(stages.back());
    stages.push_back(s);
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(stages.back()->Pull());
    benchmark::DoNotOptimize(stages.back()->Values(0));
  }
  state.SetItemsProcessed(state.iterations() * 10);
  state.counters["ns_per_stage"] =
      benchmark::Counter(static_cast<double>(state.iterations()) * 10,
                         benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_PullChain10_sigflow);
