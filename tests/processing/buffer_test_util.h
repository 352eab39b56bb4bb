#pragma once
// A pull-driven source for the buffer and channel tests: each update emits the next block of
// Frames() frames of Channels() interleaved channels. Sample k (counted over the whole
// stream) of channel c is Value(k, c) = 10 k + c, or the complex (10 k + c, -k) when Complex,
// so every output sample tells where it came from. After Blocks() blocks (when > 0) the
// source reports the end of its data.
#include <complex>
#include <string>
#include <vector>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/tools/Signal.h"

namespace sigflow::test {

class TRampSource : public TSignal {
public:
  explicit TRampSource(TComponent* AOwner) : TSignal(AOwner) { SetUsesInputs(false); }
  std::string ClassName() const override { return "TRampSource"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TSignal::ClassProperties(), {
        Property("Frames", &TRampSource::Frames, &TRampSource::SetFrames, 0),
        Property("Channels", &TRampSource::Channels, &TRampSource::SetChannels, 1),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  static double Value(long long k, int c) { return 10.0 * double(k) + c; }
  static std::complex<double> CValue(long long k, int c) { return {Value(k, c), -double(k)}; }

  int Frames() const { return frames_; }
  void SetFrames(int Value) { frames_ = Value; }
  int Channels() const { return channels_; }
  void SetChannels(int Value) { channels_ = Value; }
  int Blocks() const { return blocks_; }
  void SetBlocks(int Value) { blocks_ = Value; }
  bool MakeComplex() const { return complex_; }
  void SetMakeComplex(bool Value) { complex_ = Value; }
  long long Next() const { return next_; }
  int Updates() const { return updates_; }

protected:
  bool InternalUpdate() override {
    if (blocks_ > 0 && updates_ >= blocks_) return false;
    ++updates_;
    SetChannelCount(channels_);
    Data().Size(frames_ * channels_, complex_);
    for (int k = 0; k < frames_; ++k)
      for (int c = 0; c < channels_; ++c) {
        if (complex_) Data().SetCValues(k * channels_ + c, CValue(next_ + k, c));
        else Data().SetValues(k * channels_ + c, Value(next_ + k, c));
      }
    next_ += frames_;
    return true;
  }

private:
  int frames_ = 0;
  int channels_ = 1;
  int blocks_ = 0;
  bool complex_ = false;
  long long next_ = 0;
  int updates_ = 0;
};

inline bool RegisterRampSource() { return RegisterComponentClass<TRampSource>("TRampSource"); }

// Data of a signal as complex samples.
inline std::vector<std::complex<double>> Samples(const TVec& v) {
  std::vector<std::complex<double>> out;
  for (int i = 0; i < v.Length(); ++i) out.push_back(v.CValues(i));
  return out;
}
inline std::vector<std::complex<double>> Samples(const TSignal& s) { return Samples(s.Data()); }

}  // namespace sigflow::test
