#include "sigflow/analysis/SpectrumCZT.h"

#include <algorithm>

#include "sigflow/numeric/Czt.h"

namespace sigflow {

const TPropertyTable& TSpectrumCZT::ClassProperties() {
  static const TPropertyTable table(&TPersistent::ClassProperties(), {
      Property("StartFrequency", &TSpectrumCZT::StartFrequency, &TSpectrumCZT::SetStartFrequency, 0.0),
      Property("FrequencyStep", &TSpectrumCZT::FrequencyStep, &TSpectrumCZT::SetFrequencyStep, 0.0078125),
      Property("StopFrequency", &TSpectrumCZT::StopFrequency, &TSpectrumCZT::SetStopFrequency, 0.5),
      Property("StartRadius", &TSpectrumCZT::StartRadius, &TSpectrumCZT::SetStartRadius, 1.0),
      Property("StopRadius", &TSpectrumCZT::StopRadius, &TSpectrumCZT::SetStopRadius, 1.0),
  });
  return table;
}

void TSpectrumCZT::SetStartFrequency(double Value) {
  startFrequency_ = Value;
  if (stopFrequency_ < Value) stopFrequency_ = Value;
}

void TSpectrumCZT::SetFrequencyStep(double Value) { frequencyStep_ = std::max(Value, 0.0); }

void TSpectrumCZT::SetStopFrequency(double Value) {
  stopFrequency_ = Value;
  if (Value < startFrequency_) startFrequency_ = Value;
}

void TSpectrumCZT::SetStartRadius(double Value) { startRadius_ = std::max(Value, 0.0); }

int TSpectrumCZT::Points() const { return CztZoomPoints(startFrequency_, stopFrequency_, frequencyStep_); }

void TSpectrumCZT::Assign(TPersistent* Source) {
  auto* src = dynamic_cast<TSpectrumCZT*>(Source);
  if (src == nullptr) {
    TPersistent::Assign(Source);
    return;
  }
  startFrequency_ = src->startFrequency_;
  frequencyStep_ = src->frequencyStep_;
  stopFrequency_ = src->stopFrequency_;
  startRadius_ = src->startRadius_;
  stopRadius_ = src->stopRadius_;
}

}  // namespace sigflow
