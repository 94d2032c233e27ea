# SPDX-License-Identifier: Apache-2.0
# What the toolchains of both widths have in common. Set before: ORVSPC_MINGW, the target's prefix.
set(CMAKE_SYSTEM_NAME Windows)
if(ORVSPC_MINGW MATCHES "^i686")
  set(CMAKE_SYSTEM_PROCESSOR x86)
  # Doubles are doubles, not 80 bits wide now and then; callers align the stack to 4 bytes only.
  set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
  set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
else()
  set(CMAKE_SYSTEM_PROCESSOR AMD64)
endif()
# The variant with POSIX threads: the other one has no std::mutex.
set(CMAKE_C_COMPILER ${ORVSPC_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORVSPC_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${ORVSPC_MINGW}-windres)
set(ORVSPC_WIDL ${ORVSPC_MINGW}-widl)

foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -s")
endforeach()

set(CMAKE_FIND_ROOT_PATH /usr/${ORVSPC_MINGW})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
