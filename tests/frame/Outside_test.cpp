// SPDX-License-Identifier: Apache-2.0
#include "frame/Outside.h"

#include <gtest/gtest.h>

#include <thread>

#include "tests/fake/FailureOf.h"
#include "tests/fake/FakePlatform.h"

namespace orvspc {
namespace {

TEST(Outside, WithoutAPlatformTheFailureSaysSo) {
  const auto failure = fake::FailureOf([] { DateToTimeStamp(25569.0); });
  EXPECT_EQ(failure.Number(), -2147221504);
  EXPECT_EQ(failure.Description(), "No platform is installed");
}

TEST(Outside, OneHelperOfEachKindServesAThread) {
  fake::FakeScope fake;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(DateToTimeStamp(25569.0), 0);
    EXPECT_EQ(TimeStampToDate(86400), 25570.0);
    std::u16string text = u"ab  ";
    TrimFixedString(text);
    EXPECT_EQ(text, u"ab");
  }
  EXPECT_EQ(fake.platform->world().time_conversions_made, 1);
  EXPECT_EQ(fake.platform->world().trimmers_made, 1);
}

TEST(Outside, ANewPlatformGivesNewHelpers) {
  fake::FakeScope outer;
  TimeStampToDate(0);
  {
    fake::FakeScope inner;
    TimeStampToDate(0);
    EXPECT_EQ(inner.platform->world().time_conversions_made, 1);
  }
  TimeStampToDate(0);
  EXPECT_EQ(outer.platform->world().time_conversions_made, 2);
}

TEST(Outside, EachThreadHasItsOwnHelpers) {
  fake::FakeScope fake;
  TimeStampToDate(0);
  std::thread([&] {
    const platform::Scope scope(fake.platform);
    TimeStampToDate(0);
  }).join();
  EXPECT_EQ(fake.platform->world().time_conversions_made, 2);
}

TEST(Outside, HelpersKeepNoPlatformAlive) {
  std::weak_ptr<platform::Platform> gone;
  {
    fake::FakeScope fake;
    gone = fake.platform;
    TimeStampToDate(0);
  }
  EXPECT_TRUE(gone.expired());
}

}  // namespace
}  // namespace orvspc
