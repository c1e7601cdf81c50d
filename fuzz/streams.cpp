// Sequences of stream operations, of either character type, against a model
// that works character by character.
#include "fuzz.h"
#include "stream_model.h"

namespace {

template <class Char>
void compare(nalo_test::choices& input) {
  nalo_test::streams::comparison<Char> both(input);
  while (input.more()) both.step();
}

}  // namespace

void run(nalo_test::choices& input) {
  input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
