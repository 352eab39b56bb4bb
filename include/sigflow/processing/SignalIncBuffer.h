#pragma once
// TSignalIncBuffer: grows its block by appending each Input block until it holds Factor
// input blocks, then slides: each new block of n samples drops the oldest n and is appended
// at the end. With blocks of n samples and Factor k the output holds n, 2n, .. kn samples,
// then always kn, the newest last - overlapping analysis frames of a stream.
//
// When n * Factor falls below the own length (shorter blocks) the window restarts from that
// block. Longer blocks are appended while the window is shorter than n * Factor, so it can
// overshoot by less than one block, and the next block restarts it.
#include <string>

#include "sigflow/tools/Signal.h"

namespace sigflow {

class TSignalIncBuffer : public TSignal {
public:
  explicit TSignalIncBuffer(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalIncBuffer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Number of input blocks in the full window; at least 1 (smaller values become 1).
  int Factor() const { return factor_; }
  void SetFactor(int Value);

  // Empties the window; the next block starts it again.
  virtual void Reset();

protected:
  bool InternalUpdate() override;

private:
  int factor_ = 1;
};

}  // namespace sigflow
