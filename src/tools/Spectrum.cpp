#include "sigflow/tools/Spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

const TEnumInfo& PhaseModeInfo() {
  static const TEnumInfo info("TPhaseMode", {"pmIgnore", "pm360", "pmPhaseDelay", "pmGroupDelay"});
  return info;
}

const TEnumInfo& PhaseUnitsInfo() {
  static const TEnumInfo info("TPhaseUnits", {"puRad", "puDeg"});
  return info;
}

TSpectrum::TSpectrum(TComponent* AOwner) : TAnalysis(AOwner) {
  marks_.SetSortType(srtFreq);
  SetComplex(false);
  amplt_.SetOnSetLength([this](TObject* Sender) { UpdateSetLength(Sender); });
  phase_.SetOnSetLength([this](TObject* Sender) { UpdateSetLength(Sender); });
  samplingFrequency_ = 0;
  samplingTime_ = 0;
  SetLength(64);
  TSpectrum::SetSamplingFrequency(1.0);
  conjFlip_ = true;
}

TSpectrum::~TSpectrum() {
  amplt_.SetOnSetLength(nullptr);
  phase_.SetOnSetLength(nullptr);
}

const TPropertyTable& TSpectrum::ClassProperties() {
  // Loading sets them in this order; the sampling frequency last, so the axis ends up exact.
  static const TPropertyTable table(&TAnalysis::ClassProperties(), {
      Property("Length", &TSpectrum::Length, &TSpectrum::SetLength, 64),
      Property("MainlobeWidth", &TSpectrum::MainlobeWidth, &TSpectrum::SetMainlobeWidth, 8),
      EnumProperty("PhaseMode", &TSpectrum::PhaseMode, &TSpectrum::SetPhaseMode, PhaseModeInfo(), pm360),
      EnumProperty("PhaseUnits", &TSpectrum::PhaseUnits, &TSpectrum::SetPhaseUnits, PhaseUnitsInfo(), puDeg),
      Property("Harmonics", &TSpectrum::Harmonics, &TSpectrum::SetHarmonics, 10),
      Property("Complex", &TSpectrum::Complex, &TSpectrum::SetComplex, false),
      Property("ZeroPadding", &TSpectrum::ZeroPadding, &TSpectrum::SetZeroPadding, 1),
      Property("SamplingFrequency", &TSpectrum::SamplingFrequency, &TSpectrum::SetSamplingFrequency),
      Property("BandWidth", &TSpectrum::BandWidth, nullptr),
      Property("SamplingTime", &TSpectrum::SamplingTime, nullptr),
      Property("HzRes", &TSpectrum::HzRes, nullptr),
      Property("Dt", &TSpectrum::Dt, nullptr),
  });
  return table;
}

// ------------------------------------------------------------------ axis

void TSpectrum::SetLength(int Value) {
  if (BlockAssign()) return;
  amplt_.SetLength(Value);
  phase_.SetLength(Value);
}

void TSpectrum::SetSamplingTime(double Value) {
  if (BlockAssign()) return;
  length_ = amplt_.Length();
  samplingTime_ = Value;
  if (Value > 0) {
    if (length_ < 1) {
      bandWidth_ = samplingTime_ = samplingFrequency_ = hzRes_ = 0;
    } else {
      samplingFrequency_ = length_ * span_ / zeroPadding_ / Value;
      dt_ = 1.0 / samplingFrequency_;
      SetBandWidthL(bandWidthL_);
      bandWidth_ = samplingFrequency_ / span_;
      hzRes_ = bandWidth_ / length_;
    }
  }
  bandWidthH_ = bandWidth_ + bandWidthL_;
}

void TSpectrum::SetSamplingFrequency(double Value) {
  if (BlockAssign()) return;
  if (Value > 0) SetSamplingTime(amplt_.Length() * span_ / zeroPadding_ / Value);
  else SetSamplingTime(0);
  samplingFrequency_ = Value;
}

void TSpectrum::SetComplex(bool Value) {
  if (BlockAssign()) return;
  complex_ = Value;
  span_ = Value ? 1.0 : 2.0;
  if (zeroPadding_ > 0) SetSamplingTime(amplt_.Length() * dt_ * span_ / zeroPadding_);
}

void TSpectrum::SetZeroPadding(int Value) {
  if (Value == zeroPadding_) return;
  zeroPadding_ = std::max(Value, 1);
  SetSamplingFrequency(samplingFrequency_);
}

void TSpectrum::SetBandWidthL(double Value) {
  bandWidthL_ = Value;
  bandWidthH_ = bandWidth_ + Value;
}

void TSpectrum::UpdateSetLength(TObject*) {
  const int n = amplt_.Length();
  if (samplingFrequency_ > 0) SetSamplingTime(n * span_ / zeroPadding_ / samplingFrequency_);
  else if (samplingTime_ > 0 && length_ > 0) SetSamplingTime(n * samplingTime_ / length_);
  else SetSamplingTime(samplingTime_);
}

void TSpectrum::BeforeInternalUpdate() {
  TAnalysis::BeforeInternalUpdate();
  if (!UsesInputs()) return;
  TSignal* src = nullptr;
  if (!MultiChannel()) src = Input();
  else if (Inputs() && Inputs()->Count() > 0) src = Inputs()->Items(0)->Input();
  if (src == nullptr) return;
  SetComplex(src->Complex());
  SetBandWidthL(src->BandWidthL());
  SetSamplingFrequency(src->SamplingFrequency());
}

// ------------------------------------------------------------------ arithmetic

void TSpectrum::MinMaxAmplt() { amplt_.MinMax(minAmplt_, maxAmplt_); }
void TSpectrum::MinMaxPhase() { phase_.MinMax(minPhase_, maxPhase_); }
void TSpectrum::MinMax() {
  MinMaxAmplt();
  MinMaxPhase();
}

void TSpectrum::Add(const TSpectrum& Src) {
  amplt_.Add(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Add(Src.phase_);
}
void TSpectrum::Subtract(const TSpectrum& Src) {
  amplt_.Sub(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Sub(Src.phase_);
}
void TSpectrum::Mul(const TSpectrum& Src) {
  amplt_.Mul(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Mul(Src.phase_);
}
void TSpectrum::Divide(const TSpectrum& Src) {
  amplt_.Divide(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Divide(Src.phase_);
}
void TSpectrum::Scale(double Factor) {
  amplt_.Scale(Factor);
  if (phaseMode_ != pmIgnore) phase_.Scale(Factor);
}
void TSpectrum::SetZero() {
  amplt_.SetZero();
  if (phaseMode_ != pmIgnore) phase_.SetZero();
}
void TSpectrum::Copy(const TSpectrum& Src) {
  amplt_.Copy(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Copy(Src.phase_);
}
void TSpectrum::Size(const TSpectrum& Src) {
  amplt_.Size(Src.amplt_);
  if (phaseMode_ != pmIgnore) phase_.Size(Src.phase_);
}

void TSpectrum::BandFlip() {
  amplt_.Reverse();
  phase_.Reverse();
}

// ------------------------------------------------------------------ conversions

namespace {
void Magnitudes(const TVec& src, TVec& dst, double power, double scale) {
  const int n = src.Length();
  dst.Size(n, false);
  for (int i = 0; i < n; ++i) {
    const double m = std::abs(src.CValues(i));
    dst.SetValues(i, (power == 2 ? m * m : m) * scale);
  }
}
}  // namespace

void TSpectrum::PowerSpectrum(const TVec& Vec) { Magnitudes(Vec, amplt_, 2, 1); }
void TSpectrum::AmpltSpectrum(const TVec& Vec) { Magnitudes(Vec, amplt_, 1, 1); }
void TSpectrum::RMSSpectrum(const TVec& Vec) { Magnitudes(Vec, amplt_, 1, std::numbers::sqrt2 / 2); }

void TSpectrum::PhaseSpectrum(const TVec& Vec) {
  const int n = Vec.Length();
  phase_.Size(n, false);
  const double unit = phaseUnits_ == puDeg ? 180.0 / std::numbers::pi : 1.0;
  for (int i = 0; i < n; ++i) phase_.SetValues(i, std::arg(Vec.CValues(i)) * unit);
}

void TSpectrum::Weight(bool Divide) {
  const int L = amplt_.Length();
  if (L == 0) return;
  const double h = hzRes_;
  const double w = 2 * std::numbers::pi * h;
  const double o = bandWidthL_ / h;
  const int s = o == 0 ? 1 : 0;
  double* a = amplt_.Data();
  auto apply = [&](int i, double f) { a[i] = Divide ? a[i] / f : a[i] * f; };
  if (!conjExtend_) {
    for (int i = s; i < L; ++i) apply(i, (i + o) * w);
    return;
  }
  const int H = L / 2;
  if (conjFlip_) {
    for (int i = s; i < H; ++i) {
      apply(i, (i + o) * w);
      if (i > 0) a[L - i] = a[i];  // bin 0 has no mirror inside the vector
    }
  } else {
    for (int i = s; i < H; ++i) {
      apply(H + i, (H + o + i) * w);
      a[H - i] = a[H + i];
    }
  }
}

void TSpectrum::Integrate() { Weight(true); }
void TSpectrum::Differentiate() { Weight(false); }

void TSpectrum::LogAmplt(double Base, double Span, double Max, bool Absolute) {
  if (!(Max > 0)) {
    amplt_.SetVal(-Span);
    return;
  }
  const double floorRatio = Power(Base, -Span / 20);
  const double offset = Absolute ? 20 * LogN(Base, Max) : 0.0;
  double* a = amplt_.Data();
  for (int i = 0; i < amplt_.Length(); ++i) {
    double r = a[i] / Max;
    if (r < floorRatio) r = floorRatio;
    a[i] = 20 * LogN(Base, r) + offset;
  }
}

// ------------------------------------------------------------------ measurements

double TSpectrum::PowerOfBin(int k) const {
  const double a = amplt_.Values(k);
  if (complex_ || (k == 0 && bandWidthL_ == 0)) return a * a;
  return a * a / 2;
}

double TSpectrum::RMS() const {
  double sum = 0;
  for (int k = 0; k < amplt_.Length(); ++k) sum += PowerOfBin(k);
  return std::sqrt(sum);
}

double TSpectrum::THD() {
  if (marks_.Count() == 0) return 0;
  marks_.SortFreq();
  const int n = std::min(harmonics_, marks_.Count());
  double sum = 0;
  for (int i = 1; i < n; ++i) sum += marks_.Values(i).Amplt * marks_.Values(i).Amplt;
  return std::sqrt(sum) * 100 / std::abs(marks_.Values(0).Amplt);
}

TToneMeasurement TSpectrum::MeasureMarkedTone() const {
  if (marks_.Count() == 0) throw Exception("Marks.Count = 0");
  double f0 = marks_.Values(0).Freq;
  for (int i = 1; i < marks_.Count(); ++i) f0 = std::min(f0, marks_.Values(i).Freq);
  TToneSettings s;
  s.FundamentalHz = f0;
  s.BinHz = hzRes_;
  s.StartHz = bandWidthL_;
  s.SamplingHz = samplingFrequency_;
  s.Harmonics = harmonics_;
  s.MainlobeWidth = mainlobeWidth_;
  return MeasureTone(amplt_.Span(), s);
}

double TSpectrum::THDN() const { return MeasureMarkedTone().THDN(); }
double TSpectrum::SNR() const { return MeasureMarkedTone().SNR(); }
double TSpectrum::SINAD() const { return MeasureMarkedTone().SINAD(); }
double TSpectrum::SFDR() const { return MeasureMarkedTone().SFDR(); }
double TSpectrum::NF() const { return MeasureMarkedTone().NF(); }

// ------------------------------------------------------------------ peaks

double TSpectrum::PeakApproximate(double Freq) {
  int last = amplt_.Length() - 1;
  if (maxFreqIndex_ >= 0) last = std::min(last, maxFreqIndex_);
  if (last < 0 || !(hzRes_ > 0)) return Freq;
  int k = static_cast<int>(std::lround((Freq - bandWidthL_) / hzRes_));
  k = std::clamp(k, 0, last);
  const double* a = amplt_.Data();
  for (;;) {
    if (k < last && a[k + 1] > a[k]) ++k;
    else if (k > 0 && a[k - 1] > a[k]) --k;
    else break;
  }
  const double binHz = bandWidthL_ + k * hzRes_;
  if (k == 0 || k == last) return binHz;
  const double l = a[k - 1], c = a[k], r = a[k + 1];
  const double den = l - 2 * c + r;
  if (den == 0) return binHz;
  return binHz + 0.5 * (l - r) / den * hzRes_;
}

namespace {
double Interpolate(const TVec& v, double pos) {
  const int n = v.Length();
  if (n == 0) return std::nan("");
  if (!(pos > 0)) return v.Values(0);
  if (pos >= n - 1) return v.Values(n - 1);
  const int i = static_cast<int>(pos);
  const double f = pos - i;
  return v.Values(i) + f * (v.Values(i + 1) - v.Values(i));
}
}  // namespace

double TSpectrum::EstimateKernel(double Offset) const {
  const double x = std::numbers::pi * Offset;
  return std::abs(x) < 1e-12 ? 1.0 : std::abs(std::sin(x) / x);
}

int TSpectrum::EstimateBin(double Pos) const {
  int last = amplt_.Length() - 1;
  if (maxFreqIndex_ >= 0) last = std::min(last, maxFreqIndex_);
  if (last < 0) return -1;
  int k = std::clamp(static_cast<int>(std::lround(Pos)), 0, last);
  const double* a = amplt_.Data();
  for (;;) {
    if (k < last && a[k + 1] > a[k]) ++k;
    else if (k > 0 && a[k - 1] > a[k]) --k;
    else break;
  }
  return k;
}

double TSpectrum::AmpltEst(double Freq) const {
  const double pos = hzRes_ > 0 ? (Freq - bandWidthL_) / hzRes_ : 0.0;
  const int n = amplt_.Length();
  if (n == 0 || !(hzRes_ > 0) || !(pos >= 0) || pos > n - 1) return Interpolate(amplt_, pos);
  const int k = EstimateBin(pos);
  if (k <= 0 || k >= n - 1) return Interpolate(amplt_, pos);
  const double* a = amplt_.Data();
  const double c = a[k];
  if (!(c > 0)) return Interpolate(amplt_, pos);
  if (pos == k) return c;
  const int side = a[k + 1] >= a[k - 1] ? 1 : -1;
  const double r = a[k + side] / c;
  // The fit depends only on the three bins and the kernel (probed by K(1/2)); a hill climb
  // asks about the same peak many times, so the last fit is kept.
  const double half = EstimateKernel(0.5);
  EstimateFit& fit = fit_;
  if (fit.K != k || fit.L != a[k - 1] || fit.C != c || fit.R != a[k + 1] || fit.Half != half) {
    // K(1 - d) / K(d) rises with d over the main lobe: regula falsi (Illinois) for the
    // tone's offset d towards the larger neighbour (r <= 1 puts it within half a bin).
    const auto g = [&](double d) { return EstimateKernel(1 - d) - r * EstimateKernel(d); };
    double lo = 0, hi = 0.5, glo = g(lo), ghi = g(hi), d = 0;
    if (glo >= 0) d = lo;
    else if (ghi <= 0) d = hi;
    else {
      int keep = 0;
      for (int it = 0; it < 100 && hi - lo > 1e-15; ++it) {
        d = (lo * ghi - hi * glo) / (ghi - glo);
        if (!(d > lo && d < hi)) d = 0.5 * (lo + hi);
        const double gd = g(d);
        if (gd == 0) break;
        if (gd < 0) {
          lo = d, glo = gd;
          if (keep == -1) ghi *= 0.5;
          keep = -1;
        } else {
          hi = d, ghi = gd;
          if (keep == 1) glo *= 0.5;
          keep = 1;
        }
      }
    }
    fit = {k, a[k - 1], c, a[k + 1], half, k + side * d, c / EstimateKernel(d)};
  }
  return fit.A * EstimateKernel(pos - fit.Nu);
}

double TSpectrum::PhaseEst(double Freq) const {
  const double pos = hzRes_ > 0 ? (Freq - bandWidthL_) / hzRes_ : 0.0;
  const int n = phase_.Length();
  if (n == 0 || !(hzRes_ > 0) || !(pos >= 0) || pos > n - 1 || amplt_.Length() != n) return Interpolate(phase_, pos);
  const int k = EstimateBin(pos);
  if (k <= 0 || k >= n - 1 || !(amplt_.Values(k) > 0)) return Interpolate(phase_, pos);
  return phase_.Values(k);
}

void TSpectrum::FilterPeak(int) { throw Exception("Peak filter method not supported!"); }
void TSpectrum::ComputeGroupDelay() { throw Exception("Not implemented!"); }
void TSpectrum::ComputePhaseDelay() { throw Exception("Not implemented"); }

// ------------------------------------------------------------------ text and persistence

void TSpectrum::MarksToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                               const std::string& FreqFormat, const std::string& Format) const {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < marks_.Count(); ++i) {
    const TMarkRecord& m = marks_.Values(i);
    rows.push_back({m.Freq, m.Amplt, m.Phase, m.Time});
  }
  FormatColumns(Dst, Header, Separator, Format, rows, FreqFormat.empty() ? Format : FreqFormat);
}

void TSpectrum::ValuesToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                                const std::string& FreqFormat, const std::string& Format) const {
  std::vector<std::vector<double>> rows;
  for (int k = 0; k < amplt_.Length(); ++k)
    rows.push_back({bandWidthL_ + k * hzRes_, amplt_.Values(k), k < phase_.Length() ? phase_.Values(k) : 0.0});
  FormatColumns(Dst, Header, Separator, Format, rows, FreqFormat.empty() ? Format : FreqFormat);
}

void TSpectrum::Assign(TPersistent* Source) {
  TAnalysis::Assign(Source);
  if (BlockAssign()) return;
  auto* src = dynamic_cast<TSpectrum*>(Source);
  if (src == nullptr) return;
  SetBandWidthL(src->bandWidthL_);
  conjFlip_ = src->conjFlip_;
  conjExtend_ = src->conjExtend_;
  maxFreqIndex_ = src->maxFreqIndex_;
  amplt_.Copy(src->amplt_);
  phase_.Copy(src->phase_);
  marks_.Assign(src->marks_);
  SetSamplingFrequency(src->samplingFrequency_);
}

void TSpectrum::SaveBinaryStream(TStream& Stream) const {
  marks_.SaveToStream(Stream);
  amplt_.SaveToStream(Stream, prDouble, rnTrunc);
  phase_.SaveToStream(Stream, prDouble, rnTrunc);
}

void TSpectrum::LoadBinaryStream(TStream& Stream) {
  marks_.LoadFromStream(Stream);
  amplt_.LoadFromStream(Stream);
  phase_.LoadFromStream(Stream);
}

void TSpectrum::DefineProperties(TFiler& Filer) {
  TAnalysis::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "SpectrumBinaryData", [this](TStream& s) { LoadBinaryStream(s); }, [this](TStream& s) { SaveBinaryStream(s); },
      !BlockAssign() && !ComponentState().Contains(csDesigning));
}

void CopySpectrum(const TSpectrum& Src, TSpectrum& Dest, int Index, int Len, bool CopyMarks) {
  if (Index < 0 || Len < 0 || Index > Src.Amplt().Length() - Len || Index > Src.Phase().Length() - Len)
    throw Exception("CopySpectrum: range outside the spectrum");
  const double hz = Src.HzRes();
  const double low = Src.BandWidthL() + Index * hz;
  Dest.SetComplex(Src.Complex());
  Dest.SetZeroPadding(Src.ZeroPadding());
  Dest.Amplt().Size(Len, false);
  Dest.Phase().Size(Len, false);
  Dest.Amplt().Copy(Src.Amplt(), Index, 0, Len);
  Dest.Phase().Copy(Src.Phase(), Index, 0, Len);
  Dest.SetSamplingFrequency(hz * Src.SpanDivisor() * Len);
  Dest.SetBandWidthL(low);
  if (CopyMarks) {
    Dest.Marks().Clear();
    const double high = low + Len * hz;
    for (int i = 0; i < Src.Marks().Count(); ++i) {
      const TMarkRecord& m = Src.Marks().Values(i);
      if (m.Freq >= low && m.Freq < high) Dest.Marks().Add(m);
    }
  }
}

}  // namespace sigflow
