// The state of a stream: format, bits and mask, fill, facets, words, and what
// saves, copies and exchanges them, against a model of plain values.
#include <nalo/iomanip>
#include <nalo/ios>
#include <nalo/istream>
#include <nalo/ostream>

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "choices.h"
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
using nalo_test::choices;
using nalo_test::raised_by;
using nalo_test::scripted_streambuf;
using iostate = ios_base::iostate;
using fmtflags = ios_base::fmtflags;

constexpr iostate goodbit = ios_base::goodbit, badbit = ios_base::badbit,
                  eofbit = ios_base::eofbit, failbit = ios_base::failbit;

template <class Bits = iostate>
constexpr Bits bits(unsigned long value) {
  return static_cast<Bits>(value);
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

struct word {
  std::intptr_t integer = 0, pointer = 0;
  bool operator==(const word&) const = default;
};

// A stream whose protected parts are open.
template <class Char>
struct probe : nalo::basic_ios<Char> {
  using base = nalo::basic_ios<Char>;
  using typename base::exception_switch;
  using typename base::stream_guard;

  probe() = default;
  explicit probe(nalo::basic_streambuf<Char>* sb, iostate mask = goodbit)
      : base(sb, mask) {}

  using base::init;
  using base::swap_;

  std::intptr_t exchange_pword(int index, std::intptr_t value) {
    void*& pointer = this->pword(index);
    return reinterpret_cast<std::intptr_t>(
        std::exchange(pointer, reinterpret_cast<void*>(value)));
  }
  std::intptr_t exchange_iword(int index, std::intptr_t value) {
    return std::exchange(this->iword(index), value);
  }
  void keep_three_words() {
    if (this->word_size_ <= 8) this->word_size_ = 3;
  }

  std::vector<word> words() const {
    EXPECT_EQ(this->word_ != this->local_word_, this->word_size_ > 8);
    std::vector<word> all;
    for (int i = 0; i < this->word_size_; ++i)
      all.push_back(get(this->word_[i]));
    all.push_back(get(this->word_zero_));
    return all;
  }
  std::optional<Char> fixed_fill() const {
    return this->fill_init_ ? std::optional(this->fill_) : std::nullopt;
  }
  bool has_facets() const {
    EXPECT_EQ(this->ctype_ != nullptr, this->num_put_ != nullptr);
    EXPECT_EQ(this->ctype_ != nullptr, this->num_get_ != nullptr);
    return this->ctype_ != nullptr;
  }

 private:
  static word get(const ios_base::PIWords& slot) {
    return {slot.iword_, reinterpret_cast<std::intptr_t>(slot.pword_)};
  }
};

// The same, all of it copied and exchanged by value.
template <class Char>
class model {
  struct format {
    fmtflags flags = ios_base::skipws | ios_base::dec;
    nalo::streamsize width = 0, precision = 6;
    iostate mask = goodbit;
    nalo::basic_ostream<Char>* tie = nullptr;
    std::optional<Char> fill;
    nalo::locale loc;
    std::vector<word> words = std::vector<word>(8);
  };

 public:
  explicit model(nalo::basic_streambuf<Char>* sb) { init(sb, goodbit); }

  void init(nalo::basic_streambuf<Char>* sb, iostate mask) {
    now_ = format();
    now_.mask = mask;
    buf_ = sb;
    spare_ = word();
    if (!sb && mask != goodbit) {
      throw std::runtime_error(
          "nalo::basic_ios<Char,Traits>::init invalid buffer");
    }
    state_ = sb ? goodbit : badbit;
  }
  iostate rdstate() const { return state_; }
  void clear(iostate s) {
    state_ = buf_ ? s : s | badbit;
    if ((state_ & now_.mask) != goodbit) {
      throw std::runtime_error("basic_ios::clear");
    }
  }
  void setstate(iostate s) { clear(state_ | s); }
  bool set_badbit() {
    state_ |= badbit;
    return (now_.mask & badbit) != goodbit;
  }
  iostate exceptions() const { return now_.mask; }
  void exceptions(iostate mask) {
    now_.mask = mask;
    clear(state_);
  }
  auto* rdbuf() const { return buf_; }
  auto* rdbuf(nalo::basic_streambuf<Char>* sb) {
    auto* old = std::exchange(buf_, sb);
    clear(goodbit);
    return old;
  }
  auto* tie() const { return now_.tie; }
  auto* tie(nalo::basic_ostream<Char>* t) { return std::exchange(now_.tie, t); }
  fmtflags flags() const { return now_.flags; }
  fmtflags flags(fmtflags f) { return std::exchange(now_.flags, f); }
  fmtflags setf(fmtflags f) { return flags(now_.flags | f); }
  fmtflags setf(fmtflags f, fmtflags mask) {
    return flags((now_.flags & ~mask) | (f & mask));
  }
  void unsetf(fmtflags f) { flags(now_.flags & ~f); }
  auto width() const { return now_.width; }
  auto width(nalo::streamsize n) { return std::exchange(now_.width, n); }
  auto precision() const { return now_.precision; }
  auto precision(nalo::streamsize n) {
    return std::exchange(now_.precision, n);
  }
  bool has_facets() const { return now_.loc.is_classic_(); }
  Char widen(char ch) const {
    if (!has_facets()) {
      throw std::runtime_error("nalo::ios_base the locale lacks a facet");
    }
    return Char(ch);
  }
  std::optional<Char> fixed_fill() const { return now_.fill; }
  Char fill() { return *(now_.fill = now_.fill ? *now_.fill : widen(' ')); }
  Char fill(Char ch) {
    const Char old = fill();
    now_.fill = ch;
    return old;
  }
  const nalo::locale& getloc() const { return now_.loc; }
  nalo::locale imbue(const nalo::locale& loc) {
    const nalo::locale old = std::exchange(now_.loc, loc);
    if (buf_) buf_->pubimbue(loc);
    return old;
  }
  std::intptr_t exchange_iword(int index, std::intptr_t value) {
    return std::exchange(slot(index, &word::integer), value);
  }
  std::intptr_t exchange_pword(int index, std::intptr_t value) {
    return std::exchange(slot(index, &word::pointer), value);
  }
  void keep_three_words() {
    if (now_.words.size() <= 8) now_.words.resize(3);
  }
  std::vector<word> words() const {
    std::vector<word> all = now_.words;
    all.push_back(spare_);
    return all;
  }
  void copyfmt(const model& other) {
    if (this == &other) return;
    if (other.now_.words.size() > 8 && no_memory) throw_no_words();
    exceptions(other.now_.mask);
    now_ = other.now_;
  }
  void swap_(model& other) { std::swap(now_, other.now_); }

  struct stream_guard {
    stream_guard(model& m, iostate mask)
        : m_(m), fill_(m.fill()), saved_(m.now_) {
      m.exceptions(mask);
    }
    ~stream_guard() {
      m_.now_.fill = fill_;
      m_.now_.flags = saved_.flags;
      m_.now_.width = saved_.width;
      m_.now_.precision = saved_.precision;
      m_.now_.mask = saved_.mask;
    }
    model& m_;
    Char fill_;
    format saved_;
  };
  struct exception_switch {
    exception_switch(model& m, iostate value)
        : m_(m), mask_(std::exchange(m.now_.mask, value)) {
      if (m.buf_) m.state_ = value;
    }
    ~exception_switch() {
      m_.now_.mask |= mask_;
      if (m_.buf_) m_.state_ |= mask_;
    }
    model& m_;
    iostate mask_;
  };

 private:
  [[noreturn]] static void throw_no_words() {
    throw std::runtime_error(
        "WordAllocator: nalo::ios_base::grow_words_ allocation failed");
  }
  std::intptr_t& slot(int index, std::intptr_t word::*part) {
    const auto at = static_cast<size_t>(index);
    if (index < 0 || index == INT_MAX ||
        (no_memory && at >= std::max(now_.words.size(), 8UL))) {
      spare_.*part = 0;
      state_ |= badbit;
      if ((state_ & now_.mask) != goodbit) throw_no_words();
      return spare_.*part;
    }
    if (at >= now_.words.size()) now_.words.resize(at + 1);
    return now_.words[at].*part;
  }

  format now_;
  nalo::basic_streambuf<Char>* buf_;
  iostate state_;
  word spare_;
};

// Three streams over two buffers, and what happens to them.
template <class Char, class Stream>
struct world {
  void run(int depth = 0) {
    no_memory = random.below(4) == 0;
    for (auto& buf : bufs) {
      buf.fail_in(random.below(4) == 0, nalo_test::fault::other);
    }
    log << raised_by([&] { perform(depth); }) << '\n';
    no_memory = false;
  }
  void perform(int depth) {
    Stream& ios = streams[random.below(3)];
    Stream& other = streams[random.below(3)];
    const auto state = bits(random.below(8));
    const auto flags = bits<fmtflags>(random.below(0x8000));
    const long number = random.one_of({LONG_MIN, -1L, 0L, 7L, LONG_MAX});
    const int index =
        random.one_of({INT_MIN, -1, 0, 2, 7, 8, 9, 12, 40, INT_MAX});
    const Char ch = random.one_of({Char('*'), Char(' '), Char(-1)});
    const size_t any = random.below(4);
    auto* const sb = any < 2 ? &bufs[any] : nullptr;
    const auto run_inside = [&] {
      for (int i = 0; depth < 2 && i < 3; ++i) run(depth + 1);
    };
    const size_t operation = random.below(32);
    log << operation << ": ";
    // clang-format off
    switch (operation) {
      case 0: log << ios.flags(flags); break;
      case 1: log << ios.setf(flags); break;
      case 2: log << ios.setf(flags, ios_base::adjustfield); break;
      case 3: ios.unsetf(flags); break;
      case 4: log << ios.width(number); break;
      case 5: log << ios.precision(number); break;
      case 6: log << +ios.fill(ch); break;
      case 7: log << +ios.fill(); break;
      case 8: log << +ios.widen('a'); break;
      case 9: log << (ios.tie(any ? &tied : nullptr) == nullptr); break;
      case 10:
      case 11: log << (ios.imbue(any ? classic : bare) == bare); break;
      case 12: ios.clear(state); break;
      case 13: ios.setstate(state); break;
      case 14:
      case 15: ios.exceptions(state); break;
      case 16: log << index_of(ios.rdbuf(sb)); break;
      case 17: log << ios.set_badbit(); break;
      case 18:
      case 19: log << ios.exchange_iword(index, number); break;
      case 20:
      case 21: log << ios.exchange_pword(index, number); break;
      case 22: ios.keep_three_words(); break;
      case 23:
      case 24: ios.copyfmt(other); break;
      case 25:
      case 26: ios.swap_(other); break;
      case 27: ios.init(sb, state); break;
      case 28:
      case 29: {
        const typename Stream::stream_guard guard(ios, state);
        run_inside();
        break;
      }
      case 30:
      case 31: {
        const typename Stream::exception_switch off(ios, state);
        run_inside();
        break;
      }
    }
    // clang-format on
  }
  size_t index_of(const void* sb) const {
    return sb == &bufs[0] ? 0 : sb == &bufs[1] ? 1 : 2;
  }
  // All that has happened and all that there is to see.
  std::string seen() {
    for (const Stream& ios : streams) {
      log << ios.rdstate() << " mask " << ios.exceptions() << " flags "
          << ios.flags() << " width " << ios.width() << " precision "
          << ios.precision() << " tie " << ios.tie() << " buffer "
          << index_of(ios.rdbuf()) << " bare " << (ios.getloc() == bare)
          << " facets " << ios.has_facets() << " fill "
          << static_cast<long>(ios.fixed_fill().value_or(-2)) << " words";
      for (const word& each : ios.words()) {
        log << ' ' << each.integer << ',' << each.pointer;
      }
      log << '\n';
    }
    for (auto& buf : bufs) log << " buffer bare " << (buf.getloc() == bare);
    return std::exchange(log, std::ostringstream()).str();
  }

  const nalo::locale classic;
  // Without the facets that streams use.
  const nalo::locale bare;
  nalo::basic_ostream<Char>& tied;
  choices random;
  std::array<scripted_streambuf<Char>, 2> bufs{
      scripted_streambuf<Char>(nalo_test::script<Char>{}),
      scripted_streambuf<Char>(nalo_test::script<Char>{})};
  std::array<Stream, 3> streams{Stream(&bufs[0]), Stream(&bufs[1]),
                                Stream(nullptr)};
  std::ostringstream log{};
};

template <class Char>
class Ios : public testing::Test {
 protected:
  const nalo::locale classic_;
  const nalo::locale bare_ = classic_.without_<nalo::ctype<Char>>()
                                 .template without_<nalo::num_put<Char>>()
                                 .template without_<nalo::num_get<Char>>();
  scripted_streambuf<Char> buf_ = scripted_streambuf<Char>({});
  nalo::basic_ostream<Char> tied_{&buf_};
};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Ios, characters);

TEST(State, HasTheNamesOfItsBits) {
  for (unsigned state = 0; state < 8; ++state) {
    std::string names;
    for (auto [bit, name] : {std::pair(badbit, "|badbit"),
                             {eofbit, "|eofbit"},
                             {failbit, "|failbit"}}) {
      if ((state & bit) != 0) names += name;
    }
    EXPECT_STREQ(nalo::state_names(bits(state)),
                 state == 0 ? "goodbit" : names.c_str() + 1);
  }
}

TYPED_TEST(Ios, BehavesAsAModel) {
  choices random(20240229);
  for (int round = 0; round < 1000 && !this->HasFailure(); ++round) {
    const auto seed = random.bits();
    world<TypeParam, probe<TypeParam>> real{this->classic_, this->bare_,
                                            this->tied_, choices(seed)};
    world<TypeParam, model<TypeParam>> expected{this->classic_, this->bare_,
                                                this->tied_, choices(seed)};
    for (int i = 0; i < 40 && !this->HasFailure(); ++i) {
      real.run();
      expected.run();
      EXPECT_EQ(real.seen(), expected.seen()) << "round " << round;
      for (const auto& ios : real.streams) {
        EXPECT_EQ(ios.good(), ios.rdstate() == 0);
        EXPECT_EQ(ios.eof(), (ios.rdstate() & eofbit) != 0);
        EXPECT_EQ(ios.bad(), (ios.rdstate() & badbit) != 0);
        EXPECT_EQ(ios.fail(), (ios.rdstate() & (badbit | failbit)) != 0);
        EXPECT_EQ(ios.is_valid(), !ios.fail());
        EXPECT_EQ(ios ? true : false, !ios.fail());
        EXPECT_EQ(!ios, ios.fail());
      }
    }
  }
}

TYPED_TEST(Ios, EndsItsLifeInPlace) {
  struct counted : nalo::basic_ios<TypeParam> {
    explicit counted(int& count)
        : nalo::basic_ios<TypeParam>(nullptr), count_(count) {}
    ~counted() override { ++count_; }
    using ios_base::allocate_words_;
    using ios_base::destroy_;
    int& count_;
  };
  int count = 0;
  alignas(counted) unsigned char memory[sizeof(counted)];
  (new (memory) counted(count))->destroy_();
  EXPECT_EQ(count, 1);
  EXPECT_EQ(counted::allocate_words_(-1), nullptr);
}

TYPED_TEST(Ios, IsMadeWithABufferOrWithoutAMask) {
  for (unsigned mask = 0; mask < 8; ++mask) {
    EXPECT_EQ(probe<TypeParam>(&this->buf_, bits(mask)).exceptions(), mask);
    EXPECT_EQ(raised_by([&] { probe<TypeParam>(nullptr, bits(mask)); }).empty(),
              mask == 0);
  }
  EXPECT_STREQ(nalo::exception::last_on_thread().file, "sys/src/nalo/ios");
  const std::unique_ptr<ios_base> never_initialised(new probe<TypeParam>);
  const int index = ios_base::xalloc();
  EXPECT_GE(index, 0);
  EXPECT_EQ(ios_base::xalloc(), index + 1);
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
  EXPECT_EQ(ios.narrow(static_cast<TypeParam>(-1), '?'), wide ? '?' : '\xFF');
  ios.imbue(this->bare_);
  EXPECT_THROW(ios.narrow(' ', ' '), nalo::null_facet_error);
}

}  // namespace
