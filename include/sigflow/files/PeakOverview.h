#pragma once
// Min/max overview of a signal file for browsing: one pass over a record of any length
// yields, per channel, the smallest and largest value of every run of FramesPerPoint frames.
// Memory is one read block plus the overview itself. The pass runs on a worker thread,
// reports its progress as a fraction and can be cancelled from any thread.
#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

#include "sigflow/files/FileFormats.h"

namespace sigflow {

class TSignalFileReader;

struct TPeakOverview {
  int ChannelCount = 0;
  std::int64_t FramesPerPoint = 0;
  // Frames of the record covered (all of them after a complete pass).
  std::int64_t Frames = 0;
  // Point p of channel c is Min[p * ChannelCount + c] .. Max[p * ChannelCount + c]; the last
  // point may cover fewer frames. Complex records give magnitudes. NaN values are skipped;
  // a point with nothing else is NaN.
  std::vector<double> Min;
  std::vector<double> Max;
  std::int64_t Points() const { return ChannelCount > 0 ? std::int64_t(Min.size()) / ChannelCount : 0; }
};

enum TOverviewStatus : std::uint8_t { osDone, osCancelled, osFailed };

struct TOverviewResult {
  TOverviewStatus Status = osFailed;
  TPeakOverview Overview;
  // The failure's message when Status is osFailed.
  std::string Error;
};

// Fraction of the record read, 0 < fraction <= 1; called on the thread doing the work, after
// every block and with exactly 1 at the end of a complete pass.
using TOverviewProgress = std::function<void(double fraction)>;

// The pass itself, on the calling thread: reads the record of an open reader block by block
// (blockFrames frames, at most ~64 Ki values per block) into out. stop is checked after every
// block. framesPerPoint >= 1. Exceptions of the reader pass through.
TOverviewStatus ComputePeakOverview(TSignalFileReader& reader, int record, std::int64_t framesPerPoint,
                                    TPeakOverview& out, const TOverviewProgress& progress = {},
                                    std::stop_token stop = {}, std::int64_t blockFrames = 16384);

// Runs ComputePeakOverview on a worker thread (std::jthread) and hands the result over when
// it ends. One run at a time per object; the destructor cancels and joins.
class TPeakOverviewTask {
public:
  // Called once on the worker thread when the run ends, whatever its status; the result
  // may be moved out of its argument (TakeResult then gives what is left). Handlers must
  // not call Start, Wait or the destructor of their own task (the worker would join itself);
  // post a message to the main thread instead.
  using TDoneEvent = std::function<void(TOverviewResult& result)>;

  TPeakOverviewTask() = default;
  ~TPeakOverviewTask();
  TPeakOverviewTask(const TPeakOverviewTask&) = delete;
  TPeakOverviewTask& operator=(const TPeakOverviewTask&) = delete;

  // Starts a pass over record of fileName (opened with the reader of format). A run still
  // going is cancelled and joined first. progress and done run on the worker thread.
  void Start(const std::string& fileName, TFileFormat format, int record, std::int64_t framesPerPoint,
             TOverviewProgress progress = {}, TDoneEvent done = {});
  // Asks the run to stop; it ends within one block. Safe from any thread.
  void Cancel() noexcept;
  // Blocks until the run has ended.
  void Wait();
  bool Running() const noexcept { return running_.load(std::memory_order_acquire); }
  // The result of the last finished run (moved out).
  TOverviewResult TakeResult();

private:
  std::jthread worker_;
  std::atomic<bool> running_{false};
  std::mutex mutex_;
  TOverviewResult result_;
};

}  // namespace sigflow
