#pragma once
// TSpectrumCZT: the zoom range of the chirp-z method of TSpectrumAnalyzer. Frequencies are on
// the input's axis. The setters neither mark the analyzer dirty nor recompute: the values are
// read at the next update.
//   StartFrequency  raising it above StopFrequency raises StopFrequency with it
//   StopFrequency   lowering it below StartFrequency lowers StartFrequency with it
//   FrequencyStep   max(value, 0); a zero step gives an empty zoom
//   StartRadius     max(value, 0)
//   StopRadius      stored as given
#include <string>

#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

class TSpectrumAnalyzer;

class TSpectrumCZT : public TPersistent {
public:
  explicit TSpectrumCZT(TSpectrumAnalyzer* AOwner) : owner_(AOwner) {}

  std::string ClassName() const override { return "TSpectrumCZT"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TSpectrumAnalyzer* Owner() const { return owner_; }

  double StartFrequency() const { return startFrequency_; }
  void SetStartFrequency(double Value);
  double FrequencyStep() const { return frequencyStep_; }
  void SetFrequencyStep(double Value);
  double StopFrequency() const { return stopFrequency_; }
  void SetStopFrequency(double Value);
  double StartRadius() const { return startRadius_; }
  void SetStartRadius(double Value);
  double StopRadius() const { return stopRadius_; }
  void SetStopRadius(double Value) { stopRadius_ = Value; }

  // Number of zoom points the next update computes (0 for an empty range or a zero step).
  int Points() const;

  void Assign(TPersistent* Source) override;

private:
  TSpectrumAnalyzer* owner_;
  double startFrequency_ = 0;
  double frequencyStep_ = 0.0078125;
  double stopFrequency_ = 0.5;
  double startRadius_ = 1.0;
  double stopRadius_ = 1.0;
};

}  // namespace sigflow
