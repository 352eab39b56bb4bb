#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Windows.h"
#include "support/message.h"

using namespace sigflow;

namespace {

// Highest side lobe of w in dB below its main lobe, from a zero-padded spectrum: walk down
// the main lobe to its first minimum, then take the largest value beyond it.
double SidelobeDb(const TVec& w) {
  const int pad = 64 * w.Length();
  TVec x(pad);
  x.Copy(w, 0, 0, w.Length());
  TVec spectrum;
  x.RealFFT(spectrum);
  spectrum.Mag();
  int k = 0;
  while (k + 1 < spectrum.Length() && spectrum.Values(k + 1) <= spectrum.Values(k)) ++k;
  double side = 0.0;
  for (int i = k; i < spectrum.Length(); ++i) side = std::max(side, spectrum.Values(i));
  return 20.0 * std::log10(spectrum.Values(0) / side);
}

}  // namespace

TEST(WindowAmplitude, BinCentredSineReadsItsAmplitudeThroughEveryFixedWindow) {
  const int n = 1024, bin = 100;
  const double a = 3.7;
  for (int t = 0; t <= int(wtExactBlackman); ++t) {
    const auto type = TSignalWindowType(t);
    TVec w;
    SignalWindow(w, type, n, wsPeriodic, 0.0);
    TVec x(n);
    for (int i = 0; i < n; ++i) x.SetValues(i, a * std::cos(2 * std::numbers::pi * bin * i / n + 0.3));
    ApplyWindow(x, w);
    x.FFT();
    // |X[bin]| = A N / 2 * mean(w) for a real sine centred on the bin.
    const double read = std::abs(x.CValues(bin)) * 2.0 / n * WindowScaleFactor(type, w);
    EXPECT_NEAR(read, a, 1e-9 * a) << "window " << t;
  }
}

TEST(WindowAmplitude, FactorsAreOneOverTheMeanAndAgreeWithThePublishedTable) {
  // The published table rounds each inverse coherent gain to the digits shown.
  const double table[] = {1.0, 2.0, 1.85185185, 3.55790978, 2.0, 2.38095238, 2.362782, 2.344168};
  for (int t = 0; t <= int(wtExactBlackman); ++t) {
    TVec w;
    SignalWindow(w, TSignalWindowType(t), 4096, wsPeriodic, 0.0);
    const double f = WindowScaleFactor(TSignalWindowType(t), w);
    EXPECT_NEAR(f * w.Mean(), 1.0, 1e-12) << t;
    EXPECT_NEAR(f, table[t], 5e-7 * table[t]) << t;
  }
  TVec k;
  Kaiser(k, 256, 8.0, wsPeriodic);
  EXPECT_DOUBLE_EQ(WindowScaleFactor(wtKaiser, k), 1.0 / k.Mean());
  EXPECT_TRUE(std::isnan(WindowScaleFactor(wtChebyshev, TVec())));
}

// Every window at both symmetries is checked against scipy in the oracle tests.
TEST(WindowShape, ParametersReachTheirLimitsAndLengthsAreChecked) {
  TVec w, ref;
  CosineTappered(w, 33, 1.0, wsSymmetric);
  Hanning(ref, 33, wsSymmetric);
  for (int i = 0; i < 33; ++i) EXPECT_NEAR(w.Values(i), ref.Values(i), 1e-14);
  CosineTappered(w, 33, 0.0, wsSymmetric);
  EXPECT_EQ(w.Min(), 1.0);
  Kaiser(w, 33, 0.0, wsSymmetric);
  EXPECT_EQ(w.Min(), 1.0);
  ExponentWindow(w, 10, 0.01, wsSymmetric);
  EXPECT_NEAR(w.Values(9), 0.01, 1e-15);
  EXPECT_EQ(w.Values(0), 1.0);
  SignalWindow(w, wtHanning, 0, wsPeriodic, 0);
  EXPECT_EQ(w.Length(), 0);
  EXPECT_EQ(test::MessageOf([&] { Hamming(w, -1, wsPeriodic); }), "Window length < 0");
}

TEST(WindowSidelobes, KaiserBetaForAnAttenuationGivesThatSidelobeLevel) {
  EXPECT_EQ(KaiserBetaWindowAtt(10.0), 0.0);
  for (double att : {30.0, 40.0, 50.0, 60.0, 80.0, 100.0}) {
    TVec w;
    Kaiser(w, 255, KaiserBetaWindowAtt(att), wsSymmetric);
    EXPECT_NEAR(SidelobeDb(w), att, 1.0) << "requested " << att << " dB";
  }
}

TEST(WindowSidelobes, ChebyshevSidelobesSitAtTheRequestedLevel) {
  for (double att : {50.0, 80.0, 100.0}) {
    TVec w;
    Chebyshev(w, 101, att, wsSymmetric);
    EXPECT_NEAR(SidelobeDb(w), att, 0.05) << att;
    EXPECT_NEAR(w.Max(), 1.0, 1e-15);
  }
}

TEST(WindowApply, ComplexVectorsScaleBothPartsInsideTheRangeOnly) {
  TVec x(5, true);
  for (int i = 0; i < 5; ++i) x.SetCValues(i, {1.0, -2.0});
  TVec w(2);
  w.SetValues(0, 0.5);
  w.SetValues(1, 0.25);
  ApplyWindow(x, w, 2);
  EXPECT_EQ(x.CValues(1), TCplx(1.0, -2.0));
  EXPECT_EQ(x.CValues(2), TCplx(0.5, -1.0));
  EXPECT_EQ(x.CValues(3), TCplx(0.25, -0.5));
  EXPECT_EQ(x.CValues(4), TCplx(1.0, -2.0));
  EXPECT_THROW(ApplyWindow(x, w, 4), Exception);
}
