#pragma once
// Streaming envelope of a real signal: the magnitude of its analytic signal, smoothed.
//
// For a length parameter n >= 1, with Lh the smallest odd number >= max(n, 3) and
// c = (Lh - 1) / 2:
//   hilbert[k] = 2 / (pi (k - c)) * (0.54 - 0.46 cos(2 pi k / (Lh - 1)))  for odd k - c,
//                0 for even k - c                                          (k = 0 .. Lh-1)
//   a[k]  = x[k - c] + j (hilbert * x)[k]        analytic signal (x[k < 0] = 0)
//   y[k]  = (1/n) sum_{i=0}^{n-1} |a[k - i]|     moving average of the magnitude
// so the envelope is delayed by c + (n - 1) / 2 samples. One output per input.
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

#include "sigflow/numeric/FirState.h"

namespace sigflow {

// Copyable: a copy made between two blocks continues exactly as the original would.
struct EnvelopeState {
  int Length = 0;                            // n of the last init; 0 = not initialised
  FirState analytic;                         // complex taps delta[k-c] + j hilbert[k]
  FirState smooth;                           // n taps of 1/n
  std::vector<std::complex<double>> work;    // analytic signal of one chunk
  std::vector<double> magnitude;             // its magnitude
};

// The analytic-signal taps for length parameter n (Lh values), as defined above.
std::vector<std::complex<double>> EnvelopeAnalyticTaps(int n);

// Sizes the state for length n >= 1 (sigflow::Exception otherwise), zero history.
void EnvelopeInit(EnvelopeState& state, int n);
void EnvelopeReset(EnvelopeState& state);
void EnvelopeFree(EnvelopeState& state);

// Envelope of in into out (out.size() >= in.size()). Initialises the state first when it
// was set up for another n (that call allocates; the following ones do not).
void EnvelopeDetector(EnvelopeState& state, std::span<const double> in, std::span<double> out,
                      int n);

}  // namespace sigflow
