// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tests/fake/FakePlatform.h"

namespace orvspc::contract {

// A fixed run through public operations, from an empty start, over a fake platform of its own.
struct Scenario {
  const char* name;
  void (*run)(fake::FakeScope&);
};

// Between them they enter every procedure of the table.
extern const Scenario kScenarios[];
extern const int kScenarioCount;

// Operations without a failure handler; they are to leave no entry. Objects are made before.
void RunOperationsWithoutHandler(fake::FakeScope& fake, void (*from_here)());

}  // namespace orvspc::contract
