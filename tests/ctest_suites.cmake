# Run after a test program is linked: asks it for its test suites and writes one CTest entry
# per suite, "Suite.*", which runs the suite's cases in one process.
#   cmake -DTEST_EXECUTABLE=... -DWORKING_DIRECTORY=... -DCTEST_FILE=... -DPROPERTIES=... -P ctest_suites.cmake
execute_process(COMMAND "${TEST_EXECUTABLE}" --gtest_list_tests
  WORKING_DIRECTORY "${WORKING_DIRECTORY}" TIMEOUT 60
  OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "${TEST_EXECUTABLE} --gtest_list_tests failed (${rc}):\n${listing}${errors}")
endif()

# Parameter values in the listing may hold list separators and brackets; suite names do not.
string(REGEX REPLACE "[][;]" "_" listing "${listing}")
string(REPLACE "\n" ";" lines "${listing}")
set(script "")
foreach(line IN LISTS lines)
  if(line MATCHES "^([^ #]+)\\.")
    set(name "${CMAKE_MATCH_1}.*")
    string(APPEND script
      "add_test([==[${name}]==] [==[${TEST_EXECUTABLE}]==] [==[--gtest_filter=${name}]==])\n"
      "set_tests_properties([==[${name}]==] PROPERTIES WORKING_DIRECTORY [==[${WORKING_DIRECTORY}]==] ${PROPERTIES})\n")
  endif()
endforeach()
if(script STREQUAL "")
  message(FATAL_ERROR "${TEST_EXECUTABLE} lists no tests")
endif()
file(WRITE "${CTEST_FILE}" "${script}")
