#!/usr/bin/env bash
# key_value_test.sh PROGRAM: changes texts and looks at what comes out.
set -u
export LC_ALL=C
program=$(realpath "$1")
sample=$(realpath "$(dirname "$0")/../examples/key_value/sample.conf")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failed=0

# check STATUS STDERR TEXT EXPECTED CHANGE...: that the program turns one text
# into the other, with this status and these lines on standard error. The texts
# are as printf takes them.
check() {
  local status=$1 errors=$2 text=$3 expected=$4 actual_status
  shift 4
  # shellcheck disable=SC2059
  printf "$text" | "$program" - "$@" >actual 2>errors
  actual_status=$?
  # shellcheck disable=SC2059
  printf "$expected" >expected
  if [ $actual_status != "$status" ] || ! cmp -s expected actual ||
    [ "$(<errors)" != "$errors" ]; then
    printf 'FAILED: %q changed by: %s\n' "$text" "$*"
    printf 'status %s, expected %s\n' "$actual_status" "$status"
    printf 'standard error: %q, expected %q\n' "$(<errors)" "$errors"
    diff -au expected actual | tail -n +3
    failed=1
  fi
}
at() { printf 'key_value: (standard input):%s: %s' "$1" "$2"; }
no_colon="there is no ':'"
no_key="there is no key before the ':'"
too_long='the key is too long'
longest=$(printf '%063d' 0)  # key

# Records change, and nothing else does.
check 0 '' '' ''
check 0 '' '' 'a: 1\nb: 2\n' b=2 c= a=1
check 0 '' 'a: 1\nb: 2\nc: 3\n' 'a: 1\nb: two\nc: 3\n' b=two
check 0 '' 'a: 1\nb: 2\nc: 3\n' 'b: 2\n' a= c=
check 0 '' 'a: 1\na: 2\n' 'a: 3\na: 3\n' a=2 a=3
check 0 '' 'a: 1' 'a: 1\n'
check 0 '' 'a: 1' 'a: 1\nb: x=y\n' b=x=y
check 0 '' '# a: 1\n\n \t\n\t# b\n' '# a: 1\n\n \t\n\t# b\na: 2\n' a=2
check 0 '' ' a \t:\t 1 \nb:c: d\ne:\n' ' a \t:\t 1 \nb: 2\ne:\n' 'a=1 ' b=2
check 0 '' 'e:\nf:\n' 'f: 1\n' e= f=1
check 0 '' '\377\0a: \0\n\0: 1\n' '\377\0a: \0\n\0: 1\na: 1\n' a=1
check 0 '' "$longest: 1\n" "$longest: 2\n" "$longest=2"

# A line that makes no sense is told and kept.
check 1 "$(at 2 "$no_colon")" 'a: 1\nb\nc: 3\n' 'a: 1\nb\nc: 4\n' b= c=4
check 1 "$(at 1 "$no_colon")" 'a' 'a\na: 1\n' a=1
check 1 "$(at 3 "$no_key")" '\n\n : b\n' '\n\n : b\n'
check 1 "$(at 1 "$no_key")" ':' ':\n'
check 1 "$(at 1 "$too_long")" "1$longest: 1\na: 1\n" "1$longest: 1\n" a=
check 1 "$(at 1 "$no_colon")" "1$longest\na: 1\n" "1$longest\na: 2\n" a=2
check 1 "$(at 2 "$no_colon")
$(at 3 "$no_colon")" 'a: 1\nb\nc' 'b\nc\nd: 1\n' a= d=1

# A long text, against sed, in a buffer that grows many times.
seq 1 20000 | sed 's/.*/key &: value of &/' >long
sed 's/^key 10\([0-9]*\):.*/key 10\1: changed/' long >expected
changes=$(seq 1 20000 | sed -n 's/^10[0-9]*$/key &=changed/p')
mapfile -t changes <<<"$changes"
"$program" long "${changes[@]}" >actual || failed=1
cmp expected actual || failed=1

# The sample, as a file.
sed 's/8080/80/; /^timeout/d; s/^log:/log: \/dev\/null/' "$sample" >expected
echo 'user: nobody' >>expected
"$program" "$sample" port=80 timeout= log=/dev/null user=nobody >actual
diff expected actual || failed=1

# refused STATUS PATTERN ARGUMENT...: that standard error matches the pattern.
refused() {
  local status=$1 pattern=$2 actual_status
  shift 2
  "$program" "$@" >actual 2>errors </dev/null
  actual_status=$?
  # shellcheck disable=SC2053
  if [ $actual_status != "$status" ] || [ -s actual ] ||
    [[ $(<errors) != $pattern ]]; then
    printf 'FAILED: key_value %s: status %s, expected %s; %s\n' "$*" \
      "$actual_status" "$status" "$(<errors)"
    failed=1
  fi
}
refused 2 '*there is no file*usage:*'
for mistake in a =1 a:b=1 '#a=1' ' a=1' 'a =1' a=$'b\nc' "1$longest=1"; do
  refused 2 "key_value: '$mistake': *usage:*" "$sample" "$mistake"
done
refused 1 'key_value: missing: cannot open: No such file or directory' missing
refused 1 'key_value: /: cannot read: Is a directory' /
"$program" "$sample" >/dev/full 2>errors
if [ $? != 1 ] || ! grep -q ': No space left on device$' errors; then
  printf 'FAILED: a full device: %s\n' "$(<errors)"
  failed=1
fi

exit $failed
