#pragma once
// Error bound of Bluestein's chirp-z algorithm, for tests off the unit circle.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <complex>
#include <vector>

#include "sigflow/numeric/Czt.h"

namespace sigflow::test {

// Rounding error bound per output point. The convolution y = IFFT(FFT(u) FFT(v)) of
// u[n] = x[n] A^-n W^(n^2/2) with v[j] = W^(-j^2/2), j = -(N-1) .. M-1, has an absolute error
// of order eps log2(L) |u|_2 |v|_2 in every element (three transforms of length L, each
// adding eps log2(L) relative to the 2-norms, plus the products); the post-chirp W^(k^2/2)
// then scales the error of point k by |W|^(k^2/2). On the unit circle the factors are 1 and
// the bound is eps log2(L) |x|_2 sqrt(N + M - 1), a small multiple of eps |X|; off the circle
// it grows with the spread of the chirp magnitudes. A constant of 4 per implementation
// covers the hidden constants of the FFT error; implementations = 2 when two results of the
// same algorithm are compared.
inline std::vector<double> BluesteinBound(const std::vector<TCplx>& x, int m, const TCztContour& c,
                                          int implementations = 1) {
  const int n = int(x.size());
  const long double la = c.A.LogRadius, lw = c.W.LogRadius;
  long double u2 = 0, v2 = 0;
  for (int i = 0; i < n; ++i)
    u2 += std::norm(x[std::size_t(i)]) * std::exp(-2.0L * i * la + (long double)i * i * lw);
  for (int j = -(n - 1); j < m; ++j) v2 += std::exp(-(long double)j * j * lw);
  const double log2l = std::log2(double(FastFftLength(n + m - 1)));
  std::vector<double> bound(static_cast<std::size_t>(m));
  for (int k = 0; k < m; ++k)
    bound[std::size_t(k)] = double(4 * implementations * DBL_EPSILON * log2l *
                                   std::exp(0.5L * k * k * lw) * std::sqrt(u2) * std::sqrt(v2));
  return bound;
}

inline ::testing::AssertionResult WithinBound(const std::vector<TCplx>& got,
                                              const std::vector<TCplx>& want,
                                              const std::vector<double>& bound) {
  if (got.size() != want.size() || got.size() != bound.size())
    return ::testing::AssertionFailure() << "size differs";
  double worst = 0;
  std::size_t at = 0;
  for (std::size_t k = 0; k < got.size(); ++k) {
    const double r = std::abs(got[k] - want[k]) / bound[k];
    if (!(r <= worst)) {
      worst = r;
      at = k;
    }
  }
  if (worst <= 1.0) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "error " << std::abs(got[at] - want[at]) << " at " << at
                                       << " exceeds the bound " << bound[at];
}

}  // namespace sigflow::test
