#include "sigflow/numeric/FirState.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>

#include "FirKernels.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"

namespace sigflow {
namespace {

// New input samples the delay line takes between two moves of its history to the front;
// the move costs `history` copies per kLineChunk samples.
constexpr std::size_t kLineChunk = 4096;
// Outputs the per-phase delay lines of the decimator hold between two moves.
constexpr std::size_t kPhaseChunk = 1024;
// Outputs computed per pass when complex taps need two real passes combined.
constexpr std::size_t kBatch = 256;

// Filters of at least this many taps (U = D = 1) run as FFT overlap-save. Measured here
// (real data, 4096-sample blocks, AVX-512 direct kernel), million samples/s:
//   taps    32    48    64    96   128   192   256   512  1024
//   direct 1008   740   603   435   351   226   177    96    52
//   FFT     270   301   289   293   286   240   230   237   210
// The FFT path costs about the same at any length; the two are even near 192 taps (FFT
// 0.97 to 1.06 of direct over three runs) and the FFT is 1.3x faster at 256.
constexpr std::size_t kOverlapSaveTaps = 192;
// The largest FFT is the power of two >= kFftFactor * taps, the smallest >= 2 * taps (a hop
// of more than the taps); the sizes in between serve runs shorter than the largest hop.
// Factors 4, 8 and 16 measured 220, 216 and 235 million samples/s at 512 taps.
constexpr std::size_t kFftFactor = 16;
// Cost model that cuts a run of outputs into hops or leaves it to the direct form, in ns
// from the figures above: one multiply-add of the direct kernel, and one hop of size N as
// kFftUnit * N log2 N (real forward and inverse transform, spectrum product and copies;
// complex transforms count twice).
constexpr double kDirectMac = 0.02;
constexpr double kFftUnit = 0.35;

enum : int { kSilent = 0, kDirect = 1, kDecimate = 2, kGeneral = 3 };

std::size_t Width(const FirState& s) { return s.ComplexData ? 2 : 1; }
std::size_t OutWidth(const FirState& s) { return s.ComplexData || s.ComplexImpulse ? 2 : 1; }
bool Silent(const FirState& s) { return s.mode == kSilent; }

// With U > 1 the outputs cycle through P = U / gcd(U, D) phases; outputs of one phase read
// inputs D / gcd(U, D) apart, so when that is 1 a phase is a plain FIR over the line.
std::int64_t PhasePeriod(const FirState& s) { return s.UpSample / std::gcd(s.UpSample, s.DownSample); }
std::int64_t PhaseStep(const FirState& s) { return s.DownSample / std::gcd(s.UpSample, s.DownSample); }
bool PhaseRunsContiguous(const FirState& s) { return PhaseStep(s) == 1; }

void Restart(FirState& s) {
  std::fill(s.line.begin(), s.line.end(), 0.0);
  if (s.mode == kDecimate) {
    s.next = 0;
    s.lineBase = -static_cast<std::int64_t>(s.history);
    s.slotIndex = 0;
    s.slotPhase = s.DownDelay;
    return;
  }
  s.fill = s.history;
  s.next = static_cast<std::int64_t>(s.DownDelay) +
           static_cast<std::int64_t>(s.history) * s.UpSample;
}

const double* Coef(const FirState& s, int part, std::size_t r) {
  return (part ? s.coefIm : s.coefRe).data() + s.phaseOff[r];
}

// Real data: phase r's reversed taps g as nd = L + W - 1 vectors T[d][l] = g[d - l].
void BuildTables(FirState& s) {
  s.tableRe.clear();
  s.tableIm.clear();
  s.tableOff.clear();
  if (s.ComplexData || s.mode == kSilent) return;
  const std::size_t W = s.kernels->Width;
  std::size_t size = 0;
  for (const std::size_t lr : s.phaseLen) {
    s.tableOff.push_back(size);
    size += lr == 0 ? 0 : (lr + W - 1) * W;
  }
  for (int part = 0; part < (s.ComplexImpulse ? 2 : 1); ++part) {
    auto& t = part ? s.tableIm : s.tableRe;
    t.assign(size, 0.0);
    for (std::size_t r = 0; r < s.phaseLen.size(); ++r) {
      const double* g = Coef(s, part, r);
      for (std::size_t d = 0; d < s.phaseLen[r] + W - 1; ++d)
        for (std::size_t l = 0; l < W && l <= d; ++l)
          if (d - l < s.phaseLen[r]) t[s.tableOff[r] + d * W + l] = g[d - l];
    }
  }
}

std::size_t Hop(const FirState& s, std::size_t k) { return s.fftSize[k] - s.TapCount + 1; }
bool ComplexFft(const FirState& s) { return OutWidth(s) == 2; }

// Tap spectra for every FFT size, the work buffer, and plans made now rather than in a block.
void BuildOverlap(FirState& s) {
  const std::size_t L = s.TapCount;
  const bool cplx = ComplexFft(s);
  s.fftSize.clear();
  s.spectrumOff.clear();
  s.fftCost.clear();
  std::size_t bins = 0;
  for (std::size_t n = std::bit_ceil(2 * L); n <= std::bit_ceil(kFftFactor * L); n *= 2) {
    s.fftSize.push_back(n);
    s.spectrumOff.push_back(bins);
    bins += cplx ? n : n / 2 + 1;
    s.fftCost.push_back(kFftUnit * static_cast<double>(n) * std::log2(static_cast<double>(n)) *
                        (cplx ? 2.0 : 1.0));
  }
  const std::size_t nmax = s.fftSize.back();
  s.directCost = kDirectMac * static_cast<double>(L) * (s.ComplexData ? 2.0 : 1.0) *
                 (s.ComplexImpulse ? 2.0 : 1.0);
  s.spectrum.assign(bins, 0.0);
  s.fftWork.assign(cplx ? nmax : nmax / 2 + 1, 0.0);
  s.fftReal.assign(cplx ? 0 : nmax, 0.0);
  auto* c = s.fftWork.data();
  auto* b = s.fftReal.data();
  for (std::size_t k = 0; k < s.fftSize.size(); ++k) {
    const std::size_t n = s.fftSize[k];
    std::fill(s.fftWork.begin(), s.fftWork.end(), 0.0);
    std::fill(s.fftReal.begin(), s.fftReal.end(), 0.0);
    if (cplx) {
      for (std::size_t j = 0; j < L; ++j)
        c[j] = {s.coefRe[L - 1 - j], s.ComplexImpulse ? s.coefIm[L - 1 - j] : 0.0};
      FFT(std::span(c, n), std::span(c, n));
      std::copy(c, c + n, s.spectrum.begin() + static_cast<std::ptrdiff_t>(s.spectrumOff[k]));
      IFFT(std::span(c, n), std::span(c, n));
    } else {
      for (std::size_t j = 0; j < L; ++j) b[j] = s.coefRe[L - 1 - j];
      RealFFT(std::span(b, n), std::span(c, n / 2 + 1));
      std::copy(c, c + n / 2 + 1, s.spectrum.begin() + static_cast<std::ptrdiff_t>(s.spectrumOff[k]));
      RealIFFT(std::span(c, n / 2 + 1), std::span(b, n));
    }
  }
  // The line must hold whole hops of the largest size between two moves of its history.
  const std::size_t cap = s.history + std::max(kLineChunk, 2 * Hop(s, s.fftSize.size() - 1));
  if (cap > s.capacity) {
    s.line.resize(cap * Width(s), 0.0);
    s.capacity = cap;
  }
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
  n.mode = U == 0 || D == 0 ? kSilent : U > 1 ? kGeneral : D > 1 ? kDecimate : kDirect;
  if (Silent(n)) {
    s = std::move(n);
    return;
  }
  // Phases: mode 3 splits the taps by up-sampling phase (h[r], h[r+U], ...), mode 2 by
  // input phase (h[p], h[p+D], ...), mode 1 has one phase. Each phase is stored reversed so
  // that an output is a forward dot product over consecutive samples.
  const std::size_t np = static_cast<std::size_t>(n.mode == kDecimate ? D : U);
  const std::size_t dup = n.mode == kGeneral && complexData && !PhaseRunsContiguous(n) ? 2 : 1;
  std::size_t lmax = 0;
  for (std::size_t r = 0; r < np; ++r) {
    const std::size_t lr = L > r ? (L - r + np - 1) / np : 0;
    n.phaseOff.push_back(n.coefRe.size());
    n.phaseLen.push_back(lr);
    lmax = std::max(lmax, lr);
    for (std::size_t t = 0; t < lr; ++t) {
      const std::size_t j = (r + (lr - 1 - t) * np) * stride;
      for (std::size_t c = 0; c < dup; ++c) {
        n.coefRe.push_back(re[j]);
        if (im) n.coefIm.push_back(im[j]);
      }
    }
  }
  const std::size_t uu = static_cast<std::size_t>(U);
  const std::size_t dd_ = static_cast<std::size_t>(D);
  if (n.mode == kDecimate) {
    // One line per input phase, indexed by output.
    n.history = lmax - 1;
    n.capacity = n.history + kPhaseChunk;
    n.line.assign(dd_ * n.capacity * Width(n), 0.0);
  } else {
    // The newest input an output reads sits at line index >= history - 1 when UpDelay > 0.
    n.history = lmax - (n.UpDelay == 0 ? 1 : 0);
    n.capacity = n.history + kLineChunk;
    n.line.assign(n.capacity * Width(n), 0.0);
  }
  n.single.assign(((uu + dd_ - 1) / dd_) * OutWidth(n), 0.0);
  BuildTables(n);
  if (n.mode == kDirect && L >= kOverlapSaveTaps) {
    BuildOverlap(n);
    n.overlapSave = true;
  }
  Restart(n);
  s = std::move(n);
}

// One phase as a plain FIR over consecutive samples x: n output doubles into dst.
void DirectPhase(const FirState& s, int part, std::size_t r, const double* x, double* dst,
                 std::size_t n, bool accumulate) {
  const auto& k = *s.kernels;
  const std::size_t lr = s.phaseLen[r];
  if (s.ComplexData) {
    k.Direct(Coef(s, part, r), lr, x, 2, dst, n, accumulate);
  } else {
    const double* t = (part ? s.tableIm : s.tableRe).data() + s.tableOff[r];
    k.Table(t, lr + k.Width - 1, x, dst, n, accumulate);
  }
}

// Runs compute(part, dst) for nb outputs: once with the real taps (part 0), or twice (real
// and imaginary taps) and combined as (A + jB) when the taps are complex.
template <class Compute>
void Emit(const FirState& s, std::size_t nb, double* out, Compute compute) {
  if (!s.ComplexImpulse) {
    compute(0, out);
    return;
  }
  double a[2 * kBatch];
  double b[2 * kBatch];
  compute(0, a);
  compute(1, b);
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

// Mode 1: count outputs, the first one's newest input at line index pos.
void DirectRun(const FirState& s, std::size_t pos, std::size_t count, double* out) {
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  const std::size_t L = s.phaseLen[0];
  const std::size_t batchMax = s.ComplexImpulse ? kBatch : count;
  for (std::size_t done = 0; done < count;) {
    const std::size_t nb = std::min(batchMax, count - done);
    const double* x = s.line.data() + (pos + done + 1 - L) * w;
    Emit(s, nb, out + done * ow, [&](int part, double* dst) {
      DirectPhase(s, part, 0, x, dst, nb * w, false);
    });
    done += nb;
  }
}

// c[i] *= h[i] on interleaved doubles: std::complex's product checks for NaN and does
// not vectorise.
void Multiply(std::complex<double>* c, const std::complex<double>* h, std::size_t n) {
  double* a = reinterpret_cast<double*>(c);
  const double* g = reinterpret_cast<const double*>(h);
  for (std::size_t i = 0; i < n; ++i) {
    const double re = a[2 * i] * g[2 * i] - a[2 * i + 1] * g[2 * i + 1];
    const double im = a[2 * i] * g[2 * i + 1] + a[2 * i + 1] * g[2 * i];
    a[2 * i] = re;
    a[2 * i + 1] = im;
  }
}

// One hop of FFT size k: count <= Hop(k) outputs as DirectRun would give them, from the
// segment of count + L - 1 inputs. The circular wrap spoils only the first L - 1 values of
// the product, which are not kept; so would stale values past the segment, but they are
// zeroed so that a NaN from an earlier hop cannot spread into this one.
void OverlapHop(FirState& s, std::size_t k, std::size_t pos, std::size_t count, double* out) {
  const std::size_t L = s.TapCount;
  const std::size_t n = s.fftSize[k];
  const std::size_t seg = count + L - 1;
  const std::complex<double>* h = s.spectrum.data() + s.spectrumOff[k];
  auto* c = s.fftWork.data();
  if (ComplexFft(s)) {
    if (s.ComplexData) {
      const double* x = s.line.data() + (pos + 1 - L) * 2;
      for (std::size_t i = 0; i < seg; ++i) c[i] = {x[2 * i], x[2 * i + 1]};
    } else {
      const double* x = s.line.data() + (pos + 1 - L);
      for (std::size_t i = 0; i < seg; ++i) c[i] = {x[i], 0.0};
    }
    std::fill(c + seg, c + n, 0.0);
    FFT(std::span(c, n), std::span(c, n));
    Multiply(c, h, n);
    IFFT(std::span(c, n), std::span(c, n));
    std::memcpy(out, c + (L - 1), count * sizeof(std::complex<double>));
    return;
  }
  // Both transforms out of place: FFTW's in-place real transforms add copies.
  double* b = s.fftReal.data();
  std::memcpy(b, s.line.data() + (pos + 1 - L), seg * sizeof(double));
  std::fill(b + seg, b + n, 0.0);
  RealFFT(std::span(b, n), std::span(c, n / 2 + 1));
  Multiply(c, h, n / 2 + 1);
  double* y = b;
  RealIFFT(std::span(c, n / 2 + 1), std::span(y, n));
  std::memcpy(out, y + (L - 1), count * sizeof(double));
}

// Cheapest next step for a run of r outputs by the cost model: an FFT size index, or -1
// to finish the run directly. Looks one hop ahead, so a run just over a hop is not left
// to a transform twice as long.
int ChooseHop(const FirState& s, std::size_t r) {
  const std::size_t K = s.fftSize.size();
  if (r >= Hop(s, K - 1)) return static_cast<int>(K - 1);
  auto fitting = [&](std::size_t m) {
    std::size_t j = 0;
    while (Hop(s, j) < m) ++j;
    return j;
  };
  auto finish = [&](std::size_t m) {
    return std::min(s.directCost * static_cast<double>(m), s.fftCost[fitting(m)]);
  };
  const std::size_t j = fitting(r);
  int choice = static_cast<int>(j);
  double best = s.fftCost[j];
  for (std::size_t i = 0; i < j; ++i) {
    const double c = s.fftCost[i] + finish(r - Hop(s, i));
    if (c < best) {
      best = c;
      choice = static_cast<int>(i);
    }
  }
  return s.directCost * static_cast<double>(r) <= best ? -1 : choice;
}

void OverlapRun(FirState& s, std::size_t pos, std::size_t count, double* out) {
  const std::size_t ow = OutWidth(s);
  for (std::size_t done = 0; done < count;) {
    const int k = ChooseHop(s, count - done);
    if (k < 0) {
      DirectRun(s, pos + done, count - done, out + done * ow);
      return;
    }
    const std::size_t nb = std::min(count - done, Hop(s, static_cast<std::size_t>(k)));
    OverlapHop(s, static_cast<std::size_t>(k), pos + done, nb, out + done * ow);
    done += nb;
  }
}

// Modes 1 and 3: computes every output whose last up-sampled slot is now in the line.
std::size_t EmitReady(FirState& s, double* out) {
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  const std::int64_t U = s.UpSample;
  const std::int64_t D = s.DownSample;
  const std::int64_t end = static_cast<std::int64_t>(s.fill) * U;
  if (s.next >= end) return 0;
  const std::size_t count = static_cast<std::size_t>((end - s.next + D - 1) / D);
  const auto& k = *s.kernels;
  if (s.mode == kDirect) {
    if (s.overlapSave) {
      OverlapRun(s, static_cast<std::size_t>(s.next), count, out);
    } else {
      DirectRun(s, static_cast<std::size_t>(s.next), count, out);
    }
    s.next += static_cast<std::int64_t>(count);
    return count;
  }
  // Mode 3: one pass per output phase, into a scratch run, scattered P outputs apart.
  const std::int64_t P = PhasePeriod(s);
  const std::int64_t step = PhaseStep(s);
  const bool contiguous = step == 1;
  double run[2 * kBatch];
  for (std::int64_t c = 0; c < P && static_cast<std::size_t>(c) < count; ++c) {
    const std::size_t nc = (count - static_cast<std::size_t>(c) + P - 1) / static_cast<std::size_t>(P);
    const std::int64_t p = s.next + c * D - s.UpDelay;  // >= 0: see history in Init
    const std::size_t r = static_cast<std::size_t>(p % U);
    const std::size_t lr = s.phaseLen[r];
    const std::size_t first = static_cast<std::size_t>(p / U);  // newest input of the first output
    for (std::size_t done = 0; done < nc;) {
      const std::size_t nb = std::min(kBatch, nc - done);
      if (lr == 0) {
        std::fill(run, run + nb * ow, 0.0);
      } else {
        const double* x = s.line.data() + (first + done * static_cast<std::size_t>(step) + 1 - lr) * w;
        Emit(s, nb, run, [&](int part, double* dst) {
          if (contiguous) {
            DirectPhase(s, part, r, x, dst, nb * w, false);
          } else {
            k.Dots(Coef(s, part, r), lr * w, x, static_cast<std::size_t>(step) * w, nb, dst,
                   s.ComplexData);
          }
        });
      }
      double* o = out + (static_cast<std::size_t>(c) + done * static_cast<std::size_t>(P)) * ow;
      for (std::size_t j = 0; j < nb; ++j, o += P * ow) {
        o[0] = run[j * ow];
        if (ow == 2) o[1] = run[j * ow + 1];
      }
      done += nb;
    }
  }
  s.next += static_cast<std::int64_t>(count) * D;
  return count;
}

std::size_t RunLine(FirState& s, const double* in, std::size_t n, double* out) {
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

// Mode 2, decimation by D: y[i] = sum_p sum_t h[p + tD] x[(i - t)D + dd - p]. Input k goes
// to the line of its phase p = (dd - k) mod D at output index i = (k + p - dd) / D, so each
// phase is an ordinary FIR over a contiguous line and output i is complete once its phase-0
// input (k = iD + dd) has arrived.
std::size_t EmitDecimated(FirState& s, double* out) {
  const std::size_t count = static_cast<std::size_t>(s.slotIndex - s.next);
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  const std::size_t D = static_cast<std::size_t>(s.DownSample);
  const std::size_t batchMax = s.ComplexImpulse ? kBatch : count;
  for (std::size_t done = 0; done < count;) {
    const std::size_t nb = std::min(batchMax, count - done);
    const std::size_t pos = static_cast<std::size_t>(s.next - s.lineBase) + done;
    Emit(s, nb, out + done * ow, [&](int part, double* dst) {
      // Phase 0 is the longest and never empty: it starts the sum.
      for (std::size_t p = 0; p < D; ++p) {
        const std::size_t lp = s.phaseLen[p];
        if (lp == 0) continue;
        const double* x = s.line.data() + (p * s.capacity + pos + 1 - lp) * w;
        DirectPhase(s, part, p, x, dst, nb * w, p > 0);
      }
    });
    done += nb;
  }
  s.next = s.slotIndex;
  return count;
}

std::size_t RunDecimated(FirState& s, const double* in, std::size_t n, double* out) {
  const std::size_t w = Width(s);
  const std::size_t ow = OutWidth(s);
  const std::int64_t D = s.DownSample;
  const std::size_t lineStride = s.capacity * w;
  std::size_t produced = 0;
  while (n > 0) {
    const std::int64_t last = s.lineBase + static_cast<std::int64_t>(s.capacity) - 1;
    if (s.slotIndex > last) {
      // Every complete output is out and the slot of the next one is still empty (the
      // lines filled up exactly at an output boundary): keep the history only.
      const std::int64_t from = s.next - static_cast<std::int64_t>(s.history);
      const std::size_t src = static_cast<std::size_t>(from - s.lineBase) * w;
      const std::size_t keep = static_cast<std::size_t>(s.slotIndex - from) * w;
      for (std::int64_t p = 0; p < D; ++p) {
        double* l = s.line.data() + static_cast<std::size_t>(p) * lineStride;
        std::memmove(l, l + src, keep * sizeof(double));
      }
      s.lineBase = from;
      continue;
    }
    const std::size_t room = static_cast<std::size_t>(s.slotPhase + 1 + D * (last - s.slotIndex));
    const std::size_t take = std::min(n, room);
    // Input t of this run has phase (p0 - t) mod D: copy each phase as one strided run.
    const std::int64_t p0 = s.slotPhase;
    for (std::int64_t q = 0; q < D; ++q) {
      const std::int64_t idx = q <= p0 ? s.slotIndex : s.slotIndex + 1;
      double* dst = s.line.data() + static_cast<std::size_t>(q) * lineStride +
                    static_cast<std::size_t>(idx - s.lineBase) * w;
      for (std::size_t t = static_cast<std::size_t>(q <= p0 ? p0 - q : p0 - q + D); t < take;
           t += static_cast<std::size_t>(D), dst += w) {
        dst[0] = in[t * w];
        if (w == 2) dst[1] = in[t * w + 1];
      }
    }
    const std::int64_t st = static_cast<std::int64_t>(take);
    s.slotIndex += st > p0 ? (st - p0 - 1) / D + 1 : 0;
    s.slotPhase = static_cast<int>(((p0 - st) % D + D) % D);
    in += take * w;
    n -= take;
    produced += EmitDecimated(s, out + produced * ow);
  }
  return produced;
}

std::size_t Run(FirState& s, const double* in, std::size_t n, double* out) {
  if (s.mode == kSilent) return 0;
  if (s.mode == kDecimate) return RunDecimated(s, in, n, out);
  return RunLine(s, in, n, out);
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
  if (s.mode == kDecimate) {
    const std::size_t first = static_cast<std::size_t>(s.slotPhase) + 1;  // inputs to complete one
    return n < first ? 0 : 1 + (n - first) / static_cast<std::size_t>(s.DownSample);
  }
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
  BuildTables(state);
  return used;
}

bool FirUseOverlapSave(FirState& state, bool on) {
  if (!state.Initialized || state.mode != kDirect) return false;
  if (on && state.fftSize.empty()) BuildOverlap(state);
  state.overlapSave = on;
  return on;
}
}  // namespace detail

}  // namespace sigflow
