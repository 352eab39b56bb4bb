#include "sigflow/processing/BandFilterList.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/processing/SignalFilter.h"

namespace sigflow {

void WriteBandFilterRecord(TStream& Stream, const TBandFilterRecord& Record) {
  Stream.WriteValue<double>(Record.StartFrequency);
  Stream.WriteValue<double>(Record.StopFrequency);
  Stream.WriteValue<double>(Record.Gain);
  Stream.WriteValue<double>(Record.Ripple);
  Stream.WriteValue<double>(Record.Extra);
  Stream.WriteValue<std::uint8_t>(Record.Kind);
}

TBandFilterRecord ReadBandFilterRecord(TStream& Stream) {
  TBandFilterRecord r;
  r.StartFrequency = Stream.ReadValue<double>();
  r.StopFrequency = Stream.ReadValue<double>();
  r.Gain = Stream.ReadValue<double>();
  r.Ripple = Stream.ReadValue<double>();
  r.Extra = Stream.ReadValue<double>();
  r.Kind = Stream.ReadValue<std::uint8_t>();
  return r;
}

int TBandFilterList::Add(const TBandFilterRecord& Record) {
  auto copy = std::make_unique<TBandFilterRecord>(Record);
  const int index = TStreamedListOf<TBandFilterRecord>::Add(copy.get());
  copy.release();
  return index;
}

int TBandFilterList::AddPointer(TBandFilterRecord* Record) { return TStreamedListOf<TBandFilterRecord>::Add(Record); }

void TBandFilterList::Delete(int Index) {
  TBandFilterRecord* item = Items(Index);
  TStreamedListOf<TBandFilterRecord>::Delete(Index);
  delete item;
}

void TBandFilterList::SetItems(int, TBandFilterRecord*) { throw Exception("Operation not supported"); }

void TBandFilterList::Sort() {
  std::vector<TBandFilterRecord*> items;
  for (int i = 0; i < Count(); ++i) items.push_back(Items(i));
  std::stable_sort(items.begin(), items.end(), [](const TBandFilterRecord* a, const TBandFilterRecord* b) {
    return a->StartFrequency < b->StartFrequency;
  });
  ClearPointers();
  for (auto* item : items) AddPointer(item);
}

bool TBandFilterList::DeleteOverlapingBands() {
  Sort();
  bool deleted = false;
  for (int i = Count() - 2; i >= 0; --i) {
    if (i + 1 < Count() && Items(i + 1)->StartFrequency <= Items(i)->StopFrequency) {
      Delete(i + 1);
      deleted = true;
    }
  }
  return deleted;
}

TFilterError TBandFilterList::CheckFilter(int& Index) {
  double nyquist = 1.0;
  std::vector<TBandFilterRecord> bands;
  const TBandFilterList* source = this;
  if (filter_ != nullptr) {
    TFilterList* store = filter_->Filters();
    if (store->TemplateIndex() < 0) return ferNone;
    store->Consolidate();
    source = store->Bands();
    nyquist = filter_->DesignFrequency() / 2.0;
  }
  for (int i = 0; i < source->Count(); ++i) bands.push_back(*source->Items(i));
  std::stable_sort(bands.begin(), bands.end(),
                   [](const TBandFilterRecord& a, const TBandFilterRecord& b) { return a.StartFrequency < b.StartFrequency; });
  const int n = static_cast<int>(bands.size());

  for (int i = n - 2; i >= 0; --i)
    if (bands[i].Gain == 0 && bands[i + 1].Gain == 0) {
      Index = i;
      return ferConsecutiveStopBands;
    }
  for (int i = n - 1; i >= 0; --i)
    if (bands[i].StopFrequency <= bands[i].StartFrequency) {
      Index = i;
      return ferInvalidBand;
    }
  TFilterError result = ferNone;
  for (int i = n - 2; i >= 0; --i)
    if (bands[i + 1].StartFrequency <= bands[i].StopFrequency) {
      Index = i + 1;
      result = ferOverlappingBands;
    }
  for (int i = 0; i < n; ++i) {
    const TBandFilterRecord& b = bands[i];
    const bool bad = (b.Gain == 0 && !(b.Ripple > 1)) || (b.Gain >= 1 && !(b.Ripple <= 1));
    if (bad) {
      Index = i;
      return ferGainRipple;
    }
  }
  auto inRange = [nyquist](const TBandFilterRecord& b) {
    return b.StartFrequency >= 0 && b.StartFrequency <= nyquist && b.StopFrequency >= 0 && b.StopFrequency <= nyquist;
  };
  for (int i = 0; i < n - 1; ++i)
    if (!inRange(bands[i])) {
      Index = i;
      return ferRangeError;
    }
  for (int i = 0; i < n; ++i)
    if (!inRange(bands[i])) {
      Index = i;
      return ferRangeError;
    }
  return result;
}

void TBandFilterList::SaveToStream(TStream& Stream) {
  TMemoryStream block;
  TBandFilterRecord header;
  header.StartFrequency = Count();
  WriteBandFilterRecord(block, header);
  for (int i = 0; i < Count(); ++i) WriteBandFilterRecord(block, *Items(i));
  block.SetPosition(0);
  Stream.CopyFrom(block, block.Size());
}

void TBandFilterList::LoadFromStream(TStream& Stream) {
  Clear();
  const TBandFilterRecord header = ReadBandFilterRecord(Stream);
  const double count = header.StartFrequency;
  const std::int64_t left = Stream.Size() - Stream.Position();
  if (!(count >= 0) || count != std::floor(count) || count * BandFilterRecordSize > double(left))
    throw EReadError("Band count " + std::to_string(count) + " exceeds the " + std::to_string(left) +
                     " bytes left in the stream");
  const int n = static_cast<int>(count);
  std::vector<TBandFilterRecord> bands;
  bands.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) bands.push_back(ReadBandFilterRecord(Stream));
  for (const auto& b : bands) Add(b);
}

}  // namespace sigflow
