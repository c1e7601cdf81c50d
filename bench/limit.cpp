// The plain limit: the workloads hand-written for text in memory, with
// functions of the C++ library. No state, no locales, no buffers.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>
#include <string_view>
#include <tuple>

#include "consume.h"
#include "output.h"
#include "workload.h"

namespace bench {

namespace {

const char* find_newline(const char* first, const char* end) {
  return static_cast<const char*>(
      std::memchr(first, '\n', static_cast<size_t>(end - first)));
}

// Calls use() for each line of the text; all end with a newline.
template <class Use>
void for_each_line(const Input& in, Use use) {
  const char* const end = in.text + in.size;
  for (const char* first = in.text; first != end;) {
    const char* newline = find_newline(first, end);
    use(first, static_cast<size_t>(newline - first));
    first = newline + 1;
  }
}

template <class Seen>
void lines(const Input& in, Area& area) {
  Seen seen(area);
  std::string line;
  for_each_line(in, [&](const char* s, size_t n) {
    line.assign(s, n);
    seen.text(line.data(), line.size());
  });
}

template <class Seen>
void fresh_lines(const Input& in, Area& area) {
  Seen seen(area);
  for_each_line(in, [&](const char* s, size_t n) {
    const std::string line(s, n);
    seen.text(line.data(), line.size());
  });
}

template <class Seen>
void array_lines(const Input& in, Area& area) {
  Seen seen(area);
  char line[line_array_size];
  // Hidden from the compiler, which would make a slow loop of a copy that is
  // known to be short.
  size_t room = sizeof line - 1;
  asm("" : "+r"(room));
  for_each_line(in, [&](const char* s, size_t n) {
    n = std::min(n, room);
    std::memcpy(line, s, n);
    line[n] = '\0';
    seen.text(line, n);
  });
}

template <class Seen>
void wide_lines(const Input& in, Area& area) {
  Seen seen(area);
  std::wstring line;
  const wchar_t* const end = in.wide_text + in.size;
  for (const wchar_t* first = in.wide_text; first != end;) {
    const wchar_t* newline =
        std::wmemchr(first, L'\n', static_cast<size_t>(end - first));
    line.assign(first, static_cast<size_t>(newline - first));
    seen.text(line.data(), line.size());
    first = newline + 1;
  }
}

bool is_space(char ch) { return ch == ' ' || (ch >= '\t' && ch <= '\r'); }

const char* skip_space(const char* first, const char* end) {
  while (first != end && is_space(*first)) ++first;
  return first;
}

// Calls use() for each word of the text.
template <class Use>
void for_each_word(const Input& in, Use use) {
  const char* const end = in.text + in.size;
  const char* next = skip_space(in.text, end);
  while (next != end) {
    const char* first = next;
    do ++next;
    while (next != end && !is_space(*next));
    use(first, static_cast<size_t>(next - first));
    next = skip_space(next, end);
  }
}

template <class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  std::string word;
  for_each_word(in, [&](const char* s, size_t n) {
    word.assign(s, n);
    seen.text(word.data(), word.size());
  });
}

template <class Seen>
void array_words(const Input& in, Area& area) {
  Seen seen(area);
  char word[word_array_size];
  for_each_word(in, [&](const char* s, size_t n) {
    n = std::min(n, sizeof word - 1);
    std::memcpy(word, s, n);
    word[n] = '\0';
    seen.c_string(word);
  });
}

template <class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  for_each_line(in, [&](const char*, size_t n) { seen.value(n + 1); });
}

// Provides a text in windows, one per call. Like a stream buffer, returns the
// first character of the window, or -1 when there is none.
class Windows {
 public:
  virtual ~Windows() = default;
  virtual int next(Slice& window) = 0;
};

class TextWindows : public Windows {
 public:
  explicit TextWindows(const Input& in) : in_(in) {}
  int next(Slice& window) override {
    window = {in_.text + done_, std::min(in_.window, in_.size - done_)};
    if (window.size == 0) return -1;
    done_ += window.size;
    return static_cast<unsigned char>(*window.begin);
  }

 private:
  const Input& in_;
  size_t done_ = 0;
};

template <class Seen>
void skip_blocks(const Input& in, Area& area) {
  Seen seen(area);
  TextWindows text(in);
  Windows* source = &text;
  keep(source);
  for (Slice window{in.text, 0};;) {
    size_t skipped = 0;
    while (skipped < skip_block) {
      if (window.size == 0 && source->next(window) == -1) return;
      const size_t run = std::min(window.size, skip_block - skipped);
      window.begin += run;
      window.size -= run;
      skipped += run;
    }
    seen.value(skipped);
  }
}

template <class Seen>
void get_characters(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.size; ++i) {
    seen.character(static_cast<int>(static_cast<unsigned char>(in.text[i])));
  }
}

// Calls read() with the beginning of each number. It returns the end of the
// number.
template <class Char, class Read>
void for_each_number(const Char* text, size_t size, Read read) {
  const auto is_blank = [](Char ch) { return ch == Char(' '); };
  const Char* const end = text + size;
  const Char* next = std::find_if_not(text, end, is_blank);
  while (next != end) next = std::find_if_not(read(next, end), end, is_blank);
}

template <class Seen, class T, int... base>
void read_numbers(const Input& in, Area& area) {
  Seen seen(area);
  for_each_number(in.text, in.size, [&](const char* first, const char* end) {
    T number;
    const auto [behind, error] = std::from_chars(first, end, number, base...);
    if (error != std::errc()) std::abort();
    seen.value(number);
    return behind;
  });
}

// Copies the characters of each number, without grouping, to a place where
// from_chars can read them.
template <class Seen, class Char>
void read_longs_by_copy(const Char* text, size_t size, Area& area) {
  Seen seen(area);
  for_each_number(text, size, [&](const Char* first, const Char* end) {
    char word[32];
    char* to = word;
    for (; first != end && *first != Char(' '); ++first) {
      if (*first != Char('.')) *to++ = static_cast<char>(*first);
    }
    long number;
    std::from_chars(word, to, number);
    seen.value(number);
    return first;
  });
}

template <class Seen>
void read_wide_longs(const Input& in, Area& area) {
  read_longs_by_copy<Seen>(in.wide_text, in.size, area);
}

template <class Seen>
void read_grouped(const Input& in, Area& area) {
  read_longs_by_copy<Seen>(in.text, in.size, area);
}

// Writes each item by to_chars with the arguments that arguments() returns.
template <class Arguments>
void write_numbers(const Input& in, Area& area, Arguments arguments) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.print<64>([&](char* to) {
      return std::apply(
          [&](auto... all) { return std::to_chars(to, to + 64, all...).ptr; },
          arguments(i));
    });
  }
}

void write_ints(const Input& in, Area& area) {
  write_numbers(in, area, [&](size_t i) {
    return std::tuple(static_cast<int>(in.longs[i]));
  });
}

void write_longs(const Input& in, Area& area) {
  write_numbers(in, area, [&](size_t i) { return std::tuple(in.longs[i]); });
}

void write_hex(const Input& in, Area& area) {
  write_numbers(in, area, [&](size_t i) {
    return std::tuple(static_cast<unsigned long>(in.longs[i]), 16);
  });
}

void write_wide_longs(const Input& in, Area& area) {
  Output<wchar_t> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.print<24>([&](wchar_t* to) {
      char text[24];
      return std::copy(
          text, std::to_chars(text, text + sizeof text, in.longs[i]).ptr, to);
    });
  }
}

// Copies digits with a dot between groups of three, and returns the end.
char* group(const char* first, const char* end, char* to) {
  if (*first == '-') *to++ = *first++;
  size_t n = static_cast<size_t>(end - first - 1) % 3 + 1;
  for (;;) {
    to = std::copy_n(first, n, to);
    first += n;
    if (first == end) return to;
    *to++ = '.';
    n = 3;
  }
}

void write_grouped(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.print<32>([&](char* to) {
      char text[24];
      return group(
          text, std::to_chars(text, text + sizeof text, in.longs[i]).ptr, to);
    });
  }
}

void write_bools(const Input& in, Area& area) {
  static constexpr std::string_view names[] = {"false", "true"};
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    const std::string_view name = names[in.longs[i] < 0];
    output.write(name.data(), name.size());
  }
}

std::chars_format format(const Input& in) {
  switch (in.notation) {
    case Notation::fixed:
      return std::chars_format::fixed;
    case Notation::scientific:
      return std::chars_format::scientific;
    default:
      return std::chars_format::general;
  }
}

void write_floats(const Input& in, Area& area) {
  write_numbers(in, area, [&](size_t i) {
    return std::tuple(static_cast<float>(in.doubles[i]), format(in),
                      in.precision);
  });
}

void write_doubles(const Input& in, Area& area) {
  write_numbers(in, area, [&](size_t i) {
    return std::tuple(in.doubles[i], format(in), in.precision);
  });
}

void pad_texts(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    const Slice& text = in.slices[i];
    output.fill(' ', text_width - text.size);
    output.write(text.begin, text.size);
  }
}

void write_blocks(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.write(in.text + i * write_block, write_block);
  }
}

void put_characters(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t i = 0; i < in.size; ++i) output.put(in.text[i]);
}

void copy_buffers(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t done = 0; done < in.size;) {
    const size_t n = std::min({in.size - done, in.window, put_area_size / 2});
    output.write(in.text + done, n);
    done += n;
  }
}

template <class Seen>
void append_characters(const Input& in, Area& area) {
  Seen seen(area);
  const char* text = in.text;
  for (size_t i = 0; i < in.items; i += string_length) {
    size_t room = 32;
    size_t size = 0;
    std::unique_ptr<char[]> string(new char[room]);
    for (size_t n = 0; n < string_length; ++n) {
      if (size == room) {
        std::unique_ptr<char[]> grown(new char[2 * room]);
        std::memcpy(grown.get(), string.get(), size);
        string = std::move(grown);
        room *= 2;
      }
      string[size++] = *text++;
    }
    seen.text(string.get(), size);
  }
}

template <class Seen>
void append_blocks(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; i += append_count) {
    std::string string;
    for (size_t n = 0; n < append_count; ++n) {
      string.append(in.text + n * append_block, append_block);
    }
    seen.text(string.data(), string.size());
  }
}

template <class Seen>
void copy_strings(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; ++i) {
    char copy[256];
    std::memcpy(copy, in.text, in.size);
    seen.text(copy, in.size);
  }
}

template <class Seen>
void copy_append(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; ++i) {
    const size_t size = in.size + append_block;
    const std::unique_ptr<char[]> copy(new char[size]);
    std::memcpy(copy.get(), in.text, in.size);
    std::memcpy(copy.get() + in.size, in.text, append_block);
    seen.text(copy.get(), size);
  }
}

void report_lines(const Input& in, Area& area) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    const Slice& left = in.slices[2 * i];
    const Slice& right = in.slices[2 * i + 1];
    output.write(left.begin, left.size);
    output.fill(' ', text_width - left.size);
    output.fill(' ', text_width - right.size);
    output.write(right.begin, right.size);

    char text[64];
    char* end = text;
    *end++ = ' ';
    end = std::to_chars(end, text + sizeof text, static_cast<int>(in.longs[i]))
              .ptr;
    *end++ = ' ';
    end = std::to_chars(end, text + sizeof text, in.doubles[i],
                        std::chars_format::general, in.precision)
              .ptr;
    *end++ = '\n';
    output.write(text, static_cast<size_t>(end - text));
  }
}

}  // namespace

Passes limit_passes(Workload workload) {
  switch (workload) {
    case Workload::std_lines:
    case Workload::lines:
      return {lines<Consume>, lines<Record>};
    case Workload::fresh_lines:
      return {fresh_lines<Consume>, fresh_lines<Record>};
    case Workload::array_lines:
      return {array_lines<Consume>, array_lines<Record>};
    case Workload::wide_lines:
      return {wide_lines<Consume>, wide_lines<Record>};
    case Workload::words:
      return {words<Consume>, words<Record>};
    case Workload::array_words:
      return {array_words<Consume>, array_words<Record>};
    case Workload::skip_lines:
      return {skip_lines<Consume>, skip_lines<Record>};
    case Workload::skip_blocks:
      return {skip_blocks<Consume>, skip_blocks<Record>};
    case Workload::peek_characters:
    case Workload::bump_characters:
    case Workload::get_characters:
      return {get_characters<Consume>, get_characters<Record>};
    case Workload::read_ints:
      return {read_numbers<Consume, int>, read_numbers<Record, int>};
    case Workload::read_unsigneds:
      return {read_numbers<Consume, unsigned>, read_numbers<Record, unsigned>};
    case Workload::read_longs:
      return {read_numbers<Consume, long>, read_numbers<Record, long>};
    case Workload::read_wide_longs:
      return {read_wide_longs<Consume>, read_wide_longs<Record>};
    case Workload::read_hex:
      return {read_numbers<Consume, unsigned long, 16>,
              read_numbers<Record, unsigned long, 16>};
    case Workload::read_grouped:
      return {read_grouped<Consume>, read_grouped<Record>};
    case Workload::read_doubles:
      return {read_numbers<Consume, double>, read_numbers<Record, double>};
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
    case Workload::write_blocks:
      return {write_blocks, write_blocks};
    case Workload::write_characters:
    case Workload::put_characters:
      return {put_characters, put_characters};
    case Workload::copy_buffers:
      return {copy_buffers, copy_buffers};
    case Workload::report_lines:
      return {report_lines, report_lines};
    case Workload::append_characters:
      return {append_characters<Consume>, append_characters<Record>};
    case Workload::append_blocks:
      return {append_blocks<Consume>, append_blocks<Record>};
    case Workload::copy_strings:
      return {copy_strings<Consume>, copy_strings<Record>};
    case Workload::copy_append:
      return {copy_append<Consume>, copy_append<Record>};
    default:
      return {};  // only streams can do it
  }
}

}  // namespace bench
