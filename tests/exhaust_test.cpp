// Compares every case of a small scope once with the models. Each part of a
// case is chosen when it is first used, so that no two cases are the same.

#include "number_model.h"
#include "stream_model.h"

namespace {

using namespace nalo_test;

// The length of the longest texts. If it is given, all cases run, not a slice.
const char* const given = std::getenv("NALO_EXHAUST");
const size_t longest = given ? std::strtoul(given, nullptr, 10) : 2;

template <class Char>
struct Exhaust : testing::Test {
  // Runs all cases until one fails.
  void run(auto test_case) {
    choices all;
    size_t cases = 1;
    for (test_case(all); !this->HasFailure() && all.next(); ++cases) {
      test_case(all);
    }
    std::printf("%zu cases\n", cases);
  }
};
TYPED_TEST_SUITE(Exhaust, Chars);

using namespace streams;

// Two operations of a stream and its model, with up to one mask bit and fault.
template <class Char>
class pair {
 public:
  explicit pair(choices& all) : all_(all) {}

  void compare() {
    real_world real(play(areas_), play(other_areas_));
    world<Char, model<Char>> expected(play(areas_), play(other_areas_));
    fault decided = fault::none;
    std::vector<decltype(std::declval<arguments<Char>>().shown())> steps;
    for (const size_t operation : {first_, second_}) {
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
  // Whether the text of the operations mentions something that cases vary.
  bool has(auto... part) const {
    return ((texts_.find(part) != texts_.npos) || ...);
  }

  // Each area is chosen when it is first read. An empty area ends the input.
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

  arguments<Char> choose_arguments(size_t number, bool is_first, bool is_good) {
    using int_type = typename arguments<Char>::int_type;
    const std::string_view name = real_world::operation(number).first;
    const auto has = [&](auto part) { return name.find(part) != name.npos; };
    const auto choose = [&]<class T>(auto part, std::initializer_list<T> list) {
      return has(part) ? all_.one_of(list) : *list.begin();
    };
    const bool clears = is_first ? !has("a.state") : !is_good && all_.below(2);
    const auto masks = {good, bad, eof, fail};
    if (is_first) mask_ = all_.one_of(masks);
    const int_type newline = '\n', wider = newline + 0x100,
                   none = nalo::char_traits<Char>::eof();
    return {.random = all_,
            .operation = number,
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
  // All pairs of operations, or one in 97 for a slice.
  const size_t count_ = count_operations(), step_ = given ? 1 : 97;
  const size_t pair_ = step_ * all_.below((count_ * count_ - 1) / step_ + 1);
  const size_t first_ = pair_ / count_, second_ = pair_ % count_;
  const std::string texts_ = std::string(real_world::operation(first_).first) +
                             "; " + real_world::operation(second_).first;
  // 1 for input in areas, 0 for characters outside of areas.
  const size_t area_ = has("ignore", "get", ">>", "other") ? all_.below(2) : 1;
  const size_t put_area_ =
      has("put", "insert", "<<", "other") ? 2 * all_.below(2) : 0;
  // The characters that the operations look for, and two others.
  const text alphabet_ = widened<Char>(std::string("a\xFF") +
                                       (has("a.ch", "a.delim") ? "\n" : "") +
                                       (has("getstring", "w.word") ? " " : ""));
  iostate mask_ = good;    // or the state that the first operation sets
  size_t room_ = longest;  // for the characters of all areas
  std::vector<text> areas_, other_areas_;
};

TYPED_TEST(Exhaust, PairsOfStreamOperations) {
  this->run([](auto& all) { pair<TypeParam>(all).compare(); });
}

TYPED_TEST(Exhaust, NumbersInAreas) {
  using namespace numbers;
  this->run([](choices& all) {
    std::string text;
    std::vector<size_t> areas;
    while (const size_t size = all.below(longest - text.size() + 1)) {
      text += all.text<char>(size, " \ne1-\xFF");
      areas.push_back(size);
    }
    if (areas.empty()) areas = {1};
    const auto flags =
        all.one_of({default_flags, ios_base::hex, ios_base::boolalpha});
    size_t left = all.below(std::tuple_size_v<types>);
    const auto one = [&]<class T>(T) {
      if (left-- == 0) compare_reading<T, TypeParam>(text, flags, {}, areas);
    };
    std::apply([&](auto... value) { (one(value), ...); }, types());
  });
}

}  // namespace
