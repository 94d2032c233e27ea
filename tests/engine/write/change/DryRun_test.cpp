// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using enum ValueChange::What;

using Records = std::vector<ChangedRecord>;

// "#1 1 label 17 version 5; " of each.
std::string TextOf(const Records& records) {
  std::string text;
  for (const auto& each : records) {
    text += "#" + std::to_string(each.subgroup) + " " + std::to_string(each.test) + " label " +
            each.label + " at " + std::to_string(each.time) + " version " +
            std::to_string(each.version) + " comment " + std::to_string(each.comment) + "; ";
  }
  return text;
}
std::string TextOf(const UndoReport& report) {
  return std::to_string(report.records) + " " + std::to_string(report.kept) + " " +
         std::to_string(report.names);
}

struct Command {
  const char* name;
  std::function<std::string(QualityDatabase&, const ChangeOptions&)> run;
};

// A change of records, comments, names or imports, with what it answers.
template <class Work>
Command Of(const char* name, Work work) {
  return {name, [work](QualityDatabase& data, const ChangeOptions& options) {
            using Answer = decltype(work(data, options));
            if constexpr (std::is_void_v<Answer>) {
              work(data, options);
              return std::string("done");
            } else if constexpr (std::is_integral_v<Answer>) {
              return std::to_string(work(data, options));
            } else {
              return TextOf(work(data, options));
            }
          }};
}

using Data = QualityDatabase;
using Options = ChangeOptions;

SubgroupChange Moved(const char* label) {
  SubgroupChange change;
  change.label = label;
  change.context["lot"] = "new";
  return change;
}

// In this order; each is done after it was tried. The later ones are refused.
const std::vector<Command>& Commands() {
  static const std::vector<Command> commands = {
      Of("flag",
         [](Data& data, const Options& why) {
           return data.ChangeFlag({1, 2}, {}, sfDisabled, why);
         }),
      Of("value",
         [](Data& data, const Options& why) {
           return data.ChangeValue(1, 1, {Set, 1, 0, 5, {}}, why);
         }),
      Of("value with a new name",
         [](Data& data, const Options& why) {
           return data.ChangeValue(1, 1, {Add, 0, 0, 5, {{"gage", "G"}}}, why);
         }),
      Of("value that is not there",
         [](Data& data, const Options& why) {
           return data.ChangeValue(1, 1, {Remove, 9, 0, 5, {}}, why);
         }),
      Of("subgroup",
         [](Data& data, const Options& why) {
           return data.ChangeSubgroups({1}, {}, Moved("one"), why);
         }),
      Of("the label of another one",
         [](Data& data, const Options& why) {
           SubgroupChange change = Moved("3");
           change.time = 1'704'240'000;
           return data.ChangeSubgroups({1}, {}, change, why);
         }),
      Of("delete",
         [](Data& data, const Options& why) { return data.DeleteSubgroups({2}, {}, why); }),
      Of("delete again",
         [](Data& data, const Options& why) { return data.DeleteSubgroups({2}, {}, why); }),
      Of("restore",
         [](Data& data, const Options& why) {
           LogFilter deleted;
           deleted.operation = "delete";
           return data.Restore(data.Log(deleted).back().seq, why);
         }),
      Of("restore of a move",
         [](Data& data, const Options& why) {
           LogFilter moved;
           moved.operation = "edit-subgroup";
           return data.Restore(data.Log(moved).front().seq, why);
         }),
      Of("restore of nothing", [](Data& data, const Options& why) { return data.Restore(1, why); }),
      Of("comment",
         [](Data& data, const Options& why) { return data.AddComment(1, 0, 0, "new tool", why); }),
      Of("comment of none",
         [](Data& data, const Options& why) { return data.AddComment(99, 0, 0, "new tool", why); }),
      Of("another comment",
         [](Data& data, const Options& why) { data.ChangeComment(1, "old tool", why); }),
      Of("no comment", [](Data& data, const Options& why) { data.RemoveComment(1, why); }),
      Of("a comment again",
         [](Data& data, const Options& why) {
           LogFilter removed;
           removed.operation = "comment-remove";
           return data.Restore(data.Log(removed).back().seq, why);
         }),
      Of("no comment once more",
         [](Data& data, const Options& why) { data.RemoveComment(1, why); }),
      Of("no comment again", [](Data& data, const Options& why) { data.RemoveComment(1, why); }),
      Of("rename",
         [](Data& data, const Options& why) { data.Rename(ItemKind::Part, "A", "Ring", why); }),
      Of("rename of none",
         [](Data& data, const Options& why) { data.Rename(ItemKind::Part, "A", "Ring", why); }),
      Of("merge",
         [](Data& data, const Options& why) { data.Merge(ItemKind::Part, "B", "Ring", why); }),
      Of("merge of one",
         [](Data& data, const Options& why) { data.Merge(ItemKind::Part, "Ring", "Ring", why); }),
      Of("deactivate",
         [](Data& data, const Options& why) { data.SetActive(ItemKind::Lot, "L", false, why); }),
      Of("deactivate again",
         [](Data& data, const Options& why) { data.SetActive(ItemKind::Lot, "L", false, why); }),
      Of("activate",
         [](Data& data, const Options& why) { data.SetActive(ItemKind::Lot, "L", true, why); }),
      Of("undo of what was changed",
         [](Data& data, const Options& why) { return data.UndoImport(1, false, why); }),
      Of("undo", [](Data& data, const Options& why) { return data.UndoImport(1, true, why); }),
      Of("undo again",
         [](Data& data, const Options& why) { return data.UndoImport(1, true, why); }),
      Of("undo of flags",
         [](Data& data, const Options& why) { return data.UndoImport(3, true, why); }),
  };
  return commands;
}

class DryRunTest : public store::StoreTest {
 protected:
  DryRunTest() {
    Import(
        "part,process,test,subgroup,time,value,lot\nA,P,T,1,2024-01-01,1,L\nA,P,T,2,2024-01-02,2,"
        "L\nA,P,T,3,2024-01-03,3,L\nA,P,T,4,2024-01-04,3,L\n");
    Import("part,process,test,subgroup,time,value,lot\nB,P,T,7,2024-01-07,1,L\n");
    ImportOptions options;
    options.reason = "tool broke";
    Import("flag,subgroup\ndisabled,#5\n", ImportKind::Flags, options);
  }
  // Everything that is stored, but for what says when.
  std::string State() {
    std::string state;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      const auto digest = store::DigestOf(db);
      state = digest.all + " " + std::to_string(digest.rows);
    });
    return state + " " + Data().LogHead().hash;
  }
};

}  // namespace

TEST_F(DryRunTest, ADryRunAnswersAndRefusesAsTheRealOneAndStoresNothing) {
  int refused = 0;
  for (const auto& command : Commands()) {
    SCOPED_TRACE(command.name);
    auto options = BecauseOf("tried first");
    const auto run = [&] {
      std::string answer;
      auto data = Data();
      const auto refusal = RefusalOf([&] { answer = command.run(data, options); });
      return refusal.empty() ? answer : "refused: " + refusal;
    };
    const auto before = State();
    options.dry_run = true;
    const auto tried = run();
    EXPECT_EQ(State(), before);
    EXPECT_EQ(run(), tried) << "twice";
    options.dry_run = false;
    EXPECT_EQ(run(), tried);
    const bool is_refused = tried.starts_with("refused: ");
    EXPECT_EQ(State() == before, is_refused) << tried;
    refused += is_refused ? 1 : 0;
    options.reason.clear();
    options.dry_run = true;
    const auto without_reason = run();
    options.dry_run = false;
    if (without_reason.starts_with("refused: ")) {
      EXPECT_EQ(run(), without_reason);
    }
  }
  EXPECT_EQ(refused, 11);
}

}  // namespace orvspc::engine::change
