// Band lists and template stores holding them, from untrusted bytes. The first byte picks
// the reader: a bare band list or the store. Either must load or raise EReadError; what
// loads must save and load back to the same image.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "sigflow/analysis/SpectrumBands.h"
#include "sigflow/tools/StreamTemplates.h"

namespace {

class THost : public sigflow::TObject {
public:
  std::string ClassName() const override { return "TSpectrumAnalyzer"; }
};

std::vector<std::uint8_t> Image(sigflow::TMemoryStream& s) {
  std::vector<std::uint8_t> b(static_cast<std::size_t>(s.Size()));
  s.SetPosition(0);
  if (!b.empty()) s.ReadBuffer(b.data(), s.Size());
  return b;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  sigflow::TMemoryStream in;
  in.WriteBuffer(data + 1, static_cast<std::int64_t>(size - 1));
  in.SetPosition(0);
  if (data[0] & 1) {
    sigflow::TSpectrumBands bands;
    try {
      bands.LoadFromStream(in);
    } catch (const sigflow::EReadError&) {
      if (bands.Count() != 0) std::abort();  // a rejected image leaves the list as it was
      return 0;
    }
    sigflow::TMemoryStream out;
    bands.SaveToStream(out);
    if (out.Size() > in.Size()) std::abort();
    out.SetPosition(0);
    sigflow::TSpectrumBands again;
    again.LoadFromStream(out);
    sigflow::TMemoryStream out2;
    again.SaveToStream(out2);
    if (Image(out) != Image(out2)) std::abort();
    return 0;
  }
  THost host;
  sigflow::TSpectrumBands work;
  sigflow::TStreamTemplates t;
  t.SetOwner(&host);
  t.SetTemplate(&work);
  try {
    t.LoadFromStream(in);
  } catch (const sigflow::EReadError&) {
    return 0;
  }
  // The selected template may hold bad band bytes: selecting raised or it loaded. Walk every
  // entry; each either loads or is refused the same way.
  for (int i = 0; i < t.Templates()->Count(); ++i) {
    try {
      t.SetTemplateIndex(i);
    } catch (const sigflow::EReadError&) {
    }
  }
  return 0;
}
