# SPDX-License-Identifier: Apache-2.0
# A library exports the functions and the classes' operations that its headers mark, and nothing else; a definition file for Windows names the same.
cmake_minimum_required(VERSION 3.25)
file(GLOB headers ${HEADERS})
set(declared "")
foreach(header IN LISTS headers)
  file(READ ${header} text)
  string(REGEX MATCHALL "\n(extern \"C\" |class )?${MARK} [^\n({]+[({]" declarations "${text}")
  foreach(declaration IN LISTS declarations)
    string(REGEX MATCH "([A-Za-z_]+) ?[({]$" ending "${declaration}")
    list(APPEND declared ${CMAKE_MATCH_1})
  endforeach()
endforeach()

execute_process(COMMAND ${NM} -D -C --defined-only --format=just-symbols ${LIBRARY} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "[][;]" " " symbols "${symbols}")
string(REGEX MATCHALL "[^\n]+" symbols "${symbols}")
list(TRANSFORM symbols REPLACE "[(@].*|::.*" "")  # a member counts as its class
list(FILTER symbols EXCLUDE REGEX "^QVWS_[0-9]+$")  # the name of a version
list(REMOVE_DUPLICATES symbols)

if(DEFINITIONS)
  file(STRINGS ${DEFINITIONS} defined REGEX "^  ")
  list(TRANSFORM defined STRIP)
endif()
foreach(list IN ITEMS declared symbols defined)
  list(SORT ${list})
endforeach()
if(NOT declared OR NOT symbols STREQUAL declared OR (DEFINITIONS AND NOT defined STREQUAL declared))
  message(FATAL_ERROR "${LIBRARY}\ndeclared: ${declared}\nexported: ${symbols}\n${DEFINITIONS}: ${defined}")
endif()
