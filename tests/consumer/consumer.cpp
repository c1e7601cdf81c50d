// Uses what a program needs across the border of the library: virtual
// functions of its own, both character types, errors that the library raises
// and the program catches, and each of the buffers that come with it.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
#include <nalo/istream>

#include <algorithm>
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

template <class Error, class Call>
int line_of_error(Call call) {
  try {
    call();
  } catch (const Error& error) {
    return error.line();
  }
  return 0;
}

}  // namespace

int main() {
  std::stringbuf standard("one\ntwo");
  const bool ok[] = {
      numbered<char>(nalo::viewbuf("one\ntwo")) == "1one2two",
      numbered<char>(nalo::stdbuf(&standard)) == "1one2two",
      numbered<wchar_t>(nalo::wstringbuf(L"one\ntwo")) == L"1one2two",
      line_of_error<nalo::ios_base::failure>(
          [] { nalo::istream(nullptr, nalo::ios_base::badbit); }) > 0,
      line_of_error<nalo::fd_error>([] { nalo::fdbuf("/nonexistent"); }) > 0};
  const auto wrong = std::find(std::begin(ok), std::end(ok), false);
  if (wrong == std::end(ok)) return 0;
  std::fprintf(stderr, "consumer: check %td fails\n", wrong - ok);
  return 1;
}
