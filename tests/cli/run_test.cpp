// End-to-end: analyze --save-chain and run of saved component chains.
#include <cmath>

#include "cli_test_util.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalWrite.h"
#include "sigflow/processing/FuncSignalList.h"
#include "sigflow/processing/SignalGenerator.h"

namespace sigflow::test {
namespace {

// 3 s of a 1 kHz tone with 1 % second and 0.3 % third harmonic and some noise, 16-bit mono.
std::string DistortedTone(const TCliScratch& dir) {
  const std::string wav = dir.File("tone.wav");
  const TRun r = RunCli({"generate", "--formula",
                         "sine(1000,0,1) sine(2000,0,0.01) + sine(3000,0,0.003) + randgauss(0,0.0001) +", "--rate",
                         "48000", "--seconds", "3", "--scale", "20000", wav});
  EXPECT_EQ(r.Status, 0) << r.Err;
  return wav;
}

void ExpectSameReport(const nlohmann::json& a, const nlohmann::json& b) {
  EXPECT_EQ(a["frames_averaged"], b["frames_averaged"]);
  EXPECT_DOUBLE_EQ(a["bin_width"].get<double>(), b["bin_width"].get<double>());
  EXPECT_EQ(a["window"], b["window"]);
  ASSERT_EQ(a["peaks"].size(), b["peaks"].size());
  for (std::size_t i = 0; i < a["peaks"].size(); ++i) {
    const double fa = a["peaks"][i]["frequency"].get<double>(), aa = a["peaks"][i]["amplitude"].get<double>();
    EXPECT_NEAR(b["peaks"][i]["frequency"].get<double>(), fa, 1e-6 * fa) << i;
    EXPECT_NEAR(b["peaks"][i]["amplitude"].get<double>(), aa, 1e-6 * aa) << i;
  }
  for (const char* k : {"thd_percent", "thdn_percent"})
    EXPECT_NEAR(b[k].get<double>(), a[k].get<double>(), 1e-4 * a[k].get<double>()) << k;
  for (const char* k : {"snr_db", "sinad_db", "sfdr_db", "noise_floor_db"})
    EXPECT_NEAR(b[k].get<double>(), a[k].get<double>(), 0.01) << k;
}

TEST(CliRun, SavedAnalyzeChainReproducesTheReport) {
  TCliScratch dir;
  const std::string wav = DistortedTone(dir);
  struct Case {
    std::vector<std::string> Options;
  };
  const Case cases[] = {
      {{}},
      {{"--fft-size", "4096", "--overlap", "75", "--zero-padding", "2", "--window", "hann", "--peaks", "3"}},
      {{"--window", "blackman-harris", "--averaging", "peak-hold", "--averages", "6", "--harmonics", "2"}},
      {{"--fft-size", "16384", "--overlap", "0", "--window", "chebyshev:150"}},
  };
  for (const auto& c : cases) {
    const std::string chain = dir.File("chain.json");
    std::vector<std::string> args = {"analyze", wav, "--json", "--save-chain", chain};
    args.insert(args.end(), c.Options.begin(), c.Options.end());
    const auto a = RunJson(args);
    const auto b = RunJson({"run", chain, "--json"});
    SCOPED_TRACE(::testing::PrintToString(c.Options));
    ExpectSameReport(a, b);
    if (c.Options.empty()) {
      EXPECT_NEAR(a["thd_percent"].get<double>(), 100 * std::sqrt(1e-4 + 9e-6), 2e-3);
    }
    EXPECT_TRUE(b["rms"].is_null());
  }
  // The text report carries the same figures.
  const std::string chain = dir.File("text.json");
  RunJson({"analyze", wav, "--json", "--save-chain", chain});
  const TRun text = RunCli({"run", chain});
  ASSERT_EQ(text.Status, 0) << text.Err;
  EXPECT_NE(text.Out.find("Signal:              Spectrum of Reader\n"), std::string::npos) << text.Out;
  EXPECT_NE(text.Out.find("RMS:                 n/a\n"), std::string::npos) << text.Out;
  EXPECT_NE(text.Out.find("THD:                 1.04"), std::string::npos) << text.Out;
}

TEST(CliRun, ChoosesTheLastStageAndPullsToTheEnd) {
  TCliScratch dir;
  const std::string wav = DistortedTone(dir);
  const std::string chain = dir.File("chain.json");
  const auto a = RunJson({"analyze", wav, "--json", "--save-chain", chain, "--overlap", "0"});
  // Pulling the reader alone delivers every whole frame and nothing else.
  TRun r = RunCli({"run", chain, "--last", "Reader"});
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Out, "Reader: " + std::to_string(a["frames_averaged"].get<int>()) +
                       " blocks pulled, no spectrum analyzer to report\n");
  r = RunCli({"run", chain, "--last", "Nope"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: '" + chain + "' has no component named 'Nope'\n");

  // A second reader nobody uses makes the last stage ambiguous.
  auto doc = nlohmann::json::parse(ReadFileText(chain));
  doc["children"].push_back({{"class", "TSignalRead"}, {"name", "Other"}});
  std::ofstream(chain) << doc.dump(2);
  r = RunCli({"run", chain});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: '" + chain + "' has 2 last stages (Spectrum, Other): choose one with --last\n");

  std::ofstream(chain) << "{\"class\": \"TComponent\", \"name\": \"Chain\", \"children\": [{\"class\": \"TNope\"}]}";
  r = RunCli({"run", chain});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err.rfind("sigflow: ", 0), 0u);
  EXPECT_NE(r.Err.find("TNope"), std::string::npos) << r.Err;
}

TEST(CliRun, GeneratorToWriterChainWritesTheRequestedBlocks) {
  TCliScratch dir;
  const std::string chain = dir.File("gen.json"), out = dir.File("gen.dat");
  {
    TComponent root(nullptr);
    root.SetName("Chain");
    auto* g = new TSignalGenerator(&root);
    g->SetName("Gen");
    g->SetSamplingFrequency(8000);
    g->SetLength(1000);
    g->Sounds()->AddTemplate("tone");
    for (const auto& line : ParseFormula("sine(500,0,2)")) g->Template()->Add(line);
    auto* w = new TSignalWrite(&root);
    w->SetName("Writer");
    w->SetInput(g);
    w->SetFileName(out);
    SaveComponentTreeToFile(root, chain);
  }
  const TRun r = RunCli({"run", chain, "--blocks", "5"});
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Out, "Writer: 5 blocks pulled, no spectrum analyzer to report\n");
  auto file = OpenSignalFile(out, FileFormatFromFileName(out));
  ASSERT_EQ(file->NumberOfRecords(), 5);
  TVec v;
  file->ReadRecord(4, v);
  ASSERT_EQ(v.Length(), 1000);
  // Block 5 continues the phase: sample 4000 + i of a 500 Hz sine at 8 kHz.
  for (int i = 0; i < 1000; i += 97)
    EXPECT_NEAR(v.Values(i), 2 * std::sin(2 * 3.141592653589793 * 500 * (4000 + i) / 8000.0), 1e-9) << i;
}

TEST(CliRun, SaveChainRefusesWhatTheAnalyzerCannotRepeat) {
  TCliScratch dir;
  const std::string wav = DistortedTone(dir);
  const std::string chain = dir.File("c.json");
  struct Case {
    std::vector<std::string> Args;
    std::string Err;
  };
  const Case cases[] = {
      {{"analyze", "--save-chain", chain}, "--save-chain needs a FILE: the built-in signal has no component"},
      {{"analyze", wav, "--save-chain", chain, "--fft-size", "6000"}, "--save-chain needs a power of two for --fft-size"},
      {{"analyze", wav, "--save-chain", chain, "--averaging", "exponential"},
       "--save-chain takes linear or peak-hold averaging"},
  };
  for (const auto& c : cases) {
    const TRun r = RunCli(c.Args);
    EXPECT_EQ(r.Status, 1);
    EXPECT_EQ(r.Err, "sigflow: " + c.Err + "\n");
    EXPECT_FALSE(std::filesystem::exists(chain));
  }
}

}  // namespace
}  // namespace sigflow::test
