// The vector limit: loops over text in memory, 16 bytes at a time with the
// registers that every x86-64 processor has, or with general registers where
// those are faster. Nothing is read beyond the end of the text, or written
// beyond the room for an item.
#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

#include "consume.h"
#include "output.h"
#include "workload.h"

namespace bench {

namespace {

constexpr size_t vector_size = 16;

__m128i load(const void* from) {
  return _mm_loadu_si128(static_cast<const __m128i*>(from));
}

void store(void* to, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(to), value);
}

unsigned mask(__m128i equal) {
  return static_cast<unsigned>(_mm_movemask_epi8(equal));
}

// What ends an item. Each tests a single character, and returns a mask with a
// bit for each of 16 bytes that shows where such characters begin.
struct Newline {
  static constexpr bool mostly_near = false;
  static bool at(char ch) { return ch == '\n'; }
  static unsigned in(__m128i text) {
    return mask(_mm_cmpeq_epi8(text, _mm_set1_epi8('\n')));
  }
};

struct WideNewline {
  static constexpr bool mostly_near = false;
  static bool at(wchar_t ch) { return ch == L'\n'; }
  static unsigned in(__m128i text) {
    return mask(_mm_cmpeq_epi32(text, _mm_set1_epi32('\n')));
  }
};

// The white space of the classic locale: 9 to 13, and 32.
struct Space {
  static constexpr bool mostly_near = true;
  static bool at(char ch) { return ch == ' ' || (ch >= '\t' && ch <= '\r'); }
  static unsigned in(__m128i text) {
    const __m128i from_tab = _mm_sub_epi8(text, _mm_set1_epi8('\t'));
    const __m128i control = _mm_cmpeq_epi8(
        _mm_min_epu8(from_tab, _mm_set1_epi8('\r' - '\t')), from_tab);
    return mask(
        _mm_or_si128(control, _mm_cmpeq_epi8(text, _mm_set1_epi8(' '))));
  }
};

// Only searches for the end.
struct Nowhere {
  template <class Char>
  void put(size_t, Char) {}
  void put(size_t, __m128i) {}
};

// A place of fixed size. The program ends when an item is longer.
template <class Char, size_t size>
struct Place {
  void put(size_t at, Char ch) {
    check(at, 1);
    text[at] = ch;
  }
  void put(size_t at, __m128i characters) {
    check(at, vector_size / sizeof(Char));
    store(text + at, characters);
  }
  void check(size_t at, size_t n) const {
    if (size - at < n) [[unlikely]]
      std::abort();
  }

  Char text[size];
};

// Memory that grows when an item is longer than all earlier ones.
template <class Char>
struct Growing {
  void put(size_t at, Char ch) {
    if (at == room) [[unlikely]]
      grow();
    text[at] = ch;
  }
  void put(size_t at, __m128i characters) {
    if (room - at < vector_size / sizeof(Char)) [[unlikely]]
      grow();
    store(&text[at], characters);
  }
  [[gnu::cold, gnu::noinline]] void grow() {
    std::unique_ptr<Char[]> grown(new Char[2 * room]);
    std::copy_n(text.get(), room, grown.get());
    text = std::move(grown);
    room *= 2;
  }

  size_t room = 128;
  std::unique_ptr<Char[]> text{new Char[room]};
};

// Copies the next n vectors of an item. When they contain its end, moves next
// there and returns true; otherwise moves next past them.
template <size_t n, class End, class Char, class Target>
bool copy_vectors(const Char* first, const Char*& next, Target& target) {
  constexpr size_t step = vector_size / sizeof(Char);
  __m128i text[n];
  uint64_t found = 0;
  for (size_t i = 0; i < n; ++i) {
    text[i] = load(next + i * step);
    found |= uint64_t{End::in(text[i])} << i * vector_size;
  }
  const size_t at = static_cast<size_t>(next - first);
  for (size_t i = 0; i < n; ++i) target.put(at + i * step, text[i]);
  next += found ? static_cast<size_t>(std::countr_zero(found)) / sizeof(Char)
                : n * step;
  return found != 0;
}

// Copies the item that begins at first and returns its end, which may be that
// of the text. In the target a null character follows, and then unspecified
// characters.
//
// Four vectors at a time cost less than the mispredicted branches of a loop
// over single ones; most words end in the first vector.
template <class End, class Char, class Target>
const Char* copy_item(const Char* first, const Char* end, Target& target) {
  constexpr size_t step = vector_size / sizeof(Char);
  const auto left = [end](const Char* from) {
    return static_cast<size_t>(end - from);
  };
  const Char* next = first;
  bool found = End::mostly_near && left(next) >= step &&
               copy_vectors<1, End>(first, next, target);
  while (!found && left(next) >= 4 * step) {
    found = copy_vectors<4, End>(first, next, target);
  }
  while (!found && left(next) >= step) {
    found = copy_vectors<1, End>(first, next, target);
  }
  for (; !found && next != end && !End::at(*next); ++next) {
    target.put(static_cast<size_t>(next - first), *next);
  }
  target.put(static_cast<size_t>(next - first), Char());
  return next;
}

// Copies each line to the target and calls use() with its size.
template <class End, class Char, class Target, class Use>
void for_each_line(const Char* text, size_t size, Target& target, Use use) {
  const Char* const end = text + size;
  for (const Char* first = text; first != end;) {
    const Char* newline = copy_item<End>(first, end, target);
    use(static_cast<size_t>(newline - first));
    first = newline + 1;
  }
}

template <class Seen>
void lines(const Input& in, Area& area) {
  Seen seen(area);
  Growing<char> line;
  for_each_line<Newline>(in.text, in.size, line,
                         [&](size_t n) { seen.text(line.text.get(), n); });
}

// These lines fit into the object that stores them, as in nalo.
template <class Seen>
void fresh_lines(const Input& in, Area& area) {
  Seen seen(area);
  const char* const end = in.text + in.size;
  for (const char* first = in.text; first != end;) {
    Place<char, 64> line;
    const char* newline = copy_item<Newline>(first, end, line);
    seen.text(line.text, static_cast<size_t>(newline - first));
    first = newline + 1;
  }
}

template <class Seen>
void array_lines(const Input& in, Area& area) {
  Seen seen(area);
  Place<char, line_array_size> line;
  for_each_line<Newline>(in.text, in.size, line,
                         [&](size_t n) { seen.text(line.text, n); });
}

template <class Seen>
void wide_lines(const Input& in, Area& area) {
  Seen seen(area);
  Growing<wchar_t> line;
  for_each_line<WideNewline>(in.wide_text, in.size, line,
                             [&](size_t n) { seen.text(line.text.get(), n); });
}

template <class Seen>
void skip_lines(const Input& in, Area& area) {
  Seen seen(area);
  Nowhere nowhere;
  for_each_line<Newline>(in.text, in.size, nowhere,
                         [&](size_t n) { seen.value(n + 1); });
}

const char* skip_space(const char* first, const char* end) {
  while (first != end && Space::at(*first)) ++first;
  return first;
}

template <class Target, class Use>
void for_each_word(const Input& in, Target& target, Use use) {
  const char* const end = in.text + in.size;
  for (const char* next = skip_space(in.text, end); next != end;) {
    const char* behind = copy_item<Space>(next, end, target);
    use(static_cast<size_t>(behind - next));
    next = skip_space(behind, end);
  }
}

template <class Seen>
void words(const Input& in, Area& area) {
  Seen seen(area);
  Growing<char> word;
  for_each_word(in, word, [&](size_t n) { seen.text(word.text.get(), n); });
}

template <class Seen>
void array_words(const Input& in, Area& area) {
  Seen seen(area);
  Place<char, word_array_size> word;
  for_each_word(in, word, [&](size_t) { seen.c_string(word.text); });
}

constexpr auto powers_of_10 = [] {
  std::array<uint64_t, 20> powers{1};
  for (size_t i = 1; i < powers.size(); ++i) powers[i] = 10 * powers[i - 1];
  return powers;
}();

// The number with the digits in a word of eight bytes, the first digit in the
// lowest byte. Each byte holds the value of a digit; unused leading ones are
// zero.
uint64_t value_of_8_digits(uint64_t digits) {
  constexpr uint64_t low = 0x000000FF000000FF;
  digits = digits * 10 + (digits >> 8);
  return ((digits & low) * (100 + (uint64_t{1000000} << 32)) +
          ((digits >> 16) & low) * (1 + (uint64_t{10000} << 32))) >>
         32;
}

// Reads digits, appends them to value, and moves next past them. There may be
// at most 19 digits in total.
uint64_t read_digits(const char*& next, const char* end, uint64_t value = 0) {
  while (end - next >= 8) {
    uint64_t digits;
    std::memcpy(&digits, next, sizeof digits);
    digits ^= 0x3030303030303030;
    // The highest bit of each byte that is more than 9.
    const uint64_t others =
        ((digits + 0x7676767676767676) | digits) & 0x8080808080808080;
    const size_t n = static_cast<size_t>(std::countr_zero(others)) / 8;
    if (n == 0) return value;
    digits <<= 64 - 8 * n;
    value = value * powers_of_10[n] + value_of_8_digits(digits);
    next += n;
    if (n < 8) return value;
  }
  while (next != end && *next >= '0' && *next <= '9') {
    value = value * 10 + static_cast<uint64_t>(*next++ - '0');
  }
  return value;
}

template <class Seen, class T>
void read_integers(const Input& in, Area& area) {
  Seen seen(area);
  const char* const end = in.text + in.size;
  for (const char* next = skip_space(in.text, end); next != end;
       next = skip_space(next, end)) {
    const bool negative = *next == '-';
    next += negative;
    const char* const first = next;
    const uint64_t value = read_digits(next, end);
    constexpr uint64_t largest = std::numeric_limits<T>::max();
    if (next == first || next - first > 19 || value > largest + negative)
        [[unlikely]] {
      std::abort();
    }
    seen.value(static_cast<T>(negative ? 0 - value : value));
  }
}

__extension__ using uint128_t = unsigned __int128;

// The powers of ten for scaling, each as the upper 128 bits of the power of 5,
// normalized so that the highest is 1. Exact for exponents from 0, rounded up
// for negative ones.
constexpr int largest_power = 54;
constexpr auto powers_of_5 = [] {
  std::array<uint128_t, 2 * largest_power + 1> powers{};
  uint128_t power = 1;
  for (size_t i = 0; i <= largest_power; ++i, power *= 5) {
    uint128_t normal = power;
    while (normal >> 127 == 0) normal <<= 1;
    powers[largest_power + i] = normal;
    if (i == 0) continue;

    uint128_t quotient = 0;
    uint128_t rest = 1;
    while (quotient >> 127 == 0) {
      rest <<= 1;
      const bool bit = rest >= power;
      if (bit) rest -= power;
      quotient = quotient << 1 | bit;
    }
    powers[largest_power - i] = quotient + 1;
  }
  return powers;
}();

// Rounds value * 10^power to the nearest double and returns whether it could.
// The product with the upper half of the power of 5 is nearly always
// sufficient.
bool scale(uint64_t value, int power, double& result) {
  if (value == 0 || power < -largest_power || power > largest_power) {
    return false;
  }
  constexpr int exact_powers = 22;
  if (value < uint64_t{1} << 53 && std::abs(power) <= exact_powers) {
    const auto factor = static_cast<size_t>(std::abs(power));
    static constexpr auto factors = [] {
      std::array<double, exact_powers + 1> all{1};
      for (size_t i = 1; i < all.size(); ++i) all[i] = 10 * all[i - 1];
      return all;
    }();
    result = power < 0 ? static_cast<double>(value) / factors[factor]
                       : static_cast<double>(value) * factors[factor];
    return true;
  }

  const int zeros = std::countl_zero(value);
  value <<= zeros;
  const uint128_t five =
      powers_of_5[static_cast<size_t>(largest_power + power)];
  uint128_t product =
      static_cast<uint128_t>(value) * static_cast<uint64_t>(five >> 64);
  constexpr uint64_t below_rounding = ~uint64_t{0} >> 55;
  if ((static_cast<uint64_t>(product >> 64) & below_rounding) ==
      below_rounding) {
    const uint128_t lower =
        static_cast<uint128_t>(value) * static_cast<uint64_t>(five);
    product += lower >> 64;
  }
  const auto high = static_cast<uint64_t>(product >> 64);
  const auto low = static_cast<uint64_t>(product);
  const int upper = static_cast<int>(high >> 63);
  uint64_t mantissa = high >> (upper + 9);
  // Near a tie, or when the product may not be exact enough.
  if (low <= 1 || low == ~uint64_t{0}) return false;
  int exponent = ((217706 * power) >> 16) + 63 + upper - zeros + 1023;
  mantissa = (mantissa + (mantissa & 1)) >> 1;
  if (mantissa == uint64_t{1} << 53) {
    mantissa >>= 1;
    ++exponent;
  }
  // With such small powers no exponent is out of range.
  const uint64_t fraction = mantissa & ((uint64_t{1} << 52) - 1);
  result =
      std::bit_cast<double>(fraction | static_cast<uint64_t>(exponent) << 52);
  return true;
}

// Reads numbers of at most 19 digits with a point, as nearly all are;
// from_chars reads the others.
template <class Seen>
void read_doubles(const Input& in, Area& area) {
  Seen seen(area);
  const char* const end = in.text + in.size;
  for (const char* next = skip_space(in.text, end); next != end;
       next = skip_space(next, end)) {
    const char* const first = next;
    const bool negative = *next == '-';
    next += negative;
    const char* const digits = next;
    uint64_t value = read_digits(next, end);
    ptrdiff_t count = next - digits;
    int power = 0;
    if (next != end && *next == '.') {
      const char* const fraction = ++next;
      value = read_digits(next, end, value);
      power = -static_cast<int>(next - fraction);
      count -= power;
    }
    double number;
    if (count == 0 || count > 19 || (next != end && *next == 'e') ||
        !scale(value, power, number)) [[unlikely]] {
      const auto read = std::from_chars(first, end, number);
      if (read.ec != std::errc()) std::abort();
      next = read.ptr;
    } else if (negative) {
      number = -number;
    }
    seen.value(number);
  }
}

constexpr auto pairs_of_digits = [] {
  std::array<char, 200> pairs{};
  for (size_t i = 0; i < pairs.size(); ++i) {
    pairs[i] = static_cast<char>('0' + (i % 2 == 0 ? i / 20 : i / 2 % 10));
  }
  return pairs;
}();

// Writes two digits before end and returns where they begin.
char* write_pair(char* end, uint32_t value) {
  std::memcpy(end - 2, &pairs_of_digits[2 * value], 2);
  return end - 2;
}

size_t count_digits(uint64_t value) {
  const size_t guess =
      static_cast<size_t>(std::bit_width(value | 1)) * 1233 >> 12;
  return guess + (value >= powers_of_10[guess]);
}

char* write_integer(char* to, int64_t number) {
  const bool negative = number < 0;
  *to = '-';
  to += negative;
  const auto bits = static_cast<uint64_t>(number);
  uint64_t value = negative ? 0 - bits : bits;
  char* const end = to + std::max<size_t>(count_digits(value), 1);
  char* first = end;
  while (value >= powers_of_10[8]) {
    auto digits = static_cast<uint32_t>(value % powers_of_10[8]);
    value /= powers_of_10[8];
    for (int i = 0; i < 4; ++i, digits /= 100) {
      first = write_pair(first, digits % 100);
    }
  }
  auto digits = static_cast<uint32_t>(value);
  for (; digits >= 100; digits /= 100) {
    first = write_pair(first, digits % 100);
  }
  if (digits >= 10) {
    write_pair(first, digits);
  } else {
    first[-1] = static_cast<char>('0' + digits);
  }
  return end;
}

// Calls write() with a place for each item, of at most longest_item characters,
// and the index of the item. It returns the end of the item.
template <size_t longest_item, class Write>
void write_items(const Input& in, Area& area, Write write) {
  Output<> output(area);
  for (size_t i = 0; i < in.items; ++i) {
    output.print<longest_item>([&](char* to) { return write(to, i); });
  }
}

void write_ints(const Input& in, Area& area) {
  write_items<12>(in, area, [&](char* to, size_t i) {
    return write_integer(to, static_cast<int>(in.longs[i]));
  });
}

void write_longs(const Input& in, Area& area) {
  write_items<20>(in, area, [&](char* to, size_t i) {
    return write_integer(to, in.longs[i]);
  });
}

// Writes all 16 digits at once, after shifting out leading zeros.
void write_hex(const Input& in, Area& area) {
  write_items<vector_size>(in, area, [&](char* to, size_t i) {
    auto value = static_cast<uint64_t>(in.longs[i]);
    const auto zeros = static_cast<unsigned>(std::countl_zero(value | 1)) / 4;
    value = __builtin_bswap64(value << 4 * zeros);
    const __m128i bytes = _mm_cvtsi64_si128(static_cast<long long>(value));
    const __m128i low_half = _mm_set1_epi8(15);
    const __m128i digits =
        _mm_unpacklo_epi8(_mm_and_si128(_mm_srli_epi16(bytes, 4), low_half),
                          _mm_and_si128(bytes, low_half));
    const __m128i letters = _mm_cmpgt_epi8(digits, _mm_set1_epi8(9));
    const __m128i base =
        _mm_add_epi8(_mm_set1_epi8('0'),
                     _mm_and_si128(letters, _mm_set1_epi8('a' - '0' - 10)));
    store(to, _mm_add_epi8(digits, base));
    return to + (vector_size - zeros);
  });
}

void write_bools(const Input& in, Area& area) {
  static constexpr char names[2][8] = {"false", "true"};
  write_items<sizeof names[0]>(in, area, [&](char* to, size_t i) {
    const bool value = in.longs[i] < 0;
    std::memcpy(to, names[value], sizeof names[value]);
    return to + 5 - value;
  });
}

// Copies n characters as two words that may overlap.
template <class Word>
void copy_two(char* to, const char* from, size_t n) {
  Word first;
  Word last;
  std::memcpy(&first, from, sizeof first);
  std::memcpy(&last, from + n - sizeof last, sizeof last);
  std::memcpy(to, &first, sizeof first);
  std::memcpy(to + n - sizeof last, &last, sizeof last);
}

// Copies up to 16 characters.
void copy_short(char* to, const char* from, size_t n) {
  if (n >= 8) {
    copy_two<uint64_t>(to, from, n);
  } else if (n >= 4) {
    copy_two<uint32_t>(to, from, n);
  } else if (n >= 2) {
    copy_two<uint16_t>(to, from, n);
  } else if (n == 1) {
    *to = *from;
  }
}

void pad_texts(const Input& in, Area& area) {
  static_assert(text_width <= vector_size);
  write_items<vector_size>(in, area, [&](char* to, size_t i) {
    const Slice& text = in.slices[i];
    store(to, _mm_set1_epi8(' '));
    copy_short(to + text_width - text.size, text.begin, text.size);
    return to + text_width;
  });
}

// Writes single characters, like a caller of put(), but checks for room only
// once for several.
void put_characters(const Input& in, Area& area) {
  area.used = 0;
  for (size_t done = 0; done < in.size;) {
    if (area.used == area.size) area.used = 0;
    const size_t n = std::min(in.size - done, area.size - area.used);
    const char* const from = in.text + done;
    char* const to = area.begin + area.used;
#pragma GCC unroll 8
    for (size_t i = 0; i < n; ++i) {
      char ch = from[i];
      asm volatile("" : "+r"(ch));
      to[i] = ch;
    }
    area.used += n;
    done += n;
  }
}

template <class Seen>
void append_blocks(const Input& in, Area& area) {
  Seen seen(area);
  for (size_t i = 0; i < in.items; i += append_count) {
    Growing<char> string;
    size_t size = 0;
    for (size_t n = 0; n < append_count; ++n, size += append_block) {
      string.put(size, load(in.text + size));
    }
    seen.text(string.text.get(), size);
  }
}

}  // namespace

Passes vector_passes(Workload workload) {
  switch (workload) {
    case Workload::lines:
    case Workload::std_lines:
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
    case Workload::read_ints:
      return {read_integers<Consume, int>, read_integers<Record, int>};
    case Workload::read_unsigneds:
      return {read_integers<Consume, unsigned>,
              read_integers<Record, unsigned>};
    case Workload::read_longs:
      return {read_integers<Consume, long>, read_integers<Record, long>};
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
    case Workload::pad_texts:
      return {pad_texts, pad_texts};
    case Workload::put_characters:
      return {put_characters, put_characters};
    case Workload::append_blocks:
      return {append_blocks<Consume>, append_blocks<Record>};
    default:
      return {};
  }
}

}  // namespace bench
