// Fuzzes operations of strings of both types against std::basic_string.
#include "fuzz.h"
#include "string_model.h"

void run(nalo_test::choices& input) {
  using nalo_test::strings::comparison;
  const auto compare = [&input](auto both) {
    while (input.more()) both.step();
  };
  return input.below(2) == 0 ? compare(comparison<char>(input))
                             : compare(comparison<wchar_t>(input));
}
