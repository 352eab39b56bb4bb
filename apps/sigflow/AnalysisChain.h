#pragma once
// The component chain behind `analyze` and `run`:
//   source (file reader or generator) -> [demux] -> [filter] -> [block buffer] -> spectrum analyzer
// and the report read off each analyzer once the data end. `analyze` builds the chain, may
// save it, and runs it exactly as `run` runs a saved one, so both print the same report.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FilterSpec.h"

namespace sigflow {
class TAnalysis;
class TComponent;
class TSignal;
class TSpectrumAnalyzer;
}  // namespace sigflow

namespace sigflow::cli {

class TProgress;

struct TAnalysisSettings {
  int FftSize = 8192;
  double OverlapPercent = 50;
  int ZeroPadding = 1;
  std::string Window = "kaiser:150";
  std::string Averaging = "linear";
  int Averages = 0;
  int Peaks = 5;
  int Harmonics = 10;
  std::string Interpolation = "numeric";
};

struct TSourceChoice {
  std::string File;  // empty: the built-in test signal
  int Record = 0;
  int Channel = 1;   // 1-based
  TFilterSpec Filter;
  std::string FilterTemplate;  // a saved TSignalFilter (JSON)
};

struct TChainEnds {
  TAnalysis* Last = nullptr;
  TSpectrumAnalyzer* Analyzer = nullptr;
  std::int64_t Blocks = 0;  // pulls that cover the signal
  double Seconds = 0;       // of signal those pulls deliver
};

// The first stage of the chain that ends in stage (the one without an Input).
TAnalysis* SourceOf(TAnalysis& stage);
// 20 log10 of an amplitude; minus infinity for 0.
double AmplitudeDb(double amplitude);

// Registers every class a chain file may hold.
void RegisterChainClasses();
// Makes the chain's components as children of root.
TChainEnds BuildAnalyzeChain(TComponent& root, const TSourceChoice& source, const TAnalysisSettings& s);

// Sum of squares of the samples that reached one analyzer, each sample counted once even
// when the analyzer's frames overlap.
class TStreamTally {
public:
  explicit TStreamTally(TSpectrumAnalyzer& an);
  // After each successful pull of the chain.
  void Observe();
  std::int64_t Samples() const { return samples_; }
  double Rms() const;

private:
  TSignal* tap_ = nullptr;
  int overlap_ = 0;  // values repeated from the previous block of tap_
  bool first_ = true;
  std::int64_t samples_ = 0;
  double sumSquares_ = 0;
};

// Whether the analyzer stops by itself: a finite average with a positive Averages.
bool CompletesItsAverage(const TSpectrumAnalyzer& an);

// Pulls last until its data end, blocks pulls when positive, or every analyzer has completed
// a finite average; returns the pulls made. Refuses a chain that would never end.
std::int64_t RunToEnd(TAnalysis& last, const std::vector<TSpectrumAnalyzer*>& analyzers,
                      std::vector<TStreamTally>& tallies, std::int64_t blocks, TProgress* progress,
                      const std::string& chainName);

struct TPeak {
  double Frequency = 0;  // Hz
  double Amplitude = 0;  // peak amplitude of the tone, in the signal's units
};

struct TAnalysisReport {
  std::string Signal;
  double SamplingFrequency = 0;
  double Duration = 0;  // s of signal that reached the analyzer
  double Rms = 0;
  int FrameLength = 0;
  int TransformLength = 0;
  std::string Window, Averaging, Interpolation;
  std::int64_t FramesAveraged = 0;
  double BinHz = 0;
  std::vector<double> Amplitudes;  // one-sided amplitude spectrum
  std::vector<TPeak> Peaks;        // largest first
  bool Tone = false;               // the figures below exist
  double Thd = 0, Thdn = 0, Snr = 0, Sinad = 0, Sfdr = 0, NoiseFloor = 0;
};

// Reads the report off an analyzer that has run: turns its spectrum into linear amplitudes
// (in place: the analyzer is done), finds and refines the peaks with its interpolation
// method, marks the fundamental and its harmonics and takes the tone figures.
TAnalysisReport ReportOf(TSpectrumAnalyzer& an, const TStreamTally& tally, const std::string& signal);
void PrintReport(const TAnalysisReport& r);
void PrintReportJson(const TAnalysisReport& r);

}  // namespace sigflow::cli
