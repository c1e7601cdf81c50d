// The writing workloads with {fmt}, formats compiled, straight into memory.
#include <fmt/compile.h>
#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <string_view>

#include "workload.h"

namespace bench {

namespace {

constexpr size_t longest_item = 128;

// Writes each item in place while there is room for any, and through a copy
// near the end of the area.
template <class Write>
void write_items(const Input& in, Area& area, Write write) {
  char* const end = area.begin + area.size;
  char* next = area.begin;
  for (size_t i = 0; i < in.items; ++i) {
    if (static_cast<size_t>(end - next) >= longest_item) [[likely]] {
      next = write(next, i);
      continue;
    }
    char item[longest_item];
    const size_t size = static_cast<size_t>(write(item, i) - item);
    const size_t left = std::min(size, static_cast<size_t>(end - next));
    std::memcpy(next, item, left);
    if (left == size) {
      next += size;
    } else {
      std::memcpy(area.begin, item + left, size - left);
      next = area.begin + (size - left);
    }
  }
  area.used = static_cast<size_t>(next - area.begin);
}

std::string_view view(const Slice& slice) { return {slice.begin, slice.size}; }

void write_longs(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{}"), in.longs[i]);
  });
}

void write_doubles(const Input& in, Area& area) {
  if (in.fixed) {
    write_items(in, area, [&](char* to, size_t i) {
      return fmt::format_to(to, FMT_COMPILE("{:.{}f}"), in.doubles[i],
                            in.precision);
    });
  } else {
    write_items(in, area, [&](char* to, size_t i) {
      return fmt::format_to(to, FMT_COMPILE("{:.{}g}"), in.doubles[i],
                            in.precision);
    });
  }
}

void pad_texts(const Input& in, Area& area) {
  static_assert(text_width == 12);
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{:>12}"), view(in.slices[i]));
  });
}

void report_lines(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{:<12}{:>12} {} {:.6g}\n"),
                          view(in.slices[2 * i]), view(in.slices[2 * i + 1]),
                          static_cast<int>(in.longs[i]), in.doubles[i]);
  });
}

}  // namespace

Passes fmt_passes(Workload workload) {
  switch (workload) {
    case Workload::write_longs:
      return {write_longs, write_longs};
    case Workload::write_doubles:
      return {write_doubles, write_doubles};
    case Workload::pad_texts:
      return {pad_texts, pad_texts};
    case Workload::report_lines:
      return {report_lines, report_lines};
    default:
      return {};
  }
}

}  // namespace bench
