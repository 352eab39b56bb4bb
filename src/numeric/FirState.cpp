#include "sigflow/numeric/FirState.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "FirKernels.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

// New input samples the delay line takes between two moves of its history to the front;
// the move costs `history` copies per kLineChunk samples.
constexpr std::size_t kLineChunk = 4096;
// Outputs computed per pass when complex taps need two real passes combined.
constexpr std::size_t kBatch = 256;

std::size_t Width(const FirState& s) { return s.ComplexData ? 2 : 1; }
std::size_t OutWidth(const FirState& s) { return s.ComplexData || s.ComplexImpulse ? 2 : 1; }
bool Silent(const FirState& s) { return s.UpSample == 0 || s.DownSample == 0; }

void Restart(FirState& s) {
  std::fill(s.line.begin(), s.line.end(), 0.0);
  s.fill = s.history;
  s.next = static_cast<std::int64_t>(s.DownDelay) +
           static_cast<std::int64_t>(s.history) * s.UpSample;
}

void Init(FirState& s, const double* re, const double* im, std::size_t stride, std::size_t L,
          bool complexData, int U, int du, int D, int dd) {
  if (L == 0) throw Exception("FirInit: the filter needs at least one tap");
  if (U < 0 || D < 0) throw Exception("FirInit: UpSample and DownSample must not be negative");
  if (U > 0 && (du < 0 || du >= U))
    throw Exception("FirInit: UpDelay must lie in 0 .. UpSample - 1");
  if (D > 0 && (dd < 0 || dd >= D))
    throw Exception("FirInit: DownDelay must lie in 0 .. DownSample - 1");
  FirState n;
  n.Initialized = true;
  n.ComplexImpulse = im != nullptr;
  n.ComplexData = complexData;
  n.UpSample = U;
  n.UpDelay = U > 0 ? du : 0;
  n.DownSample = D;
  n.DownDelay = D > 0 ? dd : 0;
  n.TapCount = L;
  n.kernels = &detail::FirKernels(detail::FirBestKernelLevel());
  if (Silent(n)) {
    s = std::move(n);
    return;
  }
  // U = D = 1 runs the broadcast-tap kernel over all outputs of a block at once.
  // TODO(overlap-save): from about 64 taps the direct path should hand over to FFT
  // overlap-save (same output to 1e-12) once the cached FFT is available here.
  n.direct = U == 1 && D == 1;
  const std::size_t uu = static_cast<std::size_t>(U);
  const std::size_t dup = !n.direct && complexData ? 2 : 1;
  std::size_t lmax = 0;
  for (std::size_t r = 0; r < uu; ++r) {
    const std::size_t lr = L > r ? (L - r + uu - 1) / uu : 0;
    n.phaseOff.push_back(n.coefRe.size());
    n.phaseLen.push_back(lr);
    lmax = std::max(lmax, lr);
    for (std::size_t t = 0; t < lr; ++t) {
      const std::size_t j = (r + (lr - 1 - t) * uu) * stride;  // reversed: oldest sample first
      for (std::size_t c = 0; c < dup; ++c) {
        n.coefRe.push_back(re[j]);
        if (im) n.coefIm.push_back(im[j]);
      }
    }
  }
  // The newest input an output reads sits at line index >= history - 1 when UpDelay > 0.
  n.history = lmax - (n.UpDelay == 0 ? 1 : 0);
  n.capacity = n.history + kLineChunk;
  n.line.assign(n.capacity * Width(n), 0.0);
  n.single.assign(((uu + D - 1) / D) * OutWidth(n), 0.0);
  Restart(n);
  s = std::move(n);
}

// Runs compute(coef, dst) for nb outputs: once with real taps, or twice (real and imaginary
// taps) and combined as (A + jB) when the taps are complex.
template <class Compute>
void Emit(const FirState& s, std::size_t nb, std::size_t phaseOffset, double* out, Compute compute) {
  if (!s.ComplexImpulse) {
    compute(s.coefRe.data() + phaseOffset, out);
    return;
  }
  double a[2 * kBatch];
  double b[2 * kBatch];
  compute(s.coefRe.data() + phaseOffset, a);
  compute(s.coefIm.data() + phaseOffset, b);
  if (!s.ComplexData) {
    for (std::size_t i = 0; i < nb; ++i) {
      out[2 * i] = a[i];
      out[2 * i + 1] = b[i];
    }
  } else {
    for (std::size_t i = 0; i < nb; ++i) {
      out[2 * i] = a[2 * i] - b[2 * i + 1];
      out[2 * i + 1] = a[2 * i + 1] + b[2 * i];
    }
  }
}

// Computes every output whose last up-sampled slot is now in the line.
std::size_t EmitReady(FirState& s, double* out) {
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  const std::int64_t U = s.UpSample;
  const std::int64_t D = s.DownSample;
  const std::int64_t end = static_cast<std::int64_t>(s.fill) * U;
  if (s.next >= end) return 0;
  const std::size_t count = static_cast<std::size_t>((end - s.next + D - 1) / D);
  const std::size_t batchMax = s.ComplexImpulse ? kBatch : count;
  const auto& k = *s.kernels;
  if (U == 1) {
    const std::size_t L = s.phaseLen[0];
    const std::size_t m = s.direct ? L : L * w;
    for (std::size_t done = 0; done < count;) {
      const std::size_t nb = std::min(batchMax, count - done);
      const std::size_t first = static_cast<std::size_t>(s.next) + done * D + 1 - L;
      const double* x = s.line.data() + first * w;
      if (s.direct) {
        Emit(s, nb, 0, out + done * ow, [&](const double* g, double* dst) {
          k.Direct(g, m, x, w, dst, nb * w);
        });
      } else {
        Emit(s, nb, 0, out + done * ow, [&](const double* g, double* dst) {
          k.Dots(g, m, x, D * w, nb, dst, s.ComplexData);
        });
      }
      done += nb;
    }
    s.next += static_cast<std::int64_t>(count) * D;
    return count;
  }
  for (std::size_t i = 0; i < count; ++i, s.next += D) {
    const std::int64_t p = s.next - s.UpDelay;  // >= 0: see history in Init
    const std::size_t newest = static_cast<std::size_t>(p / U);
    const std::size_t r = static_cast<std::size_t>(p % U);
    const std::size_t lr = s.phaseLen[r];
    double* o = out + i * ow;
    if (lr == 0) {
      std::fill(o, o + ow, 0.0);
      continue;
    }
    const double* x = s.line.data() + (newest + 1 - lr) * w;
    Emit(s, 1, s.phaseOff[r], o, [&](const double* g, double* dst) {
      k.Dots(g, lr * w, x, 0, 1, dst, s.ComplexData);
    });
  }
  return count;
}

std::size_t Run(FirState& s, const double* in, std::size_t n, double* out) {
  if (Silent(s)) return 0;
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  std::size_t produced = 0;
  while (n > 0) {
    if (s.fill == s.capacity) {
      const std::size_t drop = s.fill - s.history;
      std::memmove(s.line.data(), s.line.data() + drop * w, s.history * w * sizeof(double));
      s.fill = s.history;
      s.next -= static_cast<std::int64_t>(drop) * s.UpSample;
    }
    const std::size_t take = std::min(n, s.capacity - s.fill);
    std::memcpy(s.line.data() + s.fill * w, in, take * w * sizeof(double));
    s.fill += take;
    in += take * w;
    n -= take;
    produced += EmitReady(s, out + produced * ow);
  }
  return produced;
}

void Check(const FirState& s, bool complexIn, bool complexOut, std::size_t n, std::size_t outSize) {
  if (!s.Initialized) throw Exception("FirFilter: the FIR state is not initialised");
  if (complexIn != s.ComplexData || complexOut != (s.ComplexData || s.ComplexImpulse))
    throw Exception("FirFilter: data or output type does not match the FIR state");
  if (outSize < FirOutputCount(s, n))
    throw Exception("FirFilter: the output holds " + std::to_string(outSize) + " values, " +
                    std::to_string(FirOutputCount(s, n)) + " needed");
}

}  // namespace

void FirInit(FirState& state, std::span<const double> taps, bool complexData, int upSample,
             int upDelay, int downSample, int downDelay) {
  Init(state, taps.data(), nullptr, 1, taps.size(), complexData, upSample, upDelay, downSample,
       downDelay);
}

void FirInit(FirState& state, std::span<const std::complex<double>> taps, bool complexData,
             int upSample, int upDelay, int downSample, int downDelay) {
  const double* d = reinterpret_cast<const double*>(taps.data());
  Init(state, d, d + 1, 2, taps.size(), complexData, upSample, upDelay, downSample, downDelay);
}

void FirReset(FirState& state) {
  if (state.Initialized && !Silent(state)) Restart(state);
}

void FirFree(FirState& state) { state = FirState{}; }

std::size_t FirOutputCount(const FirState& s, std::size_t n) {
  if (!s.Initialized || Silent(s)) return 0;
  const std::int64_t end = static_cast<std::int64_t>(s.fill + n) * s.UpSample;
  if (s.next >= end) return 0;
  return static_cast<std::size_t>((end - s.next + s.DownSample - 1) / s.DownSample);
}

std::size_t FirFilter(FirState& state, std::span<const double> in, std::span<double> out) {
  Check(state, false, false, in.size(), out.size());
  return Run(state, in.data(), in.size(), out.data());
}

std::size_t FirFilter(FirState& state, std::span<const double> in,
                      std::span<std::complex<double>> out) {
  Check(state, false, true, in.size(), out.size());
  return Run(state, in.data(), in.size(), reinterpret_cast<double*>(out.data()));
}

std::size_t FirFilter(FirState& state, std::span<const std::complex<double>> in,
                      std::span<std::complex<double>> out) {
  Check(state, true, true, in.size(), out.size());
  return Run(state, reinterpret_cast<const double*>(in.data()), in.size(),
             reinterpret_cast<double*>(out.data()));
}

double nspdFir(FirState& state, double x) {
  if (state.ComplexImpulse) throw Exception("FirState.ComplexImpulse = True!");
  if (!state.Initialized) throw Exception("FirFilter: the FIR state is not initialised");
  const double in[2] = {x, 0.0};
  const std::size_t produced = Run(state, in, 1, state.single.data());
  return produced > 0 ? state.single[0] : 0.0;
}

namespace detail {
int FirUseKernelLevel(FirState& state, int level) {
  const int used = std::clamp(level, 0, FirBestKernelLevel());
  state.kernels = &FirKernels(used);
  return used;
}
}  // namespace detail

}  // namespace sigflow
