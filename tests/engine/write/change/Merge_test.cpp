// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>

#include "engine/QualityDatabase.h"
#include "engine/store/digest.h"
#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

class MergeTest : public store::StoreTest {
 protected:
  static ChangeOptions Why() {
    ChangeOptions options;
    options.actor.by = "Ann";
    options.reason = "two names of one";
    return options;
  }
  std::string RefusalOf(ItemKind kind, const char* from, const char* into) {
    try {
      Data().Merge(kind, from, into, Why());
    } catch (const Refused& refused) {
      return refused.code + ": " + refused.Description();
    }
    return {};
  }
  std::string DigestOf(EmbeddedDatabase& database) {
    std::string digest;
    store::SqlStoreOf(database)->ReadOrThrow(
        [&](sql::Connection& db) { digest = store::DigestOf(db).values; });
    return digest;
  }
  // What the values are in a database that knew the one name alone.
  std::string DigestOfFile(const std::string& text) {
    const auto name = "other" + std::to_string(++others_) + ".db";
    const auto other = OpenDatabase(folder_.Store(name), true);
    store::WriteFile(folder_.File("other.csv"), text);
    import::ImportCsv(folder_.File("other.csv"), *other, ImportKind::Values, {});
    return DigestOf(*other);
  }
  // Lines of many subgroups, so that some are sealed; {} stands for the name.
  static std::string Lines(const std::string& line, int first, int last) {
    std::string text;
    for (int i = first; i <= last; ++i) {
      auto each = line;
      const auto day = std::to_string(10 + i % 18), number = std::to_string(i);
      for (const auto& [mark, value] : {std::pair{"#", number}, std::pair{"@", "2024-01-" + day}}) {
        for (auto at = each.find(mark); at != each.npos; at = each.find(mark)) {
          each.replace(at, 1, value);
        }
      }
      text += each + "\n";
    }
    return text;
  }
  static constexpr const char* kHeader = "part,process,test,subgroup,time,value,lot\n";

  int others_ = 0;
};

}  // namespace

TEST_F(MergeTest, StreamsLimitsAndNamesOfTwoPartsAreJoined) {
  Import(kHeader + Lines("A,P,T,a#,@,1,L", 1, 60) + Lines("A,P,U,a#,@,1,L", 1, 3) +
         Lines("B,P,T,b#,@,2,L", 1, 60));
  Import("part,test,usl,effective\nA,T,9,2024-01-01\nB,T,8,\n", ImportKind::Limits);
  Import("kind,group,name\npart,Both,A\npart,Both,B\n", ImportKind::Groups);
  const auto b = Id(ItemKind::Part, "B");
  Data().Merge(ItemKind::Part, "A", "B", Why());
  EXPECT_EQ(Data().Items(ItemKind::Part).size(), 1U);
  EXPECT_EQ(Data().Find(ItemKind::Part, "A"), b) << "by its former name";
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("B,P,T,a#,@,1,L", 1, 60) + Lines("B,P,U,a#,@,1,L", 1, 3) +
                         Lines("B,P,T,b#,@,2,L", 1, 60)));
  EXPECT_EQ(Data().Streams().size(), 2U);
  EXPECT_EQ(Data().Versions<SpecificationLimits>({b, 0, Id(ItemKind::Test, "T")}).size(), 2U);
  EXPECT_EQ(Data().Groups(ItemKind::Part).at(0).members, std::vector{b});
  EXPECT_EQ(Data().FindSubgroups("A", "P", "a1", {}).size(), 1U);
  LogFilter merges;
  merges.operation = "merge";
  const auto entries = Data().Log(merges);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].before, R"({"name":"A"})");
  EXPECT_EQ(entries[0].after, R"({"into":)" + std::to_string(b) + R"(,"name":"B"})");
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, WhatComesByTheFormerNameGoesToTheOtherItem) {
  Import(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\nB,P,T,2,2024-01-02,2,\n");
  Data().Merge(ItemKind::Part, "A", "B", Why());
  const auto report = Import(std::string(kHeader) + "A,P,T,3,2024-01-03,3,\n");
  EXPECT_EQ(report.new_names, 0);
  EXPECT_EQ(Data().CountedItems(ItemKind::Part).at(0).subgroups, 3);
  EXPECT_NE(ImportFailure(std::string(kHeader) + "A,P,T,1,2024-01-01,1,\n"), "")
      << "a moved subgroup is found";
}

TEST_F(MergeTest, ProcessesAndTestsAreJoinedAlike) {
  Import(kHeader + Lines("A,P,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
         Lines("A,Q,U,u#,@,2,L", 1, 40));
  Data().Merge(ItemKind::Process, "P", "Q", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,Q,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
                         Lines("A,Q,U,u#,@,2,L", 1, 40)));
  Data().Merge(ItemKind::Test, "U", "T", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,Q,T,p#,@,1,L", 1, 40) + Lines("A,Q,T,q#,@,2,L", 1, 40) +
                         Lines("A,Q,T,u#,@,2,L", 1, 40)));
  EXPECT_EQ(Data().Streams().size(), 1U);
  EXPECT_TRUE(QualityDatabase::Check(Path()).finds.empty());
}

TEST_F(MergeTest, ItemsOfWhoAndWhereAreJoined) {
  Import(kHeader + Lines("A,P,T,1-#,@,1,L1", 1, 40) + Lines("A,P,T,2-#,@,1,L2", 1, 40) +
         Lines("A,P,T,3-#,@,1,", 1, 3));
  Data().Merge(ItemKind::Lot, "L1", "L2", Why());
  EXPECT_EQ(DigestOf(Db()),
            DigestOfFile(kHeader + Lines("A,P,T,1-#,@,1,L2", 1, 40) +
                         Lines("A,P,T,2-#,@,1,L2", 1, 40) + Lines("A,P,T,3-#,@,1,", 1, 3)));
  EXPECT_EQ(Data().CountedItems(ItemKind::Lot).at(0).subgroups, 80);
  // Without another context that it becomes like.
  Import(
      "part,process,test,subgroup,time,value,shift\nA,P,T,s,2024-02-01,1,early\n"
      "B,P,T,s,2024-02-02,1,\n");
  Import("kind,group,name\nshift,Day,late\n", ImportKind::Groups);
  Data().Merge(ItemKind::Shift, "early", "late", Why());
  EXPECT_EQ(Data().CountedItems(ItemKind::Shift).at(0).subgroups, 1);
}

TEST_F(MergeTest, WhatCannotBeJoinedIsRefusedWithAList) {
  Import(std::string(kHeader) +
         "A,P,T,1,2024-01-01,1,\nB,P,T,1,2024-01-01,2,\nB,P,U,1,2024-01-01,"
         "2,\nC,P,T,7,2024-01-07,2,\n");
  Import("part,process,test,subgroup,time,count\nA,P,Looks,9,2024-01-09,1\n");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "B"),
            "stored: \"A\" and \"B\" have 1 subgroups of the same label and time (#1=#2)");
  EXPECT_EQ(RefusalOf(ItemKind::Test, "U", "T"),
            "stored: \"U\" and \"T\" both have values in 1 subgroups (#2)");
  EXPECT_EQ(RefusalOf(ItemKind::Test, "Looks", "T"), "type: \"Looks\" and \"T\" differ in type");
  Import("part,test,usl,effective\nA,T,9,2024-01-01\nC,T,8,2024-01-01\n", ImportKind::Limits);
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "C"),
            "limits: \"A\" and \"C\" both have specification limits of one time "
            "(2024-01-01T00:00:00)");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "A"), "name: \"A\" and \"A\" are the same");
  EXPECT_EQ(RefusalOf(ItemKind::Part, "A", "Z"), "unknown: there is no part \"Z\"");
  EXPECT_EQ(RefusalOf(ItemKind::Gage, "A", "B"),
            "kind: items of the kind gage cannot be merged; edit rename gives one a name");
}

}  // namespace orvspc::engine::change
