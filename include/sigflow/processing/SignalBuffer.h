#pragma once
// TSignalBuffer: collects Input blocks in a circular buffer and delivers blocks of its own
// Length, whatever the input block size.
//
//   bftStreaming                 every sample once: a block of Length as soon as that much
//                                is buffered (the update reports no new data before);
//   bftScrolling, Overlapping 0  the newest BufferLength samples per channel on every update
//                                (the output takes the buffer's size), a scrolling view;
//   bftScrolling, Overlapping p  blocks of Length, each starting (100 - p)% of a block after
//                                the previous one (at least one frame further).
//
// Buffer size: ChannelCount x BufferLength elements; with trtSamplingTime BufferLength is
// Trunc(BufferSamplingTime x SamplingFrequency) before each block. When a block does not fit
// and AutoBufferSize is set, the buffer grows (see UpdateBufferSize), else the update fails.
// An input block that finds no room (free room not above its length) is dropped: the
// buffer's Continuous becomes false, so the next pull re-offers the held input block instead
// of pulling a new one, and BufferOverrun is set. See docs/buffers.md.
#include <cstdint>
#include <string>

#include "sigflow/numeric/CircularBuffer.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

enum TBufferType : std::uint8_t { bftStreaming, bftScrolling };
enum TTargetType : std::uint8_t { trtSamplingTime, trtLength };

const TEnumInfo& BufferTypeInfo();
const TEnumInfo& TargetTypeInfo();

class TSignalBuffer : public TSignal {
public:
  explicit TSignalBuffer(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalBuffer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TBufferType BufferType() const { return bufferType_; }
  void SetBufferType(TBufferType Value);
  TTargetType TargetType() const { return targetType_; }
  void SetTargetType(TTargetType Value);
  // Samples per channel; stored as given (no check).
  int BufferLength() const { return bufferLength_; }
  void SetBufferLength(int Value);
  // Buffer duration in seconds for trtSamplingTime; stored as given (no check).
  double BufferSamplingTime() const { return bufferSamplingTime_; }
  void SetBufferSamplingTime(double Value);
  // Percent of a scrolling block shared with the next one; limited to 0 .. 100.
  double Overlapping() const { return overlapping_; }
  void SetOverlapping(double Value);
  bool AutoBufferSize() const { return autoBufferSize_; }
  void SetAutoBufferSize(bool Value);
  // Longest block (output or input length) automatic growth accepts. Any value is stored,
  // a negative one too (then every growth fails).
  int BufferSizeLimit() const { return bufferSizeLimit_; }
  void SetBufferSizeLimit(int Value);

  bool BufferOverrun() const { return state_.Overrun; }
  bool BufferUnderrun() const { return state_.Underrun; }
  const TCircularBufferState& BufferState() const { return state_; }
  const TVec& Buffer() const { return buffer_; }

  // Empties the buffer: 16 zeroed elements, flags cleared. BufferLength and
  // BufferSamplingTime are left as they are.
  void ResetBuffer();
  // Sizes the buffer for the coming block:
  //  1. Unless scrolling with Overlapping 0: an own Length above the buffer size grows
  //     BufferLength to ChannelCount x Length (with AutoBufferSize; "Buffer size limit
  //     reached!" when Length > BufferSizeLimit) or fails "Buffer too small for Output!".
  //  2. An input block not shorter than the buffer grows BufferLength to ChannelCount x its
  //     length (AutoBufferSize; the same limit) or fails "Buffer too small for Input!".
  //  A growth sets BufferSamplingTime to BufferLength x the input's SamplingFrequency - a
  //  product, not a quotient, kept as the component always did: under trtSamplingTime step 3
  //  then multiplies again, so growth at rates far from 1 Hz gives a much larger buffer.
  //  3. trtSamplingTime: BufferLength := Trunc(BufferSamplingTime x SamplingFrequency).
  //  4. The buffer takes the own data kind and ChannelCount x BufferLength elements.
  // A size beyond the int range fails "Buffer size limit reached!".
  void UpdateBufferSize();

protected:
  bool InternalUpdate() override;

private:
  // ChannelCount x BufferLength as the settings ask for it (trtSamplingTime converts first).
  long long TargetSize() const;
  int StepOverlap(int Length) const;

  TBufferType bufferType_ = bftStreaming;
  TTargetType targetType_ = trtSamplingTime;
  int bufferLength_ = 16;
  double bufferSamplingTime_ = 16;
  double overlapping_ = 0;
  bool autoBufferSize_ = true;
  int bufferSizeLimit_ = 200000;
  TCircularBufferState state_;
  TVec buffer_;
};

}  // namespace sigflow
