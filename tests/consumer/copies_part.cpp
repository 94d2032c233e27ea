// SPDX-License-Identifier: Apache-2.0
// Must not compile: nor is a part of a capability result (PART) had by copying.
#include "capability/CAResults.h"

void Use(const orvspc::CAResults& results) { orvspc::PART part(*results.GET()); }

int main() {}
