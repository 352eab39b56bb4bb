#pragma once
// Scalar helpers used across the library.
#include <cmath>
#include <cstdint>
#include <numbers>
#include <type_traits>

namespace sigflow {

// Largest power of two not above x; 0 when x < 1. LargestExp2(1000) = 512, (1024) = 1024.
constexpr std::int64_t LargestExp2(std::int64_t x) noexcept {
  if (x < 1) return 0;
  std::int64_t p = 1;
  while (p <= x / 2) p *= 2;
  return p;
}

// Base-2 logarithm of LargestExp2(x): floor(log2 x) for x >= 1; 0 when x < 1.
constexpr int LargestLog2(std::int64_t x) noexcept {
  int k = 0;
  while (x > 1) {
    x /= 2;
    ++k;
  }
  return k;
}

// Smallest power of two not below x (transform sizes); 1 when x <= 1.
// SmallestExp2(1000) = 1024, (1024) = 1024. x must not exceed 2^62.
constexpr std::int64_t SmallestExp2(std::int64_t x) noexcept {
  std::int64_t p = 1;
  while (p < x) p *= 2;
  return p;
}

// x limited to [lo, hi] (argument order: low bound, value, high bound). With lo > hi the
// result is hi.
template <class A, class B, class C>
constexpr std::common_type_t<A, B, C> EnsureRange(A lo, B x, C hi) noexcept {
  using T = std::common_type_t<A, B, C>;
  T v = static_cast<T>(x);
  if (v < static_cast<T>(lo)) v = static_cast<T>(lo);
  if (v > static_cast<T>(hi)) v = static_cast<T>(hi);
  return v;
}

// True when lo <= x <= hi (same argument order as EnsureRange).
template <class A, class B, class C>
constexpr bool CheckRange(A lo, B x, C hi) noexcept {
  using T = std::common_type_t<A, B, C>;
  return static_cast<T>(lo) <= static_cast<T>(x) && static_cast<T>(x) <= static_cast<T>(hi);
}

// base raised to exponent (std::pow semantics: a negative base needs an integer exponent).
inline double Power(double base, double exponent) noexcept { return std::pow(base, exponent); }

// Logarithm of x to the given base: ln x / ln base. x > 0, base > 0 and base != 1.
inline double LogN(double base, double x) noexcept { return std::log(x) / std::log(base); }

// 10 raised to x (dB to linear: Exp10(dB / 20) is an amplitude ratio).
inline double Exp10(double x) noexcept { return std::pow(10.0, x); }

constexpr double DegToRad(double degrees) noexcept { return degrees * (std::numbers::pi / 180.0); }
constexpr double RadToDeg(double radians) noexcept { return radians * (180.0 / std::numbers::pi); }

}  // namespace sigflow
