#include "sigflow/numeric/WaveletFilters.h"

#include <algorithm>
#include <string>

#include "WaveletTables.h"

namespace sigflow {

namespace {

// Vaidyanathan and Huong's 24-tap filter as WaveLab lists it (the reconstruction low-pass).
const double kVaidyanathan[] = {
    -0.000062906118, 0.000343631905, -0.000453956620, -0.000944897136, 0.002843834547,
    0.000708137504,  -0.008839103409, 0.003153847056, 0.019687215010,  -0.014853448005,
    -0.035470398607, 0.038742619293,  0.055892523691, -0.077709750902, -0.083928884366,
    0.131971661417,  0.135084227129,  -0.194450471766, -0.263494802488, 0.201612161775,
    0.635601059872,  0.572797793211,  0.250184129505,  0.045799334111};

TWaveletFilters FromLowPass(std::vector<double> dec, std::vector<double> rec) {
  TWaveletFilters f;
  const std::size_t n = dec.size();
  f.DecHigh.resize(n);
  f.RecHigh.resize(n);
  for (std::size_t i = 0; i < n; ++i) {
    f.DecHigh[i] = (i % 2 ? 1.0 : -1.0) * rec[i];
    f.RecHigh[i] = (i % 2 ? -1.0 : 1.0) * dec[i];
  }
  f.DecLow = std::move(dec);
  f.RecLow = std::move(rec);
  return f;
}

}  // namespace

TWaveletFilters WaveletFilters(TWaveletType Type, int P1, int P2) {
  switch (Type) {
    case wvHaar:
      return WaveletFilters(wvDaublet, 1, 0);
    case wvVaidyanathan: {
      std::vector<double> rec(std::begin(kVaidyanathan), std::end(kVaidyanathan));
      return FromLowPass(std::vector<double>(rec.rbegin(), rec.rend()), rec);
    }
    case wvQuadSpline: {
      TWaveletFilters f;
      f.DecLow = {0.125, 0.375, 0.375, 0.125};
      f.DecHigh = {-2.0, 2.0};
      f.RecLow = f.DecLow;  // symmetric: reversal leaves it unchanged
      f.RecHigh = {1 / 128.0, 7 / 128.0, 22 / 128.0, -22 / 128.0, -7 / 128.0, -1 / 128.0};
      return f;
    }
    case wvLinSpline: {
      // The linear-spline member of the same dyadic family: H = cos^2(w/2) (the hat
      // function), G = {-2, 2}, and K solving |H|^2 + G K = 1 (derivation in the docs).
      TWaveletFilters f;
      f.DecLow = {0.25, 0.5, 0.25};
      f.DecHigh = {-2.0, 2.0};
      f.RecLow = f.DecLow;
      f.RecHigh = {1 / 32.0, 5 / 32.0, -5 / 32.0, -1 / 32.0};
      return f;
    }
    default:
      break;
  }
  const bool twoParams = Type == wvBSpline || Type == wvBSplineDual;
  for (std::size_t i = 0; i < detail::kWaveletTableCount; ++i) {
    const detail::TWaveletTable& t = detail::kWaveletTables[i];
    if (t.type != Type || t.p1 != P1 || (twoParams && t.p2 != P2)) continue;
    std::vector<double> dec(t.decLow, t.decLow + t.length);
    std::vector<double> rec = t.recLow ? std::vector<double>(t.recLow, t.recLow + t.length)
                                       : std::vector<double>(dec.rbegin(), dec.rend());
    return FromLowPass(std::move(dec), std::move(rec));
  }
  throw EFilterDesignError("No wavelet filters for family " + std::to_string(Type) +
                           " with parameters " + std::to_string(P1) +
                           (twoParams ? ", " + std::to_string(P2) : std::string()));
}

std::vector<double> WaveletFilter(TWaveletType Type, int P1, int P2, TWaveletDecomp Decomp) {
  TWaveletFilters f = WaveletFilters(Type, P1, P2);
  return Decomp == wdApprox ? std::move(f.DecLow) : std::move(f.DecHigh);
}

}  // namespace sigflow
