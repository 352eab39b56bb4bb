#include "sigflow/tools/Signal.h"

#include <algorithm>
#include <cstdio>

#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/tools/SignalCollection.h"

namespace sigflow {

TSignal::TSignal(TComponent* AOwner) : TAnalysis(AOwner) {
  marks_.SetSortType(srtTime);
  data_.SetOnSetLength([this](TObject* Sender) { UpdateSetLength(Sender); });
  TSignal::SetSamplingFrequency(1.0);
  TSignal::SetLength(128);
}

TSignal::~TSignal() { data_.SetOnSetLength(nullptr); }

const TPropertyTable& TSignal::ClassProperties() {
  static const TPropertyTable table(&TAnalysis::ClassProperties(), {
      Property("ChannelCount", &TSignal::GetChannelCount, &TSignal::SetChannelCount, 1),
      Property("BandWidth", &TSignal::BandWidth, nullptr),
      Property("Length", &TSignal::Length, &TSignal::SetLength, 128),
      Property("SamplingFrequency", &TSignal::SamplingFrequency, &TSignal::SetSamplingFrequency),
      Property("Complex", &TSignal::Complex, &TSignal::SetComplex, false),
  });
  return table;
}

void TSignal::SetData(const TVec* Value) {
  if (Value) data_.Assign(*Value);
}

void TSignal::SetLength(int Value) {
  if (BlockAssign()) return;
  data_.SetLength(Value);
}

void TSignal::SetComplex(bool Value) {
  if (BlockAssign()) return;
  data_.SetComplex(Value);
}

void TSignal::SetChannelCount(int Value) {
  if (BlockAssign() || Value == channelCount_) return;
  channelCount_ = Value;
  SetSamplingTime(double(length_) / channelCount_ * dt_);
}

void TSignal::SetSamplingTime(double Value) {
  if (BlockAssign()) return;
  complex_ = data_.Complex();
  length_ = data_.Length();
  samplingTime_ = Value;
  if (!(Value > 0)) return;
  endTime_ = Value + startTime_;
  if (length_ < 1) {
    bandWidth_ = samplingTime_ = dt_ = hzRes_ = 0;
    return;
  }
  const double perChannel = double(length_) / channelCount_;
  samplingFrequency_ = perChannel / Value;
  dt_ = Value / perChannel;
  if (complex_) {
    hzRes_ = 1.0 / (2.0 * Value);
    bandWidth_ = samplingFrequency_;
  } else {
    hzRes_ = 1.0 / Value;
    bandWidth_ = samplingFrequency_ / 2.0;
  }
  SetBandWidthL(bandWidthL_);
}

void TSignal::SetSamplingFrequency(double Value) {
  if (BlockAssign()) return;
  if (Value > 0 && channelCount_ > 0) SetSamplingTime(double(length_) / channelCount_ / Value);
  else SetSamplingTime(0);
  samplingFrequency_ = Value;
}

void TSignal::SetDt(double Value) { SetSamplingTime(double(length_) / channelCount_ * Value); }

void TSignal::SetHzRes(double Value) {
  SetSamplingTime(Complex() ? 1.0 / (2.0 * Value) : 1.0 / Value);
}

void TSignal::SetBandWidthL(double Value) {
  bandWidthL_ = Value;
  bandWidthH_ = bandWidthL_ + bandWidth_;
}

void TSignal::UpdateSetLength(TObject*) {
  const int n = data_.Length();
  if (samplingFrequency_ > 0 && channelCount_ > 0)
    SetSamplingTime(double(n) / channelCount_ / samplingFrequency_);
  else if (samplingTime_ > 0 && length_ > 0)
    SetSamplingTime(double(n) * samplingTime_ / length_);
  else
    SetSamplingTime(samplingTime_);
}

void TSignal::Size(const TSignal& Src) {
  SetComplex(Src.Complex());
  SetLength(Src.Length());
  SetSamplingFrequency(Src.SamplingFrequency());
}

void TSignal::Assign(TPersistent* Source) {
  TAnalysis::Assign(Source);
  if (BlockAssign()) return;
  if (auto* src = dynamic_cast<TSignal*>(Source)) data_.Assign(src->data_);
}

TSignal* TSignal::FirstInput() const {
  if (!MultiChannel()) return Input();
  if (Inputs() && Inputs()->Count() > 0) return Inputs()->Items(0)->Input();
  return nullptr;
}

void TSignal::BeforeInternalUpdate() {
  TAnalysis::BeforeInternalUpdate();
  if (!UsesInputs()) return;
  TSignal* src = FirstInput();
  if (src == nullptr) return;
  SetChannelCount(src->ChannelCount());
  SetComplex(src->Complex());
  SetBandWidthL(src->BandWidthL());
  SetSamplingFrequency(src->SamplingFrequency());
}

void TSignal::SaveBinaryStream(TStream& Stream) const {
  marks_.SaveToStream(Stream);
  data_.SaveToStream(Stream, prDouble, rnTrunc);
}

void TSignal::LoadBinaryStream(TStream& Stream) {
  marks_.LoadFromStream(Stream);
  data_.LoadFromStream(Stream);
}

void TSignal::DefineProperties(TFiler& Filer) {
  TAnalysis::DefineProperties(Filer);
  Filer.DefineBinaryProperty(
      "SignalBinaryData", [this](TStream& s) { LoadBinaryStream(s); }, [this](TStream& s) { SaveBinaryStream(s); },
      !BlockAssign() && !ComponentState().Contains(csDesigning));
}

namespace {
// Accepts one conversion for a double: %[flags][width][.precision](e|E|f|g|G), with %% allowed
// in the surrounding text.
bool ValidNumberFormat(const std::string& f) {
  int conversions = 0;
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] != '%') continue;
    ++i;
    if (i < f.size() && f[i] == '%') continue;
    while (i < f.size() && std::string_view("-+ 0#").find(f[i]) != std::string_view::npos) ++i;
    std::size_t digits = 0;
    while (i < f.size() && f[i] >= '0' && f[i] <= '9') ++i, ++digits;
    if (digits > 2) return false;
    if (i < f.size() && f[i] == '.') {
      ++i;
      digits = 0;
      while (i < f.size() && f[i] >= '0' && f[i] <= '9') ++i, ++digits;
      if (digits > 2) return false;
    }
    if (i >= f.size() || std::string_view("eEfgG").find(f[i]) == std::string_view::npos) return false;
    ++conversions;
  }
  return conversions == 1;
}

std::string FormatNumber(const std::string& format, double x) {
  char buf[512];
  const int n = std::snprintf(buf, sizeof buf, format.c_str(), x);
  if (n < 0) throw EConvertError("Invalid number format: " + format);
  if (static_cast<std::size_t>(n) < sizeof buf) return std::string(buf, static_cast<std::size_t>(n));
  std::string big(static_cast<std::size_t>(n) + 1, '\0');
  std::snprintf(big.data(), big.size(), format.c_str(), x);
  big.resize(static_cast<std::size_t>(n));
  return big;
}
}  // namespace

void FormatColumns(TStrings& Dst, const std::string& Header, const std::string& Separator, const std::string& Format,
                   const std::vector<std::vector<double>>& Rows) {
  const std::string format = Format.empty() ? "%.6g" : Format;
  if (!ValidNumberFormat(format)) throw EConvertError("Invalid number format: " + Format);
  const std::string sep = Separator.empty() ? " " : Separator;
  std::vector<std::vector<std::string>> cells;
  std::vector<std::size_t> width;
  for (const auto& row : Rows) {
    auto& line = cells.emplace_back();
    for (std::size_t c = 0; c < row.size(); ++c) {
      line.push_back(FormatNumber(format, row[c]));
      if (width.size() <= c) width.push_back(0);
      width[c] = std::max(width[c], line.back().size());
    }
  }
  Dst.BeginUpdate();
  if (!Header.empty()) Dst.Add(Header);
  for (const auto& line : cells) {
    std::string text;
    for (std::size_t c = 0; c < line.size(); ++c) {
      if (c) text += sep;
      text.append(width[c] - line[c].size(), ' ');
      text += line[c];
    }
    Dst.Add(text);
  }
  Dst.EndUpdate();
}

void TSignal::MarksToStrings(TStrings& Dst, const std::string& Header, const std::string& Separator,
                             const std::string& Format) const {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < marks_.Count(); ++i) {
    const TMarkRecord& m = marks_.Values(i);
    rows.push_back({m.Freq, m.Amplt, m.Phase, m.Time});
  }
  FormatColumns(Dst, Header, Separator, Format, rows);
}

}  // namespace sigflow
