#pragma once
// Chirp-z transform: the z-transform of a finite sequence evaluated on a spiral contour,
// computed by Bluestein's algorithm through the cached FFT in O((N + M) log(N + M)).
//
//   X[k] = sum_{n=0}^{N-1} x[n] A^{-n} W^{n k},   k = 0 .. M-1,
//
// i.e. the contour points are z_k = A W^{-k} and X[k] = sum_n x[n] z_k^{-n}. A = 1,
// W = e^{-2 pi i / N}, M = N gives the forward FFT of this library (unscaled, e^{-2 pi i kn/N});
// nothing is scaled.
//
// Points are held in polar form with the angle as a fraction of a period: Bluestein needs
// W^{m^2/2} for m up to max(N, M), and that power keeps full precision only when its angle is
// reduced modulo one turn exactly. TZPolar stores the angle as Angle / Period turns (for a
// frequency: Angle = f in Hz, Period = the sampling frequency), and the powers reduce
// Angle * q modulo Period without rounding (an exact product and fmod), so the phase error of
// W^{m^2/2} stays a few units of the last place for any m. A point given as a complex number
// has its angle rounded once to turns; that error grows with m^2 as for any direct power.
//
// Off the unit circle the chirp magnitudes |W|^{m^2/2} grow or decay quickly: with |W| != 1
// the transform overflows or loses relative accuracy for large M (an intrinsic limit of the
// algorithm, not of this implementation); see docs/czt.md for the error bound.
#include <cstdint>
#include <span>
#include <vector>

#include "sigflow/numeric/Precision.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {

// z = exp(LogRadius) * exp(2 pi i * Angle / Period).
//   LogRadius: natural log of |z| (0 on the unit circle), any finite value; kept as a
//   logarithm because the powers need q ln|z| and a rounded radius near 1 would lose most
//   digits of its logarithm. Angle any finite value; Period > 0 (1 for turns, the sampling
//   frequency in Hz when Angle is a frequency in Hz).
struct TZPolar {
  double LogRadius = 0.0;
  double Angle = 0.0;
  double Period = 1.0;

  // The point of a complex number (z != 0): LogRadius = Re(log z), Angle arg(z) / (2 pi),
  // Period 1.
  static TZPolar FromComplex(TCplx z);
  double Radius() const;
  // The point as a complex number.
  TCplx Value() const;
  // z^q for a real exponent q, with the angle q * Angle reduced modulo Period exactly
  // (q * Angle must be below 2^53 * Period in magnitude for that; larger products lose the
  // turn count as any double would).
  TCplx Power(double q) const;
};

// Contour z_k = A W^{-k}, k = 0 .. M-1.
struct TCztContour {
  TZPolar A;
  TZPolar W;
};

// The contour of complex A and W as scipy.signal.czt takes them (A, W != 0).
TCztContour CztContour(TCplx a, TCplx w);

// Number of zoom points for the frequency range [startFrequency, stopFrequency) with the
// given step (all in the same unit, usually Hz): Trunc((stop - start) / step) limited to
// 0 .. 1000000. A step that is not > 0, or any value that is not finite, gives 0: a zero
// step means an empty zoom, never a division by zero or a huge transform.
int CztZoomPoints(double startFrequency, double stopFrequency, double frequencyStep);

// Contour of a zoom: points > 0 frequencies f_k = startFrequency + k * frequencyStep (Hz,
// any sign, below or above Nyquist) at radii from startRadius (k = 0) to stopRadius
// (k = points - 1) in geometric steps; samplingFrequency in Hz. With both radii 1 the points
// lie on the unit circle and X[k] = sum_n x[n] e^{-2 pi i n f_k / fs}, the DTFT at f_k in the
// sign and scale of FFT. With one point stopRadius is not used.
// Exception "Czt: StartRadius <= 0" / "Czt: StopRadius <= 0" / "Czt: SamplingFrequency <= 0"
// (also for NaN) and "Czt: points < 1".
TCztContour CztZoomContour(double startFrequency, double frequencyStep, int points,
                           double startRadius, double stopRadius, double samplingFrequency);

// Bluestein's plan for one shape (N inputs, M outputs, one contour). Init sizes and fills
// every table; Czt() with the plan then allocates nothing. Init with the values the plan
// already has does nothing, so a caller may call it before every frame. A default plan is the
// empty transform (N = M = 0). Copyable.
class TCztPlan {
public:
  TCztPlan() = default;

  // n >= 0 input samples, m >= 0 output points, contour A and W (finite values, periods
  // > 0). Exceptions: "Czt: n < 0", "Czt: m < 0", "Czt: length too large" (n + m above
  // 2^28), "Czt: bad contour" (a period not > 0 or a value not finite).
  void Init(int n, int m, const TCztContour& contour);

  int InputLength() const noexcept { return n_; }
  int OutputLength() const noexcept { return m_; }
  // Length L of the FFTs used (>= N + M - 1, a product of 2, 3, 5 and 7; 0 when N or M is 0).
  int FftLength() const noexcept { return l_; }
  const TCztContour& Contour() const noexcept { return contour_; }

private:
  friend struct TCztKernel;
  using CVec = std::vector<TCplx, TAlignedAllocator<TCplx>>;

  int n_ = 0;
  int m_ = 0;
  int l_ = 0;
  bool ready_ = true;  // false only after an Init that threw half way
  TCztContour contour_;
  CVec pre_;    // A^{-n} W^{n^2/2}, n < N
  CVec post_;   // W^{k^2/2}, k < M
  CVec chirp_;  // FFT of W^{-j^2/2} laid out circularly over L
  CVec work_;      // L: pre-chirped input, then the convolution
  CVec spectrum_;  // L
};

// X := the chirp-z transform of x with the plan's contour. x.size() must be the plan's N
// ("Czt: input length differs from the plan") and out.size() its M ("Czt: output length
// differs from the plan"); a plan left half made by an Init that threw gives "Czt: plan not
// initialised". out must not overlap x. N = 0 gives zeros. Allocates nothing.
void Czt(TCztPlan& plan, std::span<const double> x, std::span<TCplx> out);
void Czt(TCztPlan& plan, std::span<const TCplx> x, std::span<TCplx> out);
// The same for vectors: src real or complex of the plan's length N; dst becomes complex of
// length M. dst must be another vector ("Czt: destination is the source"). Allocates nothing
// once dst has held M complex values.
void Czt(TCztPlan& plan, const TVec& src, TVec& dst);

// Smallest length >= n whose only prime factors are 2, 3, 5 and 7 (1 for n <= 1); such
// lengths are the fast ones for the FFT. n must not exceed 2^30.
int FastFftLength(int n);

}  // namespace sigflow
