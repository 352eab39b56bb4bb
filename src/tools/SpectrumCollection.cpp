#include "sigflow/tools/SpectrumCollection.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

namespace {
TCollection* CheckedCollection(TCollection* Collection) {
  if (dynamic_cast<TSpectrumCollection*>(Collection) == nullptr) throw Exception("Collection = nil!");
  return Collection;
}
}  // namespace

TSpectrumItem::TSpectrumItem(TCollection* Collection) : TCollectionItem(CheckedCollection(Collection)) {}

TSpectrumItem::~TSpectrumItem() {
  if (input_ && !input_->ComponentState().Contains(csDestroying)) input_->SetOnNotifyUpdate(nullptr);
}

const TPropertyTable& TSpectrumItem::ClassProperties() {
  static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
      ComponentProperty("Input", &TSpectrumItem::Input, &TSpectrumItem::SetInput, "TSpectrum"),
  });
  return table;
}

void TSpectrumItem::SetInput(TSpectrum* Value) {
  if (input_ && !input_->ComponentState().Contains(csDestroying)) input_->SetOnNotifyUpdate(nullptr);
  input_ = Value;
  if (Value) {
    auto* owner = static_cast<TSpectrumCollection*>(Collection());
    Value->SetOnNotifyUpdate(owner ? owner->OnSetInput() : TNotifyEvent());
    if (owner && owner->GetOwner()) Value->FreeNotification(owner->GetOwner());
  }
}

void TSpectrumItem::Assign(TPersistent* Source) {
  if (auto* src = dynamic_cast<TSpectrumItem*>(Source)) {
    SetInput(src->Input());
    return;
  }
  TCollectionItem::Assign(Source);
}

TSpectrumCollection::TSpectrumCollection(TComponent* AOwner)
    : TCollection(TCollectionItemClass::Of<TSpectrumItem>("TSpectrumItem"), AOwner), owner_(AOwner) {}

}  // namespace sigflow
