#pragma once
// The template store of a signal generator: named formulas, the selected one held in a
// TFuncSignalList working copy that the store owns.
#include <memory>
#include <string>

#include "sigflow/processing/FuncSignalList.h"
#include "sigflow/tools/StreamTemplates.h"

namespace sigflow {

class TSignalSounds : public TStreamTemplates {
public:
  explicit TSignalSounds(TComponent* AOwner = nullptr);
  ~TSignalSounds() override;

  std::string ClassName() const override { return "TSignalSounds"; }

  // The working copy: the lines of the selected formula.
  TFuncSignalList* Template() const { return list_.get(); }
  // Always raises ENoOperation "Operation not supported!".
  void SetTemplate(TFuncSignalList* Value);

private:
  std::unique_ptr<TFuncSignalList> list_;
};

}  // namespace sigflow
