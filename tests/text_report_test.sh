#!/usr/bin/env bash
# text_report_test.sh PROGRAM: what the program prints about texts and files.
source "$(dirname "$0")/support/check.sh"

# Lines of the report: lines, characters, longest, mean and name of each file.
report() {
  printf '%11s %13s %11s %9s  %s\\n' lines characters longest mean file "$@"
}
check 0 '' '\na\0\0377\r\n\nno end' "$(report 4 13 6 2.5 '(standard input)' \
  4 13 6 2.5 total)" -

# Words, the most frequent first, then by their characters.
check 0 '' 'b a\tb\n\va\fc\r b d' "\
b..................................3....42.9%\n\
a..................................2....28.6%\n\
c..................................1....14.3%\n\
$(printf '%36s' 7) words, 4 different\n" --words=3

# Several files. Those that cannot be read are reported and skipped.
printf 'ab\r\ncde\n' >dos
printf 'f g' >no_end
head -c 10000000 /dev/zero >long  # wider than a column
problems='text_report: missing: cannot open "missing": No such file or directory
text_report: /: cannot read: Is a directory'
check 0 '' '' "$(report 2 8 3 3.0 dos 1 10000000 10000000 10000000.0 \
  long 3 10000008 10000000 3333335.3 total)" dos long
check 1 "$problems" '' "$(report 1 4 3 3.0 dos 0 0 0 0.0 no_end \
  1 4 3 3.0 total)" --skip-lines=1 dos missing / no_end
check 1 "$problems" 'x\0' 'ab\r\ncde\nx\0f g' --copy dos missing / - no_end
# Failed output ends the program, without a message if its pipe is closed.
check_full_device dos
(
  trap '' PIPE  # otherwise the signal ends the program
  "$program" --copy long 2>errors | head -c 1 >/dev/null
  [ "${PIPESTATUS[0]}" = 141 ] && [ ! -s errors ]
) || fail "a closed pipe: $(<errors)"

# Memory does not grow with the length of a line.
mkfifo pipe
for option in --skip-lines=0 --skip-lines=1 --copy; do
  "$program" $option <pipe >/dev/null &
  exec 3>pipe
  head -c 128M /dev/zero >&3
  peak=$(awk '/^VmHWM/ { print $2 }' /proc/$!/status)
  exec 3>&-
  wait $! && [ "$peak" -lt 65536 ] || fail "$option: $peak kB"
done

exit $failed
