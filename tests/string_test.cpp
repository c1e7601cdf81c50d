// What strings do against the compiler's own, what they refuse, and how they
// are handed on.
#include <nalo/string>

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <functional>
#include <map>
#include <memory_resource>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "scripted_streambuf.h"
#include "string_model.h"

namespace {

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
}

// What a derived class sees of a string.
template <class Char>
struct Inside : nalo::string_base<Char, nalo::char_traits<Char>> {
  using base = nalo::string_base<Char, nalo::char_traits<Char>>;
  Inside() : base(nalo::allocator::default_()) { base::append_(1, Char()); }
  using base::append_;
  using base::overflowCheck_;
};

TYPED_TEST(String, RefusesWrongArgumentsAndStaysAsItWas) {
  using S = typename TestFixture::string;
  using V = std::basic_string_view<TypeParam>;
  using In = Inside<TypeParam>;
  size_t none = S::npos;  // no constant, of which the compiler would warn
  const size_t most = none - 1 - 8 / sizeof(TypeParam);
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  const V long_text(some, LONG_MAX);
  const struct {
    std::string message;
    std::vector<std::function<void(S&)>> calls;
  } errors[] = {
      {"nalo::string integer underflow",
       {[&](S& s) { s.append(s.c_str(), none); },
        [&](S& s) { s.replace_all(V(s).substr(34, 2), long_text); },
        [&](S&) { S(some, none); }, [&](S&) { (void)S::c_str(some, none); },
        [&](S&) { In().append_(some, none); },
        [&](S&) { In::overflowCheck_(7, 5, -6); }}},
      {"nalo::string integer overflow",
       {[&](S& s) { s = s + long_text + long_text; },
        [&](S& s) { s.replace_all(V(s).substr(0, 1), long_text); },
        [&](S&) { In::overflowCheck_(7, most, 1); }}},
      {"nalo::string position 61, size 60",
       {[&](S& s) { (void)std::as_const(s).at(61); },
        [&](S& s) { s.compare(0, 0, V(s), 61); }}},
      {"nalo::string null pointer", {[&](S& s) { s.find(null); }}},
  };
  for (const auto& [message, calls] : errors) {
    for (const auto& call : calls) {
      S s(this->str_, this->ma_);
      EXPECT_EQ(nalo_test::raised_by([&] { call(s); }), message);
      EXPECT_STREQ(nalo::exception::last_on_thread().file,
                   "sys/src/nalo/string");
      EXPECT_TRUE(s == this->text_ && s.shared());
    }
  }
  EXPECT_THROW(errors[0].calls[0](this->str_), nalo::underflow_error);
  EXPECT_THROW(errors[1].calls[0](this->str_), nalo::overflow_error);
  EXPECT_THROW(errors[2].calls[0](this->str_), nalo::out_of_range);
  EXPECT_THROW(errors[3].calls[0](this->str_), nalo::invalid_argument);
  S empty(this->ma_);
  EXPECT_THROW(empty.pop_back(), nalo::out_of_range);
  EXPECT_THROW((void)std::as_const(empty).at(0), nalo::out_of_range);
}

TYPED_TEST(String, TakesTheLongestLengthsAndNullTextsOfNoLength) {
  using S = typename TestFixture::string;
  using In = Inside<TypeParam>;
  const size_t most = S::npos - 1 - 8 / sizeof(TypeParam);
  const TypeParam *const null = nullptr, *const some = this->text_.data();
  for (const long n : {-5L, 0L, LONG_MAX}) In::overflowCheck_(7, 5, n);
  for (const long n : {0L, 1L}) In::overflowCheck_(7, most - 1, n);
  In::overflowCheck_(7, most + 1, 1);
  EXPECT_EQ(S::max_size() + 1, S::npos / sizeof(TypeParam));
  S s(null, 0, this->ma_);
  s.append(null, 0).assign(null, 0).insert(0, null, 0);
  s = this->str_;
  s.append(some, 0).append(s.c_str(), 0).insert(1, 0, TypeParam());
  EXPECT_TRUE(s.insert(1, some, 0).shared());
}

// Or at the zero behind it, when it begins there.
TYPED_TEST(String, AppendsItsOwnTextUpToItsEnd) {
  using S = typename TestFixture::string;
  for (const size_t capacity : {60u, 89u, 200u}) {
    S own(this->str_, this->ma_);
    own.reserve(capacity);
    own.append(own.c_str() + 31, 100).append(own.c_str() + own.size(), 1);
    EXPECT_EQ(own, this->text_ + this->text_.substr(31) + TypeParam());
  }
}

TYPED_TEST(String, RefusesChangesOfReadOnlyTextBeforeAllElse) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
  size_t none = S::npos;  // no constant, of which the compiler would warn
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
    EXPECT_EQ(nalo_test::raised_by([&str] { str.clear(); }), text.second);
  }
  using ReadOnly = nalo::impl::StringRvalueException<sizeof(TypeParam) == 1>;
  EXPECT_EQ(nalo_test::raised_by([&] { ReadOnly::doThrow(7, x300.c_str()); }),
            read_only[0].second);
  EXPECT_EQ(nalo_test::raised_by([&] { ReadOnly::doThrow(7, odd.c_str()); }),
            read_only[4].second);
}

// A derived class that handles chunks itself.
template <class Char>
struct OwnChunks : nalo::basic_string<Char> {
  using nalo::basic_string<Char>::basic_string;

  void share(OwnChunks& other, OwnChunks& counts) {
    this->bx_.ptr_ = other.bx_.ptr_;
    counts.bx_.increment();
    this->rsrv_ = other.rsrv_;
    this->size_ = other.size_;
  }
  // Moves the text to a chunk that is as long.
  void fit() {
    volatile Char* const old = this->bx_.ptr_;
    volatile Char* chunk = old - this->counter_sz_;
    Char* const to = nalo::allocate_raw_chunk<Char>(this->size_ + this->extra_,
                                                    *this->p_ma_) +
                     this->counter_sz_;
    nalo::char_traits<Char>::copy(to, this->c_str_(), this->size_ + 1);
    this->bx_.init(to);
    this->rsrv_ = this->size_;
    if (this->bx_.decrement(old)) nalo::free_raw_chunk(chunk, *this->p_ma_);
  }
};

TYPED_TEST(String, WritesOwnChunksOfADerivedClassOnlyWhileItIsTheOneUser) {
  using S = OwnChunks<TypeParam>;
  const TypeParam x = 'x';
  const std::pair<const char*, void (*)(S&, TypeParam)> changes[] = {
      {"+=", [](S& s, TypeParam ch) { s += ch; }},
      {"append", [](S& s, TypeParam ch) { s.append(&ch, 1); }},
      {"append a count", [](S& s, TypeParam ch) { s.append(2, ch); }},
      {"assign", [](S& s, TypeParam ch) { s.assign(&ch, 1); }},
      {"[]", [](S& s, TypeParam ch) { s[0] = ch; }},
      {"clear", [](S& s, TypeParam) { s.clear(); }},
  };
  for (const auto& [name, change] : changes) {
    for (const int how : {0, 1, 2, 3}) {
      SCOPED_TRACE(testing::Message() << name << ", case " << how);
      S a(this->text_.data(), 60, this->ma_), b(99, x, this->ma_), c(this->ma_);
      a.reserve(100);
      if (how & 1) a.data();
      b.clear(true);
      b.share(a, how & 2 ? a : b);
      c.share(a, c);
      change(a, x);
      change(b, x);
      EXPECT_EQ(c.c_str(), this->text_);
      c.fit();
      change(c, x);
      EXPECT_NE(c.capacity(), 100u);
      EXPECT_EQ(std::as_const(a), c);
    }
  }
}

TYPED_TEST(String, IsHandedOnWithoutCopies) {
  using S = typename TestFixture::string;
  using T = typename TestFixture::model;
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
  EXPECT_EQ(S(std::move(s), this->ma_), text);
  s = returned();
  const S sum(s + text + TypeParam('+') + (text.c_str() + s), this->ma_);
  EXPECT_EQ(sum, text + text + TypeParam('+') + text + text);
  const std::vector<short> list(60, 'x');
  const S from_list(list.begin(), list.end(), this->ma_);
  EXPECT_EQ(this->source_.requests(), 6);  // one for each, and the first

  size_t room = 0;
  EXPECT_EQ(nalo::impl::string_access::own_text(s, room), s.c_str());
  EXPECT_EQ(room, 61u);
  const auto refers_to = [](const Arg& arg, const TypeParam* ptr) {
    return Arg(arg).c_str() == ptr;
  };
  EXPECT_TRUE(refers_to(text.c_str(), text.c_str()));
  EXPECT_TRUE(refers_to(text, text.c_str()));
  EXPECT_TRUE(refers_to(s, s.c_str()));
  // Nothing but an argument refers to the caller's text.
  Arg moved(text), swapped(text), assigned(text), made(text);
  S taken[] = {S(std::move(static_cast<S&>(moved))), S(), S(),
               nalo::basic_string_retval<TypeParam>(std::move(made))};
  taken[1].swap(swapped);
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

TEST(StandardString, IsMadeOfAStringWhereverOneIsWanted) {
  const nalo::string s("12");
  std::string t = s;
  t = s;
  t += s;
  t.append(s).insert(0, s);
  const std::pmr::string allocated = s;
  EXPECT_TRUE(t == "12121212" && s < t && t != s && allocated == s);
  EXPECT_TRUE(t == s + std::string(s) + "1212");
  t = s + '3';
  const std::string sum = "0" + s + t, either = t.empty() ? t : s;
  EXPECT_EQ(sum + either, "01212312");
  std::optional<std::string> optional = s;
  optional = s;
  EXPECT_TRUE(optional == std::string(s));
  std::vector<std::string> list{s};
  list.push_back(s);
  std::map<std::string, int> map{{s, 3}};
  EXPECT_EQ(map[s] + map.at(list[1]), 6);
  EXPECT_EQ([](const std::string& str) { return std::stoi(str); }(s), 12);
  EXPECT_EQ(std::stoi(s) + std::stod(s), 24);
  std::filesystem::path path(s);
  path = s;
  EXPECT_EQ(path.filename(), "12");
  const std::wstring wide = nalo::wstring(L"wide");
  EXPECT_EQ(wide, L"wide");
  static_assert(!std::is_convertible_v<std::string, nalo::string> &&
                !std::is_convertible_v<nalo::string, std::wstring>);
}

TYPED_TEST(String, HasTheStandardsTraits) {
  using Traits = nalo::char_traits<TypeParam>;
  const TypeParam text[] = {'a', TypeParam(0xE4), 0};
  TypeParam to[] = {'x'};
  Traits::assign(to[0], text[1]);
  EXPECT_EQ(to[0], text[1]);
  EXPECT_EQ(Traits::copy(to, text, 0), to);
  EXPECT_EQ(Traits::move(to, text, 0), to);
  EXPECT_EQ(Traits::assign(to, 0, 'q'), to);
  EXPECT_EQ(Traits::find(text, 0, 'a'), nullptr);
  EXPECT_EQ(Traits::find(text, 1, 'a'), text);
  EXPECT_EQ(Traits::compare(text, to, 0), 0);
  EXPECT_LT(Traits::compare(text, text + 1, 1), 0);
  EXPECT_TRUE(Traits::lt(text[0], text[1]) && !Traits::lt(text[0], text[0]));
  EXPECT_EQ(Traits::not_eof('a'), Traits::to_int_type('a'));
  EXPECT_EQ(Traits::not_eof(Traits::eof()), Traits::to_int_type(0));
}

TEST(Position, IsAnOffset) {
  nalo::streampos pos(7);
  pos -= 2;
  EXPECT_EQ(pos + 3, 8L);
  EXPECT_EQ(pos - 1 - nalo::streampos(3), 1L);
  EXPECT_EQ(nalo::streampos(), 0L);
}

}  // namespace
