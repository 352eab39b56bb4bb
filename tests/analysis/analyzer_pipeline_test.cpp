// Spectrum analyzer: amplitude truth per window and amplitude kind, transform length, dB
// display, estimator orders, two-sided layouts, cross spectrum and transfer function, phase.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "analyzer_support.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/AutoRegressive.h"
#include "sigflow/numeric/Correlation.h"
#include "sigflow/numeric/Windows.h"

namespace sigflow {
namespace {

using test::AnalyzerRig;
using test::kPi;
using test::Noise;
using test::SetReal;
using test::Sine;
using C = std::complex<double>;

// Plain DFT of x (length L, zero padded), the oracle for the transform-based checks.
std::vector<C> Dft(const std::vector<double>& x, int L) {
  std::vector<C> X(static_cast<std::size_t>(L));
  for (int k = 0; k < L; ++k) {
    C s = 0;
    for (std::size_t n = 0; n < x.size(); ++n) s += x[n] * std::polar(1.0, -2 * kPi * double(k) * double(n) / L);
    X[std::size_t(k)] = s;
  }
  return X;
}

TEST(AnalyzerAmplitude, SineAtBinCentreReadsItsAmplitudeWithEveryWindow) {
  const double A = 1.7;
  const double table[] = {1.0, 2.0, 1.85185185, 3.55790978, 2.0, 2.38095238, 2.362782, 2.344168};
  for (int zp : {1, 4}) {
    for (int w = 0; w < 8; ++w) {
      AnalyzerRig r;
      SetReal(r.input, Sine(1024, 1024, A, 100, 0.3), 1024);
      r.analyzer.SetZeroPadding(zp);
      r.analyzer.SetWindow(TSignalWindowType(w));
      r.analyzer.Update();
      ASSERT_EQ(r.analyzer.Amplt().Length(), 512 * zp);
      EXPECT_DOUBLE_EQ(r.analyzer.HzRes(), 1.0 / zp);
      // The fixed gain table is rounded to 6..9 digits; the exact inverse gain is the
      // window's mean, so the reading is A scaled by the rounding of the table entry.
      const double exact = WindowScaleFactor(TSignalWindowType(w), TVec());
      const double expected = A * table[w] / exact;
      const double got = r.analyzer.Amplt().Values(100 * zp);
      EXPECT_NEAR(got, expected, 1e-9 * A) << "window " << w << " zp " << zp;
      EXPECT_NEAR(got, A, 3.01e-7 * A) << "window " << w;
      EXPECT_DOUBLE_EQ(r.analyzer.WindowScaleFactor(), table[w]);
    }
  }
}

TEST(AnalyzerAmplitude, KindsOfAmplitude) {
  const double A = 0.8;
  const double rootHalf = std::sqrt(2.0) / 2;
  for (int zp : {1, 4}) {
    AnalyzerRig r;
    SetReal(r.input, Sine(256, 256, A, 20), 256);
    r.analyzer.SetWindow(wtHanning);
    r.analyzer.SetZeroPadding(zp);
    const int bin = 20 * zp;
    const double want[] = {A, A * rootHalf, A * A, 2 * A};
    for (int t = 0; t < 4; ++t) {
      r.analyzer.SetSpectrumType(TSpectrumType(t));
      r.analyzer.Update();
      EXPECT_NEAR(r.analyzer.Amplt().Values(bin), want[t], 1e-12) << "type " << t << " zp " << zp;
    }
    // Real and imaginary parts: a cosine at phase 0 is real, of amplitude A.
    r.analyzer.SetSpectrumType(stRealImag);
    r.analyzer.Update();
    EXPECT_NEAR(r.analyzer.Amplt().Values(bin), A, 1e-12);
    EXPECT_NEAR(r.analyzer.Phase().Values(bin), 0, 1e-12);
  }
}

TEST(AnalyzerAmplitude, FrameOfAnyLengthKeepsEverySample) {
  // An impulse on the last of 1000 samples: a transform shorter than the frame would lose it.
  std::vector<double> x(1000, 0.0);
  x.back() = 1;
  AnalyzerRig r;
  SetReal(r.input, x, 1000);
  r.analyzer.SetDCDump(false);
  r.analyzer.Update();
  EXPECT_EQ(r.analyzer.TransformLength(), 1024);
  EXPECT_DOUBLE_EQ(r.analyzer.ZeroPaddingRatio(), 1.024);
  ASSERT_EQ(r.analyzer.Amplt().Length(), 512);
  for (int k = 1; k < 512; k += 37) EXPECT_NEAR(r.analyzer.Amplt().Values(k), 2.0 / 1000, 1e-15) << k;
  EXPECT_NEAR(r.analyzer.Amplt().Values(0), 1.0 / 1000, 1e-15);  // 0 Hz has no mirror to fold in
  EXPECT_NEAR(r.analyzer.HzRes(), 1000.0 / 1024, 1e-12);
}

TEST(AnalyzerAmplitude, MeasurementsOfTheResult) {
  // DC level D plus a sine A: 0 Hz shows D, and the spectrum's RMS is sqrt(D^2 + A^2 / 2).
  const double D = 0.4, A = 1.2;
  auto x = Sine(512, 512, A, 40);
  for (double& v : x) v += D;
  AnalyzerRig r;
  SetReal(r.input, x, 512);
  r.analyzer.SetDCDump(false);
  r.analyzer.Update();
  EXPECT_NEAR(r.analyzer.Amplt().Values(0), D, 1e-12);
  EXPECT_NEAR(r.analyzer.Amplt().Values(40), A, 1e-12);
  EXPECT_NEAR(r.analyzer.RMS(), std::sqrt(D * D + A * A / 2), 1e-12);
  r.analyzer.SetSpectrumType(stPower);
  r.analyzer.Update();
  EXPECT_NEAR(r.analyzer.Amplt().Values(0), D * D, 1e-12);
}

TEST(AnalyzerAmplitude, Integration) {
  const double A = 3, f = 50;
  AnalyzerRig r;
  SetReal(r.input, Sine(512, 512, A, f), 512);
  r.analyzer.Update();
  const double w = 2 * kPi * f;
  const std::pair<TIntegration, double> cases[] = {
      {inOnce, A / w}, {inTwice, A / w / w}, {diffOnce, A * w}, {diffTwice, A * w * w}};
  for (auto [mode, want] : cases) {
    r.analyzer.SetIntegration(mode);
    r.analyzer.Update();
    EXPECT_NEAR(r.analyzer.Amplt().Values(50) / want, 1, 1e-12) << int(mode);
  }
  // Power squares after the integration.
  r.analyzer.SetIntegration(inOnce);
  r.analyzer.SetSpectrumType(stPower);
  r.analyzer.Update();
  EXPECT_NEAR(r.analyzer.Amplt().Values(50) / ((A / w) * (A / w)), 1, 1e-12);
}

TEST(AnalyzerLog, AbsoluteAndRelativeDecibelsForEverySpan) {
  const double A = 2.5;
  const int spans[] = {30, 45, 60, 90, 120, 150, 200, 350};
  for (int s = 0; s < 8; ++s) {
    for (TLogType type : {ltAbsolute, ltRelative}) {
      AnalyzerRig r;
      SetReal(r.input, Sine(128, 128, A, 16), 128);
      r.analyzer.SetLogarithmic(true);
      r.analyzer.SetLogType(type);
      r.analyzer.SetLogSpan(TLogSpan(s));
      r.analyzer.Update();
      EXPECT_EQ(r.analyzer.SpanDb(), spans[s]);
      EXPECT_NEAR(r.analyzer.ReferenceMaximum(), A, 1e-12);
      const double top = type == ltAbsolute ? 20 * std::log10(A) : 0.0;
      EXPECT_NEAR(r.analyzer.Amplt().Values(16), top, 1e-10);
      // The other bins hold rounding noise and sit on the floor of the span.
      // (Beyond about 300 dB the noise itself shows above the floor.)
      if (spans[s] <= 200) {
        EXPECT_NEAR(r.analyzer.Amplt().Values(5), top - spans[s], 1e-9) << s;
        EXPECT_NEAR(r.analyzer.MinAmplt(), top - spans[s], 1e-9);
      } else {
        EXPECT_LT(r.analyzer.Amplt().Values(5), top - 250);
        EXPECT_GE(r.analyzer.MinAmplt(), top - spans[s] - 1e-9);
      }
      EXPECT_NEAR(r.analyzer.MaxAmplt(), top, 1e-10);
    }
  }
}

TEST(AnalyzerLog, PowerInDecibelsEqualsAmplitudeInDecibels) {
  AnalyzerRig r;
  SetReal(r.input, Noise(300, 7), 1000);
  r.analyzer.SetWindow(wtBlackman);
  r.analyzer.SetLogarithmic(true);
  r.analyzer.SetLogSpan(ls350);
  r.analyzer.Update();
  const TVec amp = r.analyzer.Amplt();
  r.analyzer.SetSpectrumType(stPower);
  r.analyzer.Update();
  ASSERT_EQ(r.analyzer.Amplt().Length(), amp.Length());
  for (int k = 0; k < amp.Length(); ++k) EXPECT_NEAR(r.analyzer.Amplt().Values(k), amp.Values(k), 1e-10) << k;
}

TEST(AnalyzerMethod, TargetShorterThanInputIsRefused) {
  AnalyzerRig r;
  SetReal(r.input, Noise(64, 3), 64);
  r.analyzer.Update();
  const TVec before = r.analyzer.Amplt();
  try {
    r.analyzer.ApplySpectrumMethod(63);
    FAIL() << "no exception";
  } catch (const Exception& e) {
    EXPECT_EQ(e.Message(), "TargetLength < Input.Length");
  }
  for (int k = 0; k < before.Length(); ++k) EXPECT_EQ(r.analyzer.Amplt().Values(k), before.Values(k));
  // A longer target zero pads.
  TVec dest;
  r.analyzer.ApplySpectrumMethod(100, &dest);
  EXPECT_EQ(r.analyzer.TransformLength(), 128);
  EXPECT_EQ(dest.Length(), 64);
}

TEST(AnalyzerMethod, SpectrumOfInputIsScaledComplexSpectrum) {
  AnalyzerRig r;
  const auto x = Sine(64, 64, 1, 5, 0.7);
  SetReal(r.input, x, 64);
  r.analyzer.SetDCDump(false);
  TVec X;
  r.analyzer.Spectrum(X);
  ASSERT_EQ(X.Length(), 32);
  const auto ref = Dft(x, 64);
  for (int k = 0; k < 32; ++k) {
    EXPECT_NEAR(X.CValues(k).real(), ref[std::size_t(k)].real() * 2 / 64, 1e-12);
    EXPECT_NEAR(X.CValues(k).imag(), ref[std::size_t(k)].imag() * 2 / 64, 1e-12);
  }
}

TEST(AnalyzerMethod, CepstrumFollowsWindowChanges) {
  const auto x = Noise(100, 4);
  AnalyzerRig a, b;
  SetReal(a.input, x, 100);
  SetReal(b.input, x, 100);
  a.analyzer.SetMethod(smRealCepstrum);
  b.analyzer.SetMethod(smRealCepstrum);
  a.analyzer.SetWindow(wtHanning);
  a.analyzer.Update();
  a.analyzer.SetWindow(wtBlackman);
  a.analyzer.Update();
  b.analyzer.SetWindow(wtBlackman);
  b.analyzer.Update();
  ASSERT_EQ(a.analyzer.Amplt().Length(), 64);
  for (int k = 0; k < 64; ++k) EXPECT_EQ(a.analyzer.Amplt().Values(k), b.analyzer.Amplt().Values(k)) << k;
}

// Amplitude the analyzer must show for an AR model A = [1, a1..ap] in a transform of L.
void ExpectModelSpectrum(const TSpectrumAnalyzer& an, const std::vector<double>& a, int L, double scale) {
  const auto A = Dft(a, L);
  const double factor = double(L) / double(a.size()) / (L / 2);
  ASSERT_EQ(an.Amplt().Length(), L / 2);
  for (int k = 0; k < L / 2; ++k)
    EXPECT_NEAR(an.Amplt().Values(k) / (scale * factor / std::abs(A[std::size_t(k)])), 1, 1e-9) << k;
}

TEST(AnalyzerMethod, AutoregressiveOrders) {
  auto x = Noise(50, 11);
  const auto s = Sine(50, 50, 2, 9);
  for (int i = 0; i < 50; ++i) x[std::size_t(i)] += s[std::size_t(i)];
  double mean = 0;
  for (double v : x) mean += v / 50;
  std::vector<double> xd = x;
  for (double& v : xd) v -= mean;

  AnalyzerRig r;
  SetReal(r.input, x, 50);
  r.analyzer.SetMethod(smBurg);
  r.analyzer.Update();
  // Burg: order min(100, 50 div 2) = 25, 26 coefficients, transform SmallestExp2(104) = 128.
  EXPECT_EQ(r.analyzer.TransformLength(), 128);
  EXPECT_DOUBLE_EQ(r.analyzer.ZeroPaddingRatio(), 128.0 / 26);
  ExpectModelSpectrum(r.analyzer, ArBurg(xd, 25).A, 128, 1.0);

  r.analyzer.SetMethod(smYuleWalker);
  r.analyzer.Update();
  // Yule-Walker: order min(100, 50) = 50, 51 coefficients, transform 256, scaled by 100 / 2.
  EXPECT_EQ(r.analyzer.TransformLength(), 256);
  ExpectModelSpectrum(r.analyzer, ArYuleWalker(xd, 50).A, 256, 50.0);

  r.analyzer.SetMethod(smCov);
  r.analyzer.Update();
  ExpectModelSpectrum(r.analyzer, ArCovariance(xd, 25).A, 128, 1.0);
  r.analyzer.SetMethod(smMCov);
  r.analyzer.Update();
  ExpectModelSpectrum(r.analyzer, ArMCovariance(xd, 25).A, 128, 1.0);
  EXPECT_DOUBLE_EQ(r.analyzer.WindowScaleFactor(), 1.0);
}

TEST(AnalyzerTwoSided, RealInputExtendedAndRotated) {
  const double fs = 80;
  AnalyzerRig r;
  SetReal(r.input, Sine(16, fs, 1, 10), fs);  // bin 2 of 16
  r.analyzer.SetConjExtend(true);
  r.analyzer.SetConjFlip(false);
  r.analyzer.Update();
  // Extended to 16 bins and rotated: 0 Hz at index 8, the two halves of the sine at 8 +- 2.
  ASSERT_EQ(r.analyzer.Amplt().Length(), 16);
  EXPECT_NEAR(r.analyzer.Amplt().Values(10), 0.5, 1e-12);
  EXPECT_NEAR(r.analyzer.Amplt().Values(6), 0.5, 1e-12);
  EXPECT_NEAR(r.analyzer.Amplt().Values(2), 0, 1e-12);
  EXPECT_DOUBLE_EQ(r.analyzer.BandWidthL(), -fs / 2);
  EXPECT_DOUBLE_EQ(r.analyzer.HzRes(), fs / 16);
  EXPECT_DOUBLE_EQ(r.analyzer.BandWidthL() + 10 * r.analyzer.HzRes(), 10.0);

  // Both flags: extended, not rotated.
  r.analyzer.SetConjFlip(true);
  r.analyzer.Update();
  ASSERT_EQ(r.analyzer.Amplt().Length(), 16);
  EXPECT_NEAR(r.analyzer.Amplt().Values(2), 0.5, 1e-12);
  EXPECT_NEAR(r.analyzer.Amplt().Values(14), 0.5, 1e-12);
  EXPECT_NEAR(r.analyzer.Amplt().Values(10), 0, 1e-12);
  EXPECT_DOUBLE_EQ(r.analyzer.BandWidthL(), 0);

  // Neither: one side, the sine at full amplitude.
  r.analyzer.SetConjExtend(false);
  r.analyzer.Update();
  ASSERT_EQ(r.analyzer.Amplt().Length(), 8);
  EXPECT_NEAR(r.analyzer.Amplt().Values(2), 1, 1e-12);
}

TEST(AnalyzerTwoSided, ComplexInputNegativeFrequenciesFirst) {
  const int n = 32;
  const double fs = 32;
  TSignal sig(nullptr);
  sig.Data().Size(n, true);
  for (int i = 0; i < n; ++i) sig.Data().SetCValues(i, std::polar(0.75, -2 * kPi * 5 * i / n + 0.4));
  sig.SetSamplingFrequency(fs);
  TSpectrumAnalyzer an(nullptr);
  an.SetInput(&sig);
  an.SetDCDump(false);
  an.Update();
  ASSERT_EQ(an.Amplt().Length(), n);
  const int idx = n / 2 - 5;
  EXPECT_NEAR(an.Amplt().Values(idx), 0.75, 1e-12);
  EXPECT_NEAR(an.Phase().Values(idx), 0.4 * 180 / kPi, 1e-9);
  EXPECT_DOUBLE_EQ(an.BandWidthL(), -fs / 2);
  EXPECT_DOUBLE_EQ(an.BandWidthL() + idx * an.HzRes(), -5.0);
  for (int k = 0; k < n; ++k) {
    if (k != idx) {
      EXPECT_NEAR(an.Amplt().Values(k), 0, 1e-12) << k;
    }
  }
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
  TSignal response(nullptr), excitation(nullptr);
  SetReal(response, y, 1000);
  SetReal(excitation, x, 1000);
  TSpectrumAnalyzer an(nullptr);
  an.SetInput(&response);
  an.SetOutput(&excitation);
  an.SetDCDump(false);
  an.SetPhaseUnits(puRad);
  an.SetKeepImpulseResponse(true);
  an.Update();
  const auto H = Dft(h, n);
  ASSERT_EQ(an.Amplt().Length(), n / 2);
  for (int k = 0; k < n / 2; ++k) {
    EXPECT_NEAR(an.Amplt().Values(k), std::abs(H[std::size_t(k)]), 1e-9) << k;
    EXPECT_NEAR(an.Phase().Values(k), std::arg(H[std::size_t(k)]), 1e-9) << k;
  }
  EXPECT_EQ(an.AmplitudeFactor(), 1.0);
  ASSERT_NE(an.ImpulseResponse(), nullptr);
  ASSERT_EQ(an.ImpulseResponse()->Length(), n);
  for (int i = 0; i < n; ++i)
    EXPECT_NEAR(an.ImpulseResponse()->Values(i), i < int(h.size()) ? h[std::size_t(i)] : 0.0, 1e-12) << i;

  // Cross spectrum X conj(Y) of the scaled spectra.
  an.SetCrossSpectral(true);
  an.Update();
  const auto X = Dft(y, n), Y = Dft(x, n);
  const double f = 2.0 / n;
  for (int k = 1; k < n / 2; k += 9)
    EXPECT_NEAR(an.Amplt().Values(k), std::abs(X[std::size_t(k)] * f * std::conj(Y[std::size_t(k)] * f)), 1e-12);

  // Removing the output signal clears the reference.
  {
    TSignal gone(nullptr);
    SetReal(gone, x, 1000);
    an.SetOutput(&gone);
  }
  EXPECT_EQ(an.Output(), nullptr);
  // The input as its own output is dropped at the update.
  an.SetOutput(&response);
  an.Update();
  EXPECT_EQ(an.Output(), nullptr);
}

TEST(AnalyzerPhase, RangeUnwrapAndDelays) {
  const int n = 64;
  const double fs = 64;
  const int d = 3;
  std::vector<double> x(n, 0.0);
  x[d] = 1;
  AnalyzerRig r;
  SetReal(r.input, x, fs);
  r.analyzer.SetDCDump(false);
  r.analyzer.SetUnwrapPhase(true);
  r.analyzer.Update();
  // A delay of d samples: phase -360 k d / n degrees, unwrapped into a straight line.
  for (int k = 0; k < n / 2; ++k) EXPECT_NEAR(r.analyzer.Phase().Values(k), -360.0 * k * d / n, 1e-9) << k;

  r.analyzer.SetUnwrapPhase(false);
  r.analyzer.SetPhaseRange(prZeroTwoPi);
  SetReal(r.input, Sine(n, fs, 1, 4, -2.5), fs);
  r.analyzer.Update();
  EXPECT_NEAR(r.analyzer.Phase().Values(4), -2.5 * 180 / kPi + 180, 1e-9);
  r.analyzer.SetPhaseUnits(puRad);
  r.analyzer.Update();
  EXPECT_NEAR(r.analyzer.Phase().Values(4), -2.5 + kPi, 1e-12);

  SetReal(r.input, x, fs);
  for (TPhaseMode mode : {pmPhaseDelay, pmGroupDelay}) {
    r.analyzer.SetPhaseMode(mode);
    r.analyzer.Update();
    for (int k = 0; k < n / 2; ++k) EXPECT_NEAR(r.analyzer.Phase().Values(k), d / fs, 1e-12) << int(mode) << " " << k;
  }
  r.analyzer.SetPhaseMode(pmIgnore);
  r.analyzer.Update();
  EXPECT_EQ(r.analyzer.Phase().Length(), n / 2);
  EXPECT_EQ(r.analyzer.Phase().Values(4), 0);
}

}  // namespace
}  // namespace sigflow
