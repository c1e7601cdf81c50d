// A source of memory that refuses requests on demand, and very large ones, and
// keeps account of all blocks. Part of common.h.
#pragma once

namespace nalo_test {

class failing_source : public nalo::memory_source {
 public:
  static constexpr long never = -1;

  ~failing_source() override { EXPECT_EQ(bytes(), 0u) << "leaked"; }

  // Refuses one request, after the given number of others.
  void refuse_after(long requests) { countdown_ = requests; }
  // Refuses by raising std::bad_alloc instead of returning null.
  bool raises = false;

  long requests() const { return requests_; }
  // The size of all allocated blocks.
  size_t bytes() const { return bytes_; }

  void* allocate(size_t bytes) override {
    ++requests_;
    const bool refuses = countdown_-- == 0;
    if (refuses && raises) throw std::bad_alloc();
    if (refuses || bytes > 65536 * sizeof(wchar_t)) return nullptr;
    void* const block = ::operator new(bytes);
    bytes_ += blocks_[block] = bytes;
    return block;
  }
  // Overwrites the block, so that tests notice when it is read later.
  void deallocate(void* block) noexcept override {
    const auto known = blocks_.extract(block);
    ASSERT_TRUE(known) << "not a block of this source";
    std::fill_n(static_cast<volatile char*>(block), known.mapped(), '!');
    bytes_ -= known.mapped();
    ::operator delete(block);
  }

 private:
  std::map<void*, size_t> blocks_;
  size_t bytes_ = 0;
  long countdown_ = never;
  long requests_ = 0;
};

}  // namespace nalo_test
