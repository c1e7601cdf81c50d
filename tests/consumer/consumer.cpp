// Uses what a program needs across the border of the library: virtual
// functions of its own, both character types, errors that the library raises
// and the program catches, and each of the buffers that come with it.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
#include <nalo/istream>

#include <cstdio>
#include <sstream>
#include <string>

namespace {

// Collects what is written.
template <class Char>
struct collecting_buffer : nalo::basic_streambuf<Char> {
  using int_type = typename nalo::basic_streambuf<Char>::int_type;
  int_type overflow(int_type ch) override {
    written += static_cast<Char>(ch);
    return ch;
  }
  std::basic_string<Char> written;
};

// Numbers the lines of a text.
template <class Char>
std::basic_string<Char> numbered(nalo::basic_streambuf<Char>&& text) {
  nalo::basic_istream<Char> in(&text);
  collecting_buffer<Char> buffer;
  nalo::basic_ostream<Char> out(&buffer);
  nalo::basic_string<Char> line;
  for (int n = 1; getline(in, line); ++n) out << n << line;
  return buffer.written;
}

}  // namespace

int main() {
  std::stringbuf standard("one\ntwo");
  if (numbered<char>(nalo::viewbuf("one\ntwo")) == "1one2two" &&
      numbered<char>(nalo::stdbuf(&standard)) == "1one2two" &&
      numbered<wchar_t>(nalo::wstringbuf(L"one\ntwo")) == L"1one2two") {
    try {
      nalo::fdbuf("/nonexistent");
    } catch (const nalo::fd_error& error) {
      return error.line() > 0 ? 0 : 1;
    }
  }
  std::fputs("consumer: something is wrong\n", stderr);
  return 1;
}
