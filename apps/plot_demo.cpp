// Renders demo plots offscreen: the spectrum of a few tones with harmonics on a noise floor
// (Blackman-Harris window, real FFT) at full and at widget size, the same spectrum on a
// logarithmic frequency axis, a two-channel time signal and a matrix image.
//   plot_demo [output-directory]
#include <sigflow/Numeric.h>
#include <sigflow/gui/PlotRenderer.h>

#include <cmath>
#include <complex>
#include <iostream>
#include <numbers>
#include <string>
#include <vector>

using namespace sigflow;

int main(int argc, char** argv) {
  const std::string dir = argc > 1 ? std::string(argv[1]) + "/" : std::string();
  const double fs = 48000.0;
  const int n = 16384;
  struct Tone {
    double Hz, Db;
  };
  // A 1 kHz fundamental with falling harmonics, and a weaker 7.3 kHz tone with one harmonic.
  const std::vector<Tone> tones = {{1000.0, 0.0},   {2000.0, -42.0}, {3000.0, -55.0}, {5000.0, -71.0},
                                   {7300.0, -18.0}, {14600.0, -60.0}};

  TVec noise(n);
  RandGauss(noise, 0.0, 2e-5, 7);
  TVec window;
  BlackmanHarris(window, n, wsPeriodic);
  std::vector<double> x(n);
  double windowSum = 0.0;
  for (int i = 0; i < n; ++i) {
    double v = noise.Data()[i];
    for (const Tone& t : tones) v += std::pow(10.0, t.Db / 20.0) * std::sin(2.0 * std::numbers::pi * t.Hz * i / fs);
    x[i] = v * window.Data()[i];
    windowSum += window.Data()[i];
  }
  std::vector<std::complex<double>> spec(n / 2 + 1);
  RealFFT(x, spec);
  std::vector<double> amplitude(spec.size());
  for (std::size_t k = 0; k < spec.size(); ++k) amplitude[k] = 2.0 * std::abs(spec[k]) / windowSum;

  const double binHz = fs / n;
  TPlotData d = SpectrumPlot(amplitude, 0.0, binHz);
  d.Title = "Spectrum: 1 kHz and 7.3 kHz tones with harmonics (Blackman-Harris, N = 16384)";
  d.DecibelFloor = -160.0;
  // Marks at the interpolated maxima near each tone (parabola through the dB values).
  for (const Tone& t : tones) {
    const int k0 = static_cast<int>(std::lround(t.Hz / binHz));
    int k = k0;
    for (int j = k0 - 3; j <= k0 + 3; ++j)
      if (amplitude[j] > amplitude[k]) k = j;
    const double a = 20 * std::log10(amplitude[k - 1]), b = 20 * std::log10(amplitude[k]),
                 c = 20 * std::log10(amplitude[k + 1]);
    const double delta = 0.5 * (a - c) / (a - 2 * b + c);
    const double f = (k + delta) * binHz, db = b - 0.25 * (a - c) * delta;
    char level[32];
    std::snprintf(level, sizeof level, "%.1f dB", db);
    d.Peaks.push_back({f, std::pow(10.0, db / 20.0), FormatEngineering(f, "Hz", 1.0) + "  " + level});
  }
  RenderPlotToPng(d, dir + "spectrum_demo.png");

  // The size a form would give the widget.
  RenderPlotToPng(d, dir + "spectrum_demo_small.png", 640, 400);

  d.XScale = asLogarithmic;
  d.Title = "Same spectrum, logarithmic frequency axis";
  RenderPlotToPng(d, dir + "spectrum_demo_log.png");

  // Two channels: a 50 Hz sine and a clipped, delayed copy.
  const double dt = 1.0 / 8000.0;
  std::vector<double> samples;
  for (int i = 0; i < 480; ++i) {
    const double s = std::sin(2 * std::numbers::pi * 50.0 * i * dt);
    samples.push_back(s);
    samples.push_back(std::clamp(1.4 * std::sin(2 * std::numbers::pi * 50.0 * (i * dt - 0.002)), -0.8, 0.8));
  }
  TPlotData ts = TimeSignalPlot(samples, 2, 0.0, dt);
  ts.Title = "Time signal, two channels";
  ts.ChannelNames = {"Input", "Clipped"};
  RenderPlotToPng(ts, dir + "time_demo.png");

  // A matrix: the magnitude of a two-dimensional Gaussian ridge.
  const int rows = 64, cols = 96;
  std::vector<double> m(rows * cols);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c)
      m[r * cols + c] = std::exp(-std::pow((c - 1.3 * r - 10) / 8.0, 2)) + 0.3 * std::exp(-std::pow((c - 70) / 5.0, 2) - std::pow((r - 20) / 6.0, 2));
  TPlotData md = MatrixPlot(m, rows, cols);
  md.Title = "Matrix image";
  md.XStep = md.YStep = 125.0;
  md.XUnit = "Hz";
  md.XTitle = "f1";
  md.YTitle = "f2";
  md.YUnit = "Hz";
  RenderPlotToPng(md, dir + "matrix_demo.png");
  std::cout << "wrote " << dir << "spectrum_demo.png, spectrum_demo_small.png, spectrum_demo_log.png, time_demo.png, matrix_demo.png\n";
  return 0;
}
