// TSpectrum: frequency axis, arithmetic, conversions, weighting, logarithmic scale, peak
// helpers, text, copy and persistence.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>
#include <tuple>
#include <vector>

#include "sigflow/Core.h"
#include "sigflow/SignalTools.h"
#include "support/message.h"

namespace sigflow {
namespace {

constexpr double kTol = 1e-15;
using std::numbers::pi;
using test::MessageOf;

TEST(SpectrumAxis, NewAndComplexSpectrum) {
  TSpectrum s(nullptr);
  EXPECT_EQ(s.Phase().Length(), 64);
  EXPECT_EQ(s.BandWidth(), 0.5);
  EXPECT_NEAR(s.HzRes(), 0.5 / 64, kTol);
  EXPECT_NEAR(s.SamplingTime(), 128, kTol);
  EXPECT_EQ(s.Marks().SortType(), srtFreq);
  s.SetSamplingFrequency(1000);
  s.SetComplex(true);
  EXPECT_EQ(s.SpanDivisor(), 1.0);
  EXPECT_NEAR(s.SamplingFrequency(), 1000, 1e-12);
  EXPECT_NEAR(s.BandWidth(), 1000, 1e-12);
  EXPECT_NEAR(s.HzRes(), 1000.0 / 64, 1e-12);
  s.SetComplex(false);
  EXPECT_NEAR(s.BandWidth(), 500, 1e-12);
}

TEST(SpectrumAxis, ZeroPaddingClampsAndShortensTheRecord) {
  TSpectrum s(nullptr);
  for (int bad : {0, -3}) {
    s.SetZeroPadding(bad);
    EXPECT_EQ(s.ZeroPadding(), 1);
  }
  s.SetZeroPadding(4);
  EXPECT_EQ(s.ZeroPadding(), 4);
  EXPECT_NEAR(s.SamplingTime(), 32, kTol);  // 64 bins * 2 / 4 at 1 Hz
  EXPECT_EQ(s.SamplingFrequency(), 1.0);
  EXPECT_NEAR(s.HzRes(), 0.5 / 64, kTol);
}

TEST(SpectrumAxis, LengthChangesKeepTheSamplingFrequency) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(48000);
  s.SetLength(2048);
  EXPECT_NEAR(s.HzRes(), 48000.0 / 4096, 1e-12);
  EXPECT_NEAR(s.SamplingTime(), 4096 / 48000.0, 1e-15);
  s.Amplt().SetLength(1024);  // a computation resizing the vector
  EXPECT_EQ(s.Length(), 1024);
  EXPECT_NEAR(s.HzRes(), 48000.0 / 2048, 1e-12);
  s.SetBandWidthL(100);
  EXPECT_NEAR(s.BandWidthH(), 24100, 1e-9);
  s.SetLength(0);
  EXPECT_EQ(s.SamplingTime(), 0);
  // Refused while BlockAssign.
  TSpectrum b(nullptr);
  b.SetBlockAssign(true);
  b.SetLength(8);
  b.SetSamplingFrequency(9);
  b.SetComplex(true);
  EXPECT_EQ(b.Length(), 64);
  EXPECT_EQ(b.SamplingFrequency(), 1.0);
  EXPECT_FALSE(b.Complex());
}

void Fill(TSpectrum& s, std::initializer_list<double> a, std::initializer_list<double> p) {
  s.SetLength(static_cast<int>(a.size()));
  int i = 0;
  for (double x : a) s.Amplt().SetValues(i++, x);
  i = 0;
  for (double x : p) s.Phase().SetValues(i++, x);
}

// Every bin of v against want.
void ExpectBins(const TVec& v, const std::vector<double>& want, double tol) {
  ASSERT_EQ(v.Length(), int(want.size()));
  for (int i = 0; i < v.Length(); ++i) EXPECT_NEAR(v.Values(i), want[std::size_t(i)], tol) << "bin " << i;
}

TEST(SpectrumArithmetic, ScaleTouchesPhaseUnlessIgnored) {
  TSpectrum s(nullptr);
  Fill(s, {1, 2, 3}, {10, -20, 30});
  s.Scale(2);
  EXPECT_EQ(s.Amplt().Values(1), 4);
  EXPECT_EQ(s.Phase().Values(1), -40);
  s.SetPhaseMode(pmIgnore);
  s.Scale(2);
  EXPECT_EQ(s.Amplt().Values(1), 8);
  EXPECT_EQ(s.Phase().Values(1), -40);
}

TEST(SpectrumArithmetic, PhaseFollowsUnlessIgnored) {
  TSpectrum a(nullptr), b(nullptr);
  Fill(a, {1, 2, 3}, {1, 1, 1});
  Fill(b, {4, 5, 6}, {2, 2, 2});
  a.Mul(b);
  EXPECT_EQ(a.Amplt().Values(1), 10);
  EXPECT_EQ(a.Phase().Values(1), 2);
  a.BandFlip();
  EXPECT_EQ(a.Amplt().Values(0), 18);
  EXPECT_EQ(a.Phase().Values(2), 2);
  TSpectrum d(nullptr);
  d.SetPhaseMode(pmIgnore);
  d.Size(b);
  EXPECT_EQ(d.Amplt().Length(), 3);
  EXPECT_EQ(d.Phase().Length(), 64);
  EXPECT_THROW(a.Add(d), Exception);  // phases of unequal length
}

TEST(SpectrumConversions, FromAComplexVector) {
  TVec x(3, true);
  x.SetCValues(0, {3, 4});
  x.SetCValues(1, {-1, 0});
  x.SetCValues(2, {0, -2});
  TSpectrum s(nullptr);
  s.PowerSpectrum(x);
  ExpectBins(s.Amplt(), {25, 1, 4}, 0);
  s.AmpltSpectrum(x);
  ExpectBins(s.Amplt(), {5, 1, 2}, 0);
  s.RMSSpectrum(x);
  ExpectBins(s.Amplt(), {5 / std::sqrt(2.0), 1 / std::sqrt(2.0), 2 / std::sqrt(2.0)}, kTol);
  s.PhaseSpectrum(x);
  ExpectBins(s.Phase(), {std::atan2(4, 3) * 180 / pi, 180, -90}, 1e-13);
  s.SetPhaseUnits(puRad);
  s.PhaseSpectrum(x);
  EXPECT_NEAR(s.Phase().Values(2), -pi / 2, kTol);
}

TEST(SpectrumWeighting, IntegrateAndDifferentiate) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(64);
  Fill(s, {5, 1, 1, 1, 1, 1, 1, 1}, {});
  const double h = s.HzRes();
  ASSERT_EQ(h, 4);
  s.Integrate();
  std::vector<double> want{5};  // 0 Hz bin skipped
  for (int i = 1; i < 8; ++i) want.push_back(1 / (i * 2 * pi * h));
  ExpectBins(s.Amplt(), want, kTol);
  s.Differentiate();
  ExpectBins(s.Amplt(), {5, 1, 1, 1, 1, 1, 1, 1}, 1e-15);
  // With a lower edge every bin is weighted, bin 0 at BandWidthL.
  s.SetBandWidthL(8);
  s.Integrate();
  EXPECT_NEAR(s.Amplt().Values(0), 5 / (2 * 2 * pi * h), kTol);
  EXPECT_NEAR(s.Amplt().Values(1), 1 / (3 * 2 * pi * h), kTol);
}

TEST(SpectrumWeighting, ConjugateExtension) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(64);
  s.SetConjExtend(true);
  Fill(s, {9, 1, 1, 1, 7, 7, 7, 7}, {});
  const double w = 2 * pi * s.HzRes();
  s.Differentiate();
  // Lower half weighted, upper half its mirror: a[8 - i] = a[i].
  ExpectBins(s.Amplt(), {9, w, 2 * w, 3 * w, 7, 3 * w, 2 * w, w}, 1e-12);
  for (int i = 1; i < 4; ++i) EXPECT_EQ(s.Amplt().Values(8 - i), s.Amplt().Values(i));
  s.SetConjFlip(false);
  Fill(s, {1, 1, 1, 1, 1, 1, 1, 1}, {});
  s.Differentiate();
  // Upper half weighted by (H + i) w, lower half its mirror: a[4 - i] = a[4 + i].
  ExpectBins(s.Amplt(), {1, 7 * w, 6 * w, 5 * w, 1, 5 * w, 6 * w, 7 * w}, 1e-12);
  for (int i = 1; i < 4; ++i) EXPECT_EQ(s.Amplt().Values(4 - i), s.Amplt().Values(4 + i));
}

TEST(SpectrumLog, RelativeAbsoluteAndNatural) {
  TSpectrum s(nullptr);
  Fill(s, {1, 0.1, 0.001, 0}, {});
  s.LogAmplt(10, 40, 1, false);
  EXPECT_NEAR(s.Amplt().Values(0), 0, kTol);
  EXPECT_NEAR(s.Amplt().Values(1), -20, 1e-13);
  EXPECT_NEAR(s.Amplt().Values(2), -40, 1e-13);
  EXPECT_NEAR(s.Amplt().Values(3), -40, 1e-13);
  Fill(s, {10, 1, 0}, {});
  s.LogAmplt(10, 30, 10, true);
  EXPECT_NEAR(s.Amplt().Values(0), 20, 1e-13);
  EXPECT_NEAR(s.Amplt().Values(1), 0, 1e-13);
  EXPECT_NEAR(s.Amplt().Values(2), -10, 1e-13);
  // Natural base followed by 0.05: ln of the ratio.
  Fill(s, {4, 2}, {});
  s.LogAmplt(std::numbers::e, 300, 4, false);
  s.Amplt().Scale(0.05);
  EXPECT_NEAR(s.Amplt().Values(1), std::log(0.5), 1e-14);
  s.LogAmplt(10, 77, 0, false);
  EXPECT_EQ(s.Amplt().Values(0), -77);
  EXPECT_EQ(s.Amplt().Values(1), -77);
}

TEST(SpectrumPeaks, ApproximateAndEstimates) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(64);
  s.SetLength(32);  // 1 Hz bins
  for (int k = 0; k < 32; ++k) s.Amplt().SetValues(k, 100 - (k - 10.3) * (k - 10.3));
  for (int k = 0; k < 32; ++k) s.Phase().SetValues(k, 2.0 * k);
  EXPECT_NEAR(s.PeakApproximate(7.2), 10.3, 1e-12);
  EXPECT_NEAR(s.PeakApproximate(25), 10.3, 1e-12);
  s.SetMaxFreqIndex(8);
  EXPECT_EQ(s.PeakApproximate(3), 8);  // the climb stops at the limit
  s.SetMaxFreqIndex(-1);
  EXPECT_EQ(s.AmpltEst(-5), s.Amplt().Values(0));
  EXPECT_EQ(s.AmpltEst(99), s.Amplt().Values(31));
  // A tone of 3 at 10.3 bins as the rectangular window shows it: the estimate is the
  // kernel between the bins, reaches 3 at the tone, and equals the bin on the maximum bin.
  const auto sinc = [](double x) { return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); };
  for (int k = 0; k < 32; ++k) s.Amplt().SetValues(k, 3 * std::abs(sinc(k - 10.3)));
  EXPECT_NEAR(s.AmpltEst(10.3), 3, 1e-9);
  for (double f : {9.7, 10.1, 10.25, 10.35, 10.45, 10.8}) EXPECT_NEAR(s.AmpltEst(f), 3 * std::abs(sinc(f - 10.3)), 1e-9) << f;
  EXPECT_EQ(s.AmpltEst(10), s.Amplt().Values(10));
  EXPECT_EQ(s.PhaseEst(10.6), s.Phase().Values(10));  // the phase of the fitted bin
  EXPECT_EQ(s.PhaseEst(11.4), s.Phase().Values(10));
  EXPECT_EQ(MessageOf([&] { s.FilterPeak(0); }), "Peak filter method not supported!");
  EXPECT_EQ(MessageOf([&] { s.ComputeGroupDelay(); }), "Not implemented!");
  EXPECT_EQ(MessageOf([&] { s.ComputePhaseDelay(); }), "Not implemented");
}

TEST(SpectrumText, ValuesAndMarks) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(8);
  Fill(s, {1, 0.5, 0.25, 10}, {0, 90, -45, 180});
  TStringList out;
  s.ValuesToStrings(out, "f a p", "", "", "%g");
  ASSERT_EQ(out.Count(), 5);
  EXPECT_EQ(out.Strings(0), "f a p");
  EXPECT_EQ(out.Strings(1), "0    1   0");
  EXPECT_EQ(out.Strings(4), "3   10 180");
  s.Marks().Add({3, 10, 180, 0});
  TStringList marks;
  s.MarksToStrings(marks, "", ";", "%.3f", "%.1f");
  ASSERT_EQ(marks.Count(), 1);
  EXPECT_EQ(marks.Strings(0), "3.000;10.0;180.0;0.0");
  EXPECT_THROW(s.MarksToStrings(marks, "", ";", "%d", ""), EConvertError);
}

TEST(SpectrumCopy, RangeOfBins) {
  TSpectrum s(nullptr);
  s.SetSamplingFrequency(64);
  s.SetLength(32);
  for (int k = 0; k < 32; ++k) {
    s.Amplt().SetValues(k, k);
    s.Phase().SetValues(k, -k);
  }
  s.Marks().Add({5, 1, 0, 0});
  s.Marks().Add({12, 2, 0, 0});
  TSpectrum d(nullptr);
  CopySpectrum(s, d, 10, 8);
  EXPECT_EQ(d.Length(), 8);
  EXPECT_EQ(d.Amplt().Values(0), 10);
  EXPECT_EQ(d.Phase().Values(7), -17);
  EXPECT_NEAR(d.HzRes(), s.HzRes(), kTol);
  EXPECT_NEAR(d.BandWidthL(), 10, kTol);
  ASSERT_EQ(d.Marks().Count(), 1);
  EXPECT_EQ(d.Marks().Values(0).Freq, 12);
  EXPECT_EQ(MessageOf([&] { CopySpectrum(s, d, 30, 3); }), "CopySpectrum: range outside the spectrum");
}

std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }

std::vector<std::uint64_t> Bits(const TVec& v) {
  std::vector<std::uint64_t> b;
  for (int i = 0; i < v.Length(); ++i) b.push_back(Bits(v.Values(i)));
  return b;
}

TEST(SpectrumPersistence, TreeRoundTripIsBitExact) {
  TComponent form(nullptr);
  form.SetName("Form1");
  auto* s = new TSpectrum(&form);
  s->SetName("Spec");
  s->SetComplex(true);
  s->SetZeroPadding(2);
  s->SetSamplingFrequency(44100.25);
  s->SetLength(5);
  s->SetPhaseMode(pmGroupDelay);
  s->SetHarmonics(3);
  for (int k = 0; k < 5; ++k) {
    s->Amplt().SetValues(k, 1.0 / (k + 3));
    s->Phase().SetValues(k, -std::sqrt(k + 0.5));
  }
  s->Marks().Add({1000.125, 1.0 / 3, -0.0, 1e-300});
  const std::string text = SaveComponentTreeToString(form);

  TComponent form2(nullptr);
  form2.SetName("Form1");
  LoadComponentTreeFromString(form2, text);
  auto* t = dynamic_cast<TSpectrum*>(form2.FindComponent("Spec"));
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(std::tuple(t->Complex(), t->ZeroPadding(), t->PhaseMode(), t->Harmonics()), std::tuple(true, 2, pmGroupDelay, 3));
  EXPECT_EQ(Bits(t->SamplingFrequency()), Bits(s->SamplingFrequency()));
  EXPECT_EQ(Bits(t->HzRes()), Bits(s->HzRes()));
  EXPECT_EQ(Bits(t->Amplt()), Bits(s->Amplt()));
  EXPECT_EQ(Bits(t->Phase()), Bits(s->Phase()));
  ASSERT_EQ(t->Marks().Count(), 1);
  EXPECT_EQ(Bits(t->Marks().Values(0).Phase), Bits(-0.0));
  EXPECT_EQ(t->Marks().Values(0), s->Marks().Values(0));
  EXPECT_EQ(SaveComponentTreeToString(form2), text);

  // Assign copies settings, axis and data.
  TSpectrum c(nullptr);
  c.Assign(s);
  EXPECT_EQ(c.Length(), 5);
  EXPECT_EQ(Bits(c.HzRes()), Bits(s->HzRes()));
  EXPECT_EQ(c.Phase().Values(4), s->Phase().Values(4));
  EXPECT_EQ(c.Marks().Count(), 1);
}

}  // namespace
}  // namespace sigflow
