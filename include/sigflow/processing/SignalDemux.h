#pragma once
// TSignalDemux: picks one channel out of an interleaved multi-channel Input. Sample k of
// channel c lies at k * ChannelCount + c, so the output is input samples Channel,
// Channel + C, Channel + 2C, ... as a single-channel signal at the input's per-channel rate.
#include <string>

#include "sigflow/tools/Signal.h"

namespace sigflow {

class TSignalDemux : public TSignal {
public:
  explicit TSignalDemux(TComponent* AOwner);

  std::string ClassName() const override { return "TSignalDemux"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Zero-based channel; stored as given. A negative channel fails at the next update
  // (TVec's DownSample rejects a negative phase); one past the last channel reads on into
  // the next frame's samples.
  int Channel() const { return channel_; }
  void SetChannel(int Value);

protected:
  bool InternalUpdate() override;

private:
  int channel_ = 0;
};

}  // namespace sigflow
