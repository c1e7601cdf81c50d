// Compares writing and reading numbers of all types with the compiler's
// streams, for random values, texts, flags, punctuation, widths, precisions and
// areas. Also checks the memory in use and the calls of the buffer.
#pragma once

#include <cmath>
#include <locale>

#include "common.h"

namespace nalo_test::numbers {

using fmtflags = nalo::ios_base::fmtflags;
using nalo::streamsize;

// By default as in the classic locale.
struct punctuation {
  std::string grouping = {};
  char separator = ',';
  char point = '.';
  std::string yes = "true";
  std::string no = "false";

  bool operator==(const punctuation&) const = default;
};

// A numpunct facet of this library or of the compiler's.
template <class Numpunct>
struct styled : Numpunct, punctuation {
  using Char = typename Numpunct::char_type;
  using text = typename Numpunct::string_type;
  using sizes = decltype(std::declval<const Numpunct&>().grouping());
  using punctuation::grouping;

  explicit styled(punctuation style) : punctuation(std::move(style)) {}
  Char do_decimal_point() const override { return Char(point); }
  Char do_thousands_sep() const override { return Char(separator); }
  sizes do_grouping() const override {
    return sizes(grouping.data(), grouping.size());
  }
  text do_truename() const override { return widened<Char>(yes).c_str(); }
  text do_falsename() const override { return widened<Char>(no).c_str(); }
};

template <class Char>
nalo::locale locale_with(const punctuation& punct, nalo::locale loc = {}) {
  if (punct == punctuation()) return loc;
  return {loc, new styled<nalo::numpunct<Char>>(punct)};
}

// The compiler's streams take some sizes for unlimited groups literally.
template <class Char>
void prepare(std::basic_ios<Char>& other, fmtflags flags, punctuation punct) {
  for (char& size : punct.grouping) {
    if (size <= 0 || size == CHAR_MAX) size = -1;
  }
  other.imbue({std::locale(), new styled<std::numpunct<Char>>(punct)});
  other.flags(static_cast<std::ios_base::fmtflags>(+flags));
}

inline punctuation choose_punctuation(choices& random) {
  if (random.below(2) == 0) return {};
  return {random.text<char>(random.below(4), {"\3\1\2\177\0\xFF", 6}),
          random.one_of({'_', '\''}), random.one_of({'.', ',', '\xE9'}),
          random.text<char>(random.below(4), "aab"),
          random.text<char>(random.below(4), "aab")};
}

constexpr fmtflags default_flags = ios_base::dec | ios_base::skipws;

// Each flag has a chance of one half or one quarter.
inline fmtflags choose_flags(choices& random) {
  const auto some = random.bits(2), mask = random.bits(2);
  return static_cast<fmtflags>(some & (mask & 0x8000 ? 0x7FFF : mask & 0x7FFF));
}

template <class T>
T choose_value(choices& random) {
  // Of any length, or near a power of ten or of two, as the limits of types.
  const size_t length = 8 * random.below(8) + 8 - random.below(2);
  const std::uint64_t power = length < 64 ? std::uint64_t{1} << length : 0;
  const auto ten = static_cast<std::uint64_t>(
      std::pow(10.L, static_cast<long double>(random.below(20))));
  const std::uint64_t bits =
      random.below(4) == 0 ? random.one_of({power, ten}) - 1 + random.below(3)
                           : random.bits() & (power - 1);
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(bits);
  } else if constexpr (std::is_same_v<T, bool>) {
    return bits % 2 == 0;
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(random.below(2) ? bits : 0 - bits);
  } else {
    using limits = std::numeric_limits<T>;
    const int nth = static_cast<int>(random.below(65536)) - 32768;
    const auto special =
        random.one_of({limits::infinity(), limits::quiet_NaN(), limits::max()});
    // Any exponent, also subnormal, and ties between two floats or doubles.
    const T value =
        random.one_of({special, static_cast<T>(bits) / 1000,
                       std::ldexp(static_cast<T>(bits | 1), nth / 2 - 64),
                       std::ldexp(static_cast<T>(bits | 1), nth / 200 - 64)});
    return random.below(2) ? value : -value;
  }
}

// A width or a precision: mostly small, sometimes near the limits.
inline streamsize choose_length(choices& random) {
  constexpr auto most = std::numeric_limits<streamsize>::max();
  const auto near = static_cast<streamsize>(random.below(3));
  const auto length =
      static_cast<streamsize>(random.below(random.below(5) == 0 ? 2500 : 40));
  return random.one_of({length, length, length, length, length, most - near,
                        INT_MAX - 1 + near, -1 - near});
}

// What the compiler's streams write, with lengths cut to `longest`. They would
// group pointers and 0x, and write a fixed infinity in lower case.
template <class T, class Char>
std::basic_string<Char> write_reference(const nalo::basic_ios<Char>& io,
                                        T value, punctuation punct,
                                        streamsize longest = 90'000) {
  const auto field = io.flags() & ios_base::floatfield;
  if (std::is_pointer_v<T> ||
      (std::is_floating_point_v<T> && field == ios_base::floatfield)) {
    punct.grouping.clear();
  }
  std::basic_ostringstream<Char> out;
  prepare(out, io.flags(), punct);
  out.precision(std::min(io.precision(), longest));
  out.width(std::min(io.width(), longest));
  out.fill(io.fill());
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(value)) out.unsetf(std::ios_base::floatfield);
  }
  out << value;
  return out.str();
}

// Describes a case in failure messages.
inline testing::Message about(const std::string& value, fmtflags flags,
                              const punctuation& punct) {
  return testing::Message()
         << shown<char>(value.substr(0, 3000)) << " flags " << flags
         << " grouping " << shown<char>(punct.grouping);
}

template <class Char, class T>
void compare_writing(choices& random, T value) {
  // Plain forms have a path of their own, if the area and the facets allow it.
  const bool is_plain = random.below(2) == 0;
  const auto punct = random.below(is_plain ? 2 : 4) == 0
                         ? punctuation()
                         : choose_punctuation(random);
  // The buffer seldom accepts more than one block.
  const auto limit = random.below(64) == 63
                         ? 70'000
                         : random.one_of<size_t>({3, 20, 300, 3000});
  const auto area = random.below(40);
  const auto other = std::max(random.one_of<size_t>({0, 5, 500}), limit / 30);
  scripted_streambuf<Char> buf({.put_areas = {area, other}, .accepts = limit});
  buf.sputc(Char('='));  // asks for the first put area
  nalo::basic_ostream<Char> out(&buf);
  failing_source memory;
  nalo::allocator ma(memory);
  const nalo::locale facets =
      is_plain ? nalo::locale()
               : nalo::locale({}, new nalo::num_put<Char>(0, ma));
  out.imbue(locale_with<Char>(punct, facets));
  out.flags(choose_flags(random));
  if (is_plain) {
    out.flags(random.one_of({default_flags, default_flags | ios_base::boolalpha,
                             default_flags | ios_base::fixed,
                             default_flags | ios_base::scientific,
                             ios_base::hex, out.flags()}));
  }
  out.precision(is_plain ? static_cast<streamsize>(random.below(20))
                         : choose_length(random));
  // At most one of the two is cut for the reference.
  out.width(is_plain ? random.one_of<streamsize>({0, 0, 1, 12})
            : out.precision() < 3000
                ? choose_length(random)
                : static_cast<streamsize>(random.below(3)));
  out.fill(random.one_of({Char('*'), Char(), Char('\xE9')}));
  SCOPED_TRACE(about(testing::PrintToString(value), out.flags(), punct)
               << " precision " << out.precision() << " width " << out.width());

  auto expected =
      Char('=') + write_reference(out, value, punct,
                                  static_cast<streamsize>(limit + 20'000));
  const bool fits = expected.size() <= limit;
  const bool in_place = expected.size() <= std::min(area + 1, limit);
  expected.resize(std::min(expected.size(), limit));
  buf.own_log_.clear();
  out << value;
  // libc++ pads boolean names, groups fractions and writes null differently.
  if (!with_libstdcxx && (std::is_same_v<T, bool> || std::is_pointer_v<T> ||
                          !punct.grouping.empty())) {
    return;
  }
  ASSERT_EQ(buf.output(), expected);
  ASSERT_EQ(out.rdstate(), fits ? good : bad);
  ASSERT_EQ(out.width(), 0);
  ASSERT_FALSE(buf.wrote_past_end());
  ASSERT_FALSE(in_place && buf.own_log_.find("xsputn") != std::string::npos);
}

std::string read_result(auto value, bool fail, bool eof, size_t taken) {
  std::ostringstream text;
  text.precision(std::numeric_limits<long double>::max_digits10);
  text << value << (fail ? " fail" : "") << (eof ? " eof" : "") << " taken "
       << taken;
  return text.str();
}

// Reads a hexadecimal fraction up to a space; the compiler's streams cannot.
template <class T>
std::string read_hexadecimal(const std::string& text) {
  const auto number = text.substr(0, text.find(' '));
  char* end = nullptr;
  T value = 0;
  if constexpr (std::is_same_v<T, float>) value = strtof(number.data(), &end);
  if constexpr (std::is_same_v<T, double>) value = strtod(number.data(), &end);
  if constexpr (sizeof(T) > 8) value = strtold(number.data(), &end);
  const bool is_number = *end == '\0', fits = std::isfinite(value);
  if (!is_number) value = 0;
  if (!fits) value = std::copysign(std::numeric_limits<T>::max(), value);
  return read_result(value, !is_number || !fits, number == text, number.size());
}

template <class T>
std::string read_reference(const std::string& text, fmtflags flags,
                           const punctuation& punct) {
  if constexpr (std::is_floating_point_v<T>) {
    if (text.find_first_of("xX") != text.npos) return read_hexadecimal<T>(text);
  }
  std::istringstream in(text);
  prepare(in, flags, punct);
  T value = {};
  in >> value;
  const auto left = static_cast<size_t>(in.rdbuf()->in_avail());
  return read_result(value, in.fail(), in.eof(), text.size() - left);
}

// A text that mostly looks like a number, but has no hexadecimal fraction.
template <class T>
std::string choose_text(choices& random, const punctuation& punct) {
  constexpr bool is_floating = std::is_floating_point_v<T>;
  using value = std::conditional_t<is_floating, long double, T>;
  nalo::basic_ios<char> io(nullptr);
  auto text = random.one_of<std::string>({"", "-", "+", "0", "0x", "-0X",
                                          punct.yes.substr(0, random.below(9)),
                                          punct.no.substr(0, random.below(9))});
  // Digits, their neighbours in ASCII, and what else a number may contain.
  const auto alphabet = "0123456789abcdefxXABCDEFpP+-et/:@G`g ~\xFF" +
                        std::string(5, punct.point) +
                        std::string(4, punct.separator) + '\0';
  size_t size;
  for (size_t pieces = 1 + random.below(3); pieces != 0; --pieces) {
    switch (random.below(3)) {
      case 0:
        // The compiler's streams miscount groups of more than 127 digits.
        size = random.one_of<size_t>(
            {1, 20, 100, punct.grouping.empty() ? 5000UL : 7});
        if (size == 5000 && random.below(500) == 499) size = 1'000'000;
        text.append(size, random.one_of({'0', '0', '5', punct.separator}));
        break;
      case 1:
        io.flags(choose_flags(random));
        io.precision(static_cast<streamsize>(random.below(1200)));
        text += write_reference(io, choose_value<value>(random), punct);
        break;
      case 2:
        text += random.text<char>(random.below(12), alphabet);
    }
  }
  if (is_floating)
    std::erase_if(text, [](char ch) { return (ch | 32) == 'x'; });
  return text;
}

// Reads a text in which ~ stands for a character above 0xFF. `windows` are the
// sizes of get areas; if the first exceeds the last, it exists from the start.
template <class T, class Char>
void compare_reading(std::string text, fmtflags flags, punctuation punct,
                     const std::vector<size_t>& windows) {
  constexpr bool is_integer = !std::is_floating_point_v<T>;
  // The compiler's streams lose count of groups where an integer overflows.
  if (is_integer && sizeof(T) < 8) punct.grouping.clear();
  if (is_integer && !punct.grouping.empty()) text = text.substr(0, 15);
  constexpr bool is_wide = sizeof(Char) > 1;
  const size_t at_hand = windows.front() > windows.back();
  std::basic_string<Char> input(at_hand, '7');
  for (const char ch : text) input += Char(is_wide && ch == '~' ? 0x130 : ch);
  scripted_streambuf<Char> buf({.input = input, .get_areas = windows});
  nalo::basic_istream<Char> in(&buf);
  in.imbue(locale_with<Char>(punct));
  in.flags(flags);
  if (at_hand) buf.sbumpc();
  T value = {};
  in >> value;
  SCOPED_TRACE(about(text, flags, punct)
               << " windows " << testing::PrintToString(windows));
  // The wide character that reads as eof ends the input.
  const size_t end = is_wide ? text.find('\xFF') : text.npos;
  const std::string expected =
      read_reference<T>(text.substr(0, end), in.flags(), punct);
  // libc++ takes more of what it refuses, and refuses less.
  const bool refused = expected.find("fail") != expected.npos;
  if (!with_libstdcxx && (is_integer || refused || !punct.grouping.empty())) {
    return;
  }
  ASSERT_EQ(read_result(value, in.fail(), in.eof(), buf.position() - at_hand),
            expected);
}

// The types that are both written and read.
using types = std::tuple<bool, short, unsigned short, int, unsigned int, long,
                         unsigned long, long long, unsigned long long, float,
                         double, long double, void*>;

// Writes or reads a number of a random type.
template <class Char>
void compare(choices& random) {
  const auto one = [&]<class T>(T) {
    if (random.below(2) == 0) {
      return compare_writing<Char>(random, choose_value<T>(random));
    }
    const auto punct = choose_punctuation(random);
    const auto text = choose_text<T>(random, punct);
    // Long texts get long areas, which take less time.
    const auto window = random.one_of<size_t>({0, 1, 7, 5000, 5000});
    compare_reading<T, Char>(
        text, random.below(3) ? choose_flags(random) : default_flags, punct,
        {std::max(window, text.size() / 30), random.below(8)});
  };
  size_t left = random.below(std::tuple_size_v<types>);
  const auto chosen = [&](auto value) {
    if (left-- == 0) one(value);
  };
  std::apply([&](auto... value) { (chosen(value), ...); }, types());
}

}  // namespace nalo_test::numbers
