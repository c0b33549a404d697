# The command-line tool's tests run the built binary.
if(TARGET test_tools AND TARGET ecckey_tool)
  target_compile_definitions(test_tools PRIVATE ECCKEY_TOOL_PATH="$<TARGET_FILE:ecckey_tool>")
  add_dependencies(test_tools ecckey_tool)
endif()

# The manual page shows, and the bash completion offers, every command and every output form
# the tool's help lists.
if(TARGET ecckey_tool_docs)
  file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/tool_docs_check.sh [=[
tool=$1 page=$2
commands=$("$tool" --help | sed -n '/^Commands:$/,/^$/s/^  \([a-z]*\) .*/\1/p')
forms=$("$tool" convert --help | sed -n '/^Output forms/,/^$/s/^  \([a-z0-9-]*\) .*/\1/p')
shown=$(MANWIDTH=80 MANPAGER=cat man -l "$page") && [ -n "$commands" ] && [ -n "$forms" ] || exit 1
source "$3"
offered() { COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _ecckey; echo " ${COMPREPLY[*]} "; }
offered=$(offered ecckey '')$(offered ecckey convert --to '')
for word in $commands $forms; do
  grep -qE "^ +$word( |\$)" <<< "$shown" || { echo "the manual page does not show $word"; exit 1; }
  [[ $offered == *" $word "* ]] || { echo "the completion does not offer $word"; exit 1; }
done
]=])
  add_test(NAME tool_manpage_and_completion COMMAND bash ${CMAKE_CURRENT_BINARY_DIR}/tool_docs_check.sh
    $<TARGET_FILE:ecckey_tool> ${PROJECT_BINARY_DIR}/tools/ecckey.1 ${PROJECT_BINARY_DIR}/tools/ecckey.bash)
endif()
