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

TSpectrumItem::TSpectrumItem(TCollection* Collection) : TInputItem(CheckedCollection(Collection)) {}

const TPropertyTable& TSpectrumItem::ClassProperties() {
  static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
      ComponentProperty("Input", &TSpectrumItem::Input, &TSpectrumItem::SetInput, "TSpectrum"),
  });
  return table;
}

void TSpectrumItem::Assign(TPersistent* Source) {
  if (auto* src = dynamic_cast<TSpectrumItem*>(Source)) return SetInput(src->Input());
  TCollectionItem::Assign(Source);
}

TSpectrumCollection::TSpectrumCollection(TComponent* AOwner)
    : TInputCollection(TCollectionItemClass::Of<TSpectrumItem>("TSpectrumItem"), AOwner) {}

}  // namespace sigflow
