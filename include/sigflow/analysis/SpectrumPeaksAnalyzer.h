#pragma once
// Finds, traces and refines the peaks of the spectrum of a TPeakHost and keeps them as that
// spectrum's marks (so THD and the other measurements see them). The search rules are in
// docs/peaks.md.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/analysis/PeakHost.h"
#include "sigflow/analysis/SpectrumPeakInterpolation.h"
#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"
#include "sigflow/tools/MarkList.h"

namespace sigflow {

class TComponent;

enum TPeakTraceMethod : std::uint8_t { ptNone, ptCurrent, ptLargest, ptAmpltHarmonics, ptFreqHarmonics };
enum TOrderTracing : std::uint8_t { otNone, otFirstPeak, otNthPeak, otLargest };
const TEnumInfo& PeakTraceMethodInfo();
const TEnumInfo& OrderTracingInfo();

// The numeric search: starts at F with step BinSpacing / 8, climbs Est while it grows, first
// upwards then downwards, halves the step and stops once the step is not above
// BinSpacing / Divisor.
template <class TEst>
double HillClimbPeak(double F, double BinSpacing, double Divisor, TEst&& Est) {
  double h = BinSpacing * 0.125;
  const double s = BinSpacing / Divisor;
  double a = Est(F);
  while (s < h) {
    while (Est(F + h) > a) {
      F += h;
      a = Est(F);
    }
    while (Est(F - h) > a) {
      F -= h;
      a = Est(F);
    }
    h *= 0.5;
  }
  return F;
}

class TSpectrumPeaksAnalyzer : public TPersistent {
public:
  // AOwner is marked dirty by the setters (when it is a TAnalysis); Host provides the spectrum.
  TSpectrumPeaksAnalyzer(TComponent* AOwner, TPeakHost* Host);
  ~TSpectrumPeaksAnalyzer() override;
  TSpectrumPeaksAnalyzer(const TSpectrumPeaksAnalyzer&) = delete;
  TSpectrumPeaksAnalyzer& operator=(const TSpectrumPeaksAnalyzer&) = delete;

  std::string ClassName() const override { return "TSpectrumPeaksAnalyzer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TComponent* Owner() const { return owner_; }
  TPeakHost* Host() const { return host_; }

  bool Active() const { return active_; }
  void SetActive(bool Value);
  TSpectrumPeakInterpolation* Interpolation() const { return interpolation_; }
  void SetInterpolation(TSpectrumPeakInterpolation* Value);
  int LargestCount() const { return largestCount_; }
  void SetLargestCount(int Value);
  TPeakTraceMethod TraceMethod() const { return traceMethod_; }
  void SetTraceMethod(TPeakTraceMethod Value);
  // Width of the window searched around a traced peak or a harmonic, in percent of the
  // searched band (the window reaches half of it to each side).
  double TraceInterval() const { return traceInterval_; }
  void SetTraceInterval(double Value);
  int HarmonicsCount() const { return harmonicsCount_; }
  void SetHarmonicsCount(int Value);
  double BandwidthL() const { return bandwidthL_; }
  void SetBandwidthL(double Value);
  double BandwidthH() const { return bandwidthH_; }
  void SetBandwidthH(double Value);
  bool UseFullBandwidth() const { return useFullBandwidth_; }
  void SetUseFullBandwidth(bool Value);
  TOrderTracing OrderTracing() const { return orderTracing_; }
  void SetOrderTracing(TOrderTracing Value);
  double OrderFrequency() const { return orderFrequency_; }
  void SetOrderFrequency(double Value);
  int OrderPeakNumber() const { return orderPeakNumber_; }
  void SetOrderPeakNumber(int Value);
  bool OrderActive() const { return orderActive_; }
  void SetOrderActive(bool Value);
  // The reference frequency the last ApplyOrder used (0 when none was available).
  double OrderReference() const { return orderReference_; }

  // The peaks are the host spectrum's marks; they cannot be set through this object.
  const TMarkList& Marks() const;
  const TMarkList& GetMarks() const { return Marks(); }
  [[noreturn]] void SetMarks(const TMarkList& Value);
  const TMarkList& GetList() const { return Marks(); }

  // One analysis step, called by the analyzer after each spectrum (linear amplitudes).
  void Update();
  // A fresh search: the LargestCount largest peaks (one for ptLargest).
  void Find();
  // Every peak of the searched band, refined; marks in frequency order. Returns the count.
  int FindAllPeaks();
  // The Count largest peaks, refined; marks in frequency order. Returns the count kept.
  int FindLargestPeaks(int Count);
  int FindLargestPeaks() { return FindLargestPeaks(largestCount_); }
  // Fundamental (the largest peak) and up to HarmonicsCount harmonics, each the largest bin
  // within the trace window around its multiple of the fundamental.
  void AmpltHarmonics();
  // Fundamental refined, harmonics at its exact multiples, values read from the spectrum.
  void FreqHarmonics();
  // Moves every mark to the largest local maximum within the trace window around it.
  void Trace();
  // Reads amplitude and phase of every mark again from the spectrum at its frequency.
  void Adjust();
  // With OrderActive: each mark's Time field := its frequency over the reference frequency.
  void ApplyOrder();
  // Removes the peak of mark Index from the amplitude spectrum (the MainlobeWidth bins
  // around it become the straight line between the bins outside) and deletes the mark.
  void Filter(int Index);
  void FilterAll();
  // Mark amplitudes to dB, as TSpectrum::LogAmplt does with the spectrum.
  void LogAmplt(double Base, double Span, double Max, bool Absolute);
  double Approximate(double Freq);
  static double Tau(double x);

  void Assign(TPersistent* Source) override;

private:
  void Changed();
  // Bins [k0, k1] that may hold a peak (a neighbour on each side); false when none.
  bool SearchRange(int& k0, int& k1) const;
  double SearchWidth() const;
  void ScanPeaks();
  int LargestBinNear(double Freq, double HalfWidth) const;
  bool IsLocalMax(int k) const;
  void SetMark(int i, int k, bool Refine);
  void AddMark(int k, bool Refine);
  double BinFreq(int k) const;
  int FreqBin(double Freq) const;

  TComponent* owner_;
  TPeakHost* host_;
  TSpectrumPeakInterpolation* interpolation_;
  bool active_ = true;
  int largestCount_ = 1;
  TPeakTraceMethod traceMethod_ = ptNone;
  double traceInterval_ = 2.0;
  int harmonicsCount_ = 9;
  double bandwidthL_ = 0;
  double bandwidthH_ = 0;
  bool useFullBandwidth_ = true;
  TOrderTracing orderTracing_ = otNone;
  double orderFrequency_ = 0;
  int orderPeakNumber_ = 1;
  bool orderActive_ = false;
  double orderReference_ = 0;
  std::vector<int> peaks_;  // candidate bins, reused from frame to frame
};

}  // namespace sigflow
