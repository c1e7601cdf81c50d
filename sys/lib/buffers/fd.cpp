// The buffer over a file descriptor, and its errors.
#include <nalo/buffers/fd>

#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

namespace nalo {

namespace {

constexpr const char* source_file = "sys/lib/buffers/fd.cpp";

// Raises the error of the system call that has just failed, after the given
// number of characters of a block was transferred.
template <class Error>
[[noreturn]] void raise(int line, const char* action,
                        streamsize transferred = 0) {
  const int code = errno;
  tThrow(Error(source_file, line, action, code, transferred));
}

// Repeats a system call as long as signals interrupt it.
template <class Call>
ssize_t uninterrupted(Call call) {
  ssize_t result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

// Disables cancellation, so that a pending one cannot interrupt close().
int close_file(int fd) noexcept {
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  const int result = ::close(fd);
  pthread_setcancelstate(cancelable, nullptr);
  return result;
}

// Returns the flags for open(), or -1 for an invalid combination of modes.
int open_flags(ios_base::openmode mode) noexcept {
  constexpr auto in = ios_base::in, out = ios_base::out, app = ios_base::app;
  constexpr auto trunc = ios_base::trunc;
  constexpr auto without_meaning = ios_base::ate | ios_base::binary;
  switch (std::uint32_t{mode & ~without_meaning}) {
    case in:
      return O_RDONLY;
    case out:
    case out | trunc:
      return O_WRONLY | O_CREAT | O_TRUNC;
    case app:
    case out | app:
      return O_WRONLY | O_CREAT | O_APPEND;
    case in | out:
      return O_RDWR;
    case in | out | trunc:
      return O_RDWR | O_CREAT | O_TRUNC;
    case in | app:
    case in | out | app:
      return O_RDWR | O_CREAT | O_APPEND;
    default:
      return -1;
  }
}

// Returns a new descriptor, or -1 with errno set. A cancellation point, which
// may unwind.
int open_file(const char* path, ios_base::openmode mode) {
  const int flags = open_flags(mode);
  if (flags == -1) {
    errno = EINVAL;
    return -1;
  }
  const auto fd = static_cast<int>(
      uninterrupted([&] { return ::open(path, flags | O_CLOEXEC, 0666); }));
  const bool must_seek = (mode & ios_base::ate) != 0;
  // A file that is only appended to begins at its end, so that its position
  // tells whether it is empty.
  const bool seeks =
      must_seek || (flags & (O_ACCMODE | O_APPEND)) == (O_WRONLY | O_APPEND);
  if (fd == -1 || !seeks) return fd;
  if (::lseek(fd, 0, SEEK_END) != -1 || !must_seek) return fd;
  const int code = errno;
  close_file(fd);
  errno = code;
  return -1;
}

[[noreturn]] void raise_cannot_open(const char* path, ios_base::openmode mode) {
  const int code = errno;
  const std::string action = "cannot open \"" + std::string(path) + '"';
  if ((mode & (ios_base::out | ios_base::app)) != 0) {
    tThrow(fd_output_error(source_file, __LINE__, action.c_str(), code));
  }
  tThrow(fd_input_error(source_file, __LINE__, action.c_str(), code));
}

std::string message(const char* action, int code, streamsize transferred) {
  std::string text = action + (": " + std::generic_category().message(code));
  if (transferred != 0) {
    text += ", after " + std::to_string(transferred) + " characters";
  }
  return text;
}

}  // namespace

fd_error::fd_error(const char* file, int line, const char* action, int code,
                   streamsize transferred)
    : failure(file, line, message(action, code, transferred).c_str()),
      code_(code),
      transferred_(transferred) {}
fd_error::~fd_error() = default;
void fd_error::throw_self() { throw fd_error(*this); }

fd_input_error::~fd_input_error() = default;
void fd_input_error::throw_self() { throw fd_input_error(*this); }

fd_output_error::~fd_output_error() = default;
void fd_output_error::throw_self() { throw fd_output_error(*this); }

fdbuf::fdbuf(int fd, fd_ownership ownership, size_t size) noexcept
    : fd_(fd),
      ownership_(ownership),
      size_(std::clamp<size_t>(size, 1, PTRDIFF_MAX)) {}

fdbuf::fdbuf() noexcept : fdbuf(-1) {}

fdbuf::fdbuf(const char* path, ios_base::openmode mode, size_t size)
    : fdbuf(-1, fd_ownership::owned, size) {
  open_(path, mode);
}

fdbuf::fdbuf(fdbuf&& other) noexcept
    : fdbuf(-1, fd_ownership::owned, other.size_) {
  swap(other);
}

fdbuf& fdbuf::operator=(fdbuf&& other) {
  if (this == &other) return *this;
  close();
  fdbuf taken(std::move(other));
  swap(taken);
  return *this;
}

void fdbuf::swap(fdbuf& other) noexcept {
  streambuf::swap(other);
  std::swap(fd_, other.fd_);
  std::swap(ownership_, other.ownership_);
  std::swap(has_position_, other.has_position_);
  std::swap(size_, other.size_);
  get_area_.swap(other.get_area_);
  put_area_.swap(other.put_area_);
}

// Disables cancellation: writing and closing are cancellation points, and
// nothing may unwind out of a destructor.
fdbuf::~fdbuf() {
  int cancelable;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancelable);
  try {
    close();
  } catch (const std::exception&) {
    if (ownership_ == fd_ownership::owned) close_file(fd_);
  }
  pthread_setcancelstate(cancelable, nullptr);
}

void fdbuf::open_(const char* path, ios_base::openmode mode) {
  if (!path) path = "";
  if (is_open()) {
    errno = EBUSY;
    raise_cannot_open(path, mode);
  }
  fd_ = open_file(path, mode);
  if (!is_open()) raise_cannot_open(path, mode);
  ownership_ = fd_ownership::owned;
  has_position_ = true;
}

void fdbuf::close() {
  if (!is_open()) return;
  const bool is_owned = ownership_ == fd_ownership::owned;
  write_out_();
  // Only for borrowed descriptors: an owned one may share its position with
  // other processes, as after fork().
  if (!is_owned && gptr() < egptr()) give_back_();
  const int fd = std::exchange(fd_, -1);
  setg(nullptr, nullptr, nullptr);
  setp(nullptr, nullptr);
  put_area_.reset();  // the next descriptor may be read-only
  if (is_owned && close_file(fd) == -1) {
    raise<fd_output_error>(__LINE__, "cannot close");
  }
}

// --- input -------------------------------------------------------------------

void fdbuf::start_input_() {
  write_out_();
  setp(nullptr, nullptr);
  if (!get_area_) {
    get_area_ = std::make_unique_for_overwrite<char[]>(putback_size + size_);
  }
}

size_t fdbuf::read_(char* to, size_t n, streamsize taken) {
  const ssize_t got = uninterrupted([&] { return ::read(fd_, to, n); });
  if (got == -1) raise<fd_input_error>(__LINE__, "cannot read", taken);
  return static_cast<size_t>(got);
}

// Empties the get area except for what can be put back: the last characters
// taken from it, and the n after them that were read without passing through
// it.
void fdbuf::keep_(const char* read, size_t n) noexcept {
  char* const start = get_area_.get() + putback_size;
  const size_t fresh = std::min(n, putback_size);
  const size_t old =
      std::min(static_cast<size_t>(gptr() - eback()), putback_size - fresh);
  char* const begin = start - fresh - old;
  traits_type::move(begin, gptr() - old, old);
  traits_type::copy(begin + old, read + (n - fresh), fresh);
  setg(begin, start, start);
}

// Reads into the empty get area and returns how many characters. Returns 0 at
// the end of input.
size_t fdbuf::fill_(streamsize taken) {
  keep_(gptr(), 0);
  const size_t n = read_(gptr(), size_, taken);
  setg(eback(), gptr(), gptr() + n);
  return n;
}

fdbuf::int_type fdbuf::underflow() {
  start_input_();
  if (fill_(0) == 0) return traits_type::eof();
  return traits_type::to_int_type(*gptr());
}

// Reads up to n characters when the get area is empty; a block larger than the
// area bypasses it. Returns 0 at the end of input.
streamsize fdbuf::take_(char* to, streamsize n, streamsize taken) {
  const auto size = static_cast<size_t>(n);
  if (size < size_) {
    fill_(taken);
    return streambuf::xsgetn(to, std::min(n, egptr() - gptr()));
  }
  const size_t got = read_(to, size, taken);
  keep_(to, got);
  return static_cast<streamsize>(got);
}

streamsize fdbuf::xsgetn(char* strng, streamsize sz) {
  if (sz <= egptr() - gptr()) return streambuf::xsgetn(strng, sz);
  start_input_();  // may raise, so it comes before anything is taken
  streamsize taken = streambuf::xsgetn(strng, egptr() - gptr());
  while (taken < sz) {
    const streamsize n = take_(strng + taken, sz - taken, taken);
    if (n == 0) break;
    taken += n;
  }
  return taken;
}

// Reads the characters before the get area again, without moving the position,
// when the area does not start at the beginning of the file, as after a seek.
fdbuf::int_type fdbuf::pbackfail(int_type ch) {
  const int_type none = traits_type::eof();
  if (!is_open() || gptr() != eback()) return none;
  start_input_();
  give_back_();
  if (gptr() < egptr()) return none;  // the descriptor has no position
  const off_t at = ::lseek(fd_, 0, SEEK_CUR);
  const off_t back = std::min(at, off_t{putback_size});
  if (back <= 0) return none;
  char* const start = get_area_.get() + putback_size;
  const ssize_t got = uninterrupted([&] {
    return ::pread(fd_, start - back, static_cast<size_t>(back), at - back);
  });
  if (got != back) return none;
  setg(start - back, start, start);
  const bool is_wanted = traits_type::eq_int_type(ch, none) ||
                         traits_type::to_char_type(ch) == gptr()[-1];
  return is_wanted ? sungetc() : none;
}

bool fdbuf::allows_(int access) const noexcept {
  const int flags = ::fcntl(fd_, F_GETFL);
  if (flags == -1) return false;
  return (flags & O_ACCMODE) == access || (flags & O_ACCMODE) == O_RDWR;
}

bool fdbuf::appends_() const noexcept {
  return (::fcntl(fd_, F_GETFL) & O_APPEND) != 0;
}

streamsize fdbuf::showmanyc() {
  if (!allows_(O_RDONLY)) return -1;
  struct stat status = {};
  ::fstat(fd_, &status);
  // The files of /proc report a size of 0 but are not empty.
  if (S_ISREG(status.st_mode) && status.st_size > 0) {
    const off_t at = ::lseek(fd_, 0, SEEK_CUR);
    if (at == -1) return 0;
    const off_t pending = pptr() - pbase();
    const bool to_the_end = pending != 0 && appends_();
    const off_t left = to_the_end ? 0 : status.st_size - at - pending;
    return left > 0 ? left : -1;
  }
  int waiting = 0;
  return ::ioctl(fd_, FIONREAD, &waiting) == 0 ? std::max(waiting, 0) : 0;
}

// Moves the position back to the first character that was not read and empties
// the get area. When that is impossible the get area is unchanged: pipes and
// sockets have no position, and some devices accept lseek() without moving.
void fdbuf::give_back_() noexcept {
  if (!has_position_) return;
  const off_t unread = egptr() - gptr();
  const off_t at = ::lseek(fd_, 0, SEEK_CUR);
  has_position_ = at != -1 && (unread == 0 ||
                               ::lseek(fd_, -unread, SEEK_CUR) == at - unread);
  if (has_position_) setg(nullptr, nullptr, nullptr);
}

// --- output ------------------------------------------------------------------

void fdbuf::start_output_() {
  if (!put_area_) {
    if (!allows_(O_WRONLY)) {
      errno = EBADF;
      raise<fd_output_error>(__LINE__, "cannot write");
    }
    put_area_ = std::make_unique_for_overwrite<char[]>(size_);
  }
  if (!pbase() && eback()) give_back_();
  write_out_();
  setp(put_area_.get(), put_area_.get() + size_);
}

// Writes part of a block and returns how much; `written` is how much was
// written before.
size_t fdbuf::write_(const char* from, size_t n, streamsize written) {
  const ssize_t put = uninterrupted([&] { return ::write(fd_, from, n); });
  if (put == 0) errno = EIO;  // retrying might never end
  if (put <= 0) raise<fd_output_error>(__LINE__, "cannot write", written);
  return static_cast<size_t>(put);
}

// Removes what was written from the put area at once, so that after an error
// the rest is still there and nothing is written twice.
void fdbuf::write_out_() {
  while (pptr() > pbase()) {
    const size_t pending = static_cast<size_t>(pptr() - pbase());
    const size_t n = write_(pbase(), pending, 0);
    setp(pbase() + n, epptr());
    pbump(static_cast<long>(pending - n));
  }
}

fdbuf::int_type fdbuf::overflow(int_type ch) {
  start_output_();
  if (traits_type::eq_int_type(ch, traits_type::eof())) {
    return traits_type::not_eof(ch);
  }
  return sputc(traits_type::to_char_type(ch));
}

streamsize fdbuf::xsputn(const char* strng, streamsize sz) {
  const auto size = static_cast<streamsize>(size_);
  if (sz >= size || sz > epptr() - pptr()) start_output_();
  if (sz < size) return streambuf::xsputn(strng, sz);
  streamsize put = 0;
  while (put < sz) {
    put += static_cast<streamsize>(
        write_(strng + put, static_cast<size_t>(sz - put), put));
  }
  return put;
}

int fdbuf::sync() {
  write_out_();
  if (gptr() < egptr()) give_back_();
  return 0;
}

// --- positions ---------------------------------------------------------------

// Does not write pending output first, except when appending, where only the
// file determines its position.
streampos fdbuf::tell_() {
  if (pptr() > pbase() && appends_()) write_out_();
  const streamoff unread = egptr() - gptr();
  const streamoff pos = ::lseek(fd_, 0, SEEK_CUR);
  // A position smaller than what was read is not meaningful.
  return pos < unread ? -1 : pos - unread + (pptr() - pbase());
}

streampos fdbuf::seekoff(streamoff off, ios_base::seekdir way,
                         ios_base::openmode) {
  if (way == ios_base::cur && off == 0) return tell_();
  write_out_();
  if (gptr() < egptr()) give_back_();
  if (gptr() < egptr()) return -1;
  const int whence = way == ios_base::beg   ? SEEK_SET
                     : way == ios_base::cur ? SEEK_CUR
                                            : SEEK_END;
  const streamoff pos = ::lseek(fd_, off, whence);
  if (pos != -1) setg(nullptr, nullptr, nullptr);
  return pos;
}

streampos fdbuf::seekpos(streampos pos, ios_base::openmode mode) {
  return seekoff(pos, ios_base::beg, mode);
}

}  // namespace nalo
