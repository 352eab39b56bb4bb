// Stream image of TVec and raw sample blocks at a chosen precision.
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Streams.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

constexpr char kTag[4] = {'S', 'V', 'E', 'C'};
constexpr std::uint8_t kVersion = 1;

template <class T>
void Put(std::uint8_t* p, T v) {
  std::uint8_t b[sizeof(T)];
  std::memcpy(b, &v, sizeof(T));
  if constexpr (std::endian::native == std::endian::big)
    for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(b[i], b[sizeof(T) - 1 - i]);
  std::memcpy(p, b, sizeof(T));
}

template <class T>
T Get(const std::uint8_t* p) {
  std::uint8_t b[sizeof(T)];
  std::memcpy(b, p, sizeof(T));
  if constexpr (std::endian::native == std::endian::big)
    for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(b[i], b[sizeof(T) - 1 - i]);
  T v;
  std::memcpy(&v, b, sizeof(T));
  return v;
}

// One value already passed through QuantizeValue, written at precision p.
void Encode(std::uint8_t* out, double q, TPrecision p) {
  switch (p) {
    case prDouble: Put<double>(out, q); break;
    case prSingle: Put<float>(out, float(q)); break;
    case prInteger: Put<std::int32_t>(out, std::int32_t(q)); break;
    case prCardinal: Put<std::uint32_t>(out, std::uint32_t(q)); break;
    case prSmallInt: Put<std::int16_t>(out, std::int16_t(q)); break;
    case prWord: Put<std::uint16_t>(out, std::uint16_t(q)); break;
    case prShortInt: Put<std::int8_t>(out, std::int8_t(q)); break;
    case prByte: Put<std::uint8_t>(out, std::uint8_t(q)); break;
  }
}

double Decode(const std::uint8_t* in, TPrecision p) {
  switch (p) {
    case prDouble: return Get<double>(in);
    case prSingle: return double(Get<float>(in));
    case prInteger: return double(Get<std::int32_t>(in));
    case prCardinal: return double(Get<std::uint32_t>(in));
    case prSmallInt: return double(Get<std::int16_t>(in));
    case prWord: return double(Get<std::uint16_t>(in));
    case prShortInt: return double(Get<std::int8_t>(in));
    case prByte: return double(Get<std::uint8_t>(in));
  }
  return 0.0;
}

void CheckPrecision(TPrecision p) {
  if (int(p) >= PrecisionCount) throw EReadError("Vector stream: unknown precision " + std::to_string(int(p)));
}

}  // namespace

void TVec::WriteValues(TStream& stream, TPrecision precision, TRounding rounding) const {
  if (int(precision) >= PrecisionCount) throw EWriteError("Vector stream: unknown precision " + std::to_string(int(precision)));
  const std::size_t size = std::size_t(PrecisionSize(precision));
  std::uint8_t chunk[4096];
  const std::size_t per = sizeof(chunk) / size;
  const std::size_t total = StorageSize();
  const double* d = data_.data();
  for (std::size_t i = 0; i < total; i += per) {
    const std::size_t m = std::min(per, total - i);
    for (std::size_t k = 0; k < m; ++k) Encode(chunk + k * size, QuantizeValue(d[i + k], precision, rounding), precision);
    stream.WriteBuffer(chunk, std::int64_t(m * size));
  }
}

void TVec::ReadValues(TStream& stream, TPrecision precision, int length, bool complex) {
  CheckPrecision(precision);
  if (length < 0) throw EReadError("Vector stream: negative length");
  const std::size_t size = std::size_t(PrecisionSize(precision));
  const std::uint64_t count = std::uint64_t(length) * (complex ? 2u : 1u);
  const std::uint64_t bytes = count * size;
  const std::int64_t left = stream.Size() - stream.Position();
  if (left < 0 || bytes > std::uint64_t(left))
    throw EReadError("Vector stream: length " + std::to_string(length) + " exceeds the stream");
  std::vector<std::uint8_t> raw(bytes);
  stream.ReadBuffer(raw.data(), std::int64_t(bytes));
  Reshape(length, complex);
  double* d = data_.data();
  for (std::size_t i = 0; i < count; ++i) d[i] = Decode(raw.data() + i * size, precision);
}

void TVec::SaveToStream(TStream& stream, TPrecision precision, TRounding rounding) const {
  if (int(precision) >= PrecisionCount) throw EWriteError("Vector stream: unknown precision " + std::to_string(int(precision)));
  std::uint8_t head[16];
  std::memcpy(head, kTag, 4);
  head[4] = kVersion;
  head[5] = precision;
  head[6] = complex_ ? 1 : 0;
  head[7] = 0;
  Put<std::int64_t>(head + 8, length_);
  stream.WriteBuffer(head, sizeof(head));
  WriteValues(stream, precision, rounding);
}

void TVec::LoadFromStream(TStream& stream) {
  std::uint8_t head[16];
  stream.ReadBuffer(head, sizeof(head));
  if (std::memcmp(head, kTag, 4) != 0) throw EReadError("Vector stream: bad tag");
  if (head[4] != kVersion) throw EReadError("Vector stream: unsupported version " + std::to_string(head[4]));
  const auto precision = TPrecision(head[5]);
  CheckPrecision(precision);
  if (head[6] > 1 || head[7] != 0) throw EReadError("Vector stream: bad complex flag");
  const auto length = Get<std::int64_t>(head + 8);
  if (length < 0 || length > std::numeric_limits<int>::max())
    throw EReadError("Vector stream: bad length " + std::to_string(length));
  ReadValues(stream, precision, int(length), head[6] == 1);
}

}  // namespace sigflow
