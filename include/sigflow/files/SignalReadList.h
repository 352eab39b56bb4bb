#pragma once
// TSignalReadList: a TAnalysisList of file readers.
#include "sigflow/files/SignalRead.h"
#include "sigflow/tools/AnalysisList.h"

namespace sigflow {

class TSignalReadList : public TAnalysisList {
public:
  explicit TSignalReadList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSignalReadList"; }

  // A new TSignalRead owned by this list component.
  TAnalysis* AddItem() override;
  TSignalRead* Items(int Index) const { return static_cast<TSignalRead*>(Item(Index)); }
  // Frees the item at Index and puts Value in its place (the list owns Value from now on).
  void SetItems(int Index, TSignalRead* Value);
};

}  // namespace sigflow
