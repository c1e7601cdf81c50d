// The state of a stream, and the operations that save, copy and exchange it.
#include <concepts>

#include "blocks_in_use.h"
#include "common.h"

namespace {

using namespace nalo_test;
using nalo::locale;
using fmtflags = ios_base::fmtflags;
using words = std::vector<std::pair<ptrdiff_t, void*>>;

constexpr const char* meets_mask = "basic_ios::clear";
constexpr const char* no_facet = "nalo::ios_base the locale lacks a facet";
constexpr const char* no_words =
    "WordAllocator: nalo::ios_base::grow_words_ allocation failed";

// Streams do not convert to numbers other than bool, and are not comparable.
static_assert(!std::is_convertible_v<nalo::ostream&, int> &&
              !std::equality_comparable<nalo::ostream>);

// A stream whose protected members are public.
template <class Char>
struct probe : nalo::basic_ios<Char> {
  using base = nalo::basic_ios<Char>;
  using base::allocate_words_;
  using base::base, base::init, base::swap_, base::destroy_;
  using base::word_, base::word_size_, base::local_word_;

  // What a guard saves.
  auto guarded() const {
    return std::tuple(this->flags(), this->width(), this->precision(),
                      this->exceptions(), this->fill_, this->fill_init_);
  }
  // What copyfmt() copies and swap_() exchanges.
  auto format() const {
    words all;
    for (int i = 0; i < this->word_size_; ++i) {
      all.emplace_back(this->word_[i].iword_, this->word_[i].pword_);
    }
    return std::tuple(guarded(), this->tie(), this->getloc().is_classic_(),
                      this->ctype_, this->num_put_, this->num_get_, all);
  }
};

// A stream that derives from its buffer and hides it.
template <class Char>
struct with_buffer : private scripted_streambuf<Char>,
                     nalo::basic_iostream<Char> {
  with_buffer()
      : scripted_streambuf<Char>({}), nalo::basic_iostream<Char>(this) {}
};

template <class Char>
struct Ios : testing::Test {
  // Without the facets that streams use.
  const locale bare = locale::classic()
                          .without_<nalo::ctype<Char>>()
                          .template without_<nalo::num_put<Char>>()
                          .template without_<nalo::num_get<Char>>();
  scripted_streambuf<Char> buf = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> tied{&buf};

  // Checks the defaults of a new stream and replaces each by the number.
  void change(probe<Char>& s, int number) {
    EXPECT_EQ(s.flags(fmtflags(number)), ios_base::skipws | ios_base::dec);
    EXPECT_EQ(s.width(number), 0);
    EXPECT_EQ(s.precision(number), 6);
    EXPECT_EQ(s.fill(Char(number)), ' ');
    EXPECT_EQ(s.tie(&tied), nullptr);
    EXPECT_TRUE(s.imbue(bare) == locale::classic());
    s.iword(number) = number;
    s.pword(number) = &s;
    s.exceptions(number % 2 == 0 ? eof : fail);
  }
};
TYPED_TEST_SUITE(Ios, Chars);

TYPED_TEST(Ios, RaisesWhenItsStateMeetsItsMask) {
  for (unsigned i = 0; i < 64; ++i) {
    const auto state = iostate(i % 8), mask = iostate(i / 8);
    probe<TypeParam> s(&this->buf);
    const auto expect = [&](iostate expected, auto change) {
      EXPECT_EQ(raised_by(change), (expected & mask) != 0 ? meets_mask : "")
          << nalo::state_names(state) << " and " << nalo::state_names(mask);
      const bool failed = (expected & (bad | fail)) != 0;
      EXPECT_EQ(
          std::tuple(s.rdstate(), s.good(), s.eof(), s.bad(), s.fail(),
                     s.is_valid(), s ? true : false, !s),
          std::tuple(expected, expected == good, (expected & eof) != 0,
                     (expected & bad) != 0, failed, !failed, !failed, failed));
    };
    s.clear(state);
    expect(state, [&] { s.exceptions(mask); });
    expect(state | eof, [&] { s.setstate(eof); });
    expect(state, [&] { s.clear(state); });
    EXPECT_EQ(s.set_badbit(), (mask & bad) != 0);
    EXPECT_EQ(s.rdstate(), state | bad);
    expect(bad, [&] { EXPECT_EQ(s.rdbuf(nullptr), &this->buf); });
    expect(state | bad, [&] { s.clear(state); });
    expect(good, [&] { EXPECT_EQ(s.rdbuf(&this->buf), nullptr); });
  }
}

TYPED_TEST(Ios, SwitchesItsMaskAndIfItHasABufferItsState) {
  for (const bool has_buffer : {true, false}) {
    probe<TypeParam> s(has_buffer ? &this->buf : nullptr);
    s.exceptions(eof);
    {
      const typename probe<TypeParam>::exception_switch off(s, fail);
      EXPECT_EQ(s.exceptions(), fail);
      EXPECT_EQ(s.rdstate(), has_buffer ? fail : bad);
    }
    EXPECT_EQ(s.exceptions(), eof | fail);
    EXPECT_EQ(s.rdstate(), has_buffer ? eof | fail : bad);
  }
}

TYPED_TEST(Ios, NeedsABufferUnlessItsMaskIsEmpty) {
  using probe = probe<TypeParam>;
  alignas(probe) unsigned char memory[sizeof(probe)];
  std::fill(std::begin(memory), std::end(memory), 0xA5);
  auto* const s = new (memory) probe;
  EXPECT_EQ(std::get<words>(s->format()), words(8));
  EXPECT_EQ(s->guarded(), probe(&this->buf).guarded());
  s->init(nullptr, good);
  EXPECT_EQ(s->rdstate(), bad);
  EXPECT_EQ(raised_by([&] { s->init(nullptr, fail); }),
            "nalo::basic_ios<Char,Traits>::init invalid buffer");
  s->init(&this->buf, good);
  EXPECT_EQ(s->rdstate(), good);
  s->iword(20) = 1;
  s->destroy_();
  EXPECT_TRUE(with_buffer<TypeParam>().good());
}

TYPED_TEST(Ios, GrowsItsWordsOrReturnsASpareWord) {
  probe<TypeParam> s(&this->buf);
  words expected(8);
  for (const int index : {7, 8, 40, 41, 0}) {
    s.iword(index) = index;
    s.pword(index) = &s;
    const auto found = std::get<words>(s.format());
    const size_t before = expected.size();
    // Growing by half keeps rising indexes from taking quadratic time.
    EXPECT_GE(found.size(), std::max(before, size_t(index) + 1));
    EXPECT_TRUE(found.size() == before || found.size() >= before + before / 2);
    expected.resize(found.size());
    expected[size_t(index)] = {index, &s};
    EXPECT_EQ(found, expected);
  }
  EXPECT_EQ(s.allocate_words_(-1), nullptr);
  for (const int index : {INT_MIN, -1, 99, INT_MAX}) {
    no_memory = index == 99;
    s.clear(eof);
    s.iword(index) = 1;
    s.pword(index) = &s;
    EXPECT_EQ(s.iword(index), 0);
    EXPECT_EQ(s.pword(index), nullptr);
    EXPECT_EQ(s.rdstate(), eof | bad);
    raised_by([&] { s.exceptions(eof); });
    EXPECT_EQ(raised_by([&] { s.iword(index); }), no_words);
    s.exceptions(good);
  }
  no_memory = false;

  // Up to 8 words stay in the stream, and those that come into use are 0.
  probe<TypeParam> few(&this->buf);
  few.iword(4) = 1;
  few.word_size_ = 3;
  few.iword(5) = 2;
  expected.assign(8, {});
  expected[5].first = 2;
  EXPECT_EQ(std::get<words>(few.format()), expected);
  EXPECT_EQ(few.word_, few.local_word_);
}

TYPED_TEST(Ios, CopiesAndExchangesItsFormat) {
  for (const int mine : {2, 20}) {
    for (const int theirs : {3, 9}) {
      probe<TypeParam> a(&this->buf), b(nullptr), fresh(&this->buf);
      this->change(a, mine);
      this->change(b, theirs);
      const auto of_a = a.format(), of_b = b.format(), of_new = fresh.format();
      const auto expect = [&](const auto&... formats) {
        EXPECT_EQ(std::tuple(a.format(), b.format()), std::tuple(formats...));
      };
      a.swap_(b);
      expect(of_b, of_a);
      b.swap_(b);
      b.copyfmt(b);
      // If the copied mask meets the state, nothing else is copied.
      a.clear(eof);
      EXPECT_EQ(raised_by([&] { a.copyfmt(b); }), meets_mask);
      EXPECT_EQ(a.exceptions(), eof);
      a.exceptions(fail);
      expect(of_b, of_a);
      a.clear();
      no_memory = true;
      EXPECT_EQ(raised_by([&] { a.copyfmt(b); }), mine > 8 ? no_words : "");
      no_memory = false;
      expect(mine > 8 ? of_b : of_a, of_a);
      EXPECT_EQ(&a.copyfmt(b), &a);
      expect(of_a, of_a);
      b.copyfmt(fresh);
      a.swap_(fresh);
      expect(of_new, of_new);
      EXPECT_EQ(fresh.format(), of_a);
    }
  }
}

TYPED_TEST(Ios, IsResetByInitAndRestoredByGuards) {
  probe<TypeParam> s(&this->buf);
  const auto fresh = s.format();
  this->change(s, 20);
  const auto saved = s.guarded();
  {
    const typename probe<TypeParam>::stream_guard guard(s, bad);
    EXPECT_EQ(s.exceptions(), bad);
    s.init(&this->buf);
    EXPECT_EQ(s.format(), fresh);
    s.setstate(eof);
  }
  EXPECT_EQ(s.guarded(), saved);
  EXPECT_EQ(s.rdstate(), eof);
}

TYPED_TEST(Ios, ConvertsByItsLocaleAndImbuesItsBuffer) {
  probe<TypeParam> s(&this->buf);
  EXPECT_EQ(s.widen('\xE9'), TypeParam(0xE9));
  EXPECT_EQ(s.narrow(TypeParam(-1), '?'), sizeof s.fill() > 1 ? '?' : '\xFF');
  s.imbue(this->bare);
  EXPECT_EQ(raised_by([&] { s.fill(); }), no_facet);
  EXPECT_EQ(raised_by([&] { s.narrow(' ', ' '); }), no_facet);
  arm(1, fault::other);
  EXPECT_EQ(raised_by([&] { s.imbue(locale::classic()); }), "int");
  EXPECT_EQ(s.fill(), ' ');
  EXPECT_TRUE(this->buf.getloc() == this->bare);
}

// A program's own failures name the place where they are made.
TEST(IosFailure, NamesThePlaceOfItsConstructor) {
  const ios_base::failure made("text"), copied(std::string("text"));
  EXPECT_EQ(made.what(), std::string(copied.what()));
  EXPECT_EQ(made.line(), __LINE__ - 2);
  EXPECT_STREQ(made.file(), __FILE__);
}

TYPED_TEST(Ios, ManipulatorsChangeOnlyTheirFlags) {
  using namespace nalo;
  using io = ios_base;
  constexpr auto flags = io::boolalpha | io::showbase | io::showpoint |
                         io::showpos | io::skipws | io::unitbuf | io::uppercase;
  basic_iostream<TypeParam> ios(&this->buf);
  // They work in any state.
  ios.clear(fail);
  const auto after = [&](auto... manipulators) {
    (ios >> ... >> manipulators);
    return ios.flags();
  };
  auto all = fmtflags{32767} & ~io::hex;
  all ^= io::hex;
  ios.flags(all);
  EXPECT_EQ(after(noboolalpha, noshowbase, noshowpoint, noshowpos, noskipws,
                  nounitbuf, nouppercase),
            io::adjustfield | io::basefield | io::floatfield);
  EXPECT_EQ(after(internal, dec, fixed), io::internal | io::dec | io::fixed);
  EXPECT_EQ(after(left, hex, scientific), io::left | io::hex | io::scientific);
  EXPECT_EQ(after(right, oct, hexfloat), io::right | io::oct | io::floatfield);
  EXPECT_EQ(after(defaultfloat, setbase(10)), io::right | io::dec);
  EXPECT_EQ(after(setbase(16)), io::right | io::hex);
  EXPECT_EQ(after(setbase(8)), io::right | io::oct);
  EXPECT_EQ(after(setbase(7), setiosflags(io::left)), io::left | io::right);
  EXPECT_EQ(after(resetiosflags(io::right)), io::left);
  EXPECT_EQ(after(boolalpha, showbase, showpoint, showpos, skipws, unitbuf,
                  uppercase),
            io::left | flags);
}

TEST(IosBase, HasTheSettingsOfAllStreams) {
  const int index = ios_base::xalloc();
  EXPECT_EQ(ios_base::xalloc(), index + 1);
  EXPECT_TRUE(ios_base::sync_with_stdio(false));
  EXPECT_FALSE(ios_base::sync_with_stdio());
  EXPECT_TRUE(ios_base::sync_with_stdio(true));
  EXPECT_STREQ(nalo::state_names(iostate{8 | 5}), "badbit|failbit");
}

}  // namespace
