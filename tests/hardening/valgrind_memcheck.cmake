# Runs each program of PROGRAMS under memcheck in turn; the first one with an error fails the
# whole check.
foreach(program IN LISTS PROGRAMS)
  message(STATUS "memcheck: ${program}")
  execute_process(
    COMMAND ${VALGRIND} --tool=memcheck --error-exitcode=1 --leak-check=full
            --errors-for-leak-kinds=definite,indirect --quiet
            ${program} --gtest_brief=1
    RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "memcheck failed on ${program} (exit ${rc})")
  endif()
endforeach()
