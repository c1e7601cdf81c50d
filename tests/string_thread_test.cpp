// Strings that share a chunk and live on different threads. The checks say
// little without a thread sanitizer, which sees every access that is not
// ordered.
#include <nalo/string>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "text.h"

namespace {

using nalo_test::widened;

// Counts in a way that orders nothing between the threads.
class counting_source : public nalo::memory_source {
 public:
  void* allocate(size_t bytes) override {
    live_.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(bytes);
  }
  void deallocate(void* block) noexcept override {
    live_.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
  }
  long live() const { return live_; }

 private:
  std::atomic<long> live_{0};
};

template <class Char>
class ThreadString : public testing::Test {
 protected:
  using string = nalo::basic_string<Char>;

  const std::basic_string<Char> text_ = widened<Char>(std::string(100, 'x'));
  counting_source source_;
  nalo::allocator ma_{source_};
};

using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(ThreadString, Chars);

TYPED_TEST(ThreadString, CopyGrowClearAndEndOnManyThreads) {
  using S = typename TestFixture::string;
  std::vector<S> seeds;
  for (int i = 0; i < 4; ++i) seeds.emplace_back(this->ma_);
  seeds[0].reserve(150);
  seeds[0] += this->text_;
  for (S& seed : seeds) seed = seeds[0];
  std::atomic<int> wrong{0};
  const auto work = [&](S mine) {
    for (int round = 0; round < 2000; ++round) {
      S copy(mine, this->ma_), longer(copy, this->ma_), other(this->ma_);
      longer += TypeParam('y');
      other = copy;
      copy.clear();
      other.replace(0, 1, 1, TypeParam('z'));
      S last(mine, this->ma_);
      mine = std::move(last);
      S written(longer, this->ma_), part(mine, 1, 60, this->ma_);
      written.data()[0] = TypeParam('z');
      longer.swap(written);
      written.reserve(300);
      written.shrink_to_fit();
      part.resize(40 + written.size(), TypeParam('w'));
      wrong += longer[0] != TypeParam('z') || part[60] != TypeParam('w');
      longer = written;
      wrong += mine != this->text_ || longer != this->text_ + TypeParam('y') ||
               !copy.empty() || other[0] != TypeParam('z');
    }
  };
  std::vector<std::thread> threads;
  for (S& seed : seeds) threads.emplace_back(work, std::move(seed));
  for (std::thread& thread : threads) thread.join();
  seeds.clear();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(this->source_.live(), 0);
}

// Whoever is last frees what the others have read.
TYPED_TEST(ThreadString, EndAfterTheOthers) {
  using S = typename TestFixture::string;
  const auto read = [this](S copy) {
    EXPECT_EQ(std::as_const(copy), this->text_);
  };
  for (int round = 0; round < 200; ++round) {
    S first(this->text_, this->ma_), second(first, this->ma_);
    std::thread reader(read, std::move(first));
    read(std::move(second));
    reader.join();
  }
  EXPECT_EQ(this->source_.live(), 0);
}

// The last user of a chunk writes in place what others have just read.
TYPED_TEST(ThreadString, WriteOnceTheOthersAreGone) {
  using S = typename TestFixture::string;
  for (int round = 0; round < 200; ++round) {
    S mine(this->text_, this->ma_);
    const auto* const chunk = mine.c_str();
    std::vector<std::thread> readers;
    for (int i = 0; i < 2; ++i) {
      readers.emplace_back(
          [this](S copy) { EXPECT_EQ(std::as_const(copy), this->text_); },
          S(mine, this->ma_));
    }
    while (mine.shared()) std::this_thread::yield();
    mine[0] = TypeParam('y');
    EXPECT_EQ(mine.c_str(), chunk);
    for (std::thread& reader : readers) reader.join();
  }
  EXPECT_EQ(this->source_.live(), 0);
}

}  // namespace
