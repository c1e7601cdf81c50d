// Locales and the lives of their facets, on several threads too, and the
// classes of the classic locale against those of the C library.
#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/locale>
#include <nalo/string>

#include <ctype.h>
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cwchar>
#include <latch>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ctype_base;
using nalo::locale;
using nalo_test::widened;

std::atomic<int> alive = 0;
template <int Class>
struct client : locale::facet {
  explicit client(size_t refs = 0) : facet(refs) { ++alive; }
  client(const client& other) : facet(other) { ++alive; }
  ~client() override { --alive; }
  int value = Class;
  static inline locale::id id;
};

// The facet, or null.
template <class Facet>
const Facet* in(const locale& loc) {
  if (nalo::has_facet<Facet>(loc)) return &nalo::use_facet<Facet>(loc);
  EXPECT_THROW(nalo::use_facet<Facet>(loc), nalo::missing_facet_error);
  return nullptr;
}

// Runs before the constructors of the library's own objects, if it has any.
const bool works_before_main =
    nalo::use_facet<nalo::numpunct<char>>(locale()).decimal_point() == '.' &&
    nalo::has_facet<client<0>>(locale(locale(), new client<0>));

struct Locale : testing::Test {
  ~Locale() override { EXPECT_EQ(alive, 0); }
};
struct ThreadLocale : Locale {};
template <class Facet>
struct LocaleFacet : Locale {};
using facets =
    testing::Types<nalo::ctype<char>, nalo::ctype<wchar_t>, nalo::num_put<char>,
                   nalo::num_put<wchar_t>, nalo::num_get<char>,
                   nalo::num_get<wchar_t>, nalo::numpunct<char>,
                   nalo::numpunct<wchar_t>, client<0>>;
TYPED_TEST_SUITE(LocaleFacet, facets);

TYPED_TEST(LocaleFacet, IsPutInTakenAwayAndTakenFromOtherLocales) {
  const auto find = in<TypeParam>;
  constexpr bool is_library = !std::is_same_v<TypeParam, client<0>>;
  constexpr int category = !is_library ? 0
                           : std::is_base_of_v<ctype_base, TypeParam>
                               ? locale::ctype
                               : locale::numeric;
  const locale& classic = locale::classic();
  EXPECT_EQ(dynamic_cast<const TypeParam*>(find(classic)) != nullptr,
            is_library);
  const locale base(locale(classic, new client<1>), new TypeParam);
  const locale other(base, new TypeParam);
  const locale lacking = other.without_<TypeParam>();
  const TypeParam* const own = find(base);
  EXPECT_NE(find(other), own);
  EXPECT_FALSE(find(lacking));
  for (const locale& from : {other, lacking, classic}) {
    for (const int cats : {locale::none, locale::ctype, locale::numeric,
                           locale::ctype | locale::time, locale::all}) {
      const locale mixed(base, from, cats);
      EXPECT_EQ(find(mixed), (cats & category) != 0 ? find(from) : own);
      EXPECT_TRUE(nalo::has_facet<client<1>>(mixed));
    }
    if (find(from)) {
      EXPECT_EQ(find(base.combine<TypeParam>(from)), find(from));
    } else {
      EXPECT_THROW(base.combine<TypeParam>(from), nalo::locale_error);
    }
    EXPECT_EQ(find(base), own);
  }
}

TEST_F(Locale, HasANameAndIsEqualWhenItIsTheClassicOne) {
  EXPECT_TRUE(works_before_main);
  const locale other(locale::classic(), new client<0>);
  const struct {
    locale loc;
    const char* name;
  } cases[] = {
      {locale(), "C"},
      {locale("C"), "C"},
      {locale("POSIX"), "C"},
      {locale(locale(), "POSIX", locale::numeric), "C"},
      {locale(locale(), static_cast<client<0>*>(nullptr)), "C"},
      {locale(locale(), other, locale::none), "C"},
      {other, "*"},
      {locale(other, "C", locale::all), "*"},
      {locale(locale(), other, locale::monetary), "*"},
      {locale().combine<client<0>>(other), "*"},
      {other.without_<client<0>>(), "*"},
  };
  for (const auto& [loc, name] : cases) {
    SCOPED_TRACE(&loc - &cases[0].loc);
    nalo::string copy;
    loc.get_name(copy);
    EXPECT_EQ(copy, name);
    EXPECT_EQ(loc.name(), name);
    EXPECT_EQ(loc == locale::classic(), *name == 'C');
    EXPECT_EQ(loc.is_classic_(), *name == 'C');
    EXPECT_TRUE(locale::global(loc) == locale::classic());
    EXPECT_TRUE(locale() == loc);
    EXPECT_TRUE(locale::global(locale::classic()) == loc);
  }
  EXPECT_FALSE(other == locale(locale::classic(), new client<0>));
}

TEST_F(Locale, LeavesAFacetToTheClientThatSaysSo) {
  client<0> owned(5);
  const locale loc(locale(), &owned);
  // A copy counts its own references.
  const locale copied(loc, new client<0>(owned));
  EXPECT_EQ(nalo::ptr_conv<locale::facet>(&owned).get_ptr(), &owned);
}

TEST_F(Locale, NamesWhatItCannotMake) {
  const locale other(locale::classic(), new client<2>);
  const char* const null = nullptr;
  const auto expect = [](const char* text, auto make) {
    EXPECT_EQ(nalo_test::raised_by(make), text);
  };
  expect("nalo::locale the name is null", [&] { locale loc(null); });
  expect("nalo::locale \"c\", categories 1904: unknown name",
         [] { locale loc("c"); });
  expect("nalo::locale \"\", categories 32: unknown name",
         [&] { locale loc(other, "", locale::ctype); });
  expect("nalo::locale \"*\", categories 1: unknown category",
         [&] { locale loc(other, other, 1); });
  expect("nalo::locale \"C\", categories 2048: unknown category",
         [&] { locale loc(other, "C", 2048); });
  expect("nalo::locale \"\", categories 32: ",
         [&] { locale::throwOnCreationFailure("", 1, 32, null, null); });
  expect("nalo::locale::combine \"*\" lacks the facet",
         [&] { other.combine<client<3>>(other); });
  expect("nalo::use_facet \"C\" lacks the facet",
         [] { nalo::use_facet<client<3>>(locale::classic()); });
}

template <int... Class>
bool has(const locale& loc) {
  return ((in<client<Class>>(loc)->value == Class) && ...);
}

TEST_F(ThreadLocale, SharesFacetsAgreesOnTheirIdsAndReplacesTheGlobalOne) {
  const locale shared(locale::classic(), new client<0>);
  std::latch start(4);
  const auto work = [&] {
    start.arrive_and_wait();
    [&]<int... Class>(std::integer_sequence<int, Class...>) {
      locale all;
      ((all = locale(all, new client<100 + Class>)), ...);
      EXPECT_TRUE(has<100 + Class...>(all));
    }
    (std::make_integer_sequence<int, 60>());
    for (int round = 0; round < 2000; ++round) {
      const locale more(shared, new client<1>);
      const locale both = more.without_<client<0>>().combine<client<0>>(shared);
      ASSERT_TRUE((has<0, 1>(both)));
      const locale earlier =
          locale::global(round % 3 == 0 ? locale::classic() : more);
      for (const locale& loc : {locale(), earlier}) {
        ASSERT_TRUE(loc.is_classic_() || has<1>(loc));
      }
    }
  };
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  }
  locale::global(locale::classic());
}

template <class Char>
void check_classic_punctuation() {
  using punct = nalo::numpunct<Char>;
  for (const locale& loc : {locale("C"), locale(locale(), new punct)}) {
    const auto& facet = nalo::use_facet<punct>(loc);
    EXPECT_EQ(std::basic_string<Char>(
                  {facet.decimal_point(), facet.thousands_sep()}) +
                  facet.truename().c_str() + facet.falsename().c_str(),
              widened<Char>(".,truefalse"));
    EXPECT_TRUE(facet.grouping().empty());
  }
}

TEST(Numpunct, HasTheClassicPunctuationInTheBaseOfAClients) {
  check_classic_punctuation<char>();
  check_classic_punctuation<wchar_t>();
}

// Overrides the questions about one character only.
struct dashed : nalo::ctype<wchar_t> {
  bool do_is(mask msk, wchar_t ch) const override {
    return ctype::do_is(msk, ch == L'y' ? L'\t' : ch);
  }
  wchar_t do_toupper(wchar_t) const override { return L'-'; }
  wchar_t do_tolower(wchar_t) const override { return L'_'; }
};

// What a facet says of ranges, against what it says of each character, and the
// classic facet against the C library.
template <class Char>
void check_ctype(const locale& loc) {
  const auto& facet = nalo::use_facet<nalo::ctype<Char>>(loc);
  const auto is = [&](unsigned mask, Char ch) {
    return facet.is(static_cast<ctype_base::mask>(mask), ch);
  };
  // Each in its own class or case or next to it.
  std::basic_string<Char> text;
  for (int code = -2; code < 0x1100; ++code) text += static_cast<Char>(code);
  for (int code : {WCHAR_MIN, WCHAR_MAX}) text += static_cast<Char>(code);
  const Char* const lo = text.data();
  const Char* const hi = lo + text.size();
  const auto end_of = [](auto& to) { return to.data() + to.size(); };
  auto upper = text, lower = text;
  std::string narrow(text.size(), '\0');
  std::basic_string<Char> wide(text.size(), Char());
  std::vector<ctype_base::mask> classes(text.size(), 0xFFFF);
  EXPECT_EQ(facet.is(lo, hi, classes.data()), hi);
  EXPECT_EQ(facet.toupper(upper.data(), end_of(upper)), end_of(upper));
  EXPECT_EQ(facet.tolower(lower.data(), end_of(lower)), end_of(lower));
  EXPECT_EQ(facet.narrow(lo, hi, '?', narrow.data()), hi);
  const char* const end = end_of(narrow);
  EXPECT_EQ(facet.widen(narrow.data(), end, wide.data()), end);
  for (size_t i = 0; i < text.size(); ++i) {
    const Char ch = text[i];
    const auto code = nalo::char_traits<Char>::to_int_type(ch);
    SCOPED_TRACE(code);
    for (unsigned bit = 1; bit <= 0x8000; bit *= 2) {
      ASSERT_EQ((classes[i] & bit) != 0, is(bit, ch));
    }
    ASSERT_EQ(upper[i], facet.toupper(ch));
    ASSERT_EQ(lower[i], facet.tolower(ch));
    ASSERT_EQ(narrow[i], facet.narrow(ch, '?'));
    ASSERT_EQ(narrow[i], code < 0x100 ? static_cast<char>(code) : '?');
    ASSERT_EQ(wide[i], facet.widen(narrow[i]));
    ASSERT_EQ(wide[i], code < 0x100 ? ch : '?');
    if (!loc.is_classic_()) continue;
    const unsigned known = code < 0x80 ? (*__ctype_b_loc())[code] : 0;
    const auto other_case = static_cast<Char>(ch ^ ('a' ^ 'A'));
    ASSERT_EQ(classes[i], known);
    ASSERT_EQ(upper[i], (known & _ISlower) != 0 ? other_case : ch);
    ASSERT_EQ(lower[i], (known & _ISupper) != 0 ? other_case : ch);
  }
  // One character between others, at every place of short and long ranges.
  for (size_t size = 1; size < 36; ++size) {
    for (size_t at = 0; at < size; ++at) {
      for (const Char ch : text.substr(0, 0x102)) {
        std::basic_string<Char> some(size, Char('x'));
        some[at] = ch;
        const Char* const first = some.data();
        for (const auto mask : {ctype_base::space, ctype_base::cntrl}) {
          ASSERT_EQ(facet.scan_is(mask, first, first + size) - first,
                    is(mask, ch) ? at : size);
        }
        ASSERT_EQ(
            facet.scan_not(ctype_base::alpha, first, first + size) - first,
            is(ctype_base::alpha, ch) ? size : at);
      }
    }
  }
}

TEST(Ctype, HasTheClassicClassesAndTreatsARangeAsItsCharacters) {
  using narrow = nalo::ctype<char>;
  EXPECT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));
  check_ctype<char>(locale());
  check_ctype<wchar_t>(locale());
  std::setlocale(LC_ALL, "C");
  check_ctype<wchar_t>(locale(locale(), new dashed));
  auto* const released = new ctype_base::mask[256]{};
  released[size_t{'x'}] = ctype_base::alpha;
  released[0xA0] = ctype_base::space;
  const auto* const kept = narrow::classic_table();
  const locale own(locale(), new narrow(released, true));
  EXPECT_EQ(nalo::use_facet<narrow>(own).table(), released);
  check_ctype<char>(own);
  for (auto* facet : {new narrow(kept), new narrow(nullptr, true)}) {
    const locale loc(locale(), facet);
    EXPECT_EQ(nalo::use_facet<narrow>(loc).table(), kept);
  }
}

}  // namespace
