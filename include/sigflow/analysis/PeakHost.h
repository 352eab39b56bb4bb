#pragma once
// What the peak and band analyzers need from the spectrum analyzer that owns them. The
// analyzer implements this interface; the peak and band classes see nothing else of it, so
// they can be built and tested on their own.
#include <cstdint>

#include "sigflow/numeric/Vec.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

class TPeakHost {
public:
  virtual ~TPeakHost() = default;

  // The analyzer as a spectrum: linear Amplt (before any dB step), Phase, Marks, HzRes,
  // BandWidthL, SamplingFrequency, MainlobeWidth, Harmonics.
  virtual TSpectrum& HostSpectrum() = 0;
  // Complex spectrum X of the last frame (bins in the order of Amplt), and whether it is
  // valid for the estimators that need it (False once averaging has mixed frames).
  virtual const TVec& HostComplexSpectrum() const = 0;
  virtual bool HostComplexSpectrumValid() const = 0;
  // Transform length over input length of the last frame (1 without zero padding; 0 before
  // the first spectrum).
  virtual double HostZeroPaddingRatio() const = 0;
  // Ordinal of the window type (0 = rectangular) and of the spectrum type (0..4).
  virtual int HostWindow() const = 0;
  virtual int HostSpectrumType() const = 0;
  // Frames averaged so far (0 without averaging).
  virtual std::uint32_t HostAveraged() const = 0;
  // Bin of Freq moved to the nearest local maximum of Amplt, as a frequency in Hz.
  virtual double HostConvergeToMaximum(double Freq) = 0;
};

}  // namespace sigflow
