// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Server.h"

namespace orvspc::windows::com {

// The engine needs nothing before its first object.
void StartServer() {}

void StopServer() noexcept {}

}  // namespace orvspc::windows::com
