#include "sigflow/analysis/SpectrumAnalyzer.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <numbers>

#include "sigflow/analysis/SpectrumAnalyzerList.h"
#include "sigflow/analysis/SpectrumBandsAnalyzer.h"
#include "sigflow/analysis/SpectrumPeaksAnalyzer.h"
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/numeric/AutoRegressive.h"
#include "sigflow/numeric/Correlation.h"
#include "sigflow/numeric/Math.h"
#include "sigflow/numeric/TwoSided.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

namespace {
bool FiniteMode(TAveraging a) { return a == avLinear || a == avPeakHold || a == avCplxLinear; }
bool ComplexMode(TAveraging a) { return a == avCplxLinear || a == avCplxLinearInf || a == avCplxExponentInf; }
}  // namespace

TSpectrumAnalyzer::TSpectrumAnalyzer(TComponent* AOwner) : TSpectrum(AOwner) {
  // The band analyzer reads the peaks (fnNthPeak, fnOrder), so the peaks come first.
  peaks_ = new TSpectrumPeaksAnalyzer(this, this);
  bands_ = new TSpectrumBandsAnalyzer(this, this, peaks_);
  czt_ = new TSpectrumCZT(this);
  spectrum_.SetComplex(true);
  spectrumType_ = stAmplt;
  logarithmic_ = false;
  logType_ = ltAbsolute;
  scaleFactor_ = 1.0;
  logSpan_ = ls120;
  spanDb_ = 120;
  autoCalculate_ = false;
  expDecay_ = 5;
  averaged_ = 0;
  sidelobeAtt_ = 40;
  dcDump_ = true;
  calcStdDev_ = false;
  arOrder_ = 100;
  method_ = smFFT;
  expWindow_ = 0.01;
  averages_ = 30;
  unwrapPhase_ = false;
  runningPhase_ = rpConstPhase;
}

TSpectrumAnalyzer::~TSpectrumAnalyzer() {
  delete bands_;
  delete peaks_;
  delete czt_;
  delete cplxAvg_;
  delete impulse_;
  delete stdDev_;
  delete prevAvg_;
  delete avg_;
}

const TPropertyTable& TSpectrumAnalyzer::ClassProperties() {
  using A = TSpectrumAnalyzer;
  // Averaged after the setters that reset it, AutoCalculate last so a copy never recomputes
  // half way.
  static const TPropertyTable table(&TSpectrum::ClassProperties(), {
      ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
      EnumProperty("Method", &A::Method, &A::SetMethod, SpectrumMethodInfo(), smFFT),
      Property("AROrder", &A::AROrder, &A::SetAROrder, 100),
      EnumProperty("Window", &A::Window, &A::SetWindow, SignalWindowTypeInfo(), wtRectangular),
      Property("SidelobeAtt", &A::SidelobeAtt, &A::SetSidelobeAtt, 40.0),
      Property("ExpWindow", &A::ExpWindow, &A::SetExpWindow, 0.01),
      Property("DCDump", &A::DCDump, &A::SetDCDump, true),
      EnumProperty("SpectrumType", &A::SpectrumType, &A::SetSpectrumType, SpectrumTypeInfo(), stAmplt),
      Property("Logarithmic", &A::Logarithmic, &A::SetLogarithmic, false),
      EnumProperty("LogType", &A::LogType, &A::SetLogType, LogTypeInfo(), ltAbsolute),
      EnumProperty("LogSpan", &A::LogSpan, &A::SetLogSpan, LogSpanInfo(), ls120),
      Property("ScaleFactor", &A::ScaleFactor, &A::SetScaleFactor, 1.0),
      EnumProperty("Integration", &A::Integration, &A::SetIntegration, IntegrationInfo(), inNone),
      EnumProperty("Averaging", &A::Averaging, &A::SetAveraging, AveragingInfo(), avNone),
      Property("Averages", &A::Averages, &A::SetAverages, 30u),
      Property("ExpDecay", &A::ExpDecay, &A::SetExpDecay, 5),
      Property("CalcStdDev", &A::CalcStdDev, &A::SetCalcStdDev, false),
      Property("Averaged", &A::Averaged, &A::SetAveraged, 0u),
      Property("CrossSpectral", &A::CrossSpectral, &A::SetCrossSpectral, false),
      ComponentProperty("Output", &A::Output, &A::SetOutput, "TSignal"),
      Property("UnwrapPhase", &A::UnwrapPhase, &A::SetUnwrapPhase, false),
      EnumProperty("RunningPhase", &A::RunningPhase, &A::SetRunningPhase, RunningPhaseInfo(), rpConstPhase),
      EnumProperty("PhaseRange", &A::PhaseRange, &A::SetPhaseRange, PhaseRangeInfo(), prPiPi),
      Property("RealCepstrum", &A::RealCepstrum, &A::SetRealCepstrum, false),
      Property("ConjFlip", &A::ConjFlip, &A::SetConjFlip, true),
      Property("ConjExtend", &A::ConjExtend, &A::SetConjExtend, false),
      ObjectProperty("CZT", &A::CZT),
      ObjectProperty("Peaks", &A::Peaks),
      ObjectProperty("Bands", &A::Bands),
      Property("AutoCalculate", &A::AutoCalculate, &A::SetAutoCalculate, false),
  });
  return table;
}

// ------------------------------------------------------------------ setters

template <class T>
void TSpectrumAnalyzer::Change(T& Field, T Value) {
  if (Field == Value) return;
  Field = Value;
  SetDirty(true);
  if (autoCalculate_) Update();
}

void TSpectrumAnalyzer::SetMethod(TSpectrumMethod Value) {
  if (Value == method_) return;
  realCepstrum_ = Value == smRealCepstrum;
  Change(method_, Value);
}
void TSpectrumAnalyzer::SetAROrder(int Value) { Change(arOrder_, Value); }
void TSpectrumAnalyzer::SetWindow(TSignalWindowType Value) { Change(window_, Value); }
void TSpectrumAnalyzer::SetSidelobeAtt(double Value) { Change(sidelobeAtt_, Value); }
void TSpectrumAnalyzer::SetExpWindow(double Value) { Change(expWindow_, Value); }
void TSpectrumAnalyzer::SetDCDump(bool Value) { Change(dcDump_, Value); }
void TSpectrumAnalyzer::SetSpectrumType(TSpectrumType Value) { Change(spectrumType_, Value); }
void TSpectrumAnalyzer::SetLogarithmic(bool Value) { Change(logarithmic_, Value); }
void TSpectrumAnalyzer::SetLogType(TLogType Value) { Change(logType_, Value); }
void TSpectrumAnalyzer::SetLogSpan(TLogSpan Value) {
  if (Value == logSpan_) return;
  spanDb_ = LogSpanToDb(Value);
  Change(logSpan_, Value);
}
void TSpectrumAnalyzer::SetScaleFactor(double Value) { Change(scaleFactor_, Value); }
void TSpectrumAnalyzer::SetCrossSpectral(bool Value) { Change(crossSpectral_, Value); }
void TSpectrumAnalyzer::SetUnwrapPhase(bool Value) { Change(unwrapPhase_, Value); }
void TSpectrumAnalyzer::SetRunningPhase(TRunningPhase Value) { Change(runningPhase_, Value); }
void TSpectrumAnalyzer::SetPhaseRange(TPhaseRange Value) { Change(phaseRange_, Value); }

void TSpectrumAnalyzer::SetRealCepstrum(bool Value) {
  if (Value == realCepstrum_) return;
  realCepstrum_ = Value;
  if (Value) method_ = smRealCepstrum;
  else if (method_ == smRealCepstrum) method_ = smFFT;
  SetDirty(true);
  if (autoCalculate_) Update();
}

void TSpectrumAnalyzer::SetOutput(TSignal* Value) {
  if (Value == output_ || BlockAssign()) return;
  if (output_) output_->RemoveFreeNotification(this);
  output_ = Value;
  if (Value) Value->FreeNotification(this);
  SetDirty(true);
  if (autoCalculate_) Update();
}

void TSpectrumAnalyzer::SetIntegration(TIntegration Value) {
  if (Value == integration_) return;
  integration_ = Value;
  averaged_ = 0;
  SetDirty(true);
}

void TSpectrumAnalyzer::SetAveraging(TAveraging Value) {
  if (Value == averaging_) return;
  averaging_ = Value;
  averaged_ = 0;
  SetDirty(true);
}

void TSpectrumAnalyzer::SetExpDecay(int Value) {
  if (Value == expDecay_) return;
  SetDirty(true);
  averaged_ = 0;
  expDecay_ = std::max(Value, 1);
}

void TSpectrumAnalyzer::SetAveraged(std::uint32_t Value) {
  if (Value == averaged_) return;
  averaged_ = Value;
  SetDirty(true);
}

void TSpectrumAnalyzer::SetCalcStdDev(bool Value) {
  if (Value == calcStdDev_) return;
  calcStdDev_ = Value;
  if (Value) averaged_ = 0;
}

void TSpectrumAnalyzer::ResetAveraging() {
  averaged_ = 0;
  if (autoCalculate_) Update();
}

void TSpectrumAnalyzer::SeTSpectrumCZT(const TSpectrumCZT* Value) {
  if (Value) czt_->Assign(const_cast<TSpectrumCZT*>(Value));
}

void TSpectrumAnalyzer::SetStdDev(TSpectrum* Value) {
  if (Value && stdDev_ && Value != stdDev_) stdDev_->Assign(Value);
}

void TSpectrumAnalyzer::SetKeepImpulseResponse(bool Value) {
  if (Value && !impulse_) impulse_ = new TVec();
  if (!Value) {
    delete impulse_;
    impulse_ = nullptr;
  }
}

void TSpectrumAnalyzer::Notification(TComponent* AComponent, TOperation Operation) {
  if (Operation == opRemove && AComponent != nullptr) {
    if (AComponent == output_) output_ = nullptr;
    if (AComponent == lastOutput_) lastOutput_ = nullptr;
    if (AComponent == lastInput_) lastInput_ = nullptr;
  }
  TSpectrum::Notification(AComponent, Operation);
}

void TSpectrumAnalyzer::Assign(TPersistent* Source) {
  TSpectrum::Assign(Source);
  auto* src = dynamic_cast<TSpectrumAnalyzer*>(Source);
  if (src == nullptr || src == this) return;
  // The published copy went through setters that reset or clamp; take the exact state.
  averaged_ = src->averaged_;
  expDecay_ = src->expDecay_;
  spanDb_ = src->spanDb_;
  czt_->Assign(src->czt_);
}

// ------------------------------------------------------------------ queries

TSignal* TSpectrumAnalyzer::Source() const {
  if (!MultiChannel()) return Input();
  if (Inputs() && Inputs()->Count() > 0) return Inputs()->Items(0)->Input();
  return nullptr;
}

double TSpectrumAnalyzer::WindowScaleFactor() const {
  if (method_ != smFFT && method_ != smCZT) return 1.0;
  switch (window_) {
    case wtRectangular: return 1.0;
    case wtHanning:
    case wtBartlett: return 2.0;
    case wtHamming: return 1.85185185;
    case wtFlatTop: return 3.55790978;
    case wtBlackman: return 2.38095238;
    case wtBlackmanHarris: return 2.362782;
    case wtExactBlackman: return 2.344168;
    case wtCosineTapered: return taperFactor_;
    case wtKaiser: return kaiserFactor_;
    case wtChebyshev: return chebyshevFactor_;
    case wtExponential: return 2.55832615;
  }
  return 1.0;
}

namespace {
double Sinc(double x) {
  const double px = std::numbers::pi * x;
  return std::abs(px) < 1e-12 ? 1.0 : std::sin(px) / px;
}

// Transform of a periodic cosine-sum window over its own bins, sum a0 + sum am/2 shifted pairs.
double CosineSumKernel(double d, std::initializer_list<double> a) {
  double v = 0;
  int m = 0;
  for (double c : a) {
    v += m == 0 ? c * Sinc(d) : 0.5 * c * (Sinc(d - m) + Sinc(d + m));
    ++m;
  }
  return std::abs(v / *a.begin());
}
}  // namespace

double TSpectrumAnalyzer::EstimateKernel(double Offset) const {
  if (method_ != smFFT || !(zeroPaddingRatio_ > 0)) return TSpectrum::EstimateKernel(Offset);
  const double d = Offset / zeroPaddingRatio_;  // in bins of the unpadded frame
  switch (window_) {
    case wtRectangular: return std::abs(Sinc(d));
    case wtHanning: return CosineSumKernel(d, {0.5, 0.5});
    case wtHamming: return CosineSumKernel(d, {0.54, 0.46});
    case wtFlatTop: return CosineSumKernel(d, {0.2810639, 0.5208972, 0.1980399});
    case wtBlackman: return CosineSumKernel(d, {0.42, 0.5, 0.08});
    case wtBlackmanHarris: return CosineSumKernel(d, {0.42323, 0.49755, 0.07922});
    case wtExactBlackman: return CosineSumKernel(d, {7938.0 / 18608.0, 9240.0 / 18608.0, 1430.0 / 18608.0});
    case wtBartlett: {
      const double s = Sinc(0.5 * d);
      return s * s;
    }
    default: break;
  }
  const int n = windowVec_.Length();
  if (n == 0) return std::abs(Sinc(d));
  const double* w = windowVec_.Data();
  double re = 0, im = 0, sum = 0;
  for (int i = 0; i < n; ++i) {
    const double t = -2 * std::numbers::pi * d * i / n;
    re += w[i] * std::cos(t);
    im += w[i] * std::sin(t);
    sum += w[i];
  }
  return sum != 0 ? std::hypot(re, im) / std::abs(sum) : std::abs(Sinc(d));
}

bool TSpectrumAnalyzer::HostComplexSpectrumValid() const {
  return spectrum_.Length() > 0 && (averaging_ == avNone || averaged_ <= 1);
}

bool TSpectrumAnalyzer::StatisticsIsValid() const {
  return spectrumType_ == stAmplt && !logarithmic_ && ZeroPadding() == 1;
}

void TSpectrumAnalyzer::EnableStatistics() {
  SetSpectrumType(stAmplt);
  SetLogarithmic(false);
  Update();
}

double TSpectrumAnalyzer::ConvergeToMaximum(double Freq) {
  const int n = Amplt().Length();
  if (n == 0 || !(HzRes() > 0)) return Freq;
  int bin = int(std::lround((Freq - BandWidthL()) / HzRes()));
  int last = n - 1;
  if (MaxFreqIndex() >= 0) last = std::min(last, MaxFreqIndex());
  bin = std::clamp(bin, 0, last);
  const double* a = Amplt().Data();
  // Climb towards the larger neighbour until neither is larger.
  while (true) {
    if (bin < last && a[bin + 1] > a[bin]) ++bin;
    else if (bin > 0 && a[bin - 1] > a[bin]) --bin;
    else break;
  }
  return BandWidthL() + bin * HzRes();
}

// ------------------------------------------------------------------ window

double TSpectrumAnalyzer::WindowParameter() const {
  switch (window_) {
    case wtCosineTapered: return 0.5;
    case wtKaiser: return KaiserBetaWindowAtt(sidelobeAtt_);
    case wtChebyshev: return sidelobeAtt_;
    case wtExponential: return expWindow_;
    default: return 0;
  }
}

void TSpectrumAnalyzer::RebuildWindow(int Length) {
  const double param = WindowParameter();
  if (Length == windowBuiltLength_ && window_ == windowBuiltType_ && param == windowBuiltParam_) return;
  SignalWindow(windowVec_, window_, Length, wsPeriodic, param);
  windowBuiltLength_ = Length;
  windowBuiltType_ = window_;
  windowBuiltParam_ = param;
  const double factor = Length > 0 ? 1.0 / windowVec_.Mean() : 1.0;
  if (window_ == wtCosineTapered) taperFactor_ = factor;
  else if (window_ == wtKaiser) kaiserFactor_ = factor;
  else if (window_ == wtChebyshev) chebyshevFactor_ = factor;
}

void TSpectrumAnalyzer::SetWindowType(TSignalWindowType Value) {
  window_ = Value;
  TSignal* src = Source();
  if (src && Value != wtRectangular) RebuildWindow(src->Data().Length());
}

void TSpectrumAnalyzer::ApplyWindow(int Index, int Len) {
  if (window_ == wtRectangular) return;
  RebuildWindow(Len);
  sigflow::ApplyWindow(frame_, windowVec_, Index);
}

// ------------------------------------------------------------------ method step

void TSpectrumAnalyzer::ApplySpectrumMethod(int TargetLength, TVec* Dest) {
  TSignal* src = Source();
  if (src == nullptr) throw Exception("Input = nil");
  RunMethod(src, TargetLength, Dest ? *Dest : spectrum_, false);
}

void TSpectrumAnalyzer::Spectrum(TVec& Dest) {
  TSignal* src = Source();
  if (src == nullptr || src->Data().Length() == 0) return;
  RunMethod(src, src->Data().Length(), Dest, false);
  Dest.Scale(amplitudeFactor_);
}

void TSpectrumAnalyzer::RunMethod(TSignal* Src, int TargetLength, TVec& Dest, bool KeepNyquist) {
  const int n = Src->Data().Length();
  if (TargetLength < n) throw Exception("TargetLength < Input.Length");
  switch (method_) {
    case smFFT: MethodFFT(Src, TargetLength, Dest); break;
    case smYuleWalker:
    case smBurg:
    case smCov:
    case smMCov: MethodAR(Src, Dest); break;
    case smCZT: MethodCZT(Src, Dest); break;
    case smRealCepstrum: MethodCepstrum(Src, TargetLength, Dest); break;
  }
  FinishTwoSided(Src, Dest, KeepNyquist);
}

// Zero-padded, DC-free, windowed frame of the smallest power of two not below the target
// length, times ZeroPadding.
static int PrepareLength(int TargetLength, int ZeroPadding) {
  return int(SmallestExp2(std::max(TargetLength, 1))) * ZeroPadding;
}

void TSpectrumAnalyzer::MethodFFT(TSignal* Src, int TargetLength, TVec& Dest) {
  const TVec& x = Src->Data();
  const int n = x.Length();
  const int L = PrepareLength(TargetLength, ZeroPadding());
  transformLength_ = L;
  zeroPaddingRatio_ = double(L) / n;
  frame_.Size(L, x.Complex());
  frame_.Copy(x, 0, 0, n);
  frame_.SetZero(n, L - n);
  if (dcDump_) frame_.RemoveDC(0, n);
  ApplyWindow(0, n);
  if (x.Complex()) frame_.FFT(Dest);
  else frame_.RealFFT(Dest);
}

void TSpectrumAnalyzer::MethodAR(TSignal* Src, TVec& Dest) {
  const TVec& x = Src->Data();
  const int n = x.Length();
  const bool cx = x.Complex();
  arWork_.Copy(x);
  if (dcDump_) arWork_.RemoveDC();
  const int p = std::max(0, method_ == smYuleWalker ? std::min(arOrder_, n) : std::min(arOrder_, n / 2));
  const int nc = p + 1;
  arCoef_.Size(nc, cx);
  switch (method_) {
    case smYuleWalker:
      arCorr_.Size(nc, cx);
      if (cx) {
        AutoCorrBiased(arWork_.CSpan(), arCorr_.CSpan());
        Levinson(arCorr_.CSpan(), arCoef_.CSpan(), std::span<TCplx>());
      } else {
        AutoCorrBiased(arWork_.Span(), arCorr_.Span());
        Levinson(arCorr_.Span(), arCoef_.Span(), std::span<double>());
      }
      break;
    case smBurg:
      arBurg_.Size(2 * n, cx);
      if (cx) ArBurg(arWork_.CSpan(), arCoef_.CSpan(), std::span<TCplx>(), arBurg_.CSpan());
      else ArBurg(arWork_.Span(), arCoef_.Span(), std::span<double>(), arBurg_.Span());
      break;
    default:
      if (cx) {
        auto m = method_ == smCov ? ArCovariance(arWork_.CSpan(), std::size_t(p)) : ArMCovariance(arWork_.CSpan(), std::size_t(p));
        for (int i = 0; i < nc; ++i) arCoef_.SetCValues(i, m.A[std::size_t(i)]);
      } else {
        auto m = method_ == smCov ? ArCovariance(arWork_.Span(), std::size_t(p)) : ArMCovariance(arWork_.Span(), std::size_t(p));
        for (int i = 0; i < nc; ++i) arCoef_.SetValues(i, m.A[std::size_t(i)]);
      }
      break;
  }
  const int L = PrepareLength(4 * nc, ZeroPadding());
  transformLength_ = L;
  zeroPaddingRatio_ = double(L) / nc;
  frame_.Size(L, cx);
  frame_.Copy(arCoef_, 0, 0, nc);
  frame_.SetZero(nc, L - nc);
  if (cx) frame_.FFT(Dest);
  else frame_.RealFFT(Dest);
  Dest.Inv();
  // The asymmetry between Yule-Walker and the other estimators is intended.
  if (method_ == smYuleWalker) Dest.Scale(arOrder_ / 2.0);
}

void TSpectrumAnalyzer::MethodCZT(TSignal* Src, TVec& Dest) {
  const TVec& x = Src->Data();
  const int n = x.Length();
  frame_.Copy(x);
  if (dcDump_) frame_.RemoveDC(0, n);
  ApplyWindow(0, n);
  const int points = czt_->Points();
  transformLength_ = points;
  zeroPaddingRatio_ = double(points) / n;
  if (points == 0) {
    Dest.Size(0, true);
    return;
  }
  cztPlan_.Init(n, points,
                CztZoomContour(czt_->StartFrequency(), czt_->FrequencyStep(), points, czt_->StartRadius(),
                               czt_->StopRadius(), Src->SamplingFrequency()));
  Czt(cztPlan_, frame_, Dest);
}

void TSpectrumAnalyzer::MethodCepstrum(TSignal* Src, int TargetLength, TVec& Dest) {
  const TVec& x = Src->Data();
  const int n = x.Length();
  const int L = PrepareLength(TargetLength, ZeroPadding());
  transformLength_ = L;
  zeroPaddingRatio_ = double(L) / n;
  frame_.Size(L, x.Complex());
  frame_.Copy(x, 0, 0, n);
  frame_.SetZero(n, L - n);
  if (dcDump_) frame_.RemoveDC(0, n);
  ApplyWindow(0, n);
  frame_.FFT(Dest);
  Dest.Mag();
  // Floor the magnitudes so a spectral zero gives a finite logarithm.
  Dest.ThreshBottom(1e-4);
  Dest.Ln();
  Dest.IFFT();
  Dest.Rotate(L / 2);
  if (window_ != wtRectangular) {
    if (cepWindow_.Length() != L || cepBuiltType_ != window_ || cepBuiltParam_ != windowBuiltParam_) {
      SignalWindow(cepWindow_, window_, L, wsPeriodic, windowBuiltParam_);
      cepBuiltType_ = window_;
      cepBuiltParam_ = windowBuiltParam_;
    }
    sigflow::ApplyWindow(Dest, cepWindow_, 0);
  }
  Dest.FFT();
}

void TSpectrumAnalyzer::FinishTwoSided(TSignal* Src, TVec& Dest, bool KeepNyquist) {
  const bool cx = Src->Data().Complex();
  const int L = transformLength_;
  rotated_ = false;
  twoSidedDoubled_ = false;
  oneSided_ = false;
  double bins = Dest.Length();
  if (method_ == smCZT) {
    // The zoom gives exactly the bins asked for; a real signal shows one side.
    if (!cx) bins = Dest.Length() / 2.0;
  } else if (cx) {
    if (method_ != smRealCepstrum && ConjFlip()) {
      sigflow::ConjFlip(Dest.CSpan());
      rotated_ = true;
    }
  } else if (method_ != smRealCepstrum && ConjExtend()) {
    Dest.SetLength(L);
    twoSidedDoubled_ = TwoSidedSpectrum(Dest.CSpan(), false, ConjFlip(), true);
    rotated_ = !ConjFlip();
    bins = L;
  } else {
    Dest.SetLength(KeepNyquist ? L / 2 + 1 : L / 2);
    bins = L / 2;
    oneSided_ = true;
  }
  amplitudeFactor_ = bins > 0 ? WindowScaleFactor() * scaleFactor_ * zeroPaddingRatio_ / bins : 1.0;
}

// ------------------------------------------------------------------ update

void TSpectrumAnalyzer::BeforeInternalUpdate() {
  TSpectrum::BeforeInternalUpdate();
  TSignal* src = Source();
  if (src == nullptr) return;
  if (method_ == smCZT) {
    SetBandWidthL(src->BandWidthL() + czt_->StartFrequency());
    SetSamplingFrequency(2 * (czt_->StopFrequency() - czt_->StartFrequency()));
  } else if (src->Complex()) {
    if (ConjFlip()) SetBandWidthL(-src->SamplingFrequency() / 2);
  } else if (ConjExtend() && !ConjFlip()) {
    SetBandWidthL(src->BandWidthL() - src->SamplingFrequency() / 2);
  }
}

void TSpectrumAnalyzer::CrossSpectrum(TSignal* In, TSignal* Out) {
  const int target = std::max(In->Data().Length(), Out->Data().Length());
  const bool keepNyquist = impulse_ != nullptr && !In->Complex() && !ConjExtend() && method_ != smCZT &&
                           method_ != smRealCepstrum;
  RunMethod(Out, target, yWork_, keepNyquist);
  yWork_.Scale(amplitudeFactor_);
  RunMethod(In, target, spectrum_, keepNyquist);
  spectrum_.Scale(amplitudeFactor_);
  amplitudeFactor_ = 1.0;
  if (crossSpectral_) spectrum_.ConjMul(yWork_);
  else spectrum_.Divide(yWork_);
  if (impulse_) ComputeImpulseResponse(keepNyquist, rotated_);
  if (keepNyquist) spectrum_.SetLength(spectrum_.Length() - 1);
}

void TSpectrumAnalyzer::ComputeImpulseResponse(bool Real, bool Rotated) {
  if (Real) {
    spectrum_.RealIFFT(*impulse_, transformLength_);
    return;
  }
  impulse_->Copy(spectrum_);
  if (Rotated) impulse_->Rotate(impulse_->Length() / 2);
  impulse_->IFFT();
  if (lastInput_ && !lastInput_->Complex()) impulse_->RealPart(*impulse_);
}

bool TSpectrumAnalyzer::InternalUpdate() {
  TSignal* in = Source();
  if (in == nullptr || in->Data().Length() == 0) return true;
  if (FiniteMode(averaging_) && averaged_ >= averages_) return true;
  if (lastInput_ != in) lastInput_ = in;
  if (output_ == in) {
    // Cleared without the setter: it would recompute from inside this update.
    output_->RemoveFreeNotification(this);
    output_ = nullptr;
  }
  if (lastOutput_ != output_) lastOutput_ = output_;

  if (output_) CrossSpectrum(in, output_);
  else RunMethod(in, in->Data().Length(), spectrum_, false);
  if (twoSidedDoubled_) SetSamplingFrequency(2 * SamplingFrequency());

  if (onAfterComplexSpectrum_) onAfterComplexSpectrum_(this);
  if (ComplexMode(averaging_)) ComplexAveraging();
  else if (cplxAvg_) {
    delete cplxAvg_;
    cplxAvg_ = nullptr;
  }
  SetPhaseMode(PhaseMode());
  if (onBeforeSpectrumType_) onBeforeSpectrumType_(this);
  ApplySpectrumType();

  if (onBeforeAverage_) onBeforeAverage_(this);
  AmplitudeAveraging();
  if (onAfterAverage_) onAfterAverage_(this);
  if (avg_) {
    Amplt().Copy(avg_->Amplt());
    if (PhaseMode() != pmIgnore) Phase().Copy(avg_->Phase());
  }

  peakSamplingFrequency_ = SamplingFrequency();
  peakHzRes_ = HzRes();
  RunPeakStep();
  RunBandStep();

  if (logarithmic_ && spectrumType_ == stPower) Amplt().Sqrt();
  if (logarithmic_ && spectrumType_ != stRealImag) {
    referenceMax_ = Amplt().Length() > 0 ? Amplt().Max() : 0.0;
    LogAmplt(10, spanDb_, referenceMax_, logType_ == ltAbsolute);
    RunPeakLogStep();
  }
  MinMaxAmplt();
  // Without a phase (pmIgnore) the phase vector holds zeros: no need to scan it.
  if (PhaseMode() == pmIgnore && Phase().Length() > 0) {
    SetMinPhase(0);
    SetMaxPhase(0);
  } else {
    MinMaxPhase();
  }
  return true;
}

void TSpectrumAnalyzer::SetPeaks(TSpectrumPeaksAnalyzer* Value) {
  if (Value && Value != peaks_) peaks_->Assign(Value);
}

void TSpectrumAnalyzer::SetBands(TSpectrumBandsAnalyzer* Value) {
  if (Value && Value != bands_) bands_->Assign(Value);
}

double TSpectrumAnalyzer::PeakApproximate(double Freq) { return peaks_->Approximate(Freq); }

void TSpectrumAnalyzer::FilterPeak(int Index) { peaks_->Filter(Index); }

void TSpectrumAnalyzer::RunPeakStep() {
  if (onPeaksUpdate_) {
    onPeaksUpdate_(this);
  } else {
    peaks_->Update();
  }
}

void TSpectrumAnalyzer::RunBandStep() {
  if (onBandsUpdate_) {
    onBandsUpdate_(this);
  } else {
    bands_->Update();
  }
}

void TSpectrumAnalyzer::RunPeakLogStep() {
  peaks_->LogAmplt(10, spanDb_, referenceMax_, logType_ == ltAbsolute);
}

void TSpectrumAnalyzer::ApplySpectrumType() {
  const TVec& X = spectrum_;
  const int N = X.Length();
  const double f = amplitudeFactor_;
  TVec& amplt = Amplt();
  TVec& phase = Phase();
  amplt.Size(N, false);
  phase.Size(N, false);
  double* a = amplt.Data();
  double* p = phase.Data();
  if (spectrumType_ == stRealImag) {
    for (int i = 0; i < N; ++i) {
      const TCplx z = X.CValues(i);
      a[i] = z.real() * f;
      p[i] = z.imag() * f;
    }
    if (oneSided_ && method_ == smFFT && output_ == nullptr && N > 0) a[0] *= 0.5, p[0] *= 0.5;
    return;
  }
  double s = f;
  if (spectrumType_ == stRMS) s = f * std::numbers::sqrt2 / 2;
  else if (spectrumType_ == stDoubleAmplt) s = 2 * f;
  if (X.Complex()) {
    const TCplx* z = X.CData();
    for (int i = 0; i < N; ++i) a[i] = std::sqrt(z[i].real() * z[i].real() + z[i].imag() * z[i].imag()) * s;
  } else {
    const double* z = X.Data();
    for (int i = 0; i < N; ++i) a[i] = std::abs(z[i]) * s;
  }
  // One-sided scaling doubles every bin for the negative frequency it stands for; 0 Hz has
  // none, so it shows the DC level (as the spectrum's RMS and power sums expect).
  if (oneSided_ && method_ == smFFT && output_ == nullptr && N > 0) a[0] *= 0.5;
  if (PhaseMode() == pmIgnore) {
    phase.SetZero();
  } else {
    const double unit = PhaseUnits() == puDeg ? 180.0 / std::numbers::pi : 1.0;
    for (int i = 0; i < N; ++i) p[i] = std::arg(X.CValues(i)) * unit;
  }
  IntegrateSpectrum();
  if (spectrumType_ == stPower) amplt.Sqr();
  ApplyPhaseSpectrum();
}

void TSpectrumAnalyzer::IntegrateSpectrum() {
  switch (integration_) {
    case inNone: break;
    case inOnce: Integrate(); break;
    case inTwice: Integrate(); Integrate(); break;
    case diffOnce: Differentiate(); break;
    case diffTwice: Differentiate(); Differentiate(); break;
  }
}

void TSpectrumAnalyzer::ApplyPhaseSpectrum() {
  switch (PhaseMode()) {
    case pm360:
      if (unwrapPhase_) {
        const TSignal* in = lastInput_;
        const int n = in ? in->Data().Length() : 0;
        const double step = n > 1 ? n * zeroPaddingRatio_ / (n - 1) : 0.0;
        PhaseUnwrap(Phase().Span(), 180, PhaseUnits() == puRad, runningPhase_, step);
      }
      ApplyPhaseRange();
      break;
    case pmPhaseDelay: ComputePhaseDelay(); break;
    case pmGroupDelay: ComputeGroupDelay(); break;
    case pmIgnore: break;
  }
}

void TSpectrumAnalyzer::ApplyPhaseRange() {
  if (PhaseMode() != pm360 || phaseRange_ != prZeroTwoPi) return;
  Phase().Add(PhaseUnits() == puRad ? std::numbers::pi : 180.0);
}

void TSpectrumAnalyzer::PhaseToRadians(TVec& Dst) const {
  Dst.Copy(Phase());
  if (PhaseUnits() == puDeg) Dst.Scale(std::numbers::pi / 180);
  PhaseUnwrap(Dst.Span(), 180, true, rpConstPhase, 0);
}

void TSpectrumAnalyzer::ComputePhaseDelay() {
  PhaseToRadians(delayWork_);
  const int n = delayWork_.Length();
  double* p = Phase().Data();
  const double* phi = delayWork_.Data();
  for (int k = 0; k < n; ++k) {
    const double f = BandWidthL() + k * HzRes();
    p[k] = f != 0 ? -phi[k] / (2 * std::numbers::pi * f) : std::numeric_limits<double>::quiet_NaN();
  }
  // At 0 Hz the delay is the limit from the neighbouring bin.
  for (int k = 0; k < n; ++k)
    if (std::isnan(p[k]) && !std::isnan(phi[k])) p[k] = k + 1 < n ? p[k + 1] : (k > 0 ? p[k - 1] : 0.0);
}

void TSpectrumAnalyzer::ComputeGroupDelay() {
  PhaseToRadians(delayWork_);
  const int n = delayWork_.Length();
  double* p = Phase().Data();
  const double* phi = delayWork_.Data();
  const double w = 2 * std::numbers::pi * HzRes();
  if (n < 2 || !(w > 0)) {
    Phase().SetZero();
    return;
  }
  for (int k = 0; k < n; ++k) {
    const int lo = std::max(k - 1, 0), hi = std::min(k + 1, n - 1);
    p[k] = -(phi[hi] - phi[lo]) / (w * (hi - lo));
  }
}

// ------------------------------------------------------------------ averaging

void TSpectrumAnalyzer::FreeAveraging() {
  delete stdDev_;
  stdDev_ = nullptr;
  delete prevAvg_;
  prevAvg_ = nullptr;
  delete avg_;
  avg_ = nullptr;
}

void TSpectrumAnalyzer::ComplexAveraging() {
  if (!cplxAvg_) cplxAvg_ = new TVec(0, true);
  if (cplxAvg_->Length() != spectrum_.Length()) averaged_ = 0;
  if (averaged_ > 0) {
    const double N = averaging_ == avCplxExponentInf ? double(expDecay_) : double(averaged_) + 1;
    const double inv = 1.0 / N;
    TCplx* m = cplxAvg_->CData();
    const TCplx* x = spectrum_.CData();
    for (int i = 0; i < spectrum_.Length(); ++i) m[i] = (m[i] * (N - 1) + x[i]) * inv;
  } else {
    cplxAvg_->Copy(spectrum_);
  }
  averaged_ = averaged_ == std::numeric_limits<std::uint32_t>::max() ? 0 : averaged_ + 1;
  spectrum_.Copy(*cplxAvg_);
}

void TSpectrumAnalyzer::AmplitudeAveraging() {
  switch (averaging_) {
    case avNone:
      averaged_ = 0;
      FreeAveraging();
      return;
    case avCplxLinear:
    case avCplxLinearInf:
    case avCplxExponentInf:
      // The complex step already advanced the count; an amplitude average left from another
      // mode must not be copied over the result.
      FreeAveraging();
      return;
    case avLinearInf:
    case avExponentInf:
    case avLinear: LinearAveraging(); break;
    case avPeakHold:
    case avPeakHoldInf: HoldAveraging(true); break;
    case avMinHoldInf: HoldAveraging(false); break;
  }
  averaged_ = averaged_ == std::numeric_limits<std::uint32_t>::max() ? 0 : averaged_ + 1;
}

void TSpectrumAnalyzer::LinearAveraging() {
  if (!avg_) avg_ = new TSpectrum(nullptr);
  const int n = Amplt().Length();
  if (avg_->Amplt().Length() != n) averaged_ = 0;
  const std::uint32_t k = averaged_;
  if (k > 0) {
    const double N = averaging_ == avExponentInf ? double(expDecay_) : double(k) + 1;
    const bool sd = calcStdDev_ && stdDev_ && prevAvg_ && stdDev_->Amplt().Length() == n;
    if (sd) {
      prevAvg_->Amplt().Copy(avg_->Amplt());
      prevAvg_->Phase().Copy(avg_->Phase());
    }
    const double inv = 1.0 / N;
    auto step = [&](TVec& mean, const TVec& cur, const TVec* old, TVec* dev) {
      double* m = mean.Data();
      const double* x = cur.Data();
      for (int i = 0; i < n; ++i) m[i] = (m[i] * (N - 1) + x[i]) * inv;
      if (!dev) return;
      const double kk = double(k);
      double* s = dev->Data();
      const double* mo = old->Data();
      for (int i = 0; i < n; ++i) {
        const double d1 = mo[i] - m[i], d2 = x[i] - m[i];
        s[i] = std::sqrt(((kk - 1) * s[i] * s[i] + kk * d1 * d1 + d2 * d2) / kk);
      }
    };
    step(avg_->Amplt(), Amplt(), sd ? &prevAvg_->Amplt() : nullptr, sd ? &stdDev_->Amplt() : nullptr);
    // Without a phase (pmIgnore) there is nothing to average: it stays zero.
    if (PhaseMode() != pmIgnore)
      step(avg_->Phase(), Phase(), sd ? &prevAvg_->Phase() : nullptr, sd ? &stdDev_->Phase() : nullptr);
  } else {
    avg_->Amplt().Copy(Amplt());
    avg_->Phase().Copy(Phase());
    if (calcStdDev_) {
      if (!stdDev_) stdDev_ = new TSpectrum(nullptr);
      if (!prevAvg_) prevAvg_ = new TSpectrum(nullptr);
      stdDev_->Amplt().Size(n, false);
      stdDev_->Phase().Size(n, false);
      stdDev_->Amplt().SetZero();
      stdDev_->Phase().SetZero();
      stdDev_->SetSamplingFrequency(SamplingFrequency());
    } else {
      delete stdDev_;
      stdDev_ = nullptr;
      delete prevAvg_;
      prevAvg_ = nullptr;
    }
  }
}

void TSpectrumAnalyzer::HoldAveraging(bool Maximum) {
  if (!avg_) avg_ = new TSpectrum(nullptr);
  const int n = Amplt().Length();
  if (avg_->Amplt().Length() != n) averaged_ = 0;
  if (averaged_ > 0) {
    // Amplitude and phase are held independently; a NaN held value is always replaced.
    auto hold = [&](TVec& held, const TVec& cur) {
      double* h = held.Data();
      const double* x = cur.Data();
      if (Maximum) {
        for (int i = 0; i < n; ++i)
          if (!(h[i] >= x[i])) h[i] = x[i];
      } else {
        for (int i = 0; i < n; ++i)
          if (!(h[i] <= x[i])) h[i] = x[i];
      }
    };
    hold(avg_->Amplt(), Amplt());
    hold(avg_->Phase(), Phase());
  } else {
    avg_->Amplt().Copy(Amplt());
    avg_->Phase().Copy(Phase());
  }
}

// ------------------------------------------------------------------ registration

void RegisterSpectrumAnalyzerClasses() {
  RegisterComponentClass<TSpectrumAnalyzer>("TSpectrumAnalyzer");
  RegisterComponentClass<TSpectrumAnalyzerList>("TSpectrumAnalyzerList");
}

namespace {
const bool registered = (RegisterSpectrumAnalyzerClasses(), true);
}  // namespace

}  // namespace sigflow
