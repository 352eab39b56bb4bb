#include "sigflow/files/PeakOverview.h"

#include <cmath>
#include <limits>

#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {

TOverviewStatus ComputePeakOverview(TSignalFileReader& reader, int record, std::int64_t framesPerPoint,
                                    TPeakOverview& out, const TOverviewProgress& progress, std::stop_token stop,
                                    std::int64_t blockFrames) {
  if (framesPerPoint < 1) throw Exception("Peak overview: frames per point " + std::to_string(framesPerPoint) + " < 1");
  const TSignalRecordInfo info = reader.RecordInfo(record);
  const int channels = info.ChannelCount;
  constexpr double kInf = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  out = TPeakOverview{};
  out.ChannelCount = channels;
  out.FramesPerPoint = framesPerPoint;
  const std::int64_t points = (info.Frames + framesPerPoint - 1) / framesPerPoint;
  out.Min.reserve(std::size_t(points * channels));
  out.Max.reserve(std::size_t(points * channels));
  blockFrames = std::max<std::int64_t>(1, std::min<std::int64_t>(blockFrames, 65536 / channels));

  std::vector<double> lo(std::size_t(channels), kInf), hi(std::size_t(channels), -kInf);
  std::int64_t inPoint = 0;
  auto closePoint = [&] {
    for (int c = 0; c < channels; ++c) {
      const bool any = lo[std::size_t(c)] <= hi[std::size_t(c)];
      out.Min.push_back(any ? lo[std::size_t(c)] : kNaN);
      out.Max.push_back(any ? hi[std::size_t(c)] : kNaN);
      lo[std::size_t(c)] = kInf;
      hi[std::size_t(c)] = -kInf;
    }
    inPoint = 0;
  };

  TVec block;
  std::int64_t frame = 0;
  while (frame < info.Frames) {
    if (stop.stop_requested()) return osCancelled;
    const std::int64_t n = reader.ReadSamples(record, frame, blockFrames, block);
    if (n <= 0) break;
    if (info.Complex) block.Mag();
    const double* d = block.Data();
    for (std::int64_t f = 0; f < n; ++f) {
      for (int c = 0; c < channels; ++c) {
        const double x = d[f * channels + c];
        // Comparisons are false for NaN, which is thereby skipped.
        if (x < lo[std::size_t(c)]) lo[std::size_t(c)] = x;
        if (x > hi[std::size_t(c)]) hi[std::size_t(c)] = x;
      }
      if (++inPoint == framesPerPoint) closePoint();
    }
    frame += n;
    out.Frames = frame;
    if (progress) progress(double(frame) / double(info.Frames));
  }
  if (inPoint > 0) closePoint();
  if (info.Frames == 0 && progress) progress(1.0);
  return osDone;
}

TPeakOverviewTask::~TPeakOverviewTask() {
  Cancel();
  Wait();
}

void TPeakOverviewTask::Start(const std::string& fileName, TFileFormat format, int record,
                              std::int64_t framesPerPoint, TOverviewProgress progress, TDoneEvent done) {
  Cancel();
  Wait();
  running_.store(true, std::memory_order_release);
  worker_ = std::jthread([this, fileName, format, record, framesPerPoint, progress = std::move(progress),
                          done = std::move(done)](std::stop_token stop) {
    TOverviewResult result;
    try {
      auto reader = OpenSignalFile(fileName, format);
      result.Status = ComputePeakOverview(*reader, record, framesPerPoint, result.Overview, progress, stop);
    } catch (const std::exception& e) {
      result.Status = osFailed;
      result.Error = e.what();
    }
    if (done) {
      try {
        done(result);
      } catch (...) {
        // A failing handler must not take the process down from a worker thread.
      }
    }
    {
      std::lock_guard lock(mutex_);
      result_ = std::move(result);
    }
    running_.store(false, std::memory_order_release);
  });
}

void TPeakOverviewTask::Cancel() noexcept {
  if (worker_.joinable()) worker_.request_stop();
}

void TPeakOverviewTask::Wait() {
  if (worker_.joinable()) worker_.join();
}

TOverviewResult TPeakOverviewTask::TakeResult() {
  std::lock_guard lock(mutex_);
  return std::move(result_);
}

}  // namespace sigflow
