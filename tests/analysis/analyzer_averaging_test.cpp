// Spectral averaging against its definitions over seeded noise frames: mean, exponential mean,
// holds and complex means of the single-frame spectra, the running deviation against the
// two-pass sample deviation, the counter rules, and allocation-free frames.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <functional>
#include <limits>
#include <vector>

#include "analyzer_support.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using namespace test;

constexpr int kN = 64;
constexpr int kFrames = 7;

struct Frame {
  std::vector<double> amplt, phase;
  std::vector<std::complex<double>> spectrum;  // scaled by the amplitude factor
};

// A Hann-windowed rig with the given averaging, fed frames seeded 100, 101, ...
struct Averager : AnalyzerRig {
  explicit Averager(TAveraging mode) {
    analyzer.SetWindow(wtHanning);
    analyzer.SetAveraging(mode);
  }
  void Run(int count, int n = kN) {
    for (int f = 0; f < count; ++f) {
      SetReal(input, Noise(n, 100 + unsigned(f)), 1000);
      analyzer.Update();
    }
  }
};

// Single-frame spectra of the seeded frames, from an analyzer without averaging.
std::vector<Frame> SingleFrames(int count, int n = kN) {
  std::vector<Frame> out;
  Averager r(avNone);
  for (int f = 0; f < count; ++f) {
    SetReal(r.input, Noise(n, 100 + unsigned(f)), 1000);
    r->Update();
    Frame fr;
    for (int k = 0; k < r->Amplt().Length(); ++k) {
      fr.amplt.push_back(r.Amplt(k));
      fr.phase.push_back(r.Phase(k));
      fr.spectrum.push_back(r->ComplexSpectrum().CValues(k) * r->AmplitudeFactor());
    }
    out.push_back(fr);
  }
  return out;
}

TEST(AnalyzerAveraging, LinearAndExponentialMeansOfFrames) {
  const auto frames = SingleFrames(kFrames);
  Averager lin(avLinearInf), exp(avExponentInf);
  exp->SetExpDecay(3);
  lin.Run(kFrames);
  exp.Run(kFrames);
  EXPECT_EQ(lin->Averaged(), std::uint32_t(kFrames));
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    double ma = 0, mp = 0, e = frames[0].amplt[k];
    for (const auto& f : frames) ma += f.amplt[k] / kFrames, mp += f.phase[k] / kFrames;
    for (int f = 1; f < kFrames; ++f) e = e * 2 / 3 + frames[std::size_t(f)].amplt[k] / 3;
    EXPECT_NEAR(lin.Amplt(int(k)), ma, 1e-12) << k;
    EXPECT_NEAR(lin.Phase(int(k)), mp, 1e-12) << k;
    EXPECT_NEAR(exp.Amplt(int(k)), e, 1e-12) << k;
  }
  // ExpDecay 1 follows the current frame.
  Averager one(avExponentInf);
  one->SetExpDecay(1);
  one.Run(3);
  for (std::size_t k = 0; k < frames[2].amplt.size(); ++k) EXPECT_EQ(one.Amplt(int(k)), frames[2].amplt[k]);
}

TEST(AnalyzerAveraging, HoldsMaximumAndMinimumPerBinIndependently) {
  const auto frames = SingleFrames(kFrames);
  for (TAveraging mode : {avPeakHold, avPeakHoldInf, avMinHoldInf}) {
    Averager r(mode);
    r.Run(kFrames);
    bool mixed = false;
    for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
      double a = frames[0].amplt[k], p = frames[0].phase[k];
      int fa = 0, fp = 0;
      for (int f = 1; f < kFrames; ++f) {
        const auto& fr = frames[std::size_t(f)];
        if (mode == avMinHoldInf ? fr.amplt[k] < a : fr.amplt[k] > a) a = fr.amplt[k], fa = f;
        if (mode == avMinHoldInf ? fr.phase[k] < p : fr.phase[k] > p) p = fr.phase[k], fp = f;
      }
      mixed |= fa != fp;
      EXPECT_EQ(r.Amplt(int(k)), a) << int(mode) << " " << k;
      EXPECT_EQ(r.Phase(int(k)), p) << int(mode) << " " << k;
    }
    EXPECT_TRUE(mixed) << "amplitude and phase holds came from the same frames everywhere";
  }
}

TEST(AnalyzerAveraging, ComplexMeans) {
  const auto frames = SingleFrames(kFrames);
  for (TAveraging mode : {avCplxLinear, avCplxLinearInf, avCplxExponentInf}) {
    Averager r(mode);
    r->SetAverages(100);
    r->SetExpDecay(4);
    r.Run(kFrames);
    EXPECT_EQ(r->Averaged(), std::uint32_t(kFrames));
    EXPECT_EQ(r->AveragedSpectrum(), nullptr);
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
      // The one-sided amplitude shows 0 Hz at half the scaled complex value; its angle is
      // rounding noise after DC removal.
      EXPECT_NEAR(r.Amplt(int(k)), std::abs(m) * (k == 0 ? 0.5 : 1.0), 1e-12) << int(mode) << " " << k;
      if (k > 0) {
        EXPECT_NEAR(r.Phase(int(k)), std::arg(m) * 180 / kPi, 1e-9) << k;
      }
    }
  }
}

TEST(AnalyzerAveraging, RunningStandardDeviationIsSampleDeviation) {
  const auto frames = SingleFrames(kFrames);
  Averager r(avLinearInf);
  r->SetCalcStdDev(true);
  r.Run(kFrames);
  ASSERT_NE(r->StdDev(), nullptr);
  const auto sd = [&](std::size_t k, std::vector<double> Frame::*field) {
    double m = 0, s = 0;
    for (const auto& f : frames) m += (f.*field)[k] / kFrames;
    for (const auto& f : frames) s += std::pow((f.*field)[k] - m, 2);
    return std::sqrt(s / (kFrames - 1));
  };
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) {
    EXPECT_NEAR(r->StdDev()->Amplt().Values(int(k)), sd(k, &Frame::amplt), 1e-10) << k;
    EXPECT_NEAR(r->StdDev()->Phase().Values(int(k)), sd(k, &Frame::phase), 1e-10) << k;
  }
  // Two identical frames: no deviation.
  Averager same(avLinearInf);
  same->SetCalcStdDev(true);
  same.Run(1);
  same->Update();
  for (int k = 0; k < same->StdDev()->Amplt().Length(); ++k) EXPECT_EQ(same->StdDev()->Amplt().Values(k), 0) << k;
  // Without CalcStdDev the deviation is released at the next restart.
  same->SetCalcStdDev(false);
  same->ResetAveraging();
  same->Update();
  EXPECT_EQ(same->StdDev(), nullptr);
}

TEST(AnalyzerAveraging, FiniteAverageFreezesUntilReset) {
  const auto frames = SingleFrames(5);
  const auto mean = [&](std::size_t k, int count) {
    double m = 0;
    for (int f = 0; f < count; ++f) m += frames[std::size_t(f)].amplt[k] / count;
    return m;
  };
  Averager r(avLinear);
  r->SetAverages(3);
  r.Run(5);
  EXPECT_EQ(r->Averaged(), 3u);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) EXPECT_NEAR(r.Amplt(int(k)), mean(k, 3), 1e-12) << k;
  // Raising Averages resumes where the average stopped; it marks nothing dirty.
  r->SetDirty(false);
  r->SetAverages(4);
  EXPECT_FALSE(r->Dirty());
  SetReal(r.input, Noise(kN, 103), 1000);
  r->Update();
  EXPECT_EQ(r->Averaged(), 4u);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) EXPECT_NEAR(r.Amplt(int(k)), mean(k, 4), 1e-12) << k;
  // Averages = 1 keeps the first frame for good.
  Averager one(avLinear);
  one->SetAverages(1);
  one.Run(4);
  for (std::size_t k = 0; k < frames[0].amplt.size(); ++k) EXPECT_EQ(one.Amplt(int(k)), frames[0].amplt[k]);
  // The finite peak hold and complex mean stop as well.
  for (TAveraging mode : {avPeakHold, avCplxLinear}) {
    Averager f(mode);
    f->SetAverages(2);
    f.Run(2);
    const TVec held = f->Amplt();
    SetReal(f.input, Noise(kN, 555), 1000);
    f->Update();
    EXPECT_EQ(f->Averaged(), 2u);
    for (int k = 0; k < held.Length(); ++k) EXPECT_EQ(f.Amplt(k), held.Values(k)) << int(mode);
    f->ResetAveraging();
    f->Update();
    EXPECT_EQ(f->Averaged(), 1u);
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
  // Each step starting from a count of 9, and the count it leaves. ExpDecay 0 is taken as 1;
  // CalcStdDev restarts only when switched on.
  const std::pair<std::function<void()>, unsigned> steps[] = {
      {[&] { an.SetExpDecay(0); }, 0},       {[&] { an.SetIntegration(inOnce); }, 0},
      {[&] { an.SetCalcStdDev(false); }, 9}, {[&] { an.SetCalcStdDev(true); }, 0},
      {[&] { an.SetCalcStdDev(false); }, 9}, {[&] { an.ResetAveraging(); }, 0}};
  for (std::size_t i = 0; i < std::size(steps); ++i) {
    an.SetAveraged(9);
    steps[i].first();
    EXPECT_EQ(an.Averaged(), steps[i].second) << "step " << i;
  }
  EXPECT_EQ(an.ExpDecay(), 1);
}

TEST(AnalyzerAveraging, LengthChangeRestartsAndCounterWraps) {
  Averager r(avLinearInf);
  r.Run(3);
  EXPECT_EQ(r->Averaged(), 3u);
  const auto longer = SingleFrames(1, 2 * kN);
  r.Run(1, 2 * kN);
  EXPECT_EQ(r->Averaged(), 1u);
  ASSERT_EQ(r->Amplt().Length(), kN);
  for (int k = 0; k < kN; ++k) EXPECT_EQ(r.Amplt(k), longer[0].amplt[std::size_t(k)]);
  for (TAveraging mode : {avLinearInf, avPeakHoldInf, avCplxLinearInf}) {
    Averager w(mode);
    w.Run(1);
    w->SetAveraged(std::numeric_limits<std::uint32_t>::max());
    w->Update();
    EXPECT_EQ(w->Averaged(), 0u) << int(mode);
  }
  // avNone releases the averaging state and keeps the counter at 0.
  r->SetAveraging(avNone);
  r->Update();
  EXPECT_EQ(r->Averaged(), 0u);
  EXPECT_EQ(r->AveragedSpectrum(), nullptr);
}

TEST(AnalyzerAveraging, SteadyStateFramesAllocateNothing) {
  const auto a = Noise(1000, 1), b = Noise(1000, 2);
  for (TAveraging mode : {avNone, avLinearInf, avPeakHoldInf, avCplxLinearInf})
    for (TSpectrumMethod method : {smFFT, smBurg, smYuleWalker}) {
      Averager r(mode);
      r->SetCalcStdDev(true);
      r->SetMethod(method);
      r->SetLogarithmic(true);
      for (const auto* x : {&a, &b}) {
        SetReal(r.input, *x, 1000);
        r->Update();
      }
      test::AllocationScope scope;
      for (int i = 0; i < 4; ++i) {
        SetReal(r.input, i % 2 ? a : b, 1000);
        r->Update();
      }
      EXPECT_EQ(scope.Count(), 0u) << int(mode) << " " << int(method);
    }
}

}  // namespace
}  // namespace sigflow
