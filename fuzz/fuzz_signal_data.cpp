// A signal's stored data (marks, then samples) from untrusted bytes: must raise EReadError or
// load; what loaded must save and load back to the same samples and marks.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sigflow/tools/Signal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream s;
  s.WriteBuffer(data, static_cast<std::int64_t>(size));
  s.SetPosition(0);
  sigflow::TSignal sig(nullptr);
  try {
    sig.LoadBinaryStream(s);
  } catch (const sigflow::EReadError&) {
    return 0;
  }
  sigflow::TMemoryStream out;
  sig.SaveBinaryStream(out);
  out.SetPosition(0);
  sigflow::TSignal back(nullptr);
  back.LoadBinaryStream(out);
  const sigflow::TVec& a = sig.Data();
  const sigflow::TVec& b = back.Data();
  if (a.Length() != b.Length() || a.Complex() != b.Complex() || back.Length() != a.Length()) std::abort();
  if (std::memcmp(a.Data(), b.Data(), a.Span().size_bytes()) != 0) std::abort();
  if (sig.Marks().Count() != back.Marks().Count()) std::abort();
  return 0;
}
