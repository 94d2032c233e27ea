# SPDX-License-Identifier: Apache-2.0
# Language level, warnings, sanitizers and output folders, the same for every target of ours.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
if(NOT WIN32)  # whose code all is
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_VERIFY_INTERFACE_HEADER_SETS ON)

if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(ORVSPC_CCACHE ccache)
  if(ORVSPC_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${ORVSPC_CCACHE})
  endif()
endif()

# Links in a fifth of the time. What is delivered is linked by the linker of its compiler.
if(CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT ORVSPC_ODR)
  find_program(ORVSPC_LLD ld.lld)
  if(ORVSPC_LLD)
    add_link_options(-fuse-ld=lld)
  endif()
endif()

# Of our own language alone: a resource compiler or a C compiler of other sources knows none of them.
function(orvspc_compile_options)
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:${ARGN}>")
endfunction()

orvspc_compile_options(-Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # g++ 12 warns of overlapping copies inside std::string that cannot happen (its bug 105651).
  orvspc_compile_options(-Wno-restrict)
endif()
if(ORVSPC_WERROR)
  orvspc_compile_options(-Werror)
endif()

if(CMAKE_UNITY_BUILD)
  # In a batch a name also hides what other sources have at their outermost level, and an included
  # class may well have a base of an anonymous namespace. The preset dev, which compiles
  # file by file, keeps both warnings.
  orvspc_compile_options(-Wno-shadow)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    orvspc_compile_options(-Wno-subobject-linkage)
  endif()
endif()

# No silent fused multiply-add: the same figures on every processor and from every compiler.
orvspc_compile_options(-ffp-contract=off)

add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

# What a release has against overwritten memory; tools/check_hardening.sh looks for each.
if(NOT WIN32)
  include(CheckPIESupported)
  check_pie_supported()
endif()
if(NOT ORVSPC_SANITIZE)
  orvspc_compile_options($<$<CONFIG:Release,RelWithDebInfo>:-fstack-protector-strong>
                         $<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE>
                         $<$<CONFIG:Release,RelWithDebInfo>:-D_FORTIFY_SOURCE=2>)
  if(WIN32)  # the library of the guards
    add_link_options($<$<CONFIG:Release,RelWithDebInfo>:-fstack-protector-strong>)
  else()
    add_link_options($<$<CONFIG:Release,RelWithDebInfo>:LINKER:-z,relro,-z,now>)
  endif()
endif()

if(ORVSPC_SANITIZE)
  orvspc_compile_options(-fsanitize=${ORVSPC_SANITIZE} -fno-sanitize-recover=all
                         -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORVSPC_SANITIZE})
endif()
