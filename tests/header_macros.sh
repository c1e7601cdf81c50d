#!/usr/bin/env bash
# header_macros.sh COMPILER HEADER...: checks that, besides include guards and
# macros of the standard headers, the headers define only macros named below.
set -euo pipefail
cd "$(dirname "$0")/../sys/src"
compiler=$1
shift
kept='NALO_(API|INLINE|LIFETIMEBOUND|REQUIRE|LIBRARY_MODE|\w+_WORK)'

# Includes the headers on standard input and prints the macros defined then.
macros_of() {
  sed 's/.*/#if __has_include(<&>)\n#include <&>\n#endif/' |
    "$compiler" -std=c++20 -I. -E -dM -x c++ - |
    sed -E '/^#define NALO_\w+ ?$/d; s/^#define (\w+).*/\1/' | sort -u
}

others=$(cat "$@" | sed -n 's/^ *#include <\([^>]*\)>.*/\1/p' | grep -v '^nalo/')
comm -23 <(printf '%s\n' "$@" | macros_of) <(macros_of <<<"$others") |
  { ! grep -vxE "$kept"; }
