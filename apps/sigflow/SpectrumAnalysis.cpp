#include "SpectrumAnalysis.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <numbers>
#include <span>

#include "Cli.h"
#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::cli {

namespace {

constexpr std::size_t ReadBlock = 65536;
// Exponential averaging time constant, in frames, when --averages is 0.
constexpr int DefaultExponentialFrames = 8;

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return s;
}

double ParseParam(const std::string& text, const std::string& name) {
  std::size_t used = 0;
  double v = 0;
  try {
    v = std::stod(text, &used);
  } catch (const std::exception&) {
    used = 0;
  }
  if (used != text.size() || !std::isfinite(v)) throw EUsage("bad parameter '" + text + "' of window '" + name + "'");
  return v;
}

// |W(x)| / W(0) of the window zero-padded to m points, x in bins of that transform. The phase
// rotates by multiplication and is re-anchored now and then so that long windows keep full
// precision.
double WindowResponse(const std::vector<double>& w, int m, double x, double sum) {
  const double step = -2.0 * std::numbers::pi * x / m;
  const std::complex<double> rot = std::polar(1.0, step);
  std::complex<double> z = 1.0, acc = 0.0;
  for (std::size_t n = 0; n < w.size(); ++n) {
    if ((n & 1023) == 0) z = std::polar(1.0, step * double(n));
    acc += w[n] * z;
    z *= rot;
  }
  return std::abs(acc) / sum;
}

// Distance from the centre to the first null of the window's transform, in bins of the
// unpadded transform (the main lobe's half width).
double FirstNull(const std::vector<double>& w, double sum) {
  const int n = int(w.size());
  constexpr double step = 0.02;
  double prev = 1.0;
  for (double x = step; x < 64.0; x += step) {
    const double v = WindowResponse(w, n, x, sum);
    if (v > prev) return x - step;
    prev = v;
  }
  return 64.0;
}

}  // namespace

TWindowChoice ParseWindow(const std::string& text) {
  const std::string name = Lower(text);
  const auto colon = name.find(':');
  const std::string base = name.substr(0, colon);
  const bool hasParam = colon != std::string::npos;
  struct Fixed {
    const char* Name;
    TSignalWindowType Type;
  };
  static constexpr Fixed fixed[] = {
      {"rect", wtRectangular},         {"rectangular", wtRectangular}, {"hann", wtHanning},
      {"hanning", wtHanning},          {"hamming", wtHamming},         {"flattop", wtFlatTop},
      {"bartlett", wtBartlett},        {"blackman", wtBlackman},       {"blackman-harris", wtBlackmanHarris},
      {"blackman-exact", wtExactBlackman},
  };
  for (const auto& f : fixed) {
    if (base == f.Name) {
      if (hasParam) throw EUsage("window '" + base + "' takes no parameter");
      return {f.Type, 0.0, base};
    }
  }
  struct Param {
    const char* Name;
    TSignalWindowType Type;
    double Default;
  };
  static constexpr Param param[] = {
      {"kaiser", wtKaiser, 20.0},
      {"chebyshev", wtChebyshev, 200.0},
      {"cosine", wtCosineTapered, 0.5},
      {"exponential", wtExponential, 0.1},
  };
  for (const auto& p : param) {
    if (base == p.Name) {
      const double v = hasParam ? ParseParam(name.substr(colon + 1), base) : p.Default;
      if (v < 0 || (p.Type == wtExponential && v <= 0) || (p.Type == wtChebyshev && v == 0))
        throw EUsage("bad parameter of window '" + base + "'");
      return {p.Type, v, base + ":" + FormatNumber(v)};
    }
  }
  throw EUsage("unknown window '" + text +
               "' (rect, hann, hamming, blackman, blackman-harris, blackman-exact, flattop, bartlett, "
               "kaiser:BETA, chebyshev:DB, cosine:TAPER, exponential:END)");
}

TAveraging ParseAveraging(const std::string& text) {
  const std::string name = Lower(text);
  if (name == "linear") return avLinear;
  if (name == "exponential") return avExponential;
  if (name == "peak-hold" || name == "peakhold" || name == "peak") return avPeakHold;
  throw EUsage("unknown averaging '" + text + "' (linear, exponential, peak-hold)");
}

TPeak RefinePeak(const std::vector<double>& y, int k, const std::vector<double>& w, int m, int halfWidth) {
  double sum = 0;
  for (double v : w) sum += v;
  const int lo = std::max(0, k - halfWidth), hi = std::min(int(y.size()) - 1, k + halfWidth);
  // Least-squares amplitude for a tone at position pos, and the fit's residual.
  auto fit = [&](double pos, double& amplitude) {
    double yg = 0, gg = 0;
    double g[16];
    for (int j = lo; j <= hi; ++j) {
      g[j - lo] = WindowResponse(w, m, double(j) - pos, sum);
      yg += y[std::size_t(j)] * g[j - lo];
      gg += g[j - lo] * g[j - lo];
    }
    amplitude = gg > 0 ? yg / gg : 0.0;
    double r = 0;
    for (int j = lo; j <= hi; ++j) {
      const double e = y[std::size_t(j)] - amplitude * g[j - lo];
      r += e * e;
    }
    return r;
  };
  // Golden-section search: the residual has one minimum within half a bin or so of k.
  const double phi = (std::sqrt(5.0) - 1.0) / 2.0;
  double a = k - 0.6, b = k + 0.6, amp = 0;
  double c = b - phi * (b - a), d = a + phi * (b - a);
  double fc = fit(c, amp), fd = fit(d, amp);
  for (int it = 0; it < 80 && b - a > 1e-9; ++it) {
    if (fc < fd) {
      b = d;
      d = c;
      fd = fc;
      c = b - phi * (b - a);
      fc = fit(c, amp);
    } else {
      a = c;
      c = d;
      fc = fd;
      d = a + phi * (b - a);
      fd = fit(d, amp);
    }
  }
  const double pos = 0.5 * (a + b);
  fit(pos, amp);
  return {pos, amp};
}

TAnalysisReport AnalyzeSpectrum(TSampleSource& source, const TAnalysisSettings& s, TProgress* progress) {
  if (s.FftSize < 4) throw EUsage("--fft-size must be at least 4");
  if (s.FftSize % 2 != 0) throw EUsage("--fft-size must be even");
  if (!(s.OverlapPercent >= 0 && s.OverlapPercent < 100)) throw EUsage("--overlap must be in [0, 100)");
  if (s.ZeroPadding < 1 || s.ZeroPadding > 64) throw EUsage("--zero-padding must be 1 .. 64");
  if (s.Averages < 0) throw EUsage("--averages must not be negative");
  if (s.Peaks < 0) throw EUsage("--peaks must not be negative");
  const double fs = source.SamplingFrequency();
  if (!(fs > 0)) throw EUsage("the sampling frequency is not positive");

  const int n = s.FftSize;
  const int m = n * s.ZeroPadding;
  const int bins = m / 2 + 1;
  const int hop = std::max(1, int(std::lround(n * (1.0 - s.OverlapPercent / 100.0))));

  const std::vector<double> window = AnalysisWindow(s);
  double wsum = 0;
  for (double v : window) wsum += v;
  if (!(wsum > 0)) throw EUsage("window '" + s.Window.Name + "' sums to zero");

  std::vector<double> padded(std::size_t(m), 0.0);
  std::vector<TCplx> spectrum(static_cast<std::size_t>(bins));
  std::vector<double> acc(std::size_t(bins), 0.0);
  std::vector<double> pending;
  pending.reserve(std::size_t(n) + ReadBlock);
  std::vector<double> block(ReadBlock);

  const std::int64_t frameLimit = (s.Averaging == avExponential) ? 0 : s.Averages;
  const int expFrames = s.Averages > 0 ? s.Averages : DefaultExponentialFrames;
  std::int64_t frames = 0, samples = 0;
  double sumSquares = 0;
  std::size_t offset = 0;

  auto processFrame = [&](const double* x) {
    for (int i = 0; i < n; ++i) padded[std::size_t(i)] = x[i] * window[std::size_t(i)];
    RealFFT(padded, spectrum);
    ++frames;
    const double alpha = 1.0 / double(std::min<std::int64_t>(frames, expFrames));
    for (std::size_t k = 0; k < acc.size(); ++k) {
      const double p = std::norm(spectrum[k]);
      switch (s.Averaging) {
        case avLinear: acc[k] += p; break;
        case avExponential: acc[k] += alpha * (p - acc[k]); break;
        case avPeakHold: acc[k] = std::max(acc[k], p); break;
      }
    }
  };

  for (;;) {
    const std::size_t got = source.Read(block);
    if (got == 0) break;
    for (std::size_t i = 0; i < got; ++i) sumSquares += block[i] * block[i];
    samples += std::int64_t(got);
    if (progress) progress->Update(samples);
    if (frameLimit > 0 && frames >= frameLimit) continue;
    pending.insert(pending.end(), block.begin(), block.begin() + std::ptrdiff_t(got));
    while (pending.size() - offset >= std::size_t(n) && (frameLimit == 0 || frames < frameLimit)) {
      processFrame(pending.data() + offset);
      offset += std::size_t(hop);
    }
    if (offset > 0) {
      const std::size_t drop = std::min(offset, pending.size());
      pending.erase(pending.begin(), pending.begin() + std::ptrdiff_t(drop));
      offset -= drop;
    }
  }
  if (frames == 0)
    throw EUsage("the signal has " + std::to_string(samples) + " samples, fewer than one frame of " + std::to_string(n) +
                 " (--fft-size)");

  TAnalysisReport r;
  r.SamplingFrequency = fs;
  r.Duration = double(samples) / fs;
  r.Rms = std::sqrt(sumSquares / double(samples));
  r.FramesAveraged = frames;
  r.BinHz = fs / m;
  r.Amplitudes.resize(acc.size());
  for (std::size_t k = 0; k < acc.size(); ++k) {
    const double p = s.Averaging == avLinear ? acc[k] / double(frames) : acc[k];
    // One-sided: a tone's energy is split between k and -k except at DC and Nyquist.
    const double scale = (k == 0 || int(k) == bins - 1) ? 1.0 / wsum : 2.0 / wsum;
    r.Amplitudes[k] = std::sqrt(p) * scale;
  }

  MeasureSpectrum(r, s);
  return r;
}

std::vector<double> AnalysisWindow(const TAnalysisSettings& s) {
  TVec wv;
  SignalWindow(wv, s.Window.Type, s.FftSize, wsPeriodic, s.Window.Param);
  return std::vector<double>(wv.Data(), wv.Data() + s.FftSize);
}

void MeasureSpectrum(TAnalysisReport& r, const TAnalysisSettings& s) {
  const std::vector<double> window = AnalysisWindow(s);
  double wsum = 0;
  for (double v : window) wsum += v;
  const int m = s.FftSize * s.ZeroPadding;
  const int bins = int(r.Amplitudes.size());
  const double fs = r.SamplingFrequency;
  const double nullBins = FirstNull(window, wsum) * s.ZeroPadding;
  const int half = int(std::ceil(nullBins)) + 1;
  r.MainlobeWidth = 2 * half + 1;
  const int fitHalf = std::clamp(int(std::floor(nullBins)) - 1, 1, 3);

  // Local maxima outside the DC lobe, largest first, none inside a larger one's main lobe.
  const auto& y = r.Amplitudes;
  std::vector<int> candidates;
  for (int k = std::max(1, half + 1); k + 1 < bins; ++k)
    if (y[std::size_t(k)] > y[std::size_t(k - 1)] && y[std::size_t(k)] >= y[std::size_t(k + 1)] && y[std::size_t(k)] > 0)
      candidates.push_back(k);
  std::sort(candidates.begin(), candidates.end(), [&](int a, int b) { return y[std::size_t(a)] > y[std::size_t(b)]; });
  std::vector<int> chosen;
  for (int k : candidates) {
    if (int(chosen.size()) >= s.Peaks) break;
    bool inside = false;
    for (int c : chosen) inside = inside || std::abs(c - k) <= half;
    if (!inside) chosen.push_back(k);
  }
  for (int k : chosen) {
    TPeak p = RefinePeak(r.Amplitudes, k, window, m, fitHalf);
    p.Frequency *= r.BinHz;
    r.Peaks.push_back(p);
  }
  // The refined amplitudes decide the order: bin values differ by the scalloping loss.
  std::stable_sort(r.Peaks.begin(), r.Peaks.end(), [](const TPeak& a, const TPeak& b) { return a.Amplitude > b.Amplitude; });

  TToneSettings ts;
  ts.BinHz = r.BinHz;
  ts.SamplingHz = fs;
  ts.Harmonics = s.Harmonics;
  ts.MainlobeWidth = r.MainlobeWidth;
  if (!r.Peaks.empty()) {
    ts.FundamentalHz = r.Peaks.front().Frequency;
    r.Tone = MeasureTone(r.Amplitudes, ts);
  }
}

}  // namespace sigflow::cli
