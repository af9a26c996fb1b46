# SPDX-License-Identifier: Apache-2.0
# The library exports its two factories and nothing else.
execute_process(COMMAND ${NM} -D --defined-only --format=posix ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
set(names "")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^QVWS_1[@ ]")  # the version's own name
    string(REGEX REPLACE "[@ ].*" "" name "${line}")
    list(APPEND names ${name})
  endif()
endforeach()
list(SORT names)
if(NOT names STREQUAL "qvwsCreateWebServiceClient;qvwsCreateWebServiceParmValue")
  message(FATAL_ERROR "exported: ${names}")
endif()
