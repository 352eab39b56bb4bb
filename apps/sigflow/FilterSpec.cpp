// Filter templates from command-line edges.
#include "FilterSpec.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <memory>

#include "Cli.h"
#include "sigflow/processing/SignalFilter.h"

namespace sigflow::cli {

namespace {

double ParseHz(const std::string& text, const std::string& option) {
  double v = 0;
  if (!ParseFinite(text, v) || !(v > 0)) throw EUsage(option + " needs a positive frequency in Hz, not '" + text + "'");
  return v;
}

}  // namespace

void AddFilterSpecOptions(CLI::App& app, TFilterSpec& spec) {
  auto shape = [&spec](const std::string& name) {
    if (!spec.Shape.empty() && spec.Shape != name)
      throw EUsage("choose one of --lowpass, --highpass and --bandpass");
    spec.Shape = name;
  };
  app.add_option_function<std::string>(
      "--lowpass", [&spec, shape](const std::string& v) {
        shape("lowpass");
        spec.Edge1 = ParseHz(v, "--lowpass");
      },
      "Low-pass: pass band 0 .. F Hz");
  app.add_option_function<std::string>(
      "--highpass", [&spec, shape](const std::string& v) {
        shape("highpass");
        spec.Edge1 = ParseHz(v, "--highpass");
      },
      "High-pass: pass band F Hz .. Nyquist");
  app.add_option_function<std::string>(
      "--bandpass", [&spec, shape](const std::string& v) {
        shape("bandpass");
        const auto colon = v.find(':');
        if (colon == std::string::npos) throw EUsage("--bandpass needs F1:F2, not '" + v + "'");
        spec.Edge1 = ParseHz(v.substr(0, colon), "--bandpass");
        spec.Edge2 = ParseHz(v.substr(colon + 1), "--bandpass");
        if (spec.Edge2 <= spec.Edge1) throw EUsage("--bandpass needs F1 < F2, not '" + v + "'");
      },
      "Band-pass: pass band F1 .. F2 Hz");
  auto* fir = app.add_flag_callback("--fir", [&spec] { spec.Iir = false; }, "Linear-phase FIR, Kaiser window (the default)");
  auto* iir = app.add_flag_callback("--iir", [&spec] { spec.Iir = true; }, "Elliptic IIR, order from the template");
  fir->excludes(iir);
  app.add_option("--transition", spec.Transition, "Width of each transition band in Hz (default: 20 % of the lowest edge)");
  app.add_option("--attenuation", spec.Attenuation, "Stop-band attenuation in dB");
  app.add_option("--ripple", spec.Ripple, "Pass-band ripple in dB");
}

void ConfigureFilter(TSignalFilter& f, const TFilterSpec& s, double fs) {
  const double nyquist = fs / 2;
  const double lowest = s.Edge1;
  const double tw = s.Transition > 0 ? s.Transition : 0.2 * lowest;
  if (!(s.Attenuation > 1)) throw EUsage("--attenuation must be more than 1 dB");
  if (!(s.Ripple > 0) || s.Ripple > 1) throw EUsage("--ripple must be more than 0 and at most 1 dB");
  auto inside = [&](double f1, double f2) {
    if (f1 <= 0 || f2 >= nyquist)
      throw EUsage("the " + s.Shape + " edges and transitions must lie between 0 and " + FormatNumber(nyquist) +
                   " Hz (half the sampling frequency)");
  };
  f.Filters()->AddTemplate(s.Shape);
  TBandFilterList* b = f.Bands();
  if (s.Shape == "lowpass") {
    inside(s.Edge1, s.Edge1 + tw);
    b->Add({0, s.Edge1, 1, s.Ripple, 0, 0});
    b->Add({s.Edge1 + tw, nyquist, 0, s.Attenuation, 0, 0});
  } else if (s.Shape == "highpass") {
    inside(s.Edge1 - tw, s.Edge1);
    b->Add({0, s.Edge1 - tw, 0, s.Attenuation, 0, 0});
    b->Add({s.Edge1, nyquist, 1, s.Ripple, 0, 0});
  } else {
    inside(s.Edge1 - tw, s.Edge2 + tw);
    b->Add({0, s.Edge1 - tw, 0, s.Attenuation, 0, 0});
    b->Add({s.Edge1, s.Edge2, 1, s.Ripple, 0, 0});
    b->Add({s.Edge2 + tw, nyquist, 0, s.Attenuation, 0, 0});
  }
  f.SetUseNormalizedFrequency(false);
  f.SetAutoFilterOrder(true);
  if (s.Iir) {
    f.SetResponse(rstIIR);
    f.SetIirMethod(imElliptic);
  } else {
    f.SetResponse(rstFIR);
    f.SetFirMethod(fimWindow);
    f.SetWindow(fwKaiser);
  }
}

void FinishDesign(TSignalFilter& f, const TFilterSpec& s) {
  if (s.Iir) return;
  // The Kaiser length formula is an estimate that can fall a few dB short; 15 % and 6 taps
  // more meet the template.
  f.ApplyChanges();
  const int estimate = f.FirLength();
  f.SetAutoFilterOrder(false);
  f.SetFirLength(std::min(10000, int(std::ceil(1.15 * estimate)) + 6));
}

std::string DescribeFilter(const TSignalFilter& f) {
  if (f.Response() == rstIIR) return "IIR, order " + std::to_string(f.Order());
  if (f.Response() == rstFIR) return "FIR, " + std::to_string(f.FirLength()) + " taps";
  return "response " + std::to_string(int(f.Response()));
}

}  // namespace sigflow::cli
