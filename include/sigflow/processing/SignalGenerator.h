#pragma once
// TSignalGenerator: produces a signal block by block from a formula (see docs/generator.md).
//
// The selected template of Sounds is a list of up to 21 lines in postfix order. Each template
// line has a slot of its own, made once in the constructor with its vector and the storage of
// its waveform state; Prepare copies the template into the slots, Compute evaluates the stack
// of active slots in place and copies the result to Data. Evaluation errors never escape
// Compute: they leave their text in ComputeMessage and a zeroed Data.
#include <array>
#include <functional>
#include <memory>
#include <string>

#include "sigflow/processing/FuncSignalList.h"
#include "sigflow/processing/SignalSounds.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

// Sender, LineIndex.
using TOnResync = std::function<void(TObject* Sender, int LineIndex)>;

inline constexpr int MaxFuncStack = 21;
// SampleIndex of a line is set to 0 instead of advancing once it reaches this.
inline constexpr std::int32_t SampleIndexWrap = 2100000001;

class TSignalGenerator : public TSignal {
public:
  explicit TSignalGenerator(TComponent* AOwner);
  ~TSignalGenerator() override;

  std::string ClassName() const override { return "TSignalGenerator"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  std::string EditorClass() const override { return "TSignalGenForm"; }

  TSignalSounds* Sounds() const { return sounds_.get(); }
  // Copies the store and selection of Value (null does nothing).
  void SetSounds(TSignalSounds* Value);
  // The lines of the selected formula (Sounds' working copy).
  TFuncSignalList* Template() const { return sounds_->Template(); }

  TPhaseUnits PhaseUnits() const { return phaseUnits_; }
  void SetPhaseUnits(TPhaseUnits Value) { phaseUnits_ = Value; }
  const TOnResync& OnResync() const { return onResync_; }
  void SetOnResync(TOnResync Value) { onResync_ = std::move(Value); }
  bool Prepared() const { return prepared_; }
  void SetPrepared(bool Value) { prepared_ = Value; }
  const std::string& ComputeMessage() const { return computeMessage_; }
  void SetComputeMessage(const std::string& Value) { computeMessage_ = Value; }

  // Slot LineIndex (0..20): the working copy of template line LineIndex.
  TFuncSignalRecord& Slots(int LineIndex);
  // The evaluation stack (references to slots).
  const TFuncSignalList& Stack() const { return stack_; }

  // Restarts line LineIndex at the next block; raises "(TemplateLineIndex-1) >
  // Template.Count" only when LineIndex - 1 exceeds the line count.
  void ResyncFunction(int LineIndex);
  void ResyncAll();

  void ResetStack();
  void Prepare();
  void PartialUpdate(int LineIndex);
  void InitFunc(TFuncSignalRecord& Line);
  void ResetFuncs(TFuncSignalRecord& Line);
  void FillValues(TFuncSignalRecord& Line);
  void Compute();

  // The inherited settings followed by the templates (TStreamTemplates image).
  void SaveToStream(TStream& Stream) override;
  void LoadFromStream(TStream& Stream) override;

protected:
  bool InternalUpdate() override;
  void InternalParamUpdate(TObject* Sender) override;

private:
  std::unique_ptr<TSignalSounds> sounds_;
  TFuncSignalList stack_{false};
  std::array<TFuncSignalRecord, MaxFuncStack> slots_;
  std::array<std::unique_ptr<TVec>, MaxFuncStack> vectors_;
  std::array<std::unique_ptr<TFuncState>, MaxFuncStack> states_;
  bool prepared_ = false;
  int preparedLength_ = -1;
  double preparedFs_ = 0;
  std::string computeMessage_;
  TPhaseUnits phaseUnits_ = puDeg;
  TOnResync onResync_;
};

}  // namespace sigflow
