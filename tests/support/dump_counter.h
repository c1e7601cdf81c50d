// Counts the errors that streams swallow, and keeps them off standard error.
#ifndef NALO_TESTS_DUMP_COUNTER_H
#define NALO_TESTS_DUMP_COUNTER_H

#include <nalo/exception>

namespace nalo_test {

struct dump_counter {
  dump_counter() {
    counted = 0;
    nalo::exception::set_dump_handler(
        [](const nalo::exception&) noexcept { ++counted; });
  }
  int count() const { return counted; }
  static inline int counted;
};

}  // namespace nalo_test

#endif
