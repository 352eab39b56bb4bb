#pragma once
// TComponent: an object with an owner, a Name and removal notification.
//
// A component created with an owner is created with `new` and freed by its owner, last created
// first; `delete` frees it earlier and takes it out of its owner. A component that keeps a
// pointer to another one calls Other->FreeNotification(this): whichever of the two is
// destroyed first calls Notification(It, opRemove) on the other, so the survivor can clear its
// pointer. Owners also pass every insertion and removal of their components down to all the
// components they own.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/core/Persistent.h"
#include "sigflow/core/Sets.h"

namespace sigflow {

enum TOperation : std::uint8_t { opInsert, opRemove };

// csSubComponent: part of its owner's implementation (created by the owner's constructor);
// the tree writer leaves it out, the owner persists it (e.g. as an ObjectProperty).
enum TComponentStateFlag : std::uint8_t { csLoading, csReading, csWriting, csDestroying, csDesigning, csSubComponent };
using TComponentState = TSet<TComponentStateFlag>;

class TComponent : public TPersistent {
public:
  explicit TComponent(TComponent* AOwner);
  ~TComponent() override;
  TComponent(const TComponent&) = delete;
  TComponent& operator=(const TComponent&) = delete;

  std::string ClassName() const override { return "TComponent"; }

  TComponent* Owner() const { return owner_; }
  int ComponentCount() const { return static_cast<int>(components_.size()); }
  // Throws EListError "List index out of bounds (i)" outside 0..ComponentCount()-1.
  TComponent* Components(int Index) const;
  // Position in the owner's list; -1 without owner.
  int ComponentIndex() const;
  // Owned component of that Name (ASCII case-insensitive), or null.
  TComponent* FindComponent(const std::string& Name) const;

  const std::string& Name() const { return name_; }
  // Empty, or an identifier (letter or '_' first, then letters, digits, '_'), unique among the
  // owner's components regardless of ASCII case. Raises EComponentError
  // "'X' is not a valid component name" / "A component named X already exists".
  virtual void SetName(const std::string& NewName);

  TComponentState ComponentState() const { return state_; }
  void SetDesigning(bool Value);
  void SetSubComponent(bool Value);

  // Moves ownership: AComponent leaves its present owner and joins this one.
  void InsertComponent(TComponent* AComponent);
  void RemoveComponent(TComponent* AComponent);
  // Frees all owned components, last created first.
  void DestroyComponents();

  // AComponent will get Notification(this, opRemove) when this is destroyed, and this will
  // get Notification(AComponent, opRemove) when AComponent is destroyed first.
  void FreeNotification(TComponent* AComponent);
  void RemoveFreeNotification(TComponent* AComponent);

  // Called after the component (and the tree it belongs to) was read by the loader, with
  // csLoading already cleared.
  virtual void Loaded() {}
  void SetLoading(bool Value);

protected:
  // opRemove: AComponent is being destroyed or leaves the owner; clear every pointer to it.
  // Descendants call the inherited one last. The default passes the call to owned components.
  virtual void Notification(TComponent* AComponent, TOperation Operation);
  // Marks csDestroying. ~TComponent does it too; a destructor that must be seen as destroying
  // while its own members still live calls it first.
  void Destroying() { state_.Include(csDestroying); }
  TComponent* GetOwner() const { return owner_; }

private:
  void Insert(TComponent* AComponent);
  void Remove(TComponent* AComponent);
  void ValidateRename(TComponent* AComponent, const std::string& CurName, const std::string& NewName) const;
  void DropFreeNotify(TComponent* AComponent);

  TComponent* owner_ = nullptr;
  std::string name_;
  std::vector<TComponent*> components_;
  std::vector<TComponent*> freeNotifies_;
  TComponentState state_;
};

// Whether Name is a valid component name: empty or an identifier.
bool IsValidIdent(const std::string& Name);
// ASCII case-insensitive comparison, the rule for names and string lists.
bool SameText(const std::string& A, const std::string& B);

}  // namespace sigflow
