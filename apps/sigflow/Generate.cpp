// sigflow generate: writes the output of a signal generator formula to a file, block by block.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>
#include <string>

#include "Cli.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/processing/FuncSignalList.h"
#include "sigflow/processing/SignalGenerator.h"

namespace sigflow::cli {

namespace {

struct TGenerateOptions {
  std::string Out;
  std::string Formula;
  double Rate = 48000;
  double Seconds = 1;
  int Block = 65536;
  int Channels = 1;
  std::string Precision;
  std::string Rounding = "round";
  double Scale = 1.0;
};

// WAV stores integers only; elsewhere the values are kept as they are.
TPrecision DefaultPrecision(TFileFormat f) { return f == ffWav ? prSmallInt : prDouble; }

int RunGenerate(const TGenerateOptions& o) {
  if (!(o.Rate > 0) || !std::isfinite(o.Rate)) throw EUsage("--rate must be a positive number of Hz");
  if (!(o.Seconds > 0) || !std::isfinite(o.Seconds)) throw EUsage("--seconds must be positive");
  if (o.Block < 1) throw EUsage("--block must be at least 1");
  if (o.Channels < 1 || o.Channels > 64) throw EUsage("--channels must be 1 .. 64");
  const auto lines = ParseFormula(o.Formula);
  if (lines.empty()) throw EUsage("the formula is empty");
  const TFileFormat format = FileFormatFromFileName(o.Out);
  const TPrecision precision = o.Precision.empty() ? DefaultPrecision(format) : ParsePrecision(o.Precision);
  const TRounding rounding = ParseRounding(o.Rounding);
  const auto total = static_cast<std::int64_t>(std::llround(o.Seconds * o.Rate));
  if (total < 1) throw EUsage("--seconds gives no sample at this rate");

  TSignalGenerator gen(nullptr);
  gen.SetName("Generator");
  gen.SetSamplingFrequency(o.Rate);
  gen.SetLength(o.Block);
  gen.Sounds()->AddTemplate("cli");
  for (const auto& line : lines) gen.Template()->Add(line);

  // The first block is computed before the file is created, so a bad formula leaves none.
  auto next = [&gen] {
    gen.Update();
    if (!gen.ComputeMessage().empty()) throw EUsage("formula: " + gen.ComputeMessage());
  };
  next();
  TProgress progress("generate", total, o.Seconds);
  auto writer = TSignalFileWriter::Create(o.Out, format, precision, rounding);
  TVec out;
  std::int64_t done = 0;
  for (bool first = true; done < total; first = false) {
    // Every block has the full length: a new length would restart the formula's lines.
    if (!first) next();
    const TVec& data = gen.Data();
    const int n = static_cast<int>(std::min<std::int64_t>(data.Length(), total - done));
    const int c = o.Channels;
    out.Size(n * c, data.Complex());
    for (int i = 0; i < n; ++i)
      for (int k = 0; k < c; ++k) {
        if (data.Complex()) out.SetCValues(i * c + k, data.CValues(i) * o.Scale);
        else out.SetValues(i * c + k, data.Values(i) * o.Scale);
      }
    writer->WriteBlock(out, o.Rate, c);
    done += n;
    progress.Update(done);
  }
  writer->Close();
  progress.Finish();
  return ExitOk;
}

}  // namespace

void RegisterGenerate(CLI::App& app, TCommand* selected) {
  auto o = std::make_shared<TGenerateOptions>();
  CLI::App* sub = app.add_subcommand("generate", "Write the signal of a generator formula to a file "
                                                 "(format chosen by extension)");
  sub->add_option("out", o->Out, "Output signal file (replaced)")->required();
  sub->add_option("--formula", o->Formula,
                  "Generator lines in postfix order, e.g. \"sine(1000,0,1) square(50,0,0.1,0) +\"")
      ->required();
  sub->add_option("--rate", o->Rate, "Sampling frequency in Hz");
  sub->add_option("--seconds", o->Seconds, "Length in seconds (rounded to whole samples)");
  sub->add_option("--block", o->Block, "Samples generated per block");
  sub->add_option("--channels", o->Channels, "Channel count (every channel holds the same signal)");
  sub->add_option("--precision", o->Precision,
                  "Storage precision (as for convert); default double, int16 for .wav");
  sub->add_option("--rounding", o->Rounding, "Rounding to integer precisions: trunc, floor, round, ceil");
  sub->add_option("--scale", o->Scale, "Multiply every value by this factor before storing");
  sub->callback([o, selected] { *selected = [o] { return RunGenerate(*o); }; });
}

}  // namespace sigflow::cli
