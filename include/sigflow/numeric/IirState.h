#pragma once
// Streaming IIR filter as a cascade of second-order sections in transposed direct form II,
// on real or complex data (real coefficients), with the state carried between blocks.
//
// Section s has coefficients b0 b1 b2 a0 a1 a2 (6 doubles, a0 normalised to 1 at init):
//   y[n] = b0 x[n] + z1;  z1 <- b1 x[n] - a1 y[n] + z2;  z2 <- b2 x[n] - a2 y[n]
// and the sections run one after the other on every sample (scipy's sosfilt).
#include <complex>
#include <cstddef>
#include <span>
#include <vector>

namespace sigflow {

// Copyable: a copy made between two blocks continues exactly as the original would.
struct IirState {
  bool Initialized = false;
  bool ComplexData = false;
  std::size_t Sections = 0;
  std::vector<double> coef;  // per section: b0 b1 b2 a1 a2, divided by a0
  std::vector<double> z;     // per section: z1 z2 (re z1, re z2, im z1, im z2 when complex)
};

// sos holds 6 values per section (b0 b1 b2 a0 a1 a2). Raises sigflow::Exception when its
// length is not a positive multiple of 6 or a section has a0 = 0. The state starts at zero.
void IirInit(IirState& state, std::span<const double> sos, bool complexData);
// Back to the zero state.
void IirReset(IirState& state);
// Releases the memory; the state is as default-constructed.
void IirFree(IirState& state);

// Filters in into out (out.size() >= in.size(); in and out may be the same buffer). The
// overload must match the state's data kind, else sigflow::Exception is raised.
void IirFilter(IirState& state, std::span<const double> in, std::span<double> out);
void IirFilter(IirState& state, std::span<const std::complex<double>> in,
               std::span<std::complex<double>> out);

}  // namespace sigflow
