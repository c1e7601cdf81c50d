// The workloads with the stream classes of a library. Lib names the classes;
// the code is the same for all libraries.
#ifndef NALO_BENCH_STREAM_PASSES_H
#define NALO_BENCH_STREAM_PASSES_H

#include <algorithm>
#include <limits>
#include <string>
#include <string_view>

#include "consume.h"
#include "program_passes.h"
#include "workload.h"

namespace bench {

// Reads a text in memory, window by window.
template <class Lib, class Char>
class Source : public Lib::template streambuf<Char> {
 public:
  using traits_type = typename Lib::template streambuf<Char>::traits_type;
  using int_type = typename traits_type::int_type;

  Source(const Char* text, const Input& in)
      : end_(const_cast<Char*>(text) + in.size),
        window_(static_cast<ptrdiff_t>(in.window)),
        next_(const_cast<Char*>(text)) {}

 private:
  int_type underflow() override {
    if (next_ == end_) return traits_type::eof();
    Char* first = next_;
    next_ += std::min(window_, end_ - first);
    this->setg(first, first, next_);
    return traits_type::to_int_type(*first);
  }

  // Not adjacent to next_: a compiler that loads both at once would stall on
  // the recent store to next_.
  Char* end_;
  ptrdiff_t window_;
  Char* next_;
};

// Writes to an area and reuses it when it is full.
template <class Lib, class Char>
class Sink : public Lib::template streambuf<Char> {
 public:
  using traits_type = typename Lib::template streambuf<Char>::traits_type;
  using int_type = typename traits_type::int_type;

  explicit Sink(Area& area) : area_(area) { start(); }
  ~Sink() override {
    area_.used =
        static_cast<size_t>(this->pptr() - this->pbase()) * sizeof(Char);
  }

 private:
  void start() {
    Char* const begin = reinterpret_cast<Char*>(area_.begin);
    this->setp(begin, begin + area_.size / sizeof(Char));
  }
  int_type overflow(int_type ch) override {
    start();
    *this->pptr() = traits_type::to_char_type(ch);
    this->pbump(1);
    return ch;
  }

  Area& area_;
};

template <class Char>
const Char* text_of(const Input& in) {
  if constexpr (sizeof(Char) == 1) {
    return in.text;
  } else {
    return in.wide_text;
  }
}

// A stream and its buffer.
template <class Lib, class Char = char>
struct Reader {
  explicit Reader(const Input& in) : source(text_of<Char>(in), in) {}

  Source<Lib, Char> source;
  typename Lib::template istream<Char> stream{&source};
};

template <class Lib, class Char = char>
struct Writer {
  explicit Writer(Area& area) : sink(area) {}

  Sink<Lib, Char> sink;
  typename Lib::template ostream<Char> stream{&sink};
};

// The punctuation of numbers in German.
template <class Lib>
class German : public Lib::template numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  typename Lib::template string<char> do_grouping() const override {
    return "\3";
  }
};

template <class Lib>
typename Lib::locale german() {
  return typename Lib::locale(Lib::locale::classic(), new German<Lib>);
}

template <class Lib, class Char, class String, class Seen>
void read_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib, Char> reader(in);
  String line;
  const auto& read = line;
  while (getline(reader.stream, line)) seen.text(read.data(), read.size());
}

template <class Lib, class Seen>
void lines(const Input& in, Area& area) {
  read_lines<Lib, char, typename Lib::template string<char>, Seen>(in, area);
}

template <class Lib, class Seen>
void wide_lines(const Input& in, Area& area) {
  read_lines<Lib, wchar_t, typename Lib::template string<wchar_t>, Seen>(in,
                                                                         area);
}

template <class Lib, class Seen>
void std_lines(const Input& in, Area& area) {
  read_lines<Lib, char, std::string, Seen>(in, area);
}

template <class Lib, class Seen>
void fresh_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  for (;;) {
    typename Lib::template string<char> line;
    const auto& read = line;
    if (!getline(reader.stream, line)) break;
    seen.text(read.data(), read.size());
  }
}

template <class Lib, class Seen>
void array_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  char line[line_array_size];
  while (reader.stream.getline(line, sizeof line)) {
    seen.text(line, static_cast<size_t>(reader.stream.gcount() - 1));
  }
}

template <class Lib, class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  typename Lib::template string<char> word;
  const auto& read = word;
  while (reader.stream >> word) seen.text(read.data(), read.size());
}

template <class Lib, class Seen>
void array_words(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  char word[word_array_size];
  while (reader.stream >> word) seen.c_string(word);
}

template <class Lib, class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  constexpr auto any = std::numeric_limits<std::ptrdiff_t>::max();
  while (reader.stream.ignore(any, '\n').good()) {
    seen.value(static_cast<size_t>(reader.stream.gcount()));
  }
}

template <class Lib, class Seen>
void skip_blocks(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  while (reader.stream.ignore(skip_block).gcount() > 0) {
    seen.value(static_cast<size_t>(reader.stream.gcount()));
  }
}

template <class Lib, class Seen>
void get_characters(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  constexpr auto eof = Source<Lib, char>::traits_type::eof();
  for (int ch; (ch = reader.stream.get()) != eof;) seen.character(ch);
}

template <class Lib, class Seen>
void peek_characters(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in);
  constexpr auto eof = Source<Lib, char>::traits_type::eof();
  while (reader.stream.peek() != eof) seen.character(reader.stream.get());
}

template <class Lib, class Seen>
void bump_characters(const Input& in, Area& area) {
  Seen seen(area);
  Source<Lib, char> source(in.text, in);
  constexpr auto eof = Source<Lib, char>::traits_type::eof();
  for (int ch; (ch = source.sbumpc()) != eof;) seen.character(ch);
}

template <class Seen, class T, class Stream>
void read_numbers(Stream& stream, Area& area) {
  Seen seen(area);
  T number;
  while (stream >> number) seen.value(number);
}

template <class Lib, class Seen, class T, class Char = char>
void read_numbers(const Input& in, Area& area) {
  Reader<Lib, Char> reader(in);
  read_numbers<Seen, T>(reader.stream, area);
}

template <class Lib, class Seen>
void read_hex(const Input& in, Area& area) {
  Reader<Lib> reader(in);
  reader.stream.setf(Lib::ios_base::hex, Lib::ios_base::basefield);
  read_numbers<Seen, unsigned long>(reader.stream, area);
}

template <class Lib, class Seen>
void read_grouped(const Input& in, Area& area) {
  Reader<Lib> reader(in);
  reader.stream.imbue(german<Lib>());
  read_numbers<Seen, long>(reader.stream, area);
}

template <class Lib>
void write_ints(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.items; ++i) {
    writer.stream << static_cast<int>(in.longs[i]);
  }
}

template <class Lib, class Char = char>
void write_longs(const Input& in, Area& area) {
  Writer<Lib, Char> writer(area);
  for (size_t i = 0; i < in.items; ++i) writer.stream << in.longs[i];
}

template <class Lib>
void write_hex(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.setf(Lib::ios_base::hex, Lib::ios_base::basefield);
  for (size_t i = 0; i < in.items; ++i) {
    writer.stream << static_cast<unsigned long>(in.longs[i]);
  }
}

template <class Lib>
void write_grouped(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.imbue(german<Lib>());
  for (size_t i = 0; i < in.items; ++i) writer.stream << in.longs[i];
}

template <class Lib>
void write_bools(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.setf(Lib::ios_base::boolalpha);
  for (size_t i = 0; i < in.items; ++i) writer.stream << (in.longs[i] < 0);
}

template <class Lib>
void write_floats(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.precision(in.precision);
  for (size_t i = 0; i < in.items; ++i) {
    writer.stream << static_cast<float>(in.doubles[i]);
  }
}

template <class Lib>
void write_doubles(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.precision(in.precision);
  if (in.notation == Notation::fixed) {
    writer.stream.setf(Lib::ios_base::fixed, Lib::ios_base::floatfield);
  } else if (in.notation == Notation::scientific) {
    writer.stream.setf(Lib::ios_base::scientific, Lib::ios_base::floatfield);
  }
  for (size_t i = 0; i < in.items; ++i) writer.stream << in.doubles[i];
}

inline std::string_view view(const Slice& slice) {
  return {slice.begin, slice.size};
}

template <class Lib>
void pad_texts(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.items; ++i) {
    writer.stream.width(text_width);
    writer.stream << view(in.slices[i]);
  }
}

template <class Lib>
void write_blocks(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.items; ++i) {
    writer.stream.write(in.text + i * write_block, write_block);
  }
}

template <class Lib>
void write_characters(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.size; ++i) writer.stream.write(in.text + i, 1);
}

template <class Lib>
void put_characters(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.size; ++i) writer.stream.put(in.text[i]);
}

template <class Lib>
void copy_buffers(const Input& in, Area& area) {
  Source<Lib, char> source(in.text, in);
  Writer<Lib> writer(area);
  writer.stream << &source;
}

template <class Lib, class Seen>
void make_streams(const Input& in, Area& area) {
  Seen seen(area);
  Source<Lib, char> source(in.text, in);
  for (size_t i = 0; i < in.items; ++i) {
    typename Lib::template istream<char> stream(&source);
    seen.value(stream.good());
  }
}

template <class Lib, class Seen>
void append_characters(const Input& in, Area& area) {
  Seen seen(area);
  const char* text = in.text;
  for (size_t i = 0; i < in.items; i += string_length) {
    typename Lib::template string<char> string;
    for (size_t n = 0; n < string_length; ++n) string += *text++;
    const auto& read = string;
    seen.text(read.data(), read.size());
  }
}

template <class Lib, class Seen>
void append_blocks(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; i += append_count) {
    typename Lib::template string<char> string;
    for (size_t n = 0; n < append_count; ++n) {
      string.append(in.text + n * append_block, append_block);
    }
    const auto& read = string;
    seen.text(read.data(), read.size());
  }
}

template <class Lib, class Seen>
void copy_strings(const Input& in, Area& area) {
  Seen seen(area);
  const typename Lib::template string<char> original(in.text, in.size);
  for (size_t i = 0; i < in.items; ++i) {
    const typename Lib::template string<char> copy(original);
    seen.text(copy.data(), copy.size());
  }
}

template <class Lib, class Seen>
void copy_append(const Input& in, Area& area) {
  Seen seen(area);
  const typename Lib::template string<char> original(in.text, in.size);
  for (size_t i = 0; i < in.items; ++i) {
    typename Lib::template string<char> copy(original);
    copy.append(in.text, append_block);
    const auto& read = copy;
    seen.text(read.data(), read.size());
  }
}

template <class Lib>
void report_lines(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  auto& stream = writer.stream;
  for (size_t i = 0; i < in.items; ++i) {
    stream.setf(Lib::ios_base::left, Lib::ios_base::adjustfield);
    stream.width(text_width);
    stream << view(in.slices[2 * i]);
    stream.setf(Lib::ios_base::right, Lib::ios_base::adjustfield);
    stream.width(text_width);
    stream << view(in.slices[2 * i + 1]);
    stream << ' ' << static_cast<int>(in.longs[i]) << ' ' << in.doubles[i]
           << '\n';
  }
}

template <class Lib>
Passes stream_passes(Workload workload) {
  switch (workload) {
    case Workload::lines:
      return {lines<Lib, Consume>, lines<Lib, Record>};
    case Workload::fresh_lines:
      return {fresh_lines<Lib, Consume>, fresh_lines<Lib, Record>};
    case Workload::array_lines:
      return {array_lines<Lib, Consume>, array_lines<Lib, Record>};
    case Workload::std_lines:
      if constexpr (reads_std_string<Lib>) {
        return {std_lines<Lib, Consume>, std_lines<Lib, Record>};
      } else {
        return {};
      }
    case Workload::wide_lines:
      return {wide_lines<Lib, Consume>, wide_lines<Lib, Record>};
    case Workload::words:
      return {words<Lib, Consume>, words<Lib, Record>};
    case Workload::array_words:
      return {array_words<Lib, Consume>, array_words<Lib, Record>};
    case Workload::skip_lines:
      return {skip_lines<Lib, Consume>, skip_lines<Lib, Record>};
    case Workload::skip_blocks:
      return {skip_blocks<Lib, Consume>, skip_blocks<Lib, Record>};
    case Workload::get_characters:
      return {get_characters<Lib, Consume>, get_characters<Lib, Record>};
    case Workload::peek_characters:
      return {peek_characters<Lib, Consume>, peek_characters<Lib, Record>};
    case Workload::bump_characters:
      return {bump_characters<Lib, Consume>, bump_characters<Lib, Record>};
    case Workload::read_ints:
      return {read_numbers<Lib, Consume, int>, read_numbers<Lib, Record, int>};
    case Workload::read_unsigneds:
      return {read_numbers<Lib, Consume, unsigned>,
              read_numbers<Lib, Record, unsigned>};
    case Workload::read_longs:
      return {read_numbers<Lib, Consume, long>,
              read_numbers<Lib, Record, long>};
    case Workload::read_wide_longs:
      return {read_numbers<Lib, Consume, long, wchar_t>,
              read_numbers<Lib, Record, long, wchar_t>};
    case Workload::read_hex:
      return {read_hex<Lib, Consume>, read_hex<Lib, Record>};
    case Workload::read_grouped:
      return {read_grouped<Lib, Consume>, read_grouped<Lib, Record>};
    case Workload::read_doubles:
      return {read_numbers<Lib, Consume, double>,
              read_numbers<Lib, Record, double>};
    case Workload::write_ints:
      return {write_ints<Lib>, write_ints<Lib>};
    case Workload::write_longs:
      return {write_longs<Lib>, write_longs<Lib>};
    case Workload::write_wide_longs:
      return {write_longs<Lib, wchar_t>, write_longs<Lib, wchar_t>};
    case Workload::write_hex:
      return {write_hex<Lib>, write_hex<Lib>};
    case Workload::write_grouped:
      return {write_grouped<Lib>, write_grouped<Lib>};
    case Workload::write_bools:
      return {write_bools<Lib>, write_bools<Lib>};
    case Workload::write_floats:
      return {write_floats<Lib>, write_floats<Lib>};
    case Workload::write_doubles:
      return {write_doubles<Lib>, write_doubles<Lib>};
    case Workload::pad_texts:
      return {pad_texts<Lib>, pad_texts<Lib>};
    case Workload::write_blocks:
      return {write_blocks<Lib>, write_blocks<Lib>};
    case Workload::write_characters:
      return {write_characters<Lib>, write_characters<Lib>};
    case Workload::put_characters:
      return {put_characters<Lib>, put_characters<Lib>};
    case Workload::copy_buffers:
      return {copy_buffers<Lib>, copy_buffers<Lib>};
    case Workload::report_lines:
      return {report_lines<Lib>, report_lines<Lib>};
    case Workload::make_streams:
      return {make_streams<Lib, Consume>, make_streams<Lib, Record>};
    case Workload::append_characters:
      return {append_characters<Lib, Consume>, append_characters<Lib, Record>};
    case Workload::append_blocks:
      return {append_blocks<Lib, Consume>, append_blocks<Lib, Record>};
    case Workload::copy_strings:
      return {copy_strings<Lib, Consume>, copy_strings<Lib, Record>};
    case Workload::copy_append:
      return {copy_append<Lib, Consume>, copy_append<Lib, Record>};
    default:
      return program_passes<Lib>(workload);
  }
}

}  // namespace bench

#endif
