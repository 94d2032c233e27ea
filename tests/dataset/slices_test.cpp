// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "dataset/CommentData.h"
#include "dataset/DescriptorData.h"
#include "dataset/TestData.h"
#include "tests/dataset/rows.h"
#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

using fake::Comment;
using fake::Descriptor;
using fake::FailureOf;
using fake::MakeArray;
using fake::Value;

template <class T>
class Slices : public ::testing::Test {};

struct Tests {
  using Class = TestData;
  using Row = API_TestData;
};
struct Descriptors {
  using Class = DescriptorData;
  using Row = API_DescriptorData;
};
struct Comments {
  using Class = CommentData;
  using Row = API_CommentData;
};
using Kinds = ::testing::Types<Tests, Descriptors, Comments>;
TYPED_TEST_SUITE(Slices, Kinds);

TYPED_TEST(Slices, WithoutRowsNoMoveSucceedsAndTheIndexIs0) {
  typename TypeParam::Class slice(Friend{});
  EXPECT_EQ(slice.Count(), 0);
  EXPECT_EQ(slice.CurrentIndex(), 0);
  EXPECT_FALSE(slice.MoveFirst() || slice.MoveLast() || slice.MoveNext() || slice.MovePrev());
  EXPECT_EQ(slice.CurrentIndex(), 0);
}

TYPED_TEST(Slices, TheCursorStaysAtBothEnds) {
  using Row = typename TypeParam::Row;
  typename TypeParam::Class slice(Friend{});
  slice.Load(Friend(), MakeArray(std::vector<Row>(3)));
  EXPECT_EQ(slice.CurrentIndex(), 1);
  EXPECT_FALSE(slice.MovePrev());
  EXPECT_TRUE(slice.MoveNext());
  EXPECT_TRUE(slice.MoveNext());
  EXPECT_FALSE(slice.MoveNext());
  EXPECT_EQ(slice.CurrentIndex(), 3);
  EXPECT_TRUE(slice.MoveFirst());
  EXPECT_TRUE(slice.MoveLast());
  EXPECT_EQ(slice.CurrentIndex(), 3);
  slice.Load(Friend(), MakeArray(std::vector<Row>(1)));
  EXPECT_EQ(slice.CurrentIndex(), 1);
  EXPECT_TRUE(slice.MoveFirst());
  EXPECT_TRUE(slice.MoveLast());
  EXPECT_FALSE(slice.MoveNext());
  EXPECT_FALSE(slice.MovePrev());
}

TEST(TestData, FieldsOfTheCurrentRow) {
  API_TestData row{};
  row.Sn = 1, row.Tsno = 2, row.Sbno = 3, row.Def = 4, row.Gage = 5, row.Val = 6.5;
  TestData slice(Friend{});
  slice.Load(Friend(), MakeArray(std::vector<API_TestData>{Value(0), row}));
  ASSERT_TRUE(slice.MoveNext());
  EXPECT_EQ(slice.Sn(), 1);
  EXPECT_EQ(slice.Tsno(), 2);
  EXPECT_EQ(slice.Sbno(), 3);
  EXPECT_EQ(slice.Def(), 4);
  EXPECT_EQ(slice.Gage(), 5);
  EXPECT_EQ(slice.Val(), 6.5);
}

TEST(TestData, WithoutRowsEveryFieldIs0) {
  const TestData slice(Friend{});
  EXPECT_EQ(slice.Def() + slice.Gage() + slice.Sbno() + slice.Sn() + slice.Tsno(), 0);
  EXPECT_EQ(slice.Val(), 0.0);
}

TEST(DescriptorData, FieldsOfTheCurrentRow) {
  API_DescriptorData row = Descriptor(1, 2, 3);
  row.Tsno = 4;
  DescriptorData slice(Friend{});
  slice.Load(Friend(), MakeArray(std::vector{row}));
  EXPECT_EQ(slice.Dsgp(), 2);
  EXPECT_EQ(slice.Desc(), 3);
  EXPECT_EQ(slice.Tsno(), 4);
}

TEST(DescriptorData, WithoutRowsEveryFieldFailsWith9) {
  const DescriptorData slice(Friend{});
  const Failure failure = FailureOf([&] { slice.Dsgp(); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "DescriptorData.Dsgp(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { slice.Desc(); }).Source(), "DescriptorData.Desc(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { slice.Tsno(); }).Source(), "DescriptorData.Tsno(g)|orvSPCAnalysis6");
}

TEST(CommentData, TextsAreWholeFieldsWithTheirPadding) {
  const fake::FakeScope outside;
  API_CommentData row = Comment(1, 2, "short");
  row.Edtm = 86400;
  row.Tsno = 3;
  CommentData slice(Friend{});
  slice.Load(Friend(), MakeArray(std::vector{row}));
  EXPECT_EQ(slice.Note(), "short" + std::string(123, ' '));
  EXPECT_EQ(slice.Empl(), "somebody" + std::string(24, ' '));
  EXPECT_EQ(slice.Test(), 2);
  EXPECT_EQ(slice.Edtm(), 25570.0);
  EXPECT_EQ(slice.Tsno(), 3);
}

TEST(CommentData, WithoutRowsEveryFieldFailsWith9AndTheEditTimeNamesTest) {
  const fake::FakeScope outside;
  const CommentData slice(Friend{});
  EXPECT_EQ(FailureOf([&] { slice.Empl(); }).Source(), "CommentData.Empl(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { slice.Note(); }).Source(), "CommentData.Note(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { slice.Test(); }).Source(), "CommentData.Test(g)|orvSPCAnalysis6");
  EXPECT_EQ(FailureOf([&] { slice.Tsno(); }).Source(), "CommentData.Tsno(g)|orvSPCAnalysis6");
  const Failure failure = FailureOf([&] { slice.Edtm(); });
  EXPECT_EQ(failure.Number(), 9);
  EXPECT_EQ(failure.Source(), "CommentData.Test(g)|orvSPCAnalysis6");
}

}  // namespace
}  // namespace orvspc
