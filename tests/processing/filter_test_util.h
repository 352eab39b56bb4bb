#pragma once
// Drives a TSignalFilter the way a chain does: an input signal receives each block, the
// filter is updated, its output is appended. Blocks are cut from a whole signal.
#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <cstddef>
#include <vector>

#include "sigflow/processing/SignalFilter.h"
#include "support/alloc_counter.h"

namespace sigflow::test {

using Cplx = std::complex<double>;

inline void Fill(TVec& v, const std::vector<double>& x, std::size_t at, std::size_t n) {
  v.Size(static_cast<int>(n), false);
  std::copy(x.begin() + static_cast<std::ptrdiff_t>(at), x.begin() + static_cast<std::ptrdiff_t>(at + n), v.Data());
}
inline void Fill(TVec& v, const std::vector<Cplx>& x, std::size_t at, std::size_t n) {
  v.Size(static_cast<int>(n), true);
  std::copy(x.begin() + static_cast<std::ptrdiff_t>(at), x.begin() + static_cast<std::ptrdiff_t>(at + n), v.CData());
}

inline void SetTaps(TSignalFilter& f, const std::vector<double>& h) {
  f.SetExternalTaps(true);
  Fill(f.Taps(), h, 0, h.size());
  f.ParamUpdate(&f);
}
inline void SetTaps(TSignalFilter& f, const std::vector<Cplx>& h) {
  f.SetExternalTaps(true);
  Fill(f.Taps(), h, 0, h.size());
  f.ParamUpdate(&f);
}

// Runs x through f (whose Input is in) in blocks of `block` samples; every output sample is
// returned as complex. Counts allocations from the third block on into *allocations.
template <class T>
std::vector<Cplx> RunBlocks(TSignalFilter& f, TSignal& in, const std::vector<T>& x, std::size_t block,
                            std::size_t* allocations = nullptr) {
  std::vector<Cplx> out;
  std::size_t blocks = 0;
  if (allocations) *allocations = 0;
  for (std::size_t at = 0; at < x.size(); at += block, ++blocks) {
    const std::size_t n = std::min(block, x.size() - at);
    Fill(in.Data(), x, at, n);
    AllocationScope scope;
    f.Update();
    if (allocations && blocks >= 2) *allocations += scope.Count();
    const TVec& y = f.Data();
    for (int i = 0; i < y.Length(); ++i) out.push_back(y.CValues(i));
  }
  return out;
}

template <class T>
std::vector<Cplx> AsComplex(const std::vector<T>& v) {
  return std::vector<Cplx>(v.begin(), v.end());
}

inline ::testing::AssertionResult Close(const std::vector<Cplx>& got, const std::vector<Cplx>& want, double tol) {
  if (got.size() != want.size())
    return ::testing::AssertionFailure() << "length " << got.size() << ", expected " << want.size();
  double scale = 1;
  for (const Cplx& w : want) scale = std::max(scale, std::abs(w));
  for (std::size_t i = 0; i < got.size(); ++i)
    if (!(std::abs(got[i] - want[i]) <= tol * scale))
      return ::testing::AssertionFailure() << "index " << i << ": got " << got[i] << ", want " << want[i];
  return ::testing::AssertionSuccess();
}

}  // namespace sigflow::test
