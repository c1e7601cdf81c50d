// Classification and case conversion of char in the classic locale.
#include "ascii_case.h"
#include "classic_facet.h"

#include <nalo/base/ctype>

#include <emmintrin.h>

#include <algorithm>
#include <array>
#include <bit>

namespace nalo {

namespace {

using mask = ctype_base::mask;

// Two bits of the C library's table without a constant in ctype_base, whose
// graph and alnum are combinations of other classes.
constexpr mask table_graph = 32768;
constexpr mask table_alnum = 8;

consteval bool in(int ch, char first, char last) {
  return first <= ch && ch <= last;
}

consteval mask classes_of(int ch) {
  mask classes = 0;
  const auto add = [&](bool is_in, int bits) {
    if (is_in) classes = static_cast<mask>(classes | bits);
  };
  const bool is_digit = in(ch, '0', '9');
  const bool is_upper = in(ch, 'A', 'Z');
  const bool is_lower = in(ch, 'a', 'z');
  const bool is_graph = in(ch, '!', '~');
  const bool is_alnum = is_digit || is_upper || is_lower;
  add(is_upper, ctype_base::upper | ctype_base::alpha);
  add(is_lower, ctype_base::lower | ctype_base::alpha);
  add(is_digit, ctype_base::digit);
  add(is_alnum, table_alnum);
  add(is_digit || in(ch, 'A', 'F') || in(ch, 'a', 'f'), ctype_base::xdigit);
  add(is_graph && !is_alnum, ctype_base::punct);
  add(is_graph, table_graph);
  add(is_graph || ch == ' ', ctype_base::print);
  add(ch == ' ' || ch == '\t', ctype_base::blank);
  add(ch == ' ' || in(ch, '\t', '\r'), ctype_base::space);
  add(ch < ' ' || ch == 0x7F, ctype_base::cntrl);
  return classes;
}

consteval auto make_classic_table() {
  std::array<mask, ctype<char>::table_size> table{};
  for (size_t ch = 0; ch <= 0x7F; ++ch) table[ch] = classes_of(int(ch));
  return table;
}

constexpr ptrdiff_t block_size = 16;

// Returns a bit for each character of a block, the lowest for the first:
// whether it is white space in the classic locale.
unsigned spaces_in_block(const char* block) {
  const __m128i chars =
      _mm_loadu_si128(reinterpret_cast<const __m128i*>(block));
  const __m128i blanks = _mm_cmpeq_epi8(chars, _mm_set1_epi8(' '));
  const __m128i from_tab = _mm_sub_epi8(chars, _mm_set1_epi8('\t'));
  const __m128i tab_to_return = _mm_cmpeq_epi8(
      from_tab, _mm_min_epu8(from_tab, _mm_set1_epi8('\r' - '\t')));
  return static_cast<unsigned>(
      _mm_movemask_epi8(_mm_or_si128(blanks, tab_to_return)));
}

}  // namespace

constinit locale::id ctype<char>::id = locale::id::of_library_<ctype>();
constinit const std::array<mask, ctype<char>::table_size>
    ctype<char>::classic_table_ = make_classic_table();

ctype<char>::~ctype() {
  if (del_) delete[] table_;
}

const char* ctype<char>::is(const char* lo, const char* hi,
                            mask* classes) const noexcept {
  std::transform(lo, hi, classes, [this](char ch) {
    return table_[static_cast<unsigned char>(ch)];
  });
  return hi;
}

const char* ctype<char>::scan_is(mask msk, const char* lo,
                                 const char* hi) const noexcept {
  if (msk == space && table_ == classic_table()) [[likely]] {
    for (; hi - lo >= block_size; lo += block_size) {
      if (const unsigned found = spaces_in_block(lo)) {
        return lo + std::countr_zero(found);
      }
    }
  }
  return std::find_if(lo, hi, [=, this](char ch) { return is(msk, ch); });
}

const char* ctype<char>::scan_not(mask msk, const char* lo,
                                  const char* hi) const noexcept {
  return std::find_if_not(lo, hi, [=, this](char ch) { return is(msk, ch); });
}

const char* ctype<char>::widen(const char* lo, const char* hi,
                               char* to) const noexcept {
  std::copy(lo, hi, to);
  return hi;
}

const char* ctype<char>::narrow(const char* lo, const char* hi, char,
                                char* to) const noexcept {
  std::copy(lo, hi, to);
  return hi;
}

char ctype<char>::do_toupper(char ch) const { return impl::ascii_upper(ch); }

const char* ctype<char>::do_toupper(char* lo, const char* hi) const {
  for (; lo != hi; ++lo) *lo = do_toupper(*lo);
  return hi;
}

char ctype<char>::do_tolower(char ch) const { return impl::ascii_lower(ch); }

const char* ctype<char>::do_tolower(char* lo, const char* hi) const {
  for (; lo != hi; ++lo) *lo = do_tolower(*lo);
  return hi;
}

namespace impl {

NALO_IMMORTAL immortal<ctype<char>> classic_ctype(nullptr, false, not_counted);

}  // namespace impl

}  // namespace nalo
