# SPDX-License-Identifier: Apache-2.0
# cmake -DWIDL=<program> "-DARGUMENTS=<list>" -DOUTPUT=<file> -P widl.cmake
# Runs widl. It only warns of some things that leave the type library wrong, so whatever it prints is
# an error, and the file it made is removed.
execute_process(COMMAND ${WIDL} ${ARGUMENTS} -o ${OUTPUT}
                RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(NOT result EQUAL 0 OR NOT said STREQUAL "")
  file(REMOVE ${OUTPUT})
  message(FATAL_ERROR "${WIDL}: ${said}")
endif()
