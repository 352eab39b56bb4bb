#pragma once
// TAnalysisList: owned components of one kind driven together (update, pull, mark dirty, copy
// the first one's settings to the rest, stream). Items are owned by the list: Delete, Clear,
// SetCount and destruction free them. Null entries (what SetCount adds to a plain
// TAnalysisList) are passed over by the operations that walk the items.
#include <string>

#include "sigflow/core/Lists.h"
#include "sigflow/core/VarnComponent.h"
#include "sigflow/tools/Analysis.h"

namespace sigflow {

class TAnalysisList : public TVarnComponent {
public:
  explicit TAnalysisList(TComponent* AOwner);
  ~TAnalysisList() override;

  std::string ClassName() const override { return "TAnalysisList"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Appends Item; the list owns it from now on (a null entry is allowed).
  void Add(TAnalysis* Item);
  int GetCount() const { return list_.Count(); }
  int Count() const { return GetCount(); }
  // Adds AddItem() until there are Value items, or frees the items from Value on.
  void SetCount(int Value);
  TAnalysis* Item(int Index) const { return list_.Items(Index); }

  bool PropagateInputs() const { return propagateInputs_; }
  void SetPropagateInputs(bool Value) { propagateInputs_ = Value; }

  // A new item for SetCount; TAnalysisList has none to make and returns null.
  virtual TAnalysis* AddItem() { return nullptr; }
  // Frees item Index; Index >= Count raises Exception "Index >= AList.Count".
  virtual void Delete(int Index);
  virtual void Clear();
  // Items 1.. copy item 0: every setting (Assign) with PropagateInputs, else its template.
  virtual void Propagate();
  // Items in order while each returns true; true for an empty list.
  bool Update() override;
  virtual bool Pull();
  virtual void MakeDirty();

  // Passes Value to every item; the list's own flag is left alone.
  void SetBlockAssign(bool Value) override;
  // The list's own settings, then every item's, in index order.
  void SaveToStream(TStream& Stream) override;
  void LoadFromStream(TStream& Stream) override;

protected:
  TList<TAnalysis> list_;

private:
  bool propagateInputs_ = false;
};

}  // namespace sigflow
