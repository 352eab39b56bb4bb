#pragma once
// TSignalFilter: designs its Taps from a band template (or takes them as given) and filters
// its Input block by block, the filter memory carried from block to block, optionally
// changing the rate (UpSample / DownSample).
//
// Design frequencies: the bands are in Hz of DesignFrequency(): NormalizedFrequency when
// UseNormalizedFrequency is set, else the rate the taps run at (see DesignFrequency).
// Any change of a design or run-time property restarts the filter: the next block redesigns
// (unless ExternalTaps) and starts from a zero state. See docs/signal-filter.md.
#include <memory>
#include <string>
#include <vector>

#include "sigflow/numeric/Envelope.h"
#include "sigflow/numeric/FilterDesign.h"
#include "sigflow/numeric/FirState.h"
#include "sigflow/numeric/IirState.h"
#include "sigflow/numeric/MedianState.h"
#include "sigflow/numeric/WaveletState.h"
#include "sigflow/processing/FilterList.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

const TEnumInfo& ResponseTypeInfo();
const TEnumInfo& FirFilterMethodInfo();
const TEnumInfo& IirMethodInfo();
const TEnumInfo& IirFrequencyTransformInfo();
const TEnumInfo& FirWindowInfo();
const TEnumInfo& WaveletTypeInfo();
const TEnumInfo& WaveletDecompInfo();

class TSignalFilter : public TSignal {
public:
  explicit TSignalFilter(TComponent* AOwner);
  ~TSignalFilter() override;

  std::string ClassName() const override { return "TSignalFilter"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }
  std::string EditorClass() const override { return "TFIRDesignForm"; }

  // ---- design ----------------------------------------------------------------------------
  TFilterList* Filters() const { return filters_.get(); }
  // The working copy of the current template.
  TBandFilterList* Bands() const { return filters_->Bands(); }

  TResponseType Response() const { return response_; }
  void SetResponse(TResponseType Value);
  TFirFilterMethod FirMethod() const { return firMethod_; }
  void SetFirMethod(TFirFilterMethod Value);
  TIirMethod IirMethod() const { return iirMethod_; }
  void SetIirMethod(TIirMethod Value);
  TIirFrequencyTransform IIRFrequencyTransform() const { return iirTransform_; }
  void SetIIRFrequencyTransform(TIirFrequencyTransform Value);
  TFirWindow Window() const { return window_; }
  void SetWindow(TFirWindow Value);
  // Window parameter: Kaiser beta (with IgnoreAtt); for Blackman the window's alpha is
  // -Beta/25, so the default 4.0 gives the classic 0.42/0.5/0.08 window.
  double Beta() const { return beta_; }
  void SetBeta(double Value);
  bool IgnoreAtt() const { return ignoreAtt_; }
  void SetIgnoreAtt(bool Value);
  bool AutoFilterOrder() const { return autoFilterOrder_; }
  void SetAutoFilterOrder(bool Value);
  // 1 .. 10000; for rstSavGolay odd (an even value is raised by one, 10000 becomes 9999) and
  // Order is limited again.
  int FirLength() const { return firLength_; }
  void SetFirLength(int Value);
  // 1 .. 50; for rstSavGolay 0 .. FirLength - 1.
  int Order() const { return order_; }
  void SetOrder(int Value);
  int GridDensity() const { return gridDensity_; }
  void SetGridDensity(int Value);
  double NormalizedFrequency() const { return normalizedFrequency_; }
  void SetNormalizedFrequency(double Value);
  bool UseNormalizedFrequency() const { return useNormalizedFrequency_; }
  void SetUseNormalizedFrequency(bool Value);
  TWaveletType Wavelet() const { return wavelet_; }
  void SetWavelet(TWaveletType Value);
  int WaveletP1() const { return waveletP1_; }
  void SetWaveletP1(int Value);
  int WaveletP2() const { return waveletP2_; }
  void SetWaveletP2(int Value);
  TWaveletDecomp WaveletDecomp() const { return waveletDecomp_; }
  void SetWaveletDecomp(TWaveletDecomp Value);

  // Coefficients: FIR taps (real or complex) or IIR sections {b0 b1 b2 a0 a1 a2} per section.
  // Edit them with ExternalTaps set, then call ParamUpdate (or set a property) to restart.
  TVec& Taps() { return taps_; }
  const TVec& Taps() const { return taps_; }
  bool ExternalTaps() const { return externalTaps_; }
  void SetExternalTaps(bool Value);

  // The preset design values that are not published: stop-band attenuation (dB) and
  // pass-band ripple (linear deviation) used when the template gives none.
  double DefaultAttenuation() const { return defaultAttenuation_; }
  double DefaultRipple() const { return defaultRipple_; }

  // The sampling frequency the bands refer to: NormalizedFrequency when
  // UseNormalizedFrequency, else the rate of the up-sampled stream the taps run at
  // (UpSample x the input's rate; the filter's own SamplingFrequency without an input).
  double DesignFrequency() const;

  // Designs Taps from the current settings (Taps emptied first).
  void ApplyChanges();
  void ComputeWindowOrIIr();
  // Types ftLowpass .. ftBandstop; Edges: the two band edges of each transition (Hz),
  // Deviation linear, Fs the design frequency.
  void ComputeWindowFilter(const std::vector<double>& Edges, TFilterType Type, double Deviation, double Fs);
  void ComputeParksMcClellan();
  void ComputeWindowDiff();
  void ComputeParksDiff();
  void ComputeParksDiff2();
  void ComputeParksIntegrator();
  void ComputeParksIntegrator2();
  void ComputeWindowHilbert();
  void ComputeParksHilbert();
  void ComputeIirFilter();

  // ---- run time -------------------------------------------------------------------------
  // >= 0; UpDelay is limited to 0 .. UpSample - 1.
  int UpSample() const { return upSample_; }
  void SetUpSample(int Value);
  int UpDelay() const { return upDelay_; }
  void SetUpDelay(int Value);
  int DownSample() const { return downSample_; }
  void SetDownSample(int Value);
  int DownDelay() const { return downDelay_; }
  void SetDownDelay(int Value);

  bool Prepared() const { return prepared_; }
  // Designs (unless ExternalTaps) and initialises; nothing while Prepared.
  void Prepare();
  // Initialises the state of the current Response; whether the filter can run.
  bool Init();
  // Filters Src into Dst (which may be Src). Unprepared: Dst := Src.
  void Process(const TVec& Src, TVec& Dst);
  // One real sample through the FIR state; x itself when unprepared (or when the response
  // keeps no FIR state). Complex taps raise "FirState.ComplexImpulse = True!".
  double ProcessSample(double x);

  void Assign(TPersistent* Source) override;
  void DefineProperties(TFiler& Filer) override;

protected:
  bool InternalUpdate() override;
  void InternalParamUpdate(TObject* Sender) override;

private:
  void Changed();
  bool IsFirResponse() const;
  double NyquistNormalised(double f, double fs) const;
  void RequireTemplate() const;
  void ComputeParksType(TRemezType Type);
  bool InputComplex() const;

  std::unique_ptr<TFilterList> filters_;
  TVec taps_;
  TResponseType response_ = rstUnit;
  TFirFilterMethod firMethod_ = fimWindow;
  TIirMethod iirMethod_ = imButterworth;
  TIirFrequencyTransform iirTransform_ = iftStateSpaceAnalog;
  TFirWindow window_ = fwRectangular;
  double beta_ = 4.0;
  bool ignoreAtt_ = false;
  bool autoFilterOrder_ = true;
  int firLength_ = 1;
  int order_ = 0;
  int gridDensity_ = 16;
  double normalizedFrequency_ = 2.0;
  bool useNormalizedFrequency_ = true;
  TWaveletType wavelet_ = wvDaublet;
  int waveletP1_ = 4;
  int waveletP2_ = 0;
  TWaveletDecomp waveletDecomp_ = wdApprox;
  bool externalTaps_ = false;
  int upSample_ = 1;
  int upDelay_ = 0;
  int downSample_ = 1;
  int downDelay_ = 0;
  double defaultAttenuation_ = 60;
  double defaultRipple_ = 0.001;

  bool prepared_ = false;
  bool stateComplex_ = false;  // data kind the states were initialised for
  bool dataComplex_ = false;   // data kind of the block at hand
  std::unique_ptr<FirState> fir_;
  std::unique_ptr<IirState> iir_;
  std::unique_ptr<MedianState> median_;
  std::unique_ptr<MedianState> medianIm_;  // imaginary parts of complex data
  std::unique_ptr<EnvelopeState> envelope_;
  std::unique_ptr<WaveletState> wavelet_state_;
  TVec scratch_;                            // Src when Process works in place
  std::vector<double> re_, im_, reOut_, imOut_;
};

// Registers TSignalFilter and TSignalFilterList with the class registry (also done at static
// initialisation). Safe to call more than once.
void RegisterSignalFilterClasses();

}  // namespace sigflow
