#include <benchmark/benchmark.h>
#include <fftw3.h>

#include <complex>
#include <vector>

#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"

using namespace sigflow;

// Transforms through TVec (cached plan, alignment check, lookup) against the plan FFTW makes
// for the same shape, executed directly on arrays from fftw_malloc.
static void FftComplexSigflow(benchmark::State& state, int n) {
  TVec x(n, true), y;
  RandGauss(x, 0, 1, 1);
  x.FFT(y);
  for (auto _ : state) {
    x.FFT(y);
    benchmark::DoNotOptimize(y.Data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}

static void FftComplexFftw(benchmark::State& state, int n) {
  auto* in = fftw_alloc_complex(std::size_t(n));
  auto* out = fftw_alloc_complex(std::size_t(n));
  fftw_plan p = fftw_plan_dft_1d(n, in, out, FFTW_FORWARD, FFTW_ESTIMATE);
  TVec x(n, true);
  RandGauss(x, 0, 1, 1);
  std::copy_n(x.Data(), 2 * n, &in[0][0]);
  for (auto _ : state) {
    fftw_execute(p);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * n);
  fftw_destroy_plan(p);
  fftw_free(out);
  fftw_free(in);
}

static void BM_FftComplex4096_sigflow(benchmark::State& s) { FftComplexSigflow(s, 4096); }
static void BM_FftComplex4096_fftw(benchmark::State& s) { FftComplexFftw(s, 4096); }
static void BM_FftComplex65536_sigflow(benchmark::State& s) { FftComplexSigflow(s, 65536); }
static void BM_FftComplex65536_fftw(benchmark::State& s) { FftComplexFftw(s, 65536); }
BENCHMARK(BM_FftComplex4096_sigflow);
BENCHMARK(BM_FftComplex4096_fftw);
BENCHMARK(BM_FftComplex65536_sigflow);
BENCHMARK(BM_FftComplex65536_fftw);

static void BM_FftReal4096_sigflow(benchmark::State& state) {
  const int n = 4096;
  TVec x(n), y;
  RandGauss(x, 0, 1, 1);
  x.RealFFT(y);
  for (auto _ : state) {
    x.RealFFT(y);
    benchmark::DoNotOptimize(y.Data());
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_FftReal4096_sigflow);

static void BM_FftReal4096_fftw(benchmark::State& state) {
  const int n = 4096;
  double* in = fftw_alloc_real(n);
  auto* out = fftw_alloc_complex(n / 2 + 1);
  fftw_plan p = fftw_plan_dft_r2c_1d(n, in, out, FFTW_ESTIMATE);
  TVec x(n);
  RandGauss(x, 0, 1, 1);
  std::copy_n(x.Data(), n, in);
  for (auto _ : state) {
    fftw_execute(p);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * n);
  fftw_destroy_plan(p);
  fftw_free(out);
  fftw_free(in);
}
BENCHMARK(BM_FftReal4096_fftw);

// Element-wise operations on 2^20 real values against the loop anyone would write.
constexpr int kVecN = 1 << 20;

// Value ranges that keep a stable under repeated application: near 1 for a product, a tiny b
// for a sum.
struct TRanges {
  double ALo, AHi, BLo, BHi;
};
constexpr TRanges kMulRanges{0.999, 1.001, 0.999, 1.001}, kAddRanges{-1, 1, -1e-6, 1e-6};

template <class TOp>
void VecOpSigflow(benchmark::State& state, TRanges r, TOp op) {
  TVec a(kVecN), b(kVecN);
  RandUniform(a, r.ALo, r.AHi, 1);
  RandUniform(b, r.BLo, r.BHi, 2);
  for (auto _ : state) {
    op(a, b);
    benchmark::DoNotOptimize(a.Data());
  }
  state.SetItemsProcessed(state.iterations() * kVecN);
}

template <class TOp>
void VecOpPlain(benchmark::State& state, TRanges r, TOp op) {
  TVec ra(kVecN), rb(kVecN);
  RandUniform(ra, r.ALo, r.AHi, 1);
  RandUniform(rb, r.BLo, r.BHi, 2);
  std::vector<double> a(ra.Span().begin(), ra.Span().end()), b(rb.Span().begin(), rb.Span().end());
  for (auto _ : state) {
    double* pa = a.data();
    const double* pb = b.data();
    for (int i = 0; i < kVecN; ++i) op(pa[i], pb[i]);
    benchmark::DoNotOptimize(a.data());
  }
  state.SetItemsProcessed(state.iterations() * kVecN);
}

static void BM_VecMul_sigflow(benchmark::State& state) {
  VecOpSigflow(state, kMulRanges, [](TVec& a, const TVec& b) { a.Mul(b); });
}
BENCHMARK(BM_VecMul_sigflow);
static void BM_VecMul_plain(benchmark::State& state) {
  VecOpPlain(state, kMulRanges, [](double& a, double b) { a *= b; });
}
BENCHMARK(BM_VecMul_plain);
static void BM_VecAdd_sigflow(benchmark::State& state) {
  VecOpSigflow(state, kAddRanges, [](TVec& a, const TVec& b) { a.Add(b); });
}
BENCHMARK(BM_VecAdd_sigflow);
static void BM_VecAdd_plain(benchmark::State& state) {
  VecOpPlain(state, kAddRanges, [](double& a, double b) { a += b; });
}
BENCHMARK(BM_VecAdd_plain);
