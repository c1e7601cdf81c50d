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
class Fmt : public testing::Test {
 protected:
  using iterator = nalo::ostreambuf_iterator<Char>;
  static_assert(std::output_iterator<iterator, const Char&>);

  // Long enough for several of the formatter's blocks.
  static constexpr int width = 2000;
  static std::basic_string<Char> expected() {
    return widened<Char>(std::string(width - 2, ' ') + "42|text");
  }
  template <class Out>
  static Out format_to(Out out) {
    const nalo::basic_string<Char> text(widened<Char>("text"));
    const auto pattern = widened<Char>("{:{}}|{}");
    const int number = 42, columns = width;
    return fmt::vformat_to(out, fmt::basic_string_view<Char>(pattern),
                           fmt::make_format_args<fmt::buffer_context<Char>>(
                               number, columns, text));
  }
};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Fmt, Chars);

TYPED_TEST(Fmt, WritesToStreams) {
  nalo::basic_stringbuf<TypeParam> buffer;
  nalo::basic_ostream<TypeParam> out(&buffer);
  out << 1;
  EXPECT_FALSE(this->format_to(typename TestFixture::iterator(out)).failed());
  out << 2;
  EXPECT_EQ(buffer.view(), widened<TypeParam>("1") + this->expected() +
                               widened<TypeParam>("2"));
}

TYPED_TEST(Fmt, LearnsOfARefusedCharacter) {
  TypeParam array[TestFixture::width];
  nalo::basic_spanbuf<TypeParam> buffer(array, nalo::ios_base::out);
  EXPECT_TRUE(
      this->format_to(typename TestFixture::iterator(&buffer)).failed());
  EXPECT_EQ(buffer.view(), this->expected().substr(0, TestFixture::width));
}

TYPED_TEST(Fmt, WritesToStrings) {
  nalo::basic_string<TypeParam> text;
  this->format_to(std::back_inserter(text));
  EXPECT_EQ(text, this->expected());
}

}  // namespace
