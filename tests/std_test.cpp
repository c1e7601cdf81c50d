// What programs bring along from the standard streams: iterators, quoted texts
// and times.
#include <nalo/buffers/string>
#include <nalo/iomanip>
#include <nalo/iterator>

#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <iomanip>
#include <iterator>
#include <numeric>
#include <ranges>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::shown, nalo_test::widened;

// A stream over a string.
template <class Char>
struct stream : nalo::basic_iostream<Char> {
  explicit stream(std::string_view text = {})
      : nalo::basic_iostream<Char>(&buffer),
        buffer(nalo::basic_string<Char>(widened<Char>(text))) {}
  std::string written() const { return shown<Char>(buffer.view()); }

  nalo::basic_stringbuf<Char> buffer;
};

template <class Char>
class Std : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Std, Chars);

TYPED_TEST(Std, IteratesOverStreams) {
  using numbers = nalo::istream_iterator<int, TypeParam>;
  using characters = nalo::istreambuf_iterator<TypeParam>;
  using writer = nalo::ostream_iterator<int, TypeParam>;
  static_assert(std::input_iterator<numbers> &&
                std::input_iterator<characters>);
  static_assert(std::sentinel_for<numbers, numbers>);
  static_assert(std::sentinel_for<std::default_sentinel_t, numbers>);
  static_assert(std::sentinel_for<std::default_sentinel_t, characters>);
  static_assert(std::output_iterator<writer, int>);
  static_assert(
      std::output_iterator<nalo::ostreambuf_iterator<TypeParam>, TypeParam>);

  stream<TypeParam> in("1 2 3 x 4"), out;
  const std::vector<int> all(numbers(in), numbers{});
  EXPECT_EQ(std::accumulate(all.begin(), all.end(), 0), 6);
  EXPECT_TRUE(in.fail() && !in.eof());
  in.clear();
  const std::basic_string<TypeParam> rest(characters(in), {});
  EXPECT_EQ(shown<TypeParam>(rest), "x 4");

  const auto delimiter = widened<TypeParam>(", ");
  std::ranges::copy(all, writer(out, delimiter.c_str()));
  std::copy(all.rbegin(), all.rend(), writer(out));
  EXPECT_EQ(out.written(), "1, 2, 3, 321");

  // The value that a step leaves behind.
  stream<TypeParam> two("7 8");
  numbers at(two);
  EXPECT_EQ(*at++, 7);
  EXPECT_TRUE(*at == 8 && ++at == std::default_sentinel);
}

TYPED_TEST(Std, QuotesTexts) {
  using string = nalo::basic_string<TypeParam>;
  const struct {
    const char *text, *quoted;  // by apostrophes, escaped by bars, padded to 9
  } rows[] = {
      {"", "''......."},
      {"a b", "'a b'...."},
      {"it's a|b", "'it|'s a||b'"},
  };
  for (const auto& row : rows) {
    const auto text = widened<TypeParam>(row.text);
    const auto as = [](const auto& s) { return nalo::quoted(s, '\'', '|'); };
    const auto expect_written = [&](const auto& what) {
      stream<TypeParam> out;
      out << nalo::setfill(TypeParam('.')) << nalo::left << nalo::setw(9)
          << as(what);
      EXPECT_EQ(out.written(), row.quoted);
    };
    string copy(text);
    expect_written(text);
    expect_written(copy);
    expect_written(text.c_str());
    expect_written(std::basic_string_view<TypeParam>(text));
    stream<TypeParam> both;
    both << nalo::quoted(copy, '\'', '|') << "x";
    copy = string();
    both >> nalo::quoted(copy, '\'', '|');
    EXPECT_EQ(copy, text);
    EXPECT_TRUE(both.get() == 'x' && (both.flags() & ios_base::skipws) != 0);
  }
  const struct {
    const char *input, *text, *rest;
    nalo::ios_base::iostate state;
  } inputs[] = {
      {" \"a \\\"\\b\" c", "a \"b", " c", ios_base::goodbit},
      {" ab c", "ab", " c", ios_base::goodbit},
      {"\"ab", "ab", "", ios_base::failbit | ios_base::eofbit},
      {"\"ab\\", "ab", "", ios_base::failbit | ios_base::eofbit},
      {"  ", "old", "", ios_base::failbit | ios_base::eofbit},
  };
  for (const auto& row : inputs) {
    stream<TypeParam> in(row.input);
    string text(widened<TypeParam>("old"));
    in >> nalo::quoted(text);
    EXPECT_EQ(shown<TypeParam>(text), row.text);
    EXPECT_EQ(in.rdstate(), row.state) << row.input;
    EXPECT_EQ(
        shown<TypeParam>(string(nalo::istreambuf_iterator<TypeParam>(in), {})),
        row.rest);
  }
}

template <class Time>
std::string fields(const Time& t) {
  std::string all;
  for (const long n : {t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min,
                       t.tm_sec, t.tm_wday, t.tm_yday}) {
    all += std::to_string(n) + ' ';
  }
  return all;
}

TYPED_TEST(Std, WritesAndReadsTimesAsTheStandardStreams) {
  const std::tm time = {9, 5, 13, 29, 1, 124, 4, 59, 0, 0, "GMT"};
  const std::string long_format(70, '%');
  for (const char* const format :
       {"%F %T", "%c|%x|%X|%p|%Z|%z", "", "%Ey %Od %Q", "%j%U%e%n%B",
        long_format.c_str()}) {
    const auto wide = widened<TypeParam>(format);
    stream<TypeParam> out;
    std::basic_ostringstream<TypeParam> expected;
    out << nalo::setw(9) << nalo::put_time(&time, wide.c_str()) << 1;
    expected << std::setw(9) << std::put_time(&time, wide.c_str()) << 1;
    EXPECT_EQ(out.written(), shown<TypeParam>(expected.str()));
  }
  const std::pair<const char*, const char*> inputs[] = {
      {"%Y-%m-%d %H:%M:%S", "2024-02-29 13:05:09 x"},
      {"%A %B %e %y", "thursday FEBRUARY 9 24"},
      {"%b %d", "Sept 1"},
      {"%D", "02/28/69"},
      {"%r", "11:30:01 pm"},
      {"%I %p", "12 am"},
      {"%R%n%j", "12:30  060"},
      {"%C%y-%m-%d", "1999-12-31"},
      {"%d%%/X", "7%/x"},
      {"%H", "24"},
      {"%M", "x"},
      {"%Ey %m %Od", "24 1 2"},
  };
  for (const auto& [format, input] : inputs) {
    const auto wide = widened<TypeParam>(format);
    stream<TypeParam> in(input);
    std::basic_istringstream<TypeParam> expected(widened<TypeParam>(input));
    std::tm read = {}, other = {};
    in >> nalo::get_time(&read, wide.c_str());
    expected >> std::get_time(&other, wide.c_str());
    // They store the day of the year of half a date.
    if (read.tm_year == 0 || read.tm_mday == 0) other.tm_yday = read.tm_yday;
    EXPECT_EQ(fields(read), fields(other)) << format;
    EXPECT_EQ(in.fail(), expected.fail()) << format;
    EXPECT_EQ(in.eof() && !in.fail(), expected.eof() && !in.fail()) << format;
  }
}

}  // namespace
