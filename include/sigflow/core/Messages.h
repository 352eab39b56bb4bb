#pragma once
// Main-thread messages. Any thread may PostMessage to a TMessageWindow's handle; the message
// waits in the application's queue until the main thread drains it (ProcessMessages, Run or
// HandleMessage) and then reaches the window's handler. Messages of one posting thread arrive
// in the order posted. A message to a window that no longer exists is dropped.
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <vector>

#include "sigflow/core/Component.h"

namespace sigflow {

using TWindowHandle = std::uint64_t;  // 0: no window
constexpr TWindowHandle kNoWindow = 0;

constexpr std::uint32_t WM_USER = 0x0400;

struct TMessage {
  std::uint32_t Msg = 0;
  std::uint64_t WParam = 0;
  std::int64_t LParam = 0;
};

using TMessageHandler = std::function<void(const TMessage& Message)>;

class TWinControl;

// A hidden window: a handle that messages can be posted to, and the handler that gets them on
// the main thread. Create and destroy it on the main thread.
class TMessageWindow : public TObject {
public:
  explicit TMessageWindow(TMessageHandler Handler, TWinControl* Parent = nullptr);
  ~TMessageWindow() override;
  TMessageWindow(const TMessageWindow&) = delete;
  TMessageWindow& operator=(const TMessageWindow&) = delete;

  std::string ClassName() const override { return "TMessageWindow"; }

  TWindowHandle Handle() const { return handle_; }
  bool HandleAllocated() const { return handle_ != kNoWindow; }
  TWinControl* Parent() const { return parent_; }
  // Gives up the handle: later and pending messages to it are dropped.
  void DestroyHandle();
  // Calls the handler now, on the calling thread.
  void Dispatch(const TMessage& Message);

private:
  friend class TWinControl;
  TMessageHandler handler_;
  TWinControl* parent_;
  TWindowHandle handle_ = kNoWindow;
};

// A component that can parent message windows (the role of a form). Its windows lose their
// handles when it is destroyed.
class TWinControl : public TComponent {
public:
  explicit TWinControl(TComponent* AOwner);
  ~TWinControl() override;

  std::string ClassName() const override { return "TWinControl"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  int WindowCount() const { return static_cast<int>(windows_.size()); }

private:
  friend class TMessageWindow;
  std::vector<TMessageWindow*> windows_;
};

// Posts a message to a window from any thread. False when the handle names no live window
// (the message is not queued).
bool PostMessage(TWindowHandle Window, std::uint32_t Msg, std::uint64_t WParam = 0, std::int64_t LParam = 0);

class TApplication : public TObject {
public:
  TApplication() = default;
  TApplication(const TApplication&) = delete;
  TApplication& operator=(const TApplication&) = delete;

  std::string ClassName() const override { return "TApplication"; }

  // Dispatches as many messages as were queued at the time of the call, oldest first; returns
  // how many were handled. A handler may call it again (a modal loop).
  int ProcessMessages();
  // Waits for one message and dispatches it; returns at once after Terminate.
  void HandleMessage();
  // HandleMessage until Terminate; clears the terminated state on entry.
  void Run();
  // Thread-safe: ends Run and wakes a waiting HandleMessage.
  void Terminate();
  bool Terminated() const;
  std::size_t PendingMessages() const;

  // Called (on the posting thread) after every post, so another event loop can schedule
  // ProcessMessages; must be thread-safe itself. Set before threads start posting.
  std::function<void()> OnMessagePosted;

private:
  friend bool PostMessage(TWindowHandle, std::uint32_t, std::uint64_t, std::int64_t);
  struct TQueued {
    TWindowHandle Window = kNoWindow;
    TMessage Message;
  };
  void Post(const TQueued& Item);
  void Deliver(TQueued& Item);

  mutable std::mutex lock_;
  std::condition_variable wake_;
  std::deque<TQueued> queue_;
  bool terminated_ = false;
};

// The process-wide application object.
TApplication& Application();

}  // namespace sigflow
