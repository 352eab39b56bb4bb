#include "sigflow/tools/Registration.h"

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

void RegisterSignalToolsClasses() {
  RegisterComponentClass<TAnalysis>("TAnalysis");
  RegisterComponentClass<TSignal>("TSignal");
}

namespace {
const bool registered = (RegisterSignalToolsClasses(), true);
}  // namespace

}  // namespace sigflow
