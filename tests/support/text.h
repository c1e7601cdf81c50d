// Texts of both character types from literals, and back for failure messages.
#ifndef NALO_TESTS_TEXT_H
#define NALO_TESTS_TEXT_H

#include <string>
#include <string_view>
#include <type_traits>

namespace nalo_test {

// Each byte becomes the character of its unsigned value.
template <class Char>
std::basic_string<Char> widened(std::string_view s) {
  std::basic_string<Char> wide;
  for (char ch : s) wide += static_cast<Char>(static_cast<unsigned char>(ch));
  return wide;
}

// Every other character than the printable ones as \x and its value.
template <class Char>
std::string shown(std::basic_string_view<Char> s) {
  std::string narrow;
  for (Char wide : s) {
    auto value = static_cast<std::make_unsigned_t<Char>>(wide);
    if (value >= 0x20 && value < 0x7F) {
      narrow += static_cast<char>(value);
      continue;
    }
    std::string digits;
    for (; value != 0 || digits.size() < 2; value >>= 4) {
      digits.insert(digits.begin(), "0123456789ABCDEF"[value & 15]);
    }
    narrow += "\\x" + digits;
  }
  return narrow;
}

}  // namespace nalo_test

#endif
