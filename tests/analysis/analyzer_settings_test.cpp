// Spectrum analyzer settings: declared defaults, setter rules (dirty mark, AutoCalculate),
// streaming and Assign, the chirp-z zoom, the analyzer list, event order and the peak host view.
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "analyzer_support.h"
#include "sigflow/analysis/SpectrumAnalyzerList.h"
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Streams.h"

namespace sigflow {
namespace {

using namespace test;

// The ordinals are stored in settings images.
static_assert(avCplxExponentInf == 8 && avMinHoldInf == 9);

TEST(AnalyzerSettings, ConstructedValuesAreTheDeclaredDefaults) {
  TSpectrumAnalyzer an(nullptr);
  int checked = 0;
  for (const TPropInfo* p : an.Properties().All())
    if (p->Default) {
      ++checked;
      EXPECT_FALSE(p->IsStored(an)) << p->Name;
    }
  EXPECT_GE(checked, 30);
  EXPECT_EQ(SpectrumMethodToString(smBurg), "Burg");
  EXPECT_NE(SpectrumMethodToString(smFFT), SpectrumMethodToString(smCZT));
}

TEST(AnalyzerSettings, SettersMarkDirtyAndAutoCalculate) {
  AnalyzerRig r(Sine(64, 64, 1, 8), 64);
  r->Update();
  r->SetDirty(false);
  r->SetScaleFactor(1.0);  // unchanged
  EXPECT_FALSE(r->Dirty());
  r->SetScaleFactor(3.0);
  EXPECT_TRUE(r->Dirty());
  EXPECT_NEAR(r.Amplt(8), 1, 1e-12);  // not recomputed yet
  r->SetAutoCalculate(true);
  r->SetScaleFactor(2.0);
  EXPECT_NEAR(r.Amplt(8), 2, 1e-12);
  r->SetSpectrumType(stPower);
  EXPECT_NEAR(r.Amplt(8), 4, 1e-12);
  // The averaging setters never recompute by themselves; ResetAveraging with AutoCalculate does.
  r->SetAveraging(avLinearInf);
  EXPECT_EQ(r->Averaged(), 0u);
  r->ResetAveraging();
  EXPECT_EQ(r->Averaged(), 1u);
  r->SetLogSpan(ls45);
  EXPECT_EQ(r->SpanDb(), 45);
  // Statistics want plain amplitudes without zero padding.
  r->SetLogarithmic(true);
  EXPECT_FALSE(r->StatisticsIsValid());
  r->EnableStatistics();
  EXPECT_TRUE(r->StatisticsIsValid());
  r->SetZeroPadding(2);
  EXPECT_FALSE(r->StatisticsIsValid());
  // The cepstrum switch and the method follow each other.
  r->SetAutoCalculate(false);
  r->SetRealCepstrum(true);
  EXPECT_EQ(r->Method(), smRealCepstrum);
  r->SetRealCepstrum(false);
  EXPECT_EQ(r->Method(), smFFT);
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
  const auto settings = [](const TSpectrumAnalyzer& x) {
    return std::tuple(x.Method(), x.AROrder(), x.Window(), x.SidelobeAtt(), x.Logarithmic(), x.SpanDb(), x.Averaging(),
                      x.ExpDecay(), x.Averages(), x.PhaseRange(), x.ConjExtend(), x.CZT()->StopFrequency(),
                      x.CZT()->FrequencyStep());
  };
  TMemoryStream ms;
  a.SaveToStream(ms);
  ms.Seek(0, soBeginning);
  TSpectrumAnalyzer b(nullptr), c(nullptr);
  b.LoadFromStream(ms);
  c.Assign(&a);
  const auto want = std::tuple(smBurg, 12, wtKaiser, 70.0, true, 200, avExponentInf, 7, 11u, prZeroTwoPi, true, 0.3, 0.001);
  EXPECT_EQ(settings(b), want);
  EXPECT_EQ(settings(c), want);
  TSpectrumCZT z(nullptr);
  z.SetStartFrequency(0.1);
  c.SeTSpectrumCZT(&z);
  EXPECT_EQ(c.CZT()->StartFrequency(), 0.1);
  EXPECT_EQ(c.CZT()->StopFrequency(), 0.5);
}

TEST(AnalyzerCzt, SetterRulesKeepStartBelowStop) {
  TSpectrumCZT z(nullptr);
  EXPECT_EQ(z.Points(), 64);  // 0 .. 0.5 in steps of 1/128
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
  const double A = 1.5;
  AnalyzerRig r(Sine(1000, 1000, A, 123, 0.2), 1000);
  r->SetMethod(smCZT);
  r->CZT()->SetStopFrequency(150);
  r->CZT()->SetStartFrequency(100);
  r->CZT()->SetFrequencyStep(1);
  r->Update();
  ASSERT_EQ(r->Amplt().Length(), 50);
  EXPECT_DOUBLE_EQ(r->BandWidthL(), 100);
  EXPECT_DOUBLE_EQ(r->SamplingFrequency(), 100);
  EXPECT_DOUBLE_EQ(r->HzRes(), 1);
  EXPECT_NEAR(r.Amplt(23), A, 1e-9);
  EXPECT_NEAR(r.Amplt(10), 0, 1e-9);
  EXPECT_NEAR(r.Phase(23), 0.2 * 180 / kPi, 1e-7);
  r->CZT()->SetFrequencyStep(0);
  EXPECT_NO_THROW(r->Update());
  EXPECT_EQ(r->Amplt().Length(), 0);
  EXPECT_EQ(r->Phase().Length(), 0);
}

TEST(AnalyzerList, TypedItemsAndRegistry) {
  TSpectrumAnalyzerList list(nullptr);
  list.SetCount(2);
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Items(1)->ClassName(), "TSpectrumAnalyzer");
  auto* fresh = new TSpectrumAnalyzer(nullptr);
  list.SetItems(0, fresh);
  EXPECT_EQ(list.GetItems(0), fresh);
  RegisterSpectrumAnalyzerClasses();
  ASSERT_NE(FindComponentClass("TSpectrumAnalyzerList"), nullptr);
  const TComponentClass* cls = FindComponentClass("TSpectrumAnalyzer");
  ASSERT_NE(cls, nullptr);
  std::unique_ptr<TComponent> made(cls->Create(nullptr));
  EXPECT_NE(dynamic_cast<TSpectrumAnalyzer*>(made.get()), nullptr);
}

TEST(AnalyzerEvents, HooksFireInPipelineOrder) {
  AnalyzerRig r(Sine(64, 64, 1, 8), 64);
  std::string order;
  r->SetOnAfterComplexSpectrum([&](TObject*) {
    order += "C";
    r->ComplexSpectrum().Scale(2.0);  // the handler may alter the spectrum
  });
  r->SetOnBeforeSpectrumType([&](TObject*) { order += "T"; });
  r->SetOnBeforeAverage([&](TObject*) { order += "B"; });
  r->SetOnAfterAverage([&](TObject*) { order += "A"; });
  r->SetOnPeaksUpdate([&](TObject*) {
    order += "P";
    EXPECT_NEAR(r.Amplt(8), 2, 1e-12);  // linear, before the dB step
  });
  r->SetOnBandsUpdate([&](TObject*) { order += "N"; });
  r->SetLogarithmic(true);
  r->Update();
  EXPECT_EQ(order, "CTBAPN");
  EXPECT_NEAR(r.Amplt(8), 20 * std::log10(2.0), 1e-10);
  EXPECT_DOUBLE_EQ(r->PeakHzRes(), 1.0);
}

TEST(AnalyzerPeakHost, ConvergeAndHostView) {
  AnalyzerRig r(Sine(64, 64, 1, 8), 64);
  r->SetWindow(wtHanning);
  r->SetZeroPadding(2);
  r->Update();
  // Padded bins of 0.5 Hz: the Hann main lobe covers bins 13..19 around 8 Hz (bin 16).
  EXPECT_NEAR(r->ConvergeToMaximum(6.2), 8.0, 1e-12);
  EXPECT_NEAR(r->ConvergeToMaximum(9.6), 8.0, 1e-12);
  TPeakHost& host = r.analyzer;
  EXPECT_EQ(&host.HostSpectrum(), static_cast<TSpectrum*>(&r.analyzer));
  EXPECT_EQ(host.HostWindow(), int(wtHanning));
  EXPECT_EQ(host.HostSpectrumType(), int(stAmplt));
  EXPECT_DOUBLE_EQ(host.HostZeroPaddingRatio(), 2.0);
  EXPECT_TRUE(host.HostComplexSpectrumValid());
  EXPECT_EQ(host.HostComplexSpectrum().Length(), 64);
  r->SetAveraging(avLinearInf);
  r->Update();
  r->Update();
  EXPECT_EQ(host.HostAveraged(), 2u);
  EXPECT_FALSE(host.HostComplexSpectrumValid());
}

}  // namespace
}  // namespace sigflow
