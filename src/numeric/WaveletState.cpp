#include "sigflow/numeric/WaveletState.h"

namespace sigflow {

void WaveletInit(WaveletState& state, std::size_t length, int p1, int p2, int order, int wavelet) {
  state = WaveletState{true, length, p1, p2, order, wavelet};
}

}  // namespace sigflow
