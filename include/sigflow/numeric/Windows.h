#pragma once
// Window functions. Each builder makes dst a real vector of n samples.
//
// Symmetry is always stated by the caller:
//   wsPeriodic  (DFT-even) for spectral analysis: the window of length n + 1 without its last
//               sample, so a sine centred on a bin reads its true amplitude after scaling by
//               WindowScaleFactor;
//   wsSymmetric for filter design: w[n-1-k] = w[k].
// With D = n (periodic) or n - 1 (symmetric) and x = k / D, k = 0 .. n-1; n = 1 gives {1},
// n = 0 an empty vector.
//
// Definitions (cosine sums are a0 - a1 cos(2 pi x) + a2 cos(4 pi x)):
//   Rectangular     1
//   Hanning         a = 0.5, 0.5
//   Hamming         a = 0.54, 0.46
//   FlatTop         a = 0.2810639, 0.5208972, 0.1980399       (three-term flat top)
//   Bartlett        1 - |2x - 1|
//   Blackman        a = 0.42, 0.5, 0.08
//   BlackmanHarris  a = 0.42323, 0.49755, 0.07922             (three-term, -67 dB)
//   BlackmanExact   a = 7938, 9240, 1430 (/ 18608)
//   CosineTappered  Tukey: flat top, cosine tapers covering the fraction `taper` of D
//   Kaiser          I0(beta sqrt(1 - (2x - 1)^2)) / I0(beta)
//   Chebyshev       Dolph-Chebyshev, side lobes attDb below the main lobe, peak 1
//   ExponentWindow  endValue^x: decays from 1 to endValue at x = 1
// The mean of a periodic window is its coherent gain; WindowScaleFactor is its inverse.
#include <cstdint>

namespace sigflow {

class TVec;

enum TSignalWindowType : std::uint8_t {
  wtRectangular = 0,
  wtHanning = 1,
  wtHamming = 2,
  wtFlatTop = 3,
  wtBartlett = 4,
  wtBlackman = 5,
  wtBlackmanHarris = 6,
  wtExactBlackman = 7,
  wtCosineTapered = 8,
  wtKaiser = 9,
  wtChebyshev = 10,
  wtExponential = 11,
};

inline constexpr int SignalWindowTypeCount = 12;

enum TWindowSymmetry : std::uint8_t { wsPeriodic = 0, wsSymmetric = 1 };

// n >= 0 everywhere; a negative n raises Exception "Window length < 0".
void Rectangular(TVec& dst, int n);
void Hanning(TVec& dst, int n, TWindowSymmetry symmetry);
void Hamming(TVec& dst, int n, TWindowSymmetry symmetry);
void FlatTop(TVec& dst, int n, TWindowSymmetry symmetry);
void Bartlett(TVec& dst, int n, TWindowSymmetry symmetry);
void Blackman(TVec& dst, int n, TWindowSymmetry symmetry);
void BlackmanHarris(TVec& dst, int n, TWindowSymmetry symmetry);
void BlackmanExact(TVec& dst, int n, TWindowSymmetry symmetry);
// taper in [0, 1]: 0 is rectangular, 1 is Hanning (clamped into that range).
void CosineTappered(TVec& dst, int n, double taper, TWindowSymmetry symmetry);
// beta >= 0 (0 is rectangular); see KaiserBetaWindowAtt.
void Kaiser(TVec& dst, int n, double beta, TWindowSymmetry symmetry);
// attDb > 0: side-lobe level below the main lobe in dB (the sign is ignored).
void Chebyshev(TVec& dst, int n, double attDb, TWindowSymmetry symmetry);
// endValue > 0 (1 is rectangular).
void ExponentWindow(TVec& dst, int n, double endValue, TWindowSymmetry symmetry);

// Builds any window by type. param is the window's parameter: taper fraction for
// wtCosineTapered, beta for wtKaiser, side-lobe attenuation in dB for wtChebyshev, end value
// for wtExponential; the other types ignore it.
void SignalWindow(TVec& dst, TSignalWindowType type, int n, TWindowSymmetry symmetry, double param);

// Multiplies x[index .. index + w.Length() - 1] by w (real and imaginary parts of a complex
// x alike). The range must lie inside x.
void ApplyWindow(TVec& x, const TVec& w, int index = 0);

// Kaiser beta for a window whose highest side lobe lies attDb below the main lobe
// (Kaiser and Schafer's fit): 0 below 13.26 dB; 0.76609 (A - 13.26)^0.4 + 0.09834 (A - 13.26)
// up to 60 dB; 0.12438 (A + 6.3) above.
double KaiserBetaWindowAtt(double attDb);

// Inverse coherent gain, 1 / mean of the periodic window, in full precision: 1 (rectangular),
// 2 (Hanning, Bartlett), 1/0.54, 1/0.2810639, 1/0.42, 1/0.42323, 18608/7938 for ordinals 0 to
// 7. The parametric windows (8 to 11) have no fixed gain: the result is 1 / Mean of the
// built window passed as `built` (NaN when it is empty or has mean 0).
double WindowScaleFactor(TSignalWindowType type, const TVec& built);

}  // namespace sigflow
