#pragma once
// The working copy of a template: a pointer list that writes its items to a stream and reads
// them back, driven by TStreamTemplates.
//
// TStreamedList is untyped (a list of void*) so that the template manager can hold any
// descendant through one base class with one virtual protocol. Descendants that want typed
// access derive from TStreamedListOf<T>, which only adds typed accessors over the same
// storage. A descendant that owns its items overrides Delete to free them and calls Clear()
// in its own destructor (the base destructor cannot reach the override).
#include "sigflow/core/Lists.h"
#include "sigflow/core/Streams.h"

namespace sigflow {

class TStreamedList : public TList<void> {
public:
  TStreamedList() = default;
  ~TStreamedList() override = default;
  TStreamedList(const TStreamedList&) = delete;
  TStreamedList& operator=(const TStreamedList&) = delete;

  // The base class writes and reads nothing.
  virtual void SaveToStream(TStream& Stream) { (void)Stream; }
  virtual void LoadFromStream(TStream& Stream) { (void)Stream; }
  // Removes the entry only; descendants free the item here.
  void Delete(int Index) override { TList<void>::Delete(Index); }
  // Empties the list without touching the items.
  virtual void ClearPointers() { items_.clear(); }
  virtual void Update() {}
  // Delete for every index from the last to the first, then empty.
  void Clear() override {
    for (int i = Count() - 1; i >= 0; --i) Delete(i);
    items_.clear();
  }
};

template <class T>
class TStreamedListOf : public TStreamedList {
public:
  T* Items(int Index) const { return static_cast<T*>(TStreamedList::Items(Index)); }
  T* First() const { return Items(0); }
  T* Last() const { return Items(Count() - 1); }
  int Add(T* Item) { return TStreamedList::Add(Item); }
  void Insert(int Index, T* Item) { TStreamedList::Insert(Index, Item); }
  int IndexOf(const T* Item) const { return TStreamedList::IndexOf(Item); }
};

}  // namespace sigflow
