#pragma once
// Closed-form refinement of a spectral peak between bins. Every estimator reads the bins
// k - 1, k, k + 1 around a local maximum k of the spectrum and returns the refined frequency
//
//   f = bandwidthL + k * binSpacing + delta * binSpacing
//
// (k * binSpacing + bandwidthL is the frequency of bin k; binSpacing and bandwidthL in Hz).
// y is the amplitude spectrum (|X| or a scaled copy), X the complex spectrum with the same
// bins. k must have a neighbour on each side: 1 <= k <= size - 2, else Exception
// "PeakInterpolation: bin k needs a neighbour on each side". Degenerate data follows IEEE
// arithmetic (a zero denominator gives inf or NaN); nothing else is checked.
//
// Offsets delta (bins), with a = y[k-1], b = y[k], c = y[k+1]:
//   quadratic    (c - a) / (2b - a - c)              (twice the textbook parabola vertex)
//   barycentric  (c - a) / (a + b + c)
//   Quinn 1      am = Re(X[k-1] / X[k]), ap = Re(X[k+1] / X[k]),
//                dm = am / (1 - am), dp = ap / (1 - ap); delta = dp if dp > 0 and dm > 0,
//                else dm
//   Quinn 2      dp = -ap / (1 - ap), dm = am / (1 - am),
//                delta = (dp + dm) / 2 + QuinnTau(dp^2) - QuinnTau(dm^2)
//   Jain         if a <= c: r = c / b, position k + r / (r + 1)
//                else       r = b / a, position k - 1 + r / (r + 1)
//                (f = bandwidthL + position * binSpacing)
// Re(u / v) is computed as Re(u conj(v)) / |v|^2.
//
// For a complex tone delta bins from bin k seen through a rectangular window (long frames),
// |X[k + j]| is proportional to 1 / |delta - j| and X[k +- 1] / X[k] is real: Quinn's
// estimators and Jain's are then exact, while the quadratic rule gives delta^2 / (1 - delta -
// delta^2) and the barycentric one 2 delta^2 / (1 + 2 delta - delta^2) for 0 <= delta < 1/2
// (odd in delta).
#include <span>

#include "sigflow/numeric/Precision.h"

namespace sigflow {

double QuadraticPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL);
double BarycentricPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL);
double QuinnFirstPeak(std::span<const TCplx> x, int k, double binSpacing, double bandwidthL);
double QuinnSecondPeak(std::span<const TCplx> x, int k, double binSpacing, double bandwidthL);
double JainPeak(std::span<const double> y, int k, double binSpacing, double bandwidthL);

// Quinn's correction term:
//   Tau(x) = 0.25 ln(3x^2 + 6x + 1) - (sqrt 6 / 24) ln((x + 1 - sqrt(2/3)) / (x + 1 + sqrt(2/3))).
double QuinnTau(double x);

}  // namespace sigflow
