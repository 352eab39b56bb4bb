#pragma once
// A working copy of int records for driving the template manager, and byte helpers.
#include <cstdint>
#include <string>
#include <vector>

#include "sigflow/Core.h"
#include "sigflow/tools/StreamTemplates.h"

namespace sigflow::test {

struct TIntRecord {
  std::int32_t Value = 0;
};

// Image: count, then each value (4-byte little-endian). Counts loads and records the order
// of Delete calls so tests can see what the manager did.
class TIntList : public TStreamedListOf<TIntRecord> {
public:
  ~TIntList() override { Clear(); }
  void Delete(int Index) override {
    delete Items(Index);
    Deleted.push_back(Index);
    TStreamedListOf<TIntRecord>::Delete(Index);
  }
  void SaveToStream(TStream& Stream) override {
    Stream.WriteValue<std::int32_t>(Count());
    for (int i = 0; i < Count(); ++i) Stream.WriteValue<std::int32_t>(Items(i)->Value);
  }
  void LoadFromStream(TStream& Stream) override {
    ++Loads;
    Clear();
    const auto n = Stream.ReadValue<std::int32_t>();
    for (std::int32_t i = 0; i < n; ++i) Append(Stream.ReadValue<std::int32_t>());
  }
  void Update() override { ++Updates; }
  void Append(std::int32_t V) { Add(new TIntRecord{V}); }
  std::vector<std::int32_t> Values() const {
    std::vector<std::int32_t> v;
    for (int i = 0; i < Count(); ++i) v.push_back(Items(i)->Value);
    return v;
  }
  int Loads = 0;
  int Updates = 0;
  std::vector<int> Deleted;
};

// Stands for the owning component: its class name tags the data.
class TFilterHost : public TObject {
public:
  std::string ClassName() const override { return "TFilterHost"; }
};

using Bytes = std::vector<std::uint8_t>;

class TImage {
public:
  TImage& I32(std::int32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(v) >> (8 * i)));
    return *this;
  }
  TImage& Str(const std::string& s) {
    b.insert(b.end(), s.begin(), s.end());
    return *this;
  }
  TImage& Short(const std::string& s) {
    b.push_back(static_cast<std::uint8_t>(s.size()));
    return Str(s);
  }
  // An int-list image: count and values.
  TImage& List(const std::vector<std::int32_t>& v) {
    I32(static_cast<std::int32_t>(v.size()));
    for (auto x : v) I32(x);
    return *this;
  }
  Bytes b;
};

inline Bytes StreamBytes(TStream& s) {
  Bytes out(static_cast<std::size_t>(s.Size()));
  const auto pos = s.Position();
  s.SetPosition(0);
  if (!out.empty()) s.ReadBuffer(out.data(), static_cast<std::int64_t>(out.size()));
  s.SetPosition(pos);
  return out;
}

inline void Fill(TMemoryStream& s, const Bytes& b) {
  s.Clear();
  if (!b.empty()) s.WriteBuffer(b.data(), static_cast<std::int64_t>(b.size()));
  s.SetPosition(0);
}

}  // namespace sigflow::test
