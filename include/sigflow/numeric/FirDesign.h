#pragma once
// Windowed-sinc FIR design, Kaiser length/beta estimates, Savitzky-Golay and moving-average
// taps. Frequencies are normalised to the Nyquist frequency (1 = fs/2).
#include <span>
#include <vector>

#include "sigflow/numeric/FilterDesign.h"

namespace sigflow {

// Symmetric window of `Length` points for filter design, w[0] == w[Length-1].
//   Length  >= 1 (Length 1 gives {1}).
//   Param   window parameter, ignored by the windows that take none:
//     fwKaiser          beta >= 0 of w[n] = I0(beta sqrt(1 - (2n/(L-1) - 1)^2)) / I0(beta);
//     fwChebyshev       side-lobe attenuation in dB (> 0) of the Dolph-Chebyshev window,
//                       peak normalised to 1;
//     fwBlackman        alpha of w = (alpha+1)/2 - cos(x)/2 - alpha/2 cos(2x),
//                       x = 2 pi n/(L-1); alpha = -0.16 is the classic Blackman window
//                       (0.42, 0.5, 0.08), alpha = 0 the Hanning window; any finite value;
//     fwCosineTappered  tapered fraction in [0, 1] of the Tukey window (0 = rectangular,
//                       1 = Hanning); 0 selects 0.5 (the filter design passes 0).
// The cosine-sum windows (x = 2 pi n/(L-1)): Hanning 0.5 - 0.5 cos x; Hamming 0.54 - 0.46 cos x;
// BlackmanHarris 0.35875, 0.48829, 0.14128, 0.01168; BlackmanExact 7938, 9240, 1430 / 18608;
// FlatTop 0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368 (alternating signs).
// Bartlet is the triangle that is 0 at both ends.
// Throws EFilterDesignError for Length < 1 or a parameter out of range.
std::vector<double> FirDesignWindow(int Length, TFirWindow Window, double Param);

// Windowed-sinc FIR of `Length` taps, linear phase, delay c = (Length-1)/2 samples.
//   Cutoffs  normalised (0 < f < 1, increasing):
//     ftLowpass, ftHighpass: one cutoff; ftBandpass, ftBandstop: two cutoffs;
//     ftDifferentiator: one cutoff fc (1 = full band); ftHilbert: one cutoff (band 0..fc)
//     or two (band f1..f2).
//   Window, WindowParam: see FirDesignWindow.
// Low/high/band-pass/band-stop: h[n] = w[n] sum_bands (r sinc(r m) - l sinc(l m)), m = n - c,
// sinc(x) = sin(pi x)/(pi x), then scaled to gain 1 at the centre of the first pass band
// (DC for low-pass and band-stop, Nyquist for high-pass) - scipy.signal.firwin with scale.
// High-pass and band-stop pass the Nyquist frequency and need an odd Length.
// Differentiator: ideal H(w) = j w e^{-jwc} (w in rad/sample) for |w| < pi fc, 0 beyond:
//   h[n] = w[n] (a m cos(a m) - sin(a m)) / (pi m^2), a = pi fc, h = 0 at m = 0.
//   Multiply by fs to differentiate per second.
// Hilbert: ideal H(w) = +j sign(w) e^{-jwc} in the band (the sign of remez' Hilbert design;
//   negate the taps for the -j sign(w) of the analytic-signal convention):
//   h[n] = w[n] (cos(a2 m) - cos(a1 m)) / (pi m), a = pi f, h = 0 at m = 0.
// Throws EFilterDesignError for Length < 1, a wrong cutoff count, cutoffs outside (0, 1) or
// not increasing, or an even Length where the response must pass Nyquist.
std::vector<double> FirImpulse(int Length, std::span<const double> Cutoffs, TFilterType Type,
                               TFirWindow Window, double WindowParam);

// Kaiser-window FIR length for a stop-band attenuation `AttenuationDb` (dB, > 0) and a
// transition width `TransitionWidth` (normalised, 0 < width <= 1):
//   N = ceil((A - 7.95) / (2.285 pi width) + 1)     (Kaiser's formula, scipy.signal.kaiserord)
// Returns at least 1. Throws EFilterDesignError for A < 8 dB (formula invalid) or a width
// out of range.
int KaiserFirLength(double AttenuationDb, double TransitionWidth);

// Kaiser beta for a stop-band attenuation A in dB (scipy.signal.kaiser_beta):
//   A > 50: 0.1102 (A - 8.7); 21 <= A <= 50: 0.5842 (A - 21)^0.4 + 0.07886 (A - 21); else 0.
double KaiserBetaFir(double AttenuationDb);

// Savitzky-Golay smoothing taps: the least-squares polynomial of degree `PolyOrder` fitted
// over `Length` points, evaluated at the centre (scipy.signal.savgol_coeffs with deriv 0).
// The taps are symmetric, so they read the same as convolution or dot-product coefficients.
//   Length >= 1; 0 <= PolyOrder < Length. An even Length centres between two points.
std::vector<double> SavGolayImpulse(int Length, int PolyOrder);

// Moving average: `Length` (>= 1) taps of 1/Length.
std::vector<double> MovingAverageImpulse(int Length);

}  // namespace sigflow
