// ".wav" signal files from untrusted bytes.
#include "signal_file_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return FuzzSignalFile(sigflow::ffWav, data, size);
}
