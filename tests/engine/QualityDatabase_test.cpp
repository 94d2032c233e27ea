// SPDX-License-Identifier: Apache-2.0
#include "engine/QualityDatabase.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

#include "engine/time/calendar.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/watched_device.h"

namespace orvspc::engine {
namespace {

using store::FailureOf;
using store::WriteFile;

constexpr const char* kValues =
    "part,process,test,subgroup,time,value,lot,descriptor:colour\n"
    "Shaft,Lathe,Width,7,1970-01-01T00:01:40Z,10,L1,red\n"
    "Shaft,Lathe,Width,7,1970-01-01T00:01:40Z,12,L1,red\n"
    "Shaft,Lathe,Width,8,1970-01-01T00:03:20Z,11,L2,blue\n"
    "Shaft,Mill,Length,9,1970-01-01T00:05:00Z,50,L2,blue\n"
    "Bolt,Lathe,Width,1,1970-01-01T00:06:40Z,3,,\n";

class QualityDatabaseTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.Store("q.db"); }
  std::string CsvFile(const std::string& text) const {
    WriteFile(folder_.File("in.csv"), text);
    return folder_.File("in.csv");
  }
  void Import(const std::string& text, ImportKind kind) {
    if (!data_) {
      data_ = QualityDatabase::Create(Path(), [&](QualityDatabase& database) {
        database.Import(CsvFile(kValues), ImportKind::Values);
      });
    }
    data_->Import(CsvFile(text), kind);
  }
  QualityDatabase& Data() {
    if (!data_) Import("part,factor\nShaft,2.5\n", ImportKind::Parts);
    return *data_;
  }
  std::int32_t Id(ItemKind kind, std::string_view name) {
    return Data().Find(kind, name).value_or(-1);
  }
  StreamKey Stream(std::string_view part, std::string_view process, std::string_view test) {
    return {Id(ItemKind::Part, part), Id(ItemKind::Process, process), Id(ItemKind::Test, test)};
  }
  // The folder's files, in order.
  std::set<std::string> Files() const {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(folder_.File("q.db")).parent_path())) {
      files.insert(entry.path().filename().string());
    }
    return files;
  }

  store::TemporaryFolder folder_;
  std::optional<QualityDatabase> data_;
};

std::string TextOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

using FileSet = std::set<std::string>;

// A file's text as SQLite sees it: its count of rows, then what integrity_check says.
std::string Examined(const std::string& path) {
  sqlite3* const db = store::OpenBare(path);
  std::string text;
  const auto add = [](void* out, int, char** values, char**) {
    static_cast<std::string*>(out)->append(values[0]).append(" ");
    return 0;
  };
  for (const char* sql : {"SELECT count(*) FROM measurement", "PRAGMA integrity_check"}) {
    if (sqlite3_exec(db, sql, add, &text, nullptr) != SQLITE_OK) text += sqlite3_errmsg(db);
  }
  sqlite3_close(db);
  return text;
}

// Lots of subgroups of one value.
std::string ManyValues(int subgroups) {
  std::string text = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < subgroups; ++i) {
    const std::string number = std::to_string(1000 + i);
    text += "Shaft,Lathe,Width,subgroup number " + number + ",2024-01-0" +
            std::to_string(1 + i % 9) + "T00:00:00Z," + number + "\n";
  }
  return text;
}

}  // namespace

// --- Finding and listing -------------------------------------------------------------------------

TEST_F(QualityDatabaseTest, FindsByNameAndNamesByIdentifier) {
  const auto shaft = Id(ItemKind::Part, "Shaft");
  EXPECT_EQ(Data().Name(ItemKind::Part, shaft), "Shaft");
  EXPECT_FALSE(Data().Find(ItemKind::Part, "shaft")) << "names are exact";
  EXPECT_FALSE(Data().Find(ItemKind::Process, "Shaft")) << "of another kind";
  EXPECT_EQ(Data().Name(ItemKind::Part, 99), "");
  const auto colour = Data().FindDescriptorGroup("colour");
  ASSERT_TRUE(colour);
  const auto blue = Data().FindDescriptor(*colour, "blue");
  ASSERT_TRUE(blue);
  EXPECT_FALSE(Data().FindDescriptor(*colour, "green"));
  EXPECT_FALSE(Data().FindDescriptor(*colour + 1, "blue"));
  const auto descriptors = Data().Descriptors();
  ASSERT_EQ(descriptors.size(), 2U);
  EXPECT_EQ(descriptors[0].name, "blue");
  EXPECT_EQ(descriptors[0].id, *blue);
  EXPECT_EQ(descriptors[0].group_name, "colour");
  EXPECT_EQ(Data().SubgroupLabel(1), "7");
  EXPECT_EQ(Data().SubgroupLabel(99), "");
}

TEST_F(QualityDatabaseTest, CountsItemsAndStreamsWithTheirTimes) {
  const auto tests = Data().CountedItems(ItemKind::Test);
  ASSERT_EQ(tests.size(), 2U);
  EXPECT_EQ(tests[0].name, "Length");
  EXPECT_EQ(tests[1].name, "Width");
  EXPECT_EQ(tests[1].subgroups, 3);
  EXPECT_EQ(tests[1].first, 100);
  EXPECT_EQ(tests[1].last, 400);
  EXPECT_EQ(tests[1].type, ttVariable);
  const auto streams = Data().Streams();
  ASSERT_EQ(streams.size(), 3U);
  const auto shaft =
      std::ranges::find(streams, Stream("Shaft", "Lathe", "Width"),
                        [](const ListedStream& each) -> const StreamKey& { return each; });
  ASSERT_NE(shaft, streams.end());
  EXPECT_EQ(shaft->subgroups, 2);
  EXPECT_EQ(shaft->first, 100);
  EXPECT_EQ(shaft->last, 200);
  EXPECT_EQ(shaft->test_type, ttVariable);
}

TEST_F(QualityDatabaseTest, CodesAndPartsShowTextWeightAndType) {
  Import("code,name,factor\nD1,Scratch,2\nD2,,1\n", ImportKind::Defects);
  Import("code,name,type\nRUN,running,run\n", ImportKind::StateCodes);
  const auto defects = Data().Items(ItemKind::Defect);
  ASSERT_EQ(defects.size(), 2U);
  EXPECT_EQ(defects[0].name, "D1");
  EXPECT_EQ(defects[0].text, "Scratch");
  EXPECT_EQ(defects[0].factor, 2.0);
  EXPECT_EQ(defects[1].text, "");
  const auto states = Data().Items(ItemKind::StateCode);
  ASSERT_EQ(states.size(), 1U);
  EXPECT_EQ(states[0].type, pst_Run);
  Import("part,factor\nShaft,2.5\n", ImportKind::Parts);
  EXPECT_EQ(Data().Items(ItemKind::Part)[0].factor, 2.5);
}

TEST_F(QualityDatabaseTest, GroupsByNameAndRuleSets) {
  Import("kind,group,name\npart,round,Shaft\npart,round,Bolt\npart,a few,Bolt\n",
         ImportKind::Groups);
  const auto groups = Data().Groups(ItemKind::Part);
  ASSERT_EQ(groups.size(), 2U);
  EXPECT_EQ(groups[0].name, "a few");
  EXPECT_EQ(groups[1].members.size(), 2U);
  EXPECT_EQ(Data().FindGroup(ItemKind::Part, "round"), groups[1].id);
  EXPECT_FALSE(Data().FindGroup(ItemKind::Test, "round"));
  const auto sets = Data().RuleSets();
  const auto aiag = std::ranges::find(sets, "aiag", &RuleSet::name);
  ASSERT_NE(aiag, sets.end());
  EXPECT_EQ(aiag->numbers, (std::vector<std::int32_t>{1, 3, 4, 5, 6, 7, 8, 10}));
  EXPECT_NE(FailureOf([&] { Data().UseRuleSet("nobody's"); }), "");
}

TEST_F(QualityDatabaseTest, TheStateBeforeATimeIsTheLatestRecordOfTheProcess) {
  Import("code,type\nRUN,run\nIDLE,idle\n", ImportKind::StateCodes);
  Import(
      "process,time,state\nLathe,1970-01-01T00:10:00Z,RUN\nLathe,1970-01-01T00:20:00Z,IDLE\n"
      "Mill,1970-01-01T00:15:00Z,IDLE\n",
      ImportKind::States);
  const auto lathe = Id(ItemKind::Process, "Lathe");
  EXPECT_FALSE(Data().StateBefore(lathe, 600)) << "a record of that very time is not before it";
  const auto state = Data().StateBefore(lathe, 1200);
  ASSERT_TRUE(state);
  EXPECT_EQ(state->name, "RUN");
  EXPECT_EQ(state->type, pst_Run);
  EXPECT_EQ(state->since, 600);
  EXPECT_EQ(state->process, lathe);
  EXPECT_EQ(Data().StateBefore(lathe, INT64_MAX)->since, 1200);
  EXPECT_FALSE(Data().StateBefore(0, 5000)) << "no process is not every process";
}

TEST_F(QualityDatabaseTest, TheStatesBetweenTwoTimesAreThoseOfTheProcess) {
  Import("code,type\nRUN,run\nIDLE,idle\n", ImportKind::StateCodes);
  Import(
      "process,time,state\nLathe,1970-01-01T00:10:00Z,RUN\nLathe,1970-01-01T00:20:00Z,IDLE\n"
      "Mill,1970-01-01T00:15:00Z,IDLE\nLathe,1970-01-01T00:30:00Z,RUN\n",
      ImportKind::States);
  const auto states = Data().StatesBetween(Id(ItemKind::Process, "Lathe"), 600, 1200);
  ASSERT_EQ(states.size(), 2U);
  EXPECT_EQ(states[0].since, 600);
  EXPECT_EQ(states[1].name, "IDLE");
  EXPECT_EQ(states[1].type, pst_Idle);
  EXPECT_TRUE(Data().StatesBetween(0, 0, 5000).empty()) << "no process is not every process";
}

TEST_F(QualityDatabaseTest, LabelsOfSubgroupsFarApartComeInTheirOrder) {
  std::string values = "part,process,test,subgroup,time,value\n";
  for (int i = 0; i < 3000; ++i)
    values += "Nut,Lathe,Width,N" + std::to_string(i) + ",2024-03-01T00:00:00,1\n";
  Data();
  Import(values, ImportKind::Values);  // 1 to 4 are there
  const std::vector<std::int32_t> wanted = {1, 5, 700, 701, 3004, 99999};
  const auto labels = Data().SubgroupLabels(wanted);
  using Label = std::pair<std::int32_t, std::string>;
  EXPECT_EQ(labels, (std::vector<Label>{
                        {1, "7"}, {5, "N0"}, {700, "N695"}, {701, "N696"}, {3004, "N2999"}}));
  EXPECT_TRUE(Data().SubgroupLabels({}).empty());
}

TEST_F(QualityDatabaseTest, CommentsOfSubgroupsAreWhole) {
  const std::string note(1000, 'x');
  Data();
  Import(
      "part,process,test,subgroup,time,value,comment,employee\n"
      "Nut,Lathe,Width,5,1970-01-01T00:10:00Z,1,first,Ann\n"
      "Nut,Lathe,Width,6,1970-01-01T00:11:00Z,1," +
          note + ",\nNut,Lathe,Width,7,1970-01-01T00:12:00Z,1,third,\n",
      ImportKind::Values);
  const std::vector<std::int32_t> wanted = {1, 5, 6};
  const auto comments = Data().Comments(wanted);
  ASSERT_EQ(comments.size(), 2U) << "the third is of another subgroup";
  EXPECT_EQ(comments[0].subgroup, 5);
  EXPECT_EQ(comments[0].note, "first");
  EXPECT_EQ(comments[0].employee, Id(ItemKind::Employee, "Ann"));
  EXPECT_EQ(comments[1].note, note);
  EXPECT_EQ(comments[1].employee, 0);
  EXPECT_TRUE(Data().Comments({}).empty());
}

TEST_F(QualityDatabaseTest, EventsOfSubgroupsAreThoseThatNameTheirTime) {
  Import("code\nWorn\n", ImportKind::AccCodes);
  Import(
      "type,time,process,part,test,subgroup-time,acc\n"
      "subgroup-alarm,1970-01-01T00:02:00Z,Lathe,Shaft,Width,1970-01-01T00:01:40Z,Worn\n"
      "subgroup-alarm,1970-01-01T00:01:50Z,Lathe,Shaft,Width,1970-01-01T00:03:20Z,\n"
      "subgroup-alarm,1970-01-01T00:02:01Z,Lathe,Shaft,Width,1970-01-01T00:03:21Z,\n"
      "downtime,1970-01-01T00:02:02Z,Lathe,,,,\n",
      ImportKind::Events);
  const auto events = Data().EventsOfSubgroups(100, 200);
  ASSERT_EQ(events.size(), 2U);
  EXPECT_EQ(events[0].time, 110) << "by the times of the events";
  EXPECT_EQ(events[0].subgroup_time, 200);
  EXPECT_EQ(events[1].subgroup_time, 100);
  EXPECT_EQ(events[1].acc, Id(ItemKind::AccCode, "Worn"));
  EXPECT_EQ(events[1].part, Id(ItemKind::Part, "Shaft"));
}

// --- Limits --------------------------------------------------------------------------------------

TEST_F(QualityDatabaseTest, SpecificationLimitsHaveVersionsAndOneInForce) {
  Import(
      "part,test,usl,target,lsl,effective,alarms,name,scale\n"
      "Shaft,Width,15,12,,,,first,2\n"
      "Shaft,Width,16,12,8,1970-01-02T00:00:00Z,lsl,second,3\n",
      ImportKind::Limits);
  Import("part,test,usl,effective,alarms\nShaft,Width,17,1970-01-02T00:00:00Z,none\n",
         ImportKind::Limits);
  const auto stream = Stream("Shaft", "Lathe", "Width");
  const auto rows = Data().Versions<SpecificationLimits>(stream);
  ASSERT_EQ(rows.size(), 2U) << "the later import took over from the second";
  EXPECT_EQ(rows[0].effective, kSinceEver);
  EXPECT_EQ(rows[0].usl, 15.0);
  EXPECT_EQ(rows[0].target, 12.0);
  EXPECT_FALSE(rows[0].lsl);
  EXPECT_EQ(rows[0].alarms, "usl target");
  EXPECT_EQ(rows[0].name, "first");
  EXPECT_EQ(rows[0].scale, 2);
  EXPECT_EQ(rows[1].usl, 17.0);
  EXPECT_EQ(rows[1].alarms, "none");
  EXPECT_EQ(Data().InForce<SpecificationLimits>(stream, 86399)->usl, 15.0);
  EXPECT_EQ(Data().InForce<SpecificationLimits>(stream, 86400)->usl, 17.0);
  EXPECT_TRUE(Data().Versions<SpecificationLimits>(Stream("Bolt", "Lathe", "Width")).empty());
}

TEST_F(QualityDatabaseTest, ControlLimitsOfTheProcessComeBeforeThoseOfAny) {
  Import(
      "part,process,test,mean,sp,sw,effective,chart-word\n"
      "Shaft,,Width,10,1,2,1970-01-02T00:00:00Z,0x102\n"
      "Shaft,Lathe,Width,11,3,4,1970-01-02T00:00:00Z,\n"
      "Shaft,Mill,Width,12,5,6,1970-01-03T00:00:00Z,\n",
      ImportKind::ControlLimits);
  const auto stream = Stream("Shaft", "Lathe", "Width");
  const auto rows = Data().Versions<ControlLimits>(stream);
  ASSERT_EQ(rows.size(), 2U) << "not those of another process";
  EXPECT_EQ(rows[0].process, 0);
  EXPECT_EQ(rows[0].chart_word, 0x102);
  EXPECT_EQ(rows[0].sp, 1.0);
  EXPECT_EQ(rows[0].sw, 2.0);
  EXPECT_EQ(Data().InForce<ControlLimits>(stream, 86400)->mean, 11.0);
  EXPECT_FALSE(Data().InForce<ControlLimits>(stream, 86399));
  EXPECT_EQ(Data().InForce<ControlLimits>(Stream("Shaft", "Mill", "Width"), 86400)->mean, 10.0);
}

TEST_F(QualityDatabaseTest, NetContentsShowWhatTheClassDerived) {
  Import("part,test,nominal,class,factor,name\nShaft,Width,500,R87,2,jar\n",
         ImportKind::NetContents);
  const auto row = Data().InForce<NetContents>(Stream("Shaft", "Lathe", "Width"), 0);
  ASSERT_TRUE(row);
  EXPECT_EQ(row->nominal, 500.0);
  EXPECT_EQ(row->t1l, 485.0);
  EXPECT_EQ(row->t1lp, 2.5);
  EXPECT_EQ(row->t2l, 470.0);
  EXPECT_FALSE(row->mavu);
  EXPECT_EQ(row->class_name, "R87");
  EXPECT_EQ(row->quantity, "mass");
  EXPECT_FALSE(row->upper);
  EXPECT_EQ(row->factor, 2.0);
  EXPECT_EQ(row->name, "jar");
}

TEST_F(QualityDatabaseTest, OpportunitiesHoldFromTheirTimeOn) {
  Import(
      "part,test,opportunities,effective\nShaft,Width,40,1970-01-02\nShaft,Width,50,1970-01-03\n",
      ImportKind::Opportunities);
  const auto stream = Stream("Shaft", "Lathe", "Width");
  EXPECT_EQ(Data().Versions<Opportunities>(stream).size(), 2U);
  EXPECT_FALSE(Data().InForce<Opportunities>(stream, 0));
  EXPECT_EQ(Data().InForce<Opportunities>(stream, 2 * 86400 - 1)->opportunities, 40);
  EXPECT_EQ(Data().InForce<Opportunities>(stream, 2 * 86400)->opportunities, 50);
}

// --- Settings, words, times ----------------------------------------------------------------------

TEST_F(QualityDatabaseTest, SettingsFallBackAndRefuseWhatTheirReaderCannotUse) {
  const Actor by{"Ann", ""};  // one of them asks for it
  for (const auto& kind : SettingKinds()) {
    EXPECT_EQ(Data().Setting(kind.name), kind.fallback) << kind.name;
    Data().Set(kind.name, kind.fallback, by);  // every fallback is a value that is taken
    EXPECT_NE(FailureOf([&] { Data().Set(kind.name, "no such thing", by); }), "") << kind.name;
    for (const auto word : kind.words) Data().Set(kind.name, word, by);
  }
  EXPECT_EQ(Data().Setting("sigma_estimator"), "pooled-as-sbar");
  const auto refused = FailureOf([&] { Data().Set("colour", "red"); });
  EXPECT_NE(refused.find("there is no setting \"colour\""), std::string::npos) << refused;
  EXPECT_NE(FailureOf([&] { Data().Setting("colour"); }), "");
}

TEST_F(QualityDatabaseTest, AnOptionOfSeveralTestsGoesWithNoneOfThem) {
  auto stream = Stream("Shaft", "Lathe", "Width");
  for (const std::string key : {"t2.alpha", "mewma.weight"}) {
    const auto refused = FailureOf([&] { Data().ChangeChartOption(stream, 1, key, "0.1", {}); });
    EXPECT_NE(refused.find(key + " is of several tests together"), std::string::npos) << refused;
  }
  EXPECT_TRUE(Data().ChartOptions().empty());
  Data().ChangeChartOption(stream, 1, "ewma.weight", "0.1", {});
  stream.test = 0;
  Data().ChangeChartOption(stream, 1, "t2.alpha", "0.1", {});
  EXPECT_EQ(Data().ChartOptions().size(), 2U);
}

TEST_F(QualityDatabaseTest, ShiftsFollowTheSettings) {
  Data().Set("shift_starts", "05:00 17:00");
  Data().Set("time_zone", "+01:00");
  const auto shift = Data().Shifts().Around(12 * 3600);
  EXPECT_EQ(shift.start, 4 * 3600);
  EXPECT_EQ(shift.end, 16 * 3600);
}

TEST(Words, OfImportKindsGoBothWays) {
  const auto kinds = ImportKinds();
  EXPECT_EQ(kinds.size(), 19U);
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    EXPECT_EQ(ImportKindFromWord(kinds[i].word), static_cast<ImportKind>(i)) << kinds[i].word;
  }
  EXPECT_FALSE(ImportKindFromWord("value"));
}

TEST(Words, OfItemKindsGoBothWays) {
  for (int i = 0; i < kItemKinds; ++i) {
    const auto kind = static_cast<ItemKind>(i);
    EXPECT_EQ(ItemKindFromWord(orvspc::WordOf(kind)), kind) << orvspc::WordOf(kind);
  }
  EXPECT_EQ(ItemKindFromWord("processes"), ItemKind::Process);
  EXPECT_FALSE(ItemKindFromWord("thing"));
}

TEST(Times, BlanksAndTabsAroundThemAreLeftOut) {
  for (const std::string blanks : {" ", "\t", " \t ", "\t \t"}) {
    EXPECT_EQ(ParseTime(blanks + "1970-01-02"), 86400);
    EXPECT_EQ(ParseTime("1970-01-02" + blanks), 86400);
    EXPECT_EQ(ParseTime(blanks + "1970-01-02" + blanks, true), 2 * 86400 - 1);
    EXPECT_EQ(ParseTime(blanks + "1970-01-02T00:00:07" + blanks), 86407);
    EXPECT_FALSE(ParseTime(blanks));
  }
  EXPECT_FALSE(ParseTime(""));
  EXPECT_FALSE(ParseTime("1970-01 -02")) << "not inside";
  EXPECT_FALSE(ParseTime("\n1970-01-02")) << "nor other white space";
}

TEST(Times, ADayEndsWithItsLastSecond) {
  EXPECT_EQ(ParseTime("1970-01-02"), 86400);
  EXPECT_EQ(ParseTime("1970-01-02", true), 2 * 86400 - 1);
  EXPECT_EQ(ParseTime("1970-01-02T00:00", true), 86400);
  EXPECT_FALSE(ParseTime("yesterday"));
  const time::FixedNow now(1234);
  EXPECT_EQ(CurrentTime(), 1234);
}

// --- New databases -------------------------------------------------------------------------------

TEST_F(QualityDatabaseTest, CreateMakesADatabaseAndNothingElse) {
  { const auto made = QualityDatabase::Create(Path()); }
  EXPECT_EQ(Files(), FileSet({"q.db"}));
  EXPECT_EQ(Examined(Path()), "0 ok ");
  const auto again = FailureOf([&] { QualityDatabase::Create(Path()); });
  EXPECT_EQ(again, Path() + ": is there already");
  EXPECT_EQ(QualityDatabase::Open(Path()).Streams().size(), 0U);
}

TEST_F(QualityDatabaseTest, ADatabaseThatItsFillerKeepsIsRefused) {
  std::optional<QualityDatabase> kept;
  const auto reason = FailureOf([&] {
    QualityDatabase::Create(Path(), [&](QualityDatabase& made) {
      made.Import(CsvFile(kValues), ImportKind::Values);
      kept = made;
    });
  });
  EXPECT_EQ(reason, Path() + ": what fills a new database must not keep it");
  kept.reset();
  EXPECT_EQ(Files(), FileSet({"in.csv"}));
}

TEST_F(QualityDatabaseTest, ANoteOfAClosedDatabaseReachesTheNextReport) {
  QualityDatabase::ImportInto(Path(), CsvFile(kValues), ImportKind::Values);
  const auto open = QualityDatabase::Open(Path());
  const std::int32_t closed = [&] {
    return QualityDatabase::Open(Path()).Database()->ConnectionHandle();
  }();
  open.Database()->TakeReport();
  API_DSInfo info{};
  EXPECT_EQ(EmbeddedPlatform()->DBLib().VLXDBL_BUILDDATASETDATA(0, closed, info, {}, 3), 0);
  const auto notes = open.Database()->TakeReport().notes;
  ASSERT_EQ(notes.size(), 1U);
  EXPECT_EQ(notes[0].code, "database-closed");
}

TEST_F(QualityDatabaseTest, ARefusedFileLeavesNoDatabase) {
  const auto file = CsvFile("part,process\n");
  EXPECT_NE(FailureOf([&] { QualityDatabase::ImportInto(Path(), file, ImportKind::Values); }), "");
  EXPECT_EQ(Files(), FileSet({"in.csv"}));
  EXPECT_NE(FailureOf([&] { OpenDatabase(Path()); }), "") << "no tables either";
}

TEST_F(QualityDatabaseTest, ImportIntoAddsToADatabaseThatIsThere) {
  for (const char* part : {"Shaft", "Bolt"}) {
    const auto file = CsvFile(std::string("part,process,test,subgroup,time,value\n") + part +
                              ",Lathe,Width,1,2024-01-01,1\n");
    EXPECT_EQ(QualityDatabase::ImportInto(Path(), file, ImportKind::Values).subgroups, 1);
  }
  EXPECT_EQ(QualityDatabase::Open(Path()).Streams().size(), 2U);
}

TEST_F(QualityDatabaseTest, RecordIntoMakesADatabaseWithTheFirstRecordThatIsStored) {
  const auto opens = [&] { return FailureOf([&] { QualityDatabase::Open(Path()); }).empty(); };
  NewRecord good, bad;
  for (auto* const record : {&good, &bad}) {
    record->part = "Ring";
    record->process = "Press";
    record->test = "Width";
    record->pieces.push_back({record == &good ? 1.0 : 1e301, 0, 0, "", "", ""});
  }
  const Actor ann{"Ann", ""};
  EXPECT_THROW(QualityDatabase::RecordInto(Path(), {&bad, 1}, ann, NewNames::Create), Refused);
  EXPECT_FALSE(opens());
  BatchOptions options;
  options.names = NewNames::Create;
  options.skip_refused = true;
  EXPECT_EQ(QualityDatabase::RecordBatchInto(Path(), {&bad, 1}, ann, options).refused.size(), 1U);
  EXPECT_FALSE(opens());
  const std::vector records{bad, good};
  const auto batch = QualityDatabase::RecordBatchInto(Path(), records, ann, options);
  EXPECT_EQ(batch.refused.size(), 1U);
  EXPECT_TRUE(batch.refused.contains(0));
  EXPECT_EQ(batch.records.at(1).subgroup, 1);
  EXPECT_EQ(QualityDatabase::RecordInto(Path(), {&good, 1}, ann).at(0).subgroup, 2);
  const auto streams = QualityDatabase::Open(Path()).Streams();
  ASSERT_EQ(streams.size(), 1U);
  EXPECT_EQ(streams[0].subgroups, 2);
}

TEST_F(QualityDatabaseTest, AFileThatAnotherProgramMadeMeanwhileStays) {
  const auto file = CsvFile(kValues);
  const auto reason = FailureOf([&] {
    QualityDatabase::Create(Path(), [&](QualityDatabase& outer) {
      // With the same process number, as programs in different containers may have.
      QualityDatabase::ImportInto(Path(), file, ImportKind::Values);
      outer.Import(CsvFile("part,factor\nNut,1\n"), ImportKind::Parts);
    });
  });
  EXPECT_EQ(reason, Path() + ": is there already");
  EXPECT_EQ(Files(), FileSet({"in.csv", "q.db"}));
  EXPECT_EQ(QualityDatabase::Open(Path()).Streams().size(), 3U);
}

TEST_F(QualityDatabaseTest, ANewDatabaseIsRefusedBesideTheLogOfAnother) {
  for (const char* ending : {"-wal", "-shm", "-journal"}) {
    const std::string left = Path() + ending;
    WriteFile(left, "somebody's");
    const std::string expected =
        Path() + ": " + left + " is left from another database; move it away";
    const auto file = CsvFile(kValues);
    EXPECT_EQ(FailureOf([&] { QualityDatabase::Create(Path()); }), expected);
    EXPECT_EQ(FailureOf([&] { QualityDatabase::ImportInto(Path(), file, ImportKind::Values); }),
              expected);
    EXPECT_EQ(FailureOf([&] { OpenDatabase(Path(), true); }), expected);
    EXPECT_EQ(Files(), FileSet({"in.csv", std::string("q.db") + ending}));
    std::filesystem::remove(left);
  }
}

// SQLite removes a log beside an empty file, even when it only reads.
TEST_F(QualityDatabaseTest, AnEmptyFileBesideTheLogOfAnotherIsRefused) {
  { const auto other = QualityDatabase::Create(folder_.File("other.db")); }
  const auto file = CsvFile(kValues);
  // A journal of a database that had a page.
  const std::string journal("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7\0\0\0\0\0\0\0\0\0\0\0\1", 20);
  for (const auto& [ending, content] :
       {std::pair("-wal", std::string(20000, 'w')), std::pair("-shm", std::string("index")),
        std::pair("-journal", journal), std::pair("-journal", std::string("short"))}) {
    const std::string left = Path() + ending;
    WriteFile(Path(), "");
    WriteFile(left, content);
    const std::string expected =
        Path() + ": " + left + " is left from another database; move it away";
    EXPECT_EQ(FailureOf([&] { OpenDatabase(Path()); }), expected);
    EXPECT_EQ(FailureOf([&] { OpenDatabase(Path(), true); }), expected);
    EXPECT_EQ(FailureOf([&] { QualityDatabase::ImportInto(Path(), file, ImportKind::Values); }),
              expected);
    EXPECT_EQ(FailureOf([&] { QualityDatabase::Open(folder_.File("other.db")).CopyTo(Path()); }),
              expected);
    EXPECT_TRUE(TextOf(left) == content) << left;
    EXPECT_EQ(TextOf(Path()), "");
    std::filesystem::remove(left);
  }
}

// What a program leaves that was killed while it made a database.
TEST_F(QualityDatabaseTest, AJournalOfAnEmptyDatabaseIsNobodyElses) {
  for (const auto& content : {std::string(), std::string(512, '\0')}) {
    WriteFile(Path(), "");
    WriteFile(Path() + "-journal", content);
    QualityDatabase::ImportInto(Path(), CsvFile(kValues), ImportKind::Values);
    EXPECT_EQ(Examined(Path()), "4 ok ");
    std::filesystem::remove(Path());
  }
}

// The log of a writer that died is replayed when its database is opened again, not when another
// one takes the name.
TEST_F(QualityDatabaseTest, TheLogOfARemovedDatabaseIsNotReplayedOverANewOne) {
  { const auto old = QualityDatabase::Create(Path()); }
  const std::string kept = folder_.File("kept");
  {
    auto old = QualityDatabase::Open(Path());
    old.Set("time_zone", "+05:00");
    std::filesystem::copy_file(Path() + "-wal", kept);
  }
  std::filesystem::remove(Path());
  std::filesystem::rename(kept, Path() + "-wal");
  const auto file = CsvFile(kValues);
  EXPECT_NE(FailureOf([&] { QualityDatabase::ImportInto(Path(), file, ImportKind::Values); }), "");
  EXPECT_FALSE(std::filesystem::exists(Path()));
  std::filesystem::remove(Path() + "-wal");
  QualityDatabase::ImportInto(Path(), file, ImportKind::Values);
  EXPECT_EQ(QualityDatabase::Open(Path()).Setting("time_zone"), "UTC");
}

TEST_F(QualityDatabaseTest, NamesThatSQLiteTakesForSomethingElseAreFileNames) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(std::filesystem::path(Path()).parent_path());
  const auto file = CsvFile(kValues);
  for (const char* name : {":memory:", "file:q.db?mode=memory", "file::memory:", "file:q"}) {
    QualityDatabase::ImportInto(name, file, ImportKind::Values);
    EXPECT_TRUE(std::filesystem::is_regular_file(name)) << name;
    EXPECT_EQ(QualityDatabase::Open(name).Streams().size(), 3U) << name;
    auto read = OpenDatabase(name);
    EXPECT_TRUE(std::filesystem::remove(name));
  }
  EXPECT_EQ(FailureOf([] { OpenDatabase("", true); }), "the name of the database is empty");
  EXPECT_EQ(FailureOf([] { QualityDatabase::Create(""); }), "the name of the database is empty");
  std::filesystem::current_path(before);
}

TEST_F(QualityDatabaseTest, ALinkToNowhereIsFollowed) {
  std::filesystem::create_directory(folder_.File("far"));
  std::filesystem::create_symlink(folder_.File("far/real.db"), Path());
  QualityDatabase::ImportInto(Path(), CsvFile(kValues), ImportKind::Values);
  EXPECT_TRUE(std::filesystem::is_symlink(Path()));
  EXPECT_EQ(Examined(folder_.File("far/real.db")), "4 ok ");
}

TEST_F(QualityDatabaseTest, ALinkToNowhereNamesTheLogBesideItsTarget) {
  std::filesystem::create_directory(folder_.File("far"));
  const auto target = folder_.File("far/real.db");
  std::filesystem::create_symlink(target, Path());
  WriteFile(target + "-wal", "somebody's");
  EXPECT_EQ(FailureOf([&] { QualityDatabase::Create(Path()); }),
            Path() + ": " + target + "-wal is left from another database; move it away");
  EXPECT_EQ(TextOf(target + "-wal"), "somebody's");
}

// Every size of a device: all is there, or nothing and a failure.
TEST_F(QualityDatabaseTest, AFullDeviceLeavesAWholeDatabaseOrNone) {
  constexpr int kSubgroups = 600;
  const auto file = CsvFile(ManyValues(kSubgroups));
  const auto import = [&](std::int64_t bytes) {
    WatchedDevice device(bytes);
    const auto reason =
        FailureOf([&] { QualityDatabase::ImportInto(Path(), file, ImportKind::Values); });
    return std::pair(reason, device.Peak());
  };
  const auto [nothing, enough] = import(INT64_MAX);
  EXPECT_EQ(nothing, "");
  std::filesystem::remove(Path());

  int made = 0, refused = 0;
  for (std::int64_t bytes = 0; bytes <= enough; bytes += enough / 97) {
    const auto [reason, peak] = import(bytes);
    if (reason.empty()) {
      ++made;
      EXPECT_EQ(Files(), FileSet({"in.csv", "q.db"})) << bytes;
      EXPECT_EQ(Examined(Path()), std::to_string(kSubgroups) + " ok ") << bytes;
      std::filesystem::remove(Path());
    } else {
      ++refused;
      EXPECT_EQ(reason, Path() + ": there is no room left on the device") << bytes;
      EXPECT_EQ(Files(), FileSet({"in.csv"})) << bytes;
    }
  }
  EXPECT_GT(refused, 50);
  EXPECT_EQ(import(enough).first, "") << made;
}

// Readers share an index of the log, which needs room.
TEST_F(QualityDatabaseTest, AFullDeviceIsNamedToReadersToo) {
  QualityDatabase::ImportInto(Path(), CsvFile(kValues), ImportKind::Values);
  {
    WatchedDevice device(0);
    EXPECT_EQ(FailureOf([&] { QualityDatabase::Open(Path()).Streams(); }),
              Path() + ": there is no room left on the device");
  }
  EXPECT_EQ(QualityDatabase::Open(Path()).Streams().size(), 3U);
}

}  // namespace orvspc::engine
