// Reports on text files: the number of lines and characters and the length of
// lines, or the most frequent words. Can also copy the files.
//
// It reads each file through an input stream over a file descriptor, and writes
// its report to standard output. Both streams have badbit in their exception
// mask: errors of their buffers raise exceptions, while the end of input and
// overlong lines only set state bits.

#include <nalo/buffers/fd>
#include <nalo/iomanip>
#include <nalo/iostream>
#include <nalo/ranges>
#include <nalo/string>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "options.h"

namespace {

using nalo::setfill;
using nalo::setprecision;
using nalo::setw;

// --- the report --------------------------------------------------------------

struct text_measures {
  count_type lines = 0;
  count_type characters = 0;
  count_type line_ends = 0;
  count_type longest = 0;

  void add_line(count_type length, bool has_end) {
    ++lines;
    characters += length + has_end;
    line_ends += has_end;
    longest = std::max(longest, length);
  }
  void add(const text_measures& other) {
    lines += other.lines;
    characters += other.characters;
    line_ends += other.line_ends;
    longest = std::max(longest, other.longest);
  }
  double mean_length() const {
    if (lines == 0) return 0;
    return static_cast<double>(characters - line_ends) /
           static_cast<double>(lines);
  }
};

// Reads long lines in pieces, so that memory does not grow with the length of a
// line.
text_measures measure(nalo::istream& in) {
  constexpr std::size_t piece_size = 64 * 1024;
  text_measures measures;
  nalo::string piece;
  count_type length = 0;
  while (getline(in, piece, '\n', piece_size) || !in.eof()) {
    length += piece.size();
    if (in.fail()) {  // the piece is full and the line continues
      in.clear();
      continue;
    }
    measures.add_line(length, !in.eof());
    length = 0;
  }
  return measures;
}

void print_heading(nalo::ostream& out) {
  out << setw(11) << "lines" << setw(14) << "characters" << setw(12)
      << "longest" << setw(10) << "mean" << setw(6) << "file" << nalo::endl;
}

void print_row(nalo::ostream& out, const text_measures& measures,
               std::string_view name) {
  out << setw(11) << measures.lines << ' ' << setw(13) << measures.characters
      << ' ' << setw(11) << measures.longest << ' ' << setw(9) << nalo::fixed
      << setprecision(1) << measures.mean_length() << "  " << name
      << nalo::endl;
}

// --- words -------------------------------------------------------------------

struct string_hash {
  std::size_t operator()(std::string_view text) const noexcept {
    return std::hash<std::string_view>()(text);
  }
};
using word_counts = std::unordered_map<nalo::string, count_type, string_hash>;

void count_words(nalo::istream& in, word_counts& counts) {
  for (const auto& word : nalo::words(in)) ++counts[word];
}

void print_words(nalo::ostream& out, const word_counts& counts,
                 std::size_t limit) {
  using entry = std::pair<std::string_view, count_type>;
  std::vector<entry> ranking(counts.begin(), counts.end());
  limit = std::min(limit, ranking.size());
  std::partial_sort(
      ranking.begin(), ranking.begin() + static_cast<std::ptrdiff_t>(limit),
      ranking.end(), [](const entry& a, const entry& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
      });
  count_type total = 0;
  for (const entry& word : ranking) total += word.second;
  ranking.resize(limit);

  // The guard restores the fill, the precision and the flags that the table
  // changes, for the line after it.
  {
    const nalo::ios::stream_guard guard(out, out.exceptions());
    out << setfill('.') << nalo::fixed << setprecision(1);
    for (const auto& [word, count] : ranking) {
      const double share =
          100 * static_cast<double>(count) / static_cast<double>(total);
      out << nalo::left << setw(24) << word << nalo::right << setw(12) << count
          << setw(8) << share << "%\n";
    }
  }
  out << setw(36) << total << " words, " << counts.size() << " different"
      << nalo::endl;
}

// --- copies ------------------------------------------------------------------

void copy(nalo::istream& in, nalo::ostream& out) {
  // Copying nothing would set failbit.
  if (in.peek() == nalo::istream::traits_type::eof()) return;
  try {
    out << in.rdbuf() << nalo::flush;
  } catch (const nalo::fd_input_error&) {
    out.clear();  // the other files can still be copied
    throw;
  }
}

// --- the program -------------------------------------------------------------

// Not to cerr, which would flush cout, and that might fail.
void complain(std::string_view text) { nalo::clog << text << nalo::endl; }

// Prints the name of the file and the error in one line.
void complain(std::string_view name, const nalo::fd_error& error) {
  complain("text_report: " + std::string(name) + ": " + error.what());
}

// Calls work(in, name) for each file. Reports files that cannot be read and
// goes on to the next. Returns whether all could be read.
template <class Work>
bool for_each_file(const options& opts, Work work) {
  constexpr auto no_limit = std::numeric_limits<nalo::streamsize>::max();
  bool all_read = true;
  for (const char* file : opts.files) {
    const bool is_stdin = file == std::string_view("-");
    const std::string_view name = is_stdin ? "(standard input)" : file;
    try {
      nalo::fdbuf buffer =
          is_stdin ? nalo::fdbuf(STDIN_FILENO) : nalo::fdbuf(file);
      nalo::istream in(&buffer, nalo::ios_base::badbit);
      for (count_type n = 0; n < opts.skip_lines && in.good(); ++n) {
        in.ignore(no_limit, '\n');
      }
      work(in, name);
    } catch (const nalo::fd_input_error& error) {
      complain(name, error);
      all_read = false;
    }
  }
  return all_read;
}

bool report(const options& opts, nalo::ostream& out) {
  print_heading(out);
  text_measures total;
  const bool all_read =
      for_each_file(opts, [&](nalo::istream& in, std::string_view name) {
        const text_measures measures = measure(in);
        print_row(out, measures, name);
        total.add(measures);
      });
  print_row(out, total, "total");
  return all_read;
}

bool report_words(const options& opts, nalo::ostream& out) {
  word_counts counts;
  const bool all_read = for_each_file(
      opts,
      [&](nalo::istream& in, std::string_view) { count_words(in, counts); });
  print_words(out, counts, opts.word_limit);
  return all_read;
}

bool copy_files(const options& opts, nalo::ostream& out) {
  return for_each_file(
      opts, [&](nalo::istream& in, std::string_view) { copy(in, out); });
}

bool run(const options& opts) {
  nalo::ostream& out = nalo::cout;
  out.exceptions(nalo::ios_base::badbit);
  switch (opts.what) {
    case job::words:
      return report_words(opts, out);
    case job::copy:
      return copy_files(opts, out);
    case job::help:
      out << usage << nalo::flush;
      return true;
    default:
      return report(opts, out);
  }
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(parse(argc, argv)) ? 0 : 1;
  } catch (const usage_error& error) {
    complain(error.what());
    return 2;
  } catch (const nalo::fd_output_error& error) {
    // The reader has closed the pipe and needs no more.
    if (error.code() == EPIPE) return 128 + SIGPIPE;
    complain("(standard output)", error);
  } catch (const std::exception& error) {
    complain(std::string("text_report: ") + error.what());
  }
  return 1;
}
