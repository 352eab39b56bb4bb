#pragma once
// Parks-McClellan (Remez exchange) equiripple FIR design, its length estimate and half-band
// designs for multirate use.
#include <span>
#include <vector>

#include "sigflow/numeric/FilterDesign.h"

namespace sigflow {

// Optimal (minimax weighted error) linear-phase FIR of `NumTaps` taps.
//   NumTaps       3 .. 10000.
//   Bands         2*B band edges in Hz relative to `Fs` (0 <= e <= Fs/2), non-decreasing:
//                 band b spans [Bands[2b], Bands[2b+1]]; the gaps between bands are free.
//   Desired       B values, one per band (see the response types below).
//   Weight        B positive values, one per band, or empty for all 1. The error in band b is
//                 weighted by Weight[b]; give a band with allowed deviation d the weight 1/d.
//   Type          response type; with nu = f/Fs (cycles/sample), c = (NumTaps-1)/2 and
//                 H(nu) = sum h[n] e^{-j 2 pi nu n}, the target in band b is:
//     rmtMultiband            H = D e^{-j 2 pi nu c}                        (symmetric h)
//     rmtDifferentiator       H = D (j nu) e^{-j 2 pi nu c}                 (antisymmetric)
//     rmtDoubleDifferentiator H = D (j nu)^2 e^{-j 2 pi nu c}               (symmetric)
//     rmtIntegrator           H = D / (j nu) e^{-j 2 pi nu c}               (antisymmetric)
//     rmtDoubleIntegrator     H = D / (j nu)^2 e^{-j 2 pi nu c}             (symmetric)
//     rmtHilbert              H = j D e^{-j 2 pi nu c}                      (antisymmetric)
//                 with D = Desired[b]. Weights: the differentiators use W = Weight[b]/nu
//                 (when |D| >= 1e-4, as scipy.signal.remez does for the differentiator),
//                 so the single differentiator's ripple is relative to its gain; the
//                 integrators use W = Weight[b] nu^p (p = 1, 2), a ripple relative to the
//                 gain D / nu^p. Bands of the integrators must start above 0. For a derivative per second use D = 2 pi Fs
//                 (differentiator), (2 pi Fs)^2 (double); for an integral in seconds
//                 D = 1 / (2 pi Fs) (integrator), 1 / (2 pi Fs)^2 (double integrator).
//                 Differentiator and Hilbert match scipy.signal.remez's 'differentiator'
//                 and 'hilbert'.
//   Fs            sampling frequency, > 0, in the unit of Bands.
//   GridDensity   dense grid points per extremal frequency (>= 1; 16 is the usual).
//   MaxIterations exchange iterations before giving up (>= 1).
// Throws EFilterDesignError for invalid arguments, and ERemezConvergenceError when the
// exchange does not reach the optimum within MaxIterations, breaks down numerically, or when
// the taps do not reproduce the optimum at its extremal frequencies (within 5% of the ripple
// plus 1e-8 of the largest target) - which happens when a wide free gap between bands lets
// the optimal response grow by many orders of magnitude. Desired values all 0 give 0 taps.
std::vector<double> remez(int NumTaps, std::span<const double> Bands,
                          std::span<const double> Desired, std::span<const double> Weight,
                          TRemezType Type = rmtMultiband, double Fs = 1.0,
                          int GridDensity = 16, int MaxIterations = 100);

// Estimated Parks-McClellan length for a multiband template, after Herrmann, Rabiner and
// Chan (1973): for each transition between bands b and b+1, with dp = max(d_b, d_b+1),
// ds = min(d_b, d_b+1), Lp = log10 dp, Ls = log10 ds and width df = (Bands[2b+2] -
// Bands[2b+1]) / Fs in cycles/sample:
//   Dinf = (5.309e-3 Lp^2 + 7.114e-2 Lp - 0.4761) Ls - (2.66e-3 Lp^2 + 0.5941 Lp + 0.4278)
//   F    = 11.01217 + 0.51244 (Lp - Ls)
//   N    = Dinf / df - F df + 1
// and the result is ceil of the largest N over the transitions.
//   Bands       2*B edges as for remez(), B >= 2, every transition width > 0.
//   Deviations  B linear deviations (0 < d < 1): pass-band ripple 10^(R/20) - 1 for a
//               ripple of R dB, stop-band level 10^(-A/20) for an attenuation of A dB.
//   Fs          sampling frequency in the unit of Bands.
int RemezLength(std::span<const double> Bands, std::span<const double> Deviations,
                double Fs = 1.0);

// Equiripple half-band low-pass of `Length` taps for 2:1 rate changes: gain 1 in
// [0, PassEdge], 0 in [1 - PassEdge, 1] (normalised to Nyquist = 1), every second tap but the
// centre exactly 0 and the centre exactly 0.5, so H(nu) + H(0.5 - nu) = e^{-j 2 pi nu c}.
// Designed as a single-band Parks-McClellan filter of (Length+1)/2 taps interleaved with
// zeros (Vaidyanathan and Nguyen's trick).
//   Length    3 .. 10000 with Length % 4 == 3.
//   PassEdge  0 < PassEdge < 0.5 (normalised to Nyquist).
std::vector<double> RemezImpulse(int Length, double PassEdge, int GridDensity = 16);

}  // namespace sigflow
