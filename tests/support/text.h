// Texts of both character types from literals, and back for failure messages.
#ifndef NALO_TESTS_TEXT_H
#define NALO_TESTS_TEXT_H

#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

namespace nalo_test {

// Each byte becomes the character of its unsigned value.
template <class Char>
std::basic_string<Char> widened(std::string_view s) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(s.data());
  return {bytes, bytes + s.size()};
}

// Every other character than the printable ones as \x and its value.
template <class Char>
std::string shown(std::basic_string_view<Char> s) {
  std::string all;
  for (Char ch : s) {
    const auto value = static_cast<std::make_unsigned_t<Char>>(ch);
    const bool printable = value >= 0x20 && value < 0x7F;
    char one[12];
    std::snprintf(one, sizeof one, printable ? "%c" : "\\x%02X", +value);
    all += one;
  }
  return all;
}

}  // namespace nalo_test

#endif
