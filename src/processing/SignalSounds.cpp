#include "sigflow/processing/SignalSounds.h"

#include "sigflow/core/Exceptions.h"

namespace sigflow {

TSignalSounds::TSignalSounds(TComponent* AOwner)
    : TStreamTemplates(AOwner), list_(std::make_unique<TFuncSignalList>()) {
  TStreamTemplates::SetTemplate(list_.get());
}

TSignalSounds::~TSignalSounds() { TStreamTemplates::SetTemplate(nullptr); }

void TSignalSounds::SetTemplate(TFuncSignalList*) { throw ENoOperation("Operation not supported!"); }

}  // namespace sigflow
