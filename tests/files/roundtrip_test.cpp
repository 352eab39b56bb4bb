// What a writer stores reads back equal: every format, every precision it takes, real and
// complex where allowed, 1, 2 and 5 channels, several blocks; reading in arbitrary runs of
// frames gives the same values as reading whole records.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "file_test_util.h"
#include "sigflow/files/SignalFileReader.h"
#include "sigflow/files/SignalFileWriter.h"
#include "support/alloc_counter.h"

namespace sigflow {
namespace {

using test::SameBits;
using test::TScratchDir;

// Values that exercise a precision: in range, beyond it (clipping), halves (rounding) and,
// for floating kinds, the special values.
TVec Block(int frames, int channels, bool complex, TPrecision p, std::mt19937_64& rng) {
  TVec v(frames * channels, complex);
  const double range = p == prDouble || p == prSingle ? 1e6 : std::ldexp(1.0, PrecisionSize(p) * 8);
  std::uniform_real_distribution<double> u(-range, range);
  auto values = v.Span();
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = u(rng);
  if (values.size() >= 6) {
    values[0] = 2.5;
    values[1] = -2.5;
    if (p == prDouble) {
      values[2] = -0.0;
      values[3] = std::numeric_limits<double>::denorm_min();
      values[4] = std::numeric_limits<double>::infinity();
      values[5] = 0.1;
    } else if (p != prSingle) {
      values[2] = std::nan("");  // stored as 0
    }
  }
  return v;
}

TVec Quantized(const TVec& v, TPrecision p, TRounding r) {
  TVec q(v);
  // Integers have no negative zero: -0.0 + 0.0 is +0.0.
  const bool integer = p != prDouble && p != prSingle;
  for (double& x : q.Span()) x = integer ? QuantizeValue(x, p, r) + 0.0 : QuantizeValue(x, p, r);
  return q;
}

struct TCase {
  TFileFormat Format;
  TPrecision Precision;
  bool Complex;
  int Channels;
};

std::string Name(const TCase& c) {
  return std::string(FileFormatExtension(c.Format)) + " precision " + std::to_string(int(c.Precision)) +
         (c.Complex ? " complex " : " real ") + std::to_string(c.Channels) + " ch";
}

bool RecordFormat(TFileFormat f) { return f == ffDat || f == ffBin || f == ffDbn || f == ffSgl; }

void RoundTrip(const TCase& c, TRounding rounding) {
  SCOPED_TRACE(Name(c));
  TScratchDir dir;
  const std::string file = dir.File(std::string("rt") + FileFormatExtension(c.Format));
  std::mt19937_64 rng(int(c.Format) * 1000 + int(c.Precision) * 10 + c.Channels);
  const int frames[] = {7, 1, 0, 130};
  std::vector<TVec> written;
  std::vector<double> rates;
  {
    auto w = TSignalFileWriter::Create(file, c.Format, c.Precision, rounding);
    for (int b = 0; b < 4; ++b) {
      written.push_back(Block(frames[b], c.Channels, c.Complex, c.Precision, rng));
      rates.push_back(RecordFormat(c.Format) ? 1000.0 / (b + 3) : 22050);
      w->WriteBlock(written.back(), rates.back(), c.Channels);
    }
    w->Close();
    EXPECT_EQ(w->FrameCount(), 138);
  }
  TPrecision stored = c.Format == ffBin ? prSingle : c.Format == ffDbn ? prDouble : c.Precision;
  auto reader = OpenSignalFile(file, c.Format);
  TVec got;
  if (RecordFormat(c.Format)) {
    ASSERT_EQ(reader->NumberOfRecords(), 4);
    for (int b = 0; b < 4; ++b) {
      const auto& info = reader->RecordInfo(b);
      EXPECT_EQ(info.Frames, frames[b]);
      EXPECT_EQ(info.ChannelCount, c.Channels);
      EXPECT_EQ(info.Complex, c.Complex);
      EXPECT_EQ(info.SamplingFrequency, rates[std::size_t(b)]);
      reader->ReadRecord(b, got);
      EXPECT_TRUE(SameBits(got, Quantized(written[std::size_t(b)], stored, rounding))) << "record " << b;
    }
  } else {
    ASSERT_EQ(reader->NumberOfRecords(), 1);
    TVec all(138 * c.Channels, c.Complex);
    int at = 0;
    for (const TVec& v : written) {
      all.Copy(v, 0, at, v.Length());
      at += v.Length();
    }
    const TVec want = Quantized(all, stored, rounding);
    EXPECT_EQ(reader->RecordInfo(0).Frames, 138);
    EXPECT_EQ(reader->RecordInfo(0).ChannelCount, c.Channels);
    EXPECT_EQ(reader->RecordInfo(0).SamplingFrequency, 22050);
    reader->ReadRecord(0, got);
    EXPECT_TRUE(SameBits(got, want));
    // Runs of frames forward, backward and past the end give the same values.
    for (auto [first, count] : {std::pair<int, int>{5, 9}, {100, 50}, {0, 3}, {137, 1}, {138, 4}, {60, 0}}) {
      const std::int64_t n = reader->ReadSamples(0, first, count, got);
      const int expectN = std::max(0, std::min(count, 138 - first));
      ASSERT_EQ(n, expectN);
      TVec part(expectN * c.Channels, c.Complex);
      part.Copy(want, first * c.Channels, 0, expectN * c.Channels);
      EXPECT_TRUE(SameBits(got, part)) << "frames " << first << " +" << count;
    }
  }
}

TEST(SignalFileRoundTrip, EveryFormatEveryPrecisionItTakes) {
  for (int p = 0; p < PrecisionCount; ++p)
    for (int ch : {1, 2, 5}) {
      for (bool complex : {false, true}) RoundTrip({ffDat, TPrecision(p), complex, ch}, TRounding(p % RoundingCount));
      RoundTrip({ffSgl, TPrecision(p), false, ch}, rnRound);
      RoundTrip({ffSgl, TPrecision(p), true, ch}, rnTrunc);
      RoundTrip({ffSfs, TPrecision(p), false, ch}, rnRound);
      RoundTrip({ffAsc, TPrecision(p), false, ch}, rnRound);
    }
  for (TPrecision p : {prByte, prSmallInt, prInteger})
    for (int ch : {1, 2, 5}) RoundTrip({ffWav, p, false, ch}, rnRound);
  RoundTrip({ffWav, prSmallInt, false, 2}, rnFloor);
  RoundTrip({ffWav, prByte, false, 1}, rnCeil);
  RoundTrip({ffBin, prSingle, false, 1}, rnRound);
  RoundTrip({ffDbn, prDouble, false, 1}, rnRound);
}

TEST(SignalFileRoundTrip, MultiRecordRunsMatchWholeRecords) {
  for (TFileFormat f : {ffDat, ffSgl}) {
    SCOPED_TRACE(FileFormatExtension(f));
    TScratchDir dir;
    const std::string file = dir.File(std::string("m") + FileFormatExtension(f));
    std::mt19937_64 rng(5);
    std::vector<TVec> blocks;
    {
      auto w = TSignalFileWriter::Create(file, f, prDouble);
      for (int b = 0; b < 3; ++b) {
        blocks.push_back(Block(40 + b, 2, b == 1, prDouble, rng));
        w->WriteBlock(blocks.back(), 8000, 2);
      }
    }
    auto r = OpenSignalFile(file, f);
    TVec got;
    // Jump between records and back within one: every run equals the slice.
    for (auto [rec, first, count] : std::vector<std::tuple<int, int, int>>{
             {2, 10, 5}, {0, 3, 4}, {0, 1, 2}, {1, 30, 20}, {2, 0, 42}, {0, 39, 1}}) {
      r->ReadSamples(rec, first, count, got);
      const TVec& src = blocks[std::size_t(rec)];
      const int n = std::min(count, src.Length() / 2 - first);
      TVec want(n * 2, src.Complex());
      want.Copy(src, first * 2, 0, n * 2);
      EXPECT_TRUE(SameBits(got, want)) << rec << " " << first << " " << count;
    }
  }
}

TEST(SignalFileReading, SteadyStateBlocksAllocateNothing) {
  TScratchDir dir;
  std::mt19937_64 rng(9);
  for (auto [f, p] : {std::pair{ffDat, prSmallInt}, {ffDat, prDouble}, {ffBin, prSingle}, {ffWav, prSmallInt}}) {
    SCOPED_TRACE(FileFormatExtension(f));
    const std::string file = dir.File(std::string("a") + std::to_string(int(p)) + FileFormatExtension(f));
    const int ch = f == ffBin ? 1 : 2;
    {
      auto w = TSignalFileWriter::Create(file, f, p);
      w->WriteBlock(Block(5000, ch, false, p, rng), 1000, ch);
    }
    auto r = OpenSignalFile(file, f);
    TVec block;
    r->ReadSamples(0, 0, 512, block);
    test::AllocationScope scope;
    for (int k = 1; k < 9; ++k) r->ReadSamples(0, k * 512, 512, block);
    EXPECT_EQ(scope.Count(), 0u);
  }
}

}  // namespace
}  // namespace sigflow
