// End-to-end: the command line itself - help, exit statuses and one-line errors.
#include "cli_test_util.h"
#include "sigflow/files/FileFormats.h"

namespace sigflow::test {
namespace {

TEST(CliCommands, HelpOfEverySubcommand) {
  struct Case {
    const char* Command;
    const char* Option;
  };
  const Case cases[] = {{"info", "--json"},        {"convert", "--precision"}, {"analyze", "--fft-size"},
                        {"generate", "--formula"}, {"filter", "--lowpass"},     {"run", "--last"}};
  for (const auto& c : cases) {
    const TRun r = RunCli({c.Command, "--help"});
    EXPECT_EQ(r.Status, 0) << c.Command;
    EXPECT_NE(r.Out.find(c.Option), std::string::npos) << c.Command;
    EXPECT_EQ(r.Err, "");
  }
  const TRun top = RunCli({"--help"});
  EXPECT_EQ(top.Status, 0);
  for (const char* c : {"info", "convert", "analyze", "generate", "filter", "run"})
    EXPECT_NE(top.Out.find(c), std::string::npos) << c;
}

TEST(CliCommands, BadInputGivesOneLineAndStatusOne) {
  TCliScratch dir;
  const std::string missing = dir.File("none.wav");
  TRun r = RunCli({"info", missing});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: " + FileNotFoundMessage(missing) + "\n");

  r = RunCli({"analyze", dir.File("x.xyz")});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: " + UnknownExtensionMessage(".xyz") + "\n");

  // A WAV whose header is cut short, and one that is not RIFF at all.
  const std::string cut = dir.File("cut.wav"), junk = dir.File("junk.wav");
  {
    std::ofstream(cut, std::ios::binary) << std::string("RIFF\x24\x00\x00\x00WAVEfmt ", 16);
    std::ofstream(junk, std::ios::binary) << std::string(200, 'z');
  }
  for (const auto& f : {cut, junk}) {
    for (const char* cmd : {"info", "analyze"}) {
      r = RunCli({cmd, f});
      EXPECT_EQ(r.Status, 1) << cmd << ' ' << f;
      ASSERT_GT(r.Err.size(), 10u);
      EXPECT_EQ(r.Err.rfind("sigflow: ", 0), 0u) << r.Err;
      EXPECT_EQ(r.Err.find('\n'), r.Err.size() - 1) << r.Err;
      EXPECT_EQ(r.Out, "");
    }
  }

  r = RunCli({});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: A subcommand is required\n");
  r = RunCli({"transmogrify"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err.rfind("sigflow: ", 0), 0u);
  r = RunCli({"info"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: file is required\n");
}

}  // namespace
}  // namespace sigflow::test
