// Filter design routines against scipy.signal (tests/reference/filter_design_reference.py).
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

#include "numeric_check.h"
#include "sigflow/numeric/FirDesign.h"
#include "sigflow/numeric/IirDesign.h"
#include "sigflow/numeric/RemezDesign.h"
#include "support/reference.h"

namespace sigflow {
namespace {

const test::ReferenceData& Ref() {
  static const test::ReferenceData ref("filter_design_reference.txt");
  return ref;
}

void ExpectClose(const std::vector<double>& got, const std::vector<double>& want, double tol, const std::string& what) {
  EXPECT_TRUE(test::NearAbs(got, want, tol)) << what;
}

// Window parameters the reference used, by window ordinal.
const double kWindowParam[] = {0, 0, 0, 0, 0, -0.16, 0, 0, 0, 5.0, 60.0};

TEST(FirDesignOracle, SymmetricWindowsMatchScipy) {
  for (int w = fwRectangular; w <= fwChebyshev; ++w)
    for (int n : {1, 2, 16, 31})
      ExpectClose(FirDesignWindow(n, static_cast<TFirWindow>(w), kWindowParam[w]),
                  Ref()["window_" + std::to_string(w) + "_" + std::to_string(n)], 1e-13,
                  "window " + std::to_string(w) + " length " + std::to_string(n));
}

TEST(FirDesignOracle, WindowedSincMatchesFirwinForEveryBandTypeAndWindow) {
  const std::vector<double> cut1{0.3}, cut2{0.2, 0.55};
  for (int t = ftLowpass; t <= ftBandstop; ++t) {
    const auto& cut = t < ftBandpass ? cut1 : cut2;
    for (int w = fwRectangular; w <= fwChebyshev; ++w) {
      for (int n : {31, 32}) {
        if (n == 32 && (t == ftHighpass || t == ftBandstop)) continue;
        const std::string name = "firwin_" + std::to_string(t) + "_" + std::to_string(w) + "_" + std::to_string(n);
        ExpectClose(FirImpulse(n, cut, static_cast<TFilterType>(t), static_cast<TFirWindow>(w), kWindowParam[w]),
                    Ref()[name], 1e-10, name);
      }
    }
  }
}

TEST(FirDesignOracle, KaiserLengthAndBetaMatchKaiserord) {
  const auto& in = Ref()["kaiserord_in"];
  const auto& out = Ref()["kaiserord_out"];
  for (std::size_t i = 0; i < in.size() / 2; ++i) {
    EXPECT_EQ(KaiserFirLength(in[2 * i], in[2 * i + 1]), static_cast<int>(out[2 * i]))
        << "ripple " << in[2 * i] << " width " << in[2 * i + 1];
    EXPECT_NEAR(KaiserBetaFir(in[2 * i]), out[2 * i + 1], 1e-12) << "ripple " << in[2 * i];
  }
  const auto& a = Ref()["kaiser_beta_in"];
  const auto& b = Ref()["kaiser_beta_out"];
  for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(KaiserBetaFir(a[i]), b[i], 1e-12) << "attenuation " << a[i];
}

TEST(RemezOracle, EquirippleOptimumMatchesScipy) {
  struct Case {
    const char* name;
    int n;
    std::vector<double> bands, desired, weight;
    TRemezType type;
    double fs;
  };
  const std::vector<Case> cases = {
      {"bp", 61, {0, 0.1, 0.15, 0.3, 0.35, 0.5}, {0, 1, 0}, {1, 2, 1}, rmtMultiband, 1.0},
      {"bp_even", 40, {0, 500, 800, 1500, 1800, 4000}, {0, 1, 0}, {10, 1, 10}, rmtMultiband, 8000.0},
      {"lp", 101, {0, 0.2, 0.23, 0.5}, {1, 0}, {1, 30}, rmtMultiband, 1.0},
      {"diff", 31, {0, 0.4}, {1}, {1}, rmtDifferentiator, 1.0},
      {"diff_even", 30, {0, 0.45}, {1}, {1}, rmtDifferentiator, 1.0},
      {"hilbert", 31, {0.05, 0.45}, {1}, {1}, rmtHilbert, 1.0},
      {"hilbert_even", 32, {0.05, 0.5}, {1}, {1}, rmtHilbert, 1.0},
      {"diff_short", 57, {0, 0.37}, {1}, {1}, rmtDifferentiator, 1.0},
      {"hilbert_short", 75, {0.09, 0.41}, {1}, {1}, rmtHilbert, 1.0},
  };
  for (const Case& c : cases)
    ExpectClose(remez(c.n, c.bands, c.desired, c.weight, c.type, c.fs), Ref()[std::string("remez_") + c.name], 1e-6,
                c.name);
}

// Largest deviation from the desired gain over the bands, on a dense grid.
double BandError(const std::vector<double>& h, const std::vector<double>& edges, const std::vector<double>& desired) {
  double worst = 0.0;
  for (std::size_t b = 0; b < desired.size(); ++b)
    for (int i = 0; i <= 4000; ++i) {
      const double f = edges[2 * b] + (edges[2 * b + 1] - edges[2 * b]) * i / 4000.0;
      std::complex<double> s = 0.0;
      for (std::size_t n = 0; n < h.size(); ++n) s += h[n] * std::polar(1.0, -2.0 * std::numbers::pi * f * n);
      worst = std::max(worst, std::abs(std::abs(s) - desired[b]));
    }
  return worst;
}

TEST(RemezOracle, WhereScipyStopsShortTheOptimumIsBetter) {
  // Wide free gaps: scipy stops with errors near 1e-6 while the optimum on its grid is near
  // 3e-10; the exchange here must reach at least scipy's quality, and do so equiripple.
  const std::vector<double> edges{0, 0.0167, 0.21, 0.27, 0.42, 0.5}, desired{0, 1, 0};
  const auto h = remez(68, edges, desired, {});
  const double ours = BandError(h, edges, desired);
  const double theirs = BandError(Ref()["remez_bp_gaps"], edges, desired);
  EXPECT_LT(ours, theirs);
  EXPECT_LT(ours, 1e-9);
}

// Sections compared by their response on 4096 frequencies (as scipy's sosfreqz), not by
// section order.
void ExpectSameResponse(const std::vector<double>& sos, const std::vector<double>& ref, double tol,
                        const std::string& what) {
  ASSERT_EQ(sos.size() % 6, 0u) << what;
  EXPECT_EQ(sos.size(), ref.size()) << what << ": section count";
  double worst = 0.0;
  int at = 0;
  for (int k = 0; k < 4096; ++k) {
    const double w = k / 4096.0;
    const std::complex<double> a = SosResponse(sos, w), b = SosResponse(ref, w);
    const double e = std::abs(a - b) / std::max(1.0, std::abs(b));
    if (!(e <= worst)) {
      worst = e;
      at = k;
    }
  }
  EXPECT_LE(worst, tol) << what << ": worst at w = " << at / 4096.0;
  for (std::size_t s = 0; s < sos.size(); s += 6) EXPECT_EQ(sos[s + 3], 1.0) << what;
}

const std::vector<std::string> kTemplates = {"low", "high", "pass", "stop"};
const TFilterType kTypes[] = {ftLowpass, ftHighpass, ftBandpass, ftBandstop};

TEST(IirDesignOracle, OrderSelectionMatchesScipy) {
  const std::vector<std::vector<double>> wp = {{0.2}, {0.3}, {0.2, 0.5}, {0.1, 0.6}};
  const std::vector<std::vector<double>> ws = {{0.3}, {0.2}, {0.1, 0.6}, {0.2, 0.5}};
  for (std::size_t t = 0; t < 4; ++t) {
    const TIirOrder got[] = {ButterOrder(wp[t], ws[t], 1.0, 50.0), ChebyshevIOrder(wp[t], ws[t], 1.0, 50.0),
                             ChebyshevIIOrder(wp[t], ws[t], 1.0, 50.0), EllipticOrder(wp[t], ws[t], 1.0, 50.0)};
    const char* fam[] = {"butter", "cheby1", "cheby2", "ellip"};
    for (int f = 0; f < 4; ++f) {
      const std::string name = std::string("ord_") + fam[f] + "_" + kTemplates[t];
      const auto& r = Ref()[name];
      EXPECT_EQ(got[f].Order, static_cast<int>(r[0])) << name;
      // Band-stop edges come from a bounded search that stops within 1e-5 of the optimum,
      // so they agree to that search's resolution only.
      ExpectClose(got[f].Wn, std::vector<double>(r.begin() + 1, r.end()), kTemplates[t] == "stop" ? 1e-6 : 1e-12, name);
    }
  }
}

TEST(IirDesignOracle, DesignsMatchScipyResponsesForEveryTransform) {
  for (std::size_t t = 0; t < 4; ++t) {
    for (const char* fam : {"butter", "cheby1", "cheby2", "ellip"}) {
      const std::string suffix = std::string(fam) + "_" + kTemplates[t];
      const auto& o = Ref()["ord_" + suffix];
      const int n = static_cast<int>(o[0]);
      const std::vector<double> wn(o.begin() + 1, o.end());
      for (int tr = iftStateSpaceAnalog; tr <= iftZeroPoleDiscrete; ++tr) {
        const auto how = static_cast<TIirFrequencyTransform>(tr);
        const std::string f = fam;
        const auto sos = f == "butter"   ? ButterFilter(n, wn, kTypes[t], how)
                         : f == "cheby1" ? ChebyshevIFilter(n, 1.0, wn, kTypes[t], how)
                         : f == "cheby2" ? ChebyshevIIFilter(n, 50.0, wn, kTypes[t], how)
                                         : EllipticFilter(n, 1.0, 50.0, wn, kTypes[t], how);
        ExpectSameResponse(sos, Ref()["sos_" + suffix], 1e-10, suffix + " transform " + std::to_string(tr));
      }
    }
    const std::vector<double> wn = t < 2 ? std::vector<double>{0.3} : std::vector<double>{0.25, 0.45};
    for (int n : {1, 2, 5, 8})
      for (int tr = iftStateSpaceAnalog; tr <= iftZeroPoleDiscrete; ++tr)
        ExpectSameResponse(BesselFilter(n, wn, kTypes[t], static_cast<TIirFrequencyTransform>(tr)),
                           Ref()["sos_bessel" + std::to_string(n) + "_" + kTemplates[t]], 1e-10,
                           "bessel " + std::to_string(n) + " " + kTemplates[t]);
  }
}

TEST(IirDesignOracle, HighOrdersMatchScipy) {
  ExpectSameResponse(ButterFilter(30, std::vector<double>{0.3, 0.35}, ftBandpass), Ref()["sos_butter30_pass"], 1e-9,
                     "butter 30 band-pass");
  ExpectSameResponse(EllipticFilter(12, 0.1, 90, std::vector<double>{0.4, 0.42}, ftBandstop), Ref()["sos_ellip12_stop"],
                     1e-9, "elliptic 12 band-stop");
  ExpectSameResponse(ChebyshevIFilter(20, 0.5, std::vector<double>{0.05}, ftLowpass), Ref()["sos_cheby1_20_low"], 1e-9,
                     "Chebyshev I 20 low-pass");
  ExpectSameResponse(BesselFilter(25, std::vector<double>{0.4}, ftLowpass), Ref()["sos_bessel25_low"], 1e-9,
                     "Bessel 25 low-pass");
}

TEST(IirDesignOracle, NotchMatchesIirnotch) {
  for (auto [w0, q, name] :
       {std::tuple{0.25, 30.0, "notch_0.25_30.0"}, {0.1, 5.0, "notch_0.1_5.0"}, {0.8, 2.0, "notch_0.8_2.0"}})
    ExpectClose(NotchFilter(w0, q), Ref()[name], 1e-14, name);
}

TEST(SavGolayOracle, TapsMatchSavgolCoeffs) {
  for (auto [n, p] : {std::pair{5, 2}, {11, 3}, {31, 4}, {12, 3}, {21, 0}, {7, 6}, {51, 10}, {40, 7}})
    ExpectClose(SavGolayImpulse(n, p), Ref()["savgol_" + std::to_string(n) + "_" + std::to_string(p)], 1e-12,
                "length " + std::to_string(n) + " order " + std::to_string(p));
}

}  // namespace
}  // namespace sigflow
