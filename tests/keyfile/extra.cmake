# The key-file tests run the peers through the same script runner as the tool's tests.
if(TARGET test_keyfile AND TARGET ecckey_tool)
  target_compile_definitions(test_keyfile PRIVATE ECCKEY_TOOL_PATH="$<TARGET_FILE:ecckey_tool>")
  add_dependencies(test_keyfile ecckey_tool)
endif()
