#!/usr/bin/env bash
# text_report_test.sh PROGRAM: compares what the program prints with what wc, awk, sort
# and cmp say about the same files.
set -u
export LC_ALL=C
program=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

fail() {
  printf 'FAILED: %s\n' "$*"
  failed=1
}

# expect WHAT EXPECTED ACTUAL: that the two files are the same.
expect() {
  cmp -s "$2" "$3" && return
  fail "$1; expected (-) and actual (+):"
  diff -au "$2" "$3" | cut -c 1-200 | tail -n +3 | head -n 20
}

# run STATUS STDERR ARGUMENT...: that the program ends with this status and that
# this pattern matches all of its standard error. Its output goes to actual.
run() {
  local status=$1 pattern=$2 actual_status errors
  shift 2
  "$program" "$@" >actual 2>errors </dev/null
  actual_status=$?
  errors=$(<errors)
  [ $actual_status = "$status" ] ||
    fail "text_report $*: status $actual_status, not $status"
  # shellcheck disable=SC2053
  [[ $errors == $pattern ]] ||
    fail "text_report $*: standard error is '$errors', not '$pattern'"
}

# Line lengths are all that awk has to see of a text; it may not take nulls.
printable() { tr '\000\200-\377' 'x'; }

# report SKIPPED FILE...: the table of the files without their first lines.
report() {
  local skipped=$1 file
  shift
  printf '%11s %13s %11s %9s  file\n' lines characters longest mean
  for file; do
    tail -n +$((skipped + 1)) "$file" >text
    printable <text | awk -v bytes="$(wc -c <text)" -v name="$file" '
      { n = length($0); sum += n; if (n > longest) longest = n }
      END { print NR, bytes, longest + 0, sum + 0, name }'
  done | awk '
    function row(name) {
      printf "%11d %13d %11d %9.1f  %s\n", lines, bytes, longest,
             lines ? sum / lines : 0, name
    }
    { all_lines += $1; all_bytes += $2; all_sum += $4
      if ($3 > all_longest) all_longest = $3
      lines = $1; bytes = $2; longest = $3; sum = $4; row($5) }
    END { lines = all_lines; bytes = all_bytes; longest = all_longest
          sum = all_sum; row("total") }'
}

# words LIMIT FILE...: the table of the most frequent words.
words() {
  local limit=$1
  shift
  cat "$@" | tr -s ' \t\v\f\r' '\n' | grep -av '^$' | sort | uniq -c |
    sort -k 1,1nr -k 2 >counts
  awk -v limit="$limit" '
    function dots(n) { return substr("........................", 1, n) }
    { total += $1; count[NR] = $1; word[NR] = $2 }
    END {
      for (i = 1; i <= NR && i <= limit; ++i) {
        share = sprintf("%.1f", 100 * count[i] / total)
        printf "%s%s%s%s%s%s%%\n", word[i], dots(24 - length(word[i])),
               dots(12 - length(count[i])), count[i],
               dots(8 - length(share)), share
      }
      printf "%36d words, %d different\n", total, NR }' counts
}

repeat() { head -c "$2" /dev/zero | tr '\0' "$1"; }

: >empty
printf '\n' >line_end
printf 'no line end' >no_end
printf '\n\none two\n\nthree\n \n' >blank_lines
printf 'a\r\nbc\r\n' >dos
for n in 65535 65536 65537 131072; do  # around the size of a block
  { repeat y "$n"; printf '\nz\n'; } >"long_$n"
done
repeat x 10000000 >one_line  # wider than a column of the table
{ for n in {0..255}; do printf "\\x$(printf %x "$n")"; done; cat dos; } >binary
seq 1 60000 | awk '{ print $1 % 97, $1 % 11, "word" }' >numbers
files=(empty line_end no_end blank_lines dos long_* one_line binary numbers)

# The report, of files and of standard input.
for skipped in 0 1 2 70 9000000000000000000; do
  report $skipped "${files[@]}" >expected
  run 0 '' --skip-lines $skipped "${files[@]}"
  expect "the report without $skipped lines" expected actual
done
report 0 blank_lines | sed 's/blank_lines/(standard input)/' >expected
"$program" <blank_lines >actual
expect "the report of standard input" expected actual
cat blank_lines | "$program" --skip-lines=0 -- - >actual
expect "the report of a pipe" expected actual

# Words.
for limit in 0 1 10 1000; do
  words $limit binary blank_lines numbers dos no_end >expected
  run 0 '' --words=$limit binary blank_lines numbers dos no_end
  expect "$limit words" expected actual
  run 0 '' binary blank_lines --words $limit numbers dos no_end
  expect "$limit words, apart from the option" expected actual
done
words 10 numbers >expected
run 0 '' --words -- numbers
expect "words without a number" expected actual
run 0 '' --words empty
[ "$(<actual)" = "$(printf '%36d words, 0 different' 0)" ] ||
  fail "the words of nothing are '$(<actual)'"

# Copies.
cat "${files[@]}" >expected
run 0 '' --copy "${files[@]}"
expect "the copy of all files" expected actual
tail -n +3 numbers >expected
run 0 '' --copy --skip-lines 2 numbers
expect "the copy without two lines" expected actual

# What cannot be read is told in one line each, and the rest is reported.
missing='text_report: missing: cannot open: No such file or directory'
directory='text_report: /: cannot read: Is a directory'
unreadable='text_report: /proc/self/mem: cannot read: Input/output error'
problems="$missing"$'\n'"$directory"$'\n'"$unreadable"
report 0 dos numbers >expected
run 1 "$problems" dos missing / /proc/self/mem numbers
expect "the report beside unreadable files" expected actual
cat dos numbers >expected
run 1 "$problems" --copy dos missing / /proc/self/mem numbers
expect "the copy beside unreadable files" expected actual
words 10 dos numbers >expected
run 1 "$problems" --words dos missing / /proc/self/mem numbers
expect "the words beside unreadable files" expected actual
# The memory of this shell ends behind its stack: 1000 characters, then an error.
exec 5</proc/$$/mem
end=$(awk '/\[stack\]/ { split($1, range, "-"); print range[2] }' /proc/$$/maps)
dd bs=1 skip=$((16#$end - 1000)) count=0 <&5 2>/dev/null
"$program" --copy - dos <&5 2>errors | tail -c +1001 >actual
expect "the copy behind a file with an error inside" dos actual
grep -q '^text_report: (standard input): cannot read: ' errors ||
  fail "an error inside a file: '$(<errors)'"

# What cannot be written ends the program.
"$program" dos 2>errors >/dev/full
[ $? = 1 ] && grep -q '^text_report: .*: No space left on device$' errors ||
  fail "a full device: '$(<errors)'"
for disposition in - ''; do  # of SIGPIPE: the default, ignored
  (
    trap "$disposition" PIPE
    "$program" --copy one_line 2>errors | head -c 1 >/dev/null
    exit "${PIPESTATUS[0]}"
  )
  status=$?
  [ $status = 141 ] && [ ! -s errors ] ||
    fail "a closed pipe, SIGPIPE '$disposition': status $status, '$(<errors)'"
done

# Mistakes on the command line.
run 2 "*unrecognized option '--bogus'*usage:*" --bogus dos
run 2 '*usage:*' -x
run 2 '*requires an argument*usage:*' --skip-lines
run 2 '*usage:*' --copy=1
for number in '' -1 +1 1x ' 1' 0x1 1.5; do
  run 2 "*--skip-lines '$number' is not a number*usage:*" "--skip-lines=$number"
  run 2 "*--words '$number' is not a number*usage:*" "--words=$number"
done
run 2 '*is too large*usage:*' --skip-lines 18446744073709551616
run 2 '*exclude each other*usage:*' --words --copy
run 0 '' --help
grep -q '^usage:' actual || fail "--help prints '$(<actual)'"

# Memory does not grow with the input: what the program has used at most after
# a megabyte is, but for a little, what it has used after 65.
ordinary_lines() { yes 'some words on an ordinary line' | head -c "$1"; }
endless_line() { repeat x "$1"; }
peak() { awk '/^VmHWM/ { print $2 }' "/proc/$pid/status"; }
mkfifo pipe
for option in --skip-lines=0 --skip-lines=1 --copy; do
  for input in ordinary_lines endless_line; do
    "$program" $option <pipe >/dev/null &
    pid=$!
    exec 3>pipe
    $input 1M >&3
    early=$(peak)
    $input 64M >&3
    late=$(peak)
    exec 3>&-
    wait $pid || fail "$option on an $input: status $?"
    [ $((late - early)) -lt 4096 ] ||
      fail "$option on an $input: peak of $early kB, later of $late kB"
  done
done

exit $failed
