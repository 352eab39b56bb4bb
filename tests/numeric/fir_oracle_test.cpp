#include <gtest/gtest.h>

#include <complex>
#include <string>

#include "block_runner.h"
#include "fir_reference.h"
#include "sigflow/numeric/FirState.h"

using namespace sigflow;
using namespace sigflow::test;
using cplx = std::complex<double>;

namespace {

const ReferenceData& Ref() {
  static const ReferenceData ref("kernels.txt");
  return ref;
}

std::vector<double> Head(const std::vector<double>& v, std::size_t n) { return {v.begin(), v.begin() + n}; }
std::vector<cplx> Head(const std::vector<cplx>& v, std::size_t n) { return {v.begin(), v.begin() + n}; }

}  // namespace

TEST(FirFilterOracle, RealTapsOnRealDataMatchLfilterInAnyBlocking) {
  const auto x = Real(Ref(), "x");
  CheckFir(Real(Ref(), "h64"), x, Real(Ref(), "fir_h64_x"));
  CheckFir(Real(Ref(), "h17"), x, Real(Ref(), "fir_h17_x"));
}

TEST(FirFilterOracle, ComplexTapsOrComplexDataMatchLfilter) {
  CheckFir(Real(Ref(), "h17"), Complex(Ref(), "xc"), Complex(Ref(), "fir_h17_xc"));
  CheckFir(Complex(Ref(), "hc"), Real(Ref(), "x"), Complex(Ref(), "fir_hc_x"));
  CheckFir(Complex(Ref(), "hc"), Complex(Ref(), "xc"), Complex(Ref(), "fir_hc_xc"));
}

TEST(FirFilterOracle, LongFiltersOnTheFftPathMatchLfilter) {
  CheckFir(Real(Ref(), "h512"), Real(Ref(), "x"), Real(Ref(), "fir_h512_x"));
  CheckFir(Complex(Ref(), "h512c"), Complex(Ref(), "xc"), Complex(Ref(), "fir_h512c_xc"));
}

TEST(FirRateOracle, EveryRatePairMatchesUpfirdn) {
  const auto xs = Head(Real(Ref(), "x"), 200);
  const auto h13 = Head(Real(Ref(), "h17"), 13);
  for (int up = 1; up <= 5; ++up)
    for (int down = 1; down <= 5; ++down) {
      SCOPED_TRACE("up " + std::to_string(up) + " down " + std::to_string(down));
      CheckFir(h13, xs, Real(Ref(), "updown_" + std::to_string(up) + "_0_" + std::to_string(down) + "_0"), up,
               0, down, 0);
    }
}

TEST(FirRateOracle, DelaysShiftTheUpfirdnStream) {
  const auto xs = Head(Real(Ref(), "x"), 200);
  const auto h13 = Head(Real(Ref(), "h17"), 13);
  const int cases[][4] = {{3, 2, 2, 1}, {5, 4, 3, 2}, {1, 0, 5, 3}, {4, 1, 1, 0}, {2, 1, 4, 3}};
  for (const auto& c : cases) {
    const std::string name = "updown_" + std::to_string(c[0]) + "_" + std::to_string(c[1]) + "_" +
                             std::to_string(c[2]) + "_" + std::to_string(c[3]);
    SCOPED_TRACE(name);
    CheckFir(h13, xs, Real(Ref(), name), c[0], c[1], c[2], c[3]);
    // The slow reference used by the unit tests agrees with scipy on the same cases.
    EXPECT_TRUE(Near(UpFirDown(h13, xs, c[0], c[1], c[2], c[3]), Real(Ref(), name), 1e-13));
  }
  const auto hc = Complex(Ref(), "hc");
  CheckFir(hc, Head(Complex(Ref(), "xc"), 200), Complex(Ref(), "updown_c_3_1_2_1"), 3, 1, 2, 1);
  CheckFir(hc, xs, Complex(Ref(), "updown_rc_2_1_3_2"), 2, 1, 3, 2);
}
