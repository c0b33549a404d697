# Memcheck over the test programs that run in seconds under valgrind: no invalid access, no
# uninitialised read, no definite or indirect leak. It needs an uninstrumented build, since
# valgrind and the sanitizers do not mix. test_ecc and the secp256k1 engine tests are left
# out: their differential sweeps take minutes there.
find_program(ECCKEY_VALGRIND valgrind)
if(ECCKEY_SANITIZE)
  message(STATUS "valgrind memcheck skipped: sanitizer build")
elseif(NOT ECCKEY_VALGRIND)
  message(STATUS "valgrind memcheck skipped: valgrind not found")
else()
  # An entry per program, so that CTest spreads them over the cores.
  foreach(program test_hardening test_host test_ecc_curves)
    add_test(NAME valgrind_memcheck_${program}
      COMMAND ${CMAKE_COMMAND} -DVALGRIND=${ECCKEY_VALGRIND} -DPROGRAMS=$<TARGET_FILE:${program}>
              -P ${CMAKE_CURRENT_LIST_DIR}/valgrind_memcheck.cmake)
    set_tests_properties(valgrind_memcheck_${program} PROPERTIES TIMEOUT 300)
  endforeach()
endif()

# The data lines of inputs_test.cpp.
target_compile_definitions(test_hardening PRIVATE ECCKEY_INPUTS_DATA="${CMAKE_CURRENT_LIST_DIR}/data")
