#pragma once
// Discrete Fourier transforms of any length, through FFTW (double precision).
//
// Scaling, the same in every function of the library:
//   forward  X[k] = sum_{n=0}^{N-1} x[n] e^{-2 pi i k n / N}          (unscaled)
//   inverse  x[n] = (1/N) sum_{k=0}^{N-1} X[k] e^{+2 pi i k n / N}    (scaled by 1/N)
// so IFFT(FFT(x)) = x.
//
// Plans are made once per (length, kind, in-place or not, aligned or not) with
// FFTW_ESTIMATE, cached for the life of the program and shared by all threads (planning is
// serialised; execution runs in parallel). After the first call of a given shape no plan is
// made and nothing is allocated. Data aligned as FFTW's allocator aligns it (TVec storage
// is) uses the SIMD paths; other data works through plans made for unaligned arrays.
//
// Size mismatches raise Exception with the texts given below.
#include <cstddef>
#include <span>

#include "sigflow/numeric/Precision.h"

namespace sigflow {

// out := forward transform of in. Sizes must be equal ("FFT: output size differs from input
// size"). out may be in (in place); partial overlap is not allowed. Size 0 does nothing.
void FFT(std::span<const TCplx> in, std::span<TCplx> out);
// out := inverse transform of in (scaled by 1/N). Same rules as FFT.
void IFFT(std::span<const TCplx> in, std::span<TCplx> out);
// Real input of N values -> bins 0 .. N/2 (out.size() == N/2 + 1, else "RealFFT: output
// size must be N/2+1"). In place is allowed when out starts where in starts and the block
// holds 2 (N/2 + 1) doubles.
void RealFFT(std::span<const double> in, std::span<TCplx> out);
// Bins 0 .. N/2 of a conjugate-symmetric spectrum -> N real values scaled by 1/N
// (in.size() == out.size()/2 + 1, else "RealIFFT: input size must be N/2+1"). in is not
// changed (unless out shares its storage). The imaginary parts of bin 0 and, for even N, of
// bin N/2 are ignored.
void RealIFFT(std::span<const TCplx> in, std::span<double> out);

// Number of plans in the cache (tests use it to show that a repeated shape plans nothing).
std::size_t FftPlanCount();

}  // namespace sigflow
