#pragma once
// TSignal: a block of samples (Data, channels interleaved sample by sample) with its timing.
//
// Every timing setter goes through SetSamplingTime(T), which, with N = Length and
// C = ChannelCount, refreshes Length and Complex from Data, stores T and, for T > 0:
//   EndTime = StartTime + T; N < 1: BandWidth = SamplingTime = Dt = HzRes = 0; otherwise
//   SamplingFrequency = N / C / T, Dt = T / (N / C),
//   real:    HzRes = 1 / T,       BandWidth = SamplingFrequency / 2
//   complex: HzRes = 1 / (2 T),   BandWidth = SamplingFrequency
//   BandWidthH = BandWidthL + BandWidth.
// A non-positive T changes nothing else. Data's length changes keep the sampling frequency
// (UpdateSetLength). Setters of shape and timing are ignored while BlockAssign is set.
//
// Form data "SignalBinaryData": the marks (TMarkList stream), then Data in the vector stream
// image at prDouble, so a saved tree restores every sample bit for bit.
#include <string>
#include <vector>

#include "sigflow/core/Strings.h"
#include "sigflow/numeric/Vec.h"
#include "sigflow/tools/Analysis.h"
#include "sigflow/tools/MarkList.h"

namespace sigflow {

class TSignal : public TAnalysis {
public:
  explicit TSignal(TComponent* AOwner);
  ~TSignal() override;

  std::string ClassName() const override { return "TSignal"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  TVec& Data() { return data_; }
  const TVec& Data() const { return data_; }
  // Copies Value into Data (Data itself is never replaced); null does nothing.
  void SetData(const TVec* Value);
  TMarkList& Marks() { return marks_; }
  const TMarkList& Marks() const { return marks_; }

  int Length() const { return length_; }
  void SetLength(int Value);
  bool Complex() const { return data_.Complex(); }
  void SetComplex(bool Value);
  int ChannelCount() const { return GetChannelCount(); }
  virtual int GetChannelCount() const { return channelCount_; }
  virtual void SetChannelCount(int Value);

  double SamplingFrequency() const { return samplingFrequency_; }
  virtual void SetSamplingFrequency(double Value);
  double SamplingTime() const { return samplingTime_; }
  void SetSamplingTime(double Value);
  double Dt() const { return dt_; }
  void SetDt(double Value);
  double HzRes() const { return hzRes_; }
  void SetHzRes(double Value);
  double BandWidth() const { return bandWidth_; }
  double BandWidthL() const { return bandWidthL_; }
  void SetBandWidthL(double Value);
  double BandWidthH() const { return bandWidthH_; }
  double StartTime() const { return startTime_; }
  void SetStartTime(double Value) { startTime_ = Value; }
  double EndTime() const { return endTime_; }

  // Raw access to Data's storage, without a range check (for a complex Data, Values(2k) is
  // the real part of sample k).
  double Values(int i) const { return data_.Values(i); }
  void SetValues(int i, double x) { data_.SetValues(i, x); }
  TCplx CValues(int i) const { return data_.CValues(i); }
  void SetCValues(int i, TCplx c) { data_.SetCValues(i, c); }

  // Same shape as Src: Complex, Length, SamplingFrequency, in this order; no samples copied.
  void Size(const TSignal& Src);
  // TAnalysis::Assign, then (unless BlockAssign) Source's samples. Source must be a TSignal.
  void Assign(TPersistent* Source) override;

  // Statistics of Data (complex samples by magnitude); NaN for an empty signal.
  void MinMax(double& Min, double& Max) const { data_.MinMax(Min, Max); }
  double Crest() const { return data_.Crest(); }
  double Peak() const { return data_.Peak(); }

  // One line per mark: Freq, Amplt, Phase, Time, each formatted by Format (one printf
  // conversion for a double: flags, width, precision and one of e E f g G, for example
  // "%.6g"; empty means "%.6g"), right-aligned to the widest entry of its column and joined
  // by Separator (empty means one blank). A non-empty Header is added first as its own line.
  // A bad Format raises EConvertError "Invalid number format: <Format>".
  virtual void MarksToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                              const std::string& Format) const;

  virtual void SaveBinaryStream(TStream& Stream) const;
  virtual void LoadBinaryStream(TStream& Stream);
  void DefineProperties(TFiler& Filer) override;

  // Data's length changed: keeps the sampling frequency when there is one.
  virtual void UpdateSetLength(TObject* Sender);

protected:
  // Adopts ChannelCount, Complex, BandWidthL and SamplingFrequency of Input (or of the first
  // item of Inputs) when UsesInputs; the length is left to InternalUpdate.
  void BeforeInternalUpdate() override;
  // The source BeforeInternalUpdate adopts from, or null.
  TSignal* FirstInput() const;

private:
  double bandWidth_ = 0;
  double bandWidthH_ = 0;
  double dt_ = 0;
  TMarkList marks_;
  double startTime_ = 0;
  double endTime_ = 0;
  double bandWidthL_ = 0;
  double hzRes_ = 0;
  double samplingFrequency_ = 1.0;
  double samplingTime_ = 0;
  TVec data_;
  int length_ = 0;
  bool complex_ = false;
  int channelCount_ = 1;
};

// Formats rows of numbers into text lines with right-aligned columns (shared with TSpectrum).
void FormatColumns(TStrings& Dst, const std::string& Header, const std::string& Separator, const std::string& Format,
                   const std::vector<std::vector<double>>& Rows);

}  // namespace sigflow
