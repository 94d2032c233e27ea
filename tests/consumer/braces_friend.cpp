// SPDX-License-Identifier: Apache-2.0
// Must not compile: nor does an empty pair of braces stand for the key.
#include "chart/CCGraph.h"

void Use(orvspc::CCGraph& graph) { graph.Load({}, {}, nullptr); }

int main() {}
