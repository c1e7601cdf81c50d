// The loops over vectors and their plain twins: every length and alignment, at
// the end of a page that is followed by one that can be neither read nor
// written.
#include <nalo/base/impl/simd>

#include <numeric>

#include "common.h"

namespace {

namespace simd = nalo::impl::simd;

// The end of a page that is followed by one that nobody may touch.
template <class Char>
Char* end_of_page() {
  const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  char* const pages =
      static_cast<char*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE,
                              MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  mprotect(pages + size, size, PROT_NONE);
  return reinterpret_cast<Char*>(pages + size);
}

template <class T>
struct Simd : testing::Test {};
template <class C, bool Vectors>
struct loop {
  using Char = C;
  static constexpr bool vectors = Vectors;
};
using Loops = testing::Types<loop<char, true>, loop<char, false>,
                             loop<wchar_t, true>, loop<wchar_t, false>>;
TYPED_TEST_SUITE(Simd, Loops);

// Tries each place of the character that is looked for, and none.
template <bool Vectors, class Char, class Wanted>
void expect_found(Wanted wanted, Char hit, Char miss) {
  static Char* const source = end_of_page<Char>();
  static Char* const target = end_of_page<Char>();
  for (std::size_t n = 0; n <= 150; ++n) {
    for (std::size_t gap = 0; gap < 16; ++gap) {
      SCOPED_TRACE(testing::Message()
                   << n << " characters, " << gap << " behind them");
      Char *const from = source - n - gap, *const to = target - n;
      for (std::size_t place = 0; place <= n; ++place) {
        std::fill_n(from, n + gap, hit);
        std::fill_n(from, place, miss);
        std::fill_n(to, n, Char());
        ASSERT_EQ((simd::scan<Vectors>(from, n, wanted, simd::nowhere())),
                  place);
        ASSERT_EQ((simd::scan<Vectors>(from, n, wanted, to)), place);
        ASSERT_TRUE(std::equal(to, to + place, from)) << place;
      }
    }
  }
}

TYPED_TEST(Simd, FindsAndCopiesWithinItsBounds) {
  using Char = typename TypeParam::Char;
  // 0x0A0A is no newline to a comparison of whole wide characters.
  expect_found<TypeParam::vectors>(
      simd::equal_to<Char>{'\n'}, Char('\n'),
      sizeof(Char) == 1 ? Char(0x8A) : Char(0x0A0A));
  const Char top = static_cast<Char>(-1);
  expect_found<TypeParam::vectors>(simd::equal_to<Char>{top}, top, Char());
}

TYPED_TEST(Simd, MovesNoMoreThanItIsGiven) {
  using Char = typename TypeParam::Char;
  constexpr std::size_t most = 300;
  static Char* const source = end_of_page<Char>() - most;
  static Char* const end = end_of_page<Char>();
  std::iota(source, source + most, Char(1));
  const auto expect_at_end = [&](std::size_t n, const Char* expected,
                                 auto write) {
    Char* const to = end - n;
    std::fill_n(to - 1, n + 1, Char());
    write(to);
    EXPECT_TRUE(std::equal(to, to + n, expected)) << n << " characters";
    EXPECT_EQ(to[-1], Char()) << n << " characters";
  };
  const std::basic_string<Char> filled(most, Char('*'));
  for (std::size_t n = 0; n <= most; ++n) {
    const Char* const last = source + most - n;
    expect_at_end(n, last, [&](Char* to) { simd::copy(last, n, to); });
    expect_at_end(n, filled.data(),
                  [&](Char* to) { simd::fill_short(to, n, Char('*')); });
  }
  const auto expect_stored = [&](auto word) {
    expect_at_end(sizeof word, source, [&](Char* to) {
      simd::store_bytes<TypeParam::vectors>(to, word);
    });
  };
  expect_stored(std::uint16_t{0x0201});
  expect_stored(std::uint32_t{0x04030201});
  expect_stored(std::uint64_t{0x08070605'04030201});
}

TEST(ClassicSpace, IsThatOfTheTableInBothLoops) {
  for (int value = 0; value <= 0xFF; ++value) {
    const bool is_space = value == ' ' || (9 <= value && value <= 13);
    for (const std::size_t n : {2u, 16u}) {  // of which a vector takes one
      std::string text(n, 'x');
      text[0] = static_cast<char>(value);
      EXPECT_EQ(simd::scan<true>(text.data(), n, simd::classic_space(),
                                 simd::nowhere()),
                is_space ? 0 : n)
          << value;
    }
  }
  expect_found<true>(simd::classic_space(), ' ', 'x');
  expect_found<false>(simd::classic_space(), '\r', '\x0E');
}

}  // namespace
