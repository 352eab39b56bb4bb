// Format choice, dialog filter, the example files of every format (read, and written again
// byte for byte), the ".dat" record image and the messages of bad binary input.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

#include "file_test_util.h"
#include "sigflow/files/FileFormats.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::DataFile;
using test::MakeVec;
using test::MessageOf;
using ::testing::HasSubstr;
using test::ReadBytes;
using test::SameBits;
using test::TScratchDir;

TEST(FileFormatChoice, ExtensionsSelectTheirFormatInAnyCase) {
  EXPECT_EQ(FileFormatFromFileName("x.SGL"), ffSgl);
  EXPECT_EQ(FileFormatFromFileName("RECORD.WAV"), ffWav);
  EXPECT_EQ(FileFormatFromFileName("dir.v2/x.asc"), ffAsc);
  for (int f = 0; f < FileFormatCount; ++f)
    EXPECT_EQ(FileFormatFromFileName(std::string("a/b") + FileFormatExtension(TFileFormat(f))), TFileFormat(f));
}

TEST(FileFormatChoice, UnknownExtensionsRaiseTheExactText) {
  auto message = [](const std::string& name) { return MessageOf([&] { FileFormatFromFileName(name); }); };
  EXPECT_EQ(message("notes.txt"), "Unknown file file format extension: .txt");
  EXPECT_EQ(message("Notes.TXT"), "Unknown file file format extension: .txt");  // lower-cased first
  EXPECT_EQ(message("dir.wav/noext"), "Unknown file file format extension: ");
  EXPECT_EQ(message("x.wav2"), "Unknown file file format extension: .wav2");
}

TEST(FileFormatChoice, DialogFilterAndDescriptions) {
  EXPECT_STREQ(SignalDialogFilter,
               "Binary multi precision records (*.dat)|*.dat|Multi record ASCII (*.sgl)|*.sgl|Binary single precision "
               "records (*.bin)|*.bin|Binary double precision records (*.dbn)|*.dbn|Single column ASCII "
               "(*.sfs)|*.sfs|Two column ASCII (*.asc)|*.asc|Windows PCM (*.wav)|*.wav|All files (*.*)|*.*");
  // Every description and pattern of the enumeration appears in the filter.
  const std::string filter = SignalDialogFilter;
  for (int f = 0; f < FileFormatCount; ++f) {
    const std::string pair =
        std::string(FileFormatDescription(TFileFormat(f))) + "|*" + FileFormatExtension(TFileFormat(f));
    EXPECT_NE(filter.find(pair), std::string::npos) << pair;
  }
  // Stored ordinals, not dialog order.
  EXPECT_TRUE(ffDat == 0 && ffWav == 3 && ffDbn == 6);
}

TEST(FileFormatMessages, TextsAreExact) {
  EXPECT_EQ(FileNotFoundMessage("a.dat"), "File not found: a.dat");
  EXPECT_EQ(RecordNotFoundMessage(7), "Record number: 7 not found!");
  EXPECT_STREQ(SWavOpenError, "Error opening wav file!");
  EXPECT_STREQ(SWavNotPcm, "The file is not uncompressed Windows PCM file!");
  EXPECT_STREQ(SWavReadError, "Error reading wav file: ");
  EXPECT_STREQ(SWavChunkNotFound, "Error in mmIoDescend!");
  EXPECT_STREQ(SSeekError, "Seek Error");
}

TEST(SignalFileReader, MissingFileAndMissingRecordRaiseTheExactTexts) {
  TScratchDir dir;
  const std::string name = dir.File("absent.dat");
  EXPECT_EQ(MessageOf([&] { OpenSignalFile(name, ffDat); }), "File not found: " + name);
  auto reader = OpenSignalFile(DataFile("example.dat"), ffDat);
  EXPECT_EQ(MessageOf([&] { reader->RecordInfo(2); }), "Record number: 2 not found!");
  TVec v;
  EXPECT_THROW(reader->ReadSamples(-1, 0, 1, v), Exception);
}

// ---- the example files, made by tests/data/make_signal_examples.py ----------------------

struct TExampleRecord {
  double Fs;
  int Channels;
  bool Complex;
  TPrecision Precision;
  std::vector<double> Values;
};

void ExpectRecords(TFileFormat format, const std::string& file, const std::vector<TExampleRecord>& want) {
  SCOPED_TRACE(file);
  auto reader = OpenSignalFile(DataFile(file), format);
  ASSERT_EQ(reader->NumberOfRecords(), int(want.size()));
  for (std::size_t r = 0; r < want.size(); ++r) {
    const TSignalRecordInfo& info = reader->RecordInfo(int(r));
    EXPECT_EQ(info.SamplingFrequency, want[r].Fs);
    EXPECT_EQ(info.ChannelCount, want[r].Channels);
    EXPECT_EQ(info.Complex, want[r].Complex);
    EXPECT_EQ(info.Precision, want[r].Precision);
    TVec v;
    reader->ReadRecord(int(r), v);
    ASSERT_EQ(v.Span().size(), want[r].Values.size());
    for (std::size_t i = 0; i < want[r].Values.size(); ++i) EXPECT_EQ(v.Span()[i], want[r].Values[i]) << "value " << i;
  }
}

TEST(ExampleFiles, EveryFormatReadsItsExample) {
  ExpectRecords(ffDat, "example.dat",
                {{8000, 2, false, prSmallInt, {1, -2, 3, -4, 5, -6}}, {1000.5, 1, true, prDouble, {0.5, -0.25, 3, 1e-300}}});
  ExpectRecords(ffBin, "example.bin", {{100, 1, false, prSingle, {0.5, -1.25, 3}}, {200, 1, false, prSingle, {7.5}}});
  ExpectRecords(ffDbn, "example.dbn", {{44100, 1, false, prDouble, {0.1, -0.2, 1e10}}});
  ExpectRecords(ffWav, "example.wav", {{8000, 2, false, prSmallInt, {1, -1, 32767, -32768, 0, 5}}});
  ExpectRecords(ffSgl, "example.sgl", {{250, 2, false, prDouble, {0.5, -0.25, 1, 2}}, {0.5, 1, true, prDouble, {3, -4.75}}});
  ExpectRecords(ffSfs, "example.sfs", {{10, 1, false, prDouble, {0.1, -2, 1e-5}}});
  ExpectRecords(ffAsc, "example.asc", {{4, 1, false, prDouble, {1.5, -1.5, 0}}});
}

struct TExampleBlock {
  TVec Data;
  double Fs;
  int Channels;
};

void ExpectWrittenImage(TFileFormat format, TPrecision precision, const std::string& file,
                        const std::vector<TExampleBlock>& blocks) {
  SCOPED_TRACE(file);
  TScratchDir dir;
  const std::string out = dir.File(file);
  auto writer = TSignalFileWriter::Create(out, format, precision, rnRound);
  for (const auto& b : blocks) writer->WriteBlock(b.Data, b.Fs, b.Channels);
  writer->Close();
  EXPECT_EQ(ReadBytes(out), ReadBytes(DataFile(file)));
}

TEST(ExampleFiles, WritersReproduceTheExamplesByteForByte) {
  // ".dat" takes one precision per writer: the two-precision example is checked through its
  // hand-built image below; here each record alone.
  ExpectWrittenImage(ffBin, prSingle, "example.bin",
                     {{MakeVec({0.5, -1.25, 3}), 100, 1}, {MakeVec({7.5}), 200, 1}});
  ExpectWrittenImage(ffDbn, prDouble, "example.dbn", {{MakeVec({0.1, -0.2, 1e10}), 44100, 1}});
  ExpectWrittenImage(ffWav, prSmallInt, "example.wav", {{MakeVec({1, -1, 32767, -32768}), 8000, 2}, {MakeVec({0, 5}), 8000, 2}});
  ExpectWrittenImage(ffSgl, prDouble, "example.sgl",
                     {{MakeVec({0.5, -0.25, 1, 2}), 250, 2}, {MakeVec({3, -4.75}, true), 0.5, 1}});
  ExpectWrittenImage(ffSfs, prDouble, "example.sfs", {{MakeVec({0.1, -2}), 10, 1}, {MakeVec({1e-5}), 10, 1}});
  ExpectWrittenImage(ffAsc, prDouble, "example.asc", {{MakeVec({1.5}), 4, 1}, {MakeVec({-1.5, 0}), 4, 1}});
}

using test::Put32;
using test::Put64;

std::vector<std::uint8_t> DatHeader(std::int32_t n, std::int32_t precision, std::int32_t complex, std::int32_t channels,
                                    double fs = 1000) {
  std::vector<std::uint8_t> b;
  Put32(b, std::uint32_t(n));
  Put64(b, fs);
  Put32(b, std::uint32_t(precision));
  Put32(b, std::uint32_t(complex));
  Put32(b, std::uint32_t(channels));
  return b;
}

TEST(DatRecords, HeaderAndSamplesMatchAHandBuiltImage) {
  TScratchDir dir;
  const std::string file = dir.File("image.dat");
  {
    auto w = TSignalFileWriter::Create(file, ffDat, prSmallInt, rnFloor);
    w->WriteBlock(MakeVec({1.9, -2.1, 300.5, 40000}), 48000, 2);  // floor, then clip to int16
    w->WriteBlock(MakeVec({}), 0.25, 1);
    w->Close();
  }
  auto want = DatHeader(4, 4, 0, 2, 48000);  // precision ordinal 4: 16-bit
  for (std::int16_t v : {1, -3, 300, 32767}) test::Put16(want, std::uint16_t(v));
  const auto empty = DatHeader(0, 4, 0, 1, 0.25);
  want.insert(want.end(), empty.begin(), empty.end());
  EXPECT_EQ(ReadBytes(file), want);

  // And the two-precision example, record by record, against the committed file.
  const std::string a = dir.File("a.dat"), b = dir.File("b.dat");
  auto wa = TSignalFileWriter::Create(a, ffDat, prSmallInt);
  wa->WriteBlock(MakeVec({1, -2, 3, -4, 5, -6}), 8000, 2);
  wa->Close();
  auto wb = TSignalFileWriter::Create(b, ffDat, prDouble);
  wb->WriteBlock(MakeVec({0.5, -0.25, 3, 1e-300}, true), 1000.5, 1);
  wb->Close();
  auto joined = ReadBytes(a);
  const auto second = ReadBytes(b);
  joined.insert(joined.end(), second.begin(), second.end());
  EXPECT_EQ(joined, ReadBytes(DataFile("example.dat")));
}

std::string OpenError(TFileFormat format, const std::vector<std::uint8_t>& bytes, bool accept = false) {
  TScratchDir dir;
  const std::string file = dir.File(std::string("bad") + FileFormatExtension(format));
  test::WriteBytes(file, bytes);
  TSignalReadOptions o;
  o.AcceptTruncatedTail = accept;
  return test::MessageWithFile<EReadError>(file, [&] { OpenSignalFile(file, format, o); });
}


TEST(DatRecords, BadInputRaisesWithFileAndPosition) {
  auto good = DatHeader(2, 0, 0, 1);
  for (int i = 0; i < 16; ++i) good.push_back(0);

  auto negative = good;
  const auto neg = DatHeader(-5, 0, 0, 1);
  negative.insert(negative.end(), neg.begin(), neg.end());
  EXPECT_EQ(OpenError(ffDat, negative), "\"FILE\": record 1: negative sample count -5 at byte 40");

  // A count far beyond the file: refused before anything of that size is allocated.
  auto huge = DatHeader(0x7fffffff, 0, 1, 1);
  EXPECT_EQ(OpenError(ffDat, huge),
            "\"FILE\": truncated file: record 0 declares 2147483647 samples (34359738352 bytes) but 0 bytes remain at "
            "byte 0");

  auto truncated = good;
  truncated.pop_back();
  EXPECT_EQ(OpenError(ffDat, truncated),
            "\"FILE\": truncated file: record 0 declares 2 samples (16 bytes) but 15 bytes remain at byte 0");

  auto shortHeader = good;
  shortHeader.insert(shortHeader.end(), {1, 0, 0, 0, 0, 0});
  EXPECT_EQ(OpenError(ffDat, shortHeader), "\"FILE\": truncated file: incomplete record header (6 of 24 bytes) at byte 40");

  EXPECT_EQ(OpenError(ffDat, DatHeader(2, 8, 0, 1)), "\"FILE\": record 0: unknown precision ordinal 8 at byte 12");
  EXPECT_EQ(OpenError(ffDat, DatHeader(2, 0, 0, 0)), "\"FILE\": record 0: channel count 0 at byte 20");
  EXPECT_EQ(OpenError(ffDat, DatHeader(3, 0, 0, 2)),
            "\"FILE\": record 0: sample count 3 is not a multiple of the channel count 2 at byte 0");
}

TEST(DatRecords, AcceptedTruncatedTailKeepsTheCompleteRecords) {
  TScratchDir dir;
  auto bytes = DatHeader(2, 0, 0, 1);
  Put64(bytes, 1.5);
  Put64(bytes, -2.5);
  const auto tail = DatHeader(4, 0, 0, 1);
  bytes.insert(bytes.end(), tail.begin(), tail.end());
  Put64(bytes, 9);  // one of four samples
  test::WriteBytes(dir.File("t.dat"), bytes);
  TSignalReadOptions o;
  o.AcceptTruncatedTail = true;
  auto reader = OpenSignalFile(dir.File("t.dat"), ffDat, o);
  EXPECT_TRUE(reader->TruncatedTail());
  ASSERT_EQ(reader->NumberOfRecords(), 1);
  TVec v;
  reader->ReadRecord(0, v);
  EXPECT_TRUE(SameBits(v, MakeVec({1.5, -2.5})));
}

TEST(BinRecords, BadInputRaisesWithFileAndPosition) {
  std::vector<std::uint8_t> b;
  Put32(b, 1);
  Put64(b, 10);
  Put32(b, 0x3f800000);  // 1.0f
  Put32(b, 0xfffffffe);  // -2
  Put64(b, 10);
  EXPECT_EQ(OpenError(ffBin, b), "\"FILE\": record 1: negative sample count -2 at byte 16");
  std::vector<std::uint8_t> c;
  Put32(c, 3);
  Put64(c, 10);
  Put32(c, 0);
  EXPECT_EQ(OpenError(ffDbn, c),
            "\"FILE\": truncated file: record 0 declares 3 samples (24 bytes) but 4 bytes remain at byte 0");
}

TEST(SignalFileWriter, RefusesWhatTheFormatCannotHold) {
  TScratchDir dir;
  auto message = [&](TFileFormat f, TPrecision p, const TVec& v, int channels) {
    return MessageOf([&] {
      auto w = TSignalFileWriter::Create(dir.File(std::string("x") + FileFormatExtension(f)), f, p);
      w->WriteBlock(v, 100, channels);
    });
  };
  const std::string wavText = "Wav format error: Precision <> prInteger (32), prSmallInt (16), prByte (8)";
  for (TPrecision p : {prDouble, prSingle, prCardinal, prWord, prShortInt})
    EXPECT_EQ(message(ffWav, p, MakeVec({1}), 1), wavText) << int(p);
  EXPECT_THAT(message(ffBin, prSingle, MakeVec({1, 2}), 2), HasSubstr("holds one real channel"));
  EXPECT_THAT(message(ffDbn, prDouble, MakeVec({1, 2}, true), 1), HasSubstr("holds one real channel"));
  EXPECT_THAT(message(ffWav, prSmallInt, MakeVec({1, 2}, true), 1), HasSubstr("real data only"));
  EXPECT_THAT(message(ffSfs, prDouble, MakeVec({1, 2}, true), 1), HasSubstr("real data only"));
  EXPECT_THAT(message(ffDat, prDouble, MakeVec({1, 2, 3}), 2), HasSubstr("not a multiple of the channel count 2"));
  // The refused WAV precision leaves an existing file alone.
  test::WriteText(dir.File("keep.wav"), "old");
  EXPECT_THROW(TSignalFileWriter::Create(dir.File("keep.wav"), ffWav, prDouble), Exception);
  EXPECT_EQ(ReadBytes(dir.File("keep.wav")).size(), 3u);
}

TEST(SignalFileWriter, ClosingBeforeTheFirstBlockLeavesNoFile) {
  TScratchDir dir;
  for (int f = 0; f < FileFormatCount; ++f) {
    const std::string file = dir.File(std::string("none") + FileFormatExtension(TFileFormat(f)));
    auto w = TSignalFileWriter::Create(file, TFileFormat(f), TFileFormat(f) == ffWav ? prSmallInt : prDouble);
    w->Close();
    EXPECT_FALSE(std::filesystem::exists(file)) << file;
  }
  // One empty block is a block: the file stays and reads back as one empty record.
  auto w = TSignalFileWriter::Create(dir.File("one.wav"), ffWav, prByte);
  w->WriteBlock(TVec(), 8000, 1);
  w.reset();
  auto r = OpenSignalFile(dir.File("one.wav"), ffWav);
  ASSERT_EQ(r->NumberOfRecords(), 1);
  EXPECT_EQ(r->RecordInfo(0).Frames, 0);
  EXPECT_EQ(r->RecordInfo(0).SamplingFrequency, 8000);
}

}  // namespace
}  // namespace sigflow
