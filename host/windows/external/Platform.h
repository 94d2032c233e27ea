// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "platform/Platform.h"

namespace orvspc::windows::external {

// The platform of the component: the closed libraries as DLLs, the external objects as COM objects
// by their names, documents of msxml3.
//
// - An object that cannot be created fails with 429, which names it.
// - Every external object is ComBacked, so that a host gets that very object.
// - When the platform goes, the helpers that threads still keep let their COM objects go.
std::shared_ptr<platform::Platform> MakePlatform();

}  // namespace orvspc::windows::external
