#pragma once
// Slow, obviously correct multirate FIR: builds the up-sampled stream, convolves and reads
// every D-th value, in long double.
#include <complex>
#include <cstddef>
#include <string>
#include <vector>

#include "block_runner.h"
#include "sigflow/numeric/FirState.h"

namespace sigflow::test {

template <class H, class X>
auto UpFirDown(const std::vector<H>& h, const std::vector<X>& x, int U, int du, int D, int dd) {
  using Wide = std::complex<long double>;
  const long long slots = static_cast<long long>(x.size()) * U;
  std::vector<Wide> v(static_cast<std::size_t>(slots));
  for (std::size_t k = 0; k < x.size(); ++k) {
    const std::complex<double> xk(x[k]);
    v[k * U + du] = Wide(xk.real(), xk.imag());
  }
  using Out = decltype(H{} * X{});
  std::vector<Out> y;
  for (long long m = dd; m < slots; m += D) {
    Wide acc = 0;
    for (std::size_t j = 0; j < h.size() && static_cast<long long>(j) <= m; ++j) {
      const std::complex<double> hj(h[j]);
      acc += Wide(hj.real(), hj.imag()) * v[static_cast<std::size_t>(m - static_cast<long long>(j))];
    }
    if constexpr (std::is_same_v<Out, double>) {
      y.push_back(static_cast<double>(acc.real()));
    } else {
      y.push_back({static_cast<double>(acc.real()), static_cast<double>(acc.imag())});
    }
  }
  return y;
}

// Instruction-set levels this CPU can run (0 baseline, 1 AVX2, 2 AVX-512).
inline std::vector<int> KernelLevels() {
  FirState probe;
  std::vector<int> levels;
  for (int l = 0; l <= 2; ++l) {
    const int used = detail::FirUseKernelLevel(probe, l);
    if (levels.empty() || levels.back() != used) levels.push_back(used);
  }
  return levels;
}

template <class In, class Out>
auto FirRunner() {
  return MakeRunner<FirState, In, Out>(
      [](FirState& s, std::span<const In> in, std::span<Out> out) { return FirFilter(s, in, out); },
      [](const FirState& s, std::size_t n) { return FirOutputCount(s, n); });
}

// The filter at every kernel level this CPU runs (or only the widest), in every blocking, against want.
template <class H, class In, class Out>
void CheckFir(const std::vector<H>& h, const std::vector<In>& x, const std::vector<Out>& want, int U = 1, int du = 0,
              int D = 1, int dd = 0, bool allLevels = true) {
  for (const int level : KernelLevels()) {
    if (!allLevels && level != KernelLevels().back()) continue;
    SCOPED_TRACE("kernel level " + std::to_string(level));
    FirState s;
    FirInit(s, std::span<const H>(h), std::is_same_v<In, std::complex<double>>, U, du, D, dd);
    detail::FirUseKernelLevel(s, level);
    FirRunner<In, Out>().Check(s, x, want, 1e-12);
  }
}

}  // namespace sigflow::test
