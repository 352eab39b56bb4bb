// File writer component, reader -> writer chains and the reader and writer lists.
#include <gtest/gtest.h>

#include <filesystem>

#include "file_test_util.h"
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/files/FileRegistration.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/files/SignalReadList.h"
#include "sigflow/files/SignalWriteList.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::MessageOf;
using test::TScratchDir;
using test::MakeVec;

// A source signal whose blocks the test sets by hand.
struct TBlockSource {
  TSignal signal{nullptr};
  TBlockSource() {
    signal.SetUsesInputs(false);
    signal.SetContinuous(false);
  }
  void Set(const TVec& data, double fs, int channels) {
    signal.SetChannelCount(channels);
    signal.SetData(&data);
    signal.SetSamplingFrequency(fs);
  }
};

TEST(SignalWrite, RecordFormatsGetARecordPerBlockAndTheFileIsValidAfterEach) {
  TScratchDir dir;
  TBlockSource src;
  TSignalWrite w(nullptr);
  w.SetInput(&src.signal);
  w.SetFileName(dir.File("out.dat"));
  const std::vector<TVec> blocks = {MakeVec({1, 2, 3, 4}), MakeVec({-1, 0.5}), MakeVec({7, 8, 9, 10, 11, 12})};
  const int channels[] = {2, 1, 3};
  for (std::size_t b = 0; b < blocks.size(); ++b) {
    src.Set(blocks[b], 100.0 * double(b + 1), channels[b]);
    ASSERT_TRUE(w.Update());
    EXPECT_TRUE(test::SameBits(w.Data(), blocks[b]));  // passed on unchanged
    // The writer keeps the file to itself: check a snapshot of what is on disk now.
    test::WriteBytes(dir.File("snapshot.dat"), test::ReadBytes(dir.File("out.dat")));
    auto r = OpenSignalFile(dir.File("snapshot.dat"), ffDat);
    ASSERT_EQ(r->NumberOfRecords(), int(b) + 1);
    for (std::size_t k = 0; k <= b; ++k) {
      TVec got;
      r->ReadRecord(int(k), got);
      EXPECT_TRUE(test::SameBits(got, blocks[k]));
      EXPECT_EQ(r->RecordInfo(int(k)).ChannelCount, channels[k]);
      EXPECT_DOUBLE_EQ(r->RecordInfo(int(k)).SamplingFrequency, 100.0 * double(k + 1));
    }
  }
  EXPECT_EQ(w.BlockCount(), 3);
}

TEST(SignalWrite, AppendingFormatsMatchOneLongBlock) {
  TScratchDir dir;
  const TVec whole = MakeVec({1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6});
  for (TFileFormat f : {ffWav, ffSfs, ffAsc}) {
    const std::string ext = FileFormatExtension(f);
    TBlockSource src;
    TSignalWrite pieces(nullptr);
    pieces.SetInput(&src.signal);
    pieces.SetPrecision(prSmallInt);
    pieces.SetFileName(dir.File("pieces" + ext));
    TVec part;
    for (auto [at, n] : {std::pair{0, 4}, std::pair{4, 2}, std::pair{6, 6}}) {
      part.Size(n, false);
      part.Copy(whole, at, 0, n);
      src.Set(part, 8000, 2);
      ASSERT_TRUE(pieces.Update());
    }
    pieces.Close();
    TSignalWrite one(nullptr);
    one.SetInput(&src.signal);
    one.SetPrecision(prSmallInt);
    one.SetFileName(dir.File("one" + ext));
    src.Set(whole, 8000, 2);
    ASSERT_TRUE(one.Update());
    one.Close();
    EXPECT_EQ(test::ReadBytes(dir.File("pieces" + ext)), test::ReadBytes(dir.File("one" + ext))) << ext;
    auto r = OpenSignalFile(dir.File("pieces" + ext), f);
    ASSERT_EQ(r->NumberOfRecords(), 1);
    TVec got;
    r->ReadRecord(0, got);
    EXPECT_TRUE(test::SameBits(got, whole)) << ext;
  }
}

TEST(SignalWrite, IntegerPrecisionRoundsAndClips) {
  TScratchDir dir;
  TBlockSource src;
  TSignalWrite w(nullptr);
  w.SetInput(&src.signal);
  w.SetFileName(dir.File("int.dat"));
  w.SetPrecision(prSmallInt);
  w.SetRounding(rnFloor);
  src.Set(MakeVec({1.7, -1.2, 40000, -40000, 2.5}), 10, 1);
  ASSERT_TRUE(w.Update());
  w.Close();
  auto r = OpenSignalFile(dir.File("int.dat"), ffDat);
  EXPECT_EQ(r->RecordInfo(0).Precision, prSmallInt);
  TVec got;
  r->ReadRecord(0, got);
  EXPECT_TRUE(test::SameBits(got, MakeVec({1, -2, 32767, -32768, 2})));
}

TEST(SignalWrite, RefusedWavPrecisionAndUnwrittenFilesLeaveNothing) {
  TScratchDir dir;
  TBlockSource src;
  src.Set(MakeVec({1, 2}), 8000, 1);
  TSignalWrite w(nullptr);
  w.SetName("Writer");
  w.SetInput(&src.signal);
  w.SetFileName(dir.File("bad.wav"));
  EXPECT_EQ(MessageOf([&] { w.Update(); }),
            "Writer: Wav format error: Precision <> prInteger (32), prSmallInt (16), prByte (8)");
  EXPECT_FALSE(std::filesystem::exists(dir.File("bad.wav")));

  // Named but never written, then renamed, closed or destroyed: no file appears.
  {
    TSignalWrite idle(nullptr);
    idle.SetInput(&src.signal);
    idle.SetFileName(dir.File("idle.dat"));
    idle.SetFileName(dir.File("idle2.dat"));
    idle.Close();
  }
  EXPECT_FALSE(std::filesystem::exists(dir.File("idle.dat")));
  EXPECT_FALSE(std::filesystem::exists(dir.File("idle2.dat")));

  // A new name finishes the old file and starts another at the next block.
  TSignalWrite two(nullptr);
  two.SetInput(&src.signal);
  two.SetFileName(dir.File("first.dbn"));
  ASSERT_TRUE(two.Update());
  ASSERT_TRUE(two.Update());
  two.SetFileName(dir.File("second.dbn"));
  ASSERT_TRUE(two.Update());
  two.Close();
  EXPECT_EQ(OpenSignalFile(dir.File("first.dbn"), ffDbn)->NumberOfRecords(), 2);
  EXPECT_EQ(OpenSignalFile(dir.File("second.dbn"), ffDbn)->NumberOfRecords(), 1);
}

// Records of each format that the reader hands on and the writer must reproduce.
void WriteSource(const std::string& name, TFileFormat f) {
  auto w = TSignalFileWriter::Create(name, f, f == ffWav ? prSmallInt : prDouble);
  switch (f) {
    case ffDat:
    case ffSgl:
      w->WriteBlock(MakeVec({0.25, -1e300, 3, 4, 5, 6}), 48000, 2);
      w->WriteBlock(MakeVec({1, 2, -3.5, 4}, true), 10.5, 1);
      w->WriteBlock(MakeVec({}), 1, 1);
      w->WriteBlock(MakeVec({9, 8, 7}), 3, 3);
      break;
    case ffBin:
      w->WriteBlock(MakeVec({0.5, -1.25, 3}), 100, 1);
      w->WriteBlock(MakeVec({7.5}), 200, 1);
      break;
    case ffDbn:
      w->WriteBlock(MakeVec({0.1, -0.2, 1e10}), 44100, 1);
      w->WriteBlock(MakeVec({-0.0, 5e-324}), 22050, 1);
      break;
    case ffWav:
      w->WriteBlock(MakeVec({1, -1, 32767, -32768, 0, 5}), 8000, 2);
      break;
    case ffSfs:
    case ffAsc:
      w->WriteBlock(MakeVec({0.1, -2, 1e-5, 4}), 4, 2);
      break;
  }
  w->Close();
}

TEST(SignalChain, ReaderToWriterCopiesEveryFormat) {
  TScratchDir dir;
  for (int i = 0; i < FileFormatCount; ++i) {
    const TFileFormat f = TFileFormat(i);
    const std::string ext = FileFormatExtension(f);
    WriteSource(dir.File("src" + ext), f);
    TSignalRead r(nullptr);
    r.SetFileName(dir.File("src" + ext));
    TSignalWrite w(nullptr);
    w.SetInput(&r);
    w.SetFileName(dir.File("copy" + ext));
    if (f == ffWav) w.SetPrecision(prSmallInt);
    EXPECT_FALSE(w.PullUntilEnd());
    w.Close();

    auto a = OpenSignalFile(dir.File("src" + ext), f);
    auto b = OpenSignalFile(dir.File("copy" + ext), f);
    ASSERT_EQ(a->NumberOfRecords(), b->NumberOfRecords()) << ext;
    EXPECT_EQ(w.BlockCount(), a->NumberOfRecords()) << ext;
    for (int k = 0; k < a->NumberOfRecords(); ++k) {
      TVec x, y;
      a->ReadRecord(k, x);
      b->ReadRecord(k, y);
      EXPECT_TRUE(test::SameBits(x, y)) << ext << " record " << k;
      EXPECT_EQ(a->RecordInfo(k).ChannelCount, b->RecordInfo(k).ChannelCount) << ext;
      EXPECT_EQ(a->RecordInfo(k).SamplingFrequency, b->RecordInfo(k).SamplingFrequency) << ext;
    }
    if (f != ffSgl && f != ffSfs && f != ffAsc) {
      EXPECT_EQ(test::ReadBytes(dir.File("src" + ext)), test::ReadBytes(dir.File("copy" + ext))) << ext;
    }
  }
}

TEST(SignalChain, FramedCopyWithoutOverlapRebuildsALongRecord) {
  TScratchDir dir;
  TVec pcm(2 * 10007);
  for (int i = 0; i < pcm.Length(); ++i) pcm.SetValues(i, (i * 7919) % 65536 - 32768);
  {
    auto w = TSignalFileWriter::Create(dir.File("long.wav"), ffWav, prSmallInt);
    w->WriteBlock(pcm, 16000, 2);
    w->Close();
  }
  TSignalRead r(nullptr);
  r.SetFileName(dir.File("long.wav"));
  r.SetFraming(true);
  r.SetLength(2 * 1000);
  TSignalWrite w(nullptr);
  w.SetInput(&r);
  w.SetPrecision(prSmallInt);
  w.SetFileName(dir.File("copy.wav"));
  EXPECT_FALSE(w.PullUntilEnd());
  w.Close();
  EXPECT_EQ(w.BlockCount(), 11);
  TVec got;
  OpenSignalFile(dir.File("copy.wav"), ffWav)->ReadRecord(0, got);
  // The last frame is padded to the frame length with zeros.
  ASSERT_EQ(got.Length(), 2 * 11000);
  TVec head(pcm.Length());
  head.Copy(got, 0, 0, pcm.Length());
  EXPECT_TRUE(test::SameBits(head, pcm));
  for (int i = pcm.Length(); i < got.Length(); ++i) ASSERT_EQ(got.Values(i), 0.0);
}

TEST(FileLists, ListsCreateTheirComponentsAndRunThemInOrder) {
  TScratchDir dir;
  WriteSource(dir.File("a.dbn"), ffDbn);
  TSignalReadList readers(nullptr);
  readers.SetCount(2);
  ASSERT_EQ(readers.Count(), 2);
  EXPECT_EQ(readers.Items(0)->ClassName(), "TSignalRead");
  EXPECT_EQ(readers.Items(1)->Owner(), &readers);
  readers.Items(0)->SetFileName(dir.File("a.dbn"));
  readers.Items(0)->SetLoop(true);
  readers.Items(1)->SetFileName(dir.File("a.dbn"));
  readers.Items(1)->SetLoop(false);
  readers.Propagate();  // template settings: Loop and the name go to item 1
  EXPECT_TRUE(readers.Items(1)->Loop());
  EXPECT_TRUE(readers.Update());
  EXPECT_TRUE(readers.Update());
  EXPECT_TRUE(readers.Update());  // both loop back to record 0
  EXPECT_EQ(readers.Items(1)->RecordNumber(), 0);

  TSignalWriteList writers(nullptr);
  writers.SetCount(1);
  EXPECT_EQ(writers.Items(0)->ClassName(), "TSignalWrite");
  auto* replacement = new TSignalWrite(&writers);
  writers.SetItems(0, replacement);
  EXPECT_EQ(writers.Items(0), replacement);
  writers.Items(0)->SetInput(readers.Items(0));
  writers.Items(0)->SetFileName(dir.File("w.dbn"));
  EXPECT_TRUE(writers.Update());
  writers.Items(0)->Close();
  EXPECT_EQ(OpenSignalFile(dir.File("w.dbn"), ffDbn)->NumberOfRecords(), 1);
  writers.SetCount(0);
  EXPECT_EQ(writers.Count(), 0);

  RegisterFileSignalClasses();
  for (const char* name :
       {"TFileStorage", "TSignalRead", "TSignalWrite", "TSignalBrowse", "TSignalReadList", "TSignalWriteList"})
    EXPECT_NE(FindComponentClass(name), nullptr) << name;
}

}  // namespace
}  // namespace sigflow
