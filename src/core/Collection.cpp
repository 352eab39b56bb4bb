#include "sigflow/core/Collection.h"

#include <algorithm>
#include <memory>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

// ---------------------------------------------------------------------------- TCollectionItem

TCollectionItem::TCollectionItem(TCollection* Collection) { SetCollection(Collection); }

TCollectionItem::~TCollectionItem() {
  if (collection_) collection_->RemoveItem(this);
}

void TCollectionItem::SetCollection(TCollection* Value) {
  if (Value == collection_) return;
  if (collection_) collection_->RemoveItem(this);
  if (Value) Value->InsertItem(this);
}

int TCollectionItem::Index() const {
  if (!collection_) return -1;
  const auto& items = collection_->items_;
  return static_cast<int>(std::find(items.begin(), items.end(), this) - items.begin());
}

void TCollectionItem::SetIndex(int Value) {
  const int cur = Index();
  if (cur < 0 || Value == cur) return;
  auto& items = collection_->items_;
  if (Value < 0 || Value >= static_cast<int>(items.size()))
    throw EListError("List index out of bounds (" + std::to_string(Value) + ")");
  items.erase(items.begin() + cur);
  items.insert(items.begin() + Value, this);
  Changed(true);
}

void TCollectionItem::Changed(bool AllItems) {
  if (!collection_ || collection_->updateCount_ > 0) return;
  collection_->Update(AllItems ? nullptr : this);
}

// ---------------------------------------------------------------------------- TCollection

TCollection::TCollection(TCollectionItemClass ItemClass, TPersistent* Owner)
    : itemClass_(std::move(ItemClass)), owner_(Owner) {}

TCollection::~TCollection() {
  destroying_ = true;
  while (!items_.empty()) delete items_.back();
}

TCollectionItem* TCollection::Items(int Index) const {
  if (Index < 0 || Index >= Count()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
  return items_[static_cast<std::size_t>(Index)];
}

TCollectionItem* TCollection::FindItemID(int ID) const {
  for (TCollectionItem* item : items_)
    if (item->id_ == ID) return item;
  return nullptr;
}

TCollectionItem* TCollection::Add() {
  TCollectionItem* item = itemClass_.Create(this);
  if (item->collection_ != this) item->SetCollection(this);
  Changed();
  return item;
}

TCollectionItem* TCollection::Insert(int Index) {
  if (Index < 0 || Index > Count()) throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
  BeginUpdate();
  TCollectionItem* item = nullptr;
  try {
    item = Add();
    item->SetIndex(Index);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
  return item;
}

void TCollection::Delete(int Index) { delete Items(Index); }

void TCollection::Clear() {
  if (items_.empty()) return;
  BeginUpdate();
  while (!items_.empty()) delete items_.back();
  EndUpdate();
}

void TCollection::BeginUpdate() { ++updateCount_; }

void TCollection::EndUpdate() {
  if (updateCount_ == 0) return;
  if (--updateCount_ == 0) Changed();
}

void TCollection::Changed() {
  if (updateCount_ == 0 && !destroying_) Update(nullptr);
}

void TCollection::Assign(TPersistent* Source) {
  auto* source = dynamic_cast<TCollection*>(Source);
  if (!source) {
    TPersistent::Assign(Source);
    return;
  }
  if (source == this) return;
  BeginUpdate();
  try {
    Clear();
    for (TCollectionItem* item : source->items_) Add()->Assign(item);
  } catch (...) {
    EndUpdate();
    throw;
  }
  EndUpdate();
}

void TCollection::InsertItem(TCollectionItem* Item) {
  items_.push_back(Item);
  Item->collection_ = this;
  Item->id_ = nextId_++;
}

void TCollection::RemoveItem(TCollectionItem* Item) {
  auto it = std::find(items_.begin(), items_.end(), Item);
  if (it != items_.end()) items_.erase(it);
  Item->collection_ = nullptr;
  Changed();
}

}  // namespace sigflow
