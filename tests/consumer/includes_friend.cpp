// SPDX-License-Identifier: Apache-2.0
// Must not compile: the header that defines the key is not installed.
#include "frame/Friend.h"

int main() {}
