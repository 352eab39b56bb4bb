// End-to-end: sigflow filter on generated tones, measured on the written file.
#include <cmath>
#include <complex>
#include <numbers>

#include "cli_test_util.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::test {
namespace {

constexpr double Rate = 48000;

// Channel `channel` of record 0 as one vector.
std::vector<double> ReadChannel(const std::string& file, int channel = 0) {
  auto r = OpenSignalFile(file, FileFormatFromFileName(file));
  TVec v;
  r->ReadRecord(0, v);
  const int c = r->RecordInfo(0).ChannelCount;
  std::vector<double> x;
  for (int i = channel; i < v.Length(); i += c) x.push_back(v.Values(i));
  return x;
}

// Amplitude of an integer-Hz tone over one second after the filter has settled: over a whole
// second every such tone has whole periods, so the tones do not leak into each other.
double ToneAmplitude(const std::vector<double>& x, double hz) {
  const std::size_t from = std::size_t(Rate / 2), n = std::size_t(Rate);
  EXPECT_GE(x.size(), from + n);
  std::complex<double> acc = 0;
  for (std::size_t i = 0; i < n && from + i < x.size(); ++i)
    acc += x[from + i] * std::polar(1.0, -2 * std::numbers::pi * hz * double(from + i) / Rate);
  return 2 * std::abs(acc) / double(n);
}

double Db(double a) { return 20 * std::log10(a); }

std::string Tones(const std::string& dir, std::initializer_list<int> hz, int channels = 1) {
  std::string formula;
  for (int f : hz) formula += (formula.empty() ? "" : " ") + std::string("sine(") + std::to_string(f) + ",0,1)" +
                              (formula.empty() ? "" : " +");
  const std::string file = dir + "/tones.dat";
  const TRun r = RunCli({"generate", "--formula", formula, "--rate", "48000", "--seconds", "2", "--block", "96000",
                         "--channels", std::to_string(channels), file});
  EXPECT_EQ(r.Status, 0) << r.Err;
  return file;
}

TEST(CliFilter, LowpassMeetsItsTemplateFirAndIir) {
  TCliScratch dir;
  const std::string in = Tones(dir.File(""), {950, 1250, 5000});
  for (const char* method : {"--fir", "--iir"}) {
    const std::string out = dir.File(std::string("low") + method + ".dat");
    // Pass band 0 .. 1000 Hz, stop band from 1200 Hz (the default 20 %), 60 dB, 0.1 dB.
    const TRun r = RunCli({"filter", in, out, "--lowpass", "1000", method, "--verbose"});
    ASSERT_EQ(r.Status, 0) << r.Err;
    const auto y = ReadChannel(out);
    ASSERT_EQ(y.size(), 96000u);
    EXPECT_LE(std::abs(Db(ToneAmplitude(y, 950))), 0.1) << method;
    EXPECT_LE(Db(ToneAmplitude(y, 1250)), -60.0) << method;
    EXPECT_LE(Db(ToneAmplitude(y, 5000)), -60.0) << method;
  }
  // Without the margin the check would catch nothing: the tone just above the edge must be
  // attenuated by far less than 60 dB when the transition is widened past it.
  const std::string wide = dir.File("wide.dat");
  ASSERT_EQ(RunCli({"filter", in, wide, "--lowpass", "1000", "--transition", "1000"}).Status, 0);
  EXPECT_GT(Db(ToneAmplitude(ReadChannel(wide), 1250)), -20.0);
}

TEST(CliFilter, HighpassAndBandpassOnEveryChannel) {
  TCliScratch dir;
  const std::string in = Tones(dir.File(""), {300, 2000, 9000}, 2);
  const std::string hp = dir.File("hp.dat"), bp = dir.File("bp.dat");
  ASSERT_EQ(RunCli({"filter", in, hp, "--highpass", "1500", "--attenuation", "70"}).Status, 0);
  ASSERT_EQ(RunCli({"filter", in, bp, "--bandpass", "1500:3000", "--transition", "500"}).Status, 0);
  for (int c = 0; c < 2; ++c) {
    const auto h = ReadChannel(hp, c), b = ReadChannel(bp, c);
    EXPECT_LE(Db(ToneAmplitude(h, 300)), -70.0);
    EXPECT_LE(std::abs(Db(ToneAmplitude(h, 2000))), 0.1);
    EXPECT_LE(std::abs(Db(ToneAmplitude(h, 9000))), 0.1);
    EXPECT_LE(Db(ToneAmplitude(b, 300)), -60.0);
    EXPECT_LE(std::abs(Db(ToneAmplitude(b, 2000))), 0.1);
    EXPECT_LE(Db(ToneAmplitude(b, 9000)), -60.0);
  }
}

TEST(CliFilter, SavedFilterGivesTheSameOutput) {
  TCliScratch dir;
  const std::string in = Tones(dir.File(""), {700, 4000});
  const std::string a = dir.File("a.dat"), b = dir.File("b.dat"), tmpl = dir.File("low.json");
  ASSERT_EQ(RunCli({"filter", in, a, "--lowpass", "2000", "--iir", "--save-filter", tmpl}).Status, 0);
  const std::string json = ReadFileText(tmpl);
  EXPECT_NE(json.find("TSignalFilter"), std::string::npos);
  const TRun r = RunCli({"filter", in, b, "--filter", tmpl});
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(ReadChannel(a), ReadChannel(b));
  EXPECT_LE(Db(ToneAmplitude(ReadChannel(b), 4000)), -60.0);
}

TEST(CliFilter, RefusedRequestsGiveOneLine) {
  TCliScratch dir;
  const std::string in = Tones(dir.File(""), {700});
  const std::string out = dir.File("o.dat");
  struct Case {
    std::vector<std::string> Args;
    std::string Err;
  };
  const Case cases[] = {
      {{"filter", in, out}, "no filter given: use --lowpass, --highpass, --bandpass or --filter"},
      {{"filter", in, out, "--bandpass", "3000"}, "--bandpass needs F1:F2, not '3000'"},
      {{"filter", in, out, "--bandpass", "3000:2000"}, "--bandpass needs F1 < F2, not '3000:2000'"},
      {{"filter", in, out, "--lowpass", "abc"}, "--lowpass needs a positive frequency in Hz, not 'abc'"},
      {{"filter", in, out, "--lowpass", "100", "--highpass", "200"}, "choose one of --lowpass, --highpass and --bandpass"},
      {{"filter", in, out, "--lowpass", "23000"},
       "the lowpass edges and transitions must lie between 0 and 24000 Hz (half the sampling frequency)"},
      {{"filter", in, out, "--lowpass", "100", "--filter", "x.json"},
       "--filter cannot be combined with --lowpass, --highpass or --bandpass"},
  };
  for (const auto& c : cases) {
    const TRun r = RunCli(c.Args);
    EXPECT_EQ(r.Status, 1) << c.Err;
    EXPECT_EQ(r.Err, "sigflow: " + c.Err + "\n");
    EXPECT_FALSE(std::filesystem::exists(out)) << c.Err;
  }
}

}  // namespace
}  // namespace sigflow::test
