#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "block_runner.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Envelope.h"
#include "sigflow/numeric/IirState.h"
#include "sigflow/numeric/MedianState.h"
#include "support/message.h"

using namespace sigflow;
using namespace sigflow::test;

namespace {

std::vector<double> Noise(std::size_t n, unsigned seed, int levels = 0) {
  std::mt19937 gen(seed);
  std::normal_distribution<double> normal;
  std::vector<double> x(n);
  for (auto& v : x) v = levels > 0 ? static_cast<double>(gen() % levels) : normal(gen);
  return x;
}

// Median of the n samples ending at k, with zeros before the start.
std::vector<double> SlowMedian(const std::vector<double>& x, int n) {
  std::vector<double> y(x.size()), w(static_cast<std::size_t>(n));
  for (std::size_t k = 0; k < x.size(); ++k) {
    for (int i = 0; i < n; ++i) {
      const long j = static_cast<long>(k) - i;
      w[i] = j >= 0 ? x[static_cast<std::size_t>(j)] : 0.0;
    }
    std::sort(w.begin(), w.end());
    y[k] = n % 2 ? w[n / 2] : 0.5 * (w[n / 2 - 1] + w[n / 2]);
  }
  return y;
}

}  // namespace

TEST(IirFilter, SectionsAreNormalisedByA0AndMayRunInPlace) {
  const std::vector<double> sos{0.2, 0.4, 0.2, 1.0, -0.5, 0.25, 1.0, -1.0, 0.0, 1.0, -0.9, 0.0};
  std::vector<double> scaled = sos;
  for (int i = 0; i < 6; ++i) scaled[i] *= 4.0;  // same section, a0 = 4
  const auto x = Noise(300, 1);
  IirState a, b;
  IirInit(a, sos, false);
  IirInit(b, scaled, false);
  std::vector<double> ya(x.size()), yb = x;
  IirFilter(a, x, ya);
  IirFilter(b, yb, yb);
  EXPECT_TRUE(Near(yb, ya, 1e-14));
  // First sample by hand: y = 0.2 x0 through section 1, then 1.0 * that through section 2.
  EXPECT_NEAR(ya[0], 0.2 * x[0], 1e-15);
  IirReset(a);
  std::vector<double> again(x.size());
  IirFilter(a, x, again);
  EXPECT_EQ(again, ya);
}

TEST(IirFilter, ConfigurationAndCallErrorsAreReported) {
  IirState s;
  EXPECT_EQ(MessageOf([&] { IirInit(s, std::vector<double>(7, 1.0), false); }),
            "IirInit: second-order sections need 6 values each");
  EXPECT_EQ(MessageOf([&] { IirInit(s, std::vector<double>{}, false); }),
            "IirInit: second-order sections need 6 values each");
  EXPECT_EQ(MessageOf([&] { IirInit(s, std::vector<double>{1, 0, 0, 0, 0, 0}, false); }),
            "IirInit: a0 of a section is 0");
  std::vector<double> x(4), y(3);
  EXPECT_EQ(MessageOf([&] { IirFilter(s, x, x); }), "IirFilter: the IIR state is not initialised");
  IirInit(s, std::vector<double>{1, 0, 0, 1, 0, 0}, false);
  EXPECT_EQ(MessageOf([&] { IirFilter(s, x, y); }), "IirFilter: the output is shorter than the input");
  std::vector<std::complex<double>> c(4);
  EXPECT_EQ(MessageOf([&] { IirFilter(s, c, c); }), "IirFilter: data type does not match the IIR state");
  IirFree(s);
  EXPECT_FALSE(s.Initialized);
}

TEST(MedianFilter, TiesLongWindowsAndEvenWindowsMatchSorting) {
  auto runner = SameLengthRunner<MedianState, double>(
      [](MedianState& s, std::span<const double> in, std::span<double> out) { MedianFilter(s, in, out); });
  struct Case {
    int n;
    std::size_t len;
    int levels;
  };
  for (const Case c : {Case{7, 3000, 4}, Case{8, 3000, 3}, Case{2, 500, 0}, Case{5, 3000, 0}, Case{999, 9000, 0},
                       Case{1000, 6000, 5}}) {
    SCOPED_TRACE("window " + std::to_string(c.n));
    const auto x = Noise(c.len, static_cast<unsigned>(c.n), c.levels);
    MedianState s;
    MedianInit(s, c.n);
    runner.Check(s, x, SlowMedian(x, c.n), 0.0);
  }
}

TEST(MedianFilter, ResetRefillsZerosAndBadWindowsRaise) {
  MedianState s;
  MedianInit(s, 3);
  std::vector<double> x{5, 6, 7}, y(3);
  MedianFilter(s, x, y);
  EXPECT_EQ(y, (std::vector<double>{0, 5, 6}));
  MedianReset(s);
  std::vector<double> one{9}, z(1);
  MedianFilter(s, one, z);
  EXPECT_EQ(z[0], 0.0);
  EXPECT_EQ(MessageOf([&] { MedianInit(s, 0); }), "MedianInit: the window needs at least one sample");
  MedianFree(s);
  EXPECT_EQ(MessageOf([&] { MedianFilter(s, x, y); }), "MedianFilter: the median state is not initialised");
}

// A pure tone's envelope is its amplitude once the filters have filled.
TEST(EnvelopeDetector, SineEnvelopeIsItsAmplitude) {
  const int n = 63;
  std::vector<double> x(4000), y(4000);
  for (std::size_t k = 0; k < x.size(); ++k) x[k] = 2.0 * std::sin(2 * std::numbers::pi * 0.2 * k + 0.4);
  EnvelopeState s;
  EnvelopeDetector(s, x, y, n);
  EXPECT_EQ(s.Length, n);
  for (std::size_t k = 2 * n; k < y.size(); ++k) ASSERT_NEAR(y[k], 2.0, 0.01) << k;
  // A new length reinitialises the state: the output starts again from an empty history.
  std::vector<double> y2(10);
  EnvelopeDetector(s, std::span(x).first(10), y2, 5);
  EXPECT_EQ(s.Length, 5);
  EnvelopeState fresh;
  std::vector<double> y3(10);
  EnvelopeDetector(fresh, std::span(x).first(10), y3, 5);
  EXPECT_EQ(y2, y3);
  EXPECT_EQ(MessageOf([&] { EnvelopeInit(s, 0); }), "EnvelopeDetector: the length must be at least 1");
}

// Long cascades take another code path than short ones; both must equal the sections run
// one after the other over the whole signal.
TEST(IirFilter, CascadeEqualsSectionsRunOneAfterAnother) {
  for (const int sections : {3, 10, 11, 14}) {
    SCOPED_TRACE(std::to_string(sections) + " sections");
    std::vector<double> sos;
    for (int s = 0; s < sections; ++s) {
      const double r = 0.5 + 0.03 * s, th = 0.2 + 0.1 * s;
      sos.insert(sos.end(), {0.3, 0.1 * s, -0.2, 1.0, -2 * r * std::cos(th), r * r});
    }
    const auto x = Noise(3000, 5);
    std::vector<double> want = x;
    for (int s = 0; s < sections; ++s) {
      IirState one;
      IirInit(one, std::span(sos).subspan(6 * s, 6), false);
      IirFilter(one, want, want);
    }
    IirState all;
    IirInit(all, sos, false);
    SameLengthRunner<IirState, double>([](IirState& s, std::span<const double> in, std::span<double> out) {
      IirFilter(s, in, out);
    }).Check(all, x, want, 1e-13);
    // The real part of complex data runs through the same cascade.
    std::vector<std::complex<double>> xc(x.size()), yc(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) xc[i] = {x[i], -2.0 * x[x.size() - 1 - i]};
    IirState c;
    IirInit(c, sos, true);
    IirFilter(c, xc, yc);
    std::vector<double> re(x.size());
    for (std::size_t i = 0; i < x.size(); ++i) re[i] = yc[i].real();
    EXPECT_TRUE(Near(re, want, 1e-13)) << "real part of complex data";
  }
}
