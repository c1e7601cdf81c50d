// Runs a case with nalo twice, the second time in counted_pass, for tools that
// count the instructions of a function. Without arguments it lists the cases.
#include <cstdio>
#include <string_view>

#include "cases.h"
#include "workload.h"

extern "C" [[gnu::noinline]] void counted_pass(bench::Pass pass,
                                               const bench::Input& in,
                                               bench::Area& area) {
  pass(in, area);
  asm volatile("");  // prevents a tail call, which would leave the function
}

int main(int argc, char** argv) {
  using namespace bench;
  if (argc == 1) {
    for (const Case& c : all_cases()) std::puts(c.name);
    return 0;
  }
  for (const Case& c : all_cases()) {
    if (argc != 2 || argv[1] != std::string_view(c.name)) continue;
    const Input input = make_input(c);
    static char put_area[put_area_size];
    Area area{put_area, sizeof put_area, 0};
    const Pass pass = nalo_passes(c.workload).timed;
    pass(input, area);  // excludes one-time work from the count
    counted_pass(pass, input, area);
    std::printf("%zu items\n", input.items);
    return 0;
  }
  std::fprintf(stderr, "usage: instructions [CASE]\n");
  return 1;
}
