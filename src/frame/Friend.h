// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace orvspc {

// First argument of the operations that only the library may call. Public headers merely declare
// the class and this header is not installed, so a host cannot make one.
class Friend {};

}  // namespace orvspc
