#include "cases.h"

#include <unistd.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>

namespace bench {

namespace {

// Enough items that branch predictors cannot learn them from earlier passes, as
// they do with a few thousand.
constexpr size_t text_size = 1 << 20;
constexpr size_t value_count = 1 << 16;
// Text that is only copied fits into the L2 cache.
constexpr size_t copied_size = 1 << 18;
// The sizes of the files that programs read and write.
constexpr size_t file_size = 8 << 20;
constexpr size_t file_value_count = 2'000'000;

// Uniform numbers, the same with any standard library.
class Random {
 public:
  size_t between(size_t low, size_t high) {
    return low + engine_() % (high - low + 1);
  }
  // A number of at most `bits` bits, with all lengths equally likely.
  long magnitude(size_t bits) {
    const long value = static_cast<long>(engine_() >> between(64 - bits, 63));
    return between(0, 1) == 0 ? value : -value;
  }
  double real() {
    const double fraction = static_cast<double>(engine_() >> 11) * 0x1p-53;
    const double value =
        fraction * std::pow(10.0, static_cast<double>(between(0, 9)));
    return between(0, 1) == 0 ? value : -value;
  }
  // With up to five digits before the point and up to three after it.
  double short_real() {
    const double value = static_cast<double>(magnitude(17));
    return value / std::pow(10.0, static_cast<double>(between(0, 3)));
  }
  void append_letters(std::string& text, size_t n) {
    while (n-- > 0) text += static_cast<char>('a' + between(0, 25));
  }

 private:
  std::mt19937_64 engine_{20240229};
};

// Texts with lengths from shortest to longest, each followed by a separator.
template <size_t size, size_t shortest, size_t longest, char separator>
Data texts() {
  Random random;
  Data data;
  data.text.reserve(size + longest + 1);
  while (data.text.size() < size) {
    random.append_letters(data.text, random.between(shortest, longest));
    data.text += separator;
    ++data.items;
  }
  return data;
}

constexpr auto lines = texts<text_size, 0, 80, '\n'>;
constexpr auto medium_lines = texts<text_size, 20, 39, '\n'>;
constexpr auto long_lines = texts<copied_size, 3900, 4100, '\n'>;
constexpr auto lines_of_file = texts<file_size, 0, 80, '\n'>;
constexpr auto words = texts<text_size, 1, 12, ' '>;
constexpr auto words_of_40 = texts<text_size, 40, 40, ' '>;
constexpr auto words_of_200 = texts<text_size, 200, 200, ' '>;

Data wide_lines() {
  Data data = lines();
  data.wide_text.assign(data.text.begin(), data.text.end());
  return data;
}

// Words of 1 to 12, eight on a line.
Data words_of_file() {
  Data data = texts<file_size, 1, 12, ' '>();
  size_t word = 0;
  for (char& ch : data.text) {
    if (ch == ' ' && ++word % 8 == 0) ch = '\n';
  }
  return data;
}

Data one_text(size_t size, size_t items) {
  Random random;
  Data data;
  random.append_letters(data.text, size);
  data.items = items;
  return data;
}

Data characters() { return one_text(copied_size, copied_size); }
Data buffers() { return one_text(copied_size, copied_size / window_size); }
Data blocks() { return one_text(copied_size, copied_size / write_block); }
Data to_append() { return one_text(20 * string_length, 20 * string_length); }
Data blocks_to_append() {
  return one_text(append_block * append_count, 20 * append_count);
}
Data to_copy() { return one_text(200, 1000); }
Data for_streams() { return one_text(1, 1000); }

Data to_skip() {
  Data data;
  data.text.assign(4 * skip_block, ' ');
  data.items = data.text.size() / window_size;
  return data;
}

// For each item a long of at most `bits` bits, a double and two texts.
Data values_of(size_t count, size_t bits, double (Random::*real)()) {
  Random random;
  Data data;
  data.items = count;
  data.text.reserve(2 * count * text_width);  // the slices point into it
  for (size_t i = 0; i < count; ++i) {
    data.longs.push_back(random.magnitude(bits));
    data.doubles.push_back((random.*real)());
    for (int n = 0; n < 2; ++n) {
      const size_t begin = data.text.size();
      random.append_letters(data.text, random.between(2, 10));
      data.slices.push_back(
          {data.text.data() + begin, data.text.size() - begin});
    }
  }
  return data;
}

Data values() { return values_of(value_count, 63, &Random::real); }
Data int_values() { return values_of(value_count, 31, &Random::real); }

Data many_ints() {
  Random random;
  Data data;
  data.items = file_value_count;
  while (data.longs.size() < data.items) {
    data.longs.push_back(random.magnitude(31));
  }
  return data;
}

// The values as text, each as print writes it, followed by a separator.
template <class T, class Print>
void join(Data& data, const std::vector<T>& values, Print print,
          char separator = ' ') {
  std::string text;
  for (T value : values) {
    char word[64];
    text.append(word, print(word, word + sizeof word, value).ptr);
    text += separator;
  }
  data.text = std::move(text);
  data.wide_text.assign(data.text.begin(), data.text.end());
  data.slices.clear();
}

constexpr auto print_integer = [](char* first, char* last, auto value) {
  return std::to_chars(first, last, value);
};

Data long_words() {
  Data data = values();
  join(data, data.longs, print_integer);
  return data;
}

Data int_words() {
  Data data = int_values();
  join(data, data.longs, print_integer);
  return data;
}

Data unsigned_words() {
  Data data = int_values();
  for (long& value : data.longs) value = std::abs(value);
  join(data, data.longs, print_integer);
  return data;
}

Data lines_of_ints() {
  Data data = many_ints();
  join(data, data.longs, print_integer, '\n');
  return data;
}

Data hex_words() {
  Data data = values();
  join(data, data.longs, [](char* first, char* last, long value) {
    return std::to_chars(first, last, static_cast<unsigned long>(value), 16);
  });
  return data;
}

Data grouped_words() {
  Data data = values();
  join(data, data.longs, [](char* first, char* last, long value) {
    std::to_chars_result made = std::to_chars(first, last, value);
    char* const digits = first + (value < 0);
    for (char* dot = made.ptr - 3; dot > digits; dot -= 3) {
      std::move_backward(dot, made.ptr, made.ptr + 1);
      *dot = '.';
      ++made.ptr;
    }
    return made;
  });
  return data;
}

Data double_words() {
  Data data = values();
  join(data, data.doubles, [](char* first, char* last, double value) {
    return std::to_chars(first, last, value, std::chars_format::general, 17);
  });
  return data;
}

Data short_double_words() {
  Data data = values_of(value_count, 63, &Random::short_real);
  join(data, data.doubles, [](char* first, char* last, double value) {
    return std::to_chars(first, last, value, std::chars_format::general, 9);
  });
  return data;
}

// Lines of a word, an int and a double with few digits, with a slice for each.
Data lines_of_fields() {
  Data data = values_of(value_count, 31, &Random::short_real);
  std::string text;
  text.reserve(data.items * 64);
  for (size_t i = 0; i < data.items; ++i) {
    const size_t begin = text.size();
    text.append(data.slices[i].begin, data.slices[i].size);
    char fields[64];
    char* end = fields;
    *end++ = ' ';
    end = std::to_chars(end, fields + sizeof fields, data.longs[i]).ptr;
    *end++ = ' ';
    end = std::to_chars(end, fields + sizeof fields, data.doubles[i],
                        std::chars_format::general, 9)
              .ptr;
    text.append(fields, end);
    data.slices[i] = {text.data() + begin, text.size() - begin};
  }
  data.text = std::move(text);
  return data;
}

constexpr size_t pieces = window_size;
constexpr auto fixed = Notation::fixed;
constexpr auto scientific = Notation::scientific;

constexpr Goal of_limit(double factor) { return {factor, "limit"}; }
// The plain limit writes numbers with to_chars.
constexpr Goal of_to_chars(double factor) { return {factor, "plain"}; }
constexpr Goal nothing_more;

const Case cases[] = {
    {"getline, one string, lines of 0 to 80", Workload::lines, of_limit(1.3),
     lines},
    {"getline, one string, lines of 0 to 80, windows", Workload::lines,
     of_limit(1.3), lines, pieces},
    {"getline, one string, lines of 0 to 80, windows of 64", Workload::lines,
     nothing_more, lines, 64},
    {"getline, one string, lines of about 4000", Workload::lines,
     of_limit(1.15), long_lines},
    {"getline, one string, lines of about 4000, windows", Workload::lines,
     of_limit(1.15), long_lines, pieces},
    {"getline, new strings, lines of 20 to 39", Workload::fresh_lines,
     of_limit(1.45), medium_lines},
    {"getline, new strings, lines of 20 to 39, windows", Workload::fresh_lines,
     of_limit(1.45), medium_lines, pieces},
    {"getline, array, lines of 0 to 80", Workload::array_lines, of_limit(1.3),
     lines},
    {"getline, array, lines of 0 to 80, windows", Workload::array_lines,
     of_limit(1.3), lines, pieces},
    {"getline, std::string, lines of 0 to 80", Workload::std_lines,
     of_limit(1.3), lines},
    {"getline, std::string, lines of 0 to 80, windows", Workload::std_lines,
     of_limit(1.3), lines, pieces},
    {"getline, wide string, lines of 0 to 80", Workload::wide_lines,
     of_limit(1.15), wide_lines},
    {"getline, wide string, lines of 0 to 80, windows", Workload::wide_lines,
     of_limit(1.15), wide_lines, pieces},
    {">> string, words of 1 to 12", Workload::words, of_limit(1.7), words},
    {">> string, words of 1 to 12, windows", Workload::words, of_limit(1.7),
     words, pieces},
    {">> string, words of 40", Workload::words, of_limit(1.3), words_of_40},
    {">> string, words of 200", Workload::words, of_limit(1.3), words_of_200},
    {">> array, words of 1 to 12", Workload::array_words, of_limit(1.8), words},
    {"ignore a line of 0 to 80", Workload::skip_lines, of_limit(1.15), lines},
    {"ignore a line of 0 to 80, windows", Workload::skip_lines, of_limit(1.15),
     lines, pieces},
    {"ignore blocks of 64 windows, per window", Workload::skip_blocks,
     nothing_more, to_skip, pieces},

    {"get", Workload::get_characters, {1.6, "stdio"}, characters},
    {"peek and get", Workload::peek_characters, nothing_more, characters},
    {"sbumpc", Workload::bump_characters, nothing_more, characters},

    {">> int", Workload::read_ints, of_limit(1.4), int_words},
    {">> unsigned", Workload::read_unsigneds, of_limit(1.4), unsigned_words},
    {">> long", Workload::read_longs, of_limit(1.25), long_words},
    {">> long, windows", Workload::read_longs, of_limit(1.25), long_words,
     pieces},
    {">> long, wide", Workload::read_wide_longs, nothing_more, long_words},
    {">> unsigned long, hexadecimal", Workload::read_hex, nothing_more,
     hex_words},
    {">> long, grouped", Workload::read_grouped, nothing_more, grouped_words},
    {">> double, 17 digits", Workload::read_doubles, of_limit(1.15),
     double_words},
    {">> double, 17 digits, windows", Workload::read_doubles, of_limit(1.15),
     double_words, pieces},
    {">> double, short", Workload::read_doubles, of_limit(1.15),
     short_double_words},

    {"<< int", Workload::write_ints, {1, "fmt"}, int_values},
    {"<< long", Workload::write_longs, {1, "fmt"}, values},
    {"<< long, wide", Workload::write_wide_longs, nothing_more, values},
    {"<< unsigned long, hexadecimal", Workload::write_hex, nothing_more,
     values},
    {"<< long, grouped", Workload::write_grouped, nothing_more, values},
    {"<< bool, names", Workload::write_bools, nothing_more, values},
    {"<< float, general, 6 digits", Workload::write_floats, of_to_chars(0.5),
     values},
    {"<< double, general, 6 digits", Workload::write_doubles, of_to_chars(0.5),
     values},
    {"<< double, general, 17 digits", Workload::write_doubles, of_to_chars(0.5),
     values, 0, 17},
    {"<< double, scientific, 6 digits", Workload::write_doubles,
     of_to_chars(0.5), values, 0, 6, scientific},
    {"<< double, scientific, 16 digits", Workload::write_doubles,
     of_to_chars(0.5), values, 0, 16, scientific},
    {"<< double, fixed, 6 digits", Workload::write_doubles, of_to_chars(0.5),
     values, 0, 6, fixed},
    {"<< double, fixed, 17 digits", Workload::write_doubles, nothing_more,
     values, 0, 17, fixed},

    {"<< text of 2 to 10, width 12", Workload::pad_texts, of_limit(1.8),
     values},
    {"write 40 characters", Workload::write_blocks, {1, "raw_ostream"}, blocks},
    {"write 1 character",
     Workload::write_characters,
     {1 / 0.75, "raw_ostream"},
     characters},
    {"put", Workload::put_characters, {1, "stdio"}, characters},
    {"<< streambuf, per 4 KiB", Workload::copy_buffers, of_limit(1.15),
     buffers},
    {"<< streambuf, windows, per 4 KiB", Workload::copy_buffers, of_limit(1.15),
     buffers, pieces},
    {"<< a report line", Workload::report_lines, of_to_chars(0.9), values},

    {"construct and destroy a stream",
     Workload::make_streams,
     {10, "ns"},
     for_streams},
    {"string += character, 1000 times", Workload::append_characters,
     of_limit(1.2), to_append},
    {"string append 16 characters, 256 times",
     Workload::append_blocks,
     {1, "std"},
     blocks_to_append},
    {"copy a string of 200", Workload::copy_strings, {1, "std"}, to_copy},
    {"copy a string of 200 and append 16", Workload::copy_append, nothing_more,
     to_copy},

    {"ifstream, getline, std::string, lines of 0 to 80",
     Workload::file_lines,
     {0.5, "std"},
     lines_of_file},
    {"cin >> int, 2 million",
     Workload::console_ints,
     {0.5, "std"},
     lines_of_ints},
    {"ofstream << int, 2 million",
     Workload::file_ints,
     {0.5, "std"},
     many_ints},
    {"istringstream per line, three fields", Workload::parse_lines,
     nothing_more, lines_of_fields},
    {"ostringstream per line, three fields",
     Workload::format_lines,
     {0.5, "std"},
     lines_of_fields},
    {"ifstream >> std::string, words of 1 to 12", Workload::count_words,
     nothing_more, words_of_file},
};

bool reads_file(Workload workload) {
  return workload == Workload::file_lines ||
         workload == Workload::console_ints ||
         workload == Workload::count_words;
}

bool writes_file(Workload workload) { return workload == Workload::file_ints; }

// A temporary file, removed at the end of the program.
class File {
 public:
  explicit File(size_t number)
      : path_(std::filesystem::temp_directory_path() /
              ("nalo_bench." + std::to_string(getpid()) + "." +
               std::to_string(number))) {}
  File(const File&) = delete;
  ~File() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  void write(const std::string& text) {
    std::ofstream file(path_, std::ios_base::binary);
    if (!file.write(text.data(), static_cast<std::streamsize>(text.size()))) {
      std::abort();
    }
  }
  const char* path() const { return path_.c_str(); }

 private:
  std::filesystem::path path_;
};

// The path of the file that a case reads or writes.
const char* make_file(const Case& c, const std::string& text) {
  static std::map<const Case*, File> files;
  const auto [place, made] = files.try_emplace(&c, files.size());
  if (made && reads_file(c.workload)) place->second.write(text);
  return place->second.path();
}

const Data& make_data(const Case& c) {
  static std::map<Data (*)(), const Data> all;
  const auto known = all.find(c.make_data);
  if (known != all.end()) return known->second;
  return all.try_emplace(c.make_data, c.make_data()).first->second;
}

}  // namespace

std::span<const Case> all_cases() { return cases; }

Input make_input(const Case& c) {
  const Data& data = make_data(c);
  const size_t size = data.text.size();
  const bool has_file = reads_file(c.workload) || writes_file(c.workload);
  return {data.text.data(),
          data.wide_text.data(),
          size,
          c.window != 0 ? c.window : size,
          has_file ? make_file(c, data.text) : nullptr,
          data.slices.data(),
          data.longs.data(),
          data.doubles.data(),
          data.items,
          c.precision,
          c.notation};
}

size_t checked_size(const Input& in) {
  constexpr size_t longest_item = 256;
  return in.size * sizeof(wchar_t) + in.items * longest_item;
}

}  // namespace bench
