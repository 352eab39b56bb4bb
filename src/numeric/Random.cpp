#include "sigflow/numeric/Random.h"

#include <cmath>

#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

std::uint64_t SplitMix64(std::uint64_t& x) noexcept {
  std::uint64_t z = (x += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

constexpr std::uint64_t Rotl(std::uint64_t x, int k) noexcept { return (x << k) | (x >> (64 - k)); }

}  // namespace

void TRandomState::Seed(std::uint64_t seed) noexcept {
  std::uint64_t x = seed;
  for (auto& w : s) w = SplitMix64(x);
  hasSpare = false;
  spare = 0.0;
}

std::uint64_t TRandomState::Next() noexcept {
  const std::uint64_t result = Rotl(s[1] * 5, 7) * 9;
  const std::uint64_t t = s[1] << 17;
  s[2] ^= s[0];
  s[3] ^= s[1];
  s[1] ^= s[2];
  s[0] ^= s[3];
  s[2] ^= t;
  s[3] = Rotl(s[3], 45);
  return result;
}

double TRandomState::Uniform() noexcept { return double(Next() >> 11) * 0x1p-53; }

double TRandomState::Gauss() noexcept {
  if (hasSpare) {
    hasSpare = false;
    return spare;
  }
  double u, v, q;
  do {
    u = 2.0 * Uniform() - 1.0;
    v = 2.0 * Uniform() - 1.0;
    q = u * u + v * v;
  } while (q >= 1.0 || q == 0.0);
  const double f = std::sqrt(-2.0 * std::log(q) / q);
  spare = v * f;
  hasSpare = true;
  return u * f;
}

void RandGauss(TVec& vec, double mean, double stdDev, std::uint64_t seed) {
  vec.RandomState().Seed(seed);
  RandGauss(vec, mean, stdDev);
}

void RandGauss(TVec& vec, double mean, double stdDev) {
  auto& r = vec.RandomState();
  for (double& x : vec.Span()) x = mean + stdDev * r.Gauss();
}

void RandUniform(TVec& vec, double lo, double hi, std::uint64_t seed) {
  vec.RandomState().Seed(seed);
  RandUniform(vec, lo, hi);
}

void RandUniform(TVec& vec, double lo, double hi) {
  auto& r = vec.RandomState();
  const double w = hi - lo;
  for (double& x : vec.Span()) x = lo + w * r.Uniform();
}

void ResetRand(TVec& vec) { vec.RandomState().Seed(DefaultRandSeed); }

}  // namespace sigflow
