// SPDX-License-Identifier: Apache-2.0
#include "frame/Outside.h"

#include <gtest/gtest.h>

#include "platform/ExternalFailure.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using Lines = std::vector<std::string>;
using platform::NameRecordKind;

class NoDatabase : public platform::Object {};

TEST(Support, ResolveDatabaseGivesTheSameObjectAndCallsNothing) {
  fake::FakeScope fake;
  EXPECT_EQ(ResolveDatabase(fake.database), fake.database);
  EXPECT_EQ(fake.log().Lines(), Lines{});
}

TEST(Support, ResolveDatabaseRefusesWhatIsNoDatabase) {
  const auto other = fake::FailureOf([] { ResolveDatabase(std::make_shared<NoDatabase>()); });
  EXPECT_EQ(other.Number(), 13);
  EXPECT_EQ(other.Source(), "Support.ResolveDatabase|orvSPCAnalysis6");
  const auto null = fake::FailureOf([] { ResolveDatabase(nullptr); });
  EXPECT_EQ(null.Number(), 91);
  EXPECT_EQ(null.Source(), "Support.ResolveDatabase|orvSPCAnalysis6");
}

// Only when it is asked does it turn out to be none.
class DoubtfulDatabase : public platform::Database {
 public:
  void Confirm(const Friend&) override {
    throw platform::ExternalFailure(-5, "Host.Object", "gone");
  }
  std::int32_t ConnectionHandle() override { return 0; }
  std::int32_t DatabaseValue(std::int32_t) override { return 0; }
};

TEST(Support, ResolveDatabasePassesOnWhyAnObjectIsNoDatabase) {
  const auto failure =
      fake::FailureOf([] { ResolveDatabase(std::make_shared<DoubtfulDatabase>()); });
  EXPECT_EQ(failure.Number(), -5);
  EXPECT_EQ(failure.Source(), "Support.ResolveDatabase|Host.Object");
  EXPECT_EQ(failure.Description(), "gone");
}

TEST(Support, ResolveRuleDefPreparesThenReads) {
  fake::FakeScope fake;
  fake.script().rules = {{1, "beyond"}};
  const auto rules = ResolveRuleDef(fake.database);
  EXPECT_EQ(fake.log().Lines(), (Lines{"MakeRuleDef()", "RuleDef.FirstSetting(100)",
                                       "RuleDef.SecondSetting(256)", "RuleDef.Read(database, 0)"}));
  EXPECT_TRUE(rules->MoveFirst());
}

TEST(Support, ResolveRuleDefDropsTheOutcomeOfTheRead) {
  fake::FakeScope fake;
  EXPECT_FALSE(ResolveRuleDef(fake.database)->MoveFirst());
}

TEST(Support, ResolveRuleDefCastsAfterTheSettings) {
  fake::FakeScope fake;
  const auto failure = fake::FailureOf([] { ResolveRuleDef(std::make_shared<NoDatabase>()); });
  EXPECT_EQ(failure.Number(), 13);
  EXPECT_EQ(failure.Source(), "Support.ResolveRuleDef|Support.ResolveDatabase|orvSPCAnalysis6");
  EXPECT_EQ(fake.log().Lines(),
            (Lines{"MakeRuleDef()", "RuleDef.FirstSetting(100)", "RuleDef.SecondSetting(256)"}));
}

TEST(Support, AFailureOfTheRuleDefKeepsItsOwnSource) {
  fake::FakeScope fake;
  fake.log().FailOn("RuleDef.Read");
  const auto failure = fake::FailureOf([&] { ResolveRuleDef(fake.database); });
  EXPECT_EQ(failure.Source(), "Support.ResolveRuleDef|Outside.Object");
  EXPECT_EQ(failure.Number(), -2147217900);
}

TEST(Support, IdentifierZeroIsNoName) {
  fake::FakeScope fake;
  const auto cache = fake.platform->MakeNameRecord(NameRecordKind::Part);
  fake.log().Clear();
  EXPECT_FALSE(ResolvePart(fake.database, 0, *cache));
  EXPECT_EQ(fake.log().Lines(), Lines{});
}

TEST(Support, ANameIsReadOnceAndThenFoundInTheCache) {
  fake::FakeScope fake;
  fake.script().names = {{{NameRecordKind::Test, 5}, "Bore"}, {{NameRecordKind::Test, 6}, "Edge"}};
  const auto cache = fake.platform->MakeNameRecord(NameRecordKind::Test);
  fake.log().Clear();
  for (int i = 0; i < 10; ++i) {
    ASSERT_TRUE(ResolveTest(fake.database, 5, *cache));
    EXPECT_EQ(cache->Name(), "Bore");
    ASSERT_TRUE(ResolveTest(fake.database, 6, *cache));
    EXPECT_EQ(cache->Name(), "Edge");
  }
  EXPECT_EQ(fake.log().LinesOf({"NameRecord.ID", "NameRecord.KeyMode", "NameRecord.Read"}),
            (Lines{"NameRecord.ID(5)", "NameRecord.KeyMode(1)", "NameRecord.Read(0)",
                   "NameRecord.ID(6)", "NameRecord.KeyMode(1)", "NameRecord.Read(0)"}));
}

TEST(Support, AnUnknownIdentifierIsReadEachTime) {
  fake::FakeScope fake;
  const auto cache = fake.platform->MakeNameRecord(NameRecordKind::State);
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(ResolveState(fake.database, 9, *cache));
  EXPECT_EQ(fake.log().Count("NameRecord.Read"), 10);
}

TEST(Support, EachResolverHasItsKind) {
  struct Row {
    NameResolver resolve;
    NameRecordKind kind;
  };
  for (const Row& row : {Row{ResolvePart, NameRecordKind::Part},
                         {ResolveProcess, NameRecordKind::Process},
                         {ResolveTest, NameRecordKind::Test},
                         {ResolveSmplReq, NameRecordKind::SmplReq},
                         {ResolveState, NameRecordKind::State}}) {
    fake::FakeScope fake;
    fake.script().names = {{{row.kind, 3}, "three"}};
    const auto cache = fake.platform->MakeNameRecord(row.kind);
    EXPECT_TRUE(row.resolve(fake.database, 3, *cache)) << static_cast<int>(row.kind);
  }
}

TEST(Support, AFailureOfAResolverHasNoEntryOfItsOwn) {
  fake::FakeScope fake;
  fake.log().FailOn("NameRecord.Read");
  const auto cache = fake.platform->MakeNameRecord(NameRecordKind::Part);
  EXPECT_THROW(ResolvePart(fake.database, 1, *cache), platform::ExternalFailure);
}

}  // namespace
}  // namespace orvspc
