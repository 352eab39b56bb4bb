#pragma once
// RMS of every active band of the working band list over the spectrum of a TPeakHost. Bins
// count with the fraction of their width (one bin spacing, centred on the bin) that the band
// weight covers; the band's power sum is divided by the zero-padding ratio.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/analysis/PeakHost.h"
#include "sigflow/analysis/SpectrumBands.h"
#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"
#include "sigflow/tools/StreamTemplates.h"

namespace sigflow {

class TComponent;
class TSpectrumPeaksAnalyzer;

enum TBandWeighting : std::uint8_t { bwNone, bwA, bwC };
const TEnumInfo& BandWeightingInfo();

// IEC 61672 frequency weightings in dB, 0 dB at 1 kHz (-inf at 0 Hz).
double AWeightingDb(double Freq);
double CWeightingDb(double Freq);

class TSpectrumBandsAnalyzer : public TPersistent {
public:
  // Peaks, when given, supplies the order reference for fnOrder bands.
  TSpectrumBandsAnalyzer(TComponent* AOwner, TPeakHost* Host, const TSpectrumPeaksAnalyzer* Peaks = nullptr);
  ~TSpectrumBandsAnalyzer() override;
  TSpectrumBandsAnalyzer(const TSpectrumBandsAnalyzer&) = delete;
  TSpectrumBandsAnalyzer& operator=(const TSpectrumBandsAnalyzer&) = delete;

  std::string ClassName() const override { return "TSpectrumBandsAnalyzer"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  bool Active() const { return active_; }
  void SetActive(bool Value);
  TBandWeighting Weighting() const { return weighting_; }
  void SetWeighting(TBandWeighting Value);

  // The working copy and the template store that holds it.
  TSpectrumBands& Bands() { return bands_; }
  const TSpectrumBands& Bands() const { return bands_; }
  TStreamTemplates* Templates() const { return templates_; }
  // Adds "Octave" (1/1, 16 Hz .. 16 kHz) and "Third octave" (1/3, 10 Hz .. 20 kHz) templates.
  void AddStandardTemplates();

  // Computes the results from the host's current (linear) spectrum.
  void Update();
  // One value per band of the list, in its order: RMS in the spectrum's amplitude unit;
  // 0 for an inactive band, NaN where the reference is not available.
  const std::vector<double>& Results() const { return results_; }
  // The band's edges in Hz as the last Update resolved them (NaN when unresolved).
  const std::vector<double>& StartFrequencies() const { return start_; }
  const std::vector<double>& StopFrequencies() const { return stop_; }

  // The band [Start, Stop] Hz with transitions in Hz over the host spectrum: mean square
  // (before the zero-padding division) and the weighting applied.
  double BandPower(const TBandRecord& Band, double Start, double Stop, double StartTransition,
                   double StopTransition) const;

  void Assign(TPersistent* Source) override;

private:
  void Changed();
  double BinPower(int k, bool Adjust) const;
  // Hz per unit of the band's frequencies; NaN when unavailable.
  double ReferenceScale(const TBandRecord& Band) const;

  TComponent* owner_;
  TPeakHost* host_;
  const TSpectrumPeaksAnalyzer* peaks_;
  bool active_ = true;
  TBandWeighting weighting_ = bwNone;
  TSpectrumBands bands_;
  TStreamTemplates* templates_;
  std::vector<double> results_, start_, stop_;
};

}  // namespace sigflow
