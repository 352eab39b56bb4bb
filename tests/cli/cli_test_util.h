#pragma once
// Runs the built sigflow tool and captures what it prints.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace sigflow::test {

struct TRun {
  int Status = -1;
  std::string Out;
  std::string Err;
};

class TCliScratch {
public:
  TCliScratch() {
    std::string pattern = (std::filesystem::temp_directory_path() / "sigflow-cli-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
  }
  ~TCliScratch() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  std::string File(const std::string& name) const { return (path_ / name).string(); }

private:
  std::filesystem::path path_;
};

inline std::string ReadFileText(const std::string& name) {
  std::ifstream in(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline std::string Quote(const std::string& s) {
  std::string q = "'";
  for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return q + "'";
}

// Runs sigflow with args (each quoted for the shell); stderr goes to a file of its own.
inline TRun RunCli(const std::vector<std::string>& args) {
  static int counter = 0;
  const std::string errFile =
      (std::filesystem::temp_directory_path() / ("sigflow-cli-err-" + std::to_string(::getpid()) + "-" +
                                                 std::to_string(counter++)))
          .string();
  std::string cmd = Quote(SIGFLOW_CLI_EXE);
  for (const auto& a : args) cmd += " " + Quote(a);
  cmd += " 2>" + Quote(errFile);
  TRun r;
  FILE* p = ::popen(cmd.c_str(), "r");
  if (!p) return r;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) r.Out.append(buf, n);
  const int st = ::pclose(p);
  r.Status = WIFEXITED(st) ? WEXITSTATUS(st) : -1;
  r.Err = ReadFileText(errFile);
  std::filesystem::remove(errFile);
  return r;
}

inline nlohmann::json RunJson(const std::vector<std::string>& args) {
  const TRun r = RunCli(args);
  EXPECT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Err, "");
  return nlohmann::json::parse(r.Out);
}

}  // namespace sigflow::test
