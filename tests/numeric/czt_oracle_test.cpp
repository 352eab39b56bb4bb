// Chirp-z, DCT and cepstra against scipy/numpy results in tests/reference/czt.txt.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <complex>
#include <vector>

#include "czt_check.h"
#include "estimator_check.h"
#include "sigflow/numeric/Cepstrum.h"
#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Dct.h"
#include "support/reference.h"

using namespace sigflow;
using sigflow::test::BluesteinBound;
using sigflow::test::CloseTo;
using sigflow::test::WithinBound;
using sigflow::test::ToComplex;

namespace {

const sigflow::test::ReferenceData& Ref() {
  static const sigflow::test::ReferenceData ref("czt.txt");
  return ref;
}
std::vector<double> Real(const std::string& name) { return Ref()[name]; }
std::vector<TCplx> Cplx(const std::string& name) { return ToComplex(Ref()[name]); }

double MaxAbs(const std::vector<TCplx>& v) {
  double m = 0;
  for (const TCplx& c : v) m = std::max(m, std::abs(c));
  return m;
}

}  // namespace

// scipy takes A and W as rounded complex numbers; an angle rounded by eps moves X[k] by up to
// n k eps |x[n]|, so scipy is matched with the same complex A and W, and the zoom contour of
// exact frequencies is matched with a long double direct sum over those frequencies.
TEST(CztOracle, ZoomOfARealPrimeLengthFrameMatchesScipyCztAndZoomFft) {
  const auto x = Real("zoom_real_x");
  const auto p = Real("zoom_real_param");  // fs, f0, df, m
  const auto aw = Cplx("zoom_real_aw");
  const int m = int(p[3]);
  std::vector<TCplx> got{std::vector<TCplx>(std::size_t(m))};
  TCztPlan plan;
  plan.Init(int(x.size()), m, CztContour(aw[0], aw[1]));
  Czt(plan, std::span<const double>(x), got);
  EXPECT_TRUE(CloseTo(got, Cplx("zoom_real_X"), 1e-13));
  plan.Init(int(x.size()), m, CztZoomContour(p[1], p[2], m, 1.0, 1.0, p[0]));
  Czt(plan, std::span<const double>(x), got);
  EXPECT_TRUE(CloseTo(got, Cplx("zoom_real_exact"), 1e-14));
  // zoom_fft rounds its own A and W (angle and modulus within 2 eps each): point k may then
  // move by sum_n n |x[n]| (1 + k) 2 sqrt(2) eps.
  double moment = 0;
  for (std::size_t n = 0; n < x.size(); ++n) moment += double(n) * std::abs(x[n]);
  const auto zoom = Cplx("zoom_real_zoomfft");
  for (int k = 0; k < m; ++k)
    EXPECT_LE(std::abs(got[std::size_t(k)] - zoom[std::size_t(k)]),
              moment * (1 + k) * 2 * std::sqrt(2.0) * DBL_EPSILON)
        << "k = " << k;
}

TEST(CztOracle, ZoomOfAComplexFrameInHertzWithMorePointsThanSamples) {
  const auto x = Cplx("zoom_cplx_x");
  const auto p = Real("zoom_cplx_param");
  const auto aw = Cplx("zoom_cplx_aw");
  const int m = int(p[3]);
  std::vector<TCplx> got{std::vector<TCplx>(std::size_t(m))};
  TCztPlan plan;
  plan.Init(int(x.size()), m, CztContour(aw[0], aw[1]));
  Czt(plan, std::span<const TCplx>(x), got);
  EXPECT_TRUE(CloseTo(got, Cplx("zoom_cplx_X"), 1e-13));
  plan.Init(int(x.size()), m, CztZoomContour(p[1], p[2], m, 1.0, 1.0, p[0]));
  Czt(plan, std::span<const TCplx>(x), got);
  EXPECT_TRUE(CloseTo(got, Cplx("zoom_cplx_exact"), 1e-14));
}

TEST(CztOracle, SpiralsOffTheUnitCircleStayWithinTheRoundingBound) {
  // The script stores a real frame for the growing spiral and a complex one for the other.
  for (auto [name, complex] : {std::pair{"spiral_grow", false}, std::pair{"spiral_shrink", true}}) {
    SCOPED_TRACE(name);
    const std::string s = name;
    const auto aw = Cplx(s + "_aw");
    const int m = int(Real(s + "_m")[0]);
    const auto want = Cplx(s + "_X");
    const auto raw = Real(s + "_x");
    std::vector<TCplx> got{std::vector<TCplx>(std::size_t(m))};
    TCztPlan plan;
    std::vector<TCplx> xc;
    if (complex) {
      xc = ToComplex(raw);
      plan.Init(int(xc.size()), m, CztContour(aw[0], aw[1]));
      Czt(plan, std::span<const TCplx>(xc), got);
    } else {
      xc.assign(raw.begin(), raw.end());
      plan.Init(int(raw.size()), m, CztContour(aw[0], aw[1]));
      Czt(plan, std::span<const double>(raw), got);
    }
    const auto bound = BluesteinBound(xc, m, CztContour(aw[0], aw[1]), 2);
    EXPECT_TRUE(WithinBound(got, want, bound));
    // The bound itself is tight enough to mean something for these contours.
    EXPECT_LT(*std::max_element(bound.begin(), bound.end()), 1e-10 * MaxAbs(want));
  }
}

TEST(DctOracle, TypeTwoAndItsInverseMatchScipyInBothScalings) {
  for (int n : {1, 2, 7, 64, 101}) {
    SCOPED_TRACE(n);
    const auto x = Real("dct_x" + std::to_string(n));
    std::vector<double> y(x.size());
    for (auto [norm, tag] : {std::pair{dnNone, "none"}, std::pair{dnOrtho, "ortho"}}) {
      DCT(std::span<const double>(x), y, norm);
      EXPECT_TRUE(CloseTo(y, Real(std::string("dct_") + tag + std::to_string(n)), 1e-13)) << tag;
      IDCT(std::span<const double>(x), y, norm);
      EXPECT_TRUE(CloseTo(y, Real(std::string("idct_") + tag + std::to_string(n)), 1e-13)) << tag;
    }
  }
}

TEST(CepstrumOracle, RealAndComplexCepstraOfAnEchoMatchNumpy) {
  const auto x = Real("cep_x");
  std::vector<double> c(x.size());
  RealCepstrum(x, c, 0.0);
  EXPECT_TRUE(CloseTo(c, Real("cep_real"), 1e-12));
  RealCepstrum(x, c, 0.5);
  EXPECT_TRUE(CloseTo(c, Real("cep_real_floor"), 1e-12));
  const auto negated = Real("cep_neg_x");
  const TCepstrumPhase phase = ComplexCepstrum(negated, c);
  EXPECT_EQ(phase.Delay, int(Real("cep_complex_delay")[0]));
  EXPECT_EQ(phase.Sign, int(Real("cep_complex_delay")[1]));
  EXPECT_TRUE(CloseTo(c, Real("cep_complex"), 1e-10));
}
