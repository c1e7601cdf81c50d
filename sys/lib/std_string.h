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
  size_t room() const noexcept { return str_.capacity(); }
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
    std::copy(first, first + n, str_.data() + copied);
  }

 private:
  string& str_;
};

}  // namespace impl

template <class Char>
basic_istream<Char>& getline(basic_istream<Char>& istr,
                             std::basic_string<Char>& str, Char delim,
                             size_t max_length) {
  return impl::read_line(istr, str, delim, max_length);
}

template <class Char>
basic_istream<Char>& getstring(basic_istream<Char>& istr,
                               std::basic_string<Char>& str) {
  return impl::read_word(istr, str);
}

}  // namespace nalo

#endif
