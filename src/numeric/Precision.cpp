#include "sigflow/numeric/Precision.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>

namespace sigflow {
namespace {

template <class T>
double Clip(double x) noexcept {
  constexpr double lo = double(std::numeric_limits<T>::min());
  constexpr double hi = double(std::numeric_limits<T>::max());
  if (std::isnan(x)) return 0.0;
  return x < lo ? lo : (x > hi ? hi : x);
}

}  // namespace

double RoundValue(double x, TRounding r) noexcept {
  switch (r) {
    case rnTrunc: return std::trunc(x);
    case rnFloor: return std::floor(x);
    case rnRound: return std::nearbyint(x);
    case rnCeil: return std::ceil(x);
  }
  return x;
}

double QuantizeValue(double x, TPrecision p, TRounding r) noexcept {
  switch (p) {
    case prDouble: return x;
    case prSingle:
      if (std::isnan(x)) return x;
      if (x > double(FLT_MAX)) return double(FLT_MAX);
      if (x < -double(FLT_MAX)) return -double(FLT_MAX);
      return double(float(x));
    case prInteger: return Clip<std::int32_t>(RoundValue(x, r));
    case prCardinal: return Clip<std::uint32_t>(RoundValue(x, r));
    case prSmallInt: return Clip<std::int16_t>(RoundValue(x, r));
    case prWord: return Clip<std::uint16_t>(RoundValue(x, r));
    case prShortInt: return Clip<std::int8_t>(RoundValue(x, r));
    case prByte: return Clip<std::uint8_t>(RoundValue(x, r));
  }
  return x;
}

}  // namespace sigflow
