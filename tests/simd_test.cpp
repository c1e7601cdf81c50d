// Loops over vectors and over single characters, for every length and
// alignment, at the end of a page before an inaccessible one.
#include <nalo/base/impl/simd>

#include <numeric>

#include "common.h"

namespace {

namespace simd = nalo::impl::simd;

// The end of a page that is followed by an inaccessible one.
template <class Char>
Char* end_of_page() {
  const auto size = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  char* const pages =
      static_cast<char*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  mprotect(pages + size, size, PROT_NONE);
  return reinterpret_cast<Char*>(pages + size);
}

// Searches for the character at each place, or at none, with either loop.
template <class Char, class Wanted>
void expect_found(Wanted wanted, Char hit, Char miss) {
  static Char* const source = end_of_page<Char>();
  static Char* const target = end_of_page<Char>();
  const auto expect = [&](size_t at, const Char* from, size_t n, auto vectors) {
    Char* const to = target - n;
    std::fill_n(to, n, Char());
    ASSERT_EQ((simd::scan<vectors()>(from, n, wanted, simd::nowhere())), at);
    ASSERT_EQ((simd::scan<vectors()>(from, n, wanted, to)), at);
    ASSERT_TRUE(std::equal(to, to + at, from)) << at;
  };
  for (size_t n = 0; n <= 150; ++n) {
    for (size_t gap = 0; gap < 16; ++gap) {
      SCOPED_TRACE(testing::Message() << n << " characters, then " << gap);
      Char* const from = source - n - gap;
      for (size_t place = 0; place <= n; ++place) {
        std::fill_n(from, n + gap, hit);
        std::fill_n(from, place, miss);
        expect(place, from, n, std::true_type());
        expect(place, from, n, std::false_type());
      }
    }
  }
}

TEST_SUITE_OF_CHARACTERS(Simd);

TYPED_TEST(Simd, FindsAndCopiesWithinItsBounds) {
  using Char = TypeParam;
  // 0x0A0A is no newline to a comparison of whole wide characters.
  expect_found(simd::equal_to<Char>{'\n'}, Char('\n'),
               sizeof(Char) == 1 ? Char(0x8A) : Char(0x0A0A));
  expect_found(simd::equal_to<Char>{Char(-1)}, Char(-1), Char());
  if constexpr (sizeof(Char) == 1) {
    expect_found(simd::classic_space(), ' ', '\x1F');
    expect_found(simd::classic_space(), ' ', '!');
    expect_found(simd::classic_space(), '\t', '\x08');
    expect_found(simd::classic_space(), '\r', '\x0E');
  }
}

// Every place of a word among the characters that are searched; an empty one
// stands for none.
TEST(SimdFindWord, SkipsWhiteSpaceAndStopsAtIt) {
  constexpr size_t size = simd::near_word;
  char* const text = end_of_page<char>() - size;
  for (size_t first = 0; first <= size; ++first) {
    for (size_t last = first; last <= size; ++last) {
      std::fill_n(text, size, '\n');
      std::fill(text + first, text + last, 'x');
      for (const auto& word :
           {simd::find_word<true>(text), simd::find_word<false>(text)}) {
        EXPECT_EQ(word.begin, first != last ? first : size) << last;
        EXPECT_EQ(std::min(word.end, size), first != last ? last : size)
            << first;
      }
    }
  }
}

TYPED_TEST(Simd, WritesNoMoreThanItIsGiven) {
  using Char = TypeParam;
  constexpr size_t most = 300;
  static Char* const source = end_of_page<Char>() - most;
  static Char* const end = end_of_page<Char>();
  std::iota(source, source + most, Char(1));
  const auto expect_at_end = [&](size_t n, const Char* expected, auto write) {
    Char* const to = end - n;
    std::fill_n(to - 1, n + 1, Char());
    write(to);
    EXPECT_TRUE(std::equal(to, to + n, expected)) << n << " characters";
    EXPECT_EQ(to[-1], Char()) << n << " characters";
  };
  const std::basic_string<Char> filled(most, Char('*'));
  for (size_t n = 0; n <= most; ++n) {
    const Char* const last = source + most - n;
    expect_at_end(n, last, [&](Char* to) { simd::copy(last, n, to); });
    expect_at_end(n, filled.data(),
                  [&](Char* to) { simd::fill_short(to, n, Char('*')); });
  }
  const auto expect_stored = [&](auto word) {
    expect_at_end(sizeof word, source,
                  [&](Char* to) { simd::store_bytes<true>(to, word); });
    expect_at_end(sizeof word, source,
                  [&](Char* to) { simd::store_bytes<false>(to, word); });
  };
  expect_stored(std::uint16_t{0x0201});
  expect_stored(std::uint32_t{0x04030201});
  expect_stored(std::uint64_t{0x08070605'04030201});
}

}  // namespace
