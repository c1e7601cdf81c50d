// The writing workloads with {fmt}, formats compiled, straight into memory.
#include <fmt/compile.h>
#include <fmt/format.h>
#include <fmt/xchar.h>

#include <locale>
#include <string>
#include <string_view>

#include "output.h"
#include "workload.h"

namespace bench {

namespace {

constexpr size_t longest_item = 128;

// Writes each item directly to the area.
template <class Char = char, class Write>
void write_items(const Input& in, Area& area, Write write) {
  Output<Char> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.template print<longest_item>([&](Char* to) { return write(to, i); });
  }
}

std::string_view view(const Slice& slice) { return {slice.begin, slice.size}; }

void write_ints(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{}"), static_cast<int>(in.longs[i]));
  });
}

void write_longs(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{}"), in.longs[i]);
  });
}

void write_wide_longs(const Input& in, Area& area) {
  write_items<wchar_t>(in, area, [&](wchar_t* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE(L"{}"), in.longs[i]);
  });
}

void write_hex(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{:x}"),
                          static_cast<unsigned long>(in.longs[i]));
  });
}

class German : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

void write_grouped(const Input& in, Area& area) {
  const std::locale german(std::locale::classic(), new German);
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, german, "{:L}", in.longs[i]);
  });
}

void write_bools(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{}"), in.longs[i] < 0);
  });
}

void write_floats(const Input& in, Area& area) {
  write_items(in, area, [&](char* to, size_t i) {
    return fmt::format_to(to, FMT_COMPILE("{:.{}g}"),
                          static_cast<float>(in.doubles[i]), in.precision);
  });
}

void write_doubles(const Input& in, Area& area) {
  switch (in.notation) {
    case Notation::fixed:
      write_items(in, area, [&](char* to, size_t i) {
        return fmt::format_to(to, FMT_COMPILE("{:.{}f}"), in.doubles[i],
                              in.precision);
      });
      break;
    case Notation::scientific:
      write_items(in, area, [&](char* to, size_t i) {
        return fmt::format_to(to, FMT_COMPILE("{:.{}e}"), in.doubles[i],
                              in.precision);
      });
      break;
    default:
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
    case Workload::write_ints:
      return {write_ints, write_ints};
    case Workload::write_longs:
      return {write_longs, write_longs};
    case Workload::write_wide_longs:
      return {write_wide_longs, write_wide_longs};
    case Workload::write_hex:
      return {write_hex, write_hex};
    case Workload::write_grouped:
      return {write_grouped, write_grouped};
    case Workload::write_bools:
      return {write_bools, write_bools};
    case Workload::write_floats:
      return {write_floats, write_floats};
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
