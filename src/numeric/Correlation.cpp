#include "sigflow/numeric/Correlation.h"

#include <algorithm>
#include <string>

#include "EstimatorKernels.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

enum TScaling : int { scBiased, scUnBiased, scNormal };

template <class T>
void AutoCorr(const char* name, std::span<const T> x, std::span<T> r, TScaling scaling) {
  const std::size_t n = x.size();
  if (n == 0) throw Exception(std::string(name) + ": Length = 0");
  const std::size_t lags = std::min(r.size(), n);
  for (std::size_t k = 0; k < lags; ++k) r[k] = detail::DotConj(x.data() + k, x.data(), n - k);
  std::fill(r.begin() + static_cast<std::ptrdiff_t>(lags), r.end(), T(0));
  switch (scaling) {
    case scBiased:
      for (std::size_t k = 0; k < lags; ++k) r[k] /= static_cast<double>(n);
      break;
    case scUnBiased:
      for (std::size_t k = 0; k < lags; ++k) r[k] /= static_cast<double>(n - k);
      break;
    case scNormal: {
      if (lags == 0) break;
      const double r0 = detail::Real(r[0]);
      // A silent frame has no shape to normalise: leave it all zero.
      if (r0 == 0.0) break;
      for (std::size_t k = 1; k < lags; ++k) r[k] /= r0;
      r[0] = T(1);
      break;
    }
  }
}

template <class T>
std::vector<T> AutoCorrVector(const char* name, std::span<const T> x, std::size_t maxLag,
                              TScaling scaling) {
  if (x.empty()) throw Exception(std::string(name) + ": Length = 0");
  std::vector<T> r(maxLag + 1);
  AutoCorr<T>(name, x, r, scaling);
  return r;
}

template <class T>
void CrossCorrT(std::span<const T> x, std::span<const T> y, std::size_t negativeLags,
                std::size_t positiveLags, std::span<T> r) {
  if (x.empty() || y.empty()) throw Exception("CrossCorr: Length = 0");
  if (r.size() != negativeLags + positiveLags + 1)
    throw Exception("CrossCorr: r.size() <> NegativeLags + PositiveLags + 1");
  const auto nx = static_cast<std::ptrdiff_t>(x.size());
  const auto ny = static_cast<std::ptrdiff_t>(y.size());
  const double scale = 1.0 / static_cast<double>(std::max(nx, ny));
  const auto neg = static_cast<std::ptrdiff_t>(negativeLags);
  for (std::ptrdiff_t i = 0; i < static_cast<std::ptrdiff_t>(r.size()); ++i) {
    const std::ptrdiff_t k = i - neg;
    // n runs where 0 <= n < ny and 0 <= n+k < nx.
    const std::ptrdiff_t lo = std::max<std::ptrdiff_t>(0, -k);
    const std::ptrdiff_t hi = std::min(ny, nx - k);
    r[static_cast<std::size_t>(i)] =
        hi > lo ? detail::DotConj(x.data() + lo + k, y.data() + lo,
                                  static_cast<std::size_t>(hi - lo)) * scale
                : T(0);
  }
}

template <class T>
std::vector<T> CrossCorrVector(std::span<const T> x, std::span<const T> y,
                               std::size_t negativeLags, std::size_t positiveLags) {
  std::vector<T> r(negativeLags + positiveLags + 1);
  CrossCorrT<T>(x, y, negativeLags, positiveLags, r);
  return r;
}

using C = std::complex<double>;

}  // namespace

void AutoCorrBiased(std::span<const double> x, std::span<double> r) {
  AutoCorr<double>("AutoCorrBiased", x, r, scBiased);
}
void AutoCorrBiased(std::span<const C> x, std::span<C> r) {
  AutoCorr<C>("AutoCorrBiased", x, r, scBiased);
}
void AutoCorrUnBiased(std::span<const double> x, std::span<double> r) {
  AutoCorr<double>("AutoCorrUnBiased", x, r, scUnBiased);
}
void AutoCorrUnBiased(std::span<const C> x, std::span<C> r) {
  AutoCorr<C>("AutoCorrUnBiased", x, r, scUnBiased);
}
void AutoCorrNormal(std::span<const double> x, std::span<double> r) {
  AutoCorr<double>("AutoCorrNormal", x, r, scNormal);
}
void AutoCorrNormal(std::span<const C> x, std::span<C> r) {
  AutoCorr<C>("AutoCorrNormal", x, r, scNormal);
}

std::vector<double> AutoCorrBiased(std::span<const double> x, std::size_t maxLag) {
  return AutoCorrVector<double>("AutoCorrBiased", x, maxLag, scBiased);
}
std::vector<C> AutoCorrBiased(std::span<const C> x, std::size_t maxLag) {
  return AutoCorrVector<C>("AutoCorrBiased", x, maxLag, scBiased);
}
std::vector<double> AutoCorrUnBiased(std::span<const double> x, std::size_t maxLag) {
  return AutoCorrVector<double>("AutoCorrUnBiased", x, maxLag, scUnBiased);
}
std::vector<C> AutoCorrUnBiased(std::span<const C> x, std::size_t maxLag) {
  return AutoCorrVector<C>("AutoCorrUnBiased", x, maxLag, scUnBiased);
}
std::vector<double> AutoCorrNormal(std::span<const double> x, std::size_t maxLag) {
  return AutoCorrVector<double>("AutoCorrNormal", x, maxLag, scNormal);
}
std::vector<C> AutoCorrNormal(std::span<const C> x, std::size_t maxLag) {
  return AutoCorrVector<C>("AutoCorrNormal", x, maxLag, scNormal);
}

void CrossCorr(std::span<const double> x, std::span<const double> y, std::size_t negativeLags,
               std::size_t positiveLags, std::span<double> r) {
  CrossCorrT<double>(x, y, negativeLags, positiveLags, r);
}
void CrossCorr(std::span<const C> x, std::span<const C> y, std::size_t negativeLags,
               std::size_t positiveLags, std::span<C> r) {
  CrossCorrT<C>(x, y, negativeLags, positiveLags, r);
}
std::vector<double> CrossCorr(std::span<const double> x, std::span<const double> y,
                              std::size_t negativeLags, std::size_t positiveLags) {
  return CrossCorrVector<double>(x, y, negativeLags, positiveLags);
}
std::vector<C> CrossCorr(std::span<const C> x, std::span<const C> y, std::size_t negativeLags,
                         std::size_t positiveLags) {
  return CrossCorrVector<C>(x, y, negativeLags, positiveLags);
}

}  // namespace sigflow
