// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "engine/Embedded.h"

namespace orvspc::host {

// The settings of a database with their values, for "list settings".
std::string SettingsText(EmbeddedDatabase& database);

}  // namespace orvspc::host
