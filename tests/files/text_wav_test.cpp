// Text formats: garbage, header rules, foreign files, the process locale. WAV: what is not
// plain PCM, missing chunks, truncation, the 8-bit convention.
#include <gtest/gtest.h>

#include <clocale>
#include <cstring>

#include "file_test_util.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"

namespace sigflow {
namespace {

using test::MakeVec;
using test::SameBits;
using test::TScratchDir;

// Message of opening text as a file of the format, with the scratch path replaced by FILE.
std::string OpenMessage(TFileFormat f, const std::string& text) {
  TScratchDir dir;
  const std::string file = dir.File(std::string("t") + FileFormatExtension(f));
  test::WriteText(file, text);
  return test::MessageWithFile(file, [&] {
    auto r = OpenSignalFile(file, f);
    TVec v;
    for (int i = 0; i < r->NumberOfRecords(); ++i) r->ReadRecord(i, v);
  });
}

TEST(TextFormats, GarbageLinesRaiseWithFileAndLine) {
  EXPECT_EQ(OpenMessage(ffSfs, "# SamplingFrequency = 10\n1\n2\nabc\n"),
            "\"FILE\", line 4: not a number: \"abc\" in \"abc\"");
  EXPECT_EQ(OpenMessage(ffSfs, "1\n1,5\n"), "\"FILE\", line 2: not a number: \"1,5\" in \"1,5\"");
  EXPECT_EQ(OpenMessage(ffSfs, "1\n2 3\n"), "\"FILE\", line 2: 2 numbers where 1 are expected: \"2 3\"");
  EXPECT_EQ(OpenMessage(ffAsc, "0 1\n0.1\n"), "\"FILE\", line 2: 1 numbers where 2 are expected: \"0.1\"");
  EXPECT_EQ(OpenMessage(ffSgl, "# ChannelCount = 2\n1 2\n3 4 5\n"),
            "\"FILE\", line 3: 3 numbers where 2 are expected: \"3 4 5\"");
  EXPECT_EQ(OpenMessage(ffSgl, "# ChannelCount = 0\n"),
            "\"FILE\", line 1: channel count 0.000000 is not an integer in 1 .. 65536");
  EXPECT_EQ(OpenMessage(ffSfs, "# ChannelCount = 2\n1\n2\n3\n"), "\"FILE\", line 4: 3 values are not whole frames of 2 channels");
  EXPECT_EQ(OpenMessage(ffSfs, "1\n# SamplingFrequency = 3\n"),
            "\"FILE\", line 2: header line \"# SamplingFrequency = 3\" after the data of its record");
  EXPECT_EQ(OpenMessage(ffAsc, "# Complex = 1\n"), "\"FILE\", line 1: complex data are not allowed in this format");
  EXPECT_EQ(OpenMessage(ffSfs, std::string(3 << 20, '7')), "\"FILE\", line 1: line longer than 1048576 bytes");
  // Binary junk is garbage too, and never a crash.
  std::string junk(300, '\0');
  for (std::size_t i = 0; i < junk.size(); ++i) junk[i] = char(i * 37);
  EXPECT_EQ(OpenMessage(ffSgl, junk).rfind("\"FILE\", line 1: ", 0), 0u);
}

TEST(TextFormats, ForeignFilesWithCommentsBlankLinesAndCrLf) {
  TScratchDir dir;
  test::WriteText(dir.File("f.asc"), "# written elsewhere\r\n\r\n0 +1.5\r\n0.001 -2e3\r\n  0.002\t3  \r\n0.003 4");
  auto r = OpenSignalFile(dir.File("f.asc"), ffAsc);
  ASSERT_EQ(r->NumberOfRecords(), 1);
  EXPECT_NEAR(r->RecordInfo(0).SamplingFrequency, 1000, 1e-9);  // from the time column
  TVec v;
  r->ReadRecord(0, v);
  EXPECT_TRUE(SameBits(v, MakeVec({1.5, -2000, 3, 4})));
  // Data before any record header form a first record with the defaults.
  test::WriteText(dir.File("f.sgl"), "1\n2\n# Record = 2\n# SamplingFrequency = 5\n# Record = 3\n7\n");
  auto s = OpenSignalFile(dir.File("f.sgl"), ffSgl);
  ASSERT_EQ(s->NumberOfRecords(), 3);
  EXPECT_EQ(s->RecordInfo(0).Frames, 2);
  EXPECT_EQ(s->RecordInfo(0).SamplingFrequency, 1);
  EXPECT_EQ(s->RecordInfo(1).Frames, 0);
  EXPECT_EQ(s->RecordInfo(1).SamplingFrequency, 5);
  s->ReadRecord(2, v);
  EXPECT_TRUE(SameBits(v, MakeVec({7})));
  // An empty single-column file is one empty record.
  test::WriteText(dir.File("e.sfs"), "");
  auto e = OpenSignalFile(dir.File("e.sfs"), ffSfs);
  ASSERT_EQ(e->NumberOfRecords(), 1);
  EXPECT_EQ(e->RecordInfo(0).Frames, 0);
}

TEST(TextFormats, FileChangedUnderTheReaderRaisesThenRecovers) {
  // Larger than the reader's buffer, so the change is seen when reading goes on.
  TScratchDir dir;
  const std::string file = dir.File("c.sfs");
  auto text = [](bool spoiled) {
    std::string t;
    for (int i = 0; i < 20000; ++i) t += (spoiled && i == 15000) ? "xxxxx\n" : std::to_string(10000 + i) + "\n";
    return t;
  };
  test::WriteText(file, text(false));
  auto r = OpenSignalFile(file, ffSfs);
  TVec v;
  r->ReadSamples(0, 0, 1, v);
  test::WriteText(file, text(true));  // same size, one line spoiled
  EXPECT_THROW(r->ReadSamples(0, 1, 19000, v), EReadError);
  test::WriteText(file, text(false));
  r->ReadSamples(0, 15005, 2, v);  // the failed read must not leave the cursor off by lines
  EXPECT_TRUE(SameBits(v, MakeVec({25005, 25006})));
}

// Restores the process locale when the test ends.
class TLocaleGuard {
public:
  TLocaleGuard() : saved_(std::setlocale(LC_ALL, nullptr)) {}
  ~TLocaleGuard() { std::setlocale(LC_ALL, saved_.c_str()); }

private:
  std::string saved_;
};

TEST(TextFormats, DecimalCommaLocaleChangesNothing) {
  TLocaleGuard guard;
  const char* found = nullptr;
  for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"})
    if (std::setlocale(LC_ALL, name)) {
      found = name;
      break;
    }
  if (!found) GTEST_SKIP() << "no locale with a decimal comma is installed (localedef -i de_DE -f UTF-8 de_DE.UTF-8)";
  char probe[16];
  std::snprintf(probe, sizeof probe, "%.1f", 1.5);
  ASSERT_STREQ(probe, "1,5") << found << " does not use a decimal comma";
  TScratchDir dir;
  const TVec data = MakeVec({0.1, -1234.5678, 1e-300, 2.5});
  for (TFileFormat f : {ffSgl, ffSfs, ffAsc}) {
    SCOPED_TRACE(FileFormatExtension(f));
    const std::string file = dir.File(std::string("l") + FileFormatExtension(f));
    auto w = TSignalFileWriter::Create(file, f);
    w->WriteBlock(data, 44100.5, 1);
    w->Close();
    const auto bytes = test::ReadBytes(file);
    const std::string text(bytes.begin(), bytes.end());
    EXPECT_NE(text.find("-1234.5678"), std::string::npos) << text;
    auto r = OpenSignalFile(file, f);
    TVec v;
    r->ReadRecord(0, v);
    EXPECT_TRUE(SameBits(v, data));
    EXPECT_EQ(r->RecordInfo(0).SamplingFrequency, 44100.5);
  }
}

// ---- WAV -------------------------------------------------------------------------------

using test::Put16;
using test::Put32;

void PutId(std::vector<std::uint8_t>& b, const char* id) {
  for (int i = 0; i < 4; ++i) b.push_back(std::uint8_t(id[i]));
}

// A RIFF wave image: fmt chunk with the given tag and bits, data chunk declaring dataBytes
// and holding present bytes.
std::vector<std::uint8_t> Wave(std::uint16_t tag, std::uint16_t bits, std::uint16_t channels, std::uint32_t dataBytes,
                               std::uint32_t present, bool withFmt = true, bool withData = true) {
  std::vector<std::uint8_t> b;
  PutId(b, "RIFF");
  Put32(b, 4 + (withFmt ? 24 : 0) + (withData ? 8 + dataBytes : 0));
  PutId(b, "WAVE");
  PutId(b, "LIST");  // an unrelated chunk first, to be skipped
  Put32(b, 3);
  b.insert(b.end(), {'a', 'b', 'c', 0});
  if (withFmt) {
    PutId(b, "fmt ");
    Put32(b, 16);
    Put16(b, tag);
    Put16(b, channels);
    Put32(b, 8000);
    Put32(b, 8000u * channels * bits / 8);
    Put16(b, std::uint16_t(channels * bits / 8));
    Put16(b, bits);
  }
  if (withData) {
    PutId(b, "data");
    Put32(b, dataBytes);
    for (std::uint32_t i = 0; i < present; ++i) b.push_back(std::uint8_t(i * 7 + 1));
  }
  return b;
}

std::string WavMessage(const std::vector<std::uint8_t>& bytes) {
  TScratchDir dir;
  const std::string file = dir.File("w.wav");
  test::WriteBytes(file, bytes);
  return test::MessageWithFile(file, [&] {
    TVec v;
    OpenSignalFile(file, ffWav)->ReadRecord(0, v);
  });
}

TEST(WavFiles, MessagesForWhatIsNotPlainPcm) {
  EXPECT_EQ(WavMessage(Wave(1, 16, 2, 8, 8)), "(no exception)");
  EXPECT_EQ(WavMessage({'R', 'I', 'F', 'F'}), "Error opening wav file!");
  EXPECT_EQ(WavMessage(std::vector<std::uint8_t>(64, 'x')), "Error opening wav file!");
  EXPECT_EQ(WavMessage(Wave(3, 32, 1, 8, 8)), "The file is not uncompressed Windows PCM file!");  // IEEE float
  EXPECT_EQ(WavMessage(Wave(1, 24, 1, 6, 6)), "The file is not uncompressed Windows PCM file!");
  EXPECT_EQ(WavMessage(Wave(2, 4, 1, 8, 8)), "The file is not uncompressed Windows PCM file!");  // ADPCM
  EXPECT_EQ(WavMessage(Wave(1, 16, 1, 8, 8, false, true)), "Error in mmIoDescend!");
  EXPECT_EQ(WavMessage(Wave(1, 16, 1, 8, 8, true, false)), "Error in mmIoDescend!");
  EXPECT_EQ(WavMessage(Wave(1, 16, 2, 4000, 10)),
            "Error reading wav file: \"FILE\": truncated file: the data chunk at byte 48 declares 4000 bytes but 10 "
            "remain");
}

TEST(WavFiles, TruncatedDataAcceptedOnRequestKeepsWholeFrames) {
  TScratchDir dir;
  const std::string file = dir.File("t.wav");
  test::WriteBytes(file, Wave(1, 16, 2, 4000, 10));
  TSignalReadOptions o;
  o.AcceptTruncatedTail = true;
  auto r = OpenSignalFile(file, ffWav, o);
  EXPECT_TRUE(r->TruncatedTail());
  ASSERT_EQ(r->RecordInfo(0).Frames, 2);  // 10 bytes: two whole 4-byte frames
  TVec v;
  r->ReadRecord(0, v);
  // Bytes 1, 8, 15, 22, ... as little-endian int16.
  EXPECT_TRUE(SameBits(v, MakeVec({8 * 256 + 1, 22 * 256 + 15, 36 * 256 + 29, 50 * 256 + 43})));
}

TEST(WavFiles, EightBitSamplesAreUnsignedRawBytes) {
  TScratchDir dir;
  const std::string file = dir.File("u8.wav");
  test::WriteBytes(file, Wave(1, 8, 1, 4, 4));
  auto r = OpenSignalFile(file, ffWav);
  EXPECT_EQ(r->RecordInfo(0).Precision, prByte);
  TVec v;
  r->ReadRecord(0, v);
  EXPECT_TRUE(SameBits(v, MakeVec({1, 8, 15, 22})));
  // Written back: the same bytes after the header.
  const std::string out = dir.File("u8b.wav");
  auto w = TSignalFileWriter::Create(out, ffWav, prByte);
  w->WriteBlock(MakeVec({0, 128, 255, 300, -3}), 8000, 1);
  w->Close();
  const auto bytes = test::ReadBytes(out);
  ASSERT_EQ(bytes.size(), 44u + 5u + 1u);  // odd data: one pad byte
  EXPECT_EQ(std::vector<std::uint8_t>(bytes.begin() + 44, bytes.begin() + 49),
            (std::vector<std::uint8_t>{0, 128, 255, 255, 0}));
}

TEST(WavFiles, ThirtyTwoBitExtremesAndHeaderAfterEveryBlock) {
  TScratchDir dir;
  const std::string file = dir.File("i32.wav");
  auto w = TSignalFileWriter::Create(file, ffWav, prInteger);
  w->WriteBlock(MakeVec({-2147483648.0, 2147483647.0, 1e12, -7}), 96000, 2);
  // The file is complete before the writer closes: its header already counts the block.
  // (The writer keeps readers out, so a copy is read.)
  const std::string copy = dir.File("copy.wav");
  test::WriteBytes(copy, test::ReadBytes(file));
  EXPECT_EQ(OpenSignalFile(copy, ffWav)->RecordInfo(0).Frames, 2);
  w->WriteBlock(MakeVec({1, 2}), 96000, 2);
  test::WriteBytes(copy, test::ReadBytes(file));
  {
    auto r = OpenSignalFile(copy, ffWav);
    ASSERT_EQ(r->RecordInfo(0).Frames, 3);
    TVec v;
    r->ReadRecord(0, v);
    EXPECT_TRUE(SameBits(v, MakeVec({-2147483648.0, 2147483647.0, 2147483647.0, -7, 1, 2})));
  }
  EXPECT_THROW(w->WriteBlock(MakeVec({1}), 96000, 1), Exception);  // channel count changed
  w->Close();
}

}  // namespace
}  // namespace sigflow
