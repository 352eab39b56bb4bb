#include "sigflow/tools/MarkList.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace sigflow {

namespace {
constexpr std::int64_t kRecordBytes = 32;

void PutDouble(std::uint8_t* p, double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, 8);
  for (int i = 0; i < 8; ++i) p[i] = static_cast<std::uint8_t>(bits >> (8 * i));
}

double GetDouble(const std::uint8_t* p) {
  std::uint64_t bits = 0;
  for (int i = 0; i < 8; ++i) bits |= static_cast<std::uint64_t>(p[i]) << (8 * i);
  double v;
  std::memcpy(&v, &bits, 8);
  return v;
}
}  // namespace

int TMarkList::Add(const TMarkRecord& mark) {
  marks_.push_back(mark);
  return Count() - 1;
}

void TMarkList::Delete(int i) {
  if (i < 0 || i >= Count()) throw Exception("List index out of bounds (" + std::to_string(i) + ")");
  marks_.erase(marks_.begin() + i);
}

void TMarkList::SortBy(double TMarkRecord::*field) {
  std::stable_sort(marks_.begin(), marks_.end(),
                   [field](const TMarkRecord& a, const TMarkRecord& b) { return a.*field < b.*field; });
}

void TMarkList::Sort() {
  switch (sortType_) {
    case srtFreq: SortFreq(); break;
    case srtAmplt: SortAmplt(); break;
    case srtPhase: SortPhase(); break;
    case srtTime: SortTime(); break;
  }
}

void TMarkList::SortFreq() { SortBy(&TMarkRecord::Freq); }
void TMarkList::SortAmplt() { SortBy(&TMarkRecord::Amplt); }
void TMarkList::SortPhase() { SortBy(&TMarkRecord::Phase); }
void TMarkList::SortTime() { SortBy(&TMarkRecord::Time); }

void TMarkList::SaveToStream(TStream& stream) const {
  std::vector<std::uint8_t> block(static_cast<std::size_t>((marks_.size() + 1) * kRecordBytes));
  PutDouble(block.data() + 24, static_cast<double>(marks_.size()));
  std::uint8_t* p = block.data() + kRecordBytes;
  for (const auto& m : marks_) {
    PutDouble(p, m.Freq);
    PutDouble(p + 8, m.Amplt);
    PutDouble(p + 16, m.Phase);
    PutDouble(p + 24, m.Time);
    p += kRecordBytes;
  }
  stream.Write(block.data(), static_cast<std::int64_t>(block.size()));
}

void TMarkList::LoadFromStream(TStream& stream) {
  std::uint8_t header[kRecordBytes] = {};
  stream.Read(header, kRecordBytes);
  const double rawCount = std::nearbyint(GetDouble(header + 24));
  const std::int64_t left = std::max<std::int64_t>(0, stream.Size() - stream.Position());
  const std::int64_t holdable = (left + kRecordBytes - 1) / kRecordBytes;
  if (!std::isfinite(rawCount) || rawCount < 0 || rawCount > static_cast<double>(holdable)) {
    char shown[32];
    std::snprintf(shown, sizeof shown, "%.17g", rawCount);
    throw EReadError(std::string("Mark list count ") + shown + " does not fit the " +
                     std::to_string(left) + " bytes left in the stream");
  }
  const auto count = static_cast<std::size_t>(rawCount);
  std::vector<std::uint8_t> block(count * kRecordBytes, 0);
  stream.Read(block.data(), static_cast<std::int64_t>(block.size()));
  marks_.clear();
  marks_.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* p = block.data() + i * kRecordBytes;
    marks_.push_back({GetDouble(p), GetDouble(p + 8), GetDouble(p + 16), GetDouble(p + 24)});
  }
}

}  // namespace sigflow
