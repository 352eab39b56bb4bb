#pragma once
// TSignalList: a TAnalysisList of TSignal items.
#include "sigflow/tools/AnalysisList.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

class TSignalList : public TAnalysisList {
public:
  explicit TSignalList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSignalList"; }

  // A new TSignal owned by this list component.
  TAnalysis* AddItem() override;
  TSignal* Items(int Index) const { return static_cast<TSignal*>(Item(Index)); }
  // Frees the item at Index and puts Value in its place (the list owns Value from now on).
  void SetItems(int Index, TSignal* Value);
};

}  // namespace sigflow
