// Formatting by another library, into streams and from strings. Built where
// {fmt} is found.
#include <nalo/buffers/span>
#include <nalo/buffers/string>
#include <nalo/iomanip>
#include <nalo/ostream>
#include <nalo/print>

#include <fmt/format.h>
#include <fmt/xchar.h>
#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <utility>

#include "scripted_streambuf.h"
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

// A format string of either character type.
template <class Char>
consteval auto choose(const char* narrow, const wchar_t* wide) {
  if constexpr (sizeof(Char) == 1)
    return narrow;
  else
    return wide;
}
#define FORMAT(text) choose<TypeParam>(text, L##text)

TYPED_TEST(Fmt, PrintsOneBlockBehindTheGate) {
  using nalo::ios_base, nalo_test::fault;
  using buffer = nalo_test::scripted_streambuf<TypeParam>;
  const nalo::basic_string<TypeParam> name(widened<TypeParam>("nalo"));
  buffer target({});
  nalo::basic_ostream<TypeParam> out(&target);
  out << nalo::setw(9) << nalo::unitbuf;
  nalo::print(out, FORMAT("{:>6}|{}"), name, 7);
  EXPECT_EQ(nalo_test::shown<TypeParam>(target.output()), "  nalo|7");
  EXPECT_EQ(std::exchange(target.own_log_, ""), "xsputn overflow(32) sync ");
  nalo::println(out, FORMAT("{:.2}"), name);
  nalo::println(out);
  EXPECT_EQ(nalo_test::shown<TypeParam>(target.output()),
            "  nalo|7na\\x0A\\x0A");
  EXPECT_EQ(out.width(), 9);

  const struct {
    fault kind;
    int width;
    const char* error;
  } rows[] = {{fault::library, 9, "library"},
              {fault::refusal, 9, "basic_ios::clear"},
              {fault::none, -1, "negative width"}};
  for (const auto& row : rows) {
    for (const auto mask : {ios_base::goodbit, ios_base::badbit}) {
      buffer failing({});
      nalo::basic_ostream<TypeParam> to(&failing, mask);
      const auto raised = nalo_test::raised_by(
          [&] { nalo::print(to, FORMAT("{:{}}"), 1, row.width); }, 1, row.kind);
      EXPECT_EQ(raised, mask == ios_base::badbit ? row.error : "");
      EXPECT_EQ(to.rdstate(), ios_base::badbit);
      to.exceptions(ios_base::goodbit);
      nalo::print(to, FORMAT("x"));
      EXPECT_TRUE(to.fail() && failing.output().empty());
    }
  }
}

}  // namespace
