// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// This DLL.
HMODULE ThisModule();
// The path of its file.
std::wstring ModulePath();

// True while the process ends. Other DLLs may be gone by then, so nothing of theirs is called.
bool ProcessIsEnding();

}  // namespace orvspc::windows::com
