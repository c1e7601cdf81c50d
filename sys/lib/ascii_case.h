// Case conversion of ASCII letters.
#ifndef NALO_LIB_ASCII_CASE_H
#define NALO_LIB_ASCII_CASE_H

namespace nalo::impl {

template <class Char>
constexpr Char ascii_upper(Char ch) {
  return Char('a') <= ch && ch <= Char('z') ? Char(ch - 'a' + 'A') : ch;
}

template <class Char>
constexpr Char ascii_lower(Char ch) {
  return Char('A') <= ch && ch <= Char('Z') ? Char(ch - 'A' + 'a') : ch;
}

}  // namespace nalo::impl

#endif
