#include "sigflow/numeric/Tone.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

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

// The helpers below pass wide vectors by value; the kernels that use them are flattened into
// a caller built for that width, so no call with the baseline ABI is ever made. (GCC reports
// this at the end of the file, hence no pop.)
#pragma GCC diagnostic ignored "-Wpsabi"

// W doubles as one register. GCC -O2 neither if-converts the floors and selects of the scalar
// loop nor vectorises it, so the wide loop spells out the vectors and the masks.
template <int W>
struct TWide {
  typedef double V __attribute__((vector_size(W * sizeof(double))));
  typedef long long M __attribute__((vector_size(W * sizeof(double))));
};

template <class V>
inline V FloorWide(V x) {
  using M = typename TWide<sizeof(V) / sizeof(double)>::M;
  const V round = V{} + 6755399441055744.0;  // as FastFloor
  const V t = (x + round) - round;
  return t - reinterpret_cast<V>(reinterpret_cast<M>(V{} + 1.0) & (t > x));
}

// y := floor(x). Through references: an overload below may be built for wider registers than
// its caller when the kernels are not flattened (unoptimised builds), and a vector passed by
// value would then cross an ABI boundary.
template <class V>
inline void FloorTo(const V& x, V& y) {
  y = FloorWide(x);
}

#if defined(__x86_64__) || defined(__i386__)
// One rounding instruction where there is one; exact, so the same as FloorWide.
__attribute__((target("avx"))) inline void FloorTo(const TWide<4>::V& x, TWide<4>::V& y) {
  y = _mm256_round_pd(x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
}
__attribute__((target("avx512f"))) inline void FloorTo(const TWide<8>::V& x, TWide<8>::V& y) {
  y = _mm512_maskz_roundscale_pd(0xFF, x, _MM_FROUND_TO_NEG_INF | _MM_FROUND_NO_EXC);
}
#endif

template <class V, class M>
inline V SelectWide(M mask, V a, V b) {
  return reinterpret_cast<V>((mask & reinterpret_cast<M>(a)) | (~mask & reinterpret_cast<M>(b)));
}

// The shape applied to the phase u in [0, 1); the same expressions as the scalar ShapeOne.
template <int Kind, class V, class M>
inline V ShapeWide(V u, const double* p) {
  using K = detail::TCycleShape;
  if constexpr (Kind == K::Square) {
    return SelectWide<V, M>(u < V{} + 0.5, V{} + p[0], V{} + p[1]);
  } else if constexpr (Kind == K::Triangle) {
    const V a = V{} + p[1];
    const V up = (V{} - 1.0) + u * p[2], down = (V{} + 1.0) - (u - a) * p[3];
    return p[0] * SelectWide<V, M>(u < a, up, down);
  } else if constexpr (Kind == K::Impulse) {
    const V r = V{} + p[1], h = V{} + p[2], f = V{} + p[3];
    V y = SelectWide<V, M>(u < f, (f - u) * p[5], V{});
    y = SelectWide<V, M>(u < h, V{} + p[0], y);
    return SelectWide<V, M>(u < r, u * p[4], y);
  } else {
    return u;
  }
}

template <int Kind>
inline double ShapeOne(double u, const double* p) {
  using K = detail::TCycleShape;
  if constexpr (Kind == K::Square) {
    return u < 0.5 ? p[0] : p[1];
  } else if constexpr (Kind == K::Triangle) {
    return p[0] * (u < p[1] ? -1.0 + u * p[2] : 1.0 - (u - p[1]) * p[3]);
  } else if constexpr (Kind == K::Impulse) {
    return u < p[1] ? u * p[4] : u < p[2] ? p[0] : u < p[3] ? (p[3] - u) * p[5] : 0.0;
  } else {
    return u;
  }
}

// Writes the first (count - count % W) samples of a run; returns how many it wrote.
template <int W, int Kind>
inline std::int64_t CycleRunWide(double* o, std::int64_t count, double r0,
                                               double s1, double s2, double s3, double b,
                                               const double* p) {
  using V = typename TWide<W>::V;
  using M = typename TWide<W>::M;
  const V one = V{} + 1.0;
  V r;
  for (int j = 0; j < W; ++j) r[j] = r0 + j;
  std::int64_t k = 0;
  for (; k + W <= count; k += W) {
    const V t = r * s1;  // exact: fewer than 53 significant bits
    V ft, fv;
    FloorTo(t, ft);
    const V v = (t - ft) + (r * s2 + r * s3) + b;
    FloorTo(v, fv);
    const V u = v - fv;
    const V wrapped = u - reinterpret_cast<V>(reinterpret_cast<M>(one) & (u >= one));
    const V y = ShapeWide<Kind, V, M>(wrapped, p);
    __builtin_memcpy(o + k, &y, sizeof y);
    r += double(W);
  }
  return k;
}

template <int W>
inline std::int64_t CycleRunAnyShape(int kind, double* o, std::int64_t count,
                                                   double r0, double s1, double s2, double s3,
                                                   double b, const double* p) {
  using K = detail::TCycleShape;
  switch (kind) {
    case K::Square: return CycleRunWide<W, K::Square>(o, count, r0, s1, s2, s3, b, p);
    case K::Triangle: return CycleRunWide<W, K::Triangle>(o, count, r0, s1, s2, s3, b, p);
    case K::Impulse: return CycleRunWide<W, K::Impulse>(o, count, r0, s1, s2, s3, b, p);
    default: return CycleRunWide<W, K::Phase>(o, count, r0, s1, s2, s3, b, p);
  }
}

typedef std::int64_t (*TCycleRun)(int, double*, std::int64_t, double, double, double, double,
                                  double, const double*);

__attribute__((flatten)) std::int64_t CycleRunBase(int kind, double* o, std::int64_t count, double r0, double s1,
                          double s2, double s3, double b, const double* p) {
  return CycleRunAnyShape<2>(kind, o, count, r0, s1, s2, s3, b, p);
}

#if defined(__x86_64__) || defined(__i386__)
// Wider registers where the CPU has them. Multiply-adds must not be fused: they would round
// differently from the scalar loop, and every width must give the same samples. "avx2" leaves
// FMA off; "avx512f" brings it in, so contraction is switched off there.
__attribute__((target("avx2"), flatten)) std::int64_t CycleRunAvx2(int kind, double* o, std::int64_t count,
                                                          double r0, double s1, double s2,
                                                          double s3, double b, const double* p) {
  return CycleRunAnyShape<4>(kind, o, count, r0, s1, s2, s3, b, p);
}
__attribute__((target("avx512f"), optimize("fp-contract=off"), flatten)) std::int64_t CycleRunAvx512(int kind, double* o,
                                                               std::int64_t count, double r0,
                                                               double s1, double s2, double s3,
                                                               double b, const double* p) {
  return CycleRunAnyShape<8>(kind, o, count, r0, s1, s2, s3, b, p);
}
#endif

TCycleRun BestCycleRun() {
  static const TCycleRun best = [] {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_cpu_init();
    if (__builtin_cpu_supports("avx512f")) return &CycleRunAvx512;
    if (__builtin_cpu_supports("avx2")) return &CycleRunAvx2;
#endif
    return &CycleRunBase;
  }();
  return best;
}

template <int Kind>
void CycleTail(double* o, std::int64_t from, std::int64_t count, double r0, double s1,
               double s2, double s3, double b, const double* p) {
  for (std::int64_t k = from; k < count; ++k) {
    const double r = r0 + static_cast<double>(k);
    const double t = r * s1;  // exact: fewer than 53 significant bits
    const double v = (t - FastFloor(t)) + (r * s2 + r * s3) + b;
    const double u = v - FastFloor(v);
    o[k] = ShapeOne<Kind>(u < 1.0 ? u : u - 1.0, p);
  }
}

}  // namespace

namespace detail {

void CycleShapeFill(TCycleCounter& Counter, std::int64_t First, std::span<double> Out,
                    const TCycleShape& Shape) {
  const std::int64_t total = static_cast<std::int64_t>(Out.size());
  double* out = Out.data();
  const double s1 = Counter.Step1, s2 = Counter.Step2, s3 = Counter.Step3;
  const double* p = Shape.Params;
  const TCycleRun run = BestCycleRun();
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
    const std::int64_t k = run(Shape.Kind, o, count, r0, s1, s2, s3, b, p);
    switch (Shape.Kind) {
      case TCycleShape::Square: CycleTail<TCycleShape::Square>(o, k, count, r0, s1, s2, s3, b, p); break;
      case TCycleShape::Triangle: CycleTail<TCycleShape::Triangle>(o, k, count, r0, s1, s2, s3, b, p); break;
      case TCycleShape::Impulse: CycleTail<TCycleShape::Impulse>(o, k, count, r0, s1, s2, s3, b, p); break;
      default: CycleTail<TCycleShape::Phase>(o, k, count, r0, s1, s2, s3, b, p); break;
    }
    i += count;
  }
}

}  // namespace detail

void CycleFill(TCycleCounter& Counter, std::int64_t First, std::span<double> Cycles) {
  detail::CycleShapeFill(Counter, First, Cycles, detail::TCycleShape{});
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
  const detail::TCycleShape shape{detail::TCycleShape::Triangle,
                                  {State.Amplitude, State.Asymmetry, State.RiseSlope,
                                   State.FallSlope}};
  detail::CycleShapeFill(State.Counter, State.SampleIndex, Out, shape);
  State.SampleIndex += static_cast<std::int64_t>(Out.size());
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
