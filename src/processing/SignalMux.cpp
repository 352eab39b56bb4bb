#include "sigflow/processing/SignalMux.h"

#include <string>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

TSignalMux::TSignalMux(TComponent* AOwner) : TSignal(AOwner) { SetMultiChannel(true); }

const TPropertyTable& TSignalMux::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(), {
                                                                     ObjectProperty("Inputs", &TAnalysis::Inputs),
                                                                 });
  return table;
}

int TSignalMux::GetChannelCount() const { return Inputs() ? Inputs()->Count() : 0; }

void TSignalMux::BeforeInternalUpdate() {
  const bool complex = Complex();
  TSignal::BeforeInternalUpdate();
  SetComplex(complex);
}

bool TSignalMux::InternalUpdate() {
  TSignalCollection* inputs = Inputs();
  if (inputs == nullptr) return true;
  const int n = inputs->Count();
  // The stored channel count drives the timing: with N channels the rate stays per channel.
  TSignal::SetChannelCount(n);
  if (n == 0) {
    SetLength(0);
    return true;
  }
  // Update has checked the items unless UsesInputs is off.
  for (int i = 0; i < n; ++i)
    if (inputs->Items(i)->Input() == nullptr) throw Exception("Inputs[" + std::to_string(i) + "] = nil!");
  const int frames = inputs->Items(0)->Input()->Length();
  TVec& dst = Data();
  dst.SetLength(frames * n);
  const bool complex = dst.Complex();
  for (int i = 0; i < n; ++i) {
    const TVec& src = inputs->Items(i)->Input()->Data();
    if (src.Complex() != complex) throw Exception("Inputs[i].Input.Complex <> Self.Complex!");
    if (dst.Length() / n != src.Length()) throw Exception("Inputs[i].Input.Length <> Self.Length!");
    if (complex) {
      const TCplx* s = src.CData();
      TCplx* d = dst.CData() + i;
      for (int k = 0; k < frames; ++k) d[k * n] = s[k];
    } else {
      const double* s = src.Data();
      double* d = dst.Data() + i;
      for (int k = 0; k < frames; ++k) d[k * n] = s[k];
    }
  }
  return true;
}

namespace {
const bool registered = RegisterComponentClass<TSignalMux>("TSignalMux");
}  // namespace

}  // namespace sigflow
