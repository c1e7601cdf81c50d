// Fuzzes wide input with the character that equals eof, null characters and
// long runs. There is no model, since the get areas decide whether that
// character ends an extraction; stored text must be part of the input.
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
