#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Dct.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"

using namespace sigflow;

namespace {

constexpr long double kPiL = 3.141592653589793238462643383279502884L;

std::vector<double> Noise(int n, std::uint64_t seed) {
  TVec v(n);
  RandGauss(v, 0.0, 1.0, seed);
  return {v.Data(), v.Data() + n};
}

// O(N^2) definitions in long double, the scaling of dnNone / dnOrtho.
std::vector<double> DirectDct(const std::vector<double>& x, TDctNorm norm) {
  const std::size_t n = x.size();
  std::vector<double> y(n);
  for (std::size_t k = 0; k < n; ++k) {
    long double s = 0;
    for (std::size_t i = 0; i < n; ++i) s += x[i] * std::cos(kPiL * k * (2 * i + 1) / (2 * n));
    s *= 2;
    if (norm == dnOrtho) s *= std::sqrt((k == 0 ? 1.0L : 2.0L) / (4.0L * n));
    y[k] = double(s);
  }
  return y;
}

std::vector<double> DirectIdct(const std::vector<double>& y, TDctNorm norm) {
  const std::size_t n = y.size();
  std::vector<double> x(n);
  for (std::size_t i = 0; i < n; ++i) {
    long double s = 0;
    for (std::size_t k = 0; k < n; ++k) {
      long double yk = y[k];
      if (norm == dnOrtho) yk *= std::sqrt((k == 0 ? 4.0L : 2.0L) * n);
      s += (k == 0 ? 1 : 2) * yk * std::cos(kPiL * k * (2 * i + 1) / (2 * n));
    }
    x[i] = double(s / (2 * n));
  }
  return x;
}

double MaxErr(const std::vector<double>& a, const std::vector<double>& b) {
  double e = 0, s = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    e = std::max(e, std::abs(a[i] - b[i]));
    s = std::max(s, std::abs(b[i]));
  }
  return s > 0 ? e / s : e;
}

}  // namespace

TEST(DctLaws, MatchesTheDirectSumsAtEvenAndOddLengths) {
  for (int n : {3, 4, 255, 256, 257}) {
    const auto x = Noise(n, std::uint64_t(n));
    std::vector<double> y(x.size());
    for (TDctNorm norm : {dnNone, dnOrtho}) {
      DCT(x, y, norm);
      EXPECT_LE(MaxErr(y, DirectDct(x, norm)), 1e-14) << "n " << n << " norm " << int(norm);
      IDCT(x, y, norm);
      EXPECT_LE(MaxErr(y, DirectIdct(x, norm)), 1e-14) << "n " << n << " norm " << int(norm);
    }
  }
}

TEST(DctLaws, InverseUndoesForwardInBothScalings) {
  for (int n = 1; n <= 40; ++n) {
    const auto x = Noise(n, 100 + std::uint64_t(n));
    std::vector<double> y(x.size()), back(x.size());
    for (TDctNorm norm : {dnNone, dnOrtho}) {
      DCT(x, y, norm);
      IDCT(y, back, norm);
      EXPECT_LE(MaxErr(back, x), 1e-14) << "n " << n << " norm " << int(norm);
    }
  }
}

TEST(DctLaws, OrthonormalScalingKeepsTheEnergy) {
  for (int n : {5, 64, 4097}) {
    const auto x = Noise(n, 3);
    std::vector<double> y(x.size());
    DCT(x, y, dnOrtho);
    double ex = 0, ey = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      ex += x[i] * x[i];
      ey += y[i] * y[i];
    }
    EXPECT_NEAR(ey, ex, 1e-12 * ex) << n;
  }
}

TEST(DctVec, ComplexVectorsTransformTheirPartsSeparatelyAndInPlaceEqualsOutOfPlace) {
  const int n = 37;
  TVec z(n, true);
  RandGauss(z, 0.0, 1.0, 8);
  TVec re, im;
  re.RealPart(z);
  im.ImagPart(z);
  for (TDctNorm norm : {dnNone, dnOrtho}) {
    TVec out;
    DCT(z, out, norm);
    ASSERT_TRUE(out.Complex());
    ASSERT_EQ(out.Length(), n);
    TVec fre, fim;
    DCT(re, fre, norm);
    DCT(im, fim, norm);
    for (int i = 0; i < n; ++i) {
      EXPECT_EQ(out.CValues(i).real(), fre.Values(i)) << i;
      EXPECT_EQ(out.CValues(i).imag(), fim.Values(i)) << i;
    }
    TVec inPlace(z);
    DCT(inPlace, inPlace, norm);
    for (int i = 0; i < 2 * n; ++i) EXPECT_EQ(inPlace.Values(i), out.Values(i)) << i;
    IDCT(inPlace, inPlace, norm);
    for (int i = 0; i < 2 * n; ++i) EXPECT_NEAR(inPlace.Values(i), z.Values(i), 1e-14) << i;
  }
  TVec empty, dst(3);
  DCT(empty, dst, dnNone);
  EXPECT_EQ(dst.Length(), 0);
}

TEST(DctErrors, SizeMismatchIsRejectedAndRepeatedCallsAllocateNothing) {
  std::vector<double> a(4), b(5);
  try {
    DCT(a, b, dnNone);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "DCT: output size differs from input size");
  }
  try {
    IDCT(a, b, dnOrtho);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "IDCT: output size differs from input size");
  }
  auto x = Noise(1024, 1);
  std::vector<double> y(x.size(), std::numeric_limits<double>::quiet_NaN());
  IDCT(y, x, dnNone);
  TVec v(1024, true), w;
  DCT(v, w, dnNone);
  IDCT(w, w, dnOrtho);
  sigflow::test::AllocationScope scope;
  for (int i = 0; i < 3; ++i) {
    DCT(x, y, dnOrtho);
    IDCT(y, x, dnNone);
    DCT(v, w, dnNone);
    IDCT(w, w, dnOrtho);
  }
  EXPECT_EQ(scope.Count(), 0u);
}
