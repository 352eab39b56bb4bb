#pragma once
// TSpectrumCollection: input items holding TSpectrum references, like TSignalCollection but
// with two differences kept on purpose: Add does not give the new item the collection's
// OnSetInput, and SetOnSetInput stores the handler without copying it to existing items.
#include <string>

#include "sigflow/tools/InputCollection.h"

namespace sigflow {

class TSpectrum;

class TSpectrumItem : public TInputItem<TSpectrum> {
public:
  // Raises Exception "Collection = nil!" unless Collection is a TSpectrumCollection.
  explicit TSpectrumItem(TCollection* Collection);

  std::string ClassName() const override { return "TSpectrumItem"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  void Assign(TPersistent* Source) override;
};

class TSpectrumCollection : public TInputCollection {
public:
  explicit TSpectrumCollection(TComponent* AOwner);

  std::string ClassName() const override { return "TSpectrumCollection"; }

  TSpectrumItem* Items(int Index) const { return static_cast<TSpectrumItem*>(TCollection::Items(Index)); }
  TSpectrumItem* Add() override { return static_cast<TSpectrumItem*>(TCollection::Add()); }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }
};

}  // namespace sigflow
