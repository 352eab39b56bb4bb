#include "sigflow/analysis/SpectrumPeakInterpolation.h"

namespace sigflow {

const TEnumInfo& InterpolationMethodInfo() {
  static const TEnumInfo info("TInterpolationMethod", {"imNone", "imNumeric", "imQuadratic", "imBarycentric",
                                                       "imQuinnFirst", "imQuinnSecond", "imJain"});
  return info;
}

const TEnumInfo& InterpolationPrecisionInfo() {
  static const TEnumInfo info("TInterpolationPrecision", {"ip2", "ip4", "ip6", "ip8"});
  return info;
}

TSpectrumPeakInterpolation::TSpectrumPeakInterpolation() { SetPrecision(ip6); }

const TPropertyTable& TSpectrumPeakInterpolation::ClassProperties() {
  static const TPropertyTable table(
      &TPersistent::ClassProperties(),
      {
          EnumProperty("Method", &TSpectrumPeakInterpolation::Method, &TSpectrumPeakInterpolation::SetMethod,
                       InterpolationMethodInfo(), imNone),
          EnumProperty("Precision", &TSpectrumPeakInterpolation::Precision,
                       &TSpectrumPeakInterpolation::SetPrecision, InterpolationPrecisionInfo(), ip6),
          Property("Harmonics", &TSpectrumPeakInterpolation::Harmonics, &TSpectrumPeakInterpolation::SetHarmonics,
                   false),
      });
  return table;
}

void TSpectrumPeakInterpolation::SetPrecision(TInterpolationPrecision Value) {
  precision_ = Value;
  switch (Value) {
    case ip2: divisor_ = 100; break;
    case ip4: divisor_ = 10000; break;
    case ip6: divisor_ = 1000000; break;
    case ip8: divisor_ = 100000000; break;
  }
}

void TSpectrumPeakInterpolation::Assign(TPersistent* Source) {
  auto* s = dynamic_cast<TSpectrumPeakInterpolation*>(Source);
  if (!s) {
    TPersistent::Assign(Source);
    return;
  }
  method_ = s->method_;
  harmonics_ = s->harmonics_;
  SetPrecision(s->precision_);
}

}  // namespace sigflow
