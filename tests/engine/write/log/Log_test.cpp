// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Log.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "engine/schema/schema.h"
#include "engine/write/log/Json.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::log {
namespace {

using catalogue::ItemKind;
using store::RunSql;
using store::StoreTest;

class LogTest : public StoreTest {
 protected:
  void Write(const Actor& actor, const std::string& reason,
             const std::function<void(Writing&)>& work) {
    Opened()->Write(actor, reason, work);
  }
  std::vector<Entry> Entries() {
    std::vector<Entry> entries;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      entries = sql::Query(db,
                           "SELECT seq, at, who, system, station, operation, object, before, "
                           "after, reason, program, hash FROM log ORDER BY seq")
                    .All<Entry>(&Entry::seq, &Entry::at, &Entry::who, &Entry::system,
                                &Entry::station, &Entry::operation, &Entry::object, &Entry::before,
                                &Entry::after, &Entry::reason, &Entry::program, &Entry::hash);
    });
    return entries;
  }
  std::string CodeOf(const std::function<void()>& work) {
    try {
      work();
    } catch (const Refused& refused) {
      return refused.code;
    }
    return {};
  }
};

TEST_F(LogTest, ANewDatabaseBeginsWithWhoItIs) {
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].seq, 1);
  EXPECT_EQ(entries[0].operation, "database");
  const auto after = ReadJson(entries[0].after);
  EXPECT_EQ(after["schema"], schema::kSchemaVersion);
  EXPECT_FALSE(after.contains("digest"));
  const auto uuid = after["uuid"].get<std::string>();
  EXPECT_EQ(uuid.size(), 36U);
  EXPECT_EQ(uuid[14], '4');
  Opened()->ReadOrThrow([&](sql::Connection& db) { EXPECT_EQ(IdentityOf(db), uuid); });
}

TEST_F(LogTest, EachEntryCarriesTheHashOfAllBefore) {
  Db();
  for (int i = 0; i < 3; ++i) {
    Write({"Ann", "gauge 7"}, "trial run", [&](Writing& writing) {
      EXPECT_EQ(writing.Next(), 2 * i + 2);
      EXPECT_EQ(writing.Add("trial", "limit 1", "", R"({"a":1})"), 2 * i + 2);
      writing.Add("trial", "limit 2", R"({"a":1})", "");
    });
  }
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 7U);
  std::string before;
  std::int64_t at = 0;
  for (const auto& entry : entries) {
    EXPECT_EQ(entry.hash, HashOf(entry, before)) << entry.seq;
    EXPECT_GE(entry.at, at);
    before = entry.hash;
    at = entry.at;
  }
  EXPECT_EQ(entries[6].who, "Ann");
  EXPECT_EQ(entries[6].station, "gauge 7");
  EXPECT_EQ(entries[6].reason, "trial run");
  EXPECT_NE(entries[6].system.find('@'), std::string::npos);
  EXPECT_EQ(entries[6].program.rfind("orvSPCAnalysis6 ", 0), 0U);
}

TEST_F(LogTest, EveryColumnIsInTheHash) {
  Entry entry{2, 5, "a", "b", "c", "d", "e", "f", "g", "h", "i", ""};
  const auto hash = HashOf(entry, "00");
  EXPECT_NE(HashOf(entry, "01"), hash);
  for (const auto column :
       {&Entry::who, &Entry::system, &Entry::station, &Entry::operation, &Entry::object,
        &Entry::before, &Entry::after, &Entry::reason, &Entry::program}) {
    auto changed = entry;
    changed.*column += "x";
    EXPECT_NE(HashOf(changed, "00"), hash);
  }
  auto later = entry;
  later.at = 6;
  EXPECT_NE(HashOf(later, "00"), hash);
  later = entry;
  later.seq = 3;
  EXPECT_NE(HashOf(later, "00"), hash);
  // What moves from a column to its neighbour is another entry.
  auto moved = entry;
  moved.who = "ab";
  moved.system = "";
  EXPECT_NE(HashOf(moved, "00"), hash);
}

TEST_F(LogTest, TimesNeverGoBack) {
  Db();
  RunSql(Path(), "UPDATE log SET at = 4102444800000");
  Write({}, "", [](Writing& writing) { writing.Add("trial", "limit 1", "", R"({"a":1})"); });
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[1].at, 4102444800000);
  EXPECT_EQ(entries[1].after, R"({"a":1,"clock":1})");
}

TEST_F(LogTest, AWriteThatFailsLeavesNoEntry) {
  Db();
  EXPECT_THROW(Write({}, "",
                     [](Writing& writing) {
                       writing.Add("trial", "limit 1", "", "");
                       throw std::runtime_error("stop");
                     }),
               std::runtime_error);
  EXPECT_EQ(Entries().size(), 1U);
}

TEST_F(LogTest, WhoCanBeRequired) {
  Data().Set("require_by", "yes", {"Ann", ""});
  EXPECT_EQ(CodeOf([&] { Data().Set("time_zone", "UTC"); }), "by");
  Data().Set("time_zone", "+01:00", {"Bob", ""});
  const auto entries = Entries();
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[2].who, "Bob");
  EXPECT_EQ(entries[2].object, "setting time_zone");
  EXPECT_EQ(entries[2].before, "");
  EXPECT_EQ(entries[2].after, R"({"value":"+01:00"})");
}

TEST_F(LogTest, AReasonHasThreeToFiveHundredCharacters) {
  Db();
  const auto with = [&](const std::string& reason) {
    return CodeOf([&] { Write({}, reason, [](Writing& writing) { writing.NeedReason(); }); });
  };
  EXPECT_EQ(with(""), "reason");
  EXPECT_EQ(with("ab"), "reason");
  EXPECT_EQ(with("abc"), "");
  EXPECT_EQ(with("\xC3\xA4\xC3\xB6\xC3\xBC"), "") << "three characters of two bytes";
  EXPECT_EQ(with(std::string(500, 'x')), "");
  EXPECT_EQ(with(std::string(501, 'x')), "reason");
}

TEST_F(LogTest, WhoDoesItBecomesAnEmployeeOnce) {
  Db();
  std::int32_t id = 0;
  Write({"Ann", ""}, "", [&](Writing& writing) {
    id = writing.Employee();
    EXPECT_EQ(writing.Employee(), id);
  });
  Write({"Ann", ""}, "", [&](Writing& writing) { EXPECT_EQ(writing.Employee(), id); });
  EXPECT_EQ(Id(ItemKind::Employee, "Ann"), id);
}

TEST(CanonicalJson, HasOneTextForAContent) {
  EXPECT_EQ(CanonicalText({{"b", Number(74.0)}, {"a", Number(0.1)}}), R"({"b":74,"a":0.1})");
  EXPECT_EQ(CanonicalText({{"v", Number(1e300)}, {"w", Number(-0.0)}}), R"({"v":1e+300,"w":-0.0})");
  EXPECT_EQ(CanonicalText({{"t", "\xC3\xA4\n\"/"}}), "{\"t\":\"\xC3\xA4\\n\\\"/\"}");
  EXPECT_EQ(CanonicalText(nullptr), "");
  EXPECT_EQ(ReadJson(R"({"a": 1.5})")["a"].get<double>(), 1.5);
  EXPECT_TRUE(ReadJson("").is_null());
  EXPECT_THROW(ReadJson("{"), std::runtime_error);
}

TEST(CanonicalJson, IsTheSameWrittenAsText) {
  const auto number = [](double value) {
    std::string text;
    AppendNumber(text, value);
    return text;
  };
  std::mt19937_64 random(20240917);
  for (int i = 0; i < 20'000; ++i) {
    const auto bits = random();
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    if (i % 2 == 0) value = static_cast<double>(random() % 100'000'000) / 10'000;
    if (!std::isfinite(value)) continue;
    ASSERT_EQ(number(value), CanonicalText(Number(value)));
  }
  for (const double value :
       {0.0, -0.0, 1e-5, 1e-4, 1e15, 1e16, 9007199254740993.0, -74.0, 5e-324}) {
    EXPECT_EQ(number(value), CanonicalText(Number(value)));
  }
  for (const std::string text :
       {"", "Press A", "a\"b\\c/", "\xC3\xA4\n", "\x7F", "\xFF is no UTF-8", "\x01"}) {
    std::string written = "before ";
    AppendText(written, text);
    EXPECT_EQ(written, "before " + CanonicalText(text));
  }
}

}  // namespace
}  // namespace orvspc::engine::log
