// Uses what a program needs across the border of the library: virtual
// functions of its own, numbers, strings, both character types, errors that
// the library raises and the program catches, and each of the buffers that come
// with it.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
#include <nalo/istream>

#include <cerrno>
#include <cstdio>
#include <sstream>
#include <string>

namespace {

// Delivers a text one character at a time and collects what is written.
template <class Char>
class text_buffer : public nalo::basic_streambuf<Char> {
  using base = nalo::basic_streambuf<Char>;
  using traits = typename base::traits_type;
  using int_type = typename base::int_type;

 public:
  explicit text_buffer(std::basic_string<Char> text) : text_(std::move(text)) {}

  std::basic_string<Char> written;

 private:
  int_type underflow() override {
    if (next_ == text_.size()) return traits::eof();
    Char* ch = &text_[next_++];
    this->setg(ch, ch, ch + 1);
    return traits::to_int_type(*ch);
  }
  int_type overflow(int_type ch) override {
    written += traits::to_char_type(ch);
    return ch;
  }

  std::basic_string<Char> text_;
  std::size_t next_ = 0;
};

bool expect(bool holds, const char* what) {
  if (!holds) std::fprintf(stderr, "consumer: wrong: %s\n", what);
  return holds;
}

template <class Char>
bool copies_lines(const std::basic_string<Char>& text,
                  const std::basic_string<Char>& expected) {
  text_buffer<Char> buffer(text);
  nalo::basic_istream<Char> in(&buffer);
  nalo::basic_ostream<Char> out(&buffer);
  nalo::basic_string<Char> line;
  for (int n = 1; getline(in, line); ++n) out << n << line;
  return expect(buffer.written == expected, "numbered lines");
}

bool catches_failure() {
  try {
    nalo::istream in(nullptr, nalo::ios_base::badbit);
  } catch (const nalo::ios_base::failure& err) {
    return expect(err.line() > 0, "the line of an error");
  }
  return expect(false, "a stream without a buffer did not raise");
}

bool has_buffers() {
  nalo::viewbuf in("text");
  nalo::wstringbuf wide;
  nalo::wostream(&wide) << 42 << L" words";
  std::stringbuf target;
  nalo::stdbuf out(&target);
  nalo::ostream(&out) << &in << nalo::endl;
  try {
    nalo::fdbuf file("/nonexistent");
  } catch (const nalo::fd_error& err) {
    return expect(target.str() == "text\n" && wide.view() == L"42 words" &&
                      err.code() == ENOENT,
                  "what buffers hold");
  }
  return expect(false, "a missing file did not raise");
}

}  // namespace

int main() {
  bool ok = copies_lines<char>("one\ntwo", "1one2two") &
            copies_lines<wchar_t>(L"one\ntwo", L"1one2two") &
            catches_failure() & has_buffers();
  return ok ? 0 : 1;
}
