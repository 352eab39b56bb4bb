#pragma once
// The shared part of the input collections: an item holds one upstream component (not owned)
// and installs the collection's OnSetInput handler as that input's OnNotifyUpdate, so the
// owner hears of every completed update of any input. An input serves one collection at a
// time: connecting it elsewhere overwrites its OnNotifyUpdate, and disconnecting it from any
// item clears it.
#include <utility>

#include "sigflow/core/Collection.h"
#include "sigflow/core/Component.h"
#include "sigflow/core/Object.h"

namespace sigflow {

class TAnalysis;

class TInputCollection : public TCollection {
public:
  TInputCollection(TCollectionItemClass ItemClass, TComponent* AOwner)
      : TCollection(std::move(ItemClass), AOwner), owner_(AOwner) {}

  // The component the collection belongs to.
  TComponent* GetOwner() const { return owner_; }
  const TNotifyEvent& OnSetInput() const { return onSetInput_; }

protected:
  void Update(TCollectionItem* Item) override { TCollection::Update(Item); }

  TNotifyEvent onSetInput_;

private:
  TComponent* owner_;
};

class TInputItem : public TCollectionItem {
public:
  // An item that goes away disconnects its input like SetInput(nil), so the input stops
  // calling a handler of a consumer that may be gone.
  ~TInputItem() override;

  // Forgets the input without touching its event.
  void Reset() { input_ = nullptr; }
  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }

protected:
  explicit TInputItem(TCollection* Collection) : TCollectionItem(Collection) {}
  // Clears the old input's OnNotifyUpdate, stores Value, then gives Value the collection's
  // OnSetInput and registers the collection's owner for Value's removal.
  void Connect(TAnalysis* Value);

  TAnalysis* input_ = nullptr;

private:
  TNotifyEvent onSetInput_;
};

}  // namespace sigflow
