// SPDX-License-Identifier: Apache-2.0
#include "host/cli/study/DataFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/cli/Options.h"

namespace orvspc::cli {
namespace {

template <class Use>
std::string RefusalOf(Use use) {
  try {
    use();
  } catch (const Refusal& refusal) {
    return refusal.what();
  }
  return "nothing was refused";
}

TEST(DataFile, ReadsQuotedCellsUnderHeadingsInAnyCase) {
  const DataFile file("a.csv",
                      "\xef\xbb\xbfPart, VALUE\r\n\"a, \"\"b\"\"\", 1.5\r\n\n\"two\nlines\",\n");
  ASSERT_EQ(file.Rows(), 2U);
  EXPECT_EQ(file.Column({"y", "value"}), 1U);
  EXPECT_EQ(file.Text(0, 0), "a, \"b\"");
  EXPECT_EQ(file.Number(0, 1), 1.5);
  EXPECT_EQ(file.Text(1, 0), "two\nlines");
  EXPECT_TRUE(std::isnan(file.NumberOrNone(1, 1)));
  EXPECT_FALSE(file.Find({"operator"}));
}

TEST(DataFile, SplitsAtSemicolonsWhereTheHeadingsDo) {
  const DataFile file("a.csv", "part;value\na,b;2\n");
  EXPECT_EQ(file.Text(0, 0), "a,b");
  EXPECT_EQ(file.Number(0, 1), 2.0);
}

TEST(DataFile, SaysWhereAValueIsWrong) {
  const DataFile file("a.csv", "part,value\n\n\"1\n\",x\n2,\n3,nan\n");
  EXPECT_EQ(RefusalOf([&] { file.Number(0, 1); }),
            "a.csv: line 3, column \"value\", value \"x\": is no number");
  EXPECT_EQ(RefusalOf([&] { file.Number(1, 1); }), "a.csv: line 5, column \"value\": is empty");
  EXPECT_EQ(RefusalOf([&] { file.Number(2, 1); }),
            "a.csv: line 6, column \"value\", value \"nan\": is no number");
}

TEST(DataFile, RefusesWhatIsNoTable) {
  const auto refusal = [](const char* text) {
    return RefusalOf([&] { DataFile("a.csv", text).Column({"value", "y"}); });
  };
  EXPECT_EQ(refusal(""), "a.csv: there is no line of headings");
  EXPECT_EQ(refusal("a,b\n1\n"), "a.csv: line 2: the line has 1 cell, the headings are 2");
  EXPECT_EQ(refusal("a,A\n"), "a.csv: line 1: there are two columns \"A\"");
  EXPECT_EQ(refusal("a,b\n1,\"2\n"), "a.csv: line 2: a quote is not closed");
  EXPECT_EQ(refusal("a,b\n"), "a.csv: line 1: there is no column \"value\" or \"y\"");
}

}  // namespace
}  // namespace orvspc::cli
