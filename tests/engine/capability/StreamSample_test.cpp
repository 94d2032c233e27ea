// SPDX-License-Identifier: Apache-2.0
#include "engine/capability/StreamSample.h"

#include <gtest/gtest.h>

#include "tests/engine/capability/capability_fixture.h"

namespace orvspc::engine::test {
namespace {

// As a store on a server does that has lost its connection.
struct RepeatingStore : FakeStore {
  using FakeStore::FakeStore;
  bool SelectInBatches(API_DSInfo&, std::span<const std::int32_t>, const SelectOptions&,
                       BatchTaker& taker) override {
    taker.Begin(2);
    taker.Take(1, data);
    taker.Take(0, data);
    taker.Begin(1);
    taker.Take(0, data);
    return true;
  }
};

TEST(StreamSample, ASelectionThatBeginsAnewCountsOnce) {
  RepeatingStore store({{1, 2, 3}, {4, 5, 6}});
  API_DSInfo info{};
  std::vector<StreamSample> streams;
  ASSERT_TRUE(ReadStreams(store, info, {}, streams));
  ASSERT_EQ(streams.size(), 1U);
  EXPECT_EQ(streams[0].sample.Count(), 6U);
}

}  // namespace
}  // namespace orvspc::engine::test
