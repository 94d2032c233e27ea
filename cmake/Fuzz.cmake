# SPDX-License-Identifier: Apache-2.0
# Every tests/hostile/fuzz/*.cpp is a libFuzzer program; its seeds lie in a folder of its name.
file(GLOB fuzzers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/hostile/fuzz/*.cpp)
foreach(source IN LISTS fuzzers)
  get_filename_component(name ${source} NAME_WE)
  add_executable(fuzz_${name} ${source})
  target_include_directories(fuzz_${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(fuzz_${name} PRIVATE orvspc_analysis orvspc_embedded)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
endforeach()
