// sigflow filter: runs every channel of a signal file through a designed filter, block by block.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Cli.h"
#include "FilterSpec.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/processing/SignalFilter.h"

namespace sigflow::cli {

namespace {

constexpr std::int64_t FilterBlockFrames = 65536;

struct TFilterOptions {
  std::string In, Out;
  TFilterSpec Spec;
  std::string Template;
  std::string SaveFilter;
  std::string Precision;
  std::string Rounding = "round";
  int Record = 0;
  bool Verbose = false;
};

bool IsRecordFormat(TFileFormat f) { return f == ffDat || f == ffSgl || f == ffBin || f == ffDbn; }

// One filter per channel, each fed by a signal holding that channel's block.
struct TChannelFilter {
  TSignal In{nullptr};
  TSignalFilter Filter{nullptr};
};

int RunFilter(const TFilterOptions& o) {
  const bool fromTemplate = !o.Template.empty();
  if (fromTemplate && !o.Spec.Shape.empty())
    throw EUsage("--filter cannot be combined with --lowpass, --highpass or --bandpass");
  if (!fromTemplate && o.Spec.Shape.empty()) throw EUsage("no filter given: use --lowpass, --highpass, --bandpass or --filter");
  if (o.Out == o.In) throw EUsage("input and output are the same file");

  auto reader = OpenSignalFile(o.In, FileFormatFromFileName(o.In));
  if (o.Record < 0 || o.Record >= reader->NumberOfRecords())
    throw EUsage("'" + o.In + "' has no record " + std::to_string(o.Record) + " (it has " +
                 std::to_string(reader->NumberOfRecords()) + ")");
  const TSignalRecordInfo info = reader->RecordInfo(o.Record);
  if (info.Complex) throw EUsage("'" + o.In + "' holds complex samples; filter takes real signals");
  const int channels = info.ChannelCount;
  const double fs = info.SamplingFrequency;

  std::vector<std::unique_ptr<TChannelFilter>> chain;
  for (int c = 0; c < channels; ++c) {
    auto ch = std::make_unique<TChannelFilter>();
    ch->In.SetSamplingFrequency(fs);
    ch->Filter.SetName("Filter");
    if (fromTemplate) LoadComponentTreeFromFile(ch->Filter, o.Template);
    else ConfigureFilter(ch->Filter, o.Spec, fs);
    ch->Filter.SetInput(&ch->In);
    chain.push_back(std::move(ch));
  }
  // Design once up front: a template the design refuses fails before the output exists.
  TSignalFilter& first = chain.front()->Filter;
  if (!fromTemplate) FinishDesign(first, o.Spec);
  first.ApplyChanges();
  if (first.Response() != rstUnit && first.Taps().Length() == 0)
    throw EUsage("the filter design gave no coefficients");
  for (int c = 1; c < channels; ++c) {
    chain[std::size_t(c)]->Filter.SetAutoFilterOrder(first.AutoFilterOrder());
    chain[std::size_t(c)]->Filter.SetFirLength(first.FirLength());
    chain[std::size_t(c)]->Filter.SetOrder(first.Order());
  }
  if (!o.SaveFilter.empty()) {
    // The saved filter stands alone: its input here is a private buffer.
    first.SetInput(nullptr);
    SaveComponentTreeToFile(first, o.SaveFilter);
    first.SetInput(&chain.front()->In);
  }
  if (o.Verbose) std::printf("%s\n", DescribeFilter(first).c_str());

  const TFileFormat outFormat = FileFormatFromFileName(o.Out);
  const TPrecision precision = o.Precision.empty() ? info.Precision : ParsePrecision(o.Precision);
  const TRounding rounding = ParseRounding(o.Rounding);
  TProgress progress("filter", info.Frames, double(info.Frames) / fs);
  auto writer = TSignalFileWriter::Create(o.Out, outFormat, precision, rounding);
  // A record format stores each written block as a record: collect the record and write it once.
  const bool whole = IsRecordFormat(outFormat);
  TVec block, out, all;
  std::int64_t done = 0;
  while (done < info.Frames) {
    const std::int64_t got = reader->ReadSamples(o.Record, done, FilterBlockFrames, block);
    if (got <= 0) break;
    const int n = int(got);
    for (int c = 0; c < channels; ++c) {
      TChannelFilter& ch = *chain[std::size_t(c)];
      ch.In.Data().Size(n, false);
      double* x = ch.In.Data().Data();
      for (int i = 0; i < n; ++i) x[i] = block.Values(i * channels + c);
      ch.Filter.Update();
      const TVec& y = ch.Filter.Data();
      if (c == 0) out.Size(y.Length() * channels, false);
      for (int i = 0; i < y.Length() && i < out.Length() / channels; ++i) out.SetValues(i * channels + c, y.Values(i));
    }
    if (whole) {
      const int at = all.Length();
      all.Resize(at + out.Length());
      all.Copy(out, 0, at, out.Length());
    } else {
      writer->WriteBlock(out, fs, channels);
    }
    done += got;
    progress.Update(done);
  }
  if (whole) writer->WriteBlock(all, fs, channels);
  writer->Close();
  progress.Finish();
  return ExitOk;
}

}  // namespace

void RegisterFilter(CLI::App& app, TCommand* selected) {
  auto o = std::make_shared<TFilterOptions>();
  CLI::App* sub = app.add_subcommand("filter", "Filter every channel of a signal file into another file");
  sub->add_option("in", o->In, "Input signal file")->required();
  sub->add_option("out", o->Out, "Output signal file (replaced)")->required();
  AddFilterSpecOptions(*sub, o->Spec);
  sub->add_option("--filter", o->Template, "A saved filter component (JSON, as written by --save-filter)");
  sub->add_option("--save-filter", o->SaveFilter, "Write the designed filter component to this JSON file");
  sub->add_option("--record", o->Record, "Record of IN to filter (0-based)");
  sub->add_option("--precision", o->Precision, "Storage precision of OUT (as for convert); default: the input's");
  sub->add_option("--rounding", o->Rounding, "Rounding to integer precisions: trunc, floor, round, ceil");
  sub->add_flag("--verbose", o->Verbose, "Print the designed filter (kind, length or order)");
  sub->callback([o, selected] { *selected = [o] { return RunFilter(*o); }; });
}

}  // namespace sigflow::cli
