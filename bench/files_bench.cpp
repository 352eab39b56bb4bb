// Signal files: reading and writing a 16-bit stereo WAV of 2^24 frames in blocks of 4096
// frames through sigflow against libsndfile's own loop, and reading a ".dat" record of
// doubles against a plain fread loop. The files live in the temporary folder for the run.
#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "bench_wav.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Vec.h"

namespace {

constexpr std::int64_t kFrames = sigflow::bench::kWavFrames;
constexpr std::int64_t kBlock = sigflow::bench::kWavBlock;
constexpr int kChannels = sigflow::bench::kWavChannels;

// Made on first use, removed when the program ends.
struct TBenchFiles {
  std::string Dir;
  TBenchFiles() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sigflow-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data())) Dir = pattern;
  }
  ~TBenchFiles() {
    std::error_code ec;
    if (!Dir.empty()) std::filesystem::remove_all(Dir, ec);
  }
  std::string Path(const char* name) const { return Dir + "/" + name; }

  const std::string& Wav() {
    if (wav_.empty()) {
      wav_ = Path("read16.wav");
      sigflow::bench::WriteBenchWav16(wav_);
    }
    return wav_;
  }

  const std::string& Dat() {
    if (dat_.empty()) {
      dat_ = Path("read.dat");
      auto w = sigflow::TSignalFileWriter::Create(dat_, sigflow::ffDat, sigflow::prDouble);
      sigflow::TVec v(int(kFrames / 2 * kChannels));
      for (int i = 0; i < v.Length(); ++i) v.SetValues(i, double(i % 1000) * 0.25);
      w->WriteBlock(v, 48000, kChannels);
      w->Close();
    }
    return dat_;
  }

private:
  std::string wav_, dat_;
};

TBenchFiles& Files() {
  static TBenchFiles files;
  return files;
}

void BM_WavRead_sigflow(benchmark::State& state) {
  const std::string& file = Files().Wav();
  sigflow::TVec block;
  for (auto _ : state) {
    auto r = sigflow::OpenSignalFile(file, sigflow::ffWav);
    for (std::int64_t f = 0; f < kFrames; f += kBlock) r->ReadSamples(0, f, kBlock, block);
    benchmark::DoNotOptimize(block.Data());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_WavRead_sigflow)->Unit(benchmark::kMillisecond);

void BM_WavRead_sndfile(benchmark::State& state) {
  const std::string& file = Files().Wav();
  std::vector<double> block(std::size_t(kBlock * kChannels));
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* f = sf_open(file.c_str(), SFM_READ, &info);
    sf_command(f, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    while (sf_readf_double(f, block.data(), kBlock) > 0) benchmark::DoNotOptimize(block.data());
    sf_close(f);
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_WavRead_sndfile)->Unit(benchmark::kMillisecond);

sigflow::TVec WriteBlockData() {
  sigflow::TVec v(int(kBlock * kChannels));
  for (int i = 0; i < v.Length(); ++i) v.SetValues(i, double((i * 40503) % 65536 - 32768));
  return v;
}

void BM_WavWrite_sigflow(benchmark::State& state) {
  const std::string file = Files().Path("write_sigflow.wav");
  const sigflow::TVec block = WriteBlockData();
  for (auto _ : state) {
    auto w = sigflow::TSignalFileWriter::Create(file, sigflow::ffWav, sigflow::prSmallInt, sigflow::rnRound);
    for (std::int64_t f = 0; f < kFrames; f += kBlock) w->WriteBlock(block, 48000, kChannels);
    w->Close();
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
  ::unlink(file.c_str());
}
BENCHMARK(BM_WavWrite_sigflow)->Unit(benchmark::kMillisecond);

void BM_WavWrite_sndfile(benchmark::State& state) {
  const std::string file = Files().Path("write_sndfile.wav");
  const sigflow::TVec block = WriteBlockData();
  for (auto _ : state) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = kChannels;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* f = sf_open(file.c_str(), SFM_WRITE, &info);
    sf_command(f, SFC_SET_NORM_DOUBLE, nullptr, SF_FALSE);
    for (std::int64_t n = 0; n < kFrames; n += kBlock) sf_writef_double(f, block.Data(), kBlock);
    sf_close(f);
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
  ::unlink(file.c_str());
}
BENCHMARK(BM_WavWrite_sndfile)->Unit(benchmark::kMillisecond);

void BM_DatRead_sigflow(benchmark::State& state) {
  const std::string& file = Files().Dat();
  sigflow::TVec block;
  const std::int64_t frames = kFrames / 2;
  for (auto _ : state) {
    auto r = sigflow::OpenSignalFile(file, sigflow::ffDat);
    for (std::int64_t f = 0; f < frames; f += kBlock) r->ReadSamples(0, f, kBlock, block);
    benchmark::DoNotOptimize(block.Data());
  }
  state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_DatRead_sigflow)->Unit(benchmark::kMillisecond);

void BM_DatRead_plain(benchmark::State& state) {
  const std::string& file = Files().Dat();
  std::vector<double> block(std::size_t(kBlock * kChannels));
  const std::int64_t frames = kFrames / 2;
  for (auto _ : state) {
    std::FILE* f = std::fopen(file.c_str(), "rb");
    std::fseek(f, 24, SEEK_SET);  // past the record header
    while (std::fread(block.data(), sizeof(double) * kChannels, kBlock, f) > 0) benchmark::DoNotOptimize(block.data());
    std::fclose(f);
  }
  state.SetItemsProcessed(state.iterations() * frames);
}
BENCHMARK(BM_DatRead_plain)->Unit(benchmark::kMillisecond);

}  // namespace
