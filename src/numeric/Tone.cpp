#include "sigflow/numeric/Tone.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "PhaseMath.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace detail {

void ReducedStep(double Frequency, double SamplingFrequency, double& Hi, double& Lo) {
  const double q = Frequency / SamplingFrequency;
  // The remainder of a correctly rounded quotient is representable, so fma gives it exactly.
  const double rest = std::fma(-q, SamplingFrequency, Frequency);
  const double lo = rest / SamplingFrequency;
  const double whole = std::floor(q);
  double s, e;
  TwoSum(q - whole, lo, s, e);
  // s may leave [0, 1) by the low part: move one turn, keeping the sum exact.
  if (s >= 1.0) {
    double s2, e2;
    TwoSum(s, -1.0, s2, e2);
    s = s2;
    e += e2;
  } else if (s < 0.0) {
    double s2, e2;
    TwoSum(s, 1.0, s2, e2);
    s = s2;
    e += e2;
  }
  TwoSum(s, e, Hi, Lo);
  if (Hi >= 1.0) {  // only when the sum rounds up to a full turn
    Hi = 0.0;
    Lo = 0.0;
  }
}

long double FracCycles(std::int64_t N, double Hi, double Lo, double Phase) {
  const double n = static_cast<double>(N);
  const double p = n * Hi;
  const double e = std::fma(n, Hi, -p);  // n * Hi == p + e exactly
  const double fp = p - std::floor(p);
  long double c = static_cast<long double>(fp) + static_cast<long double>(e) +
                  static_cast<long double>(n) * static_cast<long double>(Lo) +
                  static_cast<long double>(Phase) / kTwoPiL;
  c -= std::floor(c);
  return c < 1.0L ? c : 0.0L;
}

void CheckSamplingFrequency(double SamplingFrequency) {
  if (!(SamplingFrequency > 0.0) || !std::isfinite(SamplingFrequency))
    throw Exception("SamplingFrequency must be positive and finite");
}

void CheckFinite(double X, const char* What) {
  if (!std::isfinite(X)) throw Exception(std::string(What) + " must be finite");
}

}  // namespace detail

using detail::FastFloor;

double CircularFrequency(double Frequency) {
  const double f = Frequency - std::floor(Frequency);
  return f < 1.0 ? f : 0.0;
}

// ---------------------------------------------------------------------------------------
// Exact phase counter

namespace {
constexpr std::int64_t kSegment = std::int64_t{1} << 24;
constexpr double kTwo29 = 536870912.0;              // 2^29
constexpr double kTwo58 = 288230376151711744.0;     // 2^58
}  // namespace

void CycleCounterInit(TCycleCounter& Counter, double Frequency, double Phase,
                      double SamplingFrequency) {
  detail::CheckSamplingFrequency(SamplingFrequency);
  detail::CheckFinite(Frequency, "Frequency");
  detail::CheckFinite(Phase, "Phase");
  TCycleCounter c;
  detail::ReducedStep(Frequency, SamplingFrequency, c.StepHi, c.StepLo);
  c.Step1 = std::floor(c.StepHi * kTwo29) / kTwo29;
  const double rest = c.StepHi - c.Step1;
  c.Step2 = std::floor(rest * kTwo58) / kTwo58;
  c.Step3 = (rest - c.Step2) + c.StepLo;
  c.Phase = Phase;
  Counter = c;
}

namespace {
// The loop of CycleFill two samples at a time. GCC does not if-convert the floors of the
// scalar loop (it keeps them as branches), so they are written as vector masks here.
typedef double TDouble2 __attribute__((vector_size(16)));
typedef long long TMask2 __attribute__((vector_size(16)));

inline TDouble2 Floor2(TDouble2 x) {
  const TDouble2 round = {6755399441055744.0, 6755399441055744.0};  // as FastFloor
  const TDouble2 one = {1.0, 1.0};
  const TDouble2 t = (x + round) - round;
  return t - reinterpret_cast<TDouble2>(reinterpret_cast<TMask2>(one) & (t > x));
}

// Writes the first (count & ~1) samples; returns how many it wrote.
std::int64_t CycleFillPairs(double* o, std::int64_t count, double r0, double s1, double s2, double s3,
                            double b) {
  const TDouble2 vs1 = {s1, s1}, vs2 = {s2, s2}, vs3 = {s3, s3}, vb = {b, b};
  const TDouble2 one = {1.0, 1.0}, two = {2.0, 2.0};
  TDouble2 r = {r0, r0 + 1.0};
  std::int64_t k = 0;
  for (; k + 2 <= count; k += 2) {
    const TDouble2 t = r * vs1;  // exact: fewer than 53 significant bits
    const TDouble2 v = (t - Floor2(t)) + (r * vs2 + r * vs3) + vb;
    const TDouble2 u = v - Floor2(v);
    const TDouble2 wrapped = u - reinterpret_cast<TDouble2>(reinterpret_cast<TMask2>(one) & (u >= one));
    std::memcpy(o + k, &wrapped, sizeof wrapped);
    r += two;
  }
  return k;
}
}  // namespace

void CycleFill(TCycleCounter& Counter, std::int64_t First, std::span<double> Cycles) {
  const std::int64_t total = static_cast<std::int64_t>(Cycles.size());
  double* out = Cycles.data();
  const double s1 = Counter.Step1, s2 = Counter.Step2, s3 = Counter.Step3;
  std::int64_t i = 0;
  while (i < total) {
    const std::int64_t n = First + i;
    const std::int64_t base = n & ~(kSegment - 1);
    if (Counter.Base != base) {
      Counter.Base = base;
      Counter.BaseCycles = static_cast<double>(
          detail::FracCycles(base, Counter.StepHi, Counter.StepLo, Counter.Phase));
      if (Counter.BaseCycles >= 1.0) Counter.BaseCycles = 0.0;
    }
    const double b = Counter.BaseCycles;
    const std::int64_t count = std::min(total - i, base + kSegment - n);
    const double r0 = static_cast<double>(n - base);
    double* o = out + i;
    std::int64_t k = CycleFillPairs(o, count, r0, s1, s2, s3, b);
    for (; k < count; ++k) {
      const double r = r0 + static_cast<double>(k);
      const double t = r * s1;  // exact: fewer than 53 significant bits
      const double v = (t - FastFloor(t)) + (r * s2 + r * s3) + b;
      const double u = v - FastFloor(v);
      o[k] = u < 1.0 ? u : u - 1.0;
    }
    i += count;
  }
}

// ---------------------------------------------------------------------------------------
// Sine tone

namespace {

constexpr int kTable = TToneState::TableLength;
constexpr std::int64_t kAnchorSpan = std::int64_t{kTable} * kTable;

// Amplitude * exp(j (2 pi (F / Fs) n + Phase)) from the exact phase.
void Anchor(const TToneState& s, std::int64_t n, double& re, double& im) {
  const long double theta = detail::kTwoPiL * detail::FracCycles(n, s.StepHi, s.StepLo, s.Phase);
  re = static_cast<double>(s.Amplitude * std::cos(theta));
  im = static_cast<double>(s.Amplitude * std::sin(theta));
}

inline void RowReal(double* __restrict o, double br, double bi, const double* __restrict fr,
                    const double* __restrict fi, int len) {
  for (int k = 0; k < len; ++k) o[k] = br * fi[k] + bi * fr[k];
}

inline void RowReal64(double* __restrict o, double br, double bi, const double* __restrict fr,
                      const double* __restrict fi) {
  for (int k = 0; k < kTable; ++k) o[k] = br * fi[k] + bi * fr[k];
}

inline void RowComplex(double* __restrict o, double br, double bi, const double* __restrict fr,
                       const double* __restrict fi, int len) {
  for (int k = 0; k < len; ++k) {
    o[2 * k] = br * fr[k] - bi * fi[k];
    o[2 * k + 1] = br * fi[k] + bi * fr[k];
  }
}

template <bool IsComplex>
void ToneBlock(TToneState& s, double* out, std::int64_t total) {
  std::int64_t i = 0;
  while (i < total) {
    double ar, ai;
    Anchor(s, s.SampleIndex + i, ar, ai);
    const std::int64_t chunk = std::min(total - i, kAnchorSpan);
    for (std::int64_t row = 0; row * kTable < chunk; ++row) {
      const double cr = s.CoarseRe[row], ci = s.CoarseIm[row];
      const double br = ar * cr - ai * ci;
      const double bi = ar * ci + ai * cr;
      const std::int64_t at = i + row * kTable;
      const int len = static_cast<int>(std::min<std::int64_t>(kTable, chunk - row * kTable));
      if constexpr (IsComplex) {
        RowComplex(out + 2 * at, br, bi, s.FineRe, s.FineIm, len);
      } else if (len == kTable) {
        RowReal64(out + at, br, bi, s.FineRe, s.FineIm);
      } else {
        RowReal(out + at, br, bi, s.FineRe, s.FineIm, len);
      }
    }
    i += chunk;
  }
  s.SampleIndex += total;
}

// exp(j 2 pi (F / Fs) Stride k), k < kTable, by a long double recursion from the exact step;
// its error (about k * 2^-64) stays far below the rounding to double.
void FillTable(const TToneState& s, std::int64_t Stride, double* re, double* im) {
  const long double theta = detail::kTwoPiL * detail::FracCycles(Stride, s.StepHi, s.StepLo, 0.0);
  const long double wr = std::cos(theta), wi = std::sin(theta);
  long double zr = 1.0L, zi = 0.0L;
  for (int k = 0; k < kTable; ++k) {
    re[k] = static_cast<double>(zr);
    im[k] = static_cast<double>(zi);
    const long double nr = zr * wr - zi * wi;
    zi = zr * wi + zi * wr;
    zr = nr;
  }
}

}  // namespace

void ToneInit(TToneState& State, double Frequency, double Phase, double Amplitude,
              double SamplingFrequency, bool Complex) {
  detail::CheckSamplingFrequency(SamplingFrequency);
  detail::CheckFinite(Frequency, "Frequency");
  detail::CheckFinite(Phase, "Phase");
  detail::CheckFinite(Amplitude, "Amplitude");
  TToneState& s = State;
  detail::ReducedStep(Frequency, SamplingFrequency, s.StepHi, s.StepLo);
  s.Phase = Phase;
  s.Amplitude = Amplitude;
  s.Complex = Complex;
  s.SampleIndex = 0;
  FillTable(s, 1, s.FineRe, s.FineIm);
  FillTable(s, kTable, s.CoarseRe, s.CoarseIm);
}

void Tone(TToneState& State, std::span<double> Out) {
  ToneBlock<false>(State, Out.data(), static_cast<std::int64_t>(Out.size()));
}

void Tone(TToneState& State, std::span<std::complex<double>> Out) {
  // std::complex<double> is layout-compatible with double[2].
  ToneBlock<true>(State, reinterpret_cast<double*>(Out.data()),
                  static_cast<std::int64_t>(Out.size()));
}

// ---------------------------------------------------------------------------------------
// Triangle tone

namespace {

constexpr std::int64_t kChunk = 256;

inline double Tri(double u, double a, double rise, double fall) {
  return u < a ? -1.0 + u * rise : 1.0 - (u - a) * fall;
}

}  // namespace

void TriangleToneInit(TTriangleToneState& State, double Frequency, double Phase,
                      double Amplitude, double Asymmetry, double SamplingFrequency,
                      bool Complex) {
  detail::CheckFinite(Amplitude, "Amplitude");
  detail::CheckFinite(Asymmetry, "Asymmetry");
  detail::CheckFinite(Phase, "Phase");
  const double a = std::clamp(Asymmetry, 0.0, 1.0);
  TTriangleToneState s;
  // Half the rising share ahead puts the rising zero crossing at Phase.
  CycleCounterInit(s.Counter, Frequency, Phase + 3.14159265358979323846 * a, SamplingFrequency);
  s.Amplitude = Amplitude;
  s.Asymmetry = a;
  s.RiseSlope = a > 0.0 ? 2.0 / a : 0.0;
  s.FallSlope = a < 1.0 ? 2.0 / (1.0 - a) : 0.0;
  s.Complex = Complex;
  s.SampleIndex = 0;
  State = s;
}

void TriangleTone(TTriangleToneState& State, std::span<double> Out) {
  double u[kChunk];
  const double amp = State.Amplitude, a = State.Asymmetry;
  const double rise = State.RiseSlope, fall = State.FallSlope;
  const std::int64_t total = static_cast<std::int64_t>(Out.size());
  for (std::int64_t i = 0; i < total; i += kChunk) {
    const std::int64_t count = std::min(kChunk, total - i);
    CycleFill(State.Counter, State.SampleIndex + i, std::span<double>(u, count));
    double* o = Out.data() + i;
    for (std::int64_t k = 0; k < count; ++k) o[k] = amp * Tri(u[k], a, rise, fall);
  }
  State.SampleIndex += total;
}

void TriangleTone(TTriangleToneState& State, std::span<std::complex<double>> Out) {
  double u[kChunk];
  const double amp = State.Amplitude, a = State.Asymmetry;
  const double rise = State.RiseSlope, fall = State.FallSlope;
  const std::int64_t total = static_cast<std::int64_t>(Out.size());
  for (std::int64_t i = 0; i < total; i += kChunk) {
    const std::int64_t count = std::min(kChunk, total - i);
    CycleFill(State.Counter, State.SampleIndex + i, std::span<double>(u, count));
    std::complex<double>* o = Out.data() + i;
    for (std::int64_t k = 0; k < count; ++k) {
      double v = u[k] + 0.25;
      v = v < 1.0 ? v : v - 1.0;
      o[k] = {amp * Tri(v, a, rise, fall), amp * Tri(u[k], a, rise, fall)};
    }
  }
  State.SampleIndex += total;
}

}  // namespace sigflow
