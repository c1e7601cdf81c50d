// The conformance kit: a sound buffer passes, and every flaw is found by the
// check that is there for it.
#include <nalo/buffers/std>
#include <nalo/testing>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using nalo::ios_base, nalo::streamoff, nalo::streamsize;
using nalo::testing::violations;

template <class Char>
using std_buffer =
    std::conditional_t<sizeof(Char) == 1, nalo::stdbuf, nalo::wstdbuf>;

// A text of the standard library, up to 60 characters of output, and one flaw.
// Nothing is buffered, so that each operation of the kit is a virtual one.
template <class Char>
class flawed_buffer : public std_buffer<Char> {
  using base = std_buffer<Char>;
  using typename base::int_type, typename base::traits_type;

 public:
  explicit flawed_buffer(std::string_view flaw,
                         const std::basic_string<Char>& text = {})
      : base(&text_), flaw_(flaw), text_(text) {}
  std::basic_string<Char> output() const { return written_; }

 private:
  static constexpr int_type eof = traits_type::eof();
  bool is(std::string_view flaw) const { return flaw_ == flaw; }

  int_type underflow() override {
    if (is("raises")) throw std::runtime_error("it");
    if (is("get area")) this->setg(area_ + 1, area_, area_);
    return is("underflow takes") ? base::uflow() : base::underflow();
  }
  int_type uflow() override {
    const int_type ch = base::uflow();
    return is("no end") && ch == eof && ended_++ ? '~' : ch;
  }
  streamsize xsgetn(Char* s, streamsize n) override {
    if (is("xsgetn of none") && n == 0) return 1;
    if (is("xsgetn of less") && n < 0) return n;
    const auto got = base::xsgetn(s, is("xsgetn short") && n > 3 ? 3 : n);
    if (is("xsgetn more") && n > 0) s[n] = Char('~');
    if (is("xsgetn other") && n > 0) s[0] = Char('~');
    return got;
  }
  int_type pbackfail(int_type ch) override {
    const int_type back = base::pbackfail(ch);
    if (is("pbackfail stays") && back != eof) base::uflow();
    return is("pbackfail lies") && back != eof ? '~' : back;
  }
  streamsize showmanyc() override {
    const auto left = base::showmanyc();
    if (is("showmanyc at end") && left <= 0) return -2;
    return is("showmanyc less") ? -1 : left;
  }

  // What there is room for, of n characters.
  streamsize fitting(streamsize n) {
    const streamoff at = base::seekoff(0, ios_base::cur, ios_base::out);
    return std::min(n, 60 - at);
  }
  int_type overflow(int_type ch) override {
    if (is("put area")) this->setp(area_ + 1, area_);
    if (is("overflow of eof") && ch == eof) base::overflow('~');
    return fitting(1) > 0 || ch == eof ? base::overflow(ch) : eof;
  }
  streamsize xsputn(const Char* s, streamsize n) override {
    if (is("xsputn of less") && n < 0) return n;
    if (is("xsputn fails") && n > 0) return -1;
    const auto put = base::xsputn(s, fitting(n));
    return is("xsputn counts all") && n > 0 ? n : put;
  }
  int sync() override {
    if (is("sync takes")) base::uflow();
    if (is("sync writes")) base::overflow('~');
    if (!is("sync keeps")) written_ = text_.str();
    return 0;
  }

  nalo::streampos seekoff(streamoff off, ios_base::seekdir way,
                          ios_base::openmode mode) override {
    if (is("no position")) return -1;
    const bool tells = way == ios_base::cur && off == 0;
    const streamoff before = base::seekoff(0, ios_base::cur, mode);
    const streamoff pos = base::seekoff(off, way, mode);
    if (is(tells ? "tell other" : "seek other")) return pos + 1;
    if (is("seek stays") && !tells) base::seekpos(before, mode);
    if (pos != -1) return pos;
    if (is("text behind") && off > 90) return off;
    if (is("seek behind") && off > 0)
      return base::seekoff(0, ios_base::end, mode);
    if (is(off > 0 ? "refusal ahead moves" : "refusal moves"))
      base::seekpos(0, mode);
    return -1;
  }
  nalo::streampos seekpos(nalo::streampos pos,
                          ios_base::openmode mode) override {
    if (is("seekpos stays")) return pos;
    return base::seekpos(pos, mode) + (is("seekpos other") ? 1 : 0);
  }

  std::string_view flaw_;
  std::basic_stringbuf<Char> text_;
  std::basic_string<Char> written_;
  int ended_ = 0;
  Char area_[2];
};

template <class Char>
violations found_in(std::string_view flaw) {
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

template <class Char>
class Conformance : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Conformance, Chars);

TYPED_TEST(Conformance, FindsEveryFlaw) {
  const struct {
    const char* flaw;
    const char* report;  // one begins with it
  } rows[] = {
#ifndef NALO_HARDENED  // which stops the buffer itself
      {"get area", "sgetc() at 0: expected the pointers of the get area"},
      {"put area", "overflow(eof) at 0: expected the pointers of the put area"},
#endif
      {"raises", "sgetc() at 0: expected no exception, saw it"},
      {"no end", "sbumpc() at 96: expected eof, saw '~'"},
      {"underflow takes", "sbumpc() at 0: expected 0x20, saw '!'"},
      {"xsgetn of less", "sgetn(-1) at 0: expected 0, saw -1"},
      {"xsgetn short", "sgetn(4) at 0: expected 4, saw 3"},
      {"xsgetn more", "sgetn(1) at 0: expected no more than was asked for"},
      {"xsgetn other", "sgetn(1) at 0: expected 0x20 as character 0, saw '~'"},
      {"pbackfail stays", "sungetc() at 0: expected eof, saw 0x20"},
      {"pbackfail stays", "sputbackc(0x20) at 0: expected eof, saw 0x20"},
      {"pbackfail lies", "sputbackc('!') at 1: expected '!', saw '~'"},
      {"showmanyc less", "in_avail() at 0: expected 0 to 96, saw -1"},
      {"showmanyc at end", "in_avail() at 96: expected -1 to 0, saw -2"},
      {"sync takes", "sbumpc() at 0: expected 0x20, saw '!'"},
      {"tell other", "pubseekoff(0, cur) at 0: expected 0, saw 1"},
      {"seek behind", "pubseekoff(97, beg) at 96: expected 97, saw 96"},
      {"text behind", "sbumpc() at 95: expected eof, saw 0x7f"},
      {"refusal moves", "sbumpc() at 96: expected eof, saw 0x20"},
      {"refusal ahead moves", "sbumpc() at 96: expected eof, saw 0x20"},
      {"seek other", "pubseekoff(0, beg) at 1: expected 0, saw 1"},
      {"seekpos stays", "sgetc() at 0: expected 0x20, saw eof"},
      {"seekpos other", "pubseekpos(0) at 96: expected 0, saw 1"},
      {"overflow of eof", "pubsync() at 30: expected "},
      {"xsputn of less", "sputn(-1) at 0: expected 0, saw -1"},
      {"xsputn fails", "sputn(1) at 0: expected 0 to 1, saw -1"},
      {"xsputn counts all", "pubsync() at 62: expected "},
      {"sync keeps", "pubsync() at 5: expected "},
      {"sync writes",
       "pubsync() at 19: expected none as character 19, saw '~'"},
      {"tell other", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"seek stays", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"refusal moves",
       "pubseekoff(-1, cur) at 1: expected the same as from the beginning"},
  };
  for (const char* const sound : {"none", "no position"})
    EXPECT_EQ(found_in<TypeParam>(sound), violations());
  // Each check ends at the first.
  EXPECT_EQ(found_in<TypeParam>("xsgetn of none"),
            violations{"sgetn(0) at 0: expected 0, saw 1"});
  for (const auto& row : rows) {
    const auto found = found_in<TypeParam>(row.flaw);
    const auto is_expected = [&](const std::string& violation) {
      return violation.starts_with(row.report);
    };
    EXPECT_TRUE(std::any_of(found.begin(), found.end(), is_expected))
        << row.report << " is not in " << testing::PrintToString(found);
  }
}

TYPED_TEST(Conformance, TriesEveryCharacter) {
  const auto text = nalo::testing::sample_text<TypeParam>(10'000);
  const std::set<TypeParam> all(text.begin(), text.end());
  EXPECT_GE(all.size(), 256u);
  EXPECT_EQ(all.size() > 256, sizeof(TypeParam) > 1);
}

}  // namespace
