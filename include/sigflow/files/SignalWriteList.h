#pragma once
// TSignalWriteList: a TAnalysisList of file writers.
#include "sigflow/files/SignalWrite.h"
#include "sigflow/tools/AnalysisList.h"

namespace sigflow {

class TSignalWriteList : public TAnalysisList {
public:
  explicit TSignalWriteList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSignalWriteList"; }

  // A new TSignalWrite owned by this list component.
  TAnalysis* AddItem() override;
  TSignalWrite* Items(int Index) const { return static_cast<TSignalWrite*>(Item(Index)); }
  // Frees the item at Index and puts Value in its place (the list owns Value from now on).
  void SetItems(int Index, TSignalWrite* Value);
};

}  // namespace sigflow
