// Update protocol: order of updates in chains, dirty marking, inactive and non-continuous
// stages, exception prefixes, wiring and notification.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "sigflow/Core.h"
#include "sigflow/SignalTools.h"
#include "support/message.h"

namespace sigflow {
namespace {

// A stage that logs its updates and returns a chosen result.
class TStage : public TSignal {
public:
  TStage(TComponent* owner, std::vector<std::string>* log) : TSignal(owner), log_(log) {}
  bool result = true;
  int updates = 0;
  int paramUpdates = 0;
  TObject* paramSender = nullptr;

protected:
  bool InternalUpdate() override {
    ++updates;
    if (log_) log_->push_back(Name());
    return result;
  }
  void InternalParamUpdate(TObject* Sender) override {
    ++paramUpdates;
    paramSender = Sender;
  }

private:
  std::vector<std::string>* log_;
};

struct Chain : ::testing::Test {
  TComponent root{nullptr};
  std::vector<std::string> log;
  TStage* Make(const std::string& name, TSignal* input) {
    auto* s = new TStage(&root, &log);
    s->SetName(name);
    s->SetInput(input);
    return s;
  }
  TStage* Source(const std::string& name) {
    TStage* s = Make(name, nullptr);
    s->SetUsesInputs(false);
    return s;
  }
  TStage* Multi(const std::string& name, std::initializer_list<TSignal*> inputs) {
    TStage* s = Make(name, nullptr);
    s->SetMultiChannel(true);
    for (TSignal* in : inputs) s->Inputs()->Add()->SetInput(in);
    return s;
  }
  // Source A feeding B feeding C.
  std::array<TStage*, 3> Line() {
    TStage* a = Source("A");
    TStage* b = Make("B", a);
    return {a, b, Make("C", b)};
  }
};

using Log = std::vector<std::string>;
using test::MessageOf;

TEST_F(Chain, PullUpdatesSourcesFirstOncePerPull) {
  auto [a, b, c] = Line();
  EXPECT_TRUE(c->Pull());
  EXPECT_EQ(log, (Log{"A", "B", "C"}));
  EXPECT_FALSE(a->Dirty() || b->Dirty() || c->Dirty());
  log.clear();
  EXPECT_TRUE(c->Pull());  // recomputes even when nothing is dirty
  EXPECT_EQ(log, (Log{"A", "B", "C"}));
  // A shared input is updated once per pull.
  TStage* d = Multi("D", {b, Make("E", a)});
  log.clear();
  EXPECT_TRUE(d->Pull());
  EXPECT_EQ(log, (Log{"A", "B", "E", "D"}));
}

TEST_F(Chain, InactiveStageKeepsResultAndDownstreamStillUpdates) {
  auto [a, b, c] = Line();
  b->Data().SetVal(7);
  b->SetActive(false);
  EXPECT_TRUE(c->Pull());
  EXPECT_EQ(log, (Log{"C"}));
  EXPECT_EQ(b->Data().Values(0), 7);
  // A Pull on the inactive stage itself returns true and fires nothing.
  int events = 0;
  b->SetOnAfterUpdate([&](TObject*) { ++events; });
  b->SetOnBeforeUpdate([&](TObject*) { ++events; });
  log.clear();
  EXPECT_TRUE(b->Pull());
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(events, 0);
}

TEST_F(Chain, NonContinuousStageIsMarkedButDoesNotPull) {
  auto [a, b, c] = Line();
  b->SetContinuous(false);
  a->SetDirty(false);
  b->SetDirty(false);
  EXPECT_TRUE(c->Pull());
  EXPECT_EQ(log, (Log{"B", "C"}));
  EXPECT_FALSE(a->Dirty());
}

TEST_F(Chain, FalseFromASourceStopsTheChain) {
  auto [a, b, c] = Line();
  a->result = false;
  EXPECT_FALSE(c->Pull());
  // A updated (and reported nothing); B and C were not updated.
  EXPECT_EQ(log, (Log{"A"}));
  EXPECT_TRUE(b->Dirty());
  // B stayed dirty, so the next pull's MakeDirty stops at B and A is not pulled: B and C
  // update from A's old result; the pull after that reaches A again, which ends PullUntilEnd.
  log.clear();
  EXPECT_FALSE(c->PullUntilEnd());
  EXPECT_EQ(log, (Log{"B", "C", "A"}));
}

TEST_F(Chain, MultiChannelPullsEveryInputEvenAfterAFailure) {
  TStage* a = Source("A");
  a->result = false;
  EXPECT_FALSE(Multi("D", {a, Source("B")})->Pull());
  EXPECT_EQ(log, (Log{"A", "B"}));
}

TEST_F(Chain, MakeDirtyEndsOnLoops) {
  TStage* a = Make("A", nullptr);
  TStage* b = Make("B", a);
  a->SetInput(b);
  a->SetDirty(false);
  b->SetDirty(false);
  b->MakeDirty();
  EXPECT_TRUE(a->Dirty());
  EXPECT_TRUE(b->Dirty());
}

TEST_F(Chain, ExceptionPrefixesNameOncePerUpdate) {
  TStage* a = Make("A", nullptr);
  TStage* b = Make("B", a);
  TStage* c = Make("C", b);
  // Only Update prefixes: A's missing input reaches the caller of C.Pull with A's name only.
  EXPECT_EQ(MessageOf([&] { c->Pull(); }), "A: Input = nil!");
  EXPECT_EQ(MessageOf([&] { a->Update(); }), "A: Input = nil!");
  EXPECT_TRUE(c->Dirty());
  EXPECT_TRUE(log.empty());
  // An OnAfterUpdate handler of B that updates A: the failure passes through A's and B's Update.
  b->SetOnAfterUpdate([&](TObject*) { a->Update(); });
  EXPECT_EQ(MessageOf([&] { b->Update(); }), "B: A: Input = nil!");
  EXPECT_TRUE(b->Dirty());
  // The exception leaves B without OnNotifyUpdate having run.
  int notified = 0;
  b->SetOnNotifyUpdate([&](TObject*) { ++notified; });
  EXPECT_ANY_THROW(b->Update());
  EXPECT_EQ(notified, 0);
}

TEST_F(Chain, MissingInputMessages) {
  TStage* s = Make("SignalRead1", nullptr);
  EXPECT_EQ(MessageOf([&] { s->Update(); }), "SignalRead1: Input = nil!");
  s->SetUsesInputs(false);
  EXPECT_TRUE(s->Update());
  s->result = false;
  EXPECT_FALSE(s->Update());
  s->SetUsesInputs(true);
  s->SetMultiChannel(true);
  s->result = true;
  EXPECT_TRUE(s->Update());  // empty Inputs: nothing to complain about
  TStage* a = Make("A", nullptr);
  s->Inputs()->Add()->SetInput(a);
  s->Inputs()->Add()->SetInput(a);
  s->Inputs()->Add();
  s->Inputs()->Add();
  EXPECT_EQ(MessageOf([&] { s->Update(); }), "SignalRead1: Inputs[2] = nil!");
}

TEST_F(Chain, EventsFireInOrderAndNotifyRespectsSuspension) {
  TStage* a = Source("A");
  a->SetOnBeforeUpdate([&](TObject* s) { log.push_back("before:" + static_cast<TComponent*>(s)->Name()); });
  a->SetOnAfterUpdate([&](TObject*) { log.push_back("after"); });
  a->SetOnDisplayUpdate([&](TObject*) { log.push_back("display"); });
  a->SetOnNotifyUpdate([&](TObject*) { log.push_back("notify"); });
  a->Update();
  EXPECT_EQ(log, (Log{"before:A", "A", "after", "notify"}));
  log.clear();
  a->SetEditorActive(true);
  a->SetSuspendNotifyUpdate(true);
  a->Update();
  EXPECT_EQ(log, (Log{"before:A", "A", "after", "display"}));
  log.clear();
  a->UpdateNotify();
  EXPECT_EQ(log, (Log{"notify"}));
}

TEST_F(Chain, ParamUpdatePassesTheSender) {
  TStage* a = Make("A", nullptr);
  TComponent form(nullptr);
  TObject* got = nullptr;
  a->SetOnParameterUpdate([&](TObject* s) { got = s; });
  a->ParamUpdate(&form);
  EXPECT_EQ(a->paramUpdates, 1);
  EXPECT_EQ(a->paramSender, &form);
  EXPECT_EQ(got, &form);
}

TEST_F(Chain, DestroyingAnInputClearsInputAndItems) {
  TStage* a = Make("A", nullptr);
  TStage* other = Make("O", nullptr);
  TStage* b = Make("B", a);
  TStage* d = Multi("D", {a, other, a});
  // An unowned consumer learns of it through FreeNotification alone.
  TStage lone(nullptr, nullptr);
  lone.SetInput(a);
  delete a;
  EXPECT_EQ(b->Input(), nullptr);
  EXPECT_EQ(lone.Input(), nullptr);
  std::vector<TSignal*> items;
  for (int i = 0; i < 3; ++i) items.push_back(d->Inputs()->Items(i)->Input());
  EXPECT_EQ(items, (std::vector<TSignal*>{nullptr, other, nullptr}));
}

TEST_F(Chain, BlockAssignFreezesWiring) {
  TStage* a = Make("A", nullptr);
  TStage* b = Make("B", nullptr);
  b->SetBlockAssign(true);
  b->SetInput(a);
  EXPECT_EQ(b->Input(), nullptr);
  b->SetBlockAssign(false);
  b->SetInput(a);
  EXPECT_EQ(b->Input(), a);
  // Notification clears the input even under BlockAssign.
  b->SetBlockAssign(true);
  delete a;
  EXPECT_EQ(b->Input(), nullptr);
}

TEST_F(Chain, MultiChannelOwnsInputsAndAssignChecksIt) {
  TStage* a = Make("A", nullptr);
  TStage* b = Make("B", a);
  b->SetMultiChannel(true);
  ASSERT_NE(b->Inputs(), nullptr);
  EXPECT_EQ(b->Input(), a);  // left as it was
  b->Inputs()->Add()->SetInput(a);
  TStage* c = Make("C", nullptr);
  EXPECT_EQ(MessageOf([&] { c->Assign(b); }), "MultiChannel <> TAnalysis(Source).MultiChannel!");
  c->SetMultiChannel(true);
  c->SetInputs(b->Inputs());
  ASSERT_EQ(c->Inputs()->Count(), 1);
  EXPECT_EQ(c->Inputs()->Items(0)->Input(), a);
  b->SetActive(false);
  c->Assign(b);
  EXPECT_FALSE(c->Active());
  b->SetMultiChannel(false);
  EXPECT_EQ(b->Inputs(), nullptr);
}

}  // namespace
}  // namespace sigflow
