// Strings compared with std::basic_string; rejected arguments; avoided copies.

#include <filesystem>
#include <memory_resource>

#include "string_model.h"

namespace {

using namespace nalo_test;

template <class Char>
class String : public testing::Test {
 protected:
  using string = nalo::basic_string<Char>;
  using model = std::basic_string<Char>;

  failing_source source_;
  nalo::allocator ma_{source_};
  // Too long to be stored in place, for both character types.
  const model text_ = model(35, Char('a')) + model(25, Char('b'));
  string str_{text_, ma_};
};

TYPED_TEST_SUITE(String, Chars);

TYPED_TEST(String, AgreesWithTheStandardString) {
  choices random(20240229);
  strings::comparison<TypeParam> both(random);
  for (int i = 0; i < 50000 && !this->HasFailure(); ++i) both.step();
  // Parts of the string itself, which are moved before they are copied.
  for (const size_t size : {1u, 2u}) {
    const auto& text = this->text_;
    this->str_.reserve(99);
    this->str_.assign(text.data(), 60).insert(0, this->str_.c_str() + 35, size);
    EXPECT_EQ(this->str_, text.substr(35, size) + text);
  }
}

// A string as its derived classes see it.
template <class Char>
struct Inside : nalo::string_base<Char, nalo::char_traits<Char>> {
  using base = nalo::string_base<Char, nalo::char_traits<Char>>;
  Inside() : base(nalo::allocator::default_()) { base::append_(1, Char()); }
  using base::append_;
  using base::overflowCheck_;
};

TYPED_TEST(String, RejectsInvalidArgumentsWithoutChanging) {
  using S = typename TestFixture::string;
  using In = Inside<TypeParam>;
  size_t none = S::npos;  // not const, which would cause a warning
  const size_t most = none - 1 - 8 / sizeof(TypeParam);
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  const std::basic_string_view<TypeParam> text = this->text_,
                                          longest(some, LONG_MAX);
  const auto expect = [&](const std::string& message, auto call) {
    S s(this->str_, this->ma_);
    EXPECT_EQ(raised_by([&] { call(s); }), "nalo::string " + message);
    EXPECT_STREQ(nalo::exception::last_on_thread().file, "sys/src/nalo/string");
    EXPECT_TRUE(s == this->text_ && s.shared());
  };
  const std::string underflow = "integer underflow";
  expect(underflow, [&](S& s) { s.append(s.c_str(), none); });
  expect(underflow, [&](S& s) { s.replace_all(text.substr(34, 2), longest); });
  expect(underflow, [&](S&) { S(some, none); });
  expect(underflow, [&](S&) { (void)S::c_str(some, none); });
  expect(underflow, [&](S&) { In().append_(some, none); });
  expect(underflow, [&](S&) { In::overflowCheck_(7, 5, -6); });
  const std::string overflow = "integer overflow";
  expect(overflow, [&](S& s) { s = s + longest + longest; });
  expect(overflow, [&](S& s) { s.replace_all(text.substr(0, 1), longest); });
  expect(overflow, [&](S&) { In::overflowCheck_(7, most, 1); });
  const std::string range = "position 61, size 60";
  expect(range, [&](S& s) { (void)std::as_const(s).at(61); });
  expect(range, [&](S& s) { s.compare(0, 0, text, 61); });
  expect("null pointer", [&](S& s) { s.find(null); });

  EXPECT_THROW(this->str_.append(some, none), nalo::underflow_error);
  EXPECT_THROW(In::overflowCheck_(7, most, 1), nalo::overflow_error);
  EXPECT_THROW(this->str_.find(null), nalo::invalid_argument);
  S empty(this->ma_);
  EXPECT_THROW(empty.pop_back(), nalo::out_of_range);
  EXPECT_THROW((void)std::as_const(empty).at(0), nalo::out_of_range);

  // The longest lengths, and null texts of length 0, are allowed.
  for (const long n : {-5L, 0L, LONG_MAX}) In::overflowCheck_(7, 5, n);
  for (const long n : {0L, 1L}) In::overflowCheck_(7, most - 1, n);
  In::overflowCheck_(7, most + 1, 1);
  EXPECT_EQ(S::max_size() + 1, S::npos / sizeof(TypeParam));
  empty.append(null, 0).assign(null, 0).insert(0, null, 0);
  S shared(this->str_, this->ma_);
  shared.append(some, 0).append(shared.c_str(), 0).insert(1, 0, TypeParam());
  EXPECT_TRUE(shared.insert(1, some, 0).shared());
  // A part of the string itself ends with it, or is the null after it.
  shared.append(shared.c_str() + 31, 100).shrink_to_fit();
  shared.append(shared.c_str() + 89, 1);
  const auto all = this->text_ + this->text_.substr(31) + TypeParam();
  EXPECT_EQ(shared, all);
  shared.reserve(300);
  shared.append(shared.c_str() + 80, 100) += TypeParam('x');
  shared.insert(0, shared.c_str() + shared.size(), 1);
  EXPECT_EQ(shared, TypeParam() + all + all.substr(80) + TypeParam('x'));
}

TYPED_TEST(String, RejectsChangesOfReadOnlyTextBeforeItChecksArguments) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
  size_t none = S::npos;  // not const, which would cause a warning
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  const T x300(300, 'x'), zero(3, TypeParam());
  const T odd = {'a', TypeParam(0xFF), TypeParam(0x100), TypeParam(-1)};
  std::pair<S, std::string> read_only[] = {
      {S::c_str(x300.data()), std::string(127, 'x')},
      {S::c_str(x300.data(), 2), "xx"},
      {S::c_str(null, 0), ""},
      {S::c_str(zero.data(), 3), ""},
      {S::c_str(odd.data(), 4), sizeof(TypeParam) == 1 ? "a\xFF" : "a\xFF??"},
  };
  for (auto& text : read_only) {
    S& str = text.first;
    EXPECT_THROW(str.append(some, none), nalo::rvalue_error);
    EXPECT_THROW(str.append(none, TypeParam()), nalo::rvalue_error);
    EXPECT_THROW(str.insert(999, some, 0), nalo::rvalue_error);
    EXPECT_THROW(str.insert(999, 0, TypeParam()), nalo::rvalue_error);
    EXPECT_EQ(raised_by([&str] { str.clear(); }), text.second);
  }
}

TYPED_TEST(String, IsReturnedAndConcatenatedWithoutCopies) {
  using S = typename TestFixture::string;
  const auto& text = this->text_;
  const auto returned = [this]() -> nalo::basic_string_retval<TypeParam> {
    S s(this->text_, this->ma_);
    return s;
  };
  S s = returned();
  s = returned();
  s = std::move(s);
  s.assign(text.data(), 60).replace(0, 60, text.data(), 60).reserve(60);
  EXPECT_EQ(S(std::move(s), this->ma_), text);
  s = returned();
  const S sum(s + text + TypeParam('+') + (text.c_str() + s), this->ma_);
  EXPECT_EQ(sum, text + text + TypeParam('+') + text + text);
  const std::vector<short> list(60, 'x');
  const S from_list(list.begin(), list.end(), this->ma_);
  EXPECT_EQ(this->source_.requests(), 6);  // one for each string made
  // A temporary string that cannot be taken over is copied.
  const auto lent = [&] { return S::c_str(text.data(), 9); };
  const auto roomy = [&] {
    S str(text);
    str.reserve(100);
    return str;
  };
  const long before = this->source_.requests();
  EXPECT_EQ(S(roomy() + lent(), this->ma_), text + text.substr(0, 9));
  EXPECT_EQ(S(lent() + text, this->ma_), text.substr(0, 9) + text);
  EXPECT_EQ(this->source_.requests(), before + 2);
  S taken = roomy();
  const auto* const place = std::as_const(taken).data();
  taken = std::move(taken) + lent() + TypeParam('+');
  EXPECT_EQ(taken, text + text.substr(0, 9) + TypeParam('+'));
  EXPECT_EQ(std::as_const(taken).data(), place);
  S all;
  int growths = 0;
  for (int i = 0; i < 1000; ++i) {
    const auto capacity = all.capacity();
    all = std::move(all) + text + TypeParam('+');
    if (all.capacity() != capacity) ++growths;
  }
  EXPECT_EQ(all.size(), 61'000u);
  EXPECT_EQ(all.find_last_not_of(text), 60'999u);
  EXPECT_LT(growths, 30);  // each by half

  size_t room = 0;
  EXPECT_EQ(nalo::impl::string_access::own_text(s, room), s.c_str());
  EXPECT_EQ(room, 61u);
}

TYPED_TEST(String, IsPassedAsAnArgumentWithoutCopies) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
  using Arg = nalo::basic_string_funcarg<TypeParam>;
  const auto& text = this->text_;
  S s(this->str_, this->ma_);
  const auto refers_to = [](const Arg& arg, const TypeParam* ptr) {
    return Arg(arg).c_str() == ptr;
  };
  EXPECT_TRUE(refers_to(text.c_str(), text.c_str()));
  EXPECT_TRUE(refers_to(text, text.c_str()));
  EXPECT_TRUE(refers_to(s, s.c_str()));
  TypeParam* const null = nullptr;
  EXPECT_THROW(refers_to(null, null), nalo::invalid_argument);
  // Only the argument refers to the caller's text; strings made from it do not.
  Arg moved(text), swapped(text), assigned(text), made(text), swaps(text);
  S taken[] = {S(std::move(static_cast<S&>(moved))), S(), S(), S(),
               nalo::basic_string_retval<TypeParam>(std::move(made))};
  taken[1].swap(swapped);
  static_cast<S&>(swaps).swap(taken[3]);
  taken[2] = std::move(static_cast<S&>(assigned));
  for (const S& str : taken) EXPECT_TRUE(str == text && !str.rvalue());
  // A sum keeps the temporary strings among its operands.
  auto kept = S(this->str_, 1, 59, this->ma_) + T(text) + Arg(text + text);
  EXPECT_EQ(S(std::move(kept)), text.substr(1) + text + text + text);

  const auto keep = [&s](Arg arg) { s = arg; };
  keep(text);
  EXPECT_TRUE(s == text && !s.rvalue());
  keep(this->str_);
  EXPECT_TRUE(s.shared() && S(Arg(s), this->ma_).shared());
  keep(s + TypeParam('+'));
  EXPECT_EQ(s, (text + TypeParam('+')).c_str());
}

TEST(StandardString, IsMadeImplicitlyOfAString) {
  const nalo::string s("12");
  std::string t = s;
  (t = s) += s;
  t.append(s).insert(0, s);
  EXPECT_TRUE(t == "12121212" && s < t && t != s);
  EXPECT_TRUE(t == s + std::string(s) + "1212");
  t = s + '3';
  const std::string sum = "0" + s + t, either = t.empty() ? t : s;
  EXPECT_EQ(sum + either, "01212312");
  std::optional<std::string> optional = s;
  std::map<std::string, int> map{{s, 3}};
  EXPECT_EQ(map[s] + map.at(*(optional = s)), 6);
  std::filesystem::path path(s);
  EXPECT_EQ((path = s).filename(), "12");
  EXPECT_EQ(std::stoi(s), 12);
  std::ostringstream out;
  out << std::setw(3) << s;
  EXPECT_EQ(out.str(), " 12");
  const std::pmr::string allocated = s;
  const std::wstring wide = nalo::wstring(L"wide");
  EXPECT_TRUE(allocated == s && wide == L"wide");
  static_assert(!std::is_convertible_v<std::string, nalo::string> &&
                !std::is_convertible_v<nalo::string, std::wstring>);
}

TYPED_TEST(String, HasTraitsThatAcceptNullTextsOfLengthZero) {
  using Traits = nalo::char_traits<TypeParam>;
  TypeParam *const null = nullptr, text[] = {TypeParam(0xE5), TypeParam(0xE4)};
  Traits::assign(text[0], 'a');
  for (TypeParam* const to : {null, text}) {
    EXPECT_EQ(Traits::move(Traits::copy(to, null, 0), null, 0), to);
    EXPECT_EQ(Traits::assign(to, 0, 'q'), to);
  }
  EXPECT_EQ(Traits::find(null, 0, 'a'), null);
  EXPECT_EQ(Traits::compare(null, null, 0), 0);
  EXPECT_LT(Traits::compare(text, text + 1, 1), 0);
  EXPECT_TRUE(Traits::lt(text[0], text[1]) && !Traits::lt(text[0], text[0]));
  EXPECT_EQ(Traits::not_eof('a'), Traits::to_int_type('a'));
  EXPECT_EQ(Traits::not_eof(Traits::eof()), Traits::to_int_type(0));
}

}  // namespace
