#pragma once
// TCollection: an owned, ordered set of TCollectionItem objects of one item class.
// Items are created by the collection (Add, Insert) and freed by it (Delete, Clear,
// destruction), or by `delete item`, which takes the item out of its collection first.
#include <functional>
#include <string>
#include <vector>

#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

class TCollection;

class TCollectionItem : public TPersistent {
public:
  // Joins Collection (may be null) at its end.
  explicit TCollectionItem(TCollection* Collection);
  ~TCollectionItem() override;
  TCollectionItem(const TCollectionItem&) = delete;
  TCollectionItem& operator=(const TCollectionItem&) = delete;

  std::string ClassName() const override { return "TCollectionItem"; }

  TCollection* Collection() const { return collection_; }
  // Moves the item to another collection (or out of any, with null).
  void SetCollection(TCollection* Value);
  int Index() const;
  void SetIndex(int Value);
  // Unique within the collection, assigned on insertion and never reused.
  int ID() const { return id_; }
  virtual std::string DisplayName() const { return ClassName(); }

protected:
  // Tells the collection that this item (or, with AllItems, the whole collection) changed.
  void Changed(bool AllItems);

private:
  friend class TCollection;
  TCollection* collection_ = nullptr;
  int id_ = 0;
};

// What a collection creates its items from: a factory and the item class's property table.
struct TCollectionItemClass {
  std::string Name;
  std::function<TCollectionItem*(TCollection* Collection)> Create;
  const TPropertyTable& (*Properties)() = &TPersistent::ClassProperties;

  template <class TItem>
  static TCollectionItemClass Of(std::string Name) {
    return {std::move(Name), [](TCollection* c) -> TCollectionItem* { return new TItem(c); }, &TItem::ClassProperties};
  }
};

class TCollection : public TPersistent {
public:
  // Owner is the object the collection belongs to (a component or other persistent), or null.
  explicit TCollection(TCollectionItemClass ItemClass, TPersistent* Owner = nullptr);
  ~TCollection() override;
  TCollection(const TCollection&) = delete;
  TCollection& operator=(const TCollection&) = delete;

  std::string ClassName() const override { return "TCollection"; }

  TPersistent* Owner() const { return owner_; }
  const TCollectionItemClass& ItemClass() const { return itemClass_; }
  int Count() const { return static_cast<int>(items_.size()); }
  // Throws EListError "List index out of bounds (i)".
  TCollectionItem* Items(int Index) const;
  TCollectionItem* FindItemID(int ID) const;

  virtual TCollectionItem* Add();
  TCollectionItem* Insert(int Index);
  void Delete(int Index);
  void Clear();

  void BeginUpdate();
  void EndUpdate();
  int UpdateCount() const { return updateCount_; }

  // Clears, then adds one item per item of Source (a TCollection) and assigns it.
  void Assign(TPersistent* Source) override;

protected:
  // Item changed (null: the collection as a whole). Called when not inside BeginUpdate.
  virtual void Update(TCollectionItem* Item) {}
  void Changed();

private:
  friend class TCollectionItem;
  void InsertItem(TCollectionItem* Item);
  void RemoveItem(TCollectionItem* Item);

  TCollectionItemClass itemClass_;
  TPersistent* owner_;
  std::vector<TCollectionItem*> items_;
  int nextId_ = 0;
  int updateCount_ = 0;
  bool destroying_ = false;
};

}  // namespace sigflow
