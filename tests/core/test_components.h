#pragma once
// Small components used by the core tests: a generator-like component with one property of
// every kind, a descendant, an unrelated class, and a plain container.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/Core.h"

namespace sigflow::test {

enum TShape : std::uint8_t { shSine, shSquare, shTriangle };
enum TGenOption : std::uint8_t { goLog, goPhase, goClip };

inline const TEnumInfo& ShapeInfo() {
  static const TEnumInfo info("TShape", {"shSine", "shSquare", "shTriangle"});
  return info;
}
inline const TEnumInfo& GenOptionInfo() {
  static const TEnumInfo info("TGenOption", {"goLog", "goPhase", "goClip"});
  return info;
}

class TBandItem : public TCollectionItem {
public:
  explicit TBandItem(TCollection* Collection) : TCollectionItem(Collection) {}
  std::string ClassName() const override { return "TBandItem"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TCollectionItem::ClassProperties(), {
        Property("Low", &TBandItem::Low, &TBandItem::SetLow, 0.0),
        Property("High", &TBandItem::High, &TBandItem::SetHigh, 1.0),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  void Assign(TPersistent* Source) override {
    if (auto* s = dynamic_cast<TBandItem*>(Source)) {
      low_ = s->low_;
      high_ = s->high_;
      return;
    }
    TCollectionItem::Assign(Source);
  }
  double Low() const { return low_; }
  void SetLow(double v) { low_ = v; }
  double High() const { return high_; }
  void SetHigh(double v) { high_ = v; }

private:
  double low_ = 0, high_ = 1;
};

class TGen : public TVarnComponent {
public:
  explicit TGen(TComponent* AOwner) : TVarnComponent(AOwner), bands_(TCollectionItemClass::Of<TBandItem>("TBandItem"), this) {}
  std::string ClassName() const override { return "TGen"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TVarnComponent::ClassProperties(), {
        Property("Amplitude", &TGen::Amplitude, &TGen::SetAmplitude, 1.0),
        Property("Order", &TGen::Order, &TGen::SetOrder, 4),
        Property("Title", &TGen::Title, &TGen::SetTitle, std::string()),
        Property("Enabled", &TGen::Enabled, &TGen::SetEnabled, true),
        Property("Seed", &TGen::Seed, &TGen::SetSeed),
        EnumProperty("Shape", &TGen::Shape, &TGen::SetShape, ShapeInfo(), shSine),
        SetProperty("Options", &TGen::Options, &TGen::SetOptions, GenOptionInfo(), TSet<TGenOption>{}),
        ComponentProperty("Input", &TGen::Input, &TGen::SetInput, "TGen"),
        ObjectProperty("Bands", &TGen::Bands),
        ObjectProperty("Notes", &TGen::Notes),
        Property("Count", &TGen::Count, nullptr),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  double Amplitude() const { return amplitude_; }
  void SetAmplitude(double v) {
    if (ComponentState().Contains(csLoading)) LoadingSeenInSetter = true;
    amplitude_ = v;
  }
  int Order() const { return order_; }
  void SetOrder(int v) { order_ = v; }
  const std::string& Title() const { return title_; }
  void SetTitle(const std::string& v) { title_ = v; }
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool v) { enabled_ = v; }
  std::int64_t Seed() const { return seed_; }
  void SetSeed(std::int64_t v) { seed_ = v; }
  TShape Shape() const { return shape_; }
  void SetShape(TShape v) { shape_ = v; }
  TSet<TGenOption> Options() const { return options_; }
  void SetOptions(TSet<TGenOption> v) { options_ = v; }
  TGen* Input() const { return input_; }
  void SetInput(TGen* v) {
    if (BlockAssign() || v == input_) return;
    input_ = v;
    if (v) v->FreeNotification(this);
  }
  TCollection* Bands() const { return const_cast<TCollection*>(&bands_); }
  TStringList* Notes() const { return const_cast<TStringList*>(&notes_); }
  int Count() const { return static_cast<int>(Data.size()); }

  std::vector<std::uint8_t> Data;  // persisted as defined binary data "SampleData"
  int LoadedCalls = 0;
  bool LoadingSeenInSetter = false;

  void DefineProperties(TFiler& Filer) override {
    Filer.DefineBinaryProperty(
        "SampleData",
        [this](TStream& s) {
          Data.resize(static_cast<std::size_t>(s.Size()));
          s.ReadBuffer(Data.data(), static_cast<std::int64_t>(Data.size()));
        },
        [this](TStream& s) { s.WriteBuffer(Data.data(), static_cast<std::int64_t>(Data.size())); }, !Data.empty());
  }
  void Loaded() override { ++LoadedCalls; }

protected:
  void Notification(TComponent* AComponent, TOperation Operation) override {
    if (Operation == opRemove && AComponent == input_) input_ = nullptr;
    TVarnComponent::Notification(AComponent, Operation);
  }

private:
  double amplitude_ = 1.0;
  int order_ = 4;
  std::string title_;
  bool enabled_ = true;
  std::int64_t seed_ = 0;
  TShape shape_ = shSine;
  TSet<TGenOption> options_;
  TGen* input_ = nullptr;
  TCollection bands_;
  TStringList notes_;
};

class TGenPlus : public TGen {
public:
  explicit TGenPlus(TComponent* AOwner) : TGen(AOwner) {}
  std::string ClassName() const override { return "TGenPlus"; }
  static const TPropertyTable& ClassProperties() {
    static const TPropertyTable table(&TGen::ClassProperties(), {
        Property("Extra", &TGenPlus::Extra, &TGenPlus::SetExtra, 0.0),
    });
    return table;
  }
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  // Only the shape and the order make up a template of this class.
  std::vector<const TPropInfo*> TemplateProperties() const override {
    return {Properties().Find("Shape"), Properties().Find("Order")};
  }
  double Extra() const { return extra_; }
  void SetExtra(double v) { extra_ = v; }

private:
  double extra_ = 0;
};

class TOther : public TVarnComponent {
public:
  explicit TOther(TComponent* AOwner) : TVarnComponent(AOwner) {}
  std::string ClassName() const override { return "TOther"; }
};

class TBox : public TComponent {
public:
  explicit TBox(TComponent* AOwner) : TComponent(AOwner) {}
  std::string ClassName() const override { return "TBox"; }
};

inline void RegisterTestClasses() {
  RegisterComponentClass<TGen>("TGen");
  RegisterComponentClass<TGenPlus>("TGenPlus");
  RegisterComponentClass<TOther>("TOther");
  RegisterComponentClass<TBox>("TBox");
}

}  // namespace sigflow::test
