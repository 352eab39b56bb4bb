#pragma once
// A pull-driven source for the buffer and channel tests: each update emits the next Frames
// frames of Channels interleaved channels, sample k (over the whole stream) of channel c
// being Value(k, c) = 10 k + c (complex: (10 k + c, -k)), so each output sample tells where it
// came from. After Blocks blocks (when > 0) it reports the end of its data.
#include <complex>
#include <vector>

#include "sigflow/tools/Signal.h"

namespace sigflow::test {

class TRampSource : public TSignal {
public:
  explicit TRampSource(TComponent* AOwner, int frames = 0, int channels = 1) : TSignal(AOwner) {
    SetUsesInputs(false);
    Frames = frames;
    Channels = channels;
  }
  static double Value(long long k, int c) { return 10.0 * double(k) + c; }
  static std::complex<double> CValue(long long k, int c) { return {Value(k, c), -double(k)}; }

  int Frames, Channels, Blocks = 0, Updates = 0;
  bool MakeComplex = false;
  long long Next = 0;  // stream index of the next frame

protected:
  bool InternalUpdate() override {
    if (Blocks > 0 && Updates >= Blocks) return false;
    ++Updates;
    SetChannelCount(Channels);
    Data().Size(Frames * Channels, MakeComplex);
    for (int i = 0; i < Frames * Channels; ++i) Data().SetCValues(i, CValue(Next + i / Channels, i % Channels));
    Next += Frames;
    return true;
  }
};

// Real parts of a signal's samples; Frames(first, n, channels): the ramp's values there.
inline std::vector<double> Reals(const TSignal& s) {
  std::vector<double> out;
  for (int i = 0; i < s.Length(); ++i) out.push_back(s.Data().CValues(i).real());
  return out;
}
inline std::vector<double> Frames(long long first, int n, int channels = 1) {
  std::vector<double> out;
  for (long long k = first; k < first + n; ++k)
    for (int c = 0; c < channels; ++c) out.push_back(TRampSource::Value(k, c));
  return out;
}

}  // namespace sigflow::test
