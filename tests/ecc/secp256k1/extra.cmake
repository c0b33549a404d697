# Extra registrations of the secp256k1 engine tests, included by tests/CMakeLists.txt.

# OpenSSL 3 deprecates parts of the low-level EC_POINT API the point tests use as reference.
target_compile_options(test_ecc_secp256k1 PRIVATE -Wno-deprecated-declarations)

# The constant-time check: memcheck watches secret operands marked undefined and fails on
# any branch or address computed from them. It needs valgrind and its client-request
# header, and an uninstrumented build (valgrind and the sanitizers do not mix).
find_program(ECCKEY_VALGRIND valgrind)
find_path(ECCKEY_VALGRIND_INCLUDE_DIR valgrind/memcheck.h)
if(ECCKEY_SANITIZE)
  message(STATUS "secp256k1 constant-time check skipped: sanitizer build")
elseif(NOT ECCKEY_VALGRIND OR NOT ECCKEY_VALGRIND_INCLUDE_DIR)
  message(STATUS "secp256k1 constant-time check skipped: valgrind or valgrind/memcheck.h missing")
else()
  # Under clang the engine's sources are compiled into the checker rather than taken from the
  # library so that it can ask for DWARF 4 debug information: the valgrind of Debian 12 cannot
  # read the DWARF 5 that clang emits by default. Flags and optimisation are the library's, so
  # elsewhere the library's own objects are the same code.
  add_executable(secp256k1_ct_check ${CMAKE_CURRENT_LIST_DIR}/ct/constant_time_check.cpp)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(k1_engine ${PROJECT_SOURCE_DIR}/ecc/secp256k1)
    target_sources(secp256k1_ct_check PRIVATE
      ${k1_engine}/Unsigned256.cpp ${k1_engine}/FieldElement.cpp ${k1_engine}/CurvePt.cpp
      ${k1_engine}/EngineConstants.cpp ${k1_engine}/OrderArithmetic.cpp
      ${k1_engine}/Field4x64.cpp ${k1_engine}/CompletePoint.cpp
      ${k1_engine}/GeneratorMultiplication.cpp ${k1_engine}/PointMultiplication.cpp
      ${k1_engine}/OrderMontgomery.cpp ${PROJECT_SOURCE_DIR}/host/SecureWipe.cpp)
    target_compile_options(secp256k1_ct_check PRIVATE -gdwarf-4)
  else()
    target_link_libraries(secp256k1_ct_check PRIVATE ecckey)
  endif()
  target_include_directories(secp256k1_ct_check PRIVATE ${PROJECT_SOURCE_DIR}
    ${ECCKEY_VALGRIND_INCLUDE_DIR})
  target_link_libraries(secp256k1_ct_check PRIVATE ecckey_build_flags)
  add_test(NAME secp256k1_constant_time
    COMMAND ${ECCKEY_VALGRIND} --tool=memcheck --error-exitcode=1 --track-origins=yes
            --quiet $<TARGET_FILE:secp256k1_ct_check>)
  set_tests_properties(secp256k1_constant_time PROPERTIES TIMEOUT 300)
endif()
