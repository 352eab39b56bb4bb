#include "sigflow/numeric/Waveforms.h"

#include <algorithm>
#include <cmath>

#include "PhaseMath.h"
#include "sigflow/core/Exceptions.h"

namespace sigflow {

void SquareWaveInit(TSquareWaveState& State, double Frequency, double Phase, double Amplitude,
                    double Offset, double SamplingFrequency) {
  detail::CheckFinite(Amplitude, "Amplitude");
  detail::CheckFinite(Offset, "Offset");
  TSquareWaveState s;
  CycleCounterInit(s.Counter, Frequency, Phase, SamplingFrequency);
  s.Amplitude = Amplitude;
  s.Offset = Offset;
  State = s;
}

void SquareWave(TSquareWaveState& State, std::span<double> Out) {
  const detail::TCycleShape shape{detail::TCycleShape::Square,
                                  {State.Offset + State.Amplitude, State.Offset - State.Amplitude}};
  detail::CycleShapeFill(State.Counter, State.SampleIndex, Out, shape);
  State.SampleIndex += static_cast<std::int64_t>(Out.size());
}

void ImpulseWaveInit(TImpulseWaveState& State, double High, double Low, double Raise,
                     double Fall, double Frequency, double Phase, double Level,
                     double SamplingFrequency) {
  for (double share : {High, Low, Raise, Fall}) {
    detail::CheckFinite(share, "Impulse segment share");
    if (share < 0.0) throw Exception("Impulse segment shares must not be negative");
  }
  detail::CheckFinite(Level, "Level");
  TImpulseWaveState s;
  CycleCounterInit(s.Counter, Frequency, Phase, SamplingFrequency);
  s.Level = Level;
  const double sum = High + Low + Raise + Fall;
  if (sum > 0.0) {
    s.RiseEnd = Raise / sum;
    s.TopEnd = (Raise + High) / sum;
    s.FallEnd = (Raise + High + Fall) / sum;
    // Without a rest the last segment must reach the end of the period exactly.
    if (Low == 0.0) {
      s.FallEnd = 1.0;
      if (Fall == 0.0) s.TopEnd = 1.0;
      if (Fall == 0.0 && High == 0.0) s.RiseEnd = 1.0;
    }
    s.RiseSlope = s.RiseEnd > 0.0 ? Level / s.RiseEnd : 0.0;
    s.FallSlope = s.FallEnd > s.TopEnd ? Level / (s.FallEnd - s.TopEnd) : 0.0;
  }
  State = s;
}

void ImpulseWave(TImpulseWaveState& State, std::span<double> Out) {
  const TImpulseWaveState& s = State;
  const detail::TCycleShape shape{detail::TCycleShape::Impulse,
                                  {s.Level, s.RiseEnd, s.TopEnd, s.FallEnd, s.RiseSlope,
                                   s.FallSlope}};
  detail::CycleShapeFill(State.Counter, State.SampleIndex, Out, shape);
  State.SampleIndex += static_cast<std::int64_t>(Out.size());
}

namespace {

// P(j) of the chirp, in cycles (not reduced).
long double SweepCycles(const TChirpState& s, long double j) {
  const long double f1 = s.StartStep, f2 = s.StopStep, d = s.SweepLength;
  if (j < d) return f1 * j + (f2 - f1) * j * j / (2.0L * d);
  return (f1 + f2) * d / 2.0L + f2 * (j - d);
}

}  // namespace

void ChirpInit(TChirpState& State, double StartFrequency, double Phase, double StartAmplitude,
               double Offset, double StopFrequency, double EndAmplitude, double Duty,
               std::int64_t Period, double SamplingFrequency) {
  detail::CheckSamplingFrequency(SamplingFrequency);
  detail::CheckFinite(StartFrequency, "StartFrequency");
  detail::CheckFinite(StopFrequency, "StopFrequency");
  detail::CheckFinite(Phase, "Phase");
  detail::CheckFinite(StartAmplitude, "StartAmplitude");
  detail::CheckFinite(EndAmplitude, "EndAmplitude");
  detail::CheckFinite(Offset, "Offset");
  if (Period < 1) throw Exception("Chirp period must be at least one sample");
  TChirpState s;
  s.StartStep = static_cast<long double>(StartFrequency) / SamplingFrequency;
  s.StopStep = static_cast<long double>(StopFrequency) / SamplingFrequency;
  s.Phase = Phase;
  s.StartAmplitude = StartAmplitude;
  s.EndAmplitude = EndAmplitude;
  s.Offset = Offset;
  s.Period = Period;
  const double duty = (Duty > 0.0 && Duty <= 1.0) ? Duty : 1.0;
  s.SweepLength = duty * static_cast<double>(Period);
  const long double whole = SweepCycles(s, static_cast<long double>(Period));
  s.PeriodCycles = whole - std::floor(whole);
  s.SampleIndex = 0;
  State = s;
}

void Chirp(TChirpState& State, std::span<double> Out) {
  const TChirpState& s = State;
  const long double ampStep =
      (static_cast<long double>(s.EndAmplitude) - s.StartAmplitude) / s.Period;
  std::int64_t n = s.SampleIndex;
  std::int64_t k = n / s.Period;
  std::int64_t j = n % s.Period;
  long double start = static_cast<long double>(k) * s.PeriodCycles;
  start -= std::floor(start);
  for (double& o : Out) {
    long double c = start + SweepCycles(s, static_cast<long double>(j));
    c -= std::floor(c);
    const long double theta = detail::kTwoPiL * c + s.Phase;
    const long double amp = s.StartAmplitude + ampStep * j;
    o = static_cast<double>(s.Offset + amp * std::sin(static_cast<double>(theta)));
    if (++j == s.Period) {
      j = 0;
      ++k;
      start = static_cast<long double>(k) * s.PeriodCycles;
      start -= std::floor(start);
    }
  }
  State.SampleIndex += static_cast<std::int64_t>(Out.size());
}

}  // namespace sigflow
