#include "sigflow/core/ClassRegistry.h"
#include "sigflow/files/FileRegistration.h"
#include "sigflow/files/SignalBrowse.h"
#include "sigflow/files/SignalReadList.h"
#include "sigflow/files/SignalWriteList.h"

namespace sigflow {

namespace {
template <class T>
void ReplaceItem(TList<TAnalysis>& list, int Index, T* Value) {
  TAnalysis* old = list.Items(Index);
  if (old == Value) return;
  list.SetItem(Index, Value);
  delete old;
}
}  // namespace

TAnalysis* TSignalReadList::AddItem() { return new TSignalRead(this); }

void TSignalReadList::SetItems(int Index, TSignalRead* Value) { ReplaceItem(list_, Index, Value); }

TAnalysis* TSignalWriteList::AddItem() { return new TSignalWrite(this); }

void TSignalWriteList::SetItems(int Index, TSignalWrite* Value) { ReplaceItem(list_, Index, Value); }

void RegisterFileSignalClasses() {
  RegisterComponentClass<TFileStorage>("TFileStorage");
  RegisterComponentClass<TSignalRead>("TSignalRead");
  RegisterComponentClass<TSignalWrite>("TSignalWrite");
  RegisterComponentClass<TSignalBrowse>("TSignalBrowse");
  RegisterComponentClass<TSignalReadList>("TSignalReadList");
  RegisterComponentClass<TSignalWriteList>("TSignalWriteList");
}

namespace {
const bool registered = (RegisterFileSignalClasses(), true);
}  // namespace

}  // namespace sigflow
