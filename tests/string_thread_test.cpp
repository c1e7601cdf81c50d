// Strings that share a chunk and live on different threads. The checks say
// little without a thread sanitizer, which sees every access that is not
// ordered.
#include <nalo/string>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>

namespace {

template <class Char>
class ThreadString : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(ThreadString, Chars);

TYPED_TEST(ThreadString, UseAChunkOnManyThreads) {
  using S = nalo::basic_string<TypeParam>;
  const std::basic_string<TypeParam> text(100, TypeParam('x'));
  const S common(text);
  const auto work = [&](S mine) {
    for (int i = 0; i < 100; ++i) {
      S cleared(common), last(mine), longer(mine), other(longer);
      cleared.clear();
      mine = std::move(last);
      longer += TypeParam('y');
      other = longer;
      other.data()[0] = TypeParam('z');
      longer.swap(other);
      EXPECT_EQ(longer, TypeParam('z') + text.substr(1) + TypeParam('y'));
      EXPECT_EQ(other, text + TypeParam('y'));
      EXPECT_EQ(std::as_const(mine), text);
    }
  };
  for (int round = 0; round < 100; ++round) {
    std::thread threads[3];
    {
      S mine(text);
      const auto* const chunk = mine.c_str();
      for (std::thread& thread : threads) thread = std::thread(work, S(mine));
      // The last one writes in place what the others have read, or frees it.
      if (round % 2 == 0) {
        while (mine.shared()) std::this_thread::yield();
        mine[0] = TypeParam('y');
        EXPECT_EQ(mine.c_str(), chunk);
      }
    }
    for (std::thread& thread : threads) thread.join();
  }
}

}  // namespace
