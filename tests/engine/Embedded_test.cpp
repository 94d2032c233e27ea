// SPDX-License-Identifier: Apache-2.0
#include "engine/Embedded.h"

#include <gtest/gtest.h>

#include <functional>

#include "platform/TimeStamp.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine {
using namespace sql;
using namespace catalogue;
using namespace store;
using namespace import;

namespace {

using platform::Cell;

std::int32_t NumberOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const platform::ExternalFailure& failure) {
    return failure.Number();
  }
  return 0;
}

class ForeignTable : public platform::SpecLim {
  void Let(std::string_view, const Cell&) override {}
  Cell Get(std::string_view) override { return 0; }
  void Add(platform::LimitTable&) override {}
  bool MoveFirst() override { return false; }
  bool MoveNext() override { return false; }
};

}  // namespace

TEST(EmbeddedPlatform, IsOneForTheProcess) {
  EXPECT_EQ(EmbeddedPlatform(), EmbeddedPlatform());
  InstallEmbedded();
  EXPECT_EQ(platform::Current(), EmbeddedPlatform());
  platform::Install(nullptr);
}

TEST(RowTable, AddTakesACopySoThatOneRowServesAll) {
  const auto platform = EmbeddedPlatform();
  const auto row = platform->MakeSpecLim(), table = platform->MakeSpecLim();
  EXPECT_FALSE(table->MoveFirst());
  EXPECT_FALSE(table->MoveNext());
  for (const double limit : {1.0, 2.0}) {
    row->Let("F_USL", limit);
    table->Add(*row);
  }
  EXPECT_EQ(table->Get("F_USL"), Cell(2.0)) << "stands on the new row";
  EXPECT_TRUE(table->MoveFirst());
  EXPECT_EQ(table->Get("F_USL"), Cell(1.0));
  EXPECT_EQ(table->Get("F_LSL"), Cell(0)) << "never given";
  EXPECT_TRUE(table->MoveNext());
  EXPECT_FALSE(table->MoveNext());
  EXPECT_EQ(table->Get("F_USL"), Cell(2.0)) << "the cursor stays";
  table->Let("F_USL", std::u16string(u"text"));
  EXPECT_EQ(row->Get("F_USL"), Cell(2.0));
}

TEST(RowTable, AddOfItselfDoublesTheRow) {
  const auto table = EmbeddedPlatform()->MakeCtrlLim();
  table->Let("F_MEAN", 3.0);
  table->Add(*table);
  table->Add(*table);
  EXPECT_EQ(table->Get("F_MEAN"), Cell(3.0));
}

TEST(RowTable, ATableOfAnotherKindDoesNotFit) {
  const auto platform = EmbeddedPlatform();
  const auto table = platform->MakeSpecLim();
  EXPECT_EQ(NumberOf([&] { table->Add(*platform->MakeDefOpp()); }), 13);
  ForeignTable foreign;
  EXPECT_EQ(NumberOf([&] { table->Add(foreign); }), 13);
}

TEST(ErrorLog, KeepsTheLatestHundred) {
  const auto log = EmbeddedPlatform()->MakeErrorLog("orvError6.Error");
  for (std::int32_t i = 0; i < 101; ++i) log->Log("Procedure", i, "Description", "Source", "Host");
  const auto failures = LoggedFailures();
  ASSERT_EQ(failures.size(), 100U);
  EXPECT_EQ(failures.front().number, 1);
  EXPECT_EQ(failures.back().number, 100);
  EXPECT_EQ(failures.back().procedure, "Procedure");
  EXPECT_EQ(failures.back().application, "Host");
}

TEST(Helpers, StampsAndFixedText) {
  const auto time = EmbeddedPlatform()->MakeTimeConversion();
  EXPECT_EQ(time->DateToTimeStamp(25570.0), 86400);
  EXPECT_EQ(time->TimeStampToDate(86400), 25570.0);
  std::u16string text = u"name  ";
  text.append({u'\0', u' ', u'\0'});
  EmbeddedPlatform()->MakeTextTrimmer()->TrimFixedString(text);
  EXPECT_EQ(text, u"name");
}

class Records : public testing::Test {
 protected:
  Records() : database_(OpenDatabase(folder_.Store("q.db"), true)) {
    WriteFile(folder_.File("in.csv"),
              "part,process,test,subgroup,time,value\nBolt,Lathe,Width,1,2024-01-01T00:00:00Z,1\n");
    ImportCsv(folder_.File("in.csv"), *database_, ImportKind::Values);
  }
  std::string NameOf(platform::NameRecordKind kind, std::int32_t id) {
    const auto record = EmbeddedPlatform()->MakeNameRecord(kind);
    record->KeyMode(1);
    record->ID(id);
    return record->Read(database_, 0) ? record->Name() : "(none)";
  }
  // A requirement, and two processes with states at seconds of 1970.
  void FillStates() {
    RunSql(folder_.Store("q.db"),
           "INSERT INTO requirement(id, name, process, test, kind, n, who, made) "
           "VALUES(1, 'Hourly', 1, 1, 'interval', 1, 'test', 0);"
           "INSERT INTO process(id, name) VALUES(2, 'Mill');"
           "INSERT INTO state_code(id, name, type) VALUES(1, 'Run', 2000), (2, 'Idle', 5000);"
           "INSERT INTO state_log(process, time, state_code) VALUES"
           "(1, 1000, 1), (1, 2000, 2), (1, 3000, 1), (2, 1500, 2);");
  }
  using Stamps = std::vector<std::int32_t>;
  Stamps Times(platform::PrcsStateLog& log, std::int32_t process, std::int32_t time,
               std::int32_t query) {
    log.ProcessID(process);
    log.KeyMode(1);
    log.Time(platform::TimeStampToDate(time));
    log.QueryType(query);
    Stamps times;
    if (!log.Read(database_, 0)) return times;
    do {
      times.push_back(platform::DateToTimeStamp(log.Time()));
    } while (log.MoveNext());
    return times;
  }

  TemporaryFolder folder_;
  std::shared_ptr<EmbeddedDatabase> database_;
};

TEST_F(Records, RulesOfTheDatabaseInTheirOrder) {
  const auto rules = EmbeddedPlatform()->MakeRuleDef();
  EXPECT_FALSE(rules->MoveFirst());
  rules->FirstSetting(100);
  rules->SecondSetting(256);
  ASSERT_TRUE(rules->Read(database_, 0));
  ASSERT_TRUE(rules->MoveFirst());
  EXPECT_EQ(rules->Number(), 1);
  EXPECT_FALSE(rules->Text().empty());
  std::size_t count = 1;
  while (rules->MoveNext()) ++count;
  EXPECT_EQ(count, StoreOf(database_->ConnectionHandle())->Rules().size());

  const auto picked = EmbeddedPlatform()->MakeRuleDef();
  picked->Add(*rules);
  ASSERT_TRUE(picked->MoveFirst());
  EXPECT_EQ(picked->Number(), rules->Number()) << "the current rule of the other list";
  EXPECT_EQ(picked->Text(), rules->Text());
  EXPECT_FALSE(picked->MoveNext());
}

TEST_F(Records, RulesOfNoDatabase) {
  const auto rules = EmbeddedPlatform()->MakeRuleDef();
  EXPECT_EQ(NumberOf([&] { rules->Read(nullptr, 0); }), 91);
  EXPECT_EQ(rules->Number(), 0);
  EXPECT_EQ(rules->Text(), "");
}

TEST_F(Records, NamesByIdentifier) {
  using enum platform::NameRecordKind;
  EXPECT_EQ(NameOf(Part, 1), "Bolt");
  EXPECT_EQ(NameOf(Process, 1), "Lathe");
  EXPECT_EQ(NameOf(platform::NameRecordKind::Test, 1), "Width");
  EXPECT_EQ(NameOf(Part, 99), "(none)");
  EXPECT_EQ(NameOf(SmplReq, 1), "(none)");
  EXPECT_EQ(NameOf(State, 1), "(none)");
  FillStates();
  EXPECT_EQ(NameOf(SmplReq, 1), "Hourly");
  EXPECT_EQ(NameOf(State, 2), "Idle");
}

TEST_F(Records, StatesFromATimeOnOfOneProcess) {
  FillStates();
  const auto log = EmbeddedPlatform()->MakePrcsStateLog();
  EXPECT_EQ(Times(*log, 1, 2000, platform::PrcsStateLog::kForward), (Stamps{2000, 3000}));
  EXPECT_EQ(Times(*log, 1, 2001, platform::PrcsStateLog::kForward), (Stamps{3000}));
  EXPECT_EQ(Times(*log, 2, 0, platform::PrcsStateLog::kForward), (Stamps{1500}));
  EXPECT_EQ(Times(*log, 0, 0, platform::PrcsStateLog::kForward), Stamps{}) << "0 is no process";
  EXPECT_EQ(Times(*log, 7, 0, platform::PrcsStateLog::kForward), Stamps{});
  log->RowLimit(2);
  TakeNotes();
  EXPECT_EQ(Times(*log, 1, 0, platform::PrcsStateLog::kForward), (Stamps{1000, 2000}));
  const auto notes = TakeNotes();
  ASSERT_EQ(notes.size(), 1u);
  EXPECT_EQ(notes[0].code, "states-cut");
  EXPECT_EQ(Times(*log, 1, 2000, platform::PrcsStateLog::kForward), (Stamps{2000, 3000}));
  EXPECT_TRUE(TakeNotes().empty()) << "nothing is missing";
}

TEST_F(Records, TheLatestStateBeforeATimeOfAnyProcess) {
  FillStates();
  const auto log = EmbeddedPlatform()->MakePrcsStateLog();
  EXPECT_EQ(Times(*log, 1, 2000, platform::PrcsStateLog::kLatestBefore), (Stamps{1500}));
  EXPECT_EQ(Times(*log, 1, 1000, platform::PrcsStateLog::kLatestBefore), Stamps{});
  EXPECT_EQ(Times(*log, 1, 9000, 1), Stamps{}) << "an unknown read finds nothing";
}

TEST_F(Records, AStateLogHasItsRecordsAndKeepsCopies) {
  FillStates();
  const auto log = EmbeddedPlatform()->MakePrcsStateLog();
  const auto kept = EmbeddedPlatform()->MakePrcsStateLog();
  EXPECT_FALSE(kept->MoveFirst());
  EXPECT_EQ(kept->StateName(), "");
  log->QueryType(platform::PrcsStateLog::kForward);
  log->ProcessID(1);
  ASSERT_TRUE(log->Read(database_, 0));
  kept->Add(*log);
  ASSERT_TRUE(log->MoveNext());
  kept->Add(*log);
  ASSERT_TRUE(kept->MoveFirst());
  EXPECT_EQ(kept->StateName(), "Run");
  EXPECT_EQ(kept->StateType(), pst_Run);
  EXPECT_EQ(kept->StateID(), 1);
  EXPECT_EQ(kept->Process(), 1);
  ASSERT_TRUE(kept->MoveNext());
  EXPECT_EQ(kept->StateName(), "Idle");
  EXPECT_FALSE(kept->MoveNext());
  EXPECT_EQ(NumberOf([&] { log->Read(nullptr, 0); }), 91);
}

TEST_F(Records, NamesAsAList) {
  const auto record = EmbeddedPlatform()->MakeNameRecord(platform::NameRecordKind::Part);
  const auto list = EmbeddedPlatform()->MakeNameRecord(platform::NameRecordKind::Part);
  record->ID(1);
  ASSERT_TRUE(record->Read(database_, 0));
  EXPECT_FALSE(list->MoveFirst());
  list->Add(*record);
  record->ID(7);
  list->Add(*record);
  ASSERT_TRUE(list->MoveFirst());
  EXPECT_EQ(list->ID(), 1);
  EXPECT_EQ(list->Name(), "Bolt");
  EXPECT_TRUE(list->MoveNext());
  EXPECT_EQ(list->ID(), 7);
  EXPECT_FALSE(list->MoveNext());
}

}  // namespace orvspc::engine
