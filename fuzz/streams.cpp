// Sequences of input or output operations, of either character type, against
// models that work character by character.
#include "fuzz.h"
#include "istream_model.h"
#include "ostream_model.h"

namespace {

template <class Comparison>
void compare(nalo_test::choices& input) {
  Comparison both(input);
  while (input.more()) both.step();
}

}  // namespace

void run(nalo_test::choices& input) {
  switch (input.below(4)) {
    case 0:
      return compare<nalo_test::input::comparison<char>>(input);
    case 1:
      return compare<nalo_test::input::comparison<wchar_t>>(input);
    case 2:
      return compare<nalo_test::output::comparison<char>>(input);
    case 3:
      return compare<nalo_test::output::comparison<wchar_t>>(input);
  }
}
