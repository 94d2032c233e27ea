// SPDX-License-Identifier: Apache-2.0
// All that a DLL of forwarders holds beside its exports. The import makes Windows load
// orvEngine.dll together with this DLL, from the same folder; a forwarder alone would have it
// looked for where the program is, at the first call.

extern "C" __declspec(dllimport) int VLXDBL_CLEARDATASETDATA();

extern "C" const auto orvspc_engine = &VLXDBL_CLEARDATASETDATA;
