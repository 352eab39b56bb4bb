#pragma once
// Phase-continuous tone generators: sine (real or complex) and triangle.
//
// Every generator keeps its state in a plain copyable struct. A state holds the index of the
// next sample it will produce (`SampleIndex`, counted from the init call), so a copy taken
// between two blocks continues exactly as the original does, and a block of N samples equals
// any split of it into smaller blocks. Nothing here allocates.
//
// Frequencies are given in Hz together with the sampling frequency in Hz; pass a sampling
// frequency of 1 to give the frequency in cycles per sample. Phases are in radians.
#include <complex>
#include <cstdint>
#include <span>

namespace sigflow {

// Normalised frequency (cycles per sample) folded onto one turn of the unit circle: the
// result lies in [0, 1). A complex tone cannot tell f from f + k, so this is the frequency
// it really has; values above 0.5 are the negative-frequency half (f - 1).
double CircularFrequency(double Frequency);

// Exact phase counter: the phase in cycles of sample n, frac(n * F / Fs + Phase / 2pi),
// for any n below 2^53, without drift. The step F / Fs is kept as a reduced two-double
// split into three parts so that r * Step1 and r * Step2 are exact for r < 2^24 (r counted
// from `Base`, a multiple of 2^24).
struct TCycleCounter {
  double StepHi = 0;  // F / Fs reduced to [0, 1): StepHi + StepLo, about 106 bits
  double StepLo = 0;
  double Step1 = 0;   // StepHi truncated to a multiple of 2^-29
  double Step2 = 0;   // the next 29 bits
  double Step3 = 0;   // the rest, including StepLo
  double Phase = 0;   // radians
  std::int64_t Base = -1;  // segment start of the cached BaseCycles (-1: none yet)
  double BaseCycles = 0;   // frac(Base * F / Fs + Phase / 2pi)
};

// Sets up Counter for frequency Frequency (Hz, any sign) sampled at SamplingFrequency (Hz,
// > 0) with the given start phase (radians). Throws Exception when SamplingFrequency is not
// positive or a value is not finite.
void CycleCounterInit(TCycleCounter& Counter, double Frequency, double Phase,
                      double SamplingFrequency);

// Writes the phase in cycles, each in [0, 1), of the samples First .. First + Cycles.size()
// - 1. The result depends only on the sample index, never on how a stream is split.
void CycleFill(TCycleCounter& Counter, std::int64_t First, std::span<double> Cycles);

// Sine tone state. Sample n (n = 0 at init) is
//   real:    A * sin(2 pi F n / Fs + Phase)
//   complex: A * exp(j (2 pi F n / Fs + Phase))  (imaginary part = the real tone)
// to within a few units in the last place of A, for every n below 2^53 (no drift).
// A complex tone above Fs / 2 behaves as F - Fs: its output is the conjugate of the tone at
// Fs - F with phase -Phase. Callers that want the mirrored positive frequency conjugate when
// CircularFrequency(F / Fs) > 0.5.
//
// The block path anchors the exact phase once per 4096 samples and reaches the samples in
// between through two tables of exp(j 2 pi F k / Fs) (k < 64 and k = 64 m, m < 64), so each
// sample costs one complex product with no error accumulation.
struct TToneState {
  static constexpr int TableLength = 64;
  double StepHi = 0;  // F / Fs reduced to [0, 1), two-double
  double StepLo = 0;
  double Phase = 0;      // radians
  double Amplitude = 0;
  bool Complex = false;  // the output the owner asked for; both Tone overloads serve any state
  std::int64_t SampleIndex = 0;  // index of the next sample
  double FineRe[TableLength] = {};    // cos / sin of 2 pi F k / Fs, k < 64
  double FineIm[TableLength] = {};
  double CoarseRe[TableLength] = {};  // cos / sin of 2 pi F 64 m / Fs, m < 64
  double CoarseIm[TableLength] = {};
};

// Starts a tone: Frequency in Hz (any sign, any size: only F / Fs modulo 1 matters), Phase in
// radians, Amplitude (used as given; callers pass its absolute value), SamplingFrequency in
// Hz (> 0), Complex records which output the owner wants. Throws Exception when
// SamplingFrequency is not positive or a value is not finite.
void ToneInit(TToneState& State, double Frequency, double Phase, double Amplitude,
              double SamplingFrequency, bool Complex);

// Writes the next Out.size() samples of the real tone and advances the state.
void Tone(TToneState& State, std::span<double> Out);
// Writes the next Out.size() samples of the complex tone and advances the state.
void Tone(TToneState& State, std::span<std::complex<double>> Out);

// Triangle tone state. With u the phase in cycles of sample n,
//   u = frac(F n / Fs + Phase / 2pi + a / 2),   a = Asymmetry in [0, 1]
// the real output is A * tri(u) where tri rises linearly from -1 to 1 over u in [0, a) and
// falls back to -1 over [a, 1) (scipy.signal.sawtooth(2 pi u, width=a)). The shift a / 2
// makes it sine-like: the rising zero crossing is at Phase 0, so a = 0.5 gives a triangle
// in phase with A sin(2 pi F n / Fs + Phase). The complex output is
//   A * (tri(u + 1/4) + j tri(u)),
// the quarter-period shift playing the role of the cosine. Exact to rounding for every n
// below 2^53: the phase of each sample comes from TCycleCounter, not from a running sum.
struct TTriangleToneState {
  TCycleCounter Counter;
  double Amplitude = 0;
  double Asymmetry = 0.5;
  double RiseSlope = 0;  // 2 / a, or 0 when a = 0
  double FallSlope = 0;  // 2 / (1 - a), or 0 when a = 1
  bool Complex = false;
  std::int64_t SampleIndex = 0;
};

// Starts a triangle tone: Frequency in Hz, Phase in radians, Amplitude as given, Asymmetry the
// share of the period spent rising (clamped to [0, 1]; 0.5 symmetric, 0 a falling and 1 a
// rising sawtooth), SamplingFrequency in Hz (> 0). Throws Exception when SamplingFrequency is
// not positive or a value is not finite.
void TriangleToneInit(TTriangleToneState& State, double Frequency, double Phase,
                      double Amplitude, double Asymmetry, double SamplingFrequency,
                      bool Complex);

// Writes the next Out.size() samples of the real triangle and advances the state.
void TriangleTone(TTriangleToneState& State, std::span<double> Out);
// Writes the next Out.size() samples of the complex triangle and advances the state.
void TriangleTone(TTriangleToneState& State, std::span<std::complex<double>> Out);

}  // namespace sigflow
