# The bench node count of the binary must be the "Bench: N" that the latest commit changing the
# search states: a tree that changes without anyone saying so is a fault. Skipped outside a git
# checkout or when no recent commit states a signature.
find_package(Git QUIET)
if(NOT GIT_FOUND)
  message("SKIP: no git")
  return()
endif()
execute_process(COMMAND ${GIT_EXECUTABLE} -C ${SOURCE_DIR} log -50 --format=%B
                OUTPUT_VARIABLE log RESULT_VARIABLE failed ERROR_QUIET)
string(REGEX MATCH "Bench: ([0-9]+)" stated "${log}")
if(failed OR NOT stated)
  message("SKIP: no stated signature")
  return()
endif()
set(expected ${CMAKE_MATCH_1})
# An empty folder of its own: no values.txt, book or ini file may change the count.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
# `velumbrak bench`, as testing frameworks run it: the count is on the last line.
execute_process(COMMAND ${ENGINE} bench WORKING_DIRECTORY ${WORK_DIR} OUTPUT_VARIABLE out)
string(REGEX MATCH "([0-9]+) nodes [0-9]+ nps\n$" found "${out}")
if(NOT CMAKE_MATCH_1 STREQUAL expected)
  message(FATAL_ERROR "bench gives ${CMAKE_MATCH_1} nodes; the commits state Bench: ${expected}")
endif()
