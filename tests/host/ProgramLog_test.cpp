// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tests/host/ParsedJson.h"
#include "tests/host/program_fixture.h"

namespace orvspc::host {

namespace {

TEST_F(Program, TheLogIsListedInEveryFormat) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db --by Ann --station 'gauge 7' --reason 'first shift' "
                "--hash-source")
                .status,
            0);
  ASSERT_EQ(Run("edit flag '#1' --to disabled --reason 'tool, \"old\"' --by Bob --db q.db").status,
            0);
  const auto text = Run("log --db q.db");
  EXPECT_EQ(text.status, 0) << text.err;
  for (const auto* part : {"Ann", "first shift", "batch 1", "subgroup 1 test 1", "edit-flag"}) {
    EXPECT_NE(text.out.find(part), std::string::npos) << part;
  }
  const auto json = ParseJson(Run("log --db q.db --format json").out);
  const auto& entries = json.At("Log").elements;
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[1].At("Who").text, "Ann");
  EXPECT_EQ(entries[1].At("Station").text, "gauge 7");
  EXPECT_EQ(entries[2].At("Hash").text, json.At("Head").text);
  const auto csv = Run("log --db q.db --format csv").out;
  EXPECT_EQ(csv.rfind("seq,at,who,system,station,operation,object,before,after,reason,program,"
                      "hash\r\n1,",
                      0),
            0U)
      << csv;
  EXPECT_NE(csv.find(",\"tool, \"\"old\"\"\","), std::string::npos) << csv;
  const auto html = Run("log --db q.db --format html").out;
  EXPECT_NE(html.find("tool, &quot;old&quot;"), std::string::npos);
  EXPECT_EQ(html.find("<script"), std::string::npos);
  EXPECT_EQ(
      ParseJson(Run("log --db q.db --object '#1' --format json").out).At("Log").elements.size(),
      1U);
  EXPECT_EQ(
      ParseJson(Run("log --db q.db --by Ann --max 1 --format json").out).At("Log").elements.size(),
      1U);
  EXPECT_EQ(Run("log --db q.db --data").status, 2);
  EXPECT_EQ(Run("log --db q.db --since yesterday").status, 2);
  EXPECT_EQ(Run("log --db q.db --by Zoe").out, "no entries\n");
  EXPECT_NE(Run("log --db q.db --by Zoe --format html").out.find("no entries"), std::string::npos);
}

TEST_F(Program, ACheckOfTheLogTakesNoFilterAndNoFormat) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  for (const auto* option : {"--object '#1'", "--by Ann", "--since 2024-01-01",
                             "--until 2024-01-01", "--operation import", "--max 1"}) {
    const auto checked = Run("log --db q.db --verify " + std::string(option));
    EXPECT_EQ(checked.status, 2) << option;
    EXPECT_NE(checked.err.find("--verify checks the whole log"), std::string::npos) << checked.err;
  }
  EXPECT_EQ(Run("log --db q.db --verify --format json").status, 2);
  EXPECT_EQ(Run("log --db q.db --verify --format text").status, 0);
  const auto to_file = Run("log --db q.db --verify --output checked.txt");
  EXPECT_EQ(to_file.status, 0) << to_file.err;
  EXPECT_EQ(to_file.out, "");
  EXPECT_TRUE(Text(folder_.File("checked.txt")).starts_with("2 entries, whole"));
}

TEST_F(Program, TheLogIsVerifiedAndAnchored) {
  Write("v.csv", "part,process,test,subgroup,time,value\nA,P,T,1,2024-01-01,5\n");
  ASSERT_EQ(Run("import v.csv --db q.db").status, 0);
  const auto head = Run("log --db q.db --head");
  EXPECT_EQ(Run("log --db q.db --anchor anchors").out, head.out);
  const auto whole = Run("log --db q.db --verify --data --anchor anchors");
  EXPECT_EQ(whole.status, 0) << whole.err;
  EXPECT_EQ(whole.out.rfind("2 entries, whole, head", 0), 0U) << whole.out;
  EXPECT_NE(whole.out.find("1 batch and 1 record compared, all as they were stored"),
            std::string::npos)
      << whole.out;
  EXPECT_EQ(Run("log --db q.db --verify --anchor none").status, 1);
  Write("others", "2c4f8a70-1111-4222-8333-444455556666 2 aa 2024-01-01T00:00:00\n");
  const auto none = Run("log --db q.db --verify --anchor others");
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err, "orvspc log: others: has no line of this database\n");
  EXPECT_EQ(none.out, "") << "nothing is said of the log";
  EXPECT_EQ(Run("log --db q.db --object 1").out, Run("log --db q.db --object '#1'").out);
  EXPECT_EQ(Run("log --db q.db --object 1").out, Run("log --db q.db --object 'subgroup 1'").out);
  Write("wrong", head.out.substr(0, 38) + " aa 2024-01-01T00:00:00\n");
  const auto wrong = Run("log --db q.db --verify --anchor wrong");
  EXPECT_EQ(wrong.status, 1);
  EXPECT_EQ(wrong.err, "log: wrong line 1: entry 2 has another hash than it had then\n");
  EXPECT_EQ(wrong.out.rfind("2 entries, not whole, head", 0), 0U) << wrong.out;
}

}  // namespace
}  // namespace orvspc::host
