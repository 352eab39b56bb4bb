#include "sigflow/tools/AnalysisList.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/SignalList.h"

namespace sigflow {

TAnalysisList::TAnalysisList(TComponent* AOwner) : TVarnComponent(AOwner) { list_.SetCapacity(10); }

TAnalysisList::~TAnalysisList() { Clear(); }

const TPropertyTable& TAnalysisList::ClassProperties() {
  static const TPropertyTable table(&TVarnComponent::ClassProperties(), {
      Property("PropagateInputs", &TAnalysisList::PropagateInputs, &TAnalysisList::SetPropagateInputs, false),
      Property("Count", &TAnalysisList::GetCount, &TAnalysisList::SetCount, 0),
  });
  return table;
}

void TAnalysisList::Add(TAnalysis* Item) { list_.Add(Item); }

void TAnalysisList::SetCount(int Value) {
  while (list_.Count() < Value) Add(AddItem());
  while (list_.Count() > Value) Delete(Value);
}

void TAnalysisList::Delete(int Index) {
  if (Index >= list_.Count()) throw Exception("Index >= AList.Count");
  TAnalysis* item = list_.Items(Index);
  list_.Delete(Index);
  delete item;
}

void TAnalysisList::Clear() {
  for (int n = list_.Count(); n > 0; --n) Delete(0);
}

void TAnalysisList::Propagate() {
  if (list_.Count() < 2) return;
  TAnalysis* first = list_.Items(0);
  for (int i = 1; i < list_.Count(); ++i) {
    TAnalysis* item = list_.Items(i);
    if (item == nullptr) continue;
    if (propagateInputs_) item->Assign(first);
    else item->AssignTemplate(first);
  }
}

bool TAnalysisList::Update() {
  for (TAnalysis* item : list_)
    if (item && !item->Update()) return false;
  return true;
}

bool TAnalysisList::Pull() {
  for (TAnalysis* item : list_)
    if (item && !item->Pull()) return false;
  return true;
}

void TAnalysisList::MakeDirty() {
  for (TAnalysis* item : list_)
    if (item) item->MakeDirty();
}

void TAnalysisList::SetBlockAssign(bool Value) {
  for (TAnalysis* item : list_)
    if (item) item->SetBlockAssign(Value);
}

void TAnalysisList::SaveToStream(TStream& Stream) {
  TVarnComponent::SaveToStream(Stream);
  for (TAnalysis* item : list_)
    if (item) item->SaveToStream(Stream);
}

void TAnalysisList::LoadFromStream(TStream& Stream) {
  TVarnComponent::LoadFromStream(Stream);
  for (TAnalysis* item : list_)
    if (item) item->LoadFromStream(Stream);
}

TAnalysis* TSignalList::AddItem() { return new TSignal(this); }

void TSignalList::SetItems(int Index, TSignal* Value) {
  TAnalysis* old = Item(Index);
  if (old == Value) return;
  list_.SetItem(Index, Value);
  delete old;
}

}  // namespace sigflow
