// Implementation of the buffers over memory.
#ifndef NALO_LIB_BUFFERS_MEMORYBUF_H
#define NALO_LIB_BUFFERS_MEMORYBUF_H

#include <nalo/buffers/impl/memory>
#include <nalo/buffers/span>

#include <algorithm>
#include <utility>

namespace nalo {

namespace impl {

template <class Char, class Traits>
memorybuf<Char, Traits>::~memorybuf() = default;

template <class Char, class Traits>
memorybuf<Char, Traits>::memorybuf(memorybuf&& other) noexcept
    : memorybuf(other.mode_) {
  swap(other);
}

template <class Char, class Traits>
void memorybuf<Char, Traits>::swap(memorybuf& other) noexcept {
  basic_streambuf<Char, Traits>::swap(other);
  std::swap(mode_, other.mode_);
  std::swap(begin_, other.begin_);
  std::swap(capacity_, other.capacity_);
  std::swap(known_size_, other.known_size_);
}

template <class Char, class Traits>
void memorybuf<Char, Traits>::begin_with_(Char* array, size_t size,
                                          size_t capacity) noexcept {
  this->setp(nullptr, nullptr);
  begin_ = array;
  capacity_ = capacity;
  known_size_ = size;
  const bool at_end = has_(ios_base::app | ios_base::ate);
  place_(0, at_end ? static_cast<ptrdiff_t>(size) : 0);
}

template <class Char, class Traits>
void memorybuf<Char, Traits>::go_on_in_(Char* array, size_t capacity) noexcept {
  begin_ = array;
  capacity_ = capacity;
  place_(get_at_(), put_at_());
}

// Sets the areas over the text, with the given positions.
template <class Char, class Traits>
void memorybuf<Char, Traits>::place_(ptrdiff_t get, ptrdiff_t put) noexcept {
  known_size_ = size_();
  if (reads_()) this->setg(begin_, begin_ + get, begin_ + known_size_);
  if (writes_()) {
    this->setp(begin_, begin_ + capacity_);
    this->pbump(put);
  }
}

template <class Char, class Traits>
size_t memorybuf<Char, Traits>::size_() const noexcept {
  return std::max(known_size_, static_cast<size_t>(put_at_()));
}

template <class Char, class Traits>
typename Traits::int_type memorybuf<Char, Traits>::underflow() {
  place_(get_at_(), put_at_());
  return this->gptr() == this->egptr() ? Traits::eof()
                                       : Traits::to_int_type(*this->gptr());
}

template <class Char, class Traits>
typename Traits::int_type memorybuf<Char, Traits>::pbackfail(int_type ch) {
  if (this->gptr() == this->eback() || !writes_() ||
      Traits::eq_int_type(ch, Traits::eof())) {
    return Traits::eof();
  }
  this->gbump(-1);
  *this->gptr() = Traits::to_char_type(ch);
  return ch;
}

template <class Char, class Traits>
streamsize memorybuf<Char, Traits>::showmanyc() {
  const auto left = static_cast<streamsize>(size_()) - get_at_();
  return reads_() ? std::max(left, streamsize{0}) : -1;
}

template <class Char, class Traits>
typename Traits::int_type memorybuf<Char, Traits>::overflow(int_type ch) {
  return Traits::eq_int_type(ch, Traits::eof()) ? Traits::not_eof(ch)
                                                : Traits::eof();
}

template <class Char, class Traits>
streampos memorybuf<Char, Traits>::seekoff(streamoff off, ios_base::seekdir way,
                                           openmode mode) {
  const bool moves_get = reads_() && (mode & ios_base::in) != 0;
  const bool moves_put = writes_() && (mode & ios_base::out) != 0;
  if (!moves_get && !moves_put) return -1;
  const auto size = static_cast<streamoff>(size_());
  streamoff from = 0;
  if (way == ios_base::end) from = size;
  if (way == ios_base::cur) {
    if (moves_get && moves_put) return -1;
    from = moves_get ? get_at_() : put_at_();
  }
  if (off < -from || off > size - from) return -1;
  const streamoff to = from + off;
  if (moves_put && has_(ios_base::app) && to != size) return -1;
  place_(moves_get ? to : get_at_(), moves_put ? to : put_at_());
  return to;
}

template <class Char, class Traits>
streampos memorybuf<Char, Traits>::seekpos(streampos pos, openmode mode) {
  return this->seekoff(pos, ios_base::beg, mode);
}

}  // namespace impl

template <class Char, class Traits>
basic_spanbuf<Char, Traits>::~basic_spanbuf() = default;

template <class Char, class Traits>
basic_viewbuf<Char, Traits>::~basic_viewbuf() = default;

}  // namespace nalo

#endif
