// Formula text from a command line: ParseFormula must raise EConvertError or give lines whose
// text form reads back to the same text, never crash or hang.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "sigflow/core/Exceptions.h"
#include "sigflow/processing/FuncSignalList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > 4096) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  std::vector<sigflow::TFuncSignalRecord> lines;
  try {
    lines = sigflow::ParseFormula(text);
  } catch (const sigflow::EConvertError&) {
    return 0;
  }
  sigflow::TFuncSignalList list;
  for (const auto& line : lines) list.Add(line);
  const std::string once = sigflow::FormatFormula(list);
  sigflow::TFuncSignalList again;
  for (const auto& line : sigflow::ParseFormula(once)) again.Add(line);
  if (sigflow::FormatFormula(again) != once) std::abort();
  return 0;
}
