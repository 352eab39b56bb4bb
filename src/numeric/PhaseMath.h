#pragma once
// Exact phase arithmetic shared by the tone and waveform generators (not installed).
#include <cmath>
#include <cstdint>
#include <span>

#include "sigflow/numeric/Tone.h"

namespace sigflow::detail {

inline constexpr long double kTwoPiL = 6.283185307179586476925286766559005768394L;

// Knuth's two-sum: S + E == A + B exactly.
inline void TwoSum(double A, double B, double& S, double& E) {
  S = A + B;
  const double bv = S - A;
  E = (A - (S - bv)) + (B - bv);
}

// F / Fs reduced to [0, 1) as an unevaluated sum Hi + Lo (about 106 bits).
void ReducedStep(double Frequency, double SamplingFrequency, double& Hi, double& Lo);

// frac(N * (Hi + Lo) + Phase / 2pi) in long double, in [0, 1). N below 2^53.
long double FracCycles(std::int64_t N, double Hi, double Lo, double Phase);

// floor(X) for |X| < 2^51 without a library call, so loops over it vectorise.
inline double FastFloor(double X) {
  constexpr double kRound = 6755399441055744.0;  // 1.5 * 2^52: the sum rounds to an integer
  const double t = (X + kRound) - kRound;
  return t > X ? t - 1.0 : t;
}

// What CycleShapeFill writes for each phase u in [0, 1): u itself or a waveform of it.
struct TCycleShape {
  enum TKind : int { Phase, Square, Triangle, Impulse };
  int Kind = Phase;
  // Square: high, low. Triangle: amplitude, asymmetry a, rise slope, fall slope.
  // Impulse: level, rise end, top end, fall end, rise slope, fall slope.
  double Params[6] = {};
};

// CycleFill with the shape applied in the same pass.
void CycleShapeFill(TCycleCounter& Counter, std::int64_t First, std::span<double> Out,
                    const TCycleShape& Shape);

// Throws Exception unless SamplingFrequency is positive and finite.
void CheckSamplingFrequency(double SamplingFrequency);
// Throws Exception naming What unless X is finite.
void CheckFinite(double X, const char* What);

}  // namespace sigflow::detail
