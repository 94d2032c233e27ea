# SPDX-License-Identifier: Apache-2.0
# orvspc_unity(<target>): with CMAKE_UNITY_BUILD the target's sources are compiled in batches of at
# most CMAKE_UNITY_BUILD_BATCH_SIZE. Two sources that give one name to things of their own (in
# anonymous namespaces) go into different batches, so that nobody has to know what other files of the
# room call theirs.

# The names that a source defines at the left margin: types, aliases, constants, functions.
function(orvspc_names_of source result)
  file(READ ${source} text)
  # A list in CMake is cut at the first and kept together by the others.
  string(REPLACE ";" " " text "${text}")
  string(REPLACE "[" " " text "${text}")
  string(REPLACE "]" " " text "${text}")
  string(REGEX MATCHALL "\n[A-Za-z][^\n]*" lines "${text}")
  set(names "")
  foreach(line IN LISTS lines)
    foreach(pattern IN ITEMS
            "^\n(enum class|struct|class|enum|union) ([A-Za-z0-9_]+)( final)?( |$)"
            "^\n(using) ([A-Za-z0-9_]+) ="
            "^\n(const|constexpr|inline|static|thread_local) [^=({]*[ *&]([A-Za-z0-9_]+) *[={]"
            "^\n([A-Za-z][^=(]*[ *&])([A-Za-z0-9_]+)[(]"
            "^\n()([A-Za-z0-9]*[a-z][A-Za-z0-9]*)[(]")
      if(line MATCHES "${pattern}")
        list(APPEND names ${CMAKE_MATCH_2})
      endif()
    endforeach()
  endforeach()
  set(${result} ${names} PARENT_SCOPE)
endfunction()

function(orvspc_unity target)
  if(NOT CMAKE_UNITY_BUILD)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
  get_target_property(sources ${target} SOURCES)
  set(batches 0)
  foreach(source IN LISTS sources)
    orvspc_names_of(${source} names)
    set(batch 0)
    set(placed FALSE)
    while(NOT placed)
      set(placed TRUE)
      if(NOT DEFINED members_${batch})
        set(members_${batch} "")
        set(names_${batch} "")
      endif()
      list(LENGTH members_${batch} size)
      if(size GREATER_EQUAL CMAKE_UNITY_BUILD_BATCH_SIZE)
        set(placed FALSE)
      endif()
      foreach(name IN LISTS names)
        if(name IN_LIST names_${batch})
          set(placed FALSE)
        endif()
      endforeach()
      if(NOT placed)
        math(EXPR batch "${batch} + 1")
      endif()
    endwhile()
    list(APPEND members_${batch} ${source})
    list(APPEND names_${batch} ${names})
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${batch})
  endforeach()
endfunction()
