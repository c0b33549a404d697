# The command-line tool's tests run the built binary.
if(TARGET test_tools AND TARGET ecckey_tool)
  target_compile_definitions(test_tools PRIVATE ECCKEY_TOOL_PATH="$<TARGET_FILE:ecckey_tool>")
  add_dependencies(test_tools ecckey_tool)
endif()
