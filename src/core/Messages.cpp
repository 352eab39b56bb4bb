#include "sigflow/core/Messages.h"

#include <algorithm>
#include <unordered_map>

#include "sigflow/core/Properties.h"

namespace sigflow {

namespace {
// Live windows by handle. Handles are never reused, so a stale one can only miss.
struct TWindowTable {
  std::mutex Lock;
  std::unordered_map<TWindowHandle, TMessageWindow*> Windows;
  TWindowHandle Next = 1;
};
TWindowTable& Windows() {
  static TWindowTable table;
  return table;
}
}  // namespace

// ---------------------------------------------------------------------------- TMessageWindow

TMessageWindow::TMessageWindow(TMessageHandler Handler, TWinControl* Parent)
    : handler_(std::move(Handler)), parent_(Parent) {
  TWindowTable& t = Windows();
  {
    std::lock_guard lock(t.Lock);
    handle_ = t.Next++;
    t.Windows.emplace(handle_, this);
  }
  if (parent_) parent_->windows_.push_back(this);
}

TMessageWindow::~TMessageWindow() {
  DestroyHandle();
  if (parent_) {
    auto& list = parent_->windows_;
    list.erase(std::remove(list.begin(), list.end(), this), list.end());
  }
}

void TMessageWindow::DestroyHandle() {
  if (handle_ == kNoWindow) return;
  TWindowTable& t = Windows();
  std::lock_guard lock(t.Lock);
  t.Windows.erase(handle_);
  handle_ = kNoWindow;
}

void TMessageWindow::Dispatch(const TMessage& Message) {
  if (handler_) handler_(Message);
}

// ---------------------------------------------------------------------------- TWinControl

TWinControl::TWinControl(TComponent* AOwner) : TComponent(AOwner) {}

TWinControl::~TWinControl() {
  Destroying();
  for (TMessageWindow* w : windows_) {
    w->DestroyHandle();
    w->parent_ = nullptr;
  }
  windows_.clear();
}

const TPropertyTable& TWinControl::ClassProperties() {
  static const TPropertyTable table(&TComponent::ClassProperties(), {});
  return table;
}

// ---------------------------------------------------------------------------- posting

bool PostMessage(TWindowHandle Window, std::uint32_t Msg, std::uint64_t WParam, std::int64_t LParam) {
  {
    TWindowTable& t = Windows();
    std::lock_guard lock(t.Lock);
    if (t.Windows.find(Window) == t.Windows.end()) return false;
  }
  TMessage m;
  m.Msg = Msg;
  m.WParam = WParam;
  m.LParam = LParam;
  Application().Post({Window, m});
  return true;
}

// ---------------------------------------------------------------------------- TApplication

TApplication& Application() {
  static TApplication app;
  return app;
}

void TApplication::Post(const TQueued& Item) {
  {
    std::lock_guard lock(lock_);
    queue_.push_back(Item);
  }
  wake_.notify_one();
  if (OnMessagePosted) OnMessagePosted();
}

void TApplication::Deliver(TQueued& Item) {
  TMessageWindow* window = nullptr;
  {
    TWindowTable& t = Windows();
    std::lock_guard lock(t.Lock);
    auto it = t.Windows.find(Item.Window);
    if (it != t.Windows.end()) window = it->second;
  }
  // Windows die only on this (the main) thread, so the pointer stays good for the call.
  if (window) window->Dispatch(Item.Message);
}

int TApplication::ProcessMessages() {
  // One at a time from the shared queue, so that a handler that pumps messages itself (a
  // modal loop) keeps every sender's order. Messages posted meanwhile wait for the next call.
  std::size_t count;
  {
    std::lock_guard lock(lock_);
    count = queue_.size();
  }
  int handled = 0;
  for (; static_cast<std::size_t>(handled) < count; ++handled) {
    TQueued item;
    {
      std::lock_guard lock(lock_);
      if (queue_.empty()) break;
      item = queue_.front();
      queue_.pop_front();
    }
    Deliver(item);
  }
  return handled;
}

void TApplication::HandleMessage() {
  TQueued item;
  {
    std::unique_lock lock(lock_);
    wake_.wait(lock, [this] { return terminated_ || !queue_.empty(); });
    if (queue_.empty()) return;
    item = queue_.front();
    queue_.pop_front();
  }
  Deliver(item);
}

void TApplication::Run() {
  {
    std::lock_guard lock(lock_);
    terminated_ = false;
  }
  while (!Terminated()) HandleMessage();
}

void TApplication::Terminate() {
  {
    std::lock_guard lock(lock_);
    terminated_ = true;
  }
  wake_.notify_all();
}

bool TApplication::Terminated() const {
  std::lock_guard lock(lock_);
  return terminated_;
}

std::size_t TApplication::PendingMessages() const {
  std::lock_guard lock(lock_);
  return queue_.size();
}

}  // namespace sigflow
