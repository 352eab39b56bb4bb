#pragma once
// Writers of signal files, one per format behind one interface. Each WriteBlock leaves a
// valid file behind (buffers flushed, WAV header sizes brought up to date), so a writer
// stopped at any moment loses at most the block in flight.
//
// Record formats (".dat", ".bin", ".dbn", ".sgl") store each block as a new record. The
// others (".wav", ".sfs", ".asc") hold one record: blocks are appended, and every block must
// keep the first block's sampling frequency and channel count.
//
// A writer closed before its first block removes the file it created (a stream given to
// Create is left empty).
#include <cstdint>
#include <memory>
#include <string>

#include "sigflow/core/Streams.h"
#include "sigflow/files/FileFormats.h"
#include "sigflow/numeric/Precision.h"

namespace sigflow {

class TVec;

class TSignalFileWriter {
public:
  virtual ~TSignalFileWriter();
  TSignalFileWriter(const TSignalFileWriter&) = delete;
  TSignalFileWriter& operator=(const TSignalFileWriter&) = delete;

  // Creates (replaces) fileName. precision and rounding: how values are stored.
  //   ".dat": any precision; integers are rounded by rounding and clipped.
  //   ".wav": prInteger (32 bit), prSmallInt (16) or prByte (8, unsigned 0..255 raw); any
  //           other raises Exception "Wav format error: Precision <> prInteger (32),
  //           prSmallInt (16), prByte (8)".
  //   ".bin", ".dbn": fixed single / double precision; the arguments are ignored.
  //   text formats: values are quantised to the precision, then written in full.
  static std::unique_ptr<TSignalFileWriter> Create(const std::string& fileName, TFileFormat format,
                                                   TPrecision precision = prDouble, TRounding rounding = rnRound);
  // Writes to stream (from its present position); name is used in messages.
  static std::unique_ptr<TSignalFileWriter> Create(std::unique_ptr<TStream> stream, const std::string& name,
                                                   TFileFormat format, TPrecision precision = prDouble,
                                                   TRounding rounding = rnRound);

  TFileFormat Format() const noexcept { return format_; }
  // The precision values are stored at (".bin": prSingle, ".dbn": prDouble).
  TPrecision Precision() const noexcept { return precision_; }
  TRounding Rounding() const noexcept { return rounding_; }
  const std::string& FileName() const noexcept { return name_; }

  // Stores data (channels interleaved, data.Length() a multiple of channelCount) sampled at
  // samplingFrequency per channel. ".bin", ".dbn", ".sfs" and ".asc" take real data only;
  // ".bin" and ".dbn" one channel only; ".wav" real data at a sampling frequency that rounds
  // to 1 .. 2^31 - 1 Hz.
  void WriteBlock(const TVec& data, double samplingFrequency, int channelCount);
  // Finishes the file and releases it; later calls do nothing. The destructor closes too
  // but swallows errors: call Close to see them.
  void Close();
  bool IsOpen() const noexcept { return open_; }

  std::int64_t BlockCount() const noexcept { return blocks_; }
  // Frames written over all blocks.
  std::int64_t FrameCount() const noexcept { return frames_; }

protected:
  TSignalFileWriter(std::unique_ptr<TStream> stream, std::string name, TFileFormat format, TPrecision precision,
                    TRounding rounding);

  // Writes one validated block and makes it durable against a stop of the process.
  virtual void DoWriteBlock(const TVec& data, double samplingFrequency, int channelCount) = 0;
  // Finishes the format before the stream is released.
  virtual void DoClose() {}

  TStream& Stream() { return *stream_; }
  // For the destructors of the formats, which must finish the file while they still exist.
  void CloseNoThrow() noexcept {
    try {
      Close();
    } catch (...) {
    }
  }
  // Flushes a file stream's buffer to the system.
  void FlushStream();
  // Exception "\"NAME\": WHAT".
  [[noreturn]] void Fail(const std::string& what) const;

private:
  friend class TSignalFileWriterAccess;
  std::unique_ptr<TStream> stream_;
  std::string name_;
  TFileFormat format_;
  TPrecision precision_;
  TRounding rounding_;
  bool open_ = true;
  bool ownsFile_ = false;
  std::int64_t blocks_ = 0;
  std::int64_t frames_ = 0;
};

}  // namespace sigflow
