# SPDX-License-Identifier: Apache-2.0
# What the engine and the hosts are made with: SQLite::SQLite3, Boost_INCLUDE_DIRS, fmt::fmt,
# nlohmann_json::nlohmann_json, and in ORVSPC_CRYPTO the library that has SHA-256.
find_package(Threads REQUIRED)
if(NOT WIN32)
  find_package(SQLite3 REQUIRED)
  find_package(Boost 1.74 REQUIRED)  # headers only, for distributions
  find_package(fmt REQUIRED)         # for the hosts alone
  find_package(OpenSSL REQUIRED COMPONENTS Crypto)
  set(ORVSPC_CRYPTO OpenSSL::Crypto)
  find_package(nlohmann_json REQUIRED)  # headers only
  return()
endif()

# For Windows there are no packages of the system's. Headers come from the build machine, through a
# folder that has nothing else of its /usr/include; SQLite is compiled in.
enable_language(C RC)
set(ORVSPC_CRYPTO bcrypt)
set(ORVSPC_HEADERS ${PROJECT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${ORVSPC_HEADERS})

# orvspc_host_headers(<package> <folder> <header> <pattern>): pattern has the version in brackets.
function(orvspc_host_headers package folder header pattern)
  find_path(ORVSPC_${package}_DIR ${folder}/${header} REQUIRED NO_CMAKE_FIND_ROOT_PATH
            NO_DEFAULT_PATH PATHS /usr/include /usr/local/include)
  mark_as_advanced(ORVSPC_${package}_DIR)
  file(CREATE_LINK ${ORVSPC_${package}_DIR}/${folder} ${ORVSPC_HEADERS}/${folder} SYMBOLIC)
  file(STRINGS ${ORVSPC_HEADERS}/${folder}/${header} line REGEX "${pattern}")
  string(REGEX REPLACE ".*${pattern}.*" "\\1" version "${line}")
  set(${package}_FOUND TRUE PARENT_SCOPE)
  set(${package}_VERSION ${version} PARENT_SCOPE)
endfunction()

orvspc_host_headers(Boost boost version.hpp "define BOOST_LIB_VERSION \"([0-9_]+)\"")
string(REPLACE "_" "." Boost_VERSION ${Boost_VERSION})
set(Boost_INCLUDE_DIRS ${ORVSPC_HEADERS})

orvspc_host_headers(nlohmann_json nlohmann json.hpp
                    "define NLOHMANN_JSON_VERSION_MAJOR ([0-9]+)")
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE ${ORVSPC_HEADERS})

orvspc_host_headers(fmt fmt core.h "define FMT_VERSION ([0-9]+)")
math(EXPR fmt_major "${fmt_VERSION} / 10000")
math(EXPR fmt_minor "${fmt_VERSION} / 100 % 100")
math(EXPR fmt_patch "${fmt_VERSION} % 100")
set(fmt_VERSION ${fmt_major}.${fmt_minor}.${fmt_patch})
add_library(fmt::fmt INTERFACE IMPORTED)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
target_include_directories(fmt::fmt SYSTEM INTERFACE ${ORVSPC_HEADERS})

execute_process(COMMAND ${PROJECT_SOURCE_DIR}/tools/fetch_sqlite.sh
                OUTPUT_VARIABLE sqlite OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS ${sqlite}/sqlite3.h line REGEX "define SQLITE_VERSION +\"")
string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" SQLite3_VERSION "${line}")
set(SQLite3_FOUND TRUE)
add_library(orvspc_sqlite STATIC ${sqlite}/sqlite3.c)
add_library(SQLite::SQLite3 ALIAS orvspc_sqlite)
target_include_directories(orvspc_sqlite SYSTEM PUBLIC ${sqlite})
target_compile_options(orvspc_sqlite PRIVATE -w -O2)
# As many bound values as the Linux packages allow, since a list of items is bound one by one.
target_compile_definitions(orvspc_sqlite PRIVATE SQLITE_THREADSAFE=1 SQLITE_DEFAULT_MEMSTATUS=0
  SQLITE_MAX_VARIABLE_NUMBER=250000 SQLITE_ENABLE_MATH_FUNCTIONS SQLITE_OMIT_LOAD_EXTENSION
  SQLITE_OMIT_DEPRECATED)
set_target_properties(orvspc_sqlite PROPERTIES UNITY_BUILD OFF)
