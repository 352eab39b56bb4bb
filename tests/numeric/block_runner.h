#pragma once
// One harness for every streaming kernel: runs a signal through a kernel in blocks of
// several sizes and checks that the output never depends on the cut, that a copy made
// mid-stream continues identically, that nothing is allocated after the first block, and
// that a kernel writes exactly the values it reports (output buffers start as NaN).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "numeric_check.h"
#include "support/alloc_counter.h"
#include "support/reference.h"

namespace sigflow::test {

// Output buffers start as NaN (complex: real part NaN) so unwritten values show.
template <class T>
T Nan() {
  return T(std::numeric_limits<double>::quiet_NaN());
}
template <class T>
bool IsNan(T v) {
  return std::isnan(std::real(v));
}

// Reference arrays as typed vectors.
inline std::vector<double> Real(const ReferenceData& ref, const std::string& name) { return ref[name]; }
inline std::vector<std::complex<double>> Complex(const ReferenceData& ref, const std::string& name) {
  return ToComplex(ref[name]);
}

// Block-size patterns: fixed sizes, then a seeded random one with empty blocks mixed in.
inline std::vector<std::vector<std::size_t>> BlockPatterns() {
  std::vector<std::size_t> random;
  std::mt19937 gen(7);
  for (int i = 0; i < 400; ++i) random.push_back(gen() % 5 == 0 ? 0 : gen() % 300);
  return {{1}, {7}, {1000}, {4096}, random};
}

inline std::string Describe(const std::vector<std::size_t>& pattern) {
  return pattern.size() == 1 ? "blocks of " + std::to_string(pattern[0]) : "random blocks";
}

// Adapter shape: process(state, span<const In>, span<Out>) -> outputs written;
// count(state, n) -> outputs a block of n inputs will write.
template <class State, class In, class Out, class Process, class Count>
class BlockRunner {
public:
  BlockRunner(Process process, Count count) : process_(process), count_(count) {}

  // Runs all of in through state, cutting blocks by the (cycled) pattern. Checks the
  // reported counts, untouched guard elements and, after the first block, zero allocations.
  std::vector<Out> Run(State& state, std::span<const In> in, const std::vector<std::size_t>& pattern) {
    std::vector<std::size_t> cuts;
    for (std::size_t pos = 0, i = 0; pos < in.size(); ++i) {
      const std::size_t n = std::min(pattern[i % pattern.size()], in.size() - pos);
      cuts.push_back(n);
      pos += n;
    }
    constexpr std::size_t guard = 3;
    std::vector<Out> out(count_(state, in.size()) + guard, Nan<Out>());
    std::size_t pos = 0;
    std::size_t at = 0;
    std::size_t allocations = 0;
    for (std::size_t b = 0; b < cuts.size(); ++b) {
      const std::size_t n = cuts[b];
      const std::size_t expect = count_(state, n);
      if (pos + expect + guard > out.size()) {
        ADD_FAILURE() << "output count exceeds the whole-stream count";
        break;
      }
      AllocationScope scope;
      const std::size_t wrote = process_(state, in.subspan(at, n), std::span<Out>(out).subspan(pos, expect + guard));
      if (b > 0) allocations += scope.Count();
      if (wrote != expect) {
        ADD_FAILURE() << "block " << b << " wrote " << wrote << ", announced " << expect;
        break;
      }
      for (std::size_t g = 0; g < guard; ++g)
        if (!IsNan(out[pos + wrote + g])) {
          ADD_FAILURE() << "block " << b << " wrote past its " << wrote << " outputs";
          break;
        }
      for (std::size_t i = pos; i < pos + wrote; ++i)
        if (IsNan(out[i])) {
          ADD_FAILURE() << "block " << b << " left output " << i << " unwritten";
          break;
        }
      pos += wrote;
      at += n;
    }
    EXPECT_EQ(allocations, 0u) << "allocations after the first block";
    out.resize(pos);
    return out;
  }

  // For every block pattern: the output equals want to tol. Then a state copied after an
  // odd split continues bit for bit as the original does.
  void Check(const State& fresh, std::span<const In> in, std::span<const Out> want, double tol) {
    for (const auto& pattern : BlockPatterns()) {
      State s = fresh;
      const auto got = Run(s, in, pattern);
      EXPECT_TRUE(Near<Out>(got, want, tol)) << Describe(pattern);
    }
    State original = fresh;
    const std::size_t split = std::min<std::size_t>(in.size(), 2 * in.size() / 5 + 3);
    auto head = Run(original, in.first(split), {13});
    State copy = original;
    const auto rest = in.subspan(split);
    auto tail = Run(original, rest, {29});
    const auto tailCopy = Run(copy, rest, {29});
    EXPECT_TRUE(tail == tailCopy) << "copy made mid-stream diverged";
    head.insert(head.end(), tail.begin(), tail.end());
    EXPECT_TRUE(Near<Out>(head, want, tol)) << "split run";
  }

private:
  Process process_;
  Count count_;
};

template <class State, class In, class Out, class Process, class Count>
BlockRunner<State, In, Out, Process, Count> MakeRunner(Process p, Count c) {
  return BlockRunner<State, In, Out, Process, Count>(p, c);
}

// A kernel that writes one output per input: filter(state, in, out).
template <class State, class T, class Filter>
auto SameLengthRunner(Filter filter) {
  return MakeRunner<State, T, T>(
      [filter](State& s, std::span<const T> in, std::span<T> out) {
        filter(s, in, out);
        return in.size();
      },
      [](const State&, std::size_t n) { return n; });
}

}  // namespace sigflow::test
