#include <gtest/gtest.h>

#include <complex>
#include <string>

#include "block_runner.h"
#include "numeric_check.h"
#include "fir_reference.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/FirState.h"
#include "support/message.h"

using namespace sigflow;
using namespace sigflow::test;
using cplx = std::complex<double>;

namespace {

std::vector<double> Signal(int n) { return Noise(n, 1); }
std::vector<cplx> ComplexSignal(int n) { return Noise<cplx>(n, 2); }
std::vector<double> Taps(int n) { return Noise(n, 100 + std::uint64_t(n)); }
std::vector<cplx> ComplexTaps(int n) { return Noise<cplx>(n, 200 + std::uint64_t(n)); }

template <class H, class In>
void CheckAgainstDefinition(const std::vector<H>& h, const std::vector<In>& x, int U, int du, int D, int dd,
                            bool allLevels) {
  CheckFir(h, x, UpFirDown(h, x, U, du, D, dd), U, du, D, dd, allLevels);
}

}  // namespace

TEST(FirRates, EveryDelayOfEveryRatePairFollowsTheDefinition) {
  const auto x = Signal(331);
  const auto h = Taps(13);
  const auto xc = ComplexSignal(97);
  const auto hc = ComplexTaps(8);
  for (int U = 1; U <= 5; ++U)
    for (int D = 1; D <= 5; ++D)
      for (int du = 0; du < U; ++du)
        for (int dd = 0; dd < D; ++dd) {
          SCOPED_TRACE("U " + std::to_string(U) + "/" + std::to_string(du) + " D " + std::to_string(D) + "/" +
                       std::to_string(dd));
          CheckAgainstDefinition(h, x, U, du, D, dd, false);
          CheckAgainstDefinition(hc, xc, U, du, D, dd, false);
        }
}

TEST(FirRates, FewerTapsThanUpSampleLeavesEmptyPhasesAtZero) {
  const auto x = Signal(120);
  CheckAgainstDefinition(Taps(3), x, 5, 2, 2, 1, true);
  CheckAgainstDefinition(Taps(1), x, 4, 3, 3, 0, true);
}

// Long streams cross the delay line's refills; long filters use every vector width.
TEST(FirLongStreams, ManyRefillsAndLongFiltersFollowTheDefinition) {
  const auto x = Signal(20000);
  CheckAgainstDefinition(Taps(512), x, 1, 0, 1, 0, true);
  CheckAgainstDefinition(Taps(64), x, 1, 0, 4, 1, true);
  CheckAgainstDefinition(Taps(67), x, 3, 1, 2, 0, true);
  CheckAgainstDefinition(Taps(67), x, 4, 3, 2, 1, true);
  const auto xc = ComplexSignal(9000);
  CheckAgainstDefinition(Taps(61), xc, 1, 0, 1, 0, true);
  CheckAgainstDefinition(Taps(61), xc, 1, 0, 5, 4, true);
  CheckAgainstDefinition(ComplexTaps(45), xc, 1, 0, 1, 0, true);
  CheckAgainstDefinition(ComplexTaps(45), x, 1, 0, 3, 2, true);
  CheckAgainstDefinition(ComplexTaps(45), xc, 3, 2, 1, 0, true);
  CheckAgainstDefinition(Taps(50), xc, 2, 1, 3, 1, true);
}

TEST(FirRates, OutputCountFollowsTheRatesAndDelays) {
  const std::vector<double> h{1.0, 0.5};
  FirState s;
  FirInit(s, h, false, 2, 1, 1, 0);
  EXPECT_EQ(FirOutputCount(s, 10), 20u);
  FirInit(s, h, false, 1, 0, 3, 2);
  // Outputs sit at inputs 2, 5, 8, ...
  EXPECT_EQ(FirOutputCount(s, 2), 0u);
  EXPECT_EQ(FirOutputCount(s, 3), 1u);
  EXPECT_EQ(FirOutputCount(s, 7), 2u);
  std::vector<double> in(7, 1.0), out(2);
  EXPECT_EQ(FirFilter(s, in, out), 2u);
  EXPECT_EQ(FirOutputCount(s, 1), 0u);  // input 7 is not an output, input 8 is
  EXPECT_EQ(FirOutputCount(s, 2), 1u);
  EXPECT_EQ(FirOutputCount(s, 4), 1u);
  EXPECT_EQ(FirOutputCount(s, 5), 2u);
  FirInit(s, h, false, 3, 2, 5, 4);
  std::size_t total = 0;
  for (std::size_t n : {4u, 1u, 9u, 0u, 13u}) {
    std::vector<double> blk(n, 0.0), o(FirOutputCount(s, n));
    total += FirFilter(s, blk, o);
  }
  // i*5 + 4 < 27 * 3
  EXPECT_EQ(total, 16u);
}

TEST(FirRates, ZeroRateGivesNoOutput) {
  const std::vector<double> h{1.0};
  FirState s;
  FirInit(s, h, false, 0, 0, 1, 0);
  std::vector<double> in(10, 1.0), out;
  EXPECT_EQ(FirOutputCount(s, 10), 0u);
  EXPECT_EQ(FirFilter(s, in, out), 0u);
  FirInit(s, h, false, 1, 0, 0, 0);
  EXPECT_EQ(FirFilter(s, in, out), 0u);
  EXPECT_EQ(nspdFir(s, 3.0), 0.0);
}

TEST(FirSingleSample, MatchesBlocksAndMixesWithThem) {
  const auto x = Signal(3000);
  const auto h = Taps(37);
  const auto want = UpFirDown(h, x, 1, 0, 1, 0);
  FirState s;
  FirInit(s, std::span<const double>(h), false);
  std::vector<double> got(x.size());
  std::size_t i = 0;
  AllocationScope scope;
  for (; i < 1000; ++i) got[i] = nspdFir(s, x[i]);
  EXPECT_EQ(scope.Count(), 0u);
  FirFilter(s, std::span(x).subspan(1000, 1500), std::span(got).subspan(1000, 1500));
  for (i = 2500; i < x.size(); ++i) got[i] = nspdFir(s, x[i]);
  EXPECT_TRUE(Near(got, want, 1e-12));
}

TEST(FirSingleSample, DecimationGivesZeroBetweenOutputsAndComplexDataTheRealPart) {
  const auto x = Signal(50);
  const auto h = Taps(5);
  const auto want = UpFirDown(h, x, 1, 0, 2, 1);
  FirState s;
  FirInit(s, std::span<const double>(h), false, 1, 0, 2, 1);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double y = nspdFir(s, x[i]);
    if (i % 2 == 1) EXPECT_NEAR(y, want[i / 2], 1e-12) << i;
    else EXPECT_EQ(y, 0.0) << i;
  }
  FirInit(s, std::span<const double>(h), true);
  const auto plain = UpFirDown(h, x, 1, 0, 1, 0);
  for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(nspdFir(s, x[i]), plain[i], 1e-12) << i;
}

TEST(FirSingleSample, ComplexTapsRaise) {
  const auto h = ComplexTaps(4);
  FirState s;
  FirInit(s, std::span<const cplx>(h), false);
  EXPECT_EQ(MessageOf([&] { nspdFir(s, 1.0); }), "FirState.ComplexImpulse = True!");
}

TEST(FirState, ResetRestartsAndFreeForgets) {
  const auto x = Signal(500);
  const auto h = Taps(20);
  FirState s;
  FirInit(s, std::span<const double>(h), false, 2, 1, 3, 1);
  std::vector<double> first(FirOutputCount(s, x.size()));
  FirFilter(s, x, first);
  FirReset(s);
  std::vector<double> again(FirOutputCount(s, x.size()));
  ASSERT_EQ(again.size(), first.size());
  FirFilter(s, x, again);
  EXPECT_EQ(first, again);
  FirFree(s);
  EXPECT_EQ(FirOutputCount(s, 10), 0u);
  EXPECT_THROW(FirFilter(s, x, first), Exception);
}

TEST(FirState, ConfigurationAndCallErrorsAreReported) {
  const std::vector<double> h{1.0, 2.0};
  const std::vector<double> none;
  FirState s;
  EXPECT_EQ(MessageOf([&] { FirInit(s, none, false); }), "FirInit: the filter needs at least one tap");
  EXPECT_EQ(MessageOf([&] { FirInit(s, h, false, -1, 0, 1, 0); }),
            "FirInit: UpSample and DownSample must not be negative");
  EXPECT_EQ(MessageOf([&] { FirInit(s, h, false, 2, 2, 1, 0); }), "FirInit: UpDelay must lie in 0 .. UpSample - 1");
  EXPECT_EQ(MessageOf([&] { FirInit(s, h, false, 1, 0, 3, -1); }),
            "FirInit: DownDelay must lie in 0 .. DownSample - 1");
  FirInit(s, h, false, 2, 0, 1, 0);
  std::vector<double> in(4), shortOut(7);
  std::vector<cplx> cin(4), cout(8);
  EXPECT_EQ(MessageOf([&] { FirFilter(s, in, shortOut); }), "FirFilter: the output holds 7 values, 8 needed");
  EXPECT_EQ(MessageOf([&] { FirFilter(s, cin, cout); }), "FirFilter: data or output type does not match the FIR state");
  EXPECT_EQ(MessageOf([&] { FirFilter(s, in, std::span<cplx>(cout)); }),
            "FirFilter: data or output type does not match the FIR state");
}
