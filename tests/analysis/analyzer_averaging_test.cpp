// Spectral averaging against its definitions: each mode over seeded noise frames compared with
// the mean, exponential mean, maximum, minimum or complex mean of the single-frame spectra,
// the running standard deviation against the two-pass sample deviation, the edge cases of
// the counters, and allocation-free frames in steady state.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <vector>

#include "analyzer_support.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::AnalyzerRig;
using test::Noise;
using test::SetReal;

constexpr int kN = 64;
constexpr int kFrames = 7;

struct Frame {
  std::vector<double> amplt, phase;
  std::vector<std::complex<double>> spectrum;  // scaled by the amplitude factor
};

// Single-frame spectra of the seeded frames, from an analyzer without averaging.
std::vector<Frame> SingleFrames(int count, int n = kN) {
  std::vector<Frame> out;
  AnalyzerRig r;
  r.analyzer.SetWindow(wtHanning);
  for (int f = 0; f < count; ++f) {
    SetReal(r.input, Noise(n, 100 + unsigned(f)), 1000);
    r.analyzer.Update();
    Frame fr;
    for (int k = 0; k < r.analyzer.Amplt().Length(); ++k) {
      fr.amplt.push_back(r.analyzer.Amplt().Values(k));
      fr.phase.push_back(r.analyzer.Phase().Values(k));
      fr.spectrum.push_back(r.analyzer.ComplexSpectrum().CValues(k) * r.analyzer.AmplitudeFactor());
    }
    out.push_back(fr);
  }
  return out;
}

void RunFrames(AnalyzerRig& r, int count, int n = kN) {
  for (int f = 0; f < count; ++f) {
    SetReal(r.input, Noise(n, 100 + unsigned(f)), 1000);
    r.analyzer.Update();
  }
}

AnalyzerRig* NewRig(TAveraging mode) {
  auto* r = new AnalyzerRig;
  r->analyzer.SetWindow(wtHanning);
  r->analyzer.SetAveraging(mode);
  return r;
}

TEST(AnalyzerAveraging, LinearMeanOfFrames) {
  const auto frames = SingleFrames(kFrames);
  std::unique_ptr<AnalyzerRig> r(NewRig(avLinearInf));
  RunFrames(*r, kFrames);
  EXPECT_EQ(r->analyzer.Averaged(), std::uint32_t(kFrames));
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    double ma = 0, mp = 0;
    for (const auto& f : frames) ma += f.amplt[k] / kFrames, mp += f.phase[k] / kFrames;
    EXPECT_NEAR(r->analyzer.Amplt().Values(int(k)), ma, 1e-12) << k;
    EXPECT_NEAR(r->analyzer.Phase().Values(int(k)), mp, 1e-12) << k;
  }
}

TEST(AnalyzerAveraging, ExponentialMean) {
  const auto frames = SingleFrames(kFrames);
  std::unique_ptr<AnalyzerRig> r(NewRig(avExponentInf));
  r->analyzer.SetExpDecay(3);
  RunFrames(*r, kFrames);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    double m = frames[0].amplt[k];
    for (int f = 1; f < kFrames; ++f) m = m * 2 / 3 + frames[std::size_t(f)].amplt[k] / 3;
    EXPECT_NEAR(r->analyzer.Amplt().Values(int(k)), m, 1e-12) << k;
  }
}

TEST(AnalyzerAveraging, HoldsMaximumAndMinimumPerBinIndependently) {
  const auto frames = SingleFrames(kFrames);
  for (TAveraging mode : {avPeakHold, avPeakHoldInf, avMinHoldInf}) {
    std::unique_ptr<AnalyzerRig> r(NewRig(mode));
    RunFrames(*r, kFrames);
    bool mixed = false;
    for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
      double a = frames[0].amplt[k], p = frames[0].phase[k];
      int fa = 0, fp = 0;
      for (int f = 1; f < kFrames; ++f) {
        const auto& fr = frames[std::size_t(f)];
        const bool takeA = mode == avMinHoldInf ? fr.amplt[k] < a : fr.amplt[k] > a;
        const bool takeP = mode == avMinHoldInf ? fr.phase[k] < p : fr.phase[k] > p;
        if (takeA) a = fr.amplt[k], fa = f;
        if (takeP) p = fr.phase[k], fp = f;
      }
      mixed |= fa != fp;
      EXPECT_EQ(r->analyzer.Amplt().Values(int(k)), a) << int(mode) << " " << k;
      EXPECT_EQ(r->analyzer.Phase().Values(int(k)), p) << int(mode) << " " << k;
    }
    EXPECT_TRUE(mixed) << "amplitude and phase holds came from the same frames everywhere";
  }
}

TEST(AnalyzerAveraging, ComplexMeans) {
  const auto frames = SingleFrames(kFrames);
  for (TAveraging mode : {avCplxLinear, avCplxLinearInf, avCplxExponentInf}) {
    std::unique_ptr<AnalyzerRig> r(NewRig(mode));
    r->analyzer.SetAverages(100);
    r->analyzer.SetExpDecay(4);
    RunFrames(*r, kFrames);
    EXPECT_EQ(r->analyzer.Averaged(), std::uint32_t(kFrames));
    EXPECT_EQ(r->analyzer.AveragedSpectrum(), nullptr);
    for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
      std::complex<double> m = frames[0].spectrum[k];
      for (int f = 1; f < kFrames; ++f) {
        const double N = mode == avCplxExponentInf ? 4.0 : f + 1.0;
        m = (m * (N - 1) + frames[std::size_t(f)].spectrum[k]) / N;
      }
      if (mode != avCplxExponentInf) {
        std::complex<double> direct = 0;
        for (const auto& fr : frames) direct += fr.spectrum[k] / double(kFrames);
        EXPECT_NEAR(std::abs(m - direct), 0, 1e-14);
      }
      // The one-sided amplitude shows 0 Hz at half the scaled complex value.
      EXPECT_NEAR(r->analyzer.Amplt().Values(int(k)), std::abs(m) * (k == 0 ? 0.5 : 1.0), 1e-12) << int(mode) << " " << k;
      // The 0 Hz bin holds only rounding after DC removal: its angle is noise.
      if (k > 0) {
        EXPECT_NEAR(r->analyzer.Phase().Values(int(k)), std::arg(m) * 180 / test::kPi, 1e-9) << k;
      }
    }
  }
}

TEST(AnalyzerAveraging, RunningStandardDeviationIsSampleDeviation) {
  const auto frames = SingleFrames(kFrames);
  std::unique_ptr<AnalyzerRig> r(NewRig(avLinearInf));
  r->analyzer.SetCalcStdDev(true);
  RunFrames(*r, kFrames);
  ASSERT_NE(r->analyzer.StdDev(), nullptr);
  auto sd = [&](std::size_t k, bool phase) {
    double m = 0;
    for (const auto& f : frames) m += (phase ? f.phase[k] : f.amplt[k]) / kFrames;
    double s = 0;
    for (const auto& f : frames) s += std::pow((phase ? f.phase[k] : f.amplt[k]) - m, 2);
    return std::sqrt(s / (kFrames - 1));
  };
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    EXPECT_NEAR(r->analyzer.StdDev()->Amplt().Values(int(k)), sd(k, false), 1e-10) << k;
    EXPECT_NEAR(r->analyzer.StdDev()->Phase().Values(int(k)), sd(k, true), 1e-10) << k;
  }
  // Two identical frames: no deviation.
  std::unique_ptr<AnalyzerRig> same(NewRig(avLinearInf));
  same->analyzer.SetCalcStdDev(true);
  SetReal(same->input, Noise(kN, 5), 1000);
  same->analyzer.Update();
  same->analyzer.Update();
  for (int k = 0; k < same->analyzer.StdDev()->Amplt().Length(); ++k)
    EXPECT_EQ(same->analyzer.StdDev()->Amplt().Values(k), 0) << k;
  // Without CalcStdDev the deviation is released at the next restart.
  same->analyzer.SetCalcStdDev(false);
  same->analyzer.ResetAveraging();
  same->analyzer.Update();
  EXPECT_EQ(same->analyzer.StdDev(), nullptr);
}

TEST(AnalyzerAveraging, FiniteAverageFreezesUntilReset) {
  const auto frames = SingleFrames(5);
  std::unique_ptr<AnalyzerRig> r(NewRig(avLinear));
  r->analyzer.SetAverages(3);
  RunFrames(*r, 5);
  EXPECT_EQ(r->analyzer.Averaged(), 3u);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k)
    EXPECT_NEAR(r->analyzer.Amplt().Values(int(k)), (frames[0].amplt[k] + frames[1].amplt[k] + frames[2].amplt[k]) / 3, 1e-12);
  // Raising Averages resumes where the average stopped; it marks nothing dirty.
  r->analyzer.SetDirty(false);
  r->analyzer.SetAverages(4);
  EXPECT_FALSE(r->analyzer.Dirty());
  SetReal(r->input, Noise(kN, 103), 1000);
  r->analyzer.Update();
  EXPECT_EQ(r->analyzer.Averaged(), 4u);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    double m = 0;
    for (int f = 0; f < 4; ++f) m += frames[std::size_t(f)].amplt[k] / 4;
    EXPECT_NEAR(r->analyzer.Amplt().Values(int(k)), m, 1e-12);
  }
  // Averages = 1 keeps the first frame for good.
  std::unique_ptr<AnalyzerRig> one(NewRig(avLinear));
  one->analyzer.SetAverages(1);
  RunFrames(*one, 4);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) EXPECT_EQ(one->analyzer.Amplt().Values(int(k)), frames[0].amplt[k]);
  // The finite peak hold and complex mean stop as well.
  for (TAveraging mode : {avPeakHold, avCplxLinear}) {
    std::unique_ptr<AnalyzerRig> f(NewRig(mode));
    f->analyzer.SetAverages(2);
    RunFrames(*f, 2);
    const TVec held = f->analyzer.Amplt();
    SetReal(f->input, Noise(kN, 555), 1000);
    f->analyzer.Update();
    EXPECT_EQ(f->analyzer.Averaged(), 2u);
    for (int k = 0; k < held.Length(); ++k) EXPECT_EQ(f->analyzer.Amplt().Values(k), held.Values(k)) << int(mode);
    f->analyzer.ResetAveraging();
    f->analyzer.Update();
    EXPECT_EQ(f->analyzer.Averaged(), 1u);
  }
}

TEST(AnalyzerAveraging, CounterRules) {
  TSpectrumAnalyzer an(nullptr);
  an.SetDirty(false);
  an.SetAveraged(9);
  EXPECT_TRUE(an.Dirty());
  an.SetDirty(false);
  an.SetAveraging(avLinearInf);
  EXPECT_EQ(an.Averaged(), 0u);
  EXPECT_TRUE(an.Dirty());
  an.SetAveraged(9);
  an.SetExpDecay(0);
  EXPECT_EQ(an.ExpDecay(), 1);
  EXPECT_EQ(an.Averaged(), 0u);
  an.SetAveraged(9);
  an.SetIntegration(inOnce);
  EXPECT_EQ(an.Averaged(), 0u);
  an.SetAveraged(9);
  an.SetCalcStdDev(false);  // unchanged: nothing happens
  EXPECT_EQ(an.Averaged(), 9u);
  an.SetCalcStdDev(true);
  EXPECT_EQ(an.Averaged(), 0u);
  an.SetAveraged(9);
  an.SetCalcStdDev(false);  // switching off keeps the count
  EXPECT_EQ(an.Averaged(), 9u);
  an.ResetAveraging();
  EXPECT_EQ(an.Averaged(), 0u);
}

TEST(AnalyzerAveraging, ExpDecayOneFollowsCurrentFrame) {
  const auto frames = SingleFrames(3);
  std::unique_ptr<AnalyzerRig> r(NewRig(avExponentInf));
  r->analyzer.SetExpDecay(1);
  RunFrames(*r, 3);
  for (std::size_t k = 0; k < frames[2].amplt.size(); ++k) EXPECT_EQ(r->analyzer.Amplt().Values(int(k)), frames[2].amplt[k]);
}

TEST(AnalyzerAveraging, LengthChangeRestartsAndCounterWraps) {
  std::unique_ptr<AnalyzerRig> r(NewRig(avLinearInf));
  RunFrames(*r, 3);
  EXPECT_EQ(r->analyzer.Averaged(), 3u);
  const auto longer = SingleFrames(1, 2 * kN);
  SetReal(r->input, Noise(2 * kN, 100), 1000);
  r->analyzer.Update();
  EXPECT_EQ(r->analyzer.Averaged(), 1u);
  ASSERT_EQ(r->analyzer.Amplt().Length(), kN);
  for (int k = 0; k < kN; ++k) EXPECT_EQ(r->analyzer.Amplt().Values(k), longer[0].amplt[std::size_t(k)]);

  for (TAveraging mode : {avLinearInf, avPeakHoldInf, avCplxLinearInf}) {
    std::unique_ptr<AnalyzerRig> w(NewRig(mode));
    RunFrames(*w, 1);
    w->analyzer.SetAveraged(std::numeric_limits<std::uint32_t>::max());
    w->analyzer.Update();
    EXPECT_EQ(w->analyzer.Averaged(), 0u) << int(mode);
  }
  // avNone releases the averaging state and keeps the counter at 0.
  r->analyzer.SetAveraging(avNone);
  r->analyzer.Update();
  EXPECT_EQ(r->analyzer.Averaged(), 0u);
  EXPECT_EQ(r->analyzer.AveragedSpectrum(), nullptr);
}

TEST(AnalyzerAveraging, SteadyStateFramesAllocateNothing) {
  for (TAveraging mode : {avNone, avLinearInf, avPeakHoldInf, avCplxLinearInf}) {
    for (TSpectrumMethod method : {smFFT, smBurg, smYuleWalker}) {
      AnalyzerRig r;
      r.analyzer.SetWindow(wtHanning);
      r.analyzer.SetAveraging(mode);
      r.analyzer.SetCalcStdDev(true);
      r.analyzer.SetMethod(method);
      r.analyzer.SetLogarithmic(true);
      const auto a = Noise(1000, 1), b = Noise(1000, 2);
      SetReal(r.input, a, 1000);
      r.analyzer.Update();
      SetReal(r.input, b, 1000);
      r.analyzer.Update();
      test::AllocationScope scope;
      for (int i = 0; i < 4; ++i) {
        SetReal(r.input, i % 2 ? a : b, 1000);
        r.analyzer.Update();
      }
      EXPECT_EQ(scope.Count(), 0u) << int(mode) << " " << int(method);
    }
  }
}

}  // namespace
}  // namespace sigflow
