#include <gtest/gtest.h>

#include "sigflow/core/Collection.h"
#include "sigflow/core/Lists.h"
#include "sigflow/core/Streams.h"
#include "sigflow/core/Strings.h"
#include "support/message.h"
#include "test_components.h"

using namespace sigflow;
using namespace sigflow::test;

TEST(StringList, TextJoinsWithCrLfAndRoundTripsAnyLineBreak) {
  TStringList list;
  list.Add("alpha");
  list.Add("");
  list.Add("gamma delta");
  EXPECT_EQ(list.Text(), "alpha\r\n\r\ngamma delta\r\n");

  TStringList back;
  back.SetText(list.Text());
  EXPECT_EQ(back.Count(), 3);
  EXPECT_EQ(back.Text(), list.Text());

  // LF, CR LF and lone CR all end a line; a missing final break still ends the last one.
  back.SetText("a\nb\r\nc\rd");
  EXPECT_EQ(back.Text(), "a\r\nb\r\nc\r\nd\r\n");
  back.SetText("x\r\n\r\n");
  EXPECT_EQ(back.Count(), 2);
  back.SetText("");
  EXPECT_EQ(back.Count(), 0);
  EXPECT_EQ(back.Text(), "");

  // The stream form is the text form.
  list.SetText("one\ntwo");
  TMemoryStream stream;
  list.SaveToStream(stream);
  EXPECT_EQ(std::string(stream.Bytes().begin(), stream.Bytes().end()), "one\r\ntwo\r\n");
  stream.SetPosition(0);
  back.LoadFromStream(stream);
  EXPECT_EQ(back.Text(), "one\r\ntwo\r\n");
}

TEST(StringList, IndexOfIgnoresAsciiCaseOnly) {
  TStringList list;
  list.Add("Hanning");
  list.Add("KAISER");
  list.Add("Ä");
  EXPECT_EQ(list.IndexOf("hanning"), 0);
  EXPECT_EQ(list.IndexOf("kaiser"), 1);
  EXPECT_EQ(list.IndexOf("Kaiser "), -1);
  EXPECT_EQ(list.IndexOf("ä"), -1);  // not an ASCII letter
  EXPECT_EQ(list.IndexOf("Ä"), 2);
}

TEST(StringList, ObjectsTravelWithTheirStrings) {
  TStringList list;
  TObject a, b;
  list.AddObject("a", &a);
  list.Add("plain");
  list.InsertObject(0, "b", &b);
  EXPECT_EQ(list.Objects(0), &b);
  EXPECT_EQ(list.Objects(1), &a);
  EXPECT_EQ(list.Objects(2), nullptr);
  EXPECT_EQ(list.IndexOfObject(&a), 1);
  list.Delete(0);
  EXPECT_EQ(list.Objects(0), &a);
  TStringList copy;
  copy.Assign(&list);
  EXPECT_EQ(copy.Text(), "a\r\nplain\r\n");
  EXPECT_EQ(copy.Objects(0), &a);
  EXPECT_EQ(MessageOf<EStringListError>([&] { list.Strings(2); }), "List index out of bounds (2)");
}

TEST(StringList, OnChangeFiresOnceAtOutermostEndUpdate) {
  TStringList list;
  int changes = 0;
  list.OnChange = [&](TObject* sender) {
    EXPECT_EQ(sender, &list);
    ++changes;
  };
  list.Add("x");
  EXPECT_EQ(changes, 1);
  list.BeginUpdate();
  list.BeginUpdate();
  list.Add("y");
  list.SetString(0, "z");
  list.EndUpdate();
  EXPECT_EQ(changes, 1);
  list.EndUpdate();
  EXPECT_EQ(changes, 2);
  list.SetText("a\nb\nc");  // many changes inside, one event
  EXPECT_EQ(changes, 3);
  list.BeginUpdate();
  list.EndUpdate();  // nothing changed: no event
  EXPECT_EQ(changes, 3);
}

TEST(StringList, CommaTextQuotesWhereNeeded) {
  TStringList list;
  list.SetText("a\nb c\n\nsay \"hi\"");
  EXPECT_EQ(list.CommaText(), "a,\"b c\",\"\",\"say \"\"hi\"\"\"");
}

TEST(TypedList, AddInsertRemoveAndBounds) {
  TList<TObject> list;
  TObject a, b, c;
  list.Add(&a);
  list.Add(&c);
  list.Insert(1, &b);
  EXPECT_EQ(list.IndexOf(&b), 1);
  EXPECT_EQ(list.Remove(&a), 0);
  EXPECT_EQ(list.First(), &b);
  EXPECT_EQ(list.Last(), &c);
  list.Exchange(0, 1);
  EXPECT_EQ(list.Items(0), &c);
  list.Move(0, 1);
  EXPECT_EQ(list.Items(1), &c);
  list.SetCount(4);
  EXPECT_EQ(list.Items(3), nullptr);
  EXPECT_EQ(MessageOf<EListError>([&] { list.Items(4); }), "List index out of bounds (4)");
  EXPECT_THROW(list.Insert(6, &a), EListError);
}

TEST(TypedList, ObjectListFreesItsItems) {
  std::vector<int> freed;
  struct TItem {
    int Id;
    std::vector<int>* Log;
    ~TItem() { Log->push_back(Id); }
  };
  {
    TObjectList<TItem> list;
    for (int i = 0; i < 4; ++i) list.Add(new TItem{i, &freed});
    list.Delete(1);
    TItem* kept = list.Extract(0);
    EXPECT_EQ(kept->Id, 0);
    delete kept;
  }
  EXPECT_EQ(freed, (std::vector<int>{1, 0, 3, 2}));
}

namespace {
class TCountingCollection : public TCollection {
public:
  TCountingCollection() : TCollection(TCollectionItemClass::Of<TBandItem>("TBandItem")) {}
  int WholeUpdates = 0;
  int ItemUpdates = 0;

protected:
  void Update(TCollectionItem* Item) override { ++(Item ? ItemUpdates : WholeUpdates); }
};
}  // namespace

TEST(Collection, AddDeleteClearAndUpdateCalls) {
  TCountingCollection c;
  auto* a = static_cast<TBandItem*>(c.Add());
  auto* b = static_cast<TBandItem*>(c.Add());
  EXPECT_EQ(c.Count(), 2);
  EXPECT_EQ(c.WholeUpdates, 2);
  EXPECT_EQ(a->Collection(), &c);
  EXPECT_EQ(b->Index(), 1);
  EXPECT_NE(a->ID(), b->ID());

  c.BeginUpdate();
  c.Add();
  c.Add();
  c.Delete(0);
  EXPECT_EQ(c.WholeUpdates, 2);
  c.EndUpdate();
  EXPECT_EQ(c.WholeUpdates, 3);
  EXPECT_EQ(c.Items(0), b);

  delete b;  // an item freed directly leaves the collection
  EXPECT_EQ(c.Count(), 2);
  auto* inserted = c.Insert(0);
  EXPECT_EQ(inserted->Index(), 0);
  inserted->SetIndex(2);
  EXPECT_EQ(c.Items(2), inserted);
  c.Clear();
  EXPECT_EQ(c.Count(), 0);
  EXPECT_THROW(c.Items(0), EListError);
}

TEST(Collection, AssignCopiesItemsThroughTheirAssign) {
  TCountingCollection src, dst;
  for (int i = 0; i < 3; ++i) {
    auto* item = static_cast<TBandItem*>(src.Add());
    item->SetLow(i);
    item->SetHigh(10 + i);
  }
  dst.Add();
  const int before = dst.WholeUpdates;
  dst.Assign(&src);
  ASSERT_EQ(dst.Count(), 3);
  EXPECT_EQ(static_cast<TBandItem*>(dst.Items(2))->High(), 12.0);
  EXPECT_EQ(dst.WholeUpdates, before + 1);  // one update for the whole copy
  TStringList foreign;
  EXPECT_EQ(MessageOf<EConvertError>([&] { dst.Assign(&foreign); }), "Cannot assign a TStringList to a TCollection");
}
