#include "sigflow/gui/AxisMapping.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "sigflow/core/Exceptions.h"
#include "support/message.h"

namespace sigflow {
namespace {

std::vector<std::string> Labels(const std::vector<TAxisTick>& ticks) {
  std::vector<std::string> out;
  for (const TAxisTick& t : ticks)
    if (!t.Label.empty()) out.push_back(t.Label);
  return out;
}

TEST(AxisMapping, LinearMapsEndsAndInteriorProportionally) {
  const TAxisMapping x(0.0, 1000.0, 100.0, 1100.0);
  EXPECT_DOUBLE_EQ(x.ToPixel(0.0), 100.0);
  EXPECT_DOUBLE_EQ(x.ToPixel(1000.0), 1100.0);
  EXPECT_DOUBLE_EQ(x.ToPixel(250.0), 350.0);
  EXPECT_DOUBLE_EQ(x.ToPixel(-100.0), 0.0);  // outside the range extrapolates
  // A vertical axis: data grow upwards, pixels downwards.
  const TAxisMapping y(-100.0, 0.0, 800.0, 0.0);
  EXPECT_DOUBLE_EQ(y.ToPixel(-100.0), 800.0);
  EXPECT_DOUBLE_EQ(y.ToPixel(-25.0), 200.0);
  EXPECT_DOUBLE_EQ(y.ToData(600.0), -75.0);
}

TEST(AxisMapping, LogarithmicGivesEqualSpaceToEachDecade) {
  const TAxisMapping x(10.0, 10000.0, 0.0, 300.0, asLogarithmic);
  EXPECT_NEAR(x.ToPixel(10.0), 0.0, 1e-12);
  EXPECT_NEAR(x.ToPixel(100.0), 100.0, 1e-12);
  EXPECT_NEAR(x.ToPixel(1000.0), 200.0, 1e-12);
  EXPECT_NEAR(x.ToPixel(10000.0), 300.0, 1e-12);
  EXPECT_NEAR(x.ToPixel(std::sqrt(10.0) * 100.0), 150.0, 1e-12);
  EXPECT_NEAR(x.ToPixel(2000.0) - x.ToPixel(1000.0), 100.0 * std::log10(2.0), 1e-12);
  EXPECT_TRUE(std::isnan(x.ToPixel(0.0)));
  EXPECT_TRUE(std::isnan(x.ToPixel(-5.0)));
}

TEST(AxisMapping, InverseRoundTripsOnBothScales) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  const TAxisMapping lin(-3.5, 17.25, 812.0, 37.0);
  const TAxisMapping log(0.02, 2.4e7, 64.0, 1560.0, asLogarithmic);
  for (int i = 0; i < 200; ++i) {
    const double a = -3.5 + u(rng) * 20.75;
    EXPECT_NEAR(lin.ToData(lin.ToPixel(a)), a, 1e-12 * 20.75);
    const double b = 0.02 * std::pow(10.0, u(rng) * std::log10(2.4e7 / 0.02));
    EXPECT_NEAR(log.ToData(log.ToPixel(b)), b, 1e-12 * b);
    const double px = 64.0 + u(rng) * 1496.0;
    EXPECT_NEAR(log.ToPixel(log.ToData(px)), px, 1e-9);
  }
}

TEST(AxisMapping, RejectsEmptyAndNonPositiveLogRanges) {
  EXPECT_EQ(test::MessageOf([] { TAxisMapping(5.0, 5.0, 0, 100); }), "Axis range is empty");
  EXPECT_EQ(test::MessageOf([] { TAxisMapping(5.0, 1.0, 0, 100); }), "Axis range is empty");
  EXPECT_EQ(test::MessageOf([] { TAxisMapping(0.0, NAN, 0, 100); }), "Axis range is empty");
  EXPECT_EQ(test::MessageOf([] { TAxisMapping(0.0, 100.0, 0, 100, asLogarithmic); }),
            "Logarithmic axis needs a positive range");
  EXPECT_EQ(test::MessageOf([] { TAxisMapping(-1.0, 100.0, 0, 100, asLogarithmic); }),
            "Logarithmic axis needs a positive range");
}

TEST(NiceStep, IsOneTwoOrFiveTimesAPowerOfTenAndFitsTheTickCount) {
  EXPECT_DOUBLE_EQ(NiceStep(1000.0, 10), 100.0);
  EXPECT_DOUBLE_EQ(NiceStep(1000.0, 4), 500.0);
  EXPECT_DOUBLE_EQ(NiceStep(7.0, 5), 2.0);
  EXPECT_DOUBLE_EQ(NiceStep(0.033, 3), 0.02);
  EXPECT_DOUBLE_EQ(NiceStep(48000.0, 8), 10000.0);
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> expo(-9.0, 9.0);
  for (int i = 0; i < 500; ++i) {
    const double range = std::pow(10.0, expo(rng));
    const int maxTicks = 2 + i % 12;
    const double step = NiceStep(range, maxTicks);
    const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-12));
    const bool oneTwoFive = std::abs(mantissa - 1) < 1e-9 || std::abs(mantissa - 2) < 1e-9 ||
                            std::abs(mantissa - 5) < 1e-9 || std::abs(mantissa - 10) < 1e-9;
    EXPECT_TRUE(oneTwoFive) << step;
    EXPECT_GE(step * maxTicks, range * (1 - 1e-12)) << "too many ticks for " << range;
    EXPECT_LT(step * maxTicks, range * 5.0 * (1 + 1e-12)) << "step too coarse for " << range;
  }
}

TEST(LinearTicks, FallOnStepMultiplesWithEngineeringLabels) {
  EXPECT_EQ(Labels(LinearTicks(0.0, 3000.0, 6, "Hz")),
            (std::vector<std::string>{"0 Hz", "500 Hz", "1 kHz", "1.5 kHz", "2 kHz", "2.5 kHz", "3 kHz"}));
  EXPECT_EQ(Labels(LinearTicks(-1.0, 24000.0, 10, "Hz")),
            (std::vector<std::string>{"0 Hz", "5 kHz", "10 kHz", "15 kHz", "20 kHz"}));
  EXPECT_EQ(Labels(LinearTicks(0.0, 0.06, 6, "s")),
            (std::vector<std::string>{"0 s", "10 ms", "20 ms", "30 ms", "40 ms", "50 ms", "60 ms"}));
  EXPECT_EQ(Labels(LinearTicks(-150.0, 10.0, 8, "")),
            (std::vector<std::string>{"-140", "-120", "-100", "-80", "-60", "-40", "-20", "0"}));
  EXPECT_EQ(Labels(LinearTicks(-1.0, 1.0, 4, "")), (std::vector<std::string>{"-1.0", "-0.5", "0", "0.5", "1.0"}));
  EXPECT_TRUE(LinearTicks(1.0, 1.0, 5, "Hz").empty());
}

TEST(FormatEngineering, ChoosesThePrefixByMagnitude) {
  EXPECT_EQ(FormatEngineering(100.0, "Hz"), "100 Hz");
  EXPECT_EQ(FormatEngineering(1000.0, "Hz"), "1 kHz");
  EXPECT_EQ(FormatEngineering(2500.0, "Hz"), "2.5 kHz");
  EXPECT_EQ(FormatEngineering(1e6, "Hz"), "1 MHz");
  EXPECT_EQ(FormatEngineering(2.4e9, "Hz"), "2.4 GHz");
  EXPECT_EQ(FormatEngineering(0.002, "s"), "2 ms");
  EXPECT_EQ(FormatEngineering(2.5e-6, "s"), "2.5 \u00b5s");
  EXPECT_EQ(FormatEngineering(-1500.0, "Hz", 500.0), "-1.5 kHz");
  EXPECT_EQ(FormatEngineering(1234.56, "Hz"), "1.235 kHz");
  EXPECT_EQ(FormatEngineering(1250.0, "Hz", 10.0), "1.25 kHz");
  EXPECT_EQ(FormatEngineering(999.9996, "Hz", 1.0), "1 kHz");  // rounds into the next prefix
  EXPECT_EQ(FormatEngineering(0.0, "Hz"), "0 Hz");
  EXPECT_EQ(FormatEngineering(1e-12, "Hz", 100.0), "0 Hz");  // rounding noise of a zero tick
}

TEST(FormatNumber, UsesTheDecimalsTheResolutionNeeds) {
  EXPECT_EQ(FormatNumber(-20.0, 10.0), "-20");
  EXPECT_EQ(FormatNumber(0.25, 0.05), "0.25");
  EXPECT_EQ(FormatNumber(-1e-17, 0.1), "0");
  EXPECT_EQ(FormatNumber(1e-7, 1e-8), "1e-07");
  EXPECT_EQ(FormatNumber(3e8, 1e8), "3e+08");
}

TEST(LogTicks, MajorsAtDecadesMinorsBetween) {
  const auto ticks = LogTicks(20.0, 20000.0, 10, "Hz");
  EXPECT_EQ(Labels(ticks), (std::vector<std::string>{"100 Hz", "1 kHz", "10 kHz"}));
  ASSERT_EQ(ticks.size(), 8u + 9u + 9u + 2u);  // 20..90, 100..900, 1k..9k, 10k and 20k
  EXPECT_DOUBLE_EQ(ticks.front().Value, 20.0);
  EXPECT_DOUBLE_EQ(ticks.back().Value, 20000.0);
  for (const TAxisTick& t : ticks) {
    const double m = t.Value / std::pow(10.0, std::floor(std::log10(t.Value) + 1e-12));
    EXPECT_NEAR(m, std::round(m), 1e-9) << t.Value;
    EXPECT_EQ(t.Major, std::abs(m - 1.0) < 1e-9) << t.Value;
  }
}

TEST(LogTicks, ShortRangesLabelTwoAndFiveLongRangesThinOutDecades) {
  EXPECT_EQ(Labels(LogTicks(100.0, 5000.0, 10, "Hz")),
            (std::vector<std::string>{"100 Hz", "200 Hz", "500 Hz", "1 kHz", "2 kHz", "5 kHz"}));
  // No decade inside: plain 1-2-5 ticks.
  EXPECT_EQ(Labels(LogTicks(200.0, 800.0, 4, "Hz")),
            (std::vector<std::string>{"200 Hz", "400 Hz", "600 Hz", "800 Hz"}));
  // Thirteen decades on room for four labels: every fourth decade, aligned to 10^0.
  EXPECT_EQ(Labels(LogTicks(1e-3, 1e9, 4, "Hz")), (std::vector<std::string>{"1 Hz", "10 kHz", "100 MHz"}));
  EXPECT_TRUE(LogTicks(0.0, 10.0, 4, "Hz").empty());
}

}  // namespace
}  // namespace sigflow
