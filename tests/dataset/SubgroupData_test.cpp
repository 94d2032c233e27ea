// SPDX-License-Identifier: Apache-2.0
#include "dataset/SubgroupData.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::Comment;
using fake::DataRows;
using fake::Descriptor;
using fake::FailureOf;
using fake::MakeArray;
using fake::NumberOf;
using fake::Subgroup;
using fake::Value;

using Ids = std::vector<std::int32_t>;

class SubgroupDataTest : public ::testing::Test {
 protected:
  fake::FakeScope outside_;
  SubgroupData data_;
};

// Three subgroups of the tests 5, 7, 5; the second has one row.
DataRows ThreeSubgroups() {
  DataRows rows;
  rows.subgroups = {Subgroup(11, 5, 0, 2), Subgroup(12, 7, 3, 3), Subgroup(13, 5, 4, 5)};
  rows.tests = {Value(1.5), Value(2.5, 2), Value(3.5, 3), Value(4.5), Value(5.5), Value(6.5, 2)};
  return rows;
}

TEST_F(SubgroupDataTest, AnEmptySetAnswersDefaultsEverywhere) {
  EXPECT_EQ(data_.TotalSubgroups(), 0);
  EXPECT_EQ(data_.TotalTests(), 0);
  EXPECT_EQ(data_.TotalDescriptors(), 0);
  EXPECT_EQ(data_.TotalGroups(), 0);
  EXPECT_EQ(data_.CurrentIndex(), 1);
  EXPECT_EQ(data_.GroupIndex(), 1);
  EXPECT_EQ(data_.GroupID(), 0);
  EXPECT_EQ(data_.Sgtm(), 0.0);
  EXPECT_EQ(data_.Flag(), sfEnabled);
  for (const auto get :
       {&SubgroupData::Sgrp, &SubgroupData::Part, &SubgroupData::Prcs, &SubgroupData::Test,
        &SubgroupData::Job, &SubgroupData::Lot, &SubgroupData::Shft, &SubgroupData::Ptrv,
        &SubgroupData::Wkst, &SubgroupData::Size, &SubgroupData::Empl})
    EXPECT_EQ((data_.*get)(), 0);
  for (const auto has :
       {&SubgroupData::HasNotEnabled, &SubgroupData::HasJobs, &SubgroupData::HasLots,
        &SubgroupData::HasShifts, &SubgroupData::HasPartRevisions, &SubgroupData::HasWorkstations,
        &SubgroupData::HasEmployees, &SubgroupData::HasSNs})
    EXPECT_FALSE((data_.*has)());
  EXPECT_EQ(data_.GetTestIDs(), Ids());
  EXPECT_EQ(data_.GetDescriptorGroupIDs(), std::nullopt);
  EXPECT_FALSE(data_.HasDefects());
  EXPECT_FALSE(data_.HasDefects(4));
}

TEST_F(SubgroupDataTest, SlicesOfAnEmptySetAreEmptyObjects) {
  EXPECT_EQ(data_.TestData()->Count(), 0);
  EXPECT_EQ(data_.TestData()->CurrentIndex(), 0);
  EXPECT_EQ(data_.DescriptorData()->Count(), 0);
  EXPECT_EQ(data_.DescriptorData()->CurrentIndex(), 0);
  EXPECT_EQ(data_.CommentData()->Count(), 0);
  EXPECT_EQ(data_.CommentData()->CurrentIndex(), 0);
}

TEST_F(SubgroupDataTest, NoMoveOfAnEmptySetSucceeds) {
  EXPECT_FALSE(data_.MoveFirst() || data_.MoveLast() || data_.MoveNext() || data_.MovePrev());
  EXPECT_FALSE(data_.MoveTo(1));
  EXPECT_EQ(data_.CurrentIndex(), 1);
}

TEST_F(SubgroupDataTest, MovesOutsideTheRowsChangeNothing) {
  ThreeSubgroups().LoadInto(data_);
  ASSERT_TRUE(data_.MoveTo(2));
  using Limits = std::numeric_limits<std::int32_t>;
  for (const std::int32_t index : {0, 4, -1, Limits::min(), Limits::max()}) {
    EXPECT_FALSE(data_.MoveTo(index)) << index;
    EXPECT_EQ(data_.CurrentIndex(), 2) << index;
  }
}

TEST_F(SubgroupDataTest, TheCursorStaysAtBothEnds) {
  ThreeSubgroups().LoadInto(data_);
  EXPECT_EQ(data_.CurrentIndex(), 1);
  EXPECT_FALSE(data_.MovePrev());
  EXPECT_TRUE(data_.MoveNext());
  EXPECT_TRUE(data_.MoveNext());
  EXPECT_FALSE(data_.MoveNext());
  EXPECT_EQ(data_.CurrentIndex(), 3);
  EXPECT_TRUE(data_.MoveFirst());
  EXPECT_EQ(data_.Sgrp(), 11);
  EXPECT_TRUE(data_.MoveLast());
  EXPECT_EQ(data_.Sgrp(), 13);
}

TEST_F(SubgroupDataTest, OneRowIsFirstAndLast) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 1, 0, 0)};
  rows.LoadInto(data_);
  EXPECT_TRUE(data_.MoveFirst());
  EXPECT_TRUE(data_.MoveLast());
  EXPECT_FALSE(data_.MoveNext());
  EXPECT_FALSE(data_.MovePrev());
}

TEST_F(SubgroupDataTest, FieldsAreThoseOfTheCurrentSubgroup) {
  API_SubgroupData row{};
  row.Sgrp = 1, row.Part = 2, row.Prcs = 3, row.Test = 4, row.Wkst = 5, row.Job = 6, row.Lot = 7;
  row.Shft = 8, row.Ptrv = 9, row.Empl = 10, row.Sgtm = 86400, row.Size = 12;
  row.Flag = sfIncomplete;
  DataRows rows;
  rows.subgroups = {API_SubgroupData{}, row};
  rows.LoadInto(data_);
  ASSERT_TRUE(data_.MoveLast());
  EXPECT_EQ(data_.Sgrp(), 1);
  EXPECT_EQ(data_.Part(), 2);
  EXPECT_EQ(data_.Prcs(), 3);
  EXPECT_EQ(data_.Test(), 4);
  EXPECT_EQ(data_.Wkst(), 5);
  EXPECT_EQ(data_.Job(), 6);
  EXPECT_EQ(data_.Lot(), 7);
  EXPECT_EQ(data_.Shft(), 8);
  EXPECT_EQ(data_.Ptrv(), 9);
  EXPECT_EQ(data_.Empl(), 10);
  EXPECT_EQ(data_.Sgtm(), 25570.0);
  EXPECT_EQ(data_.Size(), 12);
  EXPECT_EQ(data_.Flag(), sfIncomplete);
}

TEST_F(SubgroupDataTest, TheSameSliceUntilAMoveSucceeds) {
  DataRows rows = ThreeSubgroups();
  rows.descriptors = {Descriptor(11, 1, 1)};
  rows.comments = {Comment(11, 0, "x")};
  rows.LoadInto(data_);
  ASSERT_TRUE(data_.MoveTo(2));
  const auto tests = data_.TestData();
  const auto descriptors = data_.DescriptorData();
  const auto comments = data_.CommentData();
  EXPECT_EQ(data_.TestData(), tests);
  EXPECT_FALSE(data_.MoveTo(4));
  EXPECT_EQ(data_.TestData(), tests);
  EXPECT_EQ(data_.DescriptorData(), descriptors);
  EXPECT_EQ(data_.CommentData(), comments);
  EXPECT_TRUE(data_.MoveNext());
  EXPECT_NE(data_.TestData(), tests);
  EXPECT_NE(data_.DescriptorData(), descriptors);
  EXPECT_NE(data_.CommentData(), comments);
  EXPECT_EQ(tests->Val(), 4.5) << "a slice keeps its own rows";
  const auto last = data_.TestData();
  EXPECT_FALSE(data_.MoveNext());
  EXPECT_EQ(data_.TestData(), last);
}

TEST_F(SubgroupDataTest, AMoveToTheSameRowForgetsTheSlicesToo) {
  ThreeSubgroups().LoadInto(data_);
  const auto tests = data_.TestData();
  EXPECT_TRUE(data_.MoveTo(1));
  EXPECT_NE(data_.TestData(), tests);
}

TEST_F(SubgroupDataTest, LoadingLeavesTheCachedSlicesInPlace) {
  ThreeSubgroups().LoadInto(data_);
  const auto tests = data_.TestData();
  DataRows().LoadInto(data_);
  EXPECT_EQ(data_.TestData(), tests);
  EXPECT_EQ(data_.TotalTests(), 0);
}

TEST_F(SubgroupDataTest, TestRowsAreThoseFromStartToEndInclusive) {
  ThreeSubgroups().LoadInto(data_);
  auto tests = data_.TestData();
  EXPECT_EQ(tests->Count(), 3);
  EXPECT_EQ(tests->CurrentIndex(), 1);
  EXPECT_TRUE(tests->MoveLast());
  EXPECT_EQ(tests->Val(), 3.5);
  ASSERT_TRUE(data_.MoveNext());
  tests = data_.TestData();
  EXPECT_EQ(tests->Count(), 1) << "start 3, end 3";
  EXPECT_EQ(tests->Val(), 4.5);
}

TEST_F(SubgroupDataTest, Start3AndEnd3IsOneRow) {
  DataRows rows = ThreeSubgroups();
  rows.subgroups = {Subgroup(1, 5, 3, 3)};
  rows.LoadInto(data_);
  const auto tests = data_.TestData();
  EXPECT_EQ(tests->Count(), 1);
  EXPECT_EQ(tests->Val(), 4.5);
  EXPECT_FALSE(tests->MoveNext());
}

TEST_F(SubgroupDataTest, ASubgroupWhoseRowsLieOutsideFailsWith9) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::pair<std::int32_t, std::int32_t> rows[] = {
      {0, 1}, {-1, 0}, {0, -1}, {1, 0}, {0, Limits::max()}, {Limits::min(), Limits::max()}};
  for (const auto& [first, last] : rows) {
    DataRows data;
    data.subgroups = {Subgroup(1, 1, first, last)};
    data.tests = {Value(1.0)};
    data.LoadInto(data_);
    const Failure failure = FailureOf([&] { data_.TestData(); });
    EXPECT_EQ(failure.Number(), 9) << first << ".." << last;
    EXPECT_EQ(failure.Source(), "SubgroupData.TestData(g)|orvSPCAnalysis6");
  }
}

TEST_F(SubgroupDataTest, RowsWithoutSubgroupsFailWith9) {
  DataRows rows;
  rows.tests = {Value(1.0)};
  rows.descriptors = {Descriptor(0, 1, 1)};
  rows.comments = {Comment(0, 0, "")};
  rows.LoadInto(data_);
  EXPECT_EQ(NumberOf([&] { data_.TestData(); }), 9);
  EXPECT_EQ(NumberOf([&] { data_.DescriptorData(); }), 9);
  EXPECT_EQ(NumberOf([&] { data_.CommentData(); }), 9);
}

TEST_F(SubgroupDataTest, DescriptorsAreThoseOfTheSubgroupInOrder) {
  DataRows rows = ThreeSubgroups();
  rows.descriptors = {Descriptor(13, 1, 1), Descriptor(11, 9, 2), Descriptor(13, 2, 3),
                      Descriptor(11, 8, 4), Descriptor(13, 1, 5)};
  rows.LoadInto(data_);
  const auto all = [&] {
    Ids found;
    const auto slice = data_.DescriptorData();
    if (slice->MoveFirst()) {
      do found.push_back(slice->Desc());
      while (slice->MoveNext());
    }
    return found;
  };
  EXPECT_EQ(all(), (Ids{2, 4}));
  data_.MoveNext();
  EXPECT_EQ(all(), Ids());
  data_.MoveNext();
  EXPECT_EQ(all(), (Ids{1, 3, 5}));
}

TEST_F(SubgroupDataTest, CommentsAreThoseOfTheTestAndOfTheWholeSubgroup) {
  DataRows rows;
  rows.subgroups = {Subgroup(1, 4, 0, 0)};
  rows.comments = {Comment(1, 5, "other test"), Comment(1, 4, "own test"), Comment(1, 0, "whole"),
                   Comment(2, 4, "other subgroup")};
  rows.LoadInto(data_);
  const auto comments = data_.CommentData();
  ASSERT_EQ(comments->Count(), 2);
  EXPECT_EQ(comments->Test(), 4);
  EXPECT_TRUE(comments->MoveNext());
  EXPECT_EQ(comments->Test(), 0);
}

TEST_F(SubgroupDataTest, GroupsComeFromTheLoadedArrays) {
  ThreeSubgroups().LoadInto(data_);
  EXPECT_EQ(data_.TotalGroups(), 3);
  EXPECT_EQ(data_.GroupIndex(), 1);
  data_.LoadGroupArrays(Friend(), MakeArray(Ids{0, 2}), MakeArray(Ids{1, 2}),
                        MakeArray(Ids{0, 0, 1}), MakeArray(Ids{70, 70, 80}));
  EXPECT_EQ(data_.TotalGroups(), 2);
  ASSERT_TRUE(data_.MoveLast());
  EXPECT_EQ(data_.GroupIndex(), 2);
  EXPECT_EQ(data_.GroupID(), 80);
  data_.LoadGroupArrays(Friend(), {}, {}, {}, {});
  EXPECT_EQ(data_.TotalGroups(), 3);
  EXPECT_EQ(data_.GroupIndex(), 3);
  EXPECT_EQ(data_.GroupID(), 0);
}

TEST_F(SubgroupDataTest, GroupArraysThatAreTooShortFailWith9) {
  ThreeSubgroups().LoadInto(data_);
  data_.LoadGroupArrays(Friend(), MakeArray(Ids{0}), MakeArray(Ids{2}), MakeArray(Ids{0}), {});
  data_.MoveLast();
  EXPECT_EQ(FailureOf([&] { data_.GroupIndex(); }).Source(),
            "SubgroupData.GroupIndex(g)|orvSPCAnalysis6");
  EXPECT_EQ(NumberOf([&] { data_.GroupID(); }), 9);
}

TEST_F(SubgroupDataTest, LoadingForgetsCursorGroupsAndAnswers) {
  DataRows rows = ThreeSubgroups();
  rows.subgroups[2].Job = 1;
  rows.tests[0].Def = 1;
  rows.LoadInto(data_);
  data_.LoadGroupArrays(Friend(), MakeArray(Ids{0, 2}), MakeArray(Ids{1, 2}),
                        MakeArray(Ids{0, 0, 1}), MakeArray(Ids{7, 7, 7}));
  data_.MoveLast();
  EXPECT_TRUE(data_.HasJobs());
  EXPECT_TRUE(data_.HasDefects());
  EXPECT_EQ(data_.GetTestIDs(), (Ids{5, 7}));

  rows.subgroups = {Subgroup(1, 3, 0, 0)};
  rows.tests = {Value(1.0)};
  rows.LoadInto(data_);
  EXPECT_EQ(data_.CurrentIndex(), 1);
  EXPECT_EQ(data_.TotalGroups(), 1);
  EXPECT_EQ(data_.GroupID(), 0);
  EXPECT_FALSE(data_.HasJobs());
  EXPECT_FALSE(data_.HasDefects());
  EXPECT_EQ(data_.GetTestIDs(), Ids{3});
}

TEST_F(SubgroupDataTest, TheNumberOfGroupsIsThatOfTheirStarts) {
  ThreeSubgroups().LoadInto(data_);
  data_.LoadGroupArrays(Friend(), MakeArray(Ids{0, 2}), MakeArray(Ids{2}), MakeArray(Ids{0, 0, 1}),
                        MakeArray(Ids{7}));
  EXPECT_EQ(data_.TotalGroups(), 2);
  EXPECT_EQ(data_.GroupID(), 7);
  data_.LoadGroupArrays(Friend(), {}, MakeArray(Ids{1, 2}), MakeArray(Ids{0, 0, 1}),
                        MakeArray(Ids{7, 7, 7}));
  EXPECT_EQ(data_.TotalGroups(), 3);
  EXPECT_EQ(data_.GroupID(), 0);
}

TEST_F(SubgroupDataTest, EachHasLooksAtItsOwnField) {
  struct Row {
    bool (SubgroupData::*has)() const;
    std::int32_t API_SubgroupData::*field;
  };
  const Row rows[] = {{&SubgroupData::HasNotEnabled, &API_SubgroupData::Flag},
                      {&SubgroupData::HasJobs, &API_SubgroupData::Job},
                      {&SubgroupData::HasLots, &API_SubgroupData::Lot},
                      {&SubgroupData::HasShifts, &API_SubgroupData::Shft},
                      {&SubgroupData::HasPartRevisions, &API_SubgroupData::Ptrv},
                      {&SubgroupData::HasWorkstations, &API_SubgroupData::Wkst},
                      {&SubgroupData::HasEmployees, &API_SubgroupData::Empl}};
  for (const Row& set : rows) {
    DataRows data = ThreeSubgroups();
    data.subgroups[2].*set.field = -1;
    data.LoadInto(data_);
    for (const Row& asked : rows) {
      EXPECT_EQ((data_.*asked.has)(), asked.field == set.field);
      EXPECT_EQ((data_.*asked.has)(), asked.field == set.field) << "the kept answer";
    }
    EXPECT_FALSE(data_.HasSNs());
  }
  DataRows data = ThreeSubgroups();
  data.tests[5].Sn = 3;
  data.LoadInto(data_);
  EXPECT_TRUE(data_.HasSNs());
}

TEST_F(SubgroupDataTest, DistinctIdentifiersInOrderOfFirstAppearance) {
  DataRows rows = ThreeSubgroups();
  rows.descriptors = {Descriptor(1, 9, 1), Descriptor(1, 2, 1), Descriptor(2, 9, 1),
                      Descriptor(3, 4, 1), Descriptor(3, 2, 1)};
  rows.LoadInto(data_);
  EXPECT_EQ(data_.GetTestIDs(), (Ids{5, 7}));
  EXPECT_EQ(data_.GetDescriptorGroupIDs(), (Ids{9, 2, 4}));
}

TEST_F(SubgroupDataTest, DefectsOfATest) {
  DataRows rows = ThreeSubgroups();
  rows.tests[3].Def = 8;  // of test 7
  rows.LoadInto(data_);
  EXPECT_TRUE(data_.HasDefects(7));
  EXPECT_TRUE(data_.HasDefects(7)) << "the kept answer";
  EXPECT_FALSE(data_.HasDefects(5));
  EXPECT_FALSE(data_.HasDefects(6)) << "a test that is not there";
}

TEST_F(SubgroupDataTest, AnyTestWithDefectsMakesTheFirstTestAnswerTrue) {
  DataRows rows = ThreeSubgroups();
  rows.tests[3].Def = 8;  // of test 7, the second in the list
  rows.LoadInto(data_);
  EXPECT_TRUE(data_.HasDefects());
  EXPECT_TRUE(data_.HasDefects(5));
}

TEST_F(SubgroupDataTest, TheFirstTestWithoutDefectsMakesAnyTestAnswerFalse) {
  DataRows rows = ThreeSubgroups();
  rows.tests[3].Def = 8;
  rows.LoadInto(data_);
  EXPECT_FALSE(data_.HasDefects(5));
  EXPECT_FALSE(data_.HasDefects());
  EXPECT_TRUE(data_.HasDefects(7));
}

TEST_F(SubgroupDataTest, NoDefectsAtAllAreRememberedForEveryTest) {
  ThreeSubgroups().LoadInto(data_);
  EXPECT_FALSE(data_.HasDefects());
  EXPECT_FALSE(data_.HasDefects(5));
  EXPECT_FALSE(data_.HasDefects(7));
}

TEST_F(SubgroupDataTest, DefectsOfRowsOutsideFailWith9AndAreThenTakenAsNone) {
  DataRows rows = ThreeSubgroups();
  rows.subgroups[0].Test_End = 6;
  rows.LoadInto(data_);
  const Failure failure = FailureOf([&] { data_.HasDefects(5); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "SubgroupData.HasDefects|orvSPCAnalysis6");
  EXPECT_FALSE(data_.HasDefects(5));
}

TEST_F(SubgroupDataTest, AFailureOfTheTimeHelperCarriesTheProperty) {
  DataRows rows = ThreeSubgroups();
  rows.comments = {Comment(11, 0, "x")};
  rows.LoadInto(data_);
  const auto comments = data_.CommentData();
  const platform::Scope none(nullptr);
  ASSERT_EQ(platform::Current(), nullptr);
  EXPECT_EQ(FailureOf([&] { data_.Sgtm(); }).Source(), "SubgroupData.Sgtm(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { comments->Edtm(); }).Source(), "CommentData.Test(g)|orvSPCAnalysis6");
}

}  // namespace
}  // namespace orvspc
