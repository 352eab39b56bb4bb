#include "sigflow/numeric/Dct.h"

#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

// Per-thread buffers of the last length used: the reordered sequence, its half spectrum and
// the twiddles e^{-i pi k / (2N)}, k = 0 .. N/2.
struct DctWork {
  int n = -1;
  std::vector<double, TAlignedAllocator<double>> v;
  std::vector<TCplx, TAlignedAllocator<TCplx>> spec;
  std::vector<TCplx> twiddle;
};

DctWork& Work(int n) {
  thread_local DctWork w;
  if (w.n != n) {
    w.n = -1;
    w.v.resize(std::size_t(n));
    w.spec.resize(std::size_t(n / 2 + 1));
    w.twiddle.resize(std::size_t(n / 2 + 1));
    for (int k = 0; k <= n / 2; ++k)
      w.twiddle[std::size_t(k)] = std::polar(1.0, -std::numbers::pi * double(k) / (2.0 * double(n)));
    w.n = n;
  }
  return w;
}

// Strided so that the real and imaginary parts of a complex vector go through the same code.
// x and y may be the same storage: x is read completely before y is written.
void Forward(const double* x, std::ptrdiff_t sx, double* y, std::ptrdiff_t sy, int n, TDctNorm norm) {
  DctWork& w = Work(n);
  double* v = w.v.data();
  for (int i = 0; i < (n + 1) / 2; ++i) v[i] = x[2 * i * sx];
  for (int i = 0; i < n / 2; ++i) v[n - 1 - i] = x[(2 * i + 1) * sx];
  RealFFT(w.v, w.spec);
  const double s0 = norm == dnOrtho ? std::sqrt(1.0 / (4.0 * n)) : 1.0;
  const double s = norm == dnOrtho ? std::sqrt(1.0 / (2.0 * n)) : 1.0;
  y[0] = 2.0 * s0 * w.spec[0].real();
  for (int k = 1; k <= n / 2; ++k) {
    const TCplx z = w.twiddle[std::size_t(k)] * w.spec[std::size_t(k)];
    y[k * sy] = 2.0 * s * z.real();
    if (n - k > k) y[(n - k) * sy] = -2.0 * s * z.imag();
  }
}

void Inverse(const double* y, std::ptrdiff_t sy, double* x, std::ptrdiff_t sx, int n, TDctNorm norm) {
  DctWork& w = Work(n);
  const double c0 = norm == dnOrtho ? std::sqrt(4.0 * n) : 1.0;
  const double c = norm == dnOrtho ? std::sqrt(2.0 * n) : 1.0;
  TCplx* spec = w.spec.data();
  spec[0] = 0.5 * c0 * y[0];
  for (int k = 1; k <= n / 2; ++k)
    spec[k] = std::conj(w.twiddle[std::size_t(k)]) * TCplx(0.5 * c * y[k * sy], -0.5 * c * y[(n - k) * sy]);
  RealIFFT(w.spec, w.v);
  const double* v = w.v.data();
  for (int i = 0; i < (n + 1) / 2; ++i) x[2 * i * sx] = v[i];
  for (int i = 0; i < n / 2; ++i) x[(2 * i + 1) * sx] = v[n - 1 - i];
}

void CheckSize(std::size_t a, std::size_t b, const char* message) {
  if (a != b) throw Exception(message);
  if (a > std::size_t(1) << 30) throw Exception("DCT: length too large");
}

}  // namespace

void DCT(std::span<const double> x, std::span<double> y, TDctNorm norm) {
  CheckSize(x.size(), y.size(), "DCT: output size differs from input size");
  if (!x.empty()) Forward(x.data(), 1, y.data(), 1, int(x.size()), norm);
}

void IDCT(std::span<const double> y, std::span<double> x, TDctNorm norm) {
  CheckSize(y.size(), x.size(), "IDCT: output size differs from input size");
  if (!y.empty()) Inverse(y.data(), 1, x.data(), 1, int(y.size()), norm);
}

void DCT(const TVec& src, TVec& dst, TDctNorm norm) {
  if (&dst != &src) dst.Size(src.Length(), src.Complex());
  const int n = src.Length();
  if (n == 0) return;
  if (src.Complex()) {
    Forward(src.Data(), 2, dst.Data(), 2, n, norm);
    Forward(src.Data() + 1, 2, dst.Data() + 1, 2, n, norm);
  } else {
    Forward(src.Data(), 1, dst.Data(), 1, n, norm);
  }
}

void IDCT(const TVec& src, TVec& dst, TDctNorm norm) {
  if (&dst != &src) dst.Size(src.Length(), src.Complex());
  const int n = src.Length();
  if (n == 0) return;
  if (src.Complex()) {
    Inverse(src.Data(), 2, dst.Data(), 2, n, norm);
    Inverse(src.Data() + 1, 2, dst.Data() + 1, 2, n, norm);
  } else {
    Inverse(src.Data(), 1, dst.Data(), 1, n, norm);
  }
}

}  // namespace sigflow
