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

// run repeats the very chain analyze ran: everything but the signal's name agrees exactly.
void ExpectSameReport(nlohmann::json a, nlohmann::json b) {
  a.erase("signal");
  b.erase("signal");
  EXPECT_EQ(a, b);
}

TEST(CliRun, SavedAnalyzeChainReproducesTheReport) {
  TCliScratch dir;
  const std::string wav = DistortedTone(dir);
  const std::string stereo = dir.File("stereo.wav");
  ASSERT_EQ(RunCli({"generate", "--formula", "sine(440,0,0.5) sine(5000,0,0.001) +", "--rate", "44100", "--seconds",
                    "2", "--channels", "2", "--scale", "30000", stereo})
                .Status,
            0);
  const std::vector<std::vector<std::string>> cases = {
      {wav},
      {wav, "--fft-size", "4096", "--overlap", "75", "--zero-padding", "2", "--window", "hann", "--peaks", "3"},
      {wav, "--window", "blackman-harris", "--averaging", "peak-hold", "--averages", "6", "--harmonics", "2"},
      {wav, "--fft-size", "6000", "--overlap", "0", "--window", "chebyshev:150", "--interpolation", "jain"},
      {wav, "--averaging", "exponential", "--averages", "3", "--overlap", "60"},
      {wav, "--lowpass", "1500", "--iir"},
      {stereo, "--channel", "2", "--highpass", "1000", "--overlap", "75"},
      {"--averages", "30"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::PrintToString(c));
    const std::string chain = dir.File("chain.json");
    std::vector<std::string> args = {"analyze", "--json", "--save-chain", chain};
    args.insert(args.end(), c.begin(), c.end());
    const auto a = RunJson(args);
    const auto b = RunJson({"run", chain, "--json"});
    ExpectSameReport(a, b);
    EXPECT_GT(b["rms"].get<double>(), 0.0);
  }
  // The text report carries the same figures.
  const std::string chain = dir.File("text.json");
  RunJson({"analyze", wav, "--json", "--save-chain", chain});
  const TRun text = RunCli({"run", chain});
  ASSERT_EQ(text.Status, 0) << text.Err;
  EXPECT_NE(text.Out.find("Signal:              " + chain + ": Spectrum\n"), std::string::npos) << text.Out;
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

TEST(CliRun, SaveChainRefusesWhatARunCouldNotRepeat) {
  TCliScratch dir;
  const std::string wav = DistortedTone(dir);
  const std::string chain = dir.File("c.json");
  struct Case {
    std::vector<std::string> Args;
    std::string Err;
  };
  const Case cases[] = {
      {{"analyze", "--save-chain", chain, "--averaging", "exponential"},
       "--save-chain of the built-in signal needs linear, peak-hold or complex-linear averaging: a generator never "
       "ends"},
      {{"analyze", wav, "--save-chain", chain, "--record", "1"},
       "--save-chain reads record 0 only: a chain's reader starts at the first record"},
  };
  for (const auto& c : cases) {
    const TRun r = RunCli(c.Args);
    EXPECT_EQ(r.Status, 1);
    EXPECT_EQ(r.Err, "sigflow: " + c.Err + "\n");
    EXPECT_FALSE(std::filesystem::exists(chain));
  }
  // A chain whose generator feeds an endless average has no end to run to.
  RunJson({"analyze", "--json", "--save-chain", chain});
  auto doc = nlohmann::json::parse(ReadFileText(chain));
  for (auto& child : doc["children"])
    if (child["class"] == "TSpectrumAnalyzer") child["properties"]["Averaging"] = "avLinearInf";
  std::ofstream(chain) << doc.dump(2);
  const TRun r = RunCli({"run", chain});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: '" + chain +
                       "' never ends: its source is a generator or a looping reader; give --blocks or a finite "
                       "averaging\n");
}

}  // namespace
}  // namespace sigflow::test
