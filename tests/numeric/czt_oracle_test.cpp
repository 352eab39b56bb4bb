// Chirp-z, DCT and cepstra against scipy/numpy results in tests/reference/czt.txt.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

#include "czt_check.h"
#include "numeric_check.h"
#include "sigflow/numeric/Cepstrum.h"
#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Dct.h"
#include "support/reference.h"

using namespace sigflow;
using sigflow::test::CloseTo;

namespace {

const sigflow::test::ReferenceData& Ref() {
  static const sigflow::test::ReferenceData ref("czt.txt");
  return ref;
}
std::vector<double> Real(const std::string& name) { return Ref()[name]; }
std::vector<TCplx> Cplx(const std::string& name) { return sigflow::test::ToComplex(Ref()[name]); }

// The frame <name>_x (real or complex) through a plan with m points.
std::vector<TCplx> Transform(const std::string& name, bool complex, int m, const TCztContour& contour) {
  std::vector<TCplx> out(static_cast<std::size_t>(m));
  TCztPlan plan;
  if (complex) {
    const auto x = Cplx(name + "_x");
    plan.Init(int(x.size()), m, contour);
    Czt(plan, std::span<const TCplx>(x), out);
  } else {
    const auto x = Real(name + "_x");
    plan.Init(int(x.size()), m, contour);
    Czt(plan, std::span<const double>(x), out);
  }
  return out;
}

}  // namespace

// scipy takes A and W as rounded complex numbers, and an angle rounded by eps moves X[k] by
// up to n k eps |x[n]|: scipy is matched with the same complex A and W, the zoom contour of
// exact frequencies with a long double direct sum over those frequencies.
TEST(CztOracle, ZoomsMatchScipyCztAndTheExactFrequencyDtft) {
  for (auto [name, complex] : {std::pair{"zoom_real", false}, std::pair{"zoom_cplx", true}}) {
    SCOPED_TRACE(name);
    const std::string s = name;
    const auto p = Real(s + "_param");  // fs, f0, df, m
    const auto aw = Cplx(s + "_aw");
    const int m = int(p[3]);
    EXPECT_TRUE(CloseTo(Transform(s, complex, m, CztContour(aw[0], aw[1])), Cplx(s + "_X"), 1e-13));
    const auto exact = Transform(s, complex, m, CztZoomContour(p[1], p[2], m, 1.0, 1.0, p[0]));
    EXPECT_TRUE(CloseTo(exact, Cplx(s + "_exact"), 1e-14));
    if (complex) continue;
    // zoom_fft rounds its own A and W (angle and modulus within 2 eps each): point k may move
    // by sum_n n |x[n]| (1 + k) 2 sqrt(2) eps.
    const auto x = Real(s + "_x");
    const auto zoom = Cplx(s + "_zoomfft");
    double moment = 0;
    for (std::size_t n = 0; n < x.size(); ++n) moment += double(n) * std::abs(x[n]);
    for (int k = 0; k < m; ++k)
      EXPECT_LE(std::abs(exact[std::size_t(k)] - zoom[std::size_t(k)]), moment * (1 + k) * 2 * std::sqrt(2.0) * DBL_EPSILON)
          << "k = " << k;
  }
}

TEST(CztOracle, SpiralsOffTheUnitCircleStayWithinTheRoundingBound) {
  // The script stores a real frame for the growing spiral and a complex one for the other.
  for (auto [name, complex] : {std::pair{"spiral_grow", false}, std::pair{"spiral_shrink", true}}) {
    SCOPED_TRACE(name);
    const std::string s = name;
    const auto aw = Cplx(s + "_aw");
    const int m = int(Real(s + "_m")[0]);
    const auto want = Cplx(s + "_X");
    const auto contour = CztContour(aw[0], aw[1]);
    const auto raw = Real(s + "_x");
    const auto x = complex ? Cplx(s + "_x") : std::vector<TCplx>(raw.begin(), raw.end());
    const auto bound = sigflow::test::BluesteinBound(x, m, contour, 2);
    EXPECT_TRUE(sigflow::test::WithinBound(Transform(s, complex, m, contour), want, bound));
    // The bound itself is tight enough to mean something for these contours.
    double scale = 0;
    for (const TCplx& v : want) scale = std::max(scale, std::abs(v));
    EXPECT_LT(*std::max_element(bound.begin(), bound.end()), 1e-10 * scale);
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
  const TCepstrumPhase phase = ComplexCepstrum(Real("cep_neg_x"), c);
  EXPECT_EQ(phase.Delay, int(Real("cep_complex_delay")[0]));
  EXPECT_EQ(phase.Sign, int(Real("cep_complex_delay")[1]));
  EXPECT_TRUE(CloseTo(c, Real("cep_complex"), 1e-10));
}
