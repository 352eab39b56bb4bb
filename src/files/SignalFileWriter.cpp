#include "sigflow/files/SignalFileWriter.h"

#include <unistd.h>

#include <cmath>

#include "FileInternals.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {

// Lets Create mark a writer as the owner of the file it made.
class TSignalFileWriterAccess {
public:
  static void SetOwnsFile(TSignalFileWriter& w) { w.ownsFile_ = true; }
};

TSignalFileWriter::TSignalFileWriter(std::unique_ptr<TStream> stream, std::string name, TFileFormat format,
                                     TPrecision precision, TRounding rounding)
    : stream_(std::move(stream)), name_(std::move(name)), format_(format), precision_(precision), rounding_(rounding) {}

TSignalFileWriter::~TSignalFileWriter() = default;

std::unique_ptr<TSignalFileWriter> TSignalFileWriter::Create(std::unique_ptr<TStream> stream, const std::string& name,
                                                             TFileFormat format, TPrecision precision,
                                                             TRounding rounding) {
  if (int(precision) >= PrecisionCount)
    throw Exception("Signal file writer: unknown precision ordinal " + std::to_string(int(precision)));
  switch (format) {
    case ffDat:
    case ffBin:
    case ffDbn: return files_detail::CreateBinaryRecordWriter(std::move(stream), name, format, precision, rounding);
    case ffSgl:
    case ffSfs:
    case ffAsc: return files_detail::CreateTextWriter(std::move(stream), name, format, precision, rounding);
    case ffWav: return files_detail::CreateWavWriter(std::move(stream), name, precision, rounding);
  }
  throw EFileFormatError("Unknown file format ordinal " + std::to_string(int(format)));
}

std::unique_ptr<TSignalFileWriter> TSignalFileWriter::Create(const std::string& fileName, TFileFormat format,
                                                             TPrecision precision, TRounding rounding) {
  // Refuse a WAV precision before the old file is replaced.
  if (format == ffWav && precision != prInteger && precision != prSmallInt && precision != prByte)
    throw Exception(SWavPrecisionError);
  auto writer = Create(std::make_unique<TFileStream>(fileName, fmCreate), fileName, format, precision, rounding);
  TSignalFileWriterAccess::SetOwnsFile(*writer);
  return writer;
}

void TSignalFileWriter::WriteBlock(const TVec& data, double samplingFrequency, int channelCount) {
  if (!open_) Fail("the writer is closed");
  if (channelCount < 1) Fail("channel count " + std::to_string(channelCount) + " < 1");
  if (data.Length() % channelCount != 0)
    Fail("block length " + std::to_string(data.Length()) + " is not a multiple of the channel count " +
         std::to_string(channelCount));
  DoWriteBlock(data, samplingFrequency, channelCount);
  ++blocks_;
  frames_ += data.Length() / channelCount;
}

void TSignalFileWriter::Close() {
  if (!open_) return;
  open_ = false;
  std::exception_ptr error;
  try {
    DoClose();
    FlushStream();
  } catch (...) {
    error = std::current_exception();
  }
  // Nothing written: leave no file behind rather than one that no reader accepts.
  if (blocks_ == 0 && ownsFile_) ::unlink(name_.c_str());
  stream_.reset();
  if (error) std::rethrow_exception(error);
}

void TSignalFileWriter::FlushStream() {
  if (auto* file = dynamic_cast<TFileStream*>(stream_.get())) file->Flush();
}

void TSignalFileWriter::Fail(const std::string& what) const {
  throw Exception(files_detail::Quoted(name_) + ": " + what);
}

}  // namespace sigflow
