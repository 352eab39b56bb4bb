#pragma once
// Helpers that turn a transform result into a two-sided spectrum. Never allocate.
#include <complex>
#include <span>

namespace sigflow {

// Rotates the N values right by N div 2, so the negative frequencies come first and bin 0
// lands at index N div 2 (numpy.fft.fftshift).
void ConjFlip(std::span<std::complex<double>> spectrum);
void ConjFlip(std::span<double> values);

// Completes the spectrum of a real sequence from its lower half: with N = spectrum.size(),
// bins 0 .. N div 2 are read and X[N-k] := conj(X[k]) for k = 1 .. ceil(N/2) - 1. Bin 0 and,
// for even N, bin N/2 are left as they are.
void ConjExtend(std::span<std::complex<double>> spectrum);

// The two-sided step of the spectrum analyzer, for a result of length N:
//   complex input: if conjFlip, ConjFlip (conjExtend is ignored);
//   real input:    if conjExtend, ConjExtend, then ConjFlip only when conjFlip is False.
// (So a real input with both flags set is extended but not rotated.) For a real input with
// conjExtend the caller passes the full length N with bins 0 .. N div 2 filled in.
// Returns True when the spectrum now spans the full sampling frequency (real input,
// conjExtend): the caller doubles its sampling frequency.
bool TwoSidedSpectrum(std::span<std::complex<double>> spectrum, bool complexInput, bool conjFlip,
                      bool conjExtend);

}  // namespace sigflow
