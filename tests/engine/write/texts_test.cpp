// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "engine/sql/texts.h"
#include "engine/store/digest.h"
#include "engine/write/log/Log.h"
#include "engine/write/settings.h"
#include "tests/engine/store/store_fixture.h"

// Texts that a file could keep and a server could not are refused by both, with the same words.
namespace orvspc::engine::write {
namespace {

using namespace std::string_literals;

const std::string kBad[] = {"ab\xFF"s, "ab\0c"s, "\xED\xA0\x80 abc"s, "abc \xC3"s};
constexpr std::string_view kNoName = "must be 1 to 255 bytes of text without control characters";

class StoredTextsTest : public store::StoreTest {
 protected:
  StoredTextsTest() {
    std::string text = "part,process,test,subgroup,time,value\n";
    for (int i = 0; i < 30; ++i) {
      text += "A,P,T," + std::to_string(i) + ",2024-01-01T00:" + (i < 10 ? "0" : "") +
              std::to_string(i) + ":00Z," + std::to_string(i % 7) + "\n";
    }
    Import(text);
    stream_ = {Id(ItemKind::Part, "A"), Id(ItemKind::Process, "P"), Id(ItemKind::Test, "T")};
    comment_ = Data().AddComment(1, 0, 0, "first", {});
  }

  static ChangeOptions Why(const std::string& reason = "trial run") {
    ChangeOptions options;
    options.reason = reason;
    return options;
  }
  std::string State() {
    std::string state;
    Opened()->ReadOrThrow([&](sql::Connection& db) {
      state = store::DigestOf(db).all + " " +
              std::to_string(sql::Query(db, "SELECT max(seq) FROM log").RunForInt().value_or(0));
    });
    return state;
  }
  void ExpectRefused(const std::string& field, const std::string& bad, std::string_view text,
                     const std::function<void()>& work) {
    const auto before = State();
    try {
      work();
      ADD_FAILURE() << field << " takes " << sql::Shown(bad);
    } catch (const Refused& refused) {
      EXPECT_EQ(refused.Description(), field + ": " + std::string(text));
      EXPECT_EQ(refused.field, field);
      EXPECT_EQ(refused.value, bad);
    } catch (const std::exception& failure) {
      ADD_FAILURE() << field << " " << sql::Shown(bad) << ": " << failure.what();
    }
    EXPECT_EQ(State(), before) << "a refusal changes nothing";
  }

  StreamKey stream_;
  std::int64_t comment_ = 0;
};

TEST_F(StoredTextsTest, WhatIsNoTextIsRefusedWhereverItEnters) {
  for (const auto& bad : kBad) {
    const auto no_text =
        sql::Shown(bad) + " is not text; it takes UTF-8 without control characters";
    const auto refuse_text = [&](const std::string& field, const std::function<void()>& work) {
      ExpectRefused(field, bad, no_text, work);
    };
    const auto refuse_name = [&](const std::string& field, const std::function<void()>& work) {
      ExpectRefused(field, bad, kNoName, work);
    };
    NewRecord record;
    record.part = "A";
    record.process = "P";
    record.test = "T";
    record.pieces.push_back({1.0, 0, 0, "", "", ""});

    refuse_text("text", [&] { Data().AddComment(1, 0, 0, bad, {}); });
    refuse_text("text", [&] { Data().ChangeComment(comment_, bad, Why()); });
    refuse_text("reason", [&] { Data().RemoveComment(comment_, Why(bad)); });
    refuse_text("reason", [&] { Data().ChangeFlag({1}, {}, sfDisabled, Why(bad)); });
    refuse_text("reason", [&] { Data().Set("alarm_needs", "none", {}, bad); });
    refuse_text("station", [&] { Data().Record(record, {"Ann", bad}); });
    refuse_text("station", [&] { Data().Set("alarm_needs", "none", {"Ann", bad}); });
    refuse_name("by", [&] { Data().Record(record, {bad, ""}); });
    refuse_name("by", [&] {
      ImportOptions options;
      options.actor.by = bad;
      Import("part,process,test,subgroup,time,value\nA,P,T,n,2024-02-01,1\n", ImportKind::Values,
             options);
    });
    refuse_name("to", [&] { Data().Rename(ItemKind::Part, "A", bad, Why()); });
    refuse_name("label", [&] {
      SubgroupChange change;
      change.label = bad;
      Data().ChangeSubgroups({1}, {}, change, Why());
    });
    refuse_name("name", [&] {
      Phase phase;
      phase.name = bad;
      phase.start = 1'700'000'000;
      Data().AddPhase(phase, {}, "trial run");
    });
    LimitRequest limits;
    limits.part = stream_.part;
    limits.process = stream_.process;
    limits.test = stream_.test;
    refuse_text("rule", [&] {
      auto request = limits;
      request.rule = bad;
      Data().ProposeLimits(request, Why());
    });
    refuse_text("exclude", [&] {
      auto request = limits;
      request.exclusions.push_back({3, bad});
      Data().ProposeLimits(request, Why());
    });
    record.comments = {bad};
    ExpectRefused("comment", bad, "must be 1 to 4000 characters of text",
                  [&] { Data().Record(record, {}); });
    record.comments.clear();
    record.context["lot"] = bad;
    refuse_name("lot", [&] { Data().Record(record, {}); });
    record.context.clear();
    record.key = bad;
    ExpectRefused("key", bad, "must be 1 to 64 printable characters of ASCII",
                  [&] { Data().Record(record, {}); });
    record.key.clear();
    ExpectRefused("key", bad, "must be 1 to 64 printable characters of ASCII", [&] {
      BatchOptions options;
      options.key = bad;
      auto batch = Data().Begin({}, options);
      batch.Add(record);
      batch.Commit();
    });
  }
}

TEST_F(StoredTextsTest, BlanksAreNoNameAndNoReason) {
  const std::string blanks = "     ";
  const auto refuse = [&](const std::string& field, const std::function<void()>& work) {
    ExpectRefused(field, blanks, "must not be blanks alone", work);
  };
  NewRecord record;
  record.part = "A";
  record.process = "P";
  record.test = "T";
  record.pieces.push_back({1.0, 0, 0, "", "", ""});
  refuse("by", [&] { Data().Record(record, {blanks, ""}); });
  refuse("to", [&] { Data().Rename(ItemKind::Part, "A", blanks, Why()); });
  record.context["lot"] = blanks;
  refuse("lot", [&] { Data().Record(record, {}); });
  record.context.clear();
  record.part = blanks;
  refuse("part", [&] { Data().Record(record, {}, NewNames::Create); });
  for (const std::string reason : {"     ", "\n\t ", "  ab  "}) {
    const auto before = State();
    EXPECT_EQ(store::FailureOf([&] { Data().ChangeFlag({1}, {}, sfDisabled, Why(reason)); }),
              "--reason: say why, in 3 to 500 characters");
    EXPECT_EQ(State(), before);
  }
  Data().ChangeFlag({1}, {}, sfDisabled, Why(" abc "));
  EXPECT_EQ(Data().Log().back().reason, " abc ");
}

TEST_F(StoredTextsTest, ASettingIsCheckedWhereItIsStored) {
  for (const auto& bad : kBad) {
    for (const bool is_name : {true, false}) {
      ExpectRefused(
          is_name ? "name" : "value", bad,
          sql::Shown(bad) + " is not text; it takes UTF-8 without control characters", [&] {
            store::Guarded(*Opened(), [&] {
              Opened()->Write({}, "", [&](log::Writing& writing) {
                StoreSetting(writing, is_name ? bad : "alarm_needs", is_name ? "none" : bad);
              });
            });
          });
    }
  }
}

TEST_F(StoredTextsTest, ANameThatCannotBeStoredIsNotThere) {
  for (const auto& bad : kBad) {
    EXPECT_EQ(Data().Find(ItemKind::Part, bad), std::nullopt);
    EXPECT_EQ(Data().FindDescriptorGroup(bad), std::nullopt);
    EXPECT_EQ(Data().FindDescriptor(1, bad), std::nullopt);
    EXPECT_TRUE(Data().FindSubgroups(bad, "", "", {}).empty());
    ExpectRefused("part", bad, "", [&] {
      try {
        Data().Rename(ItemKind::Part, bad, "B", Why());
      } catch (const Refused& refused) {
        EXPECT_EQ(refused.code, "unknown");
        throw Refused("unknown", refused.field, refused.value, "part: ");
      }
    });
  }
}

TEST_F(StoredTextsTest, TextsOfAllLanguagesComeBackAsTheyWere) {
  const std::string text = "Härte geprüft\n\t\xF0\x9F\x94\xA7 \xE6\xB8\xAC\xE5\xAE\x9A";
  Data().ChangeComment(comment_, text, Why("Маркировка"));
  const std::int32_t subgroups[] = {1};
  EXPECT_EQ(Data().Comments(subgroups).front().note, text);
  Data().Rename(ItemKind::Part, "A", "Größe \xE6\xB8\xAC", Why());
  EXPECT_EQ(Data().Find(ItemKind::Part, "Größe \xE6\xB8\xAC"), stream_.part);
  EXPECT_EQ(Data().Find(ItemKind::Part, "A"), stream_.part) << "an alias";
}

// A file's name may be any bytes.
TEST_F(StoredTextsTest, AnImportKeepsTheNameOfItsFileAsText) {
  const auto file = folder_.File("values\xFF.csv");
  store::WriteFile(file, "part,process,test,subgroup,time,value\nA,P,T,n,2024-02-01,1\n");
  const auto report = Data().Import(file, ImportKind::Values);
  EXPECT_EQ(report.subgroups, 1);
  const auto imports = Data().Imports();
  ASSERT_FALSE(imports.empty());
  const auto is_it = [&](const ListedImport& each) {
    return each.source.ends_with("values\uFFFD.csv");
  };
  EXPECT_TRUE(std::ranges::any_of(imports, is_it));
}

}  // namespace
}  // namespace orvspc::engine::write
