// Circular buffer state: order across the wrap, refused writes and reads with their flags,
// overlapping reads, the monitor view, resizing, and a random run against a plain model.
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <deque>
#include <random>
#include <vector>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/CircularBuffer.h"

namespace sigflow {
namespace {

TVec Ramp(int n, double start, bool complex = false) {
  TVec v(n, complex);
  for (int i = 0; i < n; ++i) v.SetCValues(i, TCplx(start + i, complex ? -(start + i) : 0));
  return v;
}

std::vector<double> Reals(const TVec& v) {
  std::vector<double> out;
  for (int i = 0; i < v.Length(); ++i) out.push_back(v.CValues(i).real());
  return out;
}

std::vector<double> Range(double from, int n) {
  std::vector<double> out;
  for (int i = 0; i < n; ++i) out.push_back(from + i);
  return out;
}

TEST(CircularBuffer, KeepsOrderAcrossTheWrapAndRefusesWhatDoesNotFit) {
  TCircularBufferState s;
  TVec buf;
  InitCircularBuffer(s, buf, 10);
  EXPECT_EQ(buf.Length(), 10);
  TVec out;
  ASSERT_TRUE(WriteToCircularBuffer(s, buf, Ramp(7, 0)));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 5, 0));
  EXPECT_EQ(Reals(out), Range(0, 5));
  ASSERT_TRUE(WriteToCircularBuffer(s, buf, Ramp(8, 7)));  // wraps
  EXPECT_EQ(PeekCircularBuffer(s), 10);
  EXPECT_FALSE(s.Overrun);
  // Full: a further sample is refused and leaves everything as it was.
  EXPECT_FALSE(WriteToCircularBuffer(s, buf, Ramp(1, 99)));
  EXPECT_TRUE(s.Overrun);
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 10, 0));
  EXPECT_EQ(Reals(out), Range(5, 10));
  // Too few unread elements: nothing read, Underrun.
  EXPECT_FALSE(ReadFromCircularBuffer(s, buf, out, 1, 0));
  EXPECT_TRUE(s.Underrun);
  EXPECT_EQ(out.Length(), 10);
  // Init clears the flags.
  InitCircularBuffer(s, buf, 4);
  EXPECT_FALSE(s.Overrun || s.Underrun);
  EXPECT_EQ(PeekCircularBuffer(s), 0);
}

TEST(CircularBuffer, OverlappingReadsAdvanceByLengthMinusOverlap) {
  TCircularBufferState s;
  TVec buf, out;
  InitCircularBuffer(s, buf, 32);
  WriteToCircularBuffer(s, buf, Ramp(20, 0));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 8, 6));
  EXPECT_EQ(Reals(out), Range(0, 8));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 8, 6));
  EXPECT_EQ(Reals(out), Range(2, 8));
  EXPECT_EQ(PeekCircularBuffer(s), 16);
  // An overlap of the whole block still moves on by one element; a negative one counts as 0.
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 8, 8));
  EXPECT_EQ(Reals(out), Range(4, 8));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 8, -3));
  EXPECT_EQ(Reals(out), Range(5, 8));
  EXPECT_EQ(PeekCircularBuffer(s), 7);
}

TEST(CircularBuffer, MonitorShowsTheNewestHistoryWithoutRemovingIt) {
  TCircularBufferState s;
  TVec buf;
  InitCircularBuffer(s, buf, 8);
  TVec view(6);
  WriteToCircularBuffer(s, buf, Ramp(4, 1));
  MonitorCircularBuffer(s, buf, view);
  EXPECT_EQ(Reals(view), (std::vector<double>{0, 0, 1, 2, 3, 4}));
  EXPECT_EQ(PeekCircularBuffer(s), 0);
  // The view marks everything seen, so the writer never stalls; the view scrolls.
  for (int block = 1; block <= 5; ++block) {
    ASSERT_TRUE(WriteToCircularBuffer(s, buf, Ramp(4, 1 + 4 * block))) << block;
    MonitorCircularBuffer(s, buf, view);
    EXPECT_EQ(Reals(view), Range(4 * block - 1, 6)) << block;
  }
  // Unviewed, the unread data fill the buffer: then a write is refused.
  ASSERT_TRUE(WriteToCircularBuffer(s, buf, Ramp(8, 25)));
  EXPECT_FALSE(WriteToCircularBuffer(s, buf, Ramp(1, 33)));
  TCircularBufferState probe = s;
  MonitorCircularBuffer(probe, buf, view);
  EXPECT_EQ(Reals(view), Range(27, 6));
  TVec wide(10);
  MonitorCircularBuffer(probe, buf, wide);
  EXPECT_EQ(Reals(wide), (std::vector<double>{0, 0, 25, 26, 27, 28, 29, 30, 31, 32}));
}

TEST(CircularBuffer, ResizeKeepsTheNewestDataInOrder) {
  TCircularBufferState s;
  TVec buf, out;
  InitCircularBuffer(s, buf, 6);
  WriteToCircularBuffer(s, buf, Ramp(5, 0));
  ReadFromCircularBuffer(s, buf, out, 3, 0);
  WriteToCircularBuffer(s, buf, Ramp(4, 5));  // unread 3 .. 8, wrapped
  ResizeCircularBuffer(s, buf, 12);
  EXPECT_EQ(buf.Length(), 12);
  EXPECT_EQ(PeekCircularBuffer(s), 6);
  ASSERT_TRUE(WriteToCircularBuffer(s, buf, Ramp(6, 9)));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 12, 0));
  EXPECT_EQ(Reals(out), Range(3, 12));
  EXPECT_FALSE(s.Overrun);
  // Shrinking below the unread amount loses the oldest and says so.
  WriteToCircularBuffer(s, buf, Ramp(10, 100));
  ResizeCircularBuffer(s, buf, 4);
  EXPECT_TRUE(s.Overrun);
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 4, 0));
  EXPECT_EQ(Reals(out), Range(106, 4));
  // Same size: nothing moves.
  const TCircularBufferState before = s;
  ResizeCircularBuffer(s, buf, 4);
  EXPECT_EQ(s.Head, before.Head);
  EXPECT_EQ(s.Filled, before.Filled);
}

TEST(CircularBuffer, ComplexElementsAndKindMismatch) {
  TCircularBufferState s;
  TVec buf(0, true), out;
  InitCircularBuffer(s, buf, 5);
  ASSERT_TRUE(buf.Complex());
  WriteToCircularBuffer(s, buf, Ramp(4, 0, true));
  ReadFromCircularBuffer(s, buf, out, 2, 0);
  WriteToCircularBuffer(s, buf, Ramp(3, 4, true));
  ASSERT_TRUE(ReadFromCircularBuffer(s, buf, out, 5, 0));
  ASSERT_TRUE(out.Complex());
  for (int i = 0; i < 5; ++i) EXPECT_EQ(out.CValues(i), TCplx(2 + i, -(2 + i)));
  try {
    WriteToCircularBuffer(s, buf, Ramp(1, 0));
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "Circular buffer: data kind differs from the buffer");
  }
}

// Random writes, reads, overlapping reads, views and resizes against a deque of unread
// values and a vector of the whole history.
TEST(CircularBuffer, RandomOperationsMatchAPlainModel) {
  std::mt19937 gen(11);
  TCircularBufferState s;
  TVec buf, out;
  InitCircularBuffer(s, buf, 16);
  std::deque<double> unread;
  std::vector<double> history;  // what the ring still holds: at most its size
  int size = 16;
  double next = 0;
  for (int step = 0; step < 4000; ++step) {
    const int op = int(gen() % 10);
    if (op < 4) {
      const int n = int(gen() % 12);
      const bool fits = n <= size - int(unread.size());
      ASSERT_EQ(WriteToCircularBuffer(s, buf, Ramp(n, next)), fits) << step;
      if (fits) {
        for (int i = 0; i < n; ++i) unread.push_back(next + i), history.push_back(next + i);
        if (int(history.size()) > size) history.erase(history.begin(), history.end() - size);
        next += n;
      }
    } else if (op < 8) {
      const int n = int(gen() % 12);
      const int overlap = int(gen() % 14) - 2;
      const bool enough = n <= int(unread.size());
      ASSERT_EQ(ReadFromCircularBuffer(s, buf, out, n, overlap), enough) << step;
      if (enough) {
        ASSERT_EQ(Reals(out), std::vector<double>(unread.begin(), unread.begin() + n)) << step;
        const int consumed = n == 0 ? 0 : n - std::clamp(overlap, 0, n - 1);
        unread.erase(unread.begin(), unread.begin() + consumed);
      }
    } else if (op == 8) {
      TVec view(int(gen() % 20));
      MonitorCircularBuffer(s, buf, view);
      const int shown = std::min(view.Length(), int(history.size()));
      std::vector<double> want(std::size_t(view.Length() - shown), 0.0);
      want.insert(want.end(), history.end() - shown, history.end());
      ASSERT_EQ(Reals(view), want) << step;
      unread.clear();
    } else {
      size = int(gen() % 24);
      ResizeCircularBuffer(s, buf, size);
      while (int(unread.size()) > size) unread.pop_front();
      if (int(history.size()) > size) history.erase(history.begin(), history.end() - size);
    }
    ASSERT_EQ(PeekCircularBuffer(s), int(unread.size())) << step;
  }
}

}  // namespace
}  // namespace sigflow
