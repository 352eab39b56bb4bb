#pragma once
// TSignalRead: reads a signal file record by record or frame by frame.
//
// Length counts values over all channels, as everywhere in TSignal: a frame holds
// Length / ChannelCount samples per channel (whole frames only).
//
// Without Framing every update delivers one whole record (Length becomes the record's) and
// the next update moves to the next record; after the last one Update returns false, or, with
// Loop, starts again at record 0.
//
// With Framing every update delivers the next frame of the current record, the frames
// overlapping by OverlappingSamples samples per channel when that is not 0, else by
// OverlappingPercent of the frame (rounded down); the overlap is clipped to frame - 1, so a
// frame always moves on by at least one sample. The frame that reaches the record's end is
// padded with zeros and is the last one: the next update returns false. With Loop the frames
// run on over the end into the record's start, without end. MaxFrames (0: no limit) ends
// either stream after that many deliveries.
//
// RecordNumber and RecordPosition (in samples per channel) tell where Data came from; setting
// them makes the next update read there. The file is opened at the first read (or by Open)
// with a truncated tail accepted, so a file whose writer was stopped mid-record reads up to
// its last complete record. Memory is one frame (one record without Framing).
#include <functional>
#include <memory>
#include <string>

#include "sigflow/files/FileStorage.h"
#include "sigflow/files/SignalFileReader.h"

namespace sigflow {

class TSignalRead : public TFileStorage {
public:
  explicit TSignalRead(TComponent* AOwner);
  ~TSignalRead() override;

  std::string ClassName() const override { return "TSignalRead"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Opens the file now (a missing one raises "File not found: " + name) and takes the
  // channel count, complex flag, precision and sampling frequency of its first record.
  // RecordNumber is -1 afterwards. Does nothing when it is already open.
  void Open();
  // Reads record Index at RecordPosition (from its start when Index is not the current
  // record): a frame with Framing, else the whole record; then scales by ScaleFactor and
  // fires OnRecordPositionChange. Nothing happens unless Active, nor with Framing and a
  // Length of 0, nor when the file does not exist. Returns whether data was read. A record
  // that does not exist raises "Record number: N not found!".
  bool ProcessRecord(int Index);

  int NumberOfRecords() const { return reader_ ? reader_->NumberOfRecords() : 0; }
  int RecordNumber() const { return recordNumber_; }
  // Selects the record the next update reads, from its start.
  void SetRecordNumber(int Value);
  // Samples per channel of the current record (0 when there is none).
  int RecordLength() const;
  int RecordPosition() const { return recordPosition_; }
  // Where the next update reads in the current record (clipped to it).
  void SetRecordPosition(int Value);
  bool TruncatedTail() const { return reader_ && reader_->TruncatedTail(); }

  bool Framing() const { return framing_; }
  void SetFraming(bool Value);
  double OverlappingPercent() const { return overlappingPercent_; }
  void SetOverlappingPercent(double Value);
  int OverlappingSamples() const { return overlappingSamples_; }
  void SetOverlappingSamples(int Value);
  int MaxFrames() const { return maxFrames_; }
  void SetMaxFrames(int Value);
  bool Loop() const { return loop_; }
  void SetLoop(bool Value);
  double ScaleFactor() const { return scaleFactor_; }
  void SetScaleFactor(double Value);
  // Storage precision of the current record.
  TPrecision Precision() const { return precision_; }

  // Samples per channel the frames move on by (frame length less the overlap).
  int FrameStep() const;
  // Deliveries since the file was opened or the record last chosen.
  int FramesDelivered() const { return delivered_; }

  const TNotifyEvent& OnRecordPositionChange() const { return onRecordPositionChange_; }
  void SetOnRecordPositionChange(TNotifyEvent Value) { onRecordPositionChange_ = std::move(Value); }

protected:
  bool InternalUpdate() override;
  void CloseFile() override;

private:
  bool EnsureOpen();
  int FrameFrames() const;
  void TakeRecordShape(int record);
  void ReadFrame();
  void ReadWholeRecord();
  void Finish();

  std::unique_ptr<TSignalFileReader> reader_;
  TVec work_;
  int recordNumber_ = -1;
  int recordPosition_ = 0;
  // Next update reads at (recordNumber_, recordPosition_) as it stands.
  bool positioned_ = false;
  // The last frame of the record was delivered.
  bool ended_ = false;
  int delivered_ = 0;
  bool framing_ = false;
  double overlappingPercent_ = 0;
  int overlappingSamples_ = 0;
  int maxFrames_ = 0;
  bool loop_ = false;
  double scaleFactor_ = 1.0;
  TPrecision precision_ = prDouble;
  TNotifyEvent onRecordPositionChange_;
};

}  // namespace sigflow
