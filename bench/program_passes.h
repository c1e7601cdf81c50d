// Workloads of programs with files, the console and string streams, using the
// classes of a library that own their buffers. Lib names the classes; passes
// that need classes or std::string functions that a library lacks are omitted.
#ifndef NALO_BENCH_PROGRAM_PASSES_H
#define NALO_BENCH_PROGRAM_PASSES_H

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "consume.h"
#include "workload.h"

namespace bench {

// In a check, records the contents of the file that a program has written.
template <class Seen>
void record_file(const Input& in, Area& area) {
  if constexpr (Seen::records) {
    const int fd = open(in.path, O_RDONLY);
    const ssize_t n = read(fd, area.begin, area.size);
    close(fd);
    if (n < 0) std::abort();
    area.used = static_cast<size_t>(n);
  }
}

// Redirects standard input to the file, from its beginning.
inline void redirect_stdin(const Input& in) {
  const int fd = open(in.path, O_RDONLY);
  if (dup2(fd, STDIN_FILENO) < 0) std::abort();
  close(fd);
  std::rewind(stdin);  // some streams read through it
}

template <class Lib, class Seen>
void file_lines(const Input& in, Area& area) {
  Seen seen(area);
  typename Lib::ifstream file(in.path);
  std::string line;
  while (getline(file, line)) seen.text(line.data(), line.size());
}

template <class Lib, class Seen>
void console_ints(const Input& in, Area& area) {
  Seen seen(area);
  redirect_stdin(in);
  auto& cin = Lib::cin();
  cin.clear();
  int number;
  while (cin >> number) seen.value(number);
}

template <class Lib, class Seen>
void file_ints(const Input& in, Area& area) {
  {
    typename Lib::ofstream file(in.path);
    for (size_t i = 0; i < in.items; ++i) {
      file << static_cast<int>(in.longs[i]) << '\n';
    }
  }
  record_file<Seen>(in, area);
}

template <class Lib, class Seen>
void parse_lines(const Input& in, Area& area) {
  Seen seen(area);
  std::string line;
  std::string name;
  for (size_t i = 0; i < in.items; ++i) {
    line.assign(in.slices[i].begin, in.slices[i].size);
    typename Lib::istringstream fields(line);
    int count;
    double price;
    fields >> name >> count >> price;
    seen.text(name.data(), name.size());
    seen.value(count);
    seen.value(price);
  }
}

template <class Lib, class Seen>
void format_lines(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; ++i) {
    typename Lib::ostringstream fields;
    fields << std::string_view(in.slices[i].begin, in.slices[i].size) << ' '
           << static_cast<int>(in.longs[i]) << ' ' << in.doubles[i];
    const auto line = fields.str();
    seen.text(line.data(), line.size());
  }
}

template <class Lib, class Seen>
void count_words(const Input& in, Area& area) {
  Seen seen(area);
  typename Lib::ifstream file(in.path);
  std::string word;
  size_t words = 0;
  size_t characters = 0;
  while (file >> word) {
    ++words;
    characters += word.size();
  }
  seen.value(words);
  seen.value(characters);
}

template <class Lib>
constexpr bool reads_std_string =
    requires(typename Lib::template istream<char>& in, std::string& text) {
  getline(in, text);
  in >> text;
};

template <class Lib>
constexpr bool has_files = requires {
  typename Lib::ifstream;
};

template <class Lib>
constexpr bool has_console = requires {
  Lib::cin();
};

template <class Lib>
constexpr bool has_string_streams = requires {
  typename Lib::istringstream;
};

template <class Lib>
Passes program_passes(Workload workload) {
  if constexpr (has_files<Lib>) {
    if (workload == Workload::file_ints) {
      return {file_ints<Lib, Consume>, file_ints<Lib, Record>};
    }
  }
  if constexpr (has_files<Lib> && reads_std_string<Lib>) {
    if (workload == Workload::file_lines) {
      return {file_lines<Lib, Consume>, file_lines<Lib, Record>};
    }
    if (workload == Workload::count_words) {
      return {count_words<Lib, Consume>, count_words<Lib, Record>};
    }
  }
  if constexpr (has_console<Lib>) {
    if (workload == Workload::console_ints) {
      return {console_ints<Lib, Consume>, console_ints<Lib, Record>};
    }
  }
  if constexpr (has_string_streams<Lib>) {
    if (workload == Workload::format_lines) {
      return {format_lines<Lib, Consume>, format_lines<Lib, Record>};
    }
  }
  if constexpr (has_string_streams<Lib> && reads_std_string<Lib>) {
    if (workload == Workload::parse_lines) {
      return {parse_lines<Lib, Consume>, parse_lines<Lib, Record>};
    }
  }
  return {};
}

}  // namespace bench

#endif
