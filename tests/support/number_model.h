// Numbers of all types, written and read by a stream, against the compiler's
// streams and strtod: random values, texts, flags, punctuation, widths,
// precisions and areas.
#ifndef NALO_TESTS_NUMBER_MODEL_H
#define NALO_TESTS_NUMBER_MODEL_H

#include <nalo/base/numpunct>
#include <nalo/istream>

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
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
#include "styled_numpunct.h"
#include "text.h"

namespace nalo_test::numbers {

using fmtflags = nalo::ios_base::fmtflags;
using nalo::ios_base;
using nalo::streamsize;

// Nothing for the classic locale.
inline std::optional<style> choose_style(choices& random) {
  if (random.below(2) == 0) return {};
  return style{random.text<char>(random.below(4), {"\3\1\2\177\0\xFF", 6}),
               random.one_of({'_', '\''}), random.one_of({'.', ',', '\xE9'}),
               random.text<char>(random.below(4), "ab"),
               random.text<char>(random.below(4), "ab")};
}

template <class Char>
void imbue(nalo::basic_ios<Char>& stream, const std::optional<style>& punct) {
  if (!punct) return;
  stream.imbue({nalo::locale(), new styled<nalo::numpunct<Char>>(*punct)});
}

// Of any length, or near the limits of types.
inline std::uint64_t choose_bits(choices& random) {
  const size_t length = 8 * random.below(8) + 8 - random.below(2);
  const std::uint64_t power = length < 64 ? std::uint64_t{1} << length : 0;
  if (random.below(4) == 0) return power - 1 + random.below(3);
  return random.bits() & (power - 1);
}

// --- writing -----------------------------------------------------------------

// A width or a precision near a limit becomes one that memory has room for,
// still behind all that buffers take after the longest number, and as far from
// others near it.
inline streamsize brought_down(streamsize n) {
  constexpr auto most = std::numeric_limits<streamsize>::max();
  return n > most - 10      ? n - most + 120'000
         : n > INT_MAX - 10 ? n - INT_MAX + 60'000
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

template <class T>
T choose_value(choices& random) {
  const std::uint64_t bits = choose_bits(random);
  if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(bits);
  } else if constexpr (std::is_integral_v<T>) {
    return static_cast<T>(random.below(2) ? bits : 0 - bits);
  } else {
    using limits = std::numeric_limits<T>;
    const auto range = limits::max_exponent - limits::min_exponent + 200;
    T value = static_cast<T>(bits);
    switch (random.below(4)) {
      case 0:
        value /= random.one_of({T(2), T(1000)});
        break;
      case 1:  // any exponent, those of subnormal values included
        value = std::ldexp(
            value,
            limits::min_exponent - 130 +
                static_cast<int>(random.below(static_cast<size_t>(range))));
        break;
      case 2:  // where the form of %g changes
        value = std::pow(T(10), static_cast<T>(random.below(60)) - 30);
        break;
      case 3:
        value =
            random.one_of({T(), limits::infinity(), limits::quiet_NaN(),
                           limits::max(), limits::denorm_min(), limits::min()});
    }
    return std::copysign(value, random.below(2) ? T(-1) : T(1));
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

template <class Char, class T>
void compare_writing(choices& random, T value) {
  const auto punct = choose_style(random);
  const auto flags = static_cast<fmtflags>(random.bits(2) % 0x8000);
  const streamsize precision = choose_length(random);
  const streamsize width = random.below(2) ? choose_length(random) : 0;
  const auto limit = random.one_of<size_t>({3, 20, 3000, 20000});
  scripted_streambuf<Char> buf(
      {.put_areas = {random.below(40), random.one_of<size_t>({0, 5, 500})},
       .accepts = limit});
  // With a put area at hand, or with the buffer to be asked first.
  std::basic_string<Char> expected(random.below(2), Char('='));
  if (!expected.empty()) buf.sputc(Char('='));
  nalo::basic_ostream<Char> out(&buf);
  imbue(out, punct);
  out.flags(flags);
  out.precision(precision);
  out.width(width);
  out.fill(random.one_of({Char('*'), Char(), Char('\xE9')}));

  expected += write_reference(out, value, punct.value_or(style()));
  const bool cut = expected.size() > limit;
  expected.resize(std::min(expected.size(), limit));
  out << value;
  const auto trace = [&] {
    std::ostringstream text;
    text.precision(21);
    text << value << " flags " << flags << " precision " << precision
         << " width " << width << " grouping "
         << (punct ? shown<char>(punct->grouping) : "of the classic locale");
    return text.str();
  };
  ASSERT_EQ(buf.output(), expected) << trace();
  ASSERT_EQ(out.rdstate(), cut ? ios_base::badbit : ios_base::goodbit)
      << trace();
  ASSERT_EQ(out.width(), 0) << trace();
}

// --- reading -----------------------------------------------------------------

// The size of the group at a place from the right, 0 for all that is left.
inline size_t group_size(const std::string& grouping, size_t place) {
  if (grouping.empty()) return 0;
  const char size = grouping[std::min(place, grouping.size() - 1)];
  return size > 0 && size < CHAR_MAX ? static_cast<size_t>(size) : 0;
}

template <class T>
struct reading {
  T value = {};
  bool fail = false, eof = false;
  size_t taken = 0;

  std::string shown() const {
    std::ostringstream text;
    text.precision(std::numeric_limits<long double>::max_digits10);
    text << value << (fail ? " fail" : "") << (eof ? " eof" : "") << " taken "
         << taken;
    return text.str();
  }
};

// Finds the run of a number, for the standard functions to convert.
template <class Char>
class number_reader {
 public:
  number_reader(const std::basic_string<Char>& text, const style& punct)
      : text_(text), punct_(punct) {}

  template <class T>
  reading<T> integer(unsigned base) {
    scan(base, false);
    errno = 0;
    const unsigned long long magnitude =
        std::strtoull(clean_.c_str(), nullptr, static_cast<int>(base_));
    using limits = std::numeric_limits<T>;
    const bool to_min = minus_ && limits::is_signed;
    const auto most = static_cast<unsigned long long>(limits::max()) + to_min;
    if (!is_number_) return result(T(), false);
    if (errno == ERANGE || magnitude > most) {
      return result(to_min ? limits::min() : limits::max(), false);
    }
    return result(static_cast<T>(minus_ ? 0 - magnitude : magnitude),
                  groups_agree());
  }

  template <class T>
  reading<T> floating() {
    scan(0, true);
    if (!is_number_) return result(T(), false);
    T value;
    if constexpr (std::is_same_v<T, float>) {
      value = std::strtof(clean_.c_str(), nullptr);
    } else if constexpr (std::is_same_v<T, double>) {
      value = std::strtod(clean_.c_str(), nullptr);
    } else {
      value = std::strtold(clean_.c_str(), nullptr);
    }
    const bool fits = std::isfinite(value);
    if (!fits) value = std::numeric_limits<T>::max();
    return result(minus_ ? -value : value, fits && groups_agree());
  }

  // The longer name when both match, and none when they are the same.
  reading<bool> name() {
    const auto common = [&](const std::string& name) {
      return std::mismatch(name.begin(), name.end(), text_.begin(), text_.end())
                 .first -
             name.begin();
    };
    at_ = static_cast<size_t>(std::max(common(punct_.no), common(punct_.yes)));
    const auto has_all = [&](const std::string& name) {
      return at_ != 0 && name.size() == at_ &&
             text_.compare(0, at_, widened<Char>(name)) == 0;
    };
    const auto goes_on = [&](const std::string& name) {
      return name.size() > at_ && widened<Char>(name).starts_with(text_);
    };
    const bool no = has_all(punct_.no), yes = has_all(punct_.yes);
    return {yes && !no, yes == no, goes_on(punct_.no) || goes_on(punct_.yes),
            at_};
  }

 private:
  template <class T>
  reading<T> result(T value, bool success) const {
    return {value, !success, at_ == text_.size(), at_};
  }
  bool take(std::string_view chars) {
    if (at_ == text_.size()) return false;
    for (const char ch : chars) {
      if (text_[at_] != static_cast<Char>(ch)) continue;
      ++at_;
      return true;
    }
    return false;
  }
  bool sign() { return take("-") || (take("+"), false); }
  // Base 0 stands for the one that a prefix names.
  void scan(unsigned base, bool is_floating) {
    base_ = base;
    minus_ = sign();
    if (base != 10 && take("0")) {
      clean_ = "0";
      if (base != 8 && take("xX")) {
        base_ = 16;
        clean_ = "0x";
      } else {
        is_number_ = true;
        if (base == 0 && !is_floating) base_ = 8;
        // The 0 in front of an octal number is in no group.
        if (base_ != 8) ++groups_.back();
      }
    }
    if (base_ == 0) base_ = 10;
    bool in_fraction = false;
    while (may_go_on_) {
      if (digit(base_, !in_fraction)) continue;
      if (is_floating && !in_fraction && at_ < text_.size() &&
          text_[at_] == Char(punct_.point)) {
        in_fraction = true;
        clean_ += '.';
        ++at_;
      } else if (in_fraction || !separator()) {
        break;
      }
    }
    if (is_floating && is_number_ && take(base_ == 16 ? "pP" : "eE")) {
      clean_ += base_ == 16 ? 'p' : 'e';
      clean_ += sign() ? '-' : '+';
      is_number_ = false;
      while (digit(10, false)) {
      }
    }
  }
  bool digit(unsigned base, bool in_group = true) {
    constexpr std::string_view digits = "0123456789abcdef0123456789ABCDEF";
    if (!take(digits.substr(0, base)) && !take(digits.substr(16, base))) {
      return false;
    }
    clean_ += static_cast<char>(text_[at_ - 1]);
    is_number_ = true;
    groups_.back() += in_group;
    return true;
  }
  // One without digits in front of it ends the number, which is none.
  bool separator() {
    if (group_size(punct_.grouping, 0) == 0 || at_ == text_.size() ||
        text_[at_] != Char(punct_.separator)) {
      return false;
    }
    may_go_on_ = groups_.back() != 0;
    is_number_ = is_number_ && may_go_on_;
    if (may_go_on_) {
      ++at_;
      groups_.push_back(0);
    }
    return may_go_on_;
  }
  bool groups_agree() const {
    const size_t last = groups_.size() - 1;
    if (last == 0) return true;
    for (size_t place = 0; place < last; ++place) {
      const size_t size = group_size(punct_.grouping, place);
      if (size == 0 || groups_[last - place] != size) return false;
    }
    const size_t most = group_size(punct_.grouping, last);
    return most == 0 || groups_[0] <= most;
  }

  const std::basic_string<Char>& text_;
  const style& punct_;
  size_t at_ = 0;
  unsigned base_ = 10;
  bool minus_ = false;
  std::string clean_;  // as the standard functions want it
  bool is_number_ = false;
  bool may_go_on_ = true;
  std::vector<size_t> groups_ = {0};
};

template <class T, class Char>
reading<T> read_reference(const std::basic_string<Char>& text, fmtflags flags,
                          const style& punct) {
  number_reader<Char> reader(text, punct);
  const auto field = flags & ios_base::basefield;
  const unsigned base = field == ios_base::oct   ? 8
                        : field == ios_base::hex ? 16
                        : field == fmtflags()    ? 0
                                                 : 10;
  if constexpr (std::is_same_v<T, bool>) {
    if ((flags & ios_base::boolalpha) != 0) return reader.name();
    const auto number = reader.template integer<long>(base);
    const bool is_bool = number.value == 0 || number.value == 1;
    return {number.value != 0, number.fail || !is_bool, number.eof,
            number.taken};
  } else if constexpr (std::is_pointer_v<T>) {
    const auto number = reader.template integer<unsigned long>(16);
    return {reinterpret_cast<T>(number.value), number.fail, number.eof,
            number.taken};
  } else if constexpr (std::is_floating_point_v<T>) {
    return reader.template floating<T>();
  } else {
    return reader.template integer<T>(base);
  }
}

template <class T, class Char>
void compare_reading(choices& random, const std::basic_string<Char>& text,
                     const std::optional<style>& punct,
                     std::vector<size_t> windows) {
  const style used = punct.value_or(style());
  const auto flags =
      static_cast<fmtflags>(random.bits(2) % 0x8000) & ~ios_base::skipws;
  // The wide character that reads as eof ends the input.
  const size_t end = sizeof(Char) == 1 ? text.npos : text.find(Char(-1));
  const auto expected = read_reference<T>(text.substr(0, end), flags, used);
  scripted_streambuf<Char> buf({.input = text, .get_areas = windows});
  // With a get area at hand, or with the buffer to be asked first.
  if (random.below(2) == 0) buf.sgetc();
  nalo::basic_istream<Char> in(&buf);
  imbue(in, punct);
  in.flags(flags);
  reading<T> actual;
  in >> actual.value;
  actual.fail = in.fail();
  actual.eof = in.eof();
  actual.taken = buf.position();
  ASSERT_EQ(actual.shown(), expected.shown())
      << '"' << shown<Char>(text.substr(0, 3000)) << "\" of " << text.size()
      << " flags " << flags << " windows " << testing::PrintToString(windows)
      << " grouping "
      << (punct ? shown<char>(punct->grouping) : "of the classic locale");
}

// Calls one(T()) for one of the types that are both written and read.
template <class One>
void for_one_type(choices& random, One one) {
  size_t left = random.below(13);
  std::apply(
      [&](auto... value) {
        (void)((left-- == 0 && (one(value), true)) || ...);
      },
      std::tuple<bool, short, unsigned short, int, unsigned int, long,
                 unsigned long, long long, unsigned long long, float, double,
                 long double, void*>());
}

template <class... Args>
std::string print(const std::string& spec, Args... args) {
  std::string text(1, '\0');
  for (;;) {
    const auto size = static_cast<size_t>(
        std::snprintf(text.data(), text.size(), spec.c_str(), args...));
    const bool fits = size < text.size();
    text.resize(size + !fits);
    if (fits) return text;
  }
}

template <class Char>
std::basic_string<Char> grouped(const std::string& digits, const style& punct) {
  std::basic_string<Char> text;
  size_t place = 0, in_group = 0;
  for (size_t i = digits.size(); i-- != 0;) {
    const size_t size = group_size(punct.grouping, place);
    if (size != 0 && in_group == size) {
      text += Char(punct.separator);
      ++place;
      in_group = 0;
    }
    text += static_cast<Char>(digits[i]);
    ++in_group;
  }
  std::reverse(text.begin(), text.end());
  return text;
}

// A text that looks like a number, mostly.
template <class Char>
std::basic_string<Char> choose_text(choices& random, const style& punct) {
  auto alphabet = widened<Char>("0123456789abcdefxXABCDEFpP+-.et \xE9");
  alphabet += {Char(0x130), Char(-1)};
  for (int i = 0; i < 4; ++i) {
    alphabet += {Char(punct.point), Char(punct.separator)};
  }
  auto text = widened<Char>(random.one_of<std::string>(
      {"", "-", "+", "0", "0x", "-0X", "inf", "-nan", punct.yes, punct.no}));
  for (size_t pieces = 1 + random.below(4); pieces != 0; --pieces) {
    switch (random.below(6)) {
      case 0:
        text += widened<Char>(random.below(2) ? punct.yes : punct.no);
        break;
      case 1:
        text.append(random.one_of<size_t>({1, 20, 1000}), '0');
        break;
      case 2:  // 2^64 is the first that no integer type holds
        text += grouped<Char>(
            random.below(3) == 0
                ? "18446744073709551616"
                : print(random.one_of({"%llu", "%llo", "%llX"}),
                        static_cast<unsigned long long>(choose_bits(random))),
            punct);
        break;
      case 3: {
        // Half way between two values of type float or double, or near it.
        const auto bits = random.bits() >> random.one_of({40, 11, 8});
        const auto value =
            std::ldexp(static_cast<long double>(2 * bits + 1),
                       static_cast<int>(random.below(2200)) - 1130);
        text += widened<Char>(
            print(random.one_of({"%.17Lg", "%.800Lg", "%.1200Lf"}), value));
        break;
      }
      case 4:
        text += widened<Char>(print("%La", choose_value<long double>(random)));
        break;
      case 5:
        text += random.text<Char>(random.below(12), alphabet);
    }
  }
  return text;
}

template <class Char>
void compare(choices& random) {
  for_one_type(random, [&]<class T>(T) {
    if (random.below(2) == 0) {
      return compare_writing<Char>(random, choose_value<T>(random));
    }
    const auto punct = choose_style(random);
    const auto text = choose_text<Char>(random, punct.value_or(style()));
    compare_reading<T>(
        random, text, punct,
        {random.one_of<size_t>({0, 1, 7, 5000, 5000, 5000}), random.below(8)});
  });
}

}  // namespace nalo_test::numbers

#endif
