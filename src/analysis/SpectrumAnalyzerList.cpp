#include "sigflow/analysis/SpectrumAnalyzerList.h"

namespace sigflow {

TAnalysis* TSpectrumAnalyzerList::AddItem() { return new TSpectrumAnalyzer(this); }

void TSpectrumAnalyzerList::SetItems(int Index, TSpectrumAnalyzer* Value) {
  TAnalysis* old = Item(Index);
  if (old == Value) return;
  list_.SetItem(Index, Value);
  delete old;
}

}  // namespace sigflow
