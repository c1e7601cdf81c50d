#!/bin/sh
# replay_console.sh FILE: runs the command after each "$ " in the file and
# compares its output, including standard error, with that in the file.
sed -n 's/^\$ //p' "$1" | while IFS= read -r command; do
  printf '$ %s\n' "$command"
  sh -c "$command" 2>&1 </dev/null
done | diff "$1" -
