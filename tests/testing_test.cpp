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
      : base(&text_), flaw_(flaw), text_(text) {
    if (is("wild at first")) this->setp(area_ + 1, area_);
  }
  std::basic_string<Char> output() const { return written_; }

 private:
  static constexpr int_type eof = traits_type::eof();
  bool is(std::string_view flaw) const { return flaw_ == flaw; }

  int_type underflow() override {
    if (is("raises")) throw std::runtime_error("it");
    if (is("get area")) this->setg(area_ + 1, area_, area_);
    if (is("underflow takes")) return base::uflow();
    const int_type ch = base::underflow();
    peeked_ = true;
    return is("underflow other") ? ch + 1 : at_end(ch);
  }
  int_type uflow() override {
    depth_ = 0;
    if (is("uflow stays")) return base::underflow();
    return at_end(base::uflow());
  }
  int_type at_end(int_type ch) {
    return is("no end") && ch == eof && ended_++ ? 'x' : ch;
  }
  streamsize xsgetn(Char* s, streamsize n) override {
    if (is("xsgetn of none") && n == 0) return 1;
    if (is("xsgetn of less") && n < 0) return n;
    const auto got = base::xsgetn(s, is("xsgetn short") && n > 3 ? 3 : n);
    if (is("xsgetn more") && n > 0) s[n] = Char('x');
    if (is("xsgetn other") && n > 0) s[0] = Char('x');
    return got;
  }
  int_type pbackfail(int_type ch) override {
    const bool keeps = is("pbackfail keeps") && ch != eof;
    const int_type back = base::pbackfail(keeps ? eof : ch);
    if (back == eof) return eof;
    if (is("pbackfail stays")) base::uflow();
    if (is("pbackfail moves")) return eof;
    if (is("pbackfail deep") && ++depth_ == 9) return 'x';
    return is("pbackfail lies") ? 'x' : keeps ? ch : back;
  }
  streamsize showmanyc() override {
    const auto left = base::showmanyc();
    if (is("showmanyc more")) return left + 1;
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
    if (is("overflow of eof") && ch == eof) base::overflow('x');
    if (is("overflow drops") && ch != eof) return ch;
    const bool fits = fitting(1) > 0 || ch == eof;
    if (fits || is("overflow refuses")) base::overflow(ch);
    return fits ? traits_type::not_eof(ch) : eof;
  }
  streamsize xsputn(const Char* s, streamsize n) override {
    if (is("xsputn of none") && n == 0) return 1;
    if (is("xsputn of less") && n < 0) return n;
    if (is("xsputn fails") && n > 0) return -1;
    const auto put = base::xsputn(s, fitting(n));
    if (is("xsputn counts more") && put > 4) return n + 1;
    return is("xsputn counts all") && n > 0 ? n : put;
  }
  int sync() override {
    if (is("sync fails")) return -1;
    if (is("sync takes")) base::uflow();
    if (is("sync writes")) base::overflow('x');
    if (!is("sync keeps")) written_ = text_.str();
    return 0;
  }

  nalo::streampos seekoff(streamoff off, ios_base::seekdir way,
                          ios_base::openmode mode) override {
    const bool tells = way == ios_base::cur && off == 0;
    const auto to = [&](streamoff place) {
      return base::seekoff(place, ios_base::beg, mode);
    };
    if (is("no position") || is("no end") || is("seekpos alone")) return -1;
    if (is("tell refused") && tells) return -1;
    if (is("seek from end") && way == ios_base::end) --off;
    if (is("seek from here") && !tells) way = ios_base::beg;
    const streamoff before = base::seekoff(0, ios_base::cur, mode);
    const streamoff pos = base::seekoff(off, way, mode);
    if (is(tells ? "tell other" : "seek other")) return pos + 1;
    if (is("seek of unread") && way == ios_base::cur && peeked_) to(pos + 1);
    peeked_ = false;
    if (is("seek stays") && !tells) to(before);
    if (pos != -1) return pos;
    if (is("seek before") && off < 0) return to(0);
    if (is("text behind") && off > 50) return off;
    if (is("seek behind") && off > 0)
      return base::seekoff(0, ios_base::end, mode);
    if (is(off > 0 ? "refusal ahead moves" : "refusal moves")) to(0);
    return -1;
  }
  nalo::streampos seekpos(nalo::streampos pos,
                          ios_base::openmode mode) override {
    if (is("seekpos stays") || is("seekpos alone")) return pos;
    return seekoff(pos, ios_base::beg, mode) + (is("seekpos other") ? 1 : 0);
  }

  std::string_view flaw_;
  std::basic_stringbuf<Char> text_;
  std::basic_string<Char> written_;
  int ended_ = 0, depth_ = 0;
  bool peeked_ = false;
  Char area_[2];
};

template <class Char>
std::string reports(std::string_view flaw) {
  using buffer = flawed_buffer<Char>;
  std::basic_string<Char> text;
  for (int n = 0; n < 50; ++n) text += Char('0' + n % 75);
  auto found = nalo::testing::check_input<Char>(
      [&] { return std::make_unique<buffer>(flaw, text); }, text);
  const auto more = nalo::testing::check_output<Char>(
      [&] { return std::make_unique<buffer>(flaw); },
      [](const buffer& b) { return b.output(); }, 75);
  found.insert(found.end(), more.begin(), more.end());
  std::string all;
  for (const auto& violation : found) all += '\n' + violation;
  return all;
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
      {"wild at first", "construction: expected the pointers of the put area"},
      {"get area", "sgetc() at 0: expected the pointers of the get area"},
      {"put area", "overflow(eof) at 0: expected the pointers of the put area"},
#endif
      {"raises", "sgetc() at 0: expected no exception, saw it"},
      {"no end", "sbumpc() at 50: expected eof, saw 'x'"},
      {"underflow takes", "sbumpc() at 0: expected '0', saw '1'"},
      {"underflow other", "sgetc() at 0: expected '0', saw '1'"},
      {"uflow stays", "sbumpc() at 1: expected '1', saw '0'"},
      {"xsgetn of less", "sgetn(-1) at 0: expected 0, saw -1"},
      {"xsgetn short", "sgetn(4) at 0: expected 4, saw 3"},
      {"xsgetn more", "sgetn(1) at 0: expected no more than was asked for"},
      {"xsgetn other", "sgetn(1) at 0: expected '0' as character 0, saw 'x'"},
      {"pbackfail moves", "sbumpc() at 1: expected '1', saw '0'"},
      {"pbackfail stays", "sungetc() at 0: expected eof, saw '0'"},
      {"pbackfail stays", "sputbackc('0') at 0: expected eof, saw '0'"},
      {"pbackfail lies", "sputbackc('1') at 1: expected '1', saw 'x'"},
      {"pbackfail keeps", "sbumpc() at 0: expected '1', saw '0'"},
      {"showmanyc more", "in_avail() at 0: expected 0 to 50, saw 51"},
      {"showmanyc less", "in_avail() at 0: expected 0 to 50, saw -1"},
      {"showmanyc at end", "in_avail() at 50: expected -1 to 0, saw -2"},
      {"sync takes", "sbumpc() at 0: expected '0', saw '1'"},
      {"sync fails", "pubsync() at 0: expected 0, saw -1"},
      {"tell other", "pubseekoff(0, cur) at 0: expected 0, saw 1"},
      {"tell refused", "pubseekoff(0, beg) at 0: expected -1, saw 0"},
      {"seek from end", "pubseekoff(0, end) at 0: expected 50, saw 49"},
      {"seek from here", "pubseekoff(1, cur) at 50: expected 51, saw 1"},
      {"seek before", "pubseekoff(-1, beg) at 50: expected -1, saw 0"},
      {"seek behind", "pubseekoff(51, beg) at 50: expected 51, saw 50"},
      {"text behind", "sbumpc() at 49: expected eof, saw 'a'"},
      {"refusal moves", "sbumpc() at 50: expected eof, saw '0'"},
      {"refusal ahead moves", "sbumpc() at 50: expected eof, saw '0'"},
      {"seek of unread", "pubseekoff(-50, cur) at 49: expected -1, saw 0"},
      {"seek other", "pubseekoff(0, beg) at 1: expected 0, saw 1"},
      {"seekpos stays", "sgetc() at 0: expected '0', saw eof"},
      {"seekpos alone", "pubseekpos(0) at 0: expected -1, saw 0"},
      {"seekpos other", "pubseekpos(0) at 50: expected 0, saw 1"},
      {"pbackfail deep", "sputbackc('9') at 1: expected '9', saw 'x'"},
      {"overflow of eof", "pubsync() at 30: expected "},
      {"overflow drops", "pubsync() at 75: expected "},
      {"overflow refuses", "pubsync() at 60: expected none as character 60"},
      {"xsputn of none", "sputn(0) at 0: expected 0, saw 1"},
      {"xsputn of less", "sputn(-1) at 0: expected 0, saw -1"},
      {"xsputn fails", "sputn(1) at 0: expected 0 to 1, saw -1"},
      {"xsputn counts more", "sputn(5) at 0: expected 0 to 5, saw 6"},
      {"xsputn counts all", "pubsync() at 62: expected "},
      {"sync fails", "pubsync() at 60: expected 0, saw -1"},
      {"sync keeps", "pubsync() at 5: expected "},
      {"sync writes",
       "pubsync() at 19: expected none as character 19, saw 'x'"},
      {"tell other", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"seek stays", "pubseekoff(0, cur) at 1: expected 1, saw 2"},
      {"refusal moves",
       "pubseekoff(-1, cur) at 1: expected the same as from the beginning"},
  };
  EXPECT_EQ(reports<TypeParam>("none"), "");
  EXPECT_EQ(reports<TypeParam>("no position"), "");
  // Each check ends at the first.
  EXPECT_EQ(reports<TypeParam>("xsgetn of none"),
            "\nsgetn(0) at 0: expected 0, saw 1");
  for (const auto& row : rows) {
    const auto all = reports<TypeParam>(row.flaw);
    EXPECT_NE(all.find(std::string("\n") + row.report), all.npos)
        << row.flaw << ": " << row.report << " is not among:" << all;
  }
}

// A buffer without a text against a text of one character.
TYPED_TEST(Conformance, ReportsWhatIsWrongOutsideOfTheOperations) {
  using owner = std::unique_ptr<flawed_buffer<TypeParam>>;
  const auto first = [](TypeParam ch, auto make) {
    return nalo::testing::check_input<TypeParam>(make, {&ch, 1}).at(0);
  };
  EXPECT_EQ(first(0, []() -> owner { throw std::runtime_error("made"); }),
            "outside of the buffer: expected no exception, saw made");
  const struct {
    char ch;
    const char* shown;
  } rows[] = {
      {0, "0x0"}, {' ', "0x20"}, {'!', "'!'"}, {'~', "'~'"}, {'\x7F', "0x7f"}};
  for (const auto& row : rows) {
    EXPECT_EQ(first(TypeParam(row.ch),
                    [] { return owner(new flawed_buffer<TypeParam>({})); }),
              std::string("sgetc() at 0: expected ") + row.shown + ", saw eof");
  }
}

TYPED_TEST(Conformance, TriesEveryCharacter) {
  const auto text = nalo::testing::sample_text<TypeParam>(10'000);
  const std::set<TypeParam> all(text.begin(), text.end());
  for (int n = 0; n < 256; ++n)
    EXPECT_TRUE(all.contains(static_cast<TypeParam>(n))) << n;
  EXPECT_EQ(*all.rbegin() > 255, sizeof(TypeParam) > 1);
}

}  // namespace
