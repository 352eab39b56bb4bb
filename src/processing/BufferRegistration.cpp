#include "sigflow/processing/BufferRegistration.h"

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/processing/SignalMux.h"

namespace sigflow {

void RegisterSignalBufferClasses() {
  RegisterComponentClass<TSignalIncBuffer>("TSignalIncBuffer");
  RegisterComponentClass<TSignalMux>("TSignalMux");
  RegisterComponentClass<TSignalDemux>("TSignalDemux");
}

namespace {
const bool registered = (RegisterSignalBufferClasses(), true);
}  // namespace

}  // namespace sigflow
