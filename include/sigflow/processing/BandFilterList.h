#pragma once
// Band templates of the signal filter: one band per record, a list of them as the working copy
// of the filter's template store, and the checks a template must pass before a design.
//
// Record image (41 bytes, little-endian, written field by field):
//   0 StartFrequency (double)  8 StopFrequency  16 Gain (0 marks a stop band)
//   24 Ripple (dB: attenuation of a stop band, ripple of a pass band)  32 Extra  40 Kind (byte)
// List image: (Count + 1) records in one block; the first is a header whose first double holds
// Count (the other 33 bytes zero), then the bands in list order.
#include <cstdint>

#include "sigflow/core/Streams.h"
#include "sigflow/tools/StreamedList.h"

namespace sigflow {

class TSignalFilter;

struct TBandFilterRecord {
  double StartFrequency = 0;
  double StopFrequency = 0;
  double Gain = 0;
  double Ripple = 0;
  double Extra = 0;
  std::uint8_t Kind = 0;
};

inline constexpr int BandFilterRecordSize = 41;

void WriteBandFilterRecord(TStream& Stream, const TBandFilterRecord& Record);
// Raises EReadError when fewer than 41 bytes are left.
TBandFilterRecord ReadBandFilterRecord(TStream& Stream);

enum TFilterError : std::uint8_t {
  ferNone,
  ferNeedTwoBands,
  ferConsecutiveStopBands,
  ferInvalidBand,
  ferOverlappingBands,
  ferRangeError,
  ferGainRipple,
};

class TBandFilterList : public TStreamedListOf<TBandFilterRecord> {
public:
  // Filter is the owner whose template store and sampling frequency CheckFilter consults;
  // it may be null (CheckFilter then checks this list against a Nyquist limit of 1).
  explicit TBandFilterList(TSignalFilter* Filter = nullptr) : filter_(Filter) {}
  ~TBandFilterList() override { Clear(); }

  TSignalFilter* Filter() const { return filter_; }

  // A copy of Record is added; returns its index.
  int Add(const TBandFilterRecord& Record);
  // Record itself is added and owned from now on.
  int AddPointer(TBandFilterRecord* Record);
  void Delete(int Index) override;
  // Always raises Exception "Operation not supported".
  void SetItems(int Index, TBandFilterRecord* Value);

  // Orders the bands by StartFrequency (stable).
  void Sort();
  // Sorts, then from the second-last band down: a band starting at or below the stop of the
  // band before it is deleted. True when a band was deleted.
  bool DeleteOverlapingBands();

  // Validates the owning filter's current template (see docs/signal-filter.md for the order
  // of the checks); Index is set to the offending band.
  TFilterError CheckFilter(int& Index);

  void SaveToStream(TStream& Stream) override;
  // Clears, then reads the header and Count records. A count that is not a whole number
  // from 0 up, or that the rest of the stream cannot hold, raises EReadError before anything
  // is added.
  void LoadFromStream(TStream& Stream) override;

private:
  TSignalFilter* filter_;
};

}  // namespace sigflow
