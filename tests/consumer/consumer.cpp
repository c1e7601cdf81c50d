// Uses the binary interface: virtual functions, both character types, an error
// that the program catches, and the library of buffers.
#include <nalo/buffers/fd>
#include <nalo/istream>
#include <nalo/sstream>

#include <cstdio>
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
std::basic_string<Char> numbered(const Char* text) {
  nalo::basic_istringstream<Char> in(text);
  collecting_buffer<Char> buffer;
  nalo::basic_ostream<Char> out(&buffer);
  nalo::basic_string<Char> line;
  for (int n = 1; getline(in, line); ++n) out << n << line;
  return buffer.written;
}

}  // namespace

int main() {
  if (numbered("a\nb") == "1a2b" && numbered(L"a\nb") == L"1a2b") {
    try {
      nalo::fdbuf("/nonexistent");
    } catch (const nalo::fd_error& error) {
      return error.line() > 0 ? 0 : 1;
    }
  }
  std::fputs("consumer: wrong text, or no error was raised\n", stderr);
  return 1;
}
