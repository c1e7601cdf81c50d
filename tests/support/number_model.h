// Numbers of all types, written and read by a stream, against the compiler's
// streams and strtod: random values, texts, flags, punctuation, widths,
// precisions and areas. What memory and the buffer are asked for is checked
// too.
#ifndef NALO_TESTS_NUMBER_MODEL_H
#define NALO_TESTS_NUMBER_MODEL_H

#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/istream>
#include <nalo/memory>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "choices.h"
#include "failing_source.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::numbers {

using fmtflags = nalo::ios_base::fmtflags;
using nalo::ios_base;
using nalo::streamsize;

// --- punctuation -------------------------------------------------------------

// Unless told otherwise as in the classic locale.
struct punctuation {
  std::string grouping = {};
  char separator = ',';
  char point = '.';
  std::string yes = "true";
  std::string no = "false";

  bool operator==(const punctuation&) const = default;
};

// A numpunct facet, of this library or of the compiler's.
template <class Numpunct>
struct styled : Numpunct {
  using Char = typename Numpunct::char_type;
  using text = typename Numpunct::string_type;
  using sizes = decltype(std::declval<const Numpunct&>().grouping());

  explicit styled(punctuation style) : style_(std::move(style)) {}
  Char do_decimal_point() const override { return Char(style_.point); }
  Char do_thousands_sep() const override { return Char(style_.separator); }
  sizes do_grouping() const override {
    // Read-only, so that nothing ends a text of no sizes.
    if constexpr (requires { sizes::c_str("", 0); }) {
      if (style_.grouping.empty()) return sizes::c_str("\3", 0);
    }
    return sizes(style_.grouping.data(), style_.grouping.size());
  }
  text do_truename() const override {
    return widened<Char>(style_.yes).c_str();
  }
  text do_falsename() const override {
    return widened<Char>(style_.no).c_str();
  }

 private:
  punctuation style_;
};

template <class Char>
nalo::locale locale_with(const punctuation& punct, nalo::allocator& ma) {
  const nalo::locale loc({}, new nalo::num_put<Char>(0, ma));
  if (punct == punctuation()) return loc;
  return {loc, new styled<nalo::numpunct<Char>>(punct)};
}

// The size of the group at a place from the right, 0 for all that is left.
inline size_t group_size(const std::string& grouping, size_t place) {
  if (grouping.empty()) return 0;
  const char size = grouping[std::min(place, grouping.size() - 1)];
  return size > 0 && size < CHAR_MAX ? static_cast<size_t>(size) : 0;
}

// Whether the separators among digits stand where they should. None may.
inline bool is_grouped(std::string_view digits, const punctuation& punct) {
  if (digits.find(punct.separator) == digits.npos) return true;
  for (size_t place = 0;; ++place) {
    const size_t wanted = group_size(punct.grouping, place);
    const size_t at = digits.rfind(punct.separator);
    const size_t size = digits.size() - (at + 1);
    if (at == digits.npos) return wanted == 0 || size <= wanted;
    if (size != wanted) return false;
    digits.remove_suffix(size + 1);
  }
}

// --- choices -----------------------------------------------------------------

inline punctuation choose_punctuation(choices& random) {
  if (random.below(2) == 0) return {};
  return {random.text<char>(random.below(4), {"\3\1\2\177\0\xFF", 6}),
          random.one_of({'_', '\''}), random.one_of({'.', ',', '\xE9'}),
          random.text<char>(random.below(4), "aab"),
          random.text<char>(random.below(4), "aab")};
}

// Each with a chance of a half or of a quarter.
inline fmtflags choose_flags(choices& random) {
  const auto some = random.bits(2), mask = random.bits(2);
  return static_cast<fmtflags>(some & (mask & 0x8000 ? 0x7FFF : mask & 0x7FFF));
}

// Of any length, or near the limits of types.
inline std::uint64_t choose_bits(choices& random) {
  const size_t length = 8 * random.below(8) + 8 - random.below(2);
  const std::uint64_t power = length < 64 ? std::uint64_t{1} << length : 0;
  if (random.below(4) == 0) return power - 1 + random.below(3);
  return random.bits() & (power - 1);
}

template <class T>
T choose_value(choices& random) {
  const std::uint64_t bits = choose_bits(random);
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(bits);
  } else if constexpr (std::is_same_v<T, bool>) {
    return bits % 2 == 0;
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(random.below(2) ? bits : 0 - bits);
  } else {
    using limits = std::numeric_limits<T>;
    const int nth = static_cast<int>(random.below(65536)) - 32768;
    const T values[] = {
        static_cast<T>(bits) / random.one_of({T(2), T(1000)}),
        // Any exponent, those of subnormal values included. Some long doubles
        // are half way between two values of float or double.
        std::ldexp(
            static_cast<T>(random.bits() >> random.one_of({0, 10, 39}) | 1),
            nth / random.one_of({2, 30, 200}) - 64),
        // Where the form of %g changes.
        std::pow(T(10), static_cast<T>(nth % 30)),
        random.one_of({T(), limits::infinity(), limits::quiet_NaN(),
                       limits::max(), limits::denorm_min(), limits::min()})};
    return std::copysign(values[random.below(4)],
                         random.below(2) ? T(-1) : T(1));
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

// --- writing -----------------------------------------------------------------

// A width or a precision near a limit becomes a smaller one that lies behind
// all that buffers take after the longest number, and as far from others near
// it.
inline streamsize brought_down(streamsize n, streamsize accepted) {
  constexpr auto most = std::numeric_limits<streamsize>::max();
  return n > most - 10      ? n - most + 2 * accepted + 40'000
         : n > INT_MAX - 10 ? n - INT_MAX + accepted + 20'000
                            : n;
}

// What the compiler's streams write, which is what printf writes but for
// padding and punctuation. They group pointers and the 0x of hexadecimal
// fractions, end the sizes of groups at a 0, and write an infinity in lower
// case when it is fixed.
template <class T, class Char>
std::basic_string<Char> write_reference(const nalo::basic_ios<Char>& io,
                                        T value, punctuation punct,
                                        streamsize accepted = 0) {
  static_assert(+std::ios_base::showbase == +ios_base::showbase &&
                +std::ios_base::uppercase == +ios_base::uppercase);
  const auto field = io.flags() & ios_base::floatfield;
  if (std::is_pointer_v<T> ||
      (std::is_floating_point_v<T> && field == ios_base::floatfield)) {
    punct.grouping.clear();
  }
  std::replace(punct.grouping.begin(), punct.grouping.end(), '\0', '\xFF');
  std::basic_ostringstream<Char> out;
  out.imbue({out.getloc(), new styled<std::numpunct<Char>>(punct)});
  out.flags(static_cast<std::ios_base::fmtflags>(+io.flags()));
  out.precision(brought_down(io.precision(), accepted));
  out.width(brought_down(io.width(), accepted));
  out.fill(io.fill());
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(value)) out.unsetf(std::ios_base::floatfield);
  }
  out << value;
  return out.str();
}

// What a failure of either comparison is about.
inline testing::Message about(const std::string& value, fmtflags flags,
                              const punctuation& punct) {
  return testing::Message()
         << shown<char>(value.substr(0, 3000)) << " flags " << flags
         << " grouping " << shown<char>(punct.grouping);
}

// A value is a number, or a text. Seldom the buffer takes more than one block.
template <class Char, class T>
void compare_writing(choices& random, T value) {
  const auto punct = choose_punctuation(random);
  const auto limit = random.below(64) == 63
                         ? 70'000
                         : random.one_of<size_t>({3, 20, 300, 3000});
  const auto area = random.below(40);
  const auto other = std::max(random.one_of<size_t>({0, 5, 500}), limit / 30);
  scripted_streambuf<Char> buf({.put_areas = {area, other}, .accepts = limit});
  // With a put area at hand, or with the buffer to be asked first.
  const size_t before = random.below(2);
  if (before) buf.sputc(Char('='));
  nalo::basic_ostream<Char> out(&buf);
  failing_source memory;
  nalo::allocator ma(memory);
  out.imbue(locale_with<Char>(punct, ma));
  out.flags(choose_flags(random));
  out.precision(choose_length(random));
  out.width(random.below(2) ? choose_length(random)
                            : static_cast<streamsize>(random.below(3)));
  out.fill(random.one_of({Char('*'), Char(), Char('\xE9')}));
  SCOPED_TRACE(about(testing::PrintToString(value), out.flags(), punct)
               << " precision " << out.precision() << " width " << out.width());

  auto expected =
      write_reference(out, value, punct, static_cast<streamsize>(limit));
  const size_t size = expected.size(), room = limit - before;
  expected.insert(0, before, Char('='));
  expected.resize(std::min(expected.size(), limit));
  buf.own_log_.clear();
  out << value;
  ASSERT_EQ(buf.output(), expected);
  ASSERT_EQ(out.rdstate(), size > room ? ios_base::badbit : ios_base::goodbit);
  ASSERT_EQ(out.width(), 0);
  // In place, or each block by an xsputn, which is not logged for one
  // character.
  if (std::is_scalar_v<T> && size != 1) {
    const bool in_place = size <= (before ? std::min(area, room) : 0);
    ASSERT_EQ(std::count(buf.own_log_.begin(), buf.own_log_.end(), 'x'),
              in_place ? 0 : 1 + std::min(size - 1, room) / 65536);
  }
}

// --- reading -----------------------------------------------------------------

template <class T>
std::string read_result(T value, bool fail, bool eof, size_t taken) {
  std::ostringstream text;
  text.precision(std::numeric_limits<long double>::max_digits10);
  text << value << (fail ? " fail" : "") << (eof ? " eof" : "") << " taken "
       << taken;
  return text.str();
}

// The longer name when both match, and none when they are the same.
inline std::string read_name(const std::string& text,
                             const punctuation& punct) {
  const auto common = [&](const std::string& name) {
    const auto [at, other] =
        std::mismatch(name.begin(), name.end(), text.begin(), text.end());
    return static_cast<size_t>(at - name.begin());
  };
  const size_t no = common(punct.no), yes = common(punct.yes),
               taken = std::max(no, yes);
  const bool is_no = taken != 0 && no == taken && no == punct.no.size();
  const bool is_yes = taken != 0 && yes == taken && yes == punct.yes.size();
  const bool goes_on = (no == text.size() && no < punct.no.size()) ||
                       (yes == text.size() && yes < punct.yes.size());
  return read_result(is_yes && !is_no, is_yes == is_no, goes_on, taken);
}

// What the standard functions make of a number. Answers whether it fits.
template <class T>
bool convert(const std::string& digits, bool negative, size_t base, T& value) {
  using limits = std::numeric_limits<T>;
  const char* const s = digits.c_str();
  if constexpr (std::is_integral_v<T>) {
    errno = 0;
    const auto magnitude = std::strtoul(s, nullptr, static_cast<int>(base));
    const bool to_min = negative && limits::is_signed;
    const bool only_0 = negative && std::is_same_v<T, bool>;
    const auto most = static_cast<unsigned long>(limits::max()) + to_min;
    const bool fits = errno == 0 && magnitude <= (only_0 ? 0 : most);
    value = static_cast<T>(negative ? 0 - magnitude : magnitude);
    if (!fits) value = to_min ? limits::min() : limits::max();
    return fits;
  } else {
    if constexpr (std::is_same_v<T, float>) value = std::strtof(s, nullptr);
    if constexpr (std::is_same_v<T, double>) value = std::strtod(s, nullptr);
    if constexpr (sizeof(T) > 8) value = std::strtold(s, nullptr);
    const bool fits = std::isfinite(value);
    if (!fits) value = limits::max();
    if (negative) value = -value;
    return fits;
  }
}

template <class T>
std::string read_reference(const std::string& text, fmtflags flags,
                           const punctuation& punct) {
  constexpr bool is_floating = std::is_floating_point_v<T>;
  constexpr bool is_pointer = std::is_pointer_v<T>;
  if (std::is_same_v<T, bool> && (flags & ios_base::boolalpha) != 0) {
    return read_name(text, punct);
  }
  const auto field = flags & ios_base::basefield;
  // 0 stands for the one that a prefix names.
  size_t base = is_floating || (!is_pointer && field == fmtflags()) ? 0
                : is_pointer || field == ios_base::hex              ? 16
                : field == ios_base::oct                            ? 8
                                                                    : 10;
  const std::string decimal = "0123456789";
  size_t taken = 0;
  const auto take = [&](const std::string& chars,
                        size_t most = std::string::npos) {
    const size_t count = text.find_first_not_of(chars, taken) - taken;
    const auto run = text.substr(taken, std::min(count, most));
    taken += run.size();
    return run;
  };
  const bool negative = take("+-", 1) == "-";
  std::string number, whole;
  if (base != 10 && take("0", 1) == "0") {
    if (base != 8 && take("xX", 1) != "") {
      base = 16;
      number = "0x";
    } else if (base == 16 || is_floating) {
      whole = "0";
    } else {  // in front of an octal number, and in no group
      base = 8;
      number = "0";
    }
  }
  if (base == 0) base = 10;
  const size_t prefix = number == "0x" ? 2 : 0;
  const auto digits =
      base == 16 ? decimal + "abcdefABCDEF" : decimal.substr(0, base);
  const bool groups = group_size(punct.grouping, 0) != 0;
  const std::string separator(groups, punct.separator);
  whole += take(digits + separator);
  // A separator without digits in front of it ends the number, which is none.
  const size_t end = (separator + whole).find(separator + separator);
  if (groups && end != whole.npos) {
    return read_result(T(), true, false, taken - (whole.size() - end));
  }
  const bool groups_agree = !groups || is_grouped(whole, punct);
  if (groups) std::erase(whole, punct.separator);
  number += whole;
  if (is_floating && take({punct.point}, 1) != "") {
    number += '.' + take(digits);
  }
  bool is_number = number.find_first_of(digits, prefix) != number.npos;
  if (is_floating && is_number && take(base == 16 ? "pP" : "eE", 1) != "") {
    number += (base == 16 ? 'p' : 'e') + take("+-", 1);
    const std::string exponent = take(decimal);
    number += exponent;
    is_number = exponent != "";
  }
  std::conditional_t<is_pointer, unsigned long, T> value = 0;
  const bool fits = is_number && convert(number, negative, base, value);
  return read_result(T(value), !fits || !groups_agree, taken == text.size(),
                     taken);
}

// A text that looks like a number, mostly.
template <class T>
std::string choose_text(choices& random, const punctuation& punct) {
  using value = std::conditional_t<std::is_floating_point_v<T>, long double, T>;
  nalo::basic_ios<char> io(nullptr);
  auto text = random.one_of<std::string>({"", "-", "+", "0", "0x", "-0X",
                                          punct.yes.substr(0, random.below(9)),
                                          punct.no.substr(0, random.below(9))});
  // Digits, what is beside them in ASCII, and what else a number may have.
  const auto alphabet = "0123456789abcdefxXABCDEFpP+-et/:@G`g ~\xFF" +
                        std::string(5, punct.point) +
                        std::string(4, punct.separator) + '\0';
  for (size_t pieces = 1 + random.below(3); pieces != 0; --pieces) {
    switch (random.below(3)) {
      case 0:
        text.append(random.below(1000) == 999
                        ? 100'000
                        : random.one_of<size_t>({1, 20, 770, 5000}),
                    random.one_of({'0', '0', '5', punct.separator}));
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
  return text;
}

// Reads a text in which ~ stands for a character beyond a byte. The windows are
// the sizes of get areas. One is at hand, with a digit taken, when the first is
// larger than the last; or else the buffer is to be asked first.
template <class T, class Char>
void compare_reading(const std::string& text, fmtflags flags,
                     const punctuation& punct,
                     const std::vector<size_t>& windows) {
  constexpr bool is_wide = sizeof(Char) > 1;
  const bool at_hand = windows.front() > windows.back();
  std::basic_string<Char> input(at_hand, '7');
  for (const char ch : text) input += Char(is_wide && ch == '~' ? 0x130 : ch);
  const script<Char> play{.input = input, .get_areas = windows};
  scripted_streambuf<Char> buf(play), peer(play);
  nalo::basic_istream<Char> in(&buf);
  in.imbue(locale_with<Char>(punct, nalo::allocator::default_()));
  in.flags(flags & ~ios_base::skipws);
  buf.calls_ = 0;
  if (at_hand) {
    buf.sbumpc();
    peer.sbumpc();
  }
  T value = {};
  in >> value;
  SCOPED_TRACE(about(text, flags, punct)
               << " windows " << testing::PrintToString(windows));
  // The wide character that reads as eof ends the input.
  const size_t end = is_wide ? text.find('\xFF') : text.npos;
  ASSERT_EQ(read_result(value, in.fail(), in.eof(), buf.position() - at_hand),
            read_reference<T>(text.substr(0, end), flags, punct));
  peer.sgetc();
  while (peer.position() < buf.position()) peer.snextc();
  ASSERT_EQ(buf.calls_, peer.calls_);
}

// --- both --------------------------------------------------------------------

// Those that are both written and read.
using types = std::tuple<bool, short, unsigned short, int, unsigned int, long,
                         unsigned long, long long, unsigned long long, float,
                         double, long double, void*>;

// A number, written or read, or a written text.
template <class Char>
void compare(choices& random) {
  const auto one = [&]<class T>(T) {
    if (random.below(2) == 0) {
      return compare_writing<Char>(random, choose_value<T>(random));
    }
    const auto punct = choose_punctuation(random);
    const auto text = choose_text<T>(random, punct);
    // A long text in long areas, which take less time.
    const auto window = random.one_of<size_t>({0, 1, 7, 5000, 5000});
    compare_reading<T, Char>(
        text, choose_flags(random), punct,
        {std::max(window, text.size() / 30), random.below(8)});
  };
  size_t left = random.below(std::tuple_size_v<types> + 1);
  const auto chosen = [&](auto value) {
    if (left-- == 0) one(value);
  };
  std::apply([&](auto... value) { (chosen(value), ...); }, types());
  if (left == 0) {
    const std::basic_string<Char> text(random.below(300), Char());
    compare_writing<Char>(random, std::basic_string_view<Char>(text));
  }
}

}  // namespace nalo_test::numbers

#endif
