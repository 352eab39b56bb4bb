#pragma once
// Sample storage precisions and float-to-integer rounding modes. The ordinals are stored in
// files (vector streams, record headers), so they never change; new kinds go at the end.
#include <complex>
#include <cstdint>

namespace sigflow {

// Complex number of two doubles.
using TCplx = std::complex<double>;

// Storage precision of one sample (one real value; a complex sample is two of them).
//   ordinal  name        stored as                      bytes
//   0        prDouble    IEEE 754 binary64              8
//   1        prSingle    IEEE 754 binary32              4
//   2        prInteger   signed 32-bit integer          4
//   3        prCardinal  unsigned 32-bit integer        4
//   4        prSmallInt  signed 16-bit integer          2
//   5        prWord      unsigned 16-bit integer        2
//   6        prShortInt  signed 8-bit integer           1
//   7        prByte      unsigned 8-bit integer         1
// Integer kinds hold the raw value (no scaling); converting to them rounds with a TRounding
// and clips to the kind's range.
enum TPrecision : std::uint8_t {
  prDouble = 0,
  prSingle = 1,
  prInteger = 2,
  prCardinal = 3,
  prSmallInt = 4,
  prWord = 5,
  prShortInt = 6,
  prByte = 7,
};

// Number of TPrecision values; an ordinal at or above it is not a precision.
inline constexpr int PrecisionCount = 8;

// Float-to-integer rounding:
//   0 rnTrunc  toward zero
//   1 rnFloor  toward minus infinity
//   2 rnRound  to nearest, ties to even (the IEEE default)
//   3 rnCeil   toward plus infinity
enum TRounding : std::uint8_t {
  rnTrunc = 0,
  rnFloor = 1,
  rnRound = 2,
  rnCeil = 3,
};

inline constexpr int RoundingCount = 4;

// Bytes per real value at precision p (0 for an ordinal that is not a precision).
constexpr int PrecisionSize(TPrecision p) noexcept {
  switch (p) {
    case prDouble: return 8;
    case prSingle:
    case prInteger:
    case prCardinal: return 4;
    case prSmallInt:
    case prWord: return 2;
    case prShortInt:
    case prByte: return 1;
  }
  return 0;
}

// Rounds x by mode r (NaN stays NaN). Any ordinal past rnCeil leaves x as it is.
double RoundValue(double x, TRounding r) noexcept;

// x rounded by r and clipped to the range of integer precision p, as a double holding an
// integer value; NaN gives 0. For prDouble x is returned unchanged; for prSingle x is
// clipped to the finite binary32 range and rounded to the nearest binary32 value.
double QuantizeValue(double x, TPrecision p, TRounding r) noexcept;

}  // namespace sigflow
