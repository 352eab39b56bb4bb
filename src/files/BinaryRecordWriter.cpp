// Writers of the binary record formats: one record per block.
#include "FileInternals.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::files_detail {
namespace {

class TBinaryRecordWriter final : public TSignalFileWriter {
public:
  TBinaryRecordWriter(std::unique_ptr<TStream> stream, const std::string& name, TFileFormat format,
                      TPrecision precision, TRounding rounding)
      : TSignalFileWriter(std::move(stream), name, format,
                          format == ffDat ? precision : format == ffBin ? prSingle : prDouble, rounding) {}
  ~TBinaryRecordWriter() override { CloseNoThrow(); }

protected:
  void DoWriteBlock(const TVec& data, double samplingFrequency, int channelCount) override {
    TStream& s = Stream();
    if (Format() != ffDat) {
      if (channelCount != 1 || data.Complex())
        Fail(std::string(FileFormatDescription(Format())) + " holds one real channel");
      s.WriteValue<std::int32_t>(data.Length());
      s.WriteValue<double>(samplingFrequency);
    } else {
      s.WriteValue<std::int32_t>(data.Length());
      s.WriteValue<double>(samplingFrequency);
      s.WriteValue<std::int32_t>(std::int32_t(Precision()));
      s.WriteValue<std::int32_t>(data.Complex() ? 1 : 0);
      s.WriteValue<std::int32_t>(channelCount);
    }
    data.WriteValues(s, Precision(), Rounding());
    FlushStream();
  }
};

}  // namespace

std::unique_ptr<TSignalFileWriter> CreateBinaryRecordWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                            TFileFormat format, TPrecision precision,
                                                            TRounding rounding) {
  return std::make_unique<TBinaryRecordWriter>(std::move(stream), name, format, precision, rounding);
}

}  // namespace sigflow::files_detail
