#include "sigflow/files/FileFormats.h"

#include <cctype>

namespace sigflow {
namespace {

struct TFormatEntry {
  const char* Extension;
  const char* Description;
};

constexpr TFormatEntry kFormats[FileFormatCount] = {
    {".dat", "Binary multi precision records (*.dat)"},
    {".sgl", "Multi record ASCII (*.sgl)"},
    {".bin", "Binary single precision records (*.bin)"},
    {".wav", "Windows PCM (*.wav)"},
    {".sfs", "Single column ASCII (*.sfs)"},
    {".asc", "Two column ASCII (*.asc)"},
    {".dbn", "Binary double precision records (*.dbn)"},
};

std::string Lower(std::string s) {
  for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

}  // namespace

const char* FileFormatExtension(TFileFormat format) {
  return int(format) < FileFormatCount ? kFormats[format].Extension : "";
}

const char* FileFormatDescription(TFileFormat format) {
  return int(format) < FileFormatCount ? kFormats[format].Description : "";
}

std::string ExtractFileExt(const std::string& fileName) {
  const auto dot = fileName.find_last_of('.');
  const auto slash = fileName.find_last_of('/');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return {};
  return fileName.substr(dot);
}

TFileFormat FileFormatFromExtension(const std::string& extension) {
  const std::string lower = Lower(extension);
  for (int i = 0; i < FileFormatCount; ++i)
    if (lower == kFormats[i].Extension) return TFileFormat(i);
  throw EFileFormatError(UnknownExtensionMessage(extension));
}

TFileFormat FileFormatFromFileName(const std::string& fileName) {
  return FileFormatFromExtension(ExtractFileExt(Lower(fileName)));
}

std::string UnknownExtensionMessage(const std::string& extension) {
  return "Unknown file file format extension: " + extension;
}

std::string FileNotFoundMessage(const std::string& fileName) { return "File not found: " + fileName; }

std::string RecordNotFoundMessage(std::int64_t number) {
  return "Record number: " + std::to_string(number) + " not found!";
}

}  // namespace sigflow
