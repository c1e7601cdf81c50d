// The extractions of basic_istream: what each stores, counts, reports and
// leaves, the exception policy, and streams that lack a buffer, a facet or an
// end of their input.
#include <nalo/iomanip>
#include <nalo/istream>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "dump_counter.h"
#include "failing_source.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::streamsize;
using nalo_test::dump_counter;
using nalo_test::fault;
using nalo_test::raised_by;
using nalo_test::scripted_streambuf;
using nalo_test::shown;
using nalo_test::widened;
using iostate = ios_base::iostate;

constexpr auto good = ios_base::goodbit;
constexpr auto bad = ios_base::badbit;
constexpr auto eof = ios_base::eofbit;
constexpr auto fail = ios_base::failbit;
constexpr streamsize no_limit = std::numeric_limits<streamsize>::max();

template <class Char>
using traits = nalo::char_traits<Char>;
template <class Char>
using int_type = typename traits<Char>::int_type;

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

  static constexpr Char unset = '#';
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

template <class Char>
const row<Char> rows[] = {
    // The gate.
    {CALL(p.n = in.sentry(false)), "   x", good, 7, "1", "x"},
    {CALL(p.n = in.sentry(false)), "   ", eof | fail, 7, "0", ""},
    {CALL(p.n = in.sentry(true)), "  x", good, 7, "1", "  x"},
    {CALL(noskipws(in); p.n = in.sentry(false)), "  x", good, 7, "1", "  x"},
    {CALL(in.clear(eof); p.n = in.sentry(false)), " x", eof | fail, 7, "0",
     " x"},

    {CALL(in.ignore(0)), "ab", good, 7, "", "ab"},
    {CALL(in.ignore(-5, 'a')), "ab", good, 7, "", "ab"},
    {CALL(in.ignore(1)), "a", good, 1, "", ""},
    {CALL(in.ignore(1)), "", eof, 0, "", ""},
    {CALL(in.ignore(2)), "ab", eof, 2, "", ""},
    {CALL(in.ignore(3)), "abcdef", good, 3, "", "def"},
    {CALL(in.ignore(no_limit)), "abc", eof, 3, "", ""},
    {CALL(in.ignore(99, ':')), "ab:cd", good, 3, "", "cd"},
    {CALL(in.ignore(2, ':')), "ab:cd", good, 3, "", "cd"},
    {CALL(in.ignore(2, ':')), "abc", good, 2, "", "c"},
    {CALL(in.ignore(no_limit, ':')), "ab:cd", good, 3, "", "cd"},
    {CALL(in.ignore(99, traits<Char>::eof())), "a:b", eof, 3, "", ""},
    {CALL(in.ignore(99, 0xE9)), "ab\xE9:", good, 3, "", ":"},
    {CALL(in.ignore(99, int_type<Char>(-23))), "a\xE9:", eof, 3, "", ""},

    {CALL(in.getline(p.s, 10)), "abc\ndef", good, 4, "abc|", "def"},
    {CALL(in.getline(p.s, 10, '\n')), "abc", eof, 3, "abc|", ""},
    {CALL(in.getline(p.s, 4, '\n')), "abc\n", good, 4, "abc|", ""},
    {CALL(in.getline(p.s, 4, '\n')), "abcd\n", fail, 3, "abc|", "d\n"},
    {CALL(in.getline(p.s, 10, '\n')), "\nx", good, 1, "|", "x"},
    {CALL(in.getline(p.s, 1, '\n')), "\nx", good, 1, "|", "x"},
    {CALL(in.getline(p.s, 1, '\n')), "x", fail, 0, "|", "x"},
    {CALL(in.getline(p.s, 0, '\n')), "\nx", good, 1, "", "x"},
    {CALL(in.getline(p.s, -3, '\n')), "x", fail, 0, "", "x"},
    {CALL(in.getline(p.s, 0, '\n')), "", eof | fail, 0, "", ""},
    {CALL(in.getline(p.s, 10, '\n')), "", eof | fail, 0, "|", ""},
    {CALL(in.clear(eof); in.getline(p.s, 9)), "a", eof | fail, 0, "|", "a"},

    {CALL(in.width(4); getstring(in, p.s)), " abcdef", good, 7, "abc|", "def"},
    {CALL(in.width(1); getstring(in, p.s)), "abc", fail, 7, "|", "abc"},
    {CALL(getstring(in, p.s)), "abc", eof, 7, "abc|", ""},
    {CALL(getstring(in, p.s)), "   ", eof | fail, 7, "", ""},
    {CALL(noskipws(in); getstring(in, p.s)), " a", fail, 7, "|", " a"},
    {CALL(getstring(in, p.str)), "  hello world", good, 7, "'hello'", " world"},
    {CALL(in.width(4); in >> p.str; p.n = in.width()), "abcdef", good, 7,
     "'abcd'0", "ef"},
    {CALL(in.width(3); in >> p.str; p.n = in.width()), "  ", eof | fail, 7, "3",
     ""},
    {CALL(noskipws(in); getstring(in, p.str)), " a", fail, 7, "''", " a"},
    {CALL(in >> p.s), "abcdefghijk", good, 7, "abcdefghi|", "jk"},
    {CALL(in >> nalo::setw(4) >> p.s), "abcde", good, 7, "abc|", "de"},

    {CALL(getline(in, p.str)), "one\ntwo", good, 7, "'one'", "two"},
    {CALL(getline(in, p.str)), "\nx", good, 7, "''", "x"},
    {CALL(getline(in, p.str)), "abc", eof, 7, "'abc'", ""},
    {CALL(getline(in, p.str)), "", eof | fail, 7, "''", ""},
    {CALL(getline(in, p.str, Char(0xE9))), "ab\xE9\n", good, 7, "'ab'", "\n"},
    {CALL(in.clear(fail); getline(in, p.str)), "abc", fail, 7, "", "abc"},
    {CALL(getline(in, p.str, Char(';'), 3)), "abc;d", good, 7, "'abc'", "d"},
    {CALL(getline(in, p.str, Char(';'), 3)), "abcd", fail, 7, "'abc'", "d"},
    {CALL(getline(in, p.str, Char(';'), 3)), "abc", eof, 7, "'abc'", ""},
    {CALL(getline(in, p.str, Char(';'), 0)), "a", fail, 7, "''", "a"},

    {CALL(in.get(p.ch)), "", eof | fail, 0, "", ""},
    {CALL(p.n = static_cast<long>(in.get())), "\xFF", good, 1, "255", ""},
    {CALL(in.get(p.s, 4)), "ab\nc", good, 2, "ab|", "\nc"},
    {CALL(in.get(p.target)), "abcdef\n", good, 4, "abcd", "ef\n"},
    {CALL(in >> &p.target), " b\n", eof, 3, " b\\x0A", ""},
    {CALL(in >> decltype(in.rdbuf())()), "a", fail, 0, "", "a"},
    {CALL(p.n = in.readsome(p.s, 3)), "abcd", good, 3, "abc3", "d"},
    {CALL(p.n = in.readsome(p.s, 3)), "ab", good, 2, "ab2", ""},
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
  dump_counter dumps_;
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

template <class Char>
struct policy_row {
  const char* call;
  void (*run)(nalo::basic_istream<Char>&, place<Char>&);
  iostate refused;           // the bits when the buffer refuses the first call
  bool inside = false;       // they are set inside the guarded region
  bool empty_fails = false;  // failbit also when an error was dropped
  bool clears_eof = false;   // before the gate
};

template <class Char>
const policy_row<Char> policy_rows[] = {
    {CALL(in.ignore()), eof, true},
    {CALL(in.ignore(9)), eof, true},
    {CALL(in.ignore(9, 'x')), eof, true},
    {CALL(in.getline(p.s, 9, '\n')), eof | fail, false, true},
    {CALL(in.get(p.s, 9, '\n')), eof | fail, false, true},
    {CALL(in.get(p.target)), eof | fail, false, true},
    {CALL(getline(in, p.str)), eof | fail, false, true},
    {CALL(getline(in, p.str, Char('\n'), 2)), eof | fail, false, true},
    {CALL(getstring(in, p.str)), eof | fail, false, true},
    {CALL(getstring(in, p.s)), eof | fail, false, true},
    {CALL(in.get()), eof | fail},
    {CALL(in.read(p.s, 2)), eof | fail},
    {CALL(in.readsome(p.s, 2)), eof},
    {CALL(in.peek()), eof},
    {CALL(in >> p.ch), eof | fail},
    {CALL(in >> p.n), eof | fail},
    {CALL(number<short>(in, p)), eof | fail},
    {CALL(in >> nalo::ws), eof},
    {CALL(in.sync()), bad},
    {CALL(in.tellg()), good},
    {CALL(in.seekg(0)), fail, false, false, true},
    {CALL(in.seekg(0, ios_base::beg)), fail, false, false, true},
    {CALL(in.unget()), bad, false, false, true},
    {CALL(in.putback('x')), bad, false, false, true},
};

TYPED_TEST(Istream, AppliesOneExceptionPolicy) {
  const auto has = [](iostate state, iostate bits) {
    return (state & bits) != good;
  };
  for (const auto& row : policy_rows<TypeParam>) {
    for (unsigned pick = 0; pick < 8 * 8 * 4; ++pick) {
      const auto mask = static_cast<iostate>(pick & 7);
      const auto initial = static_cast<iostate>(pick >> 3 & 7);
      const auto kind = static_cast<fault>(1 + (pick >> 6));

      iostate state = row.clears_eof ? initial & ~eof : initial;
      const bool open = state == good;
      std::string raised;
      int dumps = 0;
      const auto meet_mask = [&] {
        if (has(state, mask)) raised = "basic_ios::clear";
      };
      if (!open) {
        if (!row.clears_eof || !has(state, mask)) state |= fail;
        meet_mask();
      } else if (kind == fault::other) {
        raised = "int";
      } else if (kind != fault::refusal) {
        const bool library = kind == fault::library;
        state = bad;
        if (has(mask, bad)) {
          raised = library ? "library" : "standard";
        } else {
          dumps = library;
          if (row.empty_fails) state |= fail;
          meet_mask();
        }
      } else {
        state = row.refused;
        if (row.inside && has(state, mask)) {
          state |= bad;
          dumps = !has(mask, bad);
        }
        if (!dumps) meet_mask();
      }

      scripted_streambuf<TypeParam> buf(
          {.input = widened<TypeParam>("12\n"), .fail_at = 1, .kind = kind});
      nalo::basic_istream<TypeParam> in(&buf);
      in.unsetf(ios_base::skipws);
      in.clear(initial);
      raised_by([&] { in.exceptions(mask); });
      place<TypeParam> p;
      const int before = this->dumps_.count();
      SCOPED_TRACE(std::string(row.call) + ", mask " + std::to_string(mask) +
                   ", state " + std::to_string(initial) + ", fault " +
                   std::to_string(static_cast<int>(kind)));
      EXPECT_EQ(raised_by([&] { row.run(in, p); }), raised);
      EXPECT_EQ(in.rdstate(), state);
      EXPECT_EQ(this->dumps_.count() - before, dumps);
      EXPECT_EQ(buf.calls_, open);
    }
  }
}

TYPED_TEST(Istream, RefusesReadOnlyStrings) {
  using string = nalo::basic_string<TypeParam>;
  const auto text = widened<TypeParam>("text");
  string str = string::c_str(text.c_str());
  scripted_streambuf<TypeParam> buf({.input = text});
  nalo::basic_istream<TypeParam> in(&buf);
  getline(in, str);
  EXPECT_EQ(in.rdstate(), bad | fail);
  in.clear();
  getstring(in, str);
  EXPECT_EQ(in.rdstate(), bad | fail);
  in.clear();
  in.exceptions(bad);
  EXPECT_THROW(getline(in, str), nalo::rvalue_error);
  EXPECT_EQ(str.c_str(), text.c_str());
  EXPECT_EQ(buf.rest(), text);
}

TYPED_TEST(Istream, LeavesWhatAStringHasNoMemoryFor) {
  const auto text = widened<TypeParam>(std::string(99, 'x'));
  nalo_test::failing_source memory;
  nalo::allocator allocator(memory);
  nalo::basic_string<TypeParam> str(allocator);
  scripted_streambuf<TypeParam> buf({.input = text, .get_areas = {2, 97}});
  nalo::basic_istream<TypeParam> in(&buf);
  memory.refuse_after(0);
  getline(in, str);
  EXPECT_EQ(in.rdstate(), bad);
  EXPECT_EQ(shown<TypeParam>(str), "xx");
  EXPECT_EQ(buf.position(), 2);
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
  EXPECT_THROW(getstring(in, p.str), nalo::missing_facet_error);
  EXPECT_EQ(p.seen(), "''");
  EXPECT_EQ(shown<TypeParam>(buf.rest()), "word\\x0A");
}

TYPED_TEST(Istream, FailsWithoutABuffer) {
  EXPECT_EQ(raised_by([] { nalo::basic_istream<TypeParam> in(nullptr, eof); }),
            "nalo::basic_ios<Char,Traits>::init invalid buffer");
  nalo::basic_istream<TypeParam> in(nullptr);
  EXPECT_EQ(in.in_avail(), 0);
  EXPECT_EQ(in.rdstate(), bad);
  EXPECT_EQ(in.sync(), -1);
  EXPECT_EQ(in.rdstate(), bad | fail);
  for (const auto& row : policy_rows<TypeParam>) {
    place<TypeParam> p;
    in.clear();
    row.run(in, p);
    EXPECT_EQ(in.rdstate(), bad | fail) << row.call;
  }
}

TYPED_TEST(Istream, IsDestroyedThroughItsBases) {
  struct derived : nalo::basic_istream<TypeParam> {
    explicit derived(int& count)
        : nalo::basic_istream<TypeParam>(nullptr), count_(count) {}
    ~derived() override { ++count_; }
    int& count_;
  };
  int count = 0;
  std::unique_ptr<nalo::basic_istream<TypeParam>>(new derived(count)).reset();
  std::unique_ptr<nalo::basic_ios<TypeParam>>(new derived(count)).reset();
  std::unique_ptr<ios_base>(new derived(count)).reset();
  EXPECT_EQ(count, 3);
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
