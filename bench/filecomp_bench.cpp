// The file reader component: a 16-bit stereo WAV of 2^24 frames read in frames of 4096 through
// TSignalRead against libsndfile's own sf_readf_double loop over the same file.
#include <benchmark/benchmark.h>
#include <sndfile.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "bench_wav.h"
#include "sigflow/files/SignalRead.h"

namespace {

constexpr std::int64_t kFrames = sigflow::bench::kWavFrames;
constexpr std::int64_t kBlock = sigflow::bench::kWavBlock;
constexpr int kChannels = sigflow::bench::kWavChannels;

// Made on first use, removed when the program ends.
struct TComponentBenchFile {
  std::string Name;
  TComponentBenchFile() {
    Name = (std::filesystem::temp_directory_path() / ("sigflow-filecomp-" + std::to_string(::getpid()) + ".wav"))
               .string();
    sigflow::bench::WriteBenchWav16(Name);
  }
  ~TComponentBenchFile() {
    std::error_code ec;
    std::filesystem::remove(Name, ec);
  }
};

const std::string& BenchWav() {
  static TComponentBenchFile file;
  return file.Name;
}

void BM_WavReadComponent_sigflow(benchmark::State& state) {
  const std::string& name = BenchWav();
  for (auto _ : state) {
    sigflow::TSignalRead reader(nullptr);
    reader.SetFileName(name);
    reader.SetFraming(true);
    reader.SetLength(int(kBlock * kChannels));
    while (reader.Pull()) benchmark::DoNotOptimize(reader.Data().Data());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_WavReadComponent_sigflow)->Unit(benchmark::kMillisecond);

void BM_WavReadComponent_sndfile(benchmark::State& state) {
  const std::string& name = BenchWav();
  std::vector<double> block(std::size_t(kBlock * kChannels));
  for (auto _ : state) {
    SF_INFO info{};
    SNDFILE* f = sf_open(name.c_str(), SFM_READ, &info);
    while (sf_readf_double(f, block.data(), kBlock) > 0) benchmark::DoNotOptimize(block.data());
    sf_close(f);
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_WavReadComponent_sndfile)->Unit(benchmark::kMillisecond);

}  // namespace
