// SPDX-License-Identifier: Apache-2.0
#pragma once

// Where a database fails for a test that calls FailStep.
namespace orvspc::engine::sql {

// At each step of a statement. Throws SqlError when it is the one that is to fail.
void FailPoint();
// The same for what is no statement: whether it is to fail.
bool IsToFail();

}  // namespace orvspc::engine::sql
