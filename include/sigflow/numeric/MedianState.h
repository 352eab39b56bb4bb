#pragma once
// Running median over the last n samples of a stream, O(log n) per sample.
//
//   y[k] = median(x[k-n+1], ..., x[k]),  x[k < 0] = 0
//
// The window starts zero-filled, so for odd n, with h = (n-1)/2, y[k] equals
// scipy.signal.medfilt(x, n)[k - h] (medfilt pads with zeros) for every k >= h: the output
// is the centred median delayed by h samples; only medfilt's last h values, which need
// samples not yet seen, have no counterpart. For even n the median is the mean of the two
// middle values (numpy.median), centred half a sample later.
#include <cstddef>
#include <span>
#include <vector>

namespace sigflow {

// Copyable: a copy made between two blocks continues exactly as the original would.
// Two heaps around the median (max-heap of the lower half, min-heap of the upper half) over
// a ring buffer of the window; each slot knows its heap position, so the oldest sample is
// replaced in place and sifted.
struct MedianState {
  bool Initialized = false;
  std::size_t Length = 0;       // window n
  std::vector<double> value;    // ring buffer of the window, by slot
  std::vector<int> where;       // slot -> heap position: >= 0 lower heap, < 0 upper (~pos)
  std::vector<int> lower;       // max-heap of slots, (n+1)/2 of them
  std::vector<int> upper;       // min-heap of slots, n/2 of them
  std::size_t oldest = 0;       // slot the next sample replaces
};

// Sizes the state for a window of n >= 1 samples (sigflow::Exception otherwise), zero-filled.
void MedianInit(MedianState& state, int n);
// Back to the zero-filled window.
void MedianReset(MedianState& state);
// Releases the memory; the state is as default-constructed.
void MedianFree(MedianState& state);
// One output per input; out.size() >= in.size(). NaN inputs give unspecified values but
// never corrupt the state's memory.
void MedianFilter(MedianState& state, std::span<const double> in, std::span<double> out);

}  // namespace sigflow
