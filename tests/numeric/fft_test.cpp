#include <gtest/gtest.h>

#include <cmath>
#include <thread>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Vec.h"
#include "support/alloc_counter.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::AllocationScope;

namespace {

double Energy(const TVec& x) {
  double s = 0.0;
  for (double v : x.Span()) s += v * v;
  return s;
}

double MaxDiff(const TVec& a, const TVec& b) {
  double m = 0.0;
  for (int i = 0; i < a.Length(); ++i) m = std::max(m, std::abs(a.CValues(i) - b.CValues(i)));
  return m;
}

const int kLengths[] = {1, 2, 3, 5, 8, 12, 97, 128, 1000, 1024, 4096, 4099, 65536};

}  // namespace

// Values and scaling against numpy are in the oracle tests.
TEST(FftLaws, ParsevalHoldsAndInverseUndoesForwardForComplexAndRealData) {
  for (int n : kLengths) {
    TVec x(n, true);
    RandGauss(x, 0.0, 1.0, 100 + std::uint64_t(n));
    TVec f;
    x.FFT(f);
    EXPECT_NEAR(Energy(f) / n, Energy(x), 1e-12 * Energy(x)) << "n = " << n;  // unscaled forward
    f.IFFT();
    EXPECT_LE(MaxDiff(x, f), 1e-13) << "complex n = " << n;

    TVec r(n);
    RandGauss(r, 0.5, 2.0, 9);
    TVec half, back;
    r.RealFFT(half);
    half.RealIFFT(back, n);
    ASSERT_EQ(back.Length(), n);
    EXPECT_FALSE(back.Complex());
    EXPECT_LE(MaxDiff(r, back), 1e-13 * 4) << "real n = " << n;
  }
}

TEST(FftPlans, UnalignedAndOutOfPlaceDataGiveTheSameResult) {
  const int n = 1000;
  TVec x(n, true);
  RandGauss(x, 0, 1, 3);
  TVec ref;
  x.FFT(ref);
  // Shift the data by one double so it no longer sits on FFTW's alignment.
  std::vector<double> raw(2 * n + 1);
  std::copy_n(x.Data(), 2 * n, raw.data() + 1);
  auto* shifted = reinterpret_cast<TCplx*>(raw.data() + 1);
  std::vector<TCplx> out(n);
  FFT(std::span<const TCplx>(shifted, n), out);
  FFT(std::span<const TCplx>(shifted, n), std::span<TCplx>(shifted, n));  // in place
  for (int k = 0; k < n; ++k) {
    ASSERT_LE(std::abs(out[std::size_t(k)] - ref.CValues(k)), 1e-12) << k;
    ASSERT_LE(std::abs(shifted[k] - ref.CValues(k)), 1e-12) << k;
  }
}

TEST(FftPlans, RepeatedShapesMakeNoPlanAndAllocateNothing) {
  TVec x(4096, true), y, r(4096), h, back;
  RandGauss(x, 0, 1, 1);
  RandGauss(r, 0, 1, 2);
  auto block = [&] {
    x.FFT();
    x.IFFT();
    x.FFT(y);
    r.RealFFT(h);
    h.RealIFFT(back, 4096);
    TVec& z = y;
    z.SetComplex(false);  // the real in-place path
    z.FFT();
  };
  block();  // first block: plans and buffers are made here
  const std::size_t plans = FftPlanCount();
  AllocationScope scope;
  for (int i = 0; i < 5; ++i) block();
  EXPECT_EQ(scope.Count(), 0u);
  EXPECT_EQ(FftPlanCount(), plans);
}

TEST(FftPlans, ThreadsShareTheCacheAndGetCorrectResults) {
  const int lengths[] = {509, 512, 768, 1021};
  std::vector<TVec> refs;
  for (int n : lengths) {
    TVec x(n, true);
    RandGauss(x, 0, 1, std::uint64_t(n));
    x.FFT();  // the same in-place path the threads take, so results must be bit-equal
    refs.push_back(x);
  }
  std::vector<double> worst(4, 0.0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 50; ++round) {
        const int i = (t + round) % 4;
        TVec x(lengths[i], true);
        RandGauss(x, 0, 1, std::uint64_t(lengths[i]));
        x.FFT();
        worst[std::size_t(t)] = std::max(worst[std::size_t(t)], MaxDiff(x, refs[std::size_t(i)]));
      }
    });
  }
  for (auto& th : threads) th.join();
  for (double w : worst) EXPECT_EQ(w, 0.0);
}

TEST(FftPlans, SizeMismatchesRaise) {
  std::vector<TCplx> a(8), b(7);
  std::vector<double> r(8);
  EXPECT_EQ(test::MessageOf([&] { FFT(a, b); }), "FFT: output size differs from input size");
  EXPECT_EQ(test::MessageOf([&] { RealFFT(r, a); }), "RealFFT: output size must be N/2+1");
  EXPECT_EQ(test::MessageOf([&] { RealIFFT(a, r); }), "RealIFFT: input size must be N/2+1");
  TVec c(4, true), d;
  EXPECT_THROW(c.RealFFT(d), Exception);
}
