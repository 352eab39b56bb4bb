#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <sstream>

#include "Cli.h"

namespace sigflow::cli {

namespace {

// Seconds of signal above which a bar is worth drawing.
constexpr double ProgressMinSeconds = 5.0;

}  // namespace

std::string Lower(std::string s) {
  std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return char(std::tolower(c)); });
  return s;
}

bool ParseFinite(const std::string& text, double& value) {
  const char* end = text.data() + text.size();
  const auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && ptr == end && std::isfinite(value);
}

TPrecision ParsePrecision(const std::string& name) {
  struct Entry {
    const char* Name;
    TPrecision Value;
  };
  static constexpr Entry entries[] = {
      {"prdouble", prDouble},     {"double", prDouble},    {"float64", prDouble},  {"prsingle", prSingle},
      {"single", prSingle},       {"float", prSingle},     {"float32", prSingle},  {"printeger", prInteger},
      {"int32", prInteger},       {"prcardinal", prCardinal}, {"uint32", prCardinal}, {"prsmallint", prSmallInt},
      {"int16", prSmallInt},      {"prword", prWord},      {"uint16", prWord},     {"prshortint", prShortInt},
      {"int8", prShortInt},       {"prbyte", prByte},      {"uint8", prByte},
  };
  const std::string key = Lower(name);
  for (const auto& e : entries)
    if (key == e.Name) return e.Value;
  throw EUsage("unknown precision '" + name + "' (double, single, int32, uint32, int16, uint16, int8, uint8)");
}

TRounding ParseRounding(const std::string& name) {
  const std::string key = Lower(name);
  if (key == "trunc" || key == "rntrunc") return rnTrunc;
  if (key == "floor" || key == "rnfloor") return rnFloor;
  if (key == "round" || key == "rnround") return rnRound;
  if (key == "ceil" || key == "rnceil") return rnCeil;
  throw EUsage("unknown rounding '" + name + "' (trunc, floor, round, ceil)");
}

const char* PrecisionName(TPrecision p) {
  static constexpr const char* names[] = {"prDouble",   "prSingle", "prInteger",  "prCardinal",
                                          "prSmallInt", "prWord",   "prShortInt", "prByte"};
  return p < PrecisionCount ? names[p] : "?";
}

const char* PrecisionShortName(TPrecision p) {
  static constexpr const char* names[] = {"double", "single", "int32", "uint32", "int16", "uint16", "int8", "uint8"};
  return p < PrecisionCount ? names[p] : "?";
}

const char* RoundingName(TRounding r) {
  static constexpr const char* names[] = {"trunc", "floor", "round", "ceil"};
  return r < RoundingCount ? names[r] : "?";
}

TProgress::TProgress(std::string label, std::int64_t total, double seconds)
    : label_(std::move(label)), total_(total), enabled_(total > 0 && seconds > ProgressMinSeconds && isatty(2)) {}

TProgress::~TProgress() {
  if (enabled_ && lastPermille_ >= 0) std::fputs("\n", stderr);
}

void TProgress::Update(std::int64_t done) {
  if (!enabled_) return;
  const int permille = int(std::clamp<std::int64_t>(done * 1000 / total_, 0, 1000));
  if (permille == lastPermille_) return;
  lastPermille_ = permille;
  constexpr int width = 40;
  const int filled = permille * width / 1000;
  std::string bar(std::size_t(filled), '#');
  bar.append(std::size_t(width - filled), '.');
  std::fprintf(stderr, "\r%s [%s] %3d%%", label_.c_str(), bar.c_str(), permille / 10);
  std::fflush(stderr);
}

void TProgress::Finish() {
  if (!enabled_) return;
  Update(total_);
  if (lastPermille_ >= 0) std::fputs("\n", stderr);
  enabled_ = false;
}

std::string FormatNumber(double x, int precision) {
  std::ostringstream s;
  s.imbue(std::locale::classic());
  s.precision(precision);
  s << x;
  return s.str();
}

}  // namespace sigflow::cli
