// The buffers of the console streams.
#include "console.h"

#include <pthread.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace nalo::impl {

// Makes the room of the put area visible during an operation of fdbuf.
class consolebuf::shown_room {
 public:
  explicit shown_room(consolebuf& buffer) noexcept : buffer_(buffer) {
    buffer_.show_room_();
  }
  ~shown_room() { buffer_.hide_room_(); }
  shown_room(const shown_room&) = delete;
  shown_room& operator=(const shown_room&) = delete;

 private:
  consolebuf& buffer_;
};

// fdbuf has no put area before the first output and after input.
void consolebuf::show_room_() noexcept {
  if (area_end_ && pbase()) end_area_(area_end_);
  area_end_ = nullptr;
}

void consolebuf::hide_room_() noexcept {
  if (area_end_) return;
  area_end_ = epptr();
  end_area_(pptr());
}

void consolebuf::end_area_(char* end) noexcept {
  const long pending = pptr() - pbase();
  setp(pbase(), end);
  pbump(pending);
}

bool consolebuf::by_blocks_() noexcept {
  if (mode_ == buffering::by_device) {
    mode_ = ::isatty(fd()) != 0 ? buffering::by_lines : buffering::by_blocks;
  }
  return mode_ == buffering::by_blocks;
}

fdbuf::int_type consolebuf::overflow(int_type ch) {
  if (by_blocks_()) return fdbuf::overflow(ch);
  int_type result;
  {
    const shown_room room(*this);
    const bool fits =
        pptr() < epptr() && !traits_type::eq_int_type(ch, traits_type::eof());
    result = fits ? sputc(traits_type::to_char_type(ch)) : fdbuf::overflow(ch);
  }
  if (mode_ == buffering::none || ch == '\n') sync();
  return result;
}

streamsize consolebuf::xsputn(const char* strng, streamsize sz) {
  if (by_blocks_()) return fdbuf::xsputn(strng, sz);
  streamsize put;
  {
    const shown_room room(*this);
    put = fdbuf::xsputn(strng, sz);
  }
  const std::string_view text(strng, static_cast<size_t>(put));
  if (mode_ == buffering::none || text.find('\n') != text.npos) sync();
  return put;
}

// Disables cancellation: writing is a cancellation point, and nothing may
// unwind out of exit().
// uncovered block: runs after the profile is written.
void consolebuf::end_buffering() noexcept {
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  try {
    sync();
  } catch (const std::exception&) {
  }
  hide_room_();
  mode_ = buffering::none;
  pthread_setcancelstate(cancelable, nullptr);
}

console_buffers& the_console_buffers() noexcept {
  static constinit late<console_buffers> buffers;
  static constinit bool made = false;
  if (!std::exchange(made, true)) buffers.make();
  return buffers.value_;
}

namespace {

// Runs after the destructors of static objects and the atexit() functions.
// uncovered block: runs after the profile is written.
[[gnu::destructor(101)]] void end_buffering() {
  console_buffers& buffers = the_console_buffers();
  for (consolebuf* buffer : {&buffers.in, &buffers.out, &buffers.err}) {
    buffer->end_buffering();
  }
}

}  // namespace

}  // namespace nalo::impl
