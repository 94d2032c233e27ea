// SPDX-License-Identifier: Apache-2.0
// Must not compile: a host cannot make the key that the library's own operations ask for.
#include "chart/CCGraph.h"

int main() { orvspc::CCGraph graph(orvspc::Friend{}); }
