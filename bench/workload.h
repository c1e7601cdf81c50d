// The workloads and their data. Uses only plain types, because one of the
// libraries compared may be built with a different standard library.
#ifndef NALO_BENCH_WORKLOAD_H
#define NALO_BENCH_WORKLOAD_H

#include <cstddef>

namespace bench {

enum class Workload {
  // Lines and words.
  lines,        // getline into one string
  fresh_lines,  // getline into a new string for each line
  array_lines,  // getline into an array
  std_lines,    // getline into one std::string
  wide_lines,   // getline of wide characters into one string
  words,        // >> into one string
  array_words,  // >> into an array
  skip_lines,   // ignore through a newline
  skip_blocks,  // ignore of skip_block characters

  // Single characters in.
  get_characters,
  peek_characters,  // peek, and get while there is one
  bump_characters,  // sbumpc of the buffer

  // Numbers in.
  read_ints,
  read_unsigneds,
  read_longs,
  read_wide_longs,
  read_hex,      // unsigned long, hexadecimal
  read_grouped,  // long, grouped as in German
  read_doubles,

  // Numbers out.
  write_ints,
  write_longs,
  write_wide_longs,
  write_hex,
  write_grouped,
  write_bools,  // their names
  write_floats,
  write_doubles,

  // Characters out.
  pad_texts,         // << of a text with a width of text_width
  write_blocks,      // write of write_block characters
  write_characters,  // write of one character
  put_characters,
  copy_buffers,  // << of a stream buffer
  report_lines,  // two padded texts, an int, a double and a newline

  // Objects.
  make_streams,
  append_characters,  // += of one character, string_length times
  append_blocks,      // append of append_block characters, append_count times
  copy_strings,
  copy_append,  // a copy of a string, and append of append_block characters

  // What programs do, with the streams that own their buffers.
  file_lines,    // getline from a file into one std::string
  console_ints,  // >> int from cin
  file_ints,     // << int and a newline to a file
  parse_lines,   // a string stream for each line, and >> of its three fields
  format_lines,  // a string stream for each line, << three fields, and str()
  count_words,   // >> from a file into one std::string
};

constexpr size_t window_size = 4096;     // of a text in pieces
constexpr size_t put_area_size = 65536;  // reused when full
constexpr size_t line_array_size = 128;  // holds any line
constexpr size_t word_array_size = 32;   // holds any word of 1 to 12
constexpr size_t skip_block = 64 * window_size;
constexpr size_t write_block = 40;
constexpr size_t text_width = 12;
constexpr size_t string_length = 1000;
constexpr size_t append_block = 16;
constexpr size_t append_count = 256;

struct Slice {
  const char* begin;
  size_t size;
};

enum class Notation { general, fixed, scientific };

// The input of a pass. A reader uses the text, or the path of a file with it; a
// writer uses the values.
struct Input {
  const char* text;
  const wchar_t* wide_text;
  size_t size;    // of either text
  size_t window;  // the size of a get area
  const char* path;
  const Slice* slices;
  const long* longs;
  const double* doubles;
  size_t items;  // how many of each there are, and what a pass handles
  int precision;
  Notation notation;
};

// The destination of output. It is reused when it is full.
struct Area {
  char* begin;
  size_t size;
  size_t used;
};

// Runs a workload once, with all its items.
using Pass = void (*)(const Input&, Area&);

struct Passes {
  Pass timed;    // null when the library does not support it
  Pass checked;  // the same, but records in the area what was read or written
};

Passes nalo_passes(Workload);
Passes std_passes(Workload);
Passes libcxx_passes(Workload);
Passes stdio_passes(Workload);
Passes fmt_passes(Workload);
Passes raw_ostream_passes(Workload);
Passes limit_passes(Workload);
Passes vector_passes(Workload);

}  // namespace bench

#endif
