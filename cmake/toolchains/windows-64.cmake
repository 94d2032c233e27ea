# SPDX-License-Identifier: Apache-2.0
# Windows, 64 bits, by mingw-w64 with POSIX threads; everything is linked in.
set(ORVSPC_MINGW x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
