#include "sigflow/analysis/SpectrumBands.h"

#include <cmath>
#include <vector>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

const TEnumInfo& BandReferenceInfo() {
  static const TEnumInfo info("TBandReference", {"fnSamplingFrequency", "fnNyquist", "fnOrder", "fnNthPeak"});
  return info;
}

TSpectrumBands::~TSpectrumBands() { Clear(); }

void TSpectrumBands::Delete(int Index) {
  delete Items(Index);
  TStreamedListOf<TBandRecord>::Delete(Index);
}

int TSpectrumBands::AddBand(const TBandRecord& Band) { return Add(new TBandRecord(Band)); }

void TSpectrumBands::Assign(const TSpectrumBands& Source) {
  if (&Source == this) return;
  Clear();
  for (int i = 0; i < Source.Count(); ++i) AddBand(*Source.Items(i));
}

void TSpectrumBands::SaveToStream(TStream& Stream) {
  Stream.WriteValue<std::int32_t>(Count());
  for (int i = 0; i < Count(); ++i) {
    const TBandRecord& b = *Items(i);
    Stream.WriteValue<std::uint8_t>(b.Active ? 1 : 0);
    Stream.WriteValue<std::uint8_t>(b.Reference);
    Stream.WriteValue<std::uint8_t>(b.AdjustForSpectrumType ? 1 : 0);
    Stream.WriteValue<std::uint8_t>(0);
    Stream.WriteValue<std::int32_t>(b.PeakNumber);
    Stream.WriteValue<double>(b.Start);
    Stream.WriteValue<double>(b.Stop);
    Stream.WriteValue<double>(b.StartTransition);
    Stream.WriteValue<double>(b.StopTransition);
  }
}

void TSpectrumBands::LoadFromStream(TStream& Stream) {
  const auto bad = [] { return EReadError("Invalid band list"); };
  if (Stream.Size() - Stream.Position() < 4) throw bad();
  const auto n = Stream.ReadValue<std::int32_t>();
  if (n < 0 || n > (Stream.Size() - Stream.Position()) / BandRecordSize) throw bad();
  std::vector<TBandRecord> read(static_cast<std::size_t>(n));
  for (TBandRecord& b : read) {
    const auto active = Stream.ReadValue<std::uint8_t>();
    const auto reference = Stream.ReadValue<std::uint8_t>();
    const auto adjust = Stream.ReadValue<std::uint8_t>();
    const auto pad = Stream.ReadValue<std::uint8_t>();
    if (active > 1 || adjust > 1 || pad != 0 || reference > fnNthPeak) throw bad();
    b.Active = active == 1;
    b.Reference = static_cast<TBandReference>(reference);
    b.AdjustForSpectrumType = adjust == 1;
    b.PeakNumber = Stream.ReadValue<std::int32_t>();
    b.Start = Stream.ReadValue<double>();
    b.Stop = Stream.ReadValue<double>();
    b.StartTransition = Stream.ReadValue<double>();
    b.StopTransition = Stream.ReadValue<double>();
    if (!std::isfinite(b.Start) || !std::isfinite(b.Stop) || !std::isfinite(b.StartTransition) ||
        !std::isfinite(b.StopTransition))
      throw bad();
  }
  Clear();
  for (const TBandRecord& b : read) AddBand(b);
}

namespace {
constexpr double OctaveRatio() { return 1.9952623149688795; }  // 10^(3/10)
}  // namespace

double OctaveBandCentre(int Fraction, int x) {
  const double b = Fraction;
  if (Fraction % 2 != 0) return 1000 * std::pow(OctaveRatio(), x / b);
  return 1000 * std::pow(OctaveRatio(), (2.0 * x + 1) / (2 * b));
}

double OctaveBandLow(int Fraction, int x) {
  return OctaveBandCentre(Fraction, x) * std::pow(OctaveRatio(), -1.0 / (2.0 * Fraction));
}

double OctaveBandHigh(int Fraction, int x) {
  return OctaveBandCentre(Fraction, x) * std::pow(OctaveRatio(), 1.0 / (2.0 * Fraction));
}

void AddOctaveBands(TSpectrumBands& Bands, int Fraction, double FMin, double FMax) {
  if (Fraction < 1) throw Exception("AddOctaveBands: fraction must be at least 1");
  if (!(FMin > 0) || !(FMax >= FMin)) return;
  // The index range from the centres, widened by one so rounding cannot drop an end band.
  const double step = std::log(OctaveRatio()) / Fraction;
  const int x0 = static_cast<int>(std::floor(std::log(FMin / 1000) / step)) - 1;
  const int x1 = static_cast<int>(std::ceil(std::log(FMax / 1000) / step)) + 1;
  for (int x = x0; x <= x1; ++x) {
    const double c = OctaveBandCentre(Fraction, x);
    if (c < FMin * (1 - 1e-9) || c > FMax * (1 + 1e-9)) continue;
    TBandRecord b;
    b.Start = OctaveBandLow(Fraction, x);
    b.Stop = OctaveBandHigh(Fraction, x);
    Bands.AddBand(b);
  }
}

}  // namespace sigflow
