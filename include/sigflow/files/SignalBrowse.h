#pragma once
// TSignalBrowse: a min/max overview of one record of a signal file of any length, made once
// on a worker thread (one min/max pair per channel for every FramesPerPoint samples per
// channel). Progress and the end of the pass reach the main thread as messages of the
// application's queue: OnProgress and OnDone run inside Application().ProcessMessages().
// Memory is one read block plus the overview.
//
// Create, start, cancel and destroy it on the main thread.
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "sigflow/core/Messages.h"
#include "sigflow/files/FileStorage.h"
#include "sigflow/files/PeakOverview.h"

namespace sigflow {

using TProgressEvent = std::function<void(TObject* Sender, double Fraction)>;

class TSignalBrowse : public TFileStorage {
public:
  explicit TSignalBrowse(TComponent* AOwner);
  ~TSignalBrowse() override;

  std::string ClassName() const override { return "TSignalBrowse"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  int FramesPerPoint() const { return framesPerPoint_; }
  void SetFramesPerPoint(int Value);
  // The record overviewed (0 for the formats of one record).
  int RecordNumber() const { return recordNumber_; }
  void SetRecordNumber(int Value);

  // Starts a pass over the file (a pass under way is cancelled first and its messages are
  // dropped). A missing file raises "File not found: " + name at once; other failures end
  // the pass with Status osFailed and Error.
  void Start();
  // Asks the pass to stop; it stops within one read block and then reports osCancelled.
  void Cancel();
  // Blocks until the worker has ended (its last messages may still be queued).
  void Wait();
  // From Start until OnDone has run.
  bool Running() const { return running_; }
  // Last fraction delivered on the main thread (0 .. 1).
  double Progress() const { return progress_; }
  TOverviewStatus Status() const { return status_; }
  const std::string& Error() const { return error_; }
  const TPeakOverview& Overview() const { return overview_; }
  // Moves the overview out to the caller.
  TPeakOverview TakeOverview() { return std::move(overview_); }

  // Progress fractions, increasing, on the main thread.
  const TProgressEvent& OnProgress() const { return onProgress_; }
  void SetOnProgress(TProgressEvent Value) { onProgress_ = std::move(Value); }
  // The pass ended (done, cancelled or failed), on the main thread.
  const TNotifyEvent& OnDone() const { return onDone_; }
  void SetOnDone(TNotifyEvent Value) { onDone_ = std::move(Value); }

protected:
  void CloseFile() override;

private:
  void HandleMessage(const TMessage& Message);

  std::unique_ptr<TMessageWindow> window_;
  TPeakOverviewTask task_;
  std::uint64_t run_ = 0;
  bool running_ = false;
  int framesPerPoint_ = 1024;
  int recordNumber_ = 0;
  double progress_ = 0;
  TOverviewStatus status_ = osDone;
  std::string error_;
  TPeakOverview overview_;
  TProgressEvent onProgress_;
  TNotifyEvent onDone_;
};

}  // namespace sigflow
