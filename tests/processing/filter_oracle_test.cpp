// The filter component against scipy (tests/reference/kernels.txt, written by
// kernels_reference.py): lfilter, sosfilt and upfirdn of the whole signal must equal the
// component's output for every cut of the stream into blocks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "filter_test_util.h"
#include "support/reference.h"

namespace sigflow {
namespace {

using test::Cplx;

const test::ReferenceData& Ref() {
  static const test::ReferenceData ref("kernels.txt");
  return ref;
}
std::vector<double> Real(const std::string& name) { return Ref()[name]; }
std::vector<Cplx> Complex(const std::string& name) {
  const auto& v = Ref()[name];
  std::vector<Cplx> c(v.size() / 2);
  for (std::size_t i = 0; i < c.size(); ++i) c[i] = {v[2 * i], v[2 * i + 1]};
  return c;
}
std::vector<Cplx> Want(const std::string& name, bool complex) {
  return complex ? Complex(name) : test::AsComplex(Real(name));
}

constexpr std::size_t kBlocks[] = {1, 7, 1000, 4096};

struct Case {
  std::string want;
  TResponseType response;
  std::string taps;
  bool complexTaps;
  std::string input;
  bool complexInput;
  std::size_t inputLength;  // 0: all
  int up = 1, upDelay = 0, down = 1, downDelay = 0;
};

template <class T>
std::vector<T> Head(std::vector<T> v, std::size_t n) {
  if (n && n < v.size()) v.resize(n);
  return v;
}

TEST(FilterOracle, BlocksOfAnySizeEqualTheWholeSignalFilteredByScipy) {
  const std::vector<Case> cases = {
      {"fir_h64_x", rstFIR, "h64", false, "x", false, 0},
      {"fir_h17_xc", rstFIR, "h17", false, "xc", true, 0},
      {"fir_hc_x", rstFIR, "hc", true, "x", false, 0},
      {"fir_hc_xc", rstFIR, "hc", true, "xc", true, 0},
      {"sosfilt_ellip13_x", rstIIR, "sos_ellip13", false, "x", false, 0},
      {"sosfilt_ellip13_xc", rstIIR, "sos_ellip13", false, "xc", true, 0},
      {"sosfilt_butter20_x", rstIIR, "sos_butter20", false, "x", false, 0},
      {"updown_2_0_3_0", rstFIR, "h13", false, "x", false, 200, 2, 0, 3, 0},
      {"updown_1_0_4_0", rstFIR, "h13", false, "x", false, 200, 1, 0, 4, 0},
      {"updown_5_4_3_2", rstFIR, "h13", false, "x", false, 200, 5, 4, 3, 2},
      {"updown_c_3_1_2_1", rstFIR, "hc", true, "xc", true, 200, 3, 1, 2, 1},
      {"updown_rc_2_1_3_2", rstFIR, "hc", true, "x", false, 200, 2, 1, 3, 2},
  };
  for (const Case& k : cases)
    for (std::size_t block : kBlocks) {
      TSignal in(nullptr);
      TSignalFilter f(nullptr);
      f.SetInput(&in);
      f.SetResponse(k.response);
      f.SetUpSample(k.up);
      f.SetUpDelay(k.upDelay);
      f.SetDownSample(k.down);
      f.SetDownDelay(k.downDelay);
      if (k.complexTaps) test::SetTaps(f, Complex(k.taps));
      else if (k.taps == "h13") test::SetTaps(f, Head(Real("h17"), 13));
      else test::SetTaps(f, Real(k.taps));
      std::size_t allocations = 0;
      const auto got = k.complexInput ? test::RunBlocks(f, in, Head(Complex(k.input), k.inputLength), block, &allocations)
                                      : test::RunBlocks(f, in, Head(Real(k.input), k.inputLength), block, &allocations);
      EXPECT_TRUE(test::Close(got, Want(k.want, k.complexInput || k.complexTaps), 1e-10))
          << k.want << ", blocks of " << block;
      EXPECT_EQ(allocations, 0u) << k.want << ", blocks of " << block;
    }
}

TEST(FilterOracle, RunningMedianIsScipysMedfiltDelayed) {
  const auto x = Real("x");
  const auto want = Real("medfilt_31");
  for (std::size_t block : kBlocks) {
    TSignal in(nullptr);
    TSignalFilter f(nullptr);
    f.SetInput(&in);
    f.SetResponse(rstMedian);
    f.SetFirLength(31);
    const auto got = test::RunBlocks(f, in, x, block);
    ASSERT_EQ(got.size(), x.size());
    for (std::size_t k = 15; k < got.size(); ++k)
      ASSERT_EQ(got[k].real(), want[k - 15]) << "sample " << k << ", blocks of " << block;
  }
}

}  // namespace
}  // namespace sigflow
