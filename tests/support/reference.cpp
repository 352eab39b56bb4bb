#include "support/reference.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sigflow::test {

ReferenceData::ReferenceData(const std::string& file) : file_(file) {
  const std::string path = std::string(SIGFLOW_REFERENCE_DIR) + "/" + file;
  std::ifstream in(path);
  if (!in) throw std::runtime_error("cannot open reference file " + path);
  std::string line, name;
  std::size_t expected = 0, lineNo = 0;
  std::vector<double>* current = nullptr;
  auto fail = [&](const std::string& what) {
    throw std::runtime_error(path + ":" + std::to_string(lineNo) + ": " + what);
  };
  while (std::getline(in, line)) {
    ++lineNo;
    if (line.empty() || line[0] == '#') continue;
    if (line[0] == '@') {
      if (current && current->size() != expected) fail("array " + name + " is short");
      std::istringstream head(line.substr(1));
      if (!(head >> name >> expected)) fail("bad array header");
      current = &arrays_[name];
      current->clear();
      current->reserve(expected);
      continue;
    }
    if (!current) fail("values before the first @name line");
    std::istringstream values(line);
    std::string token;
    while (values >> token) {
      char* end = nullptr;
      const double v = std::strtod(token.c_str(), &end);
      if (end == token.c_str() || *end != '\0') fail("bad number '" + token + "'");
      current->push_back(v);
    }
  }
  if (current && current->size() != expected) fail("array " + name + " is short");
}

const std::vector<double>& ReferenceData::operator[](const std::string& name) const {
  auto it = arrays_.find(name);
  if (it == arrays_.end()) throw std::out_of_range(file_ + " has no array '" + name + "'");
  return it->second;
}

std::vector<std::string> ReferenceData::Names() const {
  std::vector<std::string> out;
  for (const auto& [k, v] : arrays_) out.push_back(k);
  return out;
}

std::string TestDataPath(const std::string& file) { return std::string(SIGFLOW_TEST_DATA_DIR) + "/" + file; }

}  // namespace sigflow::test
