#pragma once
// Phase unwrapping of a sampled phase curve (a phase spectrum over frequency bins).
#include <span>

namespace sigflow {

// How PhaseUnwrap predicts the step from one value to the next. Each output value is the
// input plus a whole number of periods, chosen so that the output step lies within half a
// period of the predicted step.
enum TRunningPhase : int {
  rpDefault,     // same as rpConstPhase
  rpConstPhase,  // predicted step 0: numpy.unwrap with discont = half period
  rpIntLag,      // predicted step -halfPeriod / step: the phase of a lag inside the frame
  rpPartial      // predicted step = the previous output step (linear extrapolation)
};

// Unwraps phase in place.
//   halfPeriod: half the phase period in degrees (180 for a full turn); with radians True
//               the values are radians and the half period is halfPeriod * pi / 180.
//   running:    the predictor above.
//   step:       for rpIntLag, the number of bins over which the phase of the longest lag
//               turns once (transform length / (frame length - 1)); a forward transform
//               with e^{-j...} gives a delay a falling phase, so the prediction is the
//               midpoint -halfPeriod / step of the steps of all lags 0..frame length-1.
//               Ignored by the other modes and treated as rpConstPhase when not > 0.
// rpDefault and rpConstPhase reproduce numpy.unwrap(p, discont=h, period=2h), including
// its rule that a step of exactly +-h is kept. Never allocates.
// Throws Exception "PhaseUnwrap: HalfPeriod <= 0" (also for NaN).
void PhaseUnwrap(std::span<double> phase, double halfPeriod, bool radians,
                 TRunningPhase running, double step);

}  // namespace sigflow
