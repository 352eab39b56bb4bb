#pragma once
// Cepstra of real sequences through the FFT of this library (forward unscaled, inverse 1/N).
//
// Real cepstrum:     c[n] = (1/N) sum_k ln|X[k]| e^{+2 pi i k n / N},   X = FFT(x)
// Complex cepstrum:  c[n] = (1/N) sum_k (ln|X[k]| + i phi[k]) e^{+2 pi i k n / N}
//   where X is the spectrum of s x with the sign s = +-1 that makes X[0] >= 0 (a negative
//   X[0] has phase pi, which no odd phase curve can hold), and phi its phase unwrapped along
//   k = 0 .. N/2 (numpy.unwrap) with the linear phase of a whole-sample circular delay d
//   removed: phi[k] = unwrapped[k] + 2 pi k d / N, d = round(-unwrapped[K] N / (2 pi K)),
//   K = floor(N/2) (d = 0 for N < 2). The negative frequencies follow by conjugate symmetry,
//   so c is real. s and d are returned; the inverse puts them back.
//
// An echo of gain g (|g| < 1) after D samples adds (-1)^{m+1} g^m / m at quefrency m D to the
// complex cepstrum and half of that at +-m D to the real cepstrum (circularly).
//
// A zero of X on a bin gives -inf in the logarithm and NaN results; RealCepstrum can floor
// the magnitudes instead. Work buffers are kept per thread and per length: after the first
// call with a length, calls with that length allocate nothing.
#include <span>

namespace sigflow {

// c := real cepstrum of x, with every |X[k]| below minMagnitude raised to it first
// (minMagnitude <= 0: no floor). Sizes must be equal ("RealCepstrum: output size differs from
// input size"); c may be x. Size 0 does nothing.
void RealCepstrum(std::span<const double> x, std::span<double> c, double minMagnitude);

// What the complex cepstrum removes before the logarithm.
struct TCepstrumPhase {
  int Delay = 0;  // d in samples, circular; a positive d is a delay
  int Sign = 1;   // s, +1 or -1
};

// c := complex cepstrum of x; returns the removed sign and delay. Sizes must be equal
// ("ComplexCepstrum: output size differs from input size"); c may be x. Size 0 returns
// {0, 1}.
TCepstrumPhase ComplexCepstrum(std::span<const double> x, std::span<double> c);

// x := the sequence whose complex cepstrum is c with the removed sign s and delay d: s times
// the inverse FFT of exp(FFT(c)) e^{-2 pi i k d / N}. Sizes must be equal
// ("InverseComplexCepstrum: output size differs from input size"); x may be c.
void InverseComplexCepstrum(std::span<const double> c, const TCepstrumPhase& phase, std::span<double> x);

}  // namespace sigflow
