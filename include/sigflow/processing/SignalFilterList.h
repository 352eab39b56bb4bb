#pragma once
// TSignalFilterList: a TAnalysisList of TSignalFilter items.
#include "sigflow/processing/SignalFilter.h"
#include "sigflow/tools/AnalysisList.h"

namespace sigflow {

class TSignalFilterList : public TAnalysisList {
public:
  explicit TSignalFilterList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSignalFilterList"; }

  // A new TSignalFilter owned by this list component.
  TAnalysis* AddItem() override;
  TSignalFilter* Items(int Index) const { return static_cast<TSignalFilter*>(Item(Index)); }
};

}  // namespace sigflow
