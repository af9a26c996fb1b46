# SPDX-License-Identifier: Apache-2.0
# Every header handed out compiles alone: with either compiler and standard, for Windows as well, and with nothing but the headers it may include. The
# platform's are compiled without the library's beside them.
cmake_minimum_required(VERSION 3.25)
find_program(GXX g++ REQUIRED)
find_program(CLANGXX clang++ REQUIRED)
set(warnings -fsyntax-only -Wall -Wextra -Werror -pedantic)
set(windows --target=x86_64-pc-windows-msvc -ffreestanding)  # without the system's headers, clang's own serve

function(check_headers folder includes allowed)
  file(GLOB headers ${SOURCE_FOLDER}/${folder}/*/*.h)
  foreach(header IN LISTS headers)
    file(STRINGS ${header} lines REGEX "^[ \t]*#[ \t]*include")
    foreach(line IN LISTS lines)
      if(NOT line MATCHES "^#include <((stddef|stdint|stdarg)\\.h|(${allowed})/[A-Za-z]+\\.h)>$")
        message(SEND_ERROR "${header}: ${line}")
      endif()
    endforeach()
  endforeach()
  list(TRANSFORM includes PREPEND "-I${SOURCE_FOLDER}/")
  foreach(standard IN ITEMS 17 20)
    foreach(compiler IN ITEMS "${GXX}" "${CLANGXX}" "${CLANGXX};${windows}")
      execute_process(COMMAND ${compiler} -std=c++${standard} ${warnings} ${includes} -x c++ ${headers} RESULT_VARIABLE failed)
      if(failed)
        message(SEND_ERROR "the headers in ${folder} do not compile with: ${compiler} -std=c++${standard}")
      endif()
    endforeach()
  endforeach()
endfunction()

check_headers(platform/include "platform/include" "qvb|qvlog|qvwlp|qvjni")
check_headers(include "include;platform/include" "qvb|qvws")
