// What can be inserted and which facet is asked for it; and how streams begin
// and end. A model tells what the operations write.
#include <nalo/istream>
#include <nalo/ostream>
#include <nalo/string>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::fault;
using nalo_test::scripted_streambuf;
using nalo_test::shown;
using nalo_test::widened;

constexpr auto goodbit = ios_base::goodbit, badbit = ios_base::badbit,
               eofbit = ios_base::eofbit, failbit = ios_base::failbit;

template <class Char>
class Ostream : public testing::Test {
 protected:
  std::string written() const { return shown<Char>(buf_.output()); }

  scripted_streambuf<Char> buf_ = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> out_{&buf_};
};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ostream, characters);

// Notes which operation got which value and writes nothing.
template <class Char>
class recorder : public nalo::num_put<Char> {
  using out = nalo::ostreambuf_iterator<Char>;

 public:
  mutable std::string seen_;
  bool fails_ = false;

 protected:
#define NOTE(type, format)                                                \
  out do_put(out to, ios_base& io, Char fill, type val) const override {  \
    char text[64];                                                        \
    std::snprintf(text, sizeof text, #type " " format, val);              \
    seen_ = text;                                                         \
    EXPECT_TRUE(io.width() == 9 && fill == '*' && !to.failed()) << #type; \
    return fails_ ? out(nullptr) : to;                                    \
  }
  NOTE(bool, "%d")
  NOTE(long, "%ld")
  NOTE(unsigned long, "%lu")
  NOTE(long long, "%lld")
  NOTE(unsigned long long, "%llu")
  NOTE(const void*, "%p")
  NOTE(double, "%a")
  NOTE(long double, "%La")
#undef NOTE
};

TYPED_TEST(Ostream, NumbersReachTheFacetOperationOfTheirValueType) {
  using out_type = nalo::basic_ostream<TypeParam>;
  constexpr auto oct = ios_base::oct, hex = ios_base::hex, dec = ios_base::dec;
  const struct {
    ios_base::fmtflags base;
    void (*insert)(out_type&);
    const char* seen;
  } cases[] = {
#define INSERT(value) [](out_type& out) { out << value; }
      {dec, INSERT(true), "bool 1"},
      {dec, INSERT(short{-1}), "long -1"},
      {oct, INSERT(short{-1}), "long 65535"},
      {hex, INSERT(short{-1}), "long 65535"},
      {hex | dec, INSERT(short{-1}), "long -1"},
      {dec, INSERT(static_cast<unsigned short>(-1)), "unsigned long 65535"},
      {dec, INSERT(-1), "long -1"},
      {{}, INSERT(-1), "long -1"},
      {oct, INSERT(-1), "long 4294967295"},
      {hex, INSERT(-1), "long 4294967295"},
      {hex | oct, INSERT(-1), "long -1"},
      {hex, INSERT(7), "long 7"},
      {dec, INSERT(4294967295U), "unsigned long 4294967295"},
      {hex, INSERT(-1L), "long -1"},
      {dec, INSERT(5UL), "unsigned long 5"},
      {hex, INSERT(-1LL), "long long -1"},
      {dec, INSERT(5ULL), "unsigned long long 5"},
      {dec, INSERT(0.1F), "double 0x1.99999ap-4"},
      {dec, INSERT(0.5), "double 0x1p-1"},
      {dec, INSERT(0.5L), "long double 0x8p-4"},
      {dec, INSERT(reinterpret_cast<int*>(0x10)), "const void* 0x10"},
      {dec, INSERT(nullptr), "const void* (nil)"},
#undef INSERT
  };
  auto& facet = *new recorder<TypeParam>;  // the locale owns it
  this->out_.imbue(nalo::locale(nalo::locale(), &facet));
  EXPECT_EQ(&this->out_.get_num_type(), &facet);
  this->out_.fill('*');
  this->out_.width(9);
  for (const auto& c : cases) {
    this->out_.flags(c.base | ios_base::unitbuf);
    this->buf_.own_log_.clear();
    c.insert(this->out_);
    EXPECT_EQ(facet.seen_, c.seen) << "base " << c.base;
    EXPECT_EQ(this->buf_.own_log_, "sync ");
  }
  facet.fails_ = true;
  this->out_ << 1;
  EXPECT_EQ(this->out_.rdstate(), badbit);
  EXPECT_EQ(this->buf_.own_log_, "sync ");
}

// What work writes to a stream of width 5, and the state it leaves.
template <class Char, class Work>
std::string inserted(Work work) {
  scripted_streambuf<Char> buf({});
  nalo::basic_ostream<Char> out(&buf);
  out.fill('.');
  out.width(5);
  work(out, buf);
  return shown<Char>(buf.output()) + ' ' + std::to_string(out.rdstate());
}

TYPED_TEST(Ostream, WritesTextsOfEveryKind) {
  using Char = TypeParam;
  const auto text = widened<Char>("abc");
  const std::string far(70, '-');
  const auto expect = [](const auto& value, const std::string& output) {
    EXPECT_EQ(inserted<Char>([&](auto& out, auto&) { out << value; }),
              output + " 0");
  };
  expect(Char('x'), "....x");
  expect('x', "....x");
  expect(text.c_str(), "..abc");
  expect("abc", "..abc");
  expect("", ".....");
  expect(far.c_str(), far);
  expect("\xE9", "....\\xE9");
  expect(text, "..abc");
  expect(std::basic_string_view<Char>(text).substr(1), "...bc");
  expect(nalo::basic_string<Char>(text.c_str()), "..abc");
  if constexpr (sizeof(Char) == 1) {
    const unsigned char u[] = "abc";
    const signed char s[] = "abc";
    expect(u[0], "....a");
    expect(s[0], "....a");
    expect(u, "..abc");
    expect(s, "..abc");
  }
  const auto refused = [&](auto& out, auto& buf) {
    buf.fail_in(1, fault::refusal);
    out.width(80);
    out << nalo::left << far.c_str();
  };
  EXPECT_EQ(inserted<Char>(refused), " 1");
}

TYPED_TEST(Ostream, TakesANullPointerForAFailure) {
  const auto expect_bad = [](auto* null) {
    const auto insert = [null](auto& out, auto&) {
      out << null;
      EXPECT_EQ(out.width(), 5);
      EXPECT_THROW(out.exceptions(badbit), ios_base::failure);
      EXPECT_THROW(out << null, ios_base::failure);
    };
    EXPECT_EQ(inserted<TypeParam>(insert), " 1");
  };
  expect_bad(static_cast<const char*>(nullptr));
  expect_bad(static_cast<const TypeParam*>(nullptr));
}

template <class Out, class T>
concept insertable = requires(Out& out, const T& val) {
  out << val;
};
template <class Out, class... T>
constexpr bool none_insertable =
    !(... || (insertable<Out, T> || insertable<Out, const T*>));
static_assert(
    none_insertable<nalo::ostream, wchar_t, char8_t, char16_t, char32_t>);
static_assert(none_insertable<nalo::wostream, char8_t, char16_t, char32_t>);
static_assert(insertable<nalo::wostream, char> &&
              !insertable<nalo::wostream, std::string> &&
              !insertable<nalo::ostream, nalo::istream>);

// A single character takes a short way into the put area.
TYPED_TEST(Ostream, WritesACharacterAsItWritesATextOfOne) {
  using Char = TypeParam;
  for (unsigned n = 0; n < 3 * 2 * 2 * 4 * 2 * 2; ++n) {
    const auto write = [&](auto insert) {
      scripted_streambuf<Char> buf({}), other({});
      other.log_to(buf.own_log_, "tied:");
      buf.play_.put_areas = {n / 96};
      nalo::basic_ostream<Char> out(&buf), tied(&other);
      out.put('a');  // opens the put area
      out.tie(n / 3 % 2 == 0 ? nullptr : &tied);
      out.flags(n / 6 % 2 == 0 ? ios_base::dec : ios_base::unitbuf);
      out.width(std::array{-1, 0, 1, 3}[n / 12 % 4]);
      out.clear(std::array{goodbit, eofbit, failbit}[n % 3]);
      insert(out, n / 48 % 2 == 0 ? Char('x') : static_cast<Char>(-1));
      std::string& calls = buf.own_log_;
      if (const size_t at = calls.find("xsputn "); at != calls.npos) {
        calls.erase(at, 7);  // it need not go as a block
      }
      return calls + shown<Char>(buf.output()) + " width " +
             std::to_string(out.width()) + " state " +
             std::to_string(out.rdstate());
    };
    EXPECT_EQ(write([](auto& out, Char ch) { out << ch; }),
              write([](auto& out, Char ch) { out.insert(&ch, 1); }))
        << n;
  }
}

TYPED_TEST(Ostream, ThatIsNotNamedCanBeWrittenTo) {
  using stream = nalo::basic_ostream<TypeParam>;
  static_assert(std::is_same_v<decltype(stream(nullptr) << 'x'), stream&&>);
  stream(&this->buf_) << "a" << 1 << TypeParam('b') << nalo::hex << 17;
  EXPECT_EQ(this->written(), "a1b11");
}

TYPED_TEST(Ostream, ManipulatorsRunInAnyStateAndChooseTheResult) {
  static nalo::basic_ostream<TypeParam>* other;
  nalo::basic_ostream<TypeParam> second(&this->buf_);
  other = &second;
  this->out_.clear(failbit);
  EXPECT_EQ(&(this->out_ << [](nalo::basic_ostream<TypeParam>&)
                  -> nalo::basic_ostream<TypeParam>& { return *other; }),
            other);
  this->out_ << nalo::flush;
  EXPECT_EQ(this->out_.rdstate(), failbit);
  this->out_.clear();
  this->out_.width(4);
  this->out_ << nalo::endl << nalo::ends;
  EXPECT_EQ(this->written(), "\\x0A\\x00");
  EXPECT_EQ(this->buf_.own_log_, "sync overflow(10) sync overflow(0) ");
  EXPECT_EQ(this->out_.width(), 4);
  this->out_.imbue(nalo::locale().without_<nalo::ctype<TypeParam>>());
  EXPECT_THROW(this->out_ << nalo::endl, nalo::null_facet_error);
  EXPECT_EQ(this->out_.rdstate(), goodbit);
}

TYPED_TEST(Ostream, SeeksWithTheWholePosition) {
  std::mbstate_t state;
  std::memset(&state, 5, sizeof state);
  nalo::streampos pos(1);
  pos.state(state);
  pos += 2;
  this->out_.seekp(pos);
  const std::mbstate_t sought = this->buf_.sought_.state();
  EXPECT_EQ(std::memcmp(&sought, &state, sizeof state), 0);
  EXPECT_EQ(this->buf_.sought_, 3);
}

TYPED_TEST(Ostream, CopyTellsAnExhaustedSourceFromARefusal) {
  for (const size_t accepted : {0U, 3U, 5U}) {
    scripted_streambuf<TypeParam> source(
        {.input = widened<TypeParam>("abcde")}),
        target({.accepts = accepted});
    bool ineof = accepted != 5;
    EXPECT_EQ(nalo::copy_streambufs_eof<TypeParam>(&source, &target, ineof),
              accepted);
    EXPECT_EQ(ineof, accepted == 5);
  }
}

// Counts its ends, and has the constructor without a buffer too.
template <class Stream>
struct derived : Stream {
  derived() = default;
  derived(nalo::basic_streambuf<typename Stream::char_type>* sb, int& ended)
      : Stream(sb), ended_(&ended) {}
  ~derived() override {
    if (ended_) ++*ended_;
  }
  int* ended_ = nullptr;
};

TYPED_TEST(Ostream, WithoutABufferIsBad) {
  derived<nalo::basic_ostream<TypeParam>> out;
  derived<nalo::basic_iostream<TypeParam>> both;
  for (nalo::basic_ostream<TypeParam>* made :
       std::array<nalo::basic_ostream<TypeParam>*, 2>{&out, &both}) {
    EXPECT_EQ(made->exceptions(), goodbit);
    EXPECT_EQ(made->flush().rdstate(), badbit);
  }
  EXPECT_EQ(both.gcount(), 0);
}

// Writes with the steps that derived classes have.
template <class Char>
struct stepwise : nalo::basic_ostream<Char> {
  using nalo::basic_ostream<Char>::basic_ostream;
  bool step() {
    const Char text[] = {'a', 'b'};
    if (!this->sentry() || !this->do_write(text, 2)) return false;
    this->unitsync();
    return true;
  }
};

TYPED_TEST(Ostream, LendsItsStepsToDerivedClasses) {
  scripted_streambuf<TypeParam> buf({.put_areas = {2}, .accepts = 3});
  stepwise<TypeParam> out(&buf);
  out.tie(&this->out_);
  out.setf(ios_base::unitbuf);
  EXPECT_TRUE(out.step());
  EXPECT_EQ(this->buf_.own_log_, "sync ");
  EXPECT_EQ(buf.own_log_, "xsputn overflow(97) sync ");
  EXPECT_FALSE(out.step());
  EXPECT_EQ(out.rdstate(), badbit);
  EXPECT_FALSE(out.step());
  EXPECT_EQ(out.rdstate(), badbit | failbit);
  EXPECT_EQ(shown<TypeParam>(buf.output()), "aba");
}

TYPED_TEST(Ostream, EndsOnceThroughEveryBaseAndSyncsNothing) {
  int ended = 0;
  const auto make = [&] {
    auto* both =
        new derived<nalo::basic_iostream<TypeParam>>(&this->buf_, ended);
    both->setf(ios_base::unitbuf);
    both->tie(&this->out_);
    return both;
  };
  std::unique_ptr<nalo::basic_ostream<TypeParam>>(make()).reset();
  std::unique_ptr<nalo::basic_istream<TypeParam>>(make()).reset();
  std::unique_ptr<nalo::basic_ios<TypeParam>>(make()).reset();
  std::unique_ptr<ios_base>(make()).reset();
  EXPECT_EQ(ended, 4);
  EXPECT_EQ(this->buf_.own_log_, "");
}

}  // namespace
