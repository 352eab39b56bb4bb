#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "sigflow/core/Messages.h"

using namespace sigflow;

namespace {
constexpr std::uint32_t WM_TEST = WM_USER + 1;

// Drains the queue until Done() or a generous deadline.
template <class F>
void PumpUntil(F Done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!Done() && std::chrono::steady_clock::now() < deadline) {
    if (Application().ProcessMessages() == 0) std::this_thread::yield();
  }
}
}  // namespace

TEST(Messages, FourThreadsDeliverInOrderOnTheMainThread) {
  constexpr int kThreads = 4;
  constexpr std::int64_t kPerThread = 100000;
  const auto mainThread = std::this_thread::get_id();
  std::vector<std::int64_t> next(kThreads, 0);
  std::int64_t received = 0, outOfOrder = 0, offThread = 0;
  TMessageWindow window([&](const TMessage& m) {
    if (std::this_thread::get_id() != mainThread) ++offThread;
    auto& expected = next[m.WParam];
    if (m.LParam != expected) ++outOfOrder;
    expected = m.LParam + 1;
    ++received;
  });
  const TWindowHandle handle = window.Handle();
  std::atomic<bool> go{false};
  std::vector<std::thread> senders;
  for (int t = 0; t < kThreads; ++t) {
    senders.emplace_back([&, t] {
      while (!go.load()) std::this_thread::yield();
      for (std::int64_t i = 0; i < kPerThread; ++i) ASSERT_TRUE(PostMessage(handle, WM_TEST, t, i));
    });
  }
  go = true;
  PumpUntil([&] { return received == kThreads * kPerThread; });
  for (auto& s : senders) s.join();
  Application().ProcessMessages();
  EXPECT_EQ(received, kThreads * kPerThread);
  EXPECT_EQ(outOfOrder, 0);
  EXPECT_EQ(offThread, 0);
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(next[t], kPerThread);
}

TEST(Messages, MessagesToADestroyedWindowAreDropped) {
  int first = 0, second = 0;
  auto gone = std::make_unique<TMessageWindow>([&](const TMessage&) { ++first; });
  TMessageWindow alive([&](const TMessage& m) { second += static_cast<int>(m.LParam); });
  const TWindowHandle goneHandle = gone->Handle();
  EXPECT_TRUE(PostMessage(goneHandle, WM_TEST));
  EXPECT_TRUE(PostMessage(alive.Handle(), WM_TEST, 0, 5));
  gone.reset();  // a message is still queued for it
  EXPECT_FALSE(PostMessage(goneHandle, WM_TEST));
  EXPECT_FALSE(PostMessage(kNoWindow, WM_TEST));
  EXPECT_EQ(Application().ProcessMessages(), 2);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 5);
}

TEST(Messages, WindowsOfAFreedWinControlLoseTheirHandles) {
  int calls = 0;
  auto form = std::make_unique<TWinControl>(nullptr);
  TMessageWindow window([&](const TMessage&) { ++calls; }, form.get());
  EXPECT_EQ(form->WindowCount(), 1);
  const TWindowHandle handle = window.Handle();
  EXPECT_TRUE(PostMessage(handle, WM_TEST));
  form.reset();
  EXPECT_FALSE(window.HandleAllocated());
  EXPECT_EQ(window.Parent(), nullptr);
  EXPECT_FALSE(PostMessage(handle, WM_TEST));
  Application().ProcessMessages();
  EXPECT_EQ(calls, 0);
}

TEST(Messages, HandlerMayDestroyItsOwnWindow) {
  int calls = 0;
  std::unique_ptr<TMessageWindow> window;
  window = std::make_unique<TMessageWindow>([&](const TMessage&) {
    ++calls;
    window.reset();
  });
  const TWindowHandle handle = window->Handle();
  PostMessage(handle, WM_TEST);
  PostMessage(handle, WM_TEST);
  Application().ProcessMessages();
  EXPECT_EQ(calls, 1);
}

TEST(Messages, RunEndsOnTerminateFromAHandler) {
  std::vector<std::uint64_t> seen;
  TMessageWindow window([&](const TMessage& m) {
    seen.push_back(m.WParam);
    if (m.WParam == 3) Application().Terminate();
  });
  std::thread poster([h = window.Handle()] {
    for (std::uint64_t i = 1; i <= 3; ++i) PostMessage(h, WM_TEST, i);
  });
  Application().Run();
  poster.join();
  EXPECT_EQ(seen, (std::vector<std::uint64_t>{1, 2, 3}));
  EXPECT_TRUE(Application().Terminated());
  Application().HandleMessage();  // returns at once once terminated and empty
}

TEST(Messages, PostHookRunsOnThePostingThread) {
  std::atomic<int> hooks{0};
  Application().OnMessagePosted = [&] { ++hooks; };
  TMessageWindow window([](const TMessage&) {});
  std::thread t([h = window.Handle()] { PostMessage(h, WM_TEST); });
  t.join();
  Application().OnMessagePosted = nullptr;
  EXPECT_EQ(hooks.load(), 1);
  EXPECT_EQ(Application().PendingMessages(), 1u);
  Application().ProcessMessages();
}

TEST(Messages, NestedProcessMessagesKeepsTheOrder) {
  std::vector<std::int64_t> seen;
  TMessageWindow window([&](const TMessage& m) {
    seen.push_back(m.LParam);
    if (m.LParam == 0) {
      PostMessage(window.Handle(), WM_TEST, 0, 4);
      Application().ProcessMessages();  // a modal loop inside a handler
    }
  });
  for (std::int64_t i = 0; i < 4; ++i) PostMessage(window.Handle(), WM_TEST, 0, i);
  Application().ProcessMessages();
  EXPECT_EQ(seen, (std::vector<std::int64_t>{0, 1, 2, 3, 4}));
}
