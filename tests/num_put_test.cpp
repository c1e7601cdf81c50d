// The formatting of numbers against the compiler's own streams, on random
// values and formats, and what happens when the buffer refuses.
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/memory>
#include <nalo/ostream>
#include <nalo/string>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

#include "scripted_streambuf.h"
#include "styled_numpunct.h"

namespace {

using fmtflags = nalo::ios_base::fmtflags;
using nalo::ios_base;
using nalo::streamsize;
using nalo_test::styled;
using nalo_test::widened;

// Accepts limit characters, through put areas of that many at a time.
template <class Char>
class limited_buf : public nalo_test::scripted_streambuf<Char> {
 public:
  limited_buf(size_t limit, size_t window)
      : nalo_test::scripted_streambuf<Char>(
            {.put_areas = {window}, .accepts = limit}) {
    this->overflow(nalo::char_traits<Char>::eof());  // the first area
  }

  // Whether nothing was written behind the output.
  bool is_tidy() const {
    return std::all_of(this->pptr(), this->epptr(),
                       [](Char ch) { return ch == 0; });
  }
  // How many blocks came that were not written in place.
  int blocks() const {
    int count = 0;
    for (size_t at = 0;
         (at = this->own_log_.find("xsputn", at)) != std::string::npos; ++at) {
      ++count;
    }
    return count;
  }
};

struct measured_memory : nalo::memory_source {
  void* allocate(size_t bytes) override {
    most_bytes = std::max(most_bytes, bytes);
    return std::malloc(bytes);
  }
  void deallocate(void* block) noexcept override { std::free(block); }

  size_t most_bytes = 0;
};

template <class Char>
struct facet : nalo::num_put<Char> {
  using nalo::num_put<Char>::num_put;
  ~facet() override = default;
};

struct format : ios_base {
  explicit format(fmtflags set = {}, streamsize precision_set = 6,
                  streamsize width_set = 0) {
    flags(set);
    precision(precision_set);
    width(width_set);
  }
};

template <class Char, class T>
bool put(nalo::basic_streambuf<Char>& to, ios_base& io, Char fill, T val,
         nalo::allocator ma = nalo::allocator()) {
  return !facet<Char>(1, ma).put(&to, io, fill, val).failed();
}

template <class T>
std::string describe(const ios_base& io, T val) {
  std::ostringstream out;
  out.precision(20);
  out << val << " flags " << io.flags() << " precision " << io.precision()
      << " width " << io.width();
  return out.str();
}

// What the compiler's streams write, which is what printf writes but for
// padding and punctuation. They group pointers and the 0x of hexadecimal
// fractions, and write an infinity in lower case when it is fixed.
template <class Char, class T>
std::basic_string<Char> expected_text(const ios_base& io, Char fill, T val,
                                      const nalo_test::style& punct = {}) {
  const auto floatfield = io.flags() & ios_base::floatfield;
  nalo_test::style used = punct;
  if (std::is_pointer_v<T> ||
      (std::is_floating_point_v<T> && floatfield == ios_base::floatfield)) {
    used.grouping.clear();
  }
  std::basic_ostringstream<Char> out;
  out.imbue({out.getloc(), new styled<std::numpunct<Char>>(used)});
  out.flags(static_cast<std::ios_base::fmtflags>(+io.flags()));
  out.precision(io.precision());
  out.width(io.width());
  out.fill(fill);
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(val)) out.unsetf(std::ios_base::floatfield);
  }
  out << val;
  return out.str();
}
static_assert(+std::ios_base::showbase == +ios_base::showbase &&
              +std::ios_base::uppercase == +ios_base::uppercase);

using random_bits = std::mt19937_64;

template <class T>
T random_value(random_bits& bits) {
  const std::uint64_t magnitude = bits() >> bits() % 64;
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(bits() % 8 ? magnitude : 0);
  } else if constexpr (!std::is_floating_point_v<T>) {
    return static_cast<T>(bits() % 2 ? magnitude : 0 - magnitude);
  } else {
    using limits = std::numeric_limits<T>;
    const T sign = bits() % 2 ? T(-1) : T(1);
    const int exponent = static_cast<int>(
        bits() % (limits::max_exponent - limits::min_exponent + 128));
    const T special[] = {0,
                         limits::infinity(),
                         limits::quiet_NaN(),
                         limits::max(),
                         limits::denorm_min(),
                         limits::min()};
    switch (bits() % 6) {
      case 0:
        return static_cast<T>(std::bit_cast<double>(bits()));
      case 1:  // any exponent, denormals included
        return sign * std::ldexp(static_cast<T>(bits()),
                                 limits::min_exponent - 128 + exponent);
      case 2:  // where %g changes its form
        return sign * std::pow(T(10), static_cast<T>(bits() % 60) - 30);
      case 3:  // halves, which round to even
        return sign * static_cast<T>(bits() % 100000) / 2;
      case 4:
        return sign * static_cast<T>(magnitude) / 1000;
      default:
        return std::copysign(special[bits() % std::size(special)], sign);
    }
  }
}

void randomize(ios_base& io, random_bits& bits) {
  io.flags(static_cast<fmtflags>(bits() % 0x8000));
  const auto precision = static_cast<streamsize>(bits() % 40);
  io.precision(bits() % 64 == 0  ? precision * 100
               : bits() % 8 == 0 ? precision - 40
                                 : precision);
  io.width(bits() % 2 ? static_cast<streamsize>(bits() % 50) - 5 : 0);
}

// Formats random values of every type.
template <class Char>
void compare(ios_base& io, int rounds, const nalo_test::style& punct) {
  random_bits bits(20240229);
  const auto compare_one = [&](auto type) {
    using T = decltype(type);
    const T val = random_value<T>(bits);
    randomize(io, bits);
    const std::string trace = describe(io, val);
    const std::basic_string<Char> expected =
        expected_text(io, Char('*'), val, punct);
    const size_t windows[] = {0, 5, 10000};
    limited_buf<Char> buf(expected.size() + 30, windows[bits() % 3]);
    EXPECT_TRUE(put(buf, io, Char('*'), val));
    ASSERT_EQ(buf.output(), expected) << trace;
    ASSERT_TRUE(buf.is_tidy()) << trace;
    ASSERT_LE(buf.blocks(), 1) << trace;
    ASSERT_EQ(io.width(), 0);
  };
  for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
    compare_one(bool());
    compare_one(0L);
    compare_one(0UL);
    compare_one(0LL);
    compare_one(0ULL);
    compare_one(static_cast<const void*>(nullptr));
    compare_one(0.0);
    compare_one(0.0L);
  }
}

template <class Char>
struct num_put_test : testing::Test {};
using chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(num_put_test, chars);

TYPED_TEST(num_put_test, writes_what_standard_streams_do) {
  using Char = TypeParam;
  format io;
  compare<Char>(io, 2000, {});
  using namespace std::string_literals;
  for (const std::string& groups :
       {""s, "\3"s, "\1\2\3"s, "\3\x7f"s, "\2\xff"s, "\0\3"s, "\x7f"s}) {
    SCOPED_TRACE(testing::PrintToString(groups));
    // A name has no sign.
    const nalo_test::style german = {groups, '.', ',', "-ja"};
    io.imbue({io.getloc(), new styled<nalo::numpunct<Char>>(german)});
    compare<Char>(io, 400, german);
  }
}

TYPED_TEST(num_put_test, stops_at_the_first_refused_character) {
  using Char = TypeParam;
  const auto check = [](auto val, fmtflags flags, streamsize width) {
    const auto whole = expected_text(format(flags, 6, width), Char('*'), val);
    for (size_t limit = 0; limit <= whole.size(); ++limit) {
      for (size_t window : {0U, 1U, 4U, 1000U}) {
        limited_buf<Char> buf(limit, window);
        format io(flags, 6, width);
        ASSERT_EQ(put(buf, io, Char('*'), val), limit == whole.size())
            << whole.c_str() << " limit " << limit << " window " << window;
        ASSERT_EQ(buf.output(), whole.substr(0, limit)) << window;
        ASSERT_EQ(buf.blocks(), window < whole.size() || limit < whole.size())
            << whole.c_str() << " limit " << limit << " window " << window;
        ASSERT_EQ(io.width(), 0);
      }
    }
  };
  check(-12L, ios_base::dec, 0);
  check(0.25, ios_base::dec, 0);
  check(2.5, ios_base::internal | ios_base::showpos, 9);
  check(-1L, ios_base::left, 257);
}

TYPED_TEST(num_put_test, writes_nothing_through_a_failed_iterator) {
  using Char = TypeParam;
  limited_buf<Char> buf(3, 3);
  nalo::ostreambuf_iterator<Char> failed(&buf);
  failed.put_(widened<Char>("1234").data(), 4);
  ASSERT_TRUE(failed.failed());
  for (auto out : {failed, nalo::ostreambuf_iterator<Char>(
                               static_cast<limited_buf<Char>*>(nullptr))}) {
    format io({}, 6, 5);
    const facet<Char> numbers(1, nalo::allocator::default_());
    EXPECT_TRUE(numbers.put(out, io, Char(' '), 42L).failed());
    EXPECT_EQ(io.width(), 0);
    EXPECT_TRUE(numbers.put(out, io, Char(' '), 42L).failed());
  }
  EXPECT_EQ(buf.output(), widened<Char>("123"));
}

// More digits than a value has are zeros; neither they nor padding are held in
// memory as a whole.
TYPED_TEST(num_put_test, takes_any_width_and_precision) {
  using Char = TypeParam;
  constexpr streamsize most = std::numeric_limits<streamsize>::max();
  const size_t limit = 200000;
  const struct {
    fmtflags flags;
    streamsize precision;
    streamsize width;
    double val;
    const char* begin;
    char rest;  // what all else is
  } cases[] = {
      {{}, 6, most, 7, "", '*'},
      {ios_base::left, 6, most, 7, "7", '*'},
      {ios_base::internal, 6, most, -7, "-", '*'},
      {ios_base::fixed, INT_MAX, 0, 0.5, "0.5", '0'},
      {ios_base::fixed, INT_MAX + 1L, 0, 0.5, "0.5", '0'},
      {ios_base::fixed, most, most, -0.5, "-0.5", '0'},
      {ios_base::fixed | ios_base::internal, most - 1, most, 0.5, "0.5", '0'},
      {ios_base::fixed | ios_base::internal, 6, most, -0.5, "-", '*'},
      {ios_base::scientific, most, 0, 1.25e9, "1.25", '0'},
      {ios_base::showpoint, most, 0, 0.25, "0.25", '0'},
  };
  for (const auto& c : cases) {
    limited_buf<Char> buf(limit, 10000);
    measured_memory memory;
    format io(c.flags, c.precision, c.width);
    const std::string trace = describe(io, c.val);
    EXPECT_FALSE(put(buf, io, Char('*'), c.val, nalo::allocator(memory)));
    const auto text = buf.output();
    ASSERT_EQ(text.size(), limit) << trace;
    const auto begin = widened<Char>(c.begin);
    EXPECT_EQ(text.substr(0, begin.size()), begin) << trace;
    EXPECT_EQ(text.find_first_not_of(Char(c.rest), begin.size()),
              std::basic_string<Char>::npos)
        << trace;
    EXPECT_LE(memory.most_bytes, 65536 * sizeof(Char));
  }
}

TYPED_TEST(num_put_test, adds_zeros_where_the_digits_of_a_value_end) {
  using Char = TypeParam;
  const auto check = [](auto val, fmtflags flags, streamsize precision) {
    format io(flags, precision);
    const auto expected = expected_text(io, Char(' '), val);
    const size_t room = expected.size();
    limited_buf<Char> buf(room, precision % 2 ? room : 1000);
    EXPECT_TRUE(put(buf, io, Char(' '), val));
    ASSERT_EQ(buf.output(), expected) << describe(io, val);
  };
  for (fmtflags field : {fmtflags(), ios_base::fixed, ios_base::scientific}) {
    for (fmtflags flags : {field, field | ios_base::showpoint}) {
      for (streamsize precision : {0, 1074, 1075, 16446, 70001}) {
        for (double val : {0.0, 0.1, 1e308, 5e-324, HUGE_VAL}) {
          check(val, flags, precision);
        }
        for (long double val : {0.1L, 1e508L, 1e4932L, 4e-4951L}) {
          check(val, flags, precision);
        }
      }
    }
  }
}

TYPED_TEST(num_put_test, needs_numpunct_for_all_but_pointers) {
  using Char = TypeParam;
  limited_buf<Char> buf(10, 10);
  format io({}, 6, 3);
  io.imbue(io.getloc().template without_<nalo::numpunct<Char>>());
  EXPECT_THROW(put(buf, io, Char(' '), 1L), nalo::missing_facet_error);
  EXPECT_THROW(put(buf, io, Char(' '), 1.5), nalo::missing_facet_error);
  EXPECT_EQ(io.width(), 3);
  EXPECT_TRUE(put(buf, io, Char(' '), static_cast<const void*>(nullptr)));
  EXPECT_EQ(buf.output(), widened<Char>("  0"));
}

TYPED_TEST(num_put_test, formats_bool_as_long_through_the_facet) {
  using Char = TypeParam;
  using iterator = nalo::ostreambuf_iterator<Char>;
  struct doubling : nalo::num_put<Char> {
    doubling() : nalo::num_put<Char>(1) {}
    ~doubling() override = default;
    using nalo::num_put<Char>::do_put;
    iterator do_put(iterator out, ios_base& io, Char fill,
                    long val) const override {
      return nalo::num_put<Char>::do_put(out, io, fill, 2 * val);
    }
  } numbers;
  limited_buf<Char> buf(10, 10);
  format io;
  numbers.put(&buf, io, Char(' '), true);
  io.setf(ios_base::boolalpha);
  numbers.put(&buf, io, Char(' '), true);
  EXPECT_EQ(buf.output(), widened<Char>("2true"));
}

}  // namespace
