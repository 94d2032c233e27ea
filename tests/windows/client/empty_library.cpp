// SPDX-License-Identifier: Apache-2.0
// A DLL that is called like a closed library and has none of its functions.
extern "C" __declspec(dllexport) int Nothing() { return 0; }
