// Writing and reading random numbers against a model, rare numbers, and errors.
#include "number_model.h"

#include <cmath>

namespace {

using namespace nalo_test;
using nalo::locale, nalo::missing_facet_error;

TEST_SUITE_OF_CHARACTERS(Number);

TYPED_TEST(Number, AgreesWithTheModel) {
  choices random(20240607);
  for (int round = 0; round < 20000 && !this->HasFailure(); ++round) {
    numbers::compare<TypeParam>(random);
  }
}

// Forms that random texts seldom have, read as each type. # stands for zeros.
TYPED_TEST(Number, ReadsRareFormsAsTheModelDoes) {
  using namespace numbers;
  // Of integers; the last two have one hexadecimal or octal digit too many.
  std::vector<std::string> limits = {
      "18446744073709551616", "10000000000000000", "2000000000000000000000"};
  for (const int bits : {15, 16, 31, 32, 63, 64}) {
    for (const unsigned long near : {~0UL, 0UL, 1UL}) {
      limits.push_back(std::to_string((bits < 64 ? 1UL << bits : 0) + near));
      limits.push_back('-' + limits.back());
    }
  }
  // Half way between the smallest normal value and the next: takes all digits.
  char half_float[200], half_double[2000];
  std::snprintf(half_float, 200, "%.150Lf#", 0x1.000001p-126L);
  std::snprintf(half_double, 2000, "#%.1075Lf#", 0x1.00000000000008p-1022L);
  const std::string ones(127, '1');
  const std::pair<punctuation, std::vector<std::string>> cases[] = {
      {{}, limits},
      {{}, {"0x1.fffffep127", "-0x1.fffffep127", "-0xffffffffffffffffp16320"}},
      {{}, {"+0X.8AP-3", "0xaFp+3", "0x1p", "0x.", "-0x", "0x1p-", "0x.0p1"}},
      {{}, {"-nan", "inf", "1e", "1ea", "1e2a", "12\xFF"}},
      {{}, {"0.0e5", "-0x0p5", "1e#5", "#42", "1#", "-0.0", "5.", ".5", "."}},
      {{}, {"1.5e-308", "1e-38", "2e-320", "1e-45"}},    // subnormal
      {{}, {"1.8e308", "-1e309", "3.5e38", "-1.e+39"}},  // out of range
      {{}, {"1.7976931348623159e308", "3.4028236e38"}},  // when rounded
      {{}, {"1e-309", "1e326"}},  // beyond the tables of powers
      // Half way between two values of double or float.
      {{}, {"9007199254740995", "4503599627370497.5", "8388609.5", "1e23"}},
      {{}, {"0x" + ones + "p-300", "1#e-9999", "0.#1e10000", "0x1#p-39996"}},
      {{}, {"0x0.#1p40000", "1e-99999999999999999999"}},
      {{}, {half_float, half_float + ones + "0"}},
      {{}, {half_double, half_double + ones + "0"}},
      {{}, {std::string(4900, '7') + "e-4900", "0." + std::string(12000, '3')}},
      {{.grouping = "\3"}, {"0,123", "012,345"}},  // a prefix is in no group
      {{.grouping = "\3"}, {",123", "1,,2", "1,22,333,444"}},
      {{.grouping = "\1\2\3"}, {"1,333,22,1", "1,333,1,1", "4444,333,22,1"}},
      // The size CHAR_MAX is unlimited.
      {{.grouping = "\3\177"}, {ones + ",234", "1," + ones + ",234"}},
      {{.grouping = "\3", .separator = '1'}, {"11234", "2113"}},
      {{.grouping = "\3", .separator = '.'}, {"1.234.567", "1.234.5", "5.3"}},
      {{.yes = "so", .no = "so"}, {"so"}},
      // As a wide character, \xFF equals eof and ends the input.
      {{.grouping = "\3", .separator = '\xFF', .yes = "\xFF"}, {"", "1"}},
  };
  for (const auto& c : cases) {
    for (std::string text : c.second) {
      for (size_t at; (at = text.find('#')) != text.npos;) {
        text.replace(at, 1, 9999, '0');
      }
      for (const auto flags :
           {default_flags, ios_base::hex, ios_base::oct, ios_base::fmtflags(),
            ios_base::dec | ios_base::boolalpha}) {
        if (text.size() > 999 && flags != default_flags) continue;
        const auto check = [&]<class T>(T) {
          compare_reading<T, TypeParam>(text, flags, c.first, {1, 2});
          for (const char* end : {"", " "}) {  // in the get area, or at its end
            compare_reading<T, TypeParam>(text + end, flags, c.first,
                                          {99999, 0});
          }
        };
        std::apply([&](auto... value) { (check(value), ...); }, types());
      }
    }
  }
}

// Few decimal digits, which round with a carry, few binary ones, which are
// exact ties, and values next to ties: all are rare among random values.
TEST(Number, RoundsFewDigitsAsTheModelDoes) {
  choices random(20241125);
  for (int round = 0; round < 100'000 && !HasFailure(); ++round) {
    const auto digits = random.below(1'000'000) >> random.below(20);
    const auto text = std::to_string(digits) + 'e' +
                      std::to_string(300 - static_cast<int>(random.below(601)));
    const double halves = std::ldexp(static_cast<double>(digits),
                                     -static_cast<int>(random.below(25)));
    numbers::compare_writing<char>(
        random, random.one_of({halves, std::nextafter(halves, 1e9),
                               std::strtod(text.c_str(), nullptr)}));
  }
  // Half of the last digit, and less.
  for (const double value : {1e-17, 6.9e-18, 5e-18, 4e-18}) {
    char expected[99];
    std::snprintf(expected, 99, "%.17f", value);
    scripted_streambuf<char> buf({.put_areas = {99}});
    nalo::ostream out(&buf);
    out << '=' << nalo::fixed << nalo::setprecision(17) << value;
    EXPECT_EQ(buf.output(), std::string("=") + expected);
  }
}

// So many digits that some are next to ties between two values.
TYPED_TEST(Number, ReadsManyDigitsAsTheModelDoes) {
  choices random(20261126);
  for (int round = 0; round < 10'000 && !this->HasFailure(); ++round) {
    const auto text = std::to_string(random.below(~0UL) / 2) + 'e' +
                      std::to_string(300 - static_cast<int>(random.below(601)));
    numbers::compare_reading<double, TypeParam>(
        text + " ", numbers::default_flags, {}, {99, 0});
  }
}

// Arrays on the stack hold 120 characters, or 508 digits and a point.
TYPED_TEST(Number, WritesNumbersOfAnyLength) {
  for (const size_t size : {120u, 121u, 508u, 509u, 510u}) {
    scripted_world<TypeParam> w({});
    w.io << nalo::fixed << nalo::setprecision(0)
         << 2 * std::pow(10.L, size - 1);
    EXPECT_EQ(w.buf.output().size(), size);
  }
}

TYPED_TEST(Number, NeedsAPunctuationFacetAndABuffer) {
  using Char = TypeParam;
  const auto lacking = locale::classic().without_<nalo::numpunct<Char>>();
  const auto& writer = nalo::use_facet<nalo::num_put<Char>>(lacking);
  const auto& reader = nalo::use_facet<nalo::num_get<Char>>(lacking);
  scripted_streambuf<Char> buf({});
  nalo::basic_ios<Char> io(nullptr);
  const auto check = [&](auto value, ios_base::fmtflags flags) {
    io.flags(flags);
    iostate err = good;
    io.imbue(locale());
    reader.get({}, {}, io, err, value);
    EXPECT_TRUE(value == 0 && err == (fail | eof));
    io.imbue(lacking);
    EXPECT_THROW(writer.put(&buf, io, Char(' '), value), missing_facet_error);
    EXPECT_THROW(reader.get({&buf}, {}, io, err, value), missing_facet_error);
  };
  check(1L, ios_base::dec);
  check(1.5, ios_base::dec);
  check(true, ios_base::boolalpha);
  EXPECT_EQ(buf.own_log_, "");
  // The width is reset before a buffer can raise.
  io.imbue(locale());
  arm(1, fault::other);
  io.width(100'000);
  EXPECT_THROW(writer.put(&buf, io, Char(' '), 42L), int);
  EXPECT_EQ(io.width(), 0);
}

// A terminal may not have what follows a name that is complete.
TYPED_TEST(Number, ReadsNothingBeyondAName) {
  scripted_world<TypeParam> w({.input = widened<TypeParam>("true")});
  bool value = false;
  const auto read = [&] { w.io >> nalo::boolalpha >> value; };
  EXPECT_EQ(raised_by(read, 2, fault::other), "");  // at the end of the area
  EXPECT_TRUE(value && w.io.good());
}

// The facet of a client is called for each type that it may format.
template <class Char>
struct labelling : nalo::num_put<Char> {
  using iterator = nalo::ostreambuf_iterator<Char>;
  iterator do_put(iterator out, ios_base&, Char, long) const override {
    return *out = 'l', out;
  }
  iterator do_put(iterator out, ios_base&, Char, unsigned long) const override {
    return *out = 'u', out;
  }
  iterator do_put(iterator out, ios_base&, Char, double) const override {
    return *out = 'd', out;
  }
};
// A facet that parses is called even when the number is at hand.
template <class Char>
struct always_42 : nalo::num_get<Char> {
  using iterator = nalo::istreambuf_iterator<Char>;
  iterator do_get(iterator in, iterator, ios_base&, iostate&,
                  long& val) const override {
    return val = 42, in;
  }
};
TYPED_TEST(Number, IsFormattedAndReadByTheFacetsOfAClient) {
  scripted_world<TypeParam> w({.input = widened<TypeParam>(" 7 ")});
  w.io << 0;
  w.io.imbue({{{}, new labelling<TypeParam>}, new always_42<TypeParam>});
  w.io << 1 << 2L << 3U << 4.5 << true;
  EXPECT_EQ(shown<TypeParam>(w.buf.output()), "0lludl");
  w.io.peek();
  int value = 0;
  w.io >> value;
  EXPECT_EQ(value, 42);
  EXPECT_EQ(w.buf.rest(), widened<TypeParam>("7 "));
}

}  // namespace
