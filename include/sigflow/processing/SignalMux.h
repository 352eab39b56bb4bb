#pragma once
// TSignalMux: interleaves the single-channel signals of its Inputs, one item per channel in
// channel order, into one multi-channel signal: sample k of input i lands at k * N + i for
// N inputs. All inputs must be as long as the first and of the mux's own kind: the mux keeps
// its Complex flag (it does not follow its inputs), so set it to match them.
#include <string>

#include "sigflow/tools/Signal.h"

namespace sigflow {

class TSignalMux : public TSignal {
public:
  explicit TSignalMux(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalMux"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // The number of input items (0 without an Inputs collection).
  int GetChannelCount() const override;

protected:
  // The inherited adoption, except that the own Complex flag is kept.
  void BeforeInternalUpdate() override;
  // Raises "Inputs[i].Input.Complex <> Self.Complex!" or "Inputs[i].Input.Length <>
  // Self.Length!" (the letter i as written) for the first input that does not match.
  bool InternalUpdate() override;
};

}  // namespace sigflow
