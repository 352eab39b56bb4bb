#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "sigflow/numeric/FirState.h"
#include "sigflow/numeric/IirState.h"

#ifdef SIGFLOW_HAVE_LIQUID
#include <complex.h>  // liquid's header expects C99 complex names
#include <liquid/liquid.h>
#endif

// A stream of 2^22 real samples filtered in blocks of 4096 with the state carried, one
// pass per iteration; items are input samples.
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

std::vector<double> LowPass(std::size_t n) {
  std::vector<double> h(n);
  const double c = 0.5 * static_cast<double>(n - 1);
  for (std::size_t j = 0; j < n; ++j) {
    const double t = static_cast<double>(j) - c;
    const double w = 0.54 - 0.46 * std::cos(2.0 * M_PI * j / static_cast<double>(n - 1));
    h[j] = (t == 0.0 ? 0.2 : std::sin(0.2 * M_PI * t) / (M_PI * t)) * w;
  }
  return h;
}

void FirSigflow(benchmark::State& state, std::size_t taps, int down, int up = 1) {
  const auto& x = Stream();
  const auto h = LowPass(taps);
  sigflow::FirState s;
  sigflow::FirInit(s, h, false, up, 0, down, 0);
  std::vector<double> y(kBlock * static_cast<std::size_t>(up));
  for (auto _ : state) {
    for (std::size_t i = 0; i < kStream; i += kBlock)
      sigflow::FirFilter(s, std::span(x).subspan(i, kBlock), y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kStream));
}

// The FFT path against the direct form at one length, both forced; 2^20 samples in blocks
// of 4096. The ratio of the pair is the overlap-save speedup that sets the crossover.
void FirPath(benchmark::State& state, bool overlap) {
  const auto& x = Stream();
  const auto h = LowPass(static_cast<std::size_t>(state.range(0)));
  sigflow::FirState s;
  sigflow::FirInit(s, h, false);
  sigflow::detail::FirUseOverlapSave(s, overlap);
  const std::size_t n = std::size_t{1} << 20;
  std::vector<double> y(kBlock);
  for (auto _ : state) {
    for (std::size_t i = 0; i < n; i += kBlock) sigflow::FirFilter(s, std::span(x).subspan(i, kBlock), y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}
void BM_FirOverlap_sigflow(benchmark::State& state) { FirPath(state, true); }
void BM_FirOverlap_direct(benchmark::State& state) { FirPath(state, false); }

void BM_Fir64_sigflow(benchmark::State& state) { FirSigflow(state, 64, 1); }
void BM_Fir512_sigflow(benchmark::State& state) { FirSigflow(state, 512, 1); }
void BM_Decim4_sigflow(benchmark::State& state) { FirSigflow(state, 64, 4); }
// Interpolation by 4 with 64 taps: 16 multiply-adds per output.
void BM_Interp4_sigflow(benchmark::State& state) { FirSigflow(state, 64, 1, 4); }

// The loop a programmer writes first: history + block in one buffer, one dot product per
// output in scalar code.
void BM_Fir64_plain(benchmark::State& state) {
  const auto& x = Stream();
  const auto h = LowPass(64);
  const std::size_t L = h.size();
  std::vector<double> rev(h.rbegin(), h.rend());
  std::vector<double> line(L - 1 + kBlock, 0.0), y(kBlock);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kStream; i += kBlock) {
      std::copy(x.begin() + i, x.begin() + i + kBlock, line.begin() + (L - 1));
      for (std::size_t k = 0; k < kBlock; ++k) {
        double acc = 0.0;
        for (std::size_t j = 0; j < L; ++j) acc += rev[j] * line[k + j];
        y[k] = acc;
      }
      std::copy(line.end() - (L - 1), line.end(), line.begin());
    }
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kStream));
}

// Eighth-order Butterworth low-pass at 0.1 of Nyquist as four sections (scipy's
// butter(8, 0.1, output="sos")).
void BM_Sos8_sigflow(benchmark::State& state) {
  const auto& x = Stream();
  const std::vector<double> sos{
      1.7625537291912843e-07, 3.5251074583825687e-07, 1.7625537291912843e-07, 1.0, -1.4597062543768673, 5.3482598496161071e-01,
      1.0, 2.0, 1.0, 1.0, -1.5132907658389045, 5.9116807456820530e-01,
      1.0, 2.0, 1.0, 1.0, -1.6234056976410005, 7.0694976568268220e-01,
      1.0, 2.0, 1.0, 1.0, -1.7939618452517712, 8.8628311200701348e-01};
  sigflow::IirState s;
  sigflow::IirInit(s, sos, false);
  std::vector<double> y(kBlock);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kStream; i += kBlock) sigflow::IirFilter(s, std::span(x).subspan(i, kBlock), y);
    benchmark::DoNotOptimize(y.data());
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kStream));
}

#ifdef SIGFLOW_HAVE_LIQUID
// liquid-dsp works in float; the stream is converted once, outside the timing.
void FirLiquid(benchmark::State& state, std::size_t taps) {
  const auto& xd = Stream();
  std::vector<float> x(xd.begin(), xd.end());
  const auto hd = LowPass(taps);
  std::vector<float> h(hd.begin(), hd.end());
  firfilt_rrrf q = firfilt_rrrf_create(h.data(), static_cast<unsigned>(h.size()));
  std::vector<float> y(kBlock);
  for (auto _ : state) {
    for (std::size_t i = 0; i < kStream; i += kBlock)
      firfilt_rrrf_execute_block(q, x.data() + i, static_cast<unsigned>(kBlock), y.data());
    benchmark::DoNotOptimize(y.data());
  }
  firfilt_rrrf_destroy(q);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kStream));
}
void BM_Fir64_liquid(benchmark::State& state) { FirLiquid(state, 64); }
void BM_Fir512_liquid(benchmark::State& state) { FirLiquid(state, 512); }
BENCHMARK(BM_Fir64_liquid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fir512_liquid)->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK(BM_Fir64_sigflow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Fir512_sigflow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FirOverlap_sigflow)->Unit(benchmark::kMillisecond)
    ->Arg(32)->Arg(48)->Arg(64)->Arg(96)->Arg(128)->Arg(192)->Arg(256)->Arg(512)->Arg(1024);
BENCHMARK(BM_FirOverlap_direct)->Unit(benchmark::kMillisecond)
    ->Arg(32)->Arg(48)->Arg(64)->Arg(96)->Arg(128)->Arg(192)->Arg(256)->Arg(512)->Arg(1024);
BENCHMARK(BM_Fir64_plain)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Decim4_sigflow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Interp4_sigflow)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Sos8_sigflow)->Unit(benchmark::kMillisecond);
