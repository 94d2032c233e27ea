// SPDX-License-Identifier: Apache-2.0
#pragma once

// What the headers of Windows for COM automation need, in the order in which they need it.
#include <windows.h>
// After windows.h.
#include <oleauto.h>
// After oleauto.h.
#include <ocidl.h>

// A macro that is the name of a member.
#undef Yield
