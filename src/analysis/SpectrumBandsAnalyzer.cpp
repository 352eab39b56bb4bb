#include "sigflow/analysis/SpectrumBandsAnalyzer.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/Analysis.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

const TEnumInfo& BandWeightingInfo() {
  static const TEnumInfo info("TBandWeighting", {"bwNone", "bwA", "bwC"});
  return info;
}

namespace {
// Pole frequencies of the weighting networks, Hz.
constexpr double F1 = 20.598997, F2 = 107.65265, F3 = 737.86223, F4 = 12194.217;
constexpr double NaN = std::numeric_limits<double>::quiet_NaN();

double AWeightingRaw(double f) {
  const double f2 = f * f;
  return 20 * std::log10(F4 * F4 * f2 * f2 /
                         ((f2 + F1 * F1) * std::sqrt(f2 + F2 * F2) * std::sqrt(f2 + F3 * F3) * (f2 + F4 * F4)));
}

double CWeightingRaw(double f) {
  const double f2 = f * f;
  return 20 * std::log10(F4 * F4 * f2 / ((f2 + F1 * F1) * (f2 + F4 * F4)));
}
}  // namespace

// Normalised at 1 kHz with the computed value, so 1 kHz reads exactly 0 dB.
double AWeightingDb(double Freq) {
  static const double at1k = AWeightingRaw(1000);
  return AWeightingRaw(std::fabs(Freq)) - at1k;
}

double CWeightingDb(double Freq) {
  static const double at1k = CWeightingRaw(1000);
  return CWeightingRaw(std::fabs(Freq)) - at1k;
}

TSpectrumBandsAnalyzer::TSpectrumBandsAnalyzer(TComponent* AOwner, TPeakHost* Host, const TSpectrumPeaksAnalyzer* Peaks)
    : owner_(AOwner), host_(Host), peaks_(Peaks), templates_(new TStreamTemplates(AOwner)) {
  templates_->SetTemplate(&bands_);
}

TSpectrumBandsAnalyzer::~TSpectrumBandsAnalyzer() {
  templates_->SetTemplate(nullptr);
  delete templates_;
}

const TPropertyTable& TSpectrumBandsAnalyzer::ClassProperties() {
  using T = TSpectrumBandsAnalyzer;
  static const TPropertyTable table(
      &TPersistent::ClassProperties(),
      {
          Property("Active", &T::Active, &T::SetActive, true),
          EnumProperty("Weighting", &T::Weighting, &T::SetWeighting, BandWeightingInfo(), bwNone),
          ObjectProperty("Templates", &T::Templates),
      });
  return table;
}

void TSpectrumBandsAnalyzer::Changed() {
  if (auto* a = dynamic_cast<TAnalysis*>(owner_)) a->SetDirty(true);
}

void TSpectrumBandsAnalyzer::SetActive(bool Value) {
  if (active_ == Value) return;
  active_ = Value;
  Changed();
}

void TSpectrumBandsAnalyzer::SetWeighting(TBandWeighting Value) {
  if (weighting_ == Value) return;
  weighting_ = Value;
  Changed();
}

void TSpectrumBandsAnalyzer::Assign(TPersistent* Source) {
  auto* s = dynamic_cast<TSpectrumBandsAnalyzer*>(Source);
  if (!s) {
    TPersistent::Assign(Source);
    return;
  }
  active_ = s->active_;
  weighting_ = s->weighting_;
  s->templates_->Consolidate();
  templates_->Assign(s->templates_);
  bands_.Assign(s->bands_);
  Changed();
}

void TSpectrumBandsAnalyzer::AddStandardTemplates() {
  templates_->AddTemplate("Octave");
  AddOctaveBands(bands_, 1, 15, 17000);
  templates_->Consolidate();
  templates_->AddTemplate("Third octave");
  AddOctaveBands(bands_, 3, 9.9, 20500);
  templates_->Consolidate();
}

double TSpectrumBandsAnalyzer::BinPower(int k, bool Adjust) const {
  const TSpectrum& s = host_->HostSpectrum();
  const double y = s.Amplt().Values(k);
  // A one-sided spectrum holds peak amplitudes: a bin's power is half the square, except at 0 Hz.
  const double c = (s.Complex() || (k == 0 && s.BandWidthL() == 0)) ? 1.0 : 0.5;
  if (!Adjust) return c * y * y;
  switch (host_->HostSpectrumType()) {
    case 1: return 2 * c * y * y;
    case 2: return c * y;
    case 3: return c * y * y / 4;
    case 4: {
      const double im = k < s.Phase().Length() ? s.Phase().Values(k) : 0.0;
      return c * (y * y + im * im);
    }
    default: return c * y * y;
  }
}

double TSpectrumBandsAnalyzer::BandPower(const TBandRecord& Band, double S, double E, double Ts, double Te) const {
  const TSpectrum& s = host_->HostSpectrum();
  const double df = s.HzRes();
  const double bl = s.BandWidthL();
  const int n = s.Amplt().Length();
  if (!(df > 0) || n == 0 || !(E > S)) return 0;
  Ts = std::max(Ts, 0.0);
  Te = std::max(Te, 0.0);
  const auto w = [=](double f) {
    if (f <= S || f >= E) return 0.0;
    const double up = Ts > 0 ? (f - S) / Ts : 1.0;
    const double down = Te > 0 ? (E - f) / Te : 1.0;
    return std::clamp(std::min({up, down, 1.0}), 0.0, 1.0);
  };
  // w is linear between these points, so the midpoint rule is exact on each piece.
  std::array<double, 7> pts{};
  const double cross = (Ts > 0 && Te > 0) ? (S * Te + E * Ts) / (Ts + Te) : S;
  const int kA = std::max(0, static_cast<int>(std::floor((S - bl) / df - 0.5)));
  const int kB = std::min(n - 1, static_cast<int>(std::ceil((E - bl) / df + 0.5)));
  double total = 0;
  for (int k = kA; k <= kB; ++k) {
    const double lo = bl + (k - 0.5) * df, hi = bl + (k + 0.5) * df;
    pts = {lo, hi, S, S + Ts, E - Te, E, cross};
    std::sort(pts.begin(), pts.end());
    double area = 0;
    for (std::size_t i = 0; i + 1 < pts.size(); ++i) {
      const double a = std::max(pts[i], lo), b = std::min(pts[i + 1], hi);
      if (b > a) area += w((a + b) / 2) * (b - a);
    }
    if (area <= 0) continue;
    double p = BinPower(k, Band.AdjustForSpectrumType) * area / df;
    if (weighting_ != bwNone) {
      const double f = bl + k * df;
      const double db = weighting_ == bwA ? AWeightingDb(f) : CWeightingDb(f);
      p *= std::pow(10.0, db / 10);
    }
    total += p;
  }
  return total;
}

double TSpectrumBandsAnalyzer::ReferenceScale(const TBandRecord& Band) const {
  const TSpectrum& s = host_->HostSpectrum();
  switch (Band.Reference) {
    case fnSamplingFrequency: return 1.0;
    case fnNyquist: return s.SamplingFrequency() / 2;
    case fnOrder: {
      const double r = peaks_ ? peaks_->OrderReference() : 0.0;
      return r > 0 ? r : NaN;
    }
    case fnNthPeak: {
      const TMarkList& m = s.Marks();
      if (Band.PeakNumber < 1 || Band.PeakNumber > m.Count()) return NaN;
      const double f = m.Values(Band.PeakNumber - 1).Freq;
      return f > 0 ? f : NaN;
    }
  }
  return NaN;
}

void TSpectrumBandsAnalyzer::Update() {
  if (!active_) return;
  const auto n = static_cast<std::size_t>(bands_.Count());
  results_.resize(n);
  start_.resize(n);
  stop_.resize(n);
  double z = host_->HostZeroPaddingRatio();
  if (!(z > 0)) z = 1;
  for (std::size_t i = 0; i < n; ++i) {
    const TBandRecord& b = *bands_.Items(static_cast<int>(i));
    const double scale = ReferenceScale(b);
    start_[i] = b.Start * scale;
    stop_[i] = b.Stop * scale;
    if (!b.Active) {
      results_[i] = 0;
      continue;
    }
    if (std::isnan(scale)) {
      results_[i] = NaN;
      continue;
    }
    const double p = BandPower(b, b.Start * scale, b.Stop * scale, b.StartTransition * scale, b.StopTransition * scale);
    results_[i] = std::sqrt(p / z);
  }
}

}  // namespace sigflow
