#pragma once
// TSignalCollection: the Inputs of a multi-input component, one TSignal per TSignalItem
// (see InputCollection.h for how items connect).
#include <string>

#include "sigflow/tools/InputCollection.h"

namespace sigflow {

class TSignal;

class TSignalItem : public TInputItem<TSignal> {
public:
  // Raises Exception "Collection = nil!" unless Collection is a TSignalCollection.
  explicit TSignalItem(TCollection* Collection);

  std::string ClassName() const override { return "TSignalItem"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  void Assign(TPersistent* Source) override;
};

class TSignalCollection : public TInputCollection {
public:
  explicit TSignalCollection(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalCollection"; }

  TSignalItem* Items(int Index) const { return static_cast<TSignalItem*>(TCollection::Items(Index)); }
  // A new item carrying the collection's present OnSetInput.
  TSignalItem* Add() override;
  // Stores the handler and gives it to every existing item too.
  void SetOnSetInput(TNotifyEvent Value);
};

}  // namespace sigflow
