// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc {

// Lets hooks have addresses (url) beside commands. A host calls it once; what is linked without
// being called is left out of a program.
void AddWebhooks();

}  // namespace orvspc
