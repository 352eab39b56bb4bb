// File storage and reader components: format choice by name, record navigation, framing.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include "file_test_util.h"
#include "sigflow/files/SignalFileWriter.h"
#include "sigflow/files/SignalRead.h"
#include "support/alloc_counter.h"
#include "support/message.h"

namespace sigflow {
namespace {

using test::MessageOf;
using test::TScratchDir;

TVec Ramp(int n, double start = 0, bool complex = false) {
  TVec v(n, complex);
  for (std::size_t i = 0; i < v.Span().size(); ++i) v.Span()[i] = start + double(i);
  return v;
}

// A framing reader of the given frame length.
std::unique_ptr<TSignalRead> Framed(const std::string& name, int length) {
  auto r = std::make_unique<TSignalRead>(nullptr);
  r->SetFileName(name);
  r->SetFraming(true);
  r->SetLength(length);
  return r;
}

// Three records of different shapes in one ".dat" file.
std::string ThreeRecordDat(const TScratchDir& dir) {
  const std::string name = dir.File("three.dat");
  auto w = TSignalFileWriter::Create(name, ffDat);
  w->WriteBlock(Ramp(6), 100, 2);
  w->WriteBlock(Ramp(5, 10), 200, 1);
  w->WriteBlock(Ramp(4, -3, true), 300, 2);
  w->Close();
  return name;
}

std::string MonoDbn(const TScratchDir& dir, const TVec& samples, const std::string& file = "mono.dbn") {
  const std::string name = dir.File(file);
  auto w = TSignalFileWriter::Create(name, ffDbn);
  w->WriteBlock(samples, 1000, 1);
  w->Close();
  return name;
}

TEST(FileStorage, ChoosesFormatByLowerCasedExtensionAndRefusesUnknownOnes) {
  TFileStorage s(nullptr);
  EXPECT_TRUE(s.AutoFileFormat());
  EXPECT_EQ(s.FileFormat(), ffDat);
  s.SetFileName("/data/Take1.WAV");
  EXPECT_EQ(s.FileFormat(), ffWav);
  s.SetFileName("a.bin");
  EXPECT_EQ(s.FileFormat(), ffBin);

  // Refused: the previous name and format stay.
  EXPECT_EQ(MessageOf([&] { s.SetFileName("notes.txt"); }), "Unknown file file format extension: .txt");
  EXPECT_EQ(s.FileName(), "a.bin");
  EXPECT_EQ(s.FileFormat(), ffBin);
  EXPECT_THROW(s.SetFileName("noext"), EFileFormatError);
  EXPECT_EQ(s.FileName(), "a.bin");

  s.SetAutoFileFormat(false);
  s.SetFileName("notes.txt");
  EXPECT_EQ(s.FileName(), "notes.txt");
  EXPECT_EQ(s.FileFormat(), ffBin);
  s.SetFileName("b.wav");
  EXPECT_EQ(s.FileFormat(), ffBin);
}

TEST(FileStorage, OpenedFlagSurvivesTheSameNameAndIsClearedByAnother) {
  TScratchDir dir;
  const std::string name = ThreeRecordDat(dir);
  TSignalRead r(nullptr);
  r.SetFileName(name);
  EXPECT_FALSE(r.FileOpened());
  r.Open();
  EXPECT_TRUE(r.FileOpened());
  EXPECT_EQ(r.NumberOfRecords(), 3);
  r.SetFileName(name);
  EXPECT_TRUE(r.FileOpened());
  EXPECT_EQ(r.NumberOfRecords(), 3);
  r.SetFileName(dir.File("other.dat"));
  EXPECT_FALSE(r.FileOpened());
  EXPECT_EQ(r.NumberOfRecords(), 0);
  EXPECT_EQ(MessageOf([&] { r.Open(); }), "File not found: " + dir.File("other.dat"));
}

TEST(SignalRead, EmptyDatHasNoRecordsAndAMissingFileReadsNothing) {
  TScratchDir dir;
  test::WriteBytes(dir.File("empty.dat"), {});
  TSignalRead r(nullptr);
  r.SetFileName(dir.File("empty.dat"));
  r.Open();
  EXPECT_EQ(r.NumberOfRecords(), 0);
  EXPECT_FALSE(r.Update());
  EXPECT_EQ(MessageOf([&] { r.SetRecordNumber(0); }), "Record number: 0 not found!");

  TSignalRead missing(nullptr);
  missing.SetFileName(dir.File("missing.dat"));
  EXPECT_FALSE(missing.Update());
  EXPECT_FALSE(missing.ProcessRecord(0));
  EXPECT_FALSE(missing.FileOpened());
}

TEST(SignalRead, RecordsInTurnWithShapesFromTheFileAndNavigationErrors) {
  TScratchDir dir;
  TSignalRead r(nullptr);
  r.SetFileName(ThreeRecordDat(dir));
  std::vector<int> events;
  r.SetOnRecordPositionChange([&](TObject*) { events.push_back(r.RecordNumber()); });

  const struct {
    int channels;
    double fs;
    TVec data;
  } records[] = {{2, 100, Ramp(6)}, {1, 200, Ramp(5, 10)}, {2, 300, Ramp(4, -3, true)}};
  for (int k = 0; k < 3; ++k) {
    SCOPED_TRACE(k);
    ASSERT_TRUE(r.Update());
    EXPECT_EQ(r.RecordNumber(), k);
    EXPECT_EQ(r.ChannelCount(), records[k].channels);
    EXPECT_EQ(r.Length(), records[k].data.Length());
    EXPECT_EQ(r.RecordLength(), records[k].data.Length() / records[k].channels);
    EXPECT_DOUBLE_EQ(r.SamplingFrequency(), records[k].fs);
    EXPECT_TRUE(test::SameBits(r.Data(), records[k].data));
  }
  EXPECT_FALSE(r.Update());
  EXPECT_EQ(events, (std::vector<int>{0, 1, 2}));

  EXPECT_EQ(MessageOf([&] { r.SetRecordNumber(3); }), "Record number: 3 not found!");
  EXPECT_EQ(MessageOf([&] { r.SetRecordNumber(-1); }), "Record number: -1 not found!");
  EXPECT_EQ(MessageOf([&] { r.ProcessRecord(7); }), "Record number: 7 not found!");
  EXPECT_EQ(r.RecordNumber(), 2);

  r.SetRecordNumber(1);
  r.SetScaleFactor(-2);
  ASSERT_TRUE(r.Update());
  TVec expected = Ramp(5, 10);
  expected.Scale(-2.0);
  EXPECT_TRUE(test::SameBits(r.Data(), expected));

  r.SetScaleFactor(1);
  ASSERT_TRUE(r.ProcessRecord(0));
  EXPECT_TRUE(test::SameBits(r.Data(), Ramp(6)));
  r.SetActive(false);
  EXPECT_FALSE(r.ProcessRecord(1));
  EXPECT_EQ(r.RecordNumber(), 0);
}

TEST(SignalRead, RecordLoopWrapsAndMaxFramesEndsTheStream) {
  TScratchDir dir;
  TSignalRead r(nullptr);
  r.SetFileName(ThreeRecordDat(dir));
  r.SetLoop(true);
  r.SetMaxFrames(7);
  std::vector<int> seen;
  r.SetOnRecordPositionChange([&](TObject*) { seen.push_back(r.RecordNumber()); });
  EXPECT_FALSE(r.PullUntilEnd());
  EXPECT_EQ(seen, (std::vector<int>{0, 1, 2, 0, 1, 2, 0}));
}

// Frames of hop H: each contributes its first H samples, the last one everything up to the end.
std::vector<double> Concatenate(const std::vector<std::vector<double>>& frames, int hop, int total) {
  std::vector<double> out;
  for (std::size_t k = 0; k < frames.size(); ++k) {
    const bool last = k + 1 == frames.size();
    const int take = last ? total - int(k) * hop : hop;
    out.insert(out.end(), frames[k].begin(), frames[k].begin() + take);
  }
  return out;
}

std::vector<std::vector<double>> PullFrames(TSignalRead& r, std::vector<int>* positions = nullptr) {
  std::vector<std::vector<double>> frames;
  r.SetOnRecordPositionChange([&](TObject*) {
    frames.emplace_back(r.Data().Span().begin(), r.Data().Span().end());
    if (positions) positions->push_back(r.RecordPosition());
  });
  EXPECT_FALSE(r.PullUntilEnd());
  return frames;
}

TEST(SignalRead, OverlappingFramesConcatenateBackToTheRecord) {
  TScratchDir dir;
  TVec record(10000);
  for (int i = 0; i < 10000; ++i) record.SetValues(i, std::sin(0.01 * i) + 1e-3 * i);
  const std::string name = MonoDbn(dir, record);
  const std::vector<double> wanted(record.Span().begin(), record.Span().end());

  auto r = Framed(name, 1000);
  r->SetOverlappingPercent(50);
  EXPECT_EQ(r->FrameStep(), 500);
  std::vector<int> positions;
  auto frames = PullFrames(*r, &positions);
  ASSERT_EQ(frames.size(), 19u);
  for (std::size_t k = 0; k < frames.size(); ++k) {
    EXPECT_EQ(positions[k], int(k) * 500);
    EXPECT_EQ(frames[k].size(), 1000u);
  }
  EXPECT_EQ(Concatenate(frames, 500, 10000), wanted);
  EXPECT_DOUBLE_EQ(r->StartTime(), 9.0);  // 9000 samples at 1000 Hz

  // Frame lengths that do not divide the record: the last frame is padded with zeros, and
  // any frame size gives the same stream.
  for (int length : {777, 4096, 20000}) {
    auto parts = PullFrames(*Framed(name, length));
    ASSERT_EQ(int(parts.size()), (10000 + length - 1) / length) << length;
    const int tail = 10000 - (int(parts.size()) - 1) * length;
    for (int i = tail; i < length; ++i) ASSERT_EQ(parts.back()[std::size_t(i)], 0.0) << length;
    EXPECT_EQ(Concatenate(parts, length, 10000), wanted) << length;
  }

  // OverlappingSamples, when set, wins over the percentage.
  auto s = Framed(name, 1000);
  s->SetOverlappingPercent(50);
  s->SetOverlappingSamples(100);
  EXPECT_EQ(s->FrameStep(), 900);
  auto nine = PullFrames(*s);
  ASSERT_EQ(nine.size(), 11u);  // starts 0, 900, ..., 9000
  EXPECT_EQ(Concatenate(nine, 900, 10000), wanted);
  s->SetOverlappingSamples(5000);
  EXPECT_EQ(s->FrameStep(), 1);
}

TEST(SignalRead, StereoFramesCountSamplesPerChannel) {
  TScratchDir dir;
  const std::string name = dir.File("st.wav");
  TVec pcm(2 * 50);
  for (int i = 0; i < 100; ++i) pcm.SetValues(i, (i % 2 ? -1 : 1) * (i / 2));
  auto w = TSignalFileWriter::Create(name, ffWav, prSmallInt);
  w->WriteBlock(pcm, 8000, 2);
  w->Close();

  auto r = Framed(name, 20);  // 10 frames of 2 channels
  r->SetOverlappingPercent(50);
  std::vector<int> positions;
  auto frames = PullFrames(*r, &positions);
  EXPECT_EQ(positions, (std::vector<int>{0, 5, 10, 15, 20, 25, 30, 35, 40}));
  EXPECT_EQ(r->Precision(), prSmallInt);
  EXPECT_EQ(r->ChannelCount(), 2);
  for (std::size_t k = 0; k < frames.size(); ++k)
    for (int i = 0; i < 20; ++i) ASSERT_EQ(frames[k][std::size_t(i)], pcm.Values(positions[k] * 2 + i));
}

TEST(SignalRead, LoopRunsFramesOverTheEndAndMaxFramesStops) {
  TScratchDir dir;
  const std::string name = MonoDbn(dir, Ramp(10));
  auto r = Framed(name, 4);
  r->SetLoop(true);
  r->SetMaxFrames(5);
  std::vector<int> positions;
  auto frames = PullFrames(*r, &positions);
  EXPECT_EQ(frames, (std::vector<std::vector<double>>{
                        {0, 1, 2, 3}, {4, 5, 6, 7}, {8, 9, 0, 1}, {2, 3, 4, 5}, {6, 7, 8, 9}}));
  EXPECT_EQ(positions, (std::vector<int>{0, 4, 8, 2, 6}));

  // A frame longer than the record wraps more than once.
  auto longer = Framed(name, 25);
  longer->SetLoop(true);
  longer->SetMaxFrames(1);
  auto one = PullFrames(*longer);
  ASSERT_EQ(one.size(), 1u);
  for (int i = 0; i < 25; ++i) EXPECT_EQ(one[0][std::size_t(i)], i % 10);

  // Without Loop MaxFrames cuts a finite stream short; repositioning starts it again.
  auto cut = Framed(name, 2);
  cut->SetMaxFrames(3);
  EXPECT_EQ(PullFrames(*cut).size(), 3u);
  cut->SetRecordNumber(0);
  cut->SetRecordPosition(6);
  EXPECT_EQ(PullFrames(*cut), (std::vector<std::vector<double>>{{6, 7}, {8, 9}}));
}

TEST(SignalRead, ReadsTheCompleteRecordsOfATruncatedFile) {
  TScratchDir dir;
  const std::string name = dir.File("cut.dbn");
  auto w = TSignalFileWriter::Create(name, ffDbn);
  w->WriteBlock(Ramp(8), 10, 1);
  w->WriteBlock(Ramp(8, 100), 10, 1);
  w->Close();
  auto bytes = test::ReadBytes(name);
  bytes.resize(bytes.size() - 12);  // a writer killed in the second record
  test::WriteBytes(name, bytes);

  TSignalRead r(nullptr);
  r.SetFileName(name);
  ASSERT_TRUE(r.Update());
  EXPECT_TRUE(r.TruncatedTail());
  EXPECT_EQ(r.NumberOfRecords(), 1);
  EXPECT_TRUE(test::SameBits(r.Data(), Ramp(8)));
  EXPECT_FALSE(r.Update());
}

TEST(SignalRead, SteadyFramesAllocateNothing) {
  TScratchDir dir;
  const std::string wav = dir.File("a.wav");
  {
    TVec pcm(2 * 40000);
    for (int i = 0; i < pcm.Length(); ++i) pcm.SetValues(i, (i * 37) % 2000 - 1000);
    auto w = TSignalFileWriter::Create(wav, ffWav, prSmallInt);
    w->WriteBlock(pcm, 44100, 2);
    w->Close();
  }
  TVec mono(30000);
  for (int i = 0; i < mono.Length(); ++i) mono.SetValues(i, i);
  const std::string dbn = MonoDbn(dir, mono);

  for (const std::string& name : {wav, dbn}) {
    auto r = Framed(name, 1000);
    r->SetOverlappingPercent(25);
    r->SetLoop(true);  // frames across the end take the wrapping path too
    r->SetScaleFactor(0.5);
    for (int i = 0; i < 250; ++i) ASSERT_TRUE(r->Pull());
    test::AllocationScope scope;
    for (int i = 0; i < 200; ++i) ASSERT_TRUE(r->Pull());
    EXPECT_EQ(scope.Count(), 0u) << name;
  }
}

}  // namespace
}  // namespace sigflow
