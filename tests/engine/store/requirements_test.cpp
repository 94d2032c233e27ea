// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "tests/engine/store/store_fixture.h"

namespace orvspc::engine::store {
using namespace sql;
using namespace catalogue;
using namespace import;

namespace {

class RequirementImport : public StoreTest {
 protected:
  ImportReport Take(const std::string& text) { return Import(text, ImportKind::Requirements); }
  std::string Refusal(const std::string& text) {
    return ImportFailure(text, ImportKind::Requirements);
  }
};

TEST_F(RequirementImport, EachKindIsStoredUnderItsName) {
  const auto report = Take(
      "process,test,kind,n,part,minutes,grace,from,to,name\n"
      "Press,Width,interval,5,A,30,5,2024-01-01,2024-02-01,\n"
      "Press,Width,shift,3,,,,,,\nPress,Width,lot,1,A,,,,,\nPress,Width,job,2,,,,,,Own\n");
  EXPECT_EQ(report.rows, 4);
  std::vector<std::string> names;
  for (const auto& item : Data().CountedItems(ItemKind::Requirement)) names.push_back(item.name);
  EXPECT_EQ(names, (std::vector<std::string>{"A / Press / Width / 1 per lot",
                                             "A / Press / Width / 5 every 30 min", "Own",
                                             "Press / Width / 3 per shift"}));
}

TEST_F(RequirementImport, RefusalsSayWhatAndWhere) {
  const std::string header = "process,test,kind,n,minutes,grace,from,to,name\n";
  struct {
    const char* line;
    const char* says;
  } const rows[] = {
      {"P,T,hourly,1,,,,,", "interval, shift, lot or job"},
      {"P,T,interval,1,,,,,", "minutes"},
      {"P,T,interval,0,30,,,,", "between 1 and"},
      {"P,T,interval,1,0,,,,", "between 1 and"},
      {"P,T,interval,1,30,-1,,,", "between 0 and"},
      {"P,T,shift,1,30,,,,", "interval only"},
      {"P,T,lot,1,,5,,,", "interval only"},
      {"P,T,shift,1,,,2024-01-02,2024-01-02,", "after from"},
      {",T,shift,1,,,,,", "empty"},
      {"P,T,shift,1,,,,,Same\nP,U,shift,1,,,,,Same", "\"Same\" is there already"},
  };
  for (const auto& row : rows) {
    const auto refusal = Refusal(header + row.line + "\n");
    EXPECT_NE(refusal.find(row.says), std::string::npos) << row.line << ": " << refusal;
  }
  EXPECT_TRUE(Data().CountedItems(ItemKind::Requirement).empty()) << "the database is unchanged";
}

TEST_F(RequirementImport, ANameThatIsStoredIsRefused) {
  const std::string text = "process,test,kind,n\nP,T,shift,1\n";
  Take(text);
  EXPECT_NE(Refusal(text).find("\"P / T / 1 per shift\" is there already"), std::string::npos);
}

TEST_F(RequirementImport, ShiftStartsAreTimesOfDay) {
  Data().Set("shift_starts", "05:30 17:30");
  EXPECT_EQ(Data().Setting("shift_starts"), "05:30 17:30");
  for (const char* wrong : {"", "6", "22:00 06:00", "06:00 06:00", "24:00", "06:00,14:00"}) {
    EXPECT_NE(FailureOf([&] { Data().Set("shift_starts", wrong); }), "") << wrong;
  }
  EXPECT_EQ(Data().Setting("shift_starts"), "05:30 17:30");
}

}  // namespace
}  // namespace orvspc::engine::store
