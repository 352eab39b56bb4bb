// End-to-end: sigflow generate, checked by reading the files back and by sigflow analyze.
#include <cmath>

#include "cli_test_util.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::test {
namespace {

TEST(CliGenerate, WavOfTwoTonesAnalysesToTheirFrequenciesAndAmplitudes) {
  TCliScratch dir;
  const std::string wav = dir.File("two.wav");
  // 20000 * (sine 1000 Hz amplitude 1 + sine 3500 Hz amplitude 0.1), 16-bit.
  TRun r = RunCli({"generate", "--formula", "sine(1000,0,1) sine(3500,30,0.1) +", "--rate", "48000", "--seconds",
                   "2", "--block", "1000", "--scale", "20000", wav});
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Err + r.Out, "");
  const auto info = RunJson({"info", wav, "--json"});
  EXPECT_EQ(info["records"][0]["frames"].get<int>(), 96000);
  EXPECT_EQ(info["records"][0]["precision"].get<std::string>(), "prSmallInt");
  EXPECT_EQ(info["records"][0]["sampling_frequency"].get<double>(), 48000.0);

  const auto j = RunJson({"analyze", wav, "--json", "--peaks", "3"});
  ASSERT_EQ(j["peaks"].size(), 3u);
  EXPECT_NEAR(j["peaks"][0]["frequency"].get<double>(), 1000.0, 0.01);
  EXPECT_NEAR(j["peaks"][0]["amplitude"].get<double>(), 20000.0, 1.0);
  EXPECT_NEAR(j["peaks"][1]["frequency"].get<double>(), 3500.0, 0.01);
  EXPECT_NEAR(j["peaks"][1]["amplitude"].get<double>(), 2000.0, 0.2);
  // Rounding to integers is the only other content: spurs of a fraction of one step
  // (the signal repeats every 96 samples, so its rounding error does too).
  EXPECT_LT(j["peaks"][2]["amplitude"].get<double>(), 0.5);
}

TEST(CliGenerate, BlocksJoinWithoutSeamAndChannelsRepeat) {
  TCliScratch dir;
  const std::string a = dir.File("a.dat"), b = dir.File("b.dat");
  const std::string formula = "sine(440,10,1) triangle(97,0,0.5,0.3) * square(25,0,0.2,0.1) +";
  ASSERT_EQ(RunCli({"generate", "--formula", formula, "--rate", "8000", "--seconds", "0.9999", "--block", "7", a}).Status, 0);
  ASSERT_EQ(RunCli({"generate", "--formula", formula, "--rate", "8000", "--seconds", "0.9999", "--block", "100000",
                    "--channels", "2", b})
                .Status,
            0);
  auto ra = OpenSignalFile(a, FileFormatFromFileName(a));
  auto rb = OpenSignalFile(b, FileFormatFromFileName(b));
  // A .dat file takes one record per written block; gather the one-channel stream.
  std::vector<double> x;
  TVec v;
  for (int k = 0; k < ra->NumberOfRecords(); ++k) {
    ra->ReadRecord(k, v);
    x.insert(x.end(), v.Data(), v.Data() + v.Length());
  }
  ASSERT_EQ(x.size(), 7999u);
  ASSERT_EQ(rb->NumberOfRecords(), 1);
  EXPECT_EQ(rb->RecordInfo(0).ChannelCount, 2);
  rb->ReadRecord(0, v);
  ASSERT_EQ(v.Length(), 2 * 7999);
  double worst = 0, peak = 0;
  for (int i = 0; i < 7999; ++i) {
    EXPECT_EQ(v.Values(2 * i), v.Values(2 * i + 1));
    worst = std::max(worst, std::abs(v.Values(2 * i) - x[std::size_t(i)]));
    peak = std::max(peak, std::abs(x[std::size_t(i)]));
  }
  EXPECT_LT(worst, 1e-9);
  EXPECT_GT(peak, 0.5);
}

TEST(CliGenerate, BadFormulasAndOptionsFailWithOneLine) {
  TCliScratch dir;
  const std::string out = dir.File("x.wav");
  TRun r = RunCli({"generate", "--formula", "wobble(3)", out});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err.rfind("sigflow: ", 0), 0u);
  EXPECT_NE(r.Err.find("wobble"), std::string::npos) << r.Err;
  EXPECT_FALSE(std::filesystem::exists(out));

  // Two operands and no operator: the generator's own message.
  r = RunCli({"generate", "--formula", "sine(1000,0,1) sine(10,0,1)", out});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: formula: Invalid expression: Missing operator!\n");
  EXPECT_FALSE(std::filesystem::exists(out));

  r = RunCli({"generate", "--formula", "sine(1000,0,1)", "--rate", "0", out});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: --rate must be a positive number of Hz\n");
  r = RunCli({"generate", "--formula", "", out});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: the formula is empty\n");
}

}  // namespace
}  // namespace sigflow::test
