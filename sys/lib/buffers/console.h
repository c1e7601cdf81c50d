// What the console streams are made of.
#ifndef NALO_LIB_BUFFERS_CONSOLE_H
#define NALO_LIB_BUFFERS_CONSOLE_H

#include <nalo/buffers/fd>
#include <nalo/impl/export>

#include <new>

namespace nalo::impl {

// When output is written: by_device is by lines on a terminal, by blocks
// elsewhere.
enum class buffering { by_device, by_blocks, by_lines, none };

// A buffer over a standard descriptor. Unless it writes by blocks, its put area
// never shows room, so that streams leave every character to the operations
// below.
class consolebuf final : public fdbuf {
 public:
  consolebuf(int fd, buffering mode) noexcept : fdbuf(fd), mode_(mode) {}

  // Writes out what is pending, drops errors, and from then on buffers nothing.
  void end_buffering() noexcept;

 protected:
  int_type overflow(int_type ch) override;
  streamsize xsputn(const char* strng, streamsize sz) override;

 private:
  class shown_room;

  bool by_blocks_() noexcept;
  void show_room_() noexcept;
  void hide_room_() noexcept;
  void end_area_(char* end) noexcept;

  buffering mode_;
  char* area_end_ = nullptr;  // while the room is hidden
};

struct console_buffers {
  consolebuf in{0, buffering::by_device};
  consolebuf out{1, buffering::by_device};
  consolebuf err{2, buffering::by_lines};
};

// Makes the buffers when it is called first. Exported, as is all that makes
// console streams: where a program and a shared object both contain the static
// library, they must come to share the streams.
NALO_API console_buffers& the_console_buffers() noexcept;

// Room for an object that is made while the program starts, and is never
// destroyed.
template <class T>
union late {
  constexpr late() noexcept : none_() {}
  ~late() {}

  template <class... Args>
  void make(Args... args) noexcept {
    ::new (static_cast<void*>(&value_)) T(args...);
  }

  char none_;
  T value_;
};

template <class Istream, class Ostream>
struct console_streams {
  template <class Buffer>
  void make(Buffer* in_buffer, Buffer* out_buffer,
            Buffer* err_buffer) noexcept {
    in.make(in_buffer);
    out.make(out_buffer);
    err.make(err_buffer);
    log.make(err_buffer);
    in.value_.tie(&out.value_);
    err.value_.tie(&out.value_);
    err.value_.setf(ios_base::unitbuf);
  }

  late<Istream> in;
  late<Ostream> out, err, log;
};

}  // namespace nalo::impl

#endif
