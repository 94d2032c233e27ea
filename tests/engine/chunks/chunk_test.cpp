// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/chunk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/engine/store/stored_record.h"

namespace orvspc::engine::store {
namespace {

constexpr std::int32_t kMin = INT32_MIN, kMax = INT32_MAX;
constexpr std::int64_t kStream = 7;

template <class T>
std::vector<std::byte> ColumnOf(const std::vector<T>& values) {
  std::vector<std::byte> column;
  AppendColumn(column, values);
  return column;
}

// False when the column is not exactly the whole blob.
template <class T>
bool TakeWhole(std::span<const std::byte> column, std::size_t count, std::vector<T>& values) {
  const auto* at = column.data();
  const auto* const end = at + column.size();
  return TakeColumn(at, end, count, values) && at == end;
}

// Written in a certain way, of that many bytes, and read back.
template <class T>
void ExpectColumn(const std::vector<T>& values, Coding coding, std::size_t bytes) {
  const auto column = ColumnOf(values);
  ASSERT_FALSE(column.empty());
  EXPECT_EQ(std::to_integer<int>(column[0]), static_cast<int>(coding));
  EXPECT_EQ(column.size(), 1 + bytes);
  std::vector<T> read;
  ASSERT_TRUE(TakeWhole(column, values.size(), read));
  EXPECT_EQ(read, values);
  for (std::size_t cut = 0; cut < column.size(); ++cut) {
    EXPECT_FALSE(TakeWhole<T>(std::span(column).first(cut), values.size(), read)) << cut;
  }
}

template <class T>
class Columns : public testing::Test {};
using Widths = testing::Types<std::int32_t, std::int64_t>;
TYPED_TEST_SUITE(Columns, Widths);

TYPED_TEST(Columns, AreWrittenInTheShortestWayThatHoldsThem) {
  using Values = std::vector<TypeParam>;
  const struct {
    Values values;
    Coding coding;
    std::size_t bytes;
  } cases[] = {
      {{0}, Coding::Zero, 0},
      {{0, 0, 0}, Coding::Zero, 0},
      {{5}, Coding::Same, 4},
      {{kMin}, Coding::Same, 4},
      {{kMax, kMax, kMax}, Coding::Same, 4},
      {{-1, -1}, Coding::Same, 4},
      {{0, 1}, Coding::Steps, 8},
      {{kMax, 0}, Coding::Steps, 8},
      {{3, 1, -1, -3}, Coding::Steps, 8},
      {{kMin, -1}, Coding::Steps, 8},
      {{-kMax, 0, kMax}, Coding::Steps, 8},
      {{kMax, 0, -kMax}, Coding::Steps, 8},
      {{0, 1, 3}, Coding::Bytes, 4 + 3},
      {{-1, 0, 254}, Coding::Bytes, 4 + 3},
      {{kMin, kMin + 255, kMin}, Coding::Bytes, 4 + 3},
      {{kMax, kMax - 255, kMax}, Coding::Bytes, 4 + 3},
      {{0, 256, 1}, Coding::Words, 4 + 6},
      {{kMin + 65535, kMin, kMin}, Coding::Words, 4 + 6},
      {{kMax - 65535, kMax, kMax}, Coding::Words, 4 + 6},
      {{0, 65536, 1}, Coding::Plain, 12},
      {{kMin, kMax}, Coding::Plain, 8},
      {{kMax, kMin}, Coding::Plain, 8},
      {{kMin, kMax, kMin}, Coding::Plain, 12},
      {{kMin, 0}, Coding::Plain, 8},  // a step of 2^31
      {{0, kMin}, Coding::Plain, 8},
  };
  for (const auto& [values, coding, bytes] : cases) {
    SCOPED_TRACE(testing::PrintToString(values));
    ExpectColumn(values, coding, bytes);
  }
}

TEST(WideColumns, HoldWhatPasses32Bits) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMost = std::numeric_limits<std::int64_t>::max();
  using Values = std::vector<std::int64_t>;
  for (const auto& values : {Values{std::int64_t{kMax} + 1}, Values{std::int64_t{kMin} - 1, 0},
                             Values{kLeast, kMost, 0, -1}, Values{kMost, kMost}}) {
    SCOPED_TRACE(testing::PrintToString(values));
    ExpectColumn(values, Coding::Wide, values.size() * 8);
    std::vector<std::int32_t> narrow;
    EXPECT_FALSE(TakeWhole(std::span<const std::byte>(ColumnOf(values)), values.size(), narrow));
  }
}

TEST(ColumnsAtRandom, ComeBack) {
  std::mt19937_64 random(3);
  std::set<std::byte> codings;
  for (int i = 0; i < 20'000; ++i) {
    // Up to 12 values that lie within a range of some bits, anywhere.
    const auto bits = random() % 65;
    const auto base = static_cast<std::int64_t>(random()) >> (random() % 64);
    std::vector<std::int64_t> values(1 + random() % 12);
    for (auto& value : values) {
      const auto above = bits == 0 ? 0 : random() >> (64 - bits);
      value = static_cast<std::int64_t>(static_cast<std::uint64_t>(base) + above);
    }
    const auto column = ColumnOf(values);
    codings.insert(column[0]);
    std::vector<std::int64_t> read;
    ASSERT_TRUE(TakeWhole(column, values.size(), read));
    ASSERT_EQ(read, values);
  }
  EXPECT_EQ(codings.size(), 7U);
}

TEST(ForgedColumns, OfAnUnknownCodingAreRefused) {
  std::vector<std::byte> column(64);
  for (int coding = 7; coding < 256; ++coding) {
    column[0] = static_cast<std::byte>(coding);
    const auto* at = column.data();
    std::vector<std::int64_t> values;
    EXPECT_FALSE(TakeColumn(at, at + column.size(), 3, values)) << coding;
  }
}

TEST(ForgedColumns, WrapAround) {
  std::vector<std::byte> column;
  const auto begin = [&](Coding coding) {
    column.clear();
    Append(column, coding);
    Append(column, kMax);
  };
  std::vector<std::int32_t> values;
  begin(Coding::Steps);
  Append(column, kMax);
  ASSERT_TRUE(TakeWhole(column, 3, values));
  EXPECT_EQ(values, (std::vector<std::int32_t>{kMax, -2, kMax - 2}));
  begin(Coding::Bytes);
  Append(column, std::uint8_t{1});
  ASSERT_TRUE(TakeWhole(column, 1, values));
  EXPECT_EQ(values, (std::vector<std::int32_t>{kMin}));
}

std::vector<StoredRecord> RandomRecords(std::mt19937& random, std::size_t count) {
  std::set<RecordKey> keys;
  while (keys.size() < count) {
    keys.insert({Below(random, static_cast<int>(count)), 1 + Below(random, 1000)});
  }
  std::vector<StoredRecord> records;
  for (const auto& key : keys) records.push_back(RandomRecord(random, key));
  return records;
}

void ExpectRecords(const Chunk& chunk, std::span<const StoredRecord> records) {
  ASSERT_EQ(chunk.Count(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    ASSERT_EQ(CopyOf(chunk.Record(i)), records[i]);
    EXPECT_EQ(chunk.Times()[i], records[i].time);
    EXPECT_EQ(chunk.Subgroups()[i], records[i].subgroup);
    EXPECT_EQ(chunk.Contexts()[i], records[i].context);
    EXPECT_EQ(static_cast<std::size_t>(chunk.RowCounts()[i]), records[i].values.size());
  }
  EXPECT_EQ(chunk.First(), records.front().Key());
  EXPECT_EQ(chunk.Last(), records.back().Key());
}

TEST(Chunks, GiveBackEveryKindOfRecordSideBySide) {
  std::mt19937 random(1);
  for (int i = 0; i < 300; ++i) {
    const auto records = RandomRecords(random, static_cast<std::size_t>(1 + Below(random, 40)));
    const auto packed = PackedOf(records, kStream);
    Chunk chunk;
    ASSERT_TRUE(chunk.Decode(packed, kStream));
    ExpectRecords(chunk, records);
    if (HasFatalFailure()) return;
  }
}

TEST(Chunks, HoldExtremes) {
  const RowKey extreme{kMin, kMax, kMin, kMax, kMin};
  const double infinite = std::numeric_limits<double>::infinity();
  const std::vector<StoredRecord> records{
      {kMin, kMin, kMax, 0.0, 0, INT64_MIN, INT64_MAX, {-infinite}, {PlainKey(0)}},
      {0, 0, kMin, 0.25, 15, 0, 0, {5e-324, -0.0}, {extreme, extreme}},
      {kMax, kMax, 0, 2147483646.5, 2, INT64_MAX, INT64_MIN, {infinite}, {PlainKey(0)}}};
  const auto packed = PackedOf(records, INT64_MIN);
  Chunk chunk;
  ASSERT_TRUE(chunk.Decode(packed, INT64_MIN));
  ExpectRecords(chunk, records);
  EXPECT_EQ(chunk.Record(1).RoundedSize(), 1) << "0 says: not known";
  EXPECT_EQ(chunk.Record(2).RoundedSize(), kMax);
}

TEST(Chunks, HoldOneRecordAndTheMost) {
  std::vector<StoredRecord> records;
  for (std::int32_t i = 0; i < 65535; ++i) {
    records.push_back({i / 3, i, 0, 1.0, 0, 0, 0, {static_cast<double>(i)}, {PlainKey(0)}});
  }
  for (const std::size_t count : {std::size_t{1}, records.size()}) {
    const auto packed = PackedOf(std::span(records).first(count), kStream);
    Chunk chunk;
    ASSERT_TRUE(chunk.Decode(packed, kStream));
    ExpectRecords(chunk, std::span(records).first(count));
  }
}

TEST(Chunks, FindTheirRecords) {
  std::mt19937 random(2);
  for (int i = 0; i < 50; ++i) {
    const auto records = RandomRecords(random, static_cast<std::size_t>(1 + Below(random, 30)));
    const auto packed = PackedOf(records, kStream);
    Chunk chunk;
    ASSERT_TRUE(chunk.Decode(packed, kStream));
    for (int time = -1; time < 32; ++time) {
      const RecordKey key{time, Below(random, 1000)};
      const auto found = std::ranges::find_if(
          records, [&](const StoredRecord& record) { return record.Key() >= key; });
      EXPECT_EQ(chunk.Find(key), static_cast<std::size_t>(found - records.begin()));
      const auto from = std::ranges::find_if(
          records, [&](const StoredRecord& record) { return record.time >= time; });
      EXPECT_EQ(chunk.FirstFrom(time), static_cast<std::size_t>(from - records.begin()));
    }
    for (std::size_t place = 0; place < records.size(); ++place) {
      EXPECT_EQ(chunk.Find(records[place].Key()), place);
    }
  }
}

TEST(Chunks, AreTheSameWhenPackedAgainFromTheirRecords) {
  std::mt19937 random(4);
  ChunkPacker packer;
  std::vector<std::byte> again;
  for (int i = 0; i < 50; ++i) {
    const auto packed = PackedOf(RandomRecords(random, 20), kStream);
    Chunk chunk;
    ASSERT_TRUE(chunk.Decode(packed, kStream));
    for (std::size_t place = 0; place < chunk.Count(); ++place) packer.Add(chunk.Record(place));
    EXPECT_EQ(packer.Weight(), chunk.Weight());
    EXPECT_EQ(packer.First(), chunk.First());
    EXPECT_EQ(packer.Last(), chunk.Last());
    packer.Pack(kStream, again);
    EXPECT_EQ(again, packed);
    EXPECT_EQ(packer.Count(), 0U);
  }
}

// What lies in databases must be read for ever: a chunk byte by byte.
TEST(Chunks, AreWrittenInTheFormOfVersion1) {
  const std::vector<StoredRecord> records{
      {100, 1, 3, 2.0, 0, 0, 0, {1.0, 2.0}, {PlainKey(0), PlainKey(1)}},
      {400, 2, 3, 2.5, 1, 0, 0, {-2.0}, {{9, 8, 7, 6, 5}}}};
  std::string text;
  for (const auto byte : PackedOf(records, kStream)) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02x", std::to_integer<unsigned>(byte));
    text += digits;
  }
  const std::string checksum = text.substr(8, 8);
  EXPECT_EQ(text, "01000200" + checksum +
                      "03000000"
                      "01000000"
                      "01000000"
                      "00000000"
                      "000000000000f03f"
                      "0000000000000040"
                      "00000000000000c0"
                      "0900000008000000070000000600000005000000"
                      "0000000000000440"
                      "02"
                      "64000000"
                      "2c010000"
                      "02"
                      "01000000"
                      "01000000"
                      "02"
                      "02000000"
                      "ffffffff"
                      "01"
                      "03000000"
                      "02"
                      "02000000"
                      "01000000"
                      "02"
                      "00000000"
                      "31000000"
                      "00"
                      "00");
  EXPECT_EQ(checksum, "cfca41d5");
}

class DamagedChunk : public testing::Test {
 protected:
  static std::vector<std::byte> Good() {
    std::mt19937 random(5);
    return PackedOf(RandomRecords(random, 12), kStream);
  }
  static bool IsWhole(std::span<const std::byte> packed, std::int64_t stream = kStream) {
    Chunk chunk;
    return chunk.Decode(packed, stream);
  }
};

TEST_F(DamagedChunk, EveryFlippedBitIsNoticed) {
  auto packed = Good();
  ASSERT_TRUE(IsWhole(packed));
  for (std::size_t bit = 0; bit < packed.size() * 8; ++bit) {
    packed[bit / 8] ^= static_cast<std::byte>(1 << bit % 8);
    EXPECT_FALSE(IsWhole(packed)) << bit;
    packed[bit / 8] ^= static_cast<std::byte>(1 << bit % 8);
  }
  ASSERT_TRUE(IsWhole(packed));
}

TEST_F(DamagedChunk, EveryCutAndWhatIsAddedIsNoticed) {
  auto packed = Good();
  for (std::size_t size = 0; size < packed.size(); ++size) {
    // A copy, so that reading behind its end shows.
    const std::vector<std::byte> cut(packed.begin(), packed.begin() + static_cast<int>(size));
    EXPECT_FALSE(IsWhole(cut)) << size;
  }
  packed.push_back({});
  EXPECT_FALSE(IsWhole(packed));
  Reseal(packed, kStream);
  EXPECT_FALSE(IsWhole(packed)) << "bytes behind the last column";
}

TEST_F(DamagedChunk, ThatOfAnotherStreamIsRefused) {
  const auto packed = Good();
  for (const std::int64_t stream : {0, 6, 8, -7, 7 + (1 << 20)}) {
    EXPECT_FALSE(IsWhole(packed, stream)) << stream;
  }
}

TEST_F(DamagedChunk, AnUnknownVersionIsRefused) {
  auto packed = Good();
  for (int version = 0; version < 256; ++version) {
    packed[0] = static_cast<std::byte>(version);
    Reseal(packed, kStream);
    EXPECT_EQ(IsWhole(packed), version == 1) << version;
  }
}

TEST_F(DamagedChunk, RecordsThatDoNotAscendAreRefused) {
  std::mt19937 random(6);
  const auto records = RandomRecords(random, 4);
  for (std::size_t i = 0; i + 1 < records.size(); ++i) {
    auto wrong = records;
    std::swap(wrong[i], wrong[i + 1]);
    EXPECT_FALSE(IsWhole(PackedOf(wrong, kStream))) << i;
    wrong[i] = wrong[i + 1];
    EXPECT_FALSE(IsWhole(PackedOf(wrong, kStream))) << i;
  }
}

TEST_F(DamagedChunk, AnUnknownStateIsRefused) {
  for (int bit = 0; bit < 32; ++bit) {
    if (bit == 4 || bit == 5) continue;  // keys and a size follow
    StoredRecord record{1, 2, 0, 1.0, 0, 0, 0, {1.0}, {PlainKey(0)}};
    record.flag = static_cast<std::int32_t>(1U << bit);
    EXPECT_EQ(IsWhole(PackedOf({&record, 1}, kStream)), bit < 4) << bit;
  }
}

TEST_F(DamagedChunk, ARecordWithoutRowsIsRefused) {
  const StoredRecord record{1, 2, 0, 1.0, 0, 0, 0, {}, {}};
  EXPECT_FALSE(IsWhole(PackedOf({&record, 1}, kStream)));
}

// Whatever is said to be whole can be read to its end without leaving the blob; how much of it lies
// outside, the sanitizers see.
double ReadAll(const Chunk& chunk) {
  double sum = 0.0;
  for (std::size_t i = 0; i < chunk.Count(); ++i) {
    const auto record = CopyOf(chunk.Record(i));
    for (const double value : record.values) sum += value;
    for (const auto& key : record.keys) sum += key.Tsno;
    sum += record.size;
  }
  return sum;
}

TEST_F(DamagedChunk, ForgedOnesWithAFittingChecksumAreRefusedOrReadToTheirEnd) {
  std::mt19937 random(7);
  int whole = 0;
  Chunk chunk;  // used again, as walks do
  for (int i = 0; i < 20'000; ++i) {
    auto packed =
        PackedOf(RandomRecords(random, static_cast<std::size_t>(1 + Below(random, 5))), kStream);
    const auto size = static_cast<int>(packed.size());
    for (int change = 1 + Below(random, 3); change > 0; --change) {
      // The head, the columns at the end, or anywhere.
      const int where = Below(random, 3);
      const int place = where == 0   ? Below(random, 24)
                        : where == 1 ? size - 1 - Below(random, std::min(size, 60))
                                     : Below(random, size);
      auto& byte = packed[static_cast<std::size_t>(place)];
      byte = Below(random, 2) == 0 ? byte ^ static_cast<std::byte>(1 << Below(random, 8))
                                   : static_cast<std::byte>(random());
    }
    if (Below(random, 8) == 0) packed.resize(static_cast<std::size_t>(Below(random, size + 1)));
    packed.shrink_to_fit();
    if (packed.size() >= 8) Reseal(packed, kStream);
    if (!chunk.Decode(packed, kStream)) continue;
    ++whole;
    ReadAll(chunk);
    EXPECT_GT(chunk.Count(), 0U);
    const auto* const last = chunk.Record(chunk.Count() - 1).Values();
    const auto rows = chunk.Record(chunk.Count() - 1).Count();
    EXPECT_LE(last + rows * sizeof(double), packed.data() + packed.size());
    EXPECT_LE(chunk.First(), chunk.Last());
  }
  EXPECT_GT(whole, 2000);  // else nothing was read
  EXPECT_LT(whole, 18'000);
}

}  // namespace
}  // namespace orvspc::engine::store
