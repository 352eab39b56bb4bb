#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sigflow/core/Component.h"
#include "support/message.h"
#include "test_components.h"

using namespace sigflow;
using namespace sigflow::test;

namespace {

// Records destruction order and the notifications it receives.
class TProbe : public TComponent {
public:
  TProbe(TComponent* AOwner, std::string Label, std::vector<std::string>* Log)
      : TComponent(AOwner), label_(std::move(Label)), log_(Log) {}
  ~TProbe() override {
    if (log_) log_->push_back("~" + label_);
  }
  TComponent* Ref = nullptr;  // a wired reference, cleared on removal
  int Removals = 0;

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    if (Operation == opRemove && AComponent == Ref) {
      Ref = nullptr;
      ++Removals;
    }
    TComponent::Notification(AComponent, Operation);
  }

private:
  std::string label_;
  std::vector<std::string>* log_;
};

}  // namespace

TEST(ComponentOwnership, OwnerFreesChildrenLastCreatedFirst) {
  std::vector<std::string> log;
  auto* owner = new TProbe(nullptr, "owner", &log);
  new TProbe(owner, "a", &log);
  auto* b = new TProbe(owner, "b", &log);
  new TProbe(b, "b1", &log);
  new TProbe(owner, "c", &log);
  ASSERT_EQ(owner->ComponentCount(), 3);
  EXPECT_EQ(b->Owner(), owner);
  delete owner;
  EXPECT_EQ(log, (std::vector<std::string>{"~owner", "~c", "~b", "~b1", "~a"}));
}

TEST(ComponentOwnership, DeletingAChildFirstTakesItOutOfItsOwner) {
  std::vector<std::string> log;
  {
    TProbe owner(nullptr, "owner", &log);
    auto* a = new TProbe(&owner, "a", &log);
    auto* b = new TProbe(&owner, "b", &log);
    delete a;
    ASSERT_EQ(owner.ComponentCount(), 1);
    EXPECT_EQ(owner.Components(0), b);
    EXPECT_EQ(b->ComponentIndex(), 0);
  }
  // Each destructor ran exactly once: no double free of a.
  EXPECT_EQ(log, (std::vector<std::string>{"~a", "~owner", "~b"}));
}

TEST(ComponentOwnership, InsertComponentMovesOwnership) {
  TBox first(nullptr), second(nullptr);
  auto* c = new TBox(&first);
  c->SetName("Moved");
  second.InsertComponent(c);
  EXPECT_EQ(first.ComponentCount(), 0);
  EXPECT_EQ(second.FindComponent("moved"), c);
  EXPECT_EQ(c->Owner(), &second);
  EXPECT_EQ(MessageOf<EListError>([&] { second.Components(1); }), "List index out of bounds (1)");
}

TEST(ComponentNotification, ReferenceClearedWhenTargetDiesFirstUnlessRemoved) {
  for (bool removed : {false, true}) {
    TProbe user(nullptr, "user", nullptr);
    auto* source = new TProbe(nullptr, "source", nullptr);
    user.Ref = source;
    source->FreeNotification(&user);
    if (removed) source->RemoveFreeNotification(&user);
    delete source;
    EXPECT_EQ(user.Removals, removed ? 0 : 1);
    EXPECT_EQ(user.Ref == nullptr, !removed);
    user.Ref = nullptr;
  }
}

TEST(ComponentNotification, ReferenceClearedWhenHolderDiesFirst) {
  // Wired both ways; the holder dies first, then the target must not call back into it.
  auto* user = new TProbe(nullptr, "user", nullptr);
  TProbe source(nullptr, "source", nullptr);
  user->Ref = &source;
  source.Ref = user;
  source.FreeNotification(user);
  delete user;
  EXPECT_EQ(source.Ref, nullptr);
  EXPECT_EQ(source.Removals, 1);
}

TEST(ComponentNotification, OwnerTellsSiblingsOfARemovedComponent) {
  TBox form(nullptr);
  auto* user = new TProbe(&form, "user", nullptr);
  auto* source = new TProbe(&form, "source", nullptr);
  user->Ref = source;  // no FreeNotification: the owner passes the removal on
  delete source;
  EXPECT_EQ(user->Ref, nullptr);
}

TEST(ComponentNotification, WiredSiblingsDieWithTheirOwnerInEitherOrder) {
  // a refers to b (created later, destroyed first) and b to a; ASan catches a stale call.
  auto* form = new TBox(nullptr);
  auto* a = new TGen(form);
  auto* b = new TGen(form);
  a->SetInput(b);
  b->SetInput(a);
  delete form;
  SUCCEED();
}

TEST(ComponentNaming, RejectsInvalidAndDuplicateNames) {
  TBox form(nullptr);
  auto* a = new TBox(&form);
  auto* b = new TBox(&form);
  a->SetName("Filter1");
  EXPECT_EQ(MessageOf<EComponentError>([&] { b->SetName("FILTER1"); }), "A component named FILTER1 already exists");
  for (const std::string bad : {"1abc", "a b", "x-y", " "}) {
    EXPECT_EQ(MessageOf<EComponentError>([&] { b->SetName(bad); }), "'" + bad + "' is not a valid component name");
  }
  EXPECT_EQ(b->Name(), "");
  a->SetName("filter1");  // a change of case only is allowed
  EXPECT_EQ(a->Name(), "filter1");
  b->SetName("_x9");
  EXPECT_EQ(form.FindComponent("_X9"), b);
  // Moving a component into an owner that has its name is refused too.
  TBox other(nullptr);
  auto* clash = new TBox(&other);
  clash->SetName("Filter1");
  EXPECT_THROW(form.InsertComponent(clash), EComponentError);
  EXPECT_EQ(clash->Owner(), &other);
}

TEST(ComponentState, DestroyingIsSetWhileChildrenGo) {
  bool ownerDestroying = false;
  struct TWatcher : TComponent {
    bool* Seen;
    TWatcher(TComponent* o, bool* s) : TComponent(o), Seen(s) {}
    ~TWatcher() override { *Seen = Owner() && Owner()->ComponentState().Contains(csDestroying); }
  };
  auto* owner = new TBox(nullptr);
  new TWatcher(owner, &ownerDestroying);
  EXPECT_FALSE(owner->ComponentState().Contains(csDestroying));
  delete owner;
  EXPECT_TRUE(ownerDestroying);
}

TEST(ComponentState, FlagSetOperations) {
  TComponentState s{csLoading, csDesigning};
  EXPECT_TRUE(s.Contains(csLoading));
  EXPECT_FALSE(s.Contains(csDestroying));
  s.Exclude(csLoading);
  EXPECT_EQ(s, TComponentState{csDesigning});
  EXPECT_EQ((s + TComponentState{csLoading}).Bits(), (1u << csLoading) | (1u << csDesigning));
  EXPECT_TRUE((s * TComponentState{csLoading}).Empty());
}

TEST(Persistent, DefaultAssignRaisesConvertError) {
  TBox box(nullptr);
  TStringList list;
  EXPECT_EQ(MessageOf<EConvertError>([&] { box.Assign(&list); }), "Cannot assign a TStringList to a TBox");
  EXPECT_EQ(MessageOf<EConvertError>([&] { box.Assign(nullptr); }), "Cannot assign a nil to a TBox");
}
