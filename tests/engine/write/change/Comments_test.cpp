// SPDX-License-Identifier: Apache-2.0
// What becomes of comments when values are deleted, restored and undone.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;

class CommentsTest : public store::StoreTest {
 protected:
  using Listed = std::vector<std::pair<std::int64_t, std::string>>;  // number and text

  static ChangeOptions Why() { return BecauseOf("trial run"); }
  void Record(std::vector<std::string> comments = {}) {
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.time = 1'704'067'200;
    record.pieces = {{1.0, 0, 0, "", "", ""}, {2.0, 0, 0, "", "", ""}};
    record.comments = std::move(comments);
    Data().Record(record, {"Ann", ""}, NewNames::Create);
  }
  std::int64_t Add(const std::string& text) {
    return Data().AddComment(1, Id(ItemKind::Test, "T"), 0, text, Why());
  }
  // The entry of it.
  std::int64_t Delete() {
    Data().DeleteSubgroups({1}, {}, Why());
    LogFilter filter;
    filter.operation = "delete";
    return Data().Log(filter).back().seq;
  }
  Listed Comments() {
    const std::int32_t subgroups[] = {1};
    Listed listed;
    for (const auto& each : Data().Comments(subgroups)) listed.emplace_back(each.id, each.note);
    return listed;
  }
};

}  // namespace

TEST_F(CommentsTest, ThoseThatPeopleAddedAreNotRestored) {
  Record();
  const auto id = Add("tool A");
  const auto deleted = Delete();
  Data().ChangeComment(id, "tool B", Why());
  Data().Restore(deleted, Why());
  EXPECT_EQ(Comments(), (Listed{{id, "tool B"}})) << "it stayed, and was edited meanwhile";
  Data().ChangeComment(id, "tool C", Why());
  Delete();
  Data().Restore(deleted, Why());
  EXPECT_EQ(Comments(), (Listed{{id, "tool C"}})) << "by an entry of before the edit";
  Data().RemoveComment(id, Why());
  Data().Restore(deleted, Why());
  EXPECT_EQ(Comments(), Listed()) << "removed on purpose";
}

TEST_F(CommentsTest, ThoseThatCameWithARecordComeBackUnderTheirNumbers) {
  Record({"same", "same", "other"});
  const auto all = Comments();
  ASSERT_EQ(all.size(), 3U);
  const auto first = Delete();
  EXPECT_EQ(Comments(), Listed());
  Data().Restore(first, Why());
  EXPECT_EQ(Comments(), all) << "also two of one text";
  Data().Restore(first, Why());
  EXPECT_EQ(Comments(), all) << "once more while they are there";
  // From here on two of them have entries of their own.
  Data().ChangeComment(all[0].first, "changed", Why());
  Data().RemoveComment(all[2].first, Why());
  const auto second = Delete();
  const Listed changed = {{all[0].first, "changed"}};
  EXPECT_EQ(Comments(), changed) << "it stays as if somebody had added it";
  for (const auto entry : {first, second}) {
    Data().Restore(entry, Why());
    EXPECT_EQ(Comments(), (Listed{changed[0], all[1]}));
    Data().Restore(Delete(), Why());
    Delete();
  }
}

TEST_F(CommentsTest, ThoseOfAnUndoneImportComeBackBesideThoseThatPeopleAdded) {
  const auto batch = Import(
                         "part,process,test,subgroup,time,value,comment\n"
                         "A,P,T,1,2024-01-01,1,of the file\n")
                         .batch;
  const auto own = Add("of a person");
  const auto all = Comments();
  ASSERT_EQ(all.size(), 2U);
  Data().UndoImport(batch, false, Why());
  EXPECT_EQ(Comments(), (Listed{{own, "of a person"}}));
  Data().ChangeComment(own, "of Ann", Why());
  LogFilter filter;
  filter.operation = "delete";
  Data().Restore(Data().Log(filter).back().seq, Why());
  EXPECT_EQ(Comments(), (Listed{all[0], {own, "of Ann"}}));
  LogCheckOptions options;
  options.with_data = true;
  EXPECT_TRUE(Data().VerifyLog(options).finds.empty());
}

}  // namespace orvspc::engine::change
