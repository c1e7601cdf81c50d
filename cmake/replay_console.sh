#!/bin/sh
# replay_console.sh FILE: runs what follows each "$ " in the file and compares
# what is printed, standard error included, with what the file shows.
sed -n 's/^\$ //p' "$1" | while IFS= read -r command; do
  printf '$ %s\n' "$command"
  sh -c "$command" 2>&1 </dev/null
done | diff "$1" -
