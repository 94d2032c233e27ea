# SPDX-License-Identifier: Apache-2.0
# cpack -G ZIP in a build for Windows: what an installation has, in one folder.
get_property(dlls GLOBAL PROPERTY ORVSPC_DLLS)
install(TARGETS ${dlls} RUNTIME DESTINATION .)
set(ORVSPC_PROGRAM_LINE "")
if(TARGET orvspc)
  install(TARGETS orvspc RUNTIME DESTINATION .)
  set(ORVSPC_PROGRAM_LINE
      "\n  orvspc.exe                   the program: orvspc demo makes a sample database and draws it")
endif()
foreach(library orvSPCAnalysis6 orvEngine)
  get_target_property(tlb orvspc_typelib_${library} ORVSPC_TLB)
  install(FILES ${tlb} DESTINATION .)
endforeach()

# A class of the component, by which register.cmd finds that one is registered.
file(STRINGS ${PROJECT_SOURCE_DIR}/host/windows/tables/classes.tsv row
     REGEX "^orvSPCAnalysis6\tCCAnalysis\t")
string(REPLACE "\t" ";" row "${row}")
list(GET row 3 ORVSPC_REGISTERED_CLASS)
math(EXPR ORVSPC_WIDTH "8 * ${CMAKE_SIZEOF_VOID_P}")

# Command files and texts of Windows end their lines with CR LF.
foreach(file register.cmd unregister.cmd README.txt)
  configure_file(${PROJECT_SOURCE_DIR}/host/windows/installer/${file}
                 ${PROJECT_BINARY_DIR}/installer/${file} @ONLY NEWLINE_STYLE CRLF)
  install(FILES ${PROJECT_BINARY_DIR}/installer/${file} DESTINATION .)
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION .)

# The licences of what is compiled in, as the packages of the build machine have them. SQLite has
# none: it is in the public domain, as its source says.
foreach(pair "boost,libboost1.*-dev" "fmt,libfmt-dev" "mingw-w64,mingw-w64-common"
             "gcc,g++-mingw-w64-base,gcc-mingw-w64-base")
  string(REPLACE "," ";" patterns ${pair})
  list(POP_FRONT patterns part)
  list(TRANSFORM patterns REPLACE "(.+)" "/usr/share/doc/\\1/copyright")
  file(GLOB licence ${patterns})
  if(NOT licence)
    message(FATAL_ERROR "No licence of ${part} in ${patterns}")
  endif()
  list(GET licence 0 licence)
  install(FILES ${licence} DESTINATION licences RENAME ${part}.txt)
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME})
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-win${ORVSPC_WIDTH})
include(CPack)
