// Files as they live: a writer killed mid-stream, files beyond 4 GiB, and the min/max
// overview with its progress and cancellation.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <fcntl.h>

#include "file_test_util.h"
#include "sigflow/files/PeakOverview.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"

namespace sigflow {
namespace {

using test::SameBits;
using test::TScratchDir;

constexpr int kFrames = 1024;

// Block b of the killed writer: two channels, integer values so every precision holds them.
TVec KillBlock(int b) {
  TVec v(2 * kFrames);
  for (int i = 0; i < 2 * kFrames; ++i) v.SetValues(i, double((b * 131 + i * 7) % 20001 - 10000));
  return v;
}

TEST(KilledWriter, LeavesReadableWavAndDatFiles) {
  TScratchDir dir;
  const std::string wav = dir.File("k.wav"), dat = dir.File("k.dat");
  int pipeFd[2];
  ASSERT_EQ(::pipe(pipeFd), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::close(pipeFd[0]);
    try {
      auto w = TSignalFileWriter::Create(wav, ffWav, prSmallInt);
      auto d = TSignalFileWriter::Create(dat, ffDat, prSmallInt);
      for (int b = 0; b < 1000000; ++b) {
        const TVec block = KillBlock(b);
        w->WriteBlock(block, 8000, 2);
        d->WriteBlock(block, 8000, 2);
        const char done = 1;
        if (::write(pipeFd[1], &done, 1) != 1) break;
      }
    } catch (...) {
    }
    ::_exit(3);  // only reached if the parent never killed us
  }
  ::close(pipeFd[1]);
  int seen = 0;
  char c;
  while (seen < 50 && ::read(pipeFd[0], &c, 1) == 1) ++seen;
  ASSERT_EQ(seen, 50);
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(pipeFd[0]);
  ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);

  TSignalReadOptions o;
  o.AcceptTruncatedTail = true;  // the kill may land inside a record
  auto d = OpenSignalFile(dat, ffDat, o);
  ASSERT_GE(d->NumberOfRecords(), 49);
  TVec got;
  for (int b = 0; b < d->NumberOfRecords(); ++b) {
    d->ReadRecord(b, got);
    ASSERT_TRUE(SameBits(got, KillBlock(b))) << "record " << b;
  }
  auto w = OpenSignalFile(wav, ffWav, o);
  const std::int64_t frames = w->RecordInfo(0).Frames;
  ASSERT_GE(frames, 49 * kFrames);
  for (int b = 0; b < frames / kFrames; ++b) {
    w->ReadSamples(0, std::int64_t(b) * kFrames, kFrames, got);
    ASSERT_TRUE(SameBits(got, KillBlock(b))) << "block " << b;
  }
}

// A ".dat" file whose first record holds `samples` doubles, left sparse except for its last
// four values; a second record of three values follows.
void MakeSparseDat(const std::string& file, std::int32_t samples) {
  using test::Put32;
  using test::Put64;
  auto header = [&](std::int32_t n) {
    std::vector<std::uint8_t> b;
    Put32(b, std::uint32_t(n));
    Put64(b, 1e6);
    Put32(b, 0);
    Put32(b, 0);
    Put32(b, 1);
    return b;
  };
  const int fd = ::open(file.c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0644);
  ASSERT_GE(fd, 0);
  auto h = header(samples);
  ASSERT_EQ(::pwrite(fd, h.data(), h.size(), 0), ssize_t(h.size()));
  std::vector<std::uint8_t> tail;
  for (double x : {1.25, -2.5, 3.75, 1e300}) Put64(tail, x);
  const auto second = header(3);
  tail.insert(tail.end(), second.begin(), second.end());
  for (double x : {7.0, 8.0, 9.0}) Put64(tail, x);
  const off_t at = 24 + off_t(samples) * 8 - 32;
  ASSERT_EQ(::pwrite(fd, tail.data(), tail.size(), at), ssize_t(tail.size()));
  ::close(fd);
}

TEST(LargeFiles, RecordsBeyondFourGibibytesAreFoundAndRead) {
  TScratchDir dir;
  const std::string file = dir.File("big.dat");
  const std::int32_t samples = 700'000'000;  // 5.6 GB of doubles, sparse
  MakeSparseDat(file, samples);
  auto r = OpenSignalFile(file, ffDat);
  ASSERT_EQ(r->NumberOfRecords(), 2);
  EXPECT_EQ(r->RecordInfo(0).Frames, samples);
  EXPECT_GT(r->RecordInfo(1).Offset, std::int64_t(1) << 32);
  TVec v;
  EXPECT_EQ(r->ReadSamples(0, samples - 4, 100, v), 4);
  EXPECT_TRUE(SameBits(v, test::MakeVec({1.25, -2.5, 3.75, 1e300})));
  r->ReadRecord(1, v);
  EXPECT_TRUE(SameBits(v, test::MakeVec({7, 8, 9})));
}

TEST(PeakOverview, MatchesADirectComputationWithProgressToOne) {
  TScratchDir dir;
  const std::string file = dir.File("o.dat");
  std::mt19937_64 rng(3);
  std::normal_distribution<double> g(0, 100);
  const int channels = 3, frames = 100'003;
  TVec data(channels * frames);
  for (double& x : data.Span()) x = g(rng);
  data.SetValues(5, std::nan(""));
  {
    auto w = TSignalFileWriter::Create(file, ffDat, prDouble);
    w->WriteBlock(data, 1000, channels);
  }
  for (std::int64_t per : {1000, 777, 200'000}) {
    SCOPED_TRACE(per);
    auto r = OpenSignalFile(file, ffDat);
    std::vector<double> progress;
    TPeakOverview o;
    ASSERT_EQ(ComputePeakOverview(*r, 0, per, o, [&](double f) { progress.push_back(f); }, {}, 4096), osDone);
    const std::int64_t points = (frames + per - 1) / per;
    ASSERT_EQ(o.Points(), points);
    EXPECT_EQ(o.Frames, frames);
    for (std::int64_t p = 0; p < points; ++p)
      for (int c = 0; c < channels; ++c) {
        double lo = INFINITY, hi = -INFINITY;
        for (std::int64_t f = p * per; f < std::min<std::int64_t>(frames, (p + 1) * per); ++f) {
          const double x = data.Values(int(f * channels + c));
          if (!std::isnan(x)) lo = std::min(lo, x), hi = std::max(hi, x);
        }
        ASSERT_EQ(o.Min[std::size_t(p * channels + c)], lo) << p << " " << c;
        ASSERT_EQ(o.Max[std::size_t(p * channels + c)], hi) << p << " " << c;
      }
    ASSERT_GE(progress.size(), 2u);
    for (std::size_t i = 1; i < progress.size(); ++i) EXPECT_GT(progress[i], progress[i - 1]);
    EXPECT_EQ(progress.back(), 1.0);
  }
}

TEST(PeakOverview, WorkerHandsOverTheResultAndReportsFailures) {
  TScratchDir dir;
  const std::string file = dir.File("w.wav");
  {
    auto w = TSignalFileWriter::Create(file, ffWav, prSmallInt);
    w->WriteBlock(test::MakeVec({1, -5, 7, 2, -3, 9, 4, 0}), 8000, 2);
  }
  TPeakOverviewTask task;
  std::atomic<int> doneCalls = 0;
  task.Start(file, ffWav, 0, 3, {}, [&](TOverviewResult& r) { doneCalls += r.Status == osDone ? 1 : 100; });
  task.Wait();
  EXPECT_EQ(doneCalls.load(), 1);
  EXPECT_FALSE(task.Running());
  TOverviewResult r = task.TakeResult();
  ASSERT_EQ(r.Status, osDone);
  EXPECT_EQ(r.Overview.Min, (std::vector<double>{-3, -5, 4, 0}));
  EXPECT_EQ(r.Overview.Max, (std::vector<double>{7, 9, 4, 0}));
  task.Start(dir.File("missing.wav"), ffWav, 0, 3);
  task.Wait();
  r = task.TakeResult();
  EXPECT_EQ(r.Status, osFailed);
  EXPECT_EQ(r.Error, "File not found: " + dir.File("missing.wav"));
}

TEST(PeakOverview, CancelStopsTheWorkerWithinAHundredMilliseconds) {
  TScratchDir dir;
  const std::string file = dir.File("c.dat");
  MakeSparseDat(file, 1'000'000'000);  // 8 GB: seconds of reading
  TPeakOverviewTask task;
  std::atomic<double> last = 0;
  task.Start(file, ffDat, 0, 4096, [&](double f) { last = f; });
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  ASSERT_TRUE(task.Running());
  const auto t0 = std::chrono::steady_clock::now();
  task.Cancel();
  task.Wait();
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
  EXPECT_LT(ms, 100.0);
  std::printf("cancel took %.2f ms after %.1f%% of the file\n", ms, 100 * last.load());
  TOverviewResult r = task.TakeResult();
  EXPECT_EQ(r.Status, osCancelled);
  EXPECT_GT(last.load(), 0.0);
  EXPECT_LT(last.load(), 1.0);
}

}  // namespace
}  // namespace sigflow
