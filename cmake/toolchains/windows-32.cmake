# SPDX-License-Identifier: Apache-2.0
# Windows, 32 bits, by mingw-w64 with POSIX threads; everything is linked in.
set(ORVSPC_MINGW i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw.cmake)
