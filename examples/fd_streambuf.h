// A stream buffer over a file descriptor, shared by the examples.
//
// It reads and writes blocks of 64 KiB. Input and output share the position of
// the file where there is one; over a socket or a terminal they are apart.
#ifndef NALO_EXAMPLES_FD_STREAMBUF_H
#define NALO_EXAMPLES_FD_STREAMBUF_H

#include <nalo/exception>
#include <nalo/streambuf>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

// A system call on a descriptor has failed: what() says which one and why,
// code() is its errno.
class fd_error : public nalo::exception {
 public:
  int code() const noexcept { return code_; }

 protected:
  fd_error(const char* file, int line, const char* action, int code)
      : exception(file, line, message(action, code).c_str()), code_(code) {}

 private:
  static std::string message(const char* action, int code) {
    return action + (": " + std::generic_category().message(code));
  }

  int code_;
};

class fd_input_error : public fd_error {
 public:
  fd_input_error(const char* file, int line, const char* action, int code)
      : fd_error(file, line, action, code) {}
  void throw_self() override { throw *this; }
};

class fd_output_error : public fd_error {
 public:
  fd_output_error(const char* file, int line, const char* action, int code)
      : fd_error(file, line, action, code) {}
  void throw_self() override { throw *this; }
};

// Raises fd_input_error when reading fails, which is how a stream tells that
// from the end of its input, and fd_output_error when writing fails.
class fd_streambuf final : public nalo::streambuf {
 public:
  // Over a descriptor that belongs to the caller and stays open.
  explicit fd_streambuf(int fd) noexcept : fd_(fd), is_owner_(false) {}
  // Opens a file for reading, and closes it at the end.
  explicit fd_streambuf(const char* path)
      : fd_(::open(path, O_RDONLY | O_CLOEXEC)), is_owner_(true) {
    if (fd_ == -1) {
      nalo::tThrow(fd_input_error(__FILE__, __LINE__, "cannot open", errno));
    }
  }
  // Writes what the put area holds; sync() first to learn whether that works.
  ~fd_streambuf() override {
    try {
      write_out();
    } catch (const fd_output_error&) {
    }
    if (is_owner_) ::close(fd_);
  }

 private:
  static constexpr std::size_t area_size = 64 * 1024;
  // How many characters can be put back across a refill, at least.
  static constexpr std::ptrdiff_t putback_size = 8;

  int_type underflow() override {
    // Whoever answers may be waiting for what was written.
    write_out();
    setp(nullptr, nullptr);

    char* const start = get_area_ + putback_size;
    const std::ptrdiff_t kept = std::min(gptr() - eback(), putback_size);
    traits_type::move(start - kept, gptr() - kept,
                      static_cast<std::size_t>(kept));
    setg(start - kept, start, start);
    const ssize_t n =
        uninterrupted([&] { return ::read(fd_, start, area_size); });
    if (n == -1) {
      nalo::tThrow(fd_input_error(__FILE__, __LINE__, "cannot read", errno));
    }
    setg(start - kept, start, start + n);
    return n == 0 ? traits_type::eof() : sgetc();
  }

  int_type overflow(int_type ch) override {
    if (pbase() == nullptr) give_back();
    write_out();
    setp(put_area_, put_area_ + area_size);
    if (traits_type::eq_int_type(ch, traits_type::eof())) {
      return traits_type::not_eof(ch);
    }
    return sputc(traits_type::to_char_type(ch));
  }

  int sync() override {
    write_out();
    give_back();
    return 0;
  }

  nalo::streampos seekoff(nalo::streamoff off, nalo::ios_base::seekdir way,
                          nalo::ios_base::openmode) override {
    const std::ptrdiff_t unread = egptr() - gptr();
    if (way == nalo::ios_base::cur && off == 0) {
      const nalo::streamoff pos = ::lseek(fd_, 0, SEEK_CUR);
      return pos == -1 ? pos : pos - unread + (pptr() - pbase());
    }
    write_out();
    if (way == nalo::ios_base::cur &&
        __builtin_sub_overflow(off, unread, &off)) {
      return -1;
    }
    const int whence = way == nalo::ios_base::beg   ? SEEK_SET
                       : way == nalo::ios_base::cur ? SEEK_CUR
                                                    : SEEK_END;
    const nalo::streamoff pos = ::lseek(fd_, off, whence);
    if (pos != -1) setg(nullptr, nullptr, nullptr);
    return pos;
  }

  nalo::streampos seekpos(nalo::streampos pos,
                          nalo::ios_base::openmode mode) override {
    return seekoff(pos, nalo::ios_base::beg, mode);
  }

  nalo::streamsize showmanyc() override {
    struct stat status;
    // The files of /proc say that they are empty, and are not.
    if (::fstat(fd_, &status) == 0 && S_ISREG(status.st_mode) &&
        status.st_size > 0) {
      const off_t left = status.st_size - ::lseek(fd_, 0, SEEK_CUR);
      return left > 0 ? left : -1;
    }
    int waiting = 0;
    return ::ioctl(fd_, FIONREAD, &waiting) == 0 ? std::max(waiting, 0) : 0;
  }

  // Repeats a system call for as long as signals interrupt it.
  template <class Call>
  static ssize_t uninterrupted(Call call) {
    ssize_t result;
    do {
      result = call();
    } while (result == -1 && errno == EINTR);
    return result;
  }

  // Writes what the put area holds. What an error keeps from being written
  // stays in it.
  void write_out() {
    while (pptr() > pbase()) {
      const ssize_t n = uninterrupted([&] {
        return ::write(fd_, pbase(),
                       static_cast<std::size_t>(pptr() - pbase()));
      });
      if (n == -1) {
        nalo::tThrow(
            fd_output_error(__FILE__, __LINE__, "cannot write", errno));
      }
      const std::ptrdiff_t left = pptr() - pbase() - n;
      traits_type::move(pbase(), pbase() + n, static_cast<std::size_t>(left));
      setp(pbase(), epptr());
      pbump(left);
    }
  }

  // Moves the file's position back to the first unread character and empties
  // the get area. Input that cannot go back stays where it is.
  void give_back() {
    if (::lseek(fd_, gptr() - egptr(), SEEK_CUR) != -1) {
      setg(nullptr, nullptr, nullptr);
    }
  }

  const int fd_;
  const bool is_owner_;
  char get_area_[putback_size + area_size];
  char put_area_[area_size];
};

#endif
