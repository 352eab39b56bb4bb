#include "sigflow/tools/SignalCollection.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

namespace {
TCollection* CheckedCollection(TCollection* Collection) {
  if (dynamic_cast<TSignalCollection*>(Collection) == nullptr) throw Exception("Collection = nil!");
  return Collection;
}
}  // namespace

TSignalItem::TSignalItem(TCollection* Collection) : TCollectionItem(CheckedCollection(Collection)) {}

TSignalItem::~TSignalItem() {
  if (input_ && !input_->ComponentState().Contains(csDestroying)) input_->SetOnNotifyUpdate(nullptr);
}

const TPropertyTable& TSignalItem::ClassProperties() {
  static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
      ComponentProperty("Input", &TSignalItem::Input, &TSignalItem::SetInput, "TSignal"),
  });
  return table;
}

void TSignalItem::SetInput(TSignal* Value) {
  // A dying input's events die with it; its TAnalysis part may already be gone.
  if (input_ && !input_->ComponentState().Contains(csDestroying)) input_->SetOnNotifyUpdate(nullptr);
  input_ = Value;
  if (Value) {
    auto* owner = static_cast<TSignalCollection*>(Collection());
    Value->SetOnNotifyUpdate(owner ? owner->OnSetInput() : TNotifyEvent());
    if (owner && owner->GetOwner()) Value->FreeNotification(owner->GetOwner());
  }
}

void TSignalItem::Assign(TPersistent* Source) {
  if (auto* src = dynamic_cast<TSignalItem*>(Source)) {
    SetInput(src->Input());
    return;
  }
  TCollectionItem::Assign(Source);
}

TSignalCollection::TSignalCollection(TComponent* AOwner)
    : TCollection(TCollectionItemClass::Of<TSignalItem>("TSignalItem"), AOwner), owner_(AOwner) {}

TSignalItem* TSignalCollection::Add() {
  auto* item = static_cast<TSignalItem*>(TCollection::Add());
  item->SetOnSetInput(onSetInput_);
  return item;
}

void TSignalCollection::SetOnSetInput(TNotifyEvent Value) {
  onSetInput_ = std::move(Value);
  for (int i = 0; i < Count(); ++i) Items(i)->SetOnSetInput(onSetInput_);
}

}  // namespace sigflow
