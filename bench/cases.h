// The rows of the comparison: the workload, its data, and the goal for nalo.
#ifndef NALO_BENCH_CASES_H
#define NALO_BENCH_CASES_H

#include <span>
#include <string>
#include <vector>

#include "workload.h"

namespace bench {

// The data of a case, the same in each run. Owns what an Input refers to.
struct Data {
  std::string text;
  std::wstring wide_text;
  std::vector<Slice> slices;
  std::vector<long> longs;
  std::vector<double> doubles;
  size_t items = 0;
};

// nalo should take at most factor times as long as the reference: a library by
// name, "limit" for the faster of the two limits, or "ns" for nanoseconds.
// Without a reference the row is only compared with the peers.
struct Goal {
  double factor = 0;
  const char* reference = nullptr;
};

struct Case {
  const char* name;
  Workload workload;
  Goal goal;
  Data (*make_data)();
  size_t window = 0;  // 0: the whole text is one get area
  int precision = 6;
  Notation notation = Notation::general;
};

std::span<const Case> all_cases();

// The data of a case, made on first use. What it refers to exists until the
// program ends. For cases that name a file, the text is in a separate file.
Input make_input(const Case& c);

// The room for everything that a checked pass records.
size_t checked_size(const Input& in);

}  // namespace bench

#endif
