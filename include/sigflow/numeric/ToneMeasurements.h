#pragma once
// Single-tone measurements on a one-sided amplitude spectrum, in the manner of audio and ADC
// testing (IEEE Std 1241). Let P[k] = amplt[k]^2 for the bins k = 0 .. L-1, where bin k lies
// at startHz + k * binHz. Bins are grouped so that each belongs to the first group that
// claims it:
//   DC          bins within halfLobe of 0 Hz (only when bin 0 is 0 Hz),
//   fundamental bins within halfLobe of the fundamental's bin,
//   harmonics   bins within halfLobe of the bins of orders 2 .. harmonics (each folded into
//               0 .. fs/2 when fs > 0, as a sampled harmonic aliases),
//   noise       every other bin,
// with halfLobe = mainlobeWidth / 2 bins. Summing P over a tone's lobe measures its power
// whatever the window, and noise summed over bins scales the same way, so the ratios below
// need no window correction. With Pm the mean P over the noise bins, the tone lobes are
// credited with noise of Pm per bin, which is taken out of them, and the noise is
// extrapolated over all bins:
//   Ps = sum P over the fundamental lobe - Pm * (bins in it)       (not below 0)
//   Ph = sum P over the harmonic lobes   - Pm * (bins in them)     (not below 0)
//   Pn = Pm * L
//   THD  = 100 * sqrt(Ph / Ps)            [%]     THDN  = 100 * sqrt((Ph + Pn) / Ps)   [%]
//   SNR  = 10 log10(Ps / Pn)              [dB]    SINAD = 10 log10(Ps / (Ph + Pn))     [dB]
//   SFDR = 20 log10(Afund / Aspur)        [dB]    NF    = 10 log10(Pn / L / Ps)        [dB]
// where Afund is the largest amplitude in the fundamental lobe, Aspur the largest amplitude
// outside DC and the fundamental lobe (harmonics included), and NF is the mean noise power
// per bin relative to the fundamental (dBc per bin).
#include <span>

namespace sigflow {

struct TToneSettings {
  double FundamentalHz = 0;   // frequency of the fundamental, Hz
  double BinHz = 1;           // spacing of the bins, Hz (> 0)
  double StartHz = 0;         // frequency of bin 0, Hz
  double SamplingHz = 0;      // sampling frequency for folding harmonics; 0 = no folding
  int Harmonics = 10;         // highest harmonic order counted (the fundamental is order 1)
  int MainlobeWidth = 8;      // width of a tone's main lobe in bins (>= 1)
};

struct TToneMeasurement {
  double FundamentalPower = 0;  // Ps
  double HarmonicPower = 0;     // Ph
  double NoisePower = 0;        // Pn, extrapolated to all L bins
  double FundamentalAmplitude = 0;
  double SpurAmplitude = 0;
  int NoiseBins = 0;
  int Bins = 0;  // L

  double THD() const;    // percent
  double THDN() const;   // percent
  double SNR() const;    // dB
  double SINAD() const;  // dB
  double SFDR() const;   // dB
  double NF() const;     // dB per bin relative to the fundamental
};

// Measures amplt (linear amplitudes, not dB). Allocates nothing. Throws sigflow::Exception
// when BinHz is not positive or MainlobeWidth < 1.
TToneMeasurement MeasureTone(std::span<const double> amplt, const TToneSettings& settings);

}  // namespace sigflow
