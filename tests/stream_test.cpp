// Streams: random sequences of operations against a model, and what that does
// not tell. Numbers have tests of their own.
#include <nalo/iomanip>
#include <nalo/istream>
#include <nalo/ranges>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "scripted_streambuf.h"
#include "stream_model.h"
#include "text.h"

namespace {

using namespace nalo_test;
using nalo::ios_base;
using nalo::streamsize;
using iostate = ios_base::iostate;

constexpr auto good = ios_base::goodbit, bad = ios_base::badbit,
               eof = ios_base::eofbit, fail = ios_base::failbit;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

template <class Char>
class Stream : public testing::Test {
 protected:
  scripted_streambuf<Char> buf_ = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> out_{&buf_};
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Stream, Chars);

TYPED_TEST(Stream, DoesAndLeavesWhatTheModelSays) {
  choices random(20240229);
  for (int round = 0; round < 6000 && !this->HasFailure(); ++round) {
    streams::comparison<TypeParam> both(random);
    for (int i = 0; i < 20 && !this->HasFailure(); ++i) both.step();
  }
}

// A stream whose buffer refuses its next call.
template <class Char>
auto& refusing(nalo::basic_iostream<Char>& io) {
  scripted_streambuf<Char>::fail_in(1, fault::refusal);
  return io;
}
// The virtual calls of a stream's buffer.
template <class Char>
std::string log(const nalo::basic_iostream<Char>& io) {
  return static_cast<scripted_streambuf<Char>*>(io.rdbuf())->own_log_;
}

// What a call answers: a number, a text, or the elements of a range in
// brackets.
std::string told(long value) { return std::to_string(value); }
std::string told(std::string text) { return text; }
template <std::ranges::range Range>
std::string told(Range range) {
  std::string all;
  for (const auto& each : range) {
    all += '[' + shown(std::basic_string_view(each.data(), each.size())) + ']';
  }
  return all;
}

template <class Char>
struct row {
  const char* call;
  std::string (*run)(nalo::basic_iostream<Char>&, Char (&s)[3]);
  const char* input;
  iostate state;
  const char* answer;
  streamsize gcount;  // 7 before the call
  const char* rest;
  const char* output = "";
};

constexpr const char* far =
    "longer than what is made wide at once, which is sixty-four characters";

template <class Char>
nalo::basic_ostream<Char> other(nullptr);
template <class Char>
nalo::basic_ostream<Char>& elsewhere(nalo::basic_ostream<Char>&) {
  return other<Char>;
}

#define CALL(...)                                         \
  "" #__VA_ARGS__,                                        \
      []([[maybe_unused]] nalo::basic_iostream<Char>& io, \
         [[maybe_unused]] Char(&s)[3]) { return told((__VA_ARGS__)); }

template <class Char>
const row<Char> rows[] = {
    {CALL(io.get() == 'a'), "ab", good, "1", 1, "b"},
    {CALL(io.get() == nalo::char_traits<Char>::eof()), "", eof | fail, "1", 0,
     ""},
    {CALL(io.get(*s), *s == 'a'), "ab", good, "1", 1, "b"},
    {CALL(io.get(*s), *s == '#'), "", eof | fail, "1", 0, ""},
    {CALL(io >> *s, *s == 'a'), " ab", good, "1", 7, "b"},
    {CALL(io >> nalo::noskipws >> *s, *s == '#'), "", eof | fail, "1", 7, ""},
    {CALL(io.peek() == 'a'), "ab", good, "1", 0, "ab"},
    {CALL(io.peek() == nalo::char_traits<Char>::eof()), "", eof, "1", 0, ""},
    {CALL(io.read(s, 2), s[1] == 'b'), "abc", good, "1", 2, "c"},
    {CALL(io.read(s, 3), s[1] == 'b'), "ab", eof | fail, "1", 2, ""},
    {CALL(io.readsome(s, 2)), "abc", good, "2", 2, "c"},
    {CALL(io.readsome(s, 3)), "a", good, "1", 1, ""},
    {CALL(io.readsome(s, 3)), "", eof, "0", 0, ""},
    {CALL(io.get(), io.clear(eof), io.unget(), 0), "ab", good, "0", 0, "ab"},
    {CALL(io.clear(eof | fail), io.unget(), 0), "ab", fail, "0", 0, "ab"},
    {CALL(io.unget(), 0), "ab", bad, "0", 0, "ab"},
    {CALL(io.get(), io.putback('a'), 0), "ab", good, "0", 0, "ab"},
    {CALL(io.get(), io.putback('b'), 0), "ab", bad, "0", 0, "b"},
    // The count is 0 also when clearing eofbit raises.
    {CALL(io.clear(fail), raised_by([&] { io.exceptions(fail); }),
          raised_by([&] { io.unget(); }), 0),
     "", fail, "0", 0, ""},
    {CALL(io.sync()), " a", good, "0", 7, " a"},
    {CALL(refusing(io).sync()), "a", bad, "-1", 7, "a"},
    {CALL(io.clear(eof), io.sync()), " a", eof | fail, "-1", 7, " a"},
    {CALL(io.get(), io.tellg()), "ab", good, "1", 1, "b"},
    {CALL(io.tellg()), " a", good, "0", 7, " a"},
    {CALL(io.clear(fail), io.tellg()), "ab", fail, "-1", 7, "ab"},
    {CALL(io.clear(eof), io.seekg(1), 0), "ab", good, "0", 7, "b"},
    {CALL(io.seekg(-1, ios_base::end), 0), "ab", good, "0", 7, "b"},
    {CALL(io.seekg(3), 0), "ab", fail, "0", 7, "ab"},
    {CALL(io.clear(fail), io.in_avail()), "abc", fail, "3", 7, "abc"},
    {CALL(io.clear(fail), io.in_avail()), "", fail, "-1", 7, ""},
    // The forms without a delimiter.
    {CALL(io.getline(s, 3), s[0] == 'a'), "a\nb", good, "1", 2, "b"},
    {CALL(io.get(s, 3), s[0] == 'a'), "a\nb", good, "1", 1, "\nb"},
    {CALL(io.get(*io.rdbuf()), 0), "a\nb", good, "0", 1, "\nb", "a"},

    {CALL(nalo::lines(io)), "a\n\nb c", eof | fail, "[a][][b c]", 7, ""},
    {CALL(nalo::lines(io, ',')), "a,\n,", eof | fail, "[a][\\x0A]", 7, ""},
    {CALL(nalo::lines(io, ',', 2)), "ab,c,abc", fail, "[ab][c]", 7, "c"},
    {CALL(nalo::words(io)), " a bc\n\t", eof | fail, "[a][bc]", 7, ""},
    {CALL(nalo::words(io, 1)), "ab c", eof | fail, "[a][b][c]", 7, ""},
    // The width that the stream has bounds the first word alone.
    {CALL(io.width(2), nalo::words(io)), "abcd", eof | fail, "[ab][cd]", 7, ""},
    {CALL(*nalo::words(io).begin(), nalo::lines(io)), "a b", eof | fail, "[ b]",
     7, ""},

    // Manipulators run in any state, without the width, and choose the result.
    {CALL(io.width(4), io << nalo::ends << nalo::endl,
          log(io) + std::to_string(io.width())),
     "", good, "overflow(0) sync 4", 7, "", "\\x00\\x0A"},
    {CALL(io.clear(bad), io << nalo::flush, log(io)), "", bad, "sync ", 7, ""},
    {CALL(io.clear(fail), &(io << elsewhere<Char>) == &other<Char>), "", fail,
     "1", 7, ""},
    {CALL(io.imbue(io.getloc().template without_<nalo::ctype<Char>>()),
          raised_by([&] { io << nalo::endl; }).empty()),
     "", good, "0", 7, ""},
    // Nothing is written behind a refusal.
    {CALL(refusing(io) << nalo::left << nalo::setw(80) << far, log(io)), "",
     bad, "xsputn ", 7, ""},
};

TYPED_TEST(Stream, AnswersReportsCountsAndLeaves) {
  using Char = TypeParam;
  for (const auto& row : rows<Char>) {
    scripted_streambuf<Char> buf(
        {.input = widened<Char>(row.input), .seekable = true});
    nalo::basic_iostream<Char> io(&buf);
    EXPECT_EQ(std::exchange(io.gcount_, 7), 0);
    Char s[] = {'#', '#', '#'};
    SCOPED_TRACE(std::string(row.call) + " on \"" + row.input + '"');
    EXPECT_EQ(row.run(io, s), row.answer);
    EXPECT_EQ(io.rdstate(), row.state);
    EXPECT_EQ(io.gcount(), row.gcount);
    EXPECT_EQ(buf.rest(), widened<Char>(row.rest));
    EXPECT_EQ(shown<Char>(buf.output()), row.output);
  }
}

TYPED_TEST(Stream, WritesValuesOfEveryKind) {
  using Char = TypeParam;
  using string = nalo::basic_string<Char>;
  // Only signed numbers show a plus sign, and a bool its name.
  const auto expect = [](auto&& value, const std::string& output,
                         ios_base::fmtflags flags = ios_base::dec) {
    scripted_streambuf<Char> buf({});
    nalo::basic_ostream<Char> out(&buf);
    out << nalo::setfill(Char('.')) << nalo::setw(5) << nalo::setprecision(9);
    out.flags(flags | ios_base::showpos | ios_base::boolalpha);
    out << static_cast<decltype(value)>(value);
    EXPECT_EQ(shown<Char>(buf.output()), output);
    EXPECT_EQ(out.rdstate(),
              output.empty() ? ios_base::badbit : ios_base::goodbit);
  };
  expect(true, ".true");
  expect(short{-1}, "...-1");
  expect(5U, "....5");
  expect(5L, "...+5");
  expect(0.1F, "+0.100000001");
  expect(reinterpret_cast<int*>(0x10), ".0x10");
  expect(nullptr, "....0");

  const auto text = widened<Char>("abc");
  expect(Char('x'), "....x");
  expect('x', "....x");
  expect("\xE9", "....\\xE9");
  expect(text.c_str(), "..abc");
  expect("abc", "..abc");
  expect("abc", "abc..", ios_base::left);
  expect("", ".....");
  expect(far, far);
  expect(static_cast<const char*>(nullptr), "");
  expect(static_cast<const Char*>(nullptr), "");
  expect(text, "..abc");
  expect(std::basic_string_view<Char>(text).substr(1), "...bc");
  const string str(text);
  expect(str, "..abc");
  expect(str + str, "abcabc");
  if constexpr (sizeof(Char) == 1) {
    expect(static_cast<unsigned char>('a'), "....a");
    expect(static_cast<signed char>('a'), "....a");
    expect(reinterpret_cast<const unsigned char*>("abc"), "..abc");
    expect(reinterpret_cast<const signed char*>("abc"), "..abc");
  }
  using stream = nalo::basic_ostream<Char>;
  static_assert(std::is_same_v<decltype(stream(nullptr) << 'x'), stream&&>);
  stream(&this->buf_) << "a" << 1 << Char('b') << nalo::hex << 17;
  EXPECT_EQ(shown<Char>(this->buf_.output()), "a1b11");
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

TYPED_TEST(Stream, IteratorsRememberARefusal) {
  nalo::ostreambuf_iterator<TypeParam> to(this->out_);
  this->buf_.fail_in(1, fault::refusal);
  *to++ = 'a';
  *to++ = 'b';
  const nalo::ostreambuf_iterator<const TypeParam,
                                  nalo::char_traits<TypeParam>>& writes = to;
  EXPECT_TRUE(to.failed() && writes.failed());
  EXPECT_EQ(this->buf_.own_log_, "overflow(97) ");
}

TYPED_TEST(Stream, SeeksWithTheWholePosition) {
  std::mbstate_t state;
  std::memset(&state, 5, sizeof state);
  nalo::streampos pos(1);
  pos.state(state);
  this->out_.seekp(pos += 2);
  const std::mbstate_t sought = this->buf_.sought_.state();
  EXPECT_EQ(std::memcmp(&sought, &state, sizeof state), 0);
  EXPECT_EQ(this->buf_.sought_, 3);
}

template <class Base>
void expect_bad_until_it_has_a_buffer() {
  struct : Base {
  } late;
  EXPECT_EQ(late.rdstate(), bad);
  EXPECT_EQ(late.exceptions(), good);
  EXPECT_EQ(late.widen('a'), 'a');
}
TYPED_TEST(Stream, IsBadUntilItHasABuffer) {
  expect_bad_until_it_has_a_buffer<nalo::basic_istream<TypeParam>>();
  expect_bad_until_it_has_a_buffer<nalo::basic_ostream<TypeParam>>();
  expect_bad_until_it_has_a_buffer<nalo::basic_iostream<TypeParam>>();
}

TYPED_TEST(Stream, LendsItsStepsToDerivedClasses) {
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
  EXPECT_EQ(shown<TypeParam>(buf.output()), "aba");
}

TYPED_TEST(Stream, EndsWithoutASync) {
  {
    nalo::basic_iostream<TypeParam> both(&this->buf_);
    both.setf(ios_base::unitbuf);
    both.tie(&this->out_);
  }
  EXPECT_EQ(this->buf_.own_log_, "");
}

TYPED_TEST(Stream, ReusesOneStringForARange) {
  using lines_view = nalo::lines_view<TypeParam>;
  static_assert(std::ranges::view<lines_view>);
  static_assert(std::ranges::input_range<lines_view>);
  static_assert(!std::ranges::forward_range<lines_view>);

  const std::string line(99, 'x');
  scripted_streambuf<TypeParam> buf(
      {.input = widened<TypeParam>('z' + line + "\ny" + line)});
  nalo::basic_istream<TypeParam> in(&buf, fail);
  auto first = nalo::lines(in);
  auto lines = std::move(first);
  auto it = lines.begin();
  const TypeParam* const text = it->data();
  it++;
  EXPECT_EQ(shown<TypeParam>(*it), 'y' + line);
  EXPECT_EQ(it->data(), text);
  EXPECT_THROW(++it, ios_base::failure);
}

TYPED_TEST(Stream, CopyTellsAnExhaustedSourceFromARefusal) {
  for (const size_t accepted : {0U, 3U, 5U}) {
    scripted_streambuf<TypeParam> source({.input = {'a', 'b', 'c', 'd', 'e'}}),
        target({.accepts = accepted});
    bool ineof = accepted != 5;
    EXPECT_EQ(nalo::copy_streambufs_eof<TypeParam>(&source, &target, ineof),
              accepted);
    EXPECT_EQ(ineof, accepted == 5);
  }
}

TYPED_TEST(Stream, CopiesToABufferThatMovesTheSource) {
  struct moving : scripted_streambuf<TypeParam> {
    using base [[maybe_unused]] = scripted_streambuf<TypeParam>;
    using int_type [[maybe_unused]] = typename base::traits_type::int_type;
    explicit moving(base& source)
        : base({.put_areas = {0, 2}}), source_(source) {}
    int_type overflow(int_type ch) override {
      source_.pubseekoff(0, ios_base::cur, ios_base::in);
      return base::overflow(ch);
    }
    base& source_;
  };
  scripted_streambuf<TypeParam> source(
      {.input = widened<TypeParam>("abcdef"), .seekable = true});
  moving target(source);
  EXPECT_EQ(nalo::copy_streambufs<TypeParam>(&source, &target), 6);
  EXPECT_EQ(shown<TypeParam>(target.output()), "abcdef");
}

TYPED_TEST(Stream, CopiesOverItselfInOrder) {
  struct shifting : nalo::basic_streambuf<TypeParam> {
    std::string shift(size_t get, size_t put) {
      auto text = widened<TypeParam>("abcdefg");
      TypeParam* const begin = text.data();
      this->setg(begin + get, begin + get, begin + 7);
      this->setp(begin + put, begin + 7);
      nalo::copy_streambufs<TypeParam>(this, this);
      return shown<TypeParam>(text);
    }
  } buf;
  EXPECT_EQ(buf.shift(0, 2), "abababa");
  EXPECT_EQ(buf.shift(2, 0), "cdefgfg");
  EXPECT_EQ(buf.shift(0, 0), "abcdefg");
}

// Into one with room for that or less, in place and on the heap.
TYPED_TEST(Stream, ReadsALineOrAWordOfAnyLengthIntoAString) {
  using string = nalo::basic_string<TypeParam>;
  for (size_t size = 1; size < 70; ++size) {
    const std::basic_string<TypeParam> text(size, TypeParam('x'));
    for (const size_t room : {0u, 60u}) {
      scripted_streambuf<TypeParam> buf(
          {.input = text + TypeParam('\n') + text + TypeParam('\n'),
           .get_areas = {200}});
      nalo::basic_istream<TypeParam> in(&buf);
      string line, word;
      line.reserve(room);
      word.reserve(room);
      getline(in, line) >> word;
      for (const string* read : {&line, &word}) {
        EXPECT_EQ(*read, text);
        EXPECT_LE(size, read->capacity());
      }
    }
  }
}

TEST(NarrowStream, ReadsEveryKindOfCharacterWithoutAName) {
  scripted_streambuf<char> buf({.input = " \xFF b cdefg hij\nk"});
  unsigned char first = 0, word[4] = {};
  signed char second = 0, other[6] = {};
  nalo::istream(&buf) >> first >> second >> word >> nalo::setw(3) >> other;
  EXPECT_EQ(first, 0xFF);
  EXPECT_EQ(second, 'b');
  EXPECT_STREQ(reinterpret_cast<char*>(word), "cde");
  EXPECT_STREQ(reinterpret_cast<char*>(other), "fg");
  nalo::string line;
  getline(nalo::istream(&buf), line);
  EXPECT_STREQ(line.c_str(), " hij");
}

// The wide character that reads as eof ends the input where it is taken by
// itself. A run is searched for the delimiter alone, which it never is.
TEST(WideStream, TakesTheLastCharacterValueForTheEnd) {
  const wchar_t last = static_cast<wchar_t>(-1);
  const std::wstring text = {L'a', L'a', last, L'b', L'c'};
  const struct {
    size_t area;
    wchar_t delim;
    streamsize gcount;
  } rows[] = {{1, L'\n', 2}, {8, L'\n', 5}, {1, last, 2}, {8, last, 2}};
  for (const auto& row : rows) {
    scripted_streambuf<wchar_t> buf({.input = text, .get_areas = {row.area}});
    nalo::wistream in(&buf);
    wchar_t line[9];
    in.peek();
    EXPECT_EQ(in.getline(line, 9, row.delim).rdstate(), eof);
    EXPECT_EQ(in.gcount(), row.gcount) << row.area;

    scripted_streambuf<wchar_t> source(
        {.input = text, .get_areas = {row.area}});
    scripted_streambuf<wchar_t> target({});
    EXPECT_EQ((nalo::wistream(&source) >> &target).rdstate(), eof);
    EXPECT_EQ(target.output(), L"aa");
    in.rdbuf(&source);
    EXPECT_EQ(in.getline(line, 9, L'c').rdstate(), eof | fail);
  }
}

// Pretends a number of characters, of which only the first in each get area is
// there. Behind them comes the end, or a code that is no character.
struct vast_streambuf : nalo::streambuf {
  static constexpr int code = 0x12345;

  vast_streambuf(std::uint64_t size, bool ends) : left_(size), ends_(ends) {}

  int underflow() override {
    const std::uint64_t n = left_ == 0 ? 0 : (left_ - 1) % (1UL << 60) + 1;
    left_ -= n;
    setg(&ch_, &ch_, &ch_ + n);
    return n != 0 ? ch_ : ends_ ? -1 : code;
  }
  int uflow() override { return code; }

  char ch_ = 'x';
  std::uint64_t left_;
  bool ends_;
};

TEST(NarrowStream, CountsPastTheLargestNumber) {
  const struct {
    long more;  // than the largest number
    streamsize n;
    bool code;
    streamsize gcount;
    iostate state;
  } rows[] = {
      {1L << 60, no_limit, true, no_limit, good},
      {0, no_limit, true, no_limit, good},
      {-1, no_limit, true, no_limit, good},
      {-2, no_limit, true, no_limit - 1, good},
      {(1L << 60) - 1, no_limit - 1, true, no_limit - 1, good},
      {1L << 60, no_limit, false, no_limit, eof},
      {0, no_limit, false, no_limit, eof},
      {-2, no_limit, false, no_limit - 2, eof},
      {(1L << 60) - 1, no_limit - 1, false, no_limit - 1, good},
  };
  for (const auto& row : rows) {
    vast_streambuf buf(static_cast<std::uint64_t>(no_limit) +
                           static_cast<std::uint64_t>(row.more),
                       !row.code);
    nalo::istream in(&buf);
    in.ignore(row.n, row.code ? vast_streambuf::code : -1);
    SCOPED_TRACE("more " + std::to_string(row.more) + ", n " +
                 std::to_string(row.n) + (row.code ? ", code" : ""));
    EXPECT_EQ(in.gcount(), row.gcount);
    EXPECT_EQ(in.rdstate(), row.state);
  }
}

}  // namespace
