// sigflow convert: copies the records of one signal file into another format or precision.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>

#include "Cli.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::cli {

namespace {

constexpr std::int64_t ConvertBlockFrames = 65536;

struct TConvertOptions {
  std::string In;
  std::string Out;
  std::string Precision;
  std::string Rounding = "round";
  double Scale = 1.0;
  int Record = -1;
};

// Record formats store each written block as a record of its own; the others append.
bool IsRecordFormat(TFileFormat f) { return f == ffDat || f == ffSgl || f == ffBin || f == ffDbn; }

int RunConvert(const TConvertOptions& o) {
  const TFileFormat inFormat = FileFormatFromFileName(o.In);
  const TFileFormat outFormat = FileFormatFromFileName(o.Out);
  const TRounding rounding = ParseRounding(o.Rounding);
  auto reader = OpenSignalFile(o.In, inFormat);
  const int count = reader->NumberOfRecords();
  if (count == 0) throw EUsage("'" + o.In + "' holds no records");
  int first = 0, last = count - 1;
  if (o.Record >= 0) {
    if (o.Record >= count) throw EUsage("'" + o.In + "' has no record " + std::to_string(o.Record) +
                                        " (records 0 .. " + std::to_string(count - 1) + ")");
    first = last = o.Record;
  }
  if (!IsRecordFormat(outFormat) && last > first)
    throw EUsage("'" + o.Out + "' holds one record and '" + o.In + "' has " + std::to_string(count) +
                 ": choose one with --record");
  const TPrecision precision = o.Precision.empty() ? reader->RecordInfo(first).Precision : ParsePrecision(o.Precision);
  if (o.Out == o.In) throw EUsage("input and output are the same file");

  std::int64_t total = 0;
  double seconds = 0;
  for (int r = first; r <= last; ++r) {
    total += reader->RecordInfo(r).Frames;
    seconds += double(reader->RecordInfo(r).Frames) / reader->RecordInfo(r).SamplingFrequency;
  }
  TProgress progress("convert", total, seconds);
  auto writer = TSignalFileWriter::Create(o.Out, outFormat, precision, rounding);
  TVec block;
  std::int64_t done = 0;
  for (int r = first; r <= last; ++r) {
    const TSignalRecordInfo& info = reader->RecordInfo(r);
    if (IsRecordFormat(outFormat)) {
      // One block per record keeps the record boundaries; such a record is held in memory.
      reader->ReadRecord(r, block);
      if (o.Scale != 1.0) block.Scale(o.Scale);
      writer->WriteBlock(block, info.SamplingFrequency, info.ChannelCount);
      done += info.Frames;
      progress.Update(done);
      continue;
    }
    for (std::int64_t f = 0; f < info.Frames; f += ConvertBlockFrames) {
      const std::int64_t got = reader->ReadSamples(r, f, ConvertBlockFrames, block);
      if (got <= 0) break;
      if (o.Scale != 1.0) block.Scale(o.Scale);
      writer->WriteBlock(block, info.SamplingFrequency, info.ChannelCount);
      done += got;
      progress.Update(done);
    }
  }
  writer->Close();
  progress.Finish();
  return ExitOk;
}

}  // namespace

void RegisterConvert(CLI::App& app, TCommand* selected) {
  auto opts = std::make_shared<TConvertOptions>();
  CLI::App* sub = app.add_subcommand("convert", "Convert a signal file to another format or precision "
                                                "(formats chosen by extension)");
  sub->add_option("in", opts->In, "Input signal file")->required();
  sub->add_option("out", opts->Out, "Output signal file (replaced)")->required();
  sub->add_option("--precision", opts->Precision,
                  "Storage precision: double, single, int32, uint32, int16, uint16, int8, uint8 "
                  "(or prDouble ... prByte); default: the input's");
  sub->add_option("--rounding", opts->Rounding, "Rounding to integer precisions: trunc, floor, round, ceil");
  sub->add_option("--scale", opts->Scale, "Multiply every value by this factor before storing");
  sub->add_option("--record", opts->Record, "Convert only this record (0-based); default: all");
  sub->callback([opts, selected] { *selected = [opts] { return RunConvert(*opts); }; });
}

}  // namespace sigflow::cli
