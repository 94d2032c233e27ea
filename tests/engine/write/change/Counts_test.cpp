// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include "tests/engine/write/change/change_fixture.h"

namespace orvspc::engine::change {
namespace {

using catalogue::ItemKind;
using enum ValueChange::What;

// Subgroup 1 has three tests: measured values, defectives of 50 units, defects by code.
class CountsTest : public ValuesTest {
 protected:
  CountsTest() {
    Import(
        "part,process,test,subgroup,time,value\nA,P,Width,1,2024-01-01,74\n"
        "A,P,Width,1,2024-01-01,75\n");
    Import(
        "part,process,test,test-type,subgroup,time,size,count,defect,tsno,serial\n"
        "A,P,Looks,defectives,1,2024-01-01,50,3,,,\n"
        "A,P,Flaws,defects,1,2024-01-01,10,2,SC,,\n"
        "A,P,Flaws,defects,1,2024-01-01,10,1,DENT,,\n"
        "A,P,Flaws,defects,1,2024-01-01,10,4,SC,7,\n"
        "A,P,None,defectives,1,2024-01-01,20,0,,,\n"
        "A,P,Twice,defects,1,2024-01-01,20,1,SC,,S1\n"
        "A,P,Twice,defects,1,2024-01-01,20,2,SC,,S2\n");
  }
  std::string RefusalOfSize(std::optional<std::string> test, double size) {
    SubgroupChange change;
    change.size = size;
    std::optional<std::int32_t> of;
    if (test) of = Id(ItemKind::Test, *test);
    return change::RefusalOf([&] { Data().ChangeSubgroups({1}, of, change, Why()); });
  }
  // "SC 2, DENT 1, 7 SC 4 of 10": unit, defect and count of each row, and the size.
  std::string Counts(const char* name) {
    const auto test = Id(ItemKind::Test, name);
    std::string text;
    store::FlatSelection all;
    const auto data = Select(all.info, all.Filter());
    for (std::size_t i = 0; i < data.subgroups.size(); ++i) {
      const auto& each = data.subgroups[i];
      if (each.Test != test) continue;
      for (auto row = each.Test_Start; row <= each.Test_End; ++row) {
        const auto at = static_cast<std::size_t>(row);
        const auto key = data.keys.empty() ? store::RowKey{} : data.keys[at];
        text += text.empty() ? "" : ", ";
        if (key.Tsno != 0) text += std::to_string(key.Tsno) + " ";
        if (key.Def != 0) text += Data().Name(ItemKind::Defect, key.Def) + " ";
        text += std::to_string(static_cast<int>(data.values[at]));
      }
      text += " of " + std::to_string(each.Size);
    }
    return text;
  }
  std::string LatestAfter() { return Data().Log().back().after; }
  void ExpectWhole() {
    LogCheckOptions options;
    options.with_data = true;
    const auto check = Data().VerifyLog(options);
    EXPECT_TRUE(check.finds.empty()) << check.finds.front();
  }
};

}  // namespace

TEST_F(CountsTest, CountsAreCorrectedAddedAndRemoved) {
  ASSERT_EQ(Counts("Looks"), "3 of 50");
  Change("Looks", {Set, 0, 0, 4});
  EXPECT_EQ(Counts("Looks"), "4 of 50");
  EXPECT_TRUE(LatestAfter().starts_with(R"({"value":4,"digest":)")) << LatestAfter();
  ASSERT_EQ(Counts("Flaws"), "SC 2, DENT 1, 7 SC 4 of 10");
  Change("Flaws", {Set, 0, 0, 3, {{"defect", "SC"}}});
  Change("Flaws", {Set, 7, 0, 5});
  Change("Flaws", {Add, 0, 0, 6, {{"defect", "New"}, {"serial", "S9"}}});
  EXPECT_EQ(Counts("Flaws"), "SC 3, DENT 1, New 6, 7 SC 5 of 10");
  EXPECT_TRUE(LatestAfter().starts_with(R"({"defect":"New","serial":"S9","value":6,)"))
      << LatestAfter();
  Change("Flaws", {Remove, 0, 0, 0, {{"defect", "DENT"}}});
  Change("Flaws", {Set, 0, 0, 0, {{"defect", "SC"}}});
  EXPECT_EQ(Counts("Flaws"), "New 6, 7 SC 5 of 10") << "a count of none is none";
  ExpectWhole();
}

TEST_F(CountsTest, ARecordWithoutCountsGetsOneAndLosesItAgain) {
  ASSERT_EQ(Counts("None"), "0 of 20");
  Change("None", {Add, 0, 0, 2, {{"defect", "SC"}}});
  EXPECT_EQ(Counts("None"), "SC 2 of 20");
  Change("None", {Remove, 0, 0, 0});
  EXPECT_EQ(Counts("None"), "0 of 20");
  Change("None", {Set, 0, 0, 1});
  EXPECT_EQ(Counts("None"), "1 of 20");
  ExpectWhole();
}

TEST_F(CountsTest, CountsThatRecordingWouldRefuseAreRefused) {
  EXPECT_EQ(RefusalOf("Looks", {Set, 0, 0, 1.5}),
            "count: #1 Looks: value: must be a whole number between 0 and 1000000000");
  EXPECT_EQ(RefusalOf("Looks", {Set, 0, 0, -1}),
            "count: #1 Looks: value: must be a whole number between 0 and 1000000000");
  EXPECT_EQ(RefusalOf("Looks", {Set, 0, 0, 51}),
            "count: #1 Looks: value: more defectives (51) than units inspected (50)");
  EXPECT_EQ(RefusalOf("Looks", {Add, 0, 0, 48, {{"defect", "SC"}}}),
            "count: #1 Looks: value: more defectives (51) than units inspected (50)");
  EXPECT_EQ(RefusalOf("Looks", {Add, 0, 0, 1}), "stored: #1 Looks: count is there already");
  EXPECT_EQ(RefusalOf("Looks", {Set, 3, 0, 1}), "unknown: #1 Looks: there is no count of unit 3");
  EXPECT_EQ(RefusalOf("Looks", {Set, 0, 0, 1, {{"defect", "SC"}}}),
            "unknown: #1 Looks: there is no count of SC");
  EXPECT_EQ(RefusalOf("Looks", {Set, 0, 0, 1, {{"colour", "red"}}}),
            "unknown: #1 Looks: a value has no colour");
  EXPECT_EQ(RefusalOf("Flaws", {Set, 0, 0, 1}),
            "several: #1 Flaws: 2 values fit (SC, DENT); name one by --defect, --serial or --gage");
  EXPECT_EQ(RefusalOf("Twice", {Set, 0, 0, 5, {{"defect", "SC"}}}),
            "several: #1 Twice: 2 values fit (SC S1, SC S2); name one by --defect, --serial or "
            "--gage");
  Change("Twice", {Set, 0, 0, 5, {{"serial", "S2"}}});
  EXPECT_EQ(Counts("Twice"), "SC 1, SC 5 of 20");
  EXPECT_EQ(RefusalOf("Width", {Add, 0, 0, 5, {{"defect", "SC"}}}),
            "type: #1 Width: has measured values, which have no defect");
}

TEST_F(CountsTest, APieceThatIsAddedGetsItsNames) {
  Change("Width", {Add, 0, 0, 76, {{"gage", "G1"}, {"serial", "S1"}}});
  EXPECT_TRUE(LatestAfter().starts_with(R"({"tsno":3,"gage":"G1","serial":"S1","value":76,)"))
      << LatestAfter();
  EXPECT_EQ(RefusalOf("Width", {Set, 3, 0, 77, {{"gage", "G2"}}}),
            "unknown: #1 Width: there is no piece 3");
  Change("Width", {Set, 3, 0, 77, {{"gage", "G1"}}});
  ExpectWhole();
}

TEST_F(CountsTest, NumbersOfPiecesHaveAnEnd) {
  EXPECT_EQ(RefusalOf("Width", {Add, INT32_MAX, 0, 1}),
            "number: #1 Width: a number of a piece lies between 0 and 1000000000");
  EXPECT_EQ(RefusalOf("Width", {Add, -1, 0, 1}),
            "number: #1 Width: a number of a piece lies between 0 and 1000000000");
  Change("Width", {Add, 1'000'000'000, 0, 1});
  EXPECT_EQ(RefusalOf("Width", {Add, 0, 0, 1}),
            "number: #1 Width: there is no number left after piece 1000000000; --tsno gives "
            "another one");
  Import(
      "part,process,test,test-type,subgroup,time,size,count,tsno\n"
      "A,P,Looks,defectives,2,2024-01-02,50,3,2147483647\n");
  Data().ChangeValue(2, Id(ItemKind::Test, "Looks"), {Set, INT32_MAX, 0, 2}, Why());
  ExpectWhole();
}

TEST_F(CountsTest, SizesAreThoseThatRecordingTakes) {
  EXPECT_EQ(RefusalOfSize("Looks", 2),
            "count: #1 Looks: value: more defectives (3) than units inspected (2)");
  EXPECT_EQ(RefusalOfSize("Looks", 0), "count: #1 Looks: size: must be more than 0");
  EXPECT_EQ(RefusalOfSize("Looks", -5), "count: #1 Looks: size: must lie between 0 and 2147483647");
  EXPECT_EQ(RefusalOfSize("Looks", 3e9),
            "count: #1 Looks: size: must lie between 0 and 2147483647");
  EXPECT_EQ(RefusalOfSize("Looks", std::numeric_limits<double>::quiet_NaN()),
            "count: #1 Looks: size: must lie between 0 and 2147483647");
  EXPECT_EQ(RefusalOfSize("Looks", 50.5),
            "count: #1 Looks: size: must be a whole number, as only that of a test of defects "
            "need not be");
  const std::string measured =
      "type: #1 Width: has measured values, and their number is its size; --test names a test that "
      "counts";
  EXPECT_EQ(RefusalOfSize("Width", 5), measured);
  EXPECT_EQ(RefusalOfSize("Width", 1), measured);
  EXPECT_EQ(RefusalOfSize({}, 60), measured) << "of all tests";
  EXPECT_EQ(RefusalOfSize("Width", 2), "");
  EXPECT_EQ(RefusalOfSize("Looks", 3), "");
  EXPECT_EQ(Counts("Looks"), "3 of 3");
  EXPECT_EQ(RefusalOfSize("Flaws", 2.5), "") << "areas of defects";
  ExpectWhole();
}

}  // namespace orvspc::engine::change
