// Random sequences of operations on strings against the compiler's own.
#include "string_model.h"

#include <gtest/gtest.h>

namespace {

template <class Char>
class StringModel : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(StringModel, Chars);

TYPED_TEST(StringModel, DoesWhatTheStandardsStringDoes) {
  nalo_test::choices random(20240229);
  nalo_test::strings::comparison<TypeParam> both(random);
  for (int i = 0; i < 25000 && !this->HasFailure(); ++i) both.step();
  for (const char* outcome : {"done", "out of range", "refused", "read only"}) {
    EXPECT_GT(both.outcomes_[outcome], 300) << outcome;
  }
}

}  // namespace
