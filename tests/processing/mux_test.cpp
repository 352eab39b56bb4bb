// TSignalMux: interleaving order, shape checks with their messages, timing, a round trip
// through TSignalDemux, persistence of the Inputs wiring and allocation-free blocks.
#include <gtest/gtest.h>

#include <complex>
#include <memory>
#include <string>
#include <vector>

#include "buffer_test_util.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/processing/BufferRegistration.h"
#include "sigflow/processing/SignalDemux.h"
#include "sigflow/processing/SignalMux.h"
#include "sigflow/tools/SignalCollection.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::TRampSource;

std::string UpdateError(TAnalysis& a) {
  try {
    a.Update();
  } catch (const Exception& e) {
    return e.Message();
  }
  return "no exception";
}

// Sources named In0, In1, ... of `frames` frames each, wired in order into Mux1.
struct Rig {
  TComponent root{nullptr};
  std::vector<TRampSource*> in;
  TSignalMux* mux;
  explicit Rig(int inputs, int frames = 4) {
    root.SetName("Form");
    mux = new TSignalMux(&root);
    mux->SetName("Mux1");
    for (int i = 0; i < inputs; ++i) {
      auto* s = new TRampSource(&root);
      s->SetName("In" + std::to_string(i));
      s->SetSamplingFrequency(500);
      s->SetFrames(frames);
      in.push_back(s);
      mux->Inputs()->Add()->SetInput(s);
    }
  }
};

TEST(SignalMux, InterleavesInputsInChannelOrder) {
  Rig r(2);
  ASSERT_TRUE(r.mux->Pull());
  // a0, b0, a1, b1, a2, b2, a3, b3 (both ramps start at 0: a_k = b_k = 10 k)
  const std::vector<double> want = {0, 0, 10, 10, 20, 20, 30, 30};
  ASSERT_EQ(r.mux->Length(), 8);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(r.mux->Data().Values(i), want[std::size_t(i)]);
  // Distinct inputs: one block of each source placed by channel.
  r.in[1]->Pull();
  ASSERT_TRUE(r.mux->Pull());
  for (int k = 0; k < 4; ++k) {
    EXPECT_EQ(r.mux->Data().Values(2 * k), r.in[0]->Data().Values(k));
    EXPECT_EQ(r.mux->Data().Values(2 * k + 1), r.in[1]->Data().Values(k));
  }
  EXPECT_NE(r.in[0]->Data().Values(0), r.in[1]->Data().Values(0));
  EXPECT_EQ(r.mux->ChannelCount(), 2);
  EXPECT_DOUBLE_EQ(r.mux->SamplingFrequency(), 500);
  EXPECT_DOUBLE_EQ(r.mux->SamplingTime(), 4.0 / 500);
  EXPECT_TRUE(r.mux->MultiChannel());
}

TEST(SignalMux, ComplexFlagMustMatchTheMuxNotTheInputs) {
  Rig r(2);
  for (auto* s : r.in) s->SetMakeComplex(true);
  for (auto* s : r.in) s->Update();
  // The mux stays real: the first input already fails.
  EXPECT_EQ(UpdateError(*r.mux), "Mux1: Inputs[i].Input.Complex <> Self.Complex!");
  EXPECT_FALSE(r.mux->Complex());
  r.mux->SetComplex(true);
  ASSERT_TRUE(r.mux->Update());
  EXPECT_EQ(r.mux->Data().CValues(3), TRampSource::CValue(1, 0));
  // A real second input under a complex mux.
  r.in[1]->SetMakeComplex(false);
  r.in[1]->Update();
  EXPECT_EQ(UpdateError(*r.mux), "Mux1: Inputs[i].Input.Complex <> Self.Complex!");
}

TEST(SignalMux, InputsMustBeAsLongAsTheFirst) {
  Rig r(3);
  r.in[2]->SetFrames(5);
  for (auto* s : r.in) s->Update();
  EXPECT_EQ(UpdateError(*r.mux), "Mux1: Inputs[i].Input.Length <> Self.Length!");
  r.in[2]->SetFrames(3);
  r.in[2]->Update();
  EXPECT_EQ(UpdateError(*r.mux), "Mux1: Inputs[i].Input.Length <> Self.Length!");
  r.in[2]->SetFrames(4);
  r.in[2]->Update();
  ASSERT_TRUE(r.mux->Update());
  EXPECT_EQ(r.mux->Length(), 12);
}

TEST(SignalMux, WithoutInputsItIsEmpty) {
  TSignalMux mux(nullptr);
  EXPECT_EQ(mux.ChannelCount(), 0);
  EXPECT_TRUE(mux.Update());
  EXPECT_EQ(mux.Length(), 0);
  // Without a collection at all the channel count is 0 and the data are left alone.
  mux.SetMultiChannel(false);
  mux.SetUsesInputs(false);
  mux.Data().SetLength(3);
  EXPECT_EQ(mux.ChannelCount(), 0);
  EXPECT_TRUE(mux.Update());
  EXPECT_EQ(mux.Length(), 3);
}

TEST(SignalMux, DemuxRecoversEachInputAcrossBlocks) {
  Rig r(3, 16);
  TSignalDemux demux(nullptr);
  demux.SetInput(r.mux);
  for (int block = 0; block < 4; ++block)
    for (int ch = 0; ch < 3; ++ch) {
      demux.SetChannel(ch);
      ASSERT_TRUE(demux.Pull());
      EXPECT_EQ(test::Samples(demux), test::Samples(*r.in[std::size_t(ch)])) << block << " " << ch;
      EXPECT_DOUBLE_EQ(demux.SamplingFrequency(), 500);
    }
  // Every pull updated each source once.
  for (auto* s : r.in) EXPECT_EQ(s->Updates(), 12);
}

TEST(SignalMux, SteadyStateBlocksAllocateNothing) {
  Rig r(4, 256);
  for (auto* s : r.in) s->SetMakeComplex(true);
  r.mux->SetComplex(true);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(r.mux->Pull());
  test::AllocationScope scope;
  for (int i = 0; i < 10; ++i) r.mux->Pull();
  EXPECT_EQ(scope.Count(), 0u);
  EXPECT_EQ(r.mux->Data().CValues(4 * 255 + 3), r.in[3]->Data().CValues(255));
}

TEST(SignalMux, SavedTreeKeepsTheInputsWiring) {
  RegisterSignalBufferClasses();
  test::RegisterRampSource();
  Rig r(2, 8);
  r.mux->SetComplex(true);
  for (auto* s : r.in) s->SetMakeComplex(true);
  ASSERT_TRUE(r.mux->Pull());
  const std::string text = SaveComponentTreeToString(r.root);

  TComponent back(nullptr);
  back.SetName("Form");
  LoadComponentTreeFromString(back, text);
  auto* mux = dynamic_cast<TSignalMux*>(back.FindComponent("Mux1"));
  ASSERT_NE(mux, nullptr);
  ASSERT_EQ(mux->Inputs()->Count(), 2);
  EXPECT_EQ(mux->Inputs()->Items(1)->Input(), back.FindComponent("In1"));
  EXPECT_TRUE(mux->Complex());
  EXPECT_EQ(test::Samples(*mux), test::Samples(*r.mux));
  // The loaded sources are plain ramps again (MakeComplex is not published): a real pull fails.
  try {
    mux->Pull();
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "Mux1: Inputs[i].Input.Complex <> Self.Complex!");
  }
}

}  // namespace
}  // namespace sigflow
