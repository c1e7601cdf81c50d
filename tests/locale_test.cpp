// Locales and the lives of their facets against a model, and the classes of
// the classic locale against those of the C library.
#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/locale>
#include <nalo/string>

#include <ctype.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include "blocks_in_use.h"
#include "scripted_streambuf.h"
#include "text.h"

namespace {

using nalo::ctype_base;
using nalo::locale;
using nalo_test::blocks_in_use;
using nalo_test::widened;

template <int Class>
struct client : locale::facet {
  explicit client(size_t refs = 0) : facet(refs) {}
  static inline locale::id id;
};

// Runs before the constructors of the library's own objects, if it has any.
const bool works_before_main =
    nalo::use_facet<nalo::numpunct<char>>(locale()).decimal_point() == '.' &&
    nalo::has_facet<client<0>>(locale(locale(), new client<0>));

template <class Facet>
struct LocaleFacet : testing::Test {};
using facets =
    testing::Types<nalo::ctype<char>, nalo::ctype<wchar_t>, nalo::num_put<char>,
                   nalo::num_put<wchar_t>, nalo::num_get<char>,
                   nalo::num_get<wchar_t>, nalo::numpunct<char>,
                   nalo::numpunct<wchar_t>, client<0>>;
TYPED_TEST_SUITE(LocaleFacet, facets);

TYPED_TEST(LocaleFacet, IsPutInTakenAwayAndTakenFromOtherLocales) {
  constexpr bool is_library = !std::is_same_v<TypeParam, client<0>>;
  constexpr bool is_ctype = std::is_base_of_v<ctype_base, TypeParam>;
  const auto in = [](const locale& loc) -> const TypeParam* {
    if (nalo::has_facet<TypeParam>(loc))
      return &nalo::use_facet<TypeParam>(loc);
    EXPECT_THROW(nalo::use_facet<TypeParam>(loc), nalo::missing_facet_error);
    return nullptr;
  };
  const locale& classic = locale::classic();
  EXPECT_EQ(dynamic_cast<const TypeParam*>(in(classic)) != nullptr, is_library);
  const long before = blocks_in_use();
  {
    const locale base(locale(classic, new client<1>), new TypeParam);
    const locale other(base, new TypeParam);
    const locale lacking = other.without_<TypeParam>();
    const TypeParam* const own = in(base);
    EXPECT_NE(in(other), own);
    EXPECT_FALSE(in(lacking));
    for (const locale& from : {other, lacking, classic}) {
      for (const int cats : {locale::none, locale::ctype, locale::numeric,
                             locale::ctype | locale::time, locale::all}) {
        const locale mixed(base, from, cats);
        const int category = !is_library ? 0
                             : is_ctype  ? locale::ctype
                                         : locale::numeric;
        EXPECT_EQ(in(mixed), (cats & category) != 0 ? in(from) : own);
        EXPECT_TRUE(nalo::has_facet<client<1>>(mixed));
      }
      if (in(from)) {
        EXPECT_EQ(in(base.combine<TypeParam>(from)), in(from));
      } else {
        EXPECT_THROW(base.combine<TypeParam>(from), nalo::locale_error);
      }
      EXPECT_EQ(in(base), own);
    }
  }
  EXPECT_EQ(blocks_in_use(), before);
}

TEST(Locale, HasANameAndIsEqualWhenItIsTheClassicOne) {
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

TEST(Locale, LeavesAFacetToTheClientThatSaysSo) {
  const long before = blocks_in_use();
  client<0> owned(5);
  {
    const locale loc(locale(), &owned);
    // A copy counts its own references.
    const locale copied(loc, new client<0>(owned));
  }
  EXPECT_EQ(blocks_in_use(), before);
  EXPECT_EQ(nalo::ptr_conv<locale::facet>(&owned).get_ptr(), &owned);
}

TEST(Locale, NamesWhatItCannotMake) {
  const locale other(locale::classic(), new client<2>);
  const char* const null = nullptr;
  const struct {
    std::function<void()> make;
    const char* text;
  } cases[] = {
      {[&] { locale loc(null); }, "nalo::locale the name is null"},
      {[&] { locale loc("c"); },
       "nalo::locale \"c\", categories 1904: unknown name"},
      {[&] { locale loc(other, "", locale::ctype); },
       "nalo::locale \"\", categories 32: unknown name"},
      {[&] { locale loc(other, other, 1); },
       "nalo::locale \"*\", categories 1: unknown category"},
      {[&] { locale loc(other, "C", 2048); },
       "nalo::locale \"C\", categories 2048: unknown category"},
      {[&] { locale::throwOnCreationFailure("file", 1, 32, null, null); },
       "nalo::locale \"\", categories 32: "},
      {[&] { other.combine<client<3>>(other); },
       "nalo::locale::combine \"*\" lacks the facet"},
      {[&] { nalo::use_facet<client<3>>(locale::classic()); },
       "nalo::use_facet \"C\" lacks the facet"},
  };
  for (const auto& [make, text] : cases) {
    EXPECT_EQ(nalo_test::raised_by(make), text);
  }
}

template <class Char>
struct Characters : testing::Test {};
using characters = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Characters, characters);

TYPED_TEST(Characters, HasTheClassicPunctuationInTheBaseOfAClients) {
  using punct = nalo::numpunct<TypeParam>;
  for (const locale& loc : {locale("C"), locale(locale(), new punct)}) {
    const auto& facet = nalo::use_facet<punct>(loc);
    EXPECT_EQ(facet.decimal_point(), '.');
    EXPECT_EQ(facet.thousands_sep(), ',');
    EXPECT_TRUE(facet.grouping().empty());
    EXPECT_EQ(facet.truename().c_str(), widened<TypeParam>("true"));
    EXPECT_EQ(facet.falsename().c_str(), widened<TypeParam>("false"));
  }
}

// Some thousand characters, each in its own class or case or next to it.
template <class Char>
std::basic_string<Char> characters_to_classify() {
  std::basic_string<Char> all;
  for (int code = -2; code < 0x1100; ++code) all += static_cast<Char>(code);
  for (int code : {WCHAR_MIN, WCHAR_MAX}) all += static_cast<Char>(code);
  return all;
}

TYPED_TEST(Characters, HaveTheClassesAndCasesOfTheCLibraryAtFirst) {
  const auto& facet = nalo::use_facet<nalo::ctype<TypeParam>>(locale("C"));
  const auto* const table = *__ctype_b_loc();
  EXPECT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));
  for (const TypeParam ch : characters_to_classify<TypeParam>()) {
    const auto code = nalo::char_traits<TypeParam>::to_int_type(ch);
    const auto lower = static_cast<TypeParam>(code + 'a' - 'A'),
               upper = static_cast<TypeParam>(code + 'A' - 'a');
    const unsigned classes = code < 0x80 ? table[code] : 0;
    SCOPED_TRACE(code);
    ctype_base::mask found = 0xFFFF;
    EXPECT_EQ(facet.is(&ch, &ch + 1, &found), &ch + 1);
    EXPECT_EQ(found, classes);
    EXPECT_EQ(facet.toupper(ch), (classes & _ISlower) != 0 ? upper : ch);
    EXPECT_EQ(facet.tolower(ch), (classes & _ISupper) != 0 ? lower : ch);
    const char byte = static_cast<char>(code);
    EXPECT_EQ(facet.narrow(ch, '?'), code < 0x100 ? byte : '?');
    EXPECT_TRUE(code >= 0x100 || facet.widen(byte) == ch);
  }
  std::setlocale(LC_ALL, "C");
}

// Overrides the questions about one character only.
struct dashed : nalo::ctype<wchar_t> {
  bool do_is(mask msk, wchar_t ch) const override {
    return ctype::do_is(msk, ch == L'y' ? L'\t' : ch);
  }
  wchar_t do_toupper(wchar_t) const override { return L'-'; }
  wchar_t do_tolower(wchar_t) const override { return L'_'; }
};

// Against one question per character.
template <class Char>
void check_ranges(const locale& loc) {
  const auto& facet = nalo::use_facet<nalo::ctype<Char>>(loc);
  const auto is = [&](unsigned mask, Char ch) {
    return facet.is(static_cast<ctype_base::mask>(mask), ch);
  };
  const auto text = characters_to_classify<Char>();
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
    for (unsigned bit = 1; bit <= 0x8000; bit *= 2) {
      ASSERT_EQ((classes[i] & bit) != 0, is(bit, text[i])) << i;
    }
    ASSERT_EQ(upper[i], facet.toupper(text[i])) << i;
    ASSERT_EQ(lower[i], facet.tolower(text[i])) << i;
    ASSERT_EQ(narrow[i], facet.narrow(text[i], '?')) << i;
    ASSERT_EQ(wide[i], facet.widen(narrow[i])) << i;
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

TEST(Ctype, TreatsARangeAsItsCharacters) {
  static ctype_base::mask own[256] = {};
  own[size_t{'x'}] = ctype_base::alpha;
  own[0xA0] = ctype_base::space;
  check_ranges<char>(locale());
  check_ranges<char>(locale(locale(), new nalo::ctype<char>(own)));
  check_ranges<wchar_t>(locale());
  check_ranges<wchar_t>(locale(locale(), new dashed));
}

TEST(Ctype, ReleasesATableThatItIsGiven) {
  static const ctype_base::mask kept[256] = {};
  const long before = blocks_in_use();
  for (const bool given : {false, true}) {
    const auto* const table = given ? new ctype_base::mask[256] : kept;
    for (const auto* each : {table, decltype(table)()}) {
      const locale loc(locale(), new nalo::ctype<char>(each, given));
      EXPECT_EQ(nalo::use_facet<nalo::ctype<char>>(loc).table(),
                each ? each : nalo::ctype<char>::classic_table());
    }
    EXPECT_EQ(blocks_in_use(), before);
  }
}

}  // namespace
