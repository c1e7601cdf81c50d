// What nearly every test includes.
#ifndef NALO_TESTS_COMMON_H
#define NALO_TESTS_COMMON_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "scripted_streambuf.h"
#include "text.h"

namespace nalo_test {

using nalo::ios_base;
using iostate = ios_base::iostate;

constexpr iostate good = ios_base::goodbit, bad = ios_base::badbit,
                  eof = ios_base::eofbit, fail = ios_base::failbit;

using Chars = testing::Types<char, wchar_t>;

}  // namespace nalo_test

// A suite whose tests run for either type of characters, as TypeParam.
#define TEST_SUITE_OF_CHARACTERS(Suite) \
  template <class Char>                 \
  struct Suite : testing::Test {};      \
  TYPED_TEST_SUITE(Suite, nalo_test::Chars)

#endif
