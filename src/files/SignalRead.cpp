#include "sigflow/files/SignalRead.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace sigflow {

TSignalRead::TSignalRead(TComponent* AOwner) : TFileStorage(AOwner) { SetUsesInputs(false); }

TSignalRead::~TSignalRead() = default;

const TPropertyTable& TSignalRead::ClassProperties() {
  // Record and position are where the stream stands, not settings: published read-only so
  // that loading or copying settings never seeks in a file.
  static const TPropertyTable table(&TFileStorage::ClassProperties(), {
      Property("NumberOfRecords", &TSignalRead::NumberOfRecords, nullptr),
      Property("RecordNumber", &TSignalRead::RecordNumber, nullptr),
      Property("RecordLength", &TSignalRead::RecordLength, nullptr),
      Property("RecordPosition", &TSignalRead::RecordPosition, nullptr),
      Property("Framing", &TSignalRead::Framing, &TSignalRead::SetFraming, false),
      Property("OverlappingPercent", &TSignalRead::OverlappingPercent, &TSignalRead::SetOverlappingPercent, 0.0),
      Property("OverlappingSamples", &TSignalRead::OverlappingSamples, &TSignalRead::SetOverlappingSamples, 0),
      Property("MaxFrames", &TSignalRead::MaxFrames, &TSignalRead::SetMaxFrames, 0),
      Property("Loop", &TSignalRead::Loop, &TSignalRead::SetLoop, false),
      Property("ScaleFactor", &TSignalRead::ScaleFactor, &TSignalRead::SetScaleFactor, 1.0),
      EnumProperty("Precision", &TSignalRead::Precision, static_cast<void (TSignalRead::*)(TPrecision)>(nullptr),
                   PrecisionInfo()),
  });
  return table;
}

void TSignalRead::SetFraming(bool Value) {
  framing_ = Value;
  SetDirty(true);
}

void TSignalRead::SetOverlappingPercent(double Value) {
  overlappingPercent_ = std::clamp(std::isnan(Value) ? 0.0 : Value, 0.0, 100.0);
  SetDirty(true);
}

void TSignalRead::SetOverlappingSamples(int Value) {
  overlappingSamples_ = std::max(0, Value);
  SetDirty(true);
}

void TSignalRead::SetMaxFrames(int Value) {
  maxFrames_ = std::max(0, Value);
  SetDirty(true);
}

void TSignalRead::SetLoop(bool Value) {
  loop_ = Value;
  SetDirty(true);
}

void TSignalRead::SetScaleFactor(double Value) {
  scaleFactor_ = Value;
  SetDirty(true);
}

void TSignalRead::CloseFile() {
  reader_.reset();
  recordNumber_ = -1;
  recordPosition_ = 0;
  positioned_ = false;
  ended_ = false;
  delivered_ = 0;
}

void TSignalRead::Open() {
  if (reader_) return;
  // A writer stopped mid-record must not make the records before it unreadable.
  TSignalReadOptions options;
  options.AcceptTruncatedTail = true;
  reader_ = OpenSignalFile(FileName(), FileFormat(), options);
  SetFileOpened(true);
  recordNumber_ = -1;
  recordPosition_ = 0;
  positioned_ = false;
  ended_ = false;
  delivered_ = 0;
  if (reader_->NumberOfRecords() > 0) TakeRecordShape(0);
}

bool TSignalRead::EnsureOpen() {
  if (reader_) return true;
  std::error_code ec;
  if (FileName().empty() || !std::filesystem::is_regular_file(FileName(), ec)) return false;
  Open();
  return true;
}

void TSignalRead::TakeRecordShape(int record) {
  const TSignalRecordInfo& info = reader_->RecordInfo(record);
  precision_ = info.Precision;
  SetChannelCount(info.ChannelCount);
  SetComplex(info.Complex);
  SetSamplingFrequency(info.SamplingFrequency);
}

int TSignalRead::RecordLength() const {
  if (!reader_ || recordNumber_ < 0) return 0;
  return int(reader_->RecordInfo(recordNumber_).Frames);
}

void TSignalRead::SetRecordNumber(int Value) {
  Open();
  if (Value < 0 || Value >= reader_->NumberOfRecords()) throw Exception(RecordNotFoundMessage(Value));
  recordNumber_ = Value;
  recordPosition_ = 0;
  positioned_ = true;
  ended_ = false;
  delivered_ = 0;
  TakeRecordShape(Value);
  SetDirty(true);
}

void TSignalRead::SetRecordPosition(int Value) {
  if (recordNumber_ < 0) {
    if (!EnsureOpen() || reader_->NumberOfRecords() == 0) return;
    recordNumber_ = 0;
    TakeRecordShape(0);
  }
  recordPosition_ = std::clamp(Value, 0, RecordLength());
  positioned_ = true;
  ended_ = false;
  SetDirty(true);
}

int TSignalRead::FrameFrames() const { return ChannelCount() > 0 ? Length() / ChannelCount() : 0; }

int TSignalRead::FrameStep() const {
  const int frame = FrameFrames();
  int overlap = overlappingSamples_ > 0 ? overlappingSamples_ : int(std::floor(overlappingPercent_ / 100.0 * frame));
  overlap = std::clamp(overlap, 0, std::max(0, frame - 1));
  return std::max(1, frame - overlap);
}

void TSignalRead::ReadFrame() {
  const int channels = ChannelCount();
  const std::int64_t frame = FrameFrames();
  const std::int64_t total = reader_->RecordInfo(recordNumber_).Frames;
  const std::int64_t start = recordPosition_;
  TVec& data = Data();
  if (start + frame <= total) {
    reader_->ReadSamples(recordNumber_, start, frame, data);
  } else {
    data.Size(int(frame * channels), Complex());
    // Sized once for the largest piece, so later wraps read without allocating.
    if (work_.Capacity() < frame * channels) work_.Size(int(frame * channels), Complex());
    std::int64_t filled = 0;
    std::int64_t at = start;
    while (filled < frame && at < total) {
      const std::int64_t n = reader_->ReadSamples(recordNumber_, at, frame - filled, work_);
      data.Copy(work_, 0, int(filled * channels), int(n * channels));
      filled += n;
      at += n;
      if (at >= total && loop_) at = 0;
    }
    if (filled < frame) data.SetZero(int(filled * channels), int((frame - filled) * channels));
  }
  ended_ = !loop_ && start + frame >= total;
}

void TSignalRead::ReadWholeRecord() { reader_->ReadRecord(recordNumber_, Data()); }

void TSignalRead::Finish() {
  positioned_ = false;
  ++delivered_;
  if (scaleFactor_ != 1.0) Data().Scale(scaleFactor_);
  SetStartTime(SamplingFrequency() > 0 ? recordPosition_ / SamplingFrequency() : 0.0);
  if (onRecordPositionChange_) onRecordPositionChange_(this);
}

bool TSignalRead::ProcessRecord(int Index) {
  if (!Active() || (framing_ && FrameFrames() == 0)) return false;
  if (!EnsureOpen()) return false;
  if (Index < 0 || Index >= reader_->NumberOfRecords()) throw Exception(RecordNotFoundMessage(Index));
  if (Index != recordNumber_) {
    recordNumber_ = Index;
    recordPosition_ = 0;
  }
  TakeRecordShape(Index);
  if (framing_) {
    if (RecordLength() == 0) return false;
    ReadFrame();
  } else {
    recordPosition_ = 0;
    ReadWholeRecord();
  }
  Finish();
  return true;
}

bool TSignalRead::InternalUpdate() {
  if (!Active() || !EnsureOpen()) return false;
  if (maxFrames_ > 0 && delivered_ >= maxFrames_) return false;
  const int records = reader_->NumberOfRecords();
  if (records == 0) return false;
  if (!framing_) {
    int next = positioned_ ? recordNumber_ : recordNumber_ + 1;
    if (next >= records) {
      if (!loop_) return false;
      next = 0;
    }
    if (next != recordNumber_) TakeRecordShape(next);
    recordNumber_ = next;
    recordPosition_ = 0;
    ReadWholeRecord();
    Finish();
    return true;
  }
  if (FrameFrames() == 0) return false;
  if (recordNumber_ < 0) {
    recordNumber_ = 0;
    recordPosition_ = 0;
    ended_ = false;
    TakeRecordShape(0);
  } else if (!positioned_) {
    if (ended_) return false;
    const std::int64_t total = RecordLength();
    std::int64_t next = std::int64_t(recordPosition_) + FrameStep();
    if (loop_ && total > 0) next %= total;
    recordPosition_ = int(next);
  }
  if (RecordLength() == 0) {
    ended_ = true;
    return false;
  }
  ReadFrame();
  Finish();
  return true;
}

}  // namespace sigflow
