#include "sigflow/numeric/Waveforms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "support/message.h"
#include "tone_support.h"

namespace sigflow {
namespace {

using test::ExactCycles;
using test::kTwoPi;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kPi = std::numbers::pi;

template <class State, class Fn>
std::vector<double> Generate(State& s, Fn process, std::size_t n) {
  std::vector<double> out(n, kNaN);
  process(s, std::span<double>(out));
  return out;
}

auto SquareFn = [](TSquareWaveState& s, std::span<double> o) { SquareWave(s, o); };

TEST(SquareWave, HighForTheFirstHalfPeriodAndLowForTheSecond) {
  TSquareWaveState s;
  SquareWaveInit(s, 1000.0, 0.0, 2.0, 0.5, 48000.0);  // 48 samples per period
  const auto x = Generate(s, SquareFn, 480);
  for (int n = 0; n < 480; ++n) ASSERT_EQ(x[n], (n % 48) < 24 ? 2.5 : -1.5) << n;

  SquareWaveInit(s, 1000.0, kPi / 2, 2.0, 0.0, 48000.0);  // a quarter period ahead
  const auto y = Generate(s, SquareFn, 96);
  for (int n = 0; n < 96; ++n) {
    const int m = n % 48;
    ASSERT_EQ(y[n], (m < 12 || m >= 36) ? 2.0 : -2.0) << n;
  }
}

// Far into the stream every sample still sits on the correct side of the exact phase; a
// sample whose exact phase lies on a switching point to within rounding may take either side.
TEST(SquareWave, MatchesExactPhaseFarIntoTheStream) {
  for (std::int64_t start : {std::int64_t{0}, std::int64_t{1000000007}, (std::int64_t{1} << 24) - 700}) {
    TSquareWaveState s;
    SquareWaveInit(s, 997.3, 0.0, 1.0, 0.0, 44100.0);
    s.SampleIndex = start;
    const auto x = Generate(s, SquareFn, 5000);
    int checked = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
      const long double u = ExactCycles(997.3, 44100, start + static_cast<std::int64_t>(i));
      if (std::abs(u - 0.5L) < 1e-12L || u < 1e-12L || u > 1.0L - 1e-12L) continue;
      ASSERT_EQ(x[i], u < 0.5L ? 1.0 : -1.0) << "n=" << start + static_cast<std::int64_t>(i);
      ++checked;
    }
    EXPECT_GT(checked, 4990);
  }
}

TEST(SquareWave, StreamLaws) {
  TSquareWaveState s;
  SquareWaveInit(s, 1000.0, 0.3, 1.0, 0.25, 48000.0);
  test::ExpectStreamLaws<double>(s, SquareFn);
}

auto ImpulseFn = [](TImpulseWaveState& s, std::span<double> o) { ImpulseWave(s, o); };

// Periods of 16 samples (3 kHz at 48 kHz); shares are relative, so any scale works.
TEST(ImpulseWave, SegmentsRiseTopFallRestInThatOrderAndZeroSharesRemoveThem) {
  const struct {
    const char* name;
    double high, low, raise, fall, phase, level;
    std::vector<double> period;
    double tol;
  } cases[] = {
      {"equal shares", 1, 1, 1, 1, 0.0, 4.0, {0, 1, 2, 3, 4, 4, 4, 4, 4, 3, 2, 1, 0, 0, 0, 0}, 1e-14},
      {"rise 2, top 4, fall 2, rest 8", 20, 40, 10, 10, 0.0, 1.0, {0, .5, 1, 1, 1, 1, 1, .5, 0, 0, 0, 0, 0, 0, 0, 0}, 1e-14},
      {"quarter period ahead", 1, 1, 1, 1, kPi / 2, 4.0, {4, 4, 4, 4, 4, 3, 2, 1, 0, 0, 0, 0, 0, 1, 2, 3}, 1e-14},
      {"rectangular pulse", 1, 3, 0, 0, 0.0, 1.0, {1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}, 0.0},
      {"triangle", 0, 0, 1, 1, 0.0, 8.0, {0, 1, 2, 3, 4, 5, 6, 7, 8, 7, 6, 5, 4, 3, 2, 1}, 1e-14},
      {"all shares zero", 0, 0, 0, 0, 0.0, 8.0, std::vector<double>(16, 0.0), 0.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    TImpulseWaveState s;
    ImpulseWaveInit(s, c.high, c.low, c.raise, c.fall, 3000.0, c.phase, c.level, 48000.0);
    const auto x = Generate(s, ImpulseFn, 48);
    for (int n = 0; n < 48; ++n) ASSERT_NEAR(x[n], c.period[n % 16], c.tol) << n;
  }
}

TEST(ImpulseWave, MatchesExactPhaseFarIntoTheStreamAndKeepsStreamLaws) {
  TImpulseWaveState s;
  ImpulseWaveInit(s, 2, 3, 1.5, 0.5, 997.3, 0.0, 1.0, 44100.0);
  s.SampleIndex = 1000000000;
  const auto x = Generate(s, ImpulseFn, 3000);
  const long double r = 1.5L / 7, h = 3.5L / 7, f = 4.0L / 7;
  for (std::size_t i = 0; i < x.size(); ++i) {
    const long double u = ExactCycles(997.3, 44100, 1000000000 + static_cast<std::int64_t>(i));
    const long double ref = u < r ? u / r : u < h ? 1.0L : u < f ? (f - u) / (f - h) : 0.0L;
    // The only jump of this shape is at f (fall end to rest is continuous), so no tie skip.
    ASSERT_NEAR(x[i], static_cast<double>(ref), 1e-12) << i;
  }
  ImpulseWaveInit(s, 2, 3, 1.5, 0.5, 997.3, 0.4, 1.0, 44100.0);
  test::ExpectStreamLaws<double>(s, ImpulseFn);
}

TEST(ImpulseWave, RejectsNegativeShares) {
  TImpulseWaveState s;
  EXPECT_EQ(test::MessageOf([&] { ImpulseWaveInit(s, 1, -1, 1, 1, 1000.0, 0.0, 1.0, 48000.0); }),
            "Impulse segment shares must not be negative");
  EXPECT_THROW(ImpulseWaveInit(s, 1, 1, 1, 1, 1000.0, 0.0, 1.0, 0.0), Exception);
}

auto ChirpFn = [](TChirpState& s, std::span<double> o) { Chirp(s, o); };

// With equal start and stop frequency the chirp is a tone times the amplitude ramp; across
// period boundaries the tone runs on without a phase jump.
TEST(Chirp, ConstantFrequencyIsAToneWithARepeatingAmplitudeRamp) {
  TChirpState s;
  const std::int64_t period = 4800;
  ChirpInit(s, 997.3, 0.4, 1.0, 0.25, 997.3, 3.0, 0.5, period, 44100.0);
  const auto x = Generate(s, ChirpFn, 3 * period + 100);
  double worst = 0;
  for (std::int64_t n = 0; n < static_cast<std::int64_t>(x.size()); ++n) {
    const long double amp = 1.0L + 2.0L * static_cast<long double>(n % period) / period;
    const long double ref = 0.25L + amp * std::sin(test::ExactTheta(997.3, 44100, n, 0.4));
    worst = std::max(worst, static_cast<double>(std::abs(x[n] - ref)));
  }
  EXPECT_LE(worst, 4e-15);  // a few units in the last place of the amplitude 3
}

// Within the sweep the phase is quadratic: the second difference of the phase in cycles is
// (f2 - f1) / D per sample squared; after the sweep it holds the stop frequency.
TEST(Chirp, PhaseFollowsTheLinearSweepThenHoldsTheStopFrequency) {
  const double fs = 48000.0, f1 = 100.0, f2 = 5000.0, duty = 0.75;
  const std::int64_t period = 2000;
  const double d = duty * period;
  TChirpState s;
  ChirpInit(s, f1, 0.0, 1.0, 0.0, f2, 1.0, duty, period, fs);
  // The phase is read back with atan2 from a second chirp started a quarter turn ahead (cos).
  TChirpState c;
  ChirpInit(c, f1, kPi / 2, 1.0, 0.0, f2, 1.0, duty, period, fs);
  const auto si = Generate(s, ChirpFn, 2 * period);
  const auto co = Generate(c, ChirpFn, 2 * period);
  std::vector<double> step(si.size() - 1);
  for (std::size_t n = 0; n + 1 < si.size(); ++n) {
    double dphi = std::atan2(si[n + 1], co[n + 1]) - std::atan2(si[n], co[n]);
    dphi -= 2 * kPi * std::round(dphi / (2 * kPi));
    step[n] = dphi / (2 * kPi);  // cycles per sample between n and n + 1
  }
  // Steps inside the sweep see the mean frequency over the step; the step from the last
  // sample of a period to the first of the next is a step of the hold (no phase jump).
  for (std::int64_t n = 0; n + 1 < 2 * period; ++n) {
    const double j = static_cast<double>(n % period);
    const double expect = j + 1 <= d ? (f1 + (f2 - f1) * (j + 0.5) / d) / fs : f2 / fs;
    ASSERT_NEAR(step[n], expect, 1e-12) << "n=" << n;
  }
}

TEST(Chirp, StreamLawsAndSweepLength) {
  TChirpState s;
  ChirpInit(s, 200.0, 0.3, 1.0, 0.1, 8000.0, 0.5, 0.8, 4800, 48000.0);
  test::ExpectStreamLaws<double>(s, ChirpFn);
  // Duty outside (0, 1] sweeps the whole period.
  TChirpState zero, one;
  ChirpInit(zero, 200.0, 0.3, 1.0, 0.1, 8000.0, 0.5, 0.0, 4800, 48000.0);
  ChirpInit(one, 200.0, 0.3, 1.0, 0.1, 8000.0, 0.5, 1.0, 4800, 48000.0);
  EXPECT_EQ(Generate(zero, ChirpFn, 6000), Generate(one, ChirpFn, 6000));
  EXPECT_THROW(ChirpInit(s, 200.0, 0.3, 1.0, 0.1, 8000.0, 0.5, 1.0, 0, 48000.0), Exception);
  EXPECT_THROW(ChirpInit(s, 200.0, 0.3, 1.0, 0.1, 8000.0, 0.5, 1.0, 10, 0.0), Exception);
}

// A long block runs through the wide (vector) loops, one-sample blocks through the scalar
// one: both must give the same bits, whatever the block's start in the vector lanes.
template <class State, class Fn>
void ExpectWideEqualsScalar(const State& s, Fn process) {
  State wide = s, scalar = s;
  std::vector<double> skip(5);
  process(wide, std::span<double>(skip));
  process(scalar, std::span<double>(skip));
  std::vector<double> block(1003, kNaN), single(1003, kNaN);
  process(wide, std::span<double>(block));
  for (double& x : single) process(scalar, std::span<double>(&x, 1));
  EXPECT_EQ(block, single);
}

TEST(Waveforms, WideAndScalarLoopsGiveTheSameSamples) {
  TSquareWaveState q;
  SquareWaveInit(q, 997.3, 0.3, 1.5, 0.25, 44100.0);
  ExpectWideEqualsScalar(q, SquareFn);
  TImpulseWaveState p;
  ImpulseWaveInit(p, 2, 4, 1, 3, 1234.5, 0.7, 2.5, 44100.0);
  ExpectWideEqualsScalar(p, ImpulseFn);
  TTriangleToneState t;
  TriangleToneInit(t, 997.3, 0.3, 2.0, 0.3, 44100.0, false);
  ExpectWideEqualsScalar(t, [](TTriangleToneState& s, std::span<double> o) { TriangleTone(s, o); });

  struct TCounter {
    TCycleCounter Counter;
    std::int64_t Next = 0;
  } c;
  CycleCounterInit(c.Counter, -3001.7, 1.1, 48000.0);
  ExpectWideEqualsScalar(c, [](TCounter& s, std::span<double> o) {
    CycleFill(s.Counter, s.Next, o);
    s.Next += static_cast<std::int64_t>(o.size());
  });
}

}  // namespace
}  // namespace sigflow
