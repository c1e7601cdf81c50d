// What can be inserted; how streams begin and end.
#include <nalo/iomanip>
#include <nalo/istream>
#include <nalo/ostream>
#include <nalo/string>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::fault;
using nalo_test::scripted_streambuf;
using nalo_test::widened;

template <class Char>
class Ostream : public testing::Test {
 protected:
  std::string written() const { return nalo_test::shown<Char>(buf_.output()); }

  scripted_streambuf<Char> buf_ = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> out_{&buf_};
};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ostream, characters);

TYPED_TEST(Ostream, WritesValuesOfEveryKind) {
  using Char = TypeParam;
  // Only signed numbers show a plus sign, and a bool its name.
  const auto expect = [](const auto& value, const std::string& output,
                         ios_base::fmtflags flags = ios_base::dec) {
    scripted_streambuf<Char> buf({});
    nalo::basic_ostream<Char> out(&buf);
    out << nalo::setfill(Char('.')) << nalo::setw(5) << nalo::setprecision(9);
    out.flags(flags | ios_base::showpos | ios_base::boolalpha);
    out << value;
    EXPECT_EQ(nalo_test::shown<Char>(buf.output()), output);
    EXPECT_EQ(out.rdstate(),
              output.empty() ? ios_base::badbit : ios_base::goodbit);
  };
  expect(true, ".true");
  expect(short{-1}, "...-1");
  expect(short{-1}, "177777", ios_base::oct);
  expect(static_cast<unsigned short>(-1), "65535");
  expect(-1, "...-1");
  expect(-1, "37777777777", ios_base::oct);
  expect(-1, "ffffffff", ios_base::hex);
  expect(-1, "...-1", ios_base::hex | ios_base::oct);
  expect(4294967295U, "4294967295");
  expect(5L, "...+5");
  expect(5UL, "....5");
  expect(-1LL, "ffffffffffffffff", ios_base::hex);
  expect(5ULL, "....5");
  expect(0.1F, "+0.100000001");
  expect(0.1, ".+0.1");
  expect(1e4000L, "+1e+4000");
  expect(reinterpret_cast<int*>(0x10), ".0x10");
  expect(nullptr, "....0");

  const auto text = widened<Char>("abc");
  const std::string far(70, '-');
  expect(Char('x'), "....x");
  expect('x', "....x");
  expect("\xE9", "....\\xE9");
  expect(text.c_str(), "..abc");
  expect("abc", "..abc");
  expect("abc", "abc..", ios_base::left);
  expect("", ".....");
  expect(far.c_str(), far);
  expect(static_cast<const char*>(nullptr), "");
  expect(static_cast<const Char*>(nullptr), "");
  expect(text, "..abc");
  expect(std::basic_string_view<Char>(text).substr(1), "...bc");
  expect(nalo::basic_string<Char>(text.c_str()), "..abc");
  if constexpr (sizeof(Char) == 1) {
    expect(static_cast<unsigned char>('a'), "....a");
    expect(static_cast<signed char>('a'), "....a");
    expect(reinterpret_cast<const unsigned char*>("abc"), "..abc");
    expect(reinterpret_cast<const signed char*>("abc"), "..abc");
  }
  using stream = nalo::basic_ostream<Char>;
  static_assert(std::is_same_v<decltype(stream(nullptr) << 'x'), stream&&>);
  stream(&this->buf_) << "a" << 1 << Char('b') << nalo::hex << 17;
  EXPECT_EQ(this->written(), "a1b11");
}

template <class Out, class T>
concept insertable = requires(Out& out, const T& val) {
  out << val;
};
template <class Out, class... T>
constexpr bool any_insertable = (... || insertable<Out, T>);
static_assert(insertable<nalo::wostream, char>);
static_assert(!any_insertable<nalo::wostream, std::string, char8_t, char16_t,
                              const char16_t*, char32_t>);
static_assert(
    !any_insertable<nalo::ostream, nalo::istream, wchar_t, const wchar_t*,
                    char8_t, const char8_t*, char16_t, char32_t>);

TYPED_TEST(Ostream, WritesNothingBehindARefusal) {
  this->buf_.fail_in(1, fault::refusal);
  this->out_ << nalo::left << nalo::setw(80) << std::string(70, '-').c_str();
  EXPECT_EQ(this->out_.rdstate(), ios_base::badbit);
  EXPECT_EQ(this->buf_.own_log_, "xsputn ");

  this->buf_.fail_in(1, fault::refusal);
  nalo::ostreambuf_iterator<TypeParam> to(this->out_);
  *to++ = 'a';
  *to++ = 'b';
  const nalo::ostreambuf_iterator<const TypeParam,
                                  nalo::char_traits<TypeParam>>& writes = to;
  EXPECT_TRUE(to.failed() && writes.failed());
  EXPECT_EQ(this->written(), "");
}

TYPED_TEST(Ostream, ManipulatorsRunInAnyStateAndChooseTheResult) {
  static nalo::basic_ostream<TypeParam>* other;
  nalo::basic_ostream<TypeParam> second(&this->buf_);
  other = &second;
  this->out_.clear(ios_base::failbit);
  EXPECT_EQ(&(this->out_ << [](nalo::basic_ostream<TypeParam>&)
                  -> nalo::basic_ostream<TypeParam>& { return *other; }),
            other);
  this->out_ << nalo::flush;
  this->out_.clear();
  this->out_.width(4);
  this->out_ << nalo::endl << nalo::ends;
  EXPECT_EQ(this->written(), "\\x0A\\x00");
  EXPECT_EQ(this->buf_.own_log_, "sync overflow(10) sync overflow(0) ");
  EXPECT_EQ(this->out_.width(), 4);
  this->out_.imbue(nalo::locale().without_<nalo::ctype<TypeParam>>());
  EXPECT_THROW(this->out_ << nalo::endl, nalo::null_facet_error);
  EXPECT_EQ(this->out_.rdstate(), ios_base::goodbit);
}

TYPED_TEST(Ostream, SeeksWithTheWholePosition) {
  std::mbstate_t state;
  std::memset(&state, 5, sizeof state);
  nalo::streampos pos(1);
  pos.state(state);
  this->out_.seekp(pos += 2);
  const std::mbstate_t sought = this->buf_.sought_.state();
  EXPECT_EQ(std::memcmp(&sought, &state, sizeof state), 0);
  EXPECT_EQ(this->buf_.sought_, 3);
}

TYPED_TEST(Ostream, CopyTellsAnExhaustedSourceFromARefusal) {
  for (const size_t accepted : {0U, 3U, 5U}) {
    scripted_streambuf<TypeParam> source({.input = {'a', 'b', 'c', 'd', 'e'}}),
        target({.accepts = accepted});
    bool ineof = accepted != 5;
    EXPECT_EQ(nalo::copy_streambufs_eof<TypeParam>(&source, &target, ineof),
              accepted);
    EXPECT_EQ(ineof, accepted == 5);
  }
}

TYPED_TEST(Ostream, WithoutABufferIsBad) {
  struct : nalo::basic_ostream<TypeParam> {
  } out;
  struct : nalo::basic_iostream<TypeParam> {
  } both;
  EXPECT_EQ(out.exceptions() | both.exceptions(), ios_base::goodbit);
  EXPECT_EQ(out.flush().rdstate() & both.flush().rdstate(), ios_base::badbit);
  EXPECT_EQ(both.gcount(), 0);
}

TYPED_TEST(Ostream, LendsItsStepsToDerivedClasses) {
  struct stepwise : nalo::basic_ostream<TypeParam> {
    using stepwise::basic_ostream::basic_ostream;
    using stepwise::basic_ostream::do_write;
    using stepwise::basic_ostream::sentry;
    using stepwise::basic_ostream::unitsync;
  };
  scripted_streambuf<TypeParam> buf({.put_areas = {2}, .accepts = 3});
  stepwise out(&buf);
  const TypeParam text[] = {'a', 'b'};
  out.tie(&this->out_);
  out.setf(ios_base::unitbuf);
  EXPECT_TRUE(out.sentry() && out.do_write(text, 2));
  out.unitsync();
  EXPECT_EQ(this->buf_.own_log_, "sync ");
  EXPECT_EQ(buf.own_log_, "xsputn overflow(97) sync ");
  EXPECT_FALSE(out.do_write(text, 2));
  EXPECT_EQ(out.rdstate(), ios_base::badbit);
  EXPECT_FALSE(out.sentry());
  EXPECT_EQ(out.rdstate(), ios_base::badbit | ios_base::failbit);
  EXPECT_EQ(nalo_test::shown<TypeParam>(buf.output()), "aba");
}

TYPED_TEST(Ostream, EndsThroughEveryBaseAndSyncsNothing) {
  static_assert(std::has_virtual_destructor_v<ios_base>);
  {
    nalo::basic_iostream<TypeParam> both(&this->buf_);
    both.setf(ios_base::unitbuf);
    both.tie(&this->out_);
  }
  EXPECT_EQ(this->buf_.own_log_, "");
}

}  // namespace
