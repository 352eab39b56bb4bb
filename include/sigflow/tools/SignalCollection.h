#pragma once
// TSignalCollection: the Inputs of a multi-input component. Each TSignalItem holds one
// upstream TSignal (not owned) and installs the collection's OnSetInput handler as that
// input's OnNotifyUpdate, so the owner hears of every completed update of any input. An input
// serves one collection at a time: connecting it elsewhere overwrites its OnNotifyUpdate, and
// disconnecting it from any item clears it.
#include <string>

#include "sigflow/core/Collection.h"
#include "sigflow/core/Component.h"
#include "sigflow/core/Object.h"

namespace sigflow {

class TSignal;
class TSignalCollection;

class TSignalItem : public TCollectionItem {
public:
  // Raises Exception "Collection = nil!" unless Collection is a TSignalCollection.
  explicit TSignalItem(TCollection* Collection);
  // An item that goes away disconnects its input like SetInput(nil), so the input stops
  // calling a handler of a consumer that may be gone.
  ~TSignalItem() override;

  std::string ClassName() const override { return "TSignalItem"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TSignal* Input() const { return input_; }
  // Clears the old input's OnNotifyUpdate, stores Value, then gives Value the collection's
  // OnSetInput and registers the collection's owner for Value's removal.
  void SetInput(TSignal* Value);
  // Forgets the input without touching its event.
  void Reset() { input_ = nullptr; }

  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }

  void Assign(TPersistent* Source) override;

private:
  TSignal* input_ = nullptr;
  TNotifyEvent onSetInput_;
};

class TSignalCollection : public TCollection {
public:
  explicit TSignalCollection(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalCollection"; }

  // The component the collection belongs to.
  TComponent* GetOwner() const { return owner_; }
  TSignalItem* Items(int Index) const { return static_cast<TSignalItem*>(TCollection::Items(Index)); }
  // A new item carrying the collection's present OnSetInput.
  TSignalItem* Add() override;

  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  // Stores the handler and gives it to every existing item too.
  void SetOnSetInput(TNotifyEvent Value);

protected:
  void Update(TCollectionItem* Item) override { TCollection::Update(Item); }

private:
  TComponent* owner_;
  TNotifyEvent onSetInput_;
};

}  // namespace sigflow
