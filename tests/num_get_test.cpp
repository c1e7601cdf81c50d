// The parsing of numbers against the compiler's own streams, on random texts,
// flags, punctuation and get areas, and what they do not show: hexadecimal
// floating point, long numbers, and what the buffer sees.
#include <nalo/base/num_get>
#include <nalo/base/numpunct>
#include <nalo/ios>
#include <nalo/streambuf>
#include <nalo/string>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>
#include <vector>

#include "scripted_streambuf.h"
#include "styled_numpunct.h"
#include "text.h"

namespace {

using fmtflags = nalo::ios_base::fmtflags;
using iostate = nalo::ios_base::iostate;
using nalo::ios_base;
using nalo_test::scripted_streambuf;
using nalo_test::style;
using nalo_test::styled;
using nalo_test::widened;

template <class Char>
scripted_streambuf<Char> played(const std::string& text,
                                std::vector<size_t> get_areas) {
  return scripted_streambuf<Char>(
      {.input = widened<Char>(text), .get_areas = std::move(get_areas)});
}

template <class Char>
nalo::locale nalo_locale(const style* s) {
  if (!s) return nalo::locale::classic();
  return {nalo::locale(), new styled<nalo::numpunct<Char>>(*s)};
}

template <class T>
struct outcome {
  T value;
  bool fail;
  bool eof;
  size_t taken;

  bool operator==(const outcome& other) const {
    return value == other.value && is_minus() == other.is_minus() &&
           fail == other.fail && eof == other.eof && taken == other.taken;
  }
  // Tells the zeros apart.
  bool is_minus() const {
    if constexpr (std::is_floating_point_v<T>) return std::signbit(value);
    return false;
  }
  friend std::ostream& operator<<(std::ostream& out, const outcome& o) {
    out.precision(std::numeric_limits<long double>::max_digits10);
    return out << o.value << (o.fail ? ", fail" : "") << (o.eof ? ", eof" : "")
               << ", " << o.taken << " taken";
  }
};

template <class T, class Char>
outcome<T> parse(scripted_streambuf<Char>& buf, fmtflags flags,
                 const nalo::locale& loc) {
  nalo::basic_ios<Char> format(nullptr);
  format.imbue(loc);
  format.flags(flags);
  T value{};
  iostate err = ios_base::goodbit;
  nalo::use_facet<nalo::num_get<Char>>(loc).get({&buf}, {}, format, err, value);
  return {value, (err & ios_base::failbit) != ios_base::goodbit,
          (err & ios_base::eofbit) != ios_base::goodbit, buf.position()};
}

template <class T, class Char>
outcome<T> std_parse(const std::string& text, fmtflags flags, const style* s) {
  std::basic_istringstream<Char> in(widened<Char>(text));
  if (s)
    in.imbue(std::locale(in.getloc(), new styled<std::numpunct<Char>>(*s)));
  const auto both = [&](fmtflags bit, std::ios::fmtflags peer) {
    return (flags & bit) != fmtflags{} ? peer : std::ios::fmtflags{};
  };
  in.flags(both(ios_base::dec, std::ios::dec) |
           both(ios_base::oct, std::ios::oct) |
           both(ios_base::hex, std::ios::hex) |
           both(ios_base::boolalpha, std::ios::boolalpha));
  T value{};
  in >> value;
  const bool fail = in.fail();
  const bool eof = in.eof();
  in.clear();
  return {value, fail, eof, static_cast<size_t>(in.tellg())};
}

template <class Char>
struct NumGet : testing::Test {};
using chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(NumGet, chars);

// --- random texts ------------------------------------------------------------

class random_input {
 public:
  explicit random_input(unsigned seed) : engine_(seed) {}

  size_t below(size_t n) { return engine_() % n; }
  template <class Array>
  const auto& one_of(const Array& array) {
    return array[below(std::size(array))];
  }

  // No x in a floating-point number: the peer does not know hexadecimal ones.
  std::string text(bool is_float) {
    static const auto pieces = words(
        "0 00 1 7 9 12 345 8 - + . , . , ,678 .678 e E- e+ e3 e-320 e308 f Ab "
        "_ : / @ g G ` true fal a ab abb se 2 65535 65536 4294967295 "
        "4294967296 17.5 p inf "
        "18446744073709551615 18446744073709551616 "
        "9223372036854775807 9223372036854775808 "
        "3.4028235e38 2.2250738585072011e-308 1.7976931348623157e308 "
        "179769313486231580793e289 000000000000000000000000000000");
    static const auto separated = words(",678 ,678 .901 ,23 '4");
    static const auto prefixes = words("0x 0X x 0x1F 0xFFFF");
    std::string result;
    for (size_t n = 1 + below(6); n != 0; --n) {
      if (below(3) == 0) {
        result += std::to_string(engine_() >> below(64));
      } else if (!is_float && below(12) == 0) {
        result += one_of(prefixes);
      } else if (below(8) == 0) {
        for (size_t groups = below(6); groups != 0; --groups) {
          result += one_of(separated);
        }
      } else {
        result += one_of(pieces);
      }
    }
    return result;
  }
  std::vector<size_t> windows() {
    if (below(3) == 0) return {1000};
    std::vector<size_t> result(1 + below(4));
    std::generate(result.begin(), result.end(), [&] { return below(8); });
    return result;
  }

 private:
  static std::vector<std::string> words(const char* text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
  }

  std::mt19937_64 engine_;
};

const std::vector<fmtflags> kFlags = {ios_base::dec,
                                      ios_base::dec,
                                      ios_base::oct,
                                      ios_base::hex,
                                      fmtflags{},
                                      ios_base::dec | ios_base::hex,
                                      ios_base::dec | ios_base::boolalpha};

const style kStyles[] = {
    {"\3"},
    {"\3", '.', ','},
    {"\2\3", '\'', '.', "a", "abb"},
    {"\3\177", ',', '.', "", "a"},
    {"\1\2\1", ',', ';', "abb", "abb"},
    {"\177", ',', '.', "ab", "a"},
    {"", ',', ','},
};

// The peer forgets the digits of a group in which an integer leaves its range.
template <class T>
bool loses_groups(const std::string& text, const style* punct,
                  const outcome<T>& result) {
  using number =
      std::conditional_t<std::is_pointer_v<T>, unsigned long,
                         std::conditional_t<std::is_same_v<T, bool>, long, T>>;
  using limits = std::numeric_limits<number>;
  return !std::is_floating_point_v<T> && punct && result.fail &&
         (result.value == T(limits::max()) ||
          result.value == T(limits::min()) || text.size() > limits::digits10);
}

template <class T, class Char>
void compare_with_std(random_input& random) {
  const std::string text = random.text(std::is_floating_point_v<T>);
  const std::vector<size_t> windows = random.windows();
  const fmtflags flags = random.one_of(kFlags);
  const style* const punct =
      random.below(3) == 0 ? &random.one_of(kStyles) : nullptr;
  auto buf = played<Char>(text, windows);
  // With a get area at hand, or with the buffer to be asked first.
  if (random.below(3) != 0) buf.sgetc();
  const auto expected = std_parse<T, Char>(text, flags, punct);
  const auto actual = parse<T>(buf, flags, nalo_locale<Char>(punct));
  EXPECT_TRUE(actual == expected ||
              (expected.fail && loses_groups(text, punct, actual)))
      << '"' << text << "\" in windows from " << windows[0] << ", flags "
      << flags << ", style " << (punct ? punct - kStyles : -1) << ", "
      << typeid(T).name() << ": expected " << expected << "; actual " << actual;
}

TYPED_TEST(NumGet, ReadsWhatTheCompilersStreamsRead) {
  random_input random(20240607);
  for (int round = 0; round < 4000 && !this->HasFailure(); ++round) {
    [&]<class... T>(std::type_identity<T>...) {
      (compare_with_std<T, TypeParam>(random), ...);
    }(std::type_identity<bool>(), std::type_identity<long>(),
      std::type_identity<long long>(), std::type_identity<unsigned short>(),
      std::type_identity<unsigned int>(), std::type_identity<unsigned long>(),
      std::type_identity<unsigned long long>(), std::type_identity<float>(),
      std::type_identity<double>(), std::type_identity<long double>(),
      std::type_identity<void*>());
  }
}

// --- beyond the peer ---------------------------------------------------------

TYPED_TEST(NumGet, ReadsHexadecimalFloatingPointNumbersAndNoNames) {
  constexpr double max = std::numeric_limits<double>::max();
  constexpr double above_one = 1 + std::numeric_limits<double>::epsilon();
  const std::string zeros(5000, '0');
  const struct {
    std::string text;
    outcome<double> expected;
  } cases[] = {
      {"0x1.8p3", {12, false, true, 7}},
      {"-0X.8P-1;", {-0.25, false, false, 8}},
      {"+0x1Fp+4p", {496, false, false, 8}},
      {"0x1.8e", {1.5546875, false, true, 6}},
      {"0x1.5.2", {1.3125, false, false, 5}},
      {"-0x0p5", {-0.0, false, true, 6}},
      {"0x", {0, true, true, 2}},
      {"0xg", {0, true, false, 2}},
      {"0x.p1", {0, true, false, 3}},
      {"0x1p", {0, true, true, 4}},
      {"0x1p-,", {0, true, false, 5}},
      {"0x1.00000000000008p0", {1, false, true, 20}},
      {"0x1.00000000000008" + zeros + "1", {above_one, false, true, 5019}},
      {"0x1" + zeros + "1p-20004", {1, false, true, 5011}},
      {"0x0." + zeros + "1p20004", {1, false, true, 5011}},
      {"0x7f80810181e08ap-1078", {0x7f80810181e09p-1074, false, true, 22}},
      {"0x1p1024", {max, true, true, 8}},
      {"-0x1p99999999999999999999", {-max, true, true, 25}},
      {"-0x1p-99999999999999999999", {-0.0, false, true, 26}},
      {"inf", {0, true, false, 0}},
      {"-nan", {0, true, false, 1}},
  };
  for (const auto& [text, expected] : cases) {
    for (const size_t window : {size_t{1}, size_t{10000}}) {
      auto buf = played<TypeParam>(text, {window});
      buf.sgetc();
      EXPECT_EQ(parse<double>(buf, ios_base::dec, nalo::locale()), expected)
          << text << " in windows of " << window;
    }
  }
}

// The decimal digits of the number half way between the smallest normal value
// of T and the next one, which no shorter text of digits can tell apart.
template <class T>
std::string half_way() {
  using limits = std::numeric_limits<T>;
  const long double step = std::ldexp(1.0L, 1 - limits::digits);
  std::string text(2000, '0');
  text.resize(static_cast<size_t>(
      std::snprintf(text.data(), text.size(), "%.*Lf",
                    limits::digits - limits::min_exponent + 1,
                    static_cast<long double>(limits::min()) * (1 + step / 2))));
  return text;
}

TYPED_TEST(NumGet, RoundsNumbersOfAnyLengthCorrectly) {
  const auto read = [](auto type, const std::string& text) {
    auto buf = played<TypeParam>(text, {300'000});
    return parse<decltype(type)>(buf, ios_base::dec, nalo::locale()).value;
  };
  const std::string zeros(1'000'000, '0');
  const auto check_half_way = [&](auto min) {
    const auto next = std::nextafter(min, 1 + min);
    const std::string text = half_way<decltype(min)>();
    EXPECT_EQ(read(min, text), min) << text;
    EXPECT_EQ(read(min, text + zeros), min);
    EXPECT_EQ(read(min, text + zeros + "1"), next);
    EXPECT_EQ(read(min, zeros + text + zeros + "1"), next);
  };
  check_half_way(std::numeric_limits<float>::min());
  check_half_way(std::numeric_limits<double>::min());

  EXPECT_EQ(read(0.0, "1" + zeros + "e-1000000"), 1);
  EXPECT_EQ(read(0.0, "0." + zeros + "1e1000001"), 1);
  EXPECT_EQ(read(0.0, "1e" + zeros + "5"), 1e5);
  EXPECT_EQ(read(0.0, "0." + std::string(1'000'000, '3')), 1.0 / 3);
  EXPECT_EQ(read(0.0L, std::string(4900, '7') + "e-4900"), 7.0L / 9);
  EXPECT_EQ(read(0.0L, "4e-4951"),
            std::numeric_limits<long double>::denorm_min());
  EXPECT_EQ(read(0.0L, "0x1p-16445"),
            std::numeric_limits<long double>::denorm_min());
  EXPECT_EQ(read(0L, zeros + "42"), 42);
  EXPECT_EQ(read(0UL, "1" + zeros), std::numeric_limits<unsigned long>::max());
}

// Also no group left of one that takes all digits.
TYPED_TEST(NumGet, WantsTheGroupsOfNumpunct) {
  const std::string most(127, '1');
  const struct {
    const char* grouping;
    std::string text;
    bool fail;
  } cases[] = {{"\3\177", most + ",234", false},
               {"\3\177", most + most + ",234", false},
               {"\3\177", "1," + most + ",234", true},
               {"\3\177", "1," + most + most + ",234", true},
               {"\2\3", "1,234,56", false},
               {"\2\3", "123,456,789,01", false},
               {"\2\3", "123,45,789,01", true}};
  for (const auto& [grouping, text, fail] : cases) {
    const style groups = {grouping};
    auto buf = played<TypeParam>(text, {1000});
    const auto result =
        parse<double>(buf, ios_base::dec, nalo_locale<TypeParam>(&groups));
    EXPECT_EQ(result.fail, fail) << text;
    EXPECT_EQ(result.taken, text.size()) << text;
  }
}

// --- the buffer --------------------------------------------------------------

TYPED_TEST(NumGet, AsksTheBufferOnlyAtTheEndOfTheGetArea) {
  const auto check = [](auto type, const std::string& text, size_t taken,
                        size_t calls) {
    auto buf = played<TypeParam>(text, {100});
    buf.sgetc();
    parse<decltype(type)>(buf, ios_base::dec, nalo::locale());
    EXPECT_EQ(buf.position(), taken) << text;
    EXPECT_EQ(buf.calls_, calls) << text;
  };
  check(0L, "-123 4", 4, 1);
  check(0UL, "123", 3, 2);
  check(0.0, "1.5e3 4", 5, 1);
  check(0.0, "1.5e3", 5, 2);
  check(0.0f, "+.5x", 3, 1);
  check(0.0L, "1e+x", 3, 1);
}

TYPED_TEST(NumGet, NeedsANumpunctAndABuffer) {
  auto buf = played<TypeParam>("1", {1});
  const auto without =
      nalo::locale::classic().without_<nalo::numpunct<TypeParam>>();
  EXPECT_THROW(parse<long>(buf, ios_base::dec, without),
               nalo::missing_facet_error);
  EXPECT_THROW(parse<double>(buf, ios_base::dec, without),
               nalo::missing_facet_error);
  EXPECT_THROW(parse<bool>(buf, ios_base::boolalpha, without),
               nalo::missing_facet_error);
  EXPECT_EQ(buf.calls_, 0);

  nalo::basic_ios<TypeParam> format(nullptr);
  iostate err = ios_base::goodbit;
  long value = 77;
  nalo::use_facet<nalo::num_get<TypeParam>>(nalo::locale())
      .get({}, {}, format, err, value);
  EXPECT_EQ(value, 0);
  EXPECT_EQ(err, ios_base::failbit | ios_base::eofbit);
  err = ios_base::goodbit;
  double number = 77;
  nalo::use_facet<nalo::num_get<TypeParam>>(nalo::locale())
      .get({}, {}, format, err, number);
  EXPECT_EQ(number, 0);
  EXPECT_EQ(err, ios_base::failbit | ios_base::eofbit);
}

}  // namespace
