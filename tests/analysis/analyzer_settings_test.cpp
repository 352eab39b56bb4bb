// Spectrum analyzer settings: published defaults, setter rules (dirty mark, AutoCalculate),
// streaming and Assign, the chirp-z zoom settings and results, the analyzer list.
#include <gtest/gtest.h>

#include <memory>

#include "analyzer_support.h"
#include "sigflow/analysis/SpectrumAnalyzerList.h"
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Streams.h"

namespace sigflow {
namespace {

using test::AnalyzerRig;
using test::SetReal;
using test::Sine;

TEST(AnalyzerSettings, Defaults) {
  TSpectrumAnalyzer an(nullptr);
  // Every published property holds its declared default after construction (the axis
  // properties of the spectrum have no default).
  int checked = 0;
  for (const TPropInfo* p : an.Properties().All()) {
    if (!p->Default) continue;
    ++checked;
    EXPECT_FALSE(p->IsStored(an)) << p->Name;
  }
  EXPECT_GE(checked, 30);
  const TPropertyTable& t = an.Properties();
  EXPECT_EQ(std::get<std::int64_t>(*t.Find("AROrder")->Default), 100);
  EXPECT_EQ(std::get<double>(*t.Find("SidelobeAtt")->Default), 40);
  EXPECT_EQ(std::get<double>(*t.Find("ExpWindow")->Default), 0.01);
  EXPECT_EQ(std::get<std::int64_t>(*t.Find("Averages")->Default), 30);
  EXPECT_EQ(std::get<std::int64_t>(*t.Find("ExpDecay")->Default), 5);
  EXPECT_EQ(std::get<std::int64_t>(*t.Find("LogSpan")->Default), ls120);
  EXPECT_EQ(std::get<std::int64_t>(*t.Find("RunningPhase")->Default), 1);
  EXPECT_EQ(std::get<bool>(*t.Find("DCDump")->Default), true);
  EXPECT_EQ(std::get<bool>(*t.Find("ConjFlip")->Default), true);
  EXPECT_EQ(an.SpanDb(), 120);
  ASSERT_NE(an.CZT(), nullptr);
  EXPECT_EQ(an.EditorClass(), "TSpectrumAnaForm");
  EXPECT_EQ(int(avCplxExponentInf), 8);
  EXPECT_EQ(int(avMinHoldInf), 9);
  EXPECT_EQ(SpectrumMethodToString(smBurg), "Burg");
  EXPECT_NE(SpectrumMethodToString(smFFT), SpectrumMethodToString(smCZT));
}

TEST(AnalyzerSettings, SettersMarkDirtyAndAutoCalculate) {
  AnalyzerRig r;
  SetReal(r.input, Sine(64, 64, 1, 8), 64);
  r.analyzer.Update();
  r.analyzer.SetDirty(false);
  r.analyzer.SetScaleFactor(1.0);  // unchanged
  EXPECT_FALSE(r.analyzer.Dirty());
  r.analyzer.SetScaleFactor(3.0);
  EXPECT_TRUE(r.analyzer.Dirty());
  EXPECT_NEAR(r.analyzer.Amplt().Values(8), 1, 1e-12);  // not recomputed yet
  r.analyzer.SetAutoCalculate(true);
  r.analyzer.SetScaleFactor(2.0);
  EXPECT_NEAR(r.analyzer.Amplt().Values(8), 2, 1e-12);
  r.analyzer.SetSpectrumType(stPower);
  EXPECT_NEAR(r.analyzer.Amplt().Values(8), 4, 1e-12);
  // The averaging setters never recompute by themselves.
  r.analyzer.SetAveraging(avLinearInf);
  EXPECT_EQ(r.analyzer.Averaged(), 0u);
  r.analyzer.ResetAveraging();  // with AutoCalculate this one does
  EXPECT_EQ(r.analyzer.Averaged(), 1u);
  r.analyzer.SetLogSpan(ls45);
  EXPECT_EQ(r.analyzer.SpanDb(), 45);
  // Statistics want plain amplitudes without zero padding.
  r.analyzer.SetLogarithmic(true);
  EXPECT_FALSE(r.analyzer.StatisticsIsValid());
  r.analyzer.EnableStatistics();
  EXPECT_TRUE(r.analyzer.StatisticsIsValid());
  r.analyzer.SetZeroPadding(2);
  EXPECT_FALSE(r.analyzer.StatisticsIsValid());
  // The cepstrum switch and the method follow each other.
  r.analyzer.SetAutoCalculate(false);
  r.analyzer.SetRealCepstrum(true);
  EXPECT_EQ(r.analyzer.Method(), smRealCepstrum);
  r.analyzer.SetRealCepstrum(false);
  EXPECT_EQ(r.analyzer.Method(), smFFT);
}

TEST(AnalyzerSettings, StreamAndAssignCopySettings) {
  TSpectrumAnalyzer a(nullptr);
  a.SetMethod(smBurg);
  a.SetAROrder(12);
  a.SetWindow(wtKaiser);
  a.SetSidelobeAtt(70);
  a.SetLogarithmic(true);
  a.SetLogSpan(ls200);
  a.SetAveraging(avExponentInf);
  a.SetExpDecay(7);
  a.SetAverages(11);
  a.SetPhaseRange(prZeroTwoPi);
  a.SetConjExtend(true);
  a.CZT()->SetStopFrequency(0.3);
  a.CZT()->SetFrequencyStep(0.001);
  TMemoryStream ms;
  a.SaveToStream(ms);
  ms.Seek(0, soBeginning);
  TSpectrumAnalyzer b(nullptr);
  b.LoadFromStream(ms);
  TSpectrumAnalyzer c(nullptr);
  c.Assign(&a);
  for (TSpectrumAnalyzer* x : {&b, &c}) {
    EXPECT_EQ(x->Method(), smBurg);
    EXPECT_EQ(x->AROrder(), 12);
    EXPECT_EQ(x->Window(), wtKaiser);
    EXPECT_EQ(x->SidelobeAtt(), 70);
    EXPECT_TRUE(x->Logarithmic());
    EXPECT_EQ(x->SpanDb(), 200);
    EXPECT_EQ(x->Averaging(), avExponentInf);
    EXPECT_EQ(x->ExpDecay(), 7);
    EXPECT_EQ(x->Averages(), 11u);
    EXPECT_EQ(x->PhaseRange(), prZeroTwoPi);
    EXPECT_TRUE(x->ConjExtend());
    EXPECT_EQ(x->CZT()->StopFrequency(), 0.3);
    EXPECT_EQ(x->CZT()->FrequencyStep(), 0.001);
  }
  TSpectrumCZT z(nullptr);
  z.SetStartFrequency(0.1);
  c.SeTSpectrumCZT(&z);
  EXPECT_EQ(c.CZT()->StartFrequency(), 0.1);
  EXPECT_EQ(c.CZT()->StopFrequency(), 0.5);
}

TEST(AnalyzerCzt, SetterRules) {
  TSpectrumCZT z(nullptr);
  EXPECT_EQ(z.StartFrequency(), 0);
  EXPECT_EQ(z.FrequencyStep(), 0.0078125);
  EXPECT_EQ(z.StopFrequency(), 0.5);
  EXPECT_EQ(z.Points(), 64);
  z.SetStartFrequency(0.8);
  EXPECT_EQ(z.StopFrequency(), 0.8);
  EXPECT_EQ(z.Points(), 0);
  z.SetStopFrequency(0.2);
  EXPECT_EQ(z.StartFrequency(), 0.2);
  z.SetFrequencyStep(-1);
  EXPECT_EQ(z.FrequencyStep(), 0);
  z.SetStartRadius(-0.5);
  EXPECT_EQ(z.StartRadius(), 0);
  z.SetStopRadius(-0.5);
  EXPECT_EQ(z.StopRadius(), -0.5);
}

TEST(AnalyzerCzt, ZoomReadsSineAndZeroStepIsEmpty) {
  const double fs = 1000, A = 1.5;
  AnalyzerRig r;
  SetReal(r.input, Sine(1000, fs, A, 123, 0.2), fs);
  r.analyzer.SetMethod(smCZT);
  r.analyzer.CZT()->SetStopFrequency(150);
  r.analyzer.CZT()->SetStartFrequency(100);
  r.analyzer.CZT()->SetFrequencyStep(1);
  r.analyzer.Update();
  ASSERT_EQ(r.analyzer.Amplt().Length(), 50);
  EXPECT_DOUBLE_EQ(r.analyzer.BandWidthL(), 100);
  EXPECT_DOUBLE_EQ(r.analyzer.SamplingFrequency(), 100);
  EXPECT_DOUBLE_EQ(r.analyzer.HzRes(), 1);
  EXPECT_NEAR(r.analyzer.Amplt().Values(23), A, 1e-9);
  EXPECT_NEAR(r.analyzer.Amplt().Values(10), 0, 1e-9);
  EXPECT_NEAR(r.analyzer.Phase().Values(23), 0.2 * 180 / test::kPi, 1e-7);

  r.analyzer.CZT()->SetFrequencyStep(0);
  EXPECT_NO_THROW(r.analyzer.Update());
  EXPECT_EQ(r.analyzer.Amplt().Length(), 0);
  EXPECT_EQ(r.analyzer.Phase().Length(), 0);
}

TEST(AnalyzerList, TypedItemsAndRegistry) {
  TSpectrumAnalyzerList list(nullptr);
  list.SetCount(2);
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Items(1)->ClassName(), "TSpectrumAnalyzer");
  auto* fresh = new TSpectrumAnalyzer(nullptr);
  fresh->SetAROrder(7);
  list.SetItems(0, fresh);
  EXPECT_EQ(list.GetItems(0)->AROrder(), 7);
  RegisterSpectrumAnalyzerClasses();
  const TComponentClass* cls = FindComponentClass("TSpectrumAnalyzer");
  ASSERT_NE(cls, nullptr);
  std::unique_ptr<TComponent> made(cls->Create(nullptr));
  ASSERT_NE(dynamic_cast<TSpectrumAnalyzer*>(made.get()), nullptr);
  ASSERT_NE(FindComponentClass("TSpectrumAnalyzerList"), nullptr);
}

TEST(AnalyzerEvents, HooksFireInPipelineOrder) {
  AnalyzerRig r;
  SetReal(r.input, Sine(64, 64, 1, 8), 64);
  std::string order;
  r.analyzer.SetOnAfterComplexSpectrum([&](TObject*) {
    order += "C";
    r.analyzer.ComplexSpectrum().Scale(2.0);  // the handler may alter the spectrum
  });
  r.analyzer.SetOnBeforeSpectrumType([&](TObject*) { order += "T"; });
  r.analyzer.SetOnBeforeAverage([&](TObject*) { order += "B"; });
  r.analyzer.SetOnAfterAverage([&](TObject*) { order += "A"; });
  r.analyzer.SetOnPeaksUpdate([&](TObject*) {
    order += "P";
    EXPECT_NEAR(r.analyzer.Amplt().Values(8), 2, 1e-12);  // linear, before the dB step
  });
  r.analyzer.SetOnBandsUpdate([&](TObject*) { order += "N"; });
  r.analyzer.SetLogarithmic(true);
  r.analyzer.Update();
  EXPECT_EQ(order, "CTBAPN");
  EXPECT_NEAR(r.analyzer.Amplt().Values(8), 20 * std::log10(2.0), 1e-10);
  EXPECT_DOUBLE_EQ(r.analyzer.PeakHzRes(), 1.0);
}

TEST(AnalyzerPeakHost, ConvergeAndHostView) {
  AnalyzerRig r;
  SetReal(r.input, Sine(64, 64, 1, 8), 64);
  r.analyzer.SetWindow(wtHanning);
  r.analyzer.SetZeroPadding(2);
  r.analyzer.Update();
  // Padded bins of 0.5 Hz: the Hann main lobe covers bins 13..19 around 8 Hz (bin 16).
  EXPECT_NEAR(r.analyzer.ConvergeToMaximum(6.2), 8.0, 1e-12);
  EXPECT_NEAR(r.analyzer.ConvergeToMaximum(9.6), 8.0, 1e-12);
  TPeakHost& host = r.analyzer;
  EXPECT_EQ(&host.HostSpectrum(), static_cast<TSpectrum*>(&r.analyzer));
  EXPECT_DOUBLE_EQ(host.HostZeroPaddingRatio(), 2.0);
  EXPECT_EQ(host.HostWindow(), 1);
  EXPECT_EQ(host.HostSpectrumType(), 0);
  EXPECT_EQ(host.HostAveraged(), 0u);
  EXPECT_TRUE(host.HostComplexSpectrumValid());
  EXPECT_EQ(host.HostComplexSpectrum().Length(), 64);
  r.analyzer.SetAveraging(avLinearInf);
  r.analyzer.Update();
  r.analyzer.Update();
  EXPECT_EQ(host.HostAveraged(), 2u);
  EXPECT_FALSE(host.HostComplexSpectrumValid());
}

}  // namespace
}  // namespace sigflow
