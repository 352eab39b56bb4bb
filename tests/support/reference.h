#pragma once
// Reader of the oracle files in tests/reference/. A file holds named arrays:
//
//   # comment lines
//   @name count
//   0x1.921fb54442d18p+1 0x1p-3 ...   (count hex-float or decimal values, any layout)
//
// Complex arrays are stored interleaved (re, im, re, im, ...). The scripts that write the
// files sit beside them and use float.hex(), so values are exact.
#include <map>
#include <string>
#include <vector>

namespace sigflow::test {

class ReferenceData {
public:
  // Loads tests/reference/<file>; throws std::runtime_error naming the file and line on error.
  explicit ReferenceData(const std::string& file);

  bool Has(const std::string& name) const { return arrays_.count(name) != 0; }
  // Throws std::out_of_range naming the array if it is missing.
  const std::vector<double>& operator[](const std::string& name) const;
  std::vector<std::string> Names() const;

private:
  std::string file_;
  std::map<std::string, std::vector<double>> arrays_;
};

// Full path of a file in tests/data/.
std::string TestDataPath(const std::string& file);

}  // namespace sigflow::test
