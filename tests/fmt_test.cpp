// Formatting by another library, into streams and from strings. Built where
// {fmt} is found.
#include <nalo/buffers/span>
#include <nalo/buffers/string>
#include <nalo/ostream>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "text.h"

namespace {

using nalo_test::widened;

template <class Char>
class Fmt : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Fmt, Chars);

TYPED_TEST(Fmt, WritesToStreamsAndStrings) {
  using Char = TypeParam;
  using iterator = nalo::ostreambuf_iterator<Char>;
  static_assert(std::output_iterator<iterator, const Char&>);
  // Long enough for several of the formatter's blocks.
  const int number = 42, width = 2000;
  const nalo::basic_string<Char> text(widened<Char>("text"));
  const auto expected = widened<Char>(std::string(width - 2, ' ') + "42|text");
  const auto format_to = [&](auto out) {
    const auto pattern = widened<Char>("{:{}}|{}");
    return fmt::vformat_to(
        out, fmt::basic_string_view<Char>(pattern),
        fmt::make_format_args<fmt::buffer_context<Char>>(number, width, text));
  };

  nalo::basic_stringbuf<Char> buffer;
  nalo::basic_ostream<Char> out(&buffer);
  EXPECT_FALSE(format_to(iterator(out)).failed());
  EXPECT_EQ(buffer.view(), expected);

  Char array[width];
  nalo::basic_spanbuf<Char> refusing(array, nalo::ios_base::out);
  EXPECT_TRUE(format_to(iterator(&refusing)).failed());
  EXPECT_EQ(refusing.view(), expected.substr(0, width));

  nalo::basic_string<Char> appended;
  format_to(std::back_inserter(appended));
  EXPECT_EQ(appended, expected);
}

}  // namespace
