// Estimators against numpy/scipy results in tests/reference/estimators.txt.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "numeric_check.h"
#include "sigflow/numeric/Estimators.h"
#include "support/reference.h"

namespace {

using sigflow::test::CloseTo;
using sigflow::test::ToComplex;
using C = std::complex<double>;

const sigflow::test::ReferenceData& Ref() {
  static const sigflow::test::ReferenceData ref("estimators.txt");
  return ref;
}
std::vector<double> Real(const char* name) { return Ref()[name]; }
std::vector<C> Cplx(const char* name) { return ToComplex(Ref()[name]); }

TEST(CorrelationOracle, AutoAndCrossCorrelationsMatchNumpyCorrelate) {
  const auto x = Real("corr_x"), y = Real("corr_y");
  const std::span<const double> xs(x);
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrBiased(xs, 12), Real("acb_x"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrUnBiased(xs, 12), Real("acu_x"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrNormal(xs, 12), Real("acn_x"), 1e-13));
  const auto z = Cplx("corr_z"), w = Cplx("corr_w");
  const std::span<const C> zs(z);
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrBiased(zs, 12), Cplx("acb_z"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrUnBiased(zs, 12), Cplx("acu_z"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::AutoCorrNormal(zs, 12), Cplx("acn_z"), 1e-13));
  // Lags beyond the overlap included.
  EXPECT_TRUE(CloseTo(sigflow::CrossCorr(xs, y, 5, 9), Real("cross_xy"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::CrossCorr(std::span<const double>(y), x, 0, 40), Real("cross_yx"), 1e-13));
  EXPECT_TRUE(CloseTo(sigflow::CrossCorr(zs, w, 7, 3), Cplx("cross_zw"), 1e-13));
}

TEST(LevinsonOracle, RealAndComplexMatchToeplitzSolve) {
  const auto r = Real("lev_r");
  const auto m = sigflow::Levinson(std::span<const double>(r));
  EXPECT_TRUE(CloseTo(m.A, Real("lev_a"), 1e-10));
  EXPECT_TRUE(CloseTo(m.Reflection, Real("lev_refl"), 1e-10));
  EXPECT_NEAR(m.NoiseVariance, Real("lev_noise")[0], 1e-10 * Real("lev_noise")[0]);
  const auto rc = Cplx("levc_r");
  const auto mc = sigflow::Levinson(std::span<const C>(rc));
  EXPECT_TRUE(CloseTo(mc.A, Cplx("levc_a"), 1e-10));
  EXPECT_TRUE(CloseTo(mc.Reflection, Cplx("levc_refl"), 1e-10));
  EXPECT_NEAR(mc.NoiseVariance, Real("levc_noise")[0], 1e-10 * Real("levc_noise")[0]);
}

template <class T>
sigflow::TArModel<T> Estimate(const std::string& method, std::span<const T> x, std::size_t p) {
  if (method == "burg") return sigflow::ArBurg(x, p);
  if (method == "cov") return sigflow::ArCovariance(x, p);
  if (method == "mcov") return sigflow::ArMCovariance(x, p);
  return sigflow::ArYuleWalker(x, p);
}

TEST(AutoRegressiveOracle, RealEstimatorsMatchDirectLeastSquaresAndBurg) {
  const auto x = Real("ar_x");
  for (const char* method : {"burg", "cov", "mcov", "yw"}) {
    SCOPED_TRACE(method);
    const auto m = Estimate<double>(method, x, 6);
    const std::string p = method;
    EXPECT_TRUE(CloseTo(m.A, Real((p + "_a").c_str()), 1e-9));
    const double noise = Real((p + "_noise").c_str())[0];
    EXPECT_NEAR(m.NoiseVariance, noise, 1e-9 * noise);
  }
  EXPECT_TRUE(CloseTo(sigflow::ArBurg(std::span<const double>(x), 6).Reflection, Real("burg_refl"), 1e-9));
}

TEST(AutoRegressiveOracle, ComplexEstimatorsMatchDirectLeastSquaresAndBurg) {
  const auto z = Cplx("arc_z");
  for (const char* method : {"burg", "cov", "mcov"}) {
    SCOPED_TRACE(method);
    const auto m = Estimate<C>(method, z, 4);
    const std::string p = std::string(method) + "c";
    EXPECT_TRUE(CloseTo(m.A, Cplx((p + "_a").c_str()), 1e-9));
    const double noise = Real((p + "_noise").c_str())[0];
    EXPECT_NEAR(m.NoiseVariance, noise, 1e-9 * noise);
  }
  EXPECT_TRUE(CloseTo(sigflow::ArBurg(std::span<const C>(z), 4).Reflection, Cplx("burgc_refl"), 1e-9));
}

TEST(AutoRegressiveOracle, ModelSpectrumMatchesFreqz) {
  const auto x = Real("ar_x");
  const auto m = sigflow::ArBurg(std::span<const double>(x), 6);
  std::vector<double> psd(64, std::nan(""));
  sigflow::ArSpectrum(std::span<const double>(m.A), m.NoiseVariance, psd);
  EXPECT_TRUE(CloseTo(psd, Real("arspec_psd"), 1e-9));

  const auto z = Cplx("arc_z");
  const auto mc = sigflow::ArBurg(std::span<const C>(z), 4);
  std::vector<double> psdc(48, std::nan(""));
  sigflow::ArSpectrum(std::span<const C>(mc.A), mc.NoiseVariance, psdc);
  EXPECT_TRUE(CloseTo(psdc, Real("arspecc_psd"), 1e-9));
}

TEST(PhaseUnwrapOracle, ConstantPhaseModesEqualNumpyUnwrap) {
  for (auto mode : {sigflow::rpDefault, sigflow::rpConstPhase}) {
    SCOPED_TRACE(mode);
    auto rad = Real("unwrap_in");
    sigflow::PhaseUnwrap(rad, 180, true, mode, 1.0);
    EXPECT_TRUE(CloseTo(rad, Real("unwrap_rad"), 1e-12));
    auto deg = Real("unwrap_deg_in");
    sigflow::PhaseUnwrap(deg, 180, false, mode, 1.0);
    EXPECT_TRUE(CloseTo(deg, Real("unwrap_deg"), 1e-12));
    auto ties = Real("unwrap_ties_in");
    sigflow::PhaseUnwrap(ties, 180, false, mode, 1.0);
    EXPECT_EQ(ties, Real("unwrap_ties"));
  }
}

}  // namespace
