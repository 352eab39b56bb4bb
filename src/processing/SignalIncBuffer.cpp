#include "sigflow/processing/SignalIncBuffer.h"

#include <algorithm>
#include <cstring>

#include "sigflow/core/ClassRegistry.h"

namespace sigflow {

// Starts empty, so the first block is the whole window.
TSignalIncBuffer::TSignalIncBuffer(TComponent* AOwner) : TSignal(AOwner) { Reset(); }

const TPropertyTable& TSignalIncBuffer::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(),
                                    {
                                        ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
                                        Property("Factor", &TSignalIncBuffer::Factor, &TSignalIncBuffer::SetFactor, 1),
                                    });
  return table;
}

void TSignalIncBuffer::SetFactor(int Value) {
  Value = std::max(Value, 1);
  if (Value == factor_) return;
  factor_ = Value;
  SetDirty(true);
}

void TSignalIncBuffer::Reset() { SetLength(0); }

bool TSignalIncBuffer::InternalUpdate() {
  TSignal* in = Input();
  if (in == nullptr) return true;
  const TVec& src = in->Data();
  TVec& dst = Data();
  const long long n = src.Length();
  if (n * factor_ < dst.Length()) dst.SetLength(0);
  const int length = dst.Length();
  // Complex data are two doubles per sample; BeforeInternalUpdate gave dst the input's kind.
  const std::size_t width = dst.Complex() ? 2 : 1;
  if (n * factor_ <= length) {
    // The oldest n samples fall out; the tail is overwritten below, so a shift will do.
    std::memmove(dst.Data(), dst.Data() + n * width, std::size_t(length - n) * width * sizeof(double));
  } else {
    dst.SetLength(length + int(n));
  }
  dst.Copy(src, 0, dst.Length() - int(n), int(n));
  return true;
}

namespace {
const bool registered = RegisterComponentClass<TSignalIncBuffer>("TSignalIncBuffer");
}  // namespace

}  // namespace sigflow
