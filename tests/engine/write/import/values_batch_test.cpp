// SPDX-License-Identifier: Apache-2.0
#include "engine/write/import/values_batch.h"

#include <gtest/gtest.h>

#include <string>

namespace orvspc::engine::import {
namespace {

constexpr std::size_t kManyRecords = 1'000'000;

TEST(ValuesBatchTest, CommentsFillABatch) {
  ValuesBatch batch;
  const std::string note(1'000'000, 'x');
  int comments = 0;
  for (; comments < 1000 && !batch.IsFull(kManyRecords); ++comments) {
    EXPECT_FALSE(batch.IsFullOfText());
    batch.AddComment(7, {comments, 0, note});
  }
  EXPECT_EQ(comments, 17);
  EXPECT_TRUE(batch.IsFullOfText());
  EXPECT_EQ(batch.comments.at(7).size(), 17U);
  batch.Clear();
  EXPECT_FALSE(batch.IsFull(kManyRecords));
}

// Short ones have the room that they take beside their text.
TEST(ValuesBatchTest, ShortCommentsFillABatch) {
  ValuesBatch batch;
  std::uint32_t comments = 0;
  for (; comments < 1'000'000 && !batch.IsFull(kManyRecords); ++comments) {
    batch.AddComment(comments, {0, 0, ""});
  }
  EXPECT_LE(comments, 500'000U);
}

TEST(ValuesBatchTest, EqualCommentsOfARecordAreOne) {
  ValuesBatch batch;
  const std::string note(1'000'000, 'x');
  for (int i = 0; i < 100; ++i) batch.AddComment(7, {1, 2, note});
  EXPECT_FALSE(batch.IsFull(kManyRecords));
  EXPECT_EQ(batch.comments.at(7).size(), 1U);
  batch.AddComment(7, {1, 3, note});
  batch.AddComment(8, {1, 2, note});
  EXPECT_EQ(batch.comments.at(7).size(), 2U);
  EXPECT_EQ(batch.comments.at(8).size(), 1U);
}

TEST(ValuesBatchTest, DescriptorsFillABatch) {
  ValuesBatch batch;
  std::int32_t descriptors = 0;
  for (; descriptors < 10'000'000 && !batch.IsFull(kManyRecords); ++descriptors) {
    batch.AddDescriptor({1, descriptors, 0});
  }
  EXPECT_LT(descriptors, 2'000'000);
  EXPECT_TRUE(batch.IsFullOfText());
  batch.Clear();
  EXPECT_FALSE(batch.IsFull(kManyRecords));
}

}  // namespace
}  // namespace orvspc::engine::import
