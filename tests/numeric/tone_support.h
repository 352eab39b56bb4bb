#pragma once
// Slow, obviously exact references for the tone tests: the phase in cycles of sample n is
// reduced with 128-bit integers from the exact binary value of the frequency, so the
// reference has no rounding before the final long double sin/cos.
#include <cmath>
#include <cstdint>
#include <numbers>

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

}  // namespace sigflow::test
