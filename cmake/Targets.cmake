# SPDX-License-Identifier: Apache-2.0
# How a folder becomes a target. Sources are globbed, so a new file needs no edit here; a folder
# without sources becomes an interface target, so that its users link the same way.

# Headers of src/ that are named after a class or module and yet serve the library alone; Friend.h
# is the key to friend operations.
set(ORVSPC_PRIVATE_HEADERS Friend.h Trail.h Outside.h XMLSupport.h NumberText.h DateText.h)

# Headers that hosts may include.
function(orvspc_public_headers result)
  foreach(header IN LISTS ARGN)
    get_filename_component(name ${header} NAME)
    if(name MATCHES "^[A-Z]" AND NOT name IN_LIST ORVSPC_PRIVATE_HEADERS)
      list(APPEND headers ${header})
    endif()
  endforeach()
  set(${result} ${headers} PARENT_SCOPE)
endfunction()

# orvspc_library(<name> DIR <folder> BASE <include root> [FLAT] [PRIVATE] [COMPONENT <name>]
#                [PUBLIC_HEADERS <file>...] [EXCLUDE <file>...] [LINK <target>...])
# FLAT takes the sources directly in the folder only. PRIVATE keeps the target out of the package.
# COMPONENT puts it into a component of the package that a host has to ask for.
# PUBLIC_HEADERS names the installed headers; without it the engine installs none and a floor of
# src/ all its public ones.
function(orvspc_library name)
  cmake_parse_arguments(arg "FLAT;PRIVATE" "DIR;BASE;COMPONENT" "PUBLIC_HEADERS;EXCLUDE;LINK" ${ARGN})
  set(glob GLOB_RECURSE)
  if(arg_FLAT)
    set(glob GLOB)
  endif()
  file(${glob} sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${arg_DIR}/*.cpp)
  foreach(file IN LISTS arg_EXCLUDE)
    list(REMOVE_ITEM sources ${PROJECT_SOURCE_DIR}/${file})
  endforeach()

  set(target orvspc_${name})
  if(sources)
    set(scope PUBLIC)
    add_library(${target} STATIC ${sources})
    orvspc_unity(${target})
    set_property(GLOBAL APPEND PROPERTY ORVSPC_LIBRARIES ${target})
  else()
    set(scope INTERFACE)
    add_library(${target} INTERFACE)
  endif()
  set(${target}_scope ${scope} PARENT_SCOPE)
  target_compile_features(${target} ${scope} cxx_std_20)
  target_link_libraries(${target} ${scope} ${arg_LINK})
  cmake_path(ABSOLUTE_PATH arg_BASE BASE_DIRECTORY ${PROJECT_SOURCE_DIR} NORMALIZE
             OUTPUT_VARIABLE base)
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${base}>)

  if(NOT arg_PRIVATE)
    set(headers ${arg_PUBLIC_HEADERS})
    if(NOT headers AND arg_BASE STREQUAL "src")
      file(GLOB_RECURSE candidates CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${arg_DIR}/*.h)
      orvspc_public_headers(headers ${candidates})
    endif()
    foreach(header IN LISTS headers)
      cmake_path(ABSOLUTE_PATH header BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
      if(EXISTS ${header})
        list(APPEND present ${header})
      endif()
    endforeach()
    if(present)
      target_sources(${target} ${scope} FILE_SET HEADERS BASE_DIRS ${base} FILES ${present})
    endif()
    orvspc_packaged(${target} ${name} ${arg_COMPONENT})
  endif()
endfunction()

# orvspc_umbrella(<name> LINK <target>...): one name for several libraries.
function(orvspc_umbrella name)
  cmake_parse_arguments(arg "" "" "LINK" ${ARGN})
  add_library(orvspc_${name} INTERFACE)
  target_link_libraries(orvspc_${name} INTERFACE ${arg_LINK})
  orvspc_packaged(orvspc_${name} ${name})
endfunction()

# Gives the target its name in the package and remembers it for the install rules, with the component
# that it belongs to, if any.
function(orvspc_packaged target name)
  add_library(orvSPCAnalysis6::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  set_property(GLOBAL APPEND PROPERTY ORVSPC_PACKAGED ${target})
  set_target_properties(${target} PROPERTIES ORVSPC_COMPONENT "${ARGN}")
endfunction()

# orvspc_program(<name> SOURCES <file>... LINK <target>...): a program once its sources exist.
function(orvspc_program name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  foreach(file IN LISTS arg_SOURCES)
    file(GLOB found CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${file})
    list(APPEND sources ${found})
  endforeach()
  if(sources)
    add_executable(${name} ${sources})
    target_link_libraries(${name} PRIVATE ${arg_LINK})
    target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
    if(WIN32)
      orvspc_thread_end(${name})
    endif()
  endif()
endfunction()
