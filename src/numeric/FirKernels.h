#pragma once
// Dot-product kernels behind the FIR state, compiled once per instruction set and picked at
// run time, so a build without -march flags still runs AVX-512 code where the CPU has it.
#include <cstddef>

namespace sigflow::detail {

struct FirKernelTable {
  // out[q] (+)= sum_{j<len} g[j] * x[q + stride*j] for q < n, added to out[q] when
  // accumulate is set. With stride 2 and interleaved complex x, this is a real-tap filter
  // of complex data with interleaved complex output.
  void (*Direct)(const double* g, std::size_t len, const double* x, std::size_t stride,
                 double* out, std::size_t n, bool accumulate);
  // For k < count: the dot product of g[0..m) with x[k*step ..]. With pair set the even and
  // odd terms are summed apart into out[2k] and out[2k+1] (taps duplicated, complex data);
  // otherwise out[k] gets the whole sum.
  void (*Dots)(const double* g, std::size_t m, const double* x, std::size_t step,
               std::size_t count, double* out, bool pair);
  // Real data only. out[q] (+)= sum_{d<nd} T[d][q % Width] * x[q - q % Width + d]: T holds
  // nd = taps + Width - 1 aligned vectors, T[d][l] = g[d - l] (0 outside the taps), so each
  // step is an aligned load of T and a broadcast of one input, with no load across a
  // cache line. The scalar tail reads g[d] = T[d][0].
  void (*Table)(const double* t, std::size_t nd, const double* x, double* out, std::size_t n,
                bool accumulate);
  std::size_t Width;  // doubles per vector of this level
  const char* Name;
};

// Instruction-set levels: 0 baseline x86-64 (SSE2), 1 AVX2+FMA, 2 AVX-512F.
const FirKernelTable& FirKernels(int level);
// Highest level the running CPU supports.
int FirBestKernelLevel();

}  // namespace sigflow::detail
