// TSignalBuffer and TSignalDecBuffer: block-size changes across many blocks (streaming,
// scrolling views, overlapping frames, parts of a block), sizing and its messages, dropped
// blocks, settings quirks, persistence and allocation-free blocks.
#include <gtest/gtest.h>

#include <complex>
#include <string>
#include <vector>

#include "buffer_test_util.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/SignalBuffer.h"
#include "sigflow/processing/SignalDecBuffer.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::TRampSource;

std::string PullError(TAnalysis& a) {
  try {
    a.Pull();
  } catch (const Exception& e) {
    return e.Message();
  }
  return "no exception";
}

// Frame values of channel c of a whole stream, frames first .. first + n - 1.
std::vector<double> Frames(long long first, int n, int channels = 1) {
  std::vector<double> out;
  for (long long k = first; k < first + n; ++k)
    for (int c = 0; c < channels; ++c) out.push_back(TRampSource::Value(k, c));
  return out;
}

std::vector<double> Reals(const TSignal& s) { return std::vector<double>(s.Data().Data(), s.Data().Data() + s.Length()); }

struct Rig {
  TComponent root{nullptr};
  TRampSource* src;
  TSignalBuffer* buf;
  Rig(int frames, int channels = 1, double rate = 1000) {
    root.SetName("Form");
    src = new TRampSource(&root);
    src->SetName("Source");
    src->SetSamplingFrequency(rate);
    src->SetFrames(frames);
    src->SetChannels(channels);
    buf = new TSignalBuffer(&root);
    buf->SetName("Buf1");
    buf->SetInput(src);
  }
};

TEST(SignalBuffer, DefaultsAndSetterRules) {
  TSignalBuffer b(nullptr);
  EXPECT_EQ(b.BufferType(), bftStreaming);
  EXPECT_EQ(b.TargetType(), trtSamplingTime);
  EXPECT_TRUE(b.AutoBufferSize());
  EXPECT_EQ(b.BufferSizeLimit(), 200000);
  EXPECT_EQ(b.Overlapping(), 0);
  EXPECT_EQ(b.Buffer().Length(), 16);
  EXPECT_EQ(b.BufferState().Size, 16);
  b.SetOverlapping(150);
  EXPECT_EQ(b.Overlapping(), 100);
  b.SetOverlapping(-5);
  EXPECT_EQ(b.Overlapping(), 0);
  b.SetOverlapping(37.5);
  EXPECT_EQ(b.Overlapping(), 37.5);
  b.SetBufferSizeLimit(-7);
  EXPECT_EQ(b.BufferSizeLimit(), -7);
  b.SetBufferLength(-3);
  EXPECT_EQ(b.BufferLength(), -3);
  b.SetBufferSamplingTime(-0.25);
  EXPECT_EQ(b.BufferSamplingTime(), -0.25);
}

TEST(SignalBuffer, StreamingDeliversEverySampleOnceAcrossBlocks) {
  Rig r(100, 2);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(1000);
  r.buf->SetLength(2 * 128);
  std::vector<double> out;
  int delivered = 0;
  for (int pull = 0; pull < 40; ++pull)
    if (r.buf->Pull()) {
      ++delivered;
      ASSERT_EQ(r.buf->Length(), 256);
      const auto block = Reals(*r.buf);
      out.insert(out.end(), block.begin(), block.end());
    }
  // 40 blocks of 100 frames give 31 blocks of 128 frames, in order, channels interleaved.
  EXPECT_EQ(delivered, 31);
  EXPECT_EQ(out, Frames(0, 31 * 128, 2));
  EXPECT_EQ(r.buf->Buffer().Length(), 2000);
  EXPECT_DOUBLE_EQ(r.buf->SamplingFrequency(), 1000);
  EXPECT_EQ(r.buf->ChannelCount(), 2);
  EXPECT_TRUE(r.buf->Continuous());
  EXPECT_FALSE(r.buf->BufferOverrun());
  EXPECT_FALSE(r.buf->BufferUnderrun());
}

TEST(SignalBuffer, BufferSamplingTimeSetsTheSizeInSeconds) {
  Rig r(50, 1, 2000);
  r.buf->SetBufferSamplingTime(0.25);
  r.buf->SetLength(64);
  ASSERT_FALSE(r.buf->Pull());
  EXPECT_EQ(r.buf->BufferLength(), 500);
  EXPECT_EQ(r.buf->Buffer().Length(), 500);
  EXPECT_EQ(r.buf->BufferSamplingTime(), 0.25);
  ASSERT_TRUE(r.buf->Pull());
  EXPECT_EQ(Reals(*r.buf), Frames(0, 64));
}

TEST(SignalBuffer, ScrollingWithoutOverlapShowsTheNewestBuffer) {
  Rig r(3);
  r.buf->SetBufferType(bftScrolling);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(8);
  for (int pull = 1; pull <= 10; ++pull) {
    ASSERT_TRUE(r.buf->Pull()) << pull;
    ASSERT_EQ(r.buf->Length(), 8);
    // Zeros until the history fills, then the newest eight samples.
    const int shown = std::min(3 * pull, 8);
    std::vector<double> want(std::size_t(8 - shown), 0.0);
    const auto newest = Frames(3 * pull - shown, shown);
    want.insert(want.end(), newest.begin(), newest.end());
    EXPECT_EQ(Reals(*r.buf), want) << pull;
    EXPECT_TRUE(r.buf->Continuous());
  }
  EXPECT_EQ(r.src->Updates(), 10);
}

TEST(SignalBuffer, ScrollingWithOverlapDeliversOverlappingFrames) {
  Rig r(25);
  r.buf->SetBufferType(bftScrolling);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(400);
  r.buf->SetLength(100);
  r.buf->SetOverlapping(50);
  std::vector<long long> starts;
  for (int pull = 1; pull <= 20; ++pull)
    if (r.buf->Pull()) {
      ASSERT_EQ(r.buf->Length(), 100);
      starts.push_back(static_cast<long long>(r.buf->Data().Values(0) / 10));
      ASSERT_EQ(Reals(*r.buf), Frames(starts.back(), 100));
    }
  // First frame after four blocks, then one every two blocks, half a frame apart.
  EXPECT_EQ(starts, (std::vector<long long>{0, 50, 100, 150, 200, 250, 300, 350, 400}));

  // 100 % overlap still moves on by one frame per read; frames are whole channel frames.
  Rig s(4, 2);
  s.buf->SetBufferType(bftScrolling);
  s.buf->SetTargetType(trtLength);
  s.buf->SetBufferLength(100);
  s.buf->SetLength(2 * 6);
  s.buf->SetOverlapping(100);
  std::vector<double> first;
  for (int pull = 1; pull <= 4; ++pull)
    if (s.buf->Pull()) first.push_back(s.buf->Data().Values(0));
  EXPECT_EQ(first, (std::vector<double>{0, 10, 20}));
  EXPECT_EQ(Reals(*s.buf), Frames(2, 6, 2));
}

TEST(SignalBuffer, ABlockWithoutRoomIsDroppedAndReportedAsADiscontinuity) {
  // Driven by hand, as an input that is not pulled (a device) would be: the block is lost.
  TRampSource src(nullptr);
  src.SetFrames(60);
  TSignalBuffer buf(nullptr);
  buf.SetInput(&src);
  buf.SetTargetType(trtLength);
  buf.SetBufferLength(150);
  buf.SetLength(40);
  std::vector<double> out;
  std::vector<bool> continuous;
  for (int block = 0; block < 7; ++block) {
    src.Update();
    if (buf.Update()) {
      const auto b = Reals(buf);
      out.insert(out.end(), b.begin(), b.end());
    }
    continuous.push_back(buf.Continuous());
  }
  // Unread after each block: 20, 40, 60, 80, 100; the sixth finds 50 free for 60: dropped.
  EXPECT_EQ(continuous, (std::vector<bool>{true, true, true, true, true, false, true}));
  EXPECT_TRUE(buf.BufferOverrun());
  std::vector<double> want = Frames(0, 300);
  const auto after = Frames(360, 60);
  want.insert(want.end(), after.begin(), after.end());
  ASSERT_EQ(out.size(), 280u);
  EXPECT_EQ(out, std::vector<double>(want.begin(), want.begin() + 280));

  // Pulled, the discontinuity holds the input back: the next pull offers the same block
  // again and nothing is lost.
  Rig r(60);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(150);
  r.buf->SetLength(40);
  out.clear();
  for (int pull = 0; pull < 12; ++pull) {
    ASSERT_TRUE(r.buf->Pull());
    const auto b = Reals(*r.buf);
    out.insert(out.end(), b.begin(), b.end());
    if (pull == 5) {
      EXPECT_FALSE(r.buf->Continuous());
    }
  }
  EXPECT_EQ(out, Frames(0, 480));
  EXPECT_EQ(r.src->Updates(), 10);
}

TEST(SignalBuffer, SizingFailuresCarryTheirMessages) {
  {
    Rig r(10);
    r.buf->SetAutoBufferSize(false);
    r.buf->SetTargetType(trtLength);
    r.buf->SetBufferLength(20);
    r.buf->SetLength(21);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer too small for Output!");
    r.buf->SetLength(20);
    r.src->SetFrames(20);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer too small for Input!");
    r.src->SetFrames(19);
    EXPECT_FALSE(r.buf->Pull());
    // A scrolling view takes the buffer's size, so its Length is not checked.
    r.buf->SetBufferType(bftScrolling);
    r.buf->SetLength(500);
    EXPECT_TRUE(r.buf->Pull());
    EXPECT_EQ(r.buf->Length(), 20);
  }
  {
    Rig r(10);
    r.buf->SetTargetType(trtLength);
    r.buf->SetBufferSizeLimit(64);
    r.buf->SetLength(65);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer size limit reached!");
    r.buf->SetLength(8);
    r.src->SetFrames(65);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer size limit reached!");
    // A negative limit refuses every growth.
    r.src->SetFrames(10);
    r.buf->SetBufferSizeLimit(-1);
    r.buf->SetLength(17);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer size limit reached!");
  }
  {
    // A size an int cannot hold.
    Rig r(10, 1, 1e6);
    r.buf->SetBufferSamplingTime(1e6);
    EXPECT_EQ(PullError(*r.buf), "Buf1: Buffer size limit reached!");
  }
}

TEST(SignalBuffer, AutomaticGrowthFollowsTheStatedProducts) {
  // trtLength, two channels: an output of 40 elements grows BufferLength to 2 x 40 and
  // BufferSamplingTime to 80 x the input's 2 Hz; the buffer holds 2 x 80 elements.
  Rig r(4, 2, 2);
  r.buf->SetTargetType(trtLength);
  r.buf->SetLength(40);
  r.buf->Pull();
  EXPECT_EQ(r.buf->BufferLength(), 80);
  EXPECT_EQ(r.buf->BufferSamplingTime(), 160);
  EXPECT_EQ(r.buf->Buffer().Length(), 160);
  // An input block of 200 elements then grows it to 2 x 200.
  r.src->SetFrames(100);
  r.buf->Pull();
  EXPECT_EQ(r.buf->BufferLength(), 400);
  EXPECT_EQ(r.buf->Buffer().Length(), 800);

  // trtSamplingTime multiplies once more: Trunc(BufferSamplingTime x 2 Hz).
  Rig t(4, 1, 2);
  t.buf->SetLength(40);
  t.buf->Pull();
  EXPECT_EQ(t.buf->BufferSamplingTime(), 80);
  EXPECT_EQ(t.buf->BufferLength(), 160);
  EXPECT_EQ(t.buf->Buffer().Length(), 160);
  // Large enough now: no further growth.
  t.buf->Pull();
  EXPECT_EQ(t.buf->BufferLength(), 160);
}

TEST(SignalBuffer, ComplexStreamsKeepTheirValues) {
  Rig r(30);
  r.src->SetMakeComplex(true);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(100);
  r.buf->SetLength(45);
  std::vector<std::complex<double>> out;
  for (int pull = 0; pull < 6; ++pull)
    if (r.buf->Pull()) {
      ASSERT_TRUE(r.buf->Complex());
      const auto b = test::Samples(*r.buf);
      out.insert(out.end(), b.begin(), b.end());
    }
  ASSERT_EQ(out.size(), 180u);
  for (std::size_t k = 0; k < out.size(); ++k) ASSERT_EQ(out[k], TRampSource::CValue(static_cast<long long>(k), 0)) << k;
}

TEST(SignalBuffer, SteadyStateBlocksAllocateNothing) {
  for (TBufferType type : {bftStreaming, bftScrolling}) {
    for (double overlap : {0.0, 75.0}) {
      Rig r(64, 2);
      r.buf->SetBufferType(type);
      r.buf->SetOverlapping(overlap);
      r.buf->SetTargetType(trtLength);
      r.buf->SetBufferLength(1024);
      r.buf->SetLength(2 * 200);
      for (int i = 0; i < 8; ++i) r.buf->Pull();
      test::AllocationScope scope;
      int delivered = 0;
      for (int i = 0; i < 40; ++i) delivered += r.buf->Pull();
      EXPECT_EQ(scope.Count(), 0u) << type << " " << overlap;
      EXPECT_GT(delivered, 0);
    }
  }
}

TEST(SignalBuffer, SavedTreeKeepsTheSettings) {
  RegisterSignalBufferClasses();
  test::RegisterRampSource();
  Rig r(25);
  r.buf->SetBufferType(bftScrolling);
  r.buf->SetTargetType(trtLength);
  r.buf->SetBufferLength(300);
  r.buf->SetBufferSamplingTime(0.5);
  r.buf->SetOverlapping(60);
  r.buf->SetAutoBufferSize(false);
  r.buf->SetBufferSizeLimit(-2);
  r.buf->SetLength(50);
  std::vector<std::vector<double>> want;
  for (int i = 0; i < 12; ++i)
    if (r.buf->Pull()) want.push_back(Reals(*r.buf));
  const std::string text = SaveComponentTreeToString(r.root);

  TComponent back(nullptr);
  back.SetName("Form");
  LoadComponentTreeFromString(back, text);
  auto* b = dynamic_cast<TSignalBuffer*>(back.FindComponent("Buf1"));
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(b->Input(), back.FindComponent("Source"));
  EXPECT_EQ(b->BufferType(), bftScrolling);
  EXPECT_EQ(b->TargetType(), trtLength);
  EXPECT_EQ(b->BufferLength(), 300);
  EXPECT_EQ(b->BufferSamplingTime(), 0.5);
  EXPECT_EQ(b->Overlapping(), 60);
  EXPECT_FALSE(b->AutoBufferSize());
  EXPECT_EQ(b->BufferSizeLimit(), -2);
  EXPECT_EQ(b->Length(), 50);
  // The loaded chain starts from an empty buffer and a fresh source: the same frames again.
  std::vector<std::vector<double>> got;
  for (int i = 0; i < 12; ++i)
    if (b->Pull()) got.push_back(Reals(*b));
  EXPECT_EQ(got, want);
}

// ---------------------------------------------------------------------------- decrement

TEST(SignalDecBuffer, DeliversFactorPartsPerBlockLastPartFirst) {
  TRampSource src(nullptr);
  src.SetSamplingFrequency(4000);
  src.SetFrames(40);
  TSignalDecBuffer dec(nullptr);
  dec.SetInput(&src);
  dec.SetFactor(4);
  for (int block = 0; block < 3; ++block)
    for (int part = 3; part >= 0; --part) {
      ASSERT_TRUE(dec.Pull());
      EXPECT_EQ(Reals(dec), Frames(40 * block + 10 * part, 10)) << block << " " << part;
      EXPECT_EQ(src.Updates(), block + 1);
      EXPECT_DOUBLE_EQ(dec.SamplingFrequency(), 4000);
      EXPECT_EQ(dec.Counter(), (4 - part) % 4);
    }
  // A length not divisible by the factor: parts of 10 div 4 = 2, the last two samples unused.
  src.SetFrames(10);
  std::vector<double> starts;
  for (int i = 0; i < 4; ++i) {
    ASSERT_TRUE(dec.Pull());
    ASSERT_EQ(dec.Length(), 2);
    starts.push_back(dec.Data().Values(0));
  }
  EXPECT_EQ(starts, (std::vector<double>{TRampSource::Value(126, 0), TRampSource::Value(124, 0),
                                         TRampSource::Value(122, 0), TRampSource::Value(120, 0)}));
}

TEST(SignalDecBuffer, FactorResetAndEndOfData) {
  TRampSource src(nullptr);
  src.SetFrames(6);
  src.SetBlocks(2);
  TSignalDecBuffer dec(nullptr);
  dec.SetInput(&src);
  EXPECT_EQ(dec.Factor(), 1);
  dec.SetFactor(0);
  EXPECT_EQ(dec.Factor(), 1);
  dec.SetFactor(-2);
  EXPECT_EQ(dec.Factor(), 1);
  ASSERT_TRUE(dec.Pull());
  EXPECT_EQ(Reals(dec), Frames(0, 6));
  dec.SetFactor(3);
  ASSERT_TRUE(dec.Pull());
  EXPECT_EQ(Reals(dec), Frames(10, 2));
  // Reset: the next pull takes a new block, which the source no longer has.
  dec.Reset();
  EXPECT_EQ(dec.Counter(), 0);
  EXPECT_FALSE(dec.Pull());
  EXPECT_EQ(src.Updates(), 2);
}

TEST(SignalDecBuffer, SteadyStateBlocksAllocateNothing) {
  TRampSource src(nullptr);
  src.SetFrames(512);
  src.SetChannels(2);
  TSignalDecBuffer dec(nullptr);
  dec.SetInput(&src);
  dec.SetFactor(8);
  for (int i = 0; i < 16; ++i) ASSERT_TRUE(dec.Pull());
  test::AllocationScope scope;
  for (int i = 0; i < 64; ++i) dec.Pull();
  EXPECT_EQ(scope.Count(), 0u);
  EXPECT_EQ(dec.Length(), 128);
}

}  // namespace
}  // namespace sigflow
