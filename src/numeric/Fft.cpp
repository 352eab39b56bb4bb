#include "sigflow/numeric/Fft.h"

#include <fftw3.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <tuple>

#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

enum Kind : std::uint8_t { kForward, kInverse, kRealForward, kRealInverse };

struct PlanKey {
  int n;
  Kind kind;
  bool inPlace;
  bool aligned;
  bool operator<(const PlanKey& o) const {
    return std::tie(n, kind, inPlace, aligned) < std::tie(o.n, o.kind, o.inPlace, o.aligned);
  }
  bool operator==(const PlanKey& o) const {
    return n == o.n && kind == o.kind && inPlace == o.inPlace && aligned == o.aligned;
  }
};

// Plans live until the program ends. FFTW's planner is not thread-safe, so making and
// destroying plans happens under one lock; fftw_execute_* on distinct arrays is safe.
class PlanCache {
public:
  ~PlanCache() {
    std::lock_guard lock(mutex_);
    for (auto& [key, plan] : plans_) fftw_destroy_plan(plan);
  }

  fftw_plan Get(const PlanKey& key) {
    std::lock_guard lock(mutex_);
    auto it = plans_.find(key);
    if (it != plans_.end()) return it->second;
    fftw_plan p = Make(key);
    if (!p) throw EOutOfResources("FFT: no plan for length " + std::to_string(key.n));
    plans_.emplace(key, p);
    return p;
  }

  std::size_t Count() {
    std::lock_guard lock(mutex_);
    return plans_.size();
  }

private:
  static fftw_plan Make(const PlanKey& key) {
    const int n = key.n;
    // Complex slots needed by either side of the transform.
    const std::size_t slots = key.kind == kForward || key.kind == kInverse ? std::size_t(n) : std::size_t(n / 2 + 1);
    unsigned flags = FFTW_ESTIMATE;
    if (!key.aligned) flags |= FFTW_UNALIGNED;
    // ESTIMATE does not touch the arrays; they only show FFTW the shape and alignment.
    auto* a = fftw_alloc_complex(slots);
    auto* b = key.inPlace ? a : fftw_alloc_complex(slots);
    fftw_plan p = nullptr;
    switch (key.kind) {
      case kForward: p = fftw_plan_dft_1d(n, a, b, FFTW_FORWARD, flags); break;
      case kInverse: p = fftw_plan_dft_1d(n, a, b, FFTW_BACKWARD, flags); break;
      case kRealForward: p = fftw_plan_dft_r2c_1d(n, reinterpret_cast<double*>(a), b, flags); break;
      case kRealInverse:
        p = fftw_plan_dft_c2r_1d(n, a, reinterpret_cast<double*>(b), flags | (key.inPlace ? 0u : FFTW_PRESERVE_INPUT));
        break;
    }
    if (b != a) fftw_free(b);
    fftw_free(a);
    return p;
  }

  std::mutex mutex_;
  std::map<PlanKey, fftw_plan> plans_;
};

PlanCache& Cache() {
  static PlanCache cache;
  return cache;
}

bool Aligned(const void* p) { return fftw_alignment_of(static_cast<double*>(const_cast<void*>(p))) == 0; }

// A block path repeats a few shapes: the last ones used on this thread are found without the
// lock. Plans are never destroyed before exit, so the pointers stay valid.
fftw_plan PlanFor(int n, Kind kind, const void* in, const void* out) {
  struct Slot {
    PlanKey key;
    fftw_plan plan;
  };
  constexpr unsigned kSlots = 4;
  thread_local Slot recent[kSlots] = {};
  thread_local unsigned next = 0;
  const PlanKey key{n, kind, in == out, Aligned(in) && Aligned(out)};
  for (const Slot& s : recent)
    if (s.plan && s.key == key) return s.plan;
  fftw_plan p = Cache().Get(key);
  recent[next++ % kSlots] = Slot{key, p};
  return p;
}

void CheckInt(std::size_t n) {
  if (n > std::size_t(INT32_MAX)) throw Exception("FFT: length too large");
}

void Transform(std::span<const TCplx> in, std::span<TCplx> out, Kind kind) {
  if (in.size() != out.size()) throw Exception("FFT: output size differs from input size");
  const std::size_t n = in.size();
  if (n == 0) return;
  CheckInt(n);
  auto* src = reinterpret_cast<fftw_complex*>(const_cast<TCplx*>(in.data()));
  auto* dst = reinterpret_cast<fftw_complex*>(out.data());
  fftw_execute_dft(PlanFor(int(n), kind, src, dst), src, dst);
  if (kind == kInverse && n > 1) {
    const double s = 1.0 / double(n);
    double* d = reinterpret_cast<double*>(out.data());
    for (std::size_t i = 0; i < 2 * n; ++i) d[i] *= s;
  }
}

}  // namespace

void FFT(std::span<const TCplx> in, std::span<TCplx> out) { Transform(in, out, kForward); }

void IFFT(std::span<const TCplx> in, std::span<TCplx> out) { Transform(in, out, kInverse); }

void RealFFT(std::span<const double> in, std::span<TCplx> out) {
  const std::size_t n = in.size();
  if (out.size() != n / 2 + 1) throw Exception("RealFFT: output size must be N/2+1");
  if (n == 0) return;
  CheckInt(n);
  auto* src = const_cast<double*>(in.data());
  auto* dst = reinterpret_cast<fftw_complex*>(out.data());
  fftw_execute_dft_r2c(PlanFor(int(n), kRealForward, src, dst), src, dst);
}

void RealIFFT(std::span<const TCplx> in, std::span<double> out) {
  const std::size_t n = out.size();
  if (in.size() != n / 2 + 1) throw Exception("RealIFFT: input size must be N/2+1");
  if (n == 0) return;
  CheckInt(n);
  auto* src = reinterpret_cast<fftw_complex*>(const_cast<TCplx*>(in.data()));
  double* dst = out.data();
  fftw_execute_dft_c2r(PlanFor(int(n), kRealInverse, src, dst), src, dst);
  const double s = 1.0 / double(n);
  for (std::size_t i = 0; i < n; ++i) dst[i] *= s;
}

std::size_t FftPlanCount() { return Cache().Count(); }

}  // namespace sigflow
