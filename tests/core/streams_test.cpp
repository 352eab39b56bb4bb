#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "sigflow/core/Streams.h"
#include "support/message.h"

using namespace sigflow;
using sigflow::test::MessageOf;

namespace {
std::string TempPath(const std::string& name) {
  return (std::filesystem::temp_directory_path() / ("sigflow_" + std::to_string(::getpid()) + "_" + name)).string();
}
}  // namespace

TEST(MemoryStream, ShortReadReturnsCountButReadBufferThrows) {
  TMemoryStream s;
  const char data[5] = {1, 2, 3, 4, 5};
  s.WriteBuffer(data, 5);
  s.SetPosition(2);
  char out[8] = {};
  EXPECT_EQ(s.Read(out, 8), 3);
  EXPECT_EQ(out[0], 3);
  EXPECT_EQ(out[2], 5);
  s.SetPosition(2);
  EXPECT_EQ(MessageOf<EReadError>([&] { s.ReadBuffer(out, 8); }), "Stream read error");
}

TEST(MemoryStream, LittleEndianFieldsAndShortStrings) {
  TMemoryStream s;
  s.WriteValue<std::int32_t>(-2);
  s.WriteValue<double>(1.5);
  s.WriteShortString("TSignal");
  const auto& b = s.Bytes();
  ASSERT_EQ(b.size(), 4u + 8u + 1u + 7u);
  EXPECT_EQ(b[0], 0xFE);
  EXPECT_EQ(b[3], 0xFF);
  EXPECT_EQ(b[11], 0x3F);  // 1.5 = 0x3FF8000000000000, high byte last
  EXPECT_EQ(b[12], 7);
  s.SetPosition(0);
  EXPECT_EQ(s.ReadValue<std::int32_t>(), -2);
  EXPECT_EQ(s.ReadValue<double>(), 1.5);
  EXPECT_EQ(s.ReadShortString(), "TSignal");
  EXPECT_THROW(s.ReadValue<std::uint8_t>(), EReadError);
}

TEST(FileStream, BufferedWritesAndReadsAgreeAcrossSeeks) {
  const std::string path = TempPath("seek.bin");
  {
    TFileStream f(path, fmCreate);
    for (std::int32_t i = 0; i < 100000; ++i) f.WriteValue<std::int32_t>(i);
    f.SetPosition(4 * 500);
    f.WriteValue<std::int32_t>(-1);
    f.SetPosition(4 * 499);
    EXPECT_EQ(f.ReadValue<std::int32_t>(), 499);
    EXPECT_EQ(f.ReadValue<std::int32_t>(), -1);
    EXPECT_EQ(f.Size(), 400000);
  }
  TFileStream r(path, fmOpenRead | fmShareDenyWrite);
  std::vector<std::int32_t> all(100000);
  r.ReadBuffer(all.data(), 400000);
  for (std::int32_t i = 0; i < 100000; ++i) ASSERT_EQ(all[i], i == 500 ? -1 : i) << "at " << i;
  EXPECT_EQ(r.Read(all.data(), 4), 0);
  std::filesystem::remove(path);
}

TEST(FileStream, ReaderDenyingWriteKeepsWritersOut) {
  const std::string path = TempPath("share.bin");
  { TFileStream f(path, fmCreate); f.WriteValue<std::uint8_t>(7); }
  TFileStream reader(path, fmOpenRead | fmShareDenyWrite);
  TFileStream reader2(path, fmOpenRead | fmShareDenyWrite);
  EXPECT_EQ(MessageOf<EFOpenError>([&] { TFileStream writer(path, fmOpenWrite); }),
            "Cannot open file \"" + path + "\". The file is in use by another stream.");
  EXPECT_EQ(reader.ReadValue<std::uint8_t>(), 7);
  std::filesystem::remove(path);
}

TEST(FileStream, MissingFileNamesItInTheError) {
  EXPECT_EQ(MessageOf<EFOpenError>([&] { TFileStream f("/nonexistent/dir/x.dat", fmOpenRead); }),
            "Cannot open file \"/nonexistent/dir/x.dat\". No such file or directory");
}

TEST(FileStream, PositionsBeyondFourGibibytes) {
  const std::string path = TempPath("big.bin");
  const std::int64_t far = (std::int64_t{5} << 30) + 3;
  {
    TFileStream f(path, fmCreate);
    f.SetPosition(far);  // sparse: nothing is written before it
    f.WriteValue<std::uint64_t>(0x0123456789ABCDEFull);
  }
  TFileStream r(path, fmOpenRead);
  EXPECT_EQ(r.Size(), far + 8);
  r.Seek(-8, soEnd);
  EXPECT_EQ(r.Position(), far);
  EXPECT_EQ(r.ReadValue<std::uint64_t>(), 0x0123456789ABCDEFull);
  std::filesystem::remove(path);
}
