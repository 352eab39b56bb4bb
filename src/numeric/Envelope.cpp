#include "sigflow/numeric/Envelope.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sigflow/core/Exceptions.h"

namespace sigflow {
namespace {
constexpr std::size_t kChunk = 1024;
}

std::vector<std::complex<double>> EnvelopeAnalyticTaps(int n) {
  if (n < 1) throw Exception("EnvelopeDetector: the length must be at least 1");
  const int lh = std::max(n, 3) | 1;
  const int c = (lh - 1) / 2;
  std::vector<std::complex<double>> taps(static_cast<std::size_t>(lh));
  for (int k = 0; k < lh; ++k) {
    const int d = k - c;
    double h = 0.0;
    if (d % 2 != 0) {
      const double w = 0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * k / (lh - 1));
      h = 2.0 / (std::numbers::pi * d) * w;
    }
    taps[static_cast<std::size_t>(k)] = {d == 0 ? 1.0 : 0.0, h};
  }
  return taps;
}

void EnvelopeInit(EnvelopeState& state, int n) {
  EnvelopeState e;
  const auto taps = EnvelopeAnalyticTaps(n);
  FirInit(e.analytic, taps, false);
  const std::vector<double> average(static_cast<std::size_t>(n), 1.0 / n);
  FirInit(e.smooth, average, false);
  e.work.resize(kChunk);
  e.magnitude.resize(kChunk);
  e.Length = n;
  state = std::move(e);
}

void EnvelopeReset(EnvelopeState& state) {
  FirReset(state.analytic);
  FirReset(state.smooth);
}

void EnvelopeFree(EnvelopeState& state) { state = EnvelopeState{}; }

void EnvelopeDetector(EnvelopeState& state, std::span<const double> in, std::span<double> out,
                      int n) {
  if (out.size() < in.size())
    throw Exception("EnvelopeDetector: the output is shorter than the input");
  if (state.Length != n) EnvelopeInit(state, n);
  for (std::size_t done = 0; done < in.size(); done += kChunk) {
    const std::size_t m = std::min(kChunk, in.size() - done);
    FirFilter(state.analytic, in.subspan(done, m), std::span(state.work).first(m));
    for (std::size_t i = 0; i < m; ++i) state.magnitude[i] = std::abs(state.work[i]);
    FirFilter(state.smooth, std::span<const double>(state.magnitude).first(m),
              out.subspan(done, m));
  }
}

}  // namespace sigflow
