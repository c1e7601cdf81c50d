// The conversion between wide characters and UTF-8.
#include <nalo/buffers/utf8>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>

namespace nalo {

namespace {

using areas = impl::stream_areas<char, char_traits<char>>;
using byte_traits = char_traits<char>;

constexpr wchar_t replacement_char = 0xFFFD;
constexpr size_t longest_sequence = 4;  // bytes of a character

// The bytes at the beginning of a text: a whole character with its code and its
// number of bytes, the beginning of one that continues beyond the text, or
// none.
struct sequence {
  enum { whole, beginning, none } kind;
  std::uint32_t value = 0;
  unsigned length = 0;
};

// Requires from < end. The first byte restricts only the second one, which
// excludes overlong forms, surrogates, and values above 0x10FFFF.
sequence decode(const unsigned char* from, const unsigned char* end) noexcept {
  const unsigned first = *from;
  if (first < 0x80) return {sequence::whole, first, 1};
  if (first < 0xC2 || first > 0xF4) return {sequence::none};
  const unsigned size = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  unsigned low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  unsigned high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  std::uint32_t value = first & (0x7FU >> size);
  for (unsigned i = 1; i < size; ++i) {
    if (from + i == end) return {sequence::beginning};
    if (from[i] < low || from[i] > high) return {sequence::none};
    value = value << 6 | (from[i] & 0x3FU);
    low = 0x80;
    high = 0xBF;
  }
  return {sequence::whole, value, size};
}

// Writes the bytes of a character and returns their number, 0 when it has no
// UTF-8 form.
inline unsigned encode(wchar_t ch, unsigned char* to) noexcept {
  const auto value = static_cast<std::uint32_t>(ch);
  const auto put = [&](unsigned i, std::uint32_t byte) {
    to[i] = static_cast<unsigned char>(byte);
  };
  const auto put_rest = [&](unsigned size) {
    for (unsigned i = 1; i < size; ++i) {
      put(i, 0x80 | (value >> 6 * (size - 1 - i) & 0x3F));
    }
    return size;
  };
  if (value < 0x80) {
    put(0, value);
    return 1;
  }
  if (value < 0x800) {
    put(0, 0xC0 | value >> 6);
    return put_rest(2);
  }
  if (value < 0x10000) {
    if (value >= 0xD800 && value < 0xE000) return 0;
    put(0, 0xE0 | value >> 12);
    return put_rest(3);
  }
  if (value > 0x10FFFF) return 0;
  put(0, 0xF0 | value >> 18);
  return put_rest(4);
}

// Whether the next eight bytes are ASCII.
bool are_ascii(const unsigned char* from) noexcept {
  std::uint64_t eight;
  std::memcpy(&eight, from, sizeof eight);
  return (eight & 0x8080808080808080) == 0;
}

}  // namespace

encoding_error::encoding_error(const char* file, int line, const char* message,
                               streamoff position)
    : exception(file, line, message), position_(position) {}
encoding_error::~encoding_error() = default;
void encoding_error::throw_self() { throw encoding_error(*this); }

// Room for characters that can be put back and for decoded ones. Each has its
// number of bytes stored, which cannot be computed for a replaced one.
struct utf8buf::get_area {
  static constexpr size_t size = 1024;
  wchar_t characters[putback_size + size];
  unsigned char lengths[putback_size + size];
};

utf8buf::utf8buf(streambuf* bytes, encoding_errors errors) noexcept
    : bytes_(bytes), errors_(errors) {}

utf8buf::~utf8buf() = default;

utf8buf::utf8buf(utf8buf&& other) noexcept
    : utf8buf(other.bytes_, other.errors_) {
  swap(other);
}

utf8buf& utf8buf::operator=(utf8buf&& other) noexcept {
  utf8buf(std::move(other)).swap(*this);
  return *this;
}

void utf8buf::swap(utf8buf& other) noexcept {
  wstreambuf::swap(other);
  std::swap(bytes_, other.bytes_);
  std::swap(errors_, other.errors_);
  std::swap(writes_, other.writes_);
  std::swap(area_, other.area_);
  std::swap(unread_, other.unread_);
  std::swap(unwritten_, other.unwritten_);
  std::swap(read_count_, other.read_count_);
  std::swap(write_count_, other.write_count_);
}

void utf8buf::forget_() noexcept {
  setg(nullptr, nullptr, nullptr);
  unread_.size = 0;
  unwritten_.size = 0;
}

// Returns the replacement for what cannot be converted, or raises the error.
// count is the number of bytes converted before; the buffer of bytes is `back`
// bytes beyond that.
wchar_t utf8buf::replaced_(const char* what, ios_base::openmode mode,
                           streamoff count, streamoff back) {
  if (errors_ == encoding_errors::replace) return replacement_char;
  const streamoff at = bytes_->pubseekoff(0, ios_base::cur, mode);
  const streamoff position = (at == -1 ? count : at) - back;
  tThrow(encoding_error("sys/lib/buffers/utf8.cpp", __LINE__,
                        (what + std::to_string(position)).c_str(), position));
}

// --- input -------------------------------------------------------------------

// Empties the get area except for what can be put back.
void utf8buf::start_input_() {
  write_rest_();
  writes_ = false;
  if (!area_) area_ = std::make_unique_for_overwrite<get_area>();
  const auto kept =
      std::min(static_cast<size_t>(gptr() - eback()), putback_size);
  wchar_t* const start = area_->characters + putback_size;
  if (kept > 0) {
    const auto from = static_cast<size_t>(gptr() - area_->characters) - kept;
    std::memmove(area_->lengths + putback_size - kept, area_->lengths + from,
                 kept);
    traits_type::move(start - kept, gptr() - kept, kept);
  }
  setg(start - kept, start, start);
}

// Decodes the get area of the buffer of bytes, up to the first bytes that are
// not a whole character, and returns the number of characters.
size_t utf8buf::decode_at_hand_() noexcept {
  const auto* const begin =
      reinterpret_cast<const unsigned char*>(areas::gptr(bytes_));
  const auto* const end = begin + areas::in_left(bytes_);
  const auto* from = begin;
  wchar_t* const start = area_->characters + putback_size;
  unsigned char* const lengths = area_->lengths + putback_size;
  size_t n = 0;
  while (n < get_area::size && from != end) {
    if (get_area::size - n >= 8 && end - from >= 8 && are_ascii(from)) {
      std::copy_n(from, 8, start + n);
      std::memset(lengths + n, 1, 8);
      from += 8;
      n += 8;
      continue;
    }
    const sequence next = decode(from, end);
    if (next.kind != sequence::whole) break;
    start[n] = static_cast<wchar_t>(next.value);
    lengths[n] = static_cast<unsigned char>(next.length);
    from += next.length;
    ++n;
  }
  areas::gbump(bytes_, static_cast<size_t>(from - begin));
  read_count_ += from - begin;
  setg(eback(), start, start + n);
  return n;
}

// Decodes one character whose bytes may come from several get areas, or
// replaces it.
utf8buf::int_type utf8buf::decode_next_() {
  sequence next{sequence::beginning};
  while (next.kind == sequence::beginning) {
    const auto byte = bytes_->sgetc();
    if (byte_traits::eq_int_type(byte, byte_traits::eof())) {
      if (unread_.size == 0) return traits_type::eof();
      break;
    }
    unread_.bytes[unread_.size] = static_cast<unsigned char>(byte);
    next = decode(unread_.bytes, unread_.bytes + unread_.size + 1);
    // A byte that does not continue the character may begin another one.
    if (next.kind == sequence::none && unread_.size > 0) break;
    bytes_->sbumpc();
    ++unread_.size;
    ++read_count_;
  }
  const unsigned length = std::exchange(unread_.size, 0);
  const wchar_t ch =
      next.kind == sequence::whole
          ? static_cast<wchar_t>(next.value)
          : replaced_("not UTF-8 at byte ", ios_base::in, read_count_, length);
  wchar_t* const start = area_->characters + putback_size;
  area_->lengths[putback_size] = static_cast<unsigned char>(length);
  *start = ch;
  setg(eback(), start, start + 1);
  return traits_type::to_int_type(ch);
}

utf8buf::int_type utf8buf::underflow() {
  start_input_();
  if (unread_.size == 0) {
    if (byte_traits::eq_int_type(bytes_->sgetc(), byte_traits::eof())) {
      return traits_type::eof();
    }
    if (decode_at_hand_() > 0) return traits_type::to_int_type(*gptr());
  }
  return decode_next_();
}

streamsize utf8buf::showmanyc() {
  if (unread_.size > 0) return 0;
  const streamsize n = bytes_->in_avail();
  if (n <= 0) return n;
  bytes_->sgetc();  // does not wait, as a byte is there
  start_input_();
  return static_cast<streamsize>(decode_at_hand_());
}

// The number of bytes read whose characters were not delivered.
streamoff utf8buf::undelivered_() const noexcept {
  streamoff n = unread_.size;
  for (const wchar_t* at = gptr(); at != egptr(); ++at) {
    n += area_->lengths[at - area_->characters];
  }
  return n;
}

// Moves the buffer of bytes back to what was not delivered and empties the get
// area. Does nothing when it cannot be moved.
void utf8buf::give_back_() {
  const streamoff n = undelivered_();
  if (n == 0 || bytes_->pubseekoff(-n, ios_base::cur, ios_base::in) != -1) {
    setg(nullptr, nullptr, nullptr);
    unread_.size = 0;
  }
}

// --- output ------------------------------------------------------------------

// Writes the remaining bytes of a character. Returns false when the buffer of
// bytes still refuses one.
bool utf8buf::write_rest_() {
  while (unwritten_.size > 0) {
    const auto byte = static_cast<char>(unwritten_.bytes[0]);
    if (byte_traits::eq_int_type(bytes_->sputc(byte), byte_traits::eof())) {
      return false;
    }
    ++write_count_;
    --unwritten_.size;
    std::memmove(unwritten_.bytes, unwritten_.bytes + 1, unwritten_.size);
  }
  return true;
}

// Encodes into the put area of the buffer of bytes, while it has room and up to
// the first character without a UTF-8 form. Returns the number of characters.
streamsize utf8buf::encode_in_place_(const wchar_t* s, streamsize n) noexcept {
  auto* const begin = reinterpret_cast<unsigned char*>(areas::pptr(bytes_));
  auto* const end = begin + areas::out_left(bytes_);
  auto* to = begin;
  streamsize done = 0;
  while (done < n && end - to >= static_cast<ptrdiff_t>(longest_sequence)) {
    const unsigned length = encode(s[done], to);
    if (length == 0) break;
    to += length;
    ++done;
  }
  areas::pbump(bytes_, static_cast<size_t>(to - begin));
  write_count_ += to - begin;
  return done;
}

// Writes one character, or its replacement, when the put area may lack room for
// it. It counts as taken when its first byte is; write_rest_() writes the
// others.
bool utf8buf::encode_next_(wchar_t ch) {
  part all;
  all.size = encode(ch, all.bytes);
  if (all.size == 0) {
    all.size = encode(replaced_("no UTF-8 for the wide character at byte ",
                                ios_base::out, write_count_, 0),
                      all.bytes);
  }
  const auto first = static_cast<char>(all.bytes[0]);
  if (byte_traits::eq_int_type(bytes_->sputc(first), byte_traits::eof())) {
    return false;
  }
  ++write_count_;
  unwritten_.size = all.size - 1;
  std::copy_n(all.bytes + 1, unwritten_.size, unwritten_.bytes);
  return true;
}

utf8buf::int_type utf8buf::overflow(int_type ch) {
  if (ch < 0x80 && writes_ && unwritten_.size == 0) [[likely]] {
    const auto byte = bytes_->sputc(static_cast<char>(ch));
    if (byte_traits::eq_int_type(byte, byte_traits::eof())) {
      return traits_type::eof();
    }
    ++write_count_;
    return ch;
  }
  if (traits_type::eq_int_type(ch, traits_type::eof())) return ch;
  const wchar_t one = traits_type::to_char_type(ch);
  return xsputn(&one, 1) == 1 ? ch : traits_type::eof();
}

streamsize utf8buf::xsputn(const wchar_t* strng, streamsize sz) {
  if (sz <= 0) return 0;
  if (!writes_) give_back_();
  writes_ = true;
  streamsize done = 0;
  while (write_rest_()) {
    done += encode_in_place_(strng + done, sz - done);
    if (done == sz || !encode_next_(strng[done])) break;
    ++done;
  }
  return done;
}

int utf8buf::sync() {
  if (!write_rest_()) return -1;
  give_back_();
  return bytes_->pubsync();
}

// --- positions ---------------------------------------------------------------

template <class Seek>
streampos utf8buf::move_(ios_base::openmode mode, Seek seek) {
  if (!write_rest_()) return -1;
  if ((mode & ios_base::out) != 0) give_back_();
  const streampos pos = seek();
  if (pos != -1 && (mode & ios_base::in) != 0) forget_();
  return pos;
}

// Gives back undelivered input before it asks for a write position, because the
// buffer of bytes may use one position for both.
streampos utf8buf::tell_(ios_base::openmode mode) {
  const bool reads = (mode & ios_base::out) == 0;
  if (!write_rest_()) return -1;
  if (!reads) give_back_();
  const streampos pos = bytes_->pubseekoff(0, ios_base::cur, mode);
  return pos != -1 && reads ? pos - undelivered_() : pos;
}

streampos utf8buf::seekoff(streamoff off, ios_base::seekdir way,
                           ios_base::openmode mode) {
  if (way != ios_base::beg && off != 0) return -1;
  if (way == ios_base::cur) return tell_(mode);
  return move_(mode, [&] { return bytes_->pubseekoff(off, way, mode); });
}

streampos utf8buf::seekpos(streampos pos, ios_base::openmode mode) {
  return move_(mode, [&] { return bytes_->pubseekpos(pos, mode); });
}

}  // namespace nalo
