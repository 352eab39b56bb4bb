// TSignalBuffer and TSignalDecBuffer across blocks (streaming, scrolling views, overlapping
// frames, parts of a block), sizing and its messages, dropped blocks and setter rules; then
// all five components saved and reloaded, and their block paths allocation-free.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "buffer_test_util.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/SignalBuffer.h"
#include "sigflow/processing/SignalDecBuffer.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/processing/SignalMux.h"
#include "sigflow/tools/SignalCollection.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::Frames;
using test::Reals;
using test::TRampSource;

std::string PullError(TAnalysis& a) {
  try {
    a.Pull();
  } catch (const Exception& e) {
    return e.Message();
  }
  return "no exception";
}

struct Rig {
  TRampSource src;
  TSignalBuffer buf{nullptr};
  // trtLength sizing of `size` samples per channel, output blocks of `length` values.
  Rig(int frames, int channels, int size, int length, TBufferType type = bftStreaming, double overlap = 0)
      : src(nullptr, frames, channels) {
    src.SetSamplingFrequency(1000);
    buf.SetName("Buf1");
    buf.SetInput(&src);
    buf.SetTargetType(trtLength);
    buf.SetBufferLength(size);
    buf.SetLength(length);
    buf.SetBufferType(type);
    buf.SetOverlapping(overlap);
  }
  // Pulls `pulls` times; the blocks delivered, joined.
  std::vector<double> Run(int pulls, int* delivered = nullptr) {
    std::vector<double> out;
    for (int i = 0; i < pulls; ++i)
      if (buf.Pull()) {
        const auto b = Reals(buf);
        out.insert(out.end(), b.begin(), b.end());
        if (delivered) ++*delivered;
      }
    return out;
  }
};

TEST(SignalBuffer, DefaultsAndSetterRules) {
  TSignalBuffer b(nullptr);
  EXPECT_TRUE(b.BufferType() == bftStreaming && b.TargetType() == trtSamplingTime && b.AutoBufferSize());
  EXPECT_EQ(b.BufferSizeLimit(), 200000);
  EXPECT_EQ(b.Buffer().Length(), 16);
  b.SetOverlapping(150);
  EXPECT_EQ(b.Overlapping(), 100);
  b.SetOverlapping(-5);
  EXPECT_EQ(b.Overlapping(), 0);
  b.SetBufferSizeLimit(-7);
  b.SetBufferLength(-3);
  b.SetBufferSamplingTime(-0.25);
  EXPECT_EQ(b.BufferSizeLimit(), -7);
  EXPECT_EQ(b.BufferLength(), -3);
  EXPECT_EQ(b.BufferSamplingTime(), -0.25);
}

TEST(SignalBuffer, StreamingDeliversEverySampleOnceInOrder) {
  Rig r(100, 2, 1000, 2 * 128);
  int delivered = 0;
  // 40 blocks of 100 frames: 31 blocks of 128 frames, channels interleaved.
  EXPECT_EQ(r.Run(40, &delivered), Frames(0, 31 * 128, 2));
  EXPECT_EQ(delivered, 31);
  EXPECT_EQ(r.buf.Buffer().Length(), 2000);
  EXPECT_DOUBLE_EQ(r.buf.SamplingFrequency(), 1000);
  EXPECT_FALSE(r.buf.BufferOverrun() || r.buf.BufferUnderrun());
  // trtSamplingTime sizes in seconds: 0.25 s at 1000 Hz.
  r.buf.SetTargetType(trtSamplingTime);
  r.buf.SetBufferSamplingTime(0.25);
  r.Run(1);
  EXPECT_EQ(r.buf.BufferLength(), 250);
  EXPECT_EQ(r.buf.Buffer().Length(), 500);
}

TEST(SignalBuffer, ScrollingViewsAndOverlappingFrames) {
  Rig view(3, 1, 8, 0, bftScrolling);
  for (int pull = 1; pull <= 6; ++pull) {
    ASSERT_TRUE(view.buf.Pull());
    // Zeros until the history fills, then the newest eight samples.
    const int shown = std::min(3 * pull, 8);
    std::vector<double> want(std::size_t(8 - shown), 0.0);
    const auto newest = Frames(3 * pull - shown, shown);
    want.insert(want.end(), newest.begin(), newest.end());
    EXPECT_EQ(Reals(view.buf), want) << pull;
  }
  // 50 %: a frame of 100 after four blocks of 25, then one every two blocks, 50 apart.
  Rig half(25, 1, 400, 100, bftScrolling, 50);
  std::vector<double> want;
  for (int start = 0; start <= 400; start += 50) {
    const auto f = Frames(start, 100);
    want.insert(want.end(), f.begin(), f.end());
  }
  EXPECT_EQ(half.Run(20), want);
  // 100 % still moves on by one two-channel frame per read.
  Rig full(4, 2, 100, 2 * 6, bftScrolling, 100);
  full.Run(4);  // reads from the second pull on: frames 0, 1, 2 first
  EXPECT_EQ(Reals(full.buf), Frames(2, 6, 2));
}

TEST(SignalBuffer, ABlockWithoutRoomIsDroppedAsADiscontinuity) {
  // Driven by hand, like a device input: unread 20, 40, 60, 80, 100, then 50 free for 60.
  Rig r(60, 1, 150, 40);
  std::vector<bool> continuous;
  std::vector<double> out;
  for (int block = 0; block < 7; ++block) {
    r.src.Update();
    if (r.buf.Update()) out.push_back(r.buf.Data().Values(0));
    continuous.push_back(r.buf.Continuous());
  }
  EXPECT_EQ(continuous, (std::vector<bool>{true, true, true, true, true, false, true}));
  EXPECT_TRUE(r.buf.BufferOverrun());
  // Frames 300 .. 359 are lost: reads start every 40 frames, the block after them at 360.
  EXPECT_EQ(out, (std::vector<double>{0, 400, 800, 1200, 1600, 2000, 2400}));
  r.src.Update();
  ASSERT_TRUE(r.buf.Update());
  EXPECT_EQ(r.buf.Data().Values(20), 3600);
  // The room must exceed the block: 50 free for 50 is not enough.
  Rig exact(50, 1, 100, 60);
  exact.Run(2);
  EXPECT_FALSE(exact.buf.Continuous());
  EXPECT_EQ(PeekCircularBuffer(exact.buf.BufferState()), 50);
  // Pulled, the discontinuity holds the input back: the block is offered again, none lost.
  Rig pulled(60, 1, 150, 40);
  EXPECT_EQ(pulled.Run(12), Frames(0, 480));
  EXPECT_EQ(pulled.src.Updates, 10);
}

TEST(SignalBuffer, SizingFailuresCarryTheirMessages) {
  Rig r(10, 1, 20, 21);
  r.buf.SetAutoBufferSize(false);
  EXPECT_EQ(PullError(r.buf), "Buf1: Buffer too small for Output!");
  r.buf.SetLength(20);
  r.src.Frames = 20;
  EXPECT_EQ(PullError(r.buf), "Buf1: Buffer too small for Input!");
  r.src.Frames = 19;
  EXPECT_FALSE(r.buf.Pull());
  // A scrolling view takes the buffer's size: its Length is not checked.
  r.buf.SetBufferType(bftScrolling);
  r.buf.SetLength(500);
  EXPECT_TRUE(r.buf.Pull());
  EXPECT_EQ(r.buf.Length(), 20);
  Rig limit(10, 1, 16, 65);
  limit.buf.SetBufferSizeLimit(64);
  EXPECT_EQ(PullError(limit.buf), "Buf1: Buffer size limit reached!");
  limit.buf.SetLength(8);
  limit.src.Frames = 65;
  EXPECT_EQ(PullError(limit.buf), "Buf1: Buffer size limit reached!");
  limit.src.Frames = 10;
  limit.buf.SetBufferSizeLimit(-1);  // refuses every growth
  limit.buf.SetLength(17);
  EXPECT_EQ(PullError(limit.buf), "Buf1: Buffer size limit reached!");
  limit.buf.SetTargetType(trtSamplingTime);  // more than an int can hold
  limit.buf.SetBufferSamplingTime(1e7);
  EXPECT_EQ(PullError(limit.buf), "Buf1: Buffer size limit reached!");
}

TEST(SignalBuffer, AutomaticGrowthFollowsTheStatedProducts) {
  // Two channels at 2 Hz: an output of 40 values gives BufferLength 2 x 40 and
  // BufferSamplingTime 80 x 2; an input of 200 values then 2 x 200.
  Rig r(4, 2, 16, 40);
  r.src.SetSamplingFrequency(2);
  r.Run(1);
  EXPECT_EQ(r.buf.BufferLength(), 80);
  EXPECT_EQ(r.buf.BufferSamplingTime(), 160);
  EXPECT_EQ(r.buf.Buffer().Length(), 160);
  r.src.Frames = 100;
  r.Run(1);
  EXPECT_EQ(r.buf.BufferLength(), 400);
  EXPECT_EQ(r.buf.Buffer().Length(), 800);
  // trtSamplingTime multiplies by the rate once more, then holds.
  Rig t(4, 1, 16, 40);
  t.src.SetSamplingFrequency(2);
  t.buf.SetTargetType(trtSamplingTime);
  t.Run(1);
  EXPECT_EQ(t.buf.BufferSamplingTime(), 80);
  EXPECT_EQ(t.buf.BufferLength(), 160);
  t.Run(1);
  EXPECT_EQ(t.buf.Buffer().Length(), 160);
}

TEST(SignalDecBuffer, DeliversFactorPartsPerBlockLastPartFirst) {
  TRampSource src(nullptr, 40);
  src.SetSamplingFrequency(4000);
  TSignalDecBuffer dec(nullptr);
  dec.SetInput(&src);
  dec.SetFactor(4);
  for (int block = 0; block < 3; ++block)
    for (int part = 3; part >= 0; --part) {
      ASSERT_TRUE(dec.Pull());
      EXPECT_EQ(Reals(dec), Frames(40 * block + 10 * part, 10)) << block << " " << part;
      EXPECT_EQ(src.Updates, block + 1);
    }
  EXPECT_DOUBLE_EQ(dec.SamplingFrequency(), 4000);
  // 10 div 4 = 2: parts start at 6, 4, 2, 0; samples 8 and 9 are not delivered.
  src.Frames = 10;
  std::vector<double> starts;
  for (int i = 0; i < 4; ++i) dec.Pull(), starts.push_back(dec.Data().Values(0) - 1200);
  EXPECT_EQ(starts, (std::vector<double>{60, 40, 20, 0}));
  // Reset: the next pull takes a new block; at the end of data the pull fails.
  dec.Pull();
  dec.Reset();
  src.Blocks = src.Updates;
  EXPECT_FALSE(dec.Pull());
  dec.SetFactor(0);
  EXPECT_EQ(dec.Factor(), 1);
}

// Every published value of a component, references by name.
std::vector<std::string> Published(const TPersistent& c) {
  std::vector<std::string> out;
  for (const TPropInfo* p : c.Properties().All()) {
    if (!p->Get) continue;
    const TPropValue v = p->Get(c);
    if (const auto* ref = std::get_if<TComponent*>(&v)) out.push_back(p->Name + "=" + (*ref ? (*ref)->Name() : "nil"));
    else out.push_back(p->Name + "=" + std::visit([](auto x) { return (std::ostringstream() << x).str(); }, v));
  }
  return out;
}

TEST(BufferComponents, SavedTreeRestoresSettingsAndWiring) {
  RegisterSignalBufferClasses();
  TComponent root(nullptr);
  root.SetName("Form");
  auto* src = new TSignal(&root);  // a registered class, so the tree loads
  auto* buf = new TSignalBuffer(&root);
  auto* inc = new TSignalIncBuffer(&root);
  auto* dec = new TSignalDecBuffer(&root);
  auto* mux = new TSignalMux(&root);
  auto* demux = new TSignalDemux(&root);
  const std::vector<TSignal*> all = {src, buf, inc, dec, mux, demux};
  for (std::size_t i = 0; i < all.size(); ++i) all[i]->SetName("C" + std::to_string(i));
  buf->SetInput(src);
  buf->SetBufferType(bftScrolling);
  buf->SetTargetType(trtLength);
  buf->SetBufferLength(300);
  buf->SetBufferSamplingTime(0.5);
  buf->SetOverlapping(60);
  buf->SetAutoBufferSize(false);
  buf->SetBufferSizeLimit(-2);
  inc->SetInput(buf);
  inc->SetFactor(3);
  dec->SetInput(inc);
  dec->SetFactor(5);
  mux->Inputs()->Add()->SetInput(dec);
  mux->Inputs()->Add()->SetInput(src);
  demux->SetInput(mux);
  demux->SetChannel(1);
  const auto has = [](const TPersistent& c, const std::string& v) {
    const auto p = Published(c);
    return std::find(p.begin(), p.end(), v) != p.end();
  };
  ASSERT_TRUE(has(*buf, "BufferSizeLimit=-2") && has(*buf, "Input=C0") && has(*inc, "Factor=3") &&
              has(*dec, "Factor=5") && has(*demux, "Channel=1"));
  const std::string text = SaveComponentTreeToString(root);
  TComponent back(nullptr);
  back.SetName("Form");
  LoadComponentTreeFromString(back, text);
  for (TSignal* c : all) {
    TComponent* loaded = back.FindComponent(c->Name());
    ASSERT_TRUE(loaded && loaded->ClassName() == c->ClassName()) << c->Name();
    EXPECT_EQ(Published(*loaded), Published(*c));
  }
  auto* m = static_cast<TSignalMux*>(back.FindComponent("C4"));
  ASSERT_EQ(m->Inputs()->Count(), 2);
  EXPECT_EQ(m->Inputs()->Items(0)->Input(), back.FindComponent("C3"));
  EXPECT_EQ(m->Inputs()->Items(1)->Input(), back.FindComponent("C0"));
}

TEST(BufferComponents, SteadyStateBlocksAllocateNothing) {
  TRampSource src(nullptr, 64, 2);
  TSignalBuffer stream(nullptr), view(nullptr), frames(nullptr);
  TSignalDemux demux(nullptr);
  TSignalIncBuffer inc(nullptr);
  TSignalDecBuffer dec(nullptr);
  TSignalMux mux(nullptr);
  for (TSignalBuffer* b : {&stream, &view, &frames}) {
    b->SetInput(&src);
    b->SetTargetType(trtLength);
    b->SetBufferLength(1024);
    b->SetLength(400);
  }
  view.SetBufferType(bftScrolling);
  frames.SetBufferType(bftScrolling);
  frames.SetOverlapping(75);
  demux.SetInput(&src);
  inc.SetInput(&demux);
  inc.SetFactor(4);
  dec.SetInput(&src);
  dec.SetFactor(4);
  mux.Inputs()->Add()->SetInput(&inc);
  mux.Inputs()->Add()->SetInput(&inc);
  std::vector<TAnalysis*> sinks = {&stream, &view, &frames, &mux, &dec};
  for (int i = 0; i < 12; ++i)
    for (TAnalysis* s : sinks) s->Pull();
  test::AllocationScope scope;
  int delivered = 0;
  for (int i = 0; i < 40; ++i)
    for (TAnalysis* s : sinks) delivered += s->Pull();
  EXPECT_EQ(scope.Count(), 0u);
  EXPECT_GT(delivered, 150);
  EXPECT_EQ(mux.Length(), 2 * 256);
}

}  // namespace
}  // namespace sigflow
