#pragma once
// Square, impulse and chirp generators: state struct + init + block call, like the tones.
//
// Each state counts its samples in `SampleIndex` (the index of the next sample, 0 after init;
// an owner may set it back to 0 to restart) and every sample is a function of that index only,
// so a stream split into blocks of any sizes equals one long block, and a copy of a state
// continues exactly as the original. Frequencies are in Hz with the sampling frequency in Hz,
// phases in radians. Nothing here allocates.
#include <cstdint>
#include <span>

#include "sigflow/numeric/Tone.h"

namespace sigflow {

// Square wave with 50% duty. With u = frac(F n / Fs + Phase / 2pi), sample n is
//   Offset + Amplitude   for u <  1/2
//   Offset - Amplitude   for u >= 1/2
// so at Phase 0 it is high where sin(2 pi F n / Fs) is positive.
struct TSquareWaveState {
  TCycleCounter Counter;
  double Amplitude = 0;
  double Offset = 0;
  std::int64_t SampleIndex = 0;
};

// Frequency in Hz, Phase in radians, Amplitude as given, Offset the DC level, SamplingFrequency
// in Hz (> 0). Throws Exception when SamplingFrequency is not positive or a value is not finite.
void SquareWaveInit(TSquareWaveState& State, double Frequency, double Phase, double Amplitude,
                    double Offset, double SamplingFrequency);
// Writes the next Out.size() samples and advances the state.
void SquareWave(TSquareWaveState& State, std::span<double> Out);

// Periodic pulse between the levels 0 and Level. One period is cut into four consecutive
// segments whose lengths are proportional to Raise, High, Fall, Low (in this order in time):
// a linear rise from 0 to Level, the top at Level, a linear fall back to 0, the rest at 0.
// With u = frac(F n / Fs + Phase / 2pi) and the segment ends
//   r = Raise / S,  h = r + High / S,  f = h + Fall / S,  S = High + Low + Raise + Fall,
// sample n is  Level * u / r (u < r),  Level (u < h),  Level * (f - u) / (f - h) (u < f),  0.
// A zero share removes its segment; all shares zero give a constant 0.
struct TImpulseWaveState {
  TCycleCounter Counter;
  double Level = 0;
  double RiseEnd = 0;   // r
  double TopEnd = 0;    // h
  double FallEnd = 0;   // f
  double RiseSlope = 0;  // Level / r, or 0 without a rise
  double FallSlope = 0;  // Level / (f - h), or 0 without a fall
  std::int64_t SampleIndex = 0;
};

// High, Low, Raise, Fall: segment shares (>= 0, any scale); Frequency in Hz (pulses per
// second); Phase in radians; Level the top level; SamplingFrequency in Hz (> 0). Throws
// Exception for a negative share, a value that is not finite or a bad SamplingFrequency.
void ImpulseWaveInit(TImpulseWaveState& State, double High, double Low, double Raise,
                     double Fall, double Frequency, double Phase, double Level,
                     double SamplingFrequency);
// Writes the next Out.size() samples and advances the state.
void ImpulseWave(TImpulseWaveState& State, std::span<double> Out);

// Linear chirp repeated every Period samples with continuous phase. Within a period, at
// sample j = n mod Period (time t = j / Fs), the instantaneous frequency moves linearly from
// F1 to F2 over the first D = Duty * Period samples and then stays at F2; the amplitude moves
// linearly from A1 to A2 over the whole period:
//   a(j)  = A1 + (A2 - A1) j / Period
//   P(j)  = f1 j + (f2 - f1) j^2 / (2 D)              for j <  D   (cycles, f = F / Fs)
//         = (f1 + f2) D / 2 + f2 (j - D)               for j >= D
//   x(n)  = Offset + a(j) sin(2 pi (k P(Period) + P(j)) + Phase),   k = n div Period
// So the sweep restarts with every period while the phase runs on without a jump (period k
// starts where period k - 1 ended). Within the sweep this is scipy.signal.chirp(t, F1, D / Fs,
// F2, method='linear') with a sine in place of the cosine. A generator that sweeps "over the
// block" passes its block length as Period; blocks of that length then each hold one sweep.
struct TChirpState {
  long double StartStep = 0;  // f1, cycles per sample
  long double StopStep = 0;   // f2
  double Phase = 0;      // radians
  double StartAmplitude = 0;
  double EndAmplitude = 0;
  double Offset = 0;
  std::int64_t Period = 1;
  double SweepLength = 1;      // D in samples
  long double PeriodCycles = 0;  // frac(P(Period))
  std::int64_t SampleIndex = 0;
};

// StartFrequency F1 and StopFrequency F2 in Hz, Phase in radians, StartAmplitude A1,
// EndAmplitude A2, Offset the DC level, Duty the share of the period the sweep takes (values
// outside (0, 1] mean 1), Period in samples (>= 1), SamplingFrequency in Hz (> 0). Throws
// Exception for Period < 1, a value that is not finite or a bad SamplingFrequency.
void ChirpInit(TChirpState& State, double StartFrequency, double Phase, double StartAmplitude,
               double Offset, double StopFrequency, double EndAmplitude, double Duty,
               std::int64_t Period, double SamplingFrequency);
// Writes the next Out.size() samples and advances the state.
void Chirp(TChirpState& State, std::span<double> Out);

}  // namespace sigflow
