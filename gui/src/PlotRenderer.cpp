#include "sigflow/gui/PlotRenderer.h"

#include <unistd.h>

#include <QApplication>
#include <QFont>
#include <QFontMetricsF>
#include <QImageWriter>
#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <memory>

#include "sigflow/core/Exceptions.h"

namespace sigflow {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

const QColor kChannelColors[] = {{230, 126, 34}, {39, 150, 80}, {142, 68, 173},
                                 {120, 120, 120}, {22, 160, 160}, {140, 86, 75}};

QString Q(const std::string& s) { return QString::fromStdString(s); }

// A matrix whose Values hold all Rows x Columns cells; anything else is drawn as empty.
bool HasMatrix(const TPlotData& d) {
  return d.Rows > 0 && d.Columns > 0 && d.Values.size() >= static_cast<std::size_t>(d.Rows) * d.Columns;
}

std::size_t SampleCount(const TPlotData& d) {
  switch (d.Kind) {
    case pkSpectrum:
      return d.X.empty() ? d.Values.size() : std::min(d.X.size(), d.Values.size());
    case pkTimeSignal: {
      const std::size_t frames = d.Values.size() / static_cast<std::size_t>(std::max(1, d.Channels));
      return d.X.empty() ? frames : std::min(d.X.size(), frames);
    }
    case pkMatrix:
      return HasMatrix(d) ? static_cast<std::size_t>(d.Columns) : 0;
  }
  return 0;
}

double XAt(const TPlotData& d, std::size_t i) {
  return d.X.empty() ? d.XStart + static_cast<double>(i) * d.XStep : d.X[i];
}

std::string XUnitOf(const TPlotData& d) {
  if (!d.XUnit.empty()) return d.XUnit;
  switch (d.Kind) {
    case pkSpectrum: return "Hz";
    case pkTimeSignal: return "s";
    case pkMatrix: return "";
  }
  return "";
}

// [lo, hi] widened to a usable axis range.
void Widen(double& lo, double& hi, TAxisScale scale) {
  if (scale == asLogarithmic) {
    if (!(lo > 0.0) || !std::isfinite(lo)) lo = hi > 0.0 && std::isfinite(hi) ? hi / 10.0 : 1.0;
    if (!(hi > lo) || !std::isfinite(hi)) hi = lo * 10.0;
    return;
  }
  if (!std::isfinite(lo) || !std::isfinite(hi)) lo = 0.0, hi = 1.0;
  if (!(hi > lo)) {
    const double half = lo == 0.0 ? 0.5 : std::abs(lo) * 0.5;
    lo -= half;
    hi += half;
  }
}

struct Fonts {
  QFont Title, Label, Tick;
  double Base = 12.0;
};

Fonts MakeFonts(const TPlotStyle& style, const QRectF& bounds) {
  Fonts f;
  f.Base = style.FontPixels > 0 ? style.FontPixels
                                : std::clamp(std::round(std::sqrt(bounds.width() * bounds.height()) / 66.0), 11.0, 22.0);
  f.Label = QFont(QStringLiteral("DejaVu Sans"));
  f.Label.setPixelSize(static_cast<int>(f.Base));
  f.Tick = f.Label;
  f.Tick.setPixelSize(static_cast<int>(std::round(f.Base * 0.88)));
  f.Title = f.Label;
  f.Title.setPixelSize(static_cast<int>(std::round(f.Base * 1.3)));
  f.Title.setBold(true);
  return f;
}

QColor MapColor(TColorMap map, double t) {
  t = std::isfinite(t) ? std::clamp(t, 0.0, 1.0) : 0.0;
  switch (map) {
    case cmGray: {
      const int v = static_cast<int>(std::lround(t * 255.0));
      return QColor(v, v, v);
    }
    case cmHot: {
      auto ramp = [](double x) { return static_cast<int>(std::lround(std::clamp(x, 0.0, 1.0) * 255.0)); };
      return QColor(ramp(t / 0.375), ramp((t - 0.375) / 0.375), ramp((t - 0.75) / 0.25));
    }
    case cmViridis:
      break;
  }
  static const int stops[][3] = {{68, 1, 84},    {71, 44, 122},  {59, 81, 139},  {44, 113, 142}, {33, 144, 141},
                                 {39, 173, 129}, {92, 200, 99},  {170, 220, 50}, {253, 231, 37}};
  const double pos = t * 8.0;
  const int i = std::min(7, static_cast<int>(pos));
  const double w = pos - i;
  auto mix = [&](int c) { return static_cast<int>(std::lround(stops[i][c] * (1 - w) + stops[i + 1][c] * w)); };
  return QColor(mix(0), mix(1), mix(2));
}

// Everything Frame() works out, kept for Render().
struct Layout {
  TPlotFrame Frame;
  Fonts F;
  std::vector<TAxisTick> XTicks, YTicks, CTicks;
  QRectF ColorBar;
  QString Title, XTitle, YTitle;
};

// Polylines of the points (x[i], y[i]); points that fall into one pixel column are reduced
// to their first, lowest, highest and last value, so a million bins draw as fast as the
// width allows and still show every extreme. Non-finite points break the line.
template <class XFn, class YFn>
std::vector<QPolygonF> Polylines(std::size_t n, XFn xAt, YFn yAt) {
  std::vector<QPolygonF> lines;
  QPolygonF cur;
  auto flush = [&] {
    if (cur.size() > 0) lines.push_back(std::move(cur));
    cur = QPolygonF();
  };
  std::size_t i = 0;
  while (i < n) {
    const double x = xAt(i), y = yAt(i);
    if (!std::isfinite(x) || !std::isfinite(y)) {
      flush();
      ++i;
      continue;
    }
    const double col = std::floor(x);
    double lo = y, hi = y, last = y, lastX = x;
    std::size_t j = i + 1;
    for (; j < n; ++j) {
      const double xj = xAt(j), yj = yAt(j);
      if (!std::isfinite(xj) || !std::isfinite(yj) || std::floor(xj) != col) break;
      lo = std::min(lo, yj);
      hi = std::max(hi, yj);
      last = yj;
      lastX = xj;
    }
    cur << QPointF(x, y);
    if (j - i > 1) {
      const double mid = col + 0.5;
      cur << QPointF(mid, lo) << QPointF(mid, hi) << QPointF(lastX, last);
    }
    i = j;
  }
  flush();
  return lines;
}

}  // namespace

QColor TPlotStyle::ChannelColor(int channel) const {
  if (channel <= 0) return Trace;
  return kChannelColors[static_cast<std::size_t>(channel - 1) % std::size(kChannelColors)];
}

TPlotRenderer::TPlotRenderer(const TPlotData& data, const TPlotStyle& style) : FData(data), FStyle(style) {}

double TPlotRenderer::DisplayValue(double v) const {
  if (FData.Kind == pkTimeSignal) return v;
  const double factor = FData.DecibelFactor > 0.0 ? FData.DecibelFactor : 20.0;
  const double ref = FData.DecibelReference > 0.0 ? FData.DecibelReference : 1.0;
  if (FData.AmplitudeScale == amDecibel) {
    double db = FData.ValuesInDecibel ? v : factor * std::log10(std::abs(v) / ref);
    if (std::isnan(db)) return kNaN;
    return std::max(db, FData.DecibelFloor);
  }
  return FData.ValuesInDecibel ? ref * std::pow(10.0, v / factor) : v;
}

namespace {

Layout MakeLayout(const TPlotRenderer& r, const QRectF& bounds) {
  const TPlotData& d = r.Data();
  Layout L;
  L.F = MakeFonts(r.Style(), bounds);
  const double base = L.F.Base;
  const std::size_t n = SampleCount(d);
  const bool logX = d.XScale == asLogarithmic && d.Kind != pkMatrix;
  const bool dB = d.Kind != pkTimeSignal && d.AmplitudeScale == amDecibel;

  // Abscissa range.
  double xlo = kNaN, xhi = kNaN;
  if (d.Kind == pkMatrix) {
    if (HasMatrix(d)) {
      xlo = d.XStart - 0.5 * d.XStep;
      xhi = d.XStart + (d.Columns - 0.5) * d.XStep;
    }
  } else {
    for (std::size_t i = 0; i < n; ++i) {
      const double x = XAt(d, i);
      if (!std::isfinite(x) || (logX && x <= 0.0)) continue;
      xlo = std::isnan(xlo) ? x : std::min(xlo, x);
      xhi = std::isnan(xhi) ? x : std::max(xhi, x);
    }
  }
  if (xlo > xhi) std::swap(xlo, xhi);
  Widen(xlo, xhi, logX ? asLogarithmic : asLinear);

  // Ordinate (amplitude, or matrix rows) and colour range.
  double ylo = kNaN, yhi = kNaN, clo = kNaN, chi = kNaN;
  auto extend = [](double& lo, double& hi, double v) {
    if (!std::isfinite(v)) return;
    lo = std::isnan(lo) ? v : std::min(lo, v);
    hi = std::isnan(hi) ? v : std::max(hi, v);
  };
  if (d.Kind == pkMatrix) {
    if (HasMatrix(d)) {
      ylo = d.YStart - 0.5 * d.YStep;
      yhi = d.YStart + (d.Rows - 0.5) * d.YStep;
      if (ylo > yhi) std::swap(ylo, yhi);
    }
    if (d.AutoRange) {
      if (HasMatrix(d))
        for (std::size_t i = 0; i < static_cast<std::size_t>(d.Rows) * d.Columns; ++i)
          extend(clo, chi, r.DisplayValue(d.Values[i]));
    } else {
      clo = d.RangeMin, chi = d.RangeMax;
    }
    Widen(ylo, yhi, asLinear);
    Widen(clo, chi, asLinear);
  } else if (!d.AutoRange) {
    ylo = d.RangeMin, yhi = d.RangeMax;
    Widen(ylo, yhi, asLinear);
  } else {
    const int ch = d.Kind == pkTimeSignal ? std::max(1, d.Channels) : 1;
    for (std::size_t i = 0; i < n; ++i) {
      const double x = XAt(d, i);
      if (logX && !(x > 0.0)) continue;
      for (int c = 0; c < ch; ++c) extend(ylo, yhi, r.DisplayValue(d.Values[i * ch + c]));
    }
    if (d.Kind == pkSpectrum)
      for (const TPeakMark& p : d.Peaks) extend(ylo, yhi, r.DisplayValue(p.Amplitude));
    if (std::isnan(ylo)) {
      ylo = dB ? -100.0 : 0.0;
      yhi = dB ? 0.0 : 1.0;
    }
    Widen(ylo, yhi, asLinear);
    if (d.Kind == pkSpectrum && !dB && ylo >= 0.0) ylo = 0.0;
    // Head room for peak labels above the highest trace point.
    const double span = yhi - ylo;
    yhi += span * (d.Kind == pkSpectrum && !d.Peaks.empty() ? 0.08 : 0.03);
    if (d.Kind == pkTimeSignal) ylo -= span * 0.03;
    // Edges on a finer step than the ticks, so little of the height is left empty.
    const double step = dB ? 10.0 : NiceStep(yhi - ylo, 20);
    ylo = std::floor(ylo / step + 1e-9) * step;
    yhi = std::ceil(yhi / step - 1e-9) * step;
  }

  // Titles.
  L.Title = Q(d.Title);
  const char* defX = d.Kind == pkTimeSignal ? "Time" : d.Kind == pkSpectrum ? "Frequency" : "Column";
  const char* defY = d.Kind == pkMatrix ? "Row" : dB ? "Amplitude [dB]" : "Amplitude";
  L.XTitle = d.XTitle.empty() ? QString::fromLatin1(defX) : Q(d.XTitle);
  L.YTitle = d.YTitle.empty() ? QString::fromLatin1(defY) : Q(d.YTitle);

  QFontMetricsF tm(L.F.Tick), lm(L.F.Label), ttm(L.F.Title);
  const double pad = base * 0.9;
  const double tickLen = std::round(base * 0.35);
  const double top = bounds.top() + pad + (L.Title.isEmpty() ? tm.height() * 0.5 : ttm.height() + pad * 0.6);
  const double bottom = bounds.bottom() - pad - lm.height() - pad * 0.3 - tm.height() - tickLen - base * 0.3;
  const double plotHeight = std::max(10.0, bottom - top);

  // The y tick labels decide the left margin.
  const int maxYTicks = std::clamp(static_cast<int>(plotHeight / (tm.height() * 2.6)), 2, 12);
  L.YTicks = LinearTicks(ylo, yhi, maxYTicks, d.YUnit);
  double yLabelWidth = tm.horizontalAdvance(QStringLiteral("0"));
  for (const TAxisTick& t : L.YTicks) yLabelWidth = std::max(yLabelWidth, tm.horizontalAdvance(Q(t.Label)));
  const double left = bounds.left() + pad + lm.height() + pad * 0.6 + yLabelWidth + tickLen + base * 0.3;

  double right = bounds.right() - pad * 2.0;
  if (d.Kind == pkMatrix) {
    const int maxCTicks = std::clamp(static_cast<int>(plotHeight / (tm.height() * 2.6)), 2, 12);
    L.CTicks = LinearTicks(clo, chi, maxCTicks, {});
    double cw = tm.horizontalAdvance(QStringLiteral("0"));
    for (const TAxisTick& t : L.CTicks) cw = std::max(cw, tm.horizontalAdvance(Q(t.Label)));
    const double barWidth = std::round(base * 1.2);
    right = bounds.right() - pad - cw - tickLen - base * 0.3 - barWidth - pad * 1.2;
    L.ColorBar = QRectF(right + pad * 1.2, top, barWidth, plotHeight);
  }
  const double plotWidth = std::max(10.0, right - left);
  L.Frame.Area = QRectF(std::round(left), std::round(top), std::round(plotWidth), std::round(plotHeight));
  const QRectF& A = L.Frame.Area;

  const std::string xUnit = XUnitOf(d);
  const int maxXTicks = std::clamp(static_cast<int>(A.width() / (base * 7.5)), 2, 16);
  L.Frame.X = TAxisMapping(xlo, xhi, A.left(), A.right(), logX ? asLogarithmic : asLinear);
  L.XTicks = logX ? LogTicks(xlo, xhi, maxXTicks, xUnit) : LinearTicks(xlo, xhi, maxXTicks, xUnit);
  L.Frame.Y = TAxisMapping(ylo, yhi, A.bottom(), A.top());
  if (d.Kind == pkMatrix) L.Frame.Color = TAxisMapping(clo, chi, L.ColorBar.bottom(), L.ColorBar.top());
  return L;
}

// Draws tick labels, majors first; a label that would overlap one already drawn is left out.
void DrawTickLabels(QPainter& p, const std::vector<std::pair<QRectF, QString>>& majors,
                    const std::vector<std::pair<QRectF, QString>>& minors, int flags, double gap) {
  std::vector<QRectF> placed;
  auto tryDraw = [&](const QRectF& rc, const QString& s) {
    const QRectF grown = rc.adjusted(-gap, -gap * 0.3, gap, gap * 0.3);
    for (const QRectF& q : placed)
      if (q.intersects(grown)) return;
    placed.push_back(rc);
    p.drawText(rc, flags, s);
  };
  for (const auto& [rc, s] : majors) tryDraw(rc, s);
  for (const auto& [rc, s] : minors) tryDraw(rc, s);
}

}  // namespace

TPlotFrame TPlotRenderer::Frame(const QRectF& bounds) const {
  EnsureGuiApplication();
  return MakeLayout(*this, bounds).Frame;
}

void TPlotRenderer::Render(QPainter& p, const QRectF& bounds) const {
  const Layout L = MakeLayout(*this, bounds);
  const TPlotData& d = FData;
  const QRectF& A = L.Frame.Area;
  const TAxisMapping& mx = L.Frame.X;
  const TAxisMapping& my = L.Frame.Y;
  const double base = L.F.Base;
  const double tickLen = std::round(base * 0.35);
  QFontMetricsF tm(L.F.Tick), lm(L.F.Label);

  p.save();
  p.setRenderHint(QPainter::Antialiasing, true);
  p.setRenderHint(QPainter::TextAntialiasing, true);
  p.fillRect(bounds, FStyle.Background);

  // Grid.
  if (d.Grid && d.Kind != pkMatrix) {
    p.setRenderHint(QPainter::Antialiasing, false);
    for (int pass = 0; pass < 2; ++pass) {
      p.setPen(QPen(pass == 0 ? FStyle.MinorGrid : FStyle.Grid, 1));
      for (const TAxisTick& t : L.XTicks) {
        if (t.Major != (pass == 1)) continue;
        const double x = std::round(mx.ToPixel(t.Value));
        if (x > A.left() && x < A.right()) p.drawLine(QPointF(x, A.top()), QPointF(x, A.bottom()));
      }
      if (pass == 1)
        for (const TAxisTick& t : L.YTicks) {
          const double y = std::round(my.ToPixel(t.Value));
          if (y > A.top() && y < A.bottom()) p.drawLine(QPointF(A.left(), y), QPointF(A.right(), y));
        }
    }
    p.setRenderHint(QPainter::Antialiasing, true);
  }

  // Data.
  const std::size_t n = SampleCount(d);
  p.save();
  p.setClipRect(A.adjusted(-1, -1, 1, 1));
  if (d.Kind == pkMatrix && HasMatrix(d)) {
    QImage img(d.Columns, d.Rows, QImage::Format_RGB32);
    const TAxisMapping& mc = L.Frame.Color;
    for (int r = 0; r < d.Rows; ++r) {
      auto* line = reinterpret_cast<QRgb*>(img.scanLine(d.YStep >= 0 ? d.Rows - 1 - r : r));
      for (int c = 0; c < d.Columns; ++c) {
        const double v = DisplayValue(d.Values[static_cast<std::size_t>(r) * d.Columns + c]);
        line[c] = MapColor(d.ColorMap, (v - mc.Min()) / (mc.Max() - mc.Min())).rgb();
      }
    }
    const double x0 = mx.ToPixel(d.XStart - 0.5 * d.XStep), x1 = mx.ToPixel(d.XStart + (d.Columns - 0.5) * d.XStep);
    p.setRenderHint(QPainter::SmoothPixmapTransform, false);
    p.drawImage(QRectF(QPointF(std::min(x0, x1), A.top()), QPointF(std::max(x0, x1), A.bottom())), img);
  } else if (n > 0) {
    const int ch = d.Kind == pkTimeSignal ? std::max(1, d.Channels) : 1;
    const double width = std::max(1.0, std::round(base / 12.0 * 2.0) / 2.0);
    for (int c = 0; c < ch; ++c) {
      const QColor color = FStyle.ChannelColor(c);
      QPen pen(color, width);
      pen.setJoinStyle(Qt::RoundJoin);
      pen.setCapStyle(Qt::RoundCap);
      p.setPen(pen);
      auto xs = [&](std::size_t i) { return mx.ToPixel(XAt(d, i)); };
      auto ys = [&](std::size_t i) {
        const double v = DisplayValue(d.Values[i * ch + c]);
        // Keep far-off values just outside the area so clipping stays exact and cheap.
        return std::clamp(my.ToPixel(v), A.top() - 2.0 * A.height(), A.bottom() + 2.0 * A.height());
      };
      for (const QPolygonF& line : Polylines(n, xs, ys)) {
        if (line.size() == 1)
          p.drawPoint(line.front());
        else
          p.drawPolyline(line);
      }
    }
  }
  p.restore();

  // Frame and ticks.
  p.setRenderHint(QPainter::Antialiasing, false);
  p.setPen(QPen(FStyle.Frame, 1));
  p.setBrush(Qt::NoBrush);
  p.drawRect(A);
  p.setFont(L.F.Tick);
  std::vector<std::pair<QRectF, QString>> majors, minors;
  for (const TAxisTick& t : L.XTicks) {
    const double x = std::round(mx.ToPixel(t.Value));
    if (x < A.left() - 0.5 || x > A.right() + 0.5) continue;
    const double len = t.Major ? tickLen : tickLen * 0.6;
    p.drawLine(QPointF(x, A.bottom()), QPointF(x, A.bottom() + len));
    if (t.Label.empty()) continue;
    const QString s = Q(t.Label);
    const double w = tm.horizontalAdvance(s);
    double lx = std::clamp(x - w / 2, bounds.left() + 1, bounds.right() - w - 1);
    (t.Major ? majors : minors).emplace_back(QRectF(lx, A.bottom() + tickLen + base * 0.2, w, tm.height()), s);
  }
  p.setPen(FStyle.Text);
  DrawTickLabels(p, majors, minors, Qt::AlignCenter, base * 0.6);
  majors.clear();
  minors.clear();
  p.setPen(QPen(FStyle.Frame, 1));
  for (const TAxisTick& t : L.YTicks) {
    const double y = std::round(my.ToPixel(t.Value));
    if (y < A.top() - 0.5 || y > A.bottom() + 0.5) continue;
    p.drawLine(QPointF(A.left() - tickLen, y), QPointF(A.left(), y));
    const QString s = Q(t.Label);
    const double w = tm.horizontalAdvance(s);
    majors.emplace_back(QRectF(A.left() - tickLen - base * 0.3 - w, y - tm.height() / 2, w, tm.height()), s);
  }
  p.setPen(FStyle.Text);
  DrawTickLabels(p, majors, minors, Qt::AlignRight | Qt::AlignVCenter, 0);

  // Colour bar of a matrix.
  if (d.Kind == pkMatrix) {
    const QRectF& B = L.ColorBar;
    const TAxisMapping& mc = L.Frame.Color;
    QImage bar(1, 256, QImage::Format_RGB32);
    for (int i = 0; i < 256; ++i) bar.setPixel(0, 255 - i, MapColor(d.ColorMap, i / 255.0).rgb());
    p.setRenderHint(QPainter::SmoothPixmapTransform, true);
    p.drawImage(B, bar);
    p.setPen(QPen(FStyle.Frame, 1));
    p.drawRect(B);
    majors.clear();
    for (const TAxisTick& t : L.CTicks) {
      const double y = std::round(mc.ToPixel(t.Value));
      p.drawLine(QPointF(B.right(), y), QPointF(B.right() + tickLen, y));
      const QString s = Q(t.Label);
      majors.emplace_back(QRectF(B.right() + tickLen + base * 0.3, y - tm.height() / 2, tm.horizontalAdvance(s), tm.height()), s);
    }
    p.setPen(FStyle.Text);
    DrawTickLabels(p, majors, {}, Qt::AlignLeft | Qt::AlignVCenter, 0);
  }

  // Titles.
  p.setRenderHint(QPainter::Antialiasing, true);
  p.setPen(FStyle.Text);
  p.setFont(L.F.Label);
  p.drawText(QRectF(A.left(), A.bottom() + tickLen + base * 0.3 + tm.height(), A.width(), lm.height() + base * 0.3),
             Qt::AlignHCenter | Qt::AlignBottom, L.XTitle);
  p.save();
  p.translate(bounds.left() + base * 0.9, A.center().y());
  p.rotate(-90);
  p.drawText(QRectF(-A.height() / 2, 0, A.height(), lm.height()), Qt::AlignHCenter | Qt::AlignTop, L.YTitle);
  p.restore();
  if (!L.Title.isEmpty()) {
    // Centred over the plot area, moved left (and shortened) when the output is too narrow.
    p.setFont(L.F.Title);
    const QFontMetricsF ttm(L.F.Title);
    const double room = bounds.width() - 2.0 * base;
    const QString title = ttm.elidedText(L.Title, Qt::ElideRight, room);
    const double w = ttm.horizontalAdvance(title);
    const double x = std::clamp(A.center().x() - w / 2, bounds.left() + base, bounds.right() - base - w);
    p.drawText(QRectF(x, bounds.top(), w + 1, A.top() - bounds.top()), Qt::AlignLeft | Qt::AlignVCenter, title);
  }

  // Peak marks: a triangle pointing at the peak, centred on the pixel column of its frequency,
  // and the label above it (moved up while it would cover another label).
  if (d.Kind == pkSpectrum && !d.Peaks.empty()) {
    p.setFont(L.F.Tick);
    const double h = std::max(6.0, std::round(base * 0.7));
    std::vector<QRectF> placed;
    for (const TPeakMark& pk : d.Peaks) {
      if (!mx.Contains(pk.Frequency) || (mx.Scale() == asLogarithmic && pk.Frequency <= 0.0)) continue;
      const double cx = std::floor(mx.ToPixel(pk.Frequency)) + 0.5;
      double py = my.ToPixel(DisplayValue(pk.Amplitude));
      if (!std::isfinite(py)) continue;
      py = std::clamp(py, A.top() + h + 2, A.bottom());
      const double tip = py - 2;
      QPolygonF tri;
      tri << QPointF(cx, tip) << QPointF(cx - h * 0.6, tip - h) << QPointF(cx + h * 0.6, tip - h);
      p.setPen(Qt::NoPen);
      p.setBrush(FStyle.Mark);
      p.drawPolygon(tri);
      if (pk.Label.empty()) continue;
      const QString s = Q(pk.Label);
      const double w = tm.horizontalAdvance(s) + base * 0.6, th = tm.height() + base * 0.2;
      QRectF rc(std::clamp(cx - w / 2, A.left() + 2, A.right() - w - 2), tip - h - 3 - th, w, th);
      for (int tries = 0; tries < 8; ++tries) {
        const bool clash = std::any_of(placed.begin(), placed.end(),
                                       [&](const QRectF& q) { return q.intersects(rc.adjusted(-2, -2, 2, 2)); });
        if (!clash) break;
        rc.translate(0, -(th + 2));
      }
      if (rc.top() < A.top() + 1) rc.moveTop(A.top() + 1);
      placed.push_back(rc);
      if (rc.bottom() < tip - h - 4) {
        p.setPen(QPen(FStyle.MarkLabel, 1, Qt::DotLine));
        p.drawLine(QPointF(cx, tip - h - 1), QPointF(cx, rc.bottom()));
      }
      p.setPen(QPen(QColor(FStyle.MarkLabel.red(), FStyle.MarkLabel.green(), FStyle.MarkLabel.blue(), 90), 1));
      p.setBrush(QColor(255, 255, 255, 225));
      p.drawRoundedRect(rc, 3, 3);
      p.setPen(FStyle.MarkLabel);
      p.drawText(rc, Qt::AlignCenter, s);
    }
    p.setBrush(Qt::NoBrush);
  }

  // Legend of a multi-channel signal.
  if (d.Kind == pkTimeSignal && d.Channels > 1) {
    p.setFont(L.F.Tick);
    const double row = tm.height() * 1.25, sample = base * 1.8;
    double w = 0;
    std::vector<QString> names;
    for (int c = 0; c < d.Channels; ++c) {
      names.push_back(c < static_cast<int>(d.ChannelNames.size()) ? Q(d.ChannelNames[c])
                                                                     : QStringLiteral("Channel %1").arg(c + 1));
      w = std::max(w, tm.horizontalAdvance(names.back()));
    }
    const QRectF box(A.right() - w - sample - base * 1.6, A.top() + base * 0.6, w + sample + base * 1.0,
                     row * d.Channels + base * 0.5);
    p.setPen(QPen(FStyle.Grid, 1));
    p.setBrush(QColor(255, 255, 255, 230));
    p.drawRect(box);
    for (int c = 0; c < d.Channels; ++c) {
      const double y = box.top() + base * 0.25 + row * (c + 0.5);
      p.setPen(QPen(FStyle.ChannelColor(c), std::max(1.5, base / 8.0)));
      p.drawLine(QPointF(box.left() + base * 0.4, y), QPointF(box.left() + base * 0.4 + sample * 0.8, y));
      p.setPen(FStyle.Text);
      p.drawText(QRectF(box.left() + base * 0.4 + sample, y - row / 2, w + base, row), Qt::AlignLeft | Qt::AlignVCenter,
                 names[c]);
    }
    p.setBrush(Qt::NoBrush);
  }
  p.restore();
}

QImage TPlotRenderer::RenderImage(int width, int height) const {
  EnsureGuiApplication();
  QImage img(std::max(1, width), std::max(1, height), QImage::Format_RGB32);
  QPainter p(&img);
  Render(p, QRectF(0, 0, img.width(), img.height()));
  p.end();
  return img;
}

void EnsureGuiApplication() {
  if (QCoreApplication::instance() != nullptr) {
    // Text and images need the GUI part of Qt; a console application cannot give it.
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr)
      throw Exception("Plotting needs a QGuiApplication, not a QCoreApplication");
    return;
  }
  // Qt warns on stderr when it has to invent a runtime directory; give it a private one.
  if (!std::getenv("XDG_RUNTIME_DIR")) {
    const auto dir = std::filesystem::temp_directory_path() / ("sigflow-runtime-" + std::to_string(::getuid()));
    std::error_code ec;
    std::filesystem::create_directory(dir, ec);
    std::filesystem::permissions(dir, std::filesystem::perms::owner_all, ec);
    if (!ec) ::setenv("XDG_RUNTIME_DIR", dir.c_str(), 1);
  }
  static int argc = 3;
  static char arg0[] = "sigflow", arg1[] = "-platform", arg2[] = "offscreen";
  static char* argv[] = {arg0, arg1, arg2, nullptr};
  // Qt sets the process locale from the environment; the rest of the library formats text
  // in the locale it found, so put it back. The application is made in the initialiser so
  // that it is destroyed before the statics Qt creates while starting.
  const std::string locale = std::setlocale(LC_ALL, nullptr);
  static const std::unique_ptr<QApplication> app = std::make_unique<QApplication>(argc, argv);
  std::setlocale(LC_ALL, locale.c_str());
}

void RenderPlotToPng(const TPlotData& data, const std::string& path, int width, int height) {
  if (width < 1 || height < 1) throw Exception("Plot image size must be positive");
  const QImage img = TPlotRenderer(data).RenderImage(width, height);
  QImageWriter writer(Q(path), "png");
  if (!writer.write(img)) throw EWriteError("Cannot write plot image \"" + path + "\"");
}

}  // namespace sigflow
