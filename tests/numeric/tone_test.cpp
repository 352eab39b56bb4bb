#include "sigflow/numeric/Tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "support/message.h"
#include "tone_support.h"

namespace sigflow {
namespace {

using test::ExactCycles;
using test::ExactTheta;
using test::kTwoPi;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct ToneCase {
  double F;
  std::int64_t Fs;
  double Phase;
  double Amplitude;
};

// 1 kHz at 48 kHz, a frequency with a long binary expansion, one near Nyquist, a very low one,
// one far above Fs (only F / Fs mod 1 counts) and one above Fs / 2.
const ToneCase kCases[] = {
    {1000.0, 48000, 0.0, 1.0},    {997.3, 44100, 0.7, 3.0},  {23999.9, 48000, -2.0, 0.5},
    {0.001, 48000, 1.0, 1.0},     {1.0e6 + 0.37, 44100, 0.3, 2.0}, {31234.5, 48000, 5.0, 1.0},
};

// Real tone A sin(2 pi F n / Fs + phase), complex A exp(j(...)), for n near 0, 10^6 and 10^9:
// no drift. Moving the sample index is what a stream of n samples does (checked below).
TEST(Tone, SamplesMatchExactPhaseReferenceFarIntoTheStream) {
  for (const ToneCase& c : kCases) {
    for (std::int64_t start : {std::int64_t{0}, std::int64_t{1000000} - 17, std::int64_t{1000000000} - 3000}) {
      TToneState s;
      ToneInit(s, c.F, c.Phase, c.Amplitude, static_cast<double>(c.Fs), false);
      s.SampleIndex = start;
      TToneState z = s;  // the same line, complex
      std::vector<double> out(5000, kNaN);
      std::vector<std::complex<double>> zout(5000, {kNaN, kNaN});
      Tone(s, out);
      Tone(z, zout);
      double worst = 0;
      std::size_t at = 0;
      for (std::size_t i = 0; i < out.size(); ++i) {
        const long double th = ExactTheta(c.F, c.Fs, start + static_cast<std::int64_t>(i), c.Phase);
        const long double re = c.Amplitude * std::cos(th), im = c.Amplitude * std::sin(th);
        const double err = static_cast<double>(std::max(
            {std::abs(out[i] - im), std::abs(zout[i].real() - re), std::abs(zout[i].imag() - im)}));
        if (!(err <= worst)) worst = err, at = i;
      }
      // A few units in the last place, far inside the 1e-12 A the generators promise.
      EXPECT_LE(worst, 8e-16 * c.Amplitude)
          << "F=" << c.F << " start=" << start << " worst at " << start + static_cast<std::int64_t>(at);
    }
  }
}

TEST(Tone, StreamedSamplesAgreeWithAJumpToTheSameIndex) {
  TToneState streamed, jumped;
  ToneInit(streamed, 997.3, 0.7, 1.0, 44100.0, false);
  jumped = streamed;
  std::vector<double> block(4096);
  for (int b = 0; b < 2441; ++b) Tone(streamed, block);  // 9998336 samples
  jumped.SampleIndex = streamed.SampleIndex;
  std::vector<double> a(3000), b(3000);
  Tone(streamed, a);
  Tone(jumped, b);
  EXPECT_EQ(a, b);
  const std::int64_t n0 = 2441 * 4096;
  for (std::size_t i = 0; i < a.size(); i += 97)
    EXPECT_NEAR(a[i], static_cast<double>(std::sin(ExactTheta(997.3, 44100, n0 + static_cast<std::int64_t>(i), 0.7))), 1e-15);
}

// A DFT bin of a sum is the sum of the bins: with every sample within e of the exact unit
// sine, no bin of the error exceeds N e while the tone's bin is N / 2, so every spur lies
// below 2e relative.
TEST(Tone, SpursOfA1kHzSineAt48kHzLieBelowMinus250dB) {
  constexpr std::int64_t N = 48000;
  TToneState s;
  ToneInit(s, 1000.0, 0.0, 1.0, 48000.0, false);
  std::vector<double> x(N);
  for (std::int64_t i = 0; i < N; i += 4096)
    Tone(s, std::span<double>(x.data() + i, static_cast<std::size_t>(std::min<std::int64_t>(4096, N - i))));
  double maxErr = 0;
  for (std::int64_t n = 0; n < N; ++n)
    maxErr = std::max(maxErr, static_cast<double>(std::abs(x[n] - std::sin(ExactTheta(1000.0, 48000, n, 0.0)))));
  EXPECT_LT(20.0 * std::log10(2.0 * maxErr), -250.0) << "max error " << maxErr;
}

TEST(Tone, AnySplitIntoBlocksGivesTheSameStreamAndCopiesContinue) {
  TToneState s;
  ToneInit(s, 997.3, 0.7, 2.0, 44100.0, false);
  test::ExpectStreamLaws<double>(s, [](TToneState& t, std::span<double> o) { Tone(t, o); });
  test::ExpectStreamLaws<std::complex<double>>(
      s, [](TToneState& t, std::span<std::complex<double>> o) { Tone(t, o); });
}

// Above Fs / 2 a complex tone is its alias F - Fs: the conjugate of the tone at Fs - F with
// the opposite phase; CircularFrequency tells the caller which half it is in.
TEST(Tone, ComplexToneAboveHalfTheSamplingFrequencyIsConjugated) {
  const double fs = 48000.0, g = 5000.0, phase = 0.6;
  TToneState high, low;
  ToneInit(high, fs - g, phase, 1.0, fs, true);
  ToneInit(low, g, -phase, 1.0, fs, true);
  std::vector<std::complex<double>> a(3000), b(3000);
  Tone(high, a);
  Tone(low, b);
  for (std::size_t i = 0; i < a.size(); ++i) ASSERT_LT(std::abs(a[i] - std::conj(b[i])), 2e-15) << i;
  EXPECT_GT(CircularFrequency((fs - g) / fs), 0.5);
  EXPECT_LT(CircularFrequency(g / fs), 0.5);
}

TEST(Tone, CircularFrequencyFoldsOntoOneTurn) {
  EXPECT_EQ(CircularFrequency(0.25), 0.25);
  EXPECT_EQ(CircularFrequency(1.25), 0.25);
  EXPECT_EQ(CircularFrequency(-0.25), 0.75);
  EXPECT_EQ(CircularFrequency(0.75), 0.75);
  EXPECT_EQ(CircularFrequency(-3.0), 0.0);
  const double tiny = CircularFrequency(-1e-20);
  EXPECT_GE(tiny, 0.0);
  EXPECT_LT(tiny, 1.0);
}

TEST(Tone, InitRejectsBadArguments) {
  TToneState s;
  TTriangleToneState t;
  for (double fs : {0.0, -48000.0, kNaN})
    EXPECT_EQ(test::MessageOf([&] { ToneInit(s, 1000.0, 0.0, 1.0, fs, false); }),
              "SamplingFrequency must be positive and finite") << fs;
  EXPECT_THROW(ToneInit(s, kNaN, 0.0, 1.0, 48000.0, false), Exception);
  EXPECT_THROW(TriangleToneInit(t, 1000.0, 0.0, 1.0, kNaN, 48000.0, false), Exception);
}

// Exact reference: sawtooth of width a at the phase shifted by half the rising share.
long double TriangleRef(double F, std::int64_t Fs, std::int64_t n, double Phase, double a) {
  long double u = ExactCycles(F, Fs, n) + (static_cast<long double>(Phase) + std::numbers::pi_v<long double> * a) / kTwoPi;
  u -= std::floor(u);
  if (u < a) return -1.0L + 2.0L * u / a;
  return 1.0L - 2.0L * (u - a) / (1.0L - a);
}

TEST(TriangleTone, SamplesMatchExactReferenceFarIntoTheStream) {
  for (double a : {0.5, 0.2, 0.9}) {
    for (std::int64_t start : {std::int64_t{0}, std::int64_t{1000000} - 5, std::int64_t{1000000000} - 1000}) {
      TTriangleToneState s;
      TriangleToneInit(s, 997.3, 0.3, 2.0, a, 44100.0, false);
      s.SampleIndex = start;
      std::vector<double> out(3000, kNaN);
      TriangleTone(s, out);
      double worst = 0;
      for (std::size_t i = 0; i < out.size(); ++i)
        worst = std::max(worst, static_cast<double>(std::abs(out[i] - 2.0L * TriangleRef(997.3, 44100, start + static_cast<std::int64_t>(i), 0.3, a))));
      EXPECT_LE(worst, 1e-12 * 2.0) << "a=" << a << " start=" << start;
    }
  }
}

TEST(TriangleTone, HalfAsymmetryIsASymmetricTriangleInPhaseWithTheSine) {
  // Period of 96 samples: 0 at n = 0, A at 24, 0 at 48, -A at 72, and x(n + 48) = -x(n).
  TTriangleToneState s;
  TriangleToneInit(s, 500.0, 0.0, 3.0, 0.5, 48000.0, false);
  std::vector<double> x(192);
  TriangleTone(s, x);
  EXPECT_NEAR(x[0], 0.0, 1e-15);
  EXPECT_NEAR(x[24], 3.0, 1e-15);
  EXPECT_NEAR(x[48], 0.0, 1e-15);
  EXPECT_NEAR(x[72], -3.0, 1e-15);
  EXPECT_NEAR(x[12], 1.5, 1e-15);
  for (int n = 0; n < 144; ++n) EXPECT_NEAR(x[n + 48], -x[n], 1e-14) << n;
}

TEST(TriangleTone, AsymmetryIsTheShareOfThePeriodSpentRising) {
  for (double a : {0.0, 0.1, 0.3, 0.75, 1.0}) {
    TTriangleToneState s;
    TriangleToneInit(s, 480.0, 0.1, 1.0, a, 48000.0, false);  // period of 100 samples
    std::vector<double> x(1001);
    TriangleTone(s, x);
    int rising = 0;
    for (int n = 0; n < 1000; ++n) rising += x[n + 1] > x[n];
    // A sample step that straddles the peak or the trough may count either way.
    EXPECT_NEAR(rising, a * 1000, 10) << "a=" << a;
    EXPECT_LE(*std::max_element(x.begin(), x.end()), 1.0 + 1e-15);
    EXPECT_GE(*std::min_element(x.begin(), x.end()), -1.0 - 1e-15);
  }
  TTriangleToneState clamped, one;
  TriangleToneInit(clamped, 480.0, 0.0, 1.0, 1.7, 48000.0, false);
  TriangleToneInit(one, 480.0, 0.0, 1.0, 1.0, 48000.0, false);
  std::vector<double> x(300), y(300);
  TriangleTone(clamped, x);
  TriangleTone(one, y);
  EXPECT_EQ(x, y);
}

TEST(TriangleTone, ComplexOutputIsTheTriangleAndItsQuarterPeriodLead) {
  TTriangleToneState r, c;
  TriangleToneInit(r, 480.0, 0.2, 1.5, 0.3, 48000.0, false);
  TriangleToneInit(c, 480.0, 0.2, 1.5, 0.3, 48000.0, true);
  std::vector<double> x(1025);
  std::vector<std::complex<double>> z(1000);
  TriangleTone(r, x);
  TriangleTone(c, z);
  for (std::size_t n = 0; n < z.size(); ++n) {
    ASSERT_NEAR(z[n].imag(), x[n], 1e-14) << n;
    ASSERT_NEAR(z[n].real(), x[n + 25], 1e-14) << n;  // period 100: a quarter is 25 samples
  }
}

TEST(TriangleTone, AnySplitIntoBlocksGivesTheSameStreamAndCopiesContinue) {
  TTriangleToneState s;
  TriangleToneInit(s, 997.3, 0.7, 2.0, 0.35, 44100.0, true);
  s.SampleIndex = (std::int64_t{1} << 24) - 50000;  // the stream crosses a phase-base segment
  test::ExpectStreamLaws<double>(s, [](TTriangleToneState& t, std::span<double> o) { TriangleTone(t, o); });
  test::ExpectStreamLaws<std::complex<double>>(
      s, [](TTriangleToneState& t, std::span<std::complex<double>> o) { TriangleTone(t, o); });
}

TEST(CycleCounter, PhaseIsExactAcrossSegmentBoundariesAndLargeIndices) {
  TCycleCounter c;
  CycleCounterInit(c, 997.3, 0.0, 44100.0);
  std::vector<double> u(2000);
  for (std::int64_t start : {std::int64_t{0}, (std::int64_t{1} << 24) - 1000, std::int64_t{3000000000}, (std::int64_t{1} << 40) + 5}) {
    CycleFill(c, start, u);
    double worst = 0;
    for (std::size_t i = 0; i < u.size(); ++i) {
      ASSERT_GE(u[i], 0.0);
      ASSERT_LT(u[i], 1.0);
      double d = static_cast<double>(u[i] - ExactCycles(997.3, 44100, start + static_cast<std::int64_t>(i)));
      d -= std::round(d);  // 0.999... and 0.000... are the same phase
      worst = std::max(worst, std::abs(d));
    }
    EXPECT_LE(worst, 4e-16) << "start=" << start;
  }
}

}  // namespace
}  // namespace sigflow
