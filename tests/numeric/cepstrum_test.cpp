#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include "numeric_check.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Cepstrum.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::CloseTo;
using sigflow::test::Noise;

namespace {

std::vector<double> Echo(int n, int d, double g) {
  std::vector<double> x(std::size_t(n), 0.0);
  x[0] = 1;
  x[std::size_t(d)] = g;
  return x;
}

// Complex cepstrum of Echo(n, d, g): ln(1 + g z^-d) for |g| < 1 is the series
// (-1)^(m+1) g^m / m at quefrency m d, wrapped modulo n. For |g| > 1,
// 1 + g z^-d = g z^-d (1 + z^d / g): ln|g| at 0 and the series in 1/g at -m d.
std::vector<double> EchoCepstrum(int n, int d, double g) {
  std::vector<double> c(std::size_t(n), 0.0);
  const bool minimum = std::abs(g) < 1;
  const double r = minimum ? g : 1 / g;
  if (!minimum) c[0] = std::log(std::abs(g));
  double p = 1;
  for (int m = 1; std::abs(p) / m > 1e-30; ++m) {
    p *= r;
    const long long q = (minimum ? 1 : -1) * (long long)m * d;
    c[std::size_t(((q % n) + n) % n)] += (m % 2 ? 1 : -1) * p / m;
  }
  return c;
}

}  // namespace

// Minimum phase (|g| < 1) removes nothing; a stronger echo is maximum phase and its delay is
// removed, and with g < -1 the negative spectrum at 0 also loses its sign.
TEST(CepstrumLaws, ComplexCepstrumOfAnEchoIsTheLogarithmSeries) {
  for (auto [n, d, g] : {std::tuple{1024, 50, 0.5}, std::tuple{1000, 37, -0.8}, std::tuple{999, 20, 0.9},
                         std::tuple{1024, 50, 2.0}, std::tuple{1000, 37, -1.25}, std::tuple{999, 20, -3.0}}) {
    SCOPED_TRACE(testing::Message() << n << " " << d << " " << g);
    std::vector<double> c(std::size_t(n), std::numeric_limits<double>::quiet_NaN());
    const TCepstrumPhase phase = ComplexCepstrum(Echo(n, d, g), c);
    EXPECT_EQ(phase.Delay, std::abs(g) < 1 ? 0 : d);
    EXPECT_EQ(phase.Sign, g < -1 ? -1 : 1);
    EXPECT_TRUE(CloseTo(c, EchoCepstrum(n, d, g), 1e-13));
  }
}

// The echo peak itself is in the oracle tests.
TEST(CepstrumLaws, RealCepstrumIsTheEvenPartOfTheComplexOne) {
  for (int n : {512, 511}) {
    const auto x = Noise(n, 4);
    std::vector<double> cc(x.size()), rc(x.size());
    ComplexCepstrum(x, cc);  // sign and delay change the phase, the odd part, only
    RealCepstrum(x, rc, 0.0);
    for (int i = 0; i < n; ++i)
      EXPECT_NEAR(rc[std::size_t(i)], 0.5 * (cc[std::size_t(i)] + cc[std::size_t((n - i) % n)]), 1e-12) << i;
  }
}

TEST(CepstrumLaws, InverseComplexCepstrumRestoresTheSequence) {
  int negatives = 0;
  for (int n : {256, 255, 64, 63, 2, 1}) {
    for (double mean : {-0.5, 0.5}) {
      auto x = Noise(n, 7 + std::uint64_t(n));
      for (double& v : x) v += mean;
      std::vector<double> c(x.size());
      const TCepstrumPhase phase = ComplexCepstrum(x, c);
      negatives += phase.Sign < 0;
      InverseComplexCepstrum(c, phase, c);  // in place
      EXPECT_TRUE(CloseTo(c, x, 1e-12)) << n << " " << mean;
    }
  }
  EXPECT_GT(negatives, 0);
}

TEST(CepstrumLaws, MagnitudeFloorKeepsZeroBinsFinite) {
  // An alternating sequence has |X[N/2]| = N and every other bin 0. With the floor f the log
  // spectrum is ln f plus (ln N - ln f) at N/2: c[n] = ln f delta[n] + (ln N - ln f)(-1)^n / N.
  const int n = 64;
  const double f = 1e-3;
  std::vector<double> x(n), c(n), want(n);
  for (int i = 0; i < n; ++i) {
    x[std::size_t(i)] = i % 2 ? -1 : 1;
    want[std::size_t(i)] = (i == 0 ? std::log(f) : 0) + (std::log(double(n)) - std::log(f)) * x[std::size_t(i)] / n;
  }
  RealCepstrum(x, c, f);
  EXPECT_TRUE(CloseTo(c, want, 1e-14));
  RealCepstrum(x, c, 0.0);
  EXPECT_FALSE(std::isfinite(c[0]));
}

TEST(CepstrumErrors, SizeMismatchAndNoAllocationOnRepeatedCalls) {
  std::vector<double> a(8), b(7);
  EXPECT_EQ(sigflow::test::MessageOf([&] { RealCepstrum(a, b, 0); }), "RealCepstrum: output size differs from input size");
  EXPECT_EQ(sigflow::test::MessageOf([&] { ComplexCepstrum(a, b); }), "ComplexCepstrum: output size differs from input size");
  EXPECT_EQ(sigflow::test::MessageOf([&] { InverseComplexCepstrum(a, {}, b); }),
            "InverseComplexCepstrum: output size differs from input size");
  auto x = Noise(2048, 2);
  std::vector<double> c(x.size());
  RealCepstrum(x, c, 1e-9);
  InverseComplexCepstrum(c, ComplexCepstrum(x, c), x);
  sigflow::test::AllocationScope scope;
  for (int i = 0; i < 3; ++i) {
    RealCepstrum(x, c, 1e-9);
    InverseComplexCepstrum(c, ComplexCepstrum(x, c), x);
  }
  EXPECT_EQ(scope.Count(), 0u);
}
