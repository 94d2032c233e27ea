# SPDX-License-Identifier: Apache-2.0
# Every bench/*.cpp is a program of its own.
find_package(benchmark REQUIRED)
find_package(pugixml REQUIRED)  # what the XML is measured against
file(GLOB benches CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/bench/*.cpp)
foreach(source IN LISTS benches)
  get_filename_component(name ${source} NAME_WE)
  add_executable(bench_${name} ${source})
  target_include_directories(bench_${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(bench_${name} PRIVATE orvspc_analysis orvspc_embedded orvspc_studies
                                              benchmark::benchmark pugixml::pugixml)
  if(ORVSPC_POSTGRESQL)
    target_link_libraries(bench_${name} PRIVATE orvspc_postgres)
    target_compile_definitions(bench_${name} PRIVATE ORVSPC_POSTGRESQL)
  endif()
endforeach()
