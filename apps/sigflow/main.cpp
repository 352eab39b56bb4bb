// sigflow: the library's signal tools from the shell, one subcommand per job.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "Cli.h"
#include "sigflow/core/Exceptions.h"

namespace {

int Fail(const std::string& reason, int status = sigflow::cli::ExitError) {
  std::fprintf(stderr, "sigflow: %s\n", reason.c_str());
  return status;
}

// Errors arrive as one line; a message that spans lines (a reader's context) is joined.
std::string OneLine(std::string text) {
  for (char& c : text)
    if (c == '\n' || c == '\r') c = ' ';
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  using namespace sigflow::cli;
  CLI::App app{"sigflow: signal files, spectra and measurements from the command line.", "sigflow"};
  app.require_subcommand(1);
  app.option_defaults()->always_capture_default();
  app.fallthrough(false);
  TCommand selected;
  try {
    RegisterInfo(app, &selected);
    RegisterConvert(app, &selected);
    RegisterAnalyze(app, &selected);
    RegisterGenerate(app, &selected);
    RegisterFilter(app, &selected);
    RegisterRun(app, &selected);
    try {
      app.parse(argc, argv);
    } catch (const CLI::CallForHelp& e) {
      return app.exit(e);
    } catch (const CLI::CallForAllHelp& e) {
      return app.exit(e);
    } catch (const CLI::ParseError& e) {
      return Fail(OneLine(e.what()));
    }
    if (!selected) return Fail("no subcommand given (try --help)");
    return selected();
  } catch (const sigflow::Exception& e) {
    return Fail(OneLine(e.Message()));
  } catch (const std::exception& e) {
    return Fail(OneLine(e.what()));
  } catch (...) {
    return Fail("unexpected error");
  }
}
