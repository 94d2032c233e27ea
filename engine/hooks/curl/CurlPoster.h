// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/hooks/Sending.h"

namespace orvspc::engine::hooks::curl {

// Posts a message by libcurl. Certificates are checked, redirects are not followed, and any status
// from 200 to 299 means that the receiver has it.
Answer Post(const Hook& hook, const Message& message, std::chrono::milliseconds at_most);

}  // namespace orvspc::engine::hooks::curl
