// The state of a stream: format, bits and mask, fill, facets, words, and what
// saves, copies and exchanges them.
#include <nalo/iomanip>
#include <nalo/ios>
#include <nalo/istream>
#include <nalo/ostream>

#include <gtest/gtest.h>

#include <climits>
#include <concepts>
#include <new>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "blocks_in_use.h"
#include "scripted_streambuf.h"

namespace {

using nalo::ios_base;
using nalo_test::blocks_in_use, nalo_test::no_memory;
using nalo_test::raised_by;
using nalo_test::scripted_streambuf;
using iostate = ios_base::iostate;
using fmtflags = ios_base::fmtflags;
using words = std::vector<std::pair<ptrdiff_t, void*>>;

constexpr iostate good = ios_base::goodbit, bad = ios_base::badbit,
                  eof = ios_base::eofbit, fail = ios_base::failbit;
constexpr const char* meets_mask = "basic_ios::clear";
constexpr const char* no_words =
    "WordAllocator: nalo::ios_base::grow_words_ allocation failed";
constexpr const char* no_facet = "nalo::ios_base the locale lacks a facet";

// A stream has a truth value and is neither a number nor comparable.
static_assert(std::is_constructible_v<bool, nalo::ostream&> &&
              !std::is_convertible_v<nalo::ostream&, int> &&
              !std::is_convertible_v<nalo::ostream&, void*> &&
              !std::equality_comparable<nalo::ostream> &&
              !std::is_copy_constructible_v<nalo::ostream>);

// A stream whose protected parts are open.
template <class Char>
struct probe : nalo::basic_ios<Char> {
  using base = nalo::basic_ios<Char>;
  using base::allocate_words_, base::deallocate_words_, base::word_size_;
  using base::base, base::init, base::swap_, base::destroy_;

  // What a guard saves.
  auto guarded() const {
    return std::tuple(this->flags(), this->width(), this->precision(),
                      this->exceptions(), this->fill_, this->fill_init_);
  }
  // What one stream copies from another or exchanges with it.
  auto format() const {
    EXPECT_EQ(this->word_ != this->local_word_, this->word_size_ > 8);
    words all;
    for (int i = 0; i < this->word_size_; ++i) {
      all.emplace_back(this->word_[i].iword_, this->word_[i].pword_);
    }
    return std::tuple_cat(
        guarded(),
        std::tuple(this->tie(), this->getloc().is_classic_(), this->ctype_,
                   this->num_put_, this->num_get_, all));
  }
  // What belongs to the stream itself.
  auto rest() const {
    return std::tuple(this->rdstate(), this->rdbuf(), this->word_zero_.iword_);
  }
};

// The base of a fixture, so that its members are gone before the count.
struct LosesNothing : testing::Test {
  ~LosesNothing() override { EXPECT_EQ(blocks_in_use(), blocks); }
  const long blocks = blocks_in_use();
};

template <class Char>
struct Ios : LosesNothing {
  // Without the facets that streams use.
  const nalo::locale bare = nalo::locale::classic()
                                .without_<nalo::ctype<Char>>()
                                .template without_<nalo::num_put<Char>>()
                                .template without_<nalo::num_get<Char>>();
  scripted_streambuf<Char> buf = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> tied{&buf};

  // Changes all that a stream has, by a number that is no default.
  void change(probe<Char>& s, int number) {
    s.exceptions(good);
    s.flags(fmtflags(number));
    s.width(number);
    s.precision(number);
    s.fill(Char(number));
    s.tie(&tied);
    s.imbue(bare);
    s.iword(-1) = number;
    s.iword(number) = number;
    s.pword(number) = &s;
    s.clear();
    s.exceptions(number % 2 == 0 ? eof : fail);
  }
};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ios, characters);

TYPED_TEST(Ios, ReturnsWhatASetterReplaces) {
  using list = std::vector<long>;
  probe<TypeParam> s(&this->buf);
  EXPECT_EQ((list{s.flags(fmtflags{79}), s.setf(ios_base::unitbuf),
                  s.setf(fmtflags{3}, ios_base::basefield), s.flags()}),
            (list{4098, 79, 79 + 8192, 1 + 2 + 4 + 8192}));
  s.unsetf(ios_base::fixed);
  EXPECT_EQ(s.flags(), 1U + 2 + 8192);
  EXPECT_EQ((list{s.width(7), s.width(-1), s.width()}), (list{0, 7, -1}));
  EXPECT_EQ((list{s.precision(7), s.precision(-1), s.precision()}),
            (list{6, 7, -1}));
  EXPECT_EQ((list{s.fill('*'), s.fill('+'), s.fill()}), (list{' ', '*', '+'}));
  EXPECT_EQ(s.tie(&this->tied), nullptr);
  EXPECT_EQ(s.tie(nullptr), &this->tied);
  EXPECT_EQ(s.rdbuf(nullptr), &this->buf);
  EXPECT_EQ(s.rdbuf(), nullptr);
}

TYPED_TEST(Ios, RaisesWhenItsStateMeetsItsMask) {
  for (unsigned long i = 0; i < 1024; ++i) {
    const auto state = iostate(i & 7), added = iostate(i >> 3 & 7),
               mask = iostate(i >> 6 & 7);
    const iostate null = i < 512 ? good : bad;
    probe<TypeParam> s(i < 512 ? &this->buf : nullptr);
    const auto check = [&](iostate expected, auto change) {
      EXPECT_EQ(raised_by(change), (expected & mask) != 0 ? meets_mask : "")
          << i;
      const bool failed = (expected & (bad | fail)) != 0;
      EXPECT_EQ(
          std::tuple(s.rdstate(), s.good(), s.eof(), s.bad(), s.fail(),
                     s.is_valid(), s ? true : false, !s),
          std::tuple(expected, expected == good, (expected & eof) != 0,
                     (expected & bad) != 0, failed, !failed, !failed, failed));
    };
    s.clear(state);
    check(state | null, [&] { s.exceptions(mask); });
    EXPECT_EQ(s.exceptions(), mask);
    check(state | added | null, [&] { s.setstate(added); });
    check(added | null, [&] { s.clear(added); });
    EXPECT_EQ(s.set_badbit(), (mask & bad) != 0);
    EXPECT_EQ(s.rdstate(), added | bad);
    for (const bool has_buffer : {false, true}) {
      check(has_buffer ? good : bad,
            [&] { s.rdbuf(has_buffer ? &this->buf : nullptr); });
      {
        const typename probe<TypeParam>::exception_switch off(s, added);
        EXPECT_EQ(s.exceptions(), added);
        EXPECT_EQ(s.rdstate(), has_buffer ? added : bad);
      }
      EXPECT_EQ(s.exceptions(), added | mask);
      EXPECT_EQ(s.rdstate(), has_buffer ? added | mask : bad);
      raised_by([&] { s.exceptions(mask); });
    }
  }
}

TYPED_TEST(Ios, IsMadeWithABufferOrWithoutAMask) {
  for (unsigned long mask = 0; mask < 8; ++mask) {
    const probe<TypeParam> fresh(&this->buf);
    probe<TypeParam> s(&this->buf, iostate(mask));
    EXPECT_EQ(s.exceptions(), mask);
    this->change(s, 20);
    EXPECT_EQ(
        raised_by([&] { s.init(nullptr, iostate(mask)); }),
        mask == 0 ? "" : "nalo::basic_ios<Char,Traits>::init invalid buffer");
    EXPECT_EQ(s.rdstate(), mask == 0 ? bad : good);
    this->change(s, 20);
    s.init(&this->buf, good);
    EXPECT_EQ(s.format(), fresh.format());
    EXPECT_EQ(s.rest(), fresh.rest());
  }
  EXPECT_STREQ(nalo::exception::last_on_thread().file, "sys/src/nalo/ios");
}

TYPED_TEST(Ios, CanBeDestroyedWithoutInitAndInPlace) {
  using probe = probe<TypeParam>;
  alignas(probe) unsigned char memory[sizeof(probe)];
  auto* const in_place = new (memory) probe;
  EXPECT_EQ(raised_by([&] { in_place->fill(); }), no_facet);
  EXPECT_EQ(in_place->guarded(),
            std::tuple(ios_base::skipws | ios_base::dec, 0, 6, good, 0, false));
  in_place->init(&this->buf, good);
  in_place->iword(20) = 1;
  in_place->destroy_();
  delete static_cast<ios_base*>(new probe);
  EXPECT_EQ(probe::allocate_words_(-1), nullptr);
  auto* const no_slots = probe::allocate_words_(0);
  EXPECT_NE(no_slots, nullptr);
  probe::deallocate_words_(no_slots);
}

TYPED_TEST(Ios, GrowsItsWordsOrGivesASpareOne) {
  probe<TypeParam> grows(&this->buf);
  grows.word_size_ = 0;
  words expected;
  // An index, and how many words there are then.
  const std::pair<int, size_t> sizes[] = {
      {0, 9}, {8, 9}, {9, 10}, {40, 41}, {0, 41}};
  for (const auto& [index, size] : sizes) {
    grows.iword(index) = index;
    grows.pword(index) = &expected;
    expected.resize(size);
    expected[static_cast<size_t>(index)] = {index, &expected};
    EXPECT_EQ(std::get<words>(grows.format()), expected);
  }
  for (const int index : {INT_MIN, -1, 40, INT_MAX}) {
    for (const iostate mask : {good, eof, bad, fail}) {
      probe<TypeParam> s(&this->buf, mask);
      raised_by([&] { s.clear(eof); });
      no_memory = true;
      EXPECT_EQ(raised_by([&] { s.iword(index) = 1; }),
                mask == eof || mask == bad ? no_words : "");
      no_memory = false;
      EXPECT_EQ(s.rdstate(), eof | bad);
      s.exceptions(fail);
      s.iword(-1) = 1;
      s.pword(-1) = &s;
      EXPECT_EQ(s.pword(-1), nullptr);
      EXPECT_EQ(s.iword(-1), 0);
      EXPECT_EQ(std::get<words>(s.format()), words(8));
    }
  }
}

TYPED_TEST(Ios, CopiesAndExchangesItsFormat) {
  for (const int mine : {2, 7, 8, 20}) {
    for (const int theirs : {3, 7, 8, 9}) {
      probe<TypeParam> a(&this->buf), b(nullptr), fresh(&this->buf);
      this->change(a, mine);
      this->change(b, theirs);
      if (mine < 8) a.word_size_ = mine + 1;
      const auto of_a = a.format(), of_b = b.format(),
                 of_fresh = fresh.format();
      const auto rests = std::tuple(a.rest(), b.rest());
      const auto expect = [&](const auto&... formats) {
        EXPECT_EQ(std::tuple(a.format(), b.format()), std::tuple(formats...));
        EXPECT_EQ(std::tuple(a.rest(), b.rest()), rests);
      };
      a.swap_(b);
      expect(of_b, of_a);
      b.swap_(b);
      b.copyfmt(b);
      EXPECT_EQ(&a.copyfmt(b), &a);
      expect(of_a, of_a);
      b.copyfmt(fresh);
      a.swap_(fresh);
      expect(of_fresh, of_fresh);
      EXPECT_EQ(fresh.format(), of_a);
    }
  }
  for (const int size : {7, 20}) {
    probe<TypeParam> s(&this->buf), other(&this->buf);
    const auto before = s.format();
    this->change(other, size);
    s.clear(other.exceptions());
    EXPECT_EQ(raised_by([&] { s.copyfmt(other); }), meets_mask);
    EXPECT_EQ(s.exceptions(), other.exceptions());
    s.exceptions(good);
    EXPECT_EQ(s.format(), before);
    s.clear();
    no_memory = true;
    EXPECT_EQ(raised_by([&] { s.copyfmt(other); }), size > 8 ? no_words : "");
    no_memory = false;
    EXPECT_EQ(s.format(), size > 8 ? before : other.format());
  }
}

TYPED_TEST(Ios, GuardsPutBackWhatTheySaved) {
  using guard = typename probe<TypeParam>::stream_guard;
  probe<TypeParam> s(&this->buf);
  this->change(s, 20);
  const auto saved = s.guarded();
  {
    const guard all_changes(s, bad);
    EXPECT_EQ(s.exceptions(), bad);
    s.init(&this->buf, fail | bad);
    raised_by([&] { s.setstate(fail); });
  }
  EXPECT_EQ(s.guarded(), saved);
  EXPECT_EQ(s.rdstate(), fail);
  EXPECT_EQ(raised_by([&] { guard(s, fail); }), meets_mask);
  EXPECT_EQ(s.exceptions(), fail);
  s.init(&this->buf, eof);
  s.imbue(this->bare);
  EXPECT_EQ(raised_by([&] { guard(s, bad); }), no_facet);
  EXPECT_EQ(s.exceptions(), eof);
}

TYPED_TEST(Ios, ConvertsByTheLocaleThatItSharesWithItsBuffer) {
  const nalo::locale classic = nalo::locale::classic();
  probe<TypeParam> s(&this->buf);
  EXPECT_EQ(s.widen('\xE9'), TypeParam(0xE9));
  EXPECT_EQ(s.narrow(TypeParam(-1), '?'), sizeof s.fill() > 1 ? '?' : '\xFF');
  EXPECT_EQ(s.fill(), ' ');
  EXPECT_TRUE(s.imbue(this->bare) == classic);
  EXPECT_TRUE(this->buf.getloc() == this->bare);
  EXPECT_EQ(s.fill(), ' ');
  EXPECT_EQ(raised_by([&] { s.widen(' '); }), no_facet);
  EXPECT_EQ(raised_by([&] { s.narrow(' ', ' '); }), no_facet);
  this->buf.fail_in(1, nalo_test::fault::other);
  EXPECT_EQ(raised_by([&] { s.imbue(classic); }), "int");
  EXPECT_TRUE(s.getloc() == classic);
  EXPECT_TRUE(this->buf.getloc() == this->bare);
  EXPECT_EQ(s.widen('a'), 'a');
  s.rdbuf(nullptr);
  EXPECT_TRUE(s.imbue(this->bare) == classic);
}

TYPED_TEST(Ios, ManipulatorsChangeTheirFlagsOnly) {
  using namespace nalo;
  constexpr auto none = fmtflags{}, all = fmtflags{32767};
  constexpr auto adjust = ios_base::adjustfield, base = ios_base::basefield,
                 floating = ios_base::floatfield;
  basic_iostream<TypeParam> ios(&this->buf);
  ios.clear(fail);
  const auto expect = [&](auto manipulator, fmtflags mask, fmtflags set) {
    for (const fmtflags before : {none, all}) {
      ios.flags(before);
      ios << manipulator;
      EXPECT_EQ(ios.flags(), (before & ~mask) | set) << mask << ' ' << set;
    }
  };
#define FLAG(flag)                              \
  expect(flag, ios_base::flag, ios_base::flag); \
  expect(no##flag, ios_base::flag, none)
  FLAG(boolalpha);
  FLAG(showbase);
  FLAG(showpoint);
  FLAG(showpos);
  FLAG(skipws);
  FLAG(uppercase);
  FLAG(unitbuf);
#undef FLAG
  expect(internal, adjust, ios_base::internal);
  expect(left, adjust, ios_base::left);
  expect(right, adjust, ios_base::right);
  expect(dec, base, ios_base::dec);
  expect(hex, base, ios_base::hex);
  expect(oct, base, ios_base::oct);
  expect(setbase(10), base, ios_base::dec);
  expect(setbase(16), base, ios_base::hex);
  expect(setbase(8), base, ios_base::oct);
  expect(setbase(7), base, none);
  expect(fixed, floating, ios_base::fixed);
  expect(scientific, floating, ios_base::scientific);
  expect(hexfloat, floating, floating);
  expect(defaultfloat, floating, none);
  ios << setw(4) << setprecision(5) << setfill(TypeParam('*'))
      << resetiosflags(all) << setiosflags(adjust);
  ios >> resetiosflags(ios_base::left);
  EXPECT_EQ(std::tuple(ios.width(), ios.precision(), ios.fill(), ios.flags(),
                       ios.rdstate()),
            std::tuple(4, 5, '*', ios_base::right | ios_base::internal, fail));
}

TEST(IosBase, KeepsWhatAllStreamsShare) {
  const int index = ios_base::xalloc();
  EXPECT_GE(index, 0);
  EXPECT_EQ(ios_base::xalloc(), index + 1);
  EXPECT_TRUE(ios_base::sync_with_stdio(false));
  EXPECT_FALSE(ios_base::sync_with_stdio());
  EXPECT_TRUE(ios_base::sync_with_stdio(true));
  EXPECT_STREQ(nalo::state_names(iostate{8 | 5}), "badbit|failbit");
}

}  // namespace
