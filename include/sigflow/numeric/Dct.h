#pragma once
// Discrete cosine transform of type II and its inverse (type III), through the real FFT in
// O(N log N) (Makhoul's reordering). The scaling is an argument of every call:
//
//   dnNone   DCT   y[k] = 2 sum_{n=0}^{N-1} x[n] cos(pi k (2n + 1) / (2N))
//            IDCT  x[n] = (1/(2N)) (y[0] + 2 sum_{k=1}^{N-1} y[k] cos(pi k (2n + 1) / (2N)))
//   dnOrtho  DCT   as dnNone times sqrt(1/(4N)) for k = 0 and sqrt(1/(2N)) otherwise
//                  (an orthonormal matrix)
//            IDCT  its transpose
//
// These are scipy.fft.dct / idct with type 2 and norm None ("backward") or "ortho"; in both
// scalings IDCT(DCT(x)) = x. A complex vector is transformed in its real and imaginary parts
// separately.
//
// Work buffers and twiddles are kept per thread and per length: after the first call with a
// length, calls with that length allocate nothing.
#include <cstdint>
#include <span>

namespace sigflow {

class TVec;

enum TDctNorm : std::uint8_t { dnNone = 0, dnOrtho = 1 };

// y := DCT(x). Sizes must be equal ("DCT: output size differs from input size"); y may be x
// (in place); partial overlap is not allowed. Size 0 does nothing.
void DCT(std::span<const double> x, std::span<double> y, TDctNorm norm);
// x := IDCT(y). Same rules ("IDCT: output size differs from input size").
void IDCT(std::span<const double> y, std::span<double> x, TDctNorm norm);

// dst := DCT / IDCT of src, same length and complex flag. dst may be src.
void DCT(const TVec& src, TVec& dst, TDctNorm norm);
void IDCT(const TVec& src, TVec& dst, TDctNorm norm);

}  // namespace sigflow
