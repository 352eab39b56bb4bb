#include "sigflow/core/VarnComponent.h"

#include <cstring>

#include "PropertyJson.h"

namespace sigflow {

namespace {
constexpr char kSettingsTag[] = "SFS1";
constexpr char kTemplateTag[] = "SFT1";
}  // namespace

const TPropertyTable& TVarnComponent::ClassProperties() {
  static const TPropertyTable table(&TComponent::ClassProperties(), {});
  return table;
}

bool TVarnComponent::IsCompatible(const TPersistent* Source) const {
  if (!Source) return false;
  const TPropertyTable* mine = &Properties();
  for (const TPropertyTable* t = &Source->Properties(); t; t = t->Parent())
    if (t == mine) return true;
  return false;
}

std::vector<const TPropInfo*> TVarnComponent::SettingsProperties() const {
  std::vector<const TPropInfo*> props;
  for (const TPropInfo* p : Properties().All())
    if (p->Kind != pkComponent) props.push_back(p);
  return props;
}

std::vector<const TPropInfo*> TVarnComponent::TemplateProperties() const { return SettingsProperties(); }

void TVarnComponent::Assign(TPersistent* Source) {
  if (Source == this) return;
  if (!IsCompatible(Source)) {
    TComponent::Assign(Source);
    return;
  }
  CopyProperties(Properties().All(), *Source, *this);
}

void TVarnComponent::AssignTemplate(TPersistent* Source) {
  if (Source == this) return;
  if (!IsCompatible(Source)) AssignError(Source);
  CopyProperties(TemplateProperties(), *Source, *this);
}

void TVarnComponent::WriteSettings(TStream& Stream, const char* Tag, const std::vector<const TPropInfo*>& Props) {
  detail::TWriteScope scope;
  scope.OnlyStored = false;
  scope.References = false;
  scope.OwnDefined = false;
  scope.Only = &Props;
  const std::string text = detail::WriteObject(*this, scope, ClassName()).dump();
  Stream.WriteBuffer(Tag, 4);
  Stream.WriteShortString(ClassName());
  Stream.WriteValue<std::uint32_t>(static_cast<std::uint32_t>(text.size()));
  Stream.WriteBuffer(text.data(), static_cast<std::int64_t>(text.size()));
}

void TVarnComponent::ReadSettings(TStream& Stream, const char* Tag, const std::vector<const TPropInfo*>& Props,
                                  bool Template) {
  const std::string what = Template ? "a component template" : "component settings";
  char tag[4];
  std::string cls;
  try {
    Stream.ReadBuffer(tag, 4);
    if (std::memcmp(tag, Tag, 4) != 0) throw EReadError("");
    cls = Stream.ReadShortString();
  } catch (const EReadError&) {
    throw EReadError("Stream does not hold " + what);
  }
  if (cls != ClassName())
    throw EReadError(std::string(Template ? "Template" : "Settings") + " of " + cls + " cannot be loaded into a " +
                     ClassName());
  const auto size = Stream.ReadValue<std::uint32_t>();
  std::string text(size, '\0');
  Stream.ReadBuffer(text.data(), size);
  const detail::Json node = detail::ParseJson(text);
  detail::TReadScope scope;
  scope.References = false;
  scope.OwnDefined = false;
  scope.Only = &Props;
  const detail::TObjectPlan plan = detail::PlanObject(node, Properties(), this, scope, ClassName());
  std::vector<detail::TRefFixup> fixups;
  detail::ApplyPlan(*this, plan, fixups);
}

void TVarnComponent::SaveToStream(TStream& Stream) { WriteSettings(Stream, kSettingsTag, SettingsProperties()); }

void TVarnComponent::LoadFromStream(TStream& Stream) { ReadSettings(Stream, kSettingsTag, SettingsProperties(), false); }

void TVarnComponent::SaveTemplateToStream(TStream& Stream) { WriteSettings(Stream, kTemplateTag, TemplateProperties()); }

void TVarnComponent::LoadTemplateFromStream(TStream& Stream) {
  ReadSettings(Stream, kTemplateTag, TemplateProperties(), true);
}

void TVarnComponent::SaveToFile(const std::string& FileName) {
  TFileStream file(FileName, fmCreate);
  SaveToStream(file);
}

void TVarnComponent::LoadFromFile(const std::string& FileName) {
  TFileStream file(FileName, fmOpenRead | fmShareDenyWrite);
  LoadFromStream(file);
}

void TVarnComponent::SaveTemplateToFile(const std::string& FileName) {
  TFileStream file(FileName, fmCreate);
  SaveTemplateToStream(file);
}

void TVarnComponent::LoadTemplateFromFile(const std::string& FileName) {
  TFileStream file(FileName, fmOpenRead | fmShareDenyWrite);
  LoadTemplateFromStream(file);
}

}  // namespace sigflow
