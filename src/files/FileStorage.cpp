#include "sigflow/files/FileStorage.h"

namespace sigflow {

const TEnumInfo& FileFormatInfo() {
  static const TEnumInfo info("TFileFormat", {"ffDat", "ffSgl", "ffBin", "ffWav", "ffSfs", "ffAsc", "ffDbn"});
  return info;
}

const TEnumInfo& PrecisionInfo() {
  static const TEnumInfo info("TPrecision", {"prDouble", "prSingle", "prInteger", "prCardinal", "prSmallInt",
                                             "prWord", "prShortInt", "prByte"});
  return info;
}

const TEnumInfo& RoundingInfo() {
  static const TEnumInfo info("TRounding", {"rnTrunc", "rnFloor", "rnRound", "rnCeil"});
  return info;
}

TFileStorage::TFileStorage(TComponent* AOwner) : TSignal(AOwner) {}

TFileStorage::~TFileStorage() = default;

const TPropertyTable& TFileStorage::ClassProperties() {
  static const TPropertyTable table(&TSignal::ClassProperties(), {
      Property("AutoFileFormat", &TFileStorage::AutoFileFormat, &TFileStorage::SetAutoFileFormat, true),
      EnumProperty("FileFormat", &TFileStorage::FileFormat, &TFileStorage::SetFileFormat, FileFormatInfo(), ffDat),
      Property("FileName", &TFileStorage::FileName, &TFileStorage::SetFileName, std::string()),
  });
  return table;
}

void TFileStorage::SetFileFormat(TFileFormat Value) {
  if (Value == fileFormat_) return;
  CloseFile();
  fileOpened_ = false;
  fileFormat_ = Value;
  SetDirty(true);
}

void TFileStorage::SetFileName(const std::string& Value) {
  if (Value == fileName_) return;
  TFileFormat format = fileFormat_;
  if (autoFileFormat_ && !Value.empty()) format = FileFormatFromFileName(Value);
  CloseFile();
  fileOpened_ = false;
  fileName_ = Value;
  fileFormat_ = format;
  SetDirty(true);
}

}  // namespace sigflow
