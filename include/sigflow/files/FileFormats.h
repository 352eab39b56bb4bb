#pragma once
// Signal file formats: the list, the choice by extension, the dialog filter and the messages
// every reader and writer raises. Byte and text layouts are described in docs/formats.md.
#include <cstdint>
#include <string>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

// Ordinals are part of stored settings: never reorder.
enum TFileFormat : std::uint8_t { ffDat, ffSgl, ffBin, ffWav, ffSfs, ffAsc, ffDbn };

inline constexpr int FileFormatCount = 7;

// Filter text for file dialogs: description|pattern pairs. Its order is not TFileFormat's
// (".dbn" comes fourth); both orders are kept on purpose.
inline constexpr const char* SignalDialogFilter =
    "Binary multi precision records (*.dat)|*.dat|Multi record ASCII (*.sgl)|*.sgl|"
    "Binary single precision records (*.bin)|*.bin|Binary double precision records (*.dbn)|*.dbn|"
    "Single column ASCII (*.sfs)|*.sfs|Two column ASCII (*.asc)|*.asc|Windows PCM (*.wav)|*.wav|"
    "All files (*.*)|*.*";

// Raised for a file name whose extension names no format.
class EFileFormatError : public Exception {
public:
  using Exception::Exception;
  const char* ClassName() const noexcept override { return "EFileFormatError"; }
};

// ".dat" ... ".dbn", lower case, with the dot.
const char* FileFormatExtension(TFileFormat format);
// The description used in SignalDialogFilter, e.g. "Windows PCM (*.wav)".
const char* FileFormatDescription(TFileFormat format);

// The extension of fileName as given: from the last '.' of the last path element, dot
// included; "" when there is none.
std::string ExtractFileExt(const std::string& fileName);

// The format of an extension (dot included), compared in lower case. Raises EFileFormatError
// "Unknown file file format extension: " + extension (as given) for anything else.
TFileFormat FileFormatFromExtension(const std::string& extension);
// FileFormatFromExtension(ExtractFileExt(lower-cased fileName)).
TFileFormat FileFormatFromFileName(const std::string& fileName);

// ---- messages, character for character ---------------------------------------------------
inline constexpr const char* SWavOpenError = "Error opening wav file!";
inline constexpr const char* SWavNotPcm = "The file is not uncompressed Windows PCM file!";
inline constexpr const char* SWavReadError = "Error reading wav file: ";
inline constexpr const char* SWavChunkNotFound = "Error in mmIoDescend!";
inline constexpr const char* SSeekError = "Seek Error";
inline constexpr const char* SWavPrecisionError =
    "Wav format error: Precision <> prInteger (32), prSmallInt (16), prByte (8)";

// "Unknown file file format extension: " + extension.
std::string UnknownExtensionMessage(const std::string& extension);
// "File not found: " + fileName.
std::string FileNotFoundMessage(const std::string& fileName);
// "Record number: " + number + " not found!".
std::string RecordNotFoundMessage(std::int64_t number);

}  // namespace sigflow
