// The tool's PNG read back: its peak marks stand at the columns the renderer maps the reported
// peak frequencies to.
#include "cli_test_util.h"

#if SIGFLOW_CLI_HAS_GUI
#include <QImage>
#include <algorithm>
#include <cmath>
#include <sstream>

#include "sigflow/gui/PlotRenderer.h"

namespace sigflow::test {
namespace {

// Centres of the groups of adjacent columns that hold a pixel of exactly colour c.
std::vector<double> ColumnCentres(const QImage& img, const QColor& c) {
  std::vector<double> centres;
  int first = -1, last = -2;
  for (int x = 0; x <= img.width(); ++x) {
    bool hit = false;
    for (int y = 0; x < img.width() && y < img.height() && !hit; ++y) {
      const QRgb px = img.pixel(x, y);
      hit = qRed(px) == c.red() && qGreen(px) == c.green() && qBlue(px) == c.blue();
    }
    if (hit && last == x - 1) {
      last = x;
    } else if (hit) {
      first = last = x;
    } else if (last == x - 1 && first >= 0) {
      centres.push_back(0.5 * (first + last));
      first = -1;
    }
  }
  return centres;
}

TEST(CliPlot, PeakMarksStandAtTheColumnsOfTheReportedPeaks) {
  EnsureGuiApplication();
  TCliScratch dir;
  const std::string png = dir.File("s.png"), csv = dir.File("s.csv");
  const auto j = RunJson({"analyze", "--json", "--averages", "20", "--peaks", "3", "--plot", png, "--csv", csv});
  QImage img;
  ASSERT_TRUE(img.load(QString::fromStdString(png)));
  EXPECT_EQ(img.width(), 1600);
  EXPECT_EQ(img.height(), 900);

  // The same spectrum and peaks, laid out by the renderer, give the expected columns.
  std::istringstream in(ReadFileText(csv));
  std::string line;
  std::getline(in, line);
  std::vector<double> amplitudes;
  double step = 0, prev = 0;
  while (std::getline(in, line)) {
    const auto comma = line.find(',');
    const double f = std::stod(line.substr(0, comma));
    if (amplitudes.size() == 1) step = f - prev;
    prev = f;
    amplitudes.push_back(std::stod(line.substr(comma + 1)));
  }
  TPlotData data = SpectrumPlot(amplitudes, 0.0, step);
  data.AmplitudeScale = amDecibel;
  std::vector<double> freqs;
  for (const auto& p : j["peaks"]) {
    freqs.push_back(p["frequency"].get<double>());
    data.Peaks.push_back({freqs.back(), p["amplitude"].get<double>(), ""});
  }
  std::sort(freqs.begin(), freqs.end());
  const TPlotRenderer renderer(data);
  const TPlotFrame frame = renderer.Frame(QRectF(0, 0, 1600, 900));
  const std::vector<double> marks = ColumnCentres(img, renderer.Style().Mark);
  ASSERT_EQ(marks.size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(marks[i], std::floor(frame.X.ToPixel(freqs[i])), 1.0) << freqs[i];
  // 1, 2 and 3 kHz on a 0 .. 24 kHz axis: the marks are apart by the same number of columns.
  EXPECT_NEAR(marks[1] - marks[0], marks[2] - marks[1], 1.0);
}

}  // namespace
}  // namespace sigflow::test
#endif
