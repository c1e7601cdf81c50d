// Replaces the global allocation operators by ones that count the blocks in
// use, fill them and the bytes after them with nonzero values, and refuse
// requests on demand. Only for programs of one source file.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

namespace nalo_test {

inline long blocks_in_use = 0;
// Decides whether a request is refused.
inline bool (*refused)() = [] { return false; };
// Whether arrays that are requested with std::nothrow are refused.
inline bool no_memory = false;

}  // namespace nalo_test

// Not inline, so that GCC does not see the calls of malloc() and free().
[[gnu::noinline]] void* operator new(size_t size) {
  void* block = nalo_test::refused() ? nullptr : std::malloc(size + 16);
  if (!block) throw std::bad_alloc();
  std::memset(block, 0xA5, size + 16);
  ++nalo_test::blocks_in_use;
  return block;
}
// The other forms of a sanitizer would not call the first one.
void* operator new(size_t size, const std::nothrow_t&) noexcept try {
  return ::operator new(size);
} catch (const std::bad_alloc&) {
  return nullptr;
}
void* operator new[](size_t size) { return ::operator new(size); }
void* operator new[](size_t size, const std::nothrow_t& tag) noexcept {
  return nalo_test::no_memory ? nullptr : ::operator new(size, tag);
}
[[gnu::noinline]] void operator delete(void* ptr) noexcept {
  if (ptr) --nalo_test::blocks_in_use;
  std::free(ptr);
}
void operator delete(void* ptr, size_t) noexcept { ::operator delete(ptr); }
void operator delete[](void* ptr) noexcept { ::operator delete(ptr); }
void operator delete[](void* ptr, size_t) noexcept { ::operator delete(ptr); }
