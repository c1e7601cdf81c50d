// Hand-written output to an area of memory, which is reused when it is full.
#ifndef NALO_BENCH_OUTPUT_H
#define NALO_BENCH_OUTPUT_H

#include <algorithm>

#include "workload.h"

namespace bench {

template <class Char = char>
class Output {
 public:
  explicit Output(Area& area)
      : area_(area),
        begin_(reinterpret_cast<Char*>(area.begin)),
        next_(begin_),
        end_(begin_ + area.size / sizeof(Char)) {}
  ~Output() { area_.used = static_cast<size_t>(next_ - begin_) * sizeof(Char); }

  void put(Char ch) {
    if (next_ == end_) [[unlikely]]
      next_ = begin_;
    *next_++ = ch;
  }
  void write(const Char* s, size_t n) {
    if (n > room()) [[unlikely]] {
      write_around(s, n);
      return;
    }
    next_ = std::copy_n(s, n, next_);
  }
  void fill(Char ch, size_t n) {
    if (n > room()) [[unlikely]] {
      for (; n > 0; --n) put(ch);
      return;
    }
    next_ = std::fill_n(next_, n, ch);
  }

  // Calls print() with a place that has room for `most` characters. It returns
  // the end of what it has written there and may write anything after that.
  template <size_t most, class Print>
  void print(Print print) {
    if (room() >= most) [[likely]] {
      next_ = print(next_);
      return;
    }
    Char item[most];
    write(item, static_cast<size_t>(print(item) - item));
  }

 private:
  [[gnu::cold, gnu::noinline]] void write_around(const Char* s, size_t n) {
    const size_t left = room();
    std::copy_n(s, left, next_);
    next_ = std::copy_n(s + left, n - left, begin_);
  }
  size_t room() const { return static_cast<size_t>(end_ - next_); }

  Area& area_;
  Char* const begin_;
  Char* next_;
  Char* const end_;
};

}  // namespace bench

#endif
