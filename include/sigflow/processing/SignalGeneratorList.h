#pragma once
// TSignalGeneratorList: a component list of signal generators.
#include "sigflow/processing/SignalGenerator.h"
#include "sigflow/tools/AnalysisList.h"

namespace sigflow {

class TSignalGeneratorList : public TAnalysisList {
public:
  explicit TSignalGeneratorList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSignalGeneratorList"; }

  // A new TSignalGenerator owned by this list component.
  TAnalysis* AddItem() override;
  TSignalGenerator* Items(int Index) const { return static_cast<TSignalGenerator*>(Item(Index)); }
};

}  // namespace sigflow
