// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Database.h"
#include "platform/Import.h"

// Files into a quality database. Each file is one transaction: all of it is stored or nothing.
//
// The header line names the columns, in any order and case; an unknown column is refused unless
// ignored. Separator, quoting and encoding as CsvReader says. Times are ISO 8601, UTC without a
// zone. A name that is new becomes a new part, process, test, job and so on, but alarms must name
// what is there. A cell of an optional column may be empty.
namespace orvspc::engine::import {

// In the order of the enumeration.
std::vector<ImportKindInfo> ImportKinds();
// "values", "control-limits", ...
std::optional<ImportKind> ImportKindFromWord(std::string_view word);

// Throws platform::ExternalFailure with one line: file, line, column, value, reason. The database
// is then unchanged. Analyses on the same database go on meanwhile and see all of it or nothing.
ImportReport ImportCsv(const std::string& file, platform::Database& database, ImportKind kind,
                       const ImportOptions& options = {});
// The same into a database on a server, whose tables are made with it where it is empty.
ImportReport ImportIntoServer(const std::string& file, const std::string& address, ImportKind kind,
                              const ImportOptions& options);

}  // namespace orvspc::engine::import
