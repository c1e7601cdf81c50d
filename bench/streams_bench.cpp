// Times every case for each library, in one process and on the same bytes. The
// name of a benchmark is CASE|LIBRARY.
#include <benchmark/benchmark.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "cases.h"
#include "workload.h"

namespace {

using namespace bench;

struct Library {
  const char* name;
  Passes (*passes)(Workload);
};

const Library libraries[] = {
    {"nalo", nalo_passes},     {"std", std_passes}, {"limit", limit_passes},
#ifdef NALO_BENCH_FMT
    {"fmt", fmt_passes},
#endif
#ifdef NALO_BENCH_LIBCXX
    {"libc++", libcxx_passes},
#endif
};

// A put area of its own, in pages that nothing else touches.
class AreaOwner {
 public:
  explicit AreaOwner(size_t size)
      : memory_(new (std::align_val_t(4096)) char[size]()),
        area_{memory_.get(), size, 0} {}

  Area& area() { return area_; }

 private:
  struct Free {
    void operator()(char* p) const {
      operator delete[](p, std::align_val_t(4096));
    }
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

// The data of a case, and what all libraries must make of it.
struct Prepared {
  explicit Prepared(const Case& c)
      : data(c.make_data()), input(make_input(c, data)) {
    if (Pass pass = limit_passes(c.workload).checked) {
      expected = result(pass, input);
    }
  }

  Data data;
  Input input;
  std::string expected;
};

Prepared& prepared(const Case& c) {
  static std::map<const Case*, Prepared> all;
  return all.try_emplace(&c, c).first->second;
}

void measure(benchmark::State& state, const Case& c, const Passes& passes) {
  static std::map<Pass, std::map<const Case*, bool>> checked;
  const Prepared& work = prepared(c);
  bool& correct = checked[passes.timed][&c];
  if (!correct) {
    const std::string made = result(passes.checked, work.input);
    correct = !made.empty() && (work.expected.empty() || made == work.expected);
    if (!correct) {
      state.SkipWithError("reads or writes something else than the limit");
      return;
    }
  }

  static AreaOwner output(put_area_size);
  for (auto _ : state) passes.timed(work.input, output.area());
  state.counters["items"] = static_cast<double>(work.input.items);
  state.counters["target"] = c.target;
  state.counters["number"] = static_cast<double>(&c - all_cases().data());
}

// Each thread formats numbers through a stream of its own.
void measure_threads(benchmark::State& state, Pass pass) {
  static const Case& numbers =
      *std::ranges::find(all_cases(), Workload::write_longs, &Case::workload);
  static const Prepared work(numbers);
  AreaOwner output(put_area_size);
  for (auto _ : state) pass(work.input, output.area());
  state.counters["items"] = benchmark::Counter(
      static_cast<double>(work.input.items), benchmark::Counter::kAvgThreads);
}

void register_all() {
  for (const Case& c : all_cases()) {
    for (const Library& library : libraries) {
      const Passes passes = library.passes(c.workload);
      if (!passes.timed) continue;
      const std::string name = std::string(c.name) + "|" + library.name;
      benchmark::RegisterBenchmark(
          name.c_str(),
          [&c, passes](benchmark::State& state) { measure(state, c, passes); });
    }
  }
  for (const Library& library : {libraries[0], libraries[1]}) {
    const Pass pass = library.passes(Workload::write_longs).timed;
    const std::string name = std::string("threads|") + library.name;
    benchmark::RegisterBenchmark(name.c_str(), measure_threads, pass)
        ->Threads(1)
        ->Threads(2)
        ->Threads(4)
        ->Threads(8);
  }
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  register_all();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
