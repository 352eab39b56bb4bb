#include "sigflow/gui/PlotWidget.h"

#include <QPainter>

namespace sigflow {

TPlotWidget::TPlotWidget(QWidget* parent) : QWidget(parent), FRenderer(TPlotData{}) {
  setAttribute(Qt::WA_OpaquePaintEvent);
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void TPlotWidget::SetData(const TPlotData& data) {
  FRenderer = TPlotRenderer(data, FRenderer.Style());
  update();
}

void TPlotWidget::SetStyle(const TPlotStyle& style) {
  FRenderer = TPlotRenderer(FRenderer.Data(), style);
  update();
}

TPlotFrame TPlotWidget::Frame() const { return FRenderer.Frame(QRectF(rect())); }

QSize TPlotWidget::sizeHint() const { return {640, 400}; }

QSize TPlotWidget::minimumSizeHint() const { return {240, 160}; }

void TPlotWidget::paintEvent(QPaintEvent*) {
  QPainter p(this);
  FRenderer.Render(p, QRectF(rect()));
}

}  // namespace sigflow
