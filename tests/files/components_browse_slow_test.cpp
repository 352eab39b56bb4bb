// Browsing a file far larger than the memory the browser may use.
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

#include "sigflow/files/SignalBrowse.h"

namespace sigflow {
namespace {

// Peak resident memory of this process in KiB.
long PeakResidentKiB() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line))
    if (line.rfind("VmHWM:", 0) == 0) return std::stol(line.substr(6));
  return -1;
}

double Value(std::int64_t i) { return double((i * 7919) % 100003) - 50000.0; }

TEST(SignalBrowseSlow, GigabyteDbnOverviewStaysSmall) {
  const std::int64_t count = std::int64_t(1) << 27;  // 1 GiB of doubles
  const std::int64_t perPoint = 1 << 16;
  const std::string name =
      (std::filesystem::temp_directory_path() / ("sigflow-browse-" + std::to_string(::getpid()) + ".dbn")).string();
  struct TRemove {
    std::string name;
    ~TRemove() { std::filesystem::remove(name); }
  } remove{name};

  // Streamed in 1 MiB pieces: the test itself must not need the gigabyte either.
  {
    std::ofstream out(name, std::ios::binary | std::ios::trunc);
    const std::int32_t n = std::int32_t(count);
    const double fs = 48000;
    out.write(reinterpret_cast<const char*>(&n), 4);
    out.write(reinterpret_cast<const char*>(&fs), 8);
    std::vector<double> piece(1 << 17);
    for (std::int64_t at = 0; at < count; at += std::int64_t(piece.size())) {
      for (std::size_t k = 0; k < piece.size(); ++k) piece[k] = Value(at + std::int64_t(k));
      out.write(reinterpret_cast<const char*>(piece.data()), std::streamsize(piece.size() * 8));
    }
    ASSERT_TRUE(out.good());
  }
  ASSERT_EQ(std::filesystem::file_size(name), std::uintmax_t(12 + count * 8));

  const long before = PeakResidentKiB();
  ASSERT_GT(before, 0);
  TSignalBrowse b(nullptr);
  b.SetFileName(name);
  b.SetFramesPerPoint(int(perPoint));
  double last = 0;
  b.SetOnProgress([&](TObject*, double f) { last = f; });
  b.Start();
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(5);
  while (b.Running() && std::chrono::steady_clock::now() < end)
    if (Application().ProcessMessages() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  ASSERT_FALSE(b.Running());
  ASSERT_EQ(b.Status(), osDone) << b.Error();
  EXPECT_EQ(last, 1.0);
  const long growth = PeakResidentKiB() - before;
  EXPECT_LT(growth, 64 * 1024) << growth << " KiB";

  const TPeakOverview& o = b.Overview();
  ASSERT_EQ(o.Frames, count);
  ASSERT_EQ(o.Points(), count / perPoint);
  // Values repeat every 100003 samples, so each point of 65536 spans most of the range;
  // check a few points exactly.
  for (std::int64_t p : {std::int64_t(0), std::int64_t(777), o.Points() - 1}) {
    double lo = 1e300, hi = -1e300;
    for (std::int64_t i = p * perPoint; i < (p + 1) * perPoint; ++i) {
      lo = std::min(lo, Value(i));
      hi = std::max(hi, Value(i));
    }
    EXPECT_EQ(o.Min[std::size_t(p)], lo) << p;
    EXPECT_EQ(o.Max[std::size_t(p)], hi) << p;
  }
}

}  // namespace
}  // namespace sigflow
