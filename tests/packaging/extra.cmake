# Another project building against ecckey, installed and vendored. Both rebuild or relink the
# library outside this build, so they are left out of sanitizer builds, whose instrumented
# archive would need the sanitizer runtimes in the consumer too.
if(NOT ECCKEY_SANITIZE)
  # The installed tree is compared with the public headers, passed as one argument.
  string(REPLACE ";" " " public "${ECCKEY_PUBLIC_HEADERS};${ECCKEY_KEYFILE_PUBLIC_HEADERS}")
  foreach(mode installed subdirectory)
    add_test(NAME packaging_consumer_${mode}
      COMMAND ${CMAKE_CURRENT_LIST_DIR}/consumer_test.sh ${mode} ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR} "${public}")
    set_tests_properties(packaging_consumer_${mode} PROPERTIES TIMEOUT 600)
  endforeach()
endif()
