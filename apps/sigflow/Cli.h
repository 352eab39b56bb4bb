#pragma once
// Pieces shared by the subcommands of the sigflow tool.
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

#include "sigflow/numeric/Precision.h"

namespace CLI {
class App;
}

namespace sigflow::cli {

// Exit statuses.
inline constexpr int ExitOk = 0;
inline constexpr int ExitError = 1;

// A wrong option value or a request the tool refuses; reported as "sigflow: <what>".
class EUsage : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

// The work of the subcommand the command line chose; set while options are registered,
// run after parsing so that every error passes the one handler in main.
using TCommand = std::function<int()>;

// Each registers its subcommand on app; the callback stores the work in *selected.
void RegisterInfo(CLI::App& app, TCommand* selected);
void RegisterConvert(CLI::App& app, TCommand* selected);
void RegisterAnalyze(CLI::App& app, TCommand* selected);
void RegisterGenerate(CLI::App& app, TCommand* selected);
void RegisterFilter(CLI::App& app, TCommand* selected);
void RegisterRun(CLI::App& app, TCommand* selected);

// Precision by name: the enumeration names (prDouble ... prByte) or the short forms
// double, single (float), int32, uint32, int16, uint16, int8, uint8; case-insensitive.
TPrecision ParsePrecision(const std::string& name);
TRounding ParseRounding(const std::string& name);
const char* PrecisionName(TPrecision p);
const char* PrecisionShortName(TPrecision p);
const char* RoundingName(TRounding r);

// A bar on stderr for long work. Drawn only when stderr is a terminal and the work covers
// more than a few seconds of signal; otherwise it writes nothing at all.
class TProgress {
public:
  TProgress(std::string label, std::int64_t total, double seconds);
  ~TProgress();
  void Update(std::int64_t done);
  void Finish();

private:
  std::string label_;
  std::int64_t total_;
  bool enabled_;
  int lastPermille_ = -1;
};

// The whole text as a finite number, '.' as the decimal point whatever the locale.
bool ParseFinite(const std::string& text, double& value);
std::string Lower(std::string s);

// Number formatting that ignores the process locale.
std::string FormatNumber(double x, int precision = 6);

}  // namespace sigflow::cli
