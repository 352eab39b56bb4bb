#include "sigflow/processing/SignalFilter.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/FirDesign.h"
#include "sigflow/numeric/IirDesign.h"
#include "sigflow/numeric/RemezDesign.h"
#include "sigflow/processing/SignalFilterList.h"

namespace sigflow {

const TEnumInfo& ResponseTypeInfo() {
  static const TEnumInfo info("TResponseType",
                              {"rstUnit", "rstFIR", "rstDifferentiator", "rstDoubleDifferentiator", "rstIntegrator",
                               "rstDoubleIntegrator", "rstHilbert", "rstIIR", "rstSavGolay", "rstMovingAverage",
                               "rstMedian", "rstEnvelope", "rstWavelet"});
  return info;
}
const TEnumInfo& FirFilterMethodInfo() {
  static const TEnumInfo info("TFirFilterMethod", {"fimWindow", "fimParksMcClellan"});
  return info;
}
const TEnumInfo& IirMethodInfo() {
  static const TEnumInfo info("TIirMethod", {"imButterworth", "imChebyshevI", "imChebyshevII", "imElliptic",
                                             "imDcFilter", "imNotch", "imBessel"});
  return info;
}
const TEnumInfo& IirFrequencyTransformInfo() {
  static const TEnumInfo info("TIirFrequencyTransform",
                              {"iftStateSpaceAnalog", "iftZeroPoleAnalog", "iftZeroPoleDiscrete"});
  return info;
}
const TEnumInfo& FirWindowInfo() {
  static const TEnumInfo info("TFirWindow", {"fwRectangular", "fwHanning", "fwHamming", "fwFlatTop", "fwBartlet",
                                             "fwBlackman", "fwBlackmanHarris", "fwBlackmanExact",
                                             "fwCosineTappered", "fwKaiser", "fwChebyshev"});
  return info;
}
const TEnumInfo& WaveletTypeInfo() {
  static const TEnumInfo info("TWaveletType", {"wvDaublet", "wvCoiflet", "wvSymlet", "wvBSpline", "wvBSplineDual",
                                               "wvHaar", "wvVaidyanathan", "wvLinSpline", "wvQuadSpline"});
  return info;
}
const TEnumInfo& WaveletDecompInfo() {
  static const TEnumInfo info("TWaveletDecomp", {"wdApprox", "wdDetail"});
  return info;
}

TSignalFilter::TSignalFilter(TComponent* AOwner)
    : TSignal(AOwner),
      filters_(std::make_unique<TFilterList>(this)),
      fir_(std::make_unique<FirState>()),
      iir_(std::make_unique<IirState>()),
      median_(std::make_unique<MedianState>()),
      medianIm_(std::make_unique<MedianState>()),
      envelope_(std::make_unique<EnvelopeState>()),
      wavelet_state_(std::make_unique<WaveletState>()) {}

TSignalFilter::~TSignalFilter() {
  FirFree(*fir_);
  IirFree(*iir_);
  MedianFree(*median_);
  MedianFree(*medianIm_);
  EnvelopeFree(*envelope_);
}

const TPropertyTable& TSignalFilter::ClassProperties() {
  static const TPropertyTable table(
      &TSignal::ClassProperties(),
      {
          ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
          ObjectProperty("Filters", &TSignalFilter::Filters),
          EnumProperty("Response", &TSignalFilter::Response, &TSignalFilter::SetResponse, ResponseTypeInfo(), rstUnit),
          EnumProperty("FirMethod", &TSignalFilter::FirMethod, &TSignalFilter::SetFirMethod, FirFilterMethodInfo(),
                       fimWindow),
          EnumProperty("IirMethod", &TSignalFilter::IirMethod, &TSignalFilter::SetIirMethod, IirMethodInfo(),
                       imButterworth),
          EnumProperty("IIRFrequencyTransform", &TSignalFilter::IIRFrequencyTransform,
                       &TSignalFilter::SetIIRFrequencyTransform, IirFrequencyTransformInfo(), iftStateSpaceAnalog),
          EnumProperty("Window", &TSignalFilter::Window, &TSignalFilter::SetWindow, FirWindowInfo(), fwRectangular),
          Property("Beta", &TSignalFilter::Beta, &TSignalFilter::SetBeta, 4.0),
          Property("IgnoreAtt", &TSignalFilter::IgnoreAtt, &TSignalFilter::SetIgnoreAtt, false),
          Property("AutoFilterOrder", &TSignalFilter::AutoFilterOrder, &TSignalFilter::SetAutoFilterOrder, true),
          Property("FirLength", &TSignalFilter::FirLength, &TSignalFilter::SetFirLength, 1),
          Property("Order", &TSignalFilter::Order, &TSignalFilter::SetOrder, 0),
          Property("GridDensity", &TSignalFilter::GridDensity, &TSignalFilter::SetGridDensity, 16),
          Property("NormalizedFrequency", &TSignalFilter::NormalizedFrequency, &TSignalFilter::SetNormalizedFrequency,
                   2.0),
          Property("UseNormalizedFrequency", &TSignalFilter::UseNormalizedFrequency,
                   &TSignalFilter::SetUseNormalizedFrequency, true),
          EnumProperty("Wavelet", &TSignalFilter::Wavelet, &TSignalFilter::SetWavelet, WaveletTypeInfo(), wvDaublet),
          Property("WaveletP1", &TSignalFilter::WaveletP1, &TSignalFilter::SetWaveletP1, 4),
          Property("WaveletP2", &TSignalFilter::WaveletP2, &TSignalFilter::SetWaveletP2, 0),
          EnumProperty("WaveletDecomp", &TSignalFilter::WaveletDecomp, &TSignalFilter::SetWaveletDecomp,
                       WaveletDecompInfo(), wdApprox),
          Property("ExternalTaps", &TSignalFilter::ExternalTaps, &TSignalFilter::SetExternalTaps, false),
          Property("UpSample", &TSignalFilter::UpSample, &TSignalFilter::SetUpSample, 1),
          Property("UpDelay", &TSignalFilter::UpDelay, &TSignalFilter::SetUpDelay, 0),
          Property("DownSample", &TSignalFilter::DownSample, &TSignalFilter::SetDownSample, 1),
          Property("DownDelay", &TSignalFilter::DownDelay, &TSignalFilter::SetDownDelay, 0),
      });
  return table;
}

// ---------------------------------------------------------------------------- properties

void TSignalFilter::Changed() {
  SetDirty(true);
  ParamUpdate(this);
}

void TSignalFilter::InternalParamUpdate(TObject* Sender) {
  TSignal::InternalParamUpdate(Sender);
  prepared_ = false;
}

namespace {
template <class T>
bool Store(T& field, T value) {
  if (field == value) return false;
  field = value;
  return true;
}
}  // namespace

void TSignalFilter::SetResponse(TResponseType Value) {
  if (Store(response_, Value)) Changed();
}
void TSignalFilter::SetFirMethod(TFirFilterMethod Value) {
  if (Store(firMethod_, Value)) Changed();
}
void TSignalFilter::SetIirMethod(TIirMethod Value) {
  if (Store(iirMethod_, Value)) Changed();
}
void TSignalFilter::SetIIRFrequencyTransform(TIirFrequencyTransform Value) {
  if (Store(iirTransform_, Value)) Changed();
}
void TSignalFilter::SetWindow(TFirWindow Value) {
  if (Store(window_, Value)) Changed();
}
void TSignalFilter::SetBeta(double Value) {
  if (Store(beta_, Value)) Changed();
}
void TSignalFilter::SetIgnoreAtt(bool Value) {
  if (Store(ignoreAtt_, Value)) Changed();
}
void TSignalFilter::SetAutoFilterOrder(bool Value) {
  if (Store(autoFilterOrder_, Value)) Changed();
}

void TSignalFilter::SetFirLength(int Value) {
  Value = std::clamp(Value, 1, 10000);
  if (response_ == rstSavGolay && Value % 2 == 0) Value = Value < 10000 ? Value + 1 : Value - 1;
  if (Store(firLength_, Value)) Changed();
  if (response_ == rstSavGolay) SetOrder(order_);
}

void TSignalFilter::SetOrder(int Value) {
  Value = response_ == rstSavGolay ? std::clamp(Value, 0, firLength_ - 1) : std::clamp(Value, 1, 50);
  if (Store(order_, Value)) Changed();
}

void TSignalFilter::SetGridDensity(int Value) {
  if (Store(gridDensity_, Value)) Changed();
}
void TSignalFilter::SetNormalizedFrequency(double Value) {
  if (Store(normalizedFrequency_, Value)) Changed();
}
void TSignalFilter::SetUseNormalizedFrequency(bool Value) {
  if (Store(useNormalizedFrequency_, Value)) Changed();
}
void TSignalFilter::SetWavelet(TWaveletType Value) {
  if (Store(wavelet_, Value)) Changed();
}
void TSignalFilter::SetWaveletP1(int Value) {
  if (Store(waveletP1_, Value)) Changed();
}
void TSignalFilter::SetWaveletP2(int Value) {
  if (Store(waveletP2_, Value)) Changed();
}
void TSignalFilter::SetWaveletDecomp(TWaveletDecomp Value) {
  if (Store(waveletDecomp_, Value)) Changed();
}
void TSignalFilter::SetExternalTaps(bool Value) {
  if (Store(externalTaps_, Value)) Changed();
}

void TSignalFilter::SetUpSample(int Value) {
  bool changed = Store(upSample_, std::max(Value, 0));
  changed |= Store(upDelay_, std::clamp(upDelay_, 0, std::max(upSample_ - 1, 0)));
  if (changed) Changed();
}
void TSignalFilter::SetUpDelay(int Value) {
  if (Store(upDelay_, std::clamp(Value, 0, std::max(upSample_ - 1, 0)))) Changed();
}
void TSignalFilter::SetDownSample(int Value) {
  bool changed = Store(downSample_, std::max(Value, 0));
  changed |= Store(downDelay_, std::clamp(downDelay_, 0, std::max(downSample_ - 1, 0)));
  if (changed) Changed();
}
void TSignalFilter::SetDownDelay(int Value) {
  if (Store(downDelay_, std::clamp(Value, 0, std::max(downSample_ - 1, 0)))) Changed();
}

double TSignalFilter::DesignFrequency() const {
  if (useNormalizedFrequency_) return normalizedFrequency_;
  if (Input() != nullptr) return Input()->SamplingFrequency() * std::max(upSample_, 1);
  return SamplingFrequency();
}

// ---------------------------------------------------------------------------- design

namespace {

double PassDeviation(double rippleDb, double preset) { return rippleDb > 0 ? std::pow(10.0, rippleDb / 20) - 1 : preset; }
double StopDeviation(double attDb, double presetDb) { return std::pow(10.0, -(attDb > 0 ? attDb : presetDb) / 20); }

// The shape a 2- or 3-band template describes, with the edges of its transitions (Hz) and
// the strictest ripple and attenuation it asks for.
struct TBandShape {
  TFilterType Type = ftLowpass;
  std::vector<double> Edges;  // lower and upper edge of each transition
  double PassRippleDb = 0;    // 0: none given
  double StopAttDb = 0;       // 0: none given
};

TBandShape ShapeOf(const TBandFilterList& bands, const char* designName) {
  const int n = bands.Count();
  if (n != 2 && n != 3) throw Exception(std::string(designName) + ": 2 or 3 bands required!");
  TBandShape s;
  if (n == 2) s.Type = bands.Items(0)->Gain == 0 ? ftHighpass : ftLowpass;
  else s.Type = bands.Items(1)->Gain == 0 ? ftBandstop : ftBandpass;
  for (int i = 0; i + 1 < n; ++i) {
    s.Edges.push_back(bands.Items(i)->StopFrequency);
    s.Edges.push_back(bands.Items(i + 1)->StartFrequency);
  }
  for (int i = 0; i < n; ++i) {
    const TBandFilterRecord& b = *bands.Items(i);
    if (b.Ripple <= 0) continue;
    if (b.Gain == 0) s.StopAttDb = std::max(s.StopAttDb, b.Ripple);
    else s.PassRippleDb = s.PassRippleDb > 0 ? std::min(s.PassRippleDb, b.Ripple) : b.Ripple;
  }
  return s;
}

void SetRealTaps(TVec& taps, const std::vector<double>& values) {
  taps.Size(static_cast<int>(values.size()), false);
  std::copy(values.begin(), values.end(), taps.Data());
}

}  // namespace

void TSignalFilter::RequireTemplate() const {
  if (filters_->Templates()->Count() < 1) throw Exception("Filters.Templates.Count < 1");
}

void TSignalFilter::ApplyChanges() {
  taps_.SetLength(0);
  taps_.SetComplex(false);
  const bool window = firMethod_ == fimWindow;
  switch (response_) {
    case rstUnit: break;
    case rstFIR: window ? ComputeWindowOrIIr() : ComputeParksMcClellan(); break;
    case rstDifferentiator: window ? ComputeWindowDiff() : ComputeParksDiff(); break;
    case rstDoubleDifferentiator: ComputeParksDiff2(); break;
    case rstIntegrator: ComputeParksIntegrator(); break;
    case rstDoubleIntegrator: ComputeParksIntegrator2(); break;
    case rstHilbert: window ? ComputeWindowHilbert() : ComputeParksHilbert(); break;
    case rstIIR: ComputeIirFilter(); break;
    case rstSavGolay: SetRealTaps(taps_, SavGolayImpulse(firLength_, order_)); break;
    case rstMovingAverage: SetRealTaps(taps_, MovingAverageImpulse(firLength_)); break;
    case rstMedian:
    case rstEnvelope:
    case rstWavelet: break;
  }
}

void TSignalFilter::ComputeWindowOrIIr() {
  taps_.SetLength(0);
  Bands()->Sort();
  const TBandShape s = ShapeOf(*Bands(), "Windowed filter design");
  const double deviation =
      std::min(PassDeviation(s.PassRippleDb, defaultRipple_), StopDeviation(s.StopAttDb, defaultAttenuation_));
  ComputeWindowFilter(s.Edges, s.Type, deviation, DesignFrequency());
}

namespace {
double WindowParameter(TFirWindow window, double beta, bool ignoreAtt, double attDb) {
  switch (window) {
    case fwKaiser: return ignoreAtt ? beta : KaiserBetaFir(attDb);
    case fwChebyshev: return attDb;
    // Beta's default 4 maps to the classic Blackman window (alpha -0.16).
    case fwBlackman: return -beta / 25.0;
    default: return 0.0;
  }
}
}  // namespace

void TSignalFilter::ComputeWindowFilter(const std::vector<double>& Edges, TFilterType Type, double Deviation,
                                        double Fs) {
  const double nyquist = Fs / 2;
  const double attDb = -20 * std::log10(Deviation);
  if (autoFilterOrder_ && window_ == fwKaiser) {
    int length = 1;
    for (std::size_t i = 0; i + 1 < Edges.size(); i += 2)
      length = std::max(length, KaiserFirLength(attDb, (Edges[i + 1] - Edges[i]) / nyquist));
    firLength_ = length;
  }
  firLength_ = std::clamp(firLength_, 3, 10000);
  // High-pass and band-stop responses pass Nyquist, which only an odd length can.
  if ((Type == ftHighpass || Type == ftBandstop) && firLength_ % 2 == 0)
    firLength_ = firLength_ < 10000 ? firLength_ + 1 : firLength_ - 1;
  std::vector<double> cutoffs;
  for (std::size_t i = 0; i + 1 < Edges.size(); i += 2) cutoffs.push_back((Edges[i] + Edges[i + 1]) / 2 / nyquist);
  SetRealTaps(taps_, FirImpulse(firLength_, cutoffs, Type, window_, WindowParameter(window_, beta_, ignoreAtt_, attDb)));
}

void TSignalFilter::ComputeParksMcClellan() {
  taps_.SetLength(0);
  Bands()->Sort();
  const TBandFilterList& bands = *Bands();
  std::vector<double> edges, desired, weight, deviation;
  for (int i = 0; i < bands.Count(); ++i) {
    const TBandFilterRecord& b = *bands.Items(i);
    edges.push_back(b.StartFrequency);
    edges.push_back(b.StopFrequency);
    desired.push_back(b.Gain);
    const double d = b.Gain == 0 ? StopDeviation(b.Ripple, defaultAttenuation_) : PassDeviation(b.Ripple, defaultRipple_);
    deviation.push_back(d);
    weight.push_back(1.0 / d);
  }
  const double fs = DesignFrequency();
  if (autoFilterOrder_) firLength_ = RemezLength(edges, deviation, fs);
  firLength_ = std::clamp(firLength_, 3, 10000);
  // A symmetric filter of even length is zero at Nyquist: a pass band there needs an odd one.
  if (!desired.empty() && desired.back() != 0 && firLength_ % 2 == 0)
    firLength_ = firLength_ < 10000 ? firLength_ + 1 : firLength_ - 1;
  SetRealTaps(taps_, remez(firLength_, edges, desired, weight, rmtMultiband, fs, gridDensity_));
}

void TSignalFilter::ComputeParksType(TRemezType Type) {
  RequireTemplate();
  taps_.SetLength(0);
  Bands()->Sort();
  const TBandFilterList& bands = *Bands();
  std::vector<double> edges, desired, weight;
  for (int i = 0; i < bands.Count(); ++i) {
    const TBandFilterRecord& b = *bands.Items(i);
    edges.push_back(b.StartFrequency);
    edges.push_back(b.StopFrequency);
    desired.push_back(b.Gain);
    weight.push_back(1.0 / (b.Gain == 0 ? StopDeviation(b.Ripple, defaultAttenuation_)
                                        : PassDeviation(b.Ripple, defaultRipple_)));
  }
  firLength_ = std::clamp(firLength_, 3, 10000);
  SetRealTaps(taps_, remez(firLength_, edges, desired, weight, Type, DesignFrequency(), gridDensity_));
}

void TSignalFilter::ComputeParksDiff() { ComputeParksType(rmtDifferentiator); }
void TSignalFilter::ComputeParksDiff2() { ComputeParksType(rmtDoubleDifferentiator); }
void TSignalFilter::ComputeParksIntegrator() { ComputeParksType(rmtIntegrator); }
void TSignalFilter::ComputeParksIntegrator2() { ComputeParksType(rmtDoubleIntegrator); }
void TSignalFilter::ComputeParksHilbert() { ComputeParksType(rmtHilbert); }

namespace {
// The first band with a gain; the whole range when the template has none.
TBandFilterRecord FirstPassBand(const TBandFilterList& bands, double nyquist) {
  for (int i = 0; i < bands.Count(); ++i)
    if (bands.Items(i)->Gain != 0) return *bands.Items(i);
  TBandFilterRecord all;
  all.StopFrequency = nyquist;
  all.Gain = 1;
  return all;
}
}  // namespace

void TSignalFilter::ComputeWindowDiff() {
  RequireTemplate();
  taps_.SetLength(0);
  Bands()->Sort();
  const double nyquist = DesignFrequency() / 2;
  const TBandFilterRecord band = FirstPassBand(*Bands(), nyquist);
  const double cutoff[] = {std::min(band.StopFrequency / nyquist, 1.0)};
  firLength_ = std::clamp(firLength_, 3, 10000);
  std::vector<double> h = FirImpulse(firLength_, cutoff, ftDifferentiator, window_,
                                     WindowParameter(window_, beta_, true, defaultAttenuation_));
  for (double& v : h) v *= band.Gain;
  SetRealTaps(taps_, h);
}

void TSignalFilter::ComputeWindowHilbert() {
  RequireTemplate();
  taps_.SetLength(0);
  Bands()->Sort();
  const double nyquist = DesignFrequency() / 2;
  const TBandFilterRecord band = FirstPassBand(*Bands(), nyquist);
  std::vector<double> cutoffs;
  if (band.StartFrequency > 0) cutoffs.push_back(band.StartFrequency / nyquist);
  cutoffs.push_back(band.StopFrequency / nyquist);
  firLength_ = std::clamp(firLength_, 3, 10000);
  std::vector<double> h =
      FirImpulse(firLength_, cutoffs, ftHilbert, window_, WindowParameter(window_, beta_, true, defaultAttenuation_));
  for (double& v : h) v *= band.Gain;
  SetRealTaps(taps_, h);
}

void TSignalFilter::ComputeIirFilter() {
  taps_.SetLength(0);
  Bands()->Sort();
  const double nyquist = DesignFrequency() / 2;
  const TBandFilterList& bands = *Bands();
  std::vector<double> sos;
  if (iirMethod_ == imDcFilter || iirMethod_ == imNotch) {
    // The first stop band places the zero: at DC for the blocker, at its centre for the notch.
    int stop = -1;
    for (int i = 0; i < bands.Count() && stop < 0; ++i)
      if (bands.Items(i)->Gain == 0) stop = i;
    if (stop < 0) throw Exception("IIR filter design: a stop band is required!");
    const TBandFilterRecord& b = *bands.Items(stop);
    if (iirMethod_ == imDcFilter) {
      const double edge = stop + 1 < bands.Count() ? (b.StopFrequency + bands.Items(stop + 1)->StartFrequency) / 2
                                                   : b.StopFrequency;
      sos = DcFilter(edge / nyquist);
    } else {
      const double w0 = (b.StartFrequency + b.StopFrequency) / 2 / nyquist;
      sos = NotchFilter(w0, w0 / ((b.StopFrequency - b.StartFrequency) / nyquist));
    }
    SetRealTaps(taps_, sos);
    return;
  }
  const TBandShape s = ShapeOf(bands, "IIR filter design");
  const double rp = s.PassRippleDb > 0 ? s.PassRippleDb : 20 * std::log10(1 + defaultRipple_);
  const double rs = s.StopAttDb > 0 ? s.StopAttDb : defaultAttenuation_;
  std::vector<double> e;
  for (double f : s.Edges) e.push_back(f / nyquist);
  std::vector<double> wp, ws;
  switch (s.Type) {
    case ftLowpass: wp = {e[0]}; ws = {e[1]}; break;
    case ftHighpass: wp = {e[1]}; ws = {e[0]}; break;
    case ftBandpass: wp = {e[1], e[2]}; ws = {e[0], e[3]}; break;
    default: wp = {e[0], e[3]}; ws = {e[1], e[2]}; break;
  }
  TIirOrder o{order_, iirMethod_ == imChebyshevII ? ws : wp};
  if (autoFilterOrder_) {
    switch (iirMethod_) {
      case imButterworth: o = ButterOrder(wp, ws, rp, rs); break;
      case imChebyshevI: o = ChebyshevIOrder(wp, ws, rp, rs); break;
      case imChebyshevII: o = ChebyshevIIOrder(wp, ws, rp, rs); break;
      case imElliptic: o = EllipticOrder(wp, ws, rp, rs); break;
      default: break;
    }
  }
  order_ = std::clamp(o.Order, 1, 50);
  switch (iirMethod_) {
    case imButterworth: sos = ButterFilter(order_, o.Wn, s.Type, iirTransform_); break;
    case imChebyshevI: sos = ChebyshevIFilter(order_, rp, o.Wn, s.Type, iirTransform_); break;
    case imChebyshevII: sos = ChebyshevIIFilter(order_, rs, o.Wn, s.Type, iirTransform_); break;
    case imElliptic: sos = EllipticFilter(order_, rp, rs, o.Wn, s.Type, iirTransform_); break;
    default: sos = BesselFilter(order_, o.Wn, s.Type, iirTransform_); break;
  }
  SetRealTaps(taps_, sos);
}

// ---------------------------------------------------------------------------- run time

bool TSignalFilter::IsFirResponse() const {
  return (response_ >= rstFIR && response_ <= rstHilbert) || response_ == rstSavGolay ||
         response_ == rstMovingAverage;
}

void TSignalFilter::Prepare() {
  if (prepared_) return;
  if (!externalTaps_) ApplyChanges();
  prepared_ = Init();
}

bool TSignalFilter::Init() {
  stateComplex_ = dataComplex_;
  FirFree(*fir_);
  switch (response_) {
    case rstUnit: return true;
    case rstEnvelope: EnvelopeInit(*envelope_, firLength_); return true;
    case rstIIR:
      if (taps_.Length() < 1 || Input() == nullptr || taps_.Complex()) return false;
      IirInit(*iir_, taps_.Span(), stateComplex_);
      return true;
    case rstMedian:
      MedianInit(*median_, firLength_);
      if (stateComplex_) MedianInit(*medianIm_, firLength_);
      return true;
    case rstWavelet:
      WaveletInit(*wavelet_state_, static_cast<std::size_t>(Input() ? Input()->Length() : 0), waveletP1_,
                  waveletP2_, order_, wavelet_);
      return true;
    default: break;
  }
  if (taps_.Length() < 1 || Input() == nullptr) return false;
  if (taps_.Complex())
    FirInit(*fir_, std::span<const std::complex<double>>(taps_.CData(), std::size_t(taps_.Length())), stateComplex_,
            upSample_, upDelay_, downSample_, downDelay_);
  else
    FirInit(*fir_, taps_.Span(), stateComplex_, upSample_, upDelay_, downSample_, downDelay_);
  return true;
}

void TSignalFilter::Process(const TVec& Src, TVec& Dst) {
  const TVec* src = &Src;
  if (&Src == &Dst) {
    scratch_.Copy(Src);
    src = &scratch_;
  }
  dataComplex_ = src->Complex();
  // A change of data kind is a change of the filter: it restarts like one.
  if (prepared_ && dataComplex_ != stateComplex_) prepared_ = false;
  Prepare();
  const std::size_t n = static_cast<std::size_t>(src->Length());
  if (!prepared_ || response_ == rstUnit) {
    if (src != &Dst) Dst.Copy(*src);
    return;
  }
  if (IsFirResponse()) {
    const bool complexOut = fir_->ComplexData || fir_->ComplexImpulse;
    Dst.Size(static_cast<int>(FirOutputCount(*fir_, n)), complexOut);
    if (src->Complex())
      FirFilter(*fir_, std::span<const std::complex<double>>(src->CData(), n), Dst.CSpan());
    else if (complexOut)
      FirFilter(*fir_, src->Span(), Dst.CSpan());
    else
      FirFilter(*fir_, src->Span(), Dst.Span());
    return;
  }
  switch (response_) {
    case rstIIR:
      Dst.Size(static_cast<int>(n), src->Complex());
      if (src->Complex()) IirFilter(*iir_, std::span<const std::complex<double>>(src->CData(), n), Dst.CSpan());
      else IirFilter(*iir_, src->Span(), Dst.Span());
      break;
    case rstMedian:
      if (!src->Complex()) {
        Dst.Size(static_cast<int>(n), false);
        MedianFilter(*median_, src->Span(), Dst.Span());
      } else {
        // Real and imaginary parts run through medians of their own.
        re_.resize(n), im_.resize(n), reOut_.resize(n), imOut_.resize(n);
        const TCplx* x = src->CData();
        for (std::size_t i = 0; i < n; ++i) re_[i] = x[i].real(), im_[i] = x[i].imag();
        MedianFilter(*median_, re_, reOut_);
        MedianFilter(*medianIm_, im_, imOut_);
        Dst.Size(static_cast<int>(n), true);
        TCplx* y = Dst.CData();
        for (std::size_t i = 0; i < n; ++i) y[i] = TCplx(reOut_[i], imOut_[i]);
      }
      break;
    case rstEnvelope:
      if (src->Complex()) throw Exception("Envelope detector: complex input not supported");
      Dst.Size(static_cast<int>(n), false);
      EnvelopeDetector(*envelope_, src->Span(), Dst.Span(), firLength_);
      break;
    default:  // rstWavelet leaves Dst as it is
      break;
  }
}

double TSignalFilter::ProcessSample(double x) {
  Prepare();
  if (!prepared_) return x;
  if (fir_->ComplexImpulse) throw Exception("FirState.ComplexImpulse = True!");
  if (!fir_->Initialized) return x;
  return nspdFir(*fir_, x);
}

bool TSignalFilter::InternalUpdate() {
  TSignal* in = Input();
  if (in == nullptr) return true;
  SetSamplingFrequency(downSample_ > 0 ? upSample_ * in->SamplingFrequency() / downSample_ : 0.0);
  Process(in->Data(), Data());
  return true;
}

void TSignalFilter::Assign(TPersistent* Source) {
  TSignal::Assign(Source);
  if (auto* src = dynamic_cast<TSignalFilter*>(Source)) taps_.Copy(src->taps_);
  prepared_ = false;
}

void TSignalFilter::DefineProperties(TFiler& Filer) {
  TSignal::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "TapsData", [this](TStream& s) { taps_.LoadFromStream(s); }, [this](TStream& s) { taps_.SaveToStream(s); },
      externalTaps_ && taps_.Length() > 0);
}

// ---------------------------------------------------------------------------- registry

TAnalysis* TSignalFilterList::AddItem() { return new TSignalFilter(this); }

void RegisterSignalFilterClasses() {
  RegisterComponentClass<TSignalFilter>("TSignalFilter");
  RegisterComponentClass<TSignalFilterList>("TSignalFilterList");
}

namespace {
const bool registered = (RegisterSignalFilterClasses(), true);
}  // namespace

}  // namespace sigflow
