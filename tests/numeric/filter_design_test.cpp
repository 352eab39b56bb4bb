#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

#include "sigflow/numeric/FirDesign.h"
#include "sigflow/numeric/IirDesign.h"
#include "sigflow/numeric/RemezDesign.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::MessageOf;
constexpr double kPi = std::numbers::pi;

// FIR response at the normalised frequency w (1 = Nyquist).
std::complex<double> FirResponse(const std::vector<double>& h, double w) {
  const std::complex<double> step = std::polar(1.0, -kPi * w);
  std::complex<double> z = 1.0, acc = 0.0;
  for (double v : h) {
    acc += v * z;
    z *= step;
  }
  return acc;
}

struct Band {
  double lo, hi;
  bool pass;
};

struct BandTemplate {
  const char* name;
  TFilterType type;
  std::vector<double> wp, ws;  // normalised edges as the IIR order routines take them
  double rippleDb, attenuationDb;

  std::vector<Band> Bands() const {
    switch (type) {
      case ftLowpass: return {{0, wp[0], true}, {ws[0], 1, false}};
      case ftHighpass: return {{0, ws[0], false}, {wp[0], 1, true}};
      case ftBandpass: return {{0, ws[0], false}, {wp[0], wp[1], true}, {ws[1], 1, false}};
      default: return {{0, wp[0], true}, {ws[0], ws[1], false}, {wp[1], 1, true}};
    }
  }
};

const std::vector<BandTemplate> kTemplates = {
    {"low loose", ftLowpass, {0.2}, {0.35}, 1.0, 40.0},
    {"low tight", ftLowpass, {0.2}, {0.23}, 0.1, 80.0},
    {"high loose", ftHighpass, {0.5}, {0.35}, 1.0, 40.0},
    {"high tight", ftHighpass, {0.6}, {0.57}, 0.5, 70.0},
    {"band-pass loose", ftBandpass, {0.3, 0.5}, {0.15, 0.65}, 1.0, 40.0},
    {"band-pass tight", ftBandpass, {0.3, 0.4}, {0.27, 0.43}, 0.2, 70.0},
    {"band-stop loose", ftBandstop, {0.15, 0.7}, {0.3, 0.5}, 1.0, 40.0},
    {"band-stop tight", ftBandstop, {0.2, 0.6}, {0.24, 0.56}, 0.3, 60.0},
    {"low very loose", ftLowpass, {0.05}, {0.3}, 3.0, 30.0},
    {"band-pass wide", ftBandpass, {0.1, 0.8}, {0.05, 0.9}, 0.5, 50.0},
};

// Worst violation of the mask over 800 points per band (<= 0 when met). FIR pass bands allow
// |H| in 1 +- (10^(R/20) - 1), IIR ones [10^(-R/20), 1]; stop bands |H| <= 10^(-A/20).
template <typename Response>
double MaskViolation(const BandTemplate& t, bool fir, Response response, std::string& where) {
  const double dp = std::pow(10.0, t.rippleDb / 20.0) - 1.0;
  const double ds = std::pow(10.0, -t.attenuationDb / 20.0);
  double worst = -1.0;
  for (const Band& b : t.Bands()) {
    for (int i = 0; i <= 800; ++i) {
      const double w = b.lo + (b.hi - b.lo) * i / 800.0;
      const double m = std::abs(response(w));
      double v;
      if (!b.pass)
        v = (m - ds) / ds;
      else if (fir)
        v = (std::abs(m - 1.0) - dp) / dp;
      else
        v = std::max(std::pow(10.0, -t.rippleDb / 20.0) - m, m - (1.0 + 1e-9)) / dp;
      if (v > worst) {
        worst = v;
        where = "w = " + std::to_string(w) + ", |H| = " + std::to_string(m);
      }
    }
  }
  return worst;
}

std::vector<double> Cutoffs(const BandTemplate& t) {
  std::vector<double> c;
  for (std::size_t i = 0; i < t.wp.size(); ++i) c.push_back(0.5 * (t.wp[i] + t.ws[i]));
  return c;
}

// The Kaiser and Herrmann length formulas are estimates: the shortest length from the estimate
// on that meets the mask must lie within a bound beyond it.
template <typename Design>
int ShortestMeetingLength(const BandTemplate& t, int estimate, Design design, std::string& where) {
  const int step = (t.type == ftHighpass || t.type == ftBandstop) ? 2 : 1;
  for (int n = estimate; n <= estimate + estimate / 5 + 8; n += step) {
    const auto h = design(n);
    if (MaskViolation(t, true, [&](double w) { return FirResponse(h, w); }, where) <= 0.0) return n;
  }
  return -1;
}

TEST(FilterTemplates, KaiserWindowAndParksMcClellanAtTheirEstimatedLengthsMeetEveryTemplate) {
  for (const BandTemplate& t : kTemplates) {
    SCOPED_TRACE(t.name);
    const bool odd = t.type == ftHighpass || t.type == ftBandstop;
    const double dp = std::pow(10.0, t.rippleDb / 20.0) - 1.0, ds = std::pow(10.0, -t.attenuationDb / 20.0);
    const double att = -20.0 * std::log10(std::min(dp, ds));
    double width = 1.0;
    for (std::size_t i = 0; i < t.wp.size(); ++i) width = std::min(width, std::abs(t.wp[i] - t.ws[i]));
    std::string where;
    const int kaiser = KaiserFirLength(att, width) | (odd ? 1 : 0);
    int n = ShortestMeetingLength(t, kaiser, [&](int len) {
      return FirImpulse(len, Cutoffs(t), t.type, fwKaiser, KaiserBetaFir(att));
    }, where);
    ASSERT_GT(n, 0) << "Kaiser: no length up to 20% beyond " << kaiser << " meets the mask, last miss at " << where;
    EXPECT_LE(n, kaiser + kaiser / 8 + 2) << "Kaiser estimate " << kaiser;

    std::vector<double> edges, desired, weight, dev;
    for (const Band& b : t.Bands()) {
      edges.insert(edges.end(), {b.lo, b.hi});
      desired.push_back(b.pass ? 1.0 : 0.0);
      weight.push_back(1.0 / (b.pass ? dp : ds));
      dev.push_back(b.pass ? dp : ds);
    }
    const int pm = RemezLength(edges, dev, 2.0) | (odd ? 1 : 0);
    n = ShortestMeetingLength(t, pm, [&](int len) {
      return remez(len, edges, desired, weight, rmtMultiband, 2.0);
    }, where);
    ASSERT_GT(n, 0) << "remez: no length up to 20% beyond " << pm << " meets the mask, last miss at " << where;
    EXPECT_LE(n, pm + pm / 10 + 5) << "remez estimate " << pm;
  }
}

TEST(FilterTemplates, IirFamiliesMeetEveryTemplateTheyAccept) {
  int designed = 0;
  for (const BandTemplate& t : kTemplates) {
    const double rp = t.rippleDb, as = t.attenuationDb;
    const TIirOrder orders[] = {ButterOrder(t.wp, t.ws, rp, as), ChebyshevIOrder(t.wp, t.ws, rp, as),
                                ChebyshevIIOrder(t.wp, t.ws, rp, as), EllipticOrder(t.wp, t.ws, rp, as)};
    for (int f = 0; f < 4; ++f) {
      const TIirOrder& o = orders[f];
      if (o.Order > 50) continue;  // beyond the accepted order range
      for (int tr = iftStateSpaceAnalog; tr <= iftZeroPoleDiscrete; ++tr) {
        const auto how = static_cast<TIirFrequencyTransform>(tr);
        std::vector<double> sos;
        switch (f) {
          case 0: sos = ButterFilter(o.Order, o.Wn, t.type, how); break;
          case 1: sos = ChebyshevIFilter(o.Order, rp, o.Wn, t.type, how); break;
          case 2: sos = ChebyshevIIFilter(o.Order, as, o.Wn, t.type, how); break;
          default: sos = EllipticFilter(o.Order, rp, as, o.Wn, t.type, how); break;
        }
        std::string where;
        const double v = MaskViolation(t, false, [&](double w) { return SosResponse(sos, w); }, where);
        EXPECT_LE(v, 1e-6) << t.name << " family " << f << " order " << o.Order << " transform "
                           << tr << " misses its mask at " << where;
        ++designed;
      }
    }
  }
  EXPECT_GE(designed, 100);
}

TEST(Remez, ThousandTapsConvergeToEquiripple) {
  const std::vector<double> bands{0, 0.1, 0.105, 0.5}, desired{1, 0}, weight{1, 10};
  const auto h = remez(1000, bands, desired, weight);
  ASSERT_EQ(h.size(), 1000u);
  // Equiripple: the weighted peak error is the same in both bands.
  double pass = 0, stop = 0;
  for (int i = 0; i <= 4000; ++i) {
    pass = std::max(pass, std::abs(std::abs(FirResponse(h, 2 * 0.1 * i / 4000)) - 1.0));
    stop = std::max(stop, 10.0 * std::abs(FirResponse(h, 2 * (0.105 + 0.395 * i / 4000))));
  }
  EXPECT_NEAR(pass / stop, 1.0, 0.02);
  EXPECT_LT(pass, 1e-3);
  for (int i = 0; i < 500; ++i) EXPECT_EQ(h[i], h[999 - i]);
}

TEST(Remez, ImpossibleTemplatesAndBadBandsRaise) {
  const std::vector<double> desired{1, 0};
  // 1001 taps over a 0.02 transition would need an error far below double precision.
  EXPECT_THROW(remez(1001, std::vector<double>{0, 0.2, 0.22, 0.5}, desired, {}), ERemezConvergenceError);
  EXPECT_EQ(MessageOf<ERemezConvergenceError>([&] {
              remez(101, std::vector<double>{0, 0.2, 0.23, 0.5}, desired, {}, rmtMultiband, 1.0, 16, 1);
            }),
            "Parks-McClellan design did not converge in 1 iterations");
  EXPECT_EQ(MessageOf<EFilterDesignError>([&] { remez(31, std::vector<double>{0, 0.3, 0.25, 0.5}, desired, {}); }),
            "Band edges must not decrease");
  // An even length cannot pass Nyquist; edges beyond Nyquist; one desired value for two bands.
  EXPECT_THROW(remez(40, std::vector<double>{0, 0.2, 0.25, 0.5}, std::vector<double>{0, 1}, {}), EFilterDesignError);
  EXPECT_THROW(remez(31, std::vector<double>{0, 0.2, 0.3, 0.6}, desired, {}), EFilterDesignError);
  EXPECT_THROW(remez(31, std::vector<double>{0, 0.2, 0.3, 0.5}, std::vector<double>{1}, {}), EFilterDesignError);
  // A wide free gap lets the optimum rise by orders of magnitude between the bands; taps that
  // miss their own optimum are reported, not returned.
  EXPECT_EQ(MessageOf<ERemezConvergenceError>([] {
              remez(151, std::vector<double>{0, 0.05, 0.3, 0.35, 0.4, 0.5}, std::vector<double>{0, 1, 0}, {});
            }).rfind("Parks-McClellan design is numerically unreliable: the taps miss the optimum by ", 0),
            0u);
}

// |H(nu) / target(nu)| stays within the designed relative ripple, where the phase is the
// ideal one: checks the definition of each response type, not only a magnitude.
double RelativeError(const std::vector<double>& h, TRemezType type, double d, double lo, double hi) {
  const double c = 0.5 * (h.size() - 1);
  double worst = 0;
  for (int i = 0; i <= 1000; ++i) {
    const double nu = lo + (hi - lo) * i / 1000.0;
    const std::complex<double> jnu(0.0, nu);
    std::complex<double> target = d;
    if (type == rmtDifferentiator) target = d * jnu;
    if (type == rmtDoubleDifferentiator) target = d * jnu * jnu;
    if (type == rmtIntegrator) target = d / jnu;
    if (type == rmtDoubleIntegrator) target = d / (jnu * jnu);
    if (type == rmtHilbert) target = std::complex<double>(0.0, d);
    target *= std::polar(1.0, -2.0 * kPi * nu * c);
    // The double differentiator's weight 1/nu makes its criterion |H - T| / (D nu).
    const double scale = type == rmtDoubleDifferentiator ? nu : 1.0;
    worst = std::max(worst, scale * std::abs(FirResponse(h, 2 * nu) / target - 1.0));
  }
  return worst;
}

TEST(Remez, DifferentiatorsIntegratorsAndHilbertFollowTheirIdealResponses) {
  const double twoPi = 2 * kPi;
  struct Case {
    TRemezType type;
    int n;
    double lo, hi, d, tol;
  };
  const Case cases[] = {
      {rmtDifferentiator, 41, 0.0, 0.4, twoPi, 1e-3},
      {rmtDoubleDifferentiator, 41, 0.0, 0.5, twoPi * twoPi, 1e-2},
      {rmtIntegrator, 60, 0.05, 0.5, 1 / twoPi, 5e-3},
      {rmtIntegrator, 61, 0.05, 0.4, 1 / twoPi, 1e-3},
      {rmtDoubleIntegrator, 61, 0.05, 0.4, 1 / (twoPi * twoPi), 1e-3},
      {rmtHilbert, 41, 0.05, 0.45, 1.0, 1e-3},
  };
  for (const Case& c : cases) {
    const auto h = remez(c.n, std::vector<double>{c.lo, c.hi}, std::vector<double>{c.d}, {}, c.type);
    // Below the first grid point (about 1/(32 r)) the criterion is not enforced.
    const double e = RelativeError(h, c.type, c.d, std::max(c.lo, 0.01), c.hi);
    EXPECT_LT(e, c.tol) << "type " << c.type << " length " << c.n;
    EXPECT_GT(e, 0.0);
  }
  // An integrator undoes a differentiator over their common band, within their ripples.
  const auto diff = remez(41, std::vector<double>{0, 0.4}, std::vector<double>{twoPi}, {}, rmtDifferentiator);
  const auto integ = remez(61, std::vector<double>{0.05, 0.4}, std::vector<double>{1 / twoPi}, {}, rmtIntegrator);
  const double ed = RelativeError(diff, rmtDifferentiator, twoPi, 0.05, 0.4);
  const double ei = RelativeError(integ, rmtIntegrator, 1 / twoPi, 0.05, 0.4);
  for (double nu : {0.06, 0.1, 0.2, 0.3, 0.39})
    EXPECT_NEAR(std::abs(FirResponse(diff, 2 * nu) * FirResponse(integ, 2 * nu)), 1.0,
                ed + ei + ed * ei) << nu;
  // Left free between 0.4 and Nyquist, a long integrator's optimum grows by orders of
  // magnitude there; its taps must still carry the in-band optimum, and a longer filter can
  // only do better.
  auto integrator = [&](int n) {
    return RelativeError(remez(n, std::vector<double>{0.02, 0.4}, std::vector<double>{1 / twoPi}, {},
                               rmtIntegrator),
                         rmtIntegrator, 1 / twoPi, 0.02, 0.4);
  };
  const double e61 = integrator(61), e81 = integrator(81), e101 = integrator(101);
  EXPECT_LT(e81, e61);
  EXPECT_LT(e101, e81);
  EXPECT_LT(e101, 5e-3);
}

TEST(RemezImpulse, HalfBandHasExactZerosAndComplementaryResponse) {
  const auto h = RemezImpulse(63, 0.4);
  ASSERT_EQ(h.size(), 63u);
  EXPECT_EQ(h[31], 0.5);
  for (int i = 1; i < 63; i += 2)
    if (i != 31) {
      EXPECT_EQ(h[i], 0.0) << i;
    }
  // H(w) + H(1 - w) has magnitude 1 for a half-band filter with centre tap 1/2.
  for (double w : {0.0, 0.1, 0.25, 0.4, 0.5}) {
    const auto a = FirResponse(h, w), b = FirResponse(h, 1 - w);
    EXPECT_NEAR(std::abs(a * std::polar(1.0, kPi * w * 31) + b * std::polar(1.0, kPi * (1 - w) * 31)), 1.0, 1e-12) << w;
  }
  double pass = 0, stop = 0;
  for (int i = 0; i <= 400; ++i) {
    pass = std::max(pass, std::abs(std::abs(FirResponse(h, 0.4 * i / 400)) - 1));
    stop = std::max(stop, std::abs(FirResponse(h, 0.6 + 0.4 * i / 400)));
  }
  EXPECT_NEAR(pass, stop, 1e-9);
  EXPECT_LT(stop, 1e-4);
  EXPECT_THROW(RemezImpulse(61, 0.4), EFilterDesignError);
}

TEST(FirImpulse, DifferentiatorAndHilbertApproachTheirIdealResponses) {
  const auto d = FirImpulse(61, std::vector<double>{1.0}, ftDifferentiator, fwHamming, 0);
  for (double w : {0.05, 0.2, 0.5, 0.7}) {
    const auto want = std::complex<double>(0.0, kPi * w) * std::polar(1.0, -kPi * w * 30);
    EXPECT_LT(std::abs(FirResponse(d, w) - want), 6e-3) << w;
  }
  const auto h = FirImpulse(61, std::vector<double>{0.05, 0.95}, ftHilbert, fwBlackman, -0.16);
  for (double w : {0.2, 0.5, 0.8}) {
    const auto want = std::complex<double>(0.0, 1.0) * std::polar(1.0, -kPi * w * 30);
    EXPECT_LT(std::abs(FirResponse(h, w) - want), 2e-3) << w;
  }
  // Rectangular window: the truncated ideal responses exactly.
  const auto r = FirImpulse(5, std::vector<double>{1.0}, ftDifferentiator, fwRectangular, 0);
  const double want[] = {-0.5, 1.0, 0.0, -1.0, 0.5};  // (-1)^m / m
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(r[i], want[i], 1e-15) << i;
  const auto hb = FirImpulse(5, std::vector<double>{1.0}, ftHilbert, fwRectangular, 0);
  const double wantH[] = {0.0, 2 / kPi, 0.0, -2 / kPi, 0.0};
  for (int i = 0; i < 5; ++i) EXPECT_NEAR(hb[i], wantH[i], 1e-15) << i;
}

TEST(FirImpulse, RejectsInvalidArguments) {
  EXPECT_EQ(MessageOf<EFilterDesignError>([] { FirImpulse(32, std::vector<double>{0.3}, ftHighpass, fwHamming, 0); }),
            "A filter that passes the Nyquist frequency needs an odd length, got 32");
  EXPECT_THROW(FirImpulse(31, std::vector<double>{0.3}, ftBandpass, fwHamming, 0), EFilterDesignError);
  EXPECT_THROW(FirImpulse(31, std::vector<double>{0.5, 0.3}, ftBandpass, fwHamming, 0), EFilterDesignError);
  EXPECT_THROW(FirImpulse(31, std::vector<double>{1.2}, ftLowpass, fwHamming, 0), EFilterDesignError);
  EXPECT_THROW(FirImpulse(31, std::vector<double>{0.3}, ftLowpass, fwKaiser, -1.0), EFilterDesignError);
  EXPECT_THROW(KaiserFirLength(5.0, 0.1), EFilterDesignError);
}

TEST(IirDesign, HighOrdersStayStableAndAccurate) {
  // Every section's poles inside the unit circle (|a2| < 1, |a1| < 1 + a2).
  auto stable = [](const std::vector<double>& s) {
    for (std::size_t i = 0; i < s.size(); i += 6)
      if (!(std::abs(s[i + 5]) < 1 && std::abs(s[i + 4]) < 1 + s[i + 5])) return false;
    return true;
  };
  const auto bp = ButterFilter(50, std::vector<double>{0.2, 0.25}, ftBandpass);
  EXPECT_EQ(bp.size(), 50u * 6);
  EXPECT_TRUE(stable(bp));
  EXPECT_NEAR(std::abs(SosResponse(bp, 0.2)), std::sqrt(0.5), 1e-9);
  EXPECT_NEAR(std::abs(SosResponse(bp, 0.25)), std::sqrt(0.5), 1e-9);
  const auto el = EllipticFilter(50, 0.1, 120, std::vector<double>{0.3}, ftLowpass, iftZeroPoleDiscrete);
  EXPECT_TRUE(stable(el));
  EXPECT_NEAR(20 * std::log10(std::abs(SosResponse(el, 0.3))), -0.1, 1e-6);
  for (int n : {30, 40}) {
    const auto be = BesselFilter(n, std::vector<double>{0.5}, ftLowpass);
    EXPECT_TRUE(stable(be)) << n;
    EXPECT_NEAR(std::abs(SosResponse(be, 0.0)), 1.0, 1e-12) << n;
  }
  EXPECT_THROW(ButterFilter(51, std::vector<double>{0.3}, ftLowpass), EFilterDesignError);
  EXPECT_THROW(ButterFilter(4, std::vector<double>{0.3}, ftBandpass), EFilterDesignError);
}

TEST(IirDesign, DcBlockerAndNotchHaveTheirDefiningGains) {
  const auto dc = DcFilter(0.1);
  EXPECT_NEAR(std::abs(SosResponse(dc, 0.0)), 0.0, 1e-15);
  EXPECT_NEAR(std::abs(SosResponse(dc, 1.0)), 1.0, 1e-14);
  EXPECT_NEAR(std::abs(SosResponse(dc, 0.1)), std::sqrt(0.5), 1e-14);
  const auto notch = NotchFilter(0.3, 10.0);
  EXPECT_NEAR(std::abs(SosResponse(notch, 0.3)), 0.0, 1e-14);
  EXPECT_NEAR(std::abs(SosResponse(notch, 0.0)), 1.0, 1e-14);
  EXPECT_NEAR(std::abs(SosResponse(notch, 1.0)), 1.0, 1e-14);
}

TEST(SavGolay, PreservesPolynomialsUpToItsOrder) {
  for (auto [n, p] : {std::pair{9, 3}, {25, 6}, {14, 4}}) {
    const auto c = SavGolayImpulse(n, p);
    const double centre = (n - 1) / 2.0;
    for (int k = 0; k <= p; ++k) {
      double s = 0;
      for (int i = 0; i < n; ++i) s += c[i] * std::pow((i - centre) / centre + 0.3, k);
      EXPECT_NEAR(s, std::pow(0.3, k), 1e-12) << n << " " << p << " power " << k;
    }
  }
  const auto ma = MovingAverageImpulse(8);
  for (double v : ma) EXPECT_EQ(v, 0.125);
  EXPECT_THROW(SavGolayImpulse(5, 5), EFilterDesignError);
}

}  // namespace
}  // namespace sigflow
