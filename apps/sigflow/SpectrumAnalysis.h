#pragma once
// The analysis behind `sigflow analyze`: an averaged amplitude spectrum of one channel, its
// largest peaks and the single-tone measurements. Everything numeric goes through
// AnalyzeSpectrum, so a spectrum analyzer component can replace it in one place.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/numeric/ToneMeasurements.h"
#include "sigflow/numeric/Windows.h"

namespace sigflow::cli {

// Frames of one real channel, delivered block by block.
class TSampleSource {
public:
  virtual ~TSampleSource() = default;
  virtual double SamplingFrequency() const = 0;
  // Frames the source will deliver in all.
  virtual std::int64_t Frames() const = 0;
  // Up to dst.size() next samples into dst; returns how many (0 at the end).
  virtual std::size_t Read(std::vector<double>& dst) = 0;
};

enum TAveraging : std::uint8_t { avLinear, avExponential, avPeakHold };

struct TWindowChoice {
  TSignalWindowType Type = wtKaiser;
  double Param = 20.0;
  std::string Name = "kaiser:20";
};

struct TAnalysisSettings {
  int FftSize = 8192;
  double OverlapPercent = 50;
  int ZeroPadding = 1;  // transform length = FftSize * ZeroPadding
  TWindowChoice Window;
  int Averages = 0;  // 0: every frame
  TAveraging Averaging = avLinear;
  int Peaks = 5;
  int Harmonics = 10;
};

struct TPeak {
  double Frequency = 0;  // Hz
  double Amplitude = 0;  // peak amplitude of the tone, in the signal's units
};

struct TAnalysisReport {
  double SamplingFrequency = 0;
  double Duration = 0;  // s
  double Rms = 0;
  std::int64_t FramesAveraged = 0;
  double BinHz = 0;
  int MainlobeWidth = 0;
  std::vector<double> Amplitudes;  // one-sided amplitude spectrum, bins 0 .. N/2
  std::vector<TPeak> Peaks;        // largest first
  TToneMeasurement Tone;
};

// Parses a window name: rect, hann, hamming, blackman, blackman-harris, blackman-exact,
// flattop, bartlett, cosine:TAPER, kaiser:BETA, chebyshev:DB, exponential:END.
TWindowChoice ParseWindow(const std::string& name);
TAveraging ParseAveraging(const std::string& name);

// Reads the whole source (progress reports frames read) and analyses it.
class TProgress;
TAnalysisReport AnalyzeSpectrum(TSampleSource& source, const TAnalysisSettings& settings, TProgress* progress);

// Peaks and tone figures of r.Amplitudes (one-sided, r.SamplingFrequency and r.BinHz set),
// a spectrum made with the window and transform length of s.
void MeasureSpectrum(TAnalysisReport& r, const TAnalysisSettings& s);
// The analysis window of s: periodic, FftSize points.
std::vector<double> AnalysisWindow(const TAnalysisSettings& s);

// Peak of a tone refined between bins: fits the window's own transform to the bins around
// bin k of amplitudes (a spectrum of `window` zero-padded to `transformLength`). Returns the
// position in bins and the amplitude. Exposed for the report of single peaks.
TPeak RefinePeak(const std::vector<double>& amplitudes, int k, const std::vector<double>& window, int transformLength,
                 int halfWidth);

}  // namespace sigflow::cli
