// TSignalDemux, TSignalMux and TSignalIncBuffer as pull-driven chain stages: sample order and
// timing across blocks, the mux's messages, growing windows over a streaming filter.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "buffer_test_util.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalFilter.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "sigflow/processing/SignalMux.h"
#include "sigflow/tools/SignalCollection.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::Frames;
using test::Reals;
using test::TRampSource;

TEST(SignalDemux, PicksOneChannelAtThePerChannelRate) {
  TRampSource src(nullptr, 7, 3);
  src.SetSamplingFrequency(3000);
  TSignalDemux demux(nullptr);
  demux.SetName("Demux1");
  demux.SetInput(&src);
  demux.SetChannel(2);
  for (int block = 0; block < 2; ++block) {
    ASSERT_TRUE(demux.Pull());
    std::vector<double> want;  // input samples 2, 5, 8, ...
    for (int k = 0; k < 7; ++k) want.push_back(src.Data().Values(3 * k + 2));
    EXPECT_EQ(Reals(demux), want);
    EXPECT_EQ(want[0], TRampSource::Value(7 * block, 2));
  }
  EXPECT_EQ(demux.ChannelCount(), 1);
  EXPECT_DOUBLE_EQ(demux.SamplingFrequency(), 3000);
  EXPECT_DOUBLE_EQ(demux.SamplingTime(), 7.0 / 3000);
  // Downstream stages see the per-channel rate: 7 samples in an 8-point transform, 3000 / 8 Hz bins.
  TSpectrumAnalyzer ana(nullptr);
  ana.SetInput(&demux);
  ASSERT_TRUE(ana.Pull());
  EXPECT_DOUBLE_EQ(ana.SamplingFrequency(), 3000);
  EXPECT_NEAR(ana.HzRes(), 3000.0 / 8, 1e-9);
  EXPECT_EQ(Reals(demux)[0], TRampSource::Value(14, 2));
  demux.SetChannel(-1);
  EXPECT_EQ(demux.Channel(), -1);
  EXPECT_EQ(test::MessageOf([&] { demux.Update(); }), "Demux1: TVec: DownSample needs factor >= 1 and phase >= 0");
}

struct MuxRig {
  std::vector<std::unique_ptr<TRampSource>> in;
  TSignalMux mux{nullptr};
  MuxRig(int inputs, int frames) {
    mux.SetName("Mux1");
    for (int i = 0; i < inputs; ++i) {
      in.push_back(std::make_unique<TRampSource>(nullptr, frames));
      in.back()->SetSamplingFrequency(500);
      mux.Inputs()->Add()->SetInput(in.back().get());
    }
  }
};

TEST(SignalMux, InterleavesInChannelOrderAndDemuxUndoesIt) {
  MuxRig r(2, 4);
  r.in[1]->Pull();  // b runs a block ahead: a_k = 10 k, b_k = 10 (k + 4)
  ASSERT_TRUE(r.mux.Pull());
  EXPECT_EQ(Reals(r.mux), (std::vector<double>{0, 40, 10, 50, 20, 60, 30, 70}));
  EXPECT_EQ(r.mux.ChannelCount(), 2);
  EXPECT_DOUBLE_EQ(r.mux.SamplingFrequency(), 500);
  EXPECT_DOUBLE_EQ(r.mux.SamplingTime(), 4.0 / 500);
  MuxRig three(3, 16);
  TSignalDemux demux(nullptr);
  demux.SetInput(&three.mux);
  for (int pull = 0; pull < 6; ++pull) {
    demux.SetChannel(pull % 3);
    ASSERT_TRUE(demux.Pull());
    EXPECT_EQ(Reals(demux), Reals(*three.in[std::size_t(pull % 3)])) << pull;
  }
  for (auto& s : three.in) EXPECT_EQ(s->Updates, 6);
  TSignalMux empty(nullptr);
  EXPECT_TRUE(empty.Update());
  EXPECT_EQ(empty.Length(), 0);
  EXPECT_EQ(empty.ChannelCount(), 0);
}

TEST(SignalMux, InputsMustMatchTheMuxKindAndTheFirstLength) {
  MuxRig r(3, 4);
  for (auto& s : r.in) s->MakeComplex = true, s->Update();
  // The mux keeps its own (real) kind, so the first input already fails.
  EXPECT_EQ(test::MessageOf([&] { r.mux.Update(); }), "Mux1: Inputs[i].Input.Complex <> Self.Complex!");
  r.mux.SetComplex(true);
  ASSERT_TRUE(r.mux.Update());
  EXPECT_EQ(r.mux.Data().CValues(7), TRampSource::CValue(2, 0));
  r.in[2]->Frames = 5;
  r.in[2]->Update();
  EXPECT_EQ(test::MessageOf([&] { r.mux.Update(); }), "Mux1: Inputs[i].Input.Length <> Self.Length!");
  r.in[2]->Frames = 3;
  r.in[2]->Update();
  EXPECT_EQ(test::MessageOf([&] { r.mux.Update(); }), "Mux1: Inputs[i].Input.Length <> Self.Length!");
}

void ExpectWindow(const TSignal& buf, long long end, int n) {
  ASSERT_EQ(buf.Length(), n);
  EXPECT_EQ(Reals(buf), Frames(end - n, n));
}

TEST(SignalIncBuffer, GrowsToFactorBlocksThenSlides) {
  TRampSource src(nullptr, 100);
  src.SetSamplingFrequency(8000);
  TSignalIncBuffer buf(nullptr);
  buf.SetInput(&src);
  buf.SetFactor(3);
  for (int n : {100, 200, 300, 300, 300}) {
    ASSERT_TRUE(buf.Pull());
    ExpectWindow(buf, src.Next, n);
  }
  EXPECT_DOUBLE_EQ(buf.SamplingFrequency(), 8000);
  // Shorter blocks restart; longer ones are appended while below 3 of them (overshooting).
  src.Frames = 50;
  ASSERT_TRUE(buf.Pull());
  ExpectWindow(buf, src.Next, 50);
  src.Frames = 120;
  for (int n : {170, 290, 410, 120, 240, 360, 360}) {
    ASSERT_TRUE(buf.Pull());
    ASSERT_EQ(buf.Length(), n);
  }
  ExpectWindow(buf, src.Next, 360);
  buf.Reset();
  ASSERT_TRUE(buf.Pull());
  ExpectWindow(buf, src.Next, 120);
  buf.SetFactor(0);
  EXPECT_EQ(buf.Factor(), 1);
  src.MakeComplex = true;
  ASSERT_TRUE(buf.Pull());
  EXPECT_EQ(buf.Data().CValues(119), TRampSource::CValue(src.Next - 1, 0));
}

// Each window equals the filter run over the whole stream at once: the filter state
// carried across blocks shows in every frame.
TEST(SignalIncBuffer, TurnsStreamingFilterOutputIntoOverlappingFrames) {
  TRampSource src(nullptr, 32);
  src.SetSamplingFrequency(1000);
  TSignalFilter filter(nullptr);
  filter.SetInput(&src);
  filter.SetResponse(rstMovingAverage);
  filter.SetFirLength(5);
  TSignalIncBuffer frames(nullptr);
  frames.SetInput(&filter);
  frames.SetFactor(4);
  for (int block = 1; block <= 9; ++block) {
    ASSERT_TRUE(frames.Pull());
    const int n = 32 * std::min(block, 4);
    ASSERT_EQ(frames.Length(), n);
    for (int i = 0; i < n; ++i) {
      const long long k = src.Next - n + i;
      double sum = 0;
      for (long long j = std::max(0LL, k - 4); j <= k; ++j) sum += TRampSource::Value(j, 0);
      ASSERT_NEAR(frames.Data().Values(i), sum / 5, 1e-9 * (1 + sum)) << block << " " << i;
    }
  }
  EXPECT_EQ(src.Updates, 9);
}

}  // namespace
}  // namespace sigflow
