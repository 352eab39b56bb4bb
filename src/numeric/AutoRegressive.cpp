#include "sigflow/numeric/AutoRegressive.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <type_traits>

#include "EstimatorKernels.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Correlation.h"

namespace sigflow {
namespace {

using C = std::complex<double>;
using detail::Conj;
using detail::Norm;
using detail::Real;

std::string OrderText(std::size_t order, const char* relation, const char* limitName,
                      std::size_t limit) {
  return "Order (" + std::to_string(order) + ") " + relation + " " + limitName + " (" +
         std::to_string(limit) + ")";
}

// Step-up of a[0..m] by reflection k, in place: pairs (j, m-j) are read before either is
// written.
template <class T>
void StepUp(std::span<T> a, std::size_t m, T k) {
  for (std::size_t j = 1, i = m - 1; j < i; ++j, --i) {
    const T aj = a[j];
    const T ai = a[i];
    a[j] = aj + k * Conj(ai);
    a[i] = ai + k * Conj(aj);
  }
  if (m % 2 == 0 && m >= 2) {
    const T h = a[m / 2];
    a[m / 2] = h + k * Conj(h);
  }
  a[m] = k;
}

template <class T>
double LevinsonT(std::span<const T> r, std::span<T> a, std::span<T> reflection) {
  if (r.empty()) throw Exception("Levinson: Length = 0");
  if (a.size() != r.size()) throw Exception("Levinson: a.size() <> r.size()");
  const std::size_t p = r.size() - 1;
  if (!reflection.empty() && reflection.size() != p)
    throw Exception("Levinson: reflection.size() <> Order");
  double e = Real(r[0]);
  if (e < 0) throw Exception("Levinson: r[0] < 0");
  a[0] = T(1);
  std::fill(a.begin() + 1, a.end(), T(0));
  for (std::size_t m = 1; m <= p; ++m) {
    T k(0);
    if (e > 0) {
      T acc = r[m];
      for (std::size_t j = 1; j < m; ++j) acc += a[j] * r[m - j];
      k = -acc / e;
      StepUp<T>(a, m, k);
      e *= 1.0 - Norm(k);
      if (e < 0) e = 0;
    }
    if (!reflection.empty()) reflection[m - 1] = k;
  }
  return e;
}

template <class T>
TArModel<T> LevinsonModel(std::span<const T> r) {
  if (r.empty()) throw Exception("Levinson: Length = 0");
  TArModel<T> m;
  m.A.resize(r.size());
  m.Reflection.resize(r.size() - 1);
  m.NoiseVariance = LevinsonT<T>(r, m.A, m.Reflection);
  return m;
}

template <class T>
double BurgT(std::span<const T> x, std::span<T> a, std::span<T> reflection, std::span<T> work) {
  const std::size_t n = x.size();
  if (n == 0) throw Exception("ArBurg: Length = 0");
  if (a.empty()) throw Exception("ArBurg: a.size() = 0");
  const std::size_t p = a.size() - 1;
  if (p >= n) throw Exception("ArBurg: " + OrderText(p, ">=", "Length", n));
  if (!reflection.empty() && reflection.size() != p)
    throw Exception("ArBurg: reflection.size() <> Order");
  if (work.size() < 2 * n) throw Exception("ArBurg: work.size() < 2 * Length");

  // f holds the forward errors f[m..N-1], b the backward errors b[m-1..N-2] of the current
  // order, both starting at index 0 of their slot so that f[i] pairs with b[i].
  T* f = work.data();
  T* b = work.data() + n;
  std::copy(x.begin(), x.end(), f);
  std::copy(x.begin(), x.end(), b);
  double e = detail::Energy(x.data(), n) / static_cast<double>(n);
  a[0] = T(1);
  std::fill(a.begin() + 1, a.end(), T(0));
  T* fs = f + 1;
  std::size_t len = n - 1;
  for (std::size_t m = 1; m <= p; ++m) {
    const T num = detail::DotConj(fs, b, len);
    const double den = detail::Energy(fs, len) + detail::Energy(b, len);
    const T k = den > 0 ? T(-2.0) * num / den : T(0);
    detail::LatticeStep(fs, b, len, k);
    ++fs;
    --len;
    StepUp<T>(a, m, k);
    e *= 1.0 - Norm(k);
    if (!reflection.empty()) reflection[m - 1] = k;
  }
  return e;
}

template <class T>
TArModel<T> BurgModel(std::span<const T> x, std::size_t order) {
  if (x.empty()) throw Exception("ArBurg: Length = 0");
  if (order >= x.size()) throw Exception("ArBurg: " + OrderText(order, ">=", "Length", x.size()));
  TArModel<T> m;
  m.A.resize(order + 1);
  m.Reflection.resize(order);
  std::vector<T> work(2 * x.size());
  m.NoiseVariance = BurgT<T>(x, m.A, m.Reflection, work);
  return m;
}

// Solves the Hermitian positive definite system R y = rhs (R is n x n, row-major, full) by
// Cholesky into y. Returns false when a pivot is not clearly positive.
template <class T>
bool CholeskySolve(std::vector<T> R, std::size_t n, std::span<const T> rhs, std::span<T> y) {
  double maxDiag = 0;
  for (std::size_t i = 0; i < n; ++i) maxDiag = std::max(maxDiag, Real(R[i * n + i]));
  const double tol = maxDiag * static_cast<double>(n) * 1e-15;
  // Lower triangle of R becomes L.
  for (std::size_t j = 0; j < n; ++j) {
    double d = Real(R[j * n + j]);
    for (std::size_t k = 0; k < j; ++k) d -= Norm(R[j * n + k]);
    if (!(d > tol)) return false;
    const double l = std::sqrt(d);
    R[j * n + j] = T(l);
    for (std::size_t i = j + 1; i < n; ++i) {
      T s = R[i * n + j];
      for (std::size_t k = 0; k < j; ++k) s -= R[i * n + k] * Conj(R[j * n + k]);
      R[i * n + j] = s / l;
    }
  }
  for (std::size_t i = 0; i < n; ++i) {
    T s = rhs[i];
    for (std::size_t k = 0; k < i; ++k) s -= R[i * n + k] * y[k];
    y[i] = s / Real(R[i * n + i]);
  }
  for (std::size_t i = n; i-- > 0;) {
    T s = y[i];
    for (std::size_t k = i + 1; k < n; ++k) s -= Conj(R[k * n + i]) * y[k];
    y[i] = s / Real(R[i * n + i]);
  }
  return true;
}

template <class T>
TArModel<T> CovarianceModel(const char* name, std::span<const T> x, std::size_t p,
                            bool forwardBackward) {
  const std::size_t n = x.size();
  if (n == 0) throw Exception(std::string(name) + ": Length = 0");
  if (2 * p > n)
    throw Exception(std::string(name) + ": " + OrderText(p, ">", "Length div 2", n / 2));
  TArModel<T> model;
  model.A.assign(p + 1, T(0));
  model.A[0] = T(1);
  const std::size_t rows = n - p;
  if (p == 0) {
    model.NoiseVariance = detail::Energy(x.data(), n) / static_cast<double>(n);
    return model;
  }
  // d(i, j) = sum_{m=0}^{N-1-p} x[m+i] conj(x[m+j]), i, j = 0..p. The forward normal
  // equations use c(i, j) = conj(d(p-i, p-j)); the backward ones d(i, j) itself.
  const std::size_t q = p + 1;
  std::vector<T> d(q * q);
  for (std::size_t j = 0; j < q; ++j) d[j] = Conj(detail::DotConj(x.data() + j, x.data(), rows));
  for (std::size_t i = 1; i < q; ++i)
    for (std::size_t j = i; j < q; ++j)
      d[i * q + j] = d[(i - 1) * q + (j - 1)] - x[i - 1] * Conj(x[j - 1]) +
                     x[rows + i - 1] * Conj(x[rows + j - 1]);
  for (std::size_t i = 1; i < q; ++i)
    for (std::size_t j = 0; j < i; ++j) d[i * q + j] = Conj(d[j * q + i]);

  std::vector<T> R(p * p);
  std::vector<T> rhs(p);
  for (std::size_t i = 1; i <= p; ++i) {
    for (std::size_t j = 1; j <= p; ++j) {
      T v = Conj(d[(p - i) * q + (p - j)]);
      if (forwardBackward) v += d[i * q + j];
      R[(i - 1) * p + (j - 1)] = v;
    }
    T v = Conj(d[(p - i) * q + p]);
    if (forwardBackward) v += d[i * q];
    rhs[i - 1] = -v;
  }
  std::span<T> a(model.A.data() + 1, p);
  if (!CholeskySolve<T>(R, p, rhs, a)) {
    double maxDiag = 0;
    for (std::size_t i = 0; i < p; ++i) maxDiag = std::max(maxDiag, Real(R[i * p + i]));
    if (maxDiag > 0) {
      for (std::size_t i = 0; i < p; ++i) R[i * p + i] += T(1e-10 * maxDiag);
      if (!CholeskySolve<T>(R, p, rhs, a)) std::fill(a.begin(), a.end(), T(0));
    } else {
      std::fill(a.begin(), a.end(), T(0));
    }
  }

  // Residual power evaluated directly rather than from the normal equations, which lose
  // digits when the fit is close.
  double sum = 0;
  for (std::size_t t = p; t < n; ++t) {
    T fe(0);
    for (std::size_t j = 0; j <= p; ++j) fe += model.A[j] * x[t - j];
    sum += Norm(fe);
    if (forwardBackward) {
      T be(0);
      for (std::size_t j = 0; j <= p; ++j) be += Conj(model.A[j]) * x[t - p + j];
      sum += Norm(be);
    }
  }
  model.NoiseVariance = sum / (static_cast<double>(rows) * (forwardBackward ? 2.0 : 1.0));
  return model;
}

template <class T>
TArModel<T> YuleWalkerModel(std::span<const T> x, std::size_t order) {
  if (x.empty()) throw Exception("ArYuleWalker: Length = 0");
  if (order > x.size())
    throw Exception("ArYuleWalker: " + OrderText(order, ">", "Length", x.size()));
  const std::vector<T> r = AutoCorrBiased(x, order);
  return LevinsonModel<T>(r);
}

template <class T>
void SpectrumT(std::span<const T> a, double noiseVariance, std::span<double> psd) {
  if (a.empty()) throw Exception("ArSpectrum: a.size() = 0");
  const std::size_t count = psd.size();
  const double step = -2.0 * std::numbers::pi / static_cast<double>(count);
  for (std::size_t k = 0; k < count; ++k) {
    const double theta = step * static_cast<double>(k);
    const double wr = std::cos(theta), wi = std::sin(theta);
    // Horner in w = e^{-j theta}, spelt out in real arithmetic.
    double re = Real(a.back()), im = 0;
    if constexpr (!std::is_same_v<T, double>) im = a.back().imag();
    for (std::size_t m = a.size() - 1; m-- > 0;) {
      const double nr = re * wr - im * wi + Real(a[m]);
      double ni = re * wi + im * wr;
      if constexpr (!std::is_same_v<T, double>) ni += a[m].imag();
      re = nr;
      im = ni;
    }
    psd[k] = noiseVariance / (re * re + im * im);
  }
}

}  // namespace

double Levinson(std::span<const double> r, std::span<double> a, std::span<double> reflection) {
  return LevinsonT<double>(r, a, reflection);
}
double Levinson(std::span<const C> r, std::span<C> a, std::span<C> reflection) {
  return LevinsonT<C>(r, a, reflection);
}
TArModel<double> Levinson(std::span<const double> r) { return LevinsonModel<double>(r); }
TArModel<C> Levinson(std::span<const C> r) { return LevinsonModel<C>(r); }

double ArBurg(std::span<const double> x, std::span<double> a, std::span<double> reflection,
              std::span<double> work) {
  return BurgT<double>(x, a, reflection, work);
}
double ArBurg(std::span<const C> x, std::span<C> a, std::span<C> reflection, std::span<C> work) {
  return BurgT<C>(x, a, reflection, work);
}
TArModel<double> ArBurg(std::span<const double> x, std::size_t order) {
  return BurgModel<double>(x, order);
}
TArModel<C> ArBurg(std::span<const C> x, std::size_t order) { return BurgModel<C>(x, order); }

TArModel<double> ArCovariance(std::span<const double> x, std::size_t order) {
  return CovarianceModel<double>("ArCovariance", x, order, false);
}
TArModel<C> ArCovariance(std::span<const C> x, std::size_t order) {
  return CovarianceModel<C>("ArCovariance", x, order, false);
}
TArModel<double> ArMCovariance(std::span<const double> x, std::size_t order) {
  return CovarianceModel<double>("ArMCovariance", x, order, true);
}
TArModel<C> ArMCovariance(std::span<const C> x, std::size_t order) {
  return CovarianceModel<C>("ArMCovariance", x, order, true);
}

TArModel<double> ArYuleWalker(std::span<const double> x, std::size_t order) {
  return YuleWalkerModel<double>(x, order);
}
TArModel<C> ArYuleWalker(std::span<const C> x, std::size_t order) {
  return YuleWalkerModel<C>(x, order);
}

void ArSpectrum(std::span<const double> a, double noiseVariance, std::span<double> psd) {
  SpectrumT<double>(a, noiseVariance, psd);
}
void ArSpectrum(std::span<const C> a, double noiseVariance, std::span<double> psd) {
  SpectrumT<C>(a, noiseVariance, psd);
}

}  // namespace sigflow
