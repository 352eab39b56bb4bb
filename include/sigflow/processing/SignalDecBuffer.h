#pragma once
// TSignalDecBuffer: splits each Input block into Factor parts of Length div Factor samples
// and delivers one part per pull, the last part first: a pull with the counter at 0 takes a
// new input block and delivers part Factor - 1; the next pulls re-run on the held block and
// deliver parts Factor - 2 .. 0; then the next input block is pulled.
#include <string>

#include "sigflow/tools/Signal.h"

namespace sigflow {

class TSignalDecBuffer : public TSignal {
public:
  explicit TSignalDecBuffer(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalDecBuffer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Parts per input block; at least 1 (smaller values become 1).
  int Factor() const { return factor_; }
  void SetFactor(int Value);
  // Pulls since the last input block: 0 .. Factor - 1.
  int Counter() const { return counter_; }

  // The next pull takes a new input block.
  virtual void Reset();

protected:
  bool InternalPull() override;
  bool InternalUpdate() override;

private:
  int factor_ = 1;
  int counter_ = 0;
};

}  // namespace sigflow
