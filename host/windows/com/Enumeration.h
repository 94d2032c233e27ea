// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "host/windows/com/Pointer.h"
#include "host/windows/com/automation.h"

namespace orvspc::windows::com {

// What For Each walks: the objects as they were when the walk began. With one reference.
IUnknown* MakeEnumeration(std::vector<Pointer<IDispatch>> objects);

}  // namespace orvspc::windows::com
