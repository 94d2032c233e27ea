// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/QualityDatabase.h"

namespace orvspc {

// Reviews the limits of the streams that an import brought values to, after its commit, where a
// policy says so, and adds what it proposed to the notes of the report. The import is stored
// whatever becomes of it; what keeps the review from being made is a note, too.
void ReviewAfterImport(EmbeddedDatabase& database, const ImportOptions& options,
                       ImportReport& report);

}  // namespace orvspc
