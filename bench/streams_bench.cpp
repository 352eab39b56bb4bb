#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "sigflow/core/Streams.h"

// Field-by-field little-endian writes into a memory stream, the way record formats are
// written, against appending the same bytes to a plain vector.
static void BM_StreamFields_sigflow(benchmark::State& state) {
  const auto n = state.range(0);
  sigflow::TMemoryStream s;
  for (auto _ : state) {
    s.SetPosition(0);
    for (std::int64_t i = 0; i < n; ++i) s.WriteValue<std::int32_t>(static_cast<std::int32_t>(i));
    benchmark::DoNotOptimize(s.Memory());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_StreamFields_sigflow)->Arg(1 << 16);

static void BM_StreamFields_plain(benchmark::State& state) {
  const auto n = state.range(0);
  std::vector<std::uint8_t> v(static_cast<std::size_t>(n) * 4);
  for (auto _ : state) {
    std::size_t pos = 0;
    for (std::int64_t i = 0; i < n; ++i) {
      const auto x = static_cast<std::int32_t>(i);
      std::memcpy(v.data() + pos, &x, 4);
      pos += 4;
    }
    benchmark::DoNotOptimize(v.data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_StreamFields_plain)->Arg(1 << 16);
