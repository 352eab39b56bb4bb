#include "sigflow/tools/Registration.h"

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/tools/AnalysisList.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/SignalList.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

void RegisterSignalToolsClasses() {
  RegisterComponentClass<TAnalysis>("TAnalysis");
  RegisterComponentClass<TSignal>("TSignal");
  RegisterComponentClass<TSpectrum>("TSpectrum");
  RegisterComponentClass<TAnalysisList>("TAnalysisList");
  RegisterComponentClass<TSignalList>("TSignalList");
}

namespace {
const bool registered = (RegisterSignalToolsClasses(), true);
}  // namespace

}  // namespace sigflow
