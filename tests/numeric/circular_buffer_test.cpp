// Circular buffer state: random writes, reads (overlapping), views and resizes against a
// plain model, with the flags a refused write or read sets.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

#include "sigflow/numeric/CircularBuffer.h"

namespace sigflow {
namespace {

TVec Ramp(int n, double start, bool complex = false) {
  TVec v(n, complex);
  for (int i = 0; i < n; ++i) v.SetCValues(i, TCplx(start + i, -(start + i)));
  return v;
}

std::vector<double> Reals(const TVec& v) {
  std::vector<double> out;
  for (int i = 0; i < v.Length(); ++i) out.push_back(v.CValues(i).real());
  return out;
}

// The model: a deque of unread values and the history the ring still holds (<= its size).
TEST(CircularBuffer, RandomOperationsMatchAPlainModel) {
  std::mt19937 gen(11);
  TCircularBufferState s;
  TVec buf, out;
  InitCircularBuffer(s, buf, 16);
  std::deque<double> unread;
  std::vector<double> history;
  int size = 16;
  double next = 0;
  auto trim = [&] {
    while (int(unread.size()) > size) unread.pop_front();
    if (int(history.size()) > size) history.erase(history.begin(), history.end() - size);
  };
  for (int step = 0; step < 4000; ++step) {
    const int op = int(gen() % 10), n = int(gen() % 12);
    if (op < 4) {
      const bool fits = n <= size - int(unread.size());
      ASSERT_EQ(WriteToCircularBuffer(s, buf, Ramp(n, next)), fits) << step;
      ASSERT_TRUE(fits || s.Overrun) << step;
      for (int i = 0; fits && i < n; ++i) unread.push_back(next + i), history.push_back(next + i);
      next += fits ? n : 0;
    } else if (op < 8) {
      const int overlap = int(gen() % 14) - 2;
      const bool enough = n <= int(unread.size());
      ASSERT_EQ(ReadFromCircularBuffer(s, buf, out, n, overlap), enough) << step;
      ASSERT_TRUE(enough || s.Underrun) << step;
      if (!enough) continue;
      ASSERT_EQ(Reals(out), std::vector<double>(unread.begin(), unread.begin() + n)) << step;
      unread.erase(unread.begin(), unread.begin() + (n == 0 ? 0 : n - std::clamp(overlap, 0, n - 1)));
    } else if (op == 8) {
      TVec view(n + 8);
      MonitorCircularBuffer(s, buf, view);
      const int shown = std::min(view.Length(), int(history.size()));
      std::vector<double> want(std::size_t(view.Length() - shown), 0.0);
      want.insert(want.end(), history.end() - shown, history.end());
      ASSERT_EQ(Reals(view), want) << step;
      unread.clear();
    } else {
      ResizeCircularBuffer(s, buf, size = int(gen() % 24));
    }
    trim();
    ASSERT_EQ(PeekCircularBuffer(s), int(unread.size())) << step;
  }
}

TEST(CircularBuffer, InitClearsAndComplexElementsStayWhole) {
  TCircularBufferState s;
  TVec buf(0, true), out;
  InitCircularBuffer(s, buf, 4);
  EXPECT_FALSE(ReadFromCircularBuffer(s, buf, out, 1, 0));
  InitCircularBuffer(s, buf, 4);
  EXPECT_FALSE(s.Underrun);
  WriteToCircularBuffer(s, buf, Ramp(3, 0, true));
  ReadFromCircularBuffer(s, buf, out, 2, 0);
  WriteToCircularBuffer(s, buf, Ramp(3, 3, true));  // wraps
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 4, 0));
  EXPECT_EQ(out.CValues(3), TCplx(5, -5));
}

}  // namespace
}  // namespace sigflow
