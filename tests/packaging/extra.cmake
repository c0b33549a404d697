# Another project building against ecckey, installed and vendored. Both rebuild or relink the
# library outside this build, so they are left out of sanitizer builds, whose instrumented
# archive would need the sanitizer runtimes in the consumer too.
if(NOT ECCKEY_SANITIZE)
  foreach(mode installed subdirectory)
    add_test(NAME packaging_consumer_${mode}
      COMMAND ${CMAKE_CURRENT_LIST_DIR}/consumer_test.sh ${mode} ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
    set_tests_properties(packaging_consumer_${mode} PROPERTIES TIMEOUT 600)
  endforeach()
endif()
