#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "sigflow/tools/MarkList.h"
#include "support/message.h"

using namespace sigflow;

namespace {
// Little-endian bytes of a double, built independently of the stream code.
std::vector<std::uint8_t> LeBytes(double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, 8);
  std::vector<std::uint8_t> out;
  for (int i = 0; i < 8; ++i) out.push_back(static_cast<std::uint8_t>((bits >> (8 * i)) & 0xFF));
  return out;
}

std::vector<std::uint8_t> Image(std::initializer_list<double> values) {
  std::vector<std::uint8_t> out;
  for (double v : values) {
    auto b = LeBytes(v);
    out.insert(out.end(), b.begin(), b.end());
  }
  return out;
}

TMemoryStream StreamOf(const std::vector<std::uint8_t>& bytes) {
  TMemoryStream s;
  s.WriteBuffer(bytes.data(), static_cast<std::int64_t>(bytes.size()));
  s.SetPosition(0);
  return s;
}
}  // namespace

TEST(MarkListStream, EmptyListIsOneZeroHeaderRecord) {
  TMarkList list;
  TMemoryStream s;
  list.SaveToStream(s);
  EXPECT_EQ(s.Bytes(), std::vector<std::uint8_t>(32, 0));
  list.Add({1, 2, 3, 4});
  s.SetPosition(0);
  list.LoadFromStream(s);
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(s.Position(), 32);
}

TEST(MarkListStream, ByteImageOfTwoMarksAndRoundTrip) {
  TMarkList list;
  list.Add({1000.0, 0.5, -1.25, 0.0});
  list.Add({2000.0, 0.01, 3.0, 1e-3});
  TMemoryStream s;
  list.SaveToStream(s);
  EXPECT_EQ(s.Bytes(), Image({0, 0, 0, 2, 1000.0, 0.5, -1.25, 0.0, 2000.0, 0.01, 3.0, 1e-3}));

  s.SetPosition(0);
  TMarkList back;
  back.LoadFromStream(s);
  ASSERT_EQ(back.Count(), 2);
  EXPECT_EQ(back.Values(0), list.Values(0));
  EXPECT_EQ(back.Values(1), list.Values(1));
}

TEST(MarkListStream, CountIsRoundedAndMissingBytesReadAsZeros) {
  // Count 1.6 rounds to 2; the second record is cut after its first field.
  auto bytes = Image({0, 0, 0, 1.6, 1, 2, 3, 4, 5});
  auto s = StreamOf(bytes);
  TMarkList list;
  list.LoadFromStream(s);
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Values(0), (TMarkRecord{1, 2, 3, 4}));
  EXPECT_EQ(list.Values(1), (TMarkRecord{5, 0, 0, 0}));
}

TEST(MarkListStream, ImpossibleCountsRaiseAndLeaveTheListAlone) {
  TMarkList list;
  list.Add({7, 7, 7, 7});
  for (double count : {2147483648.0, -1.0, 3.0}) {
    auto s = StreamOf(Image({0, 0, 0, count, 1}));  // 40 bytes: at most one record
    const std::string message = test::MessageOf<EReadError>([&] { list.LoadFromStream(s); });
    EXPECT_NE(message, "<no exception>") << count;
    if (count > 3) {
      EXPECT_EQ(message, "Mark list count 2147483648 does not fit the 8 bytes left in the stream");
    }
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.Values(0).Freq, 7);
  }
}

TEST(MarkListSort, EachFieldAscendingAndStable) {
  TMarkList list;
  list.Add({3, 10, 0.5, 2});
  list.Add({1, 30, 0.1, 1});
  list.Add({2, 20, 0.5, 3});
  // The frequencies in list order identify the records.
  const auto order = [&] {
    std::vector<double> f;
    for (int i = 0; i < list.Count(); ++i) f.push_back(list.Values(i).Freq);
    return f;
  };
  list.SetSortType(srtAmplt);
  EXPECT_EQ(order(), (std::vector<double>{3, 1, 2}));  // setting the type does not sort
  list.Sort();
  EXPECT_EQ(order(), (std::vector<double>{3, 2, 1}));
  list.SortPhase();  // 0.1, then the two 0.5 in their present order
  EXPECT_EQ(order(), (std::vector<double>{1, 3, 2}));
  list.SortTime();
  EXPECT_EQ(order(), (std::vector<double>{1, 3, 2}));
  list.SortFreq();
  EXPECT_EQ(order(), (std::vector<double>{1, 2, 3}));
  list.Delete(1);
  EXPECT_EQ(list.Count(), 2);
  EXPECT_THROW(list.Delete(5), Exception);
}
