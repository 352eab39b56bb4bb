#pragma once
// A filter described on the command line (--lowpass, --highpass, --bandpass, --fir, --iir,
// --transition, --attenuation, --ripple) and its translation into a TSignalFilter template.
#include <string>

namespace CLI {
class App;
}

namespace sigflow {
class TSignalFilter;
}

namespace sigflow::cli {

struct TFilterSpec {
  std::string Shape;  // "lowpass", "highpass", "bandpass"; empty: none given
  double Edge1 = 0, Edge2 = 0;  // pass-band edges in Hz (Edge2 for bandpass only)
  bool Iir = false;
  double Transition = 0;  // Hz; 0: 20 % of the lowest edge
  double Attenuation = 60;  // dB
  double Ripple = 0.1;  // dB
};

// Registers the options that fill spec; parsing them checks their form, not the rate.
void AddFilterSpecOptions(CLI::App& app, TFilterSpec& spec);
// Puts the template of spec (bands in Hz at sampling frequency fs) and the method into f.
void ConfigureFilter(TSignalFilter& f, const TFilterSpec& spec, double fs);
// Fixes the FIR length with a margin over the estimate (the filter needs its Input set).
void FinishDesign(TSignalFilter& f, const TFilterSpec& spec);
std::string DescribeFilter(const TSignalFilter& f);

}  // namespace sigflow::cli
