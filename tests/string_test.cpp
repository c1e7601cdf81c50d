// What strings do against the compiler's own, what they refuse, and how they
// are handed on.
#include <nalo/string>

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <string>
#include <tuple>
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
  for (int i = 0; i < 20000 && !this->HasFailure(); ++i) both.step();
}

// What a derived class sees of a string.
template <class Char>
struct Inside : nalo::string_base<Char, nalo::char_traits<Char>> {
  using base = nalo::string_base<Char, nalo::char_traits<Char>>;
  using base::overflowCheck_;
};

TYPED_TEST(String, RefusesWhatIsWrongAndStaysAsItWas) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
  using V = std::basic_string_view<TypeParam>;
  using In = Inside<TypeParam>;
  size_t none = S::npos;  // no constant, of which the compiler would warn
  const size_t most = none - 1 - 8 / sizeof(TypeParam);
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  const V long_text(some, LONG_MAX);
  const T odd = {TypeParam('a'), TypeParam(0xFF), TypeParam(0x100),
                 TypeParam(-1)};
  const T x300(300, 'x'), zero(3, TypeParam());
  using Calls = std::vector<std::function<void(S&)>>;
  const std::tuple<std::type_index, std::string, Calls> errors[] = {
      {typeid(nalo::underflow_error),
       "nalo::string integer underflow",
       {[&](S& s) { s.append(s.c_str(), none); },
        [&](S& s) { s.replace_all(V(s).substr(34, 2), long_text); },
        [&](S&) { S(some, none); }, [&](S&) { (void)S::c_str(some, none); },
        [&](S&) { In::overflowCheck_(7, 5, -6); }}},
      {typeid(nalo::overflow_error),
       "nalo::string integer overflow",
       {[&](S& s) { s = s + long_text + long_text; },
        [&](S& s) { s.replace_all(V(s).substr(0, 1), long_text); },
        [&](S&) { In::overflowCheck_(7, most, 1); }}},
      {typeid(nalo::out_of_range),
       "nalo::string position 61, size 60",
       {[&](S& s) { (void)std::as_const(s).at(61); },
        [&](S& s) { s.compare(0, 0, V(s), 61); }}},
      {typeid(nalo::invalid_argument), "nalo::string null pointer", {[&](S& s) {
         s.find(null);
       }}},
      // Even where another error would follow, or nothing would change.
      {typeid(nalo::rvalue_error),
       std::string(127, 'x'),
       {[&](S&) { S(S::c_str(x300.data())).append(some, none); },
        [&](S&) { S(S::c_str(x300.data())).append(some, 0); }}},
      {typeid(nalo::rvalue_error), "xx", {[&](S&) {
         S(S::c_str(x300.data(), 2)).insert(999, some, 1);
       }}},
      {typeid(nalo::rvalue_error),
       "",
       {[&](S&) { S(S::c_str(zero.data(), 3)).data(); },
        [&](S&) { S(S::c_str(nullptr, 0)).clear(); }}},
      {typeid(nalo::rvalue_error),
       sizeof(TypeParam) == 1 ? "a\xFF" : "a\xFF??",
       {[&](S&) { S(S::c_str(odd.data(), 4)).clear(); }}},
  };
  for (const auto& [type, message, calls] : errors) {
    for (const auto& call : calls) {
      S s(this->str_, this->ma_);
      try {
        call(s);
        ADD_FAILURE() << message << " is not raised";
      } catch (const nalo::exception& exc) {
        EXPECT_STREQ(typeid(exc).name(), type.name());
        EXPECT_EQ(exc.what(), message);
        EXPECT_STREQ(exc.file(), "sys/src/nalo/string");
        EXPECT_EQ(exc.line(), nalo::exception::last_on_thread().line);
      }
      EXPECT_TRUE(s == this->text_ && s.shared());
    }
  }
  // At the edges nothing is raised.
  for (const long n : {-5L, 0L, LONG_MAX}) In::overflowCheck_(7, 5, n);
  for (const long n : {0L, 1L}) In::overflowCheck_(7, most - 1, n);
  S s(null, 0, this->ma_);
  s.append(null, 0).assign(null, 0).insert(0, null, 0);
  EXPECT_THROW(s.pop_back(), nalo::out_of_range);
  // A text that begins in the string ends at its end.
  for (const size_t capacity : {60u, 200u}) {
    s = this->text_;
    s.reserve(capacity);
    s.append(s.c_str() + 31, 100);
    EXPECT_EQ(s, this->text_ + this->text_.substr(31));
  }
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
  EXPECT_EQ(S(std::move(s), this->ma_).c_str(), text);
  s = returned();
  const S sum(s + text + TypeParam('+') + (text.c_str() + s), this->ma_);
  EXPECT_EQ(sum, text + text + TypeParam('+') + text + text);
  EXPECT_EQ((text.c_str() + s).str().size(), 120u);
  const std::vector<short> list(60, 'x');
  const S from_list(list.begin(), list.end(), this->ma_);
  EXPECT_EQ(this->source_.requests(), 6);  // one for each, and the first

  size_t room = 0;
  EXPECT_EQ(s.own_text_(room), std::as_const(s).data());
  EXPECT_EQ(room, 61u);
  EXPECT_EQ(&S(s).get_allocator(), &nalo::allocator::default_());
  const auto text_of = [](const Arg& arg) { return Arg(arg).c_str(); };
  EXPECT_EQ(text_of(text.c_str()), text.c_str());
  EXPECT_EQ(text_of(text), text.c_str());
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
      to[2], Traits::lt(text[0], text[1]), Traits::lt(text[0], text[0]),
      Traits::compare(text, text + 1, 2) < 0, Traits::compare(text, to, 0),
      Traits::length(text), Traits::find(text, 2, 'b') == nullptr,
      Traits::find(text, 1, 'a') - text, Traits::assign(to, 0, 'q') - to,
      Traits::copy(to, text, 0) - to, Traits::move(to, text, 0) - to, to[0],
      Traits::eq_int_type(Traits::not_eof(Traits::eof()), Traits::eof()),
      Traits::not_eof('a'));
}

TYPED_TEST(String, HasTheStandardsTraits) {
  EXPECT_EQ(traits_answers<nalo::char_traits<TypeParam>>(),
            traits_answers<std::char_traits<TypeParam>>());
}

TEST(Position, IsAnOffset) {
  nalo::streampos pos(7);
  pos -= 2;
  EXPECT_EQ(numbers(nalo::streampos(), pos, pos + 3, pos - 1,
                    pos - nalo::streampos(4)),
            numbers(0, 5, 8, 4, 1));
}

}  // namespace
