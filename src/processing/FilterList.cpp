#include "sigflow/processing/FilterList.h"

#include "sigflow/core/Exceptions.h"
#include "sigflow/processing/SignalFilter.h"

namespace sigflow {

TFilterList::TFilterList(TSignalFilter* Filter)
    : TStreamTemplates(Filter), bands_(std::make_unique<TBandFilterList>(Filter)) {
  TStreamTemplates::SetTemplate(bands_.get());
}

TFilterList::~TFilterList() { TStreamTemplates::SetTemplate(nullptr); }

void TFilterList::SetTemplate(TStreamedList*) { throw Exception("Operation not supported!"); }

}  // namespace sigflow
