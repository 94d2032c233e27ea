# SPDX-License-Identifier: Apache-2.0
# The DLLs of the closed libraries against the engine called directly: bin/native_client.exe, and
# the DLL in which it meets a library that resizes its arrays.
orvspc_windows_library(native DIR host/windows/native LINK orvspc_frame)
orvspc_dll(native_stub DEF tests/windows/native_stub.def
           SOURCES ${PROJECT_SOURCE_DIR}/tests/windows/native_stub.cpp LINK orvspc_platform)
orvspc_windows_program(native_client SOURCES ${PROJECT_SOURCE_DIR}/tests/windows/native_client.cpp
                       LINK orvspc_windows_native orvspc_analysis orvspc_embedded)
