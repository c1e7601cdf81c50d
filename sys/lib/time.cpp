// Formatting and parsing of times: strftime() for both character types, and an
// equivalent of strptime() on stream buffers.
#include <nalo/iomanip>
#include <nalo/streambuf>

#include <locale.h>
#include <time.h>
#include <wchar.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>

namespace nalo {

namespace {

// The C library's "C" locale, which takes no memory and is never freed.
locale_t c_locale() {
  static const locale_t locale = ::newlocale(LC_ALL_MASK, "C", nullptr);
  return locale;
}

size_t format(char* to, size_t n, const char* format, const std::tm& time) {
  return ::strftime_l(to, n, format, &time, c_locale());
}
size_t format(wchar_t* to, size_t n, const wchar_t* format,
              const std::tm& time) {
  return ::wcsftime_l(to, n, format, &time, c_locale());
}

constexpr const char* days[] = {"sunday",   "monday", "tuesday", "wednesday",
                                "thursday", "friday", "saturday"};
constexpr const char* months[] = {
    "january", "february", "march",     "april",   "may",      "june",
    "july",    "august",   "september", "october", "november", "december"};
constexpr const char* halves[] = {"am", "pm"};

// Parses the fields of a time. Characters are compared by their codes, letters
// in either case.
template <class Char, class Traits>
class time_reader {
 public:
  time_reader(basic_streambuf<Char, Traits>* sb, std::tm& time) noexcept
      : sb_(sb), time_(time) {}

  ios_base::iostate read(const Char* format) {
    fields_(format);
    if (!failed_()) complete_();
    return err_;
  }

 private:
  // Characters have codes that are not negative.
  static constexpr long end = -1;

  static bool is_space_(long code) noexcept {
    return code == ' ' || ('\t' <= code && code <= '\r');
  }
  static bool is_digit_(long code) noexcept {
    return '0' <= code && code <= '9';
  }
  static long lower_(long code) noexcept {
    return 'A' <= code && code <= 'Z' ? code - 'A' + 'a' : code;
  }

  // Returns the next one without taking it.
  long next_() {
    const auto ch = sb_->sgetc();
    if (!Traits::eq_int_type(ch, Traits::eof())) return long{ch};
    err_ |= ios_base::eofbit;
    return end;
  }
  void skip_space_() {
    while (is_space_(next_())) sb_->stossc();
  }
  bool failed_() const noexcept { return (err_ & ios_base::failbit) != 0; }
  void fail_() noexcept { err_ |= ios_base::failbit; }

  // Parses the fields of a format of either character type.
  template <class F>
  void fields_(const F* format) {
    for (; *format != F() && !failed_(); ++format) {
      const auto code = [&] {
        return long{char_traits<F>::to_int_type(*format)};
      };
      if (is_space_(code())) {
        skip_space_();
      } else if (code() != '%' || format[1] == F()) {
        literal_(code());
      } else {
        ++format;
        if ((code() == 'E' || code() == 'O') && format[1] != F()) ++format;
        field_(code());
      }
    }
  }

  void literal_(long code) {
    if (lower_(next_()) != lower_(code)) return fail_();
    sb_->stossc();
  }

  // Parses a value between low and high of up to `digits` digits, after white
  // space.
  void number_(int& value, int low, int high, int digits) {
    skip_space_();
    int read = 0;
    int n = 0;
    for (; is_digit_(next_()) && n < digits; ++n) {
      read = 10 * read + static_cast<int>(next_() - '0');
      sb_->stossc();
    }
    if (n == 0 || read < low || read > high) return fail_();
    value = read;
  }
  // The same for a value that is stored reduced by `less`.
  void number_less_(int less, int& value, int low, int high, int digits) {
    number_(value, low, high, digits);
    if (!failed_()) value -= less;
  }
  void ignored_number_() {
    int ignored;
    number_(ignored, 0, 53, 2);
  }

  // Parses one of the names, or its first three letters.
  template <size_t N>
  void name_(const char* const (&names)[N], int& index) {
    std::string taken;
    const auto goes_on = [&] {
      const long code = lower_(next_());
      if (code < 'a' || code > 'z') return false;
      taken += static_cast<char>(code);
      for (const std::string_view name : names) {
        if (name.starts_with(taken)) return true;
      }
      taken.pop_back();
      return false;
    };
    while (goes_on()) sb_->stossc();
    for (size_t i = 0; i < N; ++i) {
      const std::string_view name = names[i];
      if (taken == name || taken == name.substr(0, 3)) {
        index = static_cast<int>(i);
        return;
      }
    }
    fail_();
  }

  // Parses the offset from UTC, as in +0130, +01:30, +01 and Z.
  void zone_() {
    const long sign = lower_(next_());
    if (sign != '+' && sign != '-' && sign != 'z') return fail_();
    sb_->stossc();
    int hours = 0;
    int minutes = 0;
    if (sign != 'z') number_(hours, 0, 24, 2);
    if (sign != 'z' && !failed_()) {
      if (next_() == ':') sb_->stossc();
      if (is_digit_(next_())) number_(minutes, 0, 59, 2);
    }
    const long offset = 60L * (60 * hours + minutes);
    if (!failed_()) time_.tm_gmtoff = sign == '-' ? -offset : offset;
  }

  // Parses the field that a letter names.
  void field_(long letter);
  void complete_();

  basic_streambuf<Char, Traits>* sb_;
  std::tm& time_;
  ios_base::iostate err_ = ios_base::goodbit;
  // Values that are given in parts.
  int hour_ = -1;  // on a 12-hour clock
  int half_ = -1;
  int century_ = -1;
  int year_ = -1;  // within the century
  bool has_year_ = false;
  bool has_month_ = false;
  bool has_day_ = false;
  bool has_weekday_ = false;
};

template <class Char, class Traits>
void time_reader<Char, Traits>::field_(long letter) {
  switch (letter) {
    case 'a':
    case 'A':
      has_weekday_ = true;
      return name_(days, time_.tm_wday);
    case 'b':
    case 'B':
    case 'h':
      has_month_ = true;
      return name_(months, time_.tm_mon);
    case 'c':
      return fields_("%a %b %e %H:%M:%S %Y");
    case 'C':
      return number_(century_, 0, 99, 2);
    case 'd':
    case 'e':
      has_day_ = true;
      return number_(time_.tm_mday, 1, 31, 2);
    case 'D':
    case 'x':
      return fields_("%m/%d/%y");
    case 'F':
      return fields_("%Y-%m-%d");
    case 'H':
      return number_(time_.tm_hour, 0, 23, 2);
    case 'I':
      return number_(hour_, 1, 12, 2);
    case 'j':
      return number_less_(1, time_.tm_yday, 1, 366, 3);
    case 'm':
      has_month_ = true;
      return number_less_(1, time_.tm_mon, 1, 12, 2);
    case 'M':
      return number_(time_.tm_min, 0, 59, 2);
    case 'n':
    case 't':
      return skip_space_();
    case 'p':
      return name_(halves, half_);
    case 'r':
      return fields_("%I:%M:%S %p");
    case 'R':
      return fields_("%H:%M");
    case 'S':
      return number_(time_.tm_sec, 0, 60, 2);
    case 'T':
    case 'X':
      return fields_("%H:%M:%S");
    case 'u':
      has_weekday_ = true;
      number_(time_.tm_wday, 1, 7, 1);
      if (!failed_()) time_.tm_wday %= 7;
      return;
    case 'w':
      has_weekday_ = true;
      return number_(time_.tm_wday, 0, 6, 1);
    case 'U':
    case 'V':
    case 'W':
      return ignored_number_();
    case 'y':
      return number_(year_, 0, 99, 2);
    case 'Y':
      has_year_ = true;
      return number_less_(1900, time_.tm_year, 0, 9999, 4);
    case 'z':
      return zone_();
    case '%':
      return literal_(letter);
    default:
      return fail_();
  }
}

// Stores fields that are derived from several others.
template <class Char, class Traits>
void time_reader<Char, Traits>::complete_() {
  if (hour_ != -1) time_.tm_hour = hour_ % 12;
  if (hour_ != -1 && half_ == 1) time_.tm_hour += 12;
  if (!has_year_ && (year_ != -1 || century_ != -1)) {
    if (century_ == -1) century_ = year_ < 69 ? 20 : 19;
    time_.tm_year = 100 * century_ + std::max(year_, 0) - 1900;
    has_year_ = true;
  }
  if (!has_year_ || !has_month_ || !has_day_) return;
  using namespace std::chrono;
  const year_month_day date(year(time_.tm_year + 1900),
                            month(static_cast<unsigned>(time_.tm_mon + 1)),
                            day(static_cast<unsigned>(time_.tm_mday)));
  if (!date.ok()) return;
  const sys_days first = date.year() / January / 1;
  if (!has_weekday_)
    time_.tm_wday = static_cast<int>(weekday(date).c_encoding());
  time_.tm_yday = static_cast<int>((sys_days(date) - first).count());
}

}  // namespace

template <class Char>
std::basic_string<Char> impl::formatTime(const std::tm& time,
                                         const Char* format_text) {
  // An additional character ensures that the text is never empty, so that an
  // empty result means too little room.
  std::basic_string<Char> format_more(format_text);
  format_more += Char(' ');
  std::basic_string<Char> text;
  for (size_t room = 128; room < 2'000'000; room *= 2) {
    text.resize(room);
    const size_t n = format(text.data(), room, format_more.c_str(), time);
    if (n == 0) continue;
    text.resize(n - 1);
    return text;
  }
  tThrow(overflow_error("sys/lib/time.cpp", __LINE__,
                        "nalo::put_time the text is too long"));
}

template <class Char, class Traits>
ios_base::iostate impl::parseTime(basic_streambuf<Char, Traits>* sb,
                                  std::tm& time, const Char* format_text) {
  return time_reader(sb, time).read(format_text);
}

template std::string impl::formatTime(const std::tm&, const char*);
template std::wstring impl::formatTime(const std::tm&, const wchar_t*);
template ios_base::iostate impl::parseTime(streambuf*, std::tm&, const char*);
template ios_base::iostate impl::parseTime(wstreambuf*, std::tm&,
                                           const wchar_t*);

}  // namespace nalo
