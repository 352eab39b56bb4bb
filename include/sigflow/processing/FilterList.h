#pragma once
// TFilterList: the band template store of a signal filter; its working copy is a
// TBandFilterList that it owns.
#include <memory>

#include "sigflow/processing/BandFilterList.h"
#include "sigflow/tools/StreamTemplates.h"

namespace sigflow {

class TFilterList : public TStreamTemplates {
public:
  // Filter tags the persisted data with its class name and owns the band list's checks.
  explicit TFilterList(TSignalFilter* Filter = nullptr);
  ~TFilterList() override;

  std::string ClassName() const override { return "TFilterList"; }

  TBandFilterList* Bands() const { return bands_.get(); }
  // The working copy cannot be replaced: always raises Exception "Operation not supported!".
  void SetTemplate(TStreamedList* Value);

private:
  std::unique_ptr<TBandFilterList> bands_;
};

}  // namespace sigflow
