// The conformance kit passes a correct buffer and finds each flaw.
#include <nalo/buffers/std>
#include <nalo/testing>

#include "common.h"

namespace {

using nalo::ios_base, nalo::streamoff, nalo::streampos, nalo::streamsize;
using nalo::testing::violations;

template <class Char>
using std_buffer =
    std::conditional_t<sizeof(Char) == 1, nalo::stdbuf, nalo::wstdbuf>;

// A buffer over a standard string buffer, with room for 60 characters of output
// and one flaw. It has no areas, so that each operation calls a virtual one.
template <class Char>
class flawed_buffer : public std_buffer<Char> {
  using base = std_buffer<Char>;
  using typename base::int_type, typename base::traits_type;

 public:
  explicit flawed_buffer(const std::string& flaw,
                         const std::basic_string<Char>& text = {})
      : base(&text_), flaw_(flaw), text_(text) {}
  std::basic_string<Char> output() const { return written_; }

 private:
  static constexpr int_type eof = traits_type::eof();
  bool is(const std::string& flaw) const { return flaw_ == flaw; }

  // Returns the result of an operation, with flaws that any operation can have.
  auto done(const std::string& operation, auto result) {
    if (is(operation + " raises")) throw std::runtime_error("it");
    if (is(operation + " takes")) base::uflow();
    if (is(operation + " writes")) base::overflow('~');
    if (is(operation + " breaks get area")) this->setg(area_ + 1, area_, area_);
    if (is(operation + " breaks put area")) this->setp(area_ + 1, area_);
    return is(operation + " lies") ? result + 1 : result;
  }

  int_type underflow() override { return done("underflow", base::underflow()); }
  int_type uflow() override {
    const int_type ch = base::uflow();
    return ch == eof && ended_++ > 0 ? done("uflow at end", ch) : ch;
  }
  streamsize xsgetn(Char* s, streamsize n) override {
    const auto got = base::xsgetn(s, is("xsgetn short") && n > 3 ? 3 : n);
    if (is("xsgetn more") && n > 0) s[n] = Char('~');
    if (is("xsgetn other") && n > 0) s[0] = Char('~');
    return done("xsgetn", got);
  }
  int_type pbackfail(int_type ch) override {
    const int_type back = base::pbackfail(ch);
    return back == eof ? eof : done("pbackfail", back);
  }
  streamsize showmanyc() override {
    const auto left = base::showmanyc();
    return is("showmanyc at end") && left <= 0 ? -2 : done("showmanyc", left);
  }

  // How many of n characters fit.
  streamsize fitting(streamsize n) {
    const streamoff at = base::seekoff(0, ios_base::cur, ios_base::out);
    return std::min(n, 60 - at);
  }
  int_type overflow(int_type ch) override {
    if (ch == eof) return done("overflow of eof", base::overflow(ch));
    return fitting(1) > 0 ? base::overflow(ch) : eof;
  }
  streamsize xsputn(const Char* s, streamsize n) override {
    if (is("xsputn fails") && n > 0) return -1;
    const auto put = base::xsputn(s, fitting(n));
    return is("xsputn counts all") && n > 0 ? n : done("xsputn", put);
  }
  int sync() override {
    const int result = done("sync", 0);
    if (!is("sync keeps")) written_ = text_.str();
    return result;
  }

  streampos seekoff(streamoff off, ios_base::seekdir way,
                    ios_base::openmode mode) override {
    const bool tells = way == ios_base::cur && off == 0;
    if (is("no position") || is("seekpos alone")) return -1;
    if (is("tell refused") && tells) return -1;
    const streamoff before = base::seekoff(0, ios_base::cur, mode);
    if (tells) return done("tell", before);
    const streamoff pos = base::seekoff(off, way, mode);
    if (is("seek stays")) base::seekpos(before, mode);
    if (pos != -1) return done("seek", pos);
    if (is("text behind") && off > 90) return off;
    if (is("seek behind") && off > 0) return before;
    if (is("refusal moves") && off < 0) base::seekpos(0, mode);
    return -1;
  }
  streampos seekpos(streampos pos, ios_base::openmode mode) override {
    if (is("seekpos stays") || is("seekpos alone")) return pos;
    return seekoff(pos, ios_base::beg, mode);
  }

  std::string flaw_;
  std::basic_stringbuf<Char> text_;
  std::basic_string<Char> written_;
  int ended_ = 0;
  Char area_[2];
};

template <class Char>
violations found_in(const std::string& flaw) {
  using buffer = flawed_buffer<Char>;
  std::basic_string<Char> text;
  for (int value = 0x20; value < 0x80; ++value) text += Char(value);
  auto found = nalo::testing::check_input<Char>(
      [&] { return std::make_unique<buffer>(flaw, text); }, text);
  const auto more = nalo::testing::check_output<Char>(
      [&] { return std::make_unique<buffer>(flaw); },
      [](const buffer& b) { return b.output(); }, 75);
  found.insert(found.end(), more.begin(), more.end());
  return found;
}

TEST_SUITE_OF_CHARACTERS(Conformance);

TYPED_TEST(Conformance, FindsEveryFlaw) {
  const struct {
    const char* flaw;
    const char* report;  // the beginning of a violation
  } rows[] = {
#ifndef NALO_HARDENED  // which stops the buffer itself
      {"underflow breaks get area",
       "sgetc() at 0: expected the pointers of the get area"},
      {"overflow of eof breaks put area",
       "overflow(eof) at 0: expected the pointers of the put area"},
#endif
      {"underflow raises", "sgetc() at 0: expected no exception, saw it"},
      {"underflow takes", "sbumpc() at 0: expected 0x20, saw '!'"},
      {"uflow at end lies", "sbumpc() at 96: expected eof, saw 0x0"},
      {"xsgetn short", "sgetn(4) at 0: expected 4, saw 3"},
      {"xsgetn more", "sgetn(1) at 0: expected no more than was asked for"},
      {"xsgetn other", "sgetn(1) at 0: expected 0x20 as character 0, saw '~'"},
      {"pbackfail takes", "sungetc() at 0: expected eof, saw 0x20"},
      {"pbackfail takes", "sputbackc(0x20) at 0: expected eof, saw 0x20"},
      {"pbackfail lies", "sputbackc('!') at 1: expected '!', saw '\"'"},
      {"showmanyc lies", "in_avail() at 0: expected 0 to 96, saw 97"},
      {"showmanyc at end", "in_avail() at 96: expected -1 to 0, saw -2"},
      {"sync takes", "sbumpc() at 0: expected 0x20, saw '!'"},
      {"seekpos alone", "pubseekpos(0) at 0: expected -1, saw 0"},
      {"tell refused", "pubseekoff(0, beg) at 0: expected -1, saw 0"},
      {"tell lies", "pubseekoff(0, cur) at 0: expected 0, saw 1"},
      {"seek behind", "pubseekoff(97, beg) at 96: expected 97, saw 96"},
      {"text behind", "sbumpc() at 95: expected eof, saw 0x7f"},
      {"refusal moves", "sbumpc() at 96: expected eof, saw 0x20"},
      {"seek lies", "pubseekoff(0, beg) at 1: expected 0, saw 1"},
      {"seekpos stays", "sgetc() at 0: expected 0x20, saw eof"},
      {"overflow of eof writes", "pubsync() at 30: expected "},
      {"xsputn lies", "sputn(0) at 0: expected 0, saw 1"},
      {"xsputn fails", "sputn(1) at 0: expected 0 to 1, saw -1"},
      {"xsputn counts all", "pubsync() at 62: expected "},
      {"sync keeps", "pubsync() at 5: expected "},
      {"sync writes", "pubsync() at 19: expected none as character 19"},
      {"seek stays", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"refusal moves", "pubseekoff(-1, cur) at 1: expected the same as"},
  };
  for (const char* const correct : {"none", "no position"})
    EXPECT_EQ(found_in<TypeParam>(correct), violations());
  // Each check ends at its first violation.
  EXPECT_EQ(found_in<TypeParam>("xsgetn lies"),
            violations{"sgetn(0) at 0: expected 0, saw 1"});
  for (const auto& row : rows) {
    const auto found = found_in<TypeParam>(row.flaw);
    const auto is_reported = [&](const std::string& violation) {
      return violation.starts_with(row.report);
    };
    EXPECT_TRUE(std::ranges::any_of(found, is_reported))
        << row.report << " is not in " << testing::PrintToString(found);
  }
}

}  // namespace
