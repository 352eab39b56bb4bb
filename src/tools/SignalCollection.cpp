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

TSignalItem::TSignalItem(TCollection* Collection) : TInputItem(CheckedCollection(Collection)) {}

const TPropertyTable& TSignalItem::ClassProperties() {
  static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
      ComponentProperty("Input", &TSignalItem::Input, &TSignalItem::SetInput, "TSignal"),
  });
  return table;
}

void TSignalItem::Assign(TPersistent* Source) {
  if (auto* src = dynamic_cast<TSignalItem*>(Source)) return SetInput(src->Input());
  TCollectionItem::Assign(Source);
}

TSignalCollection::TSignalCollection(TComponent* AOwner)
    : TInputCollection(TCollectionItemClass::Of<TSignalItem>("TSignalItem"), AOwner) {}

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
