// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace orvspc::host {

// A stored EventData in text, json or xml, without a database. Fails with 9, "Subscript out of
// range", on a set without events, which no reader takes.
std::string ShowEvents(const std::string& text, const std::string& format);

}  // namespace orvspc::host
