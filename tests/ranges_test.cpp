// The lines and the words of a stream as ranges.
#include <nalo/buffers/span>
#include <nalo/ranges>

#include <gtest/gtest.h>

#include <iterator>
#include <ranges>
#include <string>
#include <vector>

#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::shown;
using nalo_test::widened;

// The elements of a range, each in brackets.
template <class Range>
std::string joined(Range&& range) {
  std::string all;
  for (const auto& element : range) {
    using Char = std::decay_t<decltype(element[0])>;
    all += '[' + shown<Char>(element) + ']';
  }
  return all;
}

template <class Char>
class Ranges : public testing::Test {
  static_assert(std::ranges::input_range<nalo::lines_view<Char>>);
  static_assert(std::ranges::view<nalo::words_view<Char>>);
  static_assert(!std::ranges::forward_range<nalo::lines_view<Char>>);
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ranges, Chars);

template <class Char>
struct range_row {
  const char* input;
  std::string (*elements)(nalo::basic_istream<Char>&);
  const char* expected;
  ios_base::iostate state;
  const char* rest;  // of the input
};

constexpr auto failed = ios_base::failbit;
constexpr auto ended = ios_base::eofbit | ios_base::failbit;

TYPED_TEST(Ranges, AreWhatTheExtractionsRead) {
  using Char = TypeParam;
  using stream = nalo::basic_istream<Char>;
  const range_row<Char> rows[] = {
      {"a\n\nbc\n", [](stream& in) { return joined(nalo::lines(in)); },
       "[a][][bc]", ended, ""},
      {"a\n b", [](stream& in) { return joined(nalo::lines(in)); }, "[a][ b]",
       ended, ""},
      {"", [](stream& in) { return joined(nalo::lines(in)); }, "", ended, ""},
      {"a,b\n,c", [](stream& in) { return joined(nalo::lines(in, ',')); },
       "[a][b\\x0A][c]", ended, ""},
      {"abc\nab\nabcd\nx",
       [](stream& in) { return joined(nalo::lines(in, '\n', 3)); }, "[abc][ab]",
       failed, "d\nx"},
      {"  a bcd\n\te ", [](stream& in) { return joined(nalo::words(in)); },
       "[a][bcd][e]", ended, ""},
      {"abcde fg", [](stream& in) { return joined(nalo::words(in, 2)); },
       "[ab][cd][e][fg]", ended, ""},
      {"one two three",
       [](stream& in) {
         const auto word = shown<Char>(*nalo::words(in).begin());
         return word + joined(nalo::lines(in));
       },
       "one[ two three]", ended, ""},
  };
  for (const auto& row : rows) {
    const auto input = widened<Char>(row.input);
    nalo::basic_viewbuf<Char> buffer(input);
    stream in(&buffer);
    EXPECT_EQ(row.elements(in), row.expected) << row.input;
    EXPECT_EQ(in.rdstate(), row.state) << row.input;
    std::basic_string<Char> rest(input.size(), Char());
    rest.resize(static_cast<size_t>(
        buffer.sgetn(rest.data(), static_cast<long>(rest.size()))));
    EXPECT_EQ(shown<Char>(rest), shown<Char>(widened<Char>(row.rest)))
        << row.input;
  }
}

TYPED_TEST(Ranges, RaiseWhatTheMaskAsksFor) {
  const auto input = widened<TypeParam>("a\nb");
  nalo::basic_viewbuf<TypeParam> buffer(input);
  nalo::basic_istream<TypeParam> in(&buffer, ios_base::failbit);
  nalo::basic_string<TypeParam> seen;
  EXPECT_THROW(
      {
        for (const auto& line : nalo::lines(in)) seen += line;
      },
      ios_base::failure);
  EXPECT_EQ(seen, widened<TypeParam>("ab"));
  EXPECT_EQ(in.rdstate(), ended);
  in.exceptions(ios_base::goodbit);
  in.clear(ios_base::badbit);
  EXPECT_EQ(joined(nalo::lines(in)), "");
  EXPECT_EQ(in.rdstate(), ios_base::badbit | ios_base::failbit);
}

// One string serves all elements, and moves with the view.
TYPED_TEST(Ranges, ReuseOneString) {
  const std::basic_string<TypeParam> line(100, 'x');
  const auto input = line + TypeParam('\n') + line;
  nalo::basic_viewbuf<TypeParam> buffer(input);
  nalo::basic_istream<TypeParam> in(&buffer);
  auto first = nalo::lines(in);
  auto lines = std::move(first);
  auto it = lines.begin();
  const TypeParam* const text = it->data();
  it++;
  EXPECT_EQ(it->data(), text);
  EXPECT_EQ(it->size(), line.size());
  EXPECT_FALSE(it == std::default_sentinel);
}

}  // namespace
