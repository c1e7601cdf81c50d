// Input streams and ranges over them: random sequences of operations against a
// model, and what that does not tell.
#include <nalo/buffers/string>
#include <nalo/iomanip>
#include <nalo/istream>
#include <nalo/ranges>

#include <gtest/gtest.h>

#include <cstdint>
#include <ranges>
#include <string>
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
class Istream : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Istream, Chars);

TYPED_TEST(Istream, DoesAndLeavesWhatTheModelSays) {
  choices random(20240229);
  for (int round = 0; round < 6000 && !this->HasFailure(); ++round) {
    streams::comparison<TypeParam> both(random);
    for (int i = 0; i < 20 && !this->HasFailure(); ++i) both.step();
  }
}

template <class T>
long number(auto& in) {
  T value{};
  in >> value;
  if constexpr (std::is_pointer_v<T>)
    return static_cast<char*>(value) - static_cast<char*>(nullptr);
  else
    return static_cast<long>(value);
}

template <class Char>
auto& refusing(nalo::basic_istream<Char>& in) {
  static_cast<scripted_streambuf<Char>*>(in.rdbuf())
      ->fail_in(1, fault::refusal);
  return in;
}

// What a call answers: a number, or the elements of a range in brackets.
std::string told(long value) { return std::to_string(value); }
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
  std::string (*run)(nalo::basic_istream<Char>&, Char (&s)[3]);
  const char* input;
  iostate state;
  const char* answer;
  streamsize gcount;  // 7 before the call
  const char* rest;
};

#define CALL(...)                                        \
  "" #__VA_ARGS__,                                       \
      []([[maybe_unused]] nalo::basic_istream<Char>& in, \
         [[maybe_unused]] Char(&s)[3]) { return told((__VA_ARGS__)); }

template <class Char>
const row<Char> rows[] = {
    {CALL(in.get() == 'a'), "ab", good, "1", 1, "b"},
    {CALL(in.get() == nalo::char_traits<Char>::eof()), "", eof | fail, "1", 0,
     ""},
    {CALL(in.get(*s), *s == 'a'), "ab", good, "1", 1, "b"},
    {CALL(in.get(*s), *s == '#'), "", eof | fail, "1", 0, ""},
    {CALL(in >> *s, *s == 'a'), " ab", good, "1", 7, "b"},
    {CALL(in >> nalo::noskipws >> *s, *s == '#'), "", eof | fail, "1", 7, ""},
    {CALL(in.peek() == 'a'), "ab", good, "1", 0, "ab"},
    {CALL(in.peek() == nalo::char_traits<Char>::eof()), "", eof, "1", 0, ""},
    {CALL(in.read(s, 2), s[1] == 'b'), "abc", good, "1", 2, "c"},
    {CALL(in.read(s, 3), s[1] == 'b'), "ab", eof | fail, "1", 2, ""},
    {CALL(in.readsome(s, 2)), "abc", good, "2", 2, "c"},
    {CALL(in.readsome(s, 3)), "a", good, "1", 1, ""},
    {CALL(in.readsome(s, 3)), "", eof, "0", 0, ""},
    {CALL(in.get(), in.clear(eof), in.unget(), 0), "ab", good, "0", 0, "ab"},
    {CALL(in.clear(eof | fail), in.unget(), 0), "ab", fail, "0", 0, "ab"},
    {CALL(in.unget(), 0), "ab", bad, "0", 0, "ab"},
    {CALL(in.get(), in.putback('a'), 0), "ab", good, "0", 0, "ab"},
    {CALL(in.get(), in.putback('b'), 0), "ab", bad, "0", 0, "b"},
    // The count is 0 also when clearing eofbit raises.
    {CALL(in.clear(fail), raised_by([&] { in.exceptions(fail); }),
          raised_by([&] { in.unget(); }), 0),
     "", fail, "0", 0, ""},
    {CALL(in.sync()), " a", good, "0", 7, " a"},
    {CALL(refusing(in).sync()), "a", bad, "-1", 7, "a"},
    {CALL(in.clear(eof), in.sync()), " a", eof | fail, "-1", 7, " a"},
    {CALL(in.get(), in.tellg()), "ab", good, "1", 1, "b"},
    {CALL(in.tellg()), " a", good, "0", 7, " a"},
    {CALL(in.clear(fail), in.tellg()), "ab", fail, "-1", 7, "ab"},
    {CALL(in.clear(eof), in.seekg(1), 0), "ab", good, "0", 7, "b"},
    {CALL(in.seekg(-1, ios_base::end), 0), "ab", good, "0", 7, "b"},
    {CALL(in.seekg(3), 0), "ab", fail, "0", 7, "ab"},
    {CALL(in.clear(fail), in.in_avail()), "abc", fail, "3", 7, "abc"},
    {CALL(in.clear(fail), in.in_avail()), "", fail, "-1", 7, ""},
    // The forms without a delimiter.
    {CALL(in.getline(s, 3), s[0] == 'a'), "a\nb", good, "1", 2, "b"},
    {CALL(in.get(s, 3), s[0] == 'a'), "a\nb", good, "1", 1, "\nb"},
    {CALL(in.get(*in.rdbuf()), 0), "a\nb", good, "0", 1, "\nb"},

    // Numbers: the facet is asked for the type, its answer stored in full.
    {CALL(number<bool>(in)), " 1 ", good, "1", 7, " "},
    {CALL(number<short>(in)), " -32768x", good, "-32768", 7, "x"},
    {CALL(number<short>(in)), "32768 ", fail, "32767", 7, " "},
    {CALL(number<short>(in)), "-32769", eof | fail, "-32768", 7, ""},
    {CALL(number<short>(in)), " ", eof | fail, "0", 7, ""},
    {CALL(number<unsigned short>(in)), "65535", eof, "65535", 7, ""},
    {CALL(number<int>(in)), "2147483647", eof, "2147483647", 7, ""},
    {CALL(number<int>(in)), "2147483648 ", fail, "2147483647", 7, " "},
    {CALL(number<int>(in)), "x", fail, "0", 7, "x"},
    {CALL(number<unsigned>(in)), "4294967295,", good, "4294967295", 7, ","},
    {CALL(number<long>(in)), "-12 ", good, "-12", 7, " "},
    {CALL(number<unsigned long>(in)), "12 ", good, "12", 7, " "},
    {CALL(number<long long>(in)), "-12 ", good, "-12", 7, " "},
    {CALL(number<unsigned long long>(in)), "12 ", good, "12", 7, " "},
    {CALL(number<float>(in)), "12.5e1 ", good, "125", 7, " "},
    {CALL(number<double>(in)), "12.5e1 ", good, "125", 7, " "},
    {CALL(number<long double>(in)), "12.5e1 ", good, "125", 7, " "},
    {CALL(number<void*>(in)), " 0x1f ", good, "31", 7, " "},

    {CALL(nalo::lines(in)), "a\n\nb c", eof | fail, "[a][][b c]", 7, ""},
    {CALL(nalo::lines(in, ',')), "a,\n,", eof | fail, "[a][\\x0A]", 7, ""},
    {CALL(nalo::lines(in, ',', 2)), "ab,c,abc", fail, "[ab][c]", 7, "c"},
    {CALL(nalo::words(in)), " a bc\n\t", eof | fail, "[a][bc]", 7, ""},
    {CALL(nalo::words(in, 1)), "ab c", eof | fail, "[a][b][c]", 7, ""},
    // The width that the stream has bounds the first word alone.
    {CALL(in.width(2), nalo::words(in)), "abcd", eof | fail, "[ab][cd]", 7, ""},
    {CALL(*nalo::words(in).begin(), nalo::lines(in)), "a b", eof | fail, "[ b]",
     7, ""},
};

TYPED_TEST(Istream, AnswersReportsCountsAndLeaves) {
  using Char = TypeParam;
  for (const auto& row : rows<Char>) {
    scripted_streambuf<Char> buf(
        {.input = widened<Char>(row.input), .seekable = true});
    nalo::basic_istream<Char> in(&buf);
    in.gcount_ = 7;
    Char s[] = {'#', '#', '#'};
    SCOPED_TRACE(std::string(row.call) + " on \"" + row.input + '"');
    EXPECT_EQ(row.run(in, s), row.answer);
    EXPECT_EQ(in.rdstate(), row.state);
    EXPECT_EQ(in.gcount(), row.gcount);
    EXPECT_EQ(buf.rest(), widened<Char>(row.rest));
  }
}

// One string serves all elements of a range, and moves with the view. What the
// mask asks for is raised from the step.
TYPED_TEST(Istream, ReusesOneStringForARange) {
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

TYPED_TEST(Istream, IsBadUntilItHasABuffer) {
  struct late : nalo::basic_istream<TypeParam> {
  } in;
  EXPECT_EQ(in.rdstate(), bad);
  EXPECT_EQ(in.widen('a'), TypeParam('a'));
}

TYPED_TEST(Istream, ReadsBackWhatItWrote) {
  nalo::basic_stringbuf<TypeParam> buf;
  nalo::basic_iostream<TypeParam> both(&buf);
  nalo::basic_string<TypeParam> word;
  both << 12 << " rest";
  EXPECT_EQ((both >> word).rdstate(), good);
  EXPECT_EQ(shown<TypeParam>(word), "12");
  EXPECT_EQ((both >> word).rdstate(), eof);
  EXPECT_FALSE(both << 5);
}

TYPED_TEST(Istream, CopiesToABufferThatMovesTheSource) {
  struct moving : scripted_streambuf<TypeParam> {
    using base = scripted_streambuf<TypeParam>;
    using int_type = typename base::traits_type::int_type;
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

TYPED_TEST(Istream, CopiesOverItselfInOrder) {
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

TEST(NarrowIstream, ReadsEveryKindOfCharacterWithoutAName) {
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
TEST(WideIstream, TakesTheLastCharacterValueForTheEnd) {
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

TEST(NarrowIstream, CountsPastTheLargestNumber) {
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
