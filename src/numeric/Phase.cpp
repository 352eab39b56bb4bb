#include "sigflow/numeric/Phase.h"

#include <cmath>
#include <numbers>

#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {

// Floored modulo with numpy's sign rule (result takes the sign of the divisor).
double FlooredMod(double a, double b) {
  double m = std::fmod(a, b);
  if (m != 0.0) {
    if ((b < 0) != (m < 0)) m += b;
  } else {
    m = std::copysign(0.0, b);
  }
  return m;
}

}  // namespace

void PhaseUnwrap(std::span<double> phase, double halfPeriod, bool radians,
                 TRunningPhase running, double step) {
  if (!(halfPeriod > 0.0)) throw Exception("PhaseUnwrap: HalfPeriod <= 0");
  if (phase.size() < 2) return;
  const double h = radians ? halfPeriod / 180.0 * std::numbers::pi : halfPeriod;
  const double period = 2.0 * h;
  if (running == rpIntLag && !(step > 0.0)) running = rpConstPhase;
  const double lagStep = running == rpIntLag ? -h / step : 0.0;

  // The correction is accumulated separately and added to the raw value, as numpy does, so
  // the result is bit-identical to it in the constant-phase modes.
  double correction = 0.0;
  double previousRaw = phase[0];
  double previousOut = phase[0];
  double previousStep = 0.0;
  for (std::size_t i = 1; i < phase.size(); ++i) {
    const double raw = phase[i];
    const double dd = raw - previousRaw;
    double fix = 0.0;
    if (running == rpDefault || running == rpConstPhase) {
      double ddmod = FlooredMod(dd + h, period) - h;
      if (ddmod == -h && dd > 0) ddmod = h;
      if (!(std::fabs(dd) < h)) fix = ddmod - dd;
    } else {
      // Fold the step into the period centred on the expected step.
      const double expected = running == rpIntLag ? lagStep : previousStep;
      const double folded = FlooredMod(dd - expected + h, period) - h + expected;
      fix = folded - dd;
    }
    correction += fix;
    previousRaw = raw;
    const double out = raw + correction;
    previousStep = out - previousOut;
    previousOut = out;
    phase[i] = out;
  }
}

}  // namespace sigflow
