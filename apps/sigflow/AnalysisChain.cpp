#include "AnalysisChain.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <cstdio>
#include <limits>
#include <nlohmann/json.hpp>
#include <numbers>
#include <span>

#include "Cli.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/files/FileRegistration.h"
#include "sigflow/files/SignalRead.h"
#include "sigflow/numeric/PeakInterpolation.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/GeneratorRegistration.h"
#include "sigflow/processing/SignalFilter.h"
#include "sigflow/processing/SignalGenerator.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/tools/Registration.h"

namespace sigflow::cli {

namespace {

// The built-in test signal: a 1 kHz sine of amplitude 1 with a second harmonic at 1 % and a
// third at 0.3 % (THD 1.044 %), plus white noise 100 dB below the fundamental's RMS.
constexpr double BuiltInRate = 48000;
constexpr double BuiltInSeconds = 10;
// Exponential averaging time constant, in frames, when --averages is 0.
constexpr int DefaultExponentialFrames = 8;

// ---- names of the analyzer's settings ------------------------------------------------------

struct TNamed {
  const char* Name;
  int Value;
};

constexpr TNamed WindowNames[] = {
    {"rect", wtRectangular},       {"hann", wtHanning},          {"hamming", wtHamming},
    {"flattop", wtFlatTop},        {"bartlett", wtBartlett},     {"blackman", wtBlackman},
    {"blackman-harris", wtBlackmanHarris}, {"blackman-exact", wtExactBlackman}, {"cosine", wtCosineTapered},
    {"kaiser", wtKaiser},          {"chebyshev", wtChebyshev},   {"exponential", wtExponential},
};
constexpr TNamed AveragingNames[] = {
    {"none", avNone},           {"linear", avLinearInf},  {"exponential", avExponentInf},
    {"peak-hold", avPeakHoldInf}, {"min-hold", avMinHoldInf}, {"complex-linear", avCplxLinearInf},
    {"complex-exponential", avCplxExponentInf},
};
constexpr TNamed InterpolationNames[] = {
    {"none", imNone},   {"numeric", imNumeric}, {"quadratic", imQuadratic}, {"barycentric", imBarycentric},
    {"quinn1", imQuinnFirst}, {"quinn2", imQuinnSecond}, {"jain", imJain},
};

template <std::size_t N>
std::string NameList(const TNamed (&table)[N]) {
  std::string s;
  for (const auto& e : table) s += (s.empty() ? "" : ", ") + std::string(e.Name);
  return s;
}

// A short name, the enumeration's own name (avLinear, imNumeric, ...) or -1.
template <std::size_t N>
int Lookup(const TNamed (&table)[N], const TEnumInfo& info, const std::string& text) {
  for (const auto& e : table)
    if (Lower(text) == e.Name) return e.Value;
  return info.ValueOf(text);
}

template <std::size_t N>
std::string ShortName(const TNamed (&table)[N], const TEnumInfo& info, int value) {
  for (const auto& e : table)
    if (e.Value == value) return e.Name;
  return info.Name(value);
}

struct TWindowSetting {
  TSignalWindowType Type = wtKaiser;
  double SidelobeAtt = 0;  // 0: the analyzer's default
  double ExpWindow = 0;
};

TWindowSetting ParseWindow(const std::string& text) {
  const auto colon = text.find(':');
  const std::string base = text.substr(0, colon);
  const int type = Lookup(WindowNames, SignalWindowTypeInfo(), base);
  if (type < 0)
    throw EUsage("unknown window '" + text + "' (" + NameList(WindowNames) + "; kaiser:DB, chebyshev:DB, exponential:END)");
  TWindowSetting w;
  w.Type = TSignalWindowType(type);
  if (colon == std::string::npos) return w;
  double v = 0;
  if (!ParseFinite(text.substr(colon + 1), v))
    throw EUsage("bad parameter '" + text.substr(colon + 1) + "' of window '" + base + "'");
  switch (type) {
    case wtKaiser:
    case wtChebyshev:
      if (!(v > 0)) throw EUsage("window '" + base + "' needs a side-lobe attenuation above 0 dB");
      w.SidelobeAtt = v;
      break;
    case wtExponential:
      if (!(v > 0)) throw EUsage("window 'exponential' needs an end value above 0");
      w.ExpWindow = v;
      break;
    default: throw EUsage("window '" + base + "' takes no parameter");
  }
  return w;
}

std::string WindowName(const TSpectrumAnalyzer& an) {
  std::string name = ShortName(WindowNames, SignalWindowTypeInfo(), an.Window());
  if (an.Window() == wtKaiser || an.Window() == wtChebyshev) name += ":" + FormatNumber(an.SidelobeAtt());
  if (an.Window() == wtExponential) name += ":" + FormatNumber(an.ExpWindow());
  return name;
}

bool FiniteAveraging(TAveraging a) { return a == avLinear || a == avPeakHold || a == avCplxLinear; }

TAveraging EndlessForm(TAveraging a) {
  switch (a) {
    case avLinear: return avLinearInf;
    case avPeakHold: return avPeakHoldInf;
    case avCplxLinear: return avCplxLinearInf;
    default: return a;
  }
}

TAveraging FiniteForm(TAveraging a) {
  switch (a) {
    case avLinearInf: return avLinear;
    case avPeakHoldInf: return avPeakHold;
    case avCplxLinearInf: return avCplxLinear;
    default: return a;
  }
}

// Distance from the centre of the window's transform to its first null, in bins of the
// unpadded transform: the main lobe's half width.
double FirstNull(const TVec& w) {
  const int n = w.Length();
  double sum = 0;
  for (int i = 0; i < n; ++i) sum += w.Values(i);
  auto response = [&](double x) {
    std::complex<double> acc = 0;
    for (int i = 0; i < n; ++i) acc += w.Values(i) * std::polar(1.0, -2.0 * std::numbers::pi * x * i / n);
    return std::abs(acc) / sum;
  };
  constexpr double step = 0.05;
  double prev = 1.0;
  for (double x = step; x < 64.0; x += step) {
    const double v = response(x);
    if (v > prev) return x - step;
    prev = v;
  }
  return 64.0;
}

int NextPowerOfTwo(int n) {
  int p = 1;
  while (p < n) p *= 2;
  return p;
}

}  // namespace

TAnalysis* SourceOf(TAnalysis& stage) {
  TAnalysis* a = &stage;
  while (a->Input()) a = a->Input();
  return a;
}

void RegisterChainClasses() {
  RegisterSignalToolsClasses();
  RegisterFileSignalClasses();
  RegisterSignalGeneratorClasses();
  RegisterSignalFilterClasses();
  RegisterSignalBufferClasses();
  RegisterSpectrumAnalyzerClasses();
}

TChainEnds BuildAnalyzeChain(TComponent& root, const TSourceChoice& src, const TAnalysisSettings& s) {
  RegisterChainClasses();
  const int n = s.FftSize;
  if (n < 4) throw EUsage("--fft-size must be at least 4");
  if (!(s.OverlapPercent >= 0 && s.OverlapPercent < 100)) throw EUsage("--overlap must be in [0, 100)");
  if (s.ZeroPadding < 1 || s.ZeroPadding > 64) throw EUsage("--zero-padding must be 1 .. 64");
  if (s.Averages < 0) throw EUsage("--averages must not be negative");
  if (s.Peaks < 0) throw EUsage("--peaks must not be negative");
  if (s.Harmonics < 1) throw EUsage("--harmonics must be at least 1");
  const bool filtered = !src.Filter.Shape.empty() || !src.FilterTemplate.empty();
  if (!src.Filter.Shape.empty() && !src.FilterTemplate.empty())
    throw EUsage("--filter cannot be combined with --lowpass, --highpass or --bandpass");
  const int hop = std::max(1, int(std::lround(n * (1.0 - s.OverlapPercent / 100.0))));

  // Names are checked before any file is opened.
  const TWindowSetting window = ParseWindow(s.Window);
  const int averaging = Lookup(AveragingNames, AveragingInfo(), s.Averaging);
  if (averaging < 0) throw EUsage("unknown averaging '" + s.Averaging + "' (" + NameList(AveragingNames) + ")");
  const int method = Lookup(InterpolationNames, InterpolationMethodInfo(), s.Interpolation);
  if (method < 0)
    throw EUsage("unknown interpolation '" + s.Interpolation + "' (" + NameList(InterpolationNames) + ")");
  if ((method == imQuinnFirst || method == imQuinnSecond) && averaging != avNone)
    throw EUsage("--interpolation " + s.Interpolation + " reads one frame's complex spectrum: use --averaging none");

  // Frames overlap either in the reader (no filter: it may step back in the file) or in a
  // buffer after the filter, which must see each sample once.
  TSignal* stage = nullptr;
  std::int64_t values = 0;  // samples per channel the source holds
  double fs = 0;
  int channels = 1;
  bool overlapInReader = false;
  TChainEnds ends;
  if (src.File.empty()) {
    auto* gen = new TSignalGenerator(&root);
    gen->SetName("Generator");
    gen->SetSamplingFrequency(BuiltInRate);
    fs = BuiltInRate;
    values = std::int64_t(BuiltInRate * BuiltInSeconds);
    gen->Sounds()->AddTemplate("Test tone");
    const double sigma = std::pow(10.0, -100.0 / 20.0) / std::sqrt(2.0);
    for (const auto& line : ParseFormula("sine(1000,0,1) sine(2000,0,0.01) + sine(3000,0,0.003) + randgauss(0," +
                                         FormatNumber(sigma, 17) + ") +"))
      gen->Template()->Add(line);
    stage = gen;
  } else {
    auto* rd = new TSignalRead(&root);
    rd->SetName("Reader");
    rd->SetFileName(src.File);
    rd->Open();
    if (src.Record < 0 || src.Record >= rd->NumberOfRecords())
      throw EUsage("'" + src.File + "' has no record " + std::to_string(src.Record) + " (it has " +
                   std::to_string(rd->NumberOfRecords()) + ")");
    rd->SetRecordNumber(src.Record);
    if (rd->Complex()) throw EUsage("'" + src.File + "' holds complex samples; analyze takes real signals");
    channels = rd->ChannelCount();
    if (src.Channel < 1 || src.Channel > channels)
      throw EUsage("'" + src.File + "' has no channel " + std::to_string(src.Channel) + " (it has " +
                   std::to_string(channels) + ")");
    fs = rd->SamplingFrequency();
    if (!(fs > 0)) throw EUsage("'" + src.File + "' has no positive sampling frequency");
    values = rd->RecordLength();
    rd->SetFraming(true);
    overlapInReader = !filtered && n % hop != 0;
    stage = rd;
  }
  if (!overlapInReader && n % hop != 0)
    throw EUsage("--overlap " + FormatNumber(s.OverlapPercent) + " leaves a step of " + std::to_string(hop) +
                 " samples that does not divide --fft-size " + std::to_string(n) +
                 (src.File.empty() ? " (the built-in signal" : " (a filtered signal") +
                 " is framed by a block buffer): use 0, 50, 75 ...");
  const int block = overlapInReader ? n : hop;
  // Whole blocks only: a reader pads the block that reaches the end with zeros.
  const std::int64_t blocks = overlapInReader ? (values >= n ? (values - n) / hop + 1 : 0) : values / block;
  if (blocks < 1 || (!overlapInReader && blocks < n / hop))
    throw EUsage("the signal has " + std::to_string(values) + " samples, fewer than one frame of " +
                 std::to_string(n) + " (--fft-size)");
  if (blocks > std::numeric_limits<int>::max()) throw EUsage("the signal is too long for one analysis");
  if (auto* rd = dynamic_cast<TSignalRead*>(stage)) {
    rd->SetLength(block * channels);
    rd->SetOverlappingSamples(overlapInReader ? n - hop : 0);
    rd->SetMaxFrames(int(blocks));
  } else {
    stage->SetLength(block);
  }
  ends.Blocks = blocks;
  ends.Seconds = double(values) / fs;

  if (channels > 1) {
    auto* demux = new TSignalDemux(&root);
    demux->SetName("Channel" + std::to_string(src.Channel));
    demux->SetInput(stage);
    demux->SetChannel(src.Channel - 1);
    // Known before the first block, so that a filter after it is designed for this rate.
    demux->SetSamplingFrequency(fs);
    stage = demux;
  }
  if (filtered) {
    auto* f = new TSignalFilter(&root);
    if (!src.FilterTemplate.empty()) {
      f->SetName("Filter");
      LoadComponentTreeFromFile(*f, src.FilterTemplate);
      f->SetName("Filter");
    } else {
      f->SetName("Filter");
      ConfigureFilter(*f, src.Filter, fs);
    }
    f->SetInput(stage);
    if (src.FilterTemplate.empty()) FinishDesign(*f, src.Filter);
    stage = f;
  }
  if (!overlapInReader && n / hop > 1) {
    auto* buffer = new TSignalIncBuffer(&root);
    buffer->SetName("Frames");
    buffer->SetInput(stage);
    buffer->SetFactor(n / hop);
    stage = buffer;
  }

  auto* an = new TSpectrumAnalyzer(&root);
  an->SetName("Spectrum");
  an->SetInput(stage);
  an->SetWindow(window.Type);
  if (window.SidelobeAtt > 0) an->SetSidelobeAtt(window.SidelobeAtt);
  if (window.ExpWindow > 0) an->SetExpWindow(window.ExpWindow);
  // Power is averaged and its root taken at the end: an RMS average, unbiased for noise.
  an->SetSpectrumType(stPower);
  an->SetDCDump(false);
  an->SetZeroPadding(s.ZeroPadding);
  TAveraging av = TAveraging(averaging);
  if (s.Averages > 0 || src.File.empty()) av = FiniteForm(av);
  an->SetAveraging(av);
  if (av == avExponentInf || av == avCplxExponentInf)
    an->SetExpDecay(s.Averages > 0 ? s.Averages : DefaultExponentialFrames);
  // A generator never ends: the finite average of all its frames stops a saved chain's run.
  const std::uint32_t frames = std::uint32_t(overlapInReader ? blocks : blocks - n / hop + 1);
  if (FiniteAveraging(av)) an->SetAverages(s.Averages > 0 ? std::min<std::uint32_t>(s.Averages, frames) : frames);
  an->SetHarmonics(s.Harmonics);
  an->Peaks()->SetLargestCount(s.Peaks);
  an->Peaks()->Interpolation()->SetMethod(TInterpolationMethod(method));
  // The tone figures integrate each tone over its main lobe, in bins of the padded transform.
  TVec w;
  SignalWindow(w, an->Window(), n, wsPeriodic, an->WindowParameter());
  const double nullBins = FirstNull(w) * double(NextPowerOfTwo(n)) * s.ZeroPadding / double(n);
  an->SetMainlobeWidth(2 * (int(std::ceil(nullBins)) + 1) + 1);
  ends.Analyzer = an;
  ends.Last = an;
  return ends;
}

// ---- running -----------------------------------------------------------------------------

TStreamTally::TStreamTally(TSpectrumAnalyzer& an) {
  TSignal* in = an.Input();
  if (auto* buffer = dynamic_cast<TSignalIncBuffer*>(in)) {
    tap_ = buffer->Input();
    return;
  }
  tap_ = in;
  // Frames that overlap in the reader repeat its overlap; stages between keep the framing.
  if (auto* rd = in ? dynamic_cast<TSignalRead*>(SourceOf(*in)) : nullptr; rd && rd->Framing() && rd->ChannelCount() > 0) {
    const int frame = rd->Length() / rd->ChannelCount();
    overlap_ = std::max(0, frame - rd->FrameStep());
  }
}

void TStreamTally::Observe() {
  if (!tap_) return;
  const TVec& d = tap_->Data();
  const int channels = std::max(1, tap_->ChannelCount());
  int from = first_ ? 0 : std::min(d.Length(), overlap_ * channels);
  first_ = false;
  for (int i = from; i < d.Length(); ++i) {
    const double v = d.Complex() ? std::abs(d.CValues(i)) : d.Values(i);
    sumSquares_ += v * v;
  }
  samples_ += (d.Length() - from) / channels;
}

double TStreamTally::Rms() const {
  return samples_ > 0 ? std::sqrt(sumSquares_ / double(samples_ * std::max(1, tap_->ChannelCount())))
                      : std::nan("");
}

bool CompletesItsAverage(const TSpectrumAnalyzer& an) { return FiniteAveraging(an.Averaging()) && an.Averages() > 0; }

std::int64_t RunToEnd(TAnalysis& last, const std::vector<TSpectrumAnalyzer*>& analyzers,
                      std::vector<TStreamTally>& tallies, std::int64_t blocks, TProgress* progress,
                      const std::string& chainName) {
  const bool allFinite = !analyzers.empty() && std::all_of(analyzers.begin(), analyzers.end(), [](auto* a) { return CompletesItsAverage(*a); });
  const auto* reader = dynamic_cast<const TSignalRead*>(SourceOf(last));
  const bool endless = !reader || (reader->Loop() && reader->MaxFrames() == 0);
  if (blocks <= 0 && !allFinite && endless)
    throw EUsage("'" + chainName + "' never ends: its source is a generator or a looping reader; give --blocks or a finite averaging");
  std::int64_t done = 0;
  auto pulled = [&](std::size_t only) {
    ++done;
    for (std::size_t i = 0; i < tallies.size(); ++i)
      if (only == tallies.size() || only == i) tallies[i].Observe();
    if (progress) progress->Update(done);
  };
  // A block buffer's first frames are short: it starts empty and is filled before its
  // analyzer sees it.
  for (std::size_t i = 0; i < analyzers.size(); ++i) {
    auto* buffer = dynamic_cast<TSignalIncBuffer*>(analyzers[i]->Input());
    if (!buffer) continue;
    buffer->Reset();
    for (int k = 1; k < buffer->Factor(); ++k) {
      if ((blocks > 0 && done >= blocks) || !buffer->Pull()) return done;
      pulled(i);
    }
  }
  for (;;) {
    if (blocks > 0 && done >= blocks) break;
    if (allFinite && std::all_of(analyzers.begin(), analyzers.end(),
                                 [](auto* a) { return a->Averaged() >= a->Averages(); }))
      break;
    if (!last.Pull()) break;
    pulled(tallies.size());
  }
  return done;
}

// ---- the report ----------------------------------------------------------------------------

double AmplitudeDb(double amplitude) {
  return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity();
}

TAnalysisReport ReportOf(TSpectrumAnalyzer& an, const TStreamTally& tally, const std::string& signal) {
  if (an.Logarithmic()) throw EUsage(an.Name() + ": a logarithmic spectrum cannot be measured; clear Logarithmic");
  if (an.SpectrumType() == stRealImag) throw EUsage(an.Name() + ": a real/imaginary spectrum cannot be measured");
  TAnalysisReport r;
  r.Signal = signal;
  TSignal* in = an.Input();
  r.SamplingFrequency = in ? in->SamplingFrequency() : 0;
  r.Rms = tally.Rms();
  r.Duration = r.SamplingFrequency > 0 ? double(tally.Samples()) / r.SamplingFrequency : std::nan("");
  r.FrameLength = in ? in->Length() / std::max(1, in->ChannelCount()) : 0;
  r.TransformLength = an.TransformLength();
  r.Window = WindowName(an);
  r.Averaging = ShortName(AveragingNames, AveragingInfo(), EndlessForm(an.Averaging()));
  const TInterpolationMethod method = an.Peaks()->Interpolation()->Method();
  r.Interpolation = ShortName(InterpolationNames, InterpolationMethodInfo(), method);
  r.FramesAveraged = an.Averaging() == avNone ? 1 : an.Averaged();
  r.BinHz = an.HzRes();

  // Linear amplitudes in place, so the analyzer's own estimates read amplitudes.
  TVec& y = an.Amplt();
  for (int k = 0; k < y.Length(); ++k) {
    const double v = y.Values(k);
    switch (an.SpectrumType()) {
      case stPower: y.SetValues(k, std::sqrt(std::max(0.0, v))); break;
      case stRMS: y.SetValues(k, v * std::numbers::sqrt2); break;
      case stDoubleAmplt: y.SetValues(k, v / 2); break;
      default: break;
    }
  }
  an.SetSpectrumType(stAmplt);
  r.Amplitudes.assign(y.Data(), y.Data() + y.Length());
  if (y.Length() < 3 || !(r.BinHz > 0)) return r;

  // The largest local maxima, then each refined by the analyzer's interpolation method.
  const double df = r.BinHz, bl = an.BandWidthL();
  const std::span<const double> ys(y.Data(), std::size_t(y.Length()));
  TSpectrumPeaksAnalyzer& peaks = *an.Peaks();
  peaks.FindLargestPeaks(peaks.LargestCount());
  for (int i = 0; i < an.Marks().Count(); ++i) {
    const double f0 = an.Marks().Values(i).Freq;
    const int k = std::clamp(int(std::lround((f0 - bl) / df)), 1, y.Length() - 2);
    double f = f0;
    switch (method) {
      case imNone: break;
      case imNumeric:
        f = HillClimbPeak(f0, df, peaks.Interpolation()->PrecisionDivisor(), [&an](double x) { return an.AmpltEst(x); });
        break;
      case imQuadratic: f = QuadraticPeak(ys, k, df, bl); break;
      case imBarycentric: f = BarycentricPeak(ys, k, df, bl); break;
      case imJain: f = JainPeak(ys, k, df, bl); break;
      case imQuinnFirst: f = QuinnFirstPeak(an.ComplexSpectrum().CSpan(), k, df, bl); break;
      case imQuinnSecond: f = QuinnSecondPeak(an.ComplexSpectrum().CSpan(), k, df, bl); break;
    }
    r.Peaks.push_back({f, method == imNone ? y.Values(k) : an.AmpltEst(f)});
  }
  std::stable_sort(r.Peaks.begin(), r.Peaks.end(),
                   [](const TPeak& a, const TPeak& b) { return a.Amplitude > b.Amplitude; });
  if (r.Peaks.empty()) return r;

  // The fundamental and its harmonics at exact multiples become the marks the figures read.
  TMarkList& marks = an.Marks();
  marks.Clear();
  const double f1 = r.Peaks.front().Frequency;
  const double top = bl + df * (y.Length() - 1);
  for (int h = 1; h <= an.Harmonics() && h * f1 <= top; ++h) marks.Add({h * f1, an.AmpltEst(h * f1), 0.0, 0.0});
  r.Tone = true;
  r.Thd = an.THD();
  r.Thdn = an.THDN();
  r.Snr = an.SNR();
  r.Sinad = an.SINAD();
  r.Sfdr = an.SFDR();
  r.NoiseFloor = an.NF();
  return r;
}

void PrintReport(const TAnalysisReport& r) {
  auto num = [](double x, int p = 6) { return FormatNumber(x, p); };
  std::printf("Signal:              %s\n", r.Signal.c_str());
  std::printf("Sampling frequency:  %s Hz\n", num(r.SamplingFrequency, 10).c_str());
  std::printf("Duration:            %s s\n", num(r.Duration, 8).c_str());
  std::printf("RMS:                 %s\n", num(r.Rms, 8).c_str());
  std::printf("Spectrum:            %d-sample frames, %d-point transform, %s window, %lld frames averaged (%s), "
              "%s Hz bins\n",
              r.FrameLength, r.TransformLength, r.Window.c_str(), static_cast<long long>(r.FramesAveraged),
              r.Averaging.c_str(), num(r.BinHz, 8).c_str());
  std::printf("Peaks (%s interpolation):\n", r.Interpolation.c_str());
  for (std::size_t i = 0; i < r.Peaks.size(); ++i)
    std::printf("  %2zu  %14s Hz  %14s  %9s dB\n", i + 1, num(r.Peaks[i].Frequency, 9).c_str(),
                num(r.Peaks[i].Amplitude, 8).c_str(), num(AmplitudeDb(r.Peaks[i].Amplitude), 5).c_str());
  if (!r.Tone) {
    std::printf("No peak found: no distortion figures.\n");
    return;
  }
  std::printf("THD:                 %s %%\n", num(r.Thd).c_str());
  std::printf("THD+N:               %s %%\n", num(r.Thdn).c_str());
  std::printf("SNR:                 %s dB\n", num(r.Snr).c_str());
  std::printf("SINAD:               %s dB\n", num(r.Sinad).c_str());
  std::printf("SFDR:                %s dB\n", num(r.Sfdr).c_str());
  std::printf("Noise floor:         %s dB per bin re fundamental\n", num(r.NoiseFloor).c_str());
}

void PrintReportJson(const TAnalysisReport& r) {
  // JSON has no NaN or infinity: figures that do not exist are null.
  auto value = [](double v) { return std::isfinite(v) ? nlohmann::ordered_json(v) : nlohmann::ordered_json(); };
  auto fig = [&](double v) { return r.Tone ? value(v) : nlohmann::ordered_json(); };
  nlohmann::ordered_json j;
  j["signal"] = r.Signal;
  j["sampling_frequency"] = r.SamplingFrequency;
  j["duration"] = value(r.Duration);
  j["rms"] = value(r.Rms);
  j["frame_length"] = r.FrameLength;
  j["transform_length"] = r.TransformLength;
  j["window"] = r.Window;
  j["averaging"] = r.Averaging;
  j["frames_averaged"] = r.FramesAveraged;
  j["bin_width"] = r.BinHz;
  j["interpolation"] = r.Interpolation;
  j["peaks"] = nlohmann::ordered_json::array();
  for (const TPeak& p : r.Peaks)
    j["peaks"].push_back({{"frequency", p.Frequency}, {"amplitude", p.Amplitude}, {"amplitude_db", value(AmplitudeDb(p.Amplitude))}});
  j["thd_percent"] = fig(r.Thd);
  j["thdn_percent"] = fig(r.Thdn);
  j["snr_db"] = fig(r.Snr);
  j["sinad_db"] = fig(r.Sinad);
  j["sfdr_db"] = fig(r.Sfdr);
  j["noise_floor_db"] = fig(r.NoiseFloor);
  std::printf("%s\n", j.dump(2).c_str());
}

}  // namespace sigflow::cli
