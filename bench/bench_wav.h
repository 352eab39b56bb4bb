#pragma once
// The 16-bit stereo WAV the file benchmarks read, written through libsndfile (the peer), so
// neither side reads a file of its own making.
#include <sndfile.h>

#include <cstdint>
#include <string>
#include <vector>

namespace sigflow::bench {

constexpr std::int64_t kWavFrames = std::int64_t(1) << 24;
constexpr std::int64_t kWavBlock = 4096;
constexpr int kWavChannels = 2;

inline void WriteBenchWav16(const std::string& path) {
  SF_INFO info{};
  info.samplerate = 48000;
  info.channels = kWavChannels;
  info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
  SNDFILE* f = sf_open(path.c_str(), SFM_WRITE, &info);
  std::vector<short> block(std::size_t(kWavBlock * kWavChannels));
  for (std::int64_t b = 0; b < kWavFrames; b += kWavBlock) {
    for (std::size_t i = 0; i < block.size(); ++i) block[i] = short((b + std::int64_t(i)) * 2654435761u >> 16);
    sf_writef_short(f, block.data(), kWavBlock);
  }
  sf_close(f);
}

}  // namespace sigflow::bench
