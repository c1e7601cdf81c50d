// Allocators of strings, and their errors.
#include <nalo/memory>

namespace nalo {

memory_source::~memory_source() = default;

void* allocator::allocate_from_source_(size_t bytes) const {
  if (void* block = source_->allocate(bytes)) return block;
  impl::throwBadAllocation(bytes);
}

constinit allocator allocator::heap_;

allocation_error::allocation_error(const char* file, int line, size_t count)
    : exception(file, line, "nalo::allocator out of memory"), count_(count) {}

allocation_error::~allocation_error() = default;
void allocation_error::throw_self() { throw allocation_error(*this); }

void impl::throwBadAllocation(size_t count) {
  tThrow(allocation_error("sys/src/nalo/memory", __LINE__, count));
}

}  // namespace nalo
