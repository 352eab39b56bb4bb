// Component lists and input collections.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sigflow/Core.h"
#include "sigflow/SignalTools.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::MessageOf;

class TCounted : public TSignal {
public:
  TCounted(TComponent* owner, std::vector<int>* log, int id, bool* alive = nullptr)
      : TSignal(owner), log_(log), id_(id), alive_(alive) {
    SetUsesInputs(false);
    if (alive_) *alive_ = true;
  }
  ~TCounted() override {
    if (alive_) *alive_ = false;
  }
  bool result = true;

protected:
  bool InternalUpdate() override {
    log_->push_back(id_);
    return result;
  }

private:
  std::vector<int>* log_;
  int id_;
  bool* alive_;
};

TEST(AnalysisList, UpdateAndPullStopAtTheFirstFalse) {
  TAnalysisList list(nullptr);
  EXPECT_TRUE(list.Update());
  std::vector<int> log;
  for (int i = 0; i < 3; ++i) list.Add(new TCounted(nullptr, &log, i));
  EXPECT_TRUE(list.Update());
  EXPECT_EQ(log, (std::vector<int>{0, 1, 2}));
  static_cast<TCounted*>(list.Item(1))->result = false;
  log.clear();
  EXPECT_FALSE(list.Update());
  EXPECT_EQ(log, (std::vector<int>{0, 1}));
  log.clear();
  EXPECT_FALSE(list.Pull());
  EXPECT_EQ(log, (std::vector<int>{0, 1}));
  list.Item(2)->SetDirty(false);
  list.MakeDirty();
  EXPECT_TRUE(list.Item(2)->Dirty());
}

TEST(AnalysisList, CountDeleteAndOwnership) {
  TAnalysisList list(nullptr);
  list.SetCount(2);  // AddItem of the base returns nil
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Item(0), nullptr);
  EXPECT_EQ(MessageOf([&] { list.Delete(2); }), "Index >= AList.Count");
  EXPECT_THROW(list.Delete(-1), EListError);
  list.SetCount(0);
  EXPECT_EQ(list.Count(), 0);

  std::vector<int> log;
  bool alive[3];
  for (int i = 0; i < 3; ++i) list.Add(new TCounted(nullptr, &log, i, &alive[i]));
  list.SetCount(1);
  EXPECT_TRUE(alive[0] && !alive[1] && !alive[2]);
  list.Clear();
  EXPECT_FALSE(alive[0]);
  EXPECT_EQ(list.Count(), 0);
}

TEST(SignalList, ItemsAreSignalsOwnedByTheList) {
  TSignalList list(nullptr);
  list.SetCount(3);
  ASSERT_EQ(list.Count(), 3);
  EXPECT_EQ(list.Items(2)->ClassName(), "TSignal");
  EXPECT_EQ(list.Items(2)->Owner(), &list);
  EXPECT_EQ(list.ComponentCount(), 3);
  list.Delete(0);
  EXPECT_EQ(list.ComponentCount(), 2);
  // SetBlockAssign reaches the items, not the list.
  list.SetBlockAssign(true);
  EXPECT_TRUE(list.Items(0)->BlockAssign());
  EXPECT_FALSE(list.BlockAssign());
  list.SetBlockAssign(false);
  // Propagate: templates only, or every setting with PropagateInputs.
  list.Items(0)->SetLength(4);
  list.Items(0)->SetValues(2, 9);
  list.Items(0)->SetActive(false);
  list.Propagate();
  EXPECT_EQ(list.Items(1)->Length(), 4);
  EXPECT_FALSE(list.Items(1)->Active());
  EXPECT_EQ(list.Items(1)->Values(2), 0);
  list.SetPropagateInputs(true);
  list.Propagate();
  EXPECT_EQ(list.Items(1)->Values(2), 9);
  // Replacing an item frees the old one.
  auto* fresh = new TSignal(nullptr);
  list.SetItems(1, fresh);
  EXPECT_EQ(list.Items(1), fresh);
  EXPECT_EQ(list.ComponentCount(), 1);
}

TEST(SignalList, SettingsStreamCarriesItems) {
  TSignalList a(nullptr);
  a.SetCount(2);
  a.Items(1)->SetSamplingFrequency(8000);
  TMemoryStream m;
  a.SaveToStream(m);
  TSignalList b(nullptr);
  b.SetCount(2);
  m.SetPosition(0);
  b.LoadFromStream(m);
  EXPECT_EQ(b.Items(1)->SamplingFrequency(), 8000);
  EXPECT_EQ(b.Items(0)->SamplingFrequency(), 1);
}

TEST(SignalCollection, HandlersReachItemsAndInputs) {
  TComponent owner(nullptr);
  TSignalCollection c(&owner);
  TSignalItem* before = c.Add();
  std::vector<TObject*> senders;
  c.SetOnSetInput([&](TObject* s) { senders.push_back(s); });
  EXPECT_TRUE(static_cast<bool>(before->OnSetInput()));  // copied to existing items
  TSignalItem* after = c.Add();
  EXPECT_TRUE(static_cast<bool>(after->OnSetInput()));  // and given to new ones
  TSignal in(nullptr);
  in.SetUsesInputs(false);
  after->SetInput(&in);
  in.Update();
  ASSERT_EQ(senders.size(), 1u);
  EXPECT_EQ(senders[0], &in);
  // The same input in two items: clearing one clears the input's event for both.
  before->SetInput(&in);
  before->SetInput(nullptr);
  EXPECT_FALSE(static_cast<bool>(in.OnNotifyUpdate()));
  in.Update();
  EXPECT_EQ(senders.size(), 1u);
  // Reset forgets without touching the event.
  after->SetInput(&in);
  after->Reset();
  EXPECT_EQ(after->Input(), nullptr);
  EXPECT_TRUE(static_cast<bool>(in.OnNotifyUpdate()));
  after->SetInput(nullptr);
}

TEST(SignalCollection, ConsumerGoneInputStopsNotifying) {
  TSignal in(nullptr);
  in.SetUsesInputs(false);
  int calls = 0;
  {
    TSignal consumer(nullptr);
    consumer.SetMultiChannel(true);
    consumer.Inputs()->SetOnSetInput([&](TObject*) { ++calls; });
    consumer.Inputs()->Add()->SetInput(&in);
    in.Update();
    EXPECT_EQ(calls, 1);
    consumer.SetMultiChannel(false);  // frees the items
    EXPECT_FALSE(static_cast<bool>(in.OnNotifyUpdate()));
    consumer.SetMultiChannel(true);
    consumer.Inputs()->SetOnSetInput([&](TObject*) { ++calls; });
    consumer.Inputs()->Add()->SetInput(&in);
  }
  EXPECT_FALSE(static_cast<bool>(in.OnNotifyUpdate()));
  in.Update();
  EXPECT_EQ(calls, 1);
}

TEST(SignalCollection, ItemsNeedTheirCollection) {
  EXPECT_EQ(MessageOf([] { TSignalItem item(nullptr); }), "Collection = nil!");
  TComponent owner(nullptr);
  TSpectrumCollection other(&owner);
  EXPECT_EQ(MessageOf([&] { TSignalItem item(&other); }), "Collection = nil!");
  TSignalCollection mine(&owner);
  EXPECT_EQ(MessageOf([&] { TSpectrumItem item(&mine); }), "Collection = nil!");
  TSignalItem* it = mine.Add();
  TSignal dummy(nullptr);
  EXPECT_THROW(it->Assign(&dummy), EConvertError);
  EXPECT_THROW(it->Assign(nullptr), EConvertError);
}

TEST(SpectrumCollection, KeepsItsDifferences) {
  TComponent owner(nullptr);
  TSpectrumCollection c(&owner);
  TSpectrumItem* before = c.Add();
  int calls = 0;
  c.SetOnSetInput([&](TObject*) { ++calls; });
  EXPECT_FALSE(static_cast<bool>(before->OnSetInput()));
  TSpectrumItem* after = c.Add();
  EXPECT_FALSE(static_cast<bool>(after->OnSetInput()));
  // SetInput still installs the collection's handler on the input.
  TSpectrum in(nullptr);
  in.SetUsesInputs(false);
  after->SetInput(&in);
  in.Update();
  EXPECT_EQ(calls, 1);
  after->SetInput(nullptr);
  EXPECT_FALSE(static_cast<bool>(in.OnNotifyUpdate()));
}

}  // namespace
}  // namespace sigflow
