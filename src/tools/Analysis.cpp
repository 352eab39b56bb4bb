#include "sigflow/tools/Analysis.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

TAnalysis::TAnalysis(TComponent* AOwner) : TVarnComponent(AOwner) {}

TAnalysis::~TAnalysis() {
  delete inputs_;
  inputs_ = nullptr;
  TAnalysis::SetInput(nullptr);
}

const TPropertyTable& TAnalysis::ClassProperties() {
  static const TPropertyTable table(&TVarnComponent::ClassProperties(), {
      Property("Active", &TAnalysis::Active, &TAnalysis::SetActive, true),
      Property("Continuous", &TAnalysis::Continuous, &TAnalysis::SetContinuous, true),
  });
  return table;
}

void TAnalysis::CheckInputs() const {
  if (!usesInputs_) return;
  if (multiChannel_) {
    for (int i = 0; i < inputs_->Count(); ++i)
      if (inputs_->Items(i)->Input() == nullptr) throw Exception("Inputs[" + std::to_string(i) + "] = nil!");
  } else if (input_ == nullptr) {
    throw Exception("Input = nil!");
  }
}

bool TAnalysis::Update() {
  try {
    CheckInputs();
    if (onBeforeUpdate_) onBeforeUpdate_(this);
    BeforeInternalUpdate();
    const bool result = InternalUpdate();
    if (onAfterUpdate_) onAfterUpdate_(this);
    if (onDisplayUpdate_ && EditorActive()) onDisplayUpdate_(this);
    if (!suspendNotifyUpdate_ && onNotifyUpdate_) onNotifyUpdate_(this);
    dirty_ = false;
    return result;
  } catch (const Exception& e) {
    throw Exception(Name() + ": " + e.Message());
  }
}

bool TAnalysis::Pull() {
  dirty_ = false;
  MakeDirty();
  return InternalPull();
}

bool TAnalysis::PullUntilEnd() {
  bool result;
  do result = Pull();
  while (result);
  return result;
}

void TAnalysis::MakeDirty() {
  if (dirty_) return;
  dirty_ = true;
  if (!continuous_) return;
  if (multiChannel_) {
    for (int i = 0; i < inputs_->Count(); ++i)
      if (TSignal* in = inputs_->Items(i)->Input()) in->MakeDirty();
  } else if (input_) {
    input_->MakeDirty();
  }
}

bool TAnalysis::InternalPull() {
  if (!dirty_ || !active_) return true;
  if (!continuous_) return Update();
  bool ok = true;
  if (multiChannel_) {
    for (int i = 0; i < inputs_->Count(); ++i)
      if (TSignal* in = inputs_->Items(i)->Input())
        if (!PullStage(in)) ok = false;
  } else if (input_) {
    ok = PullStage(input_);
  }
  return ok ? Update() : false;
}

void TAnalysis::ParamUpdate(TObject* Sender) {
  InternalParamUpdate(Sender);
  if (onParameterUpdate_) onParameterUpdate_(Sender);
}

void TAnalysis::InternalParamUpdate(TObject*) {}
void TAnalysis::BeforeInternalUpdate() {}
bool TAnalysis::InternalUpdate() { return true; }

void TAnalysis::UpdateNotify() {
  if (onNotifyUpdate_) onNotifyUpdate_(this);
}

void TAnalysis::Assign(TPersistent* Source) {
  if (auto* src = dynamic_cast<TAnalysis*>(Source); src && src->multiChannel_ != multiChannel_)
    throw Exception("MultiChannel <> TAnalysis(Source).MultiChannel!");
  TVarnComponent::Assign(Source);
}

void TAnalysis::SetMultiChannel(bool Value) {
  if (Value == multiChannel_) return;
  multiChannel_ = Value;
  if (Value) {
    inputs_ = new TSignalCollection(this);
  } else {
    delete inputs_;
    inputs_ = nullptr;
  }
}

void TAnalysis::SetInput(TSignal* Value) {
  if (Value == input_ || BlockAssign()) return;
  input_ = Value;
  if (Value) Value->FreeNotification(this);
}

void TAnalysis::SetInputs(TSignalCollection* Value) {
  if (BlockAssign() || inputs_ == nullptr || Value == inputs_) return;
  inputs_->Assign(Value);
}

void TAnalysis::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent != this && AComponent != nullptr) {
    if (multiChannel_ && inputs_) {
      for (int i = 0; i < inputs_->Count(); ++i)
        if (static_cast<TComponent*>(inputs_->Items(i)->Input()) == AComponent) inputs_->Items(i)->SetInput(nullptr);
    }
    if (static_cast<TComponent*>(input_) == AComponent) input_ = nullptr;
  }
  TVarnComponent::Notification(AComponent, Operation);
}

}  // namespace sigflow
