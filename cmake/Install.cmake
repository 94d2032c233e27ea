# SPDX-License-Identifier: Apache-2.0
# The package orvSPCAnalysis6. Headers keep their folders below one directory of our own.
include(CMakePackageConfigHelpers)

set(header_dir ${CMAKE_INSTALL_INCLUDEDIR}/orvSPCAnalysis6)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvSPCAnalysis6)

get_property(packaged GLOBAL PROPERTY ORVSPC_PACKAGED)
foreach(target IN LISTS packaged)
  get_target_property(component ${target} ORVSPC_COMPONENT)
  set(export orvSPCAnalysis6${component}Targets)
  list(APPEND exports ${export})
  get_target_property(header_sets ${target} INTERFACE_HEADER_SETS)
  if(header_sets)
    install(TARGETS ${target} EXPORT ${export}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
            FILE_SET HEADERS DESTINATION ${header_dir})
  else()
    install(TARGETS ${target} EXPORT ${export}
            ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
  endif()
endforeach()
if(TARGET orvspc)
  install(TARGETS orvspc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

list(REMOVE_DUPLICATES exports)
foreach(export IN LISTS exports)
  install(EXPORT ${export} NAMESPACE orvSPCAnalysis6:: DESTINATION ${package_dir})
endforeach()
configure_package_config_file(cmake/orvSPCAnalysis6Config.cmake.in
                              ${PROJECT_BINARY_DIR}/orvSPCAnalysis6Config.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvSPCAnalysis6ConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvSPCAnalysis6Config.cmake
              ${PROJECT_BINARY_DIR}/orvSPCAnalysis6ConfigVersion.cmake
        DESTINATION ${package_dir})
