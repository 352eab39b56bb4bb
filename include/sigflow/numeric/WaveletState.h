#pragma once
// Wavelet filter-bank selection of the streaming filter. The wavelet response leaves its
// output untouched, so this only records what was selected.
#include <cstddef>

namespace sigflow {

struct WaveletState {
  bool Initialized = false;
  std::size_t Length = 0;  // block length in samples
  int P1 = 0;              // first wavelet parameter
  int P2 = 0;              // second wavelet parameter
  int Order = 0;           // decomposition order
  int Wavelet = 0;         // wavelet family, as the design's wavelet type value
};

// Records the selection; never fails and never allocates.
void WaveletInit(WaveletState& state, std::size_t length, int p1, int p2, int order, int wavelet);

}  // namespace sigflow
