#pragma once
// Shared body of the signal file fuzz targets: open untrusted bytes as a file of one format,
// read every record in blocks. Bad input must raise an Exception, never crash, and nothing
// may be allocated beyond what the input could hold.
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Vec.h"

inline int FuzzSignalFile(sigflow::TFileFormat format, const std::uint8_t* data, std::size_t size) {
  for (bool accept : {false, true}) {
    auto stream = std::make_unique<sigflow::TMemoryStream>();
    stream->WriteBuffer(data, static_cast<std::int64_t>(size));
    auto reader = sigflow::TSignalFileReader::Create(format);
    try {
      sigflow::TSignalReadOptions options;
      options.AcceptTruncatedTail = accept;
      reader->Open(std::move(stream), "fuzz", options);
      sigflow::TVec block;
      for (int r = 0; r < reader->NumberOfRecords(); ++r) {
        const auto& info = reader->RecordInfo(r);
        // The index never promises more stored values than the input has bytes (text
        // formats need at least two bytes per value, binary ones at least one).
        if (info.Frames * info.ChannelCount > static_cast<std::int64_t>(size) + 1) std::abort();
        for (std::int64_t f = 0; f < info.Frames; f += 4096) reader->ReadSamples(r, f, 4096, block);
        reader->ReadSamples(r, info.Frames / 2, 3, block);  // a jump backwards
      }
    } catch (const sigflow::Exception&) {
    }
  }
  return 0;
}
