#!/usr/bin/env bash
# key_value_test.sh PROGRAM: what the program prints after changing records.
sample=$(realpath "$(dirname "$0")/../examples/key_value/sample.conf")
source "$(dirname "$0")/support/check.sh"

at='key_value: (standard input)'

# Records change, and nothing else does.
check 0 '' 'a: 1\nb: 2\nc: 3\n' 'b: two\nc: 3\n' - b=two a=
check 0 '' ' a \t:\t 1 \nb:c: d\ne:\n' ' a \t:\t 1 \nb: 2\n' - 'a=1 ' b=2 e=
check 0 '' '\0377\0a: \0\n\0: 1\n' '\0377\0a: \0\n\0: 1\na: 1\n' - a=1

# A line that is no record is reported and kept.
check 1 "$at:2: there is no ':'" 'a: 1\nb\nc: 3\n' 'a: 1\nb\nc: 4\n' - b= c=4
check 1 "$at:3: there is no key before the ':'" '\n\n : b\n' '\n\n : b\n' -

sed 's/8080/80/; /^timeout/d; $auser: nobody' "$sample" >result
check 0 '' '' "$(<result)\n" "$sample" port=80 timeout= user=nobody

# Files that cannot be read or written.
check 1 'key_value: missing: cannot open "missing": No such file or directory' '' '' missing
check 1 'key_value: /: cannot read: Is a directory' '' '' /
check_full_device "$sample"

exit $failed
