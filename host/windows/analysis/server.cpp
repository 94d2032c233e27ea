// SPDX-License-Identifier: Apache-2.0
#include "host/windows/com/Server.h"

#include "host/windows/external/Platform.h"
#include "platform/Platform.h"

namespace orvspc::windows::com {

void StartServer() { platform::Install(external::MakePlatform()); }

void StopServer() noexcept { platform::Install(nullptr); }

}  // namespace orvspc::windows::com
