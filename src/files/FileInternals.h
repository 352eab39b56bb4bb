#pragma once
// Constructors of the per-format readers and writers, for the factories.
#include <memory>
#include <string>

#include "sigflow/core/Streams.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"

namespace sigflow::files_detail {

std::unique_ptr<TSignalFileReader> CreateBinaryRecordReader(TFileFormat format);
std::unique_ptr<TSignalFileReader> CreateTextReader(TFileFormat format);
std::unique_ptr<TSignalFileReader> CreateWavReader();

std::unique_ptr<TSignalFileWriter> CreateBinaryRecordWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                            TFileFormat format, TPrecision precision, TRounding rounding);
std::unique_ptr<TSignalFileWriter> CreateTextWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                    TFileFormat format, TPrecision precision, TRounding rounding);
std::unique_ptr<TSignalFileWriter> CreateWavWriter(std::unique_ptr<TStream> stream, const std::string& name,
                                                   TPrecision precision, TRounding rounding);

// "\"NAME\"" for messages.
inline std::string Quoted(const std::string& name) { return "\"" + name + "\""; }

}  // namespace sigflow::files_detail
