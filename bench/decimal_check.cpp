// Compares the decimal text of doubles with what std::to_chars makes of them.
//
// usage: decimal_check floats PRECISION     all floats, in general notation
//        decimal_check decimals             0 to 999999 * 10^-30 to 10^30
//        decimal_check random COUNT [SEED]  of any exponent, or a usual one
//
// Each value is taken with either sign. The last two go through all notations
// and precisions. Progress is printed as the number of texts compared, and of
// those left to std::to_chars; the first difference ends the program.
#include <nalo/base/impl/decimal>

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string_view>

namespace {

using std::chars_format;

std::uint64_t compared = 0, left = 0;

void report() {
  std::printf("%llu compared, %llu more left to std::to_chars\n",
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
  } else {
    std::fprintf(stderr,
                 "usage: decimal_check floats PRECISION | decimals | "
                 "random COUNT [SEED]\n");
    return 1;
  }
  report();
  return 0;
}
