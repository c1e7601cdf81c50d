// What is done with the items that a reader has read.
#ifndef NALO_BENCH_CONSUME_H
#define NALO_BENCH_CONSUME_H

#include <cstring>

#include "workload.h"

namespace bench {

// Makes the compiler assume that the value and all memory are used.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

// For timing: the items are only kept alive.
struct Consume {
  static constexpr bool records = false;

  explicit Consume(Area&) {}
  template <class Char>
  void text(const Char* s, size_t n) {
    keep(s);
    keep(n);
  }
  void c_string(const char* s) { keep(s); }
  template <class T>
  void value(T value) {
    keep(value);
  }
  // One of many: it must be in a register, which also prevents vectorized
  // loops, but memory is not affected.
  template <class Char>
  void character(Char ch) {
    asm volatile("" : : "r"(ch));
  }
};

// For checking: the bytes of the items are recorded.
class Record {
 public:
  static constexpr bool records = true;

  explicit Record(Area& area) : area_(area) { area_.used = 0; }
  template <class Char>
  void text(const Char* s, size_t n) {
    value(n);
    bytes(s, n * sizeof(Char));
  }
  void c_string(const char* s) { text(s, std::strlen(s)); }
  template <class T>
  void value(T value) {
    bytes(&value, sizeof value);
  }
  template <class Char>
  void character(Char ch) {
    bytes(&ch, sizeof ch);
  }

 private:
  void bytes(const void* from, size_t n) {
    if (n > area_.size - area_.used) __builtin_trap();
    std::memcpy(area_.begin + area_.used, from, n);
    area_.used += n;
  }

  Area& area_;
};

}  // namespace bench

#endif
