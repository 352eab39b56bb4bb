#include <benchmark/benchmark.h>

#include <cmath>
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "sigflow/numeric/FirState.h"
#include "sigflow/processing/SignalFilter.h"

// The filter component against the bare FIR kernel it drives: 2^22 real samples in blocks of
// 4096 through 64 taps, state carried; items are input samples. The difference is what the
// component adds per block (update protocol, shape bookkeeping, the copy into its input).
namespace {

constexpr std::size_t kStream = std::size_t{1} << 22;
constexpr std::size_t kBlock = 4096;

const std::vector<double>& Stream() {
  static const std::vector<double> x = [] {
    std::vector<double> v(kStream);
    for (std::size_t i = 0; i < kStream; ++i) v[i] = std::sin(0.001 * i) + 0.25 * std::sin(1.3 * i);
    return v;
  }();
  return x;
}

std::vector<double> Taps64() {
  std::vector<double> h(64);
  for (std::size_t j = 0; j < h.size(); ++j) {
    const double t = static_cast<double>(j) - 31.5;
    h[j] = std::sin(0.2 * M_PI * t) / (M_PI * t) * (0.54 - 0.46 * std::cos(2.0 * M_PI * j / 63.0));
  }
  return h;
}

void BM_FilterComponent64_sigflow(benchmark::State& state) {
  const auto& x = Stream();
  const auto h = Taps64();
  sigflow::TSignal in(nullptr);
  sigflow::TSignalFilter f(nullptr);
  in.SetSamplingFrequency(48000);
  f.SetInput(&in);
  f.SetResponse(sigflow::rstFIR);
  f.SetExternalTaps(true);
  f.Taps().SetLength(64);
  for (std::size_t j = 0; j < 64; ++j) f.Taps().SetValues(static_cast<int>(j), h[j]);
  f.ParamUpdate(&f);
  in.Data().SetLength(static_cast<int>(kBlock));
  for (auto _ : state) {
    for (std::size_t at = 0; at < kStream; at += kBlock) {
      std::copy(x.begin() + static_cast<std::ptrdiff_t>(at), x.begin() + static_cast<std::ptrdiff_t>(at + kBlock),
                in.Data().Data());
      f.Update();
      benchmark::DoNotOptimize(f.Data().Data());
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kStream));
}
BENCHMARK(BM_FilterComponent64_sigflow)->Unit(benchmark::kMillisecond);

void BM_FilterComponent64_kernel(benchmark::State& state) {
  const auto& x = Stream();
  const auto h = Taps64();
  sigflow::FirState fir;
  sigflow::FirInit(fir, h, false);
  std::vector<double> in(kBlock), out(kBlock);
  for (auto _ : state) {
    for (std::size_t at = 0; at < kStream; at += kBlock) {
      std::copy(x.begin() + static_cast<std::ptrdiff_t>(at), x.begin() + static_cast<std::ptrdiff_t>(at + kBlock),
                in.begin());
      sigflow::FirFilter(fir, in, out);
      benchmark::DoNotOptimize(out.data());
    }
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * kStream));
}
BENCHMARK(BM_FilterComponent64_kernel)->Unit(benchmark::kMillisecond);

}  // namespace
