// Band templates from untrusted bytes: must raise EReadError or load, never crash or allocate
// beyond what the input could hold; what loads saves back to the bytes it came from.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "sigflow/processing/BandFilterList.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream s;
  s.WriteBuffer(data, static_cast<std::int64_t>(size));
  s.SetPosition(0);
  sigflow::TBandFilterList list;
  try {
    list.LoadFromStream(s);
  } catch (const sigflow::EReadError&) {
    if (list.Count() != 0) std::abort();
    return 0;
  }
  const std::int64_t used = s.Position();
  if (used != (list.Count() + 1) * std::int64_t{sigflow::BandFilterRecordSize}) std::abort();
  sigflow::TMemoryStream out;
  list.SaveToStream(out);
  if (out.Size() != used) std::abort();
  // The records come back byte for byte; the header only by its count.
  std::vector<std::uint8_t> back(static_cast<std::size_t>(used));
  out.SetPosition(0);
  out.ReadBuffer(back.data(), used);
  const int header = sigflow::BandFilterRecordSize;
  if (used > header && std::memcmp(back.data() + header, data + header, static_cast<std::size_t>(used - header)) != 0)
    std::abort();
  list.DeleteOverlapingBands();
  return 0;
}
