#pragma once
// Slow, obviously exact references for the tone tests: the phase in cycles of sample n is
// reduced with 128-bit integers from the exact binary value of the frequency, so the
// reference has no rounding before the final long double sin/cos.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

namespace sigflow::test {

__extension__ typedef __int128 Int128;

// frac(n * F / Fs) for a frequency F >= 0 and an integer sampling frequency Fs, exact up to the
// final conversion to long double.
inline long double ExactCycles(double F, std::int64_t Fs, std::int64_t n) {
  int ex = 0;
  const double mant = std::frexp(F, &ex);  // F = mant * 2^ex, mant in [0.5, 1)
  Int128 m = static_cast<Int128>(std::ldexp(mant, 53));
  int e = ex - 53;
  while (m != 0 && (m & 1) == 0 && e < 0) {
    m >>= 1;
    ++e;
  }
  Int128 num = m * n;
  Int128 den = Fs;
  if (e >= 0) num <<= e;
  else den <<= -e;
  const Int128 rem = num % den;
  return static_cast<long double>(rem) / static_cast<long double>(den);
}

inline constexpr long double kTwoPi = 2.0L * std::numbers::pi_v<long double>;

// Phase in radians of sample n, reduced to [0, 2 pi) before the offset is added.
inline long double ExactTheta(double F, std::int64_t Fs, std::int64_t n, double Phase) {
  return kTwoPi * ExactCycles(F, Fs, n) + static_cast<long double>(Phase);
}

// Output of process(state, span) over blocks of the given sizes, from a copy of s.
template <class Sample, class State, class Fn>
std::vector<Sample> InBlocks(State s, Fn process, const std::vector<std::size_t>& sizes) {
  std::vector<Sample> out;
  for (std::size_t n : sizes) {
    std::vector<Sample> b(n, Sample(std::numeric_limits<double>::quiet_NaN()));
    process(s, std::span<Sample>(b));
    out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

// The two laws every generator state keeps: one block of 100000 equals 100 blocks of 1000 and
// uneven blocks (crossing the internal chunk sizes) to 1e-12, and a copy taken mid-stream
// continues bit for bit.
template <class Sample, class State, class Fn>
void ExpectStreamLaws(const State& s, Fn process) {
  const auto one = InBlocks<Sample>(s, process, {100000});
  const auto hundred = InBlocks<Sample>(s, process, std::vector<std::size_t>(100, 1000));
  const auto uneven = InBlocks<Sample>(s, process, {1, 4095, 4097, 63, 65, 255, 257, 3, 91164});
  ASSERT_EQ(one.size(), hundred.size());
  ASSERT_EQ(one.size(), uneven.size());
  double worst = 0;
  std::size_t at = 0;
  for (std::size_t i = 0; i < one.size(); ++i) {
    const double e = std::max(std::abs(one[i] - hundred[i]), std::abs(one[i] - uneven[i]));
    if (!(e <= worst)) worst = e, at = i;
  }
  EXPECT_LE(worst, 1e-12) << "worst at " << at;

  State a = s;
  std::vector<Sample> warm(12345);
  process(a, std::span<Sample>(warm));
  State b = a;
  std::vector<Sample> first(6000), second(6000);
  process(a, std::span<Sample>(first));  // the original runs on first; the copy must not care
  process(b, std::span<Sample>(second));
  EXPECT_EQ(first, second);
}

}  // namespace sigflow::test
