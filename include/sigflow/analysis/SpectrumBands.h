#pragma once
// A list of frequency bands, the working copy of a band template (see docs/peaks.md for the
// meaning of each field and the byte image).
//
// Stream image, little-endian: int32 count, then per band 40 bytes:
//   uint8 Active, uint8 Reference, uint8 AdjustForSpectrumType, uint8 0,
//   int32 PeakNumber, double Start, double Stop, double StartTransition, double StopTransition.
#include <cstdint>
#include <string>

#include "sigflow/core/Properties.h"
#include "sigflow/tools/StreamedList.h"

namespace sigflow {

enum TBandReference : std::uint8_t { fnSamplingFrequency, fnNyquist, fnOrder, fnNthPeak };
const TEnumInfo& BandReferenceInfo();

struct TBandRecord {
  bool Active = true;
  // Unit of the four frequencies: Hz (fnSamplingFrequency), fractions of the Nyquist
  // frequency, orders of the order reference, or multiples of the PeakNumber-th mark.
  TBandReference Reference = fnSamplingFrequency;
  // Bin powers follow the amplitude kind of the spectrum (else plain squares).
  bool AdjustForSpectrumType = true;
  std::int32_t PeakNumber = 1;
  double Start = 0;
  double Stop = 0;
  // Widths over which the band weight rises from 0 at Start and falls to 0 at Stop.
  double StartTransition = 0;
  double StopTransition = 0;
  bool operator==(const TBandRecord&) const = default;
};

inline constexpr int BandRecordSize = 40;

class TSpectrumBands : public TStreamedListOf<TBandRecord> {
public:
  TSpectrumBands() = default;
  ~TSpectrumBands() override;

  void Delete(int Index) override;
  // Appends a copy; returns its index.
  int AddBand(const TBandRecord& Band);
  void Assign(const TSpectrumBands& Source);

  void SaveToStream(TStream& Stream) override;
  // Replaces the list with the image read. A count the rest of the stream cannot hold, a
  // reference out of range, a flag byte other than 0 or 1, or a frequency that is not finite
  // raises EReadError "Invalid band list" and leaves the list as it was.
  void LoadFromStream(TStream& Stream) override;
};

// IEC 61260 base-10 fractional-octave bands: G = 10^(3/10), centre 1000 G^(x/b) for odd b,
// 1000 G^((2x + 1)/(2b)) for even b, edges centre G^(-+1/(2b)).
double OctaveBandCentre(int Fraction, int x);
double OctaveBandLow(int Fraction, int x);
double OctaveBandHigh(int Fraction, int x);
// Appends the bands (Hz, no transitions) of every index x whose centre lies in [FMin, FMax].
void AddOctaveBands(TSpectrumBands& Bands, int Fraction, double FMin, double FMax);

}  // namespace sigflow
