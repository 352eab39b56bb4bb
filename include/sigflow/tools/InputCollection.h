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

// T is the input's class (TSignal, TSpectrum); the members that touch the input are
// instantiated where T is complete.
template <class T>
class TInputItem : public TCollectionItem {
public:
  // An item that goes away disconnects its input like SetInput(nil), so the input stops
  // calling a handler of a consumer that may be gone.
  ~TInputItem() override { Disconnect(); }

  T* Input() const { return input_; }
  // Clears the old input's OnNotifyUpdate, stores Value, then gives Value the collection's
  // OnSetInput and registers the collection's owner for Value's removal.
  void SetInput(T* Value) {
    Disconnect();
    input_ = Value;
    if (!Value) return;
    auto* owner = dynamic_cast<TInputCollection*>(Collection());
    Value->SetOnNotifyUpdate(owner ? owner->OnSetInput() : TNotifyEvent());
    if (owner && owner->GetOwner()) Value->FreeNotification(owner->GetOwner());
  }
  // Forgets the input without touching its event.
  void Reset() { input_ = nullptr; }
  const TNotifyEvent& OnSetInput() const { return onSetInput_; }
  void SetOnSetInput(TNotifyEvent Value) { onSetInput_ = std::move(Value); }

protected:
  explicit TInputItem(TCollection* Collection) : TCollectionItem(Collection) {}

private:
  // A dying input's events die with it; its TAnalysis part may already be gone.
  void Disconnect() {
    if (input_ && !input_->ComponentState().Contains(csDestroying)) input_->SetOnNotifyUpdate(nullptr);
  }

  T* input_ = nullptr;
  TNotifyEvent onSetInput_;
};

}  // namespace sigflow
