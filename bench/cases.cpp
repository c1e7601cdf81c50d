#include "cases.h"

#include <charconv>
#include <cmath>
#include <random>

namespace bench {

namespace {

// Enough items that no branch predictor learns them by heart from the passes
// before, as it does with some thousands.
constexpr size_t text_size = 1 << 20;
constexpr size_t value_count = 1 << 16;
// What is only copied fits into the cache next to the processor.
constexpr size_t copied_size = 1 << 18;

// Uniform numbers, the same with any standard library.
class Random {
 public:
  size_t between(size_t low, size_t high) {
    return low + engine_() % (high - low + 1);
  }
  // As likely short as long in digits.
  long magnitude() {
    const unsigned long bits = engine_() >> between(1, 63);
    const long value = static_cast<long>(bits);
    return between(0, 1) == 0 ? value : -value;
  }
  double real() {
    const double fraction = static_cast<double>(engine_() >> 11) * 0x1p-53;
    const double value =
        fraction * std::pow(10.0, static_cast<double>(between(0, 9)));
    return between(0, 1) == 0 ? value : -value;
  }
  void append_letters(std::string& text, size_t n) {
    while (n-- > 0) text += static_cast<char>('a' + between(0, 25));
  }

 private:
  std::mt19937_64 engine_{20240229};
};

// Texts of a length between the two, each with a separator behind it.
Data texts(size_t size, size_t shortest, size_t longest, char separator) {
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

template <size_t shortest, size_t longest>
Data lines() {
  return texts(longest > 1000 ? copied_size : text_size, shortest, longest,
               '\n');
}

Data wide_lines() {
  Data data = lines<0, 80>();
  data.wide_text.assign(data.text.begin(), data.text.end());
  return data;
}

Data words() { return texts(text_size, 1, 12, ' '); }

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
Data to_copy() { return one_text(200, 1000); }
Data for_streams() { return one_text(1, 1000); }

Data to_skip() {
  Data data;
  data.text.assign(4 * skip_block, ' ');
  data.items = data.text.size() / window_size;
  return data;
}

// A long and a double for each item, and two texts.
Data values() {
  Random random;
  Data data;
  data.items = value_count;
  data.text.reserve(2 * value_count * text_width);  // the slices point into it
  for (size_t i = 0; i < value_count; ++i) {
    data.longs.push_back(random.magnitude());
    data.doubles.push_back(random.real());
    for (int n = 0; n < 2; ++n) {
      const size_t begin = data.text.size();
      random.append_letters(data.text, random.between(2, 10));
      data.slices.push_back(
          {data.text.data() + begin, data.text.size() - begin});
    }
  }
  return data;
}

// The values as a text, each as print writes it and with a space behind it.
template <class T, class Print>
std::string join(const std::vector<T>& values, Print print) {
  std::string text;
  for (T value : values) {
    char word[64];
    text.append(word, print(word, word + sizeof word, value).ptr);
    text += ' ';
  }
  return text;
}

Data long_words() {
  Data data = values();
  data.text = join(data.longs, [](char* first, char* last, long value) {
    return std::to_chars(first, last, value);
  });
  return data;
}

Data double_words() {
  Data data = values();
  data.text = join(data.doubles, [](char* first, char* last, double value) {
    return std::to_chars(first, last, value, std::chars_format::general, 17);
  });
  return data;
}

constexpr size_t pieces = window_size;

const Case cases[] = {
    {"getline, one string, lines of 0 to 80", Workload::lines, 1.15,
     lines<0, 80>},
    {"getline, one string, lines of 0 to 80, windows", Workload::lines, 1.15,
     lines<0, 80>, pieces},
    {"getline, one string, lines of about 4000", Workload::lines, 1.05,
     lines<3900, 4100>},
    {"getline, one string, lines of about 4000, windows", Workload::lines, 1.05,
     lines<3900, 4100>, pieces},
    {"getline, new strings, lines of 20 to 39", Workload::fresh_lines, 0.8,
     lines<20, 39>},
    {"getline, new strings, lines of 20 to 39, windows", Workload::fresh_lines,
     0.8, lines<20, 39>, pieces},
    {"getline, array, lines of 0 to 80", Workload::array_lines, 1.2,
     lines<0, 80>},
    {"getline, array, lines of 0 to 80, windows", Workload::array_lines, 1.2,
     lines<0, 80>, pieces},
    {"getline, wide string, lines of 0 to 80", Workload::wide_lines, 1.3,
     wide_lines},
    {"getline, wide string, lines of 0 to 80, windows", Workload::wide_lines,
     1.3, wide_lines, pieces},
    {">> string, words of 1 to 12", Workload::words, 1.3, words},
    {">> string, words of 1 to 12, windows", Workload::words, 1.3, words,
     pieces},
    {"ignore a line of 0 to 80", Workload::skip_lines, 1.3, lines<0, 80>},
    {"ignore a line of 0 to 80, windows", Workload::skip_lines, 1.3,
     lines<0, 80>, pieces},
    {"ignore blocks of 64 windows, per window", Workload::skip_blocks, 1.1,
     to_skip, pieces},
    {">> long", Workload::read_longs, 1.5, long_words},
    {">> long, windows", Workload::read_longs, 1.5, long_words, pieces},
    {">> double, 17 digits", Workload::read_doubles, 1.4, double_words},
    {">> double, 17 digits, windows", Workload::read_doubles, 1.4, double_words,
     pieces},
    {"<< long", Workload::write_longs, 1.25, values},
    {"<< double, general, 6 digits", Workload::write_doubles, 1.2, values, 0,
     6},
    {"<< double, general, 17 digits", Workload::write_doubles, 1.2, values, 0,
     17},
    {"<< double, fixed, 6 digits", Workload::write_doubles, 1.2, values, 0, 6,
     true},
    {"<< double, fixed, 17 digits", Workload::write_doubles, 1.2, values, 0, 17,
     true},
    {"<< text of 2 to 10, width 12", Workload::pad_texts, 1.5, values},
    {"write 40 characters", Workload::write_blocks, 4, blocks},
    {"put", Workload::put_characters, 2, characters},
    {"<< streambuf, per 4 KiB", Workload::copy_buffers, 1.1, buffers},
    {"<< streambuf, windows, per 4 KiB", Workload::copy_buffers, 1.1, buffers,
     pieces},
    {"construct and destroy a stream", Workload::make_streams, 10, for_streams},
    {"string += character, 1000 times", Workload::append_characters, 1.2,
     to_append},
    {"copy a string of 200", Workload::copy_strings, 2, to_copy},
    {"<< a report line", Workload::report_lines, 1.4, values},
};

}  // namespace

std::span<const Case> all_cases() { return cases; }

Input make_input(const Case& c, const Data& data) {
  const size_t size = data.text.size();
  return {data.text.data(),
          data.wide_text.data(),
          size,
          c.window != 0 ? c.window : size,
          data.slices.data(),
          data.longs.data(),
          data.doubles.data(),
          data.items,
          c.precision,
          c.fixed};
}

size_t checked_size(const Input& in) {
  constexpr size_t longest_item = 256;
  return in.size * sizeof(wchar_t) + in.items * longest_item;
}

}  // namespace bench
