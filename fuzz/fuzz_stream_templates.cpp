// Template store images from untrusted bytes: must raise EReadError (or load), never crash
// or allocate beyond what the input could hold. The working copy reads int records, as a
// band list would.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "sigflow/tools/StreamTemplates.h"

namespace {

class THost : public sigflow::TObject {
public:
  std::string ClassName() const override { return "TFilterHost"; }
};

class TIntList : public sigflow::TStreamedList {
public:
  ~TIntList() override { Clear(); }
  void Delete(int Index) override {
    delete static_cast<std::int32_t*>(Items(Index));
    TStreamedList::Delete(Index);
  }
  void SaveToStream(sigflow::TStream& Stream) override {
    Stream.WriteValue<std::int32_t>(Count());
    for (int i = 0; i < Count(); ++i) Stream.WriteValue<std::int32_t>(*static_cast<std::int32_t*>(Items(i)));
  }
  void LoadFromStream(sigflow::TStream& Stream) override {
    Clear();
    const auto n = Stream.ReadValue<std::int32_t>();
    if (n < 0 || n > (Stream.Size() - Stream.Position()) / 4) throw sigflow::EReadError("bad count");
    for (std::int32_t i = 0; i < n; ++i) Add(new std::int32_t(Stream.ReadValue<std::int32_t>()));
  }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  sigflow::TMemoryStream in;
  in.WriteBuffer(data, static_cast<std::int64_t>(size));
  in.SetPosition(0);
  THost host;
  TIntList work;
  sigflow::TStreamTemplates t;
  t.SetOwner(&host);
  t.SetTemplate(&work);
  try {
    t.LoadFromStream(in);
  } catch (const sigflow::EReadError&) {
    return 0;
  }
  // A loaded store saves to an image no larger than the input plus the working copy's
  // rewrite and what line-break normalisation adds to the names.
  sigflow::TMemoryStream out;
  t.SaveToStream(out);
  if (out.Size() > 2 * static_cast<std::int64_t>(size) + 16) std::abort();
  // And that image loads back to itself.
  out.SetPosition(0);
  sigflow::TStreamTemplates again;
  TIntList work2;
  again.SetOwner(&host);
  again.SetTemplate(&work2);
  again.LoadFromStream(out);
  sigflow::TMemoryStream out2;
  again.SaveToStream(out2);
  if (out2.Bytes() != out.Bytes()) std::abort();
  return 0;
}
