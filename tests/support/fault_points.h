// Fault points: where the code under test asks for memory or calls something
// that a client provides. They are counted as they are passed, and any one of
// them can be made to fail. The program that includes this states
// NALO_TEST_COUNT_HEAP once, outside any namespace.
#ifndef NALO_TESTS_FAULT_POINTS_H
#define NALO_TESTS_FAULT_POINTS_H

#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/memory>
#include <nalo/streambuf>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "scripted_streambuf.h"

namespace nalo_test {

struct fault_point {
  const char* site;
  const void* owner;  // the buffer
  bool raises, refuses;
};

class fault_points {
 public:
  // Runs a call in which the point at fails, 1 for the first, 0 for none.
  // Answers what it raises, as raised_by() does.
  template <class Call>
  static std::string run(size_t at, fault kind, Call call) {
    passed.clear();
    passed.reserve(1000);
    at_ = at;
    kind_ = kind;
    return raised_by([&] {
      const struct arming {
        arming() { armed_ = true; }
        ~arming() { armed_ = false; }
      } armed;
      call();
    });
  }

  // Called at a point. Raises, or answers true for a refusal, when this is the
  // one to fail.
  static bool pass(fault_point point) {
    if (!armed_) return false;
    passed.push_back(point);
    if (passed.size() != at_) return false;
    armed_ = false;
    raise(kind_);
    return kind_ == fault::refusal;
  }
  static bool pass_heap() {
    return in_test_code_ == 0 && pass({"heap", nullptr, false, true});
  }

  // While one lives, no memory is asked for by the code under test.
  struct test_code {
    test_code() { ++in_test_code_; }
    ~test_code() { --in_test_code_; }
  };

  static inline std::vector<fault_point> passed;

 private:
  static inline bool armed_ = false;
  static inline int in_test_code_ = 0;
  static inline size_t at_ = 0;
  static inline fault kind_ = fault::none;
};

// The heap: counts the blocks that are out, and ends the program when one was
// written behind its end.
inline long live_blocks = 0;

struct heap_block {
  alignas(std::max_align_t) size_t size;
};
inline constexpr char heap_guard[] = "guarded";

inline void* counted_new(size_t size) {
  if (fault_points::pass_heap()) throw std::bad_alloc();
  void* raw = std::malloc(sizeof(heap_block) + size + sizeof heap_guard);
  if (!raw) throw std::bad_alloc();
  ++live_blocks;
  auto* block = static_cast<heap_block*>(raw);
  block->size = size;
  std::memcpy(reinterpret_cast<char*>(block + 1) + size, heap_guard,
              sizeof heap_guard);
  return block + 1;
}
inline void counted_delete(void* memory) noexcept {
  if (!memory) return;
  --live_blocks;
  auto* block = static_cast<heap_block*>(memory) - 1;
  if (std::memcmp(static_cast<char*>(memory) + block->size, heap_guard,
                  sizeof heap_guard) != 0) {
    std::abort();
  }
  std::free(block);
}

// Replaces the forms that the library uses; the others the sanitizers define
// without calling these.
#define NALO_TEST_COUNT_HEAP                                               \
  void* operator new(size_t size) { return nalo_test::counted_new(size); } \
  void* operator new[](size_t size, const std::nothrow_t&) noexcept {      \
    try {                                                                  \
      return nalo_test::counted_new(size);                                 \
    } catch (const std::bad_alloc&) {                                      \
      return nullptr;                                                      \
    }                                                                      \
  }                                                                        \
  void operator delete(void* memory) noexcept {                            \
    nalo_test::counted_delete(memory);                                     \
  }                                                                        \
  void operator delete[](void* memory) noexcept {                          \
    nalo_test::counted_delete(memory);                                     \
  }                                                                        \
  void operator delete(void* memory, size_t) noexcept {                    \
    nalo_test::counted_delete(memory);                                     \
  }                                                                        \
  void operator delete[](void* memory, size_t) noexcept {                  \
    nalo_test::counted_delete(memory);                                     \
  }

struct fault_source : nalo::memory_source {
  void* allocate(size_t bytes) override {
    if (fault_points::pass({"source", this, true, true})) return nullptr;
    const fault_points::test_code pause;
    return ::operator new(bytes);
  }
  void deallocate(void* block) noexcept override { ::operator delete(block); }
};

// Reads a text; each character read is a point.
template <class Char>
struct fault_iterator {
  using value_type = Char;
  using difference_type = std::ptrdiff_t;

  Char operator*() const {
    fault_points::pass({"iterator", nullptr, true, false});
    return *at_;
  }
  fault_iterator& operator++() {
    ++at_;
    return *this;
  }
  fault_iterator operator++(int) { return {at_++}; }
  bool operator==(const fault_iterator&) const = default;

  const Char* at_ = nullptr;
};

// A scripted buffer each of whose virtual calls is a point.
template <class Char>
class fault_streambuf : public scripted_streambuf<Char> {
  using base = scripted_streambuf<Char>;
  using int_type = typename nalo::char_traits<Char>::int_type;
  using ios_base = nalo::ios_base;

 public:
  using base::base;

  bool areas_in_order() const {
    return this->eback() <= this->gptr() && this->gptr() <= this->egptr() &&
           this->pbase() <= this->pptr() && this->pptr() <= this->epptr();
  }

 protected:
#define NALO_VIRTUAL(type, name, refusal, parameters, ...) \
  type name parameters override {                          \
    if (fault_points::pass({#name, this, true, true})) {   \
      return refusal;                                      \
    }                                                      \
    const fault_points::test_code pause;                   \
    return base::name(__VA_ARGS__);                        \
  }
  static constexpr int_type eof = nalo::char_traits<Char>::eof();
  NALO_VIRTUAL(int_type, underflow, eof, ())
  NALO_VIRTUAL(int_type, uflow, eof, ())
  NALO_VIRTUAL(int_type, pbackfail, eof, (int_type ch), ch)
  NALO_VIRTUAL(int_type, overflow, eof, (int_type ch), ch)
  NALO_VIRTUAL(nalo::streamsize, xsgetn, 0, (Char * s, nalo::streamsize n), s,
               n)
  NALO_VIRTUAL(nalo::streamsize, xsputn, 0, (const Char* s, nalo::streamsize n),
               s, n)
  NALO_VIRTUAL(nalo::streamsize, showmanyc, -1, ())
  NALO_VIRTUAL(int, sync, -1, ())
  NALO_VIRTUAL(nalo::streampos, seekoff, -1,
               (nalo::streamoff off, ios_base::seekdir way,
                ios_base::openmode mode),
               off, way, mode)
  NALO_VIRTUAL(nalo::streampos, seekpos, -1,
               (nalo::streampos pos, ios_base::openmode mode), pos, mode)
#undef NALO_VIRTUAL
  void imbue(const nalo::locale&) override {
    fault_points::pass({"imbue", this, true, false});
  }
};

// Facets each of whose virtual calls that streams make is a point. Narrow
// characters are classified without one.
template <class Char>
struct fault_ctype : nalo::ctype<Char> {};
template <>
struct fault_ctype<wchar_t> : nalo::ctype<wchar_t> {
  bool do_is(mask classes, wchar_t ch) const override {
    fault_points::pass({"is", nullptr, true, false});
    return ctype::do_is(classes, ch);
  }
};

// Groups digits by three, and has texts too long to be in place.
template <class Char>
struct fault_numpunct : nalo::numpunct<Char> {
  using string = nalo::basic_string<Char>;
#define NALO_VIRTUAL(type, name, value)                \
  type do_##name() const override {                    \
    fault_points::pass({#name, nullptr, true, false}); \
    return value;                                      \
  }
  NALO_VIRTUAL(Char, decimal_point, '.')
  NALO_VIRTUAL(Char, thousands_sep, ',')
  NALO_VIRTUAL(nalo::string, grouping, nalo::string(45, '\3'))
  NALO_VIRTUAL(string, truename, string(45, 'y'))
  NALO_VIRTUAL(string, falsename, string(45, 'n'))
#undef NALO_VIRTUAL
};

template <class Char>
struct fault_num_put : nalo::num_put<Char> {
  using nalo::num_put<Char>::num_put;
  using out = nalo::ostreambuf_iterator<Char>;
#define NALO_VIRTUAL(type)                                                     \
  out do_put(out to, nalo::ios_base& io, Char fill, type val) const override { \
    if (fault_points::pass({"num_put " #type, this, true, true}))              \
      return nullptr;                                                          \
    return nalo::num_put<Char>::do_put(to, io, fill, val);                     \
  }
  NALO_VIRTUAL(bool)
  NALO_VIRTUAL(long)
  NALO_VIRTUAL(unsigned long)
  NALO_VIRTUAL(long long)
  NALO_VIRTUAL(unsigned long long)
  NALO_VIRTUAL(const void*)
  NALO_VIRTUAL(double)
  NALO_VIRTUAL(long double)
#undef NALO_VIRTUAL
};

template <class Char>
struct fault_num_get : nalo::num_get<Char> {
  using in = nalo::istreambuf_iterator<Char>;
#define NALO_VIRTUAL(type)                                                     \
  in do_get(in from, in end, nalo::ios_base& io, nalo::ios_base::iostate& err, \
            type& val) const override {                                        \
    if (fault_points::pass({"num_get " #type, this, true, true})) {            \
      err |= nalo::ios_base::failbit;                                          \
      return from;                                                             \
    }                                                                          \
    return nalo::num_get<Char>::do_get(from, end, io, err, val);               \
  }
  NALO_VIRTUAL(bool)
  NALO_VIRTUAL(long)
  NALO_VIRTUAL(long long)
  NALO_VIRTUAL(unsigned short)
  NALO_VIRTUAL(unsigned int)
  NALO_VIRTUAL(unsigned long)
  NALO_VIRTUAL(unsigned long long)
  NALO_VIRTUAL(float)
  NALO_VIRTUAL(double)
  NALO_VIRTUAL(long double)
  NALO_VIRTUAL(void*)
#undef NALO_VIRTUAL
};

}  // namespace nalo_test

#endif
