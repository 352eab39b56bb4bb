// Readers of the binary record formats: ".dat" (multi precision, self-describing records),
// ".bin" (single precision) and ".dbn" (double precision).
#include <bit>
#include <cstring>

#include "FileInternals.h"

namespace sigflow::files_detail {
namespace {

constexpr std::size_t kChunkBytes = 64 * 1024;

class TBinaryRecordReader final : public TSignalFileReader {
public:
  explicit TBinaryRecordReader(TFileFormat format) : TSignalFileReader(format), chunk_(kChunkBytes) {}

protected:
  void Scan() override {
    TStream& s = Stream();
    const std::int64_t size = s.Size();
    const bool dat = Format() == ffDat;
    // Count field, then: dat: sampling frequency, precision, complex flag, channel count;
    // bin/dbn: the sampling frequency.
    const std::int64_t headerBytes = dat ? 24 : 12;
    std::int64_t pos = 0;
    while (pos < size) {
      if (size - pos < headerBytes) {
        Truncated("incomplete record header (" + std::to_string(size - pos) + " of " + std::to_string(headerBytes) +
                      " bytes)",
                  pos);
        break;
      }
      SeekTo(pos);
      TSignalRecordInfo r;
      const std::int32_t n = s.ReadValue<std::int32_t>();
      if (n < 0) FailAt("record " + std::to_string(records_.size()) + ": negative sample count " + std::to_string(n), pos);
      r.SamplingFrequency = s.ReadValue<double>();
      if (dat) {
        const std::int32_t precision = s.ReadValue<std::int32_t>();
        const std::int32_t complex = s.ReadValue<std::int32_t>();
        const std::int32_t channels = s.ReadValue<std::int32_t>();
        if (precision < 0 || precision >= PrecisionCount)
          FailAt("record " + std::to_string(records_.size()) + ": unknown precision ordinal " + std::to_string(precision),
                 pos + 12);
        if (channels <= 0)
          FailAt("record " + std::to_string(records_.size()) + ": channel count " + std::to_string(channels), pos + 20);
        if (n % channels != 0)
          FailAt("record " + std::to_string(records_.size()) + ": sample count " + std::to_string(n) +
                     " is not a multiple of the channel count " + std::to_string(channels),
                 pos);
        r.Precision = TPrecision(precision);
        r.Complex = complex != 0;
        r.ChannelCount = channels;
        r.Frames = n / channels;
      } else {
        r.Precision = Format() == ffBin ? prSingle : prDouble;
        r.Frames = n;
      }
      r.Offset = pos + headerBytes;
      const std::int64_t bytes = std::int64_t(n) * PrecisionSize(r.Precision) * (r.Complex ? 2 : 1);
      if (bytes > size - r.Offset) {
        Truncated("record " + std::to_string(records_.size()) + " declares " + std::to_string(n) + " samples (" +
                      std::to_string(bytes) + " bytes) but " + std::to_string(size - r.Offset) + " bytes remain",
                  pos);
        break;
      }
      records_.push_back(r);
      pos = r.Offset + bytes;
    }
  }

  void ReadFrames(int record, std::int64_t first, std::int64_t count, double* dst) override {
    const TSignalRecordInfo& r = records_[std::size_t(record)];
    const std::int64_t perFrame = std::int64_t(r.ChannelCount) * (r.Complex ? 2 : 1);
    const std::size_t size = std::size_t(PrecisionSize(r.Precision));
    const std::int64_t start = r.Offset + first * perFrame * std::int64_t(size);
    std::int64_t values = count * perFrame;
    SeekTo(start);
    TStream& s = Stream();
    if (r.Precision == prDouble && std::endian::native == std::endian::little) {
      const std::int64_t bytes = values * 8;
      if (s.Read(dst, bytes) != bytes) FailAt("file ends inside record " + std::to_string(record), start);
      return;
    }
    const std::size_t per = kChunkBytes / size;
    std::int64_t pos = start;
    while (values > 0) {
      const std::size_t m = std::size_t(std::min<std::int64_t>(values, std::int64_t(per)));
      if (s.Read(chunk_.data(), std::int64_t(m * size)) != std::int64_t(m * size))
        FailAt("file ends inside record " + std::to_string(record), pos);
      DecodeSamples(chunk_.data(), r.Precision, m, dst);
      dst += m;
      values -= std::int64_t(m);
      pos += std::int64_t(m * size);
    }
  }

private:
  void Truncated(const std::string& what, std::int64_t pos) {
    if (!options_.AcceptTruncatedTail) FailAt("truncated file: " + what, pos);
    truncatedTail_ = true;
  }

  std::vector<std::uint8_t> chunk_;
};

}  // namespace

std::unique_ptr<TSignalFileReader> CreateBinaryRecordReader(TFileFormat format) {
  return std::make_unique<TBinaryRecordReader>(format);
}

}  // namespace sigflow::files_detail
