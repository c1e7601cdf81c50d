// Does a case with nalo a number of times, for tools that count instructions.
// Without arguments it lists the cases.
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "cases.h"
#include "workload.h"

int main(int argc, char** argv) {
  using namespace bench;
  if (argc == 1) {
    for (const Case& c : all_cases()) std::puts(c.name);
    return 0;
  }
  for (const Case& c : all_cases()) {
    if (argc != 3 || argv[1] != std::string_view(c.name)) continue;
    const Input input = make_input(c);
    static char put_area[put_area_size];
    Area area{put_area, sizeof put_area, 0};
    const Pass pass = nalo_passes(c.workload).timed;
    for (int passes = std::atoi(argv[2]); passes > 0; --passes) {
      pass(input, area);
    }
    std::printf("%zu items\n", input.items);
    return 0;
  }
  std::fprintf(stderr, "usage: instructions [CASE PASSES]\n");
  return 1;
}
