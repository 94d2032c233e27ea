// SPDX-License-Identifier: Apache-2.0
// Must not compile: the parts of a capability result (PART) are reached through it.
#include "capability/CAResults.h"

int main() { orvspc::PART part(orvspc::Friend{}); }
