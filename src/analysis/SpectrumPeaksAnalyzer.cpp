#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"

#include <algorithm>
#include <cmath>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/numeric/PeakInterpolation.h"
#include "sigflow/tools/Analysis.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

const TEnumInfo& PeakTraceMethodInfo() {
  static const TEnumInfo info("TPeakTraceMethod",
                              {"ptNone", "ptCurrent", "ptLargest", "ptAmpltHarmonics", "ptFreqHarmonics"});
  return info;
}

const TEnumInfo& OrderTracingInfo() {
  static const TEnumInfo info("TOrderTracing", {"otNone", "otFirstPeak", "otNthPeak", "otLargest"});
  return info;
}

TSpectrumPeaksAnalyzer::TSpectrumPeaksAnalyzer(TComponent* AOwner, TPeakHost* Host)
    : owner_(AOwner), host_(Host), interpolation_(new TSpectrumPeakInterpolation()) {}

TSpectrumPeaksAnalyzer::~TSpectrumPeaksAnalyzer() { delete interpolation_; }

const TPropertyTable& TSpectrumPeaksAnalyzer::ClassProperties() {
  using T = TSpectrumPeaksAnalyzer;
  static const TPropertyTable table(
      &TPersistent::ClassProperties(),
      {
          Property("Active", &T::Active, &T::SetActive, true),
          ObjectProperty("Interpolation", &T::Interpolation),
          Property("LargestCount", &T::LargestCount, &T::SetLargestCount, 1),
          EnumProperty("TraceMethod", &T::TraceMethod, &T::SetTraceMethod, PeakTraceMethodInfo(), ptNone),
          Property("TraceInterval", &T::TraceInterval, &T::SetTraceInterval),
          Property("HarmonicsCount", &T::HarmonicsCount, &T::SetHarmonicsCount),
          Property("BandwidthL", &T::BandwidthL, &T::SetBandwidthL),
          Property("BandwidthH", &T::BandwidthH, &T::SetBandwidthH),
          Property("UseFullBandwidth", &T::UseFullBandwidth, &T::SetUseFullBandwidth, true),
          EnumProperty("OrderTracing", &T::OrderTracing, &T::SetOrderTracing, OrderTracingInfo(), otNone),
          Property("OrderFrequency", &T::OrderFrequency, &T::SetOrderFrequency),
          Property("OrderPeakNumber", &T::OrderPeakNumber, &T::SetOrderPeakNumber, 1),
          Property("OrderActive", &T::OrderActive, &T::SetOrderActive, false),
      });
  return table;
}

// ------------------------------------------------------------------ settings

void TSpectrumPeaksAnalyzer::Changed() {
  if (auto* a = dynamic_cast<TAnalysis*>(owner_)) a->SetDirty(true);
}

#define SIGFLOW_PEAK_SETTER(Name, Type, field) \
  void TSpectrumPeaksAnalyzer::Set##Name(Type Value) { \
    if (field == Value) return; \
    field = Value; \
    Changed(); \
  }
SIGFLOW_PEAK_SETTER(Active, bool, active_)
SIGFLOW_PEAK_SETTER(LargestCount, int, largestCount_)
SIGFLOW_PEAK_SETTER(TraceMethod, TPeakTraceMethod, traceMethod_)
SIGFLOW_PEAK_SETTER(TraceInterval, double, traceInterval_)
SIGFLOW_PEAK_SETTER(HarmonicsCount, int, harmonicsCount_)
SIGFLOW_PEAK_SETTER(BandwidthL, double, bandwidthL_)
SIGFLOW_PEAK_SETTER(BandwidthH, double, bandwidthH_)
SIGFLOW_PEAK_SETTER(UseFullBandwidth, bool, useFullBandwidth_)
SIGFLOW_PEAK_SETTER(OrderTracing, TOrderTracing, orderTracing_)
SIGFLOW_PEAK_SETTER(OrderFrequency, double, orderFrequency_)
SIGFLOW_PEAK_SETTER(OrderPeakNumber, int, orderPeakNumber_)
SIGFLOW_PEAK_SETTER(OrderActive, bool, orderActive_)
#undef SIGFLOW_PEAK_SETTER

void TSpectrumPeaksAnalyzer::SetInterpolation(TSpectrumPeakInterpolation* Value) {
  interpolation_->Assign(Value);
  Changed();
}

void TSpectrumPeaksAnalyzer::Assign(TPersistent* Source) {
  auto* s = dynamic_cast<TSpectrumPeaksAnalyzer*>(Source);
  if (!s) {
    TPersistent::Assign(Source);
    return;
  }
  interpolation_->Assign(s->interpolation_);
  active_ = s->active_;
  largestCount_ = s->largestCount_;
  traceMethod_ = s->traceMethod_;
  traceInterval_ = s->traceInterval_;
  harmonicsCount_ = s->harmonicsCount_;
  bandwidthL_ = s->bandwidthL_;
  bandwidthH_ = s->bandwidthH_;
  useFullBandwidth_ = s->useFullBandwidth_;
  orderTracing_ = s->orderTracing_;
  orderFrequency_ = s->orderFrequency_;
  orderPeakNumber_ = s->orderPeakNumber_;
  orderActive_ = s->orderActive_;
  Changed();
}

const TMarkList& TSpectrumPeaksAnalyzer::Marks() const { return host_->HostSpectrum().Marks(); }

void TSpectrumPeaksAnalyzer::SetMarks(const TMarkList&) { throw Exception("Not supported!"); }

// ------------------------------------------------------------------ bins

double TSpectrumPeaksAnalyzer::BinFreq(int k) const {
  const TSpectrum& s = host_->HostSpectrum();
  return s.BandWidthL() + k * s.HzRes();
}

int TSpectrumPeaksAnalyzer::FreqBin(double Freq) const {
  const TSpectrum& s = host_->HostSpectrum();
  return static_cast<int>(std::lround((Freq - s.BandWidthL()) / s.HzRes()));
}

bool TSpectrumPeaksAnalyzer::SearchRange(int& k0, int& k1) const {
  const TSpectrum& s = host_->HostSpectrum();
  const int n = s.Amplt().Length();
  k0 = 1;
  k1 = n - 2;
  if (s.MaxFreqIndex() >= 0) k1 = std::min(k1, s.MaxFreqIndex());
  if (!(s.HzRes() > 0)) return false;
  if (!useFullBandwidth_) {
    // A little slack so that a band edge on a bin keeps that bin despite rounding.
    const double lo = std::ceil((bandwidthL_ - s.BandWidthL()) / s.HzRes() - 1e-9);
    const double hi = std::floor((bandwidthH_ - s.BandWidthL()) / s.HzRes() + 1e-9);
    k0 = static_cast<int>(std::max<double>(k0, lo));
    k1 = static_cast<int>(std::min<double>(k1, hi));
  }
  return k0 <= k1;
}

double TSpectrumPeaksAnalyzer::SearchWidth() const {
  const TSpectrum& s = host_->HostSpectrum();
  if (useFullBandwidth_) return s.Amplt().Length() * s.HzRes();
  return bandwidthH_ - bandwidthL_;
}

bool TSpectrumPeaksAnalyzer::IsLocalMax(int k) const {
  const TVec& y = host_->HostSpectrum().Amplt();
  if (k < 1 || k > y.Length() - 2) return false;
  return y.Values(k) > y.Values(k - 1) && y.Values(k) > y.Values(k + 1);
}

void TSpectrumPeaksAnalyzer::ScanPeaks() {
  peaks_.clear();
  int k0 = 0, k1 = 0;
  if (!SearchRange(k0, k1)) return;
  const TSpectrum& s = host_->HostSpectrum();
  const TVec& y = s.Amplt();
  if (peaks_.capacity() < static_cast<std::size_t>(y.Length())) peaks_.reserve(static_cast<std::size_t>(y.Length()));
  const int spacing = std::max(1, s.MainlobeWidth() / 2);
  const double* a = y.Data();
  for (int k = k0; k <= k1; ++k) {
    if (!(a[k] > a[k - 1] && a[k] > a[k + 1])) continue;
    if (!peaks_.empty() && k - peaks_.back() < spacing) {
      // Too close to the previous peak: the larger of the two stays.
      if (a[k] > a[peaks_.back()]) peaks_.back() = k;
      continue;
    }
    peaks_.push_back(k);
  }
}

int TSpectrumPeaksAnalyzer::LargestBinNear(double Freq, double HalfWidth) const {
  int k0 = 0, k1 = 0;
  if (!SearchRange(k0, k1)) return -1;
  const TSpectrum& s = host_->HostSpectrum();
  const double x = (Freq - s.BandWidthL()) / s.HzRes();
  const double hw = HalfWidth / s.HzRes();
  int a = static_cast<int>(std::ceil(x - hw));
  int b = static_cast<int>(std::floor(x + hw));
  if (a > b) a = b = static_cast<int>(std::lround(x));
  a = std::max(a, k0);
  b = std::min(b, k1);
  if (a > b) return -1;
  const double* y = s.Amplt().Data();
  int best = -1, bestMax = -1;
  for (int k = a; k <= b; ++k) {
    if (best < 0 || y[k] > y[best]) best = k;
    if (IsLocalMax(k) && (bestMax < 0 || y[k] > y[bestMax])) bestMax = k;
  }
  return bestMax >= 0 ? bestMax : best;
}

void TSpectrumPeaksAnalyzer::SetMark(int i, int k, bool Refine) {
  TSpectrum& s = host_->HostSpectrum();
  TMarkRecord m;
  m.Freq = Refine ? Approximate(BinFreq(k)) : BinFreq(k);
  // A peak refined between bins reads the amplitude there, not the scalloped bin's.
  m.Amplt = m.Freq != BinFreq(k) ? s.AmpltEst(m.Freq) : s.Amplt().Values(k);
  m.Phase = k < s.Phase().Length() ? s.Phase().Values(k) : 0.0;
  if (i < 0) s.Marks().Add(m);
  else s.Marks().SetValues(i, m);
}

void TSpectrumPeaksAnalyzer::AddMark(int k, bool Refine) { SetMark(-1, k, Refine); }

// ------------------------------------------------------------------ searches

void TSpectrumPeaksAnalyzer::Update() {
  if (!active_) return;
  TMarkList& marks = host_->HostSpectrum().Marks();
  int k0 = 0, k1 = 0;
  if (!SearchRange(k0, k1)) {
    marks.Clear();
    orderReference_ = 0;
    return;
  }
  switch (traceMethod_) {
    case ptNone: Find(); break;
    case ptCurrent:
      if (marks.Count() == 0) Find();
      else Trace();
      break;
    case ptLargest:
      if (marks.Count() != 1) Find();
      else Trace();
      break;
    case ptAmpltHarmonics: AmpltHarmonics(); break;
    case ptFreqHarmonics: FreqHarmonics(); break;
  }
  ApplyOrder();
}

void TSpectrumPeaksAnalyzer::Find() { FindLargestPeaks(traceMethod_ == ptLargest ? 1 : largestCount_); }

int TSpectrumPeaksAnalyzer::FindAllPeaks() {
  ScanPeaks();
  host_->HostSpectrum().Marks().Clear();
  for (int k : peaks_) AddMark(k, true);
  return static_cast<int>(peaks_.size());
}

int TSpectrumPeaksAnalyzer::FindLargestPeaks(int Count) {
  ScanPeaks();
  host_->HostSpectrum().Marks().Clear();
  const int n = std::clamp(Count, 0, static_cast<int>(peaks_.size()));
  const double* y = host_->HostSpectrum().Amplt().Data();
  // Larger first; equal amplitudes by frequency, so the choice does not depend on the sort.
  std::partial_sort(peaks_.begin(), peaks_.begin() + n, peaks_.end(),
                    [y](int a, int b) { return y[a] > y[b] || (y[a] == y[b] && a < b); });
  std::sort(peaks_.begin(), peaks_.begin() + n);
  for (int i = 0; i < n; ++i) AddMark(peaks_[static_cast<std::size_t>(i)], true);
  return n;
}

void TSpectrumPeaksAnalyzer::AmpltHarmonics() {
  TMarkList& marks = host_->HostSpectrum().Marks();
  if (FindLargestPeaks(1) == 0) return;
  const double f1 = marks.Values(0).Freq;
  int k0 = 0, k1 = 0;
  SearchRange(k0, k1);
  const double top = BinFreq(k1);
  const double hw = traceInterval_ / 100 * SearchWidth() / 2;
  for (int m = 2; m <= harmonicsCount_ + 1; ++m) {
    const double f = m * f1;
    if (!(f <= top)) break;
    const int k = LargestBinNear(f, hw);
    if (k < 0) break;
    AddMark(k, interpolation_->Harmonics() && IsLocalMax(k));
  }
}

void TSpectrumPeaksAnalyzer::FreqHarmonics() {
  TSpectrum& s = host_->HostSpectrum();
  if (FindLargestPeaks(1) == 0) return;
  const double f1 = s.Marks().Values(0).Freq;
  int k0 = 0, k1 = 0;
  SearchRange(k0, k1);
  const double top = BinFreq(k1);
  for (int m = 2; m <= harmonicsCount_ + 1; ++m) {
    const double f = m * f1;
    if (!(f <= top)) break;
    s.Marks().Add({f, s.AmpltEst(f), s.PhaseEst(f), 0.0});
  }
}

void TSpectrumPeaksAnalyzer::Trace() {
  TMarkList& marks = host_->HostSpectrum().Marks();
  const double hw = traceInterval_ / 100 * SearchWidth() / 2;
  for (int i = 0; i < marks.Count(); ++i) {
    const int k = LargestBinNear(marks.Values(i).Freq, hw);
    if (k >= 0) SetMark(i, k, IsLocalMax(k));
  }
}

void TSpectrumPeaksAnalyzer::Adjust() {
  TSpectrum& s = host_->HostSpectrum();
  TMarkList& marks = s.Marks();
  for (int i = 0; i < marks.Count(); ++i) {
    TMarkRecord m = marks.Values(i);
    m.Amplt = s.AmpltEst(m.Freq);
    m.Phase = s.PhaseEst(m.Freq);
    marks.SetValues(i, m);
  }
}

void TSpectrumPeaksAnalyzer::ApplyOrder() {
  orderReference_ = 0;
  if (!orderActive_) return;
  TMarkList& marks = host_->HostSpectrum().Marks();
  double ref = 0;
  switch (orderTracing_) {
    case otNone: ref = orderFrequency_; break;
    case otFirstPeak:
      if (marks.Count() > 0) ref = marks.Values(0).Freq;
      break;
    case otNthPeak:
      if (orderPeakNumber_ >= 1 && orderPeakNumber_ <= marks.Count()) ref = marks.Values(orderPeakNumber_ - 1).Freq;
      break;
    case otLargest: {
      int best = -1;
      for (int i = 0; i < marks.Count(); ++i)
        if (best < 0 || marks.Values(i).Amplt > marks.Values(best).Amplt) best = i;
      if (best >= 0) ref = marks.Values(best).Freq;
      break;
    }
  }
  if (!(ref > 0)) ref = 0;
  orderReference_ = ref;
  for (int i = 0; i < marks.Count(); ++i) {
    TMarkRecord m = marks.Values(i);
    m.Time = ref > 0 ? m.Freq / ref : 0.0;
    marks.SetValues(i, m);
  }
}

// ------------------------------------------------------------------ filtering and dB

void TSpectrumPeaksAnalyzer::Filter(int Index) {
  TSpectrum& s = host_->HostSpectrum();
  TMarkList& marks = s.Marks();
  // A real/imaginary spectrum has no lobe to cut, and a zero lobe width cuts nothing.
  if (host_->HostSpectrumType() == 4 || s.MainlobeWidth() < 1 || !(s.HzRes() > 0))
    throw Exception("Not supported with current parameters!");
  if (Index < 0 || Index >= marks.Count()) throw Exception("Filter: peak index out of range");
  TVec& y = s.Amplt();
  const int n = y.Length();
  const int k = FreqBin(marks.Values(Index).Freq);
  const int half = s.MainlobeWidth() / 2;
  const int a = k - half - 1;  // the bins that anchor the line
  const int b = k + half + 1;
  for (int j = std::max(a + 1, 0); j <= std::min(b - 1, n - 1); ++j) {
    double v = 0;
    if (a >= 0 && b < n) v = y.Values(a) + (y.Values(b) - y.Values(a)) * (j - a) / (b - a);
    else if (a >= 0 && a < n) v = y.Values(a);
    else if (b < n && b >= 0) v = y.Values(b);
    y.SetValues(j, v);
  }
  marks.Delete(Index);
}

void TSpectrumPeaksAnalyzer::FilterAll() {
  for (int i = Marks().Count() - 1; i >= 0; --i) Filter(i);
}

void TSpectrumPeaksAnalyzer::LogAmplt(double Base, double Span, double Max, bool Absolute) {
  TMarkList& marks = host_->HostSpectrum().Marks();
  const double floorRatio = Power(Base, -Span / 20);
  const double offset = Absolute && Max > 0 ? 20 * LogN(Base, Max) : 0.0;
  for (int i = 0; i < marks.Count(); ++i) {
    TMarkRecord m = marks.Values(i);
    if (!(Max > 0)) {
      m.Amplt = -Span;
    } else {
      double r = m.Amplt / Max;
      if (r < floorRatio) r = floorRatio;
      m.Amplt = 20 * LogN(Base, r) + offset;
    }
    marks.SetValues(i, m);
  }
}

// ------------------------------------------------------------------ refinement

double TSpectrumPeaksAnalyzer::Tau(double x) { return QuinnTau(x); }

double TSpectrumPeaksAnalyzer::Approximate(double Freq) {
  TSpectrum& s = host_->HostSpectrum();
  // The method is decided per call; the stored setting is never touched.
  TInterpolationMethod method = interpolation_->Method();
  const int type = host_->HostSpectrumType();
  if ((host_->HostZeroPaddingRatio() != 0 || host_->HostWindow() != 0 || type == 2 || type == 4) &&
      method > imNumeric)
    method = imNone;
  if ((host_->HostAveraged() > 0 || !host_->HostComplexSpectrumValid()) &&
      (method == imNumeric || method == imQuinnFirst || method == imQuinnSecond))
    method = imNone;

  const double df = s.HzRes();
  const double bl = s.BandWidthL();
  if (!(df > 0) || s.Amplt().Length() == 0) return Freq;  // no axis to refine on
  const double f0 = host_->HostConvergeToMaximum(Freq);
  const int k = static_cast<int>(std::lround((f0 - bl) / df));
  const std::span<const double> y(s.Amplt().Data(), static_cast<std::size_t>(s.Amplt().Length()));
  switch (method) {
    case imNone: return f0;
    case imNumeric:
      return HillClimbPeak(f0, df, interpolation_->PrecisionDivisor(), [&s](double f) { return s.AmpltEst(f); });
    case imQuadratic: return QuadraticPeak(y, k, df, bl);
    case imBarycentric: return BarycentricPeak(y, k, df, bl);
    case imQuinnFirst: return QuinnFirstPeak(host_->HostComplexSpectrum().CSpan(), k, df, bl);
    case imQuinnSecond: return QuinnSecondPeak(host_->HostComplexSpectrum().CSpan(), k, df, bl);
    case imJain: return JainPeak(y, k, df, bl);
  }
  return f0;
}

}  // namespace sigflow
