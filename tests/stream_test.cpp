// Streams: random sequences of operations compared with a model, operations
// that the model does not define, and the areas of buffers.
#include <nalo/ranges>

#include <ranges>

#include "stream_model.h"

namespace {

using namespace nalo_test;
using namespace nalo_test::streams;
using nalo::left, nalo::lines, nalo::noskipws, nalo::setw, nalo::words;

TEST_SUITE_OF_CHARACTERS(Stream);

TYPED_TEST(Stream, AgreesWithTheModel) {
  choices random(20240229);
  for (int round = 0; round < 6000 && !this->HasFailure(); ++round) {
    compare<TypeParam>(random, 20);
  }
}

// A facet that records whether it is destroyed during a call of a buffer.
bool in_buffer, destroyed;
template <class Char>
struct watched_punct : nalo::numpunct<Char> {
  ~watched_punct() override { destroyed |= in_buffer; }
};

// A stream as its derived classes see it.
template <class Char>
struct stream : nalo::basic_iostream<Char> {
  using in = nalo::basic_istream<Char>;
  using out = nalo::basic_ostream<Char>;
  using nalo::basic_iostream<Char>::basic_iostream;
  using out::sentry, out::unitsync, out::do_write;
  // Lets the buffer refuse its next call.
  stream& refusing() {
    arm(1, fault::refusal);
    return *this;
  }
  // Lets the k-th call of the buffer replace the locale, with small get areas.
  stream& relocated(size_t k) {
    buf().play_.get_areas = {1};
    this->imbue(nalo::locale(nalo::locale(), new watched_punct<Char>));
    destroyed = false;
    meddle = [this] {
      const while_set now(in_buffer, true);
      this->imbue(nalo::locale::classic());
    };
    arm(k, fault::meddle);
    return *this;
  }
  void drop_ctype() {
    this->imbue(this->getloc().template without_<nalo::ctype<Char>>());
  }
  // Whether the locale was replaced, but kept alive while it was in use.
  bool kept() { return !destroyed && this->getloc() == nalo::locale(); }
  scripted_streambuf<Char>& buf() {
    return static_cast<scripted_streambuf<Char>&>(*this->rdbuf());
  }
  // The virtual calls of the buffer.
  std::string log() { return buf().own_log_; }
  long copy() { return nalo::copy_streambufs_eof(&buf(), &buf(), over); }
  static constexpr auto none = nalo::char_traits<Char>::eof();
  static constexpr nalo::basic_streambuf<Char>* no_buffer = nullptr;
  nalo::basic_string<Char> str;
  long n = 0;
  bool over = false;
};

// A stream that gets its buffer later.
template <class Base>
struct late : Base {};

// A manipulator of input and output.
template <class Char>
nalo::basic_ios<Char>& wider(nalo::basic_ios<Char>& ios) {
  ios.width(ios.width() + 1);
  return ios;
}

// The result of a call: a number, a text, or a range with brackets.
std::string text_of(long value) { return std::to_string(value); }
std::string text_of(std::string text) { return text; }
std::string text_of(std::ranges::view auto range) {
  std::string all;
  for (const auto& each : range) {
    all += '[' + shown(std::basic_string_view(each.data(), each.size())) + ']';
  }
  return all;
}

template <class Char>
struct row {
  const char* call;
  std::string (*run)(stream<Char>&, Char (&s)[3]);
  const char* input;
  iostate state;
  const char* result;
  const char* rest = "";
  streamsize gcount = 7;  // as before the call
  const char* output = "";
};

constexpr const char* far =
    "more than sixty-four characters, which are widened in several blocks";

#define CALL(...)                                                           \
  "" #__VA_ARGS__,                                                          \
      []([[maybe_unused]] stream<Char>& io, [[maybe_unused]] Char(&s)[3]) { \
        return text_of((__VA_ARGS__));                                      \
      }

template <class Char>
const row<Char> rows[] = {
    {CALL(io.get(*s), *s == 'a'), "ab", good, "1", "b", 1},
    {CALL(io.get(*s), *s == '#'), "", eof | fail, "1", "", 0},
    {CALL(io >> *s, *s == 'a'), " ab", good, "1", "b"},
    {CALL(io >> noskipws >> *s, *s == '#'), "", eof | fail, "1"},
    {CALL(io >> s, s[2] == 0), " abc", good, "1", "c"},
    {CALL(getstring(io, s), s[1] == 0), "a", eof, "1"},
    {CALL((io >> nalo::ws).peek() == 'a'), " \nab", good, "1", "ab", 0},
    {CALL(io >> nalo::ws, 0), " ", eof, "0"},
    {CALL(io.peek() == io.none), "", eof, "1", "", 0},
    {CALL(io.peek(), io.read(s, 2), s[1] == 'b'), "abc", good, "1", "c", 2},
    {CALL(io.read(s, 3), s[1] == 'b'), "ab", eof | fail, "1", "", 2},
    {CALL(io.readsome(s, 2)), "abc", good, "2", "c", 2},
    {CALL(io.readsome(s, 3)), "a", good, "1", "", 1},
    {CALL(io.readsome(s, 3)), "", eof, "0", "", 0},
    {CALL(io.get(), io.clear(eof), io.unget(), 0), "ab", good, "0", "ab", 0},
    {CALL(io.clear(eof | fail), io.unget(), 0), "ab", fail, "0", "ab", 0},
    {CALL(io.unget(), 0), "ab", bad, "0", "ab", 0},
    {CALL(io.get(), io.putback('a'), 0), "ab", good, "0", "ab", 0},
    {CALL(io.get(), io.putback('b'), 0), "ab", bad, "0", "b", 0},
    // gcount() is 0 even when clearing eofbit raises.
    {CALL(io.clear(fail), raised_by([&] { io.exceptions(fail); }),
          raised_by([&] { io.unget(); }), 0),
     "", fail, "0", "", 0},
    {CALL(io.sync()), " a", good, "0", " a"},
    {CALL(io.refusing().sync()), "a", bad, "-1", "a"},
    {CALL(io.get(), io.tellg()), "a b", good, "1", " b", 1},
    {CALL(io.clear(fail), io.tellg()), "ab", fail, "-1", "ab"},
    {CALL(io.clear(eof), io.seekg(1), 0), "ab", good, "0", "b"},
    {CALL(io.seekg(-1, io.end), 0), "ab", good, "0", "b"},
    {CALL(io.seekg(3), 0), "ab", fail, "0", "ab"},
    {CALL(io.clear(eof), io.seekp(1).seekp(-1, io.end), io.log()), "abc", eof,
     "seekpos(1,16) seekoff(-1,2,16) ", "c"},
    {CALL(io.get(), io.tellp()), "abc", good, "1", "bc", 1},
    {CALL(io.seekp(1), io.tellp()), "", fail, "-1"},
    {CALL(io.clear(fail), io.in_avail()), "abc", fail, "3", "abc"},
    {CALL(io.clear(fail), io.in_avail()), "", fail, "-1"},
    // The forms without a delimiter.
    {CALL(io.getline(s, 3), s[0] == 'a'), "a\nb", good, "1", "b", 2},
    {CALL(io.get(s, 3), s[0] == 'a'), "a\nb", good, "1", "\nb", 1},
    {CALL(io.get(*io.rdbuf()), 0), "a\nb", good, "0", "\nb", 1, "a"},
    {CALL(io >> io.no_buffer, 0), " a", fail, "0", " a", 0},

    {CALL(lines(io)), "a\n\nb c", eof | fail, "[a][][b c]"},
    {CALL(lines(io, ',')), "a,\n,", eof | fail, "[a][\\x0A]"},
    {CALL(lines(io, ',', 2)), "ab,c,abc", fail, "[ab][c]", "c"},
    {CALL(words(io)), " a bc\n\t", eof | fail, "[a][bc]"},
    {CALL(io >> noskipws, io.peek(), words(io)), " a", fail, "", " a", 0},
    {CALL(words(io, 1)), "ab c", eof | fail, "[a][b][c]"},
    // The width of the stream limits only the first word.
    {CALL(io.width(2), words(io)), "abcd", eof | fail, "[ab][cd]"},
    {CALL(words(io).begin()->size(), words(io).begin()++, lines(io)), "a b c d",
     eof | fail, "[ d]"},

    // Manipulators run in any state and ignore the width.
    {CALL(io >> wider<Char>, io << wider<Char>, io.width()), "", good, "2"},
    {CALL(io << nalo::ends << nalo::endl, io.log()), "", good,
     "overflow(0) sync ", "", 7, "\\x00\\x0A"},
    {CALL(io.clear(bad), io << nalo::flush, io.log()), "", bad, "sync "},
    {CALL(io.peek(), io >> noskipws >> io.n, io.n), " 1", fail, "0", " 1", 0},
    {CALL(io.peek(), io.tie(&io), io >> io.n, io.log()), "1 ", good,
     "underflow sync ", " ", 0},
    {CALL(io.peek(), io >> io.n, io.n), " 12 3", good, "12", " 3", 0},
    {CALL(io.peek(), io.clear(fail), io >> io.n, io.n), "1", fail, "0", "1", 0},
    {CALL(io.peek(), io.drop_ctype(), raised_by([&] { io >> io.n; })), "7",
     good, "nalo::ios_base the locale lacks a facet", "7", 0},
    {CALL(io.relocated(2).in::sentry(false), io.kept()), "  1", good, "1", "1"},
    {CALL(io.relocated(1) >> nalo::ws, io.kept()), " 1", good, "1", "1", 7},
    {CALL(io.relocated(4) >> s, io.kept()), "  ab c", good, "1", " c"},
    {CALL(io.relocated(4) >> io.str, io.kept()), "  ab c", good, "1", " c"},
    {CALL(io.relocated(4) >> io.n, io.kept()), "  12 ", good, "1", " "},
    {CALL(io.relocated(1) << setw(3) << 42, io.kept()), "", good, "1", "", 7,
     " 42"},
    {CALL(io.relocated(1) << 1.5, io.kept()), "", good, "1", "", 7, "1.5"},
    // Even when the put area has room, fill() is widened in the guarded region.
    {CALL(io.put('a'), io.drop_ctype(), io << 42, 0), "", bad, "0", "", 7, "a"},
    // Nothing is written after a refusal.
    {CALL(io.refusing() << left << setw(80) << far, io.log()), "", bad,
     "xsputn "},
    {CALL(io.write(s, 2), 0), "", good, "0", "", 7, "##"},
    {CALL(io.refusing().write(s, 2), 0), "", bad, "0"},
    {CALL(io.refusing().flush(), 0), "", bad, "0"},
    {CALL(io << left << setw(3) << "a", 0), "", good, "0", "", 7, "a  "},
    {CALL(io.n = io.copy(), io.n + io.over), "ab", good, "3", "", 7, "ab"},
    {CALL(io.peek(), io.refusing().copy(), io.over), "ab", good, "0", "ab", 0},
    // What derived classes call.
    {CALL(io.setf(io.unitbuf), io.unitsync(), io.log()), "", good, "sync "},
    {CALL(io.sentry() && io.do_write(s, 2)), "", good, "1", "", 7, "##"},
    {CALL(io.clear(eof), io.sentry()), "", eof | fail, "0"},
    {CALL(late<nalo::basic_istream<Char>>().rdstate()), "", good, "1"},
    {CALL(late<nalo::basic_ostream<Char>>().rdstate()), "", good, "1"},
    {CALL(late<nalo::basic_iostream<Char>>().rdstate()), "", good, "1"},
};
#undef CALL

TYPED_TEST(Stream, ReturnsResultsStatesAndCounts) {
  using Char = TypeParam;
  for (const auto& row : rows<Char>) {
    scripted_streambuf<Char> buf(
        {.input = widened<Char>(row.input), .seekable = true});
    stream<Char> io(&buf);
    EXPECT_EQ(std::exchange(io.gcount_, 7), 0);
    Char s[] = {'#', '#', '#'};
    SCOPED_TRACE(std::string(row.call) + " on \"" + row.input + '"');
    EXPECT_EQ(row.run(io, s), row.result);
    EXPECT_EQ(io.rdstate(), row.state);
    EXPECT_EQ(io.gcount(), row.gcount);
    EXPECT_EQ(buf.rest(), widened<Char>(row.rest));
    EXPECT_EQ(shown<Char>(buf.output()), row.output);
  }
}

template <class T>
struct converting {
  operator T() const { return value; }
  T value;
};
enum letter : char { letter_x = 'x' };
// std::string must not be converted to this.
struct made_of_text {
  made_of_text(const std::string&) {}
};
void operator<<(nalo::ostream&, const made_of_text&) = delete;

TYPED_TEST(Stream, WritesTextsOfEveryType) {
  using Char = TypeParam;
  using out = nalo::basic_ostream<Char>;
  const auto expect_one = [](const std::string& output, auto&& value) {
    scripted_streambuf<Char> buf({});
    out to(&buf);
    std::move(to) << nalo::setfill(Char('.')) << nalo::setw(5);
    to << static_cast<decltype(value)>(value);
    EXPECT_EQ(shown<Char>(buf.output()), output) << typeid(value).name();
    EXPECT_EQ(to.rdstate(), output.empty() ? bad : good);
  };
  const auto expect = [&](const char* output, auto&&... values) {
    (expect_one(output, static_cast<decltype(values)>(values)), ...);
  };
  const auto text = widened<Char>("abc");
  const nalo::basic_string<Char> str(text);
  expect("....x", Char('x'), 'x', letter_x, converting<char>{'x'});
  expect("....\\xE9", "\xE9");
  expect("..abc", text.c_str(), "abc", converting<const char*>{"abc"}, text,
         std::basic_string<Char, other_traits<Char>>(text.c_str()), str);
  expect("...bc", std::basic_string_view<Char>(text).substr(1));
  expect("abcabc", str + str);
  expect(".....", "");
  expect(far, far);
  expect("nullptr", nullptr);
  expect("....0", static_cast<const void*>(nullptr));
  expect("", static_cast<const char*>(nullptr),
         static_cast<const Char*>(nullptr), stream<Char>::no_buffer);
  if constexpr (sizeof(Char) == 1) {
    expect("....a", static_cast<unsigned char>('a'),
           static_cast<signed char>('a'));
    expect("..abc", reinterpret_cast<const unsigned char*>("abc"),
           reinterpret_cast<const signed char*>("abc"));
  }
}

template <class Out, class T>
concept insertable = requires(Out& out, const T& value) {
  out << value;
};
template <class Out, class... T>
constexpr bool any_insertable = (... || insertable<Out, T>);
static_assert(!any_insertable<nalo::wostream, std::string, char8_t, char16_t,
                              const char16_t*, char32_t>);
static_assert(!any_insertable<nalo::ostream, nalo::istream, wchar_t,
                              const char8_t*, char16_t, char32_t, void (*)(),
                              void (std::string::*)(), int std::string::*>);

int ended = 0;

// A buffer whose protected members are public.
template <class Base>
struct opened : Base {
  opened() = default;
  explicit opened(const auto& from) : Base(from) {}
  ~opened() override { ++ended; }
  using Base::destroy_, Base::setg_, Base::setp_;
  using Base::eback, Base::gptr, Base::egptr, Base::gbump, Base::gbump_;
  using Base::pbase, Base::pptr, Base::epptr, Base::pbump, Base::pbump_;
};
TYPED_TEST(Stream, BufferIsEmptyByDefaultAndCanBeDestroyedInPlace) {
  using plain = opened<nalo::basic_streambuf<TypeParam>>;
  alignas(plain) unsigned char memory[sizeof(plain)];
  const nalo::locale other = nalo::locale().without_<nalo::ctype<TypeParam>>();
  plain& buf = *new (memory) plain(other);
  for (auto ch : {buf.sbumpc(), buf.sputbackc('x'), buf.sputc('x')}) {
    EXPECT_EQ(ch, nalo::char_traits<TypeParam>::eof());
  }
  EXPECT_EQ(buf.in_avail(), 0);
  EXPECT_EQ(buf.pubseekoff(0, ios_base::cur), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubseekpos(0), nalo::streamoff{-1});
  EXPECT_EQ(buf.pubsetbuf(nullptr, 0), &buf);
  EXPECT_TRUE(buf.pubimbue(nalo::locale()) == other);
  EXPECT_TRUE(buf.getloc() == nalo::locale());
  ended = 0;
  buf.destroy_();
  EXPECT_EQ(ended, 1);
}

// Calls that an area cannot serve pass their arguments to a virtual operation.
TYPED_TEST(Stream, BufferCallsAVirtualOperationOnlyAtTheEdgeOfAnArea) {
  using Char = TypeParam;
  using scripted = opened<scripted_streambuf<Char>>;
  using in = nalo::istreambuf_iterator<Char>;
  using out = nalo::ostreambuf_iterator<Char>;
  using writes = nalo::ostreambuf_iterator<const Char, nalo::char_traits<Char>>;
  const struct {
    const char* call;
    long (*run)(scripted& b, Char* s);
    long result;
    const char* log;
  } rows[] = {
#define CALL(...)                                              \
  "" #__VA_ARGS__, [](scripted& b, [[maybe_unused]] Char* s) { \
    return static_cast<long>(__VA_ARGS__);                     \
  }
      {CALL(b.sbumpc()), 0xFF, "underflow "},
      {CALL((b.stossc(), b.snextc(), b.snextc())), 'd', "underflow underflow "},
      {CALL(b.sgetn(s, 9) == 5 ? s[4] : '?'), 'e',
       "xsgetn underflow uflow underflow underflow "},
      {CALL((b.setg_(s, s, s + 9), b.gbump(2), b.gbump_(-1),
             b.egptr() - b.gptr())),
       8, ""},
      {CALL(b.in_avail()), 5, "showmanyc "},
      {CALL((b.sgetc(), b.in_avail())), 3, "underflow "},
      {CALL((b.snextc(), b.snextc(), b.sputbackc('b'), b.sungetc())), 0xFF,
       "underflow "},
      {CALL((b.sbumpc(), b.sputbackc('x'), b.position())), 1,
       "underflow pbackfail(120) "},
      {CALL((b.sgetc(), b.sungetc(), b.position())), 0,
       "underflow pbackfail(eof) "},
      {CALL(b.sputc(s[0] = Char(0xE9))), 0xE9, "overflow(233) "},
      {CALL(b.sputn(s, 9)), 6,
       "xsputn overflow(48) overflow(53) overflow(54) "},
      {CALL((b.setp_(s, s + 9), b.pbump(2), b.pbump_(-1), b.sputc('1'),
             b.epptr() - b.pptr())),
       7, ""},
      {CALL((b.pubsync(), b.pubseekoff(-2, ios_base::end), b.pubseekpos(4))), 4,
       "sync seekoff(-2,2,24) seekpos(4,24) "},
      {CALL(std::distance(in(&b), {})), 5,
       "underflow underflow uflow underflow underflow "},
      {CALL((in(&b)++, *in(&b)++)), 'b', "underflow "},
      {CALL(in(&b) == in(&b)), true, "underflow "},
      {CALL(static_cast<writes&>(std::copy_n(s, 9, out(&b))).failed()), true,
       "overflow(48) overflow(53) overflow(54) "},
      {CALL((std::copy_n(s, 9, out(&b)).put_(s, 2), 0)), 0,
       "overflow(48) overflow(53) overflow(54) "},
      // A buffer that is copied to itself reads what was written.
      {CALL((b.setg_(s, s, s + 5), b.setp_(s + 2, s + 9),
             nalo::copy_streambufs<Char>(&b, &b), s[6])),
       '0', "underflow "},
#undef CALL
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.call);
    scripted buf(script<Char>{.input = widened<Char>("\377bcde"),
                              .get_areas = {3, 0, 1},
                              .put_areas = {4, 0},
                              .accepts = 6,
                              .seekable = true});
    auto s = widened<Char>("0123456789");
    EXPECT_EQ(row.run(buf, s.data()), row.result);
    EXPECT_EQ(buf.own_log_, row.log);
    EXPECT_TRUE(s.starts_with(buf.output()));
  }
}

TEST(NarrowStream, ReadsEveryTypeOfCharacterAsATemporary) {
  scripted_streambuf<char> buf({.input = " \xFF b ccdefg hij\nk"});
  unsigned char first = 0, word[4] = {};
  signed char second = 0, other[6] = {};
  char third = 0;
  nalo::istream(&buf) >> first >> second >> std::ref(third) >> word >>
      nalo::setw(3) >> other;
  EXPECT_EQ(std::tuple(first, second, third), std::tuple(0xFF, 'b', 'c'));
  EXPECT_STREQ(reinterpret_cast<char*>(word), "cde");
  EXPECT_STREQ(reinterpret_cast<char*>(other), "fg");
  nalo::string line;
  getline(nalo::istream(&buf), line);
  std::string standard = "before";
  getline(nalo::istream(&buf), standard);
  EXPECT_TRUE(line == " hij" && standard == "k");
  EXPECT_FALSE(nalo::istream(&buf) >> standard);
}

// Whether a line or word lies in the get area, whole or in part, or is long.
TYPED_TEST(Stream, ReadsLinesAndWordsIntoStringsAndArrays) {
  using Char = TypeParam;
  using text = std::basic_string<Char>;
  std::vector<text> all;
  text input;
  for (const size_t size :
       {1u, 15u, 16u, 39u, 63u, 255u, 256u, 257u, 600u, 2u}) {
    all.emplace_back();
    for (size_t i = 0; i < size; ++i) all.back() += Char('a' + (i + size) % 23);
    input += all.back() + Char('\n');
  }
  const auto check = [&](auto str) {
    str.reserve(700);
    for (const size_t area : {1u, 7u, 64u, 300u, 5000u}) {
      const script<Char> play = {.input = input, .get_areas = {area}};
      scripted_world<Char> lines(play), words(play), pieces(play);
      SCOPED_TRACE(area);
      for (const text& expected : all) {
        getline(lines.io, str);
        EXPECT_TRUE(str == expected.c_str()) << "line of " << expected.size();
        words.io >> str;
        EXPECT_TRUE(str == expected.c_str()) << "word of " << expected.size();
        for (size_t at = 0; at < expected.size(); at += 3) {
          Char piece[4];
          pieces.io >> piece;
          EXPECT_TRUE(piece == expected.substr(at, 3)) << at;
        }
      }
      EXPECT_EQ(lines.buf.rest(), text());
      EXPECT_EQ(words.buf.rest(), text(1, Char('\n')));
    }
  };
  check(text());
  check(nalo::basic_string<Char>());
}

TEST(WideStream, ReadsTheCharacterThatEqualsEofWithinARun) {
  for (size_t place = 1; place < 299; ++place) {
    std::wstring text(300, L'a');
    text[place] = text[place + 1] = wchar_t(-1);
    const auto read = [&](auto extract, const char* what) {
      scripted_world<wchar_t> w({.input = text + L":b", .get_areas = {1000}});
      w.io.peek();
      extract(w.io);
      EXPECT_EQ(w.io.rdstate(), good) << what << place;
      EXPECT_EQ(w.buf.rest(), L"b") << what << place;
    };
    nalo::wstring line;
    std::wstring standard;
    wchar_t array[400];
    read([&](auto& in) { getline(in, line, L':'); }, "string ");
    read([&](auto& in) { getline(in, standard, L':'); }, "std::string ");
    read([&](auto& in) { in.getline(array, 400, L':'); }, "array ");
    read([&](auto& in) { in.ignore(400, L':'); }, "ignore ");
    EXPECT_TRUE(text == line.c_str() && text == standard && text == array);
  }
}

TEST(WideStream, EndsAtACharacterThatEqualsEofOutsideARun) {
  scripted_streambuf<wchar_t> buf({.input = L"ab\xFFFFFFFF"});
  nalo::wistream in(&buf);
  EXPECT_EQ(in.get(), L'a');
  wchar_t line[9];
  EXPECT_EQ(in.getline(line, 9, wchar_t(-1)).rdstate(), eof);
  EXPECT_EQ(in.gcount(), 1);
  in.clear();
  EXPECT_EQ(in.get(), nalo::wistream::traits_type::eof());
  EXPECT_EQ(in.rdstate(), eof | fail);
}

// The character that underflow() returns counts, not the one in the area.
TYPED_TEST(Stream, TakesAWordWhoseFirstCharacterIsASpaceInTheArea) {
  struct : nalo::basic_streambuf<TypeParam> {
    TypeParam area[3] = {' ', 'b', ' '};
    typename nalo::char_traits<TypeParam>::int_type underflow() override {
      this->setg(area, area, area + 3);
      return 'x';
    }
  } buf;
  nalo::basic_istream<TypeParam> in(&buf);
  TypeParam word[9];
  in >> nalo::noskipws >> word;
  EXPECT_EQ(shown<TypeParam>(word), " b");
}

TYPED_TEST(Stream, PadsIntoTheBufferThatAnOverflowAttaches) {
  scripted_streambuf<TypeParam> first({.put_areas = {0}}), second({});
  nalo::basic_ostream<TypeParam> out(&first);
  meddle = [&] { out.rdbuf(&second); };
  raised_by([&] { out << nalo::setw(3) << "x"; }, 1, fault::meddle);
  EXPECT_EQ(shown<TypeParam>(first.output()), " ");
  EXPECT_EQ(shown<TypeParam>(second.output()), " x");
}

// With pptr() past epptr() and gptr() past egptr(), which ends hardened builds.
#ifndef NALO_HARDENED
template <class Char>
struct overrun_streambuf : nalo::basic_streambuf<Char> {
  using int_type = typename nalo::char_traits<Char>::int_type;
  overrun_streambuf() {
    this->setp(area, area + 2);
    this->pbump(4);
    this->setg(area, area + 4, area + 2);
  }
  int_type overflow(int_type ch) override {
    return drained += static_cast<char>(ch), ch;
  }
  Char area[40] = {};
  std::string drained;
};
TYPED_TEST(Stream, UsesNothingPastItsAreas) {
  overrun_streambuf<TypeParam> buf;
  nalo::basic_ostream<TypeParam> out(&buf);
  out.put('a') << TypeParam('b') << nalo::setw(3) << "c" << 12345;
  EXPECT_EQ(buf.drained, "ab  c12345");
  EXPECT_EQ(std::ranges::count(buf.area, TypeParam()), 40);
  std::basic_string<TypeParam> line;
  nalo::basic_istream<TypeParam> in(&buf);
  EXPECT_EQ(in.get(line[0]).rdstate(), eof | fail);
  in.clear();
  EXPECT_EQ(getline(in, line).rdstate(), eof | fail);
}
#endif

// Claims to have `left` characters, of which only the first of each get area
// exists, followed by the end or by a code that is no character.
constexpr int code = 0x12345;
struct vast_streambuf : nalo::streambuf {
  int underflow() override {
    // The first area is the odd one, so that no limit is inside another.
    const std::uint64_t n = left == 0 ? 0 : (left - 1) % (1UL << 60) + 1;
    left -= n;
    setg(&ch_, &ch_, &ch_ + n);
    return n != 0 ? ch_ : last;
  }
  int uflow() override { return last; }

  char ch_ = 'x';
  std::uint64_t left = 0;
  int last = 0;
};

TEST(NarrowStream, CountsPastTheLargestNumber) {
  const auto expect = [](std::uint64_t more, streamsize n, int last,
                         streamsize gcount, iostate state) {
    vast_streambuf buf;
    buf.left = std::uint64_t{no_limit} + more;
    buf.last = last;
    nalo::istream in(&buf);
    in.ignore(n, last);
    EXPECT_EQ(in.gcount(), gcount) << more << ' ' << last;
    EXPECT_EQ(in.rdstate(), state) << more << ' ' << last;
  };
  expect(1L << 60, no_limit, code, no_limit, good);
  expect(0, no_limit, code, no_limit, good);
  expect(-1UL, no_limit, code, no_limit, good);
  expect(1L << 60, no_limit, -1, no_limit, eof);
  expect((1L << 60) - 1, no_limit - 1, -1, no_limit - 1, good);
}

}  // namespace
