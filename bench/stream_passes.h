// The workloads, done with the stream classes of a library. Lib names them; the
// code is the same for all.
#ifndef NALO_BENCH_STREAM_PASSES_H
#define NALO_BENCH_STREAM_PASSES_H

#include <algorithm>
#include <limits>
#include <string_view>

#include "consume.h"
#include "workload.h"

namespace bench {

// Shows a text that lies in memory, window by window.
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

  // Not next to each other: a compiler that fetches both at once waits for
  // next_ to reach the cache.
  Char* end_;
  ptrdiff_t window_;
  Char* next_;
};

// Writes into an area and starts again when that is full.
template <class Lib>
class Sink : public Lib::template streambuf<char> {
 public:
  using traits_type = typename Lib::template streambuf<char>::traits_type;
  using int_type = typename traits_type::int_type;

  explicit Sink(Area& area) : area_(area) { start(); }
  ~Sink() override {
    area_.used = static_cast<size_t>(this->pptr() - this->pbase());
  }

 private:
  void start() { this->setp(area_.begin, area_.begin + area_.size); }
  int_type overflow(int_type ch) override {
    start();
    *this->pptr() = traits_type::to_char_type(ch);
    this->pbump(1);
    return ch;
  }

  Area& area_;
};

// A stream and its buffer.
template <class Lib, class Char = char>
struct Reader {
  Reader(const Char* text, const Input& in) : source(text, in) {}

  Source<Lib, Char> source;
  typename Lib::template istream<Char> stream{&source};
};

template <class Lib>
struct Writer {
  explicit Writer(Area& area) : sink(area) {}

  Sink<Lib> sink;
  typename Lib::template ostream<char> stream{&sink};
};

template <class Lib, class Char, class Seen>
void read_lines(const Char* text, const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib, Char> reader(text, in);
  typename Lib::template string<Char> line;
  const auto& read = line;
  while (getline(reader.stream, line)) seen.text(read.data(), read.size());
}

template <class Lib, class Seen>
void lines(const Input& in, Area& area) {
  read_lines<Lib, char, Seen>(in.text, in, area);
}

template <class Lib, class Seen>
void wide_lines(const Input& in, Area& area) {
  read_lines<Lib, wchar_t, Seen>(in.wide_text, in, area);
}

template <class Lib, class Seen>
void fresh_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in.text, in);
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
  Reader<Lib> reader(in.text, in);
  char line[line_array_size];
  while (reader.stream.getline(line, sizeof line)) {
    seen.text(line, static_cast<size_t>(reader.stream.gcount() - 1));
  }
}

template <class Lib, class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in.text, in);
  typename Lib::template string<char> word;
  const auto& read = word;
  while (reader.stream >> word) seen.text(read.data(), read.size());
}

template <class Lib, class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in.text, in);
  constexpr auto any = std::numeric_limits<std::ptrdiff_t>::max();
  while (reader.stream.ignore(any, '\n').good()) {
    seen.value(static_cast<size_t>(reader.stream.gcount()));
  }
}

template <class Lib, class Seen>
void skip_blocks(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in.text, in);
  while (reader.stream.ignore(skip_block).gcount() > 0) {
    seen.value(static_cast<size_t>(reader.stream.gcount()));
  }
}

template <class Lib, class Seen, class T>
void read_numbers(const Input& in, Area& area) {
  Seen seen(area);
  Reader<Lib> reader(in.text, in);
  T number;
  while (reader.stream >> number) seen.value(number);
}

template <class Lib>
void write_longs(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  for (size_t i = 0; i < in.items; ++i) writer.stream << in.longs[i];
}

template <class Lib>
void write_doubles(const Input& in, Area& area) {
  Writer<Lib> writer(area);
  writer.stream.precision(in.precision);
  if (in.fixed) {
    writer.stream.setf(Lib::ios_base::fixed, Lib::ios_base::floatfield);
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
void copy_strings(const Input& in, Area& area) {
  Seen seen(area);
  const typename Lib::template string<char> original(in.text, in.size);
  for (size_t i = 0; i < in.items; ++i) {
    const typename Lib::template string<char> copy(original);
    seen.text(copy.data(), copy.size());
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
    case Workload::wide_lines:
      return {wide_lines<Lib, Consume>, wide_lines<Lib, Record>};
    case Workload::words:
      return {words<Lib, Consume>, words<Lib, Record>};
    case Workload::skip_lines:
      return {skip_lines<Lib, Consume>, skip_lines<Lib, Record>};
    case Workload::skip_blocks:
      return {skip_blocks<Lib, Consume>, skip_blocks<Lib, Record>};
    case Workload::read_longs:
      return {read_numbers<Lib, Consume, long>,
              read_numbers<Lib, Record, long>};
    case Workload::read_doubles:
      return {read_numbers<Lib, Consume, double>,
              read_numbers<Lib, Record, double>};
    case Workload::write_longs:
      return {write_longs<Lib>, write_longs<Lib>};
    case Workload::write_doubles:
      return {write_doubles<Lib>, write_doubles<Lib>};
    case Workload::pad_texts:
      return {pad_texts<Lib>, pad_texts<Lib>};
    case Workload::write_blocks:
      return {write_blocks<Lib>, write_blocks<Lib>};
    case Workload::put_characters:
      return {put_characters<Lib>, put_characters<Lib>};
    case Workload::copy_buffers:
      return {copy_buffers<Lib>, copy_buffers<Lib>};
    case Workload::make_streams:
      return {make_streams<Lib, Consume>, make_streams<Lib, Record>};
    case Workload::append_characters:
      return {append_characters<Lib, Consume>, append_characters<Lib, Record>};
    case Workload::copy_strings:
      return {copy_strings<Lib, Consume>, copy_strings<Lib, Record>};
    case Workload::report_lines:
      return {report_lines<Lib>, report_lines<Lib>};
  }
  return {};
}

}  // namespace bench

#endif
