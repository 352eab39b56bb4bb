#pragma once
// Wavelet filter banks by family and parameters.
#include <vector>

#include "sigflow/numeric/FilterDesign.h"

namespace sigflow {

// The four filters of a two-channel wavelet filter bank, all of one length, in the layout of
// PyWavelets: decomposition filters are applied by convolution then down-sampling by 2,
// reconstruction filters after up-sampling. For orthogonal families RecLow is DecLow
// reversed; for every family DecHigh[n] = (-1)^(n+1) RecLow[n] and
// RecHigh[n] = (-1)^n DecLow[n].
struct TWaveletFilters {
  std::vector<double> DecLow, DecHigh, RecLow, RecHigh;
};

// Filter bank of a family; P1, P2 as the family needs them (others ignored):
//   wvDaublet       Daubechies with P1 vanishing moments, 1 .. 38 (2*P1 taps; P1 = 1 is Haar)
//   wvCoiflet       Coiflet of order P1, 1 .. 17 (6*P1 taps)
//   wvSymlet        Symlet with P1 vanishing moments, 2 .. 20 (2*P1 taps)
//   wvBSpline       biorthogonal B-spline, reconstruction order P1 and decomposition order P2:
//                   (P1, P2) one of (1,1) (1,3) (1,5) (2,2) (2,4) (2,6) (2,8) (3,1) (3,3)
//                   (3,5) (3,7) (3,9) (4,4) (5,5) (6,8)   (PyWavelets' biorP1.P2)
//   wvBSplineDual   the same pairs with analysis and synthesis exchanged (rbioP1.P2)
//   wvHaar          Haar (2 taps)
//   wvVaidyanathan  24-tap orthogonal filter of Vaidyanathan and Huong (1988), coefficients
//                   to 12 digits as published in WaveLab; orthonormal to 1e-12, and without
//                   an exact zero at the Nyquist frequency (it was optimised for stop-band
//                   attenuation, not regularity).
//   wvQuadSpline    quadratic spline wavelet of Mallat and Zhong (1992, table I) for the
//                   undecimated dyadic transform: DecLow H = {1,3,3,1}/8, DecHigh G = {-2,2},
//                   RecLow = H reversed, RecHigh K = {1,7,22,-22,-7,-1}/128 (their
//                   normalisation: H sums to 1; |H|^2 + G K = 1 in their phase convention).
//                   The filters have different lengths and the relations above do not hold.
//   wvLinSpline     linear-spline dyadic filters (see docs/filter-design.md).
// Throws EFilterDesignError for parameters outside these ranges.
TWaveletFilters WaveletFilters(TWaveletType Type, int P1, int P2);

// The decomposition filter of the approximation (low-pass, wdApprox) or detail (high-pass,
// wdDetail) channel of WaveletFilters(Type, P1, P2).
std::vector<double> WaveletFilter(TWaveletType Type, int P1, int P2, TWaveletDecomp Decomp);

}  // namespace sigflow
