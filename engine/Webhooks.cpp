// SPDX-License-Identifier: Apache-2.0
#include "engine/Webhooks.h"

#include "engine/hooks/Sending.h"
#include "engine/hooks/curl/CurlPoster.h"

namespace orvspc {

void AddWebhooks() { engine::hooks::UsePoster(&engine::hooks::curl::Post); }

}  // namespace orvspc
