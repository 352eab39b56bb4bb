// sigflow analyze: averaged spectrum, largest peaks and distortion figures of one channel.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "AnalysisChain.h"
#include "Cli.h"
#include "FilterSpec.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/core/Persistence.h"

#ifdef SIGFLOW_CLI_GUI
#include "sigflow/gui/PlotData.h"
#include "sigflow/gui/PlotRenderer.h"
#endif

namespace sigflow::cli {

namespace {

struct TAnalyzeOptions {
  TSourceChoice Source;
  TAnalysisSettings Settings;
  bool Db = false;
  bool Json = false;
  std::string Csv;
  std::string Plot;
  std::string SaveChain;
};

void WriteCsv(const TAnalysisReport& r, const std::string& path, bool db) {
  std::ofstream out(path);
  if (!out) throw EUsage("cannot write '" + path + "'");
  out.imbue(std::locale::classic());
  out.precision(12);
  out << "frequency," << (db ? "amplitude_db" : "amplitude") << "\n";
  for (std::size_t k = 0; k < r.Amplitudes.size(); ++k)
    out << double(k) * r.BinHz << ',' << (db ? std::max(AmplitudeDb(r.Amplitudes[k]), -400.0) : r.Amplitudes[k]) << '\n';
  out.flush();
  if (!out) throw EUsage("cannot write '" + path + "'");
}

void WritePlot(const TAnalysisReport& r, const std::string& path, const std::string& title) {
#ifdef SIGFLOW_CLI_GUI
  TPlotData plot = SpectrumPlot(r.Amplitudes, 0.0, r.BinHz);
  plot.Title = title;
  plot.AmplitudeScale = amDecibel;
  for (const TPeak& p : r.Peaks) plot.Peaks.push_back({p.Frequency, p.Amplitude, FormatNumber(p.Frequency, 7) + " Hz"});
  RenderPlotToPng(plot, path, 1600, 900);
#else
  (void)r;
  (void)title;
  throw EUsage("cannot write plot '" + path + "': this sigflow was built without the gui module");
#endif
}

int RunAnalyze(const TAnalyzeOptions& o) {
#ifndef SIGFLOW_CLI_GUI
  if (!o.Plot.empty()) WritePlot({}, o.Plot, "");
#endif
  const bool builtIn = o.Source.File.empty();
  if (!o.SaveChain.empty() && o.Source.Record != 0)
    throw EUsage("--save-chain reads record 0 only: a chain's reader starts at the first record");
  TComponent root(nullptr);
  root.SetName("Chain");
  const TChainEnds ends = BuildAnalyzeChain(root, o.Source, o.Settings);
  TSpectrumAnalyzer& an = *ends.Analyzer;
  if (!o.SaveChain.empty()) {
    if (builtIn && !CompletesItsAverage(an))
      throw EUsage("--save-chain of the built-in signal needs linear, peak-hold or complex-linear averaging: "
                   "a generator never ends");
    SaveComponentTreeToFile(root, o.SaveChain);
  }

  const std::string what =
      builtIn ? "built-in test signal (1 kHz, 1 % 2nd and 0.3 % 3rd harmonic, noise at -100 dB)" : o.Source.File;
  std::vector<TStreamTally> tallies{TStreamTally(an)};
  TProgress progress("analyze", ends.Blocks, ends.Seconds);
  RunToEnd(*ends.Last, {&an}, tallies, builtIn ? ends.Blocks : 0, &progress, what);
  progress.Finish();
  // JSON names the signal for a script, the text report describes it.
  const TAnalysisReport r = ReportOf(an, tallies.front(), o.Json ? (builtIn ? "builtin" : o.Source.File) : what);

  if (!o.Csv.empty()) WriteCsv(r, o.Csv, o.Db);
  if (!o.Plot.empty()) WritePlot(r, o.Plot, builtIn ? "Built-in test signal" : o.Source.File);
  if (o.Json) PrintReportJson(r);
  else PrintReport(r);
  return ExitOk;
}

}  // namespace

void RegisterAnalyze(CLI::App& app, TCommand* selected) {
  auto o = std::make_shared<TAnalyzeOptions>();
  TSourceChoice& src = o->Source;
  TAnalysisSettings& s = o->Settings;
  CLI::App* sub = app.add_subcommand(
      "analyze", "Averaged amplitude spectrum of one channel, optionally filtered: largest peaks, THD, THD+N, "
                 "SNR, SINAD, SFDR and noise floor. Without FILE, a built-in test signal is analysed");
  sub->add_option("file", src.File, "Signal file; omitted: 10 s of a 1 kHz test tone at 48 kHz");
  sub->add_option("--record", src.Record, "Record to analyse (0-based)");
  sub->add_option("--channel", src.Channel, "Channel to analyse (1-based)");
  AddFilterSpecOptions(*sub, src.Filter);
  sub->add_option("--filter", src.FilterTemplate, "Filter with a saved filter component (JSON, from filter --save-filter)");
  sub->add_option("--fft-size", s.FftSize, "Samples per frame (the transform takes the next power of two)");
  sub->add_option("--overlap", s.OverlapPercent, "Frame overlap in percent, 0 <= overlap < 100");
  sub->add_option("--zero-padding", s.ZeroPadding, "Transform length as a multiple of the padded frame (1 .. 64)");
  sub->add_option("--window", s.Window,
                  "rect, hann, hamming, flattop, bartlett, blackman, blackman-harris, blackman-exact, cosine, "
                  "kaiser:DB, chebyshev:DB (side-lobe attenuation), exponential:END");
  sub->add_option("--averaging", s.Averaging,
                  "none, linear, exponential, peak-hold, min-hold, complex-linear, complex-exponential "
                  "(or the analyzer's names: avLinearInf, ...)");
  sub->add_option("--averages", s.Averages,
                  "Frames to average (0: all); for exponential averaging the time constant in frames");
  sub->add_option("--interpolation", s.Interpolation,
                  "Peak estimator: none, numeric, quadratic, barycentric, jain, quinn1, quinn2");
  sub->add_option("--peaks", s.Peaks, "Number of largest peaks to report");
  sub->add_option("--harmonics", s.Harmonics, "Highest harmonic order counted as distortion");
  sub->add_flag("--db", o->Db, "Write the --csv spectrum in dB (20 log10)");
  sub->add_flag("--json", o->Json, "Print the report as one JSON object (snake_case keys)");
  sub->add_option("--csv", o->Csv, "Write the spectrum to this CSV file (frequency, amplitude)");
  sub->add_option("--plot", o->Plot, "Draw the spectrum with its peaks to this PNG file (1600x900)");
  sub->add_option("--save-chain", o->SaveChain, "Write the component chain analyze runs to this JSON file, for run");
  sub->callback([o, selected] { *selected = [o] { return RunAnalyze(*o); }; });
}

}  // namespace sigflow::cli
