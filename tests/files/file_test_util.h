#pragma once
// Helpers shared by the signal file tests: a scratch folder, whole-file bytes, sample data.
#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "sigflow/numeric/Vec.h"
#include "support/message.h"

namespace sigflow::test {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TScratchDir {
public:
  TScratchDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sigflow-files-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TScratchDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
  std::filesystem::path path_;
};

inline std::vector<std::uint8_t> ReadBytes(const std::string& fileName) {
  std::ifstream in(fileName, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void WriteBytes(const std::string& fileName, const std::vector<std::uint8_t>& bytes) {
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

inline void WriteText(const std::string& fileName, const std::string& text) {
  std::ofstream out(fileName, std::ios::binary | std::ios::trunc);
  out << text;
}

inline std::string DataFile(const std::string& name) { return std::string(SIGFLOW_TEST_DATA_DIR) + "/" + name; }

// Equal bit for bit (NaN payloads, signed zeros); prints the first difference.
inline ::testing::AssertionResult SameBits(const TVec& a, const TVec& b) {
  if (a.Length() != b.Length() || a.Complex() != b.Complex())
    return ::testing::AssertionFailure() << "shape " << a.Length() << (a.Complex() ? "c" : "r") << " <> "
                                         << b.Length() << (b.Complex() ? "c" : "r");
  const auto x = a.Span();
  const auto y = b.Span();
  for (std::size_t i = 0; i < x.size(); ++i)
    if (std::bit_cast<std::uint64_t>(x[i]) != std::bit_cast<std::uint64_t>(y[i]))
      return ::testing::AssertionFailure() << "value " << i << ": " << x[i] << " <> " << y[i];
  return ::testing::AssertionSuccess();
}

// Message of what f throws, the file name in it replaced by FILE.
template <class E = Exception, class F>
std::string MessageWithFile(const std::string& file, F&& f) {
  std::string m = MessageOf<E>(f);
  const auto at = m.find(file);
  return at == std::string::npos ? m : m.replace(at, file.size(), "FILE");
}

// Little-endian pieces of hand-built images.
inline void Put16(std::vector<std::uint8_t>& b, std::uint16_t v) {
  for (int i = 0; i < 2; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}
inline void Put32(std::vector<std::uint8_t>& b, std::uint32_t v) {
  for (int i = 0; i < 4; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}
inline void Put64(std::vector<std::uint8_t>& b, double d) {
  const auto v = std::bit_cast<std::uint64_t>(d);
  for (int i = 0; i < 8; ++i) b.push_back(std::uint8_t(v >> (8 * i)));
}

inline TVec MakeVec(std::initializer_list<double> values, bool complex = false) {
  TVec v(int(values.size()) / (complex ? 2 : 1), complex);
  int i = 0;
  for (double x : values) v.SetValues(i++, x);
  return v;
}

}  // namespace sigflow::test
