// SPDX-License-Identifier: Apache-2.0
#include "tests/threads/thread_rounds.h"

namespace orvspc::host {
namespace {

TEST_F(ThreadRounds, EveryDocumentHasFiguresAndSaysTheSameTwice) {
  const struct {
    const char* name;
    const char* text;
  } rows[] = {{"chart", "\"OOCs\""},
              {"capability", "\"JohnsonCurveType\""},
              {"pareto of subgroups", "Scratch"},
              {"pareto of events", "Chips"},
              {"pareto of states", "Break"},
              {"states", "\"Jam\""},
              {"compliance", "\"SamplesMissed\""}};
  const Documents& expected = Expected(Reading::Alone);
  ASSERT_EQ(expected.size(), std::size(rows));
  for (std::size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_STREQ(expected[i].first, rows[i].name);
    EXPECT_NE(expected[i].second.find(rows[i].text), std::string::npos) << rows[i].name;
  }
  EXPECT_EQ(Rounds(2, Reading::Alone), "");
}

TEST_F(ThreadRounds, FourThreadsReadWhatOneReads) {
  EXPECT_EQ(Differences(20, Reading::Alone), std::vector<std::string>());
}

TEST_F(ThreadRounds, SoTheyDoWhenEachReadsWithASecondOne) {
  EXPECT_EQ(Differences(20, Reading::Shared), std::vector<std::string>());
}

}  // namespace
}  // namespace orvspc::host
