// Counts the errors that streams swallow, and keeps them off standard error.
#ifndef NALO_TESTS_DUMP_COUNTER_H
#define NALO_TESTS_DUMP_COUNTER_H

#include <nalo/exception>

namespace nalo_test {

// One at a time.
class dump_counter : nalo::non_copyable {
 public:
  dump_counter() { count_ = 0; }
  ~dump_counter() { nalo::exception::set_dump_handler(earlier_); }
  int count() const { return count_; }

 private:
  static void note(const nalo::exception&) noexcept { ++count_; }
  static inline int count_;
  const nalo::exception::dump_handler earlier_ =
      nalo::exception::set_dump_handler(&note);
};

}  // namespace nalo_test

#endif
