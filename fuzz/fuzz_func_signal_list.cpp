// Formula line lists from untrusted bytes: must raise EReadError (or load), never crash or
// allocate beyond what the input holds; a loaded list writes back the bytes it read (apart
// from the reference fields, which are written as zeros), and a generator evaluating it never
// lets an error escape.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "sigflow/processing/SignalGenerator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream in;
  in.WriteBuffer(data, static_cast<std::int64_t>(size));
  in.SetPosition(0);
  sigflow::TFuncSignalList list;
  try {
    list.LoadFromStream(in);
  } catch (const sigflow::EReadError&) {
    return 0;
  }
  const std::int64_t used = in.Position();
  if (used != static_cast<std::int64_t>(list.Count() + 1) * sigflow::FuncSignalRecordSize) std::abort();
  sigflow::TMemoryStream out;
  list.SaveToStream(out);
  if (out.Size() != used) std::abort();
  for (std::int64_t i = sigflow::FuncSignalRecordSize; i < used; ++i) {
    const std::int64_t off = i % sigflow::FuncSignalRecordSize;
    const bool reference = off >= 63 && off < 71;
    const std::uint8_t want = reference ? 0 : data[i];
    const std::uint8_t got = out.Bytes()[std::size_t(i)];
    // Booleans come back as 0 or 1.
    const bool flag = off == 0 || off == 4 || off == 61 || off == 62 || off == 75;
    if (flag ? (got != (want != 0)) : (got != want)) std::abort();
  }
  // Evaluate small formulas; parameters may be anything, so only exceptions from the
  // documented setup checks may leave Update.
  if (list.Count() > 0 && list.Count() <= 8) {
    sigflow::TSignalGenerator g(nullptr);
    g.SetSamplingFrequency(1000);
    g.SetLength(64);
    g.Sounds()->AddTemplate("f");
    for (int i = 0; i < list.Count(); ++i) {
      sigflow::TFuncSignalRecord r = *list.Items(i);
      g.Template()->Add(r);
    }
    try {
      g.Update();
      g.Update();
    } catch (const sigflow::Exception&) {
    }
  }
  return 0;
}
