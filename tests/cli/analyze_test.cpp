// End-to-end: sigflow analyze against signals of known content.
#include <cmath>
#include <numbers>
#include <regex>
#include <sstream>

#include "cli_test_util.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Tone.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::test {
namespace {

TEST(CliAnalyze, BuiltInSignalReadsItsDistortionAndNoise) {
  const auto j = RunJson({"analyze", "--json"});
  EXPECT_EQ(j["sampling_frequency"].get<double>(), 48000.0);
  // Whole blocks of half a frame: 117 of 4096 samples.
  EXPECT_DOUBLE_EQ(j["duration"].get<double>(), 117 * 4096 / 48000.0);
  EXPECT_EQ(j["frames_averaged"].get<int>(), 116);
  // sqrt((1 + 0.01^2 + 0.003^2) / 2), the noise adding 5e-11 to the mean square.
  EXPECT_NEAR(j["rms"].get<double>(), std::sqrt((1 + 1e-4 + 9e-6) / 2), 1e-7);
  ASSERT_EQ(j["peaks"].size(), 5u);
  EXPECT_NEAR(j["peaks"][0]["frequency"].get<double>(), 1000.0, 0.001);
  EXPECT_NEAR(j["peaks"][0]["amplitude"].get<double>(), 1.0, 1e-5);
  EXPECT_NEAR(j["peaks"][1]["frequency"].get<double>(), 2000.0, 0.001);
  EXPECT_NEAR(j["peaks"][1]["amplitude"].get<double>(), 0.01, 1e-6);
  EXPECT_NEAR(j["peaks"][2]["frequency"].get<double>(), 3000.0, 0.001);
  EXPECT_NEAR(j["peaks"][2]["amplitude"].get<double>(), 0.003, 1e-6);
  EXPECT_NEAR(j["peaks"][0]["amplitude_db"].get<double>(), 0.0, 1e-4);
  // The remaining peaks are noise, far below the harmonics.
  EXPECT_LT(j["peaks"][3]["amplitude"].get<double>(), 1e-5);
  EXPECT_NEAR(j["thd_percent"].get<double>(), 1.044, 0.005);
  EXPECT_NEAR(j["thd_percent"].get<double>(), 100 * std::sqrt(1e-4 + 9e-6), 1e-3);
  // Noise RMS is 100 dB below the fundamental's.
  EXPECT_NEAR(j["snr_db"].get<double>(), 100.0, 0.3);
  EXPECT_NEAR(j["sinad_db"].get<double>(), -20 * std::log10(0.01044), 0.01);
  EXPECT_NEAR(j["sfdr_db"].get<double>(), 40.0, 0.01);
  EXPECT_GT(j["thdn_percent"].get<double>(), j["thd_percent"].get<double>());
  // Mean noise power per bin: 1e-10 of the fundamental spread over 4096 bins.
  EXPECT_NEAR(j["noise_floor_db"].get<double>(), -100 - 10 * std::log10(4096.0), 0.5);
}

TEST(CliAnalyze, AveragingModesWindowsAndFrameCounts) {
  const auto lin = RunJson({"analyze", "--json", "--averages", "10"});
  EXPECT_EQ(lin["frames_averaged"].get<int>(), 10);
  const auto all = RunJson({"analyze", "--json", "--fft-size", "4096", "--overlap", "75"});
  // 480000 samples, hop 1024: 1 + (480000 - 4096) / 1024 frames.
  EXPECT_EQ(all["frames_averaged"].get<int>(), 1 + (480000 - 4096) / 1024);
  EXPECT_DOUBLE_EQ(all["bin_width"].get<double>(), 48000.0 / 4096);
  EXPECT_NEAR(all["peaks"][0]["frequency"].get<double>(), 1000.0, 0.001);

  // Holding the largest value per bin lifts the noise, never the steady tones.
  const auto hold = RunJson({"analyze", "--json", "--averaging", "peak-hold"});
  const auto mean = RunJson({"analyze", "--json"});
  EXPECT_GT(hold["noise_floor_db"].get<double>(), mean["noise_floor_db"].get<double>() + 3);
  EXPECT_NEAR(hold["peaks"][0]["amplitude"].get<double>(), 1.0, 1e-4);
  // Exponential averaging keeps steady tones and the mean noise level, only noisier.
  const auto expo = RunJson({"analyze", "--json", "--averaging", "exponential", "--averages", "4"});
  EXPECT_EQ(expo["frames_averaged"].get<int>(), mean["frames_averaged"].get<int>());
  EXPECT_NEAR(expo["peaks"][0]["frequency"].get<double>(), 1000.0, 0.001);
  EXPECT_NEAR(expo["thd_percent"].get<double>(), 1.044, 0.005);
  EXPECT_NEAR(expo["noise_floor_db"].get<double>(), mean["noise_floor_db"].get<double>(), 1.0);

  // A Hann window leaks far more: the distortion reading still holds within its leakage.
  const auto hann = RunJson({"analyze", "--json", "--window", "hann", "--zero-padding", "2"});
  EXPECT_EQ(hann["window"], "hann");
  EXPECT_DOUBLE_EQ(hann["bin_width"].get<double>(), 48000.0 / 16384);
  EXPECT_NEAR(hann["peaks"][0]["frequency"].get<double>(), 1000.0, 0.01);
  EXPECT_NEAR(hann["peaks"][0]["amplitude"].get<double>(), 1.0, 1e-3);
  EXPECT_NEAR(hann["thd_percent"].get<double>(), 1.044, 0.01);
}

// A stereo 16-bit WAV of two tones per channel at frequencies between bins.
void WriteTwoToneWav(const std::string& file, double seconds) {
  constexpr double fs = 44100;
  const double freq[2][2] = {{440.25, 5123.7}, {997.0, 12345.6}};
  const double amp[2][2] = {{12000, 3000}, {8000, 500}};
  TToneState tone[2][2];
  for (int c = 0; c < 2; ++c)
    for (int t = 0; t < 2; ++t) ToneInit(tone[c][t], freq[c][t], 0.3 * t + c, amp[c][t], fs, false);
  auto writer = TSignalFileWriter::Create(file, ffWav, prSmallInt, rnRound);
  const int block = 10000;
  std::vector<double> a(block), b(block);
  TVec data(2 * block);
  for (int done = 0; done < int(seconds * fs); done += block) {
    for (int c = 0; c < 2; ++c) {
      Tone(tone[c][0], a);
      Tone(tone[c][1], b);
      for (int i = 0; i < block; ++i) data.SetValues(2 * i + c, a[std::size_t(i)] + b[std::size_t(i)]);
    }
    writer->WriteBlock(data, fs, 2);
  }
  writer->Close();
}

TEST(CliAnalyze, TwoToneWavReadsTheGeneratedTones) {
  TCliScratch dir;
  const std::string wav = dir.File("two.wav");
  WriteTwoToneWav(wav, 4.0);
  const auto left = RunJson({"analyze", wav, "--json", "--peaks", "2"});
  EXPECT_EQ(left["sampling_frequency"].get<double>(), 44100.0);
  ASSERT_EQ(left["peaks"].size(), 2u);
  EXPECT_NEAR(left["peaks"][0]["frequency"].get<double>(), 440.25, 0.001);
  EXPECT_NEAR(left["peaks"][0]["amplitude"].get<double>(), 12000, 0.05);
  EXPECT_NEAR(left["peaks"][1]["frequency"].get<double>(), 5123.7, 0.001);
  EXPECT_NEAR(left["peaks"][1]["amplitude"].get<double>(), 3000, 0.05);

  const auto right = RunJson({"analyze", wav, "--json", "--peaks", "2", "--channel", "2"});
  EXPECT_NEAR(right["peaks"][0]["frequency"].get<double>(), 997.0, 0.001);
  EXPECT_NEAR(right["peaks"][1]["frequency"].get<double>(), 12345.6, 0.001);
  EXPECT_NEAR(right["peaks"][1]["amplitude"].get<double>(), 500, 0.05);

  // A low-pass between the tones leaves the lower one and takes the template's 60 dB off the upper.
  for (const char* method : {"--fir", "--iir"}) {
    const auto low = RunJson({"analyze", wav, "--json", "--peaks", "2", "--channel", "2", "--lowpass", "5000", method});
    EXPECT_NEAR(low["peaks"][0]["frequency"].get<double>(), 997.0, 0.001) << method;
    EXPECT_NEAR(low["peaks"][0]["amplitude"].get<double>(), 8000, 8000 * 0.012) << method;  // 0.1 dB ripple
    const std::string csv = dir.File("low.csv");
    RunJson({"analyze", wav, "--json", "--channel", "2", "--lowpass", "5000", method, "--csv", csv});
    std::istringstream in(ReadFileText(csv));
    std::string line;
    std::getline(in, line);
    double upper = 0;
    while (std::getline(in, line)) {
      const auto comma = line.find(',');
      if (std::abs(std::stod(line.substr(0, comma)) - 12345.6) < 30)
        upper = std::max(upper, std::stod(line.substr(comma + 1)));
    }
    EXPECT_GT(upper, 0.0) << method;
    EXPECT_LT(upper, 500 * 1e-3) << method;
  }

  const TRun bad = RunCli({"analyze", wav, "--channel", "3"});
  EXPECT_EQ(bad.Status, 1);
  EXPECT_EQ(bad.Err, "sigflow: '" + wav + "' has no channel 3 (it has 2)\n");
}

TEST(CliAnalyze, TextReportCarriesTheFigures) {
  const TRun r = RunCli({"analyze", "--averages", "20"});
  ASSERT_EQ(r.Status, 0) << r.Err;
  for (const char* label : {"Sampling frequency:  48000 Hz", "Duration:            1.792 s", "THD:", "THD+N:", "SNR:",
                            "SINAD:", "SFDR:", "Noise floor:"})
    EXPECT_NE(r.Out.find(label), std::string::npos) << label;
  EXPECT_TRUE(std::regex_search(r.Out, std::regex("\n   1 +(999\\.9999|1000\\.0000)[0-9]* Hz +1 "))) << r.Out;
}

TEST(CliAnalyze, CsvHoldsTheSpectrum) {
  TCliScratch dir;
  const std::string csv = dir.File("s.csv");
  const TRun r = RunCli({"analyze", "--fft-size", "1024", "--csv", csv, "--db", "--averages", "50"});
  ASSERT_EQ(r.Status, 0) << r.Err;
  std::istringstream in(ReadFileText(csv));
  std::string line;
  std::getline(in, line);
  EXPECT_EQ(line, "frequency,amplitude_db");
  int rows = 0;
  double bestF = 0, best = -1e9, prevF = -1;
  while (std::getline(in, line)) {
    const auto comma = line.find(',');
    const double f = std::stod(line.substr(0, comma)), a = std::stod(line.substr(comma + 1));
    if (rows > 0) {
      EXPECT_NEAR(f - prevF, 48000.0 / 1024, 1e-9);
    }
    prevF = f;
    if (a > best) {
      best = a;
      bestF = f;
    }
    ++rows;
  }
  EXPECT_EQ(rows, 512);
  EXPECT_NEAR(bestF, 1000.0, 48000.0 / 1024);
  EXPECT_LT(best, 0.0);
  EXPECT_GT(best, -3.0);
}

std::uint32_t BigEndian32(const std::string& s, std::size_t at) {
  return std::uint32_t(std::uint8_t(s[at])) << 24 | std::uint32_t(std::uint8_t(s[at + 1])) << 16 |
         std::uint32_t(std::uint8_t(s[at + 2])) << 8 | std::uint32_t(std::uint8_t(s[at + 3]));
}

TEST(CliAnalyze, PlotWritesA1600x900Png) {
  TCliScratch dir;
  const std::string png = dir.File("s.png");
  const TRun r = RunCli({"analyze", "--averages", "10", "--plot", png});
  if (!SIGFLOW_CLI_HAS_GUI) {
    EXPECT_EQ(r.Status, 1);
    EXPECT_EQ(r.Err, "sigflow: cannot write plot '" + png + "': this sigflow was built without the gui module\n");
    return;
  }
  ASSERT_EQ(r.Status, 0) << r.Err;
  const std::string bytes = ReadFileText(png);
  ASSERT_GT(bytes.size(), 24u);
  EXPECT_EQ(bytes.substr(0, 8), std::string("\x89PNG\r\n\x1a\n", 8));
  EXPECT_EQ(bytes.substr(12, 4), "IHDR");
  EXPECT_EQ(BigEndian32(bytes, 16), 1600u);
  EXPECT_EQ(BigEndian32(bytes, 20), 900u);
}

TEST(CliAnalyze, BadSettingsAreRefused) {
  struct Case {
    std::vector<std::string> Args;
    std::string Err;
  };
  const Case cases[] = {
      {{"analyze", "--window", "gauss"},
       "sigflow: unknown window 'gauss' (rect, hann, hamming, flattop, bartlett, blackman, blackman-harris, "
       "blackman-exact, cosine, kaiser, chebyshev, exponential; kaiser:DB, chebyshev:DB, exponential:END)\n"},
      {{"analyze", "--window", "kaiser:x"}, "sigflow: bad parameter 'x' of window 'kaiser'\n"},
      {{"analyze", "--window", "hann:3"}, "sigflow: window 'hann' takes no parameter\n"},
      {{"analyze", "--overlap", "100"}, "sigflow: --overlap must be in [0, 100)\n"},
      {{"analyze", "--overlap", "60"},
       "sigflow: --overlap 60 leaves a step of 3277 samples that does not divide --fft-size 8192 (the built-in "
       "signal is framed by a block buffer): use 0, 50, 75 ...\n"},
      {{"analyze", "--averaging", "median"},
       "sigflow: unknown averaging 'median' (none, linear, exponential, peak-hold, min-hold, complex-linear, "
       "complex-exponential)\n"},
      {{"analyze", "--interpolation", "cubic"},
       "sigflow: unknown interpolation 'cubic' (none, numeric, quadratic, barycentric, quinn1, quinn2, jain)\n"},
      {{"analyze", "--interpolation", "quinn2"},
       "sigflow: --interpolation quinn2 reads one frame's complex spectrum: use --averaging none\n"},
      {{"analyze", "--fft-size", "1048576", "--overlap", "0"},
       "sigflow: the signal has 480000 samples, fewer than one frame of 1048576 (--fft-size)\n"},
      {{"analyze", "--lowpass", "1000", "--filter", "f.json"},
       "sigflow: --filter cannot be combined with --lowpass, --highpass or --bandpass\n"},
  };
  for (const auto& c : cases) {
    const TRun r = RunCli(c.Args);
    EXPECT_EQ(r.Status, 1) << c.Args[2];
    EXPECT_EQ(r.Err, c.Err);
    EXPECT_EQ(r.Out, "");
  }
}

}  // namespace
}  // namespace sigflow::test
