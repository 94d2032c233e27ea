# SPDX-License-Identifier: Apache-2.0
# Every folder of tests becomes one GoogleTest program named after its path. Files called
# *_slow_test.cpp go into a program of their own whose tests carry the label "slow".
include(GoogleTest)
find_package(GTest REQUIRED)

orvspc_library(test_fake DIR tests/fake BASE . PRIVATE LINK orvspc_frame orvspc_engine_dom)

# Not optimised, since a test runs once and most of them wait for the code that they call. With
# ORVSPC_SANITIZE_TESTS off a sanitizer watches that code alone, and still every allocation.
set(test_options "$<$<CONFIG:Debug>:-O0;-g1>")
if(ORVSPC_SANITIZE AND NOT ORVSPC_SANITIZE_TESTS)
  list(APPEND test_options -fno-sanitize=all)
endif()
set(test_definitions ORVSPC_TESTS_DIR="${PROJECT_SOURCE_DIR}/tests")

function(orvspc_test_executable name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  orvspc_unity(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE ${test_options})
  target_compile_definitions(${name} PRIVATE ${test_definitions})
  if(TARGET orvspc AND "orvspc_cli" IN_LIST arg_LINK)
    add_dependencies(${name} orvspc)
  endif()
endfunction()

function(orvspc_test_program name label)
  set(timeout 300)
  if("${label}" STREQUAL "slow")  # in quotes: callers have a variable of that name
    set(timeout 1800)
  endif()
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  orvspc_test_executable(${name} SOURCES ${arg_SOURCES} LINK ${arg_LINK})
  if(ORVSPC_POSTGRESQL AND name MATCHES "test_(engine|threads|host|script)")
    target_link_libraries(${name} PRIVATE orvspc_postgres)
    target_compile_definitions(${name} PRIVATE ORVSPC_POSTGRESQL)
  endif()
  if(ORVSPC_TEST_PER_CASE)
    # The folder goes before the name, since a suite may live in two programs.
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST TEST_PREFIX "${name}." PROPERTIES
                         LABELS "${label}" TIMEOUT ${timeout})
  else()
    # The longest first and in pieces, so that no processor waits for it at the end. In the short
    # form every third test of test_host, most of which start the program as a process.
    set(pieces 1)
    set(step 1)
    if(name STREQUAL test_host)
      set(pieces 6)
      if(NOT ORVSPC_SLOW_TESTS)
        set(step 3)
      endif()
    endif()
    math(EXPR last "${pieces} - 1")
    foreach(piece RANGE 0 ${last} ${step})
      add_test(NAME ${name}.${piece} COMMAND ${name} --gtest_brief=1)
      set_tests_properties(${name}.${piece} PROPERTIES
          ENVIRONMENT "GTEST_TOTAL_SHARDS=${pieces};GTEST_SHARD_INDEX=${piece}"
          COST ${pieces} LABELS "${label}" TIMEOUT 1800)
    endforeach()
  endif()
endfunction()

function(orvspc_tests dir)
  string(MAKE_C_IDENTIFIER "test_${dir}" name)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/${dir}/*.cpp)
  set(slow ${sources})
  list(FILTER slow INCLUDE REGEX "_slow_test\\.cpp$")
  list(FILTER sources EXCLUDE REGEX "_slow_test\\.cpp$")
  if(sources)
    orvspc_test_program(${name} fast SOURCES ${sources} LINK ${ARGN})
  endif()
  if(slow AND ORVSPC_SLOW_TESTS)
    orvspc_test_program(${name}_slow slow SOURCES ${slow} LINK ${ARGN})
  endif()
endfunction()

# The tests of a floor link that floor, and so the floors before it, not what stands above; of the
# engine the XML document, which no fake replaces.
foreach(floor platform frame dataset select ${ORVSPC_ANALYSES})
  orvspc_tests(${floor} orvspc_${floor} orvspc_test_fake orvspc_engine_dom)
endforeach()
# Arrays of the library are made by calloc, which one of these tests lets fail.
target_link_options(test_summary PRIVATE LINKER:--wrap=calloc)
orvspc_tests(system orvspc_system)
foreach(part time statistics sql catalogue)
  orvspc_tests(engine/${part} orvspc_engine_${part} orvspc_engine_import)
endforeach()
# What the document writes is read back by a parser of other hands.
find_package(EXPAT REQUIRED)
orvspc_tests(engine/dom orvspc_engine_dom EXPAT::EXPAT)
foreach(dir engine engine/chunks engine/store engine/audit engine/charts engine/capability engine/pareto
            engine/compliance engine/write engine/write/chunks engine/write/log engine/write/import
            engine/write/record engine/write/change engine/write/alarms engine/write/limits
            engine/hooks engine/write/deliver)
  orvspc_tests(${dir} orvspc_embedded)
endforeach()
orvspc_tests(engine/studies orvspc_studies orvspc_embedded)
if(ORVSPC_SLOW_TESTS)
  target_sources(test_engine_studies_slow PRIVATE
                 ${PROJECT_SOURCE_DIR}/tests/engine/studies/simulated_runs.cpp)
endif()
orvspc_tests(certified orvspc_analysis orvspc_embedded)
foreach(dir contract hostile)
  orvspc_tests(${dir} orvspc_test_fake orvspc_analysis orvspc_embedded EXPAT::EXPAT)
endforeach()
foreach(dir host script threads)
  orvspc_tests(${dir} orvspc_cli)
endforeach()
# Of the component for Windows, what is plain C++.
target_sources(test_host PRIVATE ${PROJECT_SOURCE_DIR}/host/windows/engine/Objects.cpp)

# Failures of a server, which tests/postgres/run.sh stops and starts on the way: no test of ctest.
if(ORVSPC_POSTGRESQL)
  file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tests/postgres/*.cpp)
  set(slow ${sources})
  list(FILTER slow INCLUDE REGEX "_slow_test\\.cpp$")
  list(FILTER sources EXCLUDE REGEX "_slow_test\\.cpp$")
  set(link orvspc_cli orvspc_postgres)
  orvspc_test_executable(test_postgres SOURCES ${sources} LINK ${link})
  target_compile_definitions(test_postgres PRIVATE ORVSPC_POSTGRESQL)
  if(ORVSPC_SLOW_TESTS)
    orvspc_test_executable(test_postgres_slow SOURCES ${slow} LINK ${link})
    target_compile_definitions(test_postgres_slow PRIVATE ORVSPC_POSTGRESQL)
  endif()
endif()

# The floors, checked by the linker: a program of every object of a floor and of the floors before
# it must link without the rest.
file(WRITE ${PROJECT_BINARY_DIR}/floor_main.cpp "int main() {}\n")
function(orvspc_floor_check floor)
  if(orvspc_${floor}_scope STREQUAL "PUBLIC")
    add_executable(floor_${floor} ${PROJECT_BINARY_DIR}/floor_main.cpp)
    target_link_libraries(floor_${floor} PRIVATE
                          $<LINK_LIBRARY:WHOLE_ARCHIVE,orvspc_${floor}>)
  endif()
endfunction()
set(checked_floors
    system platform frame dataset select ${ORVSPC_ANALYSES} engine_time engine_statistics engine_sql
    engine_schema engine_catalogue engine_log engine_chunks engine_write_chunks engine_store
    engine_write engine_import engine_record engine_change engine_audit engine_hooks engine_deliver
    engine_dom engine_charts engine_limits engine_capability engine_pareto engine_compliance
    embedded studies)
if(ORVSPC_FLOOR_CHECKS)
  foreach(floor IN LISTS checked_floors)
    orvspc_floor_check(${floor})
  endforeach()
endif()
