// Peak search, harmonics, tracing across frames, orders, filtering, dB and the marks' home.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

#include "peak_host_fixture.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "support/alloc_counter.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::TTestPeakHost;
using test::MessageOf;
using V = std::vector<double>;

// 512 bins of 1 Hz on a flat floor with peaks (bin, amplitude) on it.
V Peaky(std::initializer_list<std::pair<int, double>> peaks) {
  V y(512, 0.01);
  for (auto [k, a] : peaks) {
    y[k] = a;
    y[k - 1] = std::max(y[k - 1], a / 4);
    y[k + 1] = std::max(y[k + 1], a / 3);
  }
  return y;
}

V Field(const TMarkList& m, double TMarkRecord::*field = &TMarkRecord::Freq) {
  V f;
  for (int i = 0; i < m.Count(); ++i) f.push_back(m.Values(i).*field);
  return f;
}

// The mark frequencies after an update.
V Found(TSpectrumPeaksAnalyzer& p, TTestPeakHost& host) {
  p.Update();
  return Field(host.Spec.Marks());
}

TEST(PeaksSearch, BandLimitsSpacingAndLargest) {
  TTestPeakHost host;
  host.SetAmplitudes(Peaky({{10, 1}, {50, 2}, {90, 3}, {200, 5}, {202, 4}, {230, 1.5}, {233, 6}, {300, 2}, {304, 2.5}}), 1);
  host.Spec.SetMainlobeWidth(8);  // peaks at least 4 bins apart
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  EXPECT_EQ(p.FindAllPeaks(), 7);
  // 202 loses to 200, 230 to 233; 300 and 304 are exactly 4 bins apart and both stay.
  EXPECT_EQ(Field(host.Spec.Marks()), (V{10, 50, 90, 200, 233, 300, 304}));
  EXPECT_EQ(host.Spec.Marks().Values(4).Amplt, 6.0);

  p.SetUseFullBandwidth(false);
  p.SetBandwidthL(50);  // an edge on a peak's bin keeps the peak
  p.SetBandwidthH(233);
  EXPECT_EQ(host.Spec.Marks().Count(), 7);  // settings alone do not search
  p.FindAllPeaks();
  EXPECT_EQ(Field(host.Spec.Marks()), (V{50, 90, 200, 233}));
  p.SetBandwidthL(50.5);
  p.SetBandwidthH(232.5);
  p.FindAllPeaks();
  EXPECT_EQ(Field(host.Spec.Marks()), (V{90, 200, 230}));  // 230 loses to 233 only while 233 is searched

  p.SetUseFullBandwidth(true);
  p.SetLargestCount(3);
  EXPECT_EQ(Found(p, host), (V{90, 200, 233}));  // frequency order
  p.SetLargestCount(100);
  p.Update();
  EXPECT_EQ(host.Spec.Marks().Count(), 7);
  host.Spec.SetMaxFreqIndex(250);  // a limited spectrum is not searched beyond its limit
  EXPECT_EQ(Found(p, host), (V{10, 50, 90, 200, 233}));
}

TEST(PeaksSearch, InactiveLeavesMarksAlone) {
  TTestPeakHost host;
  host.SetAmplitudes(Peaky({{40, 1}}), 1);
  host.Spec.Marks().Add({7, 7, 7, 7});
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.SetActive(false);
  EXPECT_EQ(Found(p, host), (V{7}));
  p.SetActive(true);
  EXPECT_EQ(Found(p, host), (V{40}));
}

TEST(PeaksSearch, HarmonicsAndThd) {
  TTestPeakHost host;
  host.SetAmplitudes(Peaky({{60, 4}, {100, 10}, {201, 1}, {299, 0.5}, {400, 0.25}, {460, 3}}), 1);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.SetHarmonicsCount(3);
  p.SetTraceInterval(1);  // window of 1 % of 512 Hz: 2.56 Hz each side
  p.SetTraceMethod(ptAmpltHarmonics);
  EXPECT_EQ(Found(p, host), (V{100, 201, 299, 400}));
  EXPECT_NEAR(host.Spec.THD(), 100 * std::sqrt(1 + 0.25 + 0.0625) / 10, 1e-12);  // the host's marks
  // A narrower window misses the harmonics off their multiple: the largest bin at the multiple.
  p.SetTraceInterval(0.1);
  EXPECT_EQ(Found(p, host), (V{100, 200, 300, 400}));
  EXPECT_NEAR(host.Spec.Marks().Values(1).Amplt, 1.0 / 4, 1e-15);
  // Exact multiples of the fundamental, with values read off the spectrum.
  p.SetTraceMethod(ptFreqHarmonics);
  p.SetHarmonicsCount(9);
  EXPECT_EQ(Found(p, host), (V{100, 200, 300, 400, 500}));  // 600 > 510
  EXPECT_EQ(host.Spec.Marks().Values(3).Amplt, 0.25);
}

TEST(PeaksSearch, HarmonicsFollowTheRefinedFundamental) {
  TTestPeakHost host;
  V y = Peaky({{100, 10}});
  y[99] = 5;
  y[101] = 8;  // the fundamental lies above bin 100
  host.SetAmplitudes(y, 1);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.Interpolation()->SetMethod(imBarycentric);
  p.SetHarmonicsCount(2);
  p.SetTraceMethod(ptFreqHarmonics);
  p.Update();
  const double f1 = 100 + (8.0 - 5.0) / (5 + 10 + 8);
  ASSERT_EQ(host.Spec.Marks().Count(), 3);
  EXPECT_DOUBLE_EQ(host.Spec.Marks().Values(0).Freq, f1);
  EXPECT_DOUBLE_EQ(host.Spec.Marks().Values(2).Freq, 3 * f1);
}

TEST(PeaksSearch, TraceAcrossFrames) {
  TTestPeakHost host;
  host.SetAmplitudes(Peaky({{100, 5}, {300, 4}, {450, 1}}), 1);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.SetLargestCount(2);
  p.SetTraceInterval(2);  // 5.12 Hz each side
  p.SetTraceMethod(ptCurrent);
  ASSERT_EQ(Found(p, host), (V{100, 300}));
  // Next frame: both peaks drift and a larger one appears elsewhere; the marks follow.
  host.SetAmplitudes(Peaky({{103, 5}, {296, 4}, {450, 9}}), 1);
  EXPECT_EQ(Found(p, host), (V{103, 296}));
  // A drift beyond the window is not followed: the mark takes the best bin inside it.
  host.SetAmplitudes(Peaky({{110, 5}, {296, 4}, {450, 9}}), 1);
  p.Update();
  EXPECT_EQ(host.Spec.Marks().Values(1).Freq, 296);
  EXPECT_LE(std::fabs(host.Spec.Marks().Values(0).Freq - 103), 5.12);
  EXPECT_NE(host.Spec.Marks().Values(0).Freq, 110);
  p.SetTraceMethod(ptNone);  // the same frame untraced: the two largest
  EXPECT_EQ(Found(p, host), (V{110, 450}));
  // ptLargest keeps one mark on the largest peak and then follows it.
  p.SetTraceMethod(ptLargest);
  EXPECT_EQ(Found(p, host), (V{450}));
  host.SetAmplitudes(Peaky({{110, 50}, {452, 9}}), 1);
  EXPECT_EQ(Found(p, host), (V{452}));
}

TEST(PeaksSearch, OrdersAreFrequenciesOverTheReference) {
  TTestPeakHost host;
  host.SetAmplitudes(Peaky({{50, 2}, {100, 8}, {150, 3}, {200, 1}}), 1);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.SetLargestCount(4);
  const auto orders = [&] {
    p.Update();
    return Field(host.Spec.Marks(), &TMarkRecord::Time);
  };
  EXPECT_EQ(orders(), (V{0, 0, 0, 0}));  // order analysis off
  p.SetOrderActive(true);
  p.SetOrderTracing(otFirstPeak);
  EXPECT_EQ(orders(), (V{1, 2, 3, 4}));
  EXPECT_EQ(p.OrderReference(), 50);
  p.SetOrderTracing(otLargest);
  EXPECT_EQ(orders(), (V{0.5, 1, 1.5, 2}));
  p.SetOrderTracing(otNthPeak);
  p.SetOrderPeakNumber(3);
  EXPECT_EQ(orders(), (V{1.0 / 3, 2.0 / 3, 1, 4.0 / 3}));
  p.SetOrderPeakNumber(5);  // no fifth peak: no reference
  EXPECT_EQ(orders(), (V{0, 0, 0, 0}));
  EXPECT_EQ(p.OrderReference(), 0);
  p.SetOrderTracing(otNone);
  p.SetOrderFrequency(25);
  EXPECT_EQ(orders(), (V{2, 4, 6, 8}));
  EXPECT_EQ(Field(host.Spec.Marks()), (V{50, 100, 150, 200}));  // frequencies stay in hertz
}

TEST(PeaksSearch, FilterRemovesTheLobe) {
  TTestPeakHost host;
  V y(64);
  for (int k = 0; k < 64; ++k) y[k] = 1 + 0.1 * k;
  y[30] = 50;
  y[29] = y[31] = 20;
  host.SetAmplitudes(y, 1);
  host.Spec.SetMainlobeWidth(4);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.Update();
  ASSERT_EQ(host.Spec.Marks().Count(), 1);
  p.Filter(0);
  EXPECT_EQ(host.Spec.Marks().Count(), 0);
  // Bins 28 .. 32 lie on the line between 27 and 33, which is the ramp itself.
  for (int k = 26; k <= 34; ++k) EXPECT_NEAR(host.Spec.Amplt().Values(k), 1 + 0.1 * k, 1e-12) << k;
  EXPECT_THROW(p.Filter(0), Exception);

  host.SetAmplitudes(y, 1);
  p.Update();
  host.SpectrumType = 4;
  EXPECT_EQ(MessageOf([&] { p.Filter(0); }), "Not supported with current parameters!");
  EXPECT_EQ(host.Spec.Marks().Count(), 1);
  host.SpectrumType = 0;
  host.Spec.SetMainlobeWidth(0);
  EXPECT_THROW(p.FilterAll(), Exception);

  host.Spec.SetMainlobeWidth(4);
  y[10] = 30;
  y[50] = 40;
  host.SetAmplitudes(y, 1);
  p.SetLargestCount(10);
  p.Update();
  ASSERT_EQ(host.Spec.Marks().Count(), 3);
  p.FilterAll();
  EXPECT_EQ(host.Spec.Marks().Count(), 0);
  p.Update();
  EXPECT_EQ(host.Spec.Marks().Count(), 0);  // the ramp has no peak left
}

TEST(PeaksSearch, MarksAreReadOnlyAndConvertToDecibelsAsTheSpectrum) {
  TTestPeakHost host;
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.SetLargestCount(3);
  EXPECT_EQ(&p.GetMarks(), &host.Spec.Marks());
  EXPECT_EQ(MessageOf([&] { p.SetMarks(TMarkList()); }), "Not supported!");
  for (bool absolute : {true, false}) {
    host.SetAmplitudes(Peaky({{20, 0.5}, {80, 2}, {140, 0.0105}}), 1);
    p.Update();
    ASSERT_EQ(p.Marks().Count(), 3);
    TSpectrum ref(nullptr);
    ref.SetLength(3);
    for (int i = 0; i < 3; ++i) ref.Amplt().SetValues(i, p.Marks().Values(i).Amplt);
    ref.LogAmplt(10, 40, 2, absolute);
    p.LogAmplt(10, 40, 2, absolute);
    for (int i = 0; i < 3; ++i) EXPECT_DOUBLE_EQ(p.Marks().Values(i).Amplt, ref.Amplt().Values(i));
  }
  EXPECT_DOUBLE_EQ(p.Marks().Values(2).Amplt, -40);  // 0.0105 / 2 is below the span
}

TEST(PeaksSearch, AdjustReadsTheSpectrumAtTheMarks) {
  TTestPeakHost host;
  V y = Peaky({{100, 10}});
  y[101] = 6;
  host.SetAmplitudes(y, 1);
  for (int k = 0; k < 512; ++k) host.Spec.Phase().SetValues(k, 0.01 * k);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.Interpolation()->SetMethod(imBarycentric);
  p.Update();
  const TMarkRecord before = p.Marks().Values(0);
  // Refined between bins 100 and 101, the mark reads the estimate there, above the bin.
  EXPECT_GT(before.Freq, 100);
  EXPECT_DOUBLE_EQ(before.Amplt, host.Spec.AmpltEst(before.Freq));
  EXPECT_GT(before.Amplt, 10);
  host.Spec.Amplt().Scale(0.5);
  for (int k = 0; k < 512; ++k) host.Spec.Phase().SetValues(k, 1 + host.Spec.Phase().Values(k));
  p.Adjust();
  const TMarkRecord after = p.Marks().Values(0);
  EXPECT_EQ(after.Freq, before.Freq);
  EXPECT_DOUBLE_EQ(after.Amplt, 0.5 * before.Amplt);
  EXPECT_DOUBLE_EQ(after.Phase, 1 + before.Phase);
}

TEST(PeaksSearch, SteadyStateUpdateAllocatesNothing) {
  TTestPeakHost host;
  V x(4096);
  for (int i = 0; i < 4096; ++i)
    for (int h = 1; h <= 10; ++h) x[i] += std::cos(2 * std::numbers::pi * (37.3 * h) * i / 4096) / h;
  host.SetFrame(x, 4096);
  host.Spec.SetMainlobeWidth(4);
  TSpectrumPeaksAnalyzer p(nullptr, &host);
  p.Interpolation()->SetMethod(imQuinnSecond);
  p.SetLargestCount(10);
  p.SetOrderActive(true);
  p.SetOrderTracing(otFirstPeak);
  for (TPeakTraceMethod m : {ptNone, ptCurrent, ptAmpltHarmonics, ptFreqHarmonics}) {
    SCOPED_TRACE(int(m));
    p.SetTraceMethod(m);
    p.Update();  // warm-up: capacities grow here
    ASSERT_GE(p.Marks().Count(), 10);
    test::AllocationScope scope;
    for (int i = 0; i < 5; ++i) p.Update();
    EXPECT_EQ(scope.Count(), 0u);
    int big = 0;
    for (int i = 1; i < p.Marks().Count(); ++i)
      if (p.Marks().Values(i).Amplt > p.Marks().Values(big).Amplt) big = i;
    EXPECT_NEAR(p.Marks().Values(big).Freq, 37.3, 0.02);
  }
}

}  // namespace
}  // namespace sigflow
