#include "sigflow/processing/BufferRegistration.h"

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"

namespace sigflow {

void RegisterSignalBufferClasses() {
  RegisterComponentClass<TSignalIncBuffer>("TSignalIncBuffer");
  RegisterComponentClass<TSignalDemux>("TSignalDemux");
}

namespace {
const bool registered = (RegisterSignalBufferClasses(), true);
}  // namespace

}  // namespace sigflow
