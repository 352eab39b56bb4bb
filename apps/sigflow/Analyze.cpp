// sigflow analyze: averaged spectrum, largest peaks and distortion figures of one channel.
#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <vector>

#include "Cli.h"
#include "Chain.h"
#include "SpectrumAnalysis.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Random.h"
#include "sigflow/numeric/Tone.h"
#include "sigflow/numeric/Vec.h"

#ifdef SIGFLOW_CLI_GUI
#include "sigflow/gui/PlotData.h"
#include "sigflow/gui/PlotRenderer.h"
#endif

namespace sigflow::cli {

void PrintAnalysisReport(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& averaging,
                         const std::string& what);
void PrintAnalysisJson(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& file);

namespace {

struct TAnalyzeOptions {
  std::string File;
  int Record = 0;
  int Channel = 1;
  int FftSize = 8192;
  double Overlap = 50;
  int ZeroPadding = 1;
  std::string Window = "kaiser:20";
  int Averages = 0;
  std::string Averaging = "linear";
  int Peaks = 5;
  int Harmonics = 10;
  bool Db = false;
  bool Json = false;
  std::string Csv;
  std::string Plot;
  std::string SaveChain;
};

// The built-in test signal: a 1 kHz sine of amplitude 1 with a second harmonic at 1 % and a
// third at 0.3 % (THD 1.044 %), plus white noise 100 dB below the fundamental's RMS.
class TTestSignal : public TSampleSource {
public:
  static constexpr double Rate = 48000;
  static constexpr double Seconds = 10;
  static constexpr std::uint64_t NoiseSeed = 1;

  TTestSignal() : noise_(NoiseSeed) {
    ToneInit(tones_[0], 1000, 0, 1.0, Rate, false);
    ToneInit(tones_[1], 2000, 0, 0.01, Rate, false);
    ToneInit(tones_[2], 3000, 0, 0.003, Rate, false);
  }
  double SamplingFrequency() const override { return Rate; }
  std::int64_t Frames() const override { return std::int64_t(Rate * Seconds); }
  std::size_t Read(std::vector<double>& dst) override {
    const std::size_t count = std::size_t(std::min<std::int64_t>(std::int64_t(dst.size()), Frames() - done_));
    if (count == 0) return 0;
    std::span<double> out(dst.data(), count);
    part_.resize(count);
    Tone(tones_[0], out);
    for (int h = 1; h < 3; ++h) {
      Tone(tones_[h], part_);
      for (std::size_t i = 0; i < count; ++i) out[i] += part_[i];
    }
    const double sigma = std::pow(10.0, -100.0 / 20.0) / std::sqrt(2.0);
    for (std::size_t i = 0; i < count; ++i) out[i] += sigma * noise_.Gauss();
    done_ += std::int64_t(count);
    return count;
  }

private:
  TToneState tones_[3];
  TRandomState noise_;
  std::vector<double> part_;
  std::int64_t done_ = 0;
};

// One channel of one record of a signal file, read block by block.
class TFileSource : public TSampleSource {
public:
  TFileSource(const std::string& file, int record, int channel)
      : reader_(OpenSignalFile(file, FileFormatFromFileName(file))) {
    if (record < 0 || record >= reader_->NumberOfRecords())
      throw EUsage("'" + file + "' has no record " + std::to_string(record) + " (it has " +
                   std::to_string(reader_->NumberOfRecords()) + ")");
    record_ = record;
    info_ = reader_->RecordInfo(record);
    if (info_.Complex) throw EUsage("'" + file + "' holds complex samples; analyze takes real signals");
    if (channel < 1 || channel > info_.ChannelCount)
      throw EUsage("'" + file + "' has no channel " + std::to_string(channel) + " (it has " +
                   std::to_string(info_.ChannelCount) + ")");
    channel_ = channel - 1;
  }
  double SamplingFrequency() const override { return info_.SamplingFrequency; }
  std::int64_t Frames() const override { return info_.Frames; }
  int ChannelCount() const { return info_.ChannelCount; }
  std::size_t Read(std::vector<double>& dst) override {
    const std::int64_t got = reader_->ReadSamples(record_, next_, std::int64_t(dst.size()), buffer_);
    const int channels = info_.ChannelCount;
    const double* d = buffer_.Data();
    for (std::int64_t f = 0; f < got; ++f) dst[std::size_t(f)] = d[f * channels + channel_];
    next_ += got;
    return std::size_t(got);
  }

private:
  std::unique_ptr<TSignalFileReader> reader_;
  TSignalRecordInfo info_;
  int record_ = 0;
  int channel_ = 0;
  std::int64_t next_ = 0;
  TVec buffer_;
};

double Db(double amplitude) { return amplitude > 0 ? 20.0 * std::log10(amplitude) : -std::numeric_limits<double>::infinity(); }

void WriteCsv(const TAnalysisReport& r, const std::string& path, bool db) {
  std::ofstream out(path);
  if (!out) throw EUsage("cannot write '" + path + "'");
  out.imbue(std::locale::classic());
  out.precision(12);
  out << "frequency," << (db ? "amplitude_db" : "amplitude") << "\n";
  for (std::size_t k = 0; k < r.Amplitudes.size(); ++k) {
    const double a = r.Amplitudes[k];
    out << double(k) * r.BinHz << ',';
    if (db) out << (a > 0 ? Db(a) : -400.0);
    else out << a;
    out << '\n';
  }
  out.flush();
  if (!out) throw EUsage("cannot write '" + path + "'");
}

void WritePlot(const TAnalysisReport& r, const std::string& path, const std::string& title) {
#ifdef SIGFLOW_CLI_GUI
  TPlotData plot = SpectrumPlot(r.Amplitudes, 0.0, r.BinHz);
  plot.Title = title;
  plot.AmplitudeScale = amDecibel;
  for (const TPeak& p : r.Peaks)
    plot.Peaks.push_back({p.Frequency, p.Amplitude, FormatNumber(p.Frequency, 7) + " Hz"});
  RenderPlotToPng(plot, path, 1600, 900);
#else
  (void)r;
  (void)title;
  throw EUsage("cannot write plot '" + path + "': this sigflow was built without the gui module");
#endif
}

int RunAnalyze(const TAnalyzeOptions& o) {
  TAnalysisSettings s;
  s.FftSize = o.FftSize;
  s.OverlapPercent = o.Overlap;
  s.ZeroPadding = o.ZeroPadding;
  s.Window = ParseWindow(o.Window);
  s.Averages = o.Averages;
  s.Averaging = ParseAveraging(o.Averaging);
  s.Peaks = o.Peaks;
  s.Harmonics = o.Harmonics;
  if (o.Harmonics < 1) throw EUsage("--harmonics must be at least 1");
#ifndef SIGFLOW_CLI_GUI
  if (!o.Plot.empty()) WritePlot({}, o.Plot, "");
#endif

  std::unique_ptr<TSampleSource> source;
  std::string what;
  if (o.File.empty()) {
    source = std::make_unique<TTestSignal>();
    what = "built-in test signal (1 kHz, 1 % 2nd and 0.3 % 3rd harmonic, noise at -100 dB)";
  } else {
    auto file = std::make_unique<TFileSource>(o.File, o.Record, o.Channel);
    if (!o.SaveChain.empty()) CheckAnalyzeChain(s, o.Record, file->ChannelCount(), false);
    source = std::move(file);
    what = o.File;
  }
  if (o.File.empty() && !o.SaveChain.empty()) CheckAnalyzeChain(s, 0, 1, true);
  TProgress progress("analyze", source->Frames(), double(source->Frames()) / source->SamplingFrequency());
  const TAnalysisReport r = AnalyzeSpectrum(*source, s, &progress);
  progress.Finish();

  if (!o.Csv.empty()) WriteCsv(r, o.Csv, o.Db);
  if (!o.Plot.empty()) WritePlot(r, o.Plot, o.File.empty() ? "Built-in test signal" : o.File);
  if (!o.SaveChain.empty()) SaveAnalyzeChain(o.SaveChain, o.File, s, r.FramesAveraged);
  if (o.Json) PrintAnalysisJson(r, s, o.File.empty() ? "builtin" : o.File);
  else PrintAnalysisReport(r, s, o.Averaging, what);
  return ExitOk;
}

}  // namespace

void PrintAnalysisReport(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& averaging,
                         const std::string& what) {
  const bool tone = !r.Peaks.empty();
  auto num = [](double x, int p = 6) { return FormatNumber(x, p); };
  std::printf("Signal:              %s\n", what.c_str());
  std::printf("Sampling frequency:  %s Hz\n", num(r.SamplingFrequency, 10).c_str());
  // A chain's analyzer sees frames only: figures of the whole signal it cannot give are n/a.
  std::printf("Duration:            %s\n", std::isnan(r.Duration) ? "n/a" : (num(r.Duration, 8) + " s").c_str());
  std::printf("RMS:                 %s\n", std::isnan(r.Rms) ? "n/a" : num(r.Rms, 8).c_str());
  std::printf("Spectrum:            %d-point frames, %s window, %s%% overlap, %lld frames averaged (%s), "
              "%s Hz bins\n",
              s.FftSize, s.Window.Name.c_str(), num(s.OverlapPercent).c_str(), static_cast<long long>(r.FramesAveraged),
              averaging.c_str(), num(r.BinHz, 8).c_str());
  std::printf("Peaks:\n");
  for (std::size_t i = 0; i < r.Peaks.size(); ++i) {
    std::printf("  %2zu  %14s Hz  %14s  %9s dB\n", i + 1, num(r.Peaks[i].Frequency, 10).c_str(),
                num(r.Peaks[i].Amplitude, 8).c_str(), num(Db(r.Peaks[i].Amplitude), 5).c_str());
  }
  if (!tone) {
    std::printf("No peak found: no distortion figures.\n");
    return;
  }
  std::printf("THD:                 %s %%\n", num(r.Tone.THD(), 6).c_str());
  std::printf("THD+N:               %s %%\n", num(r.Tone.THDN(), 6).c_str());
  std::printf("SNR:                 %s dB\n", num(r.Tone.SNR(), 6).c_str());
  std::printf("SINAD:               %s dB\n", num(r.Tone.SINAD(), 6).c_str());
  std::printf("SFDR:                %s dB\n", num(r.Tone.SFDR(), 6).c_str());
  std::printf("Noise floor:         %s dB per bin re fundamental\n", num(r.Tone.NF(), 6).c_str());
}

void PrintAnalysisJson(const TAnalysisReport& r, const TAnalysisSettings& s, const std::string& file) {
  nlohmann::ordered_json j;
  j["signal"] = file;
  j["sampling_frequency"] = r.SamplingFrequency;
  j["duration"] = r.Duration;
  j["rms"] = r.Rms;
  j["fft_size"] = s.FftSize;
  j["zero_padding"] = s.ZeroPadding;
  j["window"] = s.Window.Name;
  j["overlap_percent"] = s.OverlapPercent;
  j["frames_averaged"] = r.FramesAveraged;
  j["bin_width"] = r.BinHz;
  j["peaks"] = nlohmann::ordered_json::array();
  for (const TPeak& p : r.Peaks)
    j["peaks"].push_back({{"frequency", p.Frequency}, {"amplitude", p.Amplitude}, {"amplitude_db", Db(p.Amplitude)}});
  const bool tone = !r.Peaks.empty();
  // JSON has no NaN: figures that do not exist are null.
  auto fig = [tone](double v) { return tone && std::isfinite(v) ? nlohmann::ordered_json(v) : nlohmann::ordered_json(); };
  j["thd_percent"] = fig(r.Tone.THD());
  j["thdn_percent"] = fig(r.Tone.THDN());
  j["snr_db"] = fig(r.Tone.SNR());
  j["sinad_db"] = fig(r.Tone.SINAD());
  j["sfdr_db"] = fig(r.Tone.SFDR());
  j["noise_floor_db"] = fig(r.Tone.NF());
  std::printf("%s\n", j.dump(2).c_str());
}

void RegisterAnalyze(CLI::App& app, TCommand* selected) {
  auto o = std::make_shared<TAnalyzeOptions>();
  CLI::App* sub = app.add_subcommand(
      "analyze", "Averaged amplitude spectrum of one channel: largest peaks, THD, THD+N, SNR, SINAD, SFDR "
                 "and noise floor. Without FILE, a built-in test signal is analysed");
  sub->add_option("file", o->File, "Signal file; omitted: 10 s of a 1 kHz test tone at 48 kHz");
  sub->add_option("--record", o->Record, "Record to analyse (0-based)");
  sub->add_option("--channel", o->Channel, "Channel to analyse (1-based)");
  sub->add_option("--fft-size", o->FftSize, "Samples per frame (even)");
  sub->add_option("--overlap", o->Overlap, "Frame overlap in percent, 0 <= overlap < 100");
  sub->add_option("--zero-padding", o->ZeroPadding, "Transform length as a multiple of the frame (1 .. 64)");
  sub->add_option("--window", o->Window,
                  "rect, hann, hamming, blackman, blackman-harris, blackman-exact, flattop, bartlett, "
                  "kaiser:BETA, chebyshev:DB, cosine:TAPER, exponential:END");
  sub->add_option("--averages", o->Averages,
                  "Frames to average (0: all); for exponential averaging the time constant in frames");
  sub->add_option("--averaging", o->Averaging, "linear (power mean), exponential, peak-hold");
  sub->add_option("--peaks", o->Peaks, "Number of largest peaks to report");
  sub->add_option("--harmonics", o->Harmonics, "Highest harmonic order counted as distortion");
  sub->add_flag("--db", o->Db, "Write the --csv spectrum in dB (20 log10)");
  sub->add_flag("--json", o->Json, "Print the report as one JSON object (snake_case keys)");
  sub->add_option("--csv", o->Csv, "Write the spectrum to this CSV file (frequency, amplitude)");
  sub->add_option("--plot", o->Plot, "Draw the spectrum with its peaks to this PNG file (1600x900)");
  sub->add_option("--save-chain", o->SaveChain,
                  "Write the equivalent component chain (reader, spectrum analyzer) to this JSON file for run");
  sub->callback([o, selected] { *selected = [o] { return RunAnalyze(*o); }; });
}

}  // namespace sigflow::cli
