#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numbers>
#include <vector>

#include "support/message.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/gui/PlotRenderer.h"
#include "sigflow/gui/PlotWidget.h"

namespace sigflow {
namespace {

constexpr int kWidth = 1600, kHeight = 900;
const QRectF kBounds(0, 0, kWidth, kHeight);

class PlotRender : public ::testing::Test {
protected:
  static void SetUpTestSuite() { EnsureGuiApplication(); }
};

bool Is(QRgb px, const QColor& c) { return qRed(px) == c.red() && qGreen(px) == c.green() && qBlue(px) == c.blue(); }

// Mostly of colour c: an antialiased line pixel blended with the white background.
bool Near(QRgb px, const QColor& c, int tolerance = 60) {
  return std::abs(qRed(px) - c.red()) + std::abs(qGreen(px) - c.green()) + std::abs(qBlue(px) - c.blue()) <= tolerance;
}

// Share a of colour c in a pixel that blends c over the white background (a c + (1 - a)
// white), or -1 when the pixel is not such a blend.
double Coverage(QRgb px, const QColor& c) {
  const int got[3] = {qRed(px), qGreen(px), qBlue(px)}, want[3] = {c.red(), c.green(), c.blue()};
  double lo = 2.0, hi = -1.0;
  for (int k = 0; k < 3; ++k) {
    if (want[k] > 230) continue;  // this component says little about the share
    const double a = (255.0 - got[k]) / (255.0 - want[k]);
    lo = std::min(lo, a);
    hi = std::max(hi, a);
  }
  return hi - lo < 0.12 ? 0.5 * (lo + hi) : -1.0;
}

struct Run {
  int First, Last, Bottom;  // columns, lowest row
  double Centre() const { return 0.5 * (First + Last); }
};

// Groups of adjacent image columns holding at least one pixel of exactly colour c.
std::vector<Run> ColumnRuns(const QImage& img, const QColor& c) {
  std::vector<Run> runs;
  for (int x = 0; x < img.width(); ++x) {
    int bottom = -1;
    for (int y = 0; y < img.height(); ++y)
      if (Is(img.pixel(x, y), c)) bottom = y;
    if (bottom < 0) continue;
    if (!runs.empty() && runs.back().Last == x - 1) {
      runs.back().Last = x;
      runs.back().Bottom = std::max(runs.back().Bottom, bottom);
    } else {
      runs.push_back({x, x, bottom});
    }
  }
  return runs;
}

// A spectrum of 4097 bins over 0..24 kHz with narrow bumps at the tone frequencies.
TPlotData ToneSpectrum(const std::vector<double>& tonesHz) {
  const double step = 48000.0 / 8192.0;
  std::vector<double> a(4097);
  for (std::size_t k = 0; k < a.size(); ++k) {
    a[k] = 1e-5 * (1.0 + 0.3 * std::sin(0.7 * k));
    for (double f : tonesHz) a[k] += 0.5 * std::exp(-std::pow((k * step - f) / (2.0 * step), 2));
  }
  TPlotData d = SpectrumPlot(a, 0.0, step);
  d.Title = "Tones";
  for (double f : tonesHz) d.Peaks.push_back({f, 0.5, FormatEngineering(f, "Hz", 0.1)});
  return d;
}

void ExpectMarksAt(const QImage& img, const TPlotRenderer& r, const TPlotFrame& frame) {
  const std::vector<Run> runs = ColumnRuns(img, r.Style().Mark);
  const auto& peaks = r.Data().Peaks;
  ASSERT_EQ(runs.size(), peaks.size());
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    const double column = std::floor(frame.X.ToPixel(peaks[i].Frequency));
    EXPECT_NEAR(runs[i].Centre(), column, 1.0) << "mark of " << peaks[i].Label;
    // The marker's tip sits just above the peak amplitude.
    const double row = frame.Y.ToPixel(r.DisplayValue(peaks[i].Amplitude));
    EXPECT_LE(runs[i].Bottom, row) << peaks[i].Label;
    EXPECT_GE(runs[i].Bottom, row - 5.0) << peaks[i].Label;
  }
}

TEST_F(PlotRender, SpectrumMarksSitAtTheMappedColumns) {
  const TPlotRenderer r(ToneSpectrum({1000.0, 3150.7, 7300.0, 12000.3, 21333.3}));
  const QImage img = r.RenderImage(kWidth, kHeight);
  ASSERT_EQ(img.size(), QSize(kWidth, kHeight));
  const TPlotFrame frame = r.Frame(kBounds);
  EXPECT_TRUE(kBounds.contains(frame.Area));
  EXPECT_DOUBLE_EQ(frame.X.Min(), 0.0);
  EXPECT_DOUBLE_EQ(frame.X.Max(), 24000.0);
  // 0.5 shown as about -6 dB, the noise at -100 dB: both inside the amplitude axis.
  EXPECT_TRUE(frame.Y.Contains(20 * std::log10(0.5)));
  EXPECT_TRUE(frame.Y.Contains(-100.0));
  ExpectMarksAt(img, r, frame);
}

TEST_F(PlotRender, LogAxisSpectrumMarksSitAtTheMappedColumns) {
  TPlotData d = ToneSpectrum({50.0, 440.0, 2600.0, 15000.0});
  d.XScale = asLogarithmic;
  const TPlotRenderer r(d);
  const QImage img = r.RenderImage(kWidth, kHeight);
  const TPlotFrame frame = r.Frame(kBounds);
  ASSERT_EQ(frame.X.Scale(), asLogarithmic);
  // Bin 0 (0 Hz) cannot be shown; the axis starts at the first bin above it.
  EXPECT_DOUBLE_EQ(frame.X.Min(), 48000.0 / 8192.0);
  ExpectMarksAt(img, r, frame);
  // Equal ratios, equal distances.
  EXPECT_NEAR(frame.X.ToPixel(4000.0) - frame.X.ToPixel(400.0), frame.X.ToPixel(400.0) - frame.X.ToPixel(40.0), 1e-9);
}

TEST_F(PlotRender, PngFileHoldsTheRenderedImage) {
  const TPlotData d = ToneSpectrum({1000.0});
  const std::string path = (std::filesystem::temp_directory_path() / "sigflow_plot_test.png").string();
  RenderPlotToPng(d, path);
  QImage png(QString::fromStdString(path));
  std::filesystem::remove(path);
  ASSERT_EQ(png.size(), QSize(kWidth, kHeight));
  EXPECT_EQ(png.convertToFormat(QImage::Format_RGB32), TPlotRenderer(d).RenderImage(kWidth, kHeight));
}

TEST_F(PlotRender, WriteErrorsRaiseWithThePath) {
  const TPlotData d = ToneSpectrum({1000.0});
  EXPECT_EQ(test::MessageOf<EWriteError>([&] { RenderPlotToPng(d, "/nonexistent-dir/plot.png"); }),
            "Cannot write plot image \"/nonexistent-dir/plot.png\"");
  EXPECT_EQ(test::MessageOf([&] { RenderPlotToPng(d, "/tmp/never-written.png", 0, 900); }),
            "Plot image size must be positive");
}

TEST_F(PlotRender, TimeSignalTracesFollowEachChannel) {
  const double dt = 1.0 / 8000.0;
  std::vector<double> s;
  for (int i = 0; i < 400; ++i) {
    s.push_back(std::sin(2 * std::numbers::pi * 40.0 * i * dt));
    s.push_back(0.5 * std::cos(2 * std::numbers::pi * 25.0 * i * dt) - 0.2);
  }
  const TPlotRenderer r(TimeSignalPlot(s, 2, 0.0, dt));
  const QImage img = r.RenderImage(kWidth, kHeight);
  const TPlotFrame frame = r.Frame(kBounds);
  EXPECT_NEAR(frame.X.Min(), 0.0, 1e-15);
  EXPECT_NEAR(frame.X.Max(), 399 * dt, 1e-15);
  // In each sampled column every pixel of a channel's colour lies near that channel's curve.
  int checked = 0;
  for (int i = 3; i < 260; i += 8) {  // left of the legend
    const int x = static_cast<int>(std::floor(frame.X.ToPixel(i * dt)));
    for (int c = 0; c < 2; ++c) {
      const double expect = frame.Y.ToPixel(s[2 * i + c]);
      // Channel 1 is drawn over channel 0 where the curves cross.
      if (c == 0 && std::abs(frame.Y.ToPixel(s[2 * i + 1]) - expect) < 6.0) continue;
      int hits = 0, worst = 0;
      for (int y = static_cast<int>(frame.Area.top()) + 1; y < frame.Area.bottom(); ++y)
        if (Coverage(img.pixel(x, y), r.Style().ChannelColor(c)) > 0.25) {
          ++hits;
          worst = std::max(worst, static_cast<int>(std::abs(y + 0.5 - expect)));
        }
      EXPECT_GT(hits, 0) << "channel " << c << " missing at sample " << i;
      EXPECT_LE(worst, 4) << "channel " << c << " off its curve at sample " << i;
      ++checked;
    }
  }
  EXPECT_GE(checked, 60);
}

TEST_F(PlotRender, DenseSpectrumKeepsANarrowSpike) {
  // A million bins on 1300 columns: the one-bin spike must survive the reduction.
  std::vector<double> a(1000000, 1e-4);
  a[612345] = 1.0;
  TPlotData d = SpectrumPlot(a, 0.0, 0.01);
  const TPlotRenderer r(d);
  const QImage img = r.RenderImage(kWidth, kHeight);
  const TPlotFrame frame = r.Frame(kBounds);
  const int x = static_cast<int>(std::floor(frame.X.ToPixel(6123.45)));
  const double top = frame.Y.ToPixel(0.0);
  int highest = kHeight;
  for (int dx = -1; dx <= 1; ++dx)
    for (int y = 0; y < kHeight; ++y)
      if (Near(img.pixel(x + dx, y), r.Style().Trace, 90)) highest = std::min(highest, y);
  EXPECT_NEAR(highest, top, 3.0);
}

TEST_F(PlotRender, EmptyDataDrawsAxesOnly) {
  for (TPlotKind kind : {pkSpectrum, pkTimeSignal, pkMatrix}) {
    for (TAxisScale scale : {asLinear, asLogarithmic}) {
      TPlotData d;
      d.Kind = kind;
      d.XScale = scale;
      const TPlotRenderer r(d);
      const QImage img = r.RenderImage(kWidth, kHeight);
      const TPlotFrame frame = r.Frame(kBounds);
      ASSERT_GT(frame.Area.width(), kWidth / 2);
      ASSERT_GT(frame.Area.height(), kHeight / 2);
      // The frame: its top and left edges are drawn in the frame colour along their length.
      int top = 0, left = 0;
      for (int x = static_cast<int>(frame.Area.left()) + 2; x < frame.Area.right() - 2; ++x)
        top += Is(img.pixel(x, static_cast<int>(frame.Area.top())), r.Style().Frame) ? 1 : 0;
      for (int y = static_cast<int>(frame.Area.top()) + 2; y < frame.Area.bottom() - 2; ++y)
        left += Is(img.pixel(static_cast<int>(frame.Area.left()), y), r.Style().Frame) ? 1 : 0;
      EXPECT_GE(top, frame.Area.width() - 5) << "kind " << int(kind);
      EXPECT_GE(left, frame.Area.height() - 5) << "kind " << int(kind);
      // Tick labels below the frame: some dark text pixels.
      int text = 0;
      for (int y = static_cast<int>(frame.Area.bottom()) + 3; y < kHeight; ++y)
        for (int x = 0; x < kWidth; x += 2) text += qGray(img.pixel(x, y)) < 100 ? 1 : 0;
      EXPECT_GT(text, 50) << "kind " << int(kind);
      EXPECT_TRUE(ColumnRuns(img, r.Style().Trace).empty());
    }
  }
}

TEST_F(PlotRender, MatrixWithTooFewValuesDrawsAsEmpty) {
  TPlotData d;
  d.Kind = pkMatrix;
  d.Rows = 40;
  d.Columns = 50;
  d.Values.assign(1999, 1.0);  // one short
  const TPlotRenderer r(d);
  const QImage img = r.RenderImage(800, 500);
  const TPlotFrame frame = r.Frame(QRectF(0, 0, 800, 500));
  EXPECT_DOUBLE_EQ(frame.X.Max() - frame.X.Min(), 1.0);  // the default range of an empty plot
  const QPoint centre = frame.Area.center().toPoint();
  EXPECT_TRUE(Is(img.pixel(centre), r.Style().Background));
}

TEST_F(PlotRender, AmplitudesConvertToTheDisplayedUnit) {
  TPlotData d;
  d.DecibelFloor = -150.0;
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(0.1), -20.0);
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(-0.1), -20.0);
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(0.0), -150.0);
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(1e-9), -150.0);
  d.DecibelFactor = 10.0;
  d.DecibelReference = 2.0;
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(0.2), -10.0);
  d.ValuesInDecibel = true;
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(-42.0), -42.0);
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(-400.0), -150.0);
  d.AmplitudeScale = amLinear;
  EXPECT_NEAR(TPlotRenderer(d).DisplayValue(-10.0), 0.2, 1e-15);
  d.Kind = pkTimeSignal;  // samples are never converted
  EXPECT_DOUBLE_EQ(TPlotRenderer(d).DisplayValue(-10.0), -10.0);
}

TEST_F(PlotRender, MatrixCellsTakeTheirColourRowZeroAtTheBottom) {
  const std::vector<double> v = {0, 1, 2, 3, 4, 5};  // 2 rows x 3 columns
  TPlotData d = MatrixPlot(v, 2, 3);
  d.ColorMap = cmGray;
  const TPlotRenderer r(d);
  const QImage img = r.RenderImage(900, 600);
  const TPlotFrame frame = r.Frame(QRectF(0, 0, 900, 600));
  for (int row = 0; row < 2; ++row)
    for (int col = 0; col < 3; ++col) {
      const int x = static_cast<int>(frame.X.ToPixel(col)), y = static_cast<int>(frame.Y.ToPixel(row));
      const int level = static_cast<int>(std::lround((row * 3 + col) / 5.0 * 255.0));
      EXPECT_TRUE(Is(img.pixel(x, y), QColor(level, level, level)))
          << "cell " << row << "," << col << " is " << std::hex << img.pixel(x, y);
    }
}

TEST_F(PlotRender, WidgetPaintsWhatTheRendererDraws) {
  TPlotWidget w;
  w.resize(800, 500);
  const TPlotData d = ToneSpectrum({1000.0, 5000.0});
  w.SetData(d);
  const QImage shown = w.grab().toImage().convertToFormat(QImage::Format_RGB32);
  ASSERT_EQ(shown.size(), QSize(800, 500));
  EXPECT_EQ(shown, TPlotRenderer(d).RenderImage(800, 500));
  EXPECT_EQ(w.Frame().Area, TPlotRenderer(d).Frame(QRectF(0, 0, 800, 500)).Area);
}

}  // namespace
}  // namespace sigflow
