// SPDX-License-Identifier: Apache-2.0
// Must not compile: bins are reached through their result.
#include "pareto/PABins.h"

int main() { orvspc::PABins bins; }
