#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "sigflow/numeric/Tone.h"
#include "sigflow/numeric/Waveforms.h"
#include "numeric_check.h"
#include "support/reference.h"

namespace sigflow {
namespace {

const test::ReferenceData& Ref() {
  static const test::ReferenceData ref("tones_reference.txt");
  return ref;
}

// scipy evaluates the phase 2 pi F n / Fs in double, so its samples carry about 1e-13 of
// phase error at these lengths; 1e-10 leaves room for that and for nothing else.
TEST(TonesOracle, TriangleMatchesScipySawtoothForEveryAsymmetry) {
  const auto& p = Ref()["triangle_params"];
  const auto& asym = Ref()["triangle_asym"];
  for (std::size_t i = 0; i < asym.size(); ++i) {
    const auto& want = Ref()["triangle_" + std::to_string(i)];
    TTriangleToneState s;
    TriangleToneInit(s, p[0], p[2], p[3], asym[i], p[1], false);
    // Odd block sizes, so the comparison also covers the block seams.
    std::vector<double> got(want.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t at = 0; at < got.size(); at += 333)
      TriangleTone(s, std::span<double>(got.data() + at, std::min<std::size_t>(333, got.size() - at)));
    EXPECT_TRUE(test::NearAbs(got, want, 1e-10)) << "asymmetry " << asym[i];
  }
}

TEST(TonesOracle, ChirpMatchesScipyLinearChirpOverRepeatedSweeps) {
  for (int i = 0; Ref().Has("chirp_" + std::to_string(i)); ++i) {
    const auto& p = Ref()["chirp_params_" + std::to_string(i)];
    const auto& want = Ref()["chirp_" + std::to_string(i)];
    TChirpState s;
    ChirpInit(s, p[0], p[1], p[2], p[3], p[4], p[5], p[6], static_cast<std::int64_t>(p[7]), p[8]);
    std::vector<double> got(want.size(), std::numeric_limits<double>::quiet_NaN());
    for (std::size_t at = 0; at < got.size(); at += 1000)
      Chirp(s, std::span<double>(got.data() + at, std::min<std::size_t>(1000, got.size() - at)));
    EXPECT_TRUE(test::NearAbs(got, want, 1e-10)) << "chirp " << i;
  }
}

}  // namespace
}  // namespace sigflow
