#include "sigflow/numeric/Czt.h"

#include <cmath>
#include <numbers>
#include <type_traits>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"

namespace sigflow {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// (angle * q / period) modulo 1, in [-1/2, 1/2]. The product is split into its rounded value
// and its exact error (fma), fmod is exact, so only the last addition and division round.
double ReducedTurns(double angle, double period, double q) {
  const double p = angle * q;
  const double e = std::fma(angle, q, -p);
  const double r = std::fmod(p, period);
  double t = (r + e) / period;
  return t - std::nearbyint(t);
}

// Complex product without the NaN recovery of operator* (which blocks vectorisation).
inline TCplx Mul(TCplx a, TCplx b) {
  return {a.real() * b.real() - a.imag() * b.imag(), a.real() * b.imag() + a.imag() * b.real()};
}

bool Valid(const TZPolar& z) {
  return std::isfinite(z.LogRadius) && std::isfinite(z.Angle) && z.Period > 0 &&
         std::isfinite(z.Period);
}

bool Same(const TZPolar& a, const TZPolar& b) {
  return a.LogRadius == b.LogRadius && a.Angle == b.Angle && a.Period == b.Period;
}

bool Smooth7(int x) {
  for (int p : {2, 3, 5, 7})
    while (x % p == 0) x /= p;
  return x == 1;
}

}  // namespace

// log(z) rather than log|z|: the complex logarithm keeps log|z| accurate for |z| near 1.
TZPolar TZPolar::FromComplex(TCplx z) { return {std::log(z).real(), std::arg(z) / kTwoPi, 1.0}; }

double TZPolar::Radius() const { return std::exp(LogRadius); }

TCplx TZPolar::Value() const { return Power(1.0); }

TCplx TZPolar::Power(double q) const {
  const double mag = LogRadius == 0.0 ? 1.0 : std::exp(q * LogRadius);
  return std::polar(mag, kTwoPi * ReducedTurns(Angle, Period, q));
}

TCztContour CztContour(TCplx a, TCplx w) { return {TZPolar::FromComplex(a), TZPolar::FromComplex(w)}; }

int CztZoomPoints(double startFrequency, double stopFrequency, double frequencyStep) {
  if (!(frequencyStep > 0) || !std::isfinite(frequencyStep) || !std::isfinite(startFrequency) ||
      !std::isfinite(stopFrequency))
    return 0;
  const double q = (stopFrequency - startFrequency) / frequencyStep;
  if (!(q > 0)) return 0;
  if (q >= 1e6) return 1000000;
  return int(q);
}

TCztContour CztZoomContour(double startFrequency, double frequencyStep, int points,
                           double startRadius, double stopRadius, double samplingFrequency) {
  if (!(startRadius > 0)) throw Exception("Czt: StartRadius <= 0");
  if (!(stopRadius > 0)) throw Exception("Czt: StopRadius <= 0");
  if (!(samplingFrequency > 0)) throw Exception("Czt: SamplingFrequency <= 0");
  if (points < 1) throw Exception("Czt: points < 1");
  TCztContour c;
  c.A = {std::log(startRadius), startFrequency, samplingFrequency};
  // |z_k| = |A| |W|^{-k}: |W| = (startRadius / stopRadius)^{1/(points-1)}.
  const double lnW = points > 1 ? (std::log(startRadius) - std::log(stopRadius)) / double(points - 1) : 0.0;
  c.W = {lnW, -frequencyStep, samplingFrequency};
  return c;
}

int FastFftLength(int n) {
  if (n <= 1) return 1;
  if (n > (1 << 30)) throw Exception("FastFftLength: n > 2^30");
  int x = n;
  while (!Smooth7(x)) ++x;
  return x;
}

void TCztPlan::Init(int n, int m, const TCztContour& contour) {
  if (n < 0) throw Exception("Czt: n < 0");
  if (m < 0) throw Exception("Czt: m < 0");
  if (std::int64_t(n) + m > (std::int64_t(1) << 28)) throw Exception("Czt: length too large");
  if (!Valid(contour.A) || !Valid(contour.W)) throw Exception("Czt: bad contour");
  if (ready_ && n == n_ && m == m_ && Same(contour.A, contour_.A) && Same(contour.W, contour_.W))
    return;

  ready_ = false;
  n_ = n;
  m_ = m;
  contour_ = contour;
  l_ = (n == 0 || m == 0) ? 0 : FastFftLength(n + m - 1);
  pre_.resize(std::size_t(n));
  post_.resize(std::size_t(m));
  chirp_.assign(std::size_t(l_), TCplx(0.0));
  work_.resize(std::size_t(l_));
  spectrum_.resize(std::size_t(l_));
  if (l_ > 0) {
    const TZPolar& a = contour.A;
    const TZPolar& w = contour.W;
    const double lnA = a.LogRadius;
    const double lnW = w.LogRadius;
    // A^{-n} W^{n^2/2} as one magnitude and one phase, so that large factors that cancel do
    // not overflow on the way.
    for (int i = 0; i < n; ++i) {
      const double q = 0.5 * double(i) * double(i);
      double t = ReducedTurns(a.Angle, a.Period, -double(i)) + ReducedTurns(w.Angle, w.Period, q);
      t -= std::nearbyint(t);
      pre_[std::size_t(i)] = std::polar(std::exp(q * lnW - double(i) * lnA), kTwoPi * t);
    }
    for (int k = 0; k < m; ++k) post_[std::size_t(k)] = w.Power(0.5 * double(k) * double(k));
    // W^{-j^2/2} for lags j = -(N-1) .. M-1, negative lags wrapped to the end.
    for (int j = 0; j < m; ++j) chirp_[std::size_t(j)] = w.Power(-0.5 * double(j) * double(j));
    for (int j = 1; j < n; ++j) chirp_[std::size_t(l_ - j)] = w.Power(-0.5 * double(j) * double(j));
    FFT(chirp_, chirp_);
  }
  ready_ = true;
}

// Bluestein's three steps: pre-chirp (zero-padded to L), circular convolution with the
// chirp through the FFT, post-chirp.
struct TCztKernel {
  template <class T>
  static void Run(TCztPlan& p, std::span<const T> x, std::span<TCplx> out) {
    if (!p.ready_) throw Exception("Czt: plan not initialised");
    if (x.size() != std::size_t(p.n_)) throw Exception("Czt: input length differs from the plan");
    if (out.size() != std::size_t(p.m_)) throw Exception("Czt: output length differs from the plan");
    if (p.m_ == 0) return;
    if (p.n_ == 0) {
      for (TCplx& v : out) v = 0.0;
      return;
    }
    const std::size_t n = x.size();
    const std::size_t l = std::size_t(p.l_);
    TCplx* w = p.work_.data();
    const TCplx* pre = p.pre_.data();
    for (std::size_t i = 0; i < n; ++i) {
      if constexpr (std::is_same_v<T, double>) w[i] = pre[i] * x[i];
      else w[i] = Mul(pre[i], x[i]);
    }
    for (std::size_t i = n; i < l; ++i) w[i] = 0.0;
    // Out of place: FFTW's out-of-place plans are faster than in-place ones at these lengths.
    TCplx* f = p.spectrum_.data();
    FFT(p.work_, p.spectrum_);
    const TCplx* h = p.chirp_.data();
    for (std::size_t i = 0; i < l; ++i) f[i] = Mul(f[i], h[i]);
    IFFT(p.spectrum_, p.work_);
    const TCplx* post = p.post_.data();
    for (std::size_t k = 0; k < out.size(); ++k) out[k] = Mul(w[k], post[k]);
  }
};

void Czt(TCztPlan& plan, std::span<const double> x, std::span<TCplx> out) {
  TCztKernel::Run(plan, x, out);
}

void Czt(TCztPlan& plan, std::span<const TCplx> x, std::span<TCplx> out) {
  TCztKernel::Run(plan, x, out);
}

void Czt(TCztPlan& plan, const TVec& src, TVec& dst) {
  if (&src == &dst) throw Exception("Czt: destination is the source");
  if (src.Length() != plan.InputLength()) throw Exception("Czt: input length differs from the plan");
  dst.Size(plan.OutputLength(), true);
  if (src.Complex()) Czt(plan, src.CSpan(), dst.CSpan());
  else Czt(plan, src.Span(), dst.CSpan());
}

}  // namespace sigflow
