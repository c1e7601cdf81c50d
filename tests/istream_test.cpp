// What the extractions store, count, report and leave where no model tells it,
// and streams that lack a buffer, a facet or an end of their input.
#include <nalo/iomanip>
#include <nalo/istream>

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dump_counter.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::streamsize;
using nalo_test::scripted_streambuf;
using nalo_test::shown;
using nalo_test::widened;
using iostate = ios_base::iostate;

constexpr auto good = ios_base::goodbit;
constexpr auto bad = ios_base::badbit;
constexpr auto eof = ios_base::eofbit;
constexpr auto fail = ios_base::failbit;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

// Where a call puts what it reads. seen() tells all that was stored: the array
// with its null as |, the string in quotes, then the rest.
template <class Char>
struct place {
  using view = std::basic_string_view<Char>;

  std::string seen() const {
    view stored(s, std::size(s));
    stored = stored.substr(0, stored.find_last_not_of('#') + 1);
    std::string all;
    for (Char each : stored) all += each ? shown(view(&each, 1)) : "|";
    if (view(str) != view(&unset, 1)) all += '\'' + shown(view(str)) + '\'';
    if (ch != unset) all += shown(view(&ch, 1));
    if (n != unset) all += std::to_string(n);
    return all + shown<Char>(target.output());
  }

  void make_read_only() { str = str.c_str(&read_only, 1); }

  static constexpr Char unset = '#', read_only = 'x';
  Char s[10] = {unset, unset, unset, unset, unset,
                unset, unset, unset, unset, unset};
  nalo::basic_string<Char> str = nalo::basic_string<Char>(1, unset);
  Char ch = unset;
  long n = unset;
  scripted_streambuf<Char> target = scripted_streambuf<Char>(room_for_four());

 private:
  static nalo_test::script<Char> room_for_four() {
    return {.put_areas = {2}, .accepts = 4};
  }
};

template <class Char>
struct row {
  const char* call;
  void (*run)(nalo::basic_istream<Char>&, place<Char>&);
  const char* input;
  iostate state;
  streamsize gcount;  // 7 before the call
  const char* seen;
  const char* rest;
};

#define CALL(...)                                    \
  "" #__VA_ARGS__, [](nalo::basic_istream<Char>& in, \
                      [[maybe_unused]] place<Char>& p) { __VA_ARGS__; }

template <class T, class Char>
void number(nalo::basic_istream<Char>& in, place<Char>& p) {
  T value{};
  in >> value;
  if constexpr (std::is_pointer_v<T>) {
    p.n = reinterpret_cast<std::intptr_t>(value);
  } else {
    p.n = static_cast<long>(value);
  }
}

// The others are compared with a model.
template <class Char>
const row<Char> rows[] = {
    {CALL(p.n = in.sentry(false)), "   x", good, 7, "1", "x"},
    {CALL(p.n = in.sentry(false)), "   ", eof | fail, 7, "0", ""},
    {CALL(p.n = in.sentry(true)), "  x", good, 7, "1", "  x"},
    {CALL(noskipws(in); p.n = in.sentry(false)), "  x", good, 7, "1", "  x"},
    {CALL(in.clear(eof); p.n = in.sentry(false)), " x", eof | fail, 7, "0",
     " x"},

    {CALL(in.getline(p.s, 10)), "abc\ndef", good, 4, "abc|", "def"},
    {CALL(in.get(p.s, 4)), "ab\nc", good, 2, "ab|", "\nc"},
    {CALL(in.get(p.target)), "abcdef\n", good, 4, "abcd", "ef\n"},
    {CALL(in.get(p.target)), "ab\nc", good, 2, "ab", "\nc"},
    {CALL(in.get(p.ch)), "", eof | fail, 0, "", ""},
    {CALL(getline(in, p.str)), "one\ntwo", good, 7, "'one'", "two"},
    {CALL(in >> nalo::setw(4) >> p.s), "abcde", good, 7, "abc|", "de"},
    {CALL(in >> decltype(in.rdbuf())()), " a", fail, 0, "", " a"},
    {CALL(p.make_read_only(); getline(in, p.str)), "a", bad | fail, 7, "'x'",
     "a"},
    {CALL(p.make_read_only(); in >> p.str), "a", bad | fail, 7, "'x'", "a"},
    {CALL(p.make_read_only(); in.peek(); getline(in, p.str)), "\na", bad | fail,
     0, "'x'", "\na"},

    {CALL(p.n = in.readsome(p.s, 3)), "abcd", good, 3, "abc3", "d"},
    {CALL(p.n = in.readsome(p.s, 3)), "ab", good, 2, "ab2", ""},
    {CALL(p.n = in.readsome(p.s, 3)), "a", good, 1, "a1", ""},
    {CALL(p.n = in.readsome(p.s, 3)), "", eof, 0, "0", ""},
    {CALL(in.clear(eof | fail); in.unget()), "ab", fail, 0, "", "ab"},
    {CALL(p.n = in.sync()), " a", good, 7, "0", " a"},
    {CALL(in.get(p.ch); p.n = in.tellg()), "ab", good, 1, "a1", "b"},
    {CALL(p.n = in.tellg()), " a", good, 7, "0", " a"},
    {CALL(in.clear(fail); p.n = in.tellg()), "ab", fail, 7, "-1", "ab"},
    {CALL(in.clear(eof); in.seekg(1)), "ab", good, 7, "", "b"},
    {CALL(in.seekg(-1, ios_base::end)), "ab", good, 7, "", "b"},
    {CALL(in.seekg(0, ios_base::cur)), " a", good, 7, "", " a"},
    {CALL(in.seekg(3)), "ab", fail, 7, "", "ab"},
    {CALL(p.n = in.in_avail()), "abc", good, 7, "3", "abc"},
    {CALL(in.clear(fail); p.n = in.in_avail()), "", fail, 7, "-1", ""},

    // Numbers: the facet is asked for the type, its answer stored in full.
    {CALL(number<bool>(in, p)), " 1 ", good, 7, "1", " "},
    {CALL(number<short>(in, p)), "-32768x", good, 7, "-32768", "x"},
    {CALL(number<short>(in, p)), "32768 ", fail, 7, "32767", " "},
    {CALL(number<short>(in, p)), "-32769", eof | fail, 7, "-32768", ""},
    {CALL(number<unsigned short>(in, p)), "65535", eof, 7, "65535", ""},
    {CALL(number<int>(in, p)), "2147483647", eof, 7, "2147483647", ""},
    {CALL(number<int>(in, p)), "2147483648 ", fail, 7, "2147483647", " "},
    {CALL(number<int>(in, p)), "x", fail, 7, "0", "x"},
    {CALL(number<unsigned>(in, p)), "4294967295,", good, 7, "4294967295", ","},
    {CALL(number<long>(in, p)), "-12 ", good, 7, "-12", " "},
    {CALL(noskipws(in); number<long>(in, p)), "12 ", good, 7, "12", " "},
    {CALL(noskipws(in); number<long>(in, p)), " 12", fail, 7, "0", " 12"},
    {CALL(in.clear(eof); number<long>(in, p)), "12 ", eof | fail, 7, "0",
     "12 "},
    {CALL(number<unsigned long>(in, p)), "12 ", good, 7, "12", " "},
    {CALL(number<long long>(in, p)), "-12 ", good, 7, "-12", " "},
    {CALL(number<unsigned long long>(in, p)), "12 ", good, 7, "12", " "},
    {CALL(number<float>(in, p)), "12.5e1 ", good, 7, "125", " "},
    {CALL(number<double>(in, p)), "12.5e1 ", good, 7, "125", " "},
    {CALL(number<long double>(in, p)), "12.5e1 ", good, 7, "125", " "},
    {CALL(number<void*>(in >> nalo::ws, p)), " 0x1f ", good, 7, "31", " "},
};

template <class Char>
class Istream : public testing::Test {
 protected:
  nalo_test::dump_counter dumps_;
};

using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Istream, Chars);

TYPED_TEST(Istream, StoresCountsReportsAndLeaves) {
  const std::vector<size_t> areas[] = {{64}, {1}, {0}, {2, 0, 3}};
  for (const auto& row : rows<TypeParam>) {
    for (const auto& sizes : areas) {
      scripted_streambuf<TypeParam> buf({.input = widened<TypeParam>(row.input),
                                         .get_areas = sizes,
                                         .seekable = true});
      nalo::basic_istream<TypeParam> in(&buf);
      in.gcount_ = 7;
      place<TypeParam> p;
      row.run(in, p);
      SCOPED_TRACE(std::string(row.call) + " on \"" + row.input +
                   "\", areas of " + std::to_string(sizes[0]));
      EXPECT_EQ(in.rdstate(), row.state);
      EXPECT_EQ(in.gcount(), row.gcount);
      EXPECT_EQ(p.seen(), row.seen);
      EXPECT_EQ(shown<TypeParam>(buf.rest()),
                shown<char>(std::string_view(row.rest)));
    }
  }
}

TYPED_TEST(Istream, ReportsWhatTheBufferRefuses) {
  using Char = TypeParam;
  const struct {
    const char* call;
    void (*run)(nalo::basic_istream<Char>&, place<Char>&);
    iostate state;
  } cases[] = {
      {CALL(in.sync()), bad},
      {CALL(in.seekg(0)), fail},
      {CALL(in.seekg(0, ios_base::beg)), fail},
      {CALL(p.n = in.tellg()), good},
      {CALL(number<short>(in, p)), eof | fail},
  };
  for (const auto& c : cases) {
    scripted_streambuf<Char> buf({.input = widened<Char>("12"),
                                  .seekable = true,
                                  .fail_at = 1,
                                  .kind = nalo_test::fault::refusal});
    nalo::basic_istream<Char> in(&buf);
    place<Char> p;
    c.run(in, p);
    EXPECT_EQ(in.rdstate(), c.state) << c.call;
  }
}

TYPED_TEST(Istream, MissesAFacetWhenItIsNeeded) {
  using ctype = nalo::ctype<TypeParam>;
  using num_get =
      nalo::num_get<TypeParam, nalo::istreambuf_iterator<TypeParam>>;
  const auto classic = nalo::locale::classic();
  scripted_streambuf<TypeParam> buf({.input = widened<TypeParam>("1 word\n")});
  nalo::basic_istream<TypeParam> in(&buf);
  place<TypeParam> p;

  in.imbue(classic.template without_<num_get>());
  in >> p.n;
  EXPECT_EQ(in.rdstate(), bad);
  EXPECT_THROW(in.get_num_type(), nalo::null_facet_error);

  in.imbue(classic.template without_<ctype>());
  in.clear();
  in.gcount_ = 7;
  EXPECT_THROW(in.sentry(false), nalo::null_facet_error);
  EXPECT_THROW(in >> p.n, nalo::null_facet_error);
  EXPECT_THROW(in.getline(p.s, 9), nalo::null_facet_error);
  EXPECT_THROW(in.get(p.s, 9), nalo::null_facet_error);
  EXPECT_THROW(getline(in, p.str), nalo::null_facet_error);
  EXPECT_EQ(in.rdstate(), good);
  EXPECT_EQ(in.gcount(), 7);
  EXPECT_EQ(buf.own_log_, "imbue underflow imbue ");
  in >> nalo::ws;
  EXPECT_EQ(in.rdstate(), bad);

  // The gate uses the facet that the stream has cached, the words that of the
  // locale, which the base class changes alone.
  in.clear();
  in.imbue(classic);
  static_cast<ios_base&>(in).imbue(classic.template without_<ctype>());
  in.width(3);
  in.ignore();
  EXPECT_TRUE(in.sentry(false));
  getstring(in, p.s);
  EXPECT_EQ(in.rdstate(), bad | fail);
  EXPECT_EQ(in.width(), 3);
  EXPECT_EQ(p.seen(), "");
  in.clear();
  in.exceptions(bad);
  in.width(0);
  EXPECT_THROW(getstring(in, p.str), nalo::missing_facet_error);
  EXPECT_EQ(p.seen(), "''");
  EXPECT_EQ(shown<TypeParam>(buf.rest()), "word\\x0A");
}

TYPED_TEST(Istream, FailsWithoutABuffer) {
  nalo::basic_istream<TypeParam> in(nullptr);
  EXPECT_EQ(in.in_avail(), 0);
  EXPECT_EQ(in.rdstate(), bad);
  for (const auto& row : rows<TypeParam>) {
    if (std::string_view(row.call).find("in_avail") != std::string_view::npos)
      continue;
    place<TypeParam> p;
    in.clear();
    row.run(in, p);
    EXPECT_EQ(in.rdstate() | eof, bad | eof | fail) << row.call;
  }
  EXPECT_EQ(in.sync(), -1);
}

TEST(NarrowIstream, ReadsEveryKindOfCharacterWithoutAName) {
  scripted_streambuf<char> buf({.input = " \xFF b cdefg hijkl"});
  unsigned char first = 0, word[4] = {};
  signed char second = 0, other[6] = {};
  nalo::istream(&buf) >> first >> second >> word >> other;
  EXPECT_EQ(first, 0xFF);
  EXPECT_EQ(second, 'b');
  EXPECT_STREQ(reinterpret_cast<char*>(word), "cde");
  EXPECT_STREQ(reinterpret_cast<char*>(other), "fg");
  nalo::string line;
  getline(nalo::istream(&buf), line);
  EXPECT_STREQ(line.c_str(), " hijkl");
}

// The gate asks the facet that the stream has cached, the word that of the
// locale, which the base class changes alone.
TEST(NarrowIstream, EndsAWordAsItsLocaleSays) {
  scripted_streambuf<char> buf({.input = " a b:c "});
  nalo::istream in(&buf);
  buf.sgetc();
  auto table = std::make_unique<nalo::ctype_base::mask[]>(256);
  table[':'] = nalo::ctype_base::space;
  static_cast<ios_base&>(in).imbue(
      {nalo::locale(), new nalo::ctype<char>(table.release(), true)});
  nalo::string word;
  word.reserve(20);
  in >> word;
  EXPECT_STREQ(word.c_str(), "a b");
  EXPECT_EQ(buf.rest(), ":c ");
}

TEST(WideIstream, TakesTheLastCharacterValueForTheEnd) {
  const wchar_t last = static_cast<wchar_t>(-1);
  const wchar_t text[] = {L'a', L'a', last, L'b', L'c', 0};
  for (size_t size : {1U, 8U}) {
    scripted_streambuf<wchar_t> buf({.input = text, .get_areas = {size}});
    nalo::wistream in(&buf);
    wchar_t line[9];
    in.getline(line, 9);
    // A run is searched for the delimiter alone.
    EXPECT_EQ(in.gcount(), size == 1 ? 2 : 5);
    EXPECT_EQ(buf.rest(), size == 1 ? text + 2 : text + 5);
    EXPECT_EQ(in.rdstate(), eof);

    // But it is not taken for the delimiter, nor for the first of a run.
    scripted_streambuf<wchar_t> other({.input = text, .get_areas = {size}});
    nalo::wistream ended(&other);
    ended.peek();
    ended.getline(line, 9, last);
    EXPECT_EQ(ended.gcount(), 2);
    EXPECT_EQ(ended.rdstate(), eof);
    ended.clear();
    ended.getline(line, 9, L'c');
    EXPECT_EQ(ended.gcount(), 0);
    EXPECT_EQ(ended.rdstate(), eof | fail);

    scripted_streambuf<wchar_t> source({.input = text, .get_areas = {size}});
    scripted_streambuf<wchar_t> target({.put_areas = {8}});
    EXPECT_EQ((nalo::wistream(&source) >> &target).rdstate(), eof);
    EXPECT_EQ(target.output(), L"aa");
    EXPECT_EQ(source.rest(), text + 2);
  }
}

// Pretends get areas of any size, of which only the first character is there.
// Behind them come a code that is no character and the end.
class vast_streambuf : public nalo::streambuf {
 public:
  static constexpr int code = 0x12345;

  explicit vast_streambuf(std::vector<std::int64_t> sizes)
      : sizes_(std::move(sizes)) {}

 protected:
  int underflow() override {
    if (next_ == sizes_.size()) {
      setg(nullptr, nullptr, nullptr);
      return at_end_ ? -1 : code;
    }
    setg(&ch_, &ch_, &ch_ + sizes_[next_++]);
    return ch_;
  }
  int uflow() override {
    at_end_ = true;
    return code;
  }

 private:
  char ch_ = 'x';
  std::vector<std::int64_t> sizes_;
  size_t next_ = 0;
  bool at_end_ = false;
};

TEST(NarrowIstream, CountsPastTheLargestNumber) {
  constexpr std::int64_t area = std::int64_t{1} << 60;
  constexpr int code = vast_streambuf::code;
  const struct {
    std::vector<std::int64_t> last;  // behind seven areas
    streamsize n;
    int delim;
    streamsize gcount;
    iostate state;
  } cases[] = {
      {{area - 1, area}, no_limit, code, no_limit, good},
      {{area - 1}, no_limit, code, no_limit, good},
      {{area - 2}, no_limit, code, no_limit, good},
      {{area - 3}, no_limit, code, no_limit - 1, good},
      {{area - 2, area}, no_limit - 1, code, no_limit - 1, good},
      {{area - 1, area}, no_limit, -1, no_limit, eof},
      {{area - 1}, no_limit, -1, no_limit, eof},
      {{area - 3}, no_limit, -1, no_limit - 1, eof},
      {{area - 2, area}, no_limit - 1, -1, no_limit - 1, good},
  };
  for (const auto& c : cases) {
    std::vector<std::int64_t> sizes(7, area);
    sizes.insert(sizes.end(), c.last.begin(), c.last.end());
    vast_streambuf buf(sizes);
    nalo::istream in(&buf);
    in.ignore(c.n, c.delim);
    SCOPED_TRACE("last area " + std::to_string(c.last[0]) + " of " +
                 std::to_string(sizes.size()) + ", n " + std::to_string(c.n) +
                 ", delim " + std::to_string(c.delim));
    EXPECT_EQ(in.gcount(), c.gcount);
    EXPECT_EQ(in.rdstate(), c.state);
  }
}

}  // namespace
