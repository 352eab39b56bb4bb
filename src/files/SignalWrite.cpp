#include "sigflow/files/SignalWrite.h"

namespace sigflow {

TSignalWrite::TSignalWrite(TComponent* AOwner) : TFileStorage(AOwner) {}

TSignalWrite::~TSignalWrite() {
  try {
    Close();
  } catch (...) {
    // A destructor cannot report a failed final flush; Close can.
  }
}

const TPropertyTable& TSignalWrite::ClassProperties() {
  static const TPropertyTable table(&TFileStorage::ClassProperties(), {
      ComponentProperty("Input", &TAnalysis::Input, &TAnalysis::SetInput, "TSignal"),
      EnumProperty("Precision", &TSignalWrite::Precision, &TSignalWrite::SetPrecision, PrecisionInfo(), prDouble),
      EnumProperty("Rounding", &TSignalWrite::Rounding, &TSignalWrite::SetRounding, RoundingInfo(), rnRound),
  });
  return table;
}

void TSignalWrite::SetPrecision(TPrecision Value) {
  precision_ = Value;
  SetDirty(true);
}

void TSignalWrite::SetRounding(TRounding Value) {
  rounding_ = Value;
  SetDirty(true);
}

void TSignalWrite::Close() {
  if (!writer_) return;
  std::unique_ptr<TSignalFileWriter> writer = std::move(writer_);
  SetFileOpened(false);
  writer->Close();
}

void TSignalWrite::CloseFile() {
  try {
    Close();
  } catch (...) {
    // Changing the name must not fail for the old file's sake.
  }
}

bool TSignalWrite::InternalUpdate() {
  TSignal* input = FirstInput();
  if (!Active() || input == nullptr || FileName().empty()) return false;
  if (!writer_) {
    writer_ = TSignalFileWriter::Create(FileName(), FileFormat(), precision_, rounding_);
    SetFileOpened(true);
    blocks_ = 0;
  }
  writer_->WriteBlock(input->Data(), input->SamplingFrequency(), input->ChannelCount());
  ++blocks_;
  Data().Copy(input->Data());
  return true;
}

}  // namespace sigflow
