// Compares the decimal text of doubles with that of std::to_chars, and the
// values read from such texts with those of std::from_chars.
//
// usage: decimal_check floats PRECISION     all floats, in general notation
//        decimal_check decimals             0 to 999999 * 10^-30 to 10^30
//        decimal_check random COUNT [SEED]  of any exponent, or a usual one
//        decimal_check read COUNT [SEED]    random texts, as double and float
//
// Each value is tested with both signs. Decimals and random values are written
// in all notations and precisions. Progress is printed as the number of texts
// compared and the number left to the standard functions; the first difference
// ends the program.
#include <nalo/base/impl/decimal>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <string_view>

namespace {

using std::chars_format;

std::uint64_t compared = 0, left = 0;

void report() {
  std::printf("%llu compared, %llu more left to the standard functions\n",
              static_cast<unsigned long long>(compared),
              static_cast<unsigned long long>(left));
  std::fflush(stdout);
}

void compare_text(double value, chars_format format, int precision,
                  std::string_view made, std::string_view expected) {
  if (made != expected) {
    std::printf("%a, format %d, precision %d: %.*s instead of %.*s\n", value,
                static_cast<int>(format), precision,
                static_cast<int>(made.size()), made.data(),
                static_cast<int>(expected.size()), expected.data());
    std::exit(1);
  }
  if (++compared % (1 << 28) == 0) report();
}

// A value without a sign, and with one.
void compare(double value, chars_format format, int precision) {
  using nalo::impl::write_decimal;
  char made[nalo::impl::decimal_scratch];
  const char* end = write_decimal(made, value, format, precision);
  if (!end) {
    left += 2;
    return;
  }
  char expected[400] = "-";
  const auto [expected_end, error] =
      std::to_chars(expected + 1, std::end(expected), value, format, precision);
  compare_text(value, format, precision, {made, end},
               {expected + 1, expected_end});
  end = write_decimal(made, -value, format, precision);
  compare_text(-value, format, precision, {made, end},
               {expected, expected_end});
}

constexpr chars_format formats[] = {
    chars_format::general, chars_format::scientific, chars_format::fixed};

void compare_floats(int precision) {
  for (std::uint32_t bits = 0; bits >> 31 == 0; ++bits) {
    compare(std::bit_cast<float>(bits), chars_format::general, precision);
  }
}

void compare_decimals() {
  for (int exponent = -30; exponent <= 30; ++exponent) {
    for (int digits = 0; digits < 1'000'000; ++digits) {
      char text[16];
      const int size =
          std::snprintf(text, sizeof text, "%de%d", digits, exponent);
      double value = 0;
      std::from_chars(text, text + size, value);
      for (const chars_format format : formats) {
        for (int precision = 0; precision <= 17; ++precision) {
          compare(value, format, precision);
        }
      }
    }
  }
}

void compare_random(std::uint64_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  for (std::uint64_t i = 0; i < count / 2; ++i) {
    std::uint64_t bits = random() >> 1;
    // Every other one between 2^-64 and 2^64.
    if (i % 2 == 0) {
      bits = (bits & ~(std::uint64_t{0x7FF} << 52)) |
             (1023 - 64 + (bits >> 52) % 128) << 52;
    }
    compare(std::bit_cast<double>(bits), formats[i % 3],
            static_cast<int>(i / 6 % 18));
  }
}

template <class Float>
void compare_reading(const std::string& text) {
  const char* const end = text.data() + text.size();
  Float read = 0, expected = 0;
  const char* const read_end = nalo::impl::read_decimal(text.data(), end, read);
  if (!read_end) {
    ++left;
    return;
  }
  const auto [expected_end, error] =
      std::from_chars(text.data(), end, expected);
  if (read_end != expected_end || error != std::errc() || read != expected ||
      std::signbit(read) != std::signbit(expected)) {
    std::printf("%s: %a instead of %a\n", text.c_str(), double{read},
                double{expected});
    std::exit(1);
  }
  if (++compared % (1 << 28) == 0) report();
}

// Doubles of any precision, and values near the middle between two of them.
void compare_random_reading(std::uint64_t count, std::uint64_t seed) {
  std::mt19937_64 random(seed);
  for (std::uint64_t i = 0; i < count / 2; ++i) {
    const auto value = std::bit_cast<double>(random());
    const long double middle =
        (static_cast<long double>(value) +
         std::nextafter(value, std::numeric_limits<double>::infinity())) /
        2;
    char text[64];
    const char* const end =
        i % 2 == 0
            ? std::to_chars(text, std::end(text), value, chars_format::general,
                            static_cast<int>(i / 2 % 19))
                  .ptr
            : text + std::snprintf(text, sizeof text, "%.18Lg", middle);
    const std::string with_end(std::string_view(text, end));
    compare_reading<double>(with_end + ' ');
    compare_reading<float>(with_end + ' ');
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view what = argc > 1 ? argv[1] : "";
  const auto number = [&](int i, std::uint64_t otherwise) {
    return i < argc ? std::strtoull(argv[i], nullptr, 10) : otherwise;
  };
  if (what == "floats") {
    compare_floats(static_cast<int>(number(2, 6)));
  } else if (what == "decimals") {
    compare_decimals();
  } else if (what == "random") {
    compare_random(number(2, 1'000'000), number(3, 1));
  } else if (what == "read") {
    compare_random_reading(number(2, 1'000'000), number(3, 1));
  } else {
    std::fprintf(stderr,
                 "usage: decimal_check floats PRECISION | decimals | "
                 "random COUNT [SEED] | read COUNT [SEED]\n");
    return 1;
  }
  report();
  return 0;
}
