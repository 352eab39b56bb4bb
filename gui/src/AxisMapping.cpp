#include "sigflow/gui/AxisMapping.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

TAxisMapping::TAxisMapping(double lo, double hi, double pixelFrom, double pixelTo, TAxisScale scale)
    : FLo(lo), FHi(hi), FP0(pixelFrom), FP1(pixelTo), FScale(scale) {
  if (!std::isfinite(lo) || !std::isfinite(hi) || !(hi > lo)) throw Exception("Axis range is empty");
  if (scale == asLogarithmic && lo <= 0.0) throw Exception("Logarithmic axis needs a positive range");
  FWarpLo = Warp(lo);
  FWarpSpan = Warp(hi) - FWarpLo;
}

double TAxisMapping::Warp(double v) const {
  if (FScale == asLinear) return v;
  return v > 0.0 ? std::log10(v) : std::numeric_limits<double>::quiet_NaN();
}

double TAxisMapping::Unwarp(double w) const { return FScale == asLinear ? w : std::pow(10.0, w); }

double TAxisMapping::ToPixel(double value) const {
  return FP0 + (Warp(value) - FWarpLo) / FWarpSpan * (FP1 - FP0);
}

double TAxisMapping::ToData(double pixel) const {
  return Unwarp(FWarpLo + (pixel - FP0) / (FP1 - FP0) * FWarpSpan);
}

bool TAxisMapping::Contains(double value) const {
  const double slack = 1e-9 * (FHi - FLo);
  return value >= FLo - slack && value <= FHi + slack;
}

double NiceStep(double range, int maxTicks) {
  const double raw = range / std::max(1, maxTicks);
  const double mag = std::pow(10.0, std::floor(std::log10(raw)));
  const double f = raw / mag;
  const double nice = f <= 1.0 + 1e-9 ? 1.0 : f <= 2.0 + 1e-9 ? 2.0 : f <= 5.0 + 1e-9 ? 5.0 : 10.0;
  return nice * mag;
}

namespace {

// Decimals needed to show multiples of resolution (a 1-2-5 step) exactly.
int DecimalsFor(double resolution) {
  if (!(resolution > 0.0)) return 3;
  return std::clamp(static_cast<int>(std::ceil(-std::log10(resolution) - 1e-9)), 0, 9);
}

std::string Fixed(double v, int decimals, bool trimZeros) {
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v, std::chars_format::fixed, decimals);
  std::string s(buf, r.ptr);
  if (trimZeros && s.find('.') != std::string::npos) {
    while (s.back() == '0') s.pop_back();
    if (s.back() == '.') s.pop_back();
  }
  if (s == "-0") s = "0";
  return s;
}

}  // namespace

std::string FormatEngineering(double value, std::string_view unit, double resolution) {
  static constexpr const char* kPrefix[] = {"p", "n", "\u00b5", "m", "", "k", "M", "G"};
  std::string suffix = " ";
  const double tiny = resolution > 0.0 ? resolution * 1e-6 : 0.0;
  if (!std::isfinite(value)) return std::to_string(value) + suffix.append(unit);
  if (std::abs(value) <= tiny || value == 0.0) return "0" + suffix.append(unit);
  int exp3 = static_cast<int>(std::floor(std::log10(std::abs(value)) / 3.0)) * 3;
  exp3 = std::clamp(exp3, -12, 9);
  auto format = [&](int e) {
    const double scale = std::pow(10.0, e);
    const int decimals = resolution > 0.0 ? DecimalsFor(resolution / scale) : 3;
    return Fixed(value / scale, decimals, true);
  };
  std::string number = format(exp3);
  // 999.96 rounds to "1000": move to the next prefix instead.
  if (exp3 < 9 && std::abs(std::strtod(number.c_str(), nullptr)) >= 1000.0) number = format(exp3 += 3);
  return number + suffix + kPrefix[(exp3 + 12) / 3] + std::string(unit);
}

std::string FormatNumber(double value, double resolution) {
  if (resolution > 0.0 && std::abs(value) < resolution * 1e-6) return "0";
  const double mag = std::abs(value);
  if (mag >= 1e7 || (resolution > 0.0 && resolution < 1e-6)) {
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 3);
    return std::string(buf, r.ptr);
  }
  return Fixed(value, DecimalsFor(resolution), resolution <= 0.0);
}

namespace {

std::string TickLabel(double v, double resolution, std::string_view unit) {
  return unit.empty() ? FormatNumber(v, resolution) : FormatEngineering(v, unit, resolution);
}

}  // namespace

std::vector<TAxisTick> LinearTicks(double lo, double hi, int maxTicks, std::string_view unit) {
  std::vector<TAxisTick> ticks;
  if (!std::isfinite(lo) || !std::isfinite(hi) || !(hi > lo)) return ticks;
  const double step = NiceStep(hi - lo, maxTicks);
  const double first = std::ceil(lo / step - 1e-9);
  const double last = std::floor(hi / step + 1e-9);
  for (double k = first; k <= last; k += 1.0) {
    double v = k * step;
    if (std::abs(v) < step * 1e-9) v = 0.0;
    ticks.push_back({v, true, TickLabel(v, step, unit)});
  }
  return ticks;
}

std::vector<TAxisTick> LogTicks(double lo, double hi, int maxTicks, std::string_view unit) {
  std::vector<TAxisTick> ticks;
  if (!std::isfinite(lo) || !std::isfinite(hi) || !(hi > lo) || lo <= 0.0) return ticks;
  const double eps = 1e-9;
  const int kLo = static_cast<int>(std::floor(std::log10(lo) + eps));
  const int kHi = static_cast<int>(std::floor(std::log10(hi) + eps));
  auto inside = [&](double v) { return v >= lo * (1 - eps) && v <= hi * (1 + eps); };
  int decades = 0;
  for (int k = kLo; k <= kHi; ++k) decades += inside(std::pow(10.0, k)) ? 1 : 0;
  if (decades == 0) return LinearTicks(lo, hi, maxTicks, unit);
  const bool labelMinors = std::log10(hi / lo) < 2.0;
  // Many decades on a short axis: label every stride-th decade only.
  const int stride = std::max(1, (decades + std::max(1, maxTicks) - 1) / std::max(1, maxTicks));
  for (int k = kLo; k <= kHi; ++k) {
    const double decade = std::pow(10.0, k);
    for (int m = 1; m <= 9; ++m) {
      const double v = m * decade;
      if (!inside(v)) continue;
      TAxisTick t{v, false, {}};
      if (m == 1) {
        t.Major = ((k % stride) + stride) % stride == 0;
      }
      if (t.Major || (labelMinors && (m == 2 || m == 5))) t.Label = TickLabel(v, decade, unit);
      ticks.push_back(std::move(t));
    }
  }
  return ticks;
}

}  // namespace sigflow
