// End-to-end: sigflow info and convert over every file format.
#include <algorithm>
#include <cmath>

#include "cli_test_util.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/numeric/Vec.h"

namespace sigflow::test {
namespace {

// Integer-valued samples, so that every precision and text form stores them exactly.
TVec Samples(int frames, int channels, int seed) {
  TVec v(frames * channels);
  for (int i = 0; i < v.Length(); ++i) v.SetValues(i, std::round(1000 * std::sin(0.37 * i + seed) + 7 * (i % 5)));
  return v;
}

struct TExpected {
  double Peak = 0, Rms = 0;
};

TExpected Stats(const TVec& v, int channels, int channel) {
  TExpected e;
  double sum = 0;
  int n = 0;
  for (int i = channel; i < v.Length(); i += channels, ++n) {
    e.Peak = std::max(e.Peak, std::fabs(v.Values(i)));
    sum += v.Values(i) * v.Values(i);
  }
  e.Rms = std::sqrt(sum / n);
  return e;
}

TEST(CliInfo, EveryFormatReportsWhatWasWritten) {
  struct Case {
    const char* Name;
    TFileFormat Format;
    TPrecision Written;
    const char* Reported;
    int Channels;
    double Rate;
  };
  const Case cases[] = {
      {"a.dat", ffDat, prInteger, "prInteger", 2, 8000}, {"a.sgl", ffSgl, prDouble, "prDouble", 2, 1234.5},
      {"a.bin", ffBin, prSingle, "prSingle", 1, 22050},  {"a.dbn", ffDbn, prDouble, "prDouble", 1, 96000},
      {"a.wav", ffWav, prSmallInt, "prSmallInt", 2, 44100}, {"a.sfs", ffSfs, prDouble, "prDouble", 1, 500},
      {"a.asc", ffAsc, prDouble, "prDouble", 1, 250},
  };
  TCliScratch dir;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Name);
    const std::string file = dir.File(c.Name);
    const TVec data = Samples(300, c.Channels, int(c.Format));
    auto w = TSignalFileWriter::Create(file, c.Format, c.Written);
    w->WriteBlock(data, c.Rate, c.Channels);
    w->Close();
    const auto j = RunJson({"info", file, "--json"});
    EXPECT_EQ(j["format"], std::string(FileFormatExtension(c.Format) + 1));
    EXPECT_EQ(j["record_count"].get<int>(), 1);
    const auto& r = j["records"][0];
    EXPECT_EQ(r["channels"].get<int>(), c.Channels);
    EXPECT_EQ(r["sampling_frequency"].get<double>(), c.Rate);
    EXPECT_EQ(r["frames"].get<int>(), 300);
    EXPECT_DOUBLE_EQ(r["duration"].get<double>(), 300 / c.Rate);
    EXPECT_EQ(r["precision"], c.Reported);
    EXPECT_EQ(r["complex"].get<bool>(), false);
    for (int ch = 0; ch < c.Channels; ++ch) {
      const TExpected e = Stats(data, c.Channels, ch);
      EXPECT_EQ(r["peak"][std::size_t(ch)].get<double>(), e.Peak);
      EXPECT_NEAR(r["rms"][std::size_t(ch)].get<double>(), e.Rms, 1e-12 * e.Rms);
    }
  }
}

TEST(CliInfo, RecordsOfAMultiRecordFileAndTheTextForm) {
  TCliScratch dir;
  const std::string file = dir.File("m.dat");
  auto w = TSignalFileWriter::Create(file, ffDat, prDouble);
  w->WriteBlock(Samples(100, 1, 1), 1000, 1);
  // Longer than one read block, so statistics must carry across blocks.
  const TVec big = Samples(70000, 3, 2);
  w->WriteBlock(big, 2000, 3);
  w->Close();
  const auto j = RunJson({"info", file, "--json"});
  ASSERT_EQ(j["record_count"].get<int>(), 2);
  EXPECT_EQ(j["records"][1]["frames"].get<int>(), 70000);
  EXPECT_EQ(j["records"][1]["channels"].get<int>(), 3);
  for (int ch = 0; ch < 3; ++ch) {
    const TExpected e = Stats(big, 3, ch);
    EXPECT_EQ(j["records"][1]["peak"][std::size_t(ch)].get<double>(), e.Peak);
    EXPECT_NEAR(j["records"][1]["rms"][std::size_t(ch)].get<double>(), e.Rms, 1e-12 * e.Rms);
  }
  const TRun text = RunCli({"info", file});
  ASSERT_EQ(text.Status, 0) << text.Err;
  EXPECT_NE(text.Out.find("Records:   2\n"), std::string::npos);
  EXPECT_NE(text.Out.find("  Length:    70000 frames, 35 s\n"), std::string::npos);
  EXPECT_NE(text.Out.find("  Channel 3: peak "), std::string::npos);
}

TVec ReadAll(const std::string& file, int record = 0) {
  auto r = OpenSignalFile(file, FileFormatFromFileName(file));
  TVec v;
  r->ReadRecord(record, v);
  return v;
}

TEST(CliConvert, WavThroughDatAndBackKeepsEverySample) {
  TCliScratch dir;
  const std::string wav = dir.File("in.wav"), dat = dir.File("mid.dat"), back = dir.File("back.wav");
  // 8 s: long enough that a terminal would get a progress bar; a pipe gets nothing.
  const TVec data = Samples(8 * 8000, 2, 3);
  auto w = TSignalFileWriter::Create(wav, ffWav, prSmallInt);
  w->WriteBlock(data, 8000, 2);
  w->Close();
  TRun r = RunCli({"convert", wav, dat});
  ASSERT_EQ(r.Status, 0) << r.Err;
  EXPECT_EQ(r.Err, "");
  EXPECT_EQ(r.Out, "");
  auto mid = OpenSignalFile(dat, ffDat);
  EXPECT_EQ(mid->RecordInfo(0).Precision, prSmallInt);
  EXPECT_EQ(mid->RecordInfo(0).ChannelCount, 2);
  r = RunCli({"convert", dat, back});
  ASSERT_EQ(r.Status, 0) << r.Err;
  const TVec a = ReadAll(wav), b = ReadAll(back);
  ASSERT_EQ(a.Length(), b.Length());
  for (int i = 0; i < a.Length(); ++i) ASSERT_EQ(a.Values(i), b.Values(i)) << i;
  EXPECT_EQ(ReadFileText(wav), ReadFileText(back));
}

TEST(CliConvert, PrecisionRoundingScaleAndRecordChoice) {
  TCliScratch dir;
  const std::string src = dir.File("src.dat");
  TVec v(4);
  v.SetValues(0, 1.7);
  v.SetValues(1, -1.2);
  v.SetValues(2, 40000.4);
  v.SetValues(3, -0.5);
  auto w = TSignalFileWriter::Create(src, ffDat, prDouble);
  w->WriteBlock(v, 10, 1);
  w->WriteBlock(Samples(5, 1, 0), 20, 1);
  w->Close();

  const std::string floor16 = dir.File("f.dat");
  ASSERT_EQ(RunCli({"convert", src, floor16, "--precision", "int16", "--rounding", "floor"}).Status, 0);
  TVec got = ReadAll(floor16);
  ASSERT_EQ(got.Length(), 4);
  EXPECT_EQ(got.Values(0), 1);
  EXPECT_EQ(got.Values(1), -2);
  EXPECT_EQ(got.Values(2), 32767);  // clipped
  EXPECT_EQ(got.Values(3), -1);
  EXPECT_EQ(OpenSignalFile(floor16, ffDat)->NumberOfRecords(), 2);

  const std::string scaled = dir.File("s.asc");
  ASSERT_EQ(RunCli({"convert", src, scaled, "--record", "0", "--scale", "10"}).Status, 0);
  got = ReadAll(scaled);
  ASSERT_EQ(got.Length(), 4);
  EXPECT_DOUBLE_EQ(got.Values(0), 17);
  EXPECT_DOUBLE_EQ(got.Values(2), 400004);

  TRun r = RunCli({"convert", src, dir.File("x.wav")});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: '" + dir.File("x.wav") + "' holds one record and '" + src + "' has 2: choose one with --record\n");
  r = RunCli({"convert", src, dir.File("x.wav"), "--record", "1"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, std::string("sigflow: ") + SWavPrecisionError + "\n");
  EXPECT_FALSE(std::filesystem::exists(dir.File("x.wav")));
  r = RunCli({"convert", src, dir.File("y.dat"), "--precision", "int12"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: unknown precision 'int12' (double, single, int32, uint32, int16, uint16, int8, uint8)\n");
  r = RunCli({"convert", src, dir.File("y.dat"), "--record", "2"});
  EXPECT_EQ(r.Status, 1);
  EXPECT_EQ(r.Err, "sigflow: '" + src + "' has no record 2 (records 0 .. 1)\n");
  ASSERT_EQ(RunCli({"convert", src, dir.File("b.wav"), "--record", "1", "--precision", "prByte"}).Status, 0);
  EXPECT_EQ(OpenSignalFile(dir.File("b.wav"), ffWav)->RecordInfo(0).Precision, prByte);
}

}  // namespace
}  // namespace sigflow::test

namespace sigflow::test {
namespace {

// Output of a command run with a terminal for its stdout and stderr (script(1) gives one).
std::string RunOnTerminal(const std::vector<std::string>& args) {
  std::string inner = Quote(SIGFLOW_CLI_EXE);
  for (const auto& a : args) inner += " " + Quote(a);
  FILE* p = ::popen(("script -qec " + Quote(inner) + " /dev/null 2>&1").c_str(), "r");
  std::string out;
  if (!p) return out;
  char buf[4096];
  std::size_t n;
  while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
  ::pclose(p);
  return out;
}

TEST(CliProgress, BarOnlyOnATerminalAndOnlyForLongWork) {
  if (std::system("script -qec true /dev/null >/dev/null 2>&1") != 0) GTEST_SKIP() << "script(1) not available";
  TCliScratch dir;
  const std::string longWav = dir.File("long.wav"), shortWav = dir.File("short.wav");
  auto w = TSignalFileWriter::Create(longWav, ffWav, prSmallInt);
  w->WriteBlock(Samples(8 * 8000, 1, 0), 8000, 1);  // 8 s
  w->Close();
  w = TSignalFileWriter::Create(shortWav, ffWav, prSmallInt);
  w->WriteBlock(Samples(2 * 8000, 1, 0), 8000, 1);  // 2 s
  w->Close();
  const std::string bar = RunOnTerminal({"convert", longWav, dir.File("l.dat")});
  EXPECT_NE(bar.find("\rconvert ["), std::string::npos) << bar;
  EXPECT_NE(bar.find("] 100%"), std::string::npos) << bar;
  EXPECT_EQ(RunOnTerminal({"convert", shortWav, dir.File("s.dat")}), "");
  // The same long work with stderr not a terminal stays silent.
  const TRun piped = RunCli({"info", longWav});
  EXPECT_EQ(piped.Status, 0);
  EXPECT_EQ(piped.Err, "");
}

}  // namespace
}  // namespace sigflow::test
