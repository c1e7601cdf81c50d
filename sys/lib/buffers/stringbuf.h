// Implementation of the buffers over strings.
#ifndef NALO_LIB_BUFFERS_STRINGBUF_H
#define NALO_LIB_BUFFERS_STRINGBUF_H

#include <nalo/buffers/string>

#include <memory>
#include <utility>

namespace nalo {

template <class Char, class Traits>
basic_stringbuf<Char, Traits>::basic_stringbuf(openmode mode)
    : basic_stringbuf(string_type(), mode) {}

template <class Char, class Traits>
basic_stringbuf<Char, Traits>::basic_stringbuf(string_type text, openmode mode)
    : base(mode), text_(std::move(text)) {
  const size_t size = text_.size();
  fit_(text_);
  begin_(size);
}

template <class Char, class Traits>
basic_stringbuf<Char, Traits>::~basic_stringbuf() = default;

template <class Char, class Traits>
basic_stringbuf<Char, Traits>::basic_stringbuf(basic_stringbuf&& other) noexcept
    : base(std::move(other)), text_(std::move(other.text_)) {
  this->go_on_in_(array_(), text_.size());
  other.fit_(other.text_);
  other.begin_(0);
}

template <class Char, class Traits>
basic_stringbuf<Char, Traits>& basic_stringbuf<Char, Traits>::operator=(
    basic_stringbuf&& other) noexcept {
  basic_stringbuf(std::move(other)).swap(*this);
  return *this;
}

// Does not swap the strings, which would keep their allocators and so might
// have to allocate.
template <class Char, class Traits>
void basic_stringbuf<Char, Traits>::swap(basic_stringbuf& other) noexcept {
  if (this == &other) return;
  base::swap(other);
  string_type text(std::move(text_));
  std::destroy_at(&text_);
  std::construct_at(&text_, std::move(other.text_));
  std::destroy_at(&other.text_);
  std::construct_at(&other.text_, std::move(text));
  this->go_on_in_(array_(), text_.size());
  other.go_on_in_(other.array_(), other.text_.size());
}

template <class Char, class Traits>
basic_string<Char, Traits> basic_stringbuf<Char, Traits>::str() const& {
  if (!this->writes_()) return text_;
  return string_type(this->view(), text_.get_allocator());
}

template <class Char, class Traits>
basic_string<Char, Traits> basic_stringbuf<Char, Traits>::str() && {
  if (this->writes_()) text_.raw_resize(this->view().size());
  string_type text = std::move(text_);
  fit_(text_);
  begin_(0);
  return text;
}

// What can fail comes first, while the earlier text is still in place.
template <class Char, class Traits>
void basic_stringbuf<Char, Traits>::str(string_type text) {
  const size_t size = text.size();
  fit_(text);
  text_.swap(text);  // assigning to a read-only string would raise
  begin_(size);
}

// Makes a string that will be written unshared, and as long as its capacity.
template <class Char, class Traits>
void basic_stringbuf<Char, Traits>::fit_(string_type& text) {
  if (!this->writes_()) return;
  if (text.rvalue()) string_type(text, text.get_allocator()).swap(text);
  text.raw_resize(text.capacity());
}

// Uses the first size characters of the string as the text.
template <class Char, class Traits>
void basic_stringbuf<Char, Traits>::begin_(size_t size) noexcept {
  this->begin_with_(array_(), size, text_.size());
}

// Does not use data(), so that the string can be shared once it leaves the
// buffer.
template <class Char, class Traits>
Char* basic_stringbuf<Char, Traits>::array_() noexcept {
  return const_cast<Char*>(text_.c_str());
}

template <class Char, class Traits>
typename Traits::int_type basic_stringbuf<Char, Traits>::overflow(int_type ch) {
  if (!this->writes_() || Traits::eq_int_type(ch, Traits::eof())) {
    return base::overflow(ch);
  }
  text_.raw_resize(text_.size() + 1);
  fit_(text_);
  this->go_on_in_(array_(), text_.size());
  return this->sputc(Traits::to_char_type(ch));
}

}  // namespace nalo

#endif
