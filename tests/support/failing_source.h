// A source of memory that refuses on demand and accounts for every block.
#ifndef NALO_TESTS_FAILING_SOURCE_H
#define NALO_TESTS_FAILING_SOURCE_H

#include <nalo/memory>

#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <new>

namespace nalo_test {

class failing_source : public nalo::memory_source {
 public:
  static constexpr long never = -1;

  ~failing_source() override { EXPECT_EQ(blocks_.size(), 0u) << "leaked"; }

  // Refuses the request that follows so many others, and only that one.
  void refuse_after(long requests) { countdown_ = requests; }

  long requests() const { return requests_; }
  long refused() const { return refused_; }
  // Blocks that are out, and the size in bytes of the one that came last.
  size_t live() const { return blocks_.size(); }
  size_t last_bytes() const { return last_bytes_; }

  void* allocate(size_t bytes) override {
    ++requests_;
    last_bytes_ = bytes;
    if (countdown_ != never && countdown_-- == 0) {
      ++refused_;
      return nullptr;
    }
    void* block = ::operator new(bytes, std::nothrow);
    if (block) blocks_[block] = bytes;
    return block;
  }
  void deallocate(void* block) noexcept override {
    EXPECT_EQ(blocks_.erase(block), 1u) << "not a block of this source";
    ::operator delete(block);
  }

 private:
  std::map<void*, size_t> blocks_;
  long countdown_ = never;
  long requests_ = 0;
  long refused_ = 0;
  size_t last_bytes_ = 0;
};

}  // namespace nalo_test

#endif
