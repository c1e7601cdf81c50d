// Every case of a small scope, once, against the models. What a case consists
// of is chosen when something first looks at it, so that no two are alike.
// The tests run a slice; ./dev exhaust runs all.

#include <cmath>
#include <cstdlib>
#include <initializer_list>

#include "common.h"
#include "number_model.h"
#include "stream_model.h"
#include "string_model.h"

namespace {

using namespace nalo_test;

// The most characters of a text, given when all cases are to run.
const char* const given = std::getenv("NALO_EXHAUST");
const size_t longest = given ? std::strtoul(given, nullptr, 10) : 2;

// Two of n operations: every pair, or one in so many for a slice.
std::pair<size_t, size_t> choose_pair(choices& all, size_t n, size_t slice) {
  const size_t step = given ? 1 : slice;
  const size_t pair = step * all.below((n * n + step - 1) / step);
  return {pair / n, pair % n};
}

template <class Char>
struct Exhaust : testing::Test {
  // Runs all cases, until one fails, and returns how many there were.
  template <class Case>
  size_t run(Case one) {
    choices all;
    size_t cases = 1;
    for (one(all); !this->HasFailure() && all.next(); one(all)) ++cases;
    std::fprintf(stderr, "%s of %s: %zu cases\n",
                 testing::UnitTest::GetInstance()->current_test_info()->name(),
                 sizeof(Char) > 1 ? "wchar_t" : "char", cases);
    return cases;
  }
};
TYPED_TEST_SUITE(Exhaust, Chars);

// --- streams -----------------------------------------------------------------

namespace with_streams {

using namespace streams;

// Two operations of a stream and of its model, with a mask of one bit or none
// and one fault or none.
template <class Char>
class pair {
 public:
  explicit pair(choices& all) : all_(all) {}

  void compare() {
    real_world real(play(areas_), play(other_areas_));
    world<Char, model<Char>> expected(play(areas_), play(other_areas_));
    fault decided = fault::none;
    std::vector<decltype(std::declval<arguments<Char>>().shown())> steps;
    for (const size_t operation : {operations_.first, operations_.second}) {
      auto a = choose_arguments(operation, steps.empty(), real.io.good());
      if (decided == fault::none) {
        decide = [this] {
          return all_.one_of({fault::none, fault::library, fault::other,
                              fault::refusal, fault::meddle});
        };
      }
      const auto result = real.run(a);
      decide = nullptr;
      a.failing_call = failing;
      if (failing != 0) a.kind = decided = failing_kind;
      steps.push_back(a.shown());
      ASSERT_EQ(result, expected.run(a))
          << texts_ << ' ' << testing::PrintToString(steps) << " over "
          << testing::PrintToString(areas_);
    }
  }

 private:
  using real_world = world<Char, nalo::basic_iostream<Char>>;
  using text = std::basic_string<Char>;

  static size_t count_operations() {
    size_t n = 1;
    while (&real_world::operation(n) != &real_world::operation(0)) ++n;
    return n;
  }
  // What the operations look at is known by their text.
  bool has(auto... part) const {
    return ((texts_.find(part) != texts_.npos) || ...);
  }

  // Each area is chosen when the first of stream and model reads it; an empty
  // one is the end.
  script<Char> play(std::vector<text>& areas) {
    script<Char> script{.get_areas = {area_}, .put_areas = {put_area_}};
    script.extend = [this, &areas, at = size_t{0}](auto& play) mutable {
      if (at == areas.size()) {
        const size_t most = area_ == 0 ? std::min<size_t>(room_, 1) : room_;
        const size_t size = all_.below(most + 1);
        areas.push_back(all_.text<Char>(size, alphabet_));
        room_ -= size;
      }
      play.input += areas[at];
      if (areas[at].empty()) return;
      play.get_areas = {area_ * areas[at++].size()};
    };
    return script;
  }

  arguments<Char> choose_arguments(size_t operation, bool is_first,
                                   bool is_good) {
    using int_type = typename arguments<Char>::int_type;
    const std::string_view name = real_world::operation(operation).first;
    const auto has = [&](auto part) { return name.find(part) != name.npos; };
    const auto choose = [&]<class T>(auto part,
                                     std::initializer_list<T> values) {
      return has(part) ? all_.one_of(values) : *values.begin();
    };
    const bool clears =
        is_first ? !has("a.state") : !is_good && all_.below(2) != 0;
    const auto masks = {good, bad, eof, fail};
    if (is_first) mask_ = all_.one_of(masks);
    const int_type newline = '\n', wider = newline + 0x100,
                   none = nalo::char_traits<Char>::eof();
    return {.random = all_,
            .operation = operation,
            .n = choose("a.n", {0L, 1L, 2L, no_limit}),
            .size = has('?') ? choose('?', {0U, 1U})
                             : choose("a.size", {2U, 0U, 1U}),
            .ch = choose("a.ch", {Char('\n'), Char(0xFF)}),
            .code = 0,
            .delim = choose("a.delim", {newline, wider, int_type(0xFF), none}),
            .flag = choose("a.flag", {ios_base::skipws, ios_base::unitbuf,
                                      ios_base::left}),
            .loc = has("a.loc") ? a_locale<Char>(all_) : nalo::locale(),
            .clears = clears,
            .state = is_first || clears ? mask_ : choose("a.state", masks),
            .failing_call = 0,
            .kind = fault::none};
  }

  choices& all_;
  const std::pair<size_t, size_t> operations_ =
      choose_pair(all_, count_operations(), 97);
  const std::string texts_ =
      std::string(real_world::operation(operations_.first).first) + "; " +
      real_world::operation(operations_.second).first;
  // 1 for input in areas, 0 for characters that are in none.
  const size_t area_ = has("ignore", "get", "other") ? all_.below(2) : 1;
  const size_t put_area_ =
      has("put", "insert", "<<", "other") ? 2 * all_.below(2) : 0;
  // What the operations look for, and two others.
  const text alphabet_ = widened<Char>(std::string("a\xFF") +
                                       (has("a.ch", "a.delim") ? "\n" : "") +
                                       (has("getstring") ? " " : ""));
  iostate mask_ = good;    // or what the first operation sets as the state
  size_t room_ = longest;  // for characters of all areas
  std::vector<text> areas_, other_areas_;
};

}  // namespace with_streams

TYPED_TEST(Exhaust, PairsOfStreamOperations) {
  this->run([](auto& all) { with_streams::pair<TypeParam>(all).compare(); });
}

// --- strings -----------------------------------------------------------------

namespace with_strings {

using namespace strings;

// What each change looks at, by the first letter: the other string, the text,
// the key, pos, n; m for n2, or N for whether that is npos; q for pos2.
constexpr std::string_view looks_at[] = {
    "", "tN", "n", "o",  "tN", "n", "ptN", "ptm", "pnm", "n", "n",
    "", "o",  "o", "pn", "pn", "",  "p",   "p",   "",    "n", "",
    "", "kt", "t", "n",  "t",  "o", "omq", "o",   "",    "o", ""};
static_assert(std::size(looks_at) == kChanges);

// Two changes of a string, or of two, with one request for memory refused or
// none.
template <class Char>
class pair : comparison<Char> {
  using base = comparison<Char>;
  using base::all_;
  using base::below;
  using typename base::Entry;
  using text = std::basic_string_view<Char>;
  static constexpr size_t npos = text::npos, border = base::local;

 public:
  using base::base;

  void compare() {
    const auto [first, second] = choose_pair(this->random_, kChanges, 331);
    const auto looks = std::string(looks_at[first]).append(looks_at[second]);
    const bool moves = first == kMove || second == kMove;
    const size_t other =
        looks.find_first_of("ot") == npos ? 0 : moves + below(3 - moves);
    prepare(0);
    if (other != 0) prepare(other);
    for (auto& source : this->sources_) {
      source.decide = [this, &source] {
        const size_t how = is_refused_ ? 0 : below(3);
        source.raises = how == 2;
        is_refused_ = is_refused_ || how != 0;
        return how != 0;
      };
    }
    step(first, all_[0], all_[other]);
    const bool turned = other != 0 && below(2) != 0;
    step(second, all_[turned ? other : 0], all_[turned ? 0 : other]);
  }

 private:
  // In place, on the heap, shared or read-only; short, or near what fits.
  void prepare(size_t number) {
    Entry& e = all_[number];
    const size_t sizes[] = {border - 1, border, border + 1, border + 1, 1, 0};
    const size_t state = below(std::size(sizes));
    const Args<Char> a{.n = border + 1,
                       .text = text(text_).substr(0, sizes[state])};
    this->change_one(e, e, kAssign, a);
    if (state == 3) this->change_one(all_[number + 3], e, kCopy, a);
    if (state == 4) this->change_one(e, e, kReserve, a);
    if (state == 5) this->change_one(e, e, kMakeReadOnly, a);
  }

  void step(size_t op, Entry& e, Entry& other) {
    const auto choose = [&]<class T>(char what, std::initializer_list<T> from) {
      return looks_at[op].find(what) == npos ? *from.begin()
                                             : this->random_.one_of(from);
    };
    const size_t size = e.str.size();
    const Args<Char> a{
        .pos = size > 2 ? choose('p', {0UL, 1UL, 2UL, size, npos})
                        : choose('p', {0UL, 1UL, 2UL, npos}),
        .n = choose('n', {0UL, 1UL, 2UL, border + 1, npos}),
        .pos2 = choose('q', {0UL, 50UL, 100UL}),
        .n2 = looks_at[op].find('N') != npos
                  ? choose('N', {0UL, npos})
                  : choose('m', {0UL, 1UL, 2UL, npos}),
        .ch = 'a',
        .ch2 = 'b',
        .key = widened<Char>(choose('k', {"", "a", "ab"})),
        .text =
            choose('t', {text(), text(text_).substr(0, 2), text(text_),
                         text(e.str).substr(size > 1, 2), text(other.str)})};
    this->change_one(e, other, op, a);
    this->expect_all_right();
    if (testing::Test::HasFailure()) {
      ADD_FAILURE() << "after " << operations<nalo::basic_string<Char>>[op].name
                    << this->about(e, other, a);
    }
  }

  const std::basic_string<Char> text_ =
      std::basic_string<Char>(border, 'a') + Char('b');
  bool is_refused_ = false;
};

}  // namespace with_strings

TYPED_TEST(Exhaust, PairsOfStringChanges) {
  this->run([](auto& all) { with_strings::pair<TypeParam>(all).compare(); });
}

// --- numbers -----------------------------------------------------------------

TYPED_TEST(Exhaust, NumbersInAreas) {
  using namespace numbers;
  const size_t cases = this->run([](choices& all) {
    std::string text;
    std::vector<size_t> areas;
    while (const size_t size = all.below(longest - text.size() + 1)) {
      text += all.text<char>(size, " \ne1-\xFF");
      areas.push_back(size);
    }
    if (areas.empty()) areas = {1};
    const auto flags =
        all.one_of({ios_base::dec, ios_base::hex, ios_base::boolalpha});
    size_t left = all.below(std::tuple_size_v<types>);
    const auto one = [&]<class T>(T) {
      if (left-- == 0) compare_reading<T, TypeParam>(text, flags, {}, areas);
    };
    std::apply([&](auto... value) { (one(value), ...); }, types());
  });
  // 6 texts of one character, and 12 times as many of each one more.
  const auto texts = (std::pow(12, longest) - 1) / 11 * 6 + 1;
  EXPECT_EQ(double(cases), texts * 3 * 13);
}

}  // namespace
