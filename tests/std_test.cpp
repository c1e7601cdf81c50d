// What programs bring along from the standard streams: iterators, quoted texts
// and times.
#include <nalo/buffers/string>
#include <nalo/iomanip>
#include <nalo/iterator>
#include <nalo/std_types>

#include <gtest/gtest.h>

#include <algorithm>
#include <bitset>
#include <complex>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <iterator>
#include <memory>
#include <numeric>
#include <ranges>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::shown, nalo_test::widened;

// A stream over a string.
template <class Char>
struct stream : nalo::basic_iostream<Char> {
  explicit stream(std::string_view text = {})
      : nalo::basic_iostream<Char>(&buffer),
        buffer(nalo::basic_string<Char>(widened<Char>(text))) {}
  std::string written() const { return shown<Char>(buffer.view()); }

  nalo::basic_stringbuf<Char> buffer;
};

template <class Char>
class Std : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Std, Chars);

TYPED_TEST(Std, IteratesOverStreams) {
  using numbers = nalo::istream_iterator<int, TypeParam>;
  using characters = nalo::istreambuf_iterator<TypeParam>;
  using writer = nalo::ostream_iterator<int, TypeParam>;
  static_assert(std::input_iterator<numbers> &&
                std::input_iterator<characters>);
  static_assert(std::sentinel_for<numbers, numbers>);
  static_assert(std::sentinel_for<std::default_sentinel_t, numbers>);
  static_assert(std::sentinel_for<std::default_sentinel_t, characters>);
  static_assert(std::output_iterator<writer, int>);
  static_assert(
      std::output_iterator<nalo::ostreambuf_iterator<TypeParam>, TypeParam>);

  stream<TypeParam> in("1 2 3 x 4"), out;
  const std::vector<int> all(numbers(in), numbers{});
  EXPECT_EQ(std::accumulate(all.begin(), all.end(), 0), 6);
  EXPECT_TRUE(in.fail() && !in.eof());
  in.clear();
  const std::basic_string<TypeParam> rest(characters(in), {});
  EXPECT_EQ(shown<TypeParam>(rest), "x 4");

  const auto delimiter = widened<TypeParam>(", ");
  std::ranges::copy(all, writer(out, delimiter.c_str()));
  std::copy(all.rbegin(), all.rend(), writer(out));
  EXPECT_EQ(out.written(), "1, 2, 3, 321");

  // The value that a step leaves behind.
  stream<TypeParam> two("7 8");
  numbers at(two);
  EXPECT_EQ(*at++, 7);
  EXPECT_TRUE(*at == 8 && ++at == std::default_sentinel);
}

TYPED_TEST(Std, QuotesTexts) {
  using string = nalo::basic_string<TypeParam>;
  const struct {
    const char *text, *quoted;  // by apostrophes, escaped by bars, padded to 9
  } rows[] = {
      {"", "''......."},
      {"a b", "'a b'...."},
      {"it's a|b", "'it|'s a||b'"},
  };
  for (const auto& row : rows) {
    const auto text = widened<TypeParam>(row.text);
    const auto as = [](const auto& s) { return nalo::quoted(s, '\'', '|'); };
    const auto expect_written = [&](const auto& what) {
      stream<TypeParam> out;
      out << nalo::setfill(TypeParam('.')) << nalo::left << nalo::setw(9)
          << as(what);
      EXPECT_EQ(out.written(), row.quoted);
    };
    string copy(text);
    expect_written(text);
    expect_written(copy);
    expect_written(text.c_str());
    expect_written(std::basic_string_view<TypeParam>(text));
    stream<TypeParam> both;
    both << nalo::quoted(copy, '\'', '|') << "x";
    copy = string();
    both >> nalo::quoted(copy, '\'', '|');
    EXPECT_EQ(copy, text);
    EXPECT_TRUE(both.get() == 'x' && (both.flags() & ios_base::skipws) != 0);
  }
  const struct {
    const char *input, *text, *rest;
    nalo::ios_base::iostate state;
  } inputs[] = {
      {" \"a \\\"\\b\" c", "a \"b", " c", ios_base::goodbit},
      {" ab c", "ab", " c", ios_base::goodbit},
      {"\"ab", "ab", "", ios_base::failbit | ios_base::eofbit},
      {"\"ab\\", "ab", "", ios_base::failbit | ios_base::eofbit},
      {"  ", "old", "", ios_base::failbit | ios_base::eofbit},
  };
  const auto expect_read = [](const auto& row, auto text) {
    stream<TypeParam> in(row.input);
    in >> nalo::quoted(text);
    EXPECT_EQ(shown<TypeParam>(text), row.text);
    EXPECT_EQ(in.rdstate(), row.state) << row.input;
    const nalo::istreambuf_iterator<TypeParam> rest(in);
    EXPECT_EQ(shown<TypeParam>(string(rest, {})), row.rest);
  };
  for (const auto& row : inputs) {
    const auto old = widened<TypeParam>("old");
    expect_read(row, old);
    expect_read(row, string(old));
  }
}

template <class Time>
std::string fields(const Time& t) {
  std::string all;
  for (const long n : {t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min,
                       t.tm_sec, t.tm_wday, t.tm_yday}) {
    all += std::to_string(n) + ' ';
  }
  return all;
}

TYPED_TEST(Std, WritesAndReadsTimesAsTheStandardStreams) {
  const std::tm time = {9, 5, 13, 29, 1, 124, 4, 59, 0, 0, "GMT"};
  const std::string long_format(70, '%');
  for (const char* const format :
       {"%F %T", "%c|%x|%X|%p|%Z|%z", "", "%Ey %Od %Q", "%j%U%e%n%B",
        long_format.c_str()}) {
    const auto wide = widened<TypeParam>(format);
    stream<TypeParam> out;
    std::basic_ostringstream<TypeParam> expected;
    out << nalo::setw(9) << nalo::put_time(&time, wide.c_str()) << 1;
    expected << std::setw(9) << std::put_time(&time, wide.c_str()) << 1;
    EXPECT_EQ(out.written(), shown<TypeParam>(expected.str()));
  }
  const std::pair<const char*, const char*> inputs[] = {
      {"%Y-%m-%d %H:%M:%S", "2024-02-29 13:05:09 x"},
      {"%A %B %e %y", "thursday FEBRUARY 9 24"},
      {"%b %d", "Sept 1"},
      {"%D", "02/28/69"},
      {"%r", "11:30:01 pm"},
      {"%I %p", "12 am"},
      {"%R%n%j", "12:30  060"},
      {"%C%y-%m-%d", "1999-12-31"},
      {"%d%%/X", "7%/x"},
      {"%H", "24"},
      {"%M", "x"},
      {"%Ey %m %Od", "24 1 2"},
  };
  for (const auto& [format, input] : inputs) {
    if (!nalo_test::with_libstdcxx) break;  // it stores less and fails more
    const auto wide = widened<TypeParam>(format);
    stream<TypeParam> in(input);
    std::basic_istringstream<TypeParam> expected(widened<TypeParam>(input));
    std::tm read = {}, other = {};
    in >> nalo::get_time(&read, wide.c_str());
    expected >> std::get_time(&other, wide.c_str());
    // They store the day of the year of half a date.
    if (read.tm_year == 0 || read.tm_mday == 0) other.tm_yday = read.tm_yday;
    EXPECT_EQ(fields(read), fields(other)) << format;
    EXPECT_EQ(in.fail(), expected.fail()) << format;
    EXPECT_EQ(in.eof() && !in.fail(), expected.eof() && !in.fail()) << format;
  }
}

// Types with an inserter of their own for the streams of one library or both.
// Each writes where it has been.
struct for_std {
  template <class Char>
  friend auto& operator<<(std::basic_ostream<Char>& out, const for_std&) {
    return out << "std";
  }
  template <class Char>
  friend auto& operator>>(std::basic_istream<Char>& in, for_std&) {
    return in;
  }
};
struct for_both : for_std {
  template <class Char>
  friend auto& operator<<(nalo::basic_ostream<Char>& out, const for_both&) {
    return out << "nalo";
  }
};
struct for_any {
  template <class Stream>
  friend Stream& operator<<(Stream& out, const for_any&) {
    out << "any";
    return out;
  }
};
template <class Char>
struct converts : for_std {
  operator std::basic_string_view<Char>() const { return view; }
  std::basic_string_view<Char> view;
};
enum class scoped { one };
template <class Char>
auto& operator<<(std::basic_ostream<Char>& out, scoped) {
  return out << "scoped";
}
enum unscoped { two = 2 };
template <class Char>
auto& operator<<(std::basic_ostream<Char>& out, unscoped) {
  return out << "unscoped";
}
template <class Out, class T>
concept writes = requires(Out& out, T& value) {
  out << value;
};

TYPED_TEST(Std, WritesWhatOnlyTheStandardStreamsKnow) {
  using ostream = nalo::basic_ostream<TypeParam>;
  static_assert(!writes<ostream, void()> && !writes<ostream, int for_std::*>);
  static_assert(!writes<ostream, std::vector<int>> &&
                !writes<ostream, ostream>);
  const auto expect_like_std = [](const auto& value) {
    stream<TypeParam> out;
    std::basic_ostringstream<TypeParam> expected;
    const auto write = [&](auto& to, auto... manipulators) {
      (to << ... << manipulators) << value << value;
    };
    write(out, nalo::setw(12), nalo::setfill(TypeParam('.')),
          nalo::setprecision(3), nalo::left, nalo::hex, nalo::showbase);
    write(expected, std::setw(12), std::setfill(TypeParam('.')),
          std::setprecision(3), std::left, std::hex, std::showbase);
    EXPECT_EQ(out.written(), shown<TypeParam>(expected.str()));
    EXPECT_EQ(out.width(), expected.width());
  };
  expect_like_std(std::make_error_code(std::errc::io_error));
  expect_like_std(std::complex<double>(1.23456, 255));
  expect_like_std(std::bitset<10>(37));
  expect_like_std(std::filesystem::path("a b\"c"));
  expect_like_std(std::this_thread::get_id());
  expect_like_std(std::make_shared<int>(1));
  expect_like_std(for_std());
  expect_like_std(scoped::one);

  stream<TypeParam> out;
  const auto text = widened<TypeParam>("view");
  out << for_both() << for_any() << unscoped::two
      << converts<TypeParam>{{}, text};
  EXPECT_EQ(out.written(), "naloany2view");
}

struct raising {
  template <class Char>
  friend std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>&,
                                              const raising&) {
    throw std::runtime_error("own");
  }
};

TYPED_TEST(Std, TreatsErrorsInStandardInsertersAsItsOwn) {
  using nalo_test::fault;
  for (const auto mask : {ios_base::goodbit, ios_base::badbit}) {
    const auto raised_by = [&](fault kind, const auto& value,
                               ios_base::iostate left) {
      nalo_test::scripted_streambuf<TypeParam> buffer({});
      nalo::basic_ostream<TypeParam> out(&buffer, mask);
      out << nalo::setw(9);
      const auto error = nalo_test::raised_by([&] { out << value; }, 1, kind);
      // That of libc++ adds failbit.
      EXPECT_EQ(out.rdstate() & (nalo_test::with_libstdcxx ? ~0U : ~4U), left);
      EXPECT_EQ(out.width(), kind == fault::refusal ? 0 : 9);
      return error;
    };
    const bool raises = mask == ios_base::badbit;
    EXPECT_EQ(raised_by(fault::library, for_std(), ios_base::badbit),
              raises ? "library" : "");
    EXPECT_EQ(raised_by(fault::refusal, for_std(), ios_base::badbit),
              raises ? "basic_ios::clear" : "");
    EXPECT_EQ(raised_by(fault::none, raising(), ios_base::goodbit), "own");
  }
}

TYPED_TEST(Std, ReadsWhatOnlyTheStandardStreamsKnow) {
  stream<TypeParam> in(" (1.5,2) 0110 \"a b\" 7");
  std::complex<double> complex;
  std::bitset<3> bits;
  std::filesystem::path path;
  in >> complex >> bits;
  EXPECT_EQ(complex, std::complex(1.5, 2.0));
  EXPECT_EQ(bits.to_string(), "011");
  EXPECT_TRUE(in.get() == '0' && in.good());
  in >> path >> bits;
  EXPECT_EQ(path, "a b");
  EXPECT_EQ(in.rdstate(), ios_base::failbit);
}

}  // namespace
