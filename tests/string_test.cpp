// What strings do against the compiler's own, what they refuse, and how they
// are handed on.
#include <nalo/string>

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <typeindex>
#include <utility>
#include <vector>

#include "string_model.h"

namespace {

using nalo_test::strings::numbers;

template <class Char>
class String : public testing::Test {
 protected:
  using string = nalo::basic_string<Char>;
  using model = std::basic_string<Char>;

  nalo_test::failing_source source_;
  nalo::allocator ma_{source_};
  // On the heap whatever the character.
  const model text_ = model(35, Char('a')) + model(25, Char('b'));
  string str_{text_, ma_};
};

using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(String, Chars);

TYPED_TEST(String, DoesWhatTheStandardsDoes) {
  nalo_test::choices random(20240229);
  nalo_test::strings::comparison<TypeParam> both(random);
  for (int i = 0; i < 50000 && !this->HasFailure(); ++i) both.step();
  EXPECT_EQ(both.outcomes_.size(), 5u);
  for (const auto& [type, count] : both.outcomes_) {
    EXPECT_GT(count, 50) << type.name();
  }
}

// What a derived class sees of a string.
template <class Char>
struct Inside : nalo::string_base<Char, nalo::char_traits<Char>> {
  using base = nalo::string_base<Char, nalo::char_traits<Char>>;
  Inside() : base(nalo::allocator::default_()) { base::append_(1, Char()); }
  using base::append_;
  using base::overflowCheck_;
};

TYPED_TEST(String, RefusesWhatIsWrongAndStaysAsItWas) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
  using V = std::basic_string_view<TypeParam>;
  using In = Inside<TypeParam>;
  using ReadOnly = nalo::impl::StringRvalueException<sizeof(TypeParam) == 1>;
  size_t none = S::npos;  // no constant, of which the compiler would warn
  const size_t most = none - 1 - 8 / sizeof(TypeParam);
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  const V long_text(some, LONG_MAX);
  TypeParam copied[1];
  const T x300(300, 'x'), zero(3, TypeParam()),
      odd = {TypeParam('a'), TypeParam(0xFF), TypeParam(0x100), TypeParam(-1)};
  const struct {
    std::type_index type;
    std::string message;
    std::vector<std::function<void(S&)>> calls;
  } errors[] = {
      {typeid(nalo::underflow_error),
       "nalo::string integer underflow",
       {[&](S& s) { s.append(s.c_str(), none); },
        [&](S& s) { s.replace_all(V(s).substr(34, 2), long_text); },
        [&](S&) { S(some, none); }, [&](S&) { (void)S::c_str(some, none); },
        [&](S&) { In().append_(some, none); },
        [&](S&) { In::overflowCheck_(7, 5, -6); }}},
      {typeid(nalo::overflow_error),
       "nalo::string integer overflow",
       {[&](S& s) { s = s + long_text + long_text; },
        [&](S& s) { s.replace_all(V(s).substr(0, 1), long_text); },
        [&](S&) { In::overflowCheck_(7, most, 1); }}},
      {typeid(nalo::out_of_range),
       "nalo::string position 61, size 60",
       {[&](S& s) { (void)std::as_const(s).at(61); },
        [&](S& s) { s.compare(61, 0, V()); },
        [&](S& s) { s.compare(0, 0, V(s), 61); },
        [&](S& s) { s.copy(copied, 0, 61); }}},
      {typeid(nalo::invalid_argument),
       "nalo::string null pointer",
       {[&](S&) { S{null}; }, [&](S& s) { s.find(null); }}},
      // Even where another error would follow, or nothing would change.
      {typeid(nalo::rvalue_error),
       std::string(127, 'x'),
       {[&](S&) { S(S::c_str(x300.data())).append(some, none); },
        [&](S&) { S(S::c_str(x300.data())).append(none, TypeParam()); },
        [&](S&) { S(S::c_str(x300.data())).append(some, 0); },
        [&](S&) { ReadOnly::doThrow(7, x300.c_str()); }}},
      {typeid(nalo::rvalue_error), "xx", {[&](S&) {
         S(S::c_str(x300.data(), 2)).insert(999, some, 1);
       }}},
      {typeid(nalo::rvalue_error),
       "",
       {[&](S&) { S(S::c_str(zero.data(), 3)).insert(999, 1, TypeParam()); },
        [&](S&) { S(S::c_str(nullptr, 0)).clear(); }}},
      {typeid(nalo::rvalue_error),
       sizeof(TypeParam) == 1 ? "a\xFF" : "a\xFF??",
       {[&](S&) { S(S::c_str(odd.data(), 4)).data(); },
        [&](S&) { ReadOnly::doThrow(7, odd.c_str()); }}},
  };
  for (const auto& [type, message, calls] : errors) {
    for (size_t i = 0; i < calls.size(); ++i) {
      SCOPED_TRACE(testing::Message() << message << " " << i);
      S s(this->str_, this->ma_);
      try {
        calls[i](s);
        ADD_FAILURE() << "done";
      } catch (const nalo::exception& exc) {
        EXPECT_STREQ(typeid(exc).name(), type.name());
        EXPECT_EQ(exc.what(), message);
        EXPECT_STREQ(exc.file(), "sys/src/nalo/string");
        EXPECT_EQ(exc.line(), nalo::exception::last_on_thread().line);
        EXPECT_GT(exc.line(), 0);
      }
      EXPECT_TRUE(s == this->text_ && s.shared());
    }
  }
  // At the edges nothing is raised.
  for (const long n : {-5L, 0L, LONG_MAX}) In::overflowCheck_(7, 5, n);
  for (const long n : {0L, 1L}) In::overflowCheck_(7, most - 1, n);
  In::overflowCheck_(7, most + 1, 1);
  S same(this->str_, this->ma_);
  same.append(some, 0).append(same.c_str(), 0).insert(1, 0, TypeParam());
  EXPECT_TRUE(same.insert(1, some, 0).shared());
  // A text that begins in the string ends at its end, or is the zero behind
  // it, in place or not.
  for (const size_t capacity : {60u, 200u}) {
    S cut(this->str_, this->ma_);
    cut.reserve(capacity);
    cut.append(cut.c_str() + 31, 100);
    EXPECT_EQ(cut, this->text_ + this->text_.substr(31));
    S last(this->str_, this->ma_);
    last.reserve(capacity);
    last.append(last.c_str() + last.size(), 1);
    EXPECT_EQ(last, this->text_ + TypeParam());
  }
  S empty(null, 0, this->ma_);
  EXPECT_EQ(empty.append(null, 0).assign(null, 0).insert(0, null, 0), S());
  EXPECT_THROW(empty.pop_back(), nalo::out_of_range);
  EXPECT_THROW((void)std::as_const(empty).at(0), nalo::out_of_range);
  EXPECT_EQ(S::max_size() + 1, none / sizeof(TypeParam));
}

TYPED_TEST(String, IsHandedOnWithoutCopies) {
  using S = typename TestFixture::string;
  using Arg = nalo::basic_string_funcarg<TypeParam>;
  const auto& text = this->text_;
  const auto returned = [this]() -> nalo::basic_string_retval<TypeParam> {
    S s(this->text_, this->ma_);
    return s;
  };
  S s = returned();
  s = returned();
  s = std::move(s);
  s.assign(text.data(), 60).replace(0, 60, text.data(), 60).reserve(60);
  EXPECT_EQ(s, text);
  const S sum(s + text + TypeParam('+') + text.c_str() +
                  (std::basic_string_view<TypeParam>(text) + s),
              this->ma_);
  EXPECT_EQ(sum, text + text + TypeParam('+') + text + text + text);
  EXPECT_EQ((text.c_str() + s).str().size(), 120u);
  const std::vector<short> list(60, 'x');
  const S from_list(list.begin(), list.end(), this->ma_);
  EXPECT_EQ(this->source_.requests(), 5);  // one for each, and the first

  size_t room = 0;
  EXPECT_EQ(s.own_text_(room), std::as_const(s).data());
  EXPECT_EQ(room, 61u);
  EXPECT_EQ(&s.get_allocator(), &this->ma_);
  EXPECT_EQ(&S(s).get_allocator(), &nalo::allocator::default_());
  const auto text_of = [](const Arg& arg) { return Arg(arg).c_str(); };
  EXPECT_EQ(text_of(text.c_str()), text.c_str());
  EXPECT_EQ(text_of(std::basic_string_view<TypeParam>(text)), text.c_str());
  EXPECT_EQ(text_of(s), s.c_str());
  const auto keep = [&s](Arg arg) { s = arg; };
  keep(text);
  EXPECT_TRUE(s == text && !s.rvalue());
  keep(this->str_);
  EXPECT_TRUE(s.shared() && S(Arg(s), this->ma_).shared());
  keep(s + TypeParam('+'));
  EXPECT_EQ(s, text + TypeParam('+'));
}

template <class Traits>
std::vector<long> traits_answers() {
  using Char = typename Traits::char_type;
  const Char text[] = {'a', static_cast<Char>(0xE4), 'b', 0};
  Char to[] = {'x', 'y', 'z'};
  Traits::assign(to[2], text[0]);
  return numbers(
      to[2], Traits::lt(text[0], text[1]), Traits::lt(text[1], text[0]),
      Traits::lt(to[2], to[2]), Traits::compare(text, text + 1, 2) < 0,
      Traits::compare(text + 1, text, 1) > 0,
      Traits::compare(text, text + 1, 0), Traits::length(text),
      Traits::find(text, 2, 'b') == nullptr,
      Traits::find(text, 0, 'a') == nullptr, Traits::find(text, 1, 'a') - text,
      Traits::find(text, 3, 'b') - text, Traits::assign(to, 0, 'q') - to,
      Traits::copy(to, text, 0) - to, Traits::move(to, text, 0) - to, to[0],
      Traits::eq_int_type(Traits::not_eof(Traits::eof()), Traits::eof()),
      Traits::not_eof('a'));
}

TYPED_TEST(String, HasTheStandardsTraits) {
  using Traits = nalo::char_traits<TypeParam>;
  EXPECT_EQ(traits_answers<Traits>(),
            traits_answers<std::char_traits<TypeParam>>());
  EXPECT_EQ(Traits::not_eof(Traits::eof()), 0u);
}

TEST(Position, IsAnOffset) {
  nalo::streampos pos(7);
  pos -= 2;
  EXPECT_EQ(numbers(nalo::streampos(), pos, pos + 3, pos - 1,
                    pos - nalo::streampos(4)),
            numbers(0, 5, 8, 4, 1));
}

}  // namespace
