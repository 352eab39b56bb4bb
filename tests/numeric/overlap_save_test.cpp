#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <vector>

#include "block_runner.h"
#include "numeric_check.h"
#include "fir_reference.h"
#include "sigflow/numeric/Fft.h"

using namespace sigflow;
using namespace sigflow::test;
using cplx = std::complex<double>;

namespace {

template <class In>
constexpr bool kComplexIn = std::is_same_v<In, cplx>;

template <class H, class In, class Out>
FirState Make(const std::vector<H>& h, bool overlap) {
  FirState s;
  FirInit(s, std::span<const H>(h), kComplexIn<In>);
  EXPECT_EQ(detail::FirUseOverlapSave(s, overlap), overlap);
  return s;
}

// The direct form over the whole signal in one block.
template <class H, class In, class Out>
std::vector<Out> Direct(const std::vector<H>& h, const std::vector<In>& x) {
  FirState s = Make<H, In, Out>(h, false);
  std::vector<Out> y(x.size());
  FirFilter(s, std::span<const In>(x), std::span<Out>(y));
  return y;
}

// The FFT path in every blocking (and a copy made mid-stream) against the direct form.
template <class H, class In, class Out>
void CheckAgainstDirect(const std::vector<H>& h, const std::vector<In>& x) {
  SCOPED_TRACE(std::to_string(h.size()) + " taps");
  const auto want = Direct<H, In, Out>(h, x);
  const FirState s = Make<H, In, Out>(h, true);
  FirRunner<In, Out>().Check(s, x, want, 1e-12);
}

}  // namespace

TEST(FirOverlapSave, LongFiltersTakeItByThemselvesShortOnesDoNot) {
  FirState s;
  const auto h1023 = Noise(1023, 1);
  FirInit(s, h1023, false);
  EXPECT_TRUE(s.overlapSave);
  const auto h32 = Noise(32, 2);
  FirInit(s, h32, false);
  EXPECT_FALSE(s.overlapSave);
  // Rate changes stay polyphase.
  FirInit(s, h1023, false, 1, 0, 3, 0);
  EXPECT_FALSE(s.overlapSave);
  EXPECT_FALSE(detail::FirUseOverlapSave(s, true));
}

TEST(FirOverlapSave, RealLongFiltersMatchTheDirectFormInAnyBlocking) {
  // Long enough for several of the largest hops and for the line to move its history.
  const auto x = Noise(40000, 3);
  for (const std::size_t L : {65, 255, 512, 1023})
    CheckAgainstDirect<double, double, double>(Noise(int(L), L), x);
}

TEST(FirOverlapSave, ComplexTapsOrComplexDataMatchTheDirectForm) {
  const auto xr = Noise(12000, 4);
  const auto xc = Noise<cplx>(12000, 5);
  const auto hr = Noise(300, 6);
  const auto hc = Noise<cplx>(300, 7);
  CheckAgainstDirect<cplx, double, cplx>(hc, xr);
  CheckAgainstDirect<double, cplx, cplx>(hr, xc);
  CheckAgainstDirect<cplx, cplx, cplx>(hc, xc);
}

TEST(FirOverlapSave, TinyFiltersForcedOntoItStillMatch) {
  const auto x = Noise(3000, 8);
  for (const std::size_t L : {1, 2, 5}) {
    CheckAgainstDirect<double, double, double>(Noise(int(L), L), x);
    CheckAgainstDirect<cplx, cplx, cplx>(Noise<cplx>(int(L), L), Noise<cplx>(3000, 9));
  }
}

TEST(FirOverlapSave, TransformsArePlannedAtInitNotInABlock) {
  const auto h = Noise(700, 12);
  const auto x = Noise(20000, 13);
  for (const bool complexData : {false, true}) {
    FirState s;
    FirInit(s, h, complexData);
    ASSERT_TRUE(s.overlapSave);
    const std::size_t plans = FftPlanCount();
    std::vector<cplx> xc(x.begin(), x.end());
    std::vector<double> y(x.size());
    std::vector<cplx> yc(x.size());
    AllocationScope scope;
    for (std::size_t at = 0; at < x.size(); at += 5000) {
      if (complexData) {
        FirFilter(s, std::span<const cplx>(xc).subspan(at, 5000), std::span(yc).subspan(at, 5000));
      } else {
        FirFilter(s, std::span<const double>(x).subspan(at, 5000), std::span(y).subspan(at, 5000));
      }
    }
    EXPECT_EQ(scope.Count(), 0u);
    EXPECT_EQ(FftPlanCount(), plans);
  }
}

TEST(FirOverlapSave, SingleSamplesResetAndPathSwitchesKeepTheStream) {
  const auto h = Noise(400, 14);
  const auto x = Noise(20000, 15);
  const auto want = Direct<double, double, double>(h, x);
  FirState s = Make<double, double, double>(h, true);
  // Some garbage first, so that the reset has something to clear.
  std::vector<double> y(x.size());
  FirFilter(s, std::span<const double>(x).first(777), y);
  FirReset(s);
  std::size_t at = 0;
  auto block = [&](std::size_t n) {
    FirFilter(s, std::span<const double>(x).subspan(at, n), std::span(y).subspan(at, n));
    at += n;
  };
  auto single = [&](std::size_t n) {
    for (; n > 0; --n, ++at) y[at] = nspdFir(s, x[at]);
  };
  block(5000);
  single(3);
  block(100);
  single(450);
  block(4096);
  detail::FirUseOverlapSave(s, false);
  block(3000);
  single(1);
  detail::FirUseOverlapSave(s, true);
  block(x.size() - at - 2);
  single(2);
  EXPECT_TRUE(Near<double>(y, want, 1e-12));

  // Switching on mid-stream (the tables and the longer line are made then).
  FirState t = Make<double, double, double>(h, false);
  std::vector<double> z(x.size());
  FirFilter(t, std::span<const double>(x).first(9001), z);
  detail::FirUseOverlapSave(t, true);
  FirFilter(t, std::span<const double>(x).subspan(9001), std::span(z).subspan(9001));
  EXPECT_TRUE(Near<double>(z, want, 1e-12));
}
