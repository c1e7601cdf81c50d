// Counts the errors that streams swallow, and keeps them off standard error.
#ifndef NALO_TESTS_DUMP_COUNTER_H
#define NALO_TESTS_DUMP_COUNTER_H

#include <nalo/exception>

#include <atomic>

namespace nalo_test {

// One at a time.
class dump_counter {
 public:
  dump_counter() : earlier_(nalo::exception::set_dump_handler(&count)) {
    count_ = 0;
  }
  ~dump_counter() { nalo::exception::set_dump_handler(earlier_); }
  dump_counter(const dump_counter&) = delete;
  dump_counter& operator=(const dump_counter&) = delete;

  int count() const { return count_; }

 private:
  static void count(const nalo::exception&) noexcept { ++count_; }
  static inline std::atomic<int> count_;

  nalo::exception::dump_handler earlier_;
};

}  // namespace nalo_test

#endif
