// The state of a stream: format, bits and mask, fill, facets, words, and what
// saves, copies and exchanges them.
#include <nalo/iomanip>
#include <nalo/ios>
#include <nalo/istream>
#include <nalo/ostream>

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>

#include "scripted_streambuf.h"

namespace {
bool no_memory = false;
}  // namespace

// Word arrays are the only memory that is asked for in this way.
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  return no_memory ? nullptr : ::operator new[](size);
}

namespace {

using nalo::ios_base;
using nalo_test::scripted_streambuf;
using iostate = ios_base::iostate;
using fmtflags = ios_base::fmtflags;

constexpr iostate goodbit = ios_base::goodbit, badbit = ios_base::badbit,
                  eofbit = ios_base::eofbit, failbit = ios_base::failbit;

constexpr const char* clear_text = "basic_ios::clear";
constexpr const char* init_text =
    "nalo::basic_ios<Char,Traits>::init invalid buffer";
constexpr const char* words_text =
    "WordAllocator: nalo::ios_base::grow_words_ allocation failed";
constexpr const char* facet_text = "nalo::ios_base the locale lacks a facet";

template <class Bits = iostate>
constexpr Bits bits(unsigned value) {
  return static_cast<Bits>(value);
}

// The message of what the stream raises; empty for nothing.
template <class Work>
std::string raised(Work work) {
  const auto count = nalo::exception::last_on_thread().count;
  const std::string what = nalo_test::raised_by(work);
  const auto last = nalo::exception::last_on_thread();
  if (last.count != count) {
    EXPECT_STREQ(last.file, "sys/src/nalo/ios");
  }
  return what;
}

static_assert(ios_base::boolalpha == 1 && ios_base::dec == 2 &&
              ios_base::fixed == 4 && ios_base::hex == 8 &&
              ios_base::internal == 16 && ios_base::left == 32 &&
              ios_base::oct == 64 && ios_base::right == 128 &&
              ios_base::scientific == 256 && ios_base::showbase == 512 &&
              ios_base::showpoint == 1024 && ios_base::showpos == 2048 &&
              ios_base::skipws == 4096 && ios_base::unitbuf == 8192 &&
              ios_base::uppercase == 16384 && ios_base::adjustfield == 176 &&
              ios_base::basefield == 74 && ios_base::floatfield == 260 &&
              badbit == 1 && eofbit == 2 && failbit == 4 && goodbit == 0 &&
              ios_base::anyerror == 0 && ios_base::app == 1 &&
              ios_base::ate == 2 && ios_base::binary == 4 &&
              ios_base::in == 8 && ios_base::out == 16 &&
              ios_base::trunc == 32 && ios_base::sync == 64 &&
              ios_base::beg == 0 && ios_base::cur == 1 && ios_base::end == 2 &&
              sizeof(fmtflags) == 4 && sizeof(iostate) == 4);

// A stream has a truth value and is neither a number nor comparable.
template <class T, class U>
concept comparable = requires(T& a, U& b) {
  a == b;
}
|| requires(T& a, U& b) { a != b; }
|| requires(T& a, U& b) { a < b; };
static_assert(std::is_constructible_v<bool, nalo::ostream&>);
static_assert(!std::is_convertible_v<nalo::ostream&, int> &&
              !std::is_convertible_v<nalo::ostream&, void*>);
static_assert(!comparable<nalo::ostream, nalo::ostream> &&
              !comparable<nalo::ostream, nalo::istream> &&
              !comparable<nalo::ostream, int> &&
              !comparable<bool, nalo::ostream>);
static_assert(!std::is_copy_constructible_v<nalo::ostream> &&
              !std::is_copy_assignable_v<nalo::ostream>);

// A stream whose protected parts are open.
template <class Char>
class probe : public nalo::basic_ios<Char> {
  using base = nalo::basic_ios<Char>;

 public:
  probe() = default;
  explicit probe(nalo::basic_streambuf<Char>* sb, iostate mask = goodbit)
      : base(sb, mask) {}

  using base::init;
  using base::num_get_;
  using base::num_put_;
  using base::swap_;
  using ios_base::local_word_;
  using ios_base::word_;
  using ios_base::word_size_;
  using ios_base::word_zero_;

  // Puts the stream into any state and mask.
  void set_state(iostate state, iostate mask) {
    this->exception_ = mask;
    this->buf_state_ = state;
  }
  // Gives the stream so many words: tag, tag + 1, ...
  void set_words(int count, std::intptr_t tag) {
    for (int i = 0; i < count; ++i) {
      this->iword(i) = tag + i;
      this->pword(i) = reinterpret_cast<void*>(-tag - i);
    }
    word_size_ = count;
  }
  void expect_words(int count, std::intptr_t tag) const {
    EXPECT_EQ(word_size_, count);
    EXPECT_EQ(word_ != local_word_, count > 8);
    for (int i = 0; i < std::min(count, word_size_); ++i) {
      EXPECT_EQ(word_[i].iword_, tag + i) << i;
      EXPECT_EQ(word_[i].pword_, reinterpret_cast<void*>(-tag - i)) << i;
    }
  }

  // Sets, or expects, every part of the format, all made from tag.
  void set_format(int tag, bool fill_fixed, nalo::basic_ostream<Char>* tie,
                  const nalo::locale& loc) {
    set_words(3 * tag, 100 * tag);
    this->flags(static_cast<fmtflags>(tag));
    this->width(tag + 1);
    this->precision(tag + 2);
    this->tie(tie);
    if (fill_fixed) this->fill(static_cast<Char>('0' + tag));
    this->imbue(loc);
  }
  void expect_format(int tag, bool fill_fixed,
                     const nalo::basic_ostream<Char>* tie,
                     const nalo::locale& loc) const {
    SCOPED_TRACE("tag " + std::to_string(tag));
    expect_words(3 * tag, 100 * tag);
    EXPECT_EQ(this->flags(), tag);
    EXPECT_EQ(this->width(), tag + 1);
    EXPECT_EQ(this->precision(), tag + 2);
    EXPECT_EQ(this->tie(), tie);
    EXPECT_EQ(this->getloc(), loc);
    const bool complete = loc == nalo::locale();
    EXPECT_EQ(num_put_ != nullptr, complete);
    EXPECT_EQ(num_get_ != nullptr, complete);
    EXPECT_EQ(raised([&] { this->widen(' '); }), complete ? "" : facet_text);
    Char fill = ' ';
    EXPECT_EQ(raised([&] { fill = this->fill(); }),
              complete || fill_fixed ? "" : facet_text);
    EXPECT_EQ(fill, fill_fixed ? '0' + tag : ' ');
  }
};

constexpr int word_counts[] = {0, 3, 8, 9, 12};

template <class Char>
class Ios : public testing::Test {
 protected:
  const nalo::locale classic_;
  // Without the facets that streams use.
  const nalo::locale bare_ = classic_.without_<nalo::ctype<Char>>()
                                 .template without_<nalo::num_put<Char>>()
                                 .template without_<nalo::num_get<Char>>();
  scripted_streambuf<Char> buf_ = scripted_streambuf<Char>({});
  scripted_streambuf<Char> other_buf_ = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> tied_{&buf_};
};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ios, characters);

TYPED_TEST(Ios, RaisesWheneverItsStateMeetsItsMask) {
  for (unsigned n = 0; n < 4 * 8 * 8 * 8 * 2; ++n) {
    const unsigned operation = n % 4;
    const iostate state = bits(n / 4 % 8), mask = bits(n / 32 % 8),
                  arg = bits(n / 256 % 8);
    auto* const buffer = n < 2048 ? &this->buf_ : nullptr;
    SCOPED_TRACE(testing::Message()
                 << "operation " << operation << " state " << state << " mask "
                 << mask << " argument " << arg << " buffer " << buffer);
    probe<TypeParam> ios(buffer);
    ios.set_state(state, mask);
    iostate state_after = goodbit, mask_after = mask;
    const std::string error = raised([&] {
      if (operation == 0) {
        state_after = arg;
        ios.clear(arg);
      } else if (operation == 1) {
        state_after = state | arg;
        ios.setstate(arg);
      } else if (operation == 2) {
        state_after = state;
        mask_after = arg;
        ios.exceptions(arg);
      } else {
        EXPECT_EQ(ios.rdbuf(buffer), buffer);
      }
    });
    if (!buffer) state_after |= badbit;
    EXPECT_EQ(error, (state_after & mask_after) != 0 ? clear_text : "");
    EXPECT_EQ(ios.rdstate(), state_after);
    EXPECT_EQ(ios.exceptions(), mask_after);

    EXPECT_EQ(ios.good(), state_after == 0);
    EXPECT_EQ(ios.eof(), (state_after & eofbit) != 0);
    EXPECT_EQ(ios.bad(), (state_after & badbit) != 0);
    EXPECT_EQ(ios.fail(), (state_after & (badbit | failbit)) != 0);
    EXPECT_EQ(ios.is_valid(), !ios.fail());
    EXPECT_EQ(ios ? true : false, !ios.fail());
    EXPECT_EQ(!ios, ios.fail());

    EXPECT_EQ(ios.set_badbit(), (mask_after & badbit) != 0);
    EXPECT_EQ(ios.rdstate(), state_after | badbit);
  }
}

TYPED_TEST(Ios, StartsGoodBadOrNotAtAll) {
  for (unsigned mask = 0; mask < 8; ++mask) {
    SCOPED_TRACE(mask);
    EXPECT_EQ(probe<TypeParam>(&this->buf_, bits(mask)).exceptions(), mask);
    EXPECT_EQ(raised([&] { probe<TypeParam>(nullptr, bits(mask)); }),
              mask == 0 ? "" : init_text);
    probe<TypeParam> ios(&this->buf_);
    ios.clear(eofbit);
    EXPECT_EQ(raised([&] { ios.init(nullptr, bits(mask)); }),
              mask == 0 ? "" : init_text);
    EXPECT_EQ(ios.rdstate(), mask == 0 ? badbit : eofbit);
  }
  const std::unique_ptr<ios_base> never_initialised(new probe<TypeParam>);
}

TYPED_TEST(Ios, IsMadeFreshByInit) {
  probe<TypeParam> ios(&this->buf_);
  for (auto* buffer : {&this->buf_, &this->other_buf_}) {
    EXPECT_EQ(ios.rdbuf(), buffer);
    EXPECT_EQ(ios.rdstate(), goodbit);
    EXPECT_EQ(ios.flags(), ios_base::skipws | ios_base::dec);
    EXPECT_EQ(ios.precision(), 6);
    EXPECT_EQ(ios.width(), 0);
    EXPECT_EQ(ios.tie(), nullptr);
    EXPECT_EQ(ios.getloc(), this->classic_);
    EXPECT_EQ(ios.word_size_, 8);
    EXPECT_EQ(ios.word_, ios.local_word_);
    EXPECT_EQ(ios.iword(2), 0);
    EXPECT_EQ(ios.pword(7), nullptr);
    EXPECT_EQ(ios.fill('*'), ' ');
    ios.set_format(3, true, &this->tied_, this->bare_);
    ios.clear(failbit);
    ios.init(&this->other_buf_, goodbit);
  }
}

TYPED_TEST(Ios, ReturnsWhatItsSettersReplace) {
  probe<TypeParam> ios(&this->buf_);
  EXPECT_EQ(ios.flags(bits<fmtflags>(48)), 4098);
  EXPECT_EQ(ios.setf(ios_base::hex), 48);
  EXPECT_EQ(ios.setf(bits<fmtflags>(192), ios_base::basefield), 56);
  static_assert(std::is_void_v<decltype(ios.unsetf(ios_base::left))>);
  ios.unsetf(ios_base::left | ios_base::showpos);
  EXPECT_EQ(ios.flags(), ios_base::oct | ios_base::internal);
  EXPECT_EQ(ios.precision(-9), 6);
  EXPECT_EQ(ios.precision(), -9);
  EXPECT_EQ(ios.width(LONG_MAX), 0);
  EXPECT_EQ(ios.width(), LONG_MAX);
  EXPECT_EQ(ios.tie(&this->tied_), nullptr);
  EXPECT_EQ(ios.tie(nullptr), &this->tied_);
  EXPECT_TRUE(ios_base::sync_with_stdio(false));
  EXPECT_FALSE(ios_base::sync_with_stdio(true));
}

TYPED_TEST(Ios, ManipulatorsChangeTheirFlagsOnly) {
  using namespace nalo;
  constexpr auto none = fmtflags{}, all = bits<fmtflags>(32767);
  constexpr auto adjust = ios_base::adjustfield, base = ios_base::basefield,
                 floating = ios_base::floatfield;
  const struct {
    const char* name;
    ios_base& (*apply)(ios_base&);
    fmtflags mask, set;
  } cases[] = {
#define FLAG(flag)                               \
  {#flag, flag, ios_base::flag, ios_base::flag}, \
      {"no" #flag, no##flag, ios_base::flag, none}
#define FIELD(flag, mask) \
  { #flag, flag, mask, ios_base::flag }
      FLAG(boolalpha),
      FLAG(showbase),
      FLAG(showpoint),
      FLAG(showpos),
      FLAG(skipws),
      FLAG(uppercase),
      FLAG(unitbuf),
      FIELD(internal, adjust),
      FIELD(left, adjust),
      FIELD(right, adjust),
      FIELD(dec, base),
      FIELD(hex, base),
      FIELD(oct, base),
      FIELD(fixed, floating),
      FIELD(scientific, floating),
      {"hexfloat", hexfloat, floating, floating},
      {"defaultfloat", defaultfloat, floating, none},
#undef FLAG
#undef FIELD
  };
  basic_iostream<TypeParam> ios(&this->buf_);
  ios.clear(failbit);
  for (const auto& c : cases) {
    for (const fmtflags before : {none, all}) {
      ios.flags(before);
      ios << c.apply;
      EXPECT_EQ(ios.flags(), (before & ~c.mask) | c.set) << c.name;
      ios.flags(before);
      ios >> c.apply;
      EXPECT_EQ(ios.flags(), (before & ~c.mask) | c.set) << c.name;
    }
  }
  const std::pair<int, fmtflags> bases[] = {
      {8, ios_base::oct}, {10, ios_base::dec}, {16, ios_base::hex}, {7, none}};
  for (const auto& [number, set] : bases) {
    ios.flags(all);
    ios << setbase(number);
    EXPECT_EQ(ios.flags(), (all & ~base) | set) << number;
  }
  ios << setw(4) << setprecision(5) << setfill(TypeParam('*'))
      << resetiosflags(all) << setiosflags(adjust);
  ios >> resetiosflags(ios_base::left);
  EXPECT_EQ(ios.width(), 4);
  EXPECT_EQ(ios.precision(), 5);
  EXPECT_EQ(ios.fill(), '*');
  EXPECT_EQ(ios.flags(), ios_base::right | ios_base::internal);
  EXPECT_EQ(ios.rdstate(), failbit);
}

TYPED_TEST(Ios, ConvertsThroughTheFacetOfItsLocale) {
  constexpr bool wide = sizeof(TypeParam) > 1;
  probe<TypeParam> ios(&this->buf_);
  EXPECT_EQ(ios.widen('\xE9'), static_cast<TypeParam>(wide ? 0xE9 : '\xE9'));
  EXPECT_EQ(ios.narrow('A', '?'), 'A');
  EXPECT_EQ(ios.narrow(static_cast<TypeParam>(0xFF), '?'), '\xFF');
  EXPECT_EQ(ios.narrow(static_cast<TypeParam>(-1), '?'), wide ? '?' : '\xFF');
  ios.imbue(this->bare_);
  EXPECT_EQ(raised([&] { ios.fill(); }), facet_text);
  EXPECT_EQ(raised([&] { ios.fill('*'); }), facet_text);
  EXPECT_EQ(raised([&] { ios.widen(' '); }), facet_text);
  EXPECT_EQ(raised([&] { ios.narrow(' ', ' '); }), facet_text);
  ios.imbue(this->classic_);
  EXPECT_EQ(ios.fill('*'), ' ');
  ios.imbue(this->bare_);
  EXPECT_EQ(ios.fill('-'), '*');
  EXPECT_EQ(ios.rdstate(), goodbit);
}

TYPED_TEST(Ios, GivesItsLocaleToTheBufferLast) {
  probe<TypeParam> ios(&this->buf_, badbit);
  EXPECT_EQ(ios.imbue(this->bare_), this->classic_);
  EXPECT_EQ(ios.getloc(), this->bare_);
  EXPECT_EQ(this->buf_.getloc(), this->bare_);
  this->buf_.fail_in(1, nalo_test::fault::other);
  EXPECT_EQ(raised([&] { ios.imbue(this->classic_); }), "int");
  EXPECT_EQ(ios.getloc(), this->classic_);
  EXPECT_EQ(ios.widen('a'), 'a');
  EXPECT_EQ(this->buf_.getloc(), this->bare_);
  EXPECT_EQ(ios.rdstate(), goodbit);
  EXPECT_EQ(probe<TypeParam>(nullptr).imbue(this->bare_), this->classic_);
}

TYPED_TEST(Ios, GrowsItsWordsOnDemand) {
  probe<TypeParam> ios(&this->buf_);
  for (const int count : {8, 9, 10, 40}) {
    EXPECT_EQ(ios.iword(count - 1), 0);
    EXPECT_EQ(ios.pword(count - 1), nullptr);
    ios.set_words(count, 1000);
    ios.expect_words(count, 1000);
  }
  // Slots beyond the end are not to be seen again.
  probe<TypeParam> few(&this->buf_);
  few.set_words(8, 1000);
  few.word_size_ = 3;
  EXPECT_EQ(few.pword(3), nullptr);
  EXPECT_EQ(few.iword(7), 0);
  few.set_words(8, 1000);
  few.expect_words(8, 1000);
  const int index = ios_base::xalloc();
  EXPECT_GE(index, 0);
  EXPECT_EQ(ios_base::xalloc(), index + 1);
}

TYPED_TEST(Ios, LendsASpareWordWhenThereIsNone) {
  const struct {
    int index;
    iostate state, mask;
    const char* raises;
  } cases[] = {
      {-1, goodbit, goodbit, ""},
      {INT_MIN, eofbit, failbit, ""},
      {8, eofbit, failbit, ""},
      {8, goodbit, badbit, words_text},
      {INT_MAX - 1, failbit, goodbit, ""},
      {INT_MAX, eofbit, eofbit, words_text},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.index);
    probe<TypeParam> ios(&this->buf_);
    ios.set_words(8, 50);
    ios.set_state(c.state, c.mask);
    ios.word_zero_ = {&ios, 77};
    no_memory = true;
    EXPECT_EQ(raised([&] {
                auto* const lent = &ios.iword(c.index);
                EXPECT_EQ(lent, &ios.word_zero_.iword_);
              }),
              c.raises);
    EXPECT_EQ(ios.word_zero_.iword_, 0);
    EXPECT_EQ(ios.word_zero_.pword_, &ios);
    EXPECT_EQ(raised([&] {
                auto* const lent = &ios.pword(c.index);
                EXPECT_EQ(lent, &ios.word_zero_.pword_);
              }),
              c.raises);
    EXPECT_EQ(ios.word_zero_.pword_, nullptr);
    no_memory = false;
    EXPECT_EQ(ios.rdstate(), c.state | badbit);
    ios.expect_words(8, 50);
  }
}

TYPED_TEST(Ios, CopiesAndSwapsWordsOfAnyNumber) {
  for (const int from : word_counts) {
    for (const int to : word_counts) {
      SCOPED_TRACE(std::to_string(from) + " and " + std::to_string(to));
      probe<TypeParam> source(&this->buf_), target(&this->buf_);
      source.set_words(from, 100);
      target.set_words(to, 200);
      source.word_zero_.iword_ = 1;
      const auto* const array = source.word_;
      const auto* const other_array = target.word_;

      source.swap_(target);
      source.expect_words(to, 200);
      target.expect_words(from, 100);
      EXPECT_EQ(target.word_ == array, from > 8);
      EXPECT_EQ(source.word_ == other_array, to > 8);

      source.copyfmt(target);
      source.expect_words(from, 100);
      target.expect_words(from, 100);
      EXPECT_NE(source.word_, target.word_);
      EXPECT_EQ(source.word_zero_.iword_, 1);
      EXPECT_EQ(target.word_zero_.iword_, 0);
    }
  }
}

TYPED_TEST(Ios, CopyfmtCopiesAllButBufferAndState) {
  for (const bool fill_fixed : {false, true}) {
    for (const bool replaced_fill : {false, true}) {
      probe<TypeParam> source(&this->buf_), target(&this->other_buf_);
      source.set_format(4, fill_fixed, &this->tied_, this->bare_);
      source.set_state(badbit, eofbit);
      target.set_format(2, replaced_fill, nullptr, this->classic_);
      target.set_state(failbit, goodbit);
      EXPECT_EQ(&target.copyfmt(source), &target);
      EXPECT_EQ(target.exceptions(), eofbit);
      EXPECT_EQ(target.rdstate(), failbit);
      EXPECT_EQ(target.rdbuf(), &this->other_buf_);
      EXPECT_EQ(this->other_buf_.getloc(), this->classic_);
      target.set_state(failbit, failbit);
      EXPECT_EQ(raised([&] { target.copyfmt(target); }), "");
      target.expect_format(4, fill_fixed, &this->tied_, this->bare_);
    }
  }
}

TYPED_TEST(Ios, CopyfmtChangesNothingBehindTheStepThatRaises) {
  const struct {
    int tag;
    iostate mask;
    bool has_buffer, no_memory;
    const char* raises;
    iostate state_after, mask_after;
  } cases[] = {
      {1, failbit, true, false, clear_text, failbit, failbit},
      {4, failbit, true, false, clear_text, failbit, failbit},
      {4, badbit, false, false, clear_text, badbit | failbit, badbit},
      {4, failbit, true, true, words_text, failbit, eofbit},
      {4, badbit, false, true, words_text, failbit, eofbit},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    probe<TypeParam> source(&this->buf_),
        target(c.has_buffer ? &this->other_buf_ : nullptr);
    source.set_format(c.tag, true, nullptr, this->bare_);
    source.set_state(goodbit, c.mask);
    target.set_format(3, true, &this->tied_, this->classic_);
    target.set_state(failbit, eofbit);
    no_memory = c.no_memory;
    EXPECT_EQ(raised([&] { target.copyfmt(source); }), c.raises);
    no_memory = false;
    target.expect_format(3, true, &this->tied_, this->classic_);
    EXPECT_EQ(target.rdstate(), c.state_after);
    EXPECT_EQ(target.exceptions(), c.mask_after);
  }
}

TYPED_TEST(Ios, SwapExchangesFormatsWithoutRaising) {
  probe<TypeParam> one(&this->buf_), two(&this->other_buf_);
  one.set_format(2, true, &this->tied_, this->classic_);
  two.set_format(4, false, nullptr, this->bare_);
  one.set_state(eofbit, badbit);
  two.set_state(badbit, eofbit);
  one.swap_(two);
  one.swap_(one);
  one.expect_format(4, false, nullptr, this->bare_);
  two.expect_format(2, true, &this->tied_, this->classic_);
  EXPECT_EQ(one.exceptions(), eofbit);
  EXPECT_EQ(two.exceptions(), badbit);
  EXPECT_EQ(one.rdstate(), eofbit);
  EXPECT_EQ(two.rdstate(), badbit);
  EXPECT_EQ(one.rdbuf(), &this->buf_);
  EXPECT_EQ(this->other_buf_.getloc(), this->bare_);
}

TYPED_TEST(Ios, StreamGuardRestoresTheFormatAndNoBits) {
  using guard = typename probe<TypeParam>::stream_guard;
  probe<TypeParam> ios(&this->buf_);
  ios.set_format(3, false, nullptr, this->classic_);
  ios.set_state(goodbit, badbit | failbit);
  EXPECT_EQ(raised([&] {
              const guard saved(ios, eofbit);
              EXPECT_EQ(ios.exceptions(), eofbit);
              ios.set_format(5, true, nullptr, this->classic_);
              ios.setstate(failbit);
            }),
            "");
  ios.set_words(9, 300);
  ios.expect_format(3, false, nullptr, this->classic_);
  EXPECT_EQ(ios.exceptions(), badbit | failbit);
  EXPECT_EQ(ios.rdstate(), failbit);
  EXPECT_EQ(raised([&] { guard(ios, failbit | eofbit); }), clear_text);
  EXPECT_EQ(ios.exceptions(), failbit | eofbit);
}

TYPED_TEST(Ios, StreamGuardNeedsCtypeForAFillNotYetFixedOnly) {
  using guard = typename probe<TypeParam>::stream_guard;
  probe<TypeParam> unfixed(&this->buf_, eofbit), ios(&this->other_buf_, badbit);
  unfixed.imbue(this->bare_);
  EXPECT_EQ(raised([&] { guard(unfixed, badbit); }), facet_text);
  EXPECT_EQ(unfixed.exceptions(), eofbit);
  ios.fill('*');
  EXPECT_EQ(raised([&] {
              const guard saved(ios);
              ios.copyfmt(unfixed);  // neither a fill nor a facet is left
            }),
            "");
  EXPECT_EQ(ios.fill(), '*');
  EXPECT_EQ(ios.exceptions(), badbit);
}

TYPED_TEST(Ios, ExceptionSwitchMergesTheEarlierMaskBack) {
  const struct {
    bool buffer, buffer_at_end;
    iostate value, state_inside, state_after, mask_after;
  } cases[] = {
      {true, true, goodbit, goodbit, badbit | failbit, badbit | failbit},
      {true, true, eofbit, eofbit, bits(7), bits(7)},
      {false, false, eofbit, goodbit, goodbit, bits(7)},
      {true, false, goodbit, goodbit, badbit, badbit | failbit},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    probe<TypeParam> ios(c.buffer ? &this->buf_ : nullptr);
    ios.set_state(c.buffer ? eofbit : goodbit, badbit | failbit);
    {
      const typename probe<TypeParam>::exception_switch off(ios, c.value);
      EXPECT_EQ(ios.exceptions(), c.value);
      EXPECT_EQ(ios.rdstate(), c.state_inside);
      if (c.buffer && !c.buffer_at_end) ios.rdbuf(nullptr);
    }
    EXPECT_EQ(ios.exceptions(), c.mask_after);
    EXPECT_EQ(ios.rdstate(), c.state_after);
  }
}

}  // namespace
