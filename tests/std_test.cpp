// Iterators, quoted texts, times, and types made for the standard streams.
#include <nalo/iterator>
#include <nalo/std_types>

#include <bitset>
#include <complex>
#include <ctime>
#include <iomanip>

#include "common.h"

namespace {

using namespace nalo_test;

// A stream over a string.
template <class Char>
struct stream : nalo::basic_stringstream<Char> {
  explicit stream(std::string_view text = {})
      : nalo::basic_stringstream<Char>(widened<Char>(text)) {}
  std::string written() const { return shown<Char>(this->view()); }
};

TEST_SUITE_OF_CHARACTERS(Std);

TYPED_TEST(Std, IteratesUntilAStreamFails) {
  using numbers = nalo::istream_iterator<int, TypeParam>;
  using characters = nalo::istreambuf_iterator<TypeParam>;
  using writer = nalo::ostream_iterator<int, TypeParam>;
  static_assert(std::input_iterator<numbers> &&
                std::output_iterator<writer, int>);
  stream<TypeParam> in("7 8 x 4"), out;
  numbers at(in);
  EXPECT_EQ(*at++, 7);
  EXPECT_TRUE(*at == 8 && ++at == std::default_sentinel);
  EXPECT_EQ(in.rdstate(), fail);
  const std::basic_string<TypeParam> rest(characters(in), {});
  EXPECT_EQ(shown<TypeParam>(rest), "x 4");
  const auto delimiter = widened<TypeParam>(", ");
  const int all[] = {1, 2, 3};
  for (const auto& writes : {writer(out, delimiter.c_str()), writer(out)}) {
    std::ranges::copy(all, writes);
  }
  EXPECT_EQ(out.written(), "1, 2, 3, 123");
}

TYPED_TEST(Std, QuotesTextsAsTheStandardStreamsDo) {
  using string = nalo::basic_string<TypeParam>;
  for (const char* const narrow : {"", "a b", "it's a|b"}) {
    const auto text = widened<TypeParam>(narrow);
    const auto written = [](auto&& out, const auto& quoted) {
      out.width(15);
      out.fill('.');
      out << quoted << 1;
      return shown<TypeParam>(out.str());
    };
    const auto expect = [&](const auto& what) {
      EXPECT_EQ(written(stream<TypeParam>(), nalo::quoted(what, '\'', '|')),
                written(std::basic_ostringstream<TypeParam>(),
                        std::quoted(text, TypeParam('\''), TypeParam('|'))));
    };
    expect(text), expect(text.c_str()), expect(string(text));
    expect(std::basic_string_view<TypeParam>(text));
  }
  for (const char* const input :
       {" \"a \\\"b\" c", " ab c", "\"ab", "\"ab\\", "  "}) {
    // libc++ empties the text when there is none.
    if (!with_libstdcxx && std::string_view(input) == "  ") continue;
    const auto read = [](auto&& in, auto quoted, const auto& text) {
      in >> quoted;
      const bool skips = (in.flags() & in.skipws) != 0;
      const auto state = static_cast<iostate>(in.rdstate());
      in.clear();
      const auto rest = in.rdbuf()->sgetc();
      return std::tuple(shown<TypeParam>(text), state, skips, rest);
    };
    auto text = widened<TypeParam>("old"), expected = text;
    string own(text);
    const auto model =
        read(std::basic_istringstream<TypeParam>(widened<TypeParam>(input)),
             std::quoted(expected), expected);
    EXPECT_EQ(read(stream<TypeParam>(input), nalo::quoted(text), text), model);
    EXPECT_EQ(read(stream<TypeParam>(input), nalo::quoted(own), own), model);
  }
}

// As std::tm counts them.
std::string fields(const std::tm& t) {
  std::string all;
  for (const long n : {t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min,
                       t.tm_sec, t.tm_wday, t.tm_yday}) {
    all += std::to_string(n) + ' ';
  }
  return all;
}

TYPED_TEST(Std, WritesTimesAsTheStandardStreamsDo) {
  const std::tm tm = {9, 5, 13, 29, 1, 124, 4, 59, 0, 0, "GMT"};
  const std::string long_format(70, '%'), endless(2'000'000, 'x');
  for (const char* const format :
       {"%F %T", "%c|%x|%X|%p|%Z|%z", "", "%Ey %Od %Q", "%j%U%e%n%B",
        long_format.c_str()}) {
    const auto wide = widened<TypeParam>(format);
    stream<TypeParam> out;
    std::basic_ostringstream<TypeParam> expected;
    out << nalo::setw(9) << nalo::put_time(&tm, wide.c_str()) << 1;
    expected << std::setw(9) << std::put_time(&tm, wide.c_str()) << 1;
    EXPECT_EQ(out.written(), shown<TypeParam>(expected.str())) << format;
  }
  const auto wide = widened<TypeParam>(endless);
  stream<TypeParam> out;
  out.exceptions(bad);
  EXPECT_THROW(out << nalo::put_time(&tm, wide.c_str()), nalo::overflow_error);
}

TYPED_TEST(Std, ReadsTheFieldsOfTimes) {
  constexpr const char *leap = "124 1 29 13 5 9 4 59 ",
                       *day = "124 1 29 0 0 0 4 59 ",
                       *time = "0 0 0 13 5 9 0 0 ", *none = "0 0 0 0 0 0 0 0 ";
  const struct {
    const char *format, *input, *fields;
    long offset = 0;
  } rows[] = {
      {"%c", "Thu Feb 29 13:05:09 2024", leap},
      {"%F %T", "2024-02-29 13:05:09 x", leap},
      {"%x %X", "02/29/24 13:05:09", leap},
      {"%h %t%e %Y", "feb 29 2024", day},
      {"%A %B %e %y", "thursday FEBRUARY 29 24", day},
      {"%Ey %m %Od", "24 2 29", day},
      {"%Y-%m-%d", "2023-02-29", "123 1 29 0 0 0 0 0 "},  // no such day
      {"%D", "02/28/69", "69 1 28 0 0 0 5 58 "},
      {"%C%y-%m-%d", "1999-12-31", "99 11 31 0 0 0 5 364 "},
      {"%C", "19", none},
      {"%Y %d", "2024 9", "124 0 9 0 0 0 0 0 "},
      {"%Y-%m", "2024-02", "124 1 0 0 0 0 0 0 "},
      {"%r", "11:30:01 pm", "0 0 0 23 30 1 0 0 "},
      {"%I %p", "12 am", none},
      {"%R%n%j", "12:30  060", "0 0 0 12 30 0 0 59 "},
      {"%T %z", "13:05:09 +02:30", time, 9000},
      {"%T%z", "13:05:09-0730", time, -27000},
      {"%T %z", "13:05:09 Z.", time},
      {"%T %z", "13:05:09 5", "fail"},
      {"%z", "+02", none, 7200},
      {"%z", "+99", "fail"},
      {"%z", "+0270", "fail"},
      {"%u", "7", none},
      {"%u", "8", "fail"},
      {"%w", "6", "0 0 0 0 0 0 6 0 "},
      {"%w", "8", "fail"},
      {"%U %V %W", "10 52 53", none},
      {"%b %d", "Sept 1", "fail"},
      {"%b", "Frb", "fail"},
      {"%b", "{", "fail"},
      {"%Q", "1", "fail"},
      {"%E", "1", "fail"},
      {"%d", "0", "fail"},
      {"%m", "13", "fail"},
      {"%H", "", "fail"},
      {"%H", "24", "fail"},
      {" %H", "\t13", "0 0 0 13 0 0 0 0 "},
      {" %H", "\x01", "fail"},
      {"at %H", "at 13", "0 0 0 13 0 0 0 0 "},
      {"at %H", "on 13", "fail"},
      {"%d%%/X", "7%/x.", "0 0 7 0 0 0 0 0 "},
      {"%", "%%", none},
  };
  for (const auto& row : rows) {
    stream<TypeParam> in(row.input);
    std::tm read = {};
    in >> nalo::get_time(&read, widened<TypeParam>(row.format).c_str());
    SCOPED_TRACE(std::string(row.format) + " of " + row.input);
    EXPECT_EQ(in.fail() ? "fail" : fields(read), row.fields);
    EXPECT_EQ(in.fail() ? row.offset : read.tm_gmtoff, row.offset);
    EXPECT_EQ(in.eof(), in.rdbuf()->in_avail() <= 0);
  }
}

// Types with inserters for the streams of one library, of both or of any.
struct for_std {
  template <class Char>
  friend auto& operator<<(std::basic_ostream<Char>& out, const for_std&) {
    return out << "std";
  }
};
struct for_both : for_std {
  template <class Char>
  friend auto& operator<<(nalo::basic_ostream<Char>& out, const for_both&) {
    return out << "nalo";
  }
};
struct for_any {
  friend auto& operator<<(auto& out, const for_any&) {
    out << "any";
    return out;
  }
};
template <class Char>
struct converts : for_std {
  operator std::basic_string_view<Char>() const { return view; }
  std::basic_string_view<Char> view;
};
enum unscoped { two = 2 };
template <class Char>
auto& operator<<(std::basic_ostream<Char>& out, unscoped) {
  return out << "unscoped";
}
template <class Out, class T>
concept writes = requires(Out& out, T& value) {
  out << value;
};

TYPED_TEST(Std, WritesTypesWithOnlyStandardInserters) {
  using ostream = nalo::basic_ostream<TypeParam>;
  static_assert(!writes<ostream, void()> && !writes<ostream, int for_std::*>);
  static_assert(!writes<ostream, std::vector<int>> &&
                !writes<ostream, ostream>);
  const auto written = [](auto&& out, auto... manipulators) {
    (out << ... << manipulators);
    out.fill('.');
    out << std::complex<double>(1.23456, 255) << std::bitset<10>(37);
    out << std::this_thread::get_id() << for_std();
    return shown<TypeParam>(out.str());
  };
  EXPECT_EQ(written(stream<TypeParam>(), nalo::setw(12), nalo::setprecision(3),
                    nalo::left, nalo::hex, nalo::showbase),
            written(std::basic_ostringstream<TypeParam>(), std::setw(12),
                    std::setprecision(3), std::left, std::hex, std::showbase));
  stream<TypeParam> out;
  const auto text = widened<TypeParam>("view");
  out << for_both() << for_any() << unscoped::two
      << converts<TypeParam>{{}, text};
  out.setstate(bad);
  out << for_std();
  EXPECT_EQ(out.written(), "naloany2view") << "a bad stream was written to";
}

struct raising {
  template <class Char>
  friend std::basic_ostream<Char>& operator<<(std::basic_ostream<Char>&,
                                              const raising&) {
    throw std::runtime_error("own");
  }
};

TYPED_TEST(Std, HandlesErrorsInStandardInserters) {
  for (const auto mask : {good, bad}) {
    const auto raised_by = [&](fault kind, const auto& value, iostate left) {
      scripted_streambuf<TypeParam> buffer({});
      nalo::basic_ostream<TypeParam> out(&buffer, mask);
      out << nalo::setw(9);
      const auto error = nalo_test::raised_by([&] { out << value; }, 1, kind);
      // libc++ adds failbit.
      EXPECT_EQ(out.rdstate() & (with_libstdcxx ? ~0U : ~4U), left);
      EXPECT_EQ(out.width(), kind == fault::refusal ? 0 : 9);
      return error;
    };
    const bool raises = mask == bad;
    EXPECT_EQ(raised_by(fault::library, for_std(), bad),
              raises ? "library" : "");
    EXPECT_EQ(raised_by(fault::refusal, for_std(), bad),
              raises ? "basic_ios::clear" : "");
    EXPECT_EQ(raised_by(fault::none, raising(), good), "own");
  }
}

TYPED_TEST(Std, SetsBadbitWhenAThreadIsCancelledInAStandardStream) {
  if (!with_libstdcxx) GTEST_SKIP() << "libc++ ends a cancelled program";
  scripted_streambuf<TypeParam> buffer({});
  nalo::basic_ostream<TypeParam> out(&buffer);
  arm(1, fault::cancel);
  std::thread([&] { out << for_std(); }).join();
  EXPECT_TRUE(out.bad());
}

TYPED_TEST(Std, ReadsTypesWithOnlyStandardExtractors) {
  stream<TypeParam> in(" 0110 7");
  std::bitset<3> bits;
  in >> bits;
  EXPECT_EQ(bits.to_string(), "011");
  EXPECT_TRUE(in.get() == '0' && in.good());
  EXPECT_EQ((in >> bits).rdstate(), fail);
}

}  // namespace
