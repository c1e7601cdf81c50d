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
  EXPECT_TRUE(*at == 8 && at != numbers());
  EXPECT_TRUE(++at == std::default_sentinel && at == numbers());
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
  for (const char* const narrow : {"", "a b", "it's a|b", "a\\\"b"}) {
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
      EXPECT_EQ(
          written(stream<TypeParam>(), nalo::quoted(what)),
          written(std::basic_ostringstream<TypeParam>(), std::quoted(text)));
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
  // As in a CSV file.
  stream<TypeParam> csv("'it''s' '' '");
  string texts[3];
  for (auto& text : texts) csv >> nalo::quoted(text, '\'', '\'');
  EXPECT_EQ(shown<TypeParam>(texts[0]), "it's");
  EXPECT_TRUE(texts[1].empty() && csv.fail());
}

// As std::tm counts them, and an offset from UTC.
std::string fields(const std::tm& t) {
  std::ostringstream all;
  for (const int n : {t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min,
                      t.tm_sec, t.tm_wday, t.tm_yday}) {
    all << n << ' ';
  }
  if (t.tm_gmtoff != 0) all << std::showpos << t.tm_gmtoff;
  return all.str();
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
  // What is read, by each format from the text behind it.
  const std::pair<const char*, std::vector<std::string>> results[] = {
      {"124 1 29 13 5 9 4 59 ",
       {"%c|Thu Feb 29 13:05:09 2024", "%F %T|2024-02-29 13:05:09 x",
        "%x %X|02/29/24 13:05:09"}},
      {"124 1 29 0 0 0 4 59 ",
       {"%h %t%e %Y|feb 29 2024", "%A %B %e %y|thursday FEBRUARY 29 24",
        "%Ey %m %Od|24 2 29"}},
      {"124 1 29 0 0 0 0 59 ",
       {"%F %u|2024-02-29 7", "%F %w|2024-02-29 0", "%a %F|Sun 2024-02-29"}},
      {"123 1 29 0 0 0 0 0 ", {"%Y-%m-%d|2023-02-29"}},  // no such day
      {"0 2 1 0 0 0 0 0 ", {"%m-%d|03-01"}},
      {"69 1 28 0 0 0 5 58 ", {"%D|02/28/69"}},
      {"168 0 0 0 0 0 0 0 ", {"%y|68"}},
      {"99 11 31 0 0 0 5 364 ", {"%C%y-%m-%d|1999-12-31"}},
      {"100 0 0 0 0 0 0 0 ", {"%C|20"}},
      {"299 0 0 0 0 0 0 0 ", {"%C%y|2199"}},
      {"124 0 0 0 0 0 0 0 ", {"%C %Y|19 2024"}},
      {"124 0 9 0 0 0 0 0 ", {"%Y %d|2024 9"}},
      {"124 1 0 0 0 0 0 0 ", {"%Y-%m|2024-02"}},
      {"0 0 0 23 30 1 0 0 ", {"%r|11:30:01 pm"}},
      {"0 0 0 0 0 0 0 0 ", {"%I %p|12 am", "%p|pm", "%|%%"}},
      {"0 0 0 9 0 0 0 0 ", {"%I|9"}},
      {"0 0 0 9 5 0 0 0 ", {"%R|9: 05", "%H %M|9\t5", "%H %M|9\r5"}},
      {"fail 0 0 0 9 0 0 0 0 ", {"%H %M|9\0165", "%H %M|9\0015"}},
      {"0 0 0 12 30 0 0 59 ", {"%R%n%j|12:30  060"}},
      {"0 0 0 13 5 9 0 0 +9000", {"%T %z|13:05:09 +02:30"}},
      {"0 0 0 13 5 9 0 0 -27000", {"%T%z|13:05:09-0730"}},
      {"0 0 0 13 0 0 0 0 ", {"%z:%H|Z:13", "at %H|at 13", "at %H| at 13"}},
      {"0 0 0 13 0 0 0 0 +9000", {"%z%H|+023013"}},
      {"0 0 0 0 0 0 0 0 +7200", {"%z|+02"}},
      {"0 0 0 0 0 0 0 0 +89940", {"%z|+24:59"}},
      {"0 1 0 0 0 0 0 0 ", {"%bx|febx."}},
      {"0 0 7 0 0 0 0 0 ", {"%d%%/X|7%/x."}},
      {"fail 0 0 0 0 0 0 0 0 ",
       {"%I %M|9 60", "%z|+25", "%z|+0060", "%z|x02", "%b %d|Sept 1", "%b|Frb",
        "[%b|{feb", "%Q|1", "%E|1", "%H %M|24 5", "%H|", "%m|13",
        "at %H|on 13"}},
  };
  for (const auto& [result, rows] : results) {
    for (const std::string& row : rows) {
      const size_t bar = row.find('|');
      const auto format = widened<TypeParam>(row.substr(0, bar));
      stream<TypeParam> in(row.substr(bar + 1));
      std::tm read = {};
      in >> nalo::get_time(&read, format.c_str());
      SCOPED_TRACE(row);
      EXPECT_EQ((in.fail() ? "fail " : "") + fields(read), result);
      EXPECT_EQ(in.eof(), in.rdbuf()->in_avail() <= 0);
    }
  }
  // A day that was not read does not count.
  std::tm may = {};
  may.tm_mday = 9;
  stream<TypeParam>("2024-05") >>
      nalo::get_time(&may, widened<TypeParam>("%Y-%m").c_str());
  EXPECT_EQ(fields(may), "124 4 9 0 0 0 0 0 ");
  stream<TypeParam> failed("2025");
  failed.setstate(fail);
  failed >> nalo::get_time(&may, widened<TypeParam>("%Y").c_str());
  EXPECT_EQ(fields(may), "124 4 9 0 0 0 0 0 ");
  // Only the first letter has a code beyond the narrow characters.
  const TypeParam month[] = {TypeParam(0x166), 'e', 'b', 0};
  nalo::basic_istringstream<TypeParam> in(month);
  std::tm read = {};
  in >> nalo::get_time(&read, widened<TypeParam>("%b").c_str());
  EXPECT_EQ(in.fail(), sizeof(TypeParam) > 1);
}

TYPED_TEST(Std, ChecksTheRangesOfTheFieldsOfTimes) {
  const struct {
    char letter;
    int low, high;
  } rows[] = {{'C', 0, 99},  {'d', 1, 31}, {'H', 0, 23},  {'I', 1, 12},
              {'j', 1, 366}, {'m', 1, 12}, {'M', 0, 59},  {'S', 0, 60},
              {'u', 1, 7},   {'w', 0, 6},  {'U', 0, 53},  {'V', 0, 53},
              {'W', 0, 53},  {'y', 0, 99}, {'Y', 0, 9999}};
  for (const auto& row : rows) {
    const TypeParam format[] = {'%', TypeParam(row.letter), 0};
    const size_t digits = std::to_string(row.high).size();
    for (const int value : {row.low - 1, row.low, row.high, row.high + 1}) {
      auto text = std::to_string(value) + "5";
      if (value >= 0 && text.size() <= digits)
        text.insert(0, digits + 1 - text.size(), '0');
      const auto number = text.substr(0, digits);
      stream<TypeParam> in(text);
      std::tm read = {};
      in >> nalo::get_time(&read, format);
      SCOPED_TRACE(row.letter + (' ' + text));
      const bool fits = value >= 0 && std::stoi(number) >= row.low &&
                        std::stoi(number) <= row.high;
      EXPECT_EQ(in.fail(), !fits);
      const auto rest = static_cast<long>(text.size() - digits);
      EXPECT_TRUE(!fits || in.rdbuf()->in_avail() == rest);
    }
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
// Its inserter changes the format.
struct for_format : for_std {
  template <class Char>
  friend auto& operator<<(std::basic_ostream<Char>& out, const for_format&) {
    out.precision(3);
    out.fill('#');
    return out << std::hex;
  }
};
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
  out << nalo::unitbuf << for_format();
  EXPECT_EQ(out.flags(), ios_base::hex | ios_base::skipws | ios_base::unitbuf);
  EXPECT_TRUE(out.precision() == 3 && out.fill() == '#');
  out.setstate(bad);
  out << for_std();
  EXPECT_EQ(out.written(), "naloany2view") << "a bad stream was written to";
  EXPECT_EQ(out.rdstate(), bad | fail);
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
      out << nalo::setw(9) << nalo::unitbuf;
      const auto error = nalo_test::raised_by([&] { out << value; }, 1, kind);
      const bool synced = buffer.own_log_.ends_with("sync ");
      // libc++ adds failbit.
      EXPECT_EQ(out.rdstate() & (with_libstdcxx ? ~0U : ~4U), left);
      EXPECT_EQ(out.width(), synced || kind == fault::refusal ? 0 : 9);
      return synced ? error + "synced" : error;
    };
    const bool raises = mask == bad;
    EXPECT_EQ(raised_by(fault::library, for_std(), bad),
              raises ? "library" : "");
    EXPECT_EQ(raised_by(fault::refusal, for_std(), bad),
              raises ? "basic_ios::clear" : "");
    EXPECT_EQ(raised_by(fault::none, raising(), good), "own");
    EXPECT_EQ(raised_by(fault::none, for_std(), good), "synced");
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
  stream<TypeParam> short_of("01");
  EXPECT_EQ((short_of >> bits).rdstate(), eof);
  stream<TypeParam> failed("01");
  failed.setstate(fail);
  failed >> bits;
  EXPECT_EQ(failed.rdbuf()->in_avail(), 2);
}

template <class Char>
struct grouping : std::numpunct<Char> {
  std::string do_grouping() const override { return "\1"; }
};
TYPED_TEST(Std, FormatsByTheClassicLocaleInStandardInserters) {
  const auto before =
      std::locale::global(std::locale({}, new grouping<TypeParam>));
  stream<TypeParam> out;
  out << std::complex<double>(123);
  std::locale::global(before);
  EXPECT_EQ(out.written(), "(123,0)");
  stream<TypeParam> lacking;
  lacking.imbue(nalo::locale().without_<nalo::ctype<TypeParam>>());
  lacking << for_std();
  EXPECT_TRUE(lacking.bad()) << "the fill character cannot be widened";
  EXPECT_EQ(lacking.written(), "");
}

}  // namespace
