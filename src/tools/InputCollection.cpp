#include "sigflow/tools/InputCollection.h"

#include "sigflow/tools/Analysis.h"

namespace sigflow {

namespace {
// A dying input's events die with it; its TAnalysis part may already be gone.
void Disconnect(TAnalysis* Input) {
  if (Input && !Input->ComponentState().Contains(csDestroying)) Input->SetOnNotifyUpdate(nullptr);
}
}  // namespace

TInputItem::~TInputItem() { Disconnect(input_); }

void TInputItem::Connect(TAnalysis* Value) {
  Disconnect(input_);
  input_ = Value;
  if (Value) {
    auto* owner = dynamic_cast<TInputCollection*>(Collection());
    Value->SetOnNotifyUpdate(owner ? owner->OnSetInput() : TNotifyEvent());
    if (owner && owner->GetOwner()) Value->FreeNotification(owner->GetOwner());
  }
}

}  // namespace sigflow
