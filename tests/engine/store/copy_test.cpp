// SPDX-License-Identifier: Apache-2.0
#include "engine/store/copy.h"

#include "engine/QualityDatabase.h"
#include "engine/store/StreamWalk.h"
#include "engine/store/StreamWriter.h"
#include "engine/store/digest.h"
#include "engine/store/tables.h"
#include "tests/engine/store/store_fixture.h"
#include "tests/engine/store/version1_file.h"

namespace orvspc::engine::store {
namespace {

class CopyTest : public StoreTest {
 protected:
  DatabaseDigest Digest() {
    DatabaseDigest digest;
    Opened()->ReadOrThrow([&](Connection& db) { digest = DigestOf(db); });
    return digest;
  }
  void ImportSome() {
    std::string text = "part,process,test,subgroup,time,value,job,comment,descriptor:Colour\n";
    for (int i = 0; i < 700; ++i) {
      const auto number = std::to_string(i);
      text += std::string(i % 3 == 0 ? "A" : "B") + ",P,T,S" + number + ",2024-01-" +
              std::to_string(10 + i % 20) + "T0" + std::to_string(i % 10) + ":00," + number + ",J" +
              std::to_string(i % 4) + (i % 50 == 0 ? ",odd,red\n" : ",,\n");
    }
    Import(text);
  }
};

TEST_F(CopyTest, ACopyHoldsTheSame) {
  ImportSome();
  Import("part,test,usl,lsl,effective\nA,T,9,1,2024-01-01\n", ImportKind::Limits);
  const auto expected = Digest();
  const auto path = folder_.File("copy.db");
  const auto report = Data().CopyTo(path);
  EXPECT_EQ(report.measurements, 700);
  EXPECT_EQ(report.digest, expected.all);
  const auto copied = QualityDatabase::Open(path);
  EXPECT_EQ(copied.SubgroupLabel(5), Data().SubgroupLabel(5));
  EXPECT_EQ(copied.CopyTo(folder_.File("again.db")).digest, expected.all);
}

TEST_F(CopyTest, AnIdentifierThatIsGivenLaterIsTheSameInTheCopy) {
  ImportSome();
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  const std::string more = "part,process,test,subgroup,time,value\nA,P,T,new,2025-01-01,5\n";
  Import(more);
  QualityDatabase::Open(path).Import(folder_.File("in.csv"), ImportKind::Values);
  EXPECT_EQ(QualityDatabase::Open(path).SubgroupLabel(701), "new");
  EXPECT_EQ(Data().SubgroupLabel(701), "new");
}

TEST_F(CopyTest, NeitherGivesTheIdentifierOfARowThatIsGone) {
  ImportSome();
  Import("code,name\nD1,scratch\nD2,dent\n", ImportKind::Defects);
  RunSql(Path(), "DELETE FROM defect WHERE id = 2; DELETE FROM comment");
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  Import("code,name\nD3,crack\n", ImportKind::Defects);
  auto copied = QualityDatabase::Open(path);
  copied.Import(folder_.File("in.csv"), ImportKind::Defects);
  EXPECT_EQ(Id(ItemKind::Defect, "D3"), 3);
  EXPECT_EQ(copied.Find(ItemKind::Defect, "D3"), 3);
}

TEST_F(CopyTest, ADatabaseThatHoldsSomethingIsNotCopiedInto) {
  ImportSome();
  const auto path = folder_.File("copy.db");
  Data().CopyTo(path);
  const auto failure = FailureOf([&] { Data().CopyTo(path); });
  EXPECT_NE(failure.find(path + ": "), std::string::npos) << failure;
  EXPECT_NE(failure.find("holds data already"), std::string::npos) << failure;
}

// Codes, limits and all else that belongs to no subgroup would be lost.
TEST_F(CopyTest, ADatabaseWithNothingButCodesHoldsSomething) {
  ImportSome();
  const auto path = folder_.Store("codes.db");
  const auto codes = folder_.File("codes.csv");
  WriteFile(codes, "code,name\nD1,Dent\n");
  QualityDatabase::ImportInto(path, codes, ImportKind::Defects);
  EXPECT_NE(FailureOf([&] { Data().CopyTo(path); }).find("holds data already"), std::string::npos);
  EXPECT_EQ(QualityDatabase::Open(path).Items(ItemKind::Defect).size(), 1U);
  const auto empty = folder_.Store("empty.db");
  OpenDatabase(empty, true);
  EXPECT_EQ(Data().CopyTo(empty).measurements, 700);
}

TEST_F(CopyTest, ASelectionIsCopiedWithEverythingThatBelongsToNoSubgroup) {
  ImportSome();
  FlatSelection flat;
  flat.List(FlatSelection::kPart, {Id(ItemKind::Part, "A")});
  const auto path = folder_.File("part.db");
  const auto report =
      Data().CopyTo(path, {.selection = CopySelection{flat.info, flat.Filter()}, .progress = {}});
  EXPECT_EQ(report.measurements, 234);
  const auto copied = QualityDatabase::Open(path);
  ASSERT_EQ(copied.Streams().size(), 1U);
  EXPECT_EQ(copied.Streams()[0].subgroups, 234);
  EXPECT_EQ(copied.Items(ItemKind::Part).size(), 2U);
  EXPECT_EQ(copied.SubgroupLabel(1), "S0");
  EXPECT_EQ(copied.SubgroupLabel(2), "") << "of another part";
}

TEST_F(CopyTest, TheDigestDoesNotDependOnWhatIsSealed) {
  ImportSome();
  const auto before = Digest();
  Opened()->Write([](Connection& db) {
    std::vector<double> values;
    std::vector<RowKey> keys;
    std::vector<std::pair<std::int64_t, RecordKey>> hot;
    for (const std::int64_t stream : {1, 2}) {
      Measurement first;
      ForEachRecord(db, stream, [&](const RecordView& each) {
        if (first.values.empty()) first = each.Copy(values, keys);
      });
      StreamWriter writer(db);
      writer.Remove(stream, std::array{RecordKey{first.time, first.subgroup}});
      writer.Write(stream, std::array{first});  // late, so it becomes a hot row
      writer.Finish();
    }
  });
  EXPECT_EQ(Digest(), before);
}

// Each value of each table that figures or texts come from.
TEST_F(CopyTest, AnythingThatChangesChangesTheDigest) {
  RunSql(Path(), kVersion1File);
  const auto before = Digest();
  int changes = 0;
  for (const auto& table : Tables()) {
    if (table.use == TableUse::Identifiers) continue;
    for (const auto& column : ColumnsOf(table)) {
      if (column.kind != ColumnKind::Number && column.kind != ColumnKind::Real &&
          column.kind != ColumnKind::Text) {
        continue;
      }
      const auto name = std::string(column.name);
      const auto change = column.kind == ColumnKind::Text ? "coalesce(" + name + ", '') || 'x'"
                                                          : "coalesce(" + name + ", 0) + 1";
      std::string differs;
      bool has_rows = false;
      try {
        Opened()->Write([&](Connection& db) {
          db.Execute("PRAGMA ignore_check_constraints=ON");
          db.Execute("UPDATE " + std::string(table.name) + " SET " + name + " = " + change);
          has_rows = Query(db, SelectStored(table)).Step();
          differs = DigestOf(db).all;
          throw std::runtime_error("roll back");
        });
      } catch (const std::exception& error) {
        if (std::string_view(error.what()) != "roll back") continue;  // a reference or a key
      }
      if (!has_rows) continue;
      EXPECT_NE(differs, before.all) << table.name << "." << name;
      ++changes;
    }
  }
  EXPECT_GT(changes, 50);
}

}  // namespace
}  // namespace orvspc::engine::store
