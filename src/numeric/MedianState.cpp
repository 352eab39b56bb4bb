#include "sigflow/numeric/MedianState.h"

#include <utility>

#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

// Heap of slot indices ordered by value; Before(a, b) says a belongs nearer the root.
struct Heap {
  std::vector<int>& slots;
  std::vector<int>& where;
  const std::vector<double>& value;
  bool isLower;  // max-heap

  bool Before(int a, int b) const {
    return isLower ? value[slots[a]] > value[slots[b]] : value[slots[a]] < value[slots[b]];
  }
  void Place(int pos) { where[slots[pos]] = isLower ? pos : ~pos; }
  void Swap(int a, int b) {
    std::swap(slots[a], slots[b]);
    Place(a);
    Place(b);
  }
  int Up(int pos) {
    while (pos > 0 && Before(pos, (pos - 1) / 2)) {
      Swap(pos, (pos - 1) / 2);
      pos = (pos - 1) / 2;
    }
    return pos;
  }
  void Down(int pos) {
    const int n = static_cast<int>(slots.size());
    for (;;) {
      int best = pos;
      for (int c = 2 * pos + 1; c <= 2 * pos + 2 && c < n; ++c)
        if (Before(c, best)) best = c;
      if (best == pos) return;
      Swap(pos, best);
      pos = best;
    }
  }
  void Fix(int pos) { Down(Up(pos)); }
};

void Restart(MedianState& s) {
  // All zeros: any placement is a valid pair of heaps.
  std::fill(s.value.begin(), s.value.end(), 0.0);
  const std::size_t nl = (s.Length + 1) / 2;
  for (std::size_t i = 0; i < s.Length; ++i) {
    if (i < nl) {
      s.lower[i] = static_cast<int>(i);
      s.where[i] = static_cast<int>(i);
    } else {
      s.upper[i - nl] = static_cast<int>(i);
      s.where[i] = ~static_cast<int>(i - nl);
    }
  }
  s.oldest = 0;
}

}  // namespace

void MedianInit(MedianState& state, int n) {
  if (n < 1) throw Exception("MedianInit: the window needs at least one sample");
  MedianState m;
  m.Initialized = true;
  m.Length = static_cast<std::size_t>(n);
  m.value.resize(m.Length);
  m.where.resize(m.Length);
  m.lower.resize((m.Length + 1) / 2);
  m.upper.resize(m.Length / 2);
  Restart(m);
  state = std::move(m);
}

void MedianReset(MedianState& state) {
  if (state.Initialized) Restart(state);
}

void MedianFree(MedianState& state) { state = MedianState{}; }

void MedianFilter(MedianState& s, std::span<const double> in, std::span<double> out) {
  if (!s.Initialized) throw Exception("MedianFilter: the median state is not initialised");
  if (out.size() < in.size()) throw Exception("MedianFilter: the output is shorter than the input");
  Heap lo{s.lower, s.where, s.value, true};
  Heap hi{s.upper, s.where, s.value, false};
  const bool odd = s.Length % 2 == 1;
  for (std::size_t i = 0; i < in.size(); ++i) {
    const int slot = static_cast<int>(s.oldest);
    s.value[slot] = in[i];
    const int w = s.where[slot];
    if (w >= 0) lo.Fix(w); else hi.Fix(~w);
    // The changed value may now sit on the wrong side: swap the two roots and sift both.
    if (!s.upper.empty() && s.value[s.lower[0]] > s.value[s.upper[0]]) {
      std::swap(s.lower[0], s.upper[0]);
      lo.Place(0);
      hi.Place(0);
      lo.Down(0);
      hi.Down(0);
    }
    out[i] = odd ? s.value[s.lower[0]] : 0.5 * (s.value[s.lower[0]] + s.value[s.upper[0]]);
    if (++s.oldest == s.Length) s.oldest = 0;
  }
}

}  // namespace sigflow
