#pragma once
// Readers of signal files, one per format behind one interface. Opening scans the file once
// and keeps an index of its records (one small entry per record, never the samples); reading
// then fetches any run of frames of any record, so memory stays of the order of the frames
// requested whatever the size of the file. Positions are 64-bit: files beyond 4 GiB work.
//
// Values are returned as doubles, channels interleaved frame by frame. Integer precisions
// give the raw stored integers, unscaled (an unsigned 8-bit WAV sample is 0..255).
//
// Bad input raises EReadError with the file name and the byte (or, for text, the line) where
// reading failed; no claimed size is allocated before the file is known to hold it.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "sigflow/core/Streams.h"
#include "sigflow/files/FileFormats.h"
#include "sigflow/numeric/Precision.h"

namespace sigflow {

class TVec;

// What the index knows about one record.
struct TSignalRecordInfo {
  // Byte offset of the first sample (text formats: of the first line after the record's
  // header lines).
  std::int64_t Offset = 0;
  // Text formats: number (1-based) of the line at Offset; 0 for binary formats.
  std::int64_t Line = 0;
  // Frames of the record; one frame holds one value (complex: one re, im pair) per channel.
  std::int64_t Frames = 0;
  // Samples per second per channel, as stored (WAV: an integer).
  double SamplingFrequency = 1.0;
  // Storage precision of the samples (text formats report prDouble).
  TPrecision Precision = prDouble;
  bool Complex = false;
  int ChannelCount = 1;
  // Stored values over all channels (Frames * ChannelCount; the ".dat" count field).
  std::int64_t Samples() const { return Frames * ChannelCount; }
};

struct TSignalReadOptions {
  // A writer stopped mid-record leaves an incomplete last record (or a WAV data chunk that
  // is shorter than its header says). false: opening raises EReadError; true: the
  // incomplete part is dropped (the complete frames of a WAV are kept) and TruncatedTail()
  // tells.
  bool AcceptTruncatedTail = false;
};

class TSignalFileReader {
public:
  virtual ~TSignalFileReader();
  TSignalFileReader(const TSignalFileReader&) = delete;
  TSignalFileReader& operator=(const TSignalFileReader&) = delete;

  // A closed reader of the given format.
  static std::unique_ptr<TSignalFileReader> Create(TFileFormat format);

  TFileFormat Format() const noexcept { return format_; }

  // Opens fileName for reading with writers denied and scans it. A missing file raises
  // EFOpenError "File not found: " + fileName. A reader that was open is closed first.
  void Open(const std::string& fileName, const TSignalReadOptions& options = {});
  // Reads from stream, from its beginning (for memory images and fuzzing); name is used in
  // messages.
  void Open(std::unique_ptr<TStream> stream, const std::string& name, const TSignalReadOptions& options = {});
  void Close() noexcept;
  bool IsOpen() const noexcept { return stream_ != nullptr; }
  const std::string& FileName() const noexcept { return name_; }

  // Records found by the scan (0 for an empty record file). WAV, ".sfs" and ".asc" files
  // hold exactly one record.
  int NumberOfRecords() const noexcept { return int(records_.size()); }
  // Raises Exception "Record number: " + record + " not found!" outside 0 .. count - 1.
  const TSignalRecordInfo& RecordInfo(int record) const;
  bool TruncatedTail() const noexcept { return truncatedTail_; }

  // dst := frames firstFrame .. firstFrame + frameCount - 1 of the record, clipped to the
  // record's end: dst gets the record's complex flag and (frames read) * ChannelCount
  // elements, interleaved. Returns the frames read (0 at or past the end). firstFrame and
  // frameCount must be >= 0, and the result must fit a TVec. Once dst has grown to the
  // block size, reading allocates nothing for the binary formats and WAV.
  std::int64_t ReadSamples(int record, std::int64_t firstFrame, std::int64_t frameCount, TVec& dst);
  // The whole record into dst.
  std::int64_t ReadRecord(int record, TVec& dst);

protected:
  explicit TSignalFileReader(TFileFormat format) : format_(format) {}

  // Fills records_ from the stream (positioned at 0). Called by Open.
  virtual void Scan() = 0;
  // Writes count frames (count * channels * (complex ? 2 : 1) doubles) of the record,
  // starting at frame first (both already clipped to the record), to dst.
  virtual void ReadFrames(int record, std::int64_t first, std::int64_t count, double* dst) = 0;
  // Releases format state (libraries, cursors) when the reader closes.
  virtual void CloseFormat() noexcept {}

  TStream& Stream() { return *stream_; }
  // EReadError: "\"NAME\": WHAT at byte POSITION".
  [[noreturn]] void FailAt(const std::string& what, std::int64_t position) const;
  // EReadError: "\"NAME\", line LINE: WHAT".
  [[noreturn]] void FailAtLine(const std::string& what, std::int64_t line) const;
  // Seeks the stream, raising "Seek Error" when it does not get there.
  void SeekTo(std::int64_t position);

  std::vector<TSignalRecordInfo> records_;
  TSignalReadOptions options_;
  bool truncatedTail_ = false;

private:
  TFileFormat format_;
  std::string name_;
  std::unique_ptr<TStream> stream_;
};

// Opens fileName with the reader of format.
std::unique_ptr<TSignalFileReader> OpenSignalFile(const std::string& fileName, TFileFormat format,
                                                  const TSignalReadOptions& options = {});

// count values of precision p, little-endian, from bytes into dst (no scaling).
void DecodeSamples(const std::uint8_t* bytes, TPrecision p, std::size_t count, double* dst) noexcept;

}  // namespace sigflow
