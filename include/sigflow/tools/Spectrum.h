#pragma once
// TSpectrum: amplitude and phase over a frequency axis, with marks (peaks).
//
// Axis, with L = Amplt length, k = span divisor (2 for a real one-sided spectrum, 1 for a
// complex two-sided one) and Z = ZeroPadding (>= 1): for a duration T > 0 and L >= 1,
//   SamplingFrequency = L k / Z / T,  Dt = 1 / SamplingFrequency,
//   BandWidth = SamplingFrequency / k,  HzRes = BandWidth / L,  BandWidthH = BandWidth + BandWidthL.
// Length changes of Amplt or Phase keep the sampling frequency. Shape setters are ignored
// while BlockAssign is set.
//
// Measurements (docs/measurements.md):
//   RMS    sqrt(sum of the power of every bin): a real spectrum holds peak amplitudes, so bin k
//          adds Amplt[k]^2 / 2, except the 0 Hz bin, which adds Amplt[0]^2; a complex
//          (two-sided) spectrum adds Amplt[k]^2 for every bin.
//   THD    from the marks: 100 sqrt(sum of Amplt^2 of marks 1 .. n-1) / |Amplt of mark 0|,
//          marks sorted by frequency, n = min(Harmonics, marks); 0 without marks.   [%]
//   THDN, SNR, SINAD, SFDR, NF   MeasureTone over Amplt with the fundamental at the
//          lowest-frequency mark, MainlobeWidth, Harmonics, HzRes, BandWidthL and the
//          sampling frequency: THDN in %, the others in dB. Without marks: Exception
//          "Marks.Count = 0".
// Amplt must hold linear amplitudes for the measurements.
#include <cstdint>
#include <string>

#include "sigflow/core/Strings.h"
#include "sigflow/numeric/ToneMeasurements.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/tools/Analysis.h"
#include "sigflow/tools/MarkList.h"

namespace sigflow {

enum TPhaseMode : std::uint8_t { pmIgnore, pm360, pmPhaseDelay, pmGroupDelay };
enum TPhaseUnits : std::uint8_t { puRad, puDeg };
const TEnumInfo& PhaseModeInfo();
const TEnumInfo& PhaseUnitsInfo();

class TSpectrum : public TAnalysis {
public:
  explicit TSpectrum(TComponent* AOwner);
  ~TSpectrum() override;

  std::string ClassName() const override { return "TSpectrum"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TVec& Amplt() { return amplt_; }
  const TVec& Amplt() const { return amplt_; }
  TVec& Phase() { return phase_; }
  const TVec& Phase() const { return phase_; }
  TMarkList& Marks() { return marks_; }
  const TMarkList& Marks() const { return marks_; }

  int Length() const { return length_; }
  // Sets the length of Amplt and Phase. Ignored while BlockAssign.
  void SetLength(int Value);
  bool Complex() const { return complex_; }
  virtual void SetComplex(bool Value);
  int ZeroPadding() const { return zeroPadding_; }
  // Clamped to >= 1; recomputes the axis at the present sampling frequency.
  void SetZeroPadding(int Value);
  double SpanDivisor() const { return span_; }

  double SamplingFrequency() const { return samplingFrequency_; }
  virtual void SetSamplingFrequency(double Value);
  double SamplingTime() const { return samplingTime_; }
  void SetSamplingTime(double Value);
  double Dt() const { return dt_; }
  double HzRes() const { return hzRes_; }
  double BandWidth() const { return bandWidth_; }
  double BandWidthL() const { return bandWidthL_; }
  void SetBandWidthL(double Value);
  double BandWidthH() const { return bandWidthH_; }

  int MainlobeWidth() const { return mainlobeWidth_; }
  void SetMainlobeWidth(int Value) { mainlobeWidth_ = Value; }
  TPhaseMode PhaseMode() const { return phaseMode_; }
  void SetPhaseMode(TPhaseMode Value) { phaseMode_ = Value; }
  TPhaseUnits PhaseUnits() const { return phaseUnits_; }
  void SetPhaseUnits(TPhaseUnits Value) { phaseUnits_ = Value; }
  int Harmonics() const { return harmonics_; }
  void SetHarmonics(int Value) { harmonics_ = Value; }
  bool ConjFlip() const { return conjFlip_; }
  void SetConjFlip(bool Value) { conjFlip_ = Value; }
  bool ConjExtend() const { return conjExtend_; }
  void SetConjExtend(bool Value) { conjExtend_ = Value; }
  // Highest bin the peak helpers look at; -1 (the default) means the last bin.
  int MaxFreqIndex() const { return maxFreqIndex_; }
  void SetMaxFreqIndex(int Value) { maxFreqIndex_ = Value; }

  double MinAmplt() const { return minAmplt_; }
  void SetMinAmplt(double Value) { minAmplt_ = Value; }
  double MaxAmplt() const { return maxAmplt_; }
  void SetMaxAmplt(double Value) { maxAmplt_ = Value; }
  double MinPhase() const { return minPhase_; }
  void SetMinPhase(double Value) { minPhase_ = Value; }
  double MaxPhase() const { return maxPhase_; }
  void SetMaxPhase(double Value) { maxPhase_ = Value; }
  void MinMaxAmplt();
  void MinMaxPhase();
  void MinMax();

  // Element-wise with a spectrum of equal length, on Amplt and, unless PhaseMode is
  // pmIgnore, on Phase the same way (Scale scales the phase too).
  void Add(const TSpectrum& Src);
  void Subtract(const TSpectrum& Src);
  void Mul(const TSpectrum& Src);
  void Divide(const TSpectrum& Src);
  void Scale(double Factor);
  void SetZero();
  void Copy(const TSpectrum& Src);
  void Size(const TSpectrum& Src);
  // Reverses the bin order of Amplt and Phase.
  void BandFlip();

  // From a complex spectrum X (a real vector counts as complex with zero imaginary parts);
  // Amplt (Phase for PhaseSpectrum) takes X's length:
  //   PowerSpectrum |X|^2, AmpltSpectrum |X|, RMSSpectrum |X| / sqrt(2),
  //   PhaseSpectrum arg X in PhaseUnits (-pi..pi or -180..180).
  void PowerSpectrum(const TVec& Vec);
  void AmpltSpectrum(const TVec& Vec);
  void RMSSpectrum(const TVec& Vec);
  void PhaseSpectrum(const TVec& Vec);

  // Divide (Integrate) or multiply (Differentiate) Amplt by 2 pi f of each bin; the 0 Hz bin
  // is left alone. With ConjExtend the upper half mirrors the lower one (ConjFlip) or the
  // lower half mirrors the upper one.
  void Integrate();
  void Differentiate();

  // Amplt := 20 log_Base(A / Max) floored at -Span (Absolute false), or 20 log_Base(A) floored
  // at 20 log_Base(Max) - Span (Absolute true). Max <= 0: every value becomes -Span.
  void LogAmplt(double Base, double Span, double Max, bool Absolute);

  double RMS() const;
  double THD();
  double THDN() const;
  double SNR() const;
  double SINAD() const;
  double SFDR() const;
  double NF() const;

  // Frequency of the peak nearest to Freq: climbs Amplt from the bin of Freq to a local
  // maximum (not beyond MaxFreqIndex), then refines it with the parabola through the
  // maximum and its neighbours (QuadraticPeak). At the ends the bin frequency is returned.
  virtual double PeakApproximate(double Freq);
  // Continuous amplitude estimate near a peak: from the bin of Freq, Amplt is climbed to a
  // local maximum k (not beyond MaxFreqIndex); a tone A, nu is fitted to y[k] and its larger
  // neighbour through the window kernel K (EstimateKernel): y[k + s] / y[k] =
  // K(k + s - nu) / K(k - nu), A = y[k] / K(k - nu). The estimate is A K(Freq - nu) (offsets
  // in bins), so it equals y[k] on bin k and peaks at nu, between the bins. At the ends of
  // the spectrum, or for a zero maximum, Amplt is interpolated linearly. Outside the axis the
  // end bin's value; NaN for an empty spectrum. PhaseEst is the phase of the same bin k (the
  // phase is not interpolated: it turns by about half a turn per bin across a lobe).
  double AmpltEst(double Freq) const;
  double PhaseEst(double Freq) const;
  // Raises "Peak filter method not supported!"; the analyzers override it.
  virtual void FilterPeak(int Index);
  // Raise "Not implemented!" and "Not implemented"; the analyzers override them.
  virtual void ComputeGroupDelay();
  virtual void ComputePhaseDelay();

  // Text: one line per mark (Freq, Amplt, Phase, Time) or per bin (Freq, Amplt, Phase), in
  // the layout of TSignal::MarksToStrings, with the frequencies formatted by FreqFormat and
  // the other values by Format (each empty: "%.6g").
  virtual void MarksToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                              const std::string& FreqFormat, const std::string& Format) const;
  virtual void ValuesToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                               const std::string& FreqFormat, const std::string& Format) const;

  // Copies the published settings, then (unless BlockAssign) the frequency axis, Amplt,
  // Phase and marks of Source, which must be a TSpectrum.
  void Assign(TPersistent* Source) override;

  // Form data "SpectrumBinaryData": marks, then Amplt, then Phase (vector images at prDouble).
  virtual void SaveBinaryStream(TStream& Stream) const;
  virtual void LoadBinaryStream(TStream& Stream);
  void DefineProperties(TFiler& Filer) override;

  virtual void UpdateSetLength(TObject* Sender);

protected:
  // Magnitude of the window's transform Offset bins from its centre, 1 at 0, falling over
  // the main lobe. This one is the rectangular window's |sinc|; analyzers that window their
  // frames override it.
  virtual double EstimateKernel(double Offset) const;

  // When UsesInputs, adopts Complex, BandWidthL and SamplingFrequency of Input (or of the
  // first item of Inputs); the length is left to InternalUpdate.
  void BeforeInternalUpdate() override;

private:
  double PowerOfBin(int k) const;
  void Weight(bool Divide);
  int EstimateBin(double Pos) const;
  // Last tone fitted by AmpltEst (a cache: the spectrum is not read from two threads at once).
  struct EstimateFit {
    int K = -1;
    double L = 0, C = 0, R = 0, Half = 0, Nu = 0, A = 0;
  };
  mutable EstimateFit fit_;
  TToneMeasurement MeasureMarkedTone() const;

  TVec amplt_;
  TVec phase_;
  TMarkList marks_;
  double bandWidth_ = 0;
  double bandWidthL_ = 0;
  double bandWidthH_ = 0;
  double dt_ = 0;
  double hzRes_ = 0;
  double samplingFrequency_ = 0;
  double samplingTime_ = 0;
  double span_ = 2.0;
  int length_ = 0;
  bool complex_ = false;
  int zeroPadding_ = 1;
  int mainlobeWidth_ = 8;
  TPhaseMode phaseMode_ = pm360;
  TPhaseUnits phaseUnits_ = puDeg;
  int harmonics_ = 10;
  bool conjFlip_ = true;
  bool conjExtend_ = false;
  int maxFreqIndex_ = -1;
  double minAmplt_ = 0, maxAmplt_ = 0, minPhase_ = 0, maxPhase_ = 0;
};

// Copies Len bins of Src from bin Index into Dest (Amplt and Phase; Dest takes length Len).
// Dest keeps Src's bin spacing and ZeroPadding and gets Complex from Src, a lower edge at the
// frequency of bin Index and the sampling frequency HzRes * span divisor * Len that this axis
// implies. With CopyMarks, the marks of Src inside the copied band replace Dest's marks.
// A range outside Src raises Exception "CopySpectrum: range outside the spectrum".
void CopySpectrum(const TSpectrum& Src, TSpectrum& Dest, int Index, int Len, bool CopyMarks = true);

}  // namespace sigflow
