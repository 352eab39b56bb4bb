// Transforms, windows and statistics against numpy/scipy (tests/reference/numeric_reference.py).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "sigflow/numeric/Fft.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Windows.h"
#include "support/reference.h"

using namespace sigflow;
using sigflow::test::ReferenceData;

namespace {

const ReferenceData& Ref() {
  static const ReferenceData ref("numeric.txt");
  return ref;
}

// Same integer formula as signal() in the script: exact rationals on both sides.
TVec Signal(int n, bool complex) {
  TVec v(n, complex);
  for (std::int64_t k = 0; k < n; ++k) {
    const double re = double((k * 7919 + 13) % 1009) / 1009.0 - 0.5;
    if (complex) v.SetCValues(int(k), {re, double((k * 104729 + 7) % 997) / 997.0 - 0.5});
    else v.SetValues(int(k), re);
  }
  return v;
}

int Stride(int n) { return std::max(1, n / 512); }

// Largest |got[k*stride] - ref[k]| over the stored bins, relative to the spectrum's norm.
void ExpectBins(const TVec& got, const std::vector<double>& ref, int stride, double norm, const std::string& what) {
  ASSERT_EQ(ref.size() % 2, 0u);
  const int count = int(ref.size() / 2);
  double worst = 0.0;
  int worstAt = -1;
  for (int k = 0; k < count; ++k) {
    const TCplx g = got.CValues(k * stride);
    const double e = std::abs(g - TCplx(ref[2 * k], ref[2 * k + 1]));
    if (e > worst) {
      worst = e;
      worstAt = k * stride;
    }
  }
  EXPECT_LE(worst, 1e-12 * norm) << what << ": worst bin " << worstAt << " error " << worst << " norm " << norm;
}

std::vector<int> FftLengths() {
  std::vector<int> n;
  for (int i = 1; i <= 64; ++i) n.push_back(i);
  for (int p : {67, 101, 127, 257, 509, 521, 1021, 1031, 2039, 2053, 4093, 4099, 4096, 65536}) n.push_back(p);
  return n;
}

}  // namespace

TEST(FftOracle, ComplexForwardAndInverseMatchNumpyForAllLengths) {
  for (int n : FftLengths()) {
    const TVec x = Signal(n, true);
    const double l2 = std::sqrt(x.RMS() * x.RMS() * n);
    TVec f;
    x.FFT(f);
    ExpectBins(f, Ref()["fft_" + std::to_string(n)], Stride(n), std::sqrt(double(n)) * l2, "fft " + std::to_string(n));
    TVec g(x);
    g.IFFT();
    ExpectBins(g, Ref()["ifft_" + std::to_string(n)], Stride(n), l2 / std::sqrt(double(n)), "ifft " + std::to_string(n));
  }
}

TEST(FftOracle, RealInputTransformsMatchNumpyRfft) {
  std::vector<int> lengths;
  for (int i = 1; i <= 64; ++i) lengths.push_back(i);
  for (int i : {1000, 4096, 4099}) lengths.push_back(i);
  for (int n : lengths) {
    const TVec x = Signal(n, false);
    const double norm = std::sqrt(double(n)) * std::sqrt(x.RMS() * x.RMS() * n);
    const auto& ref = Ref()["rfft_" + std::to_string(n)];
    TVec half;
    x.RealFFT(half);
    ASSERT_EQ(half.Length(), n / 2 + 1);
    ExpectBins(half, ref, Stride(n), norm, "RealFFT " + std::to_string(n));
    // The in-place FFT of a real vector must give the same bins and their mirror.
    TVec full(x);
    full.FFT();
    ASSERT_TRUE(full.Complex());
    ASSERT_EQ(full.Length(), n);
    ExpectBins(full, ref, Stride(n), norm, "TVec::FFT real " + std::to_string(n));
    for (int k = 1; k < n; ++k)
      ASSERT_LE(std::abs(full.CValues(k) - std::conj(full.CValues(n - k))), 1e-12 * norm) << n << " bin " << k;
  }
}

TEST(WindowOracle, EveryWindowMatchesScipyAtEveryLengthAndSymmetry) {
  struct Kind {
    const char* name;
    TSignalWindowType type;
    double param;
  };
  const Kind kinds[] = {
      {"Rectangular", wtRectangular, 0}, {"Hanning", wtHanning, 0},     {"Hamming", wtHamming, 0},
      {"FlatTop", wtFlatTop, 0},         {"Bartlett", wtBartlett, 0},   {"Blackman", wtBlackman, 0},
      {"BlackmanHarris", wtBlackmanHarris, 0}, {"BlackmanExact", wtExactBlackman, 0},
      {"CosineTappered", wtCosineTapered, 0.25}, {"Kaiser", wtKaiser, 6.0},
      {"Chebyshev", wtChebyshev, 60.0}, {"ExponentWindow", wtExponential, 0.01},
  };
  for (const auto& k : kinds) {
    for (int m : {1, 2, 7, 64, 4096}) {
      for (auto sym : {wsPeriodic, wsSymmetric}) {
        const std::string name = std::string("win_") + k.name + "_" + std::to_string(m) +
                                 (sym == wsPeriodic ? "_periodic" : "_symmetric");
        const auto& ref = Ref()[name];
        TVec w;
        SignalWindow(w, k.type, m, sym, k.param);
        ASSERT_EQ(w.Length(), m) << name;
        ASSERT_FALSE(w.Complex());
        const int s = m == 4096 ? 16 : 1;
        ASSERT_EQ(ref.size(), std::size_t((m + s - 1) / s)) << name;
        double worst = 0.0;
        int at = -1;
        for (std::size_t i = 0; i < ref.size(); ++i) {
          const double e = std::fabs(w.Values(int(i) * s) - ref[i]);
          if (e > worst) worst = e, at = int(i) * s;
        }
        // Chebyshev samples come from a length-m DFT of terms up to 10^(att/20) in size, so two
        // correct implementations agree only to about eps * 10^(att/20) * m.
        const double tol = k.type == wtChebyshev ? 2.3e-16 * std::pow(10.0, k.param / 20.0) * m : 1e-12;
        EXPECT_LE(worst, tol) << name << " worst sample " << at;
      }
    }
  }
}

TEST(StatisticsOracle, RealAndComplexStatisticsMatchNumpy) {
  for (auto [n, c] : {std::pair{1000, false}, std::pair{777, true}}) {
    const TVec x = Signal(n, c);
    const auto& r = Ref()["stats_" + std::to_string(n)];
    const TCplx mean = x.CMean();
    EXPECT_NEAR(mean.real(), r[0], 1e-14);
    EXPECT_NEAR(mean.imag(), r[1], 1e-14);
    EXPECT_NEAR(x.Mean(), r[0], 1e-14);
    EXPECT_NEAR(x.StdDev(), r[2], 1e-13);
    double mn, mx;
    int imn, imx;
    x.MinMax(mn, mx, imn, imx);
    EXPECT_DOUBLE_EQ(mn, r[3]);
    EXPECT_DOUBLE_EQ(mx, r[4]);
    EXPECT_DOUBLE_EQ(x.Min(), r[3]);
    EXPECT_DOUBLE_EQ(x.Max(), r[4]);
    EXPECT_EQ(x.MaxIndex(), int(r[5]));
    EXPECT_EQ(imx, int(r[5]));
    EXPECT_NEAR(x.RMS(), r[6], 1e-14);
    EXPECT_NEAR(x.Peak(), r[7], 1e-15);
    EXPECT_NEAR(x.Crest(), r[8], 1e-13);
  }
}
