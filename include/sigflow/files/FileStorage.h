#pragma once
// TFileStorage: the common base of the file components. It holds the file name and format;
// with AutoFileFormat a new name chooses the format from its lower-cased extension. A name
// that names no format is refused and leaves the previous name and format in place.
#include <string>

#include "sigflow/core/Properties.h"
#include "sigflow/files/FileFormats.h"
#include "sigflow/numeric/Precision.h"
#include "sigflow/tools/Signal.h"

namespace sigflow {

const TEnumInfo& FileFormatInfo();
const TEnumInfo& PrecisionInfo();
const TEnumInfo& RoundingInfo();

class TFileStorage : public TSignal {
public:
  explicit TFileStorage(TComponent* AOwner);
  ~TFileStorage() override;

  std::string ClassName() const override { return "TFileStorage"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  bool AutoFileFormat() const { return autoFileFormat_; }
  void SetAutoFileFormat(bool Value) { autoFileFormat_ = Value; }
  TFileFormat FileFormat() const { return fileFormat_; }
  // A different format closes the file: what is open was opened for the old one.
  void SetFileFormat(TFileFormat Value);
  const std::string& FileName() const { return fileName_; }
  // The same name again changes nothing (an open file stays open). Otherwise, with
  // AutoFileFormat and a non-empty name, the format of the extension is taken first (raising
  // EFileFormatError "Unknown file file format extension: .ext" for an unknown one), the
  // open file is closed and the opened flag cleared.
  void SetFileName(const std::string& Value);

  // Whether the current file has been opened since its name was set.
  bool FileOpened() const { return fileOpened_; }

protected:
  void SetFileOpened(bool Value) { fileOpened_ = Value; }
  // Releases whatever the descendant holds open; called before the name or format changes.
  virtual void CloseFile() {}

private:
  bool autoFileFormat_ = true;
  TFileFormat fileFormat_ = ffDat;
  std::string fileName_;
  bool fileOpened_ = false;
};

}  // namespace sigflow
