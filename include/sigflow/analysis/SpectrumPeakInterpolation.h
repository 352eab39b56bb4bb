#pragma once
// Settings of the estimator that refines a spectral peak between bins.
#include <cstdint>
#include <string>

#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"

namespace sigflow {

enum TInterpolationMethod : std::uint8_t {
  imNone,
  imNumeric,
  imQuadratic,
  imBarycentric,
  imQuinnFirst,
  imQuinnSecond,
  imJain
};
enum TInterpolationPrecision : std::uint8_t { ip2, ip4, ip6, ip8 };
const TEnumInfo& InterpolationMethodInfo();
const TEnumInfo& InterpolationPrecisionInfo();

class TSpectrumPeakInterpolation : public TPersistent {
public:
  TSpectrumPeakInterpolation();

  std::string ClassName() const override { return "TSpectrumPeakInterpolation"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TInterpolationMethod Method() const { return method_; }
  void SetMethod(TInterpolationMethod Value) { method_ = Value; }
  TInterpolationPrecision Precision() const { return precision_; }
  // Also sets the divisor: ip2 100, ip4 1e4, ip6 1e6, ip8 1e8.
  void SetPrecision(TInterpolationPrecision Value);
  bool Harmonics() const { return harmonics_; }
  void SetHarmonics(bool Value) { harmonics_ = Value; }
  // Bin spacing over the last step of the numeric search.
  double PrecisionDivisor() const { return divisor_; }

  void Assign(TPersistent* Source) override;

private:
  TInterpolationMethod method_ = imNone;
  TInterpolationPrecision precision_ = ip6;
  bool harmonics_ = false;
  double divisor_ = 1000000;
};

}  // namespace sigflow
