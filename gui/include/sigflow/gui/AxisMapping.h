#pragma once
// Mapping between data values and pixel positions along one plot axis, and the ticks and
// labels of that axis.
//
// Linear:       p = p0 + (v - lo) / (hi - lo) * (p1 - p0)
// Logarithmic:  p = p0 + (log10 v - log10 lo) / (log10 hi - log10 lo) * (p1 - p0)
//
// Pixel positions are continuous device coordinates (a pixel column c covers [c, c + 1)).
// p1 may be smaller than p0: a vertical axis grows upwards while device y grows downwards.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sigflow {

enum TAxisScale : std::uint8_t { asLinear, asLogarithmic };

class TAxisMapping {
public:
  // The unit axis 0..1 onto pixels 0..1.
  TAxisMapping() = default;
  // lo < hi in data units; a logarithmic axis needs lo > 0. Raises Exception
  // "Axis range is empty" when hi <= lo (or either is not finite) and
  // "Logarithmic axis needs a positive range" when lo <= 0 on a logarithmic axis.
  TAxisMapping(double lo, double hi, double pixelFrom, double pixelTo, TAxisScale scale = asLinear);

  // Pixel of a data value. On a logarithmic axis values <= 0 give NaN.
  double ToPixel(double value) const;
  // Data value at a pixel (the inverse of ToPixel).
  double ToData(double pixel) const;
  // True when the value lies inside [Min, Max] (with a relative slack of 1e-9 of the span).
  bool Contains(double value) const;

  double Min() const { return FLo; }
  double Max() const { return FHi; }
  double PixelFrom() const { return FP0; }
  double PixelTo() const { return FP1; }
  TAxisScale Scale() const { return FScale; }

private:
  double Warp(double v) const;
  double Unwarp(double w) const;

  double FLo = 0.0, FHi = 1.0;
  double FP0 = 0.0, FP1 = 1.0;
  double FWarpLo = 0.0, FWarpSpan = 1.0;
  TAxisScale FScale = asLinear;
};

struct TAxisTick {
  double Value = 0.0;
  bool Major = true;   // major ticks carry a label and a grid line
  std::string Label;   // empty for minor ticks
};

// The 1-2-5 step (1, 2 or 5 times a power of ten) nearest above range / maxTicks.
// range > 0, maxTicks >= 1.
double NiceStep(double range, int maxTicks);

// Major ticks at the multiples of NiceStep(hi - lo, maxTicks) inside [lo, hi]; labels in
// engineering notation when unit is not empty ("2.5 kHz"), as plain numbers otherwise.
std::vector<TAxisTick> LinearTicks(double lo, double hi, int maxTicks, std::string_view unit);

// Ticks of a logarithmic axis over [lo, hi], lo > 0: major ticks at the decades, minor ticks at
// 2..9 times a decade. When the range spans less than two decades the 2 and 5 minors are
// labelled too; when it holds no decade at all, linear 1-2-5 ticks are returned instead.
std::vector<TAxisTick> LogTicks(double lo, double hi, int maxTicks, std::string_view unit);

// Value with an SI prefix chosen by its magnitude (p n µ m - k M G) and the unit:
// 1000 "Hz" -> "1 kHz", 2500 -> "2.5 kHz", 0.002 "s" -> "2 ms". resolution is the smallest
// step the label must resolve (a tick step); 0 means up to three significant decimals.
// Trailing zeros are dropped.
std::string FormatEngineering(double value, std::string_view unit, double resolution = 0.0);

// Plain number with as many decimals as resolution needs ("-20", "0.25"); very large or
// small magnitudes use an exponent ("1e-07").
std::string FormatNumber(double value, double resolution);

}  // namespace sigflow
