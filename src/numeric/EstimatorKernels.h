#pragma once
// Inner products shared by the estimators. Several independent partial sums let the
// compiler keep the pipelines busy without -ffast-math; complex products are spelt out in
// real arithmetic so no NaN-recovery call sits in the loop.
#include <complex>
#include <cstddef>

namespace sigflow::detail {

inline double Conj(double v) { return v; }
inline std::complex<double> Conj(std::complex<double> v) { return std::conj(v); }
inline double Norm(double v) { return v * v; }
inline double Norm(std::complex<double> v) { return v.real() * v.real() + v.imag() * v.imag(); }
inline double Real(double v) { return v; }
inline double Real(std::complex<double> v) { return v.real(); }

// sum_i a[i] * conj(b[i])
inline double DotConj(const double* a, const double* b, std::size_t n) {
  double s0 = 0, s1 = 0, s2 = 0, s3 = 0;
  std::size_t i = 0;
  for (; i + 4 <= n; i += 4) {
    s0 += a[i] * b[i];
    s1 += a[i + 1] * b[i + 1];
    s2 += a[i + 2] * b[i + 2];
    s3 += a[i + 3] * b[i + 3];
  }
  for (; i < n; ++i) s0 += a[i] * b[i];
  return (s0 + s1) + (s2 + s3);
}

inline std::complex<double> DotConj(const std::complex<double>* a, const std::complex<double>* b,
                                    std::size_t n) {
  const double* pa = reinterpret_cast<const double*>(a);
  const double* pb = reinterpret_cast<const double*>(b);
  double re0 = 0, im0 = 0, re1 = 0, im1 = 0;
  std::size_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const double ar0 = pa[2 * i], ai0 = pa[2 * i + 1], br0 = pb[2 * i], bi0 = pb[2 * i + 1];
    const double ar1 = pa[2 * i + 2], ai1 = pa[2 * i + 3], br1 = pb[2 * i + 2],
                 bi1 = pb[2 * i + 3];
    re0 += ar0 * br0 + ai0 * bi0;
    im0 += ai0 * br0 - ar0 * bi0;
    re1 += ar1 * br1 + ai1 * bi1;
    im1 += ai1 * br1 - ar1 * bi1;
  }
  for (; i < n; ++i) {
    const double ar = pa[2 * i], ai = pa[2 * i + 1], br = pb[2 * i], bi = pb[2 * i + 1];
    re0 += ar * br + ai * bi;
    im0 += ai * br - ar * bi;
  }
  return {re0 + re1, im0 + im1};
}

// sum_i |a[i]|^2
inline double Energy(const double* a, std::size_t n) { return DotConj(a, a, n); }
inline double Energy(const std::complex<double>* a, std::size_t n) {
  return Energy(reinterpret_cast<const double*>(a), 2 * n);
}

// Burg lattice step: f[i] += k b[i], b[i] += conj(k) f[i] (both from the old values). f and b
// never overlap, which lets the compiler vectorise without run-time alias checks.
inline void LatticeStep(double* __restrict f, double* __restrict b, std::size_t n, double k) {
  for (std::size_t i = 0; i < n; ++i) {
    const double fi = f[i];
    const double bi = b[i];
    f[i] = fi + k * bi;
    b[i] = bi + k * fi;
  }
}

inline void LatticeStep(std::complex<double>* __restrict fc, std::complex<double>* __restrict bc,
                        std::size_t n, std::complex<double> k) {
  double* __restrict f = reinterpret_cast<double*>(fc);
  double* __restrict b = reinterpret_cast<double*>(bc);
  const double kr = k.real(), ki = k.imag();
  for (std::size_t i = 0; i < n; ++i) {
    const double fr = f[2 * i], fi = f[2 * i + 1], br = b[2 * i], bi = b[2 * i + 1];
    f[2 * i] = fr + kr * br - ki * bi;
    f[2 * i + 1] = fi + kr * bi + ki * br;
    b[2 * i] = br + kr * fr + ki * fi;
    b[2 * i + 1] = bi + kr * fi - ki * fr;
  }
}

}  // namespace sigflow::detail
