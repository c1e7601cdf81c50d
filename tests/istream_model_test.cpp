// Random sequences of extractions against a model.
#include "istream_model.h"

#include <gtest/gtest.h>

namespace {

template <class Char>
class IstreamModel : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(IstreamModel, Chars);

TYPED_TEST(IstreamModel, AgreesAboutEveryOperationAndFailure) {
  nalo_test::choices random(20240229);
  for (int round = 0; round < 8000 && !this->HasFailure(); ++round) {
    nalo_test::input::comparison<TypeParam> both(random);
    for (int i = 0; i < 12 && !this->HasFailure(); ++i) both.step();
  }
}

}  // namespace
