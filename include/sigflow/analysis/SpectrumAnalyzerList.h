#pragma once
// TSpectrumAnalyzerList: a TAnalysisList of TSpectrumAnalyzer items.
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/tools/AnalysisList.h"

namespace sigflow {

class TSpectrumAnalyzerList : public TAnalysisList {
public:
  explicit TSpectrumAnalyzerList(TComponent* AOwner) : TAnalysisList(AOwner) {}
  std::string ClassName() const override { return "TSpectrumAnalyzerList"; }

  // A new TSpectrumAnalyzer owned by this list component.
  TAnalysis* AddItem() override;
  TSpectrumAnalyzer* GetItems(int Index) const { return static_cast<TSpectrumAnalyzer*>(Item(Index)); }
  TSpectrumAnalyzer* Items(int Index) const { return GetItems(Index); }
  // Frees the item at Index and puts Value in its place (the list owns Value from now on).
  void SetItems(int Index, TSpectrumAnalyzer* Value);
};

}  // namespace sigflow
