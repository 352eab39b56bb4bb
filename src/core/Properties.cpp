#include "sigflow/core/Properties.h"

#include "sigflow/core/Component.h"

namespace sigflow {

const std::string& TEnumInfo::Name(std::int64_t Value) const {
  if (Value < 0 || Value >= Count())
    throw EPropertyError("Value " + std::to_string(Value) + " is out of the range of " + typeName_);
  return names_[static_cast<std::size_t>(Value)];
}

int TEnumInfo::ValueOf(std::string_view Name) const {
  for (std::size_t i = 0; i < names_.size(); ++i)
    if (names_[i] == Name) return static_cast<int>(i);
  return -1;
}

bool TPropInfo::IsStored(const TPersistent& Instance) const {
  if (Kind == pkObject) return true;
  if (!Default) return true;
  return Get(Instance) != *Default;
}

TPropertyTable::TPropertyTable(const TPropertyTable* Parent, std::vector<TPropInfo> Own)
    : parent_(Parent), own_(std::move(Own)) {}

const TPropInfo* TPropertyTable::Find(std::string_view Name) const {
  for (const TPropertyTable* t = this; t; t = t->parent_)
    for (const TPropInfo& p : t->own_)
      if (p.Name == Name) return &p;
  return nullptr;
}

std::vector<const TPropInfo*> TPropertyTable::All() const {
  std::vector<const TPropInfo*> all = parent_ ? parent_->All() : std::vector<const TPropInfo*>{};
  for (const TPropInfo& p : own_) {
    // A descendant may redeclare an inherited property (a new default): it takes the place.
    bool replaced = false;
    for (auto& q : all)
      if (q->Name == p.Name) {
        q = &p;
        replaced = true;
      }
    if (!replaced) all.push_back(&p);
  }
  return all;
}

namespace {
const TPropInfo& FindOrThrow(const TPersistent& Instance, std::string_view Name) {
  const TPropInfo* p = Instance.Properties().Find(Name);
  if (!p) throw EPropertyError("Unknown property " + std::string(Name) + " of " + Instance.ClassName());
  return *p;
}
}  // namespace

TPropValue GetPropValue(const TPersistent& Instance, std::string_view Name) {
  const TPropInfo& p = FindOrThrow(Instance, Name);
  if (p.Kind == pkObject) throw EPropertyError("Property " + p.Name + " is an object");
  return p.Get(Instance);
}

void SetPropValue(TPersistent& Instance, std::string_view Name, const TPropValue& Value) {
  const TPropInfo& p = FindOrThrow(Instance, Name);
  if (!p.Writable()) throw EPropertyError("Property " + p.Name + " is read-only");
  p.Set(Instance, Value);
}

void CopyProperties(const std::vector<const TPropInfo*>& Props, TPersistent& Source, TPersistent& Dest) {
  for (const TPropInfo* p : Props) {
    if (p->Kind == pkObject) {
      TPersistent* to = p->Object(Dest);
      TPersistent* from = p->Object(Source);
      if (to && from) to->Assign(from);
    } else if (p->Writable()) {
      p->Set(Dest, p->Get(Source));
    }
  }
}

}  // namespace sigflow
