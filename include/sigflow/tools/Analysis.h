#pragma once
// TAnalysis: the base of every processing component. It holds the wiring (Input, or the
// Inputs collection when MultiChannel) and the update protocol:
//
//   Update       recompute now: check inputs (when UsesInputs), OnBeforeUpdate,
//                BeforeInternalUpdate, InternalUpdate, OnAfterUpdate, OnDisplayUpdate (only
//                while EditorActive), OnNotifyUpdate (unless SuspendNotifyUpdate), clear Dirty.
//                Any sigflow::Exception escaping these steps is raised again as
//                Exception(Name() + ": " + message), so a failure deep in a chain arrives
//                prefixed once by every component whose Update it passed through.
//   Pull         clear Dirty, MakeDirty, InternalPull: the sources are updated first, each at
//                most once per pull.
//   MakeDirty    mark this and, when Continuous, its inputs; stops at components already dirty.
//   InternalPull nothing when not Dirty or not Active; Update alone when not Continuous;
//                otherwise pull the inputs and update when all of them succeeded.
//
// A descendant computes in InternalUpdate (true: a result was produced; false: nothing more)
// and adopts its input's shape in BeforeInternalUpdate; it never updates its inputs itself.
// Wiring loops are not allowed: InternalPull would recurse without end.
#include <string>

#include "sigflow/core/Object.h"
#include "sigflow/core/Properties.h"
#include "sigflow/core/VarnComponent.h"

namespace sigflow {

class TSignal;
class TSignalCollection;

class TAnalysis : public TVarnComponent {
public:
  explicit TAnalysis(TComponent* AOwner);
  ~TAnalysis() override;

  std::string ClassName() const override { return "TAnalysis"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // Recomputes unconditionally (ignores Active and Dirty, never pulls inputs). Returns the
  // result of InternalUpdate.
  bool Update() override;
  // Brings this component and, where Continuous, its upstream chain up to date. False when a
  // stage of the chain produced nothing.
  virtual bool Pull();
  virtual void MakeDirty();
  // Pulls until a pull returns false; returns that false.
  virtual bool PullUntilEnd();
  // Parameters were changed by Sender: InternalParamUpdate(Sender), then OnParameterUpdate(Sender).
  void ParamUpdate(TObject* Sender);
  // Fires OnNotifyUpdate(this) regardless of SuspendNotifyUpdate.
  virtual void UpdateNotify();

  // Raises "MultiChannel <> TAnalysis(Source).MultiChannel!" when Source is a TAnalysis of
  // the other MultiChannel kind; otherwise copies the published settings. Wiring that is not
  // published is not copied.
  void Assign(TPersistent* Source) override;

  bool Dirty() const { return dirty_; }
  void SetDirty(bool Value) { dirty_ = Value; }
  bool Active() const { return active_; }
  virtual void SetActive(bool Value) { active_ = Value; }
  bool Continuous() const { return continuous_; }
  virtual void SetContinuous(bool Value) { continuous_ = Value; }
  bool UsesInputs() const { return usesInputs_; }
  virtual void SetUsesInputs(bool Value) { usesInputs_ = Value; }
  bool SuspendNotifyUpdate() const { return suspendNotifyUpdate_; }
  void SetSuspendNotifyUpdate(bool Value) { suspendNotifyUpdate_ = Value; }

  bool MultiChannel() const { return multiChannel_; }
  // True creates an owned Inputs collection, False frees it; Input is left alone.
  virtual void SetMultiChannel(bool Value);

  TSignal* Input() const { return input_; }
  // Ignored while BlockAssign. Registers this component for the input's removal.
  virtual void SetInput(TSignal* Value);
  // Null unless MultiChannel.
  TSignalCollection* Inputs() const { return inputs_; }
  // Copies Value's items into the existing Inputs (never replaces the collection). Ignored
  // while BlockAssign or without an Inputs collection.
  virtual void SetInputs(TSignalCollection* Value);

  const TNotifyEvent& OnAfterUpdate() const { return onAfterUpdate_; }
  virtual void SetOnAfterUpdate(TNotifyEvent Value) { onAfterUpdate_ = std::move(Value); }
  const TNotifyEvent& OnBeforeUpdate() const { return onBeforeUpdate_; }
  virtual void SetOnBeforeUpdate(TNotifyEvent Value) { onBeforeUpdate_ = std::move(Value); }
  const TNotifyEvent& OnParameterUpdate() const { return onParameterUpdate_; }
  virtual void SetOnParameterUpdate(TNotifyEvent Value) { onParameterUpdate_ = std::move(Value); }
  const TNotifyEvent& OnNotifyUpdate() const { return onNotifyUpdate_; }
  virtual void SetOnNotifyUpdate(TNotifyEvent Value) { onNotifyUpdate_ = std::move(Value); }
  const TNotifyEvent& OnDisplayUpdate() const { return onDisplayUpdate_; }
  virtual void SetOnDisplayUpdate(TNotifyEvent Value) { onDisplayUpdate_ = std::move(Value); }

protected:
  virtual bool InternalPull();
  // The computation; true when a result was produced. TAnalysis returns true.
  virtual bool InternalUpdate();
  virtual void InternalParamUpdate(TObject* Sender);
  virtual void BeforeInternalUpdate();

  void Notification(TComponent* AComponent, TOperation Operation) override;

  // Pulls another stage of the chain (InternalPull is protected per object).
  static bool PullStage(TAnalysis* Stage) { return Stage->InternalPull(); }

private:
  void CheckInputs() const;

  bool dirty_ = true;
  TNotifyEvent onAfterUpdate_;
  TNotifyEvent onBeforeUpdate_;
  TNotifyEvent onParameterUpdate_;
  bool multiChannel_ = false;
  TSignal* input_ = nullptr;
  TSignalCollection* inputs_ = nullptr;
  bool usesInputs_ = true;
  bool active_ = true;
  TNotifyEvent onNotifyUpdate_;
  bool continuous_ = true;
  TNotifyEvent onDisplayUpdate_;
  bool suspendNotifyUpdate_ = false;
};

}  // namespace sigflow
