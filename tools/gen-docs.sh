#!/bin/sh
# Writes the ecckey tool's manual page and bash completion from the built tool's own --help
# texts, so that neither can promise what the tool does not do.
# usage: gen-docs.sh TOOL MANPAGE COMPLETION
# shellcheck disable=SC2086  # $helps is split on purpose: one file name per command
set -eu
tool=$1 man=$2 completion=$3
here=$(dirname "$0")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$tool" --help > "$work/top"
commands=$(sed -n '/^Commands:$/,/^$/s/^  \([a-z][a-z0-9]*\)  .*/\1/p' "$work/top" | tr '\n' ' ')
if [ -z "$commands" ]; then
  echo "gen-docs.sh: '$tool --help' lists no commands" >&2
  exit 1
fi
helps=""
for c in $commands; do
  "$tool" "$c" --help > "$work/$c"
  helps="$helps $work/$c"
done

version=$("$tool" --version)
awk -v version="$version" -f "$here/help2roff.awk" "$work/top" $helps > "$work/man"
cat "$here/man-tail.roff" >> "$work/man"

# The words each placeholder of a usage stands for; the others (KEY, FILE, ...) are file names.
forms=$(sed -n '/^Output forms (--to):$/,/^$/s/^  \([a-z0-9-]*\)  .*/\1/p' $helps | sort -u | tr '\n' ' ')
sources=$(sed -n 's/^  \([a-z]*:\)[A-Z]*  .*/\1/p' $helps | sort -u | tr '\n' ' ')
# Each curve's name and the other names it is listed under (after name, oid, bits, bytes).
curves=$("$tool" curves | awk 'NR > 1 {
  gsub(/any name containing [^ ,]*|,/, " ")
  for (i = 1; i <= NF; i++) if (i == 1 || i > 4) printf "%s ", $i
}')
{
  echo "# Made from the tool's --help texts by tools/gen-docs.sh: change those, not this."
  echo "_ecckey_commands='$commands'"
  echo "declare -gA _ecckey_words=([FORM]='$forms' [SOURCE]='$sources'"
  echo "  [CURVE]='$curves' [NAME]='$curves')"
  # Per command: its options ("cmd"), what each takes ("cmd --opt"), its operand ("cmd @").
  echo "declare -gA _ecckey_args=("
  for c in $commands; do
    sed -n '/^$/q;s/^usage: //;p' "$work/$c" | tr -s ' \n' '  ' | awk -v c="$c" '{
      for (i = 3; i <= NF; i++) {
        w = $i
        gsub(/[][]/, "", w)
        if (w ~ /^--/) {
          options = options " " w
          if ($i !~ /]$/) { gsub(/]/, "", $(i + 1)); printf "  [\"%s %s\"]=\"%s\"\n", c, w, $(i + 1); i++ }
        } else {
          printf "  [\"%s @\"]=\"%s\"\n", c, w
        }
      }
      printf "  [%s]=\"%s\"\n", c, substr(options, 2)
    }'
  done
  echo ")"
  cat "$here/completion.bash"
} > "$work/completion"

mv "$work/man" "$man"
mv "$work/completion" "$completion"
