// SPDX-License-Identifier: Apache-2.0
#include "engine/write/log/Reading.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "engine/write/log/Json.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::log {
namespace {

using store::FailureOf;
using store::OpenAnother;
using store::RunSql;
using store::StoreTest;

class LogReadingTest : public StoreTest {
 protected:
  void AddSome(int count) {
    Opened()->Write({"Ann", "gauge 7"}, "trial run", [&](Writing& writing) {
      for (int i = 1; i <= count; ++i) {
        writing.Add(i % 2 == 0 ? "edit-flag" : "limit",
                    i % 2 == 0 ? "subgroup " + std::to_string(i) + " test 1" : "limit 1",
                    R"({"a":1})", R"({"a":2})");
      }
    });
  }
  LogCheck Check() {
    LogCheck check;
    Opened()->ReadOrThrow([&](sql::Connection& db) { check = CheckChain(db); });
    return check;
  }
  std::vector<Entry> Entries(const LogFilter& filter = {}) {
    std::vector<Entry> entries;
    Opened()->ReadOrThrow([&](sql::Connection& db) { entries = ReadEntries(db, filter); });
    return entries;
  }
  LogCheck CheckWith(const std::string& anchors) {
    LogCheck check;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      check = CheckChain(db);
      compared_ = CheckAnchors(db, anchors, "anchors", check);
    });
    return check;
  }
  std::string Anchor() {
    std::string text;
    Opened()->ReadOrThrow([&](sql::Connection& db) { text = AnchorText(ReadHead(db)) + "\n"; });
    return text;
  }

  std::int64_t compared_ = 0;
};

TEST_F(LogReadingTest, ALogThatNobodyTouchedIsWhole) {
  AddSome(5);
  const auto check = Check();
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(check.entries, 6);
  EXPECT_EQ(check.head.seq, 6);
  EXPECT_EQ(check.head.hash, Entries().back().hash);
}

TEST_F(LogReadingTest, EachByteThatIsChangedIsFound) {
  AddSome(3);
  const auto entries = Entries();
  const auto db = OpenAnother(Path());
  const sql::Transaction undone(*db, sql::TransactionKind::Write);
  db->KeepAppendOnly("log", "seq", false);
  static constexpr std::pair<const char*, std::string Entry::*> kColumns[] = {
      {"UPDATE log SET who = ?2 WHERE seq = ?1", &Entry::who},
      {"UPDATE log SET system = ?2 WHERE seq = ?1", &Entry::system},
      {"UPDATE log SET station = ?2 WHERE seq = ?1", &Entry::station},
      {"UPDATE log SET operation = ?2 WHERE seq = ?1", &Entry::operation},
      {"UPDATE log SET object = ?2 WHERE seq = ?1", &Entry::object},
      {"UPDATE log SET before = ?2 WHERE seq = ?1", &Entry::before},
      {"UPDATE log SET after = ?2 WHERE seq = ?1", &Entry::after},
      {"UPDATE log SET reason = ?2 WHERE seq = ?1", &Entry::reason},
      {"UPDATE log SET program = ?2 WHERE seq = ?1", &Entry::program},
      {"UPDATE log SET hash = ?2 WHERE seq = ?1", &Entry::hash}};
  int changes = 0;
  for (const auto& entry : entries) {
    for (const auto& [text, member] : kColumns) {
      const auto set = [&, statement = text](const std::string& value) {
        sql::Query(*db, statement, entry.seq, value).Run();
      };
      for (std::size_t at = 0; at < (entry.*member).size(); ++at) {
        auto changed = entry.*member;
        changed[at] = static_cast<char>(changed[at] ^ 1);
        set(changed);
        EXPECT_FALSE(CheckChain(*db).finds.empty()) << entry.seq << " " << text << " " << at;
        ++changes;
      }
      set(entry.*member);
    }
    sql::Query(*db, "UPDATE log SET at = at + 1 WHERE seq = ?1", entry.seq).Run();
    EXPECT_FALSE(CheckChain(*db).finds.empty()) << entry.seq;
    sql::Query(*db, "UPDATE log SET at = at - 1 WHERE seq = ?1", entry.seq).Run();
  }
  EXPECT_GT(changes, 500);
  EXPECT_TRUE(CheckChain(*db).finds.empty());
}

TEST_F(LogReadingTest, TenThousandRandomEntriesAreOneChain) {
  std::mt19937 random(7);
  const auto text = [&] {
    std::string any;
    for (auto length = random() % 40; length > 0; --length) {
      any += static_cast<char>(' ' + random() % 90);
    }
    return any;
  };
  Db();
  for (int transaction = 0; transaction < 10; ++transaction) {
    Opened()->Write({text() + "x", text()}, "", [&](Writing& writing) {
      for (int i = 0; i < 1000; ++i) writing.Add(text(), text(), text(), text());
    });
  }
  const auto check = Check();
  EXPECT_EQ(check.entries, 10'001);
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  RunSql(Path(), "UPDATE log SET object = object || 'x' WHERE seq = 7001");
  const auto changed = Check();
  ASSERT_EQ(changed.finds.size(), 1U);
  EXPECT_EQ(changed.finds[0], "entry 7001 does not fit the one before it");
}

TEST_F(LogReadingTest, AnEntryThatIsLeftOutIsFound) {
  AddSome(4);
  RunSql(Path(), "DELETE FROM log WHERE seq = 3");
  const auto check = Check();
  ASSERT_EQ(check.finds.size(), 1U);
  EXPECT_EQ(check.finds[0], "entry 4 follows entry 2");
  RunSql(Path(), "DELETE FROM log WHERE seq = 1");
  EXPECT_EQ(Check().finds[0], "entry 2 is the first one");
  RunSql(Path(), "DELETE FROM log");
  EXPECT_EQ(Check().finds[0], "there are no entries");
}

// Nothing in the file says that there was more: that is what anchors are for.
TEST_F(LogReadingTest, ALogThatWasCutIsFoundByAnAnchorAlone) {
  AddSome(4);
  const auto anchors = Anchor();
  EXPECT_TRUE(CheckWith(anchors).finds.empty());
  EXPECT_EQ(compared_, 1);
  RunSql(Path(), "DELETE FROM log WHERE seq > 3");
  EXPECT_TRUE(Check().finds.empty());
  const auto check = CheckWith(anchors);
  ASSERT_EQ(check.finds.size(), 1U);
  EXPECT_EQ(check.finds[0], "anchors line 1: entry 5 is missing; the log ends with entry 3");
}

// By somebody who works every hash out anew.
TEST_F(LogReadingTest, ALogThatWasWrittenAnewIsFoundByAnAnchorAlone) {
  AddSome(4);
  const auto anchors = Anchor();
  auto entries = Entries();
  entries[2].reason = "another reason";
  std::string before = entries[1].hash, change;
  for (std::size_t i = 2; i < entries.size(); ++i) {
    before = entries[i].hash = HashOf(entries[i], before);
    change += "UPDATE log SET reason = '" + entries[i].reason + "', hash = '" + before +
              "' WHERE seq = " + std::to_string(entries[i].seq) + ";";
  }
  RunSql(Path(), change);
  EXPECT_TRUE(Check().finds.empty());
  const auto check = CheckWith(anchors);
  ASSERT_EQ(check.finds.size(), 1U);
  EXPECT_EQ(check.finds[0], "anchors line 1: entry 5 has another hash than it had then");
}

TEST_F(LogReadingTest, AnchorsOfOtherDatabasesArePassedOver) {
  AddSome(1);
  const auto others = "2c4f8a70-1111-4222-8333-444455556666 9 aa 2024-01-01T00:00:00\n\n";
  const auto check = CheckWith(others + Anchor());
  EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  EXPECT_EQ(compared_, 1);
  EXPECT_EQ(CheckWith("what is this\n").finds[0], "anchors line 1 is no anchor");
}

TEST_F(LogReadingTest, TheLogOfAnotherDatabaseIsFound) {
  AddSome(1);
  RunSql(Path(), "UPDATE identity SET uuid = '2c4f8a70-1111-4222-8333-444455556666'");
  const auto check = Check();
  ASSERT_EQ(check.finds.size(), 1U);
  EXPECT_NE(check.finds[0].find("and this is 2c4f8a70"), std::string::npos) << check.finds[0];
}

TEST_F(LogReadingTest, EntriesAreOnlyAdded) {
  AddSome(2);
  const auto db = OpenAnother(Path());
  const std::string values = "0, 'a', 'b', '', 'd', 'e', '', '', '', 'p', 'h')";
  std::vector<std::string> texts = {
      "UPDATE log SET reason = 'x' WHERE seq = 2", "DELETE FROM log WHERE seq = 3",
      "INSERT INTO log VALUES(5, " + values, "INSERT INTO log VALUES(0, " + values,
      "INSERT INTO log VALUES(2, " + values + " ON CONFLICT(seq) DO UPDATE SET reason = 'x'"};
  if (tests::OnServer()) {
    texts.push_back("TRUNCATE log");
  } else {
    texts.push_back("INSERT OR REPLACE INTO log VALUES(2, " + values);
    texts.push_back("REPLACE INTO log VALUES(3, " + values);
  }
  for (const auto& text : texts) {
    EXPECT_THROW(db->Execute(text), sql::SqlError) << text;
    EXPECT_TRUE(Check().finds.empty()) << text;
  }
  EXPECT_NO_THROW(db->Execute("INSERT INTO log VALUES(4, " + values));
  EXPECT_EQ(Check().finds[0], "entry 4 does not fit the one before it");
}

TEST_F(LogReadingTest, FiltersTakeWhatFits) {
  AddSome(12);
  Opened()->Write({"Bob", ""}, "",
                  [](Writing& writing) { writing.Add("limit", "limit 10", "", ""); });
  const auto seqs = [&](const LogFilter& filter) {
    std::vector<std::int64_t> all;
    for (const auto& each : Entries(filter)) all.push_back(each.seq);
    return all;
  };
  using Seqs = std::vector<std::int64_t>;
  EXPECT_EQ(seqs({}).size(), 14U);
  EXPECT_EQ(seqs({.object = "limit 1"}), (Seqs{2, 4, 6, 8, 10, 12}));
  EXPECT_EQ(seqs({.object = "subgroup 1"}), Seqs());
  EXPECT_EQ(seqs({.object = "subgroup 10"}), Seqs{11});
  EXPECT_EQ(seqs({.by = "Bob"}), Seqs{14});
  EXPECT_EQ(seqs({.operation = "edit-flag", .max = 2}), (Seqs{11, 13}));
  const auto now = Entries().front().at / 1000;
  EXPECT_EQ(seqs({.until = now - 100}), Seqs());
  EXPECT_EQ(seqs({.since = now - 100}).size(), 14U);
  EXPECT_EQ(seqs({.since = now + 1000}), Seqs());
}

}  // namespace
}  // namespace orvspc::engine::log
