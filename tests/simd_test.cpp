// The loops over vectors and their plain twins: every length and alignment, at
// the end of a page that is followed by one that can be neither read nor
// written.
#include <nalo/base/impl/simd>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <numeric>
#include <string>

namespace {

namespace simd = nalo::impl::simd;

// Two pages, of which the second one ends the program that touches it.
template <class Char>
class guarded_page {
 public:
  guarded_page() {
    const auto size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    bytes_ = static_cast<char*>(mmap(nullptr, 2 * size, PROT_READ | PROT_WRITE,
                                     MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(bytes_ + size, size, PROT_NONE);
    end_ = reinterpret_cast<Char*>(bytes_ + size);
  }
  // The last n characters of the page that can be used.
  Char* last(std::size_t n) const { return end_ - n; }

 private:
  char* bytes_;
  Char* end_;
};

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
  const guarded_page<Char> source, target;
  for (std::size_t n = 0; n <= 150; ++n) {
    for (std::size_t gap = 0; gap < 16; ++gap) {
      Char* const from = source.last(n + gap);
      Char* const to = target.last(n);
      for (std::size_t place = 0; place <= n; ++place) {
        std::fill_n(from, n + gap, hit);
        std::fill_n(from, place, miss);
        std::fill_n(to, n, Char());
        ASSERT_EQ((simd::scan<Vectors>(from, n, wanted, simd::nowhere())),
                  place)
            << n << " characters, " << gap << " behind them";
        ASSERT_EQ((simd::scan<Vectors>(from, n, wanted, to)), place)
            << n << " characters, " << gap << " behind them";
        ASSERT_TRUE(std::equal(to, to + place, from)) << n << ' ' << place;
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
  const guarded_page<Char> sources, page;
  constexpr std::size_t most = 300;
  Char* const source = sources.last(most);
  std::iota(source, source + most, Char(1));
  const auto expect_at_end = [&](std::size_t n, const Char* expected,
                                 auto write) {
    Char* const to = page.last(n);
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
    const char text[16] = {static_cast<char>(value), 'x'};
    const bool is_space = value == ' ' || (9 <= value && value <= 13);
    const simd::classic_space wanted;
    EXPECT_EQ(simd::scan<true>(text, 2, wanted, simd::nowhere()), !is_space * 2)
        << value;
    EXPECT_EQ(simd::scan<true>(text, 16, wanted, simd::nowhere()),
              is_space ? 0U : 16U)
        << value;
  }
  expect_found<true>(simd::classic_space(), ' ', 'x');
  expect_found<false>(simd::classic_space(), '\r', '\x0E');
}

}  // namespace
