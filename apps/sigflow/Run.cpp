// sigflow run: loads a saved component tree, pulls its last stage to the end and reports the
// spectrum analyzers in it.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "AnalysisChain.h"
#include "Cli.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/files/SignalRead.h"

namespace sigflow::cli {

namespace {

struct TRunOptions {
  std::string Chain;
  std::string Last;
  std::int64_t Blocks = 0;
  bool Json = false;
};

void Collect(TComponent& c, std::vector<TAnalysis*>& out) {
  for (int i = 0; i < c.ComponentCount(); ++i) {
    TComponent* child = c.Components(i);
    if (auto* a = dynamic_cast<TAnalysis*>(child)) out.push_back(a);
    Collect(*child, out);
  }
}

TAnalysis* LastStage(const std::vector<TAnalysis*>& all, const TRunOptions& o) {
  if (!o.Last.empty()) {
    for (TAnalysis* a : all)
      if (a->Name() == o.Last) return a;
    throw EUsage("'" + o.Chain + "' has no component named '" + o.Last + "'");
  }
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
  return ends.front();
}

int RunChain(const TRunOptions& o) {
  RegisterChainClasses();
  TComponent root(nullptr);
  root.SetName("Chain");
  LoadComponentTreeFromFile(root, o.Chain);
  std::vector<TAnalysis*> all;
  Collect(root, all);
  if (all.empty()) throw EUsage("'" + o.Chain + "' holds no signal component");
  TAnalysis* last = LastStage(all, o);

  std::vector<TSpectrumAnalyzer*> analyzers;
  std::vector<TStreamTally> tallies;
  for (TAnalysis* a : all)
    if (auto* an = dynamic_cast<TSpectrumAnalyzer*>(a); an && an->Input()) {
      analyzers.push_back(an);
      tallies.emplace_back(*an);
    }
  TAnalysis* source = SourceOf(*last);
  std::int64_t total = o.Blocks;
  double seconds = 0;
  if (auto* rd = dynamic_cast<TSignalRead*>(source); rd && total == 0) {
    rd->Open();
    total = rd->MaxFrames() > 0 ? rd->MaxFrames() : rd->RecordLength() / std::max(1, rd->FrameStep());
    seconds = rd->SamplingFrequency() > 0 ? double(rd->RecordLength()) / rd->SamplingFrequency() : 0;
  }
  TProgress progress("run", total, seconds);
  const std::int64_t pulls = RunToEnd(*last, analyzers, tallies, o.Blocks, &progress, o.Chain);
  progress.Finish();

  int reports = 0;
  for (std::size_t i = 0; i < analyzers.size(); ++i) {
    TSpectrumAnalyzer& an = *analyzers[i];
    if (an.TransformLength() == 0) continue;  // never ran
    const TAnalysisReport r = ReportOf(an, tallies[i], o.Chain + ": " + an.Name());
    if (reports > 0 && !o.Json) std::printf("\n");
    if (o.Json) PrintReportJson(r);
    else PrintReport(r);
    ++reports;
  }
  if (reports == 0 && !o.Json)
    std::printf("%s: %lld blocks pulled, no spectrum analyzer to report\n", last->Name().c_str(),
                static_cast<long long>(pulls));
  return ExitOk;
}

}  // namespace

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
