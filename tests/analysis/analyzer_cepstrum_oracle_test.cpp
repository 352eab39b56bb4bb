// Real-cepstrum method of the spectrum analyzer against numpy (tests/reference/
// analyzer_reference.py): a 200-sample frame with an echo, DC offset and Hann windows.
#include <gtest/gtest.h>

#include "analyzer_support.h"
#include "support/reference.h"

namespace sigflow {
namespace {

TEST(AnalyzerCepstrumOracle, MatchesNumpy) {
  const test::ReferenceData ref("analyzer.txt");
  const auto& x = ref["cepstrum_input"];
  const auto& want = ref["cepstrum_amplt"];
  test::AnalyzerRig r;
  test::SetReal(r.input, x, 8000);
  r.analyzer.SetMethod(smRealCepstrum);
  r.analyzer.SetWindow(wtHanning);
  r.analyzer.Update();
  EXPECT_EQ(r.analyzer.TransformLength(), 256);
  ASSERT_EQ(r.analyzer.Amplt().Length(), int(want.size()));
  for (std::size_t k = 0; k < want.size(); ++k)
    EXPECT_NEAR(r.analyzer.Amplt().Values(int(k)), want[k], 1e-12 * (1 + std::abs(want[k]))) << k;
}

}  // namespace
}  // namespace sigflow
