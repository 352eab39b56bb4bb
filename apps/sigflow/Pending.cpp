// Subcommands whose components are not in the library yet. Their options are registered and
// documented so that scripts and --help are stable; running them reports that plainly.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Cli.h"

namespace sigflow::cli {

namespace {

struct TPendingOptions {
  std::string Out, In, Waveform = "sine", Design = "butterworth", Type = "lowpass";
  double Frequency = 1000, Amplitude = 1, Rate = 48000, Duration = 1, Phase = 0;
  double Cutoff = 1000, Cutoff2 = 0, Ripple = 0.1, Attenuation = 80;
  int Channels = 1, Order = 4;
  std::string Precision = "int16";
  std::vector<std::string> Sets;
};

TCommand NotAvailable(const std::string& name) {
  return [name] {
    std::fprintf(stderr, "sigflow: '%s' is not available yet\n", name.c_str());
    return ExitNotAvailable;
  };
}

}  // namespace

void RegisterPending(CLI::App& app, TCommand* selected) {
  // The parser writes into these while it runs: the callbacks keep them alive.
  auto o = std::make_shared<TPendingOptions>();

  CLI::App* gen = app.add_subcommand("generate", "Write a generated test signal to a file (not available yet)");
  gen->add_option("out", o->Out, "Output signal file");
  gen->add_option("--waveform", o->Waveform, "sine, square, triangle, sawtooth, noise, chirp");
  gen->add_option("--frequency", o->Frequency, "Frequency in Hz");
  gen->add_option("--amplitude", o->Amplitude, "Peak amplitude");
  gen->add_option("--phase", o->Phase, "Start phase in radians");
  gen->add_option("--rate", o->Rate, "Sampling frequency in Hz");
  gen->add_option("--duration", o->Duration, "Length in seconds");
  gen->add_option("--channels", o->Channels, "Channel count");
  gen->add_option("--precision", o->Precision, "Storage precision (as for convert)");
  gen->callback([o, selected] {
    (void)o;
    *selected = NotAvailable("generate");
  });

  CLI::App* flt = app.add_subcommand("filter", "Filter a signal file into another (not available yet)");
  flt->add_option("in", o->In, "Input signal file");
  flt->add_option("out", o->Out, "Output signal file");
  flt->add_option("--type", o->Type, "lowpass, highpass, bandpass, bandstop");
  flt->add_option("--design", o->Design, "butterworth, chebyshev1, chebyshev2, elliptic, bessel, fir");
  flt->add_option("--order", o->Order, "Filter order");
  flt->add_option("--cutoff", o->Cutoff, "Cutoff (lower edge for band filters) in Hz");
  flt->add_option("--cutoff2", o->Cutoff2, "Upper edge of band filters in Hz");
  flt->add_option("--ripple", o->Ripple, "Pass-band ripple in dB");
  flt->add_option("--attenuation", o->Attenuation, "Stop-band attenuation in dB");
  flt->callback([o, selected] {
    (void)o;
    *selected = NotAvailable("filter");
  });

  CLI::App* run = app.add_subcommand("run", "Run a chain of components described in a chain file (not available yet)");
  run->add_option("chain", o->In, "Chain file");
  run->add_option("--set", o->Sets, "Override a property: COMPONENT.PROPERTY=VALUE (repeatable)");
  run->callback([o, selected] {
    (void)o;
    *selected = NotAvailable("run");
  });
}

}  // namespace sigflow::cli
