# The whole library's constant-time check, included by tests/CMakeLists.txt: a second copy of
# the library built with its secret marks switched on, driven through the key API under
# memcheck. It needs valgrind and its client-request header, and an uninstrumented build
# (valgrind and the sanitizers do not mix).
find_program(ECCKEY_VALGRIND valgrind)
find_path(ECCKEY_VALGRIND_INCLUDE_DIR valgrind/memcheck.h)
if(ECCKEY_SANITIZE OR ECCKEY_TSAN)
  message(STATUS "whole-library constant-time check skipped: sanitizer build")
elseif(NOT ECCKEY_VALGRIND OR NOT ECCKEY_VALGRIND_INCLUDE_DIR)
  message(STATUS "whole-library constant-time check skipped: valgrind or valgrind/memcheck.h missing")
else()
  # The library's own sources, flags and optimisation; DWARF 4 under clang, because the
  # valgrind of Debian 12 cannot read the DWARF 5 that clang emits by default.
  add_library(ecckey_ct_marked STATIC ${ECCKEY_SOURCES})
  target_include_directories(ecckey_ct_marked PUBLIC ${PROJECT_SOURCE_DIR} ${ECCKEY_VALGRIND_INCLUDE_DIR})
  target_compile_definitions(ecckey_ct_marked PUBLIC ECCKEY_CT_CHECK=1)
  target_link_libraries(ecckey_ct_marked PRIVATE ecckey_build_flags)
  add_executable(ecckey_ct_check ${CMAKE_CURRENT_LIST_DIR}/whole_library_check.cpp)
  target_include_directories(ecckey_ct_check PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(ecckey_ct_check PRIVATE ecckey_ct_marked ecckey_build_flags OpenSSL::Crypto)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(ecckey_ct_marked PRIVATE -gdwarf-4)
    target_compile_options(ecckey_ct_check PRIVATE -gdwarf-4)
  endif()
  add_test(NAME ecckey_constant_time
    COMMAND ${ECCKEY_VALGRIND} --tool=memcheck --error-exitcode=1 --track-origins=yes
            --quiet $<TARGET_FILE:ecckey_ct_check>)
  set_tests_properties(ecckey_constant_time PROPERTIES TIMEOUT 300)
endif()
