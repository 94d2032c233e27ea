// SPDX-License-Identifier: Apache-2.0
#include "engine/chunks/subgroups.h"
#include "engine/write/chunks/SubgroupWriter.h"

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "engine/chunks/columns.h"
#include "engine/sql/counter.h"
#include "platform/TimeText.h"
#include "tests/engine/store/reference_store.h"

namespace orvspc::engine::store {
namespace {

struct StoredSubgroup {
  std::int32_t id = 0, part = 0, process = 0, time = 0;
  std::string label;
  SubgroupFacts Facts() const { return {id, part, process, time, label}; }
  friend bool operator==(const StoredSubgroup&, const StoredSubgroup&) = default;
  friend std::ostream& operator<<(std::ostream& out, const StoredSubgroup& each) {
    return out << each.id << " of " << each.part << "/" << each.process << " at " << each.time
               << " '" << each.label.substr(0, 40) << "'";
  }
};
using StoredSubgroups = std::vector<StoredSubgroup>;

std::string LabelOf(std::mt19937& random, std::int32_t id) {
  const auto number = std::to_string(id);
  switch (Below(random, 7)) {
    case 0:
      return {};
    case 1:
      return "The same in every one";
    case 2:
      return std::string(static_cast<std::size_t>(Below(random, 3000)), 'x') + number;
    case 3:
      return "Füllung – № " + number + " 日本 " + (id % 2 == 0 ? "é" : "è");
    case 4:
      return std::string("with\x01control ") + number;
    default:
      return "Shift A, pallet " + number;
  }
}

class SubgroupsTest : public PlantTest {
 protected:
  void SetUp() override {
    MakePlant(*Opened());
    Opened()->Write(
        [](Connection& db) { db.Execute("UPDATE counter SET last = 0 WHERE name = 'subgroup'"); });
  }

  // New ones of any part and process at any of a few times, each with a measurement of some test.
  // Equal labels have different times.
  StoredSubgroups Add(Connection& db, std::int64_t count) {
    SubgroupWriter writer(db);
    StoredSubgroups added;
    const auto first = static_cast<std::int32_t>(TakeIds(db, "subgroup", count));
    for (auto id = first; id < first + count; ++id) {
      StoredSubgroup each{id, 1 + Below(random_, kParts), 1 + Below(random_, kProcesses),
                          100 * Below(random_, 50), LabelOf(random_, id)};
      while (!taken_.emplace(each.part, each.process, each.time, each.label).second) ++each.time;
      writer.Add(each.Facts());
      Measure(db, each);
      added.push_back(std::move(each));
    }
    writer.Flush();
    SealSubgroups(db);
    all_.insert(all_.end(), added.begin(), added.end());
    return added;
  }

  void Measure(Connection& db, const StoredSubgroup& each) {
    const auto stream = 1 + ((each.part - 1) * kProcesses + each.process - 1) * kTests;
    const std::vector<StoredRecord> records{NewRecord(random_, {each.time, each.id})};
    WriteRecords(db, stream + Below(random_, kTests), records, StreamWriter::kMaxHot);
  }

  static StoredSubgroups Read(Connection& db, std::int32_t first, std::int32_t last) {
    StoredSubgroups found;
    ForEachSubgroup(db, first, last, [&](const SubgroupFacts& each) {
      found.push_back({each.id, each.part, each.process, each.time, std::string(each.label)});
    });
    return found;
  }
  StoredSubgroups Expected(std::int32_t first, std::int32_t last) const {
    StoredSubgroups found;
    for (const auto& each : all_) {
      if (each.id >= first && each.id <= last) found.push_back(each);
    }
    return found;
  }

  // Each identifier is in one block, that of its number, or in a hot row.
  void ExpectSoundBlocks(Connection& db) {
    EXPECT_EQ(Query(db,
                    "SELECT count(*) FROM subgroup_block b JOIN subgroup s "
                    "ON s.id BETWEEN b.block * 256 AND b.block * 256 + 255")
                  .RunForInt(),
              0);
    std::set<std::int32_t> ids;
    for (const auto& each : Read(db, 1, INT32_MAX)) EXPECT_TRUE(ids.insert(each.id).second);
    EXPECT_EQ(ids.size(), all_.size());
  }

  static std::int64_t Blocks(Connection& db) {
    return *Query(db, "SELECT count(*) FROM subgroup_block").RunForInt();
  }

  std::mt19937 random_{1};
  StoredSubgroups all_;
  std::set<std::tuple<std::int32_t, std::int32_t, std::int32_t, std::string>> taken_;
};

// Batches of every size, so that blocks are filled by one, by several, and by hot rows.
TEST_F(SubgroupsTest, AreReadBackWhereverTheyLie) {
  Opened()->Write([&](Connection& db) {
    for (const int count : {1, 254, 1, 300, 700, 1, 2, 255, 256, 257, 1500, 3}) {
      Add(db, count);
      ExpectSoundBlocks(db);
      ASSERT_EQ(Read(db, INT32_MIN, INT32_MAX), all_);
      for (int i = 0; i < 20; ++i) {
        const auto first = Below(random_, static_cast<int>(all_.size()) + 20) - 5;
        const auto last = first + Below(random_, 700) - 20;
        ASSERT_EQ(Read(db, first, last), Expected(first, last)) << first << " to " << last;
      }
    }
    EXPECT_GT(Blocks(db), 8);
    EXPECT_GT(Query(db, "SELECT count(*) FROM subgroup").RunForInt(), 0);
    const auto labels = ReadLabels(db, 250, 260);
    ASSERT_EQ(labels.size(), 11U);
    for (std::size_t i = 0; i < labels.size(); ++i) {
      EXPECT_EQ(labels[i].first, all_[249 + i].id);
      EXPECT_EQ(labels[i].second, all_[249 + i].label);
    }
  });
}

TEST_F(SubgroupsTest, HotOnesOfABlockThatIsNotFullLieBesideLaterSealedBlocks) {
  Opened()->Write([&](Connection& db) {
    Add(db, 300);
    EXPECT_EQ(Blocks(db), 1);
    // What is missing of a block of which a part is hot is hot too; the next ones are sealed at
    // once.
    SubgroupWriter writer(db);
    for (std::int32_t id = 301; id < 1100; ++id) {
      all_.push_back({id, 1, 1, id, "n" + std::to_string(id)});
      writer.Add(all_.back().Facts());
      Measure(db, all_.back());
    }
    writer.Flush();
    EXPECT_EQ(Blocks(db), 3);
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    EXPECT_EQ(Read(db, 400, 800), Expected(400, 800));
    ExpectSoundBlocks(db);
    SealSubgroups(db);
    EXPECT_EQ(Blocks(db), 4);
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    ExpectSoundBlocks(db);
  });
}

TEST_F(SubgroupsTest, IdentifiersThatAreLeftOutDoNotMixBlocks) {
  Opened()->Write([&](Connection& db) {
    SubgroupWriter writer(db);
    for (const std::int32_t id : {1, 2, 256, 300, 511, 600, 767, 768, 1023, 3000}) {
      all_.push_back({id, 1, 2, -id, "n"});
      writer.Add(all_.back().Facts());
      Measure(db, all_.back());
    }
    writer.Flush();
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    EXPECT_EQ(Read(db, 511, 768), Expected(511, 768));
    ExpectSoundBlocks(db);
    SealSubgroups(db);
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    EXPECT_EQ(Read(db, 511, 768), Expected(511, 768));
    ExpectSoundBlocks(db);
  });
}

TEST_F(SubgroupsTest, AreFoundByPartProcessTimeAndLabelOnly) {
  Opened()->Write([&](Connection& db) {
    for (int i = 0; i < 8; ++i) Add(db, 200);
    std::vector<SubgroupFacts> asked;
    std::vector<std::int32_t> expected;
    for (int i = 0; i < 400; ++i) {
      const auto& each = all_[static_cast<std::size_t>(Below(random_, 1600))];
      auto facts = each.Facts();
      facts.id = 0;
      const int change = Below(random_, 8);
      if (change == 0) facts.part = 1 + Below(random_, kParts + 1);
      if (change == 1) facts.process = 1 + Below(random_, kProcesses + 1);
      if (change == 2) facts.time += Below(random_, 3) - 1;
      if (change == 3) facts.time = 100 * Below(random_, 50);
      if (change == 4) facts.label = all_[static_cast<std::size_t>(Below(random_, 1600))].label;
      if (change == 5) facts.label = facts.label.substr(0, facts.label.size() / 2);
      asked.push_back(facts);
      const auto found = std::ranges::find_if(all_, [&](const StoredSubgroup& one) {
        return one.part == facts.part && one.process == facts.process && one.time == facts.time &&
               one.label == facts.label;
      });
      expected.push_back(found == all_.end() ? 0 : found->id);
    }
    EXPECT_EQ(FindSubgroups(db, asked), expected);
    for (std::size_t i = 0; i < asked.size(); i += 7) {
      EXPECT_EQ(FindSubgroups(db, std::span(asked).subspan(i, 1)),
                std::vector<std::int32_t>{expected[i]});
    }
    EXPECT_GT(std::ranges::count(expected, 0), 50);
    EXPECT_LT(std::ranges::count(expected, 0), 350);
    EXPECT_TRUE(FindSubgroups(db, {}).empty());
  });
}

TEST_F(SubgroupsTest, AHotOneWithoutAMeasurementIsFound) {
  Import("part,process,test,subgroup,time,value\nP,R,T,1,2024-01-01,1\nP,R,T,2,2024-01-02,2\n");
  RunSql(Path(), "DELETE FROM measurement");
  const auto report = Import(
      "part,process,test,subgroup,time,value\nP,R,T,2,2024-01-02,1\nP,R,T,3,2024-01-03,2\n"
      "P,R,T2,1,2024-01-01,1\nP,R2,T,1,2024-01-01,1\nP,R,T,1,2024-01-02,1\n");
  EXPECT_EQ(report.subgroups, 3) << "one of another number, of another process, of another time";
  EXPECT_EQ(Data().Streams().size(), 3U);
  Opened()->ReadOrThrow([&](Connection& db) {
    const auto first = LastId(db, "stream") - 2;
    EXPECT_EQ(Walked(db, first, true).size(), 3U);
    EXPECT_EQ(Walked(db, first + 1, true).at(0).subgroup, 1) << "found without a measurement";
  });
}

// In a block without others and in the last one, which gets no others.
TEST_F(SubgroupsTest, SealedOnesWithoutMeasurementsAreFoundByTheirRows) {
  std::vector<std::int32_t> bare;
  Opened()->Write([&](Connection& db) { Add(db, 255); });
  Opened()->Write([&](Connection& db) {
    SubgroupWriter writer(db);
    for (std::int32_t id = 256; id < 556; ++id) {
      all_.push_back({id, 1, 1, id, "bare" + std::to_string(id)});
      writer.Add(all_.back().Facts());
      bare.push_back(id);
    }
    writer.Flush();
    SealWithRows(db, bare);
    EXPECT_EQ(SealedWithRows(db), bare);
    EXPECT_EQ(Blocks(db), 3);
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    EXPECT_EQ(Read(db, 300, 520), Expected(300, 520));
    EXPECT_EQ(LastId(db, "subgroup"), 767) << "nothing is added to a sealed block";
  });
  for (const int count : {1, 200, 600, 100, 300}) {
    Opened()->Write([&](Connection& db) {
      Add(db, count);
      EXPECT_EQ(SealedWithRows(db), bare);
      ASSERT_EQ(Read(db, 1, INT32_MAX), all_);
      std::vector<SubgroupFacts> asked;
      std::vector<std::int32_t> expected;
      for (std::size_t i = 0; i < all_.size(); i += 5) {
        asked.push_back(all_[i].Facts());
        expected.push_back(all_[i].id);
      }
      EXPECT_EQ(FindSubgroups(db, asked), expected);
    });
  }
  Opened()->Write([&](Connection& db) {
    EXPECT_GT(Blocks(db), 5) << "others are sealed as ever";
    EXPECT_LT(Query(db, "SELECT count(*) FROM subgroup").RunForInt(), 300 + 3 * 256);
    SealWithRows(db, {});
    EXPECT_EQ(SealedWithRows(db), bare);
  });
}

TEST_F(SubgroupsTest, HotOnesWithoutMeasurementsKeepTheirRowsWhenTheyAreSealed) {
  const std::vector<std::int32_t> bare = {201, 202};
  Opened()->Write([&](Connection& db) {
    Add(db, 200);
    SubgroupWriter writer(db);
    TakeIds(db, "subgroup", 2);
    for (const auto id : bare) {
      all_.push_back({id, 1, 1, id, "bare"});
      writer.Add(all_.back().Facts());
    }
    writer.Flush();
    EXPECT_EQ(HotWithoutMeasurements(db, 1000), bare);
    EXPECT_EQ(HotWithoutMeasurements(db, 202), std::vector<std::int32_t>{201});
    Add(db, 300);
    EXPECT_EQ(Blocks(db), 0);
  });
  Opened()->Write([&](Connection& db) {
    Add(db, 300);
    EXPECT_EQ(Blocks(db), 3);
    EXPECT_EQ(SealedWithRows(db), bare);
    EXPECT_EQ(Read(db, 1, INT32_MAX), all_);
    for (const auto id : bare) {
      const SubgroupFacts facts{0, 1, 1, id, "bare"};
      EXPECT_EQ(FindSubgroups(db, std::span(&facts, 1)).front(), id);
    }
  });
}

// Late subgroups all over ten years: twenty days, fifty subgroups on each.
TEST_F(SubgroupsTest, LateOnesReadOnlyTheChunksThatTheyBelongTo) {
  constexpr std::int32_t kStep = 8 * 3600, kStored = 10'950, kDays = 20, kOfDay = 50;
  std::int64_t chunks = 0;
  Opened()->Write([&](Connection& db) {
    const auto first = static_cast<std::int32_t>(TakeIds(db, "subgroup", kStored));
    SubgroupWriter writer(db);
    std::vector<StoredRecord> records;
    for (std::int32_t i = 0; i < kStored; ++i) {
      writer.Add({first + i, 1, 1, kStep * i, "n"});
      auto& record = records.emplace_back(NewRecord(random_, {kStep * i, first + i}));
      record.values.assign(100, 1.0);
      record.keys.clear();
      for (std::size_t row = 0; row < 100; ++row) record.keys.push_back(PlainKey(row));
      record.size = 100;
    }
    writer.Flush();
    WriteRecords(db, 1, records, 0);
    SealSubgroups(db);
    chunks = Count(db, "measurement_chunk", 1);
    ASSERT_GT(chunks, 800);
  });
  std::string text = "part,process,test,subgroup,time,value\n";
  std::vector<SubgroupFacts> asked;
  for (std::int32_t day = 0; day < kDays; ++day) {
    const auto start = kStep * (kStored / kDays * day + 2);
    asked.push_back({0, 1, 1, start, "n"});
    for (std::int32_t i = 0; i < kOfDay; ++i) {
      const auto time = start + 300 * i;
      asked.push_back({0, 1, 1, time, "late"});
      text += "part1,process1,test1,late," + platform::IsoText(time) + ",1\n";
    }
  }
  // A day lies in one chunk or two, each of which is looked for and read.
  Opened()->ReadOrThrow([&](Connection& db) {
    FailStep(12 * kDays);
    const auto found = FindSubgroups(db, asked);
    EXPECT_FALSE(FailStep(0));
    EXPECT_EQ(std::ranges::count(found, 0), kDays * kOfDay);
    for (std::size_t i = 0; i < found.size(); i += kOfDay + 1) EXPECT_NE(found[i], 0);
  });
  // Beside one at most for each new subgroup.
  FailStep(kDays * kOfDay + 20 * kDays);
  const auto report = Import(text);
  EXPECT_FALSE(FailStep(0));
  EXPECT_EQ(report.subgroups, kDays * kOfDay);
  EXPECT_EQ(ImportFailure(text).find("already stored") == std::string::npos, false);
  Opened()->ReadOrThrow([&](Connection& db) {
    ExpectSound(db);
    EXPECT_EQ(Walked(db, 1, true).size(), kStored + kDays * kOfDay);
  });
}

TEST_F(SubgroupsTest, ByteByByteDifferentLabelsAreDifferent) {
  Import(
      "part,process,test,subgroup,time,value\nP,R,T,a,2024-01-01,1\nP,R,T,A,2024-01-01,2\n"
      "P,R,T,\u00e9,2024-01-01,3\nP,R,T,e\u0301,2024-01-01,4\nP,R,T,aa,2024-01-01,5\n");
  const auto report = Import(
      "part,process,test,subgroup,time,value\nP,R,T2,A,2024-01-01,1\nP,R,T2,e\u0301,2024-01-01,2\n"
      "P,R,T2,E,2024-01-01,3\nP,R2,T2,a,2024-01-01,3\nP,R,T2,a,2024-01-02,3\n");
  EXPECT_EQ(report.subgroups, 3);
  EXPECT_NE(ImportFailure("part,process,test,subgroup,time,value\nP,R,T2,E,2024-01-01,1\n"), "");
}

// In lines that come back long after: the same in one batch as in many.
TEST_F(SubgroupsTest, AnImportInManyBatchesKnowsItsOwn) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (const char* test : {"T1", "T2"}) {
    for (int i = 0; i < 2000; ++i) {
      char time[32];
      std::snprintf(time, sizeof time, "2024-01-%02dT%02d:%02d:00", 1 + i % 28, i % 24, i % 60);
      text += std::string("P,R,") + test + ",L" + std::to_string(i) + "," + time + ",1\n";
    }
  }
  ImportOptions options;
  options.most_held = 37;
  EXPECT_EQ(Import(text, ImportKind::Values, options).subgroups, 2000);
  Opened()->ReadOrThrow([&](Connection& db) {
    ExpectSound(db);
    const auto all = Read(db, 1, INT32_MAX);
    ASSERT_EQ(all.size(), 2000U);
    std::set<std::string> labels;
    for (const auto& each : all) labels.insert(each.label);
    EXPECT_EQ(labels.size(), 2000U);
    EXPECT_GT(Blocks(db), 4);
  });
}

class DamagedBlock : public SubgroupsTest {
 protected:
  std::vector<std::byte> Good() {
    std::vector<std::byte> packed;
    Opened()->Write([&](Connection& db) {
      Add(db, 900);
      Query query(db, "SELECT packed FROM subgroup_block WHERE block = 1");
      ASSERT_TRUE(query.Step());
      packed.assign(query.Blob(0).begin(), query.Blob(0).end());
    });
    return packed;
  }
  static void Put(Connection& db, std::span<const std::byte> packed) {
    Query(db, "UPDATE subgroup_block SET packed = ?1 WHERE block = 1", packed).Run();
  }
  // What reading the block says; empty when it is whole.
  std::string Failure(Connection& db) {
    try {
      Read(db, 256, 511);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return {};
  }
};

TEST_F(DamagedBlock, AFlippedBitIsNoticedAndOtherBlocksStayReadable) {
  auto packed = Good();
  Opened()->Write([&](Connection& db) {
    ASSERT_EQ(Failure(db), "");
    for (std::size_t bit = 0; bit < packed.size() * 8; bit += bit < 8000 ? 1 : 97) {
      packed[bit / 8] ^= static_cast<std::byte>(1 << bit % 8);
      Put(db, packed);
      ASSERT_NE(Failure(db).find("from 256 on are damaged"), std::string::npos) << bit;
      packed[bit / 8] ^= static_cast<std::byte>(1 << bit % 8);
    }
    EXPECT_EQ(Read(db, 512, 900), Expected(512, 900));
    EXPECT_EQ(Read(db, 1, 255), Expected(1, 255));
    db.Execute("UPDATE subgroup_block SET packed = substr(packed, 1, 0) WHERE block = 1");
    EXPECT_NE(Failure(db), "");
    Put(db, packed);
    EXPECT_EQ(Failure(db), "");
  });
}

TEST_F(DamagedBlock, ThatOfAnotherNumberIsRefused) {
  Good();
  Opened()->Write([&](Connection& db) {
    db.Execute(
        "UPDATE subgroup_block SET packed = (SELECT packed FROM subgroup_block WHERE block = 0) "
        "WHERE block = 1");
    EXPECT_NE(Failure(db), "");
  });
}

TEST_F(DamagedBlock, OneThatIsGoneIsNoticedByWhoLooksForItsSubgroups) {
  Good();
  const auto& lost = all_[300];
  Opened()->Write([&](Connection& db) {
    EXPECT_EQ(FindSubgroups(db, std::vector{lost.Facts()}), std::vector{lost.id});
    db.Execute("UPDATE subgroup_block SET block = 1000 WHERE block = 1");
    EXPECT_THROW(FindSubgroups(db, std::vector{lost.Facts()}), std::runtime_error);
    EXPECT_THROW(Read(db, 1, INT32_MAX), std::runtime_error);
    db.Execute("DELETE FROM subgroup_block WHERE block = 1000");
    EXPECT_THROW(FindSubgroups(db, std::vector{lost.Facts()}), std::runtime_error);
  });
}

TEST_F(DamagedBlock, ForgedOnesWithAFittingChecksumAreRefusedOrReadToTheirEnd) {
  const auto good = Good();
  int whole = 0;
  Opened()->Write([&](Connection& db) {
    for (int i = 0; i < 5000; ++i) {
      auto packed = good;
      const auto size = static_cast<int>(packed.size());
      for (int change = 1 + Below(random_, 3); change > 0; --change) {
        auto& byte = packed[static_cast<std::size_t>(
            Below(random_, 2) == 0 ? Below(random_, std::min(size, 2600)) : Below(random_, size))];
        byte = Below(random_, 2) == 0 ? byte ^ static_cast<std::byte>(1 << Below(random_, 8))
                                      : static_cast<std::byte>(random_());
      }
      if (Below(random_, 8) == 0) packed.resize(static_cast<std::size_t>(Below(random_, size)));
      if (packed.size() >= 8) Reseal(packed, 1);
      Put(db, packed);
      whole += Failure(db).empty() ? 1 : 0;
    }
  });
  EXPECT_GT(whole, 500);
  EXPECT_LT(whole, 4500);
}

}  // namespace
}  // namespace orvspc::engine::store
