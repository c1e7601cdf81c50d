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
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "choices.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test::numbers {

using fmtflags = nalo::ios_base::fmtflags;
using nalo::ios_base;
using nalo::streamsize;

// --- punctuation -------------------------------------------------------------

struct style {
  std::string grouping;
  char separator = ',';
  char point = '.';
  std::string yes = "true";
  std::string no = "false";
};
// Nothing for the classic locale.
using punctuation = std::optional<style>;

// A numpunct facet, of this library or of the compiler's.
template <class Numpunct>
struct styled : Numpunct {
  using Char = typename Numpunct::char_type;
  using text = typename Numpunct::string_type;
  using sizes = decltype(std::declval<const Numpunct&>().grouping());

  explicit styled(style s) : style_(std::move(s)) {}
  Char do_decimal_point() const override { return Char(style_.point); }
  Char do_thousands_sep() const override { return Char(style_.separator); }
  sizes do_grouping() const override {
    return sizes(style_.grouping.data(), style_.grouping.size());
  }
  text do_truename() const override {
    return widened<Char>(style_.yes).c_str();
  }
  text do_falsename() const override {
    return widened<Char>(style_.no).c_str();
  }

 private:
  style style_;
};

// Refuses what no number needs, whatever its width and precision.
struct small_memory : nalo::memory_source {
  void* allocate(size_t bytes) override {
    return bytes > 65536 * sizeof(wchar_t) ? nullptr : std::malloc(bytes);
  }
  void deallocate(void* block) noexcept override { std::free(block); }
};

template <class Char>
void imbue(nalo::basic_ios<Char>& stream, const punctuation& punct) {
  static small_memory memory;
  static nalo::allocator ma(memory);
  nalo::locale loc(nalo::locale(), new nalo::num_put<Char>(0, ma));
  if (punct) loc = {loc, new styled<nalo::numpunct<Char>>(*punct)};
  stream.imbue(loc);
}

// The size of the group at a place from the right, 0 for all that is left.
inline size_t group_size(const std::string& grouping, size_t place) {
  if (grouping.empty()) return 0;
  const char size = grouping[std::min(place, grouping.size() - 1)];
  return size > 0 && size < CHAR_MAX ? static_cast<size_t>(size) : 0;
}

inline std::string grouped(const std::string& digits, const style& punct) {
  std::string reversed;
  size_t place = 0, left = group_size(punct.grouping, 0);
  for (size_t i = digits.size(); i-- != 0;) {
    reversed += digits[i];
    if (i != 0 && --left == 0) {
      reversed += punct.separator;
      left = group_size(punct.grouping, ++place);
    }
  }
  return {reversed.rbegin(), reversed.rend()};
}

// --- choices -----------------------------------------------------------------

inline punctuation choose_punctuation(choices& random) {
  if (random.below(2) == 0) return {};
  return style{random.text<char>(random.below(4), {"\3\1\2\177\0\xFF", 6}),
               random.one_of({'_', '\''}), random.one_of({'.', ',', '\xE9'}),
               random.text<char>(random.below(4), "ab"),
               random.text<char>(random.below(4), "ab")};
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

// A width or a precision near a limit becomes one that memory has room for,
// still behind all that buffers take after the longest number, and as far from
// others near it.
inline streamsize brought_down(streamsize n) {
  constexpr auto most = std::numeric_limits<streamsize>::max();
  return n > most - 10      ? n - most + 200'000
         : n > INT_MAX - 10 ? n - INT_MAX + 100'000
                            : n;
}

// What the compiler's streams write, which is what printf writes but for
// padding and punctuation. They group pointers and the 0x of hexadecimal
// fractions, end the sizes of groups at a 0, and write an infinity in lower
// case when it is fixed.
template <class T, class Char>
std::basic_string<Char> write_reference(const nalo::basic_ios<Char>& io,
                                        T value, style punct) {
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
  out.precision(brought_down(io.precision()));
  out.width(brought_down(io.width()));
  out.fill(io.fill());
  if constexpr (std::is_floating_point_v<T>) {
    if (!std::isfinite(value)) out.unsetf(std::ios_base::floatfield);
  }
  out << value;
  return out.str();
}

// A value is a number, or a text.
template <class Char, class T>
void compare_writing(choices& random, T value) {
  const auto punct = choose_punctuation(random);
  const auto limit = random.one_of<size_t>({3, 20, 3000, 20'000, 70'000});
  const auto area = random.below(40);
  scripted_streambuf<Char> buf(
      {.put_areas = {area, random.one_of<size_t>({0, 5, 500})},
       .accepts = limit});
  // With a put area at hand, or with the buffer to be asked first.
  const size_t before = random.below(2);
  if (before) buf.sputc(Char('='));
  buf.own_log_.clear();
  nalo::basic_ostream<Char> out(&buf);
  imbue(out, punct);
  out.flags(choose_flags(random));
  out.precision(choose_length(random));
  out.width(random.below(2) ? choose_length(random)
                            : static_cast<streamsize>(random.below(3)));
  out.fill(random.one_of({Char('*'), Char(), Char('\xE9')}));
  SCOPED_TRACE(testing::Message()
               << testing::PrintToString(value) << " flags " << out.flags()
               << " precision " << out.precision() << " width " << out.width()
               << " grouping "
               << shown<char>(punct ? punct->grouping : "classic"));

  auto expected = write_reference(out, value, punct.value_or(style()));
  const size_t size = expected.size(), room = limit - before;
  expected.insert(0, before, Char('='));
  expected.resize(std::min(expected.size(), limit));
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

// The run of a number at the beginning of a text, for the standard functions to
// convert. Base 0 stands for the one that a prefix names.
class number_run {
 public:
  number_run(const std::string& text, size_t base, bool is_floating,
             const style& punct)
      : text_(text), base_(base) {
    negative_ = take_minus();
    std::string whole;
    if (base_ != 10 && take("0")) {
      number_ = "0";
      if (base_ != 8 && take("xX")) {
        base_ = 16;
        number_ = "0x";
      } else if (base_ == 16 || is_floating) {
        whole = "0";
      } else {  // in front of an octal number, and in no group
        base_ = 8;
      }
    }
    if (base_ == 0) base_ = 10;
    const size_t prefix = number_ == "0x" ? 2 : 0;
    const std::string digits("0123456789abcdefABCDEF",
                             base_ == 16 ? 22 : base_);
    std::string separator;
    if (group_size(punct.grouping, 0) != 0) separator = punct.separator;
    whole += take_all(digits + separator);
    // A separator without digits in front of it ends the number, which is none.
    const size_t end = (separator + whole).find(separator + separator);
    if (!separator.empty() && end != whole.npos) {
      size_ -= whole.size() - end;
      return;
    }
    const std::string with_separators = whole;
    if (!separator.empty()) std::erase(whole, punct.separator);
    groups_agree_ = whole.size() == with_separators.size() ||
                    grouped(whole, punct) == with_separators;
    number_ += whole;
    if (is_floating && take({&punct.point, 1})) {
      number_ += '.' + take_all(digits);
    }
    is_number_ = number_.find_first_of(digits, prefix) != number_.npos;
    if (is_floating && is_number_ && take(base_ == 16 ? "pP" : "eE")) {
      number_ += base_ == 16 ? 'p' : 'e';
      number_ += take_minus() ? '-' : '+';
      const std::string exponent = take_all("0123456789");
      number_ += exponent;
      is_number_ = !exponent.empty();
    }
  }

  // Answers whether there is a number that fits.
  template <class T>
  bool convert(T& value) const {
    using limits = std::numeric_limits<T>;
    value = 0;
    if (!is_number_) return false;
    bool fits;
    errno = 0;
    const char* const s = number_.c_str();
    if constexpr (std::is_integral_v<T>) {
      const auto magnitude = std::strtoul(s, nullptr, static_cast<int>(base_));
      const bool to_min = negative_ && limits::is_signed;
      const auto most = static_cast<unsigned long>(limits::max()) + to_min;
      fits = errno == 0 && magnitude <= most;
      value = static_cast<T>(negative_ ? 0 - magnitude : magnitude);
      if (!fits) value = to_min ? limits::min() : limits::max();
    } else {
      if constexpr (std::is_same_v<T, float>) value = std::strtof(s, nullptr);
      if constexpr (std::is_same_v<T, double>) value = std::strtod(s, nullptr);
      if constexpr (sizeof(T) > 8) value = std::strtold(s, nullptr);
      fits = std::isfinite(value);
      if (!fits) value = limits::max();
      if (negative_) value = -value;
    }
    return fits && groups_agree_;
  }
  size_t size() const { return size_; }

 private:
  bool take(std::string_view chars) {
    const bool there =
        size_ < text_.size() && chars.find(text_[size_]) != chars.npos;
    size_ += there;
    return there;
  }
  bool take_minus() { return take("-") || (take("+"), false); }
  std::string take_all(const std::string& chars) {
    const size_t begin = size_;
    size_ = std::min(text_.find_first_not_of(chars, begin), text_.size());
    return text_.substr(begin, size_ - begin);
  }

  const std::string& text_;
  size_t base_, size_ = 0;
  bool negative_, is_number_ = false, groups_agree_ = true;
  std::string number_;
};

template <class T>
std::string read_result(T value, bool fail, bool eof, size_t taken) {
  std::ostringstream text;
  text.precision(std::numeric_limits<long double>::max_digits10);
  text << value << (fail ? " fail" : "") << (eof ? " eof" : "") << " taken "
       << taken;
  return text.str();
}

// The longer name when both match, and none when they are the same.
inline std::string read_name(const std::string& text, const style& punct) {
  const auto common = [&](const std::string& name) {
    size_t n = 0;
    while (n < std::min(name.size(), text.size()) && name[n] == text[n]) ++n;
    return n;
  };
  const size_t no = common(punct.no), yes = common(punct.yes),
               taken = std::max(no, yes);
  const bool is_no = taken != 0 && no == taken && no == punct.no.size();
  const bool is_yes = taken != 0 && yes == taken && yes == punct.yes.size();
  const bool goes_on = (no == text.size() && no < punct.no.size()) ||
                       (yes == text.size() && yes < punct.yes.size());
  return read_result(is_yes && !is_no, is_yes == is_no, goes_on, taken);
}

template <class T>
std::string read_reference(const std::string& text, fmtflags flags,
                           const style& punct) {
  constexpr bool is_bool = std::is_same_v<T, bool>,
                 is_floating = std::is_floating_point_v<T>;
  if (is_bool && (flags & ios_base::boolalpha) != 0) {
    return read_name(text, punct);
  }
  const auto field = flags & ios_base::basefield;
  const size_t base = is_floating || field == fmtflags() ? 0
                      : field == ios_base::hex           ? 16
                      : field == ios_base::oct           ? 8
                                                         : 10;
  const number_run run(text, std::is_pointer_v<T> ? 16 : base, is_floating,
                       punct);
  std::conditional_t<is_bool, long,
                     std::conditional_t<std::is_pointer_v<T>, unsigned long, T>>
      value;
  bool success = run.convert(value);
  if (is_bool) success = success && (value == 0 || value == 1);
  return read_result(T(value), !success, run.size() == text.size(), run.size());
}

// A text that looks like a number, mostly.
template <class T>
std::string choose_text(choices& random, const style& punct) {
  using value = std::conditional_t<std::is_floating_point_v<T>, long double, T>;
  nalo::basic_ios<char> io(nullptr);
  auto text = random.one_of<std::string>(
      {"", "-", "+", "0", "0x", "-0X", punct.yes, punct.no});
  for (size_t pieces = 1 + random.below(3); pieces != 0; --pieces) {
    switch (random.below(3)) {
      case 0:
        text.append(random.below(1000) == 999
                        ? 1'000'000
                        : random.one_of<size_t>({1, 20, 770, 5000}),
                    random.one_of({'0', '0', '5', punct.separator}));
        break;
      case 1:
        io.flags(choose_flags(random));
        io.precision(static_cast<streamsize>(random.below(1200)));
        text += write_reference(io, choose_value<value>(random), punct);
        break;
      case 2:
        text += random.text<char>(random.below(12),
                                  "0123456789abcdefxXABCDEFpP+-.et ~\xFF" +
                                      std::string(4, punct.point) +
                                      std::string(4, punct.separator));
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
  imbue(in, punct);
  in.flags(flags & ~ios_base::skipws);
  if (at_hand) {
    buf.sbumpc();
    peer.sbumpc();
  }
  const size_t more_calls = buf.calls_ - peer.calls_;
  T value = {};
  in >> value;
  SCOPED_TRACE(testing::Message()
               << '"' << shown<char>(text.substr(0, 3000)) << "\" of "
               << text.size() << " flags " << flags << " windows "
               << testing::PrintToString(windows) << " grouping "
               << shown<char>(punct ? punct->grouping : "classic"));
  // The wide character that reads as eof ends the input.
  const size_t end = is_wide ? text.find('\xFF') : text.npos;
  ASSERT_EQ(
      read_result(value, in.fail(), in.eof(), buf.position() - at_hand),
      read_reference<T>(text.substr(0, end), flags, punct.value_or(style())));
  peer.sgetc();
  while (peer.position() < buf.position()) peer.snextc();
  ASSERT_EQ(buf.calls_, peer.calls_ + more_calls);
}

// --- both --------------------------------------------------------------------

// Those that are both written and read.
using types = std::tuple<bool, short, unsigned short, int, unsigned int, long,
                         unsigned long, long long, unsigned long long, float,
                         double, long double, void*>;

template <class Char>
void compare(choices& random) {
  const auto one = [&]<class T>(T) {
    if (random.below(2) == 0) {
      return compare_writing<Char>(random, choose_value<T>(random));
    }
    const auto punct = choose_punctuation(random);
    compare_reading<T, Char>(
        choose_text<T>(random, punct.value_or(style())), choose_flags(random),
        punct, {random.one_of<size_t>({0, 1, 7, 5000, 5000}), random.below(8)});
  };
  size_t left = random.below(std::tuple_size_v<types>);
  std::apply(
      [&](auto... value) {
        (void)((left-- == 0 && (one(value), true)) || ...);
      },
      types());
}

}  // namespace nalo_test::numbers

#endif
