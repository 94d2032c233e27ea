// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/write/import/import_kill.h"

namespace orvspc::engine::import {
using namespace sql;
using namespace catalogue;
using namespace store;

namespace {

TEST_F(ImportKillTest, AKilledImportLeavesNothing) {
  WriteSubgroups(30000);
  for (const double share : {0.2, 0.6, 0.9}) KillAtShare(share);
  EXPECT_EQ(nothing_, 3);
}

TEST_F(ImportKillTest, AfterAKillTheFileCanBeImportedAgain) {
  WriteSubgroups(20000);
  const auto child = Start([](std::int64_t, std::int64_t) { kill(getpid(), SIGKILL); });
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
  const auto report = ImportCsv(folder_.File("many.csv"), Db(), ImportKind::Values);
  EXPECT_EQ(report.subgroups, 20000);
}

TEST_F(ImportIntoKillTest, WhatWasThereIsThereWithAllOrNothingOfTheFile) {
  KillAtRandom(10, 1);
  EXPECT_GT(nothing_, 0);  // else no kill came in time
}

}  // namespace
}  // namespace orvspc::engine::import
