#include "FirKernels.h"

// GCC does not vectorise a floating-point reduction without -ffast-math, so the loops below
// spell out the vectors (GCC/Clang vector extensions) and keep several independent
// accumulators in flight to cover the multiply-add latency.

namespace sigflow::detail {
namespace {

#define SIGFLOW_KERNEL_INLINE inline __attribute__((always_inline))

template <int W>
struct Vec {
  typedef double V __attribute__((vector_size(W * sizeof(double))));
  // Unaligned, aliasing view for loads and stores at any double boundary.
  typedef double U __attribute__((vector_size(W * sizeof(double)), aligned(8), may_alias));
};

// K vectors of W consecutive outputs share each broadcast tap: no horizontal sums at all.
template <int W, int K>
SIGFLOW_KERNEL_INLINE void DirectImpl(const double* g, std::size_t len, const double* x,
                                      std::size_t stride, double* out, std::size_t n,
                                      bool accumulate) {
  using V = typename Vec<W>::V;
  using U = typename Vec<W>::U;
  std::size_t q = 0;
  for (; q + K * W <= n; q += K * W) {
    V a[K];
#pragma GCC unroll 16
    for (int k = 0; k < K; ++k) a[k] = accumulate ? *reinterpret_cast<const U*>(out + q + k * W) : V{};
    const double* p = x + q;
    for (std::size_t j = 0; j < len; ++j, p += stride) {
      const V t = V{} + g[j];
#pragma GCC unroll 16
      for (int k = 0; k < K; ++k) a[k] += t * *reinterpret_cast<const U*>(p + k * W);
    }
#pragma GCC unroll 16
    for (int k = 0; k < K; ++k) *reinterpret_cast<U*>(out + q + k * W) = a[k];
  }
  for (; q + W <= n; q += W) {
    V a = accumulate ? *reinterpret_cast<const U*>(out + q) : V{};
    const double* p = x + q;
    for (std::size_t j = 0; j < len; ++j, p += stride) a += (V{} + g[j]) * *reinterpret_cast<const U*>(p);
    *reinterpret_cast<U*>(out + q) = a;
  }
  for (; q < n; ++q) {
    double s = accumulate ? out[q] : 0.0;
    const double* p = x + q;
    for (std::size_t j = 0; j < len; ++j, p += stride) s += g[j] * *p;
    out[q] = s;
  }
}

template <int W, int K>
SIGFLOW_KERNEL_INLINE void TableImpl(const double* t, std::size_t nd, const double* x, double* out,
                                     std::size_t n, bool accumulate) {
  using V = typename Vec<W>::V;
  using U = typename Vec<W>::U;
  std::size_t q = 0;
  for (; q + K * W <= n; q += K * W) {
    V a[K];
#pragma GCC unroll 16
    for (int k = 0; k < K; ++k) a[k] = accumulate ? *reinterpret_cast<const U*>(out + q + k * W) : V{};
    const double* p = x + q;
    for (std::size_t d = 0; d < nd; ++d, ++p) {
      const V c = *reinterpret_cast<const V*>(t + d * W);
#pragma GCC unroll 16
      for (int k = 0; k < K; ++k) a[k] += c * p[k * W];
    }
#pragma GCC unroll 16
    for (int k = 0; k < K; ++k) *reinterpret_cast<U*>(out + q + k * W) = a[k];
  }
  for (; q + W <= n; q += W) {
    V a = accumulate ? *reinterpret_cast<const U*>(out + q) : V{};
    for (std::size_t d = 0; d < nd; ++d) a += *reinterpret_cast<const V*>(t + d * W) * x[q + d];
    *reinterpret_cast<U*>(out + q) = a;
  }
  const std::size_t len = nd + 1 - W;
  for (; q < n; ++q) {
    double s = accumulate ? out[q] : 0.0;
    for (std::size_t d = 0; d < len; ++d) s += t[d * W] * x[q + d];
    out[q] = s;
  }
}

template <int W>
SIGFLOW_KERNEL_INLINE void DotsImpl(const double* g, std::size_t m, const double* x,
                                    std::size_t step, std::size_t count, double* out, bool pair) {
  using V = typename Vec<W>::V;
  using U = typename Vec<W>::U;
  constexpr int B = 8;  // outputs per pass; they share every tap load
  std::size_t k = 0;
  const std::size_t mv = m - m % W;
  for (; k < count; k += B) {
    const int nb = count - k >= static_cast<std::size_t>(B) ? B : static_cast<int>(count - k);
    const double* p[B];
#pragma GCC unroll 8
    for (int b = 0; b < B; ++b) p[b] = x + (k + (b < nb ? b : 0)) * step;
    V a[B];
#pragma GCC unroll 8
    for (int b = 0; b < B; ++b) a[b] = V{};
    for (std::size_t j = 0; j < mv; j += W) {
      const V t = *reinterpret_cast<const U*>(g + j);
#pragma GCC unroll 8
      for (int b = 0; b < B; ++b) a[b] += t * *reinterpret_cast<const U*>(p[b] + j);
    }
    for (int b = 0; b < nb; ++b) {
      double s[2] = {0.0, 0.0};
      for (int l = 0; l < W; ++l) s[l & 1] += a[b][l];
      for (std::size_t j = mv; j < m; ++j) s[j & 1] += g[j] * p[b][j];
      if (pair) {
        out[2 * (k + b)] = s[0];
        out[2 * (k + b) + 1] = s[1];
      } else {
        out[k + b] = s[0] + s[1];
      }
    }
  }
}

void DirectBase(const double* g, std::size_t len, const double* x, std::size_t stride, double* out,
                std::size_t n, bool acc) {
  DirectImpl<2, 4>(g, len, x, stride, out, n, acc);
}
void TableBase(const double* t, std::size_t nd, const double* x, double* out, std::size_t n,
               bool acc) {
  TableImpl<2, 8>(t, nd, x, out, n, acc);
}
void DotsBase(const double* g, std::size_t m, const double* x, std::size_t step, std::size_t count,
              double* out, bool pair) {
  DotsImpl<2>(g, m, x, step, count, out, pair);
}

#if defined(__x86_64__) || defined(__i386__)
#define SIGFLOW_HAVE_X86_LEVELS 1
__attribute__((target("avx2,fma"))) void DirectAvx2(const double* g, std::size_t len,
                                                    const double* x, std::size_t stride,
                                                    double* out, std::size_t n, bool acc) {
  DirectImpl<4, 8>(g, len, x, stride, out, n, acc);
}
__attribute__((target("avx2,fma"))) void TableAvx2(const double* t, std::size_t nd,
                                                   const double* x, double* out, std::size_t n,
                                                   bool acc) {
  TableImpl<4, 8>(t, nd, x, out, n, acc);
}
__attribute__((target("avx2,fma"))) void DotsAvx2(const double* g, std::size_t m, const double* x,
                                                  std::size_t step, std::size_t count, double* out,
                                                  bool pair) {
  DotsImpl<4>(g, m, x, step, count, out, pair);
}
__attribute__((target("avx512f"))) void DirectAvx512(const double* g, std::size_t len,
                                                     const double* x, std::size_t stride,
                                                     double* out, std::size_t n, bool acc) {
  DirectImpl<8, 8>(g, len, x, stride, out, n, acc);
}
__attribute__((target("avx512f"))) void TableAvx512(const double* t, std::size_t nd,
                                                    const double* x, double* out, std::size_t n,
                                                    bool acc) {
  TableImpl<8, 8>(t, nd, x, out, n, acc);
}
__attribute__((target("avx512f"))) void DotsAvx512(const double* g, std::size_t m,
                                                   const double* x, std::size_t step,
                                                   std::size_t count, double* out, bool pair) {
  DotsImpl<8>(g, m, x, step, count, out, pair);
}
#endif

}  // namespace

const FirKernelTable& FirKernels(int level) {
  static const FirKernelTable base{&DirectBase, &DotsBase, &TableBase, 2, "baseline"};
#ifdef SIGFLOW_HAVE_X86_LEVELS
  static const FirKernelTable avx2{&DirectAvx2, &DotsAvx2, &TableAvx2, 4, "avx2"};
  static const FirKernelTable avx512{&DirectAvx512, &DotsAvx512, &TableAvx512, 8, "avx512"};
  if (level >= 2) return avx512;
  if (level == 1) return avx2;
#endif
  return base;
}

int FirBestKernelLevel() {
#ifdef SIGFLOW_HAVE_X86_LEVELS
  static const int best = [] {
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return 2;
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma")) return 1;
    return 0;
  }();
  return best;
#else
  return 0;
#endif
}

}  // namespace sigflow::detail
