#pragma once
// TList<T>: a list of pointers that does not own them (the framework's pointer list, typed).
// TObjectList<T>: the same, owning its items (freed on Delete, Clear and destruction).
// Indices outside the list raise EListError "List index out of bounds (i)".
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

template <class T>
class TList {
public:
  TList() = default;
  virtual ~TList() = default;
  TList(const TList&) = default;
  TList& operator=(const TList&) = default;

  int Count() const { return static_cast<int>(items_.size()); }
  int Capacity() const { return static_cast<int>(items_.capacity()); }
  void SetCapacity(int Value) { items_.reserve(static_cast<std::size_t>(std::max(Value, 0))); }
  // Grows with null entries or drops the tail (without freeing anything).
  void SetCount(int Value) { items_.resize(static_cast<std::size_t>(std::max(Value, 0)), nullptr); }

  T* Items(int Index) const { return items_[Check(Index)]; }
  void SetItem(int Index, T* Item) { items_[Check(Index)] = Item; }
  T* First() const { return Items(0); }
  T* Last() const { return Items(Count() - 1); }

  int Add(T* Item) {
    items_.push_back(Item);
    return Count() - 1;
  }
  void Insert(int Index, T* Item) {
    if (Index < 0 || Index > Count()) Error(Index);
    items_.insert(items_.begin() + Index, Item);
  }
  // Removes the entry; the item itself is left alone.
  virtual void Delete(int Index) { items_.erase(items_.begin() + Check(Index)); }
  virtual void Clear() { items_.clear(); }
  // Removes the first entry equal to Item; returns its former index or -1.
  int Remove(T* Item) {
    const int i = IndexOf(Item);
    if (i >= 0) Delete(i);
    return i;
  }
  int IndexOf(const T* Item) const {
    auto it = std::find(items_.begin(), items_.end(), Item);
    return it == items_.end() ? -1 : static_cast<int>(it - items_.begin());
  }
  void Exchange(int Index1, int Index2) { std::swap(items_[Check(Index1)], items_[Check(Index2)]); }
  void Move(int CurIndex, int NewIndex) {
    T* item = Items(CurIndex);
    Check(NewIndex);
    items_.erase(items_.begin() + CurIndex);
    items_.insert(items_.begin() + NewIndex, item);
  }

  auto begin() const { return items_.begin(); }
  auto end() const { return items_.end(); }

protected:
  std::size_t Check(int Index) const {
    if (Index < 0 || Index >= Count()) Error(Index);
    return static_cast<std::size_t>(Index);
  }
  [[noreturn]] static void Error(int Index) {
    throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
  }

  std::vector<T*> items_;
};

template <class T>
class TObjectList : public TList<T> {
public:
  TObjectList() = default;
  ~TObjectList() override { TObjectList::Clear(); }
  TObjectList(const TObjectList&) = delete;
  TObjectList& operator=(const TObjectList&) = delete;

  void Delete(int Index) override {
    std::unique_ptr<T> item(this->items_[this->Check(Index)]);
    this->items_.erase(this->items_.begin() + Index);
  }
  void Clear() override {
    while (!this->items_.empty()) Delete(this->Count() - 1);
  }
  // Takes the item out without freeing it.
  T* Extract(int Index) {
    T* item = this->Items(Index);
    this->items_.erase(this->items_.begin() + Index);
    return item;
  }
};

}  // namespace sigflow
