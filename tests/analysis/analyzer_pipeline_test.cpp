// Spectrum analyzer against a plain DFT and closed forms: amplitude per window and kind,
// transform length, dB display, estimator orders, two-sided layouts, transfer function, phase.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "analyzer_support.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/AutoRegressive.h"
#include "sigflow/numeric/Correlation.h"
#include "sigflow/numeric/Windows.h"
#include "support/message.h"

namespace sigflow {
namespace {

using namespace test;
using C = std::complex<double>;

// Plain DFT of x (length L, zero padded), the oracle for the transform-based checks.
std::vector<C> Dft(const std::vector<double>& x, int L) {
  std::vector<C> X(static_cast<std::size_t>(L));
  for (int k = 0; k < L; ++k)
    for (std::size_t n = 0; n < x.size(); ++n) X[std::size_t(k)] += x[n] * std::polar(1.0, -2 * kPi * double(k) * double(n) / L);
  return X;
}

TEST(AnalyzerAmplitude, SineAtBinCentreReadsItsAmplitudeWithEveryWindow) {
  // The fixed gain table is rounded to 6..9 digits; the exact inverse gain is the window's
  // mean, so the reading is A scaled by the rounding of the table entry.
  const double A = 1.7;
  const double table[] = {1.0, 2.0, 1.85185185, 3.55790978, 2.0, 2.38095238, 2.362782, 2.344168};
  for (int zp : {1, 4})
    for (int w = 0; w < 8; ++w) {
      SCOPED_TRACE(testing::Message() << "window " << w << " zp " << zp);
      AnalyzerRig r(Sine(1024, 1024, A, 100, 0.3), 1024);
      r->SetZeroPadding(zp);
      r->SetWindow(TSignalWindowType(w));
      r->Update();
      ASSERT_EQ(r->Amplt().Length(), 512 * zp);
      EXPECT_DOUBLE_EQ(r->HzRes(), 1.0 / zp);
      EXPECT_NEAR(r.Amplt(100 * zp), A * table[w] / WindowScaleFactor(TSignalWindowType(w), TVec()), 1e-9 * A);
      EXPECT_NEAR(r.Amplt(100 * zp), A, 3.01e-7 * A);
      EXPECT_DOUBLE_EQ(r->WindowScaleFactor(), table[w]);
    }
}

TEST(AnalyzerAmplitude, KindsOfAmplitude) {
  // Peak, RMS, power, peak-to-peak, and the real part (a cosine at phase 0 is real).
  const double A = 0.8;
  const double want[] = {A, A * std::sqrt(0.5), A * A, 2 * A, A};
  for (int zp : {1, 4}) {
    AnalyzerRig r(Sine(256, 256, A, 20), 256);
    r->SetWindow(wtHanning);
    r->SetZeroPadding(zp);
    for (int t = 0; t < 5; ++t) {
      r->SetSpectrumType(TSpectrumType(t));
      r->Update();
      EXPECT_NEAR(r.Amplt(20 * zp), want[t], 1e-12) << "type " << t << " zp " << zp;
    }
    EXPECT_NEAR(r.Phase(20 * zp), 0, 1e-12);
  }
}

TEST(AnalyzerAmplitude, FrameOfAnyLengthKeepsEverySample) {
  // An impulse on the last of 1000 samples: a transform shorter than the frame would lose it.
  std::vector<double> x(1000, 0.0);
  x.back() = 1;
  AnalyzerRig r(x, 1000);
  r->SetDCDump(false);
  r->Update();
  EXPECT_EQ(r->TransformLength(), 1024);
  EXPECT_DOUBLE_EQ(r->ZeroPaddingRatio(), 1.024);
  ASSERT_EQ(r->Amplt().Length(), 512);
  for (int k = 1; k < 512; k += 37) EXPECT_NEAR(r.Amplt(k), 2.0 / 1000, 1e-15) << k;
  EXPECT_NEAR(r.Amplt(0), 1.0 / 1000, 1e-15);  // 0 Hz has no mirror to fold in
  EXPECT_NEAR(r->HzRes(), 1000.0 / 1024, 1e-12);
}

TEST(AnalyzerAmplitude, DcLevelAndRms) {
  // DC level D plus a sine A: 0 Hz shows D, and the spectrum's RMS is sqrt(D^2 + A^2 / 2).
  const double D = 0.4, A = 1.2;
  auto x = Sine(512, 512, A, 40);
  for (double& v : x) v += D;
  AnalyzerRig r(x, 512);
  r->SetDCDump(false);
  r->Update();
  EXPECT_NEAR(r.Amplt(0), D, 1e-12);
  EXPECT_NEAR(r.Amplt(40), A, 1e-12);
  EXPECT_NEAR(r->RMS(), std::sqrt(D * D + A * A / 2), 1e-12);
  r->SetSpectrumType(stPower);
  r->Update();
  EXPECT_NEAR(r.Amplt(0), D * D, 1e-12);
}

TEST(AnalyzerAmplitude, IntegrationDividesByOmegaAndPowerSquaresAfter) {
  const double A = 3, w = 2 * kPi * 50;
  AnalyzerRig r(Sine(512, 512, A, 50), 512);
  const std::pair<TIntegration, double> cases[] = {{inOnce, A / w}, {inTwice, A / w / w}, {diffOnce, A * w}, {diffTwice, A * w * w}};
  for (auto [mode, want] : cases) {
    r->SetIntegration(mode);
    r->Update();
    EXPECT_NEAR(r.Amplt(50) / want, 1, 1e-12) << int(mode);
  }
  r->SetIntegration(inOnce);
  r->SetSpectrumType(stPower);
  r->Update();
  EXPECT_NEAR(r.Amplt(50) / ((A / w) * (A / w)), 1, 1e-12);
}

TEST(AnalyzerLog, AbsoluteAndRelativeDecibelsForEverySpan) {
  const double A = 2.5;
  const int spans[] = {30, 45, 60, 90, 120, 150, 200, 350};
  for (int s = 0; s < 8; ++s)
    for (TLogType type : {ltAbsolute, ltRelative}) {
      SCOPED_TRACE(testing::Message() << "span " << spans[s] << " type " << int(type));
      AnalyzerRig r(Sine(128, 128, A, 16), 128);
      r->SetLogarithmic(true);
      r->SetLogType(type);
      r->SetLogSpan(TLogSpan(s));
      r->Update();
      EXPECT_EQ(r->SpanDb(), spans[s]);
      EXPECT_NEAR(r->ReferenceMaximum(), A, 1e-12);
      const double top = type == ltAbsolute ? 20 * std::log10(A) : 0.0;
      EXPECT_NEAR(r.Amplt(16), top, 1e-10);
      EXPECT_NEAR(r->MaxAmplt(), top, 1e-10);
      // The other bins hold rounding noise on the floor of the span; beyond about 300 dB the
      // noise itself shows above the floor.
      if (spans[s] <= 200) {
        EXPECT_NEAR(r.Amplt(5), top - spans[s], 1e-9);
        EXPECT_NEAR(r->MinAmplt(), top - spans[s], 1e-9);
      } else {
        EXPECT_LT(r.Amplt(5), top - 250);
        EXPECT_GE(r->MinAmplt(), top - spans[s] - 1e-9);
      }
    }
}

TEST(AnalyzerLog, PowerInDecibelsEqualsAmplitudeInDecibels) {
  AnalyzerRig r(Noise(300, 7), 1000);
  r->SetWindow(wtBlackman);
  r->SetLogarithmic(true);
  r->SetLogSpan(ls350);
  r->Update();
  const TVec amp = r->Amplt();
  r->SetSpectrumType(stPower);
  r->Update();
  ASSERT_EQ(r->Amplt().Length(), amp.Length());
  for (int k = 0; k < amp.Length(); ++k) EXPECT_NEAR(r.Amplt(k), amp.Values(k), 1e-10) << k;
}

TEST(AnalyzerMethod, TargetShorterThanInputIsRefusedAndLongerZeroPads) {
  AnalyzerRig r(Noise(64, 3), 64);
  r->Update();
  const TVec before = r->Amplt();
  EXPECT_EQ(MessageOf([&] { r->ApplySpectrumMethod(63); }), "TargetLength < Input.Length");
  for (int k = 0; k < before.Length(); ++k) EXPECT_EQ(r.Amplt(k), before.Values(k));
  TVec dest;
  r->ApplySpectrumMethod(100, &dest);
  EXPECT_EQ(r->TransformLength(), 128);
  EXPECT_EQ(dest.Length(), 64);
}

TEST(AnalyzerMethod, SpectrumOfInputIsScaledComplexSpectrum) {
  const auto x = Sine(64, 64, 1, 5, 0.7);
  AnalyzerRig r(x, 64);
  r->SetDCDump(false);
  TVec X;
  r->Spectrum(X);
  ASSERT_EQ(X.Length(), 32);
  const auto ref = Dft(x, 64);
  for (int k = 0; k < 32; ++k) EXPECT_NEAR(std::abs(X.CValues(k) - ref[std::size_t(k)] * (2.0 / 64)), 0, 1e-12) << k;
}

TEST(AnalyzerMethod, CepstrumFollowsWindowChanges) {
  const auto x = Noise(100, 4);
  AnalyzerRig a(x, 100), b(x, 100);
  a->SetMethod(smRealCepstrum);
  b->SetMethod(smRealCepstrum);
  a->SetWindow(wtHanning);
  a->Update();
  a->SetWindow(wtBlackman);
  a->Update();
  b->SetWindow(wtBlackman);
  b->Update();
  ASSERT_EQ(a->Amplt().Length(), 64);
  for (int k = 0; k < 64; ++k) EXPECT_EQ(a.Amplt(k), b.Amplt(k)) << k;
}

TEST(AnalyzerMethod, AutoregressiveOrders) {
  auto x = Noise(50, 11);
  const auto s = Sine(50, 50, 2, 9);
  double mean = 0;
  for (int i = 0; i < 50; ++i) mean += (x[std::size_t(i)] += s[std::size_t(i)]) / 50;
  std::vector<double> xd = x;
  for (double& v : xd) v -= mean;
  // The amplitude of model A = [1, a1..ap] in a transform of L.
  const auto expectModel = [](AnalyzerRig& r, const std::vector<double>& a, int L, double scale) {
    r->Update();
    EXPECT_EQ(r->TransformLength(), L);
    const auto A = Dft(a, L);
    const double factor = double(L) / double(a.size()) / (L / 2);
    ASSERT_EQ(r->Amplt().Length(), L / 2);
    for (int k = 0; k < L / 2; ++k) EXPECT_NEAR(r.Amplt(k) / (scale * factor / std::abs(A[std::size_t(k)])), 1, 1e-9) << k;
  };
  AnalyzerRig r(x, 50);
  // Burg: order min(100, 50 div 2) = 25, 26 coefficients, transform SmallestExp2(104) = 128.
  r->SetMethod(smBurg);
  expectModel(r, ArBurg(xd, 25).A, 128, 1.0);
  EXPECT_DOUBLE_EQ(r->ZeroPaddingRatio(), 128.0 / 26);
  // Yule-Walker: order min(100, 50) = 50, 51 coefficients, transform 256, scaled by 100 / 2.
  r->SetMethod(smYuleWalker);
  expectModel(r, ArYuleWalker(xd, 50).A, 256, 50.0);
  r->SetMethod(smCov);
  expectModel(r, ArCovariance(xd, 25).A, 128, 1.0);
  r->SetMethod(smMCov);
  expectModel(r, ArMCovariance(xd, 25).A, 128, 1.0);
  EXPECT_DOUBLE_EQ(r->WindowScaleFactor(), 1.0);
}

TEST(AnalyzerTwoSided, RealInputExtendedAndRotated) {
  // A sine on bin 2 of 16. Each case: flags, length, bins holding the sine, an empty bin, BandWidthL.
  struct Case { bool extend, flip; int length, at1, at2, empty; double level, low; };
  const Case cases[] = {{true, false, 16, 10, 6, 2, 0.5, -40},  // rotated: 0 Hz at index 8
                        {true, true, 16, 2, 14, 10, 0.5, 0},    // extended, not rotated
                        {false, true, 8, 2, 2, 5, 1.0, 0}};      // one side, full amplitude
  AnalyzerRig r(Sine(16, 80, 1, 10), 80);
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::Message() << c.extend << c.flip);
    r->SetConjExtend(c.extend);
    r->SetConjFlip(c.flip);
    r->Update();
    ASSERT_EQ(r->Amplt().Length(), c.length);
    EXPECT_NEAR(r.Amplt(c.at1), c.level, 1e-12);
    EXPECT_NEAR(r.Amplt(c.at2), c.level, 1e-12);
    EXPECT_NEAR(r.Amplt(c.empty), 0, 1e-12);
    EXPECT_DOUBLE_EQ(r->BandWidthL(), c.low);
    EXPECT_DOUBLE_EQ(r->BandWidthL() + c.at1 * r->HzRes(), 10.0);
  }
}

TEST(AnalyzerTwoSided, ComplexInputNegativeFrequenciesFirst) {
  const int n = 32;
  TSignal sig(nullptr);
  sig.Data().Size(n, true);
  for (int i = 0; i < n; ++i) sig.Data().SetCValues(i, std::polar(0.75, -2 * kPi * 5 * i / n + 0.4));
  sig.SetSamplingFrequency(32);
  TSpectrumAnalyzer an(nullptr);
  an.SetInput(&sig);
  an.SetDCDump(false);
  an.Update();
  ASSERT_EQ(an.Amplt().Length(), n);
  const int idx = n / 2 - 5;
  for (int k = 0; k < n; ++k) EXPECT_NEAR(an.Amplt().Values(k), k == idx ? 0.75 : 0, 1e-12) << k;
  EXPECT_NEAR(an.Phase().Values(idx), 0.4 * 180 / kPi, 1e-9);
  EXPECT_DOUBLE_EQ(an.BandWidthL(), -16);
  EXPECT_DOUBLE_EQ(an.BandWidthL() + idx * an.HzRes(), -5.0);
  an.SetConjFlip(false);
  an.Update();
  EXPECT_NEAR(an.Amplt().Values(n - 5), 0.75, 1e-12);
}

TEST(AnalyzerCross, TransferFunctionOfKnownFirAndImpulseResponse) {
  const int n = 256;
  const std::vector<double> h = {0.5, 0.3, -0.2, 0.1, 0.05};
  const auto x = Noise(n, 99);
  std::vector<double> y(n, 0.0);
  for (int i = 0; i < n; ++i)
    for (std::size_t j = 0; j < h.size(); ++j) y[std::size_t(i)] += h[j] * x[std::size_t((i - int(j) + n) % n)];
  // Transfer function Input / Output: the response on Input, the excitation on Output.
  AnalyzerRig r(y, 1000);
  TSignal excitation(nullptr);
  SetReal(excitation, x, 1000);
  r->SetOutput(&excitation);
  r->SetDCDump(false);
  r->SetPhaseUnits(puRad);
  r->SetKeepImpulseResponse(true);
  r->Update();
  const auto H = Dft(h, n);
  ASSERT_EQ(r->Amplt().Length(), n / 2);
  for (int k = 0; k < n / 2; ++k) {
    EXPECT_NEAR(r.Amplt(k), std::abs(H[std::size_t(k)]), 1e-9) << k;
    EXPECT_NEAR(r.Phase(k), std::arg(H[std::size_t(k)]), 1e-9) << k;
  }
  EXPECT_EQ(r->AmplitudeFactor(), 1.0);
  ASSERT_NE(r->ImpulseResponse(), nullptr);
  ASSERT_EQ(r->ImpulseResponse()->Length(), n);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(r->ImpulseResponse()->Values(i), i < int(h.size()) ? h[std::size_t(i)] : 0.0, 1e-12) << i;

  // Cross spectrum X conj(Y) of the scaled spectra.
  r->SetCrossSpectral(true);
  r->Update();
  const auto X = Dft(y, n), Y = Dft(x, n);
  for (int k = 1; k < n / 2; k += 9) EXPECT_NEAR(r.Amplt(k), std::abs(X[std::size_t(k)] * std::conj(Y[std::size_t(k)])) * 4 / n / n, 1e-12);

  {
    TSignal gone(nullptr);
    r->SetOutput(&gone);
  }
  EXPECT_EQ(r->Output(), nullptr);  // a destroyed output clears the reference
  r->SetOutput(&r.input);
  r->Update();
  EXPECT_EQ(r->Output(), nullptr);  // the input as its own output is dropped at the update
}

TEST(AnalyzerPhase, RangeUnwrapAndDelays) {
  const int n = 64, d = 3;
  const double fs = 64;
  std::vector<double> impulse(n, 0.0);
  impulse[d] = 1;
  AnalyzerRig r(impulse, fs);
  r->SetDCDump(false);
  r->SetUnwrapPhase(true);
  r->Update();
  // A delay of d samples: phase -360 k d / n degrees, unwrapped into a straight line.
  for (int k = 0; k < n / 2; ++k) EXPECT_NEAR(r.Phase(k), -360.0 * k * d / n, 1e-9) << k;

  r->SetUnwrapPhase(false);
  r->SetPhaseRange(prZeroTwoPi);
  SetReal(r.input, Sine(n, fs, 1, 4, -2.5), fs);
  r->Update();
  EXPECT_NEAR(r.Phase(4), -2.5 * 180 / kPi + 180, 1e-9);
  r->SetPhaseUnits(puRad);
  r->Update();
  EXPECT_NEAR(r.Phase(4), -2.5 + kPi, 1e-12);

  SetReal(r.input, impulse, fs);
  for (TPhaseMode mode : {pmPhaseDelay, pmGroupDelay}) {
    r->SetPhaseMode(mode);
    r->Update();
    for (int k = 0; k < n / 2; ++k) EXPECT_NEAR(r.Phase(k), d / fs, 1e-12) << int(mode) << " " << k;
  }
  r->SetPhaseMode(pmIgnore);
  r->Update();
  EXPECT_EQ(r->Phase().Length(), n / 2);
  EXPECT_EQ(r.Phase(4), 0);
}

}  // namespace
}  // namespace sigflow
