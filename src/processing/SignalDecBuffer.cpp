#include "sigflow/processing/SignalDecBuffer.h"

#include <algorithm>

#include "sigflow/core/ClassRegistry.h"

namespace sigflow {

TSignalDecBuffer::TSignalDecBuffer(TComponent* AOwner) : TSignal(AOwner) {}

const TPropertyTable& TSignalDecBuffer::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(),
                                    {
                                        ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
                                        Property("Factor", &TSignalDecBuffer::Factor, &TSignalDecBuffer::SetFactor, 1),
                                    });
  return table;
}

void TSignalDecBuffer::SetFactor(int Value) {
  Value = std::max(Value, 1);
  if (Value == factor_) return;
  factor_ = Value;
  SetDirty(true);
}

void TSignalDecBuffer::Reset() { counter_ = 0; }

bool TSignalDecBuffer::InternalPull() {
  if (!Dirty() || !Active()) return true;
  // Only the first part of a block needs a new one; the others come from the held block.
  const bool result = counter_ == 0 ? TSignal::InternalPull() : Update();
  // A factor lowered between pulls must not leave the counter beyond the new range.
  counter_ = counter_ + 1 >= factor_ ? 0 : counter_ + 1;
  return result;
}

bool TSignalDecBuffer::InternalUpdate() {
  const TSignal* in = Input();
  if (in == nullptr) return true;
  const int part = in->Length() / factor_;
  const int index = std::max(factor_ - counter_ - 1, 0);
  Data().SetLength(part);
  Data().Copy(in->Data(), index * part, 0, part);
  return true;
}

namespace {
const bool registered = RegisterComponentClass<TSignalDecBuffer>("TSignalDecBuffer");
}  // namespace

}  // namespace sigflow
