#include "sigflow/processing/BufferRegistration.h"

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/processing/SignalBuffer.h"
#include "sigflow/processing/SignalDecBuffer.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/processing/SignalMux.h"

namespace sigflow {

void RegisterSignalBufferClasses() {
  RegisterComponentClass<TSignalBuffer>("TSignalBuffer");
  RegisterComponentClass<TSignalIncBuffer>("TSignalIncBuffer");
  RegisterComponentClass<TSignalDecBuffer>("TSignalDecBuffer");
  RegisterComponentClass<TSignalMux>("TSignalMux");
  RegisterComponentClass<TSignalDemux>("TSignalDemux");
}

namespace {
const bool registered = (RegisterSignalBufferClasses(), true);
}  // namespace

}  // namespace sigflow
