#include <gtest/gtest.h>

#include <algorithm>
#include <complex>
#include <string>

#include "block_runner.h"
#include "sigflow/numeric/Envelope.h"
#include "sigflow/numeric/IirState.h"
#include "sigflow/numeric/MedianState.h"

using namespace sigflow;
using namespace sigflow::test;
using cplx = std::complex<double>;

namespace {

const ReferenceData& Ref() {
  static const ReferenceData ref("kernels.txt");
  return ref;
}

template <class T>
auto IirRunner() {
  return SameLengthRunner<IirState, T>([](IirState& s, std::span<const T> in, std::span<T> out) { IirFilter(s, in, out); });
}

auto MedianRunner() {
  return SameLengthRunner<MedianState, double>(
      [](MedianState& s, std::span<const double> in, std::span<double> out) { MedianFilter(s, in, out); });
}

}  // namespace

TEST(IirFilterOracle, SectionsOfOrder2To20MatchSosfiltInAnyBlocking) {
  const auto x = Real(Ref(), "x");
  for (const std::string name : {"butter2", "cheby1_3", "butter8", "cheby2_9", "ellip13", "butter20"}) {
    SCOPED_TRACE(name);
    IirState s;
    IirInit(s, Ref()["sos_" + name], false);
    IirRunner<double>().Check(s, x, Real(Ref(), "sosfilt_" + name + "_x"), 1e-12);
  }
}

TEST(IirFilterOracle, ComplexDataMatchesSosfilt) {
  IirState s;
  IirInit(s, Ref()["sos_ellip13"], true);
  IirRunner<cplx>().Check(s, Complex(Ref(), "xc"), Complex(Ref(), "sosfilt_ellip13_xc"), 1e-12);
}

// Inside the edges the running median is medfilt delayed by (n - 1) / 2; at the start the
// zero-filled window is medfilt's zero padding, so only medfilt's last (n - 1) / 2 values
// have no counterpart.
TEST(MedianFilterOracle, OddWindowsEqualMedfiltDelayed) {
  const auto x = Real(Ref(), "x");
  for (const int n : {1, 3, 31, 101}) {
    SCOPED_TRACE("window " + std::to_string(n));
    const auto med = Real(Ref(), "medfilt_" + std::to_string(n));
    const std::size_t h = static_cast<std::size_t>(n - 1) / 2;
    MedianState s;
    MedianInit(s, n);
    // The first h outputs are medians of windows still holding the initial zeros.
    std::vector<double> want(x.size(), 0.0);
    std::copy(med.begin(), med.end() - h, want.begin() + h);
    for (std::size_t k = 0; k < h; ++k) {
      std::vector<double> w(static_cast<std::size_t>(n) - k - 1, 0.0);
      w.insert(w.end(), x.begin(), x.begin() + k + 1);
      std::nth_element(w.begin(), w.begin() + h, w.end());
      want[k] = w[h];
    }
    MedianRunner().Check(s, x, want, 0.0);
  }
}

TEST(MedianFilterOracle, EvenWindowAveragesTheMiddlePair) {
  MedianState s;
  MedianInit(s, 4);
  MedianRunner().Check(s, Real(Ref(), "x"), Real(Ref(), "median_even_4"), 1e-15);
}

TEST(EnvelopeOracle, MatchesTheDefinitionBuiltFromLfilter) {
  const auto x = Real(Ref(), "x");
  for (const int n : {1, 16, 31}) {
    SCOPED_TRACE("length " + std::to_string(n));
    EnvelopeState s;
    EnvelopeInit(s, n);
    SameLengthRunner<EnvelopeState, double>([n](EnvelopeState& e, std::span<const double> in, std::span<double> out) {
      EnvelopeDetector(e, in, out, n);
    }).Check(s, x, Real(Ref(), "envelope_" + std::to_string(n)), 1e-12);
  }
}
