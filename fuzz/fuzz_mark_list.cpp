// Mark-list records from untrusted bytes: must raise EReadError or load, never crash or
// allocate beyond what the input could hold.
#include <cstdint>
#include <cstdlib>

#include "sigflow/tools/MarkList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream s;
  s.WriteBuffer(data, static_cast<std::int64_t>(size));
  s.SetPosition(0);
  sigflow::TMarkList list;
  try {
    list.LoadFromStream(s);
  } catch (const sigflow::EReadError&) {
    return 0;
  }
  // What loaded saves back to at most the input's size rounded up to whole records.
  sigflow::TMemoryStream out;
  list.SaveToStream(out);
  if (out.Size() > static_cast<std::int64_t>(size) + 64) std::abort();
  return 0;
}
