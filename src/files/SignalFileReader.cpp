#include "sigflow/files/SignalFileReader.h"

#include <sys/stat.h>

#include <bit>
#include <cstring>
#include <limits>

#include "FileInternals.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow {
namespace {

template <class T>
void DecodeAs(const std::uint8_t* in, std::size_t count, double* dst) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    std::uint8_t b[sizeof(T)];
    std::memcpy(b, in + i * sizeof(T), sizeof(T));
    if constexpr (std::endian::native == std::endian::big && sizeof(T) > 1)
      for (std::size_t k = 0; k < sizeof(T) / 2; ++k) std::swap(b[k], b[sizeof(T) - 1 - k]);
    T v;
    std::memcpy(&v, b, sizeof(T));
    dst[i] = double(v);
  }
}

}  // namespace

void DecodeSamples(const std::uint8_t* bytes, TPrecision p, std::size_t count, double* dst) noexcept {
  switch (p) {
    case prDouble: DecodeAs<double>(bytes, count, dst); break;
    case prSingle: DecodeAs<float>(bytes, count, dst); break;
    case prInteger: DecodeAs<std::int32_t>(bytes, count, dst); break;
    case prCardinal: DecodeAs<std::uint32_t>(bytes, count, dst); break;
    case prSmallInt: DecodeAs<std::int16_t>(bytes, count, dst); break;
    case prWord: DecodeAs<std::uint16_t>(bytes, count, dst); break;
    case prShortInt: DecodeAs<std::int8_t>(bytes, count, dst); break;
    case prByte: DecodeAs<std::uint8_t>(bytes, count, dst); break;
  }
}

TSignalFileReader::~TSignalFileReader() = default;

std::unique_ptr<TSignalFileReader> TSignalFileReader::Create(TFileFormat format) {
  switch (format) {
    case ffDat:
    case ffBin:
    case ffDbn: return files_detail::CreateBinaryRecordReader(format);
    case ffSgl:
    case ffSfs:
    case ffAsc: return files_detail::CreateTextReader(format);
    case ffWav: return files_detail::CreateWavReader();
  }
  throw EFileFormatError("Unknown file format ordinal " + std::to_string(int(format)));
}

void TSignalFileReader::Open(const std::string& fileName, const TSignalReadOptions& options) {
  Close();
  struct stat st {};
  if (::stat(fileName.c_str(), &st) != 0) throw EFOpenError(FileNotFoundMessage(fileName));
  Open(std::make_unique<TFileStream>(fileName, fmOpenRead | fmShareDenyWrite), fileName, options);
}

void TSignalFileReader::Open(std::unique_ptr<TStream> stream, const std::string& name,
                             const TSignalReadOptions& options) {
  Close();
  stream_ = std::move(stream);
  name_ = name;
  options_ = options;
  try {
    SeekTo(0);
    Scan();
  } catch (...) {
    Close();
    throw;
  }
}

void TSignalFileReader::Close() noexcept {
  CloseFormat();
  stream_.reset();
  records_.clear();
  truncatedTail_ = false;
}

const TSignalRecordInfo& TSignalFileReader::RecordInfo(int record) const {
  if (record < 0 || record >= NumberOfRecords()) throw Exception(RecordNotFoundMessage(record));
  return records_[std::size_t(record)];
}

std::int64_t TSignalFileReader::ReadSamples(int record, std::int64_t firstFrame, std::int64_t frameCount, TVec& dst) {
  if (!stream_) throw EReadError("Signal file reader: no file is open");
  const TSignalRecordInfo& info = RecordInfo(record);
  if (firstFrame < 0 || frameCount < 0)
    throw EReadError("Signal file reader: negative frame position or count (" + std::to_string(firstFrame) + ", " +
                     std::to_string(frameCount) + ")");
  const std::int64_t first = std::min(firstFrame, info.Frames);
  const std::int64_t count = std::min(frameCount, info.Frames - first);
  const std::int64_t elements = count * info.ChannelCount;
  if (elements > std::numeric_limits<int>::max())
    throw EReadError("Signal file reader: " + std::to_string(count) + " frames do not fit one vector");
  dst.Size(int(elements), info.Complex);
  if (count > 0) ReadFrames(record, first, count, dst.Data());
  return count;
}

std::int64_t TSignalFileReader::ReadRecord(int record, TVec& dst) {
  return ReadSamples(record, 0, RecordInfo(record).Frames, dst);
}

void TSignalFileReader::FailAt(const std::string& what, std::int64_t position) const {
  throw EReadError(files_detail::Quoted(name_) + ": " + what + " at byte " + std::to_string(position));
}

void TSignalFileReader::FailAtLine(const std::string& what, std::int64_t line) const {
  throw EReadError(files_detail::Quoted(name_) + ", line " + std::to_string(line) + ": " + what);
}

void TSignalFileReader::SeekTo(std::int64_t position) {
  if (stream_->Seek(position, soBeginning) != position) throw EReadError(SSeekError);
}

std::unique_ptr<TSignalFileReader> OpenSignalFile(const std::string& fileName, TFileFormat format,
                                                  const TSignalReadOptions& options) {
  auto reader = TSignalFileReader::Create(format);
  reader->Open(fileName, options);
  return reader;
}

}  // namespace sigflow
