// Locales, the lifetimes of their facets, and the classes of characters.

#include <ctype.h>
#include <dlfcn.h>

#include <atomic>
#include <latch>

#include "common.h"

namespace {

using nalo::ctype_base;
using nalo::locale;

template <int Class>
struct client : locale::facet {
  explicit client(size_t refs = 0) : facet(refs) {}
  int value = Class;
  static inline locale::id id;
};

// Facets whose base class facet is not at their beginning.
struct second : std::exception, client<0> {};
struct twice : client<1>, second {};
struct shared : virtual locale::facet {
  shared() : facet(1) {}
};
using nalo::impl::begins_with_facet;
static_assert(begins_with_facet<client<0>>() &&
              begins_with_facet<nalo::ctype<char>>());
static_assert(!begins_with_facet<second>() && !begins_with_facet<twice>() &&
              !begins_with_facet<shared>());

// A copy would release the same table.
struct own_table : nalo::ctype<char> {};
static_assert(!std::is_copy_constructible_v<own_table>);

// The facet of a locale, or null.
template <class Facet>
const Facet* in(const locale& loc) {
  return nalo::has_facet<Facet>(loc) ? &nalo::use_facet<Facet>(loc) : nullptr;
}

template <class Facet>
struct LocaleFacet : testing::Test {};
using facets =
    testing::Types<nalo::ctype<char>, nalo::ctype<wchar_t>, nalo::num_put<char>,
                   nalo::num_put<wchar_t>, nalo::num_get<char>,
                   nalo::num_get<wchar_t>, nalo::numpunct<char>,
                   nalo::numpunct<wchar_t>, client<0>>;
TYPED_TEST_SUITE(LocaleFacet, facets);

TYPED_TEST(LocaleFacet, IsAddedRemovedAndCopiedFromOtherLocales) {
  const auto find = in<TypeParam>;
  constexpr bool is_client = std::is_same_v<TypeParam, client<0>>;
  constexpr int category = is_client ? locale::none
                           : std::is_base_of_v<ctype_base, TypeParam>
                               ? locale::ctype
                               : locale::numeric;
  const locale& classic = locale::classic();
  EXPECT_EQ(find(classic) != nullptr, !is_client);
  const locale base(classic, new TypeParam), other(base, new TypeParam);
  const locale lacking = base.without_<TypeParam>();
  const TypeParam* const own = find(base);
  EXPECT_NE(find(other), own);
  EXPECT_EQ(find(lacking), nullptr);
  EXPECT_EQ(find(lacking.combine<TypeParam>(other)), find(other));
  // A derived class has the id of its base.
  struct derived : TypeParam {};
  const locale extended(classic, new derived);
  EXPECT_EQ(in<derived>(extended), find(extended));
  EXPECT_EQ(nalo::has_facet<derived>(classic), !is_client);
  for (const locale& from : {other, lacking, classic}) {
    for (const int cats : {locale::ctype, locale::numeric, locale::all}) {
      const locale mixed(base, from, cats);
      EXPECT_EQ(find(mixed), (cats & category) != 0 ? find(from) : own);
    }
  }
}

TEST(Locale, EqualsTheClassicOneUnlessItHasOtherFacets) {
  client<0> owned(5);  // no locale deletes it
  EXPECT_EQ(nalo::ptr_conv<locale::facet>(&owned).get_ptr(), &owned);
  const locale other(locale::classic(), &owned);
#define MADE(...) #__VA_ARGS__, locale(__VA_ARGS__)
  const struct {
    const char* how;
    locale loc;
    const char* name;
  } cases[] = {
      {MADE("C"), "C"},
      {MADE(locale(), "POSIX", locale::numeric), "C"},
      {MADE(locale(), static_cast<client<0>*>(nullptr)), "C"},
      {MADE(locale(), other, locale::none), "C"},
      {MADE(other), "*"},
      {MADE(other, new client<0>(owned)), "*"},
      {MADE(other, "C", locale::all), "*"},
      {MADE(locale(), other, locale::monetary), "*"},
      {MADE(other.without_<client<0>>()), "*"},
      {MADE(locale().without_<client<0>>()), "*"},
  };
#undef MADE
  for (const auto& [how, loc, name] : cases) {
    SCOPED_TRACE(how);
    nalo::string copy;
    loc.get_name(copy);
    EXPECT_EQ(copy, name);
    EXPECT_EQ(loc == locale::classic(), copy == "C");
    EXPECT_TRUE(locale::global(loc) == locale::classic());
    EXPECT_TRUE(locale() == loc);
    EXPECT_TRUE(locale::global(locale::classic()) == loc);
  }
}

TEST(Locale, ReportsWhatItCannotCreate) {
  const locale other(locale::classic(), new client<2>);
  const auto expect = [](const char* text, auto make) {
    EXPECT_EQ(nalo_test::raised_by(make), text);
  };
  expect("nalo::locale the name is null",
         [] { locale loc(static_cast<const char*>(nullptr)); });
  expect("nalo::locale \"c\", categories 1904: unknown name",
         [] { locale loc("c"); });
  expect("nalo::locale \"*\", categories 1: unknown category",
         [&] { locale loc(other, other, 1); });
  expect("nalo::locale \"\", categories 32: ",
         [] { locale::throwOnCreationFailure("", 1, 32, nullptr, nullptr); });
  expect("nalo::locale::combine \"*\" lacks the facet",
         [&] { other.combine<client<3>>(other); });
  expect("nalo::use_facet \"C\" lacks the facet",
         [] { nalo::use_facet<client<3>>(locale::classic()); });
}

// Copies of the global locale take references from a stock, which is refilled.
TEST(Locale, CountsEveryCopyOfTheGlobalLocale) {
  static bool is_alive;
  struct watched : client<4> {
    watched() { is_alive = true; }
    ~watched() override { is_alive = false; }
  };
  locale::global(locale(locale(), new watched));
  std::vector<locale> many(100'000);
  const locale last = locale::global(locale::classic());
  EXPECT_TRUE(many.back() == last);
  many.clear();
  EXPECT_EQ(in<watched>(last)->value, 4);
  EXPECT_TRUE(is_alive);
  const_cast<locale&>(last) = locale::classic();
  EXPECT_FALSE(is_alive);
}

TEST(Locale, CanBeCopiedInAChildProcessWhateverOtherThreadsDid) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer itself may hang in such a child";
#endif
  locale::global(locale(locale(), new client<1>));
  std::atomic<bool> stop = false;
  std::vector<std::thread> threads;
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      while (!stop) locale();
    });
  }
  for (int i = 0; i < 100; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      alarm(20);
      _exit(locale().is_classic_() ? 1 : 0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    ASSERT_EQ(status, 0);
  }
  stop = true;
  for (auto& thread : threads) thread.join();
  locale::global(locale::classic());
}

#ifdef NALO_TESTS_PLUGIN
TEST(Locale, IsReleasedByAPluginWithItsOwnCopyOfTheLibrary) {
  void* const plugin = dlopen(NALO_TESTS_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  ASSERT_TRUE(plugin) << dlerror();
  auto* const release =
      reinterpret_cast<void (*)(locale)>(dlsym(plugin, "release"));
  const locale own(locale(), new client<1>);
  for (const locale& loc : {own, locale::classic(), own, locale::classic()}) {
    release(loc);
  }
  EXPECT_EQ(in<client<1>>(own)->value, 1);
  dlclose(plugin);
}
#endif

TEST(Locale, IsSharedByThreadsWithTheSameFacetIds) {
  const locale shared(locale::classic(), new client<0>);
  std::latch start(4);
  const auto work = [&] {
    start.arrive_and_wait();
    [&]<int... Class>(std::integer_sequence<int, Class...>) {
      locale all;
      ((all = locale(all, new client<Class>)), ...);
      EXPECT_TRUE(((in<client<Class>>(all)->value == Class) && ...));
    }
    (std::make_integer_sequence<int, 60>());
    for (int round = 0; round < 2000; ++round) {
      const locale more(shared, new client<1>);
      const locale earlier =
          locale::global(round % 3 == 0 ? locale::classic() : more);
      for (const locale& loc : {locale(), earlier}) {
        ASSERT_TRUE(loc.is_classic_() || in<client<1>>(loc)->value == 1);
      }
    }
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) threads.emplace_back(work);
  for (auto& thread : threads) thread.join();
  locale::global(locale::classic());
}

TEST_SUITE_OF_CHARACTERS(Characters);

TYPED_TEST(Characters, HaveClassesAndPunctuationOfTheCLibrary) {
  const auto& punct = nalo::use_facet<nalo::numpunct<TypeParam>>(locale());
  EXPECT_EQ(punct.decimal_point(), '.');
  EXPECT_EQ(punct.thousands_sep(), ',');
  EXPECT_TRUE(punct.grouping().empty());
  const auto& facet = nalo::use_facet<nalo::ctype<TypeParam>>(locale());
  // All characters with a class or a case, and those next to them.
  std::basic_string<TypeParam> text;
  for (int code = -2; code < 0x202; ++code) text += TypeParam(code);
  const size_t size = text.size();
  const TypeParam *const lo = text.data(), *const hi = lo + size;
  auto upper = text, lower = text;
  std::string narrow(size, '\0');
  std::basic_string<TypeParam> wide(size, TypeParam());
  std::vector<ctype_base::mask> classes(size, 0xFFFF);
  EXPECT_EQ(facet.is(lo, hi, classes.data()), hi);
  EXPECT_EQ(facet.toupper(&upper[0], &upper[size]), &upper[size]);
  EXPECT_EQ(facet.tolower(&lower[0], &lower[size]), &lower[size]);
  EXPECT_EQ(facet.narrow(lo, hi, '?', &narrow[0]), hi);
  EXPECT_EQ(facet.widen(&narrow[0], &narrow[size], &wide[0]), &narrow[size]);
  for (size_t i = 0; i < size; ++i) {
    const TypeParam ch = text[i];
    const auto code = nalo::char_traits<TypeParam>::to_int_type(ch);
    SCOPED_TRACE(code);
    const unsigned known = code < 0x80 ? (*__ctype_b_loc())[code] : 0;
    ASSERT_EQ(classes[i], known);
    ASSERT_EQ(upper[i], ch - ((known & _ISlower) != 0 ? 'a' - 'A' : 0));
    ASSERT_EQ(lower[i], ch + ((known & _ISupper) != 0 ? 'a' - 'A' : 0));
    ASSERT_EQ(upper[i], facet.toupper(ch));
    ASSERT_EQ(lower[i], facet.tolower(ch));
    ASSERT_EQ(narrow[i], code < 0x100 ? char(code) : '?');
    ASSERT_EQ(wide[i], code < 0x100 ? ch : '?');
  }
  // Short and long ranges from every position.
  for (const TypeParam* from = lo; from != hi; ++from) {
    for (const TypeParam* to = from; to != std::min(hi, from + 36); ++to) {
      for (const auto mask : {ctype_base::space, ctype_base::alpha}) {
        const auto is = [&](TypeParam ch) { return facet.is(mask, ch); };
        ASSERT_EQ(facet.scan_is(mask, from, to), std::find_if(from, to, is));
        ASSERT_EQ(facet.scan_not(mask, from, to),
                  std::find_if_not(from, to, is));
      }
    }
  }
}

TEST(Ctype, UsesTheTableOfItsClient) {
  using ctype = nalo::ctype<char>;
  auto* const released = new ctype_base::mask[256]{};
  released[0xA0] = ctype_base::space;
  const locale own(locale(), new ctype(released, true)),
      same(locale(), new ctype(nullptr, true));
  const std::string_view text = "a longer text than one block\xA0";
  EXPECT_EQ(
      in<ctype>(own)->scan_is(ctype_base::space, text.begin(), text.end()),
      &text.back());
  EXPECT_EQ(in<ctype>(same)->table(), ctype::classic_table());
}

}  // namespace
