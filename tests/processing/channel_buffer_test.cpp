// Channel extraction and growing windows: TSignalDemux and TSignalIncBuffer as pull-driven
// stages, across blocks, persisted and allocation-free.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

#include "buffer_test_util.h"
#include "sigflow/analysis/SpectrumAnalyzer.h"
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalIncBuffer.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::TRampSource;
using Cplx = std::complex<double>;

TEST(SignalDemux, PicksEveryChannelCountThSampleAtThePerChannelRate) {
  TRampSource src(nullptr);
  src.SetSamplingFrequency(3000);
  src.SetChannels(3);
  src.SetFrames(7);
  TSignalDemux demux(nullptr);
  demux.SetInput(&src);
  demux.SetChannel(2);
  ASSERT_TRUE(demux.Pull());
  ASSERT_EQ(demux.Length(), 7);
  // Input samples 2, 5, 8, ...: channel 2 of frames 0, 1, 2, ...
  for (int k = 0; k < 7; ++k) EXPECT_EQ(demux.Data().Values(k), src.Data().Values(3 * k + 2)) << k;
  EXPECT_EQ(demux.Data().Values(6), TRampSource::Value(6, 2));
  EXPECT_EQ(demux.ChannelCount(), 1);
  EXPECT_DOUBLE_EQ(demux.SamplingFrequency(), 3000);
  EXPECT_DOUBLE_EQ(demux.SamplingTime(), 7.0 / 3000);
  EXPECT_DOUBLE_EQ(demux.Dt(), 1.0 / 3000);
  // The next pull takes the next block of the same channel.
  ASSERT_TRUE(demux.Pull());
  EXPECT_EQ(demux.Data().Values(0), TRampSource::Value(7, 2));

  // Channel 0 of complex data; a channel past the last reads on into the next frame.
  src.SetMakeComplex(true);
  demux.SetChannel(0);
  ASSERT_TRUE(demux.Pull());
  EXPECT_TRUE(demux.Complex());
  EXPECT_EQ(test::Samples(demux)[3], TRampSource::CValue(14 + 3, 0));
  demux.SetChannel(3);
  ASSERT_TRUE(demux.Pull());
  ASSERT_EQ(demux.Length(), 6);
  EXPECT_EQ(test::Samples(demux)[0], TRampSource::CValue(21 + 1, 0));
}

TEST(SignalDemux, NegativeChannelFailsWithTheComponentName) {
  TRampSource src(nullptr);
  src.SetChannels(2);
  src.SetFrames(4);
  TSignalDemux demux(nullptr);
  demux.SetName("Demux1");
  demux.SetInput(&src);
  demux.SetChannel(-1);
  EXPECT_EQ(demux.Channel(), -1);
  try {
    demux.Pull();
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "Demux1: TVec: DownSample needs factor >= 1 and phase >= 0");
  }
}

// Two tones, one per channel, bin-centred: the analyzer behind the demux sees only its tone,
// at the per-channel frequency.
TEST(SignalDemux, FeedsASpectrumAnalyzerOneChannel) {
  class TTwoTones : public TSignal {
  public:
    explicit TTwoTones(TComponent* o) : TSignal(o) { SetUsesInputs(false); }
  protected:
    bool InternalUpdate() override {
      SetChannelCount(2);
      Data().Size(2 * 512, false);
      for (int k = 0; k < 512; ++k) {
        Data().SetValues(2 * k, std::sin(2 * std::numbers::pi * 62.5 * k / 1000));
        Data().SetValues(2 * k + 1, 0.5 * std::sin(2 * std::numbers::pi * 125.0 * k / 1000));
      }
      return true;
    }
  };
  TTwoTones src(nullptr);
  src.SetSamplingFrequency(1000);
  TSignalDemux demux(nullptr);
  demux.SetInput(&src);
  TSpectrumAnalyzer ana(nullptr);
  ana.SetInput(&demux);
  for (int channel : {0, 1}) {
    demux.SetChannel(channel);
    ASSERT_TRUE(ana.Pull());
    EXPECT_EQ(demux.Length(), 512);
    EXPECT_DOUBLE_EQ(ana.SamplingFrequency(), 1000);
    EXPECT_NEAR(ana.Amplt().MaxIndex() * ana.HzRes(), channel == 0 ? 62.5 : 125.0, 1e-9);
  }
}

// Window contents after each block: the newest min(blocks, Factor) input blocks in order.
void ExpectWindow(const TSignalIncBuffer& buf, long long newestEnd, int frames, int blocks) {
  ASSERT_EQ(buf.Length(), frames * blocks);
  const long long first = newestEnd - frames * blocks;
  for (int i = 0; i < buf.Length(); ++i)
    ASSERT_EQ(buf.Data().Values(i), TRampSource::Value(first + i, 0)) << "sample " << i;
}

TEST(SignalIncBuffer, GrowsToFactorBlocksThenSlides) {
  TRampSource src(nullptr);
  src.SetSamplingFrequency(8000);
  src.SetFrames(100);
  TSignalIncBuffer buf(nullptr);
  buf.SetInput(&src);
  buf.SetFactor(3);
  for (int block = 1; block <= 6; ++block) {
    ASSERT_TRUE(buf.Pull());
    ExpectWindow(buf, src.Next(), 100, std::min(block, 3));
    EXPECT_DOUBLE_EQ(buf.SamplingFrequency(), 8000);
  }
  EXPECT_EQ(src.Updates(), 6);

  // Shorter blocks restart the window. Longer ones are appended while the window is below
  // 3 of them: 50 + 120 + 120 + 120 = 410 overshoots 360, so the next block restarts.
  src.SetFrames(50);
  ASSERT_TRUE(buf.Pull());
  ExpectWindow(buf, src.Next(), 50, 1);
  src.SetFrames(120);
  for (int want : {170, 290, 410, 120, 240, 360, 360}) {
    ASSERT_TRUE(buf.Pull());
    ASSERT_EQ(buf.Length(), want);
  }
  ExpectWindow(buf, src.Next(), 120, 3);

  buf.Reset();
  EXPECT_EQ(buf.Length(), 0);
  ASSERT_TRUE(buf.Pull());
  ExpectWindow(buf, src.Next(), 120, 1);
}

TEST(SignalIncBuffer, FactorOneCopiesAndFactorIsAtLeastOne) {
  TRampSource src(nullptr);
  src.SetFrames(16);
  src.SetMakeComplex(true);
  TSignalIncBuffer buf(nullptr);
  buf.SetInput(&src);
  EXPECT_EQ(buf.Factor(), 1);
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(buf.Pull());
    EXPECT_EQ(test::Samples(buf), test::Samples(src));
  }
  buf.SetFactor(0);
  EXPECT_EQ(buf.Factor(), 1);
  buf.SetFactor(-4);
  EXPECT_EQ(buf.Factor(), 1);
  // Complex blocks slide like real ones.
  buf.SetFactor(2);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(buf.Pull());
  ASSERT_EQ(buf.Length(), 32);
  EXPECT_TRUE(buf.Complex());
  for (int i = 0; i < 32; ++i) ASSERT_EQ(buf.Data().CValues(i), TRampSource::CValue(src.Next() - 32 + i, 0));
}

TEST(SignalIncBuffer, EndOfDataStopsTheChain) {
  TRampSource src(nullptr);
  src.SetFrames(10);
  src.SetBlocks(4);
  TSignalIncBuffer buf(nullptr);
  buf.SetInput(&src);
  buf.SetFactor(2);
  int pulls = 0;
  while (buf.Pull()) ++pulls;
  EXPECT_EQ(pulls, 4);
  ExpectWindow(buf, 40, 10, 2);
}

// A three-channel stream: demux channel 1, then frames of four blocks sliding by one.
struct Chain {
  TComponent root{nullptr};
  TRampSource* src;
  TSignalDemux* demux;
  TSignalIncBuffer* buf;
  Chain() {
    root.SetName("Form");
    src = new TRampSource(&root);
    src->SetName("Source");
    src->SetSamplingFrequency(44100);
    src->SetChannels(3);
    src->SetFrames(64);
    demux = new TSignalDemux(&root);
    demux->SetName("Demux");
    demux->SetInput(src);
    demux->SetChannel(1);
    buf = new TSignalIncBuffer(&root);
    buf->SetName("Frames");
    buf->SetInput(demux);
    buf->SetFactor(4);
  }
};

TEST(ChannelBufferChain, SteadyStateBlocksAllocateNothing) {
  Chain c;
  for (int i = 0; i < 5; ++i) ASSERT_TRUE(c.buf->Pull());
  test::AllocationScope scope;
  for (int i = 0; i < 20; ++i) c.buf->Pull();
  EXPECT_EQ(scope.Count(), 0u);
  ASSERT_EQ(c.buf->Length(), 256);
  const long long first = c.src->Next() - 256;
  for (int i = 0; i < 256; ++i) ASSERT_EQ(c.buf->Data().Values(i), TRampSource::Value(first + i, 1));
  EXPECT_DOUBLE_EQ(c.buf->SamplingFrequency(), 44100);
}

TEST(ChannelBufferChain, SavedTreeLoadsAndRunsTheSame) {
  RegisterSignalBufferClasses();
  test::RegisterRampSource();
  for (const char* name : {"TSignalDemux", "TSignalIncBuffer"}) {
    const TComponentClass* cls = FindComponentClass(name);
    ASSERT_NE(cls, nullptr) << name;
    std::unique_ptr<TComponent> made(cls->Create(nullptr));
    EXPECT_EQ(made->ClassName(), name);
  }
  Chain c;
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(c.buf->Pull());
  const auto want = test::Samples(*c.buf);
  const std::string text = SaveComponentTreeToString(c.root);

  TComponent back(nullptr);
  back.SetName("Form");
  LoadComponentTreeFromString(back, text);
  auto* src = dynamic_cast<TRampSource*>(back.FindComponent("Source"));
  auto* demux = dynamic_cast<TSignalDemux*>(back.FindComponent("Demux"));
  auto* buf = dynamic_cast<TSignalIncBuffer*>(back.FindComponent("Frames"));
  ASSERT_TRUE(src && demux && buf);
  EXPECT_EQ(demux->Channel(), 1);
  EXPECT_EQ(demux->Input(), src);
  EXPECT_EQ(buf->Factor(), 4);
  EXPECT_EQ(buf->Input(), demux);
  // The restored window is the saved one; a fresh source replays the stream from its start.
  EXPECT_EQ(test::Samples(*buf), want);
  buf->Reset();
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(buf->Pull());
  EXPECT_EQ(test::Samples(*buf), want);
}

}  // namespace
}  // namespace sigflow
