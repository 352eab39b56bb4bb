#pragma once
// Element-wise comparison with reference arrays (complex arrays are stored interleaved re, im),
// and seeded Gaussian test frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <span>
#include <vector>

#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::test {

// n samples of unit Gaussian noise from the library's seeded generator.
template <class T = double>
std::vector<T> Noise(int n, std::uint64_t seed) {
  TVec v(n, std::is_same_v<T, TCplx>);
  RandGauss(v, 0.0, 1.0, seed);
  if constexpr (std::is_same_v<T, TCplx>) return {v.CData(), v.CData() + n};
  else return {v.Data(), v.Data() + n};
}

inline std::vector<std::complex<double>> ToComplex(const std::vector<double>& v) {
  std::vector<std::complex<double>> c(v.size() / 2);
  for (std::size_t i = 0; i < c.size(); ++i) c[i] = {v[2 * i], v[2 * i + 1]};
  return c;
}

enum class TScale { MaxReference, AtLeastOne, Absolute };

// Every |got[i] - want[i]| <= tol * scale; a failure names the worst index, NaN fails.
template <class T>
::testing::AssertionResult CompareElements(std::span<const T> got, std::span<const T> want, double tol, TScale how) {
  if (got.size() != want.size())
    return ::testing::AssertionFailure() << "size " << got.size() << " but reference has " << want.size();
  double scale = how == TScale::AtLeastOne ? 1.0 : 0.0;
  if (how != TScale::Absolute)
    for (const T& w : want) scale = std::max(scale, std::abs(w));
  if (scale == 0) scale = 1;
  double worst = 0;
  std::size_t at = 0;
  for (std::size_t i = 0; i < got.size(); ++i) {
    const double e = std::abs(got[i] - want[i]);
    if (std::isnan(e)) return ::testing::AssertionFailure() << "NaN at index " << i;
    if (e > worst) worst = e, at = i;
  }
  if (worst <= tol * scale) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "worst error " << worst << " at index " << at << " (got " << got[at]
                                       << ", want " << want[at] << "), allowed " << tol * scale;
}
// Relative to the largest reference magnitude.
template <class T>
::testing::AssertionResult CloseTo(std::span<const T> got, std::span<const T> want, double tol) {
  return CompareElements<T>(got, want, tol, TScale::MaxReference);
}
template <class T>
::testing::AssertionResult CloseTo(const std::vector<T>& got, const std::vector<T>& want, double tol) {
  return CompareElements<T>(got, want, tol, TScale::MaxReference);
}

// Relative to the largest reference magnitude, but never tighter than absolute.
template <class T>
::testing::AssertionResult Near(std::span<const T> got, std::span<const T> want, double tol) {
  return CompareElements<T>(got, want, tol, TScale::AtLeastOne);
}
template <class T>
::testing::AssertionResult Near(const std::vector<T>& got, const std::vector<T>& want, double tol) {
  return CompareElements<T>(got, want, tol, TScale::AtLeastOne);
}

template <class T>
::testing::AssertionResult NearAbs(const std::vector<T>& got, const std::vector<T>& want, double tol) {
  return CompareElements<T>(got, want, tol, TScale::Absolute);
}

}  // namespace sigflow::test
