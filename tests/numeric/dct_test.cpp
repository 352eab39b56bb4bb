#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "numeric_check.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Dct.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::CloseTo;
using sigflow::test::Noise;

namespace {

// O(N^2) definitions in long double: y[k] = s_k 2 sum x[n] cos(pi k (2n+1) / 2N), with
// s_k = 1 (dnNone) or sqrt(1/4N), sqrt(1/2N) (dnOrtho); the inverse undoes s_k, then
// x[n] = (y[0] + 2 sum_{k>0} y[k] cos(...)) / 2N.
std::vector<double> Direct(const std::vector<double>& in, TDctNorm norm, bool inverse) {
  const long double pi = 3.141592653589793238462643383279502884L;
  const std::size_t n = in.size();
  std::vector<double> out(n);
  auto scale = [&](std::size_t k) { return norm == dnOrtho ? std::sqrt((k ? 2.0L : 1.0L) / (4.0L * n)) : 1.0L; };
  for (std::size_t i = 0; i < n; ++i) {
    long double s = 0;
    for (std::size_t j = 0; j < n; ++j) {
      const std::size_t k = inverse ? j : i, t = inverse ? i : j;
      const long double c = std::cos(pi * k * (2 * t + 1) / (2 * n));
      s += inverse ? (k ? 2 : 1) * in[j] / scale(k) * c / (2 * n) : 2 * in[j] * c;
    }
    out[i] = double(inverse ? s : s * scale(i));
  }
  return out;
}

}  // namespace

TEST(DctLaws, MatchesTheDirectSumsAndInvertsInBothScalings) {
  for (int n : {1, 2, 3, 4, 17, 255, 256, 257}) {
    const auto x = Noise(n, std::uint64_t(n));
    std::vector<double> y(x.size()), back(x.size());
    for (TDctNorm norm : {dnNone, dnOrtho}) {
      SCOPED_TRACE(testing::Message() << "n " << n << " norm " << int(norm));
      DCT(x, y, norm);
      EXPECT_TRUE(CloseTo(y, Direct(x, norm, false), 1e-14));
      IDCT(y, back, norm);
      EXPECT_TRUE(CloseTo(back, x, 1e-14));
      IDCT(x, y, norm);
      EXPECT_TRUE(CloseTo(y, Direct(x, norm, true), 1e-14));
    }
  }
}

TEST(DctVec, ComplexVectorsTransformTheirPartsSeparatelyInPlaceOrNot) {
  const int n = 37;
  TVec z(n, true), re, im, out, fre, fim;
  RandGauss(z, 0.0, 1.0, 8);
  re.RealPart(z);
  im.ImagPart(z);
  DCT(z, out, dnOrtho);
  DCT(re, fre, dnOrtho);
  DCT(im, fim, dnOrtho);
  ASSERT_TRUE(out.Complex());
  ASSERT_EQ(out.Length(), n);
  for (int i = 0; i < n; ++i) EXPECT_EQ(out.CValues(i), TCplx(fre.Values(i), fim.Values(i))) << i;
  TVec inPlace(z);
  DCT(inPlace, inPlace, dnOrtho);
  for (int i = 0; i < 2 * n; ++i) EXPECT_EQ(inPlace.Values(i), out.Values(i)) << i;
  IDCT(inPlace, inPlace, dnOrtho);
  for (int i = 0; i < 2 * n; ++i) EXPECT_NEAR(inPlace.Values(i), z.Values(i), 1e-14) << i;
}

TEST(DctErrors, SizeMismatchIsRejectedAndRepeatedCallsAllocateNothing) {
  std::vector<double> a(4), b(5);
  EXPECT_EQ(sigflow::test::MessageOf([&] { DCT(a, b, dnNone); }), "DCT: output size differs from input size");
  EXPECT_EQ(sigflow::test::MessageOf([&] { IDCT(a, b, dnOrtho); }), "IDCT: output size differs from input size");
  auto x = Noise(1024, 1);
  std::vector<double> y(x.size());
  TVec v(1024, true), w;
  DCT(x, y, dnOrtho);
  IDCT(y, x, dnNone);
  DCT(v, w, dnNone);
  sigflow::test::AllocationScope scope;
  for (int i = 0; i < 3; ++i) {
    DCT(x, y, dnOrtho);
    IDCT(y, x, dnNone);
    DCT(v, w, dnNone);
  }
  EXPECT_EQ(scope.Count(), 0u);
}
