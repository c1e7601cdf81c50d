// Numbers of all types, written and read by streams of either character type,
// against snprintf and strtod.
#include "number_model.h"

#include "fuzz.h"

namespace {

template <class Char>
void compare(nalo_test::choices& input) {
  using namespace nalo_test::numbers;
  for_one_type(input, [&]<class T>(T) {
    if (input.below(2) == 0) {
      return compare_writing<Char>(input, choose_value<T>(input));
    }
    const auto punct = choose_style(input);
    const auto text = choose_text<Char>(input, punct);
    compare_reading<T>(input, text, punct,
                       {input.below(8), input.one_of<size_t>({1, 5, 5000})});
  });
}

}  // namespace

void run(nalo_test::choices& input) {
  return input.below(2) == 0 ? compare<char>(input) : compare<wchar_t>(input);
}
