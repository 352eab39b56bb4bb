#pragma once
// Slow, obviously exact references for the tone tests: the phase in cycles of sample n is
// reduced with 128-bit integers from the exact binary value of the frequency, so the
// reference has no rounding before the final long double sin/cos.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <span>
#include <vector>

#include "block_runner.h"

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

// The block laws of a generator state, through the kernel harness: 100000 samples in any
// blocking equal one block of 100000 to 1e-12 absolute, a copy taken mid-stream continues bit
// for bit, and blocks after the first allocate nothing.
template <class Sample, class State, class Fn>
void ExpectStreamLaws(const State& s, Fn process) {
  State one = s;
  std::vector<Sample> want(100000);
  process(one, std::span<Sample>(want));
  double scale = 1.0;
  for (const Sample& w : want) scale = std::max(scale, std::abs(w));
  const std::vector<char> ticks(want.size());
  MakeRunner<State, char, Sample>(
      [process](State& st, std::span<const char> in, std::span<Sample> out) {
        process(st, out.first(in.size()));
        return in.size();
      },
      [](const State&, std::size_t n) { return n; })
      .Check(s, ticks, want, 1e-12 / scale);
}

}  // namespace sigflow::test
