// Converts literals to texts of both character types, and those to failure
// messages; reads and writes texts through buffers. Part of common.h.
#pragma once

namespace nalo_test {

// Each byte becomes the character of its unsigned value.
template <class Char>
std::basic_string<Char> widened(std::string_view s) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(s.data());
  return {bytes, bytes + s.size()};
}

// Shows unprintable characters as \x and their value.
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

// Takes up to size characters from a buffer.
template <class Char>
std::basic_string<Char> taken(nalo::basic_streambuf<Char>& from, size_t size) {
  std::basic_string<Char> text(size, Char());
  const auto n = from.sgetn(text.data(), static_cast<long>(size));
  text.resize(static_cast<size_t>(n));
  return text;
}
template <class Char>
long put(nalo::basic_streambuf<Char>& to, const std::string& s) {
  const auto wide = widened<Char>(s);
  return to.sputn(wide.data(), static_cast<long>(wide.size()));
}

}  // namespace nalo_test
