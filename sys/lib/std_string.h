// Reading into strings of the standard library without initializing their
// characters first, which takes C++23.
#ifndef NALO_LIB_STD_STRING_H
#define NALO_LIB_STD_STRING_H

#include <nalo/base/impl/istream>

#ifndef __cpp_lib_string_resize_and_overwrite
#error "nalo: compile this file as C++23, for resize_and_overwrite()"
#endif

namespace nalo {

namespace impl {

template <class Char, class Traits, class Allocator>
class own_storage<std::basic_string<Char, Traits, Allocator>> {
 public:
  using string = std::basic_string<Char, Traits, Allocator>;

  explicit own_storage(string& str) noexcept : str_(str) {}

  // The place of the null character must not be written to.
  size_t capacity() const noexcept { return str_.capacity(); }

  // Leaves the string unchanged when there is nothing to copy.
  template <class Wanted>
  NALO_INLINE size_t copy_until(const Char* first, size_t n,
                                Wanted wanted) const noexcept {
    if (n == 0) return 0;
    set_size(n);
    return simd::copy_until(first, n, wanted, str_.data());
  }
  // The size must be within the capacity, so that nothing is allocated. The
  // caller writes the new characters: a callback that wrote them would not be
  // inlined, and would pass everything it uses through memory.
  void set_size(size_t size) const noexcept {
    str_.resize_and_overwrite(size, [](Char*, size_t all) { return all; });
  }
  void append(size_t copied, const Char* first, size_t n) const noexcept {
    set_size(copied + n);
    simd::copy(first, n, str_.data() + copied);
  }

 private:
  string& str_;
};

// With less room than that, a line is found before it is copied: one pass would
// end at the end of the room, and search the few characters one by one.
constexpr size_t least_room = 48;

template <class Char>
[[gnu::noinline]] basic_istream<Char>& read_line_to_little_room(
    basic_istream<Char>& istr, std::basic_string<Char>& str, Char delim,
    size_t max_length) {
  const basic_ios<Char>& io = istr;
  const auto line = line_at_hand(io, delim, max_length);
  if (!line.ended) return line_to_string(istr, str, delim, max_length, 0);
  const own_storage own(str);
  if (line.size > own.capacity()) return grow_to_text(istr, str, line, 1);
  take_line_at_hand(io, line);
  own.append(0, line.first, line.size);
  return istr;
}

}  // namespace impl

template <class Char>
basic_istream<Char>& getline(basic_istream<Char>& istr,
                             std::basic_string<Char>& str, Char delim,
                             size_t max_length) {
  return str.capacity() < impl::least_room
             ? impl::read_line_to_little_room(istr, str, delim, max_length)
             : impl::read_line(istr, str, delim, max_length);
}

template <class Char>
basic_istream<Char>& getstring(basic_istream<Char>& istr,
                               std::basic_string<Char>& str) {
  const impl::own_storage own(str);
  const auto word = impl::word_at_hand(istr, ~size_t{0});
  if (!word.ended) [[unlikely]]
    return impl::word_to_string(istr, str);
  if (word.size > own.capacity()) [[unlikely]]
    return impl::grow_to_text(istr, str, word, 0);
  impl::take_up_to<Char, char_traits<Char>>(istr, word.first + word.size);
  own.append(0, word.first, word.size);
  return istr;
}

}  // namespace nalo

#endif
