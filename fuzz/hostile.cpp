// Fuzzes wide input with the character that equals eof, with null characters
// and very long runs. Whether that character ends an extraction depends on the
// get areas, so there is no model; the target only checks that stored text is
// part of the input. The other targets cover huge widths and lengths.
#include "fuzz.h"
#include "stream_model.h"

void run(nalo_test::choices& input) {
  using namespace nalo_test::streams;
  const auto script = play<wchar_t>(input);
  world<wchar_t, nalo::wiostream> world(script, script);
  while (input.more()) {
    world.run({input});
    const std::wstring_view stored(world.str);
    EXPECT_NE((script.input + world.shared.c_str()).find(stored), stored.npos);
  }
}
