// The building blocks of the console streams.
#ifndef NALO_LIB_BUFFERS_CONSOLE_H
#define NALO_LIB_BUFFERS_CONSOLE_H

#include <nalo/buffers/fd>
#include <nalo/impl/export>

#include <new>

namespace nalo::impl {

// When output is written: by_device means by lines on a terminal and by blocks
// elsewhere.
enum class buffering { by_device, by_blocks, by_lines, none };

// A buffer over a standard descriptor. Unless it writes by blocks, its put area
// never has visible room, so that streams pass every character to the
// operations below.
class consolebuf final : public fdbuf {
 public:
  consolebuf(int fd, buffering mode) noexcept : fdbuf(fd), mode_(mode) {}

  // Writes pending output, drops errors, and stops buffering.
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

// Constructs the buffers on the first call. Exported, like everything that
// makes console streams, so that a program and a shared object that both
// contain the static library share the streams.
NALO_API console_buffers& the_console_buffers() noexcept;

// Storage for an object that is constructed at program start and never
// destroyed.
template <class T>
union late {
  constexpr late() noexcept : none_() {}
  ~late() {}  // uncovered: runs after the profile is written.

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
