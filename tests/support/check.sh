# Sourced by the tests of the examples with the path of the program.
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

# check STATUS ERRORS INPUT OUTPUT ARGUMENT...: runs the program on an input.
# INPUT and OUTPUT have escapes such as \n; ERRORS is a pattern.
check() {
  local status=$1 errors=$2 input=$3 output=$4 actual_status
  shift 4
  printf %b "$input" | "$program" "$@" >actual 2>errors
  actual_status=$?
  printf %b "$output" >expected
  # shellcheck disable=SC2053
  if [ $actual_status != "$status" ] || [[ $(<errors) != $errors ]] ||
    ! cmp -s expected actual; then
    fail "${input:0:200} with: $*; status $actual_status: $(<errors)"
    diff -au expected actual | cut -c 1-200 | sed '1,2d;20q'
  fi
}

# check_full_device ARGUMENT...: the program must report a full output device.
check_full_device() {
  "$program" "$@" 2>errors >/dev/full
  [[ $? = 1 && $(<errors) == *': No space left on device' ]] ||
    fail "a full device: $(<errors)"
}
