// The code 0xFFFFFFFF, which reads as eof, in input that has embedded nulls and
// very long runs. Whether it ends an extraction depends on the get areas, so
// that there is no model, but what is stored is part of what there was. The
// other targets have vast widths and lengths.
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
