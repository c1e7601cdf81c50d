// Included by nearly every test.
#pragma once

#include <nalo/base/ctype>
#include <nalo/base/num_get>
#include <nalo/base/num_put>
#include <nalo/base/numpunct>
#include <nalo/iomanip>
#include <nalo/locale>
#include <nalo/memory>
#include <nalo/sstream>
#include <nalo/string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <set>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "choices.h"
#include "failing_source.h"
#include "text.h"

#include "scripted_streambuf.h"

namespace nalo_test {

using nalo::ios_base;
using iostate = ios_base::iostate;

constexpr iostate good = ios_base::goodbit, bad = ios_base::badbit,
                  eof = ios_base::eofbit, fail = ios_base::failbit;

inline constexpr auto in = ios_base::in, out = ios_base::out,
                      app = ios_base::app, ate = ios_base::ate,
                      trunc = ios_base::trunc;

using Chars = testing::Types<char, wchar_t>;

// The whole text of a file, or what was received at an end of a connection.
inline std::string content(int fd) {
  std::string text;
  for (char block[4096];;) {
    ssize_t n = ::pread(fd, block, sizeof block, std::ssize(text));
    if (n < 0) n = ::read(fd, block, sizeof block);
    if (n <= 0) return text;
    text.append(block, static_cast<size_t>(n));
  }
}

// A new file that exists as long as this object.
struct memory_file {
  explicit memory_file(std::string_view text = {}) {
    EXPECT_EQ(::pwrite(fd, text.data(), text.size(), 0), std::ssize(text));
  }
  ~memory_file() { ::close(fd); }

  const int fd = ::memfd_create("test", 0);
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
};

// Counts the errors that streams swallow, instead of printing them.
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

// A suite whose tests run for both character types, as TypeParam.
#define TEST_SUITE_OF_CHARACTERS(Suite) \
  template <class Char>                 \
  struct Suite : testing::Test {};      \
  TYPED_TEST_SUITE(Suite, nalo_test::Chars)
