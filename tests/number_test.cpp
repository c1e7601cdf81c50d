// Random numbers, written and read, against a model; and what it does not show:
// very long numbers, what the buffer and the memory are asked for, and what is
// not there.
#include "number_model.h"

#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/memory>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>

namespace {

using nalo::ios_base;
using nalo::locale;
using nalo::streamsize;
using nalo_test::scripted_streambuf;
using nalo_test::widened;

template <class Char>
struct Number : testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Number, Chars);

TYPED_TEST(Number, OfAnyTypeAndFormIsWhatTheModelSays) {
  nalo_test::choices random(20240607);
  for (int round = 0; round < 20000 && !this->HasFailure(); ++round) {
    nalo_test::numbers::compare<TypeParam>(random);
  }
}

// --- reading -----------------------------------------------------------------

// The decimal digits of the number half way between the smallest normal value
// of T and the next one, which no shorter text of digits can tell apart.
template <class T>
std::string half_way() {
  using limits = std::numeric_limits<T>;
  const long double step = std::ldexp(1.0L, 1 - limits::digits);
  return nalo_test::numbers::print(
      "%.*Lf", limits::digits - limits::min_exponent + 1,
      static_cast<long double>(limits::min()) * (1 + step / 2));
}

TYPED_TEST(Number, OfAnyLengthIsRoundedCorrectly) {
  const auto read = [](auto value, const std::string& text) {
    scripted_streambuf<TypeParam> buf(
        {.input = widened<TypeParam>(text), .get_areas = {300'000}});
    nalo::basic_istream<TypeParam>(&buf) >> value;
    return value;
  };
  const std::string zeros(1'000'000, '0');
  const auto check_half_way = [&](auto min) {
    const auto next = std::nextafter(min, 1 + min);
    const std::string text = half_way<decltype(min)>();
    EXPECT_EQ(read(min, text + zeros), min);
    EXPECT_EQ(read(min, zeros + text + zeros + "1"), next);
  };
  check_half_way(std::numeric_limits<float>::min());
  check_half_way(std::numeric_limits<double>::min());

  EXPECT_EQ(read(0.0, "1" + zeros + "e-1000000"), 1);
  EXPECT_EQ(read(0.0, "0." + zeros + "1e1000001"), 1);
  EXPECT_EQ(read(0.0, "0x1" + zeros + "1p-4000004"), 1);
  EXPECT_EQ(read(0.0, "0x0." + zeros + "1p4000004"), 1);
  EXPECT_EQ(read(0.0, "1e" + zeros + "5"), 1e5);
  EXPECT_EQ(read(0.0, "0." + std::string(1'000'000, '3')), 1.0 / 3);
  EXPECT_EQ(read(0.0L, std::string(4900, '7') + "e-4900"), 7.0L / 9);
  EXPECT_EQ(read(0L, zeros + "42"), 42);
  EXPECT_EQ(read(0UL, "1" + zeros), std::numeric_limits<unsigned long>::max());
}

// What the model seldom chooses, in all bases.
TYPED_TEST(Number, IsReadAtTheLimitsOfItsTypeAndBehindAZero) {
  using namespace nalo_test::numbers;
  nalo_test::choices random(1);
  const auto check = [&]<class T>(T) {
    using limits = std::numeric_limits<T>;
    for (const long double n : {limits::min() - 1.0L, limits::min() + 0.0L,
                                limits::max() + 0.0L, limits::max() + 1.0L}) {
      const auto text = widened<TypeParam>(print("%.0Lf ", n));
      compare_reading<T>(random, text, {}, {99});
    }
    for (const char* text : {"0_123", "012_345", "1__2"}) {
      compare_reading<T>(random, widened<TypeParam>(text), {{"\3", '_'}}, {99});
    }
  };
  for (int i = 0; i < 30; ++i) {
    check(static_cast<unsigned short>(0));
    check(0U);
    check(0L);
    check(0UL);
  }
  compare_reading<double>(random, widened<TypeParam>("1__2"), {{"\3", '_'}},
                          {99});
}

TYPED_TEST(Number, HasNoGroupLeftOfOneThatTakesAllDigits) {
  const std::string most(127, '1');
  const struct {
    std::string text;
    bool fail;
  } cases[] = {{most + ",234", false},
               {most + most + ",234", false},
               {"1," + most + ",234", true},
               {"1," + most + most + ",234", true}};
  for (const auto& [text, fail] : cases) {
    scripted_streambuf<TypeParam> buf({.input = widened<TypeParam>(text)});
    nalo::basic_istream<TypeParam> in(&buf);
    nalo_test::numbers::imbue(in, {{.grouping = "\3\177"}});
    double value;
    in >> value;
    EXPECT_EQ(in.fail(), fail) << text;
    EXPECT_EQ(buf.position(), text.size()) << text;
  }
}

TYPED_TEST(Number, AsksTheBufferOnlyAtTheEndOfTheGetArea) {
  const auto check = [](auto value, const char* text, size_t taken,
                        const char* calls) {
    scripted_streambuf<TypeParam> buf({.input = widened<TypeParam>(text)});
    nalo::basic_istream<TypeParam> in(&buf);
    buf.sgetc();
    in >> value;
    EXPECT_EQ(buf.position(), taken) << text;
    EXPECT_EQ(buf.own_log_, calls) << text;
  };
  check(0L, "-123 4", 4, "underflow ");
  check(0UL, "123", 3, "underflow underflow ");
  check(0.0, "1.5e3 4", 5, "underflow ");
  check(0.0, "1.5e3", 5, "underflow underflow ");
  check(0.0f, "+.5x", 3, "underflow ");
  check(0.0, "1e+x", 3, "underflow ");
  check(0.0L, "1e+x", 3, "underflow ");
}

// --- writing -----------------------------------------------------------------

TYPED_TEST(Number, IsWrittenInPlaceOrAsOneBlock) {
  const auto check = [](auto value, ios_base::fmtflags flags, streamsize width,
                        size_t length) {
    for (const size_t area : {size_t{0}, size_t{1}, length - 1, length + 99}) {
      scripted_streambuf<TypeParam> buf({.put_areas = {area + 1}});
      buf.sputc(TypeParam('='));
      buf.sputc(TypeParam('='));
      buf.own_log_.clear();
      nalo::basic_ostream<TypeParam> out(&buf);
      out.flags(flags);
      out.width(width);
      out << value;
      EXPECT_EQ(buf.output().size(), length + 2) << value;
      EXPECT_EQ(buf.own_log_.starts_with("xsputn "), area < length)
          << value << " into " << area << ": " << buf.own_log_;
      EXPECT_EQ(buf.own_log_.find("xsputn", 1), std::string::npos)
          << value << " into " << area << ": " << buf.own_log_;
    }
  };
  check(-12L, ios_base::dec, 0, 3);
  check(0.25, ios_base::dec, 0, 4);
  check(2.5, ios_base::internal | ios_base::showpos, 9, 9);
  check(-1L, ios_base::left, 257, 257);
}

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

// Neither padding nor the zeros behind the digits of a value are held in memory
// as a whole.
TYPED_TEST(Number, OfAnyWidthAndPrecisionNeedsLittleMemory) {
  using Char = TypeParam;
  constexpr streamsize most = std::numeric_limits<streamsize>::max();
  const struct {
    ios_base::fmtflags flags;
    streamsize precision, width;
    const char* begin;
    char rest;  // what all else is
  } cases[] = {
      {{}, 6, most, "", '*'},
      {ios_base::internal, 6, most, "-", '*'},
      {ios_base::fixed, most, most, "-0.5", '0'},
      {ios_base::showpoint, most, 0, "-0.5", '0'},
  };
  for (const auto& c : cases) {
    scripted_streambuf<Char> buf({.put_areas = {10000}, .accepts = 200'000});
    measured_memory memory;
    nalo::allocator ma(memory);
    nalo::basic_ios<Char> io(nullptr);
    io.flags(c.flags);
    io.precision(c.precision);
    io.width(c.width);
    EXPECT_TRUE(facet<Char>(1, ma).put(&buf, io, Char('*'), -0.5).failed());
    auto expected = widened<Char>(c.begin);
    expected.resize(200'000, Char(c.rest));
    EXPECT_TRUE(buf.output() == expected)
        << c.flags << ' ' << c.precision << ' ' << c.width << ": "
        << nalo_test::shown<Char>(buf.output().substr(0, 100));
    EXPECT_LE(memory.most_bytes, 65536 * sizeof(Char));
  }
}

TYPED_TEST(Number, BoolIsWrittenAsLongThroughTheFacet) {
  using iterator = nalo::ostreambuf_iterator<TypeParam>;
  struct doubling : facet<TypeParam> {
    using facet<TypeParam>::do_put;
    iterator do_put(iterator out, ios_base& io, TypeParam fill,
                    long value) const override {
      return facet<TypeParam>::do_put(out, io, fill, 2 * value);
    }
  };
  scripted_streambuf<TypeParam> buf({});
  nalo::basic_ostream<TypeParam> out(&buf);
  out.imbue({locale(), new doubling});
  out << true << nalo::boolalpha << true;
  EXPECT_EQ(buf.output(), widened<TypeParam>("2true"));
}

// --- what is not there -------------------------------------------------------

TYPED_TEST(Number, NeedsANumpunctUnlessItIsAWrittenPointer) {
  using Char = TypeParam;
  const auto lacking = locale::classic().without_<nalo::numpunct<Char>>();
  scripted_streambuf<Char> buf({.input = widened<Char>("1")});
  nalo::basic_ios<Char> io(nullptr);
  io.imbue(lacking);
  io.width(3);
  const facet<Char> writer(1);
  const auto& reader = nalo::use_facet<nalo::num_get<Char>>(lacking);
  ios_base::iostate err = ios_base::goodbit;
  const auto check = [&](auto value) {
    EXPECT_THROW(writer.put(&buf, io, Char(' '), value),
                 nalo::missing_facet_error);
    EXPECT_THROW(reader.get({&buf}, {}, io, err, value),
                 nalo::missing_facet_error);
    EXPECT_EQ(io.width(), 3);
  };
  check(1L);
  check(1.5);
  io.setf(ios_base::boolalpha);
  check(true);
  EXPECT_EQ(buf.own_log_, "");
  const void* const null = nullptr;
  writer.put(&buf, io, Char(' '), null);
  EXPECT_EQ(buf.output(), widened<Char>("  0"));
}

TYPED_TEST(Number, NeedsABufferThatTakesIt) {
  using Char = TypeParam;
  nalo::basic_ios<Char> io(nullptr);
  const auto& reader = nalo::use_facet<nalo::num_get<Char>>(locale());
  const auto check = [&](auto value) {
    ios_base::iostate err = ios_base::goodbit;
    reader.get({}, {}, io, err, value);
    EXPECT_EQ(value, 0);
    EXPECT_EQ(err, ios_base::failbit | ios_base::eofbit);
  };
  check(77L);
  check(77.0);

  scripted_streambuf<Char> buf({.put_areas = {3}, .accepts = 3});
  nalo::ostreambuf_iterator<Char> failed(&buf);
  failed.put_(widened<Char>("1234").data(), 4);
  ASSERT_TRUE(failed.failed());
  scripted_streambuf<Char>* const none = nullptr;
  for (auto out : {failed, nalo::ostreambuf_iterator<Char>(none)}) {
    io.width(5);
    const facet<Char> numbers(1);
    EXPECT_TRUE(numbers.put(out, io, Char(' '), 42L).failed());
    EXPECT_EQ(io.width(), 0);
    EXPECT_TRUE(numbers.put(out, io, Char(' '), 42L).failed());
  }
  EXPECT_EQ(buf.output(), widened<Char>("123"));
}

}  // namespace
