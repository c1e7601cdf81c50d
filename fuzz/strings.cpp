// Sequences of operations on strings, of either character type, against the
// compiler's own.
#include "fuzz.h"
#include "string_model.h"

namespace {

template <class Char>
void compare(nalo_test::choices& input) {
  nalo_test::strings::comparison<Char> both(input);
  while (input.more()) both.step();
}

}  // namespace

void run(nalo_test::choices& input) {
  return input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
