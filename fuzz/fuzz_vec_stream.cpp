// Feeds arbitrary bytes to the vector stream loader. Any input must either load or raise
// EReadError, and a rejected input must leave the vector as it was.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Streams.h"
#include "sigflow/numeric/Vec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream s;
  if (size > 0) s.WriteBuffer(data, std::int64_t(size));
  s.SetPosition(0);
  sigflow::TVec v(3, true);
  v.SetCValues(1, {1.0, 2.0});
  try {
    v.LoadFromStream(s);
    // A loaded vector saves back to the same bytes when it was stored as doubles.
    if (size >= 6 && data[5] == sigflow::prDouble) {
      sigflow::TMemoryStream out;
      v.SaveToStream(out, sigflow::prDouble, sigflow::rnTrunc);
      if (std::size_t(out.Size()) > size || std::memcmp(out.Memory(), data, std::size_t(out.Size())) != 0) std::abort();
    }
  } catch (const sigflow::EReadError&) {
    if (v.Length() != 3 || !v.Complex() || v.CValues(1) != sigflow::TCplx(1.0, 2.0)) std::abort();
  }
  return 0;
}
