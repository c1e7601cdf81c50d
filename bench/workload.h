// What is measured, in terms that every library under comparison can share:
// plain types only, because one of them may be built against another standard
// library than the others.
#ifndef NALO_BENCH_WORKLOAD_H
#define NALO_BENCH_WORKLOAD_H

#include <cstddef>

namespace bench {

enum class Workload {
  lines,        // getline into one string
  fresh_lines,  // getline into a new string for each line
  array_lines,  // getline into an array
  wide_lines,   // getline of wide characters into one string
  words,        // >> into one string
  skip_lines,   // ignore through a newline
  skip_blocks,  // ignore of skip_block characters
  read_longs,
  read_doubles,
  write_longs,
  write_doubles,
  pad_texts,     // << of a text with a width of text_width
  write_blocks,  // write of write_block characters
  put_characters,
  copy_buffers,  // << of a stream buffer
  make_streams,
  append_characters,  // += of one character, string_length times
  copy_strings,
  report_lines,  // two padded texts, an int, a double and a newline
};

constexpr size_t window_size = 4096;     // of a text in pieces
constexpr size_t put_area_size = 65536;  // begun anew when full
constexpr size_t line_array_size = 128;  // holds any line
constexpr size_t skip_block = 64 * window_size;
constexpr size_t write_block = 40;
constexpr size_t text_width = 12;
constexpr size_t string_length = 1000;

struct Slice {
  const char* begin;
  size_t size;
};

// What a pass works on. A reader gets the text, a writer the values.
struct Input {
  const char* text;
  const wchar_t* wide_text;
  size_t size;    // of either text
  size_t window;  // how much of it one get area shows
  const Slice* slices;
  const long* longs;
  const double* doubles;
  size_t items;  // how many of each there are, and what a pass handles
  int precision;
  bool fixed;
};

// Where output goes. When there is no room left it starts again.
struct Area {
  char* begin;
  size_t size;
  size_t used;
};

// Does a workload once, all items of it.
using Pass = void (*)(const Input&, Area&);

struct Passes {
  Pass timed;    // null when the library has nothing of the kind
  Pass checked;  // the same, leaving in the area what it has read or written
};

Passes nalo_passes(Workload);
Passes std_passes(Workload);
Passes limit_passes(Workload);
Passes fmt_passes(Workload);
Passes libcxx_passes(Workload);

}  // namespace bench

#endif
