#include "sigflow/numeric/Estimators.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <functional>
#include <numbers>
#include <string>
#include <tuple>
#include <vector>

#include "numeric_check.h"
#include "sigflow/core/Exceptions.h"
#include "support/alloc_counter.h"
#include "support/message.h"

namespace {

using C = std::complex<double>;
using sigflow::test::CloseTo;
constexpr double kPi = std::numbers::pi;

// Coefficients [1, a1, ..] of prod (1 - p z^-1).
std::vector<C> FromPoles(const std::vector<C>& poles) {
  std::vector<C> a{1.0};
  for (const C& p : poles) {
    a.push_back(0.0);
    for (std::size_t j = a.size() - 1; j > 0; --j) a[j] -= p * a[j - 1];
  }
  return a;
}

// Runs white noise of unit variance through 1 / A, dropping a settling prefix.
template <class T>
std::vector<T> ArProcess(const std::vector<T>& a, std::size_t n, std::uint64_t seed) {
  const std::size_t settle = 500;
  auto x = sigflow::test::Noise<T>(int(n + settle), seed);
  for (std::size_t i = 0; i < x.size(); ++i) {
    T v = x[i] / std::sqrt(std::is_same_v<T, double> ? 1.0 : 2.0);
    for (std::size_t j = 1; j < a.size() && j <= i; ++j) v -= a[j] * x[i - j];
    x[i] = v;
  }
  return {x.begin() + static_cast<std::ptrdiff_t>(settle), x.end()};
}

template <class T>
double WorstCoefficientError(const std::vector<T>& got, const std::vector<T>& truth) {
  double e = 0;
  for (std::size_t j = 0; j < truth.size(); ++j) e = std::max(e, std::abs(got.at(j) - truth[j]));
  return e;
}

void ExpectMessage(const std::function<void()>& f, const std::string& text) {
  EXPECT_EQ(sigflow::test::MessageOf(f), text);
}

// Indices of the local maxima of v in [from, to].
std::vector<std::size_t> Maxima(const std::vector<double>& v, std::size_t from, std::size_t to) {
  std::vector<std::size_t> at;
  for (std::size_t k = from; k <= to; ++k)
    if (v[k] > v[k - 1] && v[k] > v[k + 1]) at.push_back(k);
  return at;
}

// The estimation spread of each coefficient at N = 4096 is about 0.01 for this process
// (seen over 40 seeds), so the bounds below are about two spreads.
TEST(AutoRegressive, RecoversKnownRealModelFrom4096Samples) {
  std::vector<double> truth;
  for (const C& c : FromPoles({0.9 * std::polar(1.0, kPi / 4), 0.9 * std::polar(1.0, -kPi / 4),
                               0.7 * std::polar(1.0, 2 * kPi / 3), 0.7 * std::polar(1.0, -2 * kPi / 3)}))
    truth.push_back(c.real());
  const auto x = ArProcess(truth, 4096, 0x9E3779B97F4A7C15ULL);
  const std::span<const double> xs(x);
  struct Case {
    const char* name;
    sigflow::TArModel<double> model;
    double bound;
  };
  for (const auto& c :
       {Case{"Burg", sigflow::ArBurg(xs, 4), 0.02}, Case{"Covariance", sigflow::ArCovariance(xs, 4), 0.02},
        Case{"MCovariance", sigflow::ArMCovariance(xs, 4), 0.02},
        Case{"YuleWalker", sigflow::ArYuleWalker(xs, 4), 0.05}}) {
    SCOPED_TRACE(c.name);
    ASSERT_EQ(c.model.A.size(), 5u);
    EXPECT_EQ(c.model.A[0], 1.0);
    EXPECT_LT(WorstCoefficientError(c.model.A, truth), c.bound);
    EXPECT_NEAR(c.model.NoiseVariance, 1.0, 0.08);
  }
}

TEST(AutoRegressive, RecoversKnownComplexModel) {
  const auto truth = FromPoles({0.85 * std::polar(1.0, 0.7), 0.6 * std::polar(1.0, -1.5)});
  const auto z = ArProcess(truth, 4096, 77);
  const std::span<const C> zs(z);
  for (const auto& [model, bound] : {std::pair{sigflow::ArBurg(zs, 2), 0.03},
                                     {sigflow::ArCovariance(zs, 2), 0.03},
                                     {sigflow::ArMCovariance(zs, 2), 0.03},
                                     {sigflow::ArYuleWalker(zs, 2), 0.05}})
    EXPECT_LT(WorstCoefficientError(model.A, truth), bound);
  EXPECT_NEAR(sigflow::ArBurg(zs, 2).NoiseVariance, 1.0, 0.08);
}

TEST(AutoRegressive, ResolvesTwoTonesThatThePeriodogramMerges) {
  // 0.200 and 0.215 cycles/sample are closer than the 1/64 resolution of 64 samples.
  auto x = sigflow::test::Noise(64, 12345);
  for (std::size_t n = 0; n < x.size(); ++n)
    x[n] = std::sin(2 * kPi * 0.2 * n) + std::sin(2 * kPi * 0.215 * n + 1) + 0.01 * x[n];

  std::vector<double> periodogram(64);
  for (std::size_t k = 0; k < 64; ++k) {
    C acc = 0;
    for (std::size_t n = 0; n < 64; ++n) acc += x[n] * std::polar(1.0, -2 * kPi * k * n / 64);
    periodogram[k] = std::norm(acc);
  }
  EXPECT_EQ(Maxima(periodogram, 10, 17).size(), 1u);  // band 0.15 .. 0.27

  const std::span<const double> xs(x);
  for (const auto& [name, model] :
       {std::pair{"Burg", sigflow::ArBurg(xs, 12)}, std::pair{"MCovariance", sigflow::ArMCovariance(xs, 12)}}) {
    SCOPED_TRACE(name);
    std::vector<double> psd(1024);
    sigflow::ArSpectrum(std::span<const double>(model.A), model.NoiseVariance, psd);
    const auto at = Maxima(psd, 154, 276);
    ASSERT_EQ(at.size(), 2u);
    EXPECT_NEAR(at[0] / 1024.0, 0.2, 0.004);
    EXPECT_NEAR(at[1] / 1024.0, 0.215, 0.004);
  }
}

TEST(AutoRegressive, YuleWalkerSpectrumReproducesTheAutocorrelationItWasFitTo) {
  // The all-pole model fitted by Levinson matches r[0..p] exactly: the inverse transform of
  // its spectrum gives back those lags.
  const std::vector<double> a{1, -1.3, 0.9, -0.3};
  const auto x = ArProcess(a, 1000, 5);
  const auto r = sigflow::AutoCorrBiased(std::span<const double>(x), 6);
  const auto model = sigflow::Levinson(std::span<const double>(r));
  std::vector<double> psd(4096);
  sigflow::ArSpectrum(std::span<const double>(model.A), model.NoiseVariance, psd);
  std::vector<double> back(r.size());
  for (std::size_t m = 0; m < back.size(); ++m) {
    double s = 0;
    for (std::size_t k = 0; k < psd.size(); ++k)
      s += psd[k] * std::cos(2 * kPi * static_cast<double>(k * m) / psd.size());
    back[m] = s / psd.size();
  }
  EXPECT_TRUE(CloseTo(back, r, 1e-9));
}

TEST(AutoRegressive, OrderZeroSilenceAndPureTonesGiveFiniteModels) {
  const std::vector<double> x{1, -2, 3, -4};
  for (const auto& m :
       {sigflow::ArBurg(std::span<const double>(x), 0), sigflow::ArCovariance(std::span<const double>(x), 0),
        sigflow::ArYuleWalker(std::span<const double>(x), 0)}) {
    EXPECT_EQ(m.A, std::vector<double>{1});
    EXPECT_DOUBLE_EQ(m.NoiseVariance, 7.5);  // the signal power
  }
  const std::vector<double> zeros(64, 0.0);
  const std::span<const double> zs(zeros);
  for (const auto& m : {sigflow::ArBurg(zs, 8), sigflow::ArCovariance(zs, 8), sigflow::ArMCovariance(zs, 8),
                        sigflow::ArYuleWalker(zs, 8)}) {
    EXPECT_EQ(m.A, (std::vector<double>{1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(m.NoiseVariance, 0.0);
  }
  // A single tone has rank 2: the covariance systems of order 10 are singular.
  std::vector<double> tone(128);
  for (std::size_t n = 0; n < tone.size(); ++n) tone[n] = std::cos(2 * kPi * 0.125 * n + 0.3);
  for (const auto& m : {sigflow::ArCovariance(std::span<const double>(tone), 10),
                        sigflow::ArMCovariance(std::span<const double>(tone), 10)}) {
    std::vector<double> psd(256);
    sigflow::ArSpectrum(std::span<const double>(m.A), m.NoiseVariance + 1e-300, psd);
    std::size_t peak = 0;
    for (std::size_t k = 0; k < 128; ++k) {
      ASSERT_TRUE(std::isfinite(psd[k])) << k;
      if (psd[k] > psd[peak]) peak = k;
    }
    EXPECT_EQ(peak, 32u);  // 0.125 * 256
  }
}

TEST(EstimatorErrors, BadArgumentsNameTheViolatedCondition) {
  const std::vector<double> x(10, 1.0);
  const std::span<const double> xs(x);
  const std::span<const double> none;
  ExpectMessage([&] { sigflow::ArBurg(xs, 10); }, "ArBurg: Order (10) >= Length (10)");
  ExpectMessage([&] { sigflow::ArBurg(none, 1); }, "ArBurg: Length = 0");
  ExpectMessage([&] { sigflow::ArCovariance(xs, 6); }, "ArCovariance: Order (6) > Length div 2 (5)");
  ExpectMessage([&] { sigflow::ArMCovariance(xs, 6); }, "ArMCovariance: Order (6) > Length div 2 (5)");
  ExpectMessage([&] { sigflow::ArMCovariance(none, 0); }, "ArMCovariance: Length = 0");
  ExpectMessage([&] { sigflow::ArYuleWalker(xs, 11); }, "ArYuleWalker: Order (11) > Length (10)");
  ExpectMessage([&] { sigflow::Levinson(none); }, "Levinson: Length = 0");
  const std::vector<double> negative{-1.0, 0.5};
  ExpectMessage([&] { sigflow::Levinson(std::span<const double>(negative)); }, "Levinson: r[0] < 0");
  std::vector<double> a(3), refl(1), work(19);
  ExpectMessage([&] { sigflow::Levinson(std::span<const double>(negative), a, {}); }, "Levinson: a.size() <> r.size()");
  ExpectMessage([&] { sigflow::ArBurg(xs, a, refl, work); }, "ArBurg: reflection.size() <> Order");
  ExpectMessage([&] { sigflow::ArBurg(xs, a, {}, work); }, "ArBurg: work.size() < 2 * Length");
  ExpectMessage([&] { sigflow::ArBurg(xs, {}, {}, work); }, "ArBurg: a.size() = 0");
  std::vector<double> psd(4);
  ExpectMessage([&] { sigflow::ArSpectrum(none, 1.0, psd); }, "ArSpectrum: a.size() = 0");
  std::vector<double> r(3);
  ExpectMessage([&] { sigflow::AutoCorrBiased(none, r); }, "AutoCorrBiased: Length = 0");
  ExpectMessage([&] { sigflow::AutoCorrUnBiased(none, 3); }, "AutoCorrUnBiased: Length = 0");
  ExpectMessage([&] { sigflow::AutoCorrNormal(none, r); }, "AutoCorrNormal: Length = 0");
  ExpectMessage([&] { sigflow::CrossCorr(xs, none, 1, 1); }, "CrossCorr: Length = 0");
  ExpectMessage([&] { sigflow::CrossCorr(xs.first(2), xs.first(2), 1, 2, r); },
                "CrossCorr: r.size() <> NegativeLags + PositiveLags + 1");
}

TEST(AutoRegressive, FramePathsAllocateNothingAndMatchTheAllocatingForms) {
  const auto x = ArProcess(std::vector<double>{1, -0.5, 0.2}, 512, 9);
  const std::span<const double> xs(x);
  std::vector<double> r(9), a(9), refl(8), work(2 * x.size()), psd(256), phase(256);
  std::vector<double> burgA(9), burgRefl(8);
  std::vector<C> spectrum(16);
  double noise = 0, burgNoise = 0;
  {
    sigflow::test::AllocationScope scope;
    sigflow::AutoCorrBiased(xs, r);
    noise = sigflow::Levinson(r, a, refl);
    burgNoise = sigflow::ArBurg(xs, burgA, burgRefl, work);
    sigflow::ArSpectrum(burgA, burgNoise, psd);
    sigflow::PhaseUnwrap(phase, 180, true, sigflow::rpPartial, 2.0);
    sigflow::TwoSidedSpectrum(spectrum, false, false, true);
    EXPECT_EQ(scope.Count(), 0u);
  }
  const auto yw = sigflow::ArYuleWalker(xs, 8), burg = sigflow::ArBurg(xs, 8);
  EXPECT_EQ(std::tie(a, refl, noise), std::tie(yw.A, yw.Reflection, yw.NoiseVariance));
  EXPECT_EQ(std::tie(burgA, burgRefl, burgNoise), std::tie(burg.A, burg.Reflection, burg.NoiseVariance));
}

TEST(Correlation, LagsBeyondTheDataAreZeroAndSilenceNormalisesToZero) {
  const std::vector<double> x{1, 2, 3};
  std::vector<double> r(6, std::nan(""));
  sigflow::AutoCorrBiased(x, r);
  EXPECT_EQ(r, (std::vector<double>{14.0 / 3, 8.0 / 3, 1.0, 0, 0, 0}));
  std::fill(r.begin(), r.end(), std::nan(""));
  sigflow::AutoCorrUnBiased(x, r);
  EXPECT_EQ(r, (std::vector<double>{14.0 / 3, 4.0, 3.0, 0, 0, 0}));
  const std::vector<C> zeros(5);
  EXPECT_EQ(sigflow::AutoCorrNormal(std::span<const C>(zeros), 2), std::vector<C>(3));
}

// Phase of e^{-j 2 pi k tau / L}, wrapped to (-pi, pi].
std::vector<double> WrappedDelayPhase(std::size_t L, double tau) {
  std::vector<double> p(L);
  for (std::size_t k = 0; k < L; ++k) p[k] = std::arg(std::polar(1.0, -2 * kPi * k * tau / L));
  return p;
}

TEST(PhaseUnwrap, IntegerLagModeFollowsEveryLagOfTheFrame) {
  // 32 samples, no zero padding: the longest lag turns the phase by almost a full period
  // per bin, beyond what a constant-phase prediction can follow.
  const std::size_t N = 32, L = 32;
  const double step = static_cast<double>(L) / (N - 1);
  for (double tau : {0.0, 1.0, 5.0, 17.0, 31.0}) {
    SCOPED_TRACE(tau);
    auto p = WrappedDelayPhase(L, tau);
    sigflow::PhaseUnwrap(p, 180, true, sigflow::rpIntLag, step);
    std::vector<double> want(L);
    for (std::size_t k = 0; k < L; ++k) want[k] = -2 * kPi * k * tau / L;
    EXPECT_TRUE(CloseTo(p, want, 1e-13));
  }
  auto p = WrappedDelayPhase(L, 31);
  sigflow::PhaseUnwrap(p, 180, true, sigflow::rpConstPhase, step);
  EXPECT_GT(p.back(), -kPi);  // the constant-phase mode reads the steep fall as a slow rise
}

TEST(PhaseUnwrap, PartialModeFollowsAQuadraticPhaseInDegrees) {
  std::vector<double> truth(60), p(60);
  for (std::size_t k = 0; k < p.size(); ++k) {
    truth[k] = -9.0 * k * k;  // steps grow to about 1000 degrees
    p[k] = std::remainder(truth[k], 360.0);
  }
  auto partial = p;
  sigflow::PhaseUnwrap(partial, 180, false, sigflow::rpPartial, 1.0);
  EXPECT_TRUE(CloseTo(partial, truth, 1e-13));
  ExpectMessage([&] { sigflow::PhaseUnwrap(p, 0.0, false, sigflow::rpPartial, 1.0); }, "PhaseUnwrap: HalfPeriod <= 0");
  // the other modes only ever add whole periods
  for (auto mode : {sigflow::rpConstPhase, sigflow::rpIntLag}) {
    auto q = p;
    sigflow::PhaseUnwrap(q, 180, false, mode, 3.0);
    for (std::size_t k = 0; k < q.size(); ++k) {
      const double turns = (q[k] - p[k]) / 360.0;
      EXPECT_NEAR(turns, std::round(turns), 1e-9) << k;
    }
  }
}

// DFT of a real sequence, long double accumulation.
std::vector<C> Dft(const std::vector<double>& x) {
  const std::size_t n = x.size();
  std::vector<C> X(n);
  for (std::size_t k = 0; k < n; ++k) {
    std::complex<long double> acc = 0;
    for (std::size_t t = 0; t < n; ++t)
      acc +=
          static_cast<long double>(x[t]) * std::polar(1.0L, -2 * std::numbers::pi_v<long double> * ((k * t) % n) / n);
    X[k] = C(static_cast<double>(acc.real()), static_cast<double>(acc.imag()));
  }
  return X;
}

TEST(TwoSided, ConjExtendRebuildsTheUpperHalfForEvenAndOddLengths) {
  for (int n : {1, 2, 7, 8, 33}) {
    SCOPED_TRACE(n);
    const auto x = sigflow::test::Noise(n, 11);
    const auto full = Dft(x);
    auto half = full;
    for (int k = n / 2 + 1; k < n; ++k) half[std::size_t(k)] = C(std::nan(""), std::nan(""));
    sigflow::ConjExtend(half);
    EXPECT_TRUE(CloseTo(half, full, 1e-14));
  }
}

TEST(TwoSided, ConjFlipPutsNegativeFrequenciesFirst) {
  for (std::size_t n : {1u, 2u, 7u, 8u}) {
    std::vector<double> v(n);
    for (std::size_t i = 0; i < n; ++i) v[i] = static_cast<double>(i);
    sigflow::ConjFlip(v);
    for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(v[(i + n / 2) % n], i) << n << " " << i;
  }
}

TEST(TwoSided, RotationFollowsInputKindAndFlags) {
  // A spectrum with distinct bins, bins 0..4 valid for the real case.
  auto make = [] {
    std::vector<C> s(8);
    for (std::size_t i = 0; i < 8; ++i) s[i] = C(i, i <= 4 ? 0.5 * i : 0.0);
    return s;
  };
  auto extended = make();
  sigflow::ConjExtend(extended);
  auto extendedFlipped = extended;
  sigflow::ConjFlip(extendedFlipped);
  auto flipped = make();
  sigflow::ConjFlip(flipped);
  struct Case {
    bool complexInput, conjFlip, conjExtend;
    std::vector<C> want;
    bool doubled;
  };
  for (const auto& c : {Case{false, false, true, extendedFlipped, true}, Case{false, true, true, extended, true},
                        Case{false, true, false, make(), false}, Case{false, false, false, make(), false},
                        Case{true, true, false, flipped, false}, Case{true, true, true, flipped, false},
                        Case{true, false, true, make(), false}}) {
    SCOPED_TRACE(testing::Message() << c.complexInput << c.conjFlip << c.conjExtend);
    auto s = make();
    EXPECT_EQ(sigflow::TwoSidedSpectrum(s, c.complexInput, c.conjFlip, c.conjExtend), c.doubled);
    EXPECT_EQ(s, c.want);
  }
}

}  // namespace
