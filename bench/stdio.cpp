// The workloads with the C library's streams, written for speed: without locks,
// and with inline functions where available.
//
// Copies no more than the other libraries: the text and the output area are the
// buffers of the streams.
#include <stdio.h>
#include <stdio_ext.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include "consume.h"
#include "program_passes.h"
#include "workload.h"

namespace bench {

namespace {

// A FILE without locking.
class Stream {
 public:
  explicit Stream(FILE* file) : file_(file) {
    if (!file_) abort();
    __fsetlocking(file_, FSETLOCKING_BYCALLER);
  }
  Stream(const Stream&) = delete;
  ~Stream() { fclose(file_); }

  operator FILE*() const { return file_; }

 private:
  FILE* const file_;
};

// Uses the whole text as its buffer; the read function only returns its size.
FILE* open_text(const Input& in) {
  const cookie_io_functions_t functions = {
      [](void* cookie, char*, size_t) {
        auto& left = *static_cast<const Input**>(cookie);
        if (!left) return ssize_t{0};
        const size_t size = left->size;
        left = nullptr;
        return static_cast<ssize_t>(size);
      },
      nullptr, nullptr,
      [](void* cookie) {
        delete static_cast<const Input**>(cookie);
        return 0;
      }};
  FILE* file = fopencookie(new const Input*(&in), "r", functions);
  if (file) setvbuf(file, const_cast<char*>(in.text), _IOFBF, in.size);
  return file;
}

struct Reader : Stream {
  explicit Reader(const Input& in) : Stream(open_text(in)) {}
};

// Uses the area as its buffer, and reuses it when it is full.
FILE* open_area(Area& area) {
  const cookie_io_functions_t functions = {
      nullptr,
      [](void* cookie, const char*, size_t n) {
        static_cast<Area*>(cookie)->used = n;
        return static_cast<ssize_t>(n);
      },
      nullptr, nullptr};
  FILE* file = fopencookie(&area, "w", functions);
  if (file) setvbuf(file, area.begin, _IOFBF, area.size);
  return file;
}

struct Writer : Stream {
  explicit Writer(Area& area) : Stream(open_area(area)) {}
};

// A line, including the newline that getline stores, and its memory.
class Line {
 public:
  Line() = default;
  Line(const Line&) = delete;
  ~Line() { free(text_); }

  bool read(FILE* file) {
    size_ = ::getline(&text_, &room_, file);
    return size_ > 0;
  }
  const char* data() const { return text_; }
  // Without the newline.
  size_t size() const { return static_cast<size_t>(size_) - 1; }

 private:
  char* text_ = nullptr;
  size_t room_ = 0;
  ssize_t size_ = 0;
};

template <class Seen>
void read_lines(FILE* file, Area& area) {
  Seen seen(area);
  Line line;
  while (line.read(file)) seen.text(line.data(), line.size());
}

template <class Seen>
void lines(const Input& in, Area& area) {
  read_lines<Seen>(Reader(in), area);
}

template <class Seen>
void fresh_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader file(in);
  for (;;) {
    Line line;
    if (!line.read(file)) break;
    seen.text(line.data(), line.size());
  }
}

template <class Seen>
void array_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader file(in);
  char line[line_array_size];
  while (fgets_unlocked(line, sizeof line, file)) {
    const size_t n = strlen(line) - 1;
    line[n] = '\0';
    seen.text(line, n);
  }
}

template <class Seen>
void read_std_lines(FILE* file, Area& area) {
  Seen seen(area);
  Line line;
  std::string text;
  while (line.read(file)) {
    text.assign(line.data(), line.size());
    seen.text(text.data(), text.size());
  }
}

template <class Seen>
void std_lines(const Input& in, Area& area) {
  read_std_lines<Seen>(Reader(in), area);
}

bool is_space(int ch) { return ch == ' ' || (ch >= '\t' && ch <= '\r'); }

// Calls use() for each word, of at most 255 characters. Faster than fscanf.
template <class Use>
void for_each_word(FILE* file, Use use) {
  for (;;) {
    int ch;
    do ch = getc_unlocked(file);
    while (is_space(ch));
    if (ch == EOF) return;
    char word[256];
    size_t n = 0;
    do {
      word[n++] = static_cast<char>(ch);
      ch = getc_unlocked(file);
    } while (n < sizeof word - 1 && ch != EOF && !is_space(ch));
    word[n] = '\0';
    use(word, n);
  }
}

template <class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  for_each_word(Reader(in), [&](const char* s, size_t n) { seen.text(s, n); });
}

template <class Seen>
void array_words(const Input& in, Area& area) {
  Seen seen(area);
  for_each_word(Reader(in), [&](const char* s, size_t) { seen.c_string(s); });
}

template <class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader file(in);
  Line line;
  while (line.read(file)) seen.value(line.size() + 1);
}

template <class Seen>
void get_characters(const Input& in, Area& area) {
  Seen seen(area);
  Reader file(in);
  for (int ch; (ch = getc_unlocked(file)) != EOF;) seen.character(ch);
}

template <class Seen>
void peek_characters(const Input& in, Area& area) {
  Seen seen(area);
  Reader file(in);
  while (ungetc(getc_unlocked(file), file) != EOF) {
    seen.character(getc_unlocked(file));
  }
}

template <class Seen, class T>
void read_numbers(FILE* file, const char* format, Area& area) {
  Seen seen(area);
  T number;
  while (fscanf(file, format, &number) == 1) seen.value(number);
}

template <class Seen>
void read_ints(const Input& in, Area& area) {
  read_numbers<Seen, int>(Reader(in), "%d", area);
}

template <class Seen>
void read_unsigneds(const Input& in, Area& area) {
  read_numbers<Seen, unsigned>(Reader(in), "%u", area);
}

template <class Seen>
void read_longs(const Input& in, Area& area) {
  read_numbers<Seen, long>(Reader(in), "%ld", area);
}

template <class Seen>
void read_hex(const Input& in, Area& area) {
  read_numbers<Seen, unsigned long>(Reader(in), "%lx", area);
}

template <class Seen>
void read_doubles(const Input& in, Area& area) {
  read_numbers<Seen, double>(Reader(in), "%lf", area);
}

void write_ints(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) {
    fprintf(file, "%d", static_cast<int>(in.longs[i]));
  }
}

void write_longs(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) fprintf(file, "%ld", in.longs[i]);
}

void write_hex(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) {
    fprintf(file, "%lx", static_cast<unsigned long>(in.longs[i]));
  }
}

void write_bools(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) {
    fputs_unlocked(in.longs[i] < 0 ? "true" : "false", file);
  }
}

void write_floats(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) {
    const double value = static_cast<float>(in.doubles[i]);
    fprintf(file, "%.*g", in.precision, value);
  }
}

void write_doubles(const Input& in, Area& area) {
  Writer file(area);
  switch (in.notation) {
    case Notation::fixed:
      for (size_t i = 0; i < in.items; ++i) {
        fprintf(file, "%.*f", in.precision, in.doubles[i]);
      }
      break;
    case Notation::scientific:
      for (size_t i = 0; i < in.items; ++i) {
        fprintf(file, "%.*e", in.precision, in.doubles[i]);
      }
      break;
    default:
      for (size_t i = 0; i < in.items; ++i) {
        fprintf(file, "%.*g", in.precision, in.doubles[i]);
      }
  }
}

void pad_texts(const Input& in, Area& area) {
  Writer file(area);
  static_assert(text_width == 12);
  for (size_t i = 0; i < in.items; ++i) {
    fprintf(file, "%12.*s", static_cast<int>(in.slices[i].size),
            in.slices[i].begin);
  }
}

void write_blocks(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.items; ++i) {
    fwrite_unlocked(in.text + i * write_block, 1, write_block, file);
  }
}

void write_characters(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.size; ++i) {
    fwrite_unlocked(in.text + i, 1, 1, file);
  }
}

void put_characters(const Input& in, Area& area) {
  Writer file(area);
  for (size_t i = 0; i < in.size; ++i) putc_unlocked(in.text[i], file);
}

void report_lines(const Input& in, Area& area) {
  Writer file(area);
  static_assert(text_width == 12);
  for (size_t i = 0; i < in.items; ++i) {
    const Slice& left = in.slices[2 * i];
    const Slice& right = in.slices[2 * i + 1];
    fprintf(file, "%-12.*s%12.*s %d %.6g\n", static_cast<int>(left.size),
            left.begin, static_cast<int>(right.size), right.begin,
            static_cast<int>(in.longs[i]), in.doubles[i]);
  }
}

template <class Seen>
void file_lines(const Input& in, Area& area) {
  read_std_lines<Seen>(Stream(fopen(in.path, "r")), area);
}

template <class Seen>
void console_ints(const Input& in, Area& area) {
  redirect_stdin(in);
  read_numbers<Seen, int>(stdin, "%d", area);
}

template <class Seen>
void file_ints(const Input& in, Area& area) {
  {
    Stream file(fopen(in.path, "w"));
    for (size_t i = 0; i < in.items; ++i) {
      fprintf(file, "%d\n", static_cast<int>(in.longs[i]));
    }
  }
  record_file<Seen>(in, area);
}

template <class Seen>
void parse_lines(const Input& in, Area& area) {
  Seen seen(area);
  std::string line;
  for (size_t i = 0; i < in.items; ++i) {
    line.assign(in.slices[i].begin, in.slices[i].size);
    char name[text_width];
    int count;
    double price;
    sscanf(line.c_str(), "%11s%d%lf", name, &count, &price);
    seen.text(name, strlen(name));
    seen.value(count);
    seen.value(price);
  }
}

template <class Seen>
void format_lines(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; ++i) {
    char text[64];
    const int n = snprintf(
        text, sizeof text, "%.*s %d %.6g", static_cast<int>(in.slices[i].size),
        in.slices[i].begin, static_cast<int>(in.longs[i]), in.doubles[i]);
    const std::string line(text, static_cast<size_t>(n));
    seen.text(line.data(), line.size());
  }
}

template <class Seen>
void count_words(const Input& in, Area& area) {
  Seen seen(area);
  size_t words = 0;
  size_t characters = 0;
  for_each_word(Stream(fopen(in.path, "r")), [&](const char* s, size_t n) {
    keep(s);
    ++words;
    characters += n;
  });
  seen.value(words);
  seen.value(characters);
}

}  // namespace

Passes stdio_passes(Workload workload) {
  switch (workload) {
    case Workload::lines:
      return {lines<Consume>, lines<Record>};
    case Workload::fresh_lines:
      return {fresh_lines<Consume>, fresh_lines<Record>};
    case Workload::array_lines:
      return {array_lines<Consume>, array_lines<Record>};
    case Workload::std_lines:
      return {std_lines<Consume>, std_lines<Record>};
    case Workload::words:
      return {words<Consume>, words<Record>};
    case Workload::array_words:
      return {array_words<Consume>, array_words<Record>};
    case Workload::skip_lines:
      return {skip_lines<Consume>, skip_lines<Record>};
    case Workload::get_characters:
      return {get_characters<Consume>, get_characters<Record>};
    case Workload::peek_characters:
      return {peek_characters<Consume>, peek_characters<Record>};
    case Workload::read_ints:
      return {read_ints<Consume>, read_ints<Record>};
    case Workload::read_unsigneds:
      return {read_unsigneds<Consume>, read_unsigneds<Record>};
    case Workload::read_longs:
      return {read_longs<Consume>, read_longs<Record>};
    case Workload::read_hex:
      return {read_hex<Consume>, read_hex<Record>};
    case Workload::read_doubles:
      return {read_doubles<Consume>, read_doubles<Record>};
    case Workload::write_ints:
      return {write_ints, write_ints};
    case Workload::write_longs:
      return {write_longs, write_longs};
    case Workload::write_hex:
      return {write_hex, write_hex};
    case Workload::write_bools:
      return {write_bools, write_bools};
    case Workload::write_floats:
      return {write_floats, write_floats};
    case Workload::write_doubles:
      return {write_doubles, write_doubles};
    case Workload::pad_texts:
      return {pad_texts, pad_texts};
    case Workload::write_blocks:
      return {write_blocks, write_blocks};
    case Workload::write_characters:
      return {write_characters, write_characters};
    case Workload::put_characters:
      return {put_characters, put_characters};
    case Workload::report_lines:
      return {report_lines, report_lines};
    case Workload::file_lines:
      return {file_lines<Consume>, file_lines<Record>};
    case Workload::console_ints:
      return {console_ints<Consume>, console_ints<Record>};
    case Workload::file_ints:
      return {file_ints<Consume>, file_ints<Record>};
    case Workload::parse_lines:
      return {parse_lines<Consume>, parse_lines<Record>};
    case Workload::format_lines:
      return {format_lines<Consume>, format_lines<Record>};
    case Workload::count_words:
      return {count_words<Consume>, count_words<Record>};
    default:
      return {};
  }
}

}  // namespace bench
