// The rows of the comparison: which workload, on what data, and how near nalo
// must come to the limit.
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

struct Case {
  const char* name;
  Workload workload;
  double target;  // at most so many times the limit, or else nanoseconds
  Data (*make_data)();
  size_t window = 0;  // 0 shows the text in one get area
  int precision = 6;
  bool fixed = false;
};

std::span<const Case> all_cases();

Input make_input(const Case& c, const Data& data);

// Room for all that a checked pass leaves.
size_t checked_size(const Input& in);

}  // namespace bench

#endif
