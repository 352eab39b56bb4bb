#pragma once
// IIR design through analog prototypes: Butterworth, Chebyshev I and II, elliptic (Cauer) and
// Bessel, plus a DC blocker and a notch. Frequencies are normalised to the Nyquist frequency
// (0 < w < 1, 1 = fs/2), as scipy.signal's digital designs with fs = 2.
//
// Second-order sections: a design returns S sections of six values each, flat,
//   { b0 b1 b2 a0 a1 a2,  b0 b1 b2 a0 a1 a2, ... }   with a0 = 1,
// the filter being H(z) = prod_s (b0 + b1 z^-1 + b2 z^-2) / (1 + a1 z^-1 + a2 z^-2). An odd
// order leaves one first-order section (b2 = a2 = 0). Each section pairs a pole pair with the
// nearest zeros, poles closest to the unit circle last, and the overall gain is spread evenly
// over the sections, so orders up to 50 (100 poles for band designs) keep their accuracy.
//
// Band designs, by TFilterType (Wn holds the normalised edges):
//   ftLowpass, ftHighpass: one edge; ftBandpass, ftBandstop: two increasing edges.
// The prototype is moved to the edges with prewarping, w_analog = 4 tan(pi Wn / 2), so the
// digital response at Wn is exactly the prototype's response at its edge.
#include <complex>
#include <span>
#include <vector>

#include "sigflow/numeric/FilterDesign.h"

namespace sigflow {

// Order and natural frequencies from a band template (scipy.signal.buttord & co.).
struct TIirOrder {
  int Order = 0;
  std::vector<double> Wn;  // normalised edges for the matching *Filter routine
};

// Lowest order that loses at most `PassRippleDb` (dB, > 0) in the pass band and attenuates at
// least `StopAttenuationDb` (dB, > PassRippleDb) in the stop band.
//   Wp, Ws  pass and stop edges, normalised, both of size 1 (low-pass if Wp < Ws, high-pass
//           otherwise) or both of size 2 (band-pass if Ws[0] < Wp[0], band-stop otherwise;
//           the pass band of a band-pass lies inside the stop edges).
// For band-stop templates the pass edges are first moved as far as the order allows
// (bounded Brent search, tolerance 1e-5, as scipy does).
//   ButterOrder:      N = ceil(log10((Gs - 1)/(Gp - 1)) / (2 log10 nat)), G = 10^(dB/10),
//                     Wn where the response is -3 dB.
//   ChebyshevIOrder:  N = ceil(acosh(sqrt((Gs - 1)/(Gp - 1))) / acosh(nat)), Wn = Wp.
//   ChebyshevIIOrder: same N; Wn = edges where the attenuation is StopAttenuationDb.
//   EllipticOrder:    N = ceil(K(1/nat^2) K'(e^2) / (K'(1/nat^2) K(e^2))),
//                     e^2 = (Gp - 1)/(Gs - 1), Wn = Wp.
// nat is the stop-to-pass edge ratio of the equivalent analog low-pass.
// Throws EFilterDesignError for edges outside (0, 1), mismatched sizes or bad dB values.
TIirOrder ButterOrder(std::span<const double> Wp, std::span<const double> Ws,
                      double PassRippleDb, double StopAttenuationDb);
TIirOrder ChebyshevIOrder(std::span<const double> Wp, std::span<const double> Ws,
                          double PassRippleDb, double StopAttenuationDb);
TIirOrder ChebyshevIIOrder(std::span<const double> Wp, std::span<const double> Ws,
                           double PassRippleDb, double StopAttenuationDb);
TIirOrder EllipticOrder(std::span<const double> Wp, std::span<const double> Ws,
                        double PassRippleDb, double StopAttenuationDb);

// Designs; Order 1 .. 50 (a band design has 2*Order poles). Output: sections as above.
// Butterworth: |H|^2 = 1/(1 + (w/wc)^(2N)) of the prototype; -3 dB at Wn.
std::vector<double> ButterFilter(int Order, std::span<const double> Wn, TFilterType Type,
                                 TIirFrequencyTransform Transform = iftStateSpaceAnalog);
// Chebyshev I: equiripple pass band of `RippleDb` (> 0); the response is -RippleDb at Wn.
std::vector<double> ChebyshevIFilter(int Order, double RippleDb, std::span<const double> Wn,
                                     TFilterType Type,
                                     TIirFrequencyTransform Transform = iftStateSpaceAnalog);
// Chebyshev II: equiripple stop band at least `AttenuationDb` (> 0) down, reached at Wn.
std::vector<double> ChebyshevIIFilter(int Order, double AttenuationDb,
                                      std::span<const double> Wn, TFilterType Type,
                                      TIirFrequencyTransform Transform = iftStateSpaceAnalog);
// Elliptic: pass-band ripple `RippleDb` (> 0, -RippleDb at Wn), stop band at least
// `AttenuationDb` (> RippleDb) down.
std::vector<double> EllipticFilter(int Order, double RippleDb, double AttenuationDb,
                                   std::span<const double> Wn, TFilterType Type,
                                   TIirFrequencyTransform Transform = iftStateSpaceAnalog);
// Bessel (maximally flat group delay), phase-normalised: the prototype's phase at the edge is
// -Order pi/4 (scipy.signal.bessel with norm 'phase').
std::vector<double> BesselFilter(int Order, std::span<const double> Wn, TFilterType Type,
                                 TIirFrequencyTransform Transform = iftStateSpaceAnalog);

// DC blocker: one first-order section H(z) = g (1 - z^-1) / (1 - p z^-1) with
// p = (1 - tan(pi Wc/2)) / (1 + tan(pi Wc/2)) and g = (1 + p)/2: a zero at DC, gain 1 at
// Nyquist and -3.01 dB at the normalised cutoff `Cutoff` (0 < Cutoff < 1).
std::vector<double> DcFilter(double Cutoff);

// Second-order notch (scipy.signal.iirnotch): zero at the normalised frequency `W0`
// (0 < W0 < 1), -3 dB bandwidth W0/Q (normalised), gain 1 at DC and Nyquist:
//   b = g {1, -2 cos(pi W0), 1}, a = {1, -2 g cos(pi W0), 2 g - 1},
//   g = 1/(1 + tan(pi W0 / (2 Q))).                                       (Q > 0)
std::vector<double> NotchFilter(double W0, double Q);

// Frequency response of sections at the normalised frequency `W` (0 .. 1).
std::complex<double> SosResponse(std::span<const double> Sos, double W);

}  // namespace sigflow
