// Strings that share a chunk and live on different threads. The checks say
// little without a thread sanitizer, which sees every access that is not
// ordered.
#include <nalo/string>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <utility>

TEST(ThreadString, UsesAChunkOnManyThreads) {
  const std::string text(100, 'x');
  const nalo::string common(text);
  const auto work = [&](nalo::string mine) {
    for (int i = 0; i < 100; ++i) {
      nalo::string cleared(common), longer(mine), last(std::move(mine));
      cleared.clear();
      mine = std::move(last);
      longer += 'y';
      last = longer;
      last.data()[0] = 'z';
      EXPECT_EQ(longer, text + 'y');
      EXPECT_EQ(std::as_const(mine), text);
    }
  };
  for (int round = 0; round < 100; ++round) {
    std::thread threads[3];
    nalo::string mine(text);
    const auto* const chunk = mine.c_str();
    for (auto& thread : threads) thread = std::thread(work, nalo::string(mine));
    // The last one writes in place what the others have read, or frees it.
    if (round % 2 == 0) {
      while (mine.shared()) std::this_thread::yield();
      mine[0] = 'y';
      EXPECT_EQ(std::as_const(mine).c_str(), chunk);
    }
    mine.clear(true);
    for (auto& thread : threads) thread.join();
  }
}
