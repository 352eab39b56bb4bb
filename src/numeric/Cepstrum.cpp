#include "sigflow/numeric/Cepstrum.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Phase.h"
#include "sigflow/numeric/Precision.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

// Per-thread half spectrum and phase of the last length used.
struct CepstrumWork {
  std::vector<TCplx, TAlignedAllocator<TCplx>> spec;
  std::vector<double> phase;
};

CepstrumWork& Work(std::size_t n) {
  thread_local CepstrumWork w;
  w.spec.resize(n / 2 + 1);
  w.phase.resize(n / 2 + 1);
  return w;
}

void CheckSize(std::size_t a, std::size_t b, const char* message) {
  if (a != b) throw Exception(message);
  if (a > std::size_t(1) << 30) throw Exception("Cepstrum: length too large");
}

}  // namespace

void RealCepstrum(std::span<const double> x, std::span<double> c, double minMagnitude) {
  CheckSize(x.size(), c.size(), "RealCepstrum: output size differs from input size");
  if (x.empty()) return;
  CepstrumWork& w = Work(x.size());
  RealFFT(x, w.spec);
  for (TCplx& v : w.spec) {
    double m = std::abs(v);
    if (m < minMagnitude) m = minMagnitude;
    v = std::log(m);
  }
  RealIFFT(w.spec, c);
}

TCepstrumPhase ComplexCepstrum(std::span<const double> x, std::span<double> c) {
  CheckSize(x.size(), c.size(), "ComplexCepstrum: output size differs from input size");
  if (x.empty()) return {};
  const std::size_t n = x.size();
  const std::size_t half = n / 2;
  CepstrumWork& w = Work(n);
  RealFFT(x, w.spec);
  const int sign = w.spec[0].real() < 0 ? -1 : 1;
  if (sign < 0)
    for (TCplx& v : w.spec) v = -v;
  for (std::size_t k = 0; k <= half; ++k) w.phase[k] = std::arg(w.spec[k]);
  PhaseUnwrap(w.phase, 180.0, true, rpConstPhase, 0.0);
  int d = 0;
  if (half > 0) {
    const double est = -w.phase[half] * double(n) / (kTwoPi * double(half));
    // A phase too large for an int is no linear phase of this record; leave it in place.
    if (std::fabs(est) < double(n)) d = int(std::nearbyint(est));
  }
  for (std::size_t k = 0; k <= half; ++k)
    w.spec[k] = TCplx(std::log(std::abs(w.spec[k])), w.phase[k] + kTwoPi * double(k) * d / double(n));
  RealIFFT(w.spec, c);
  return {d, sign};
}

void InverseComplexCepstrum(std::span<const double> c, const TCepstrumPhase& phase, std::span<double> x) {
  CheckSize(c.size(), x.size(), "InverseComplexCepstrum: output size differs from input size");
  if (c.empty()) return;
  const std::size_t n = c.size();
  CepstrumWork& w = Work(n);
  RealFFT(c, w.spec);
  // The delay's turns reduced exactly (k d mod N) so that long records keep the phase exact.
  const long long dn = ((long long)phase.Delay % (long long)n + (long long)n) % (long long)n;
  const double sign = phase.Sign < 0 ? -1.0 : 1.0;
  for (std::size_t k = 0; k < w.spec.size(); ++k) {
    const double turns = double((long long)k * dn % (long long)n) / double(n);
    w.spec[k] = sign * std::exp(w.spec[k].real()) * std::polar(1.0, w.spec[k].imag() - kTwoPi * turns);
  }
  RealIFFT(w.spec, x);
}

}  // namespace sigflow
