#include "sigflow/files/SignalBrowse.h"

#include <algorithm>
#include <bit>
#include <filesystem>

namespace sigflow {

namespace {
constexpr std::uint32_t WM_BROWSE_PROGRESS = WM_USER + 1;
constexpr std::uint32_t WM_BROWSE_DONE = WM_USER + 2;
// Progress steps below this are not posted: a long file would flood the queue.
constexpr double ProgressStep = 1.0 / 1024;
}  // namespace

TSignalBrowse::TSignalBrowse(TComponent* AOwner) : TFileStorage(AOwner) {
  SetUsesInputs(false);
  window_ = std::make_unique<TMessageWindow>([this](const TMessage& m) { HandleMessage(m); });
}

TSignalBrowse::~TSignalBrowse() {
  ++run_;
  task_.Cancel();
  task_.Wait();
}

const TPropertyTable& TSignalBrowse::ClassProperties() {
  static const TPropertyTable table(&TFileStorage::ClassProperties(), {
      Property("FramesPerPoint", &TSignalBrowse::FramesPerPoint, &TSignalBrowse::SetFramesPerPoint, 1024),
      Property("RecordNumber", &TSignalBrowse::RecordNumber, &TSignalBrowse::SetRecordNumber, 0),
  });
  return table;
}

void TSignalBrowse::SetFramesPerPoint(int Value) {
  framesPerPoint_ = std::max(1, Value);
  SetDirty(true);
}

void TSignalBrowse::SetRecordNumber(int Value) {
  recordNumber_ = std::max(0, Value);
  SetDirty(true);
}

void TSignalBrowse::CloseFile() {
  // The pass belongs to the old file: stop it and forget its messages.
  if (!running_) return;
  ++run_;
  task_.Cancel();
  task_.Wait();
  running_ = false;
  status_ = osCancelled;
}

void TSignalBrowse::Start() {
  std::error_code ec;
  if (!std::filesystem::exists(FileName(), ec)) throw EFOpenError(FileNotFoundMessage(FileName()));
  const std::uint64_t run = ++run_;
  const TWindowHandle window = window_->Handle();
  running_ = true;
  progress_ = 0;
  status_ = osDone;
  error_.clear();
  overview_ = TPeakOverview();
  SetFileOpened(true);
  auto progress = [window, run, posted = 0.0](double fraction) mutable {
    if (fraction < 1.0 && fraction - posted < ProgressStep) return;
    posted = fraction;
    PostMessage(window, WM_BROWSE_PROGRESS, run, std::bit_cast<std::int64_t>(fraction));
  };
  auto done = [window, run](TOverviewResult&) { PostMessage(window, WM_BROWSE_DONE, run, 0); };
  task_.Start(FileName(), FileFormat(), recordNumber_, framesPerPoint_, progress, done);
}

void TSignalBrowse::Cancel() { task_.Cancel(); }

void TSignalBrowse::Wait() { task_.Wait(); }

void TSignalBrowse::HandleMessage(const TMessage& Message) {
  if (Message.WParam != run_) return;  // a pass that was replaced or abandoned
  if (Message.Msg == WM_BROWSE_PROGRESS) {
    progress_ = std::bit_cast<double>(Message.LParam);
    if (onProgress_) onProgress_(this, progress_);
  } else if (Message.Msg == WM_BROWSE_DONE) {
    // The worker posts before it stores the result: let it finish first (it is about to).
    task_.Wait();
    TOverviewResult result = task_.TakeResult();
    status_ = result.Status;
    error_ = std::move(result.Error);
    overview_ = std::move(result.Overview);
    running_ = false;
    if (onDone_) onDone_(this);
  }
}

}  // namespace sigflow
