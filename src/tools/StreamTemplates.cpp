#include "sigflow/tools/StreamTemplates.h"

#include <filesystem>
#include <functional>

#include "sigflow/core/Component.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

namespace {

// The tree loader sets TemplateIndex before it reads the store's blocks; the store reports
// when its blocks are in so that a selection made meanwhile can be carried out.
class TManagedStore : public TStringStreamList {
public:
  explicit TManagedStore(std::function<void()> AfterBlocks) : afterBlocks_(std::move(AfterBlocks)) {}
  void LoadBinaryStream(TStream& Stream) override {
    TStringStreamList::LoadBinaryStream(Stream);
    afterBlocks_();
  }

private:
  std::function<void()> afterBlocks_;
};

}  // namespace

TStreamTemplates::TStreamTemplates(TComponent* AOwner)
    : owner_(AOwner), templates_(std::make_unique<TManagedStore>([this] { SelectPending(); })) {}

bool TStreamTemplates::OwnerLoading() const {
  const auto* owner = dynamic_cast<const TComponent*>(owner_);
  return owner && owner->ComponentState().Contains(csLoading);
}

void TStreamTemplates::SelectPending() {
  if (!OwnerLoading()) {
    hasPending_ = false;
    return;
  }
  const int target = hasPending_ ? pending_ : index_;
  // The store was just replaced: what the working copy shows is not in it any more, so it is
  // dropped rather than saved back, and the selection is read from the new store.
  index_ = -1;
  name_.clear();
  if (template_) template_->Clear();
  SetTemplateIndex(target);
  hasPending_ = false;
}

TStreamTemplates::~TStreamTemplates() = default;

const TPropertyTable& TStreamTemplates::ClassProperties() {
  static const TPropertyTable table(&TPersistent::ClassProperties(), {
      ObjectProperty("Templates", &TStreamTemplates::Templates),
      Property("TemplateIndex", &TStreamTemplates::TemplateIndex, &TStreamTemplates::SetTemplateIndex, -1),
      Property("TemplateName", &TStreamTemplates::TemplateName, &TStreamTemplates::SetTemplateName, std::string()),
  });
  return table;
}

std::string TStreamTemplates::Tag() const { return owner_ ? owner_->ClassName() : ClassName(); }

void TStreamTemplates::SetTemplateIndex(int Value) {
  hasPending_ = OwnerLoading();
  pending_ = Value;
  if (Value == index_) return;
  const int count = templates_->Count();
  if (index_ >= 0 && index_ < count) {
    TMemoryStream* stream = templates_->Streams(index_);
    stream->Clear();
    if (template_) template_->SaveToStream(*stream);
    stream->SetPosition(0);
  }
  if (Value >= 0 && Value < count) {
    TMemoryStream* stream = templates_->Streams(Value);
    stream->SetPosition(0);
    try {
      if (template_) template_->LoadFromStream(*stream);
    } catch (...) {
      // A damaged entry leaves nothing selected rather than a half-loaded copy that would
      // be saved over the entry it did not come from.
      index_ = -1;
      name_.clear();
      stream->SetPosition(0);
      if (template_) template_->Clear();
      throw;
    }
    stream->SetPosition(0);
    name_ = templates_->Strings(Value);
    index_ = Value;
  } else {
    index_ = -1;
    if (template_) template_->Clear();
    name_.clear();
  }
}

void TStreamTemplates::SetTemplateName(const std::string& Value) {
  const int index = templates_->IndexOf(Value);
  if (index >= 0) SetTemplateIndex(index);
}

void TStreamTemplates::SetTemplates(TStringStreamList* Value) {
  (void)Value;
  throw Exception("Operation not supported!");
}

void TStreamTemplates::Consolidate() {
  const int index = index_;
  SetTemplateIndex(-1);
  SetTemplateIndex(index);
}

void TStreamTemplates::AddTemplate(const std::string& Name) {
  const int index = templates_->Add(Name);
  SetTemplateIndex(-1);
  TMemoryStream* stream = templates_->Streams(index);
  if (template_) template_->SaveToStream(*stream);
  stream->SetPosition(0);
  SetTemplateIndex(index);
}

void TStreamTemplates::AddCopyTemplate(const std::string& Name) {
  const int index = templates_->Add(Name);
  TMemoryStream* stream = templates_->Streams(index);
  if (template_) template_->SaveToStream(*stream);
  stream->SetPosition(0);
  SetTemplateIndex(index);
}

void TStreamTemplates::Clear() {
  SetTemplateIndex(-1);
  templates_->Clear();
  if (template_) template_->Clear();
}

void TStreamTemplates::Delete(int Index) {
  SetTemplateIndex(-1);
  templates_->Delete(Index);
}

void TStreamTemplates::Update() {
  if (template_) template_->Update();
}

void TStreamTemplates::SaveToStream(TStream& Stream) {
  Consolidate();
  Stream.WriteShortString(Tag());
  Stream.WriteValue<std::int32_t>(index_);
  templates_->SaveToStream(Stream);
}

void TStreamTemplates::LoadFromStream(TStream& Stream) {
  SetTemplateIndex(-1);
  const std::string tag = Stream.ReadShortString();
  if (tag != Tag()) throw EReadError("Data format type missmatch: " + tag + " <> " + ClassName());
  const std::int32_t index = Stream.ReadValue<std::int32_t>();
  templates_->LoadFromStream(Stream);
  SetTemplateIndex(index);
}

void TStreamTemplates::SaveToFile(const std::string& FileName) {
  TFileStream file(FileName, fmCreate);
  SaveToStream(file);
  file.Flush();
}

void TStreamTemplates::LoadFromFile(const std::string& FileName) {
  std::error_code error;
  if (!std::filesystem::exists(FileName, error)) return;
  TFileStream file(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(file);
}

void TStreamTemplates::Assign(TPersistent* Source) {
  if (auto* source = dynamic_cast<TStreamTemplates*>(Source)) {
    if (source == this) return;
    templates_->Assign(source->Templates());
    SetTemplateIndex(source->TemplateIndex());
    return;
  }
  TPersistent::Assign(Source);
}

}  // namespace sigflow
