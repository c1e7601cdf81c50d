// Fuzzes operations of streams of both types against the model of streams.
#include "fuzz.h"
#include "stream_model.h"

void run(nalo_test::choices& input) {
  using namespace nalo_test::streams;
  input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
