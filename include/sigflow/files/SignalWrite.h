#pragma once
// TSignalWrite: writes its Input to a file, one block per update. The record formats
// (".dat", ".bin", ".dbn", ".sgl") get one record per block; the others get the block's
// samples appended. The file is created at the first block (replacing an existing one) and is
// complete and readable after every block. Data passes the block on unchanged, so a writer
// can sit in the middle of a chain.
//
// Closing (Close, a new name or format, destruction) before the first block leaves no file.
#include <memory>
#include <string>

#include "sigflow/files/FileStorage.h"
#include "sigflow/files/SignalFileWriter.h"

namespace sigflow {

class TSignalWrite : public TFileStorage {
public:
  explicit TSignalWrite(TComponent* AOwner);
  ~TSignalWrite() override;

  std::string ClassName() const override { return "TSignalWrite"; }
  static const TPropertyTable& ClassProperties();
  const TPropertyTable& Properties() const override { return ClassProperties(); }

  // How values are stored by the integer formats (".dat" at an integer precision and ".wav",
  // which takes prByte, prSmallInt or prInteger only). Takes effect with the next file.
  TPrecision Precision() const { return precision_; }
  void SetPrecision(TPrecision Value);
  TRounding Rounding() const { return rounding_; }
  void SetRounding(TRounding Value);

  // Finishes the file; the next block starts a new one. Errors of the last flush are raised.
  void Close();
  bool Writing() const { return writer_ != nullptr; }
  // Blocks written to the present (or last) file.
  std::int64_t BlockCount() const { return blocks_; }

protected:
  bool InternalUpdate() override;
  void CloseFile() override;

private:
  std::unique_ptr<TSignalFileWriter> writer_;
  TPrecision precision_ = prDouble;
  TRounding rounding_ = rnRound;
  std::int64_t blocks_ = 0;
};

}  // namespace sigflow
