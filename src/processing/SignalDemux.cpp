#include "sigflow/processing/SignalDemux.h"

#include "sigflow/core/ClassRegistry.h"

namespace sigflow {

TSignalDemux::TSignalDemux(TComponent* AOwner) : TSignal(AOwner) {}

const TPropertyTable& TSignalDemux::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(),
                                    {
                                        ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
                                        Property("Channel", &TSignalDemux::Channel, &TSignalDemux::SetChannel, 0),
                                    });
  return table;
}

void TSignalDemux::SetChannel(int Value) {
  if (Value == channel_) return;
  channel_ = Value;
  SetDirty(true);
}

bool TSignalDemux::InternalUpdate() {
  TSignal* in = Input();
  if (in == nullptr) return true;
  // BeforeInternalUpdate adopted the input's channel count; the output has one channel at
  // the same per-channel rate (SetChannelCount keeps Dt, the length change keeps the rate).
  const int channels = in->ChannelCount();
  SetChannelCount(1);
  Data().DownSample(in->Data(), channels, channel_);
  return true;
}

namespace {
const bool registered = RegisterComponentClass<TSignalDemux>("TSignalDemux");
}  // namespace

}  // namespace sigflow
