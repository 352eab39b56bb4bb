#pragma once
// A widget showing one plot; forms embed it, the painting is TPlotRenderer's.
#include <QWidget>

#include "sigflow/gui/PlotData.h"
#include "sigflow/gui/PlotRenderer.h"

namespace sigflow {

class TPlotWidget : public QWidget {
  Q_OBJECT

public:
  explicit TPlotWidget(QWidget* parent = nullptr);

  // Replaces the shown data and repaints.
  void SetData(const TPlotData& data);
  const TPlotData& Data() const { return FRenderer.Data(); }
  void SetStyle(const TPlotStyle& style);
  const TPlotStyle& Style() const { return FRenderer.Style(); }
  // Layout at the widget's current size (for hit tests and cursor read-outs).
  TPlotFrame Frame() const;

  QSize sizeHint() const override;
  QSize minimumSizeHint() const override;

protected:
  void paintEvent(QPaintEvent* event) override;

private:
  TPlotRenderer FRenderer;
};

}  // namespace sigflow
