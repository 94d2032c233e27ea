// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orvspc::engine {

// Lets the exception being handled leave as platform::ExternalFailure with the file and the reason;
// one that is such a failure already leaves as it is.
[[noreturn]] void LeaveAsExternalFailure(const std::string& path, const char* source);

}  // namespace orvspc::engine
