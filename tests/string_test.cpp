// How strings store their text, what they refuse, and how they are handed on.
#include <nalo/string>

#include <gtest/gtest.h>

#include <climits>
#include <cstddef>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "failing_source.h"
#include "text.h"

namespace {

using nalo_test::failing_source;
using nalo_test::shown;
using nalo_test::widened;

template <class Char>
class String : public testing::Test {
 protected:
  using string = nalo::basic_string<Char>;
  static constexpr size_t local = sizeof(Char) == 1 ? 39 : 9;
  static constexpr size_t extra = sizeof(Char) == 1 ? 9 : 3;

  static std::basic_string<Char> text(size_t n) {
    std::basic_string<Char> s;
    for (size_t i = 0; i < n; ++i) s += static_cast<Char>('a' + i % 26);
    return s;
  }
  string in_source(size_t n) { return string(text(n), ma_); }

  failing_source source_;
  nalo::allocator ma_{source_};
};

// What a derived class sees of a string.
template <class Char>
struct Inside : nalo::string_base<Char, nalo::char_traits<Char>> {
  using base = nalo::string_base<Char, nalo::char_traits<Char>>;
  Inside() : base(nalo::allocator::default_()) {}
  using base::append_;
  using base::overflowCheck_;
  static std::vector<size_t> layout() {
    return {sizeof(typename base::Bxty), offsetof(Inside, bx_),
            offsetof(Inside, rsrv_),     offsetof(Inside, size_),
            offsetof(Inside, p_ma_),     sizeof(nalo::basic_string<Char>)};
  }
};

// The message of the error that run raises, once it is seen that the error
// names the string and is the thread's last.
template <class Error, class Run>
std::string message_of(Run run) {
  try {
    run();
  } catch (const Error& exc) {
    EXPECT_STREQ(exc.file(), "sys/src/nalo/string");
    EXPECT_EQ(exc.line(), nalo::exception::last_on_thread().line);
    EXPECT_GT(exc.line(), 0);
    return exc.what();
  }
  return "none";
}
const std::string kOverflow = "nalo::string integer overflow";
const std::string kUnderflow = "nalo::string integer underflow";

using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(String, Chars);

TYPED_TEST(String, HasFourFieldsInOrder) {
  EXPECT_EQ(Inside<TypeParam>::layout(),
            (std::vector<size_t>{40, 0, 40, 48, 56, 64}));
  EXPECT_EQ(TestFixture::string::max_size(),
            sizeof(TypeParam) == 1 ? 0xFFFFFFFFFFFFFFFE : 0x3FFFFFFFFFFFFFFE);
}

// An append of count characters to a text of size characters that has so much
// capacity, alone or with another string on its chunk.
TYPED_TEST(String, TakesTheCapacityThatAnAppendNeeds) {
  const size_t in_place = this->local;
  const struct {
    size_t size, capacity;
    bool shared;
    size_t count, after;
  } cases[] = {
      {0, in_place, false, in_place, in_place},
      {0, in_place, false, in_place + 1, in_place + in_place / 2 + 1},
      {0, in_place, false, 1, in_place},
      {in_place, in_place, false, 1, in_place + in_place / 2 + 1},
      {50, 50, false, 1, 76},
      {50, 80, true, 1, 51},
      {50, 50, false, 25, 76},
      {50, 50, false, 27, 77},                // more than half again
      {50, 80, false, 30, 80},                // what there is suffices
      {50, 80, true, 10, 60},                 // shared: exactly what is needed
      {50, 80, true, 31, 121},                // shared and too small: grows
      {2, 80, true, in_place - 2, in_place},  // shared and short: in place
      {2, 80, true, in_place - 1, in_place + 1},
      {50, 80, true, 0, 50},  // no characters, but writable
  };
  for (const auto& c : cases) {
    for (const bool filled : {false, true}) {
      typename TestFixture::string s(this->ma_), other(this->ma_);
      s.reserve(c.capacity);
      s += this->text(c.size);
      if (c.shared) other = s;
      const auto more = filled ? std::basic_string(c.count, TypeParam('x'))
                               : this->text(c.count);
      SCOPED_TRACE(testing::Message()
                   << c.size << " of " << c.capacity << " shared " << c.shared
                   << " + " << c.count << " filled " << filled);
      if (filled && c.count == 1) {
        s += TypeParam('x');
      } else if (filled) {
        s.append(c.count, TypeParam('x'));
      } else {
        s.append(more.data(), more.size());
      }
      const bool nothing = !filled && c.count == 0;
      EXPECT_EQ(s.capacity(), nothing ? c.capacity : c.after);
      EXPECT_TRUE(s.capacity() == in_place ||
                  this->source_.last_bytes() ==
                      (s.capacity() + this->extra) * sizeof(TypeParam))
          << this->source_.last_bytes();
      EXPECT_EQ(s, this->text(c.size) + more);
      EXPECT_EQ(s.shared(), nothing);
      EXPECT_TRUE(!c.shared || other == this->text(c.size));
    }
  }
}

TYPED_TEST(String, ClearKeepsAChunkOfItsOwnOnly) {
  auto s = this->in_source(50);
  s.clear();
  EXPECT_EQ(s.capacity(), 50u);
  s.append(45, TypeParam('x'));
  typename TestFixture::string other(s, this->ma_);
  EXPECT_TRUE(s.shared());
  s.clear();
  EXPECT_EQ(s.capacity(), this->local);
  EXPECT_EQ(other, std::basic_string(45, TypeParam('x')));
  other.clear(true);
  EXPECT_EQ(this->source_.live(), 0u);
}

TYPED_TEST(String, CutsAnAppendedPartOfItselfAtItsEnd) {
  for (const size_t capacity : {60u, 200u}) {
    auto s = this->in_source(60);
    s.reserve(capacity);
    s.append(s.c_str() + 50, 100).append(s.c_str() + 70, 1);
    EXPECT_EQ(s, this->text(60) + this->text(60).substr(50) + TypeParam());
  }
}

TYPED_TEST(String, AllocatesForWhatDoesNotFitOnly) {
  using S = typename TestFixture::string;
  const auto text = this->text(60);
  auto s = this->in_source(60), other = this->in_source(50);
  const auto* const chunk = std::as_const(s).c_str();
  const long before = this->source_.requests();
  s.assign(text.data(), 60);
  s.replace(0, 20, text.data(), 20);
  s.replace(20, 20, 20, TypeParam('x'));
  s.reserve(60);
  s.shrink_to_fit();
  s.swap(other);
  {
    const S shares(s, this->ma_);
    s.append(s.c_str(), 0).insert(1, text.data(), 0).erase(1, 0);
    s.insert(1, 0, TypeParam());
    EXPECT_TRUE(shares.shared());
  }
  EXPECT_EQ(std::as_const(other).c_str(), chunk);
  EXPECT_EQ(this->source_.requests(), before);
  const std::vector<short> list(60, 'x');
  EXPECT_EQ(S(list.begin(), list.end(), this->ma_).capacity(), 60u);
  EXPECT_EQ(this->in_source(50).assign(text.data(), 60).capacity(), 76u);
  EXPECT_EQ(this->in_source(50).insert(0, text.data(), 10).capacity(), 76u);
  s.reserve(80);
  for (const bool assigned : {false, true}) {  // shared: exactly what is needed
    const S shares(s, this->ma_);
    S changed(s, this->ma_);
    changed.shrink_to_fit();
    EXPECT_TRUE(changed.shared());
    if (assigned) {
      changed.assign(this->text(80).data(), 80);
    } else {
      changed.insert(0, 30, TypeParam('x'));
    }
    EXPECT_EQ(changed.capacity(), 80u);
  }
}

TYPED_TEST(String, RefusesLengthsThatDoNotFit) {
  const size_t most = ~size_t{0} - this->extra;
  const struct {
    size_t size;
    long change;
    std::string under, over;
  } cases[] = {
      {5, -5, "none", "none"},       {5, -6, kUnderflow, "none"},
      {most, 0, "none", "none"},     {most, 1, "none", kOverflow},
      {most - 1, 1, "none", "none"}, {0, LONG_MAX, "none", "none"},
      {most + 1, 1, "none", "none"},
  };
  for (const auto& c : cases) {
    const auto check = [&] {
      Inside<TypeParam>::overflowCheck_(7, c.size, c.change);
    };
    const bool under = c.under != "none";
    EXPECT_EQ(under ? message_of<nalo::underflow_error>(check)
                    : message_of<nalo::overflow_error>(check),
              under ? c.under : c.over)
        << c.size << " by " << c.change;
  }
}

TYPED_TEST(String, RefusesSumsThatAreTooLong) {
  typename TestFixture::string s(this->text(2));
  const std::basic_string_view<TypeParam> long_text(s.c_str(), LONG_MAX);
  // Not inlined: the compiler would warn of the length.
  const std::function<void()> add = [&] { s = s + long_text + long_text; };
  EXPECT_EQ(message_of<nalo::overflow_error>(add), kOverflow);
}

TYPED_TEST(String, ChecksTheLengthOfWhatDerivedClassesAppend) {
  Inside<TypeParam> s;
  const auto append = [&] { s.append_(this->text(1).data(), size_t{1} << 63); };
  EXPECT_EQ(message_of<nalo::underflow_error>(append), kUnderflow);
}

// Calls on a text of 60 characters that raise and leave it alone.
template <class S>
using Calls = std::vector<std::function<void(S&)>>;

template <class Error, class S>
void expect_refused(const S& original, const Calls<S>& calls,
                    const std::string& message) {
  for (size_t i = 0; i < calls.size(); ++i) {
    S s(original, original.get_allocator());
    EXPECT_EQ(message_of<Error>([&] { calls[i](s); }), message) << "call " << i;
    EXPECT_TRUE(s == original && s.shared()) << "call " << i;
  }
}

TYPED_TEST(String, RefusesCountsThatNoArrayHas) {
  using S = typename TestFixture::string;
  const auto s60 = this->in_source(60);
  for (const size_t n : {size_t{1} << 63, ~size_t{0} - 59, ~size_t{0}}) {
    static const TypeParam some[1] = {};
    const Calls<S> calls = {
        [=](S& s) { s.append(some, n); },
        [=](S& s) { s.append(s.c_str(), n); },
        [=](S& s) { s.append(n, TypeParam()); },
        [=](S& s) { s.assign(some, n); },
        [=](S& s) { s.assign(n, TypeParam()); },
        [=](S& s) { s.insert(1, some, n); },
        [=](S& s) { s.insert(1, n, TypeParam()); },
        [=](S& s) { s.resize(n); },
        [=](S& s) { s.raw_resize(n); },
        [=](S& s) { s.reserve(n); },
        [=](S&) { S t(some, n); },
        [=](S&) { S t(n, TypeParam()); },
        [=](S&) { (void)S::c_str(some, n); },
    };
    expect_refused<nalo::underflow_error>(s60, calls, kUnderflow);
  }
}

TYPED_TEST(String, RefusesPositionsBehindTheEnd) {
  using S = typename TestFixture::string;
  using V = std::basic_string_view<TypeParam>;
  // The model covers the others.
  const Calls<S> calls = {
      [](S& s) { s.compare(61, 0, V()); },
      [](S& s) { (void)std::as_const(s).at(61); },
      [](S& s) { s.compare(0, 0, V(s), 61); },
      [](S& s) { S t(s, 61); },
      [](S& s) { s.erase(std::as_const(s).end() + 1); },
  };
  expect_refused<nalo::out_of_range>(this->in_source(60), calls,
                                     "nalo::string position 61, size 60");
  S empty;
  EXPECT_NE(message_of<nalo::out_of_range>([&] { empty.pop_back(); }), "none");
}

TYPED_TEST(String, RefusesNullCStrings) {
  using S = typename TestFixture::string;
  const TypeParam* const null = nullptr;
  const Calls<S> calls = {
      [=](S&) { S t(null); },       [=](S&) { (void)S::c_str(null); },
      [=](S& s) { s = null; },      [=](S& s) { s += null; },
      [=](S& s) { s.find(null); },  [=](S& s) { (void)(s == null); },
      [=](S& s) { S t(s + null); }, [=](S& s) { s.insert(0, null); },
  };
  expect_refused<nalo::invalid_argument>(this->in_source(60), calls,
                                         "nalo::string null pointer");
  S empty(null, 0, this->ma_);
  EXPECT_EQ(empty.append(null, 0).assign(null, 0).insert(0, null, 0), S());
}

TYPED_TEST(String, RefusesAChunkOfTooManyCharacters) {
  typename TestFixture::string s(this->ma_);
  const size_t most =
      nalo::allocate_raw_chunk<TypeParam>::max_size - this->extra;
  try {
    s.reserve(most + 1);
    ADD_FAILURE() << "reserved";
  } catch (const nalo::allocation_error& exc) {
    EXPECT_EQ(exc.count(), most + 1 + this->extra);
  } catch (const nalo::underflow_error&) {
    EXPECT_EQ(sizeof(TypeParam), 1u);
  }
  EXPECT_EQ(this->source_.requests(), 0);
}

TYPED_TEST(String, ReadOnlyErrorTellsTheText) {
  using S = typename TestFixture::string;
  using T = std::basic_string<TypeParam>;
  const bool wide = sizeof(TypeParam) > 1;
  const T odd = {TypeParam('a'), static_cast<TypeParam>(0xFF),
                 static_cast<TypeParam>(wide ? 0x100 : '?'),
                 static_cast<TypeParam>(wide ? -1 : '?')};
  const struct {
    T text;
    size_t length;
    std::string message;
  } cases[] = {
      {T(127, 'x'), 127, std::string(127, 'x')},
      {T(128, 'x'), 128, std::string(127, 'x')},
      {odd, 4, "a\xFF??"},
      {T(1, TypeParam()) + TypeParam('x'), 2, ""},
      {T(5, 'x'), 3, "xxx"},  // no zero behind it
  };
  const Calls<S> calls = {
      // Even where another error would follow.
      [n = S::npos](S& s) { s.append(s.c_str(), n); },
      [](S& s) { s.append(S::npos, TypeParam()); },
      [](S& s) { s.insert(999, 1, TypeParam()); },
      [](S& s) { s.insert(999, s.c_str(), 1); },
      [](S& s) { s.append(s.c_str(), 0); },
      [](S& s) { s.clear(); },
      [](S& s) { s.clear(true); },
      [](S& s) { s.raw_resize(0); },
      [](S& s) { s.data(); },
      [](S& s) { s += TypeParam(); },
      [](S& s) { s = S(s); },
  };
  for (const auto& c : cases) {
    S s = S::c_str(c.text.data(), c.length);
    for (const auto& call : calls) {
      EXPECT_EQ(message_of<nalo::rvalue_error>([&] { call(s); }), c.message);
      EXPECT_TRUE(s.rvalue());
    }
    const S copy(s);
    EXPECT_TRUE(copy == c.text.substr(0, c.length) && !copy.rvalue());
    EXPECT_EQ(std::as_const(s).data(), c.text.data());
    EXPECT_EQ(s.buffer_size(), 0u);
    EXPECT_EQ(s.capacity(), c.length);
  }
  const auto raise = [text = this->text(300)] {
    using Raise = nalo::impl::StringRvalueException<sizeof(TypeParam) == 1>;
    Raise::doThrow(7, text.c_str());
  };
  EXPECT_EQ(message_of<nalo::rvalue_error>(raise),
            shown<TypeParam>(this->text(127)));
  S null = S::c_str(nullptr, 0);
  EXPECT_EQ(message_of<nalo::rvalue_error>([&] { null.clear(); }), "");
}

// Handing strings on.

TYPED_TEST(String, CopiesShareAndMovesSteal) {
  using S = typename TestFixture::string;
  failing_source other_source;
  nalo::allocator other_ma(other_source), same_ma(this->source_);
  auto s = this->in_source(50);
  const S shares(s, same_ma), whole(s, 0, 50, same_ma), part(s, 0, 49, same_ma);
  EXPECT_TRUE(shares.shared() && whole.shared() && !part.shared());
  EXPECT_EQ(this->source_.requests(), 2);
  S copy(s, other_ma);
  EXPECT_TRUE(copy == s && !copy.shared());
  S taken(std::move(s));
  EXPECT_EQ(std::as_const(taken).c_str(), shares.c_str());
  EXPECT_TRUE(s.empty() && &taken.get_allocator() == &this->ma_);
  copy = std::move(taken);  // other memory: copied, and left empty
  EXPECT_TRUE(copy == shares && taken.empty() && !copy.shared());
  EXPECT_EQ(&S(copy).get_allocator(), &nalo::allocator::default_());
}

TYPED_TEST(String, WhatIsHandedOutForWritingStaysPrivate) {
  using S = typename TestFixture::string;
  const std::function<TypeParam*(S&)> ways[] = {
      [](S& s) { return &s[0]; },        [](S& s) { return &s.at(0); },
      [](S& s) { return &s.front(); },   [](S& s) { return &s.back() - 49; },
      [](S& s) { return s.data(); },     [](S& s) { return s.begin(); },
      [](S& s) { return s.end() - 50; }, [](S& s) { return &s.rend()[-1]; },
  };
  for (const auto& hand_out : ways) {
    auto s = this->in_source(50);
    const S before(s, this->ma_);
    TypeParam* const first = hand_out(s);
    const S after(s, this->ma_);
    S assigned(this->ma_);
    assigned = s;
    EXPECT_EQ(hand_out(s), first);
    *first = TypeParam('Z');
    EXPECT_EQ(s, TypeParam('Z') + this->text(50).substr(1));
    EXPECT_TRUE(before == after && assigned == after &&
                after == this->text(50));
    assigned = before;
    EXPECT_TRUE(assigned.shared());
    *hand_out(assigned) = TypeParam('Z');
    EXPECT_EQ(before, after);
    s.append(51, TypeParam('x'));  // in a new chunk
    const S shares(s, this->ma_);
    EXPECT_TRUE(s.shared());
  }
}

TYPED_TEST(String, FunctionsReturnAndTakeStringsWithoutCopies) {
  using S = typename TestFixture::string;
  const auto returned = [this]() -> nalo::basic_string_retval<TypeParam> {
    S s = this->in_source(50);
    return s;
  };
  S s = returned();
  s = returned();
  EXPECT_EQ(this->source_.requests(), 2);
  EXPECT_EQ(s, this->text(50));
  using Arg = nalo::basic_string_funcarg<TypeParam>;
  const auto text_of = [](const Arg& arg) { return Arg(arg).c_str(); };
  const auto text = this->text(50);
  EXPECT_EQ(text_of(text.c_str()), text.c_str());
  EXPECT_EQ(text_of(std::basic_string_view<TypeParam>(text)), text.c_str());
  EXPECT_EQ(text_of(text), text.c_str());
  EXPECT_EQ(text_of(s), s.c_str());
  const auto keep = [&s](Arg arg) { s = arg; };
  keep(text);
  EXPECT_TRUE(s == text && !s.rvalue());
  const auto other = this->in_source(50);
  keep(other);
  EXPECT_TRUE(s.shared() && S(Arg(other), this->ma_).shared());
  keep(other + TypeParam('+'));
  EXPECT_EQ(s, text + TypeParam('+'));
}

TYPED_TEST(String, SumsAllocateOnce) {
  using S = typename TestFixture::string;
  const auto a = this->in_source(30);
  const auto text = this->text(30);
  const S sum(a + text + TypeParam('+') + text.c_str() +
                  (std::basic_string_view<TypeParam>(text) + a),
              this->ma_);
  EXPECT_EQ(this->source_.requests(), (sizeof(TypeParam) == 1 ? 0 : 1) + 1);
  EXPECT_EQ(sum, text + text + TypeParam('+') + text + text + text);
  EXPECT_EQ(sum.capacity(), sum.size());
  EXPECT_TRUE(TypeParam('+') + a == (TypeParam('+') + text).c_str());
  EXPECT_EQ((text.c_str() + a).str().size(), 60u);
}

// The rest.

template <class... T>
std::vector<long> numbers(T... values) {
  return {static_cast<long>(values)...};
}

// What the model of random operations leaves out: other overloads and default
// arguments.
template <class S>
std::vector<long> answers(const S& s, const S& t) {
  using Char = typename S::value_type;
  const Char set[] = {'c', 'b', 'a', 0};
  const std::basic_string_view<Char> view(set, 2);
  Char to[9] = {};
  const size_t copied = s.copy(to, 3);
  return numbers(copied, to[0], s.length(), s.substr().size(),
                 s.substr(2).size(), s.front(), s.back(), s.at(1), *s.cbegin(),
                 s.cend()[-1], *s.rbegin(), s.rend()[-1], *s.crbegin(),
                 s.crend()[-1], s.find(s), s.find(set, 0, 1), s.rfind(view),
                 s.rfind(set, 9, 1), s.find_first_of(view),
                 s.find_first_of(set, 0, 2), s.find_last_of(view),
                 s.find_last_of(set, 9, 2), s.find_first_not_of(view),
                 s.find_first_not_of(set, 0, 2), s.find_last_not_of(view),
                 s.find_last_not_of(set, 9, 2), s.compare(1, 2, set) < 0,
                 s.compare(2, 1, set, 1) == 0, s.compare(1, 2, view, 1) < 0,
                 s < t, t < s, s<set, s> set, s<view, s> view);
}

template <class S>
auto changes(S s, S t) {
  using Char = typename S::value_type;
  std::vector<std::basic_string<Char>> stages;
  const auto stage = [&] { stages.emplace_back(s.begin(), s.end()); };
  s.insert(1, t), stage();
  s.replace(1, 2, t), stage();
  s.append(s.data(), 2), stage();
  *s.rbegin() = 'z', stage();
  const auto next = s.erase(s.begin() + 1);
  stages.emplace_back(1, *next), stage();
  swap(s, t), stage();
  s = S(t.begin() + 1, t.end()), stage();
  s.erase(3), stage();
  s.erase(), stage();
  return stages;
}

TYPED_TEST(String, HasTheStandardsOtherCalls) {
  using S = typename TestFixture::string;
  const char* const cases[][2] = {{"axcabc", "axd"}, {"cabca", "caa"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c[0]);
    const auto s = widened<TypeParam>(c[0]);
    const auto t = widened<TypeParam>(c[1]);
    EXPECT_EQ(answers(S(s), S(t)), answers(s, t));
    EXPECT_EQ(changes(S(s), S(t)), changes(s, t));
  }
}

template <class Traits>
std::vector<long> traits_answers() {
  using Char = typename Traits::char_type;
  const Char text[] = {'a', static_cast<Char>(0xE4), 'b', 0};
  Char ch = 'x';
  Traits::assign(ch, text[0]);
  return numbers(ch, Traits::lt(text[0], text[1]), Traits::lt(text[1], text[0]),
                 Traits::lt(ch, ch), Traits::compare(text, text + 1, 2) < 0,
                 Traits::compare(text + 1, text, 1) > 0,
                 Traits::compare(text, text + 1, 0), Traits::length(text),
                 Traits::find(text, 2, 'b') == nullptr,
                 Traits::find(text, 0, 'a') == nullptr,
                 Traits::find(text, 3, 'b') - text);
}

TYPED_TEST(String, HasTheStandardsTraits) {
  EXPECT_EQ(traits_answers<nalo::char_traits<TypeParam>>(),
            traits_answers<std::char_traits<TypeParam>>());
}

TYPED_TEST(String, TellsAndChangesItsSizes) {
  auto s = this->in_source(50);
  EXPECT_EQ(s.byte_size(), 50 * sizeof(TypeParam));
  EXPECT_EQ(s.buffer_size(), 51u);
  EXPECT_EQ(s.elem(49), this->text(50)[49]);
  s.reserve(70);
  const long before = this->source_.requests();
  s.raw_resize(70);
  EXPECT_EQ(s.substr(0, 50), this->text(50));
  s.raw_resize(60);
  EXPECT_EQ(this->source_.requests(), before);
  s.shrink_to_fit();
  EXPECT_EQ(s.capacity(), 60u);
  s.raw_resize(61);
  EXPECT_EQ(s.substr(0, 50), this->text(50));
  EXPECT_EQ(s.capacity(), 91u);
  typename TestFixture::string cut(s, this->ma_);
  cut.raw_resize(50);  // shared: exactly what is needed
  EXPECT_TRUE(cut == this->text(50) && cut.capacity() == 50);
  cut.clear(true);
  s.raw_resize(60);
  s.shrink_to_fit();
  const typename TestFixture::string other(s, this->ma_);
  s.reserve(20);  // room of its own, for what it has
  EXPECT_TRUE(!s.shared() && s.capacity() == 60);
  s.resize(4);
  s.shrink_to_fit();
  EXPECT_EQ(s.buffer_size(), this->local + 1);
  EXPECT_EQ(this->source_.live(), 1u);
}

TYPED_TEST(String, CountsWhatItReplaces) {
  typename TestFixture::string s(widened<TypeParam>("aaa-b-c"));
  EXPECT_EQ(s.replace_all(widened<TypeParam>("aa"), widened<TypeParam>("")), 1);
  EXPECT_EQ(s.replace_all(TypeParam('-'), TypeParam('+')), 2u);
  EXPECT_EQ(s.erase_all(widened<TypeParam>("c")), 1u);
  EXPECT_EQ(s.erase_all(TypeParam('x')), 0u);
  EXPECT_EQ(s, widened<TypeParam>("a+b+"));
  s.append(2, TypeParam('+'));
  const std::basic_string_view<TypeParam> too_long(s.c_str(), size_t{1} << 62);
  const auto replace = [&] {
    s.replace_all(widened<TypeParam>("+"), too_long);
  };
  EXPECT_EQ(message_of<nalo::overflow_error>(replace), kOverflow);
}

TYPED_TEST(String, TakesSinglePassIteratorsAndLists) {
  using In = std::istreambuf_iterator<TypeParam>;
  std::basic_istringstream<TypeParam> in(this->text(50));
  typename TestFixture::string s(In(in), In(), this->ma_);
  EXPECT_EQ(s, this->text(50));
  in.str(this->text(3));
  s.insert(s.begin() + 1, In(in), In());
  EXPECT_EQ(s, this->text(1) + this->text(3) + this->text(50).substr(1));
  EXPECT_EQ((s = {TypeParam('a'), TypeParam()}),
            (typename TestFixture::string{TypeParam('a'), TypeParam()}));
  EXPECT_TRUE((s = {}).empty());
}

}  // namespace
