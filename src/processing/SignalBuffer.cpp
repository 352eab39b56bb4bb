#include "sigflow/processing/SignalBuffer.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {

const TEnumInfo& BufferTypeInfo() {
  static const TEnumInfo info("TBufferType", {"bftStreaming", "bftScrolling"});
  return info;
}
const TEnumInfo& TargetTypeInfo() {
  static const TEnumInfo info("TTargetType", {"trtSamplingTime", "trtLength"});
  return info;
}

TSignalBuffer::TSignalBuffer(TComponent* AOwner) : TSignal(AOwner) { ResetBuffer(); }

const TPropertyTable& TSignalBuffer::ClassProperties() {
  static const TPropertyTable table(
      &TSignal::ClassProperties(),
      {
          ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
          EnumProperty("BufferType", &TSignalBuffer::BufferType, &TSignalBuffer::SetBufferType, BufferTypeInfo(),
                       bftStreaming),
          EnumProperty("TargetType", &TSignalBuffer::TargetType, &TSignalBuffer::SetTargetType, TargetTypeInfo(),
                       trtSamplingTime),
          // No declared default: sizing sets them, so they are always saved.
          Property("BufferLength", &TSignalBuffer::BufferLength, &TSignalBuffer::SetBufferLength),
          Property("BufferSamplingTime", &TSignalBuffer::BufferSamplingTime, &TSignalBuffer::SetBufferSamplingTime),
          Property("Overlapping", &TSignalBuffer::Overlapping, &TSignalBuffer::SetOverlapping, 0.0),
          Property("AutoBufferSize", &TSignalBuffer::AutoBufferSize, &TSignalBuffer::SetAutoBufferSize, true),
          Property("BufferSizeLimit", &TSignalBuffer::BufferSizeLimit, &TSignalBuffer::SetBufferSizeLimit, 200000),
          Property("BufferOverrun", &TSignalBuffer::BufferOverrun, nullptr),
          Property("BufferUnderrun", &TSignalBuffer::BufferUnderrun, nullptr),
      });
  return table;
}

void TSignalBuffer::SetBufferType(TBufferType Value) { bufferType_ = Value; }
void TSignalBuffer::SetTargetType(TTargetType Value) { targetType_ = Value; }
void TSignalBuffer::SetBufferLength(int Value) { bufferLength_ = Value; }
void TSignalBuffer::SetBufferSamplingTime(double Value) { bufferSamplingTime_ = Value; }
void TSignalBuffer::SetOverlapping(double Value) { overlapping_ = std::clamp(Value, 0.0, 100.0); }
void TSignalBuffer::SetAutoBufferSize(bool Value) { autoBufferSize_ = Value; }

void TSignalBuffer::SetBufferSizeLimit(int Value) {
  // A negative limit passes through 0 on its way in; the stored value is the given one.
  if (Value < 0) bufferSizeLimit_ = 0;
  bufferSizeLimit_ = Value;
}

void TSignalBuffer::ResetBuffer() { InitCircularBuffer(state_, buffer_, 16); }

namespace {
constexpr double IntMax = std::numeric_limits<int>::max();

// Sizes come from doubles (a duration times a rate): refuse what an int cannot hold.
int CheckedSize(double Value) {
  if (!(Value <= IntMax)) throw Exception("Buffer size limit reached!");
  return static_cast<int>(std::max(Value, -IntMax));
}
}  // namespace

long long TSignalBuffer::TargetSize() const {
  const double perChannel =
      targetType_ == trtSamplingTime ? std::trunc(bufferSamplingTime_ * SamplingFrequency()) : bufferLength_;
  const double size = double(ChannelCount()) * perChannel;
  return std::isnan(size) ? 0 : static_cast<long long>(std::clamp(size, -IntMax, IntMax));
}

void TSignalBuffer::UpdateBufferSize() {
  const int channels = ChannelCount();
  const TSignal* in = Input();
  const double inputRate = in ? in->SamplingFrequency() : SamplingFrequency();
  long long size = TargetSize();
  auto grow = [&](int length) {
    if (length > bufferSizeLimit_) throw Exception("Buffer size limit reached!");
    bufferLength_ = CheckedSize(double(channels) * length);
    bufferSamplingTime_ = bufferLength_ * inputRate;
    size = static_cast<long long>(channels) * bufferLength_;
  };
  const bool monitor = bufferType_ == bftScrolling && overlapping_ == 0;
  if (!monitor && Length() > size) {
    if (!autoBufferSize_) throw Exception("Buffer too small for Output!");
    grow(Length());
  }
  const int n = in ? in->Length() : 0;
  if (n >= size) {
    if (!autoBufferSize_) throw Exception("Buffer too small for Input!");
    grow(n);
  }
  if (targetType_ == trtSamplingTime) bufferLength_ = CheckedSize(std::trunc(bufferSamplingTime_ * SamplingFrequency()));
  buffer_.SetComplex(Complex());
  ResizeCircularBuffer(state_, buffer_, CheckedSize(double(channels) * bufferLength_));
}

int TSignalBuffer::StepOverlap(int Length) const {
  const int channels = std::max(ChannelCount(), 1);
  const int frames = Length / channels;
  if (frames < 1) return 0;
  const int overlap = std::min(static_cast<int>(frames * overlapping_ / 100), frames - 1);
  return overlap * channels;
}

bool TSignalBuffer::InternalUpdate() {
  SetContinuous(true);
  UpdateBufferSize();
  if (const TSignal* in = Input()) {
    if (state_.Size - PeekCircularBuffer(state_) > in->Length()) {
      WriteToCircularBuffer(state_, buffer_, in->Data());
    } else {
      // Not continuous: the next pull offers this block again instead of pulling a new one.
      SetContinuous(false);
      state_.Overrun = true;
    }
  }
  const int length = Length();
  if (bufferType_ == bftScrolling && overlapping_ == 0) {
    Data().Size(state_.Size, buffer_.Complex());
    MonitorCircularBuffer(state_, buffer_, Data());
    return true;
  }
  if (PeekCircularBuffer(state_) < length) return false;
  const int overlap = bufferType_ == bftStreaming ? 0 : StepOverlap(length);
  return ReadFromCircularBuffer(state_, buffer_, Data(), length, overlap);
}

namespace {
const bool registered = RegisterComponentClass<TSignalBuffer>("TSignalBuffer");
}  // namespace

}  // namespace sigflow
