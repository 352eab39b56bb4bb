#pragma once
// Draws a TPlotData into any QPainter: a widget, a QImage, a PDF. No widget needed, so the
// command-line tool and tests render offscreen with the same code the widget paints with.
#include <QColor>
#include <QImage>
#include <QRectF>
#include <string>

#include "sigflow/gui/AxisMapping.h"
#include "sigflow/gui/PlotData.h"

class QPainter;

namespace sigflow {

// Colours and sizes. Marks use a colour no trace, grid or text uses, so a rendered image can
// be searched for it.
struct TPlotStyle {
  QColor Background{255, 255, 255};
  QColor Frame{64, 64, 64};
  QColor Grid{222, 226, 232};
  QColor MinorGrid{240, 242, 245};
  QColor Text{33, 33, 33};
  QColor Trace{31, 95, 168};
  QColor Mark{230, 0, 0};
  QColor MarkLabel{90, 0, 0};
  // Base font size in pixels; 0 scales it with the output size.
  int FontPixels = 0;

  // Trace colour of a time-signal channel: Trace for channel 0, then a fixed palette.
  QColor ChannelColor(int channel) const;
};

// Where the plot area lies in the output and how data map onto it. For a matrix, Y maps row
// coordinates and Color the colour scale; otherwise Y maps amplitudes (in the displayed unit:
// dB or linear).
struct TPlotFrame {
  QRectF Area;
  TAxisMapping X;
  TAxisMapping Y;
  TAxisMapping Color;
};

class TPlotRenderer {
public:
  explicit TPlotRenderer(const TPlotData& data, const TPlotStyle& style = {});

  // Layout of the plot drawn into `bounds`.
  TPlotFrame Frame(const QRectF& bounds) const;
  // Draws the whole plot into `bounds` of painter.
  void Render(QPainter& painter, const QRectF& bounds) const;
  // The plot as an image of width x height pixels.
  QImage RenderImage(int width, int height) const;

  // Displayed value of an amplitude in the data's unit (dB conversion and floor applied).
  double DisplayValue(double value) const;

  const TPlotData& Data() const { return FData; }
  const TPlotStyle& Style() const { return FStyle; }

private:
  TPlotData FData;
  TPlotStyle FStyle;
};

// Creates the Qt application object a render needs (a QApplication on the offscreen
// platform) unless one exists. Raises Exception "Plotting needs a QGuiApplication, not a
// QCoreApplication" when the program already runs a console-only application.
void EnsureGuiApplication();

// Renders data to a PNG file of width x height pixels, without a display. Raises EWriteError
// "Cannot write plot image \"<path>\"" when the file cannot be written, and Exception
// "Plot image size must be positive" for width or height < 1.
void RenderPlotToPng(const TPlotData& data, const std::string& path, int width = 1600, int height = 900);

}  // namespace sigflow
