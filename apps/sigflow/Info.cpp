// sigflow info: what a signal file holds, read block by block.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Cli.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::cli {

namespace {

constexpr std::int64_t InfoBlockFrames = 65536;

struct TChannelStats {
  double Peak = 0;
  double SumSquares = 0;
};

struct TRecordSummary {
  TSignalRecordInfo Info;
  std::vector<TChannelStats> Channels;
};

struct TInfoOptions {
  std::string File;
  bool Json = false;
};

std::vector<TRecordSummary> Summarize(TSignalFileReader& reader) {
  std::int64_t total = 0;
  double seconds = 0;
  for (int r = 0; r < reader.NumberOfRecords(); ++r) {
    total += reader.RecordInfo(r).Frames;
    seconds += double(reader.RecordInfo(r).Frames) / reader.RecordInfo(r).SamplingFrequency;
  }
  TProgress progress("info", total, seconds);
  std::vector<TRecordSummary> out;
  TVec block;
  std::int64_t done = 0;
  for (int r = 0; r < reader.NumberOfRecords(); ++r) {
    TRecordSummary s{reader.RecordInfo(r), {}};
    const int channels = s.Info.ChannelCount;
    s.Channels.resize(std::size_t(std::max(channels, 0)));
    for (std::int64_t first = 0; first < s.Info.Frames; first += InfoBlockFrames) {
      const std::int64_t got = reader.ReadSamples(r, first, InfoBlockFrames, block);
      if (got <= 0) break;
      const double* d = block.Data();
      const int stride = s.Info.Complex ? 2 : 1;
      for (std::int64_t f = 0; f < got; ++f) {
        for (int c = 0; c < channels; ++c) {
          const double* v = d + (f * channels + c) * stride;
          const double m2 = s.Info.Complex ? v[0] * v[0] + v[1] * v[1] : v[0] * v[0];
          TChannelStats& cs = s.Channels[std::size_t(c)];
          cs.SumSquares += m2;
          cs.Peak = std::max(cs.Peak, std::sqrt(m2));
        }
      }
      done += got;
      progress.Update(done);
    }
    out.push_back(std::move(s));
  }
  progress.Finish();
  return out;
}

double Rms(const TChannelStats& c, std::int64_t frames) { return frames > 0 ? std::sqrt(c.SumSquares / double(frames)) : 0.0; }

const char* FormatName(TFileFormat f) { return FileFormatExtension(f) + 1; }

int RunInfo(const TInfoOptions& o) {
  const TFileFormat format = FileFormatFromFileName(o.File);
  auto reader = OpenSignalFile(o.File, format);
  const auto records = Summarize(*reader);

  if (o.Json) {
    nlohmann::ordered_json j;
    j["file"] = o.File;
    j["format"] = FormatName(format);
    j["format_description"] = FileFormatDescription(format);
    j["record_count"] = records.size();
    j["records"] = nlohmann::ordered_json::array();
    for (std::size_t r = 0; r < records.size(); ++r) {
      const auto& s = records[r];
      nlohmann::ordered_json jr;
      jr["record"] = r;
      jr["channels"] = s.Info.ChannelCount;
      jr["sampling_frequency"] = s.Info.SamplingFrequency;
      jr["frames"] = s.Info.Frames;
      jr["duration"] = double(s.Info.Frames) / s.Info.SamplingFrequency;
      jr["precision"] = PrecisionName(s.Info.Precision);
      jr["complex"] = s.Info.Complex;
      jr["peak"] = nlohmann::ordered_json::array();
      jr["rms"] = nlohmann::ordered_json::array();
      for (const auto& c : s.Channels) {
        jr["peak"].push_back(c.Peak);
        jr["rms"].push_back(Rms(c, s.Info.Frames));
      }
      j["records"].push_back(jr);
    }
    std::printf("%s\n", j.dump(2).c_str());
    return ExitOk;
  }

  std::printf("File:      %s\n", o.File.c_str());
  std::printf("Format:    %s (%s)\n", FormatName(format), FileFormatDescription(format));
  std::printf("Records:   %zu\n", records.size());
  for (std::size_t r = 0; r < records.size(); ++r) {
    const auto& s = records[r];
    const double seconds = double(s.Info.Frames) / s.Info.SamplingFrequency;
    std::printf("Record %zu:\n", r);
    std::printf("  Channels:  %d%s\n", s.Info.ChannelCount, s.Info.Complex ? " (complex)" : "");
    std::printf("  Rate:      %s Hz\n", FormatNumber(s.Info.SamplingFrequency, 10).c_str());
    std::printf("  Length:    %lld frames, %s s\n", static_cast<long long>(s.Info.Frames), FormatNumber(seconds, 8).c_str());
    std::printf("  Precision: %s (%s)\n", PrecisionName(s.Info.Precision), PrecisionShortName(s.Info.Precision));
    for (std::size_t c = 0; c < s.Channels.size(); ++c) {
      std::printf("  Channel %zu: peak %s, RMS %s\n", c + 1, FormatNumber(s.Channels[c].Peak, 8).c_str(),
                  FormatNumber(Rms(s.Channels[c], s.Info.Frames), 8).c_str());
    }
  }
  return ExitOk;
}

}  // namespace

void RegisterInfo(CLI::App& app, TCommand* selected) {
  auto opts = std::make_shared<TInfoOptions>();
  CLI::App* sub = app.add_subcommand("info", "Show a signal file's format, records, channels, rate, length, "
                                             "precision, and peak and RMS per channel");
  sub->add_option("file", opts->File, "Signal file (.dat .sgl .bin .dbn .wav .sfs .asc)")->required();
  sub->add_flag("--json", opts->Json, "Print one JSON object (snake_case keys)");
  sub->callback([opts, selected] { *selected = [opts] { return RunInfo(*opts); }; });
}

}  // namespace sigflow::cli
