// Two components wired together: a source that produces a ramp block by block and a consumer
// that keeps a running peak of its input. Pulling the consumer updates the source first.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "sigflow/SignalTools.h"

using namespace sigflow;

class TRamp : public TSignal {
public:
  explicit TRamp(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(false); }
  int BlocksLeft = 3;

protected:
  bool InternalUpdate() override {
    if (BlocksLeft-- == 0) return false;  // end of data: the pull returns false
    for (int i = 0; i < Length(); ++i) SetValues(i, next_++);
    return true;
  }

private:
  double next_ = 0;
};

class TRunningPeak : public TSignal {
public:
  explicit TRunningPeak(TComponent* AOwner) : TSignal(AOwner) { SetLength(1); }

protected:
  // Input's sampling frequency, channel count and complexity were adopted just before.
  bool InternalUpdate() override {
    SetValues(0, std::max(Values(0), Input()->Peak()));
    return true;
  }
};

int main() {
  TComponent form(nullptr);
  auto* ramp = new TRamp(&form);  // owned and freed by the form
  ramp->SetName("Ramp");
  ramp->SetSamplingFrequency(48000);
  ramp->SetLength(256);  // keeps 48 kHz: the block lasts 256 / 48000 s
  auto* peak = new TRunningPeak(&form);
  peak->SetName("Peak");
  peak->SetInput(ramp);
  peak->SetOnAfterUpdate([](TObject* Sender) {
    auto* p = static_cast<TRunningPeak*>(Sender);
    std::printf("%s: peak %g at %g Hz\n", p->Name().c_str(), p->Values(0), p->SamplingFrequency());
  });
  peak->PullUntilEnd();  // three blocks, then the ramp reports its end
  return peak->Values(0) == 767 ? 0 : 1;
}
