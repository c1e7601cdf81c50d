// Times every case for each library, in one process and on the same bytes. The
// name of a benchmark is CASE|LIBRARY.
//
// --sweep=N selects the order in which the libraries of each case are timed, so
// that none is always first. Sweep 0 checks each pass before timing it. --list
// prints the cases and their goals.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cases.h"
#include "workload.h"

namespace {

using namespace bench;

struct Library {
  const char* name;
  Passes (*passes)(Workload);
  bool has_windows = true;  // or does not need them, like the limits
};

// The first that supports a workload defines the result that the others must
// match.
const Library libraries[] = {
    {"plain", limit_passes},
    {"vector", vector_passes},
    {"std", std_passes},
    {"nalo", nalo_passes},
#ifdef NALO_BENCH_LIBCXX
    {"libc++", libcxx_passes},
#endif
    {"stdio", stdio_passes, false},
#ifdef NALO_BENCH_FMT
    {"fmt", fmt_passes},
#endif
#ifdef NALO_BENCH_LLVM
    {"raw_ostream", raw_ostream_passes},
#endif
};

// A put area in pages of its own.
class AreaOwner {
 public:
  explicit AreaOwner(size_t size)
      : memory_(static_cast<char*>(std::aligned_alloc(
            window_size,
            (size + window_size - 1) / window_size * window_size))),
        area_{memory_.get(), size, 0} {}

  Area& area() { return area_; }

 private:
  struct Free {
    void operator()(char* p) const { std::free(p); }
  };
  std::unique_ptr<char[], Free> memory_;
  Area area_;
};

// What a pass has read or written.
std::string result(Pass pass, const Input& in) {
  AreaOwner output(checked_size(in));
  pass(in, output.area());
  return {output.area().begin, output.area().used};
}

const std::string& expected(const Case& c, const Input& in) {
  static std::map<const Case*, std::string> all;
  std::string& text = all[&c];
  for (const Library& library : libraries) {
    if (!text.empty()) break;
    if (Pass pass = library.passes(c.workload).checked) text = result(pass, in);
  }
  return text;
}

void measure(benchmark::State& state, const Case& c, const Passes& passes,
             bool check) {
  const Input input = make_input(c);
  static std::map<Pass, std::map<const Case*, bool>> checked;
  if (bool& done = checked[passes.timed][&c]; check && !done) {
    done = true;
    if (result(passes.checked, input) != expected(c, input)) {
      state.SkipWithError("the result differs from that of the others");
      return;
    }
  }

  static AreaOwner output(put_area_size);
  for (auto _ : state) passes.timed(input, output.area());
  state.counters["items"] = static_cast<double>(input.items);
}

// Each thread formats numbers through its own stream.
void measure_threads(benchmark::State& state, Pass pass) {
  static const Case& numbers =
      *std::ranges::find(all_cases(), Workload::write_longs, &Case::workload);
  static const Input input = make_input(numbers);
  AreaOwner output(put_area_size);
  for (auto _ : state) pass(input, output.area());
  state.counters["items"] = benchmark::Counter(static_cast<double>(input.items),
                                               benchmark::Counter::kAvgThreads);
}

// The libraries, starting with a different one in each sweep, and in reverse
// order in every second.
std::vector<Library> in_order(size_t sweep) {
  std::vector<Library> order(std::begin(libraries), std::end(libraries));
  std::rotate(order.begin(), order.begin() + sweep / 2 % order.size(),
              order.end());
  if (sweep % 2 != 0) std::reverse(order.begin(), order.end());
  return order;
}

void register_all(size_t sweep, bool check) {
  for (const Case& c : all_cases()) {
    for (const Library& library : in_order(sweep)) {
      const Passes passes = library.passes(c.workload);
      if (!passes.timed || (c.window != 0 && !library.has_windows)) continue;
      const std::string name = std::string(c.name) + "|" + library.name;
      benchmark::RegisterBenchmark(
          name.c_str(), [&c, passes, check](benchmark::State& state) {
            measure(state, c, passes, check);
          });
    }
  }
  for (const Library& library :
       {Library{"std", std_passes}, Library{"nalo", nalo_passes}}) {
    const Pass pass = library.passes(Workload::write_longs).timed;
    const std::string name = std::string("threads|") + library.name;
    benchmark::RegisterBenchmark(name.c_str(), measure_threads, pass)
        ->Threads(1)
        ->Threads(2)
        ->Threads(4)
        ->Threads(8);
  }
}

// Prints the rows in order: name, and factor and reference of the goal.
void list_cases() {
  for (const Case& c : all_cases()) {
    std::printf("%s|%g|%s\n", c.name, c.goal.factor,
                c.goal.reference ? c.goal.reference : "");
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  size_t sweep = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    constexpr std::string_view numbered = "--sweep=";
    if (argument == "--list") {
      list_cases();
      return 0;
    }
    if (!argument.starts_with(numbered) ||
        std::from_chars(argument.data() + numbered.size(),
                        argument.data() + argument.size(), sweep)
                .ec != std::errc()) {
      std::fprintf(stderr,
                   "usage: streams_bench [--list] [--sweep=N] "
                   "[--benchmark_...]\n");
      return 1;
    }
  }
  register_all(sweep, sweep == 0);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
