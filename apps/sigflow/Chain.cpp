// sigflow run: loads a saved component tree, pulls its last stage to the end and reports the
// spectrum analyzers in it. Also the chain that `analyze --save-chain` writes.
#include "Chain.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Cli.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/files/FileRegistration.h"
#include "sigflow/files/SignalRead.h"
#include "sigflow/processing/GeneratorRegistration.h"
#include "sigflow/processing/SignalFilter.h"
#include "sigflow/tools/Registration.h"

namespace sigflow::cli {

void PrintAnalysisReport(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& averaging,
                         const std::string& what);
void PrintAnalysisJson(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& signal);

namespace {

bool PowerOfTwo(int n) { return n > 0 && (n & (n - 1)) == 0; }

// The analyzer turns SidelobeAtt into the Kaiser beta with 0.12438 (A + 6.3) above 60 dB.
double KaiserAttenuation(double beta) { return beta / 0.12438 - 6.3; }

struct TRunOptions {
  std::string Chain;
  std::string Last;
  int Blocks = 0;
  bool Json = false;
};

void RegisterAll() {
  RegisterSignalToolsClasses();
  RegisterFileSignalClasses();
  RegisterSignalGeneratorClasses();
  RegisterSignalFilterClasses();
  RegisterSpectrumAnalyzerClasses();
}

void Collect(TComponent& c, std::vector<TAnalysis*>& out) {
  for (int i = 0; i < c.ComponentCount(); ++i) {
    TComponent* child = c.Components(i);
    if (auto* a = dynamic_cast<TAnalysis*>(child)) out.push_back(a);
    Collect(*child, out);
  }
}

// The analysis settings an analyzer component ran with, in the terms of analyze.
TAnalysisSettings SettingsOf(const TSpectrumAnalyzer& an, int frame) {
  TAnalysisSettings s;
  s.FftSize = frame;
  s.ZeroPadding = std::max(1, an.ZeroPadding());
  s.Window.Type = an.Window();
  switch (an.Window()) {
    case wtKaiser: s.Window.Param = KaiserBetaWindowAtt(an.SidelobeAtt()); break;
    case wtChebyshev: s.Window.Param = an.SidelobeAtt(); break;
    case wtCosineTapered: s.Window.Param = 0.5; break;
    case wtExponential: s.Window.Param = an.ExpWindow(); break;
    default: s.Window.Param = 0; break;
  }
  static const char* const names[] = {"rect",     "hann",           "hamming", "flattop", "bartlett", "blackman",
                                      "blackman-harris", "blackman-exact", "cosine", "kaiser",  "chebyshev", "exponential"};
  s.Window.Name = an.Window() < SignalWindowTypeCount ? names[an.Window()] : "window";
  if (an.Window() >= wtCosineTapered) s.Window.Name += ":" + FormatNumber(s.Window.Param);
  s.Harmonics = std::max(1, an.Harmonics());
  s.Peaks = an.Peaks() ? an.Peaks()->LargestCount() : 5;
  return s;
}

int RunChain(const TRunOptions& o) {
  RegisterAll();
  TComponent root(nullptr);
  root.SetName("Chain");
  LoadComponentTreeFromFile(root, o.Chain);
  std::vector<TAnalysis*> all;
  Collect(root, all);
  if (all.empty()) throw EUsage("'" + o.Chain + "' holds no signal component");

  TAnalysis* last = nullptr;
  if (!o.Last.empty()) {
    for (TAnalysis* a : all)
      if (a->Name() == o.Last) last = a;
    if (!last) throw EUsage("'" + o.Chain + "' has no component named '" + o.Last + "'");
  } else {
    std::set<const TAnalysis*> used;
    for (TAnalysis* a : all) {
      used.insert(a->Input());
      if (auto* an = dynamic_cast<TSpectrumAnalyzer*>(a)) used.insert(an->Output());
    }
    std::vector<TAnalysis*> ends;
    for (TAnalysis* a : all)
      if (!used.count(a)) ends.push_back(a);
    if (ends.size() != 1) {
      std::string names;
      for (TAnalysis* a : ends) names += (names.empty() ? "" : ", ") + a->Name();
      throw EUsage("'" + o.Chain + "' has " + std::to_string(ends.size()) + " last stages (" + names +
                   "): choose one with --last");
    }
    last = ends.front();
  }

  std::int64_t blocks = 0;
  while ((o.Blocks <= 0 || blocks < o.Blocks) && last->Pull()) ++blocks;

  int reports = 0;
  for (TAnalysis* a : all) {
    auto* an = dynamic_cast<TSpectrumAnalyzer*>(a);
    if (!an || !an->Input() || an->Amplt().Length() == 0 || an->Averaged() == 0) continue;
    TSignal* in = an->Input();
    const int frame = in->Length() / std::max(1, in->ChannelCount());
    TAnalysisSettings s = SettingsOf(*an, frame);
    TAnalysisReport r;
    r.SamplingFrequency = in->SamplingFrequency();
    r.BinHz = an->HzRes();
    r.FramesAveraged = an->Averaged();
    r.Rms = std::nan("");
    r.Duration = std::nan("");
    if (auto* rd = dynamic_cast<TSignalRead*>(in); rd && r.SamplingFrequency > 0)
      r.Duration = rd->RecordLength() / r.SamplingFrequency;
    const TVec& y = an->Amplt();
    r.Amplitudes.resize(std::size_t(y.Length()));
    for (int k = 0; k < y.Length(); ++k)
      r.Amplitudes[std::size_t(k)] = an->SpectrumType() == stPower ? std::sqrt(std::max(0.0, y.Values(k))) : y.Values(k);
    if (an->Logarithmic()) throw EUsage(an->Name() + ": a logarithmic spectrum cannot be measured; clear Logarithmic");
    MeasureSpectrum(r, s);
    const std::string what = an->Name() + " of " + in->Name();
    const char* averaging = an->Averaging() == sigflow::avPeakHoldInf || an->Averaging() == sigflow::avPeakHold ? "peak-hold" : "linear";
    if (reports > 0 && !o.Json) std::printf("\n");
    if (o.Json) PrintAnalysisJson(r, s, what);
    else PrintAnalysisReport(r, s, averaging, what);
    ++reports;
  }
  if (reports == 0 && !o.Json)
    std::printf("%s: %lld blocks pulled, no spectrum analyzer to report\n", last->Name().c_str(),
                static_cast<long long>(blocks));
  return ExitOk;
}

}  // namespace

void CheckAnalyzeChain(const TAnalysisSettings& s, int record, int channels, bool builtIn) {
  if (builtIn) throw EUsage("--save-chain needs a FILE: the built-in signal has no component");
  if (record != 0) throw EUsage("--save-chain reads record 0 only");
  if (channels != 1) throw EUsage("--save-chain needs a one-channel file");
  if (!PowerOfTwo(s.FftSize)) throw EUsage("--save-chain needs a power of two for --fft-size");
  if (s.Averaging == avExponential) throw EUsage("--save-chain takes linear or peak-hold averaging");
  if (s.Window.Type == wtCosineTapered && s.Window.Param != 0.5)
    throw EUsage("--save-chain takes the cosine window with taper 0.5 only");
  if (s.Window.Type == wtKaiser && s.Window.Param <= 0.12438 * 66.3)
    throw EUsage("--save-chain takes Kaiser windows of beta above 8.25 only");
}

void SaveAnalyzeChain(const std::string& path, const std::string& file, const TAnalysisSettings& s,
                      std::int64_t frames) {
  RegisterAll();
  const int n = s.FftSize;
  const int hop = std::max(1, int(std::lround(n * (1.0 - s.OverlapPercent / 100.0))));
  TComponent root(nullptr);
  root.SetName("Chain");
  auto* reader = new TSignalRead(&root);
  reader->SetName("Reader");
  reader->SetFileName(file);
  reader->SetFraming(true);
  reader->SetLength(n);
  reader->SetOverlappingSamples(std::max(0, n - hop));
  // The analysis takes whole frames only; the reader would add a zero-padded last one.
  reader->SetMaxFrames(int(frames));
  auto* an = new TSpectrumAnalyzer(&root);
  an->SetName("Spectrum");
  an->SetInput(reader);
  an->SetWindow(s.Window.Type);
  if (s.Window.Type == wtKaiser) an->SetSidelobeAtt(KaiserAttenuation(s.Window.Param));
  if (s.Window.Type == wtChebyshev) an->SetSidelobeAtt(s.Window.Param);
  if (s.Window.Type == wtExponential) an->SetExpWindow(s.Window.Param);
  an->SetDCDump(false);
  an->SetZeroPadding(s.ZeroPadding);
  // Averaging power and taking the root at the end is the RMS average analyze makes.
  an->SetSpectrumType(stPower);
  an->SetAveraging(s.Averaging == avPeakHold ? sigflow::avPeakHoldInf : sigflow::avLinearInf);
  an->SetHarmonics(s.Harmonics);
  if (an->Peaks()) an->Peaks()->SetLargestCount(s.Peaks);
  SaveComponentTreeToFile(root, path);
}

void RegisterRun(CLI::App& app, TCommand* selected) {
  auto o = std::make_shared<TRunOptions>();
  CLI::App* sub = app.add_subcommand("run", "Run a saved component chain to the end of its data and report its "
                                            "spectrum analyzers");
  sub->add_option("chain", o->Chain, "Component tree (JSON) as saved by the library or analyze --save-chain")
      ->required();
  sub->add_option("--last", o->Last, "Component to pull (default: the one no other component uses as input)");
  sub->add_option("--blocks", o->Blocks, "Stop after this many pulls (0: at the end of the data)");
  sub->add_flag("--json", o->Json, "Print each report as one JSON object");
  sub->callback([o, selected] { *selected = [o] { return RunChain(*o); }; });
}

}  // namespace sigflow::cli
