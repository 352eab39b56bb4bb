#pragma once
// What a plot shows: plain data and display options, no component classes. One record
// describes a spectrum, a time signal (one or more channels) or a matrix drawn as an image.
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "sigflow/gui/AxisMapping.h"

namespace sigflow {

enum TPlotKind : std::uint8_t { pkSpectrum, pkTimeSignal, pkMatrix };

// How amplitudes are shown: linear, or in dB (20 log10 or 10 log10 of the linear value, see
// TPlotData::DecibelFactor).
enum TAmplitudeScale : std::uint8_t { amLinear, amDecibel };

enum TColorMap : std::uint8_t { cmViridis, cmGray, cmHot };

// A marked peak of a spectrum: drawn as a marker at (Frequency, Amplitude) with its label.
// Amplitude is in the unit of TPlotData::Values (linear, or dB when ValuesInDecibel).
struct TPeakMark {
  double Frequency = 0.0;  // Hz
  double Amplitude = 0.0;
  std::string Label;
};

struct TPlotData {
  TPlotKind Kind = pkSpectrum;
  std::string Title;
  // Axis titles; empty picks "Frequency", "Time" or "Column" for x and "Amplitude",
  // "Amplitude [dB]" or "Row" for y.
  std::string XTitle;
  std::string YTitle;
  bool Grid = true;

  // Abscissa of sample i: X[i] when X is not empty (then X.size() == number of samples, in
  // increasing order), else XStart + i * XStep. Hz for a spectrum, seconds for a time signal,
  // the column coordinate of a matrix.
  double XStart = 0.0;
  double XStep = 1.0;
  std::vector<double> X;
  TAxisScale XScale = asLinear;
  // Unit of the x tick labels (engineering prefixes); empty picks "Hz" for a spectrum, "s"
  // for a time signal and plain numbers for a matrix.
  std::string XUnit;
  // Unit of the y tick labels (matrix rows, or amplitudes); empty gives plain numbers.
  std::string YUnit;

  // Spectrum: one amplitude per bin. Time signal: Channels values per sample, interleaved
  // (s0c0, s0c1, ..., s1c0, ...). Matrix: Rows x Columns values, row after row.
  std::vector<double> Values;
  int Channels = 1;
  std::vector<std::string> ChannelNames;  // legend texts; empty gives "Channel 1", ...
  int Rows = 0;
  int Columns = 0;
  // Row coordinate of a matrix: YStart + r * YStep; row 0 is drawn at the bottom.
  double YStart = 0.0;
  double YStep = 1.0;

  // Amplitude display of a spectrum (and the colour scale of a matrix).
  TAmplitudeScale AmplitudeScale = amDecibel;
  bool ValuesInDecibel = false;  // Values (and peak amplitudes) are already in dB
  double DecibelFactor = 20.0;   // 20 for amplitudes, 10 for powers
  double DecibelReference = 1.0; // linear value shown as 0 dB
  double DecibelFloor = -200.0;  // dB values below are drawn at the floor (and log10(0) too)

  // Value range of the amplitude axis (or colour scale); AutoRange picks it from the data.
  bool AutoRange = true;
  double RangeMin = 0.0;
  double RangeMax = 1.0;

  std::vector<TPeakMark> Peaks;
  TColorMap ColorMap = cmViridis;
};

// Spectrum of amplitudes[i] at startHz + i * stepHz (stepHz > 0).
TPlotData SpectrumPlot(std::span<const double> amplitudes, double startHz, double stepHz);
// Spectrum at explicit frequencies (increasing, frequenciesHz.size() == amplitudes.size()).
TPlotData SpectrumPlot(std::span<const double> frequenciesHz, std::span<const double> amplitudes);
// Time signal of interleaved channels: sample n of channel c is samples[n * channels + c], at
// startTime + n * dt seconds. samples.size() must be a multiple of channels (the rest is
// ignored).
TPlotData TimeSignalPlot(std::span<const double> samples, int channels, double startTime, double dt);
// Matrix of rows x columns values, row after row (values.size() >= rows * columns).
TPlotData MatrixPlot(std::span<const double> values, int rows, int columns);

}  // namespace sigflow
