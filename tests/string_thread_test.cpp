// Strings that share a chunk between threads or processes. The test of threads
// needs a thread sanitizer, which reports every access that is not ordered.

#include "common.h"

// One block that child processes share.
class shared_block : public nalo::memory_source {
 public:
  ~shared_block() override { munmap(block_, size_); }
  void* allocate(size_t) override { return ++in_use_, block_; }
  void deallocate(void*) noexcept override { --in_use_; }
  int in_use() const { return in_use_; }

 private:
  static constexpr size_t size_ = 4096;
  void* const block_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                            MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  int in_use_ = 0;
};

TEST(ThreadString, CountsUsersOfAChunkInOtherProcesses) {
  shared_block memory;
  nalo::allocator ma(memory);
  {
    const nalo::string common(100, 'x', ma);
    const pid_t child = fork();
    for (int i = 0; i < 1000000; ++i) nalo::string(common, ma);
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    EXPECT_FALSE(common.shared());
  }
  EXPECT_EQ(memory.in_use(), 0);
}

TEST(ThreadString, SharesAChunkBetweenThreads) {
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
    // The last user writes in place what the others have read, or frees it.
    if (round % 2 == 0) {
      while (mine.shared()) std::this_thread::yield();
      mine[0] = 'y';
      EXPECT_EQ(std::as_const(mine).c_str(), chunk);
    }
    mine.clear(true);
    for (auto& thread : threads) thread.join();
  }
}
