#include "sigflow/core/Component.h"

#include <algorithm>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {
char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }
bool IdentStart(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_'; }
bool IdentChar(char c) { return IdentStart(c) || (c >= '0' && c <= '9'); }
}  // namespace

bool SameText(const std::string& A, const std::string& B) {
  if (A.size() != B.size()) return false;
  for (std::size_t i = 0; i < A.size(); ++i)
    if (LowerAscii(A[i]) != LowerAscii(B[i])) return false;
  return true;
}

bool IsValidIdent(const std::string& Name) {
  if (Name.empty()) return true;
  if (!IdentStart(Name[0])) return false;
  return std::all_of(Name.begin() + 1, Name.end(), IdentChar);
}

TComponent::TComponent(TComponent* AOwner) {
  if (AOwner) AOwner->InsertComponent(this);
}

TComponent::~TComponent() {
  Destroying();
  // Both directions are dropped before the call, so the survivor may freely call back.
  while (!freeNotifies_.empty()) {
    TComponent* other = freeNotifies_.back();
    freeNotifies_.pop_back();
    other->DropFreeNotify(this);
    other->Notification(this, opRemove);
  }
  DestroyComponents();
  if (owner_) owner_->RemoveComponent(this);
}

TComponent* TComponent::Components(int Index) const {
  if (Index < 0 || Index >= ComponentCount())
    throw EListError("List index out of bounds (" + std::to_string(Index) + ")");
  return components_[static_cast<std::size_t>(Index)];
}

int TComponent::ComponentIndex() const {
  if (!owner_) return -1;
  const auto& list = owner_->components_;
  return static_cast<int>(std::find(list.begin(), list.end(), this) - list.begin());
}

TComponent* TComponent::FindComponent(const std::string& Name) const {
  if (Name.empty()) return nullptr;
  for (TComponent* c : components_)
    if (SameText(c->name_, Name)) return c;
  return nullptr;
}

void TComponent::SetName(const std::string& NewName) {
  if (NewName == name_) return;
  if (!IsValidIdent(NewName)) throw EComponentError("'" + NewName + "' is not a valid component name");
  if (owner_) owner_->ValidateRename(this, name_, NewName);
  name_ = NewName;
}

void TComponent::ValidateRename(TComponent* AComponent, const std::string& CurName, const std::string& NewName) const {
  if (NewName.empty() || SameText(CurName, NewName)) return;
  TComponent* other = FindComponent(NewName);
  if (other && other != AComponent) throw EComponentError("A component named " + NewName + " already exists");
}

void TComponent::SetDesigning(bool Value) {
  if (Value) state_.Include(csDesigning);
  else state_.Exclude(csDesigning);
}

void TComponent::SetSubComponent(bool Value) {
  if (Value) state_.Include(csSubComponent);
  else state_.Exclude(csSubComponent);
}

void TComponent::SetLoading(bool Value) {
  if (Value) state_.Include(csLoading);
  else state_.Exclude(csLoading);
}

void TComponent::InsertComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->owner_ == this) return;
  ValidateRename(AComponent, "", AComponent->name_);
  if (AComponent->owner_) AComponent->owner_->RemoveComponent(AComponent);
  Insert(AComponent);
  Notification(AComponent, opInsert);
}

void TComponent::RemoveComponent(TComponent* AComponent) {
  if (!AComponent || AComponent->owner_ != this) return;
  Notification(AComponent, opRemove);
  Remove(AComponent);
}

void TComponent::Insert(TComponent* AComponent) {
  components_.push_back(AComponent);
  AComponent->owner_ = this;
}

void TComponent::Remove(TComponent* AComponent) {
  auto it = std::find(components_.begin(), components_.end(), AComponent);
  if (it != components_.end()) components_.erase(it);
  AComponent->owner_ = nullptr;
}

void TComponent::DestroyComponents() {
  // Each child takes itself out of the list (and tells its siblings) as it goes.
  while (!components_.empty()) delete components_.back();
}

void TComponent::FreeNotification(TComponent* AComponent) {
  if (!AComponent || AComponent == this) return;
  if (std::find(freeNotifies_.begin(), freeNotifies_.end(), AComponent) == freeNotifies_.end())
    freeNotifies_.push_back(AComponent);
  auto& theirs = AComponent->freeNotifies_;
  if (std::find(theirs.begin(), theirs.end(), this) == theirs.end()) theirs.push_back(this);
}

void TComponent::RemoveFreeNotification(TComponent* AComponent) {
  if (!AComponent) return;
  DropFreeNotify(AComponent);
  AComponent->DropFreeNotify(this);
}

void TComponent::DropFreeNotify(TComponent* AComponent) {
  auto it = std::find(freeNotifies_.begin(), freeNotifies_.end(), AComponent);
  if (it != freeNotifies_.end()) freeNotifies_.erase(it);
}

void TComponent::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent) RemoveFreeNotification(AComponent);
  // A handler may free components: walk down by index and recheck the bound.
  for (std::size_t i = components_.size(); i-- > 0;) {
    if (i < components_.size()) components_[i]->Notification(AComponent, Operation);
  }
}

}  // namespace sigflow
