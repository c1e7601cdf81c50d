// The workloads as one would write them by hand for text that lies in memory:
// no states, no locales, no buffers to ask. What streams can hope to come near.
#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

#include "consume.h"
#include "workload.h"

namespace bench {

namespace {

// The output, which starts again when there is no room left.
class Output {
 public:
  explicit Output(Area& area)
      : area_(area), next_(area.begin), end_(area.begin + area.size) {}
  ~Output() { area_.used = static_cast<size_t>(next_ - area_.begin); }

  void put(char ch) {
    if (next_ == end_) [[unlikely]]
      next_ = area_.begin;
    *next_++ = ch;
  }
  void write(const char* s, size_t n) {
    const size_t left = static_cast<size_t>(end_ - next_);
    if (n > left) [[unlikely]] {
      std::memcpy(next_, s, left);
      std::memcpy(area_.begin, s + left, n - left);
      next_ = area_.begin + (n - left);
      return;
    }
    std::memcpy(next_, s, n);
    next_ += n;
  }
  void fill(char ch, size_t n) {
    const size_t left = static_cast<size_t>(end_ - next_);
    if (n > left) [[unlikely]] {
      while (n-- > 0) put(ch);
      return;
    }
    std::memset(next_, ch, n);
    next_ += n;
  }

 private:
  Area& area_;
  char* next_;
  char* const end_;
};

const char* find_newline(const char* first, const char* end) {
  return static_cast<const char*>(
      std::memchr(first, '\n', static_cast<size_t>(end - first)));
}

// Calls seen for each line of the text, all of which end with a newline.
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
  // Hidden, because a copy that is known to be short becomes a slow loop.
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

template <class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  std::string word;
  const char* const end = in.text + in.size;
  const char* next = skip_space(in.text, end);
  while (next != end) {
    const char* first = next;
    do ++next;
    while (next != end && !is_space(*next));
    word.assign(first, static_cast<size_t>(next - first));
    seen.text(word.data(), word.size());
    next = skip_space(next, end);
  }
}

template <class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  for_each_line(in, [&](const char*, size_t n) { seen.value(n + 1); });
}

// Shows a text in windows, each of which has to be asked for. Answers the first
// character of the window, -1 when there is none, as a stream buffer does.
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

template <class Seen, class T>
void read_numbers(const Input& in, Area& area) {
  Seen seen(area);
  const char* const end = in.text + in.size;
  const char* next = skip_space(in.text, end);
  while (next != end) {
    T number;
    const auto [behind, error] = std::from_chars(next, end, number);
    if (error != std::errc()) std::abort();
    seen.value(number);
    next = skip_space(behind, end);
  }
}

void write_longs(const Input& in, Area& area) {
  Output output(area);
  for (size_t i = 0; i < in.items; ++i) {
    char text[24];
    const char* end = std::to_chars(text, text + sizeof text, in.longs[i]).ptr;
    output.write(text, static_cast<size_t>(end - text));
  }
}

void write_doubles(const Input& in, Area& area) {
  Output output(area);
  const auto format =
      in.fixed ? std::chars_format::fixed : std::chars_format::general;
  for (size_t i = 0; i < in.items; ++i) {
    char text[64];
    const char* end = std::to_chars(text, text + sizeof text, in.doubles[i],
                                    format, in.precision)
                          .ptr;
    output.write(text, static_cast<size_t>(end - text));
  }
}

void pad_texts(const Input& in, Area& area) {
  Output output(area);
  for (size_t i = 0; i < in.items; ++i) {
    const Slice& text = in.slices[i];
    output.fill(' ', text_width - text.size);
    output.write(text.begin, text.size);
  }
}

void write_blocks(const Input& in, Area& area) {
  Output output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.write(in.text + i * write_block, write_block);
  }
}

void put_characters(const Input& in, Area& area) {
  Output output(area);
  for (size_t i = 0; i < in.size; ++i) output.put(in.text[i]);
}

void copy_buffers(const Input& in, Area& area) {
  Output output(area);
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
void copy_strings(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; ++i) {
    char copy[256];
    std::memcpy(copy, in.text, in.size);
    seen.text(copy, in.size);
  }
}

void report_lines(const Input& in, Area& area) {
  Output output(area);
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
    case Workload::skip_lines:
      return {skip_lines<Consume>, skip_lines<Record>};
    case Workload::skip_blocks:
      return {skip_blocks<Consume>, skip_blocks<Record>};
    case Workload::read_longs:
      return {read_numbers<Consume, long>, read_numbers<Record, long>};
    case Workload::read_doubles:
      return {read_numbers<Consume, double>, read_numbers<Record, double>};
    case Workload::write_longs:
      return {write_longs, write_longs};
    case Workload::write_doubles:
      return {write_doubles, write_doubles};
    case Workload::pad_texts:
      return {pad_texts, pad_texts};
    case Workload::write_blocks:
      return {write_blocks, write_blocks};
    case Workload::put_characters:
      return {put_characters, put_characters};
    case Workload::copy_buffers:
      return {copy_buffers, copy_buffers};
    case Workload::make_streams:
      return {};  // there is nothing to make
    case Workload::append_characters:
      return {append_characters<Consume>, append_characters<Record>};
    case Workload::copy_strings:
      return {copy_strings<Consume>, copy_strings<Record>};
    case Workload::report_lines:
      return {report_lines, report_lines};
  }
  return {};
}

}  // namespace bench
