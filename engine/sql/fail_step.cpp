// SPDX-License-Identifier: Apache-2.0
#include "engine/sql/fail_step.h"

#include "engine/sql/Connection.h"

namespace orvspc::engine::sql {
namespace {

struct StepFailure {
  int countdown = 0;
  bool struck = false;
};
thread_local StepFailure step_failure;

}  // namespace

bool FailStep(int n) {
  const bool struck = step_failure.struck;
  step_failure = {n, false};
  return struck;
}

bool IsToFail() {
#ifdef ORVSPC_FAIL_POINTS
  if (step_failure.countdown > 0 && --step_failure.countdown == 0) {
    step_failure.struck = true;
    return true;
  }
#endif
  return false;
}

void FailPoint() {
  if (IsToFail()) throw SqlError(SqlError::Kind::Other, "disk I/O error");
}

}  // namespace orvspc::engine::sql
