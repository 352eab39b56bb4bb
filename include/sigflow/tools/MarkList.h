#pragma once
// Marks (peaks, events) attached to a signal or spectrum, and their 32-byte record stream.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/core/Object.h"
#include "sigflow/core/Streams.h"

namespace sigflow {

// One mark: four doubles in this order, 32 bytes in a stream.
struct TMarkRecord {
  double Freq = 0;
  double Amplt = 0;
  double Phase = 0;
  double Time = 0;
  bool operator==(const TMarkRecord&) const = default;
};

enum TSortType : std::uint8_t { srtFreq, srtAmplt, srtPhase, srtTime };

// A list of marks, sortable by one field. Stream image: (Count + 1) records of four
// little-endian doubles; record 0 is the header (0, 0, 0, Count), then the marks.
class TMarkList : public TObject {
public:
  std::string ClassName() const override { return "TMarkList"; }

  int Count() const { return static_cast<int>(marks_.size()); }
  // Appends a copy of the mark; returns its index.
  int Add(const TMarkRecord& mark);
  // No range check beyond the container's own (std::vector::operator[]).
  const TMarkRecord& Values(int i) const { return marks_[static_cast<std::size_t>(i)]; }
  void SetValues(int i, const TMarkRecord& mark) { marks_[static_cast<std::size_t>(i)] = mark; }
  void Delete(int i);
  void Clear() { marks_.clear(); }
  void Assign(const TMarkList& src) { marks_ = src.marks_; }

  TSortType SortType() const { return sortType_; }
  // Stores the sort field; does not sort.
  void SetSortType(TSortType t) { sortType_ = t; }
  // Ascending by the SortType field; equal marks keep their order.
  void Sort();
  void SortFreq();
  void SortAmplt();
  void SortPhase();
  void SortTime();

  // Writes the header record and every mark with plain writes.
  void SaveToStream(TStream& stream) const;
  // Clears the list and reads a list written by SaveToStream. Count is the header's last
  // double rounded to the nearest integer. A stream that ends inside the records reads the
  // missing bytes as zeros, as the format has always done; a count that is negative, not
  // finite, or larger than the records the rest of the stream could even partly hold raises
  // EReadError and leaves the list unchanged.
  void LoadFromStream(TStream& stream);

private:
  void SortBy(double TMarkRecord::*field);

  std::vector<TMarkRecord> marks_;
  TSortType sortType_ = srtFreq;
};

}  // namespace sigflow
