// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/Embedded.h"
#include "host/render/core/Report.h"

namespace orvspc::host {

// The settings of a database with their values, for "list settings".
render::Table SettingsTable(EmbeddedDatabase& database);

}  // namespace orvspc::host
