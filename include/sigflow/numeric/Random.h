#pragma once
// Seeded pseudo-random fills that give the same numbers on every platform and compiler.
//
// Engine: xoshiro256** (Blackman and Vigna), its 256-bit state filled from the 64-bit seed by
// splitmix64. Uniform doubles take the top 53 bits of a raw output, so they are bit-exact
// everywhere. Gaussian values come from Marsaglia's polar method on those uniforms (pairs; the
// second of a pair is kept for the next call); they use std::log and std::sqrt, so bit
// equality across C libraries rests on a correctly rounded log (glibc's is).
#include <cstdint>

namespace sigflow {

class TVec;

// Seed used by a fresh vector and by ResetRand.
inline constexpr std::uint64_t DefaultRandSeed = 0;

// State of one random stream. Copying it forks the stream: the copy continues identically.
struct TRandomState {
  std::uint64_t s[4] = {};
  bool hasSpare = false;
  double spare = 0.0;

  TRandomState() noexcept { Seed(DefaultRandSeed); }
  explicit TRandomState(std::uint64_t seed) noexcept { Seed(seed); }

  void Seed(std::uint64_t seed) noexcept;
  // Next raw 64-bit output.
  std::uint64_t Next() noexcept;
  // Uniform on [0, 1): k * 2^-53 with k the top 53 bits of Next().
  double Uniform() noexcept;
  // Standard normal (mean 0, standard deviation 1).
  double Gauss() noexcept;
};

// Fills vec (its present length; real and imaginary parts alike for a complex vector) with
// normal values of the given mean and standard deviation. The seeded form restarts the
// vector's own stream from seed; the other continues it.
void RandGauss(TVec& vec, double mean, double stdDev, std::uint64_t seed);
void RandGauss(TVec& vec, double mean, double stdDev);
// Uniform values on [lo, hi): lo + (hi - lo) * u with u uniform on [0, 1).
void RandUniform(TVec& vec, double lo, double hi, std::uint64_t seed);
void RandUniform(TVec& vec, double lo, double hi);
// Puts the vector's stream back to DefaultRandSeed, as on a new vector.
void ResetRand(TVec& vec);

}  // namespace sigflow
