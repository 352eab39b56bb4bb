#include "sigflow/numeric/Pcm.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

template <class T>
void ToDouble(std::span<const T> src, std::span<double> dst) noexcept {
  const std::size_t n = std::min(src.size(), dst.size());
  for (std::size_t i = 0; i < n; ++i) dst[i] = double(src[i]);
}

template <class T>
T ToInt(double x, TRounding r) noexcept {
  constexpr double lo = double(std::numeric_limits<T>::min());
  constexpr double hi = double(std::numeric_limits<T>::max());
  const double y = RoundValue(x, r);
  if (!(y >= lo)) return y < lo ? std::numeric_limits<T>::min() : T(0);  // NaN -> 0
  if (y >= hi) return std::numeric_limits<T>::max();
  return T(y);
}

template <class T>
void FromDouble(std::span<const double> src, std::span<T> dst, TRounding r) noexcept {
  const std::size_t n = std::min(src.size(), dst.size());
  for (std::size_t i = 0; i < n; ++i) dst[i] = ToInt<T>(src[i], r);
}

template <class T>
T LoadLE(const unsigned char* p) noexcept {
  T v;
  std::memcpy(&v, p, sizeof(T));
  if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) {
    unsigned char b[sizeof(T)];
    std::memcpy(b, &v, sizeof(T));
    std::reverse(b, b + sizeof(T));
    std::memcpy(&v, b, sizeof(T));
  }
  return v;
}

template <class T>
void StoreLE(unsigned char* p, T v) noexcept {
  unsigned char b[sizeof(T)];
  std::memcpy(b, &v, sizeof(T));
  if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1) std::reverse(b, b + sizeof(T));
  std::memcpy(p, b, sizeof(T));
}

void CheckBits(int bits) {
  if (bits != 8 && bits != 16 && bits != 32) throw Exception("PCM: bits per sample must be 8, 16 or 32");
}

}  // namespace

void PcmToDouble(std::span<const std::uint8_t> src, std::span<double> dst) noexcept { ToDouble(src, dst); }
void PcmToDouble(std::span<const std::int16_t> src, std::span<double> dst) noexcept { ToDouble(src, dst); }
void PcmToDouble(std::span<const std::int32_t> src, std::span<double> dst) noexcept { ToDouble(src, dst); }

void DoubleToPcm(std::span<const double> src, std::span<std::uint8_t> dst, TRounding r) noexcept { FromDouble(src, dst, r); }
void DoubleToPcm(std::span<const double> src, std::span<std::int16_t> dst, TRounding r) noexcept { FromDouble(src, dst, r); }
void DoubleToPcm(std::span<const double> src, std::span<std::int32_t> dst, TRounding r) noexcept { FromDouble(src, dst, r); }

void PcmBytesToVec(const void* bytes, std::size_t byteCount, int bits, TVec& dst) {
  CheckBits(bits);
  const std::size_t w = std::size_t(bits / 8);
  const std::size_t n = byteCount / w;
  if (n > std::size_t(std::numeric_limits<int>::max())) throw Exception("PCM: buffer too large");
  dst.Size(int(n), false);
  const auto* p = static_cast<const unsigned char*>(bytes);
  double* d = dst.Data();
  switch (bits) {
    case 8:
      for (std::size_t i = 0; i < n; ++i) d[i] = double(p[i]);
      break;
    case 16:
      for (std::size_t i = 0; i < n; ++i) d[i] = double(LoadLE<std::int16_t>(p + 2 * i));
      break;
    default:
      for (std::size_t i = 0; i < n; ++i) d[i] = double(LoadLE<std::int32_t>(p + 4 * i));
      break;
  }
}

std::size_t VecToPcmBytes(const TVec& src, void* bytes, std::size_t byteCount, int bits, TRounding r) {
  CheckBits(bits);
  const std::size_t w = std::size_t(bits / 8);
  const auto values = src.Span();
  const std::size_t n = std::min(values.size(), byteCount / w);
  auto* p = static_cast<unsigned char*>(bytes);
  switch (bits) {
    case 8:
      for (std::size_t i = 0; i < n; ++i) p[i] = ToInt<std::uint8_t>(values[i], r);
      break;
    case 16:
      for (std::size_t i = 0; i < n; ++i) StoreLE(p + 2 * i, ToInt<std::int16_t>(values[i], r));
      break;
    default:
      for (std::size_t i = 0; i < n; ++i) StoreLE(p + 4 * i, ToInt<std::int32_t>(values[i], r));
      break;
  }
  return n;
}

}  // namespace sigflow
