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
  # Only the sources that reach ecc/SecretMarking.h, directly or through a header, change with
  # ECCKEY_CT_CHECK: those are compiled again, and every other object comes from the library
  # itself, the same code with the same flags (a marked object's symbols keep the library's
  # copy out of the link, or the link fails). A source that starts using the marks joins at the
  # next configure. Under clang everything is compiled again, with DWARF 4, because the
  # valgrind of Debian 12 cannot read the DWARF 5 that clang emits by default.
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set(ct_sources ${ECCKEY_SOURCES})
  else()
    file(GLOB_RECURSE ct_headers ${PROJECT_SOURCE_DIR}/ecc/*.h ${PROJECT_SOURCE_DIR}/host/*.h)
    set(marking "SecretMarking\\.h")
    set(grown TRUE)
    while(grown)
      set(grown FALSE)
      foreach(h IN LISTS ct_headers)
        get_filename_component(n ${h} NAME)
        file(STRINGS ${h} hit REGEX "#include \"(.*/)?(${marking})\"")
        if(hit AND NOT n MATCHES "^(${marking})$")
          string(REPLACE "." "\\." n ${n})
          string(APPEND marking "|${n}")
          set(grown TRUE)
        endif()
      endforeach()
    endwhile()
    set(ct_sources "")
    foreach(src IN LISTS ECCKEY_SOURCES)
      file(STRINGS ${src} hit REGEX "#include \"(.*/)?(${marking})\"")
      if(hit)
        list(APPEND ct_sources ${src})
      endif()
    endforeach()
  endif()
  add_library(ecckey_ct_marked OBJECT ${ct_sources})
  target_include_directories(ecckey_ct_marked PUBLIC ${PROJECT_SOURCE_DIR} ${ECCKEY_VALGRIND_INCLUDE_DIR})
  target_compile_definitions(ecckey_ct_marked PUBLIC ECCKEY_CT_CHECK=1)
  target_link_libraries(ecckey_ct_marked PRIVATE ecckey_build_flags)
  set_target_properties(ecckey_ct_marked PROPERTIES POSITION_INDEPENDENT_CODE ON)
  add_executable(ecckey_ct_check ${CMAKE_CURRENT_LIST_DIR}/whole_library_check.cpp)
  target_include_directories(ecckey_ct_check PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
  target_link_libraries(ecckey_ct_check PRIVATE ecckey_ct_marked ecckey ecckey_build_flags OpenSSL::Crypto)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(ecckey_ct_marked PRIVATE -gdwarf-4)
    target_compile_options(ecckey_ct_check PRIVATE -gdwarf-4)
  endif()
  add_test(NAME ecckey_constant_time
    COMMAND ${ECCKEY_VALGRIND} --tool=memcheck --error-exitcode=1 --track-origins=yes
            --quiet $<TARGET_FILE:ecckey_ct_check>)
  set_tests_properties(ecckey_constant_time PROPERTIES TIMEOUT 300)
endif()
