// Locales, their facets' lives, and the classes of the classic locale against
// those of the C library.
#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/locale>
#include <nalo/string>

#include <ctype.h>
#include <gtest/gtest.h>
#include <text.h>
#include <wctype.h>

#include <algorithm>
#include <clocale>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using nalo::ctype_base;
using nalo::locale;
using nalo_test::widened;

// Counts the objects of its class that are alive.
template <int Class>
struct counted : locale::facet {
  explicit counted(size_t refs = 0) : facet(refs) { ++alive; }
  counted(const counted& other) : facet(other) { ++alive; }
  ~counted() override { --alive; }
  static inline int alive = 0;
  static inline locale::id id;
};

template <class Facet>
const Facet* found(const locale& loc) {
  return nalo::has_facet<Facet>(loc) ? &nalo::use_facet<Facet>(loc) : nullptr;
}

std::string name_of(const locale& loc) {
  nalo::basic_string<char> name;
  loc.get_name(name);
  EXPECT_EQ(name, loc.name());
  return name.c_str();
}

template <class Error, class Work>
std::string text_raised(Work work) {
  try {
    work();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing raised";
}

// --- locales -----------------------------------------------------------------

// Runs before the constructors of the library's own objects, if it has any.
const bool kEarlyUse = [] {
  const locale copy;
  return nalo::use_facet<nalo::ctype<char>>(copy).is(ctype_base::digit, '7') &&
         nalo::has_facet<nalo::num_put<wchar_t>>(copy) &&
         nalo::use_facet<nalo::numpunct<char>>(copy).decimal_point() == '.' &&
         nalo::has_facet<counted<0>>(locale(copy, new counted<0>));
}();

TEST(Locale, WorksBeforeMain) { EXPECT_TRUE(kEarlyUse); }

template <class Facet>
struct LibraryFacet : testing::Test {};
using library_facets =
    testing::Types<nalo::ctype<char>, nalo::ctype<wchar_t>, nalo::num_put<char>,
                   nalo::num_put<wchar_t>, nalo::num_get<char>,
                   nalo::num_get<wchar_t>, nalo::numpunct<char>,
                   nalo::numpunct<wchar_t>>;
TYPED_TEST_SUITE(LibraryFacet, library_facets);

TYPED_TEST(LibraryFacet, IsInTheClassicLocaleAndCanBeTakenAwayAndPutBack) {
  const locale& classic = locale::classic();
  ASSERT_TRUE(found<TypeParam>(classic));
  const locale lacking = classic.without_<TypeParam>();
  EXPECT_FALSE(found<TypeParam>(lacking));
  EXPECT_THROW(nalo::use_facet<TypeParam>(lacking), nalo::missing_facet_error);
  const locale whole = lacking.combine<TypeParam>(classic);
  EXPECT_EQ(found<TypeParam>(whole), found<TypeParam>(classic));
  const locale client(lacking, new TypeParam);
  EXPECT_TRUE(found<TypeParam>(client));
  EXPECT_NE(found<TypeParam>(client), found<TypeParam>(classic));
}

template <class Char>
void check_classic_punctuation(const locale& loc) {
  const auto& punct = nalo::use_facet<nalo::numpunct<Char>>(loc);
  EXPECT_EQ(punct.decimal_point(), Char('.'));
  EXPECT_EQ(punct.thousands_sep(), Char(','));
  EXPECT_TRUE(punct.grouping().empty());
  EXPECT_EQ(punct.truename().c_str(), widened<Char>("true"));
  EXPECT_EQ(punct.falsename().c_str(), widened<Char>("false"));
}

TEST(Locale, HasTheClassicPunctuationInTheBaseOfAClients) {
  check_classic_punctuation<char>(locale());
  check_classic_punctuation<wchar_t>(locale());
  check_classic_punctuation<char>(locale(locale(), new nalo::numpunct<char>));
  check_classic_punctuation<wchar_t>(
      locale(locale(), new nalo::numpunct<wchar_t>));
}

TEST(Locale, HasANameWhenItIsTheClassicOne) {
  const locale client(locale::classic(), new counted<0>);
  const struct {
    locale loc;
    const char* name;
  } cases[] = {
      {locale(), "C"},
      {locale("C"), "C"},
      {locale("POSIX"), "C"},
      {locale(locale(), "POSIX", locale::numeric), "C"},
      {locale(locale(), locale("C"), locale::all), "C"},
      {locale(locale(), static_cast<counted<0>*>(nullptr)), "C"},
      {locale(locale(), client, locale::none), "C"},
      {client, "*"},
      {locale(client, "C", locale::all), "*"},
      {locale(locale(), client, locale::monetary), "*"},
      {locale().combine<counted<0>>(client), "*"},
      {client.without_<counted<0>>(), "*"},
  };
  for (const auto& [loc, name] : cases) {
    EXPECT_EQ(name_of(loc), name) << &loc - &cases[0].loc;
    EXPECT_EQ(loc == locale::classic(), *name == 'C');
    EXPECT_EQ(loc.is_classic_(), *name == 'C');
    EXPECT_TRUE(loc == locale(loc));
  }
  EXPECT_FALSE(client == locale(locale::classic(), new counted<0>));
}

TEST(Locale, TakesTheFacetsOfACategoryFromTheOther) {
  using punct = nalo::numpunct<char>;
  using wide_ctype = nalo::ctype<wchar_t>;
  const locale base(locale(locale(), new punct), new counted<0>);
  const locale other(locale(locale(locale(), new wide_ctype), new counted<0>)
                         .without_<nalo::num_get<char>>());
  for (const int cats :
       {locale::none, locale::ctype, locale::numeric, locale::monetary,
        locale::ctype | locale::time, locale::all}) {
    const locale mixed(base, other, cats);
    const locale& numeric = (cats & locale::numeric) != 0 ? other : base;
    const locale& ctype = (cats & locale::ctype) != 0 ? other : base;
    EXPECT_EQ(found<punct>(mixed), found<punct>(numeric)) << cats;
    EXPECT_EQ(found<nalo::num_get<char>>(mixed),
              found<nalo::num_get<char>>(numeric))
        << cats;
    EXPECT_EQ(found<wide_ctype>(mixed), found<wide_ctype>(ctype)) << cats;
    EXPECT_EQ(found<counted<0>>(mixed), found<counted<0>>(base)) << cats;
  }
  const locale replaced = base.combine<counted<0>>(other);
  EXPECT_EQ(found<counted<0>>(replaced), found<counted<0>>(other));
  EXPECT_EQ(found<punct>(replaced), found<punct>(base));
  const locale lacking = base.without_<nalo::ctype<char>>();
  EXPECT_FALSE(found<nalo::ctype<char>>(lacking));
  EXPECT_EQ(found<punct>(lacking), found<punct>(base));
}

TEST(Locale, NamesWhatItCannotMake) {
  const locale client(locale::classic(), new counted<0>);
  const char* const null = nullptr;
  const struct {
    std::function<void()> make;
    const char* text;
  } cases[] = {
      {[&] { locale loc(null); }, "nalo::locale the name is null"},
      {[&] { locale loc(client, null, locale::none); },
       "nalo::locale the name is null"},
      {[&] { locale loc(""); },
       "nalo::locale \"\", categories 1904: unknown name"},
      {[&] { locale loc("c"); },
       "nalo::locale \"c\", categories 1904: unknown name"},
      {[&] { locale loc(client, "de_DE", locale::ctype); },
       "nalo::locale \"de_DE\", categories 32: unknown name"},
      {[&] { locale loc(client, client, 1); },
       "nalo::locale \"*\", categories 1: unknown category"},
      {[&] { locale loc(client, "C", 2048); },
       "nalo::locale \"C\", categories 2048: unknown category"},
      {[&] { locale::throwOnCreationFailure("file", 1, 32, null, null); },
       "nalo::locale \"\", categories 32: "},
      {[&] { client.combine<counted<1>>(client); },
       "nalo::locale::combine \"*\" lacks the facet"},
  };
  for (const auto& [make, text] : cases) {
    EXPECT_EQ(text_raised<nalo::locale_error>(make), text);
  }
  EXPECT_EQ(text_raised<nalo::missing_facet_error>(
                [&] { nalo::use_facet<counted<1>>(locale::classic()); }),
            "nalo::use_facet \"C\" lacks the facet");
}

TEST(Locale, GlobalIsWhatNewLocalesAre) {
  const locale client(locale::classic(), new counted<0>);
  EXPECT_TRUE(locale::global(client) == locale::classic());
  EXPECT_TRUE(locale() == client);
  EXPECT_EQ(name_of(locale()), "*");
  EXPECT_TRUE(locale::global(locale::classic()) == client);
  EXPECT_TRUE(locale().is_classic_());
}

// --- lives of facets ---------------------------------------------------------

TEST(Facet, IsDeletedWithTheLastLocaleUnlessItsClientOwnsIt) {
  ASSERT_EQ(counted<0>::alive, 0);
  const counted<0> client_owned(5);
  {
    locale loc(locale(), new counted<0>);
    const locale with_more(loc, new counted<1>);
    const auto* const facet = found<counted<0>>(loc);
    EXPECT_EQ(found<counted<0>>(with_more), facet);
    loc = with_more;
    loc = loc.without_<counted<0>>();
    EXPECT_EQ(counted<0>::alive, 2);

    loc = locale(loc, const_cast<counted<0>*>(&client_owned));
    loc = locale(loc, new counted<0>(client_owned));
    EXPECT_EQ(counted<0>::alive, 3);
    loc = locale::classic();
    EXPECT_EQ(counted<0>::alive, 2);
    EXPECT_EQ(counted<1>::alive, 1);
  }
  EXPECT_EQ(counted<0>::alive, 1);
  EXPECT_EQ(counted<1>::alive, 0);
}

// --- classes of characters ---------------------------------------------------

const nalo::ctype<char>& narrow_classes() {
  return nalo::use_facet<nalo::ctype<char>>(locale::classic());
}
const nalo::ctype<wchar_t>& wide_classes() {
  return nalo::use_facet<nalo::ctype<wchar_t>>(locale::classic());
}

TEST(Ctype, HasTheTableAndTheCasesOfTheCLibrary) {
  const nalo::ctype<char>& classes = narrow_classes();
  ASSERT_EQ(classes.table(), nalo::ctype<char>::classic_table());
  for (int code = 0; code < 256; ++code) {
    const char ch = static_cast<char>(code);
    EXPECT_EQ(classes.table()[code], (*__ctype_b_loc())[code]) << code;
    EXPECT_EQ(classes.is(ctype_base::space, ch), isspace(code) != 0) << code;
    EXPECT_EQ(classes.toupper(ch), static_cast<char>(toupper(code))) << code;
    EXPECT_EQ(classes.tolower(ch), static_cast<char>(tolower(code))) << code;
  }
}

TEST(Ctype, ClassifiesWideCharactersAsTheClassicLocaleWhateverIsSet) {
  const std::pair<ctype_base::mask, const char*> names[] = {
      {ctype_base::blank, "blank"}, {ctype_base::cntrl, "cntrl"},
      {ctype_base::punct, "punct"}, {ctype_base::upper, "upper"},
      {ctype_base::lower, "lower"}, {ctype_base::alpha, "alpha"},
      {ctype_base::digit, "digit"}, {ctype_base::xdigit, "xdigit"},
      {ctype_base::space, "space"}, {ctype_base::print, "print"},
      {ctype_base::alnum, "alnum"}, {ctype_base::graph, "graph"},
  };
  const std::string earlier = std::setlocale(LC_ALL, nullptr);
  EXPECT_TRUE(std::setlocale(LC_ALL, "C.UTF-8"));
  const locale_t c_locale = newlocale(LC_ALL_MASK, "C", nullptr);
  const auto check = [&](wchar_t ch) {
    const auto code = static_cast<wint_t>(ch);
    for (const auto& [mask, name] : names) {
      ASSERT_EQ(wide_classes().is(mask, ch),
                iswctype_l(code, wctype_l(name, c_locale), c_locale) != 0)
          << name << ' ' << code;
    }
    ASSERT_EQ(wide_classes().toupper(ch),
              static_cast<wchar_t>(towupper_l(code, c_locale)));
    ASSERT_EQ(wide_classes().tolower(ch),
              static_cast<wchar_t>(towlower_l(code, c_locale)));
  };
  for (wchar_t ch = -2; ch < 0x3100; ++ch) check(ch);
  for (const int code : {WCHAR_MIN, WCHAR_MAX, 0x10FFFF}) check(code);
  std::setlocale(LC_ALL, earlier.c_str());
}

TEST(Ctype, ConvertsBetweenCharAndWideByValue) {
  const struct {
    wchar_t wide;
    char narrowed;
  } cases[] = {{0, '\0'},    {L'A', 'A'}, {0xE9, '\xE9'},   {0xFF, '\xFF'},
               {0x100, '?'}, {-1, '?'},   {WCHAR_MIN, '?'}, {0x1041, '?'}};
  for (const auto& [wide, narrowed] : cases) {
    EXPECT_EQ(wide_classes().narrow(wide, '?'), narrowed) << int{wide};
    EXPECT_TRUE(narrowed == '?' || wide_classes().widen(narrowed) == wide);
    EXPECT_EQ(narrow_classes().narrow(narrowed, '!'), narrowed);
    EXPECT_EQ(narrow_classes().widen(narrowed), narrowed);
  }
  const std::string_view text = "a\xE9";
  wchar_t wide[2] = {};
  EXPECT_EQ(wide_classes().widen(text.data(), text.data() + 2, wide),
            text.data() + 2);
  EXPECT_EQ(std::wstring(wide, 2), L"a\x00E9");
  wide[0] = 0x100;
  char narrow[2] = {};
  EXPECT_EQ(wide_classes().narrow(wide, wide + 2, '?', narrow), wide + 2);
  EXPECT_EQ(std::string(narrow, 2), "?\xE9");
  EXPECT_EQ(narrow_classes().widen(text.data(), text.data() + 2, narrow),
            text.data() + 2);
  EXPECT_EQ(std::string(narrow, 2), text);
  EXPECT_EQ(narrow_classes().narrow(text.data(), text.data() + 1, '?', narrow),
            text.data() + 1);
}

// Against one question per character, on texts of rare and of frequent hits.
template <class Char, class Ctype>
void check_ranges(const Ctype& classes) {
  std::mt19937 random(7);
  const ctype_base::mask masks[] = {ctype_base::space, ctype_base::alnum,
                                    ctype_base::cntrl, 0};
  for (int round = 0; round < 3000; ++round) {
    std::string source(random() % 70, 'x');
    for (char& ch : source) {
      if (random() % 12 == 0) ch = static_cast<char>(random());
      if (random() % 20 == 0) ch = " \t\n\v\f\r\b\x0E\x85\xA0"[random() % 10];
    }
    std::basic_string<Char> text = widened<Char>(source);
    const ctype_base::mask mask = masks[random() % std::size(masks)];
    Char* const lo = text.data();
    Char* const hi = lo + text.size();
    const auto first = [&](bool wanted) {
      return std::find_if(
          lo, hi, [&](Char ch) { return classes.is(mask, ch) == wanted; });
    };
    ASSERT_EQ(classes.scan_is(mask, lo, hi) - lo, first(true) - lo)
        << mask << ' ' << nalo_test::shown<Char>(text);
    ASSERT_EQ(classes.scan_not(mask, lo, hi) - lo, first(false) - lo)
        << mask << ' ' << nalo_test::shown<Char>(text);

    std::vector<ctype_base::mask> found(text.size());
    ASSERT_EQ(classes.is(lo, hi, found.data()), hi);
    auto upper = text;
    ASSERT_EQ(classes.toupper(upper.data(), upper.data() + upper.size()),
              upper.data() + upper.size());
    auto lower = text;
    classes.tolower(lower.data(), lower.data() + lower.size());
    for (size_t i = 0; i < text.size(); ++i) {
      ASSERT_EQ((found[i] & mask) != 0, classes.is(mask, text[i]));
      ASSERT_EQ(upper[i], classes.toupper(text[i]));
      ASSERT_EQ(lower[i], classes.tolower(text[i]));
    }
  }
}

// Overrides the questions about one character only.
struct dashed : nalo::ctype<wchar_t> {
  using ctype::ctype;
  bool do_is(mask msk, wchar_t ch) const override {
    return ctype::do_is(msk, ch == L'x' ? L'\t' : ch);
  }
  wchar_t do_toupper(wchar_t) const override { return L'-'; }
  wchar_t do_tolower(wchar_t) const override { return L'_'; }
};

TEST(Ctype, TreatsARangeAsItsCharacters) {
  check_ranges<char>(narrow_classes());
  check_ranges<wchar_t>(wide_classes());
  check_ranges<wchar_t>(
      nalo::use_facet<nalo::ctype<wchar_t>>(locale(locale(), new dashed)));

  auto table = std::make_unique<ctype_base::mask[]>(256);
  table['x'] = ctype_base::space;
  table[0xA0] = ctype_base::cntrl;
  const auto* const entries = table.get();
  const locale own(locale(), new nalo::ctype<char>(table.release(), true));
  const auto& classes = nalo::use_facet<nalo::ctype<char>>(own);
  EXPECT_EQ(classes.table(), entries);
  EXPECT_TRUE(classes.is(ctype_base::cntrl, '\xA0'));
  check_ranges<char>(classes);
}

}  // namespace
