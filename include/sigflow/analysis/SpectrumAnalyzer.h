#pragma once
// TSpectrumAnalyzer: the spectrum of the time signal on Input, held in the Amplt and Phase of
// the TSpectrum it derives from (docs/spectrum-analyzer.md).
//
// Each update runs, in order: complex spectrum by Method (FFT, AR models, chirp-z zoom, real
// cepstrum), or with Output set the cross spectrum X conj(Y) / transfer function X / Y;
// OnAfterComplexSpectrum; complex averaging; OnBeforeSpectrumType; amplitude and phase by
// SpectrumType with integration and the phase treatment; OnBeforeAverage, amplitude
// averaging, OnAfterAverage; peaks; bands; dB conversion; MinMax.
//
// Scaling: the transform length is the smallest power of two not below the frame, times
// ZeroPadding; the amplitude factor WindowScaleFactor * ScaleFactor * (transform length /
// frame length) / (bins of the result) makes a sine of amplitude A at a bin centre read A in
// the one-sided spectrum of a real signal (A / 2 on each side of a two-sided one); there the
// 0 Hz bin of an FFT auto-spectrum shows the DC level (half the scaled bin).
//
// Averaging (Averaging, Averages, Averaged, ExpDecay, CalcStdDev, StdDev): the finite modes
// avLinear, avPeakHold and avCplxLinear freeze the result once Averaged reaches Averages;
// Averaged returns to 0 on ResetAveraging, a change of Averaging, ExpDecay or Integration,
// switching CalcStdDev on, a change of the spectrum length, avNone and the wrap after
// 4294967295 frames.
#include <cstdint>
#include <string>

#include "sigflow/analysis/AnalyzerTypes.h"
#include "sigflow/analysis/PeakHost.h"
#include "sigflow/analysis/SpectrumCZT.h"
#include "sigflow/numeric/Czt.h"
#include "sigflow/numeric/Phase.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/numeric/Windows.h"
#include "sigflow/tools/Signal.h"
#include "sigflow/tools/Spectrum.h"

namespace sigflow {

class TSpectrumPeaksAnalyzer;
class TSpectrumBandsAnalyzer;

class TSpectrumAnalyzer : public TSpectrum, public TPeakHost {
public:
  explicit TSpectrumAnalyzer(TComponent* AOwner);
  ~TSpectrumAnalyzer() override;

  std::string ClassName() const override { return "TSpectrumAnalyzer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  std::string EditorClass() const override { return "TSpectrumAnaForm"; }

  // ---- settings -------------------------------------------------------------------------
  TSpectrumMethod Method() const { return method_; }
  void SetMethod(TSpectrumMethod Value);
  int AROrder() const { return arOrder_; }
  void SetAROrder(int Value);
  TSignalWindowType Window() const { return window_; }
  void SetWindow(TSignalWindowType Value);
  double SidelobeAtt() const { return sidelobeAtt_; }
  void SetSidelobeAtt(double Value);
  double ExpWindow() const { return expWindow_; }
  void SetExpWindow(double Value);
  bool DCDump() const { return dcDump_; }
  void SetDCDump(bool Value);
  TSpectrumType SpectrumType() const { return spectrumType_; }
  void SetSpectrumType(TSpectrumType Value);
  bool Logarithmic() const { return logarithmic_; }
  void SetLogarithmic(bool Value);
  TLogType LogType() const { return logType_; }
  void SetLogType(TLogType Value);
  TLogSpan LogSpan() const { return logSpan_; }
  void SetLogSpan(TLogSpan Value);
  double ScaleFactor() const { return scaleFactor_; }
  void SetScaleFactor(double Value);
  TIntegration Integration() const { return integration_; }
  void SetIntegration(TIntegration Value);
  TAveraging Averaging() const { return averaging_; }
  void SetAveraging(TAveraging Value);
  std::uint32_t Averages() const { return averages_; }
  void SetAverages(std::uint32_t Value) { averages_ = Value; }
  std::uint32_t Averaged() const { return averaged_; }
  void SetAveraged(std::uint32_t Value);
  int ExpDecay() const { return expDecay_; }
  void SetExpDecay(int Value);
  bool CalcStdDev() const { return calcStdDev_; }
  void SetCalcStdDev(bool Value);
  bool CrossSpectral() const { return crossSpectral_; }
  void SetCrossSpectral(bool Value);
  TSignal* Output() const { return output_; }
  void SetOutput(TSignal* Value);
  bool UnwrapPhase() const { return unwrapPhase_; }
  void SetUnwrapPhase(bool Value);
  TRunningPhase RunningPhase() const { return runningPhase_; }
  void SetRunningPhase(TRunningPhase Value);
  TPhaseRange PhaseRange() const { return phaseRange_; }
  void SetPhaseRange(TPhaseRange Value);
  bool RealCepstrum() const { return realCepstrum_; }
  // Switching it on selects smRealCepstrum; switching it off returns to smFFT.
  void SetRealCepstrum(bool Value);
  bool AutoCalculate() const { return autoCalculate_; }
  void SetAutoCalculate(bool Value) { autoCalculate_ = Value; }

  // Owned sub-objects; the setters copy into them.
  TSpectrumCZT* CZT() const { return czt_; }
  void SeTSpectrumCZT(const TSpectrumCZT* Value);
  void SetSpectrumCZT(const TSpectrumCZT* Value) { SeTSpectrumCZT(Value); }
  // The owned peak and band analyzers; the setters copy into them.
  TSpectrumPeaksAnalyzer* Peaks() const { return peaks_; }
  void SetPeaks(TSpectrumPeaksAnalyzer* Value);
  TSpectrumBandsAnalyzer* Bands() const { return bands_; }
  void SetBands(TSpectrumBandsAnalyzer* Value);
  // Standard deviation of amplitude and phase per bin; null unless CalcStdDev with an
  // amplitude averaging mode has run. SetStdDev copies into it when it exists.
  TSpectrum* StdDev() const { return stdDev_; }
  void SetStdDev(TSpectrum* Value);
  // The running average; null without amplitude averaging.
  const TSpectrum* AveragedSpectrum() const { return avg_; }

  // With True, a cross/transfer update also puts the inverse FFT of the result into
  // ImpulseResponse (real for real signals).
  void SetKeepImpulseResponse(bool Value);
  const TVec* ImpulseResponse() const { return impulse_; }

  // ---- events -------------------------------------------------------------------------
  const TNotifyEvent& OnAfterComplexSpectrum() const { return onAfterComplexSpectrum_; }
  void SetOnAfterComplexSpectrum(TNotifyEvent Value) { onAfterComplexSpectrum_ = std::move(Value); }
  const TNotifyEvent& OnBeforeSpectrumType() const { return onBeforeSpectrumType_; }
  void SetOnBeforeSpectrumType(TNotifyEvent Value) { onBeforeSpectrumType_ = std::move(Value); }
  const TNotifyEvent& OnBeforeAverage() const { return onBeforeAverage_; }
  void SetOnBeforeAverage(TNotifyEvent Value) { onBeforeAverage_ = std::move(Value); }
  const TNotifyEvent& OnAfterAverage() const { return onAfterAverage_; }
  void SetOnAfterAverage(TNotifyEvent Value) { onAfterAverage_ = std::move(Value); }
  const TNotifyEvent& OnPeaksUpdate() const { return onPeaksUpdate_; }
  void SetOnPeaksUpdate(TNotifyEvent Value) { onPeaksUpdate_ = std::move(Value); }
  const TNotifyEvent& OnBandsUpdate() const { return onBandsUpdate_; }
  void SetOnBandsUpdate(TNotifyEvent Value) { onBandsUpdate_ = std::move(Value); }

  // ---- state of the last update -----------------------------------------------------------
  // Complex spectrum of the last update (after complex averaging); OnAfterComplexSpectrum may
  // change it.
  TVec& ComplexSpectrum() { return spectrum_; }
  const TVec& ComplexSpectrum() const { return spectrum_; }
  int TransformLength() const { return transformLength_; }
  double ZeroPaddingRatio() const { return zeroPaddingRatio_; }
  double AmplitudeFactor() const { return amplitudeFactor_; }
  double ReferenceMaximum() const { return referenceMax_; }
  int SpanDb() const { return spanDb_; }
  // Sampling frequency and bin spacing handed to peaks and bands.
  double PeakSamplingFrequency() const { return peakSamplingFrequency_; }
  double PeakHzRes() const { return peakHzRes_; }
  // Inverse coherent gain of the current window (fixed table values for the fixed windows);
  // 1 for the methods other than smFFT and smCZT.
  double WindowScaleFactor() const;
  const TVec& WindowVector() const { return windowVec_; }
  // The parameter SignalWindow gets for Window: the Kaiser beta of SidelobeAtt, the Chebyshev
  // attenuation, ExpWindow, the cosine taper 0.5; 0 for the fixed windows.
  double WindowParameter() const;

  // ---- operations -----------------------------------------------------------------------
  // Complex spectrum of the current input into Dest, scaled by the amplitude factor.
  void Spectrum(TVec& Dest);
  // Averaged := 0; recomputes when AutoCalculate.
  void ResetAveraging();
  // SpectrumType 0, not logarithmic, then recompute.
  void EnableStatistics();
  bool StatisticsIsValid() const;
  // Nearest local maximum of Amplt from the bin of Freq, as a bin frequency in Hz.
  double ConvergeToMaximum(double Freq);
  bool Process() { return Update(); }

  // Complex spectrum of the frame by Method into the work vectors (Dest null) or into Dest.
  // TargetLength below the input length raises "TargetLength < Input.Length".
  void ApplySpectrumMethod(int TargetLength, TVec* Dest = nullptr);
  // Multiplies the frame's elements Index .. Index+Len-1 by the window (rebuilt as needed).
  void ApplyWindow(int Index, int Len);
  // Sets Window and rebuilds the window vector for the present frame length.
  void SetWindowType(TSignalWindowType Value);

  // Phase delay -phi / (2 pi f) and group delay -dphi / (2 pi df), in seconds, from the
  // unwrapped phase.
  void ComputeGroupDelay() override;
  void ComputePhaseDelay() override;
  // Forwarded to Peaks.
  double PeakApproximate(double Freq) override;
  void FilterPeak(int Index) override;

  void Assign(TPersistent* Source) override;

  // ---- TPeakHost ------------------------------------------------------------------------
  TSpectrum& HostSpectrum() override { return *this; }
  const TVec& HostComplexSpectrum() const override { return spectrum_; }
  bool HostComplexSpectrumValid() const override;
  double HostZeroPaddingRatio() const override { return zeroPaddingRatio_; }
  int HostWindow() const override { return int(window_); }
  int HostSpectrumType() const override { return int(spectrumType_); }
  std::uint32_t HostAveraged() const override { return averaging_ == avNone ? 0 : averaged_; }
  double HostConvergeToMaximum(double Freq) override { return ConvergeToMaximum(Freq); }

protected:
  // The transform of the frame's window (FFT method; otherwise the rectangular kernel), with
  // Offset in bins of this spectrum, so zero padding widens it: closed forms for the
  // rectangular, cosine-sum and Bartlett windows, the built window's own transform for the
  // others.
  double EstimateKernel(double Offset) const override;

  void BeforeInternalUpdate() override;
  bool InternalUpdate() override;
  void Notification(TComponent* AComponent, TOperation Operation) override;

private:
  template <class T>
  void Change(T& Field, T Value);
  TSignal* Source() const;
  void RunMethod(TSignal* Src, int TargetLength, TVec& Dest, bool KeepNyquist);
  void MethodFFT(TSignal* Src, int TargetLength, TVec& Dest);
  void MethodAR(TSignal* Src, TVec& Dest);
  void MethodCZT(TSignal* Src, TVec& Dest);
  void MethodCepstrum(TSignal* Src, int TargetLength, TVec& Dest);
  void FinishTwoSided(TSignal* Src, TVec& Dest, bool KeepNyquist);
  void CrossSpectrum(TSignal* In, TSignal* Out);
  void ComputeImpulseResponse(bool Real, bool Rotated);
  void ComplexAveraging();
  void AmplitudeAveraging();
  void LinearAveraging();
  void HoldAveraging(bool Maximum);
  void ApplySpectrumType();
  void IntegrateSpectrum();
  void ApplyPhaseSpectrum();
  void ApplyPhaseRange();
  void PhaseToRadians(TVec& Dst) const;
  void FreeAveraging();
  void RebuildWindow(int Length);
  // Hooks of the peak and band analyzers.
  void RunPeakStep();
  void RunBandStep();
  void RunPeakLogStep();

  TVec frame_;     // prepared frame (windowed, zero padded)
  TVec spectrum_;  // complex spectrum
  TVec windowVec_;
  TVec cepWindow_;
  TVec yWork_;
  TVec arWork_, arCorr_, arCoef_, arBurg_;
  TVec delayWork_;
  TCztPlan cztPlan_;
  int transformLength_ = 0;
  double zeroPaddingRatio_ = 0;
  double amplitudeFactor_ = 1.0;
  int spanDb_ = 120;
  double referenceMax_ = 0;
  double kaiserFactor_ = 1, chebyshevFactor_ = 1, taperFactor_ = 1;
  int windowBuiltLength_ = -1;
  TSignalWindowType windowBuiltType_ = wtRectangular;
  double windowBuiltParam_ = 0;
  TSignalWindowType cepBuiltType_ = wtRectangular;
  double cepBuiltParam_ = 0;
  TSpectrum* avg_ = nullptr;
  TSpectrum* prevAvg_ = nullptr;
  TSpectrum* stdDev_ = nullptr;
  TVec* cplxAvg_ = nullptr;
  TVec* impulse_ = nullptr;
  TSignal* lastInput_ = nullptr;
  TSignal* lastOutput_ = nullptr;
  bool twoSidedDoubled_ = false;
  bool rotated_ = false;
  bool oneSided_ = false;  // real signal, bins 0 .. L/2 - 1
  double peakSamplingFrequency_ = 0, peakHzRes_ = 0;

  TSpectrumBandsAnalyzer* bands_ = nullptr;
  TSpectrumPeaksAnalyzer* peaks_ = nullptr;
  TSpectrumCZT* czt_ = nullptr;

  TSpectrumMethod method_ = smFFT;
  int arOrder_ = 100;
  TSignalWindowType window_ = wtRectangular;
  double sidelobeAtt_ = 40;
  double expWindow_ = 0.01;
  bool dcDump_ = true;
  TSpectrumType spectrumType_ = stAmplt;
  bool logarithmic_ = false;
  TLogType logType_ = ltAbsolute;
  TLogSpan logSpan_ = ls120;
  double scaleFactor_ = 1.0;
  TIntegration integration_ = inNone;
  TAveraging averaging_ = avNone;
  std::uint32_t averages_ = 30;
  std::uint32_t averaged_ = 0;
  int expDecay_ = 5;
  bool calcStdDev_ = false;
  bool crossSpectral_ = false;
  TSignal* output_ = nullptr;
  bool unwrapPhase_ = false;
  TRunningPhase runningPhase_ = rpConstPhase;
  TPhaseRange phaseRange_ = prPiPi;
  bool realCepstrum_ = false;
  bool autoCalculate_ = false;

  TNotifyEvent onAfterComplexSpectrum_, onBeforeSpectrumType_, onBeforeAverage_, onAfterAverage_,
      onPeaksUpdate_, onBandsUpdate_;
};

// Registers TSpectrumAnalyzer and TSpectrumAnalyzerList with the class registry (also done
// at static initialisation). Safe to call more than once.
void RegisterSpectrumAnalyzerClasses();

}  // namespace sigflow
