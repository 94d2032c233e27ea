// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/embedded_file.h"

namespace orvspc::cli {

// The sample data that the program carries inside itself: the CSV files of host/samples, by name.
std::span<const platform::EmbeddedFile> Samples();

// Those of host/samples/studies, which studies read as they are.
std::span<const platform::EmbeddedFile> StudySamples();

}  // namespace orvspc::cli
