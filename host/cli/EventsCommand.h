// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "host/cli/Program.h"

namespace orvspc::host {

// A stored EventData in text, json or xml, without a database. Fails with 9, "Subscript out of
// range", on a set without events, which no reader takes.
std::string ShowEvents(const std::string& text, const std::string& format, const Console& console);

}  // namespace orvspc::host
