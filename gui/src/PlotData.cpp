#include "sigflow/gui/PlotData.h"

#include <algorithm>

namespace sigflow {

TPlotData SpectrumPlot(std::span<const double> amplitudes, double startHz, double stepHz) {
  TPlotData d;
  d.Kind = pkSpectrum;
  d.Values.assign(amplitudes.begin(), amplitudes.end());
  d.XStart = startHz;
  d.XStep = stepHz;
  return d;
}

TPlotData SpectrumPlot(std::span<const double> frequenciesHz, std::span<const double> amplitudes) {
  TPlotData d;
  d.Kind = pkSpectrum;
  const std::size_t n = std::min(frequenciesHz.size(), amplitudes.size());
  d.X.assign(frequenciesHz.begin(), frequenciesHz.begin() + static_cast<std::ptrdiff_t>(n));
  d.Values.assign(amplitudes.begin(), amplitudes.begin() + static_cast<std::ptrdiff_t>(n));
  return d;
}

TPlotData TimeSignalPlot(std::span<const double> samples, int channels, double startTime, double dt) {
  TPlotData d;
  d.Kind = pkTimeSignal;
  d.Channels = std::max(1, channels);
  const std::size_t frames = samples.size() / static_cast<std::size_t>(d.Channels);
  d.Values.assign(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(frames * d.Channels));
  d.XStart = startTime;
  d.XStep = dt;
  d.AmplitudeScale = amLinear;
  return d;
}

TPlotData MatrixPlot(std::span<const double> values, int rows, int columns) {
  TPlotData d;
  d.Kind = pkMatrix;
  d.Rows = std::max(0, rows);
  d.Columns = std::max(0, columns);
  const std::size_t n = std::min(values.size(), static_cast<std::size_t>(d.Rows) * d.Columns);
  if (n < static_cast<std::size_t>(d.Rows) * d.Columns) d.Rows = d.Columns = 0;
  d.Values.assign(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(d.Rows * d.Columns));
  d.AmplitudeScale = amLinear;
  return d;
}

}  // namespace sigflow
