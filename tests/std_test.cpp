// What programs bring along from the standard streams: iterators, quoted texts
// and times.
#include <nalo/buffers/string>
#include <nalo/iterator>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <ranges>
#include <string>
#include <string_view>
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

}  // namespace
