#include <gtest/gtest.h>

#include <memory>

#include "template_support.h"

namespace sigflow::test {
namespace {

void Put(TStringStreamList& l, int i, const std::string& s) {
  TMemoryStream m;
  Fill(m, Bytes(s.begin(), s.end()));
  l.SetStreams(i, m);
}

// Appends entries (name, content).
void AddAll(TStringStreamList& l, std::initializer_list<std::pair<const char*, std::string>> entries) {
  for (const auto& [name, content] : entries) {
    l.Add(name);
    if (!content.empty()) Put(l, l.Count() - 1, content);
  }
}

std::string Content(const TStringStreamList& l, int i) {
  const Bytes b = StreamBytes(*l.Streams(i));
  return std::string(b.begin(), b.end());
}

using Strs = std::vector<std::string>;

using Named = std::pair<std::string, Strs>;

// Names and contents of every entry.
Named Entries(const TStringStreamList& l) {
  Strs c;
  for (int i = 0; i < l.Count(); ++i) c.push_back(Content(l, i));
  return {l.Text(), c};
}

TEST(StringStreamList, EveryEntryOwnsItsOwnStream) {
  TStringStreamList l;
  l.Add("a");
  l.Insert(0, "b");
  l.AddObject("c", nullptr);
  ASSERT_EQ(l.Count(), 3);
  EXPECT_NE(l.Streams(0), nullptr);
  EXPECT_NE(l.Streams(0), l.Streams(1));
  EXPECT_NE(l.Streams(1), l.Streams(2));
  EXPECT_EQ(l.Text(), "b\r\na\r\nc\r\n");
  Put(l, 1, "xyz");
  l.Delete(0);
  EXPECT_EQ(Content(l, 0), "xyz");
  EXPECT_THROW(l.Streams(2), EStringListError);
  l.Clear();
  EXPECT_EQ(l.Count(), 0);
}

TEST(StringStreamList, ObjectsAreCopiedIntoTheEntryStreams) {
  TStringStreamList l;
  l.Add("a");
  TMemoryStream src;
  Fill(src, {1, 2, 3});
  src.SetPosition(2);
  l.SetObject(0, &src);
  EXPECT_EQ(StreamBytes(*l.Streams(0)), (Bytes{1, 2, 3}));
  EXPECT_EQ(l.Streams(0)->Position(), 0);
  l.SetObject(0, nullptr);
  EXPECT_EQ(l.Streams(0)->Size(), 0);
  TStringList other;
  EXPECT_THROW(l.SetObject(0, &other), ENoOperation);

  TStringList plain;
  plain.Add("p");
  plain.AddObject("q", &src);
  l.Assign(&plain);
  ASSERT_EQ(l.Count(), 2);
  EXPECT_EQ(l.Streams(0)->Size(), 0);
  EXPECT_EQ(StreamBytes(*l.Streams(1)), (Bytes{1, 2, 3}));
}

TEST(StringStreamList, ImageIsLengthTextThenSizedBlocks) {
  TStringStreamList l;
  AddAll(l, {{"One", "ab"}, {"", ""}, {"Three", "c"}});
  TMemoryStream s;
  l.SaveToStream(s);
  const Bytes expected = TImage().I32(14).Str("One\r\n\r\nThree\r\n").I32(2).Str("ab").I32(0).I32(1).Str("c").b;
  EXPECT_EQ(StreamBytes(s), expected);

  TStringStreamList back;
  back.Add("old");
  s.SetPosition(0);
  back.LoadFromStream(s);
  EXPECT_EQ(Entries(back), Named("One\r\n\r\nThree\r\n", Strs{"ab", "", "c"}));
  EXPECT_EQ(s.Position(), s.Size());
}

TEST(StringStreamList, LoadFiresOneChange) {
  TStringStreamList src;
  AddAll(src, {{"a", ""}, {"b", ""}});
  TMemoryStream s;
  src.SaveToStream(s);
  TStringStreamList l;
  int changes = 0;
  l.OnChange = [&](TObject*) { ++changes; };
  s.SetPosition(0);
  l.LoadFromStream(s);
  EXPECT_EQ(changes, 1);
  EXPECT_EQ(l.UpdateCount(), 0);
  TMemoryStream bad;
  Fill(bad, TImage().I32(99).b);
  EXPECT_THROW(l.LoadFromStream(bad), EReadError);
  EXPECT_EQ(l.UpdateCount(), 0);
}

TEST(StringStreamList, AppendKeepsDuplicatesAndCopiesContents) {
  TStringStreamList a, b;
  AddAll(a, {{"x", "1"}});
  AddAll(b, {{"x", "22"}, {"y", "333"}});
  b.Streams(1)->SetPosition(3);
  a.AppendFromList(b);
  EXPECT_EQ(Entries(a), Named("x\r\nx\r\ny\r\n", Strs{"1", "22", "333"}));
  EXPECT_NE(a.Streams(2), b.Streams(1));
  a.AppendFromList(a);
  TMemoryStream s;
  b.SaveToStream(s);
  s.SetPosition(0);
  a.AppendFromStream(s);
  EXPECT_EQ(Entries(a).second, (Strs{"1", "22", "333", "1", "22", "333", "22", "333"}));
}

TEST(StringStreamList, AssignCopiesThroughTheImage) {
  TStringStreamList a, b;
  AddAll(a, {{"k", "data"}});
  b.Add("gone");
  b.Assign(&a);
  EXPECT_EQ(Entries(b), Named("k\r\n", Strs{"data"}));
  EXPECT_NE(b.Streams(0), a.Streams(0));
  b.Assign(&b);
  EXPECT_EQ(Entries(b), Named("k\r\n", Strs{"data"}));
}

// A component holding a store, for the JSON tree.
class TStoreHolder : public TComponent {
public:
  explicit TStoreHolder(TComponent* AOwner) : TComponent(AOwner) {}
  std::string ClassName() const override { return "TStoreHolder"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TComponent::ClassProperties(), {
        ObjectProperty("Store", &TStoreHolder::Store),
        Property("Gain", &TStoreHolder::Gain, &TStoreHolder::SetGain, 1.0),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  TStringStreamList* Store() const { return store_.get(); }
  double Gain() const { return gain_; }
  void SetGain(double v) { gain_ = v; }

private:
  std::unique_ptr<TStringStreamList> store_ = std::make_unique<TStringStreamList>();
  double gain_ = 1;
};
const bool registered = RegisterComponentClass<TStoreHolder>("TStoreHolder");

TEST(StringStreamListTree, JsonRoundTripIsByteIdentical) {
  ASSERT_TRUE(registered);
  TStoreHolder root(nullptr);
  root.SetName("Form1");
  auto* holder = new TStoreHolder(&root);
  holder->SetName("Bands");
  AddAll(*holder->Store(), {{"first", std::string("\x00\xff\x10", 3)}, {"second", ""}, {"third", "zz"}});
  const std::string text = SaveComponentTreeToString(root);
  EXPECT_NE(text.find("\"Strings\": \"first\\r\\nsecond\\r\\nthird\\r\\n\""), std::string::npos) << text;

  TStoreHolder copy(nullptr);
  LoadComponentTreeFromString(copy, text);
  ASSERT_EQ(copy.ComponentCount(), 1);
  auto* loaded = dynamic_cast<TStoreHolder*>(copy.Components(0));
  ASSERT_NE(loaded, nullptr);
  EXPECT_EQ(Entries(*loaded->Store()), Named("first\r\nsecond\r\nthird\r\n", Strs{std::string("\x00\xff\x10", 3), "", "zz"}));
  EXPECT_EQ(SaveComponentTreeToString(copy), text);

  // An empty store is written too and empties a loaded one.
  holder->Store()->Clear();
  LoadComponentTreeFromString(copy, SaveComponentTreeToString(root));
  EXPECT_EQ(loaded->Store()->Count(), 0);
}

// A component with a template manager and its working copy.
class TBandHolder : public TComponent {
public:
  explicit TBandHolder(TComponent* AOwner) : TComponent(AOwner), bands_(this) { bands_.SetTemplate(&work_); }
  std::string ClassName() const override { return "TBandHolder"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TComponent::ClassProperties(), {
        ObjectProperty("Bands", &TBandHolder::Bands),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  TStreamTemplates* Bands() const { return const_cast<TStreamTemplates*>(&bands_); }
  TIntList& Work() { return work_; }

private:
  TIntList work_;
  TStreamTemplates bands_;
};

TEST(StringStreamListTree, TemplateSelectionSurvivesTheTree) {
  TBandHolder a(nullptr);
  a.Bands()->AddTemplate("Flat");
  a.Work().Append(3);
  a.Bands()->AddTemplate("Peak");
  a.Work().Append(9);
  a.Bands()->Consolidate();
  a.Bands()->SetTemplateIndex(1);
  const std::string text = SaveComponentTreeToString(a);

  TBandHolder b(nullptr);
  LoadComponentTreeFromString(b, text);
  EXPECT_EQ(b.Bands()->TemplateIndex(), 1);
  EXPECT_EQ(b.Bands()->TemplateName(), "Peak");
  EXPECT_EQ(b.Work().Values(), std::vector<std::int32_t>{9});
  EXPECT_EQ(SaveComponentTreeToString(b), text);

  // Read into a component that already shows another store at the same index.
  TBandHolder d(nullptr);
  d.Bands()->AddTemplate("Old0");
  d.Bands()->AddTemplate("Old1");
  d.Work().Append(-1);
  LoadComponentTreeFromString(d, text);
  EXPECT_EQ(d.Bands()->TemplateName(), "Peak");
  EXPECT_EQ(d.Work().Values(), std::vector<std::int32_t>{9});
  EXPECT_EQ(SaveComponentTreeToString(d), text);

  // A document that leaves the index at its default keeps d's index, shown from the new
  // store; the unsaved edit goes with the old store.
  a.Bands()->SetTemplateIndex(-1);
  d.Work().Append(77);
  LoadComponentTreeFromString(d, SaveComponentTreeToString(a));
  EXPECT_EQ(d.Bands()->TemplateIndex(), 1);
  EXPECT_EQ(d.Work().Values(), std::vector<std::int32_t>{9});
  EXPECT_EQ(d.Bands()->Templates()->Streams(1)->Size(), 8);

  // Unsaved edits of the working copy are part of what a tree save writes.
  TBandHolder e(nullptr);
  e.Bands()->AddTemplate("Edited");
  e.Work().Append(5);
  TBandHolder f(nullptr);
  LoadComponentTreeFromString(f, SaveComponentTreeToString(e));
  EXPECT_EQ(f.Work().Values(), std::vector<std::int32_t>{5});

  // Outside a tree load an index past the store stays unselected, even after a later load.
  TBandHolder c(nullptr);
  c.Bands()->SetTemplateIndex(1);
  TMemoryStream image;
  b.Bands()->SaveToStream(image);
  image.SetPosition(1 + 11 + 4);  // past tag "TBandHolder" and index: the store's image
  c.Bands()->Templates()->LoadFromStream(image);
  EXPECT_EQ(c.Bands()->TemplateIndex(), -1);
}

TEST(StringStreamListTree, TruncatedBinaryDataFails) {
  TStoreHolder root(nullptr);
  AddAll(*root.Store(), {{"a", "abcdef"}});
  std::string text = SaveComponentTreeToString(root);
  // Drop the tail of the block: 4-byte size 6 then only "ab" (base64 of 06 00 00 00 61 62).
  const auto at = text.find("\"StreamBinaryData\": \"");
  ASSERT_NE(at, std::string::npos);
  const auto start = at + 21;
  text.replace(start, text.find('"', start) - start, "BgAAAGFi");
  TStoreHolder other(nullptr);
  EXPECT_THROW(LoadComponentTreeFromString(other, text), EReadError);
}

TEST(StreamedList, ClearDeletesFromLastToFirst) {
  TIntList l;
  for (int v : {1, 2, 3}) l.Append(v);
  l.Clear();
  EXPECT_EQ(l.Deleted, (std::vector<int>{2, 1, 0}));
  EXPECT_EQ(l.Count(), 0);

  TIntRecord kept{5};
  l.Add(&kept);
  l.ClearPointers();
  EXPECT_EQ(l.Count(), 0);
  EXPECT_EQ(l.Deleted.size(), 3u);
  EXPECT_EQ(kept.Value, 5);

  TStreamedList base;
  int x = 0;
  base.Add(&x);
  TMemoryStream s;
  base.SaveToStream(s);
  EXPECT_EQ(s.Size(), 0);
  base.Clear();
  EXPECT_EQ(base.Count(), 0);
}

}  // namespace
}  // namespace sigflow::test
