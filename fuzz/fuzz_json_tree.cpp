// Loads arbitrary bytes as a component tree. Invariants checked beyond "no crash":
// a rejected document raises EReadError and leaves the tree exactly as it was; an accepted
// one saves to text that loads into a fresh tree and saves again to the same bytes.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "sigflow/Core.h"

using namespace sigflow;

namespace {

enum TMode : std::uint8_t { mdA, mdB, mdC };
enum TFlag : std::uint8_t { flX, flY };

const TEnumInfo& ModeInfo() {
  static const TEnumInfo info("TMode", {"mdA", "mdB", "mdC"});
  return info;
}
const TEnumInfo& FlagInfo() {
  static const TEnumInfo info("TFlag", {"flX", "flY"});
  return info;
}

class TItem : public TCollectionItem {
public:
  explicit TItem(TCollection* c) : TCollectionItem(c) {}
  std::string ClassName() const override { return "TItem"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
        Property("Value", &TItem::Value, &TItem::SetValue, 0.0),
        Property("Label", &TItem::Label, &TItem::SetLabel, std::string()),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  double Value() const { return value_; }
  void SetValue(double v) { value_ = v; }
  std::string Label() const { return label_; }
  void SetLabel(const std::string& v) { label_ = v; }

private:
  double value_ = 0;
  std::string label_;
};

class TNode : public TVarnComponent {
public:
  explicit TNode(TComponent* o) : TVarnComponent(o), items_(TCollectionItemClass::Of<TItem>("TItem"), this) {}
  std::string ClassName() const override { return "TNode"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TVarnComponent::ClassProperties(), {
        Property("On", &TNode::On, &TNode::SetOn, true),
        Property("Count", &TNode::Count, &TNode::SetCount, 0),
        Property("Big", &TNode::Big, &TNode::SetBig),
        Property("Gain", &TNode::Gain, &TNode::SetGain, 1.0),
        Property("Text", &TNode::Text, &TNode::SetText, std::string()),
        EnumProperty("Mode", &TNode::Mode, &TNode::SetMode, ModeInfo(), mdA),
        SetProperty("Flags", &TNode::Flags, &TNode::SetFlags, FlagInfo(), TSet<TFlag>{}),
        ComponentProperty("Input", &TNode::Input, &TNode::SetInput, "TNode"),
        ObjectProperty("Items", &TNode::Items),
        ObjectProperty("Lines", &TNode::Lines),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  bool On() const { return on_; }
  void SetOn(bool v) { on_ = v; }
  std::int16_t Count() const { return count_; }
  void SetCount(std::int16_t v) { count_ = v; }
  std::int64_t Big() const { return big_; }
  void SetBig(std::int64_t v) { big_ = v; }
  double Gain() const { return gain_; }
  void SetGain(double v) { gain_ = v; }
  std::string Text() const { return text_; }
  void SetText(const std::string& v) { text_ = v; }
  TMode Mode() const { return mode_; }
  void SetMode(TMode v) { mode_ = v; }
  TSet<TFlag> Flags() const { return flags_; }
  void SetFlags(TSet<TFlag> v) { flags_ = v; }
  TNode* Input() const { return input_; }
  void SetInput(TNode* v) {
    input_ = v;
    if (v) v->FreeNotification(this);
  }
  TCollection* Items() const { return const_cast<TCollection*>(&items_); }
  TStringList* Lines() const { return const_cast<TStringList*>(&lines_); }

  void DefineProperties(TFiler& Filer) override {
    Filer.DefineBinaryProperty(
        "Blob",
        [this](TStream& s) {
          blob_.resize(static_cast<std::size_t>(s.Size()));
          s.ReadBuffer(blob_.data(), static_cast<std::int64_t>(blob_.size()));
        },
        [this](TStream& s) { s.WriteBuffer(blob_.data(), static_cast<std::int64_t>(blob_.size())); }, !blob_.empty());
  }

protected:
  void Notification(TComponent* c, TOperation op) override {
    if (op == opRemove && c == input_) input_ = nullptr;
    TVarnComponent::Notification(c, op);
  }

private:
  bool on_ = true;
  std::int16_t count_ = 0;
  std::int64_t big_ = 0;
  double gain_ = 1;
  std::string text_;
  TMode mode_ = mdA;
  TSet<TFlag> flags_;
  TNode* input_ = nullptr;
  TCollection items_;
  TStringList lines_;
  std::vector<std::uint8_t> blob_;
};

class TGroup : public TComponent {
public:
  explicit TGroup(TComponent* o) : TComponent(o) {}
  std::string ClassName() const override { return "TGroup"; }
};

void MakeTree(TGroup& root) {
  root.SetName("Root");
  auto* a = new TNode(&root);
  a->SetName("A");
  auto* g = new TGroup(&root);
  g->SetName("G");
  auto* b = new TNode(g);
  b->SetName("B");
  b->SetInput(a);
  a->SetInput(b);
  a->SetGain(0.5);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const bool registered = RegisterComponentClass<TNode>("TNode") && RegisterComponentClass<TGroup>("TGroup");
  (void)registered;
  const std::string text(reinterpret_cast<const char*>(data), size);

  TGroup root(nullptr);
  MakeTree(root);
  const std::string before = SaveComponentTreeToString(root);
  try {
    LoadComponentTreeFromString(root, text);
  } catch (const EReadError&) {
    if (SaveComponentTreeToString(root) != before) std::abort();  // a rejected document changed the tree
    return 0;
  }
  const std::string saved = SaveComponentTreeToString(root);
  TGroup fresh(nullptr);
  LoadComponentTreeFromString(fresh, saved);
  if (SaveComponentTreeToString(fresh) != saved) std::abort();  // the round trip is not stable
  return 0;
}
