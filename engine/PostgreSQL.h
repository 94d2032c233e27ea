// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc {

// Lets OpenDatabase take addresses such as postgresql:///quality?host=/var/run/postgresql beside
// paths. A host calls it once; what is linked without being called is left out of a program.
void AddPostgreSQL();

}  // namespace orvspc
