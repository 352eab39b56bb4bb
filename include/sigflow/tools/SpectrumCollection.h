#pragma once
// TSpectrumCollection: input items holding TSpectrum references, like TSignalCollection but
// with two differences kept on purpose: Add does not give the new item the collection's
// OnSetInput, and SetOnSetInput stores the handler without copying it to existing items.
#include <string>

#include "sigflow/core/Collection.h"
#include "sigflow/core/Component.h"
#include "sigflow/core/Object.h"

namespace sigflow {

class TSpectrum;

class TSpectrumItem : public TCollectionItem {
public:
  // Raises Exception "Collection = nil!" unless Collection is a TSpectrumCollection.
  explicit TSpectrumItem(TCollection* Collection);
  // An item that goes away disconnects its input like SetInput(nil), so the input stops
  // calling a handler of a consumer that may be gone.
  ~TSpectrumItem() override;

  std::string ClassName() const override { return "TSpectrumItem"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TSpectrum* Input() const { return input_; }
  // Clears the old input's OnNotifyUpdate, stores Value, then gives Value the collection's
  // OnSetInput and registers the collection's owner for Value's removal.
  void SetInput(TSpectrum* Value);
  void Reset() { input_ = nullptr; }

  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }

  void Assign(TPersistent* Source) override;

private:
  TSpectrum* input_ = nullptr;
  TNotifyEvent onSetInput_;
};

class TSpectrumCollection : public TCollection {
public:
  explicit TSpectrumCollection(TComponent* AOwner);

  std::string ClassName() const override { return "TSpectrumCollection"; }

  TComponent* GetOwner() const { return owner_; }
  TSpectrumItem* Items(int Index) const { return static_cast<TSpectrumItem*>(TCollection::Items(Index)); }
  TSpectrumItem* Add() override { return static_cast<TSpectrumItem*>(TCollection::Add()); }

  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }

protected:
  void Update(TCollectionItem* Item) override { TCollection::Update(Item); }

private:
  TComponent* owner_;
  TNotifyEvent onSetInput_;
};

}  // namespace sigflow
