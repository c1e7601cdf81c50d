// Random sequences of output operations against a model.
#include "ostream_model.h"

#include <gtest/gtest.h>

namespace {

template <class Char>
class OstreamModel : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(OstreamModel, Chars);

TYPED_TEST(OstreamModel, AgreesOnEveryMaskStateAndFault) {
  nalo_test::choices random(20240229);
  for (int round = 0; round < 2000 && !this->HasFailure(); ++round) {
    nalo_test::output::comparison<TypeParam> both(random);
    for (int i = 0; i < 25 && !this->HasFailure(); ++i) both.step();
  }
}

}  // namespace
