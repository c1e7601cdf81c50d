// Random operations of an fdbuf and a filebuf on descriptors of several kinds,
// while system calls transfer less than requested, are interrupted and fail.
// Each byte must be delivered or written once and in order, or the operation
// must raise the error of the failed call. Replaces read(), write() and
// lseek(): only for programs of one source file.
#pragma once

#include <nalo/buffers/file>

#include <dlfcn.h>
#include <sys/socket.h>

#include <cerrno>

#include "common.h"

namespace nalo_test {

// The system calls on one descriptor.
struct watched_calls {
  int fd = -1;
  size_t count = 0;
  int failure = 0;             // the errno of the last one that failed
  choices* random = nullptr;   // decides how they fail; null: never
  bool seeks_nowhere = false;  // lseek() returns 0 and does nothing
};
inline watched_calls watched;

// Transfers up to n bytes, or nothing.
ssize_t watched_transfer(size_t n, bool may_be_empty, auto transfer) {
  ++watched.count;
  const size_t fate = watched.random ? watched.random->below(16) : 0;
  const int failures[] = {EINTR, EAGAIN, EIO};
  ssize_t result = -1;
  if (fate >= 1 && fate <= 3) {
    errno = failures[fate - 1];
  } else if (fate == 4 && may_be_empty) {
    result = 0;
    watched.failure = EIO;
  } else {
    result = transfer(fate < 10 ? n : 1 + watched.random->below(n));
  }
  if (result == -1 && errno != EINTR) watched.failure = errno;
  return result;
}

// The function of the C library, which remains a cancellation point.
template <class Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace nalo_test

// By other names, because headers may define the functions inline.
extern "C" {
ssize_t nalo_test_read(int fd, void* to, size_t n) __asm__("read");
ssize_t nalo_test_write(int fd, const void* from, size_t n) __asm__("write");
off_t nalo_test_lseek(int fd, off_t off, int whence) __asm__("lseek");
}

ssize_t nalo_test_read(int fd, void* to, size_t n) {
  static const auto read = nalo_test::original<decltype(::read)>("read");
  if (fd != nalo_test::watched.fd) return read(fd, to, n);
  std::memset(to, 0xA5, n);  // reveals an array that is too small
  return nalo_test::watched_transfer(
      n, false, [&](size_t part) { return read(fd, to, part); });
}
ssize_t nalo_test_write(int fd, const void* from, size_t n) {
  static const auto write = nalo_test::original<decltype(::write)>("write");
  if (fd != nalo_test::watched.fd) return write(fd, from, n);
  return nalo_test::watched_transfer(
      n, true, [&](size_t part) { return write(fd, from, part); });
}
off_t nalo_test_lseek(int fd, off_t off, int whence) {
  static const auto lseek = nalo_test::original<decltype(::lseek)>("lseek");
  if (fd != nalo_test::watched.fd) return lseek(fd, off, whence);
  ++nalo_test::watched.count;
  return nalo_test::watched.seeks_nowhere ? 0 : lseek(fd, off, whence);
}

namespace nalo_test {

// Two descriptors: the ends of a connection that does not block, or of the same
// open file. The text can be read from the first.
struct descriptors {
  explicit descriptors(std::string_view kind, std::string_view text = {}) {
    if (kind == "sockets") {
      ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends);
      for (const int little = 1; const int fd : ends) {
        ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &little, sizeof little);
      }
    } else if (kind == "pipe") {
      EXPECT_EQ(::pipe2(ends, O_NONBLOCK), 0);
      ::fcntl(ends[0], F_SETPIPE_SZ, 4096);
    } else {
      ends[0] =
          kind == "file"
              ? ::memfd_create("test", 0)
              : ::open(kind.data(), kind == "/dev/full" ? O_WRONLY : O_RDONLY);
      ends[1] = ::dup(ends[0]);
    }
    if (text.empty()) return;
    EXPECT_GT(::write(ends[1], text.data(), text.size()), 0);
    ::lseek(ends[1], 0, SEEK_SET);
  }
  ~descriptors() {
    for (const int fd : ends) ::close(fd);
  }

  int ends[2];
};

class descriptor_comparison {
 public:
  explicit descriptor_comparison(choices& choose) : random_(choose) {
    watched = {.fd = own_, .random = &random_, .seeks_nowhere = is(device)};
    if (is(appended)) ::fcntl(own_, F_SETFL, O_APPEND);
    if (is(named)) open();
  }
  ~descriptor_comparison() { watched = {}; }

  void step() {
    using self = descriptor_comparison;
    static constexpr std::pair<const char*, void (self::*)(size_t)> all[] = {
        {"read", &self::read},         {"write", &self::write},
        {"put back", &self::put_back}, {"sync", &self::sync},
        {"seek", &self::seek},         {"seek", &self::seek},
        {"seek", &self::seek},         {"promise", &self::promise},
        {"move", &self::move},         {"send", &self::send},
        {"receive", &self::receive},   {"reopen", &self::reopen}};
    // Six of sixteen choices read or write.
    const size_t chosen = random_.below(16);
    const auto& [name, run] = all[chosen < 6 ? chosen / 3 : chosen - 4];
    const size_t n = random_.below(random_.one_of<size_t>({3, 20, 300, 9000}));
    trace_ += ", " + std::string(name) + ' ' + std::to_string(n);
    const testing::ScopedTrace trace(__FILE__, __LINE__, trace_);
    (this->*run)(n);
  }

  // Closes the buffer without failures.
  void finish() {
    const testing::ScopedTrace trace(__FILE__, __LINE__, trace_);
    watched.random = nullptr;
    do {
      receive();
      sync(0);
    } while (raised_ && !testing::Test::HasFailure());
    if (is(named)) {
      EXPECT_EQ(file_.close(), &file_);
    } else {
      buffer_.close();
    }
  }

 private:
  enum kind { file, appended, device, socket, input_pipe, output_pipe, named };
  static constexpr auto no_character = static_cast<size_t>(-1);

  bool is(kind k) const { return kind_ == k; }
  bool has_position() const { return is(file) || is(appended) || is(named); }
  bool may(ios_base::openmode access) const { return (mode_ & access) != 0; }
  std::string rest() const { return text_.substr(std::min(at_, text_.size())); }
  bool at_end() const {
    return rest().empty() && (has_position() || has_hung_up_);
  }
  std::string fresh(size_t n) {
    std::string text(n, '\0');
    for (char& ch : text) ch = static_cast<char>(next_++);
    return text;
  }

  // The result of an operation, or the length of a block transferred before an
  // error. It must raise exactly when a system call has failed.
  size_t attempt(auto operation) {
    watched.failure = 0;
    raised_ = false;
    try {
      const auto result = static_cast<size_t>(operation());
      EXPECT_EQ(watched.failure, 0);
      return result;
    } catch (const nalo::fd_error& error) {
      EXPECT_EQ(error.code(), watched.failure);
      // A filebuf makes no call that its mode rules out.
      EXPECT_TRUE(!is(named) || error.code() != EBADF);
      raised_ = true;
      return static_cast<size_t>(error.transferred());
    }
  }

  void read(size_t n) {
    std::string block(n, '?');
    if (n == 1) {
      const size_t ch = attempt([&] { return buffer_.sbumpc(); });
      block.assign(!raised_ && ch != no_character, static_cast<char>(ch));
    } else {
      const auto size = static_cast<long>(n);
      block.resize(attempt([&] { return buffer_.sgetn(block.data(), size); }));
    }
    EXPECT_EQ(block, rest().substr(0, block.size()));
    at_ += block.size();
    EXPECT_TRUE(raised_ || block.size() == n || at_end() || !may(in));
    back_ = std::min(back_ + block.size(), nalo::fdbuf::putback_size);
  }
  void put_back(size_t) {
    const size_t ch = attempt([&] { return buffer_.sungetc(); });
    if (raised_) return;  // pending output could not be written
    if (ch == no_character) {
      EXPECT_EQ(back_, 0u);
    } else {
      EXPECT_EQ(static_cast<char>(ch), text_.at(--at_));
      back_ -= back_ != 0;
    }
  }

  void write(size_t n) {
    if (is(input_pipe)) return read(n);
    std::string block = fresh(n);
    const auto size = static_cast<long>(n);
    const size_t put = attempt([&] {
      return n == 1 ? buffer_.sputc(block[0]) != -1
                    : buffer_.sputn(block.data(), size);
    });
    EXPECT_TRUE(raised_ || put == (may(out | app) ? n : 0));
    block.resize(put);
    if (!has_position()) {
      output_ += block;
    } else if (put != 0) {
      if (may(app)) at_ = text_.size();
      text_.resize(std::max(text_.size(), at_ + put));
      text_.replace(at_, put, block);
      at_ += put;
    }
    forget_back();
  }
  void sync(size_t) {
    const size_t result = attempt([&] { return buffer_.pubsync(); });
    EXPECT_EQ(result, 0u);
    forget_back();
    if (!raised_) expect_all_written();
  }
  void expect_all_written() {
    receive();
    EXPECT_EQ(received_, output_);
    if (!has_position()) return;
    EXPECT_EQ(content(peer_), text_);
    EXPECT_EQ(::lseek(watched.fd, 0, SEEK_CUR), static_cast<off_t>(at_));
  }

  // Also seeks before and past the text.
  void seek(size_t n) {
    const auto way = static_cast<nalo::ios_base::seekdir>(n % 3);
    const size_t from = way == nalo::ios_base::beg   ? 0
                        : way == nalo::ios_base::cur ? at_
                                                     : text_.size();
    const auto off = static_cast<nalo::streamoff>(n / 3) - 2;
    const auto to = static_cast<nalo::streamoff>(from) + off;
    const auto at = static_cast<nalo::streamoff>(attempt([&] {
      return static_cast<nalo::streamoff>(buffer_.pubseekoff(off, way));
    }));
    forget_back();
    if (raised_) return;
    if (has_position()) {
      EXPECT_EQ(at, to < 0 ? -1 : to);
      if (to >= 0) at_ = static_cast<size_t>(to);
    } else {
      EXPECT_TRUE(at == -1 || (is(device) && at >= 0)) << at;
    }
  }
  void forget_back() {
    if (has_position() || is(device)) back_ = 0;
  }

  // in_avail() must not promise too much.
  void promise(size_t) {
    const auto n = attempt([&] { return buffer_.in_avail(); });
    EXPECT_TRUE(n <= rest().size() ||
                (n == no_character && (at_end() || !may(in))))
        << n;
  }
  void move(size_t) {
    const auto there_and_back = [](auto& buffer) {
      auto other(std::move(buffer));
      EXPECT_FALSE(buffer.is_open());
      buffer = std::move(other);
    };
    is(named) ? there_and_back(file_) : there_and_back(over_descriptor_);
  }

  // Opens the same file again, with a position of its own.
  void open() {
    const auto path = "/proc/self/fd/" + std::to_string(own_);
    EXPECT_EQ(file_.open(path, mode_), &file_);
    watched.fd = file_.fd();
    at_ = mode_ == app ? text_.size() : 0;
    if (mode_ == out) text_.clear();
  }
  // Syncs first, because a filebuf drops what it cannot write.
  void reopen(size_t) {
    sync(0);
    if (!is(named) || raised_) return;
    EXPECT_EQ(file_.close(), &file_);
    mode_ = random_.one_of({in, out, in | out, app, in | app});
    open();
  }

  // Acts as the other end of a connection.
  void send(size_t n) {
    if (has_position() || is(output_pipe) || has_hung_up_) return;
    if (n == 0) {
      has_hung_up_ = ::shutdown(peer_, SHUT_WR) == 0;
      return;
    }
    const std::string block = fresh(n);
    const ssize_t sent = ::write(peer_, block.data(), n);
    text_.append(block, 0, sent > 0 ? static_cast<size_t>(sent) : 0);
  }
  void receive(size_t = 0) {
    if (has_position() || is(input_pipe)) return;
    received_ += content(peer_);
    EXPECT_EQ(received_, output_.substr(0, received_.size()));
  }

  choices& random_;
  const kind kind_ = static_cast<kind>(random_.below(7));
  ios_base::openmode mode_ = is(appended)      ? in | app
                             : is(input_pipe)  ? in
                             : is(output_pipe) ? out
                                               : in | out;
  unsigned char next_ = 0;  // bytes count up, so that each shows its place
  std::string text_ = fresh(is(output_pipe) ? 0 : random_.below(256));
  size_t at_ = 0;    // the length of text taken, or the position in a file
  size_t back_ = 0;  // the least number that can be put back
  bool has_hung_up_ = false;
  std::string output_, received_;  // by the other end
  bool raised_ = false;
  std::string trace_ = "on descriptors of kind " + std::to_string(kind_);

  const descriptors ends_{has_position()             ? "file"
                          : is(device) || is(socket) ? "sockets"
                                                     : "pipe",
                          text_};
  const int own_ = ends_.ends[is(output_pipe)];
  const int peer_ = ends_.ends[!is(output_pipe)];
  nalo::filebuf file_;
  nalo::fdbuf over_descriptor_{own_, nalo::fd_ownership::borrowed,
                               random_.one_of<size_t>({0, 2, 7, 100, 4096})};
  nalo::fdbuf& buffer_ = is(named) ? file_ : over_descriptor_;
};

}  // namespace nalo_test
