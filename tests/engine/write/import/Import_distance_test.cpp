// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "tests/engine/write/import/import_fixture.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

// More subgroups than are held at a time, whose lines come in two rounds.
TEST_F(ImportTest, LinesOfASubgroupMayLieFarApart) {
  constexpr int kSubgroups = 40000;
  std::string text = "part,process,test,subgroup,time,value,sbno\n";
  for (int round = 0; round < 2; ++round) {
    for (int i = 1; i <= kSubgroups; ++i) {
      const auto number = std::to_string(i);
      text += "A,P,T," + number + ",2024-01-01," + std::to_string(round) + "," +
              (i == 1 ? "1" : "") + "\n";
    }
  }
  const auto report = Import(text);
  EXPECT_EQ(report.subgroups, kSubgroups);
  EXPECT_EQ(report.rows,
            2 * kSubgroups + 2);  // the two pieces of readings have values of their own
  const auto data = Everything();
  ASSERT_EQ(data.subgroups.size(), static_cast<std::size_t>(kSubgroups));
  ASSERT_EQ(data.values.size(), static_cast<std::size_t>(2 * kSubgroups + 2));
  for (std::size_t i = 0; i < data.subgroups.size(); i += 997) {
    if (i == 0) continue;
    EXPECT_EQ(data.Row(i, 0).Val, 0.0);
    EXPECT_EQ(data.Row(i, 1).Val, 1.0);
    EXPECT_EQ(data.Row(i, 1).Tsno, 2);
    EXPECT_EQ(data.subgroups[i].Size, 2);
  }
}

// A file whose subgroup is written before its next line is read says the same as one whose lines
// are held together.
class DistanceTest : public ImportTest {
 protected:
  // What a file of these lines leads to, with a line of another part after each: the refusal, or
  // what is stored of part A.
  std::string Outcome(const std::string& header, const std::vector<std::string>& lines,
                      std::size_t held) {
    const auto more = static_cast<std::size_t>(std::count(header.begin(), header.end(), ',') - 5);
    std::string text = header + "\n";
    for (std::size_t i = 0; i < lines.size(); ++i) {
      text += "A,P,T,1,2024-01-01," + lines[i] + "\n";
      text += "B,P,other," + std::to_string(i) + ",2024-01-01,1" + std::string(more, ',') + "\n";
    }
    return OutcomeOf(text, held);
  }
  std::string OutcomeOf(const std::string& text, std::size_t held) {
    db_.reset();
    folder_.RemoveStore("q.db");
    ImportOptions options;
    options.most_held = held;
    auto message = FailureOf([&] { Import(text, ImportKind::Values, options); });
    if (!message.empty()) return message;
    std::string outcome = std::to_string(CountOf("comment")) + " comments";
    FlatSelection a;
    a.List(FlatSelection::kPart, {Id(ItemKind::Part, "A")});
    const auto data = Select(a.info, a.Filter());
    for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
      const auto& head = data.subgroups[i];
      for (const auto id : {head.Test, head.Size, head.Flag, head.Job, head.Lot, head.Shft}) {
        outcome += " " + std::to_string(id);
      }
      for (auto row = head.Test_Start; row <= head.Test_End; ++row) {
        const auto test = data.Row(i, static_cast<std::size_t>(row - head.Test_Start));
        outcome += "; " + std::to_string(test.Tsno) + "/" + std::to_string(test.Sbno) + " " +
                   std::to_string(test.Def) + ": " + std::to_string(test.Val);
      }
    }
    return outcome;
  }
};

TEST_F(DistanceTest, WhatAFileMaySayDoesNotDependOnHowFarItsLinesLieApart) {
  struct Row {
    const char* why;
    const char* columns;
    std::vector<std::string> lines;  // behind part to time
    const char* refused;             // null: stored
  };
  const Row rows[] = {
      {"flags", "value,flag", {"5,disabled", "6,enabled"}, "column \"flag\", value \"enabled\""},
      {"flag 0 first", "value,flag", {"5,0", "6,disabled"}, "column \"flag\", value \"disabled\""},
      {"flag later", "value,flag", {"5,", "6,2"}, nullptr},
      {"flag once", "value,flag", {"5,disabled", "6,"}, nullptr},
      {"three lines", "value,flag", {"5,", "6,", "7,1"}, nullptr},
      {"flag in the middle", "value,flag", {"5,", "6,1", "7,2"}, "value \"2\""},
      {"sizes", "value,size", {"5,1", "6,2"}, "column \"size\", value \"2\""},
      {"size later", "value,size", {"5,", "6,9"}, nullptr},
      {"size is the count so far", "value,size", {"5,1", "6,"}, nullptr},
      {"size of a count later", "count,size", {"2,", "1,50"}, nullptr},
      {"size 0 of a count", "count,size", {"2,0", "1,50"}, "column \"size\", value \"50\""},
      {"job and lot", "value,job,lot", {"5,J,", "6,,L"}, nullptr},
      {"jobs", "value,job,lot", {"5,J,L", "6,K,"}, "column \"job\", value \"K\""},
      {"shifts", "value,job,shift", {"5,J,S", "6,J,T"}, "column \"shift\", value \"T\""},
      {"comment twice", "value,comment", {"5,late", "6,late"}, nullptr},
      {"other comment", "value,comment", {"5,late", "6,later"}, nullptr},
      {"comment of another employee", "value,comment,employee", {"5,late,", "6,late,E"}, nullptr},
      {"readings go on", "value,sbno", {"5,1", "7,2"}, nullptr},
      {"next piece", "value,sbno", {"5,2", "7,1"}, nullptr},
      {"piece behind readings", "value,sbno", {"5,1", "7,"}, nullptr},
      {"given and counted", "value,tsno", {"5,3", "6,", "7,1"}, nullptr},
      {"piece twice", "value,tsno", {"5,3", "6,3"}, "column \"tsno\", value \"3\""},
      {"value of readings", "value,tsno,sbno", {"5,1,1", "7,1,2", "100,1,0"}, nullptr},
      {"too many", "count,size", {"3,5", "3,5"}, "value \"1\": more defectives (6)"},
      {"too many before the end", "count,size", {"6,5", "3,5"}, "more defectives (6)"},
      {"size later and too small", "count,size", {"6,", "3,5"}, "more defectives (9)"},
      {"type later", "count,size,test-type", {"6,5,", "0,5,defectives"}, "more defectives (6)"},
      {"defects after all", "count,size,defect", {"6,5,", "3,5,X"}, nullptr},
      {"fraction of defects", "count,size,test-type", {"6,2.5,defects", "3,2.5,"}, nullptr},
      {"fraction of defects, later", "count,size,defect", {"6,2.5,", "3,,X"}, nullptr},
      {"fractions differ",
       "count,size,test-type",
       {"1,2.5,defects", "1,2.25,"},
       "column \"size\", value \"2.25\""},
      {"fraction of defectives",
       "count,size",
       {"1,2.5", "0,2.5"},
       "as only that of a test of defects"},
      {"type of a fraction later",
       "count,size,test-type",
       {"0,2.5,", "1,,defectives"},
       "as only that of a test of defects"},
      {"fraction of pieces", "value,size", {"5,1.5", "6,1.5"}, "is no whole number"},
      {"size below 0", "count,size,test-type", {"1,-0.5,defects", "1,,"}, "value \"-0.5\""},
  };
  for (const auto& row : rows) {
    const auto header = std::string("part,process,test,subgroup,time,") + row.columns;
    const auto near = Outcome(header, row.lines, 100);
    const auto far = Outcome(header, row.lines, 1);
    EXPECT_EQ(far, near) << row.why;
    if (row.refused == nullptr) {
      EXPECT_EQ(near.find("line "), std::string::npos) << row.why << ": " << near;
    } else {
      EXPECT_NE(near.find(row.refused), std::string::npos) << row.why << ": " << near;
    }
  }
}

// So much text that the lines of a subgroup are written while more of them follow.
TEST_F(DistanceTest, LongCommentsOfOneSubgroupAreWrittenBetweenItsLines) {
  constexpr int kLines = 60;
  const auto outcome = [&](std::size_t length, const char* last_size) {
    std::string text = "comment,part,process,test,subgroup,time,value,size\n";
    for (int i = 0; i < kLines; ++i) {
      // Each comment twice, and with other words in the next line.
      text += std::string(length, static_cast<char>('A' + i / 2)) + ",A,P,T,1,2024-01-01," +
              std::to_string(i) + (i == 3 ? ",9\n" : ",\n");
    }
    return OutcomeOf(text + ",A,P,T,1,2024-01-01,7," + last_size + "\n", 100);
  };
  constexpr std::size_t kLong = 900'000;
  const auto near = outcome(10, "");
  EXPECT_TRUE(near.starts_with("30 comments")) << near;
  EXPECT_EQ(outcome(kLong, ""), near);
  EXPECT_NE(outcome(kLong, "8").find("line 62, column \"size\", value \"8\": differs"),
            std::string::npos);
}

// What is written first fails here, so this shows how far the file was read by then.
TEST_F(ImportTest, LongCommentsAreWrittenOnTheWay) {
  constexpr int kLines = 70'000;
  Db();
  RunSql(Path(), "ALTER TABLE comment RENAME COLUMN note TO words");
  std::string text = "comment,part,process,test,subgroup,time,value\n";
  for (int i = 0; i < kLines; ++i) {
    const auto number = std::to_string(i);
    text += std::string(600, 'x') + number + ",A,P,T," + number + ",2024-01-01,5\n";
  }
  double part_read = 0.0;
  ImportOptions options;
  options.most_held = kLines + 1;
  options.progress = [&](std::int64_t done, std::int64_t size) {
    part_read = static_cast<double>(done) / static_cast<double>(size);
  };
  EXPECT_NE(FailureOf([&] { Import(text, ImportKind::Values, options); }), "");
  EXPECT_LT(part_read, 0.5);
}

// The faults lie in lines after those of a full batch, which are written by then.
TEST_F(ImportTest, LinesAreCountedAcrossBatches) {
  constexpr int kRecords = 41'000;
  ASSERT_GT(static_cast<std::size_t>(kRecords), ImportOptions().most_held);
  const std::pair<const char*, const char*> faults[] = {
      {"last,2024-01-01,bad,,J", "column \"value\", value \"bad\""},
      {"7,2024-01-01,5,1,J", "column \"tsno\", value \"1\": the subgroup has this piece"},
      {"7,2024-01-01,5,2,K", "column \"job\", value \"K\": differs from an earlier line"},
  };
  std::string text = "part,process,test,subgroup,time,value,tsno,job\n";
  for (int i = 0; i < kRecords; ++i) {
    const auto number = std::to_string(i);
    text += "A,P,T," + number + ",2024-01-01," + number + ",1,J\n";
    if (i % 20'000 == 0) text += "\n";  // counts as a line
  }
  const auto place = "line " + std::to_string(kRecords + 5) + ", ";
  for (const auto& [fault, reason] : faults) {
    const auto message = ImportFailure(text + "A,P,T," + fault + "\n");
    EXPECT_NE(message.find(place + reason), std::string::npos) << message;
  }
  EXPECT_EQ(CountOf("batch"), 0);
}

}  // namespace
}  // namespace orvspc::engine::import
