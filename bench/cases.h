// The rows of the comparison: which workload, on what data, and what nalo is to
// reach.
#ifndef NALO_BENCH_CASES_H
#define NALO_BENCH_CASES_H

#include <span>
#include <string>
#include <vector>

#include "workload.h"

namespace bench {

// The same at each run. Owns what an Input shows.
struct Data {
  std::string text;
  std::wstring wide_text;
  std::vector<Slice> slices;
  std::vector<long> longs;
  std::vector<double> doubles;
  size_t items = 0;
};

// nalo is to take at most factor times what the reference takes: a library by
// its name, "limit" for the better of the two, or "ns" for nanoseconds. Without
// a reference it is only held against the peers.
struct Goal {
  double factor = 0;
  const char* reference = nullptr;
};

struct Case {
  const char* name;
  Workload workload;
  Goal goal;
  Data (*make_data)();
  size_t window = 0;  // 0 shows the text in one get area
  int precision = 6;
  Notation notation = Notation::general;
};

std::span<const Case> all_cases();

// The data of a case, made once. What it shows lives until the program ends;
// the text lies in a file of its own for cases that name one.
Input make_input(const Case& c);

// Room for all that a checked pass leaves.
size_t checked_size(const Input& in);

}  // namespace bench

#endif
