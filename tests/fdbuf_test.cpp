// The buffer over a file descriptor.
#include <nalo/base/ctype>
#include <nalo/buffers/fd>
#include <nalo/testing>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "text.h"

namespace {

using nalo::fd_ownership, nalo::ios_base;
using nalo::testing::check_input, nalo::testing::check_output;
using nalo::testing::sample_text, nalo::testing::violations;
using nalo_test::put, nalo_test::taken;

constexpr auto in = ios_base::in, out = ios_base::out, app = ios_base::app;
constexpr auto ate = ios_base::ate, trunc = ios_base::trunc;

// What a file holds, or has come to an end of a connection.
std::string content(int fd) {
  std::string text(1000, '\0');
  ssize_t n = ::pread(fd, text.data(), text.size(), 0);
  if (n < 0) n = ::read(fd, text.data(), text.size());
  text.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
  return text;
}

// Two descriptors: the ends of a connection that does not wait, or the same
// open file. A text can be read from the first.
struct descriptors {
  explicit descriptors(std::string_view kind, std::string_view text = {}) {
    if (kind == "sockets") {
      ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends);
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

TEST(Fdbuf, KeepsTheContract) {
  const std::string text = sample_text<char>(300);
  for (const std::size_t size : {0u, 7u, 1000u}) {
    const auto over = [=](const char* kind, std::string_view input) {
      return [=] {
        const descriptors on(kind, input);
        return std::make_unique<nalo::fdbuf>(::dup(on.ends[0]),
                                             fd_ownership::owned, size);
      };
    };
    const auto written = [](const auto& file) { return content(file.fd()); };
    EXPECT_EQ(check_input<char>(over("file", text), text), violations());
    EXPECT_EQ(check_input<char>(over("sockets", text), text), violations());
    EXPECT_EQ(check_output<char>(over("file", ""), written), violations());
  }
}

// Does a step of a script on a buffer, or at the other end of its descriptor:
//   <3   takes up to three characters   >ab  writes "ab"
//   -    puts the last one back         ?    counts what can be read
//   @    tells the position             @3   seeks
//   !    synchronizes                   .    closes
//   #    tells where the descriptor is  +ab  writes at the other end
//   *    tells what came to the other end
std::string done(const std::string& step, nalo::fdbuf& buffer, int other) {
  const std::string argument = step.substr(1);
  const auto is = [&](char what) { return step[0] == what; };
  if (is('<')) return taken(buffer, std::stoul(argument));
  if (is('*')) return content(other);
  if (is('.')) buffer.close();
  return std::to_string(
      is('>')       ? put(buffer, argument)
      : is('-')     ? buffer.sungetc()
      : is('?')     ? buffer.in_avail()
      : is('!')     ? buffer.pubsync()
      : is('#')     ? ::lseek(other, 0, SEEK_CUR)
      : is('+')     ? ::write(other, argument.data(), argument.size())
      : is('.')     ? buffer.fd()
      : step == "@" ? nalo::streamoff(buffer.pubseekoff(0, ios_base::cur))
                    : nalo::streamoff(buffer.pubseekpos(std::stol(argument))));
}

TEST(Fdbuf, WorksOnDescriptorsOfEachKind) {
  const struct {
    const char* kind;
    const char* text;
    std::size_t size;
    const char* script;
    const char* log;
  } rows[] = {
      // The areas are of the given size, and what is larger goes past them.
      {"file", "abcd", 0, "<1 #", "a 1"},
      {"file", "abcdefgh", 4, "<3 # <5 #", "abc 4 defgh 8"},
      {"file", "abcdefgh", 4, "<1 <6 #", "a bcdefg 8"},
      {"file", "abcdefgh", 4, "<5 # <1 #", "abcde 5 f 8"},
      {"file", "", 4, ">abc # >defg # >h # ! #", "3 0 4 7 1 7 0 8"},
      // Reading and writing share a position, and what was not read is left.
      {"file", "abcdef", 99, "<1 >x ? <1 # >y @ ! # *",
       "a 1 4 c 6 1 4 0 4 axcyef"},
      {"file", "abcdef", 99, "<1 >x . . >y <1 !",
       "a 1 -1 -1 out:EBADF in:EBADF 0"},
      {"file", "abcdefghijklmnopq", 4, "<4 <4 - - - - - - - - - <17 - -",
       "abcd efgh 104 103 102 101 100 99 98 97 -1 abcdefghijklmnopq 113 112"},
      {"file", "abcdef", 99, "<3 @4 - <9 ? @99 <1 ?", "abc 4 -1 ef -1 99  -1"},
      {"file", "abcdef", 99, "<2 ! # <1 . # <1", "ab 0 2 c -1 3 in:EBADF"},
      {"file", "abcdef", 99, ">xy @ #", "2 2 0"},
      // Elsewhere they are apart, and asking for input sends the output.
      {"sockets", "unread", 99, "? <2 >question ! * <2 @ @3 <1 . <1",
       "6 un 8 0 question re -1 -1 a -1 in:EBADF"},
      {"sockets", "", 99, ">? <1 * +! <1", "1 in:EAGAIN ? 1 !"},
      // What could not be written is pending.
      {"/dev/full", "", 99, ">x ! .", "1 out:ENOSPC out:ENOSPC"},
      // What cannot tell what there is.
      {"/", "", 99, "? <1", "0 in:EISDIR"},
      {"/proc/self/status", "", 99, "?", "0"},
  };
  for (const auto& row : rows) {
    const descriptors on(row.kind, row.text);
    nalo::fdbuf buffer(on.ends[0], fd_ownership::owned, row.size);
    std::istringstream steps(row.script);
    std::string log;
    for (std::string step; steps >> step;) {
      try {
        log += ' ' + done(step, buffer, on.ends[1]);
      } catch (const nalo::fd_error& error) {
        const bool is_input = dynamic_cast<const nalo::fd_input_error*>(&error);
        log += is_input ? " in:" : " out:";
        log += ::strerrorname_np(error.code());
      }
    }
    EXPECT_EQ(log, std::string(" ") + row.log) << row.script;
  }
}

TEST(Fdbuf, ClosesWhatItOwns) {
  for (const char* const kind : {"file", "/dev/full"}) {
    for (const auto ownership : {fd_ownership::borrowed, fd_ownership::owned}) {
      const descriptors on(kind);
      nalo::fdbuf(on.ends[0], ownership).sputc('x');
      EXPECT_EQ(::fcntl(on.ends[0], F_GETFD) == -1,
                ownership == fd_ownership::owned);
    }
  }
  EXPECT_THROW(nalo::fdbuf(99999, fd_ownership::owned).close(),
               nalo::fd_output_error);
}

TEST(Fdbuf, OpensFilesAsTheModeSays) {
  const struct {
    ios_base::openmode mode;
    const char* result;  // of writing "xy" over "abcd", or the error
  } rows[] = {
      {in, "cannot write: Bad file descriptor"},
      {out, "xy"},
      {out | trunc | ios_base::binary, "xy"},
      {in | out, "xycd"},
      {in | out | ate, "abcdxy"},
      {in | out | trunc, "xy"},
      {app, "abcdxy"},
      {out | app, "abcdxy"},
      {in | app, "abcdxy"},
      {in | out | app, "abcdxy"},
      {in | trunc, "cannot open PATH: Invalid argument"},
  };
  for (const auto& row : rows) {
    const descriptors file("file", "abcd");
    const auto path = "/proc/self/fd/" + std::to_string(file.ends[0]);
    std::string result;
    try {
      nalo::fdbuf buffer(path.c_str(), row.mode);
      EXPECT_NE(::fcntl(buffer.fd(), F_GETFD) & FD_CLOEXEC, 0);
      put(buffer, "xy");
      const auto place = buffer.pubseekoff(0, ios_base::cur);
      buffer.close();
      result = content(file.ends[1]);
      EXPECT_EQ(place, static_cast<long>(result.find("xy") + 2)) << row.mode;
    } catch (const nalo::fd_error& error) {
      EXPECT_STREQ(error.file(), "sys/lib/buffers/fd.cpp");
      result = error.what();
      const auto at = result.find('"' + path + '"');
      if (at != result.npos) result.replace(at, path.size() + 2, "PATH");
    }
    EXPECT_EQ(result, row.result) << row.mode;
  }
  nalo::fdbuf status("/proc/self/status");
  status.sgetc();
  EXPECT_EQ(status.pubseekoff(LONG_MIN, ios_base::cur), -1);
  EXPECT_THROW(nalo::fdbuf("/", out), nalo::fd_output_error);
  EXPECT_THROW(nalo::fdbuf("/nonexistent"), nalo::fd_input_error);
  EXPECT_THROW(nalo::tThrow(nalo::fd_error("file", 7, "fails", EPIPE)),
               nalo::fd_error);
}

struct reopened : nalo::fdbuf {
  using fdbuf::fdbuf, fdbuf::open_;
};

TEST(Fdbuf, OpensOneFileAfterTheOther) {
  reopened buffer;
  EXPECT_FALSE(buffer.is_open());
  EXPECT_THROW(buffer.open_(nullptr, in), nalo::fd_input_error);
  EXPECT_FALSE(buffer.is_open());
  int pipe[2];
  EXPECT_EQ(::pipe(pipe), 0);
  const std::string end = "/proc/self/fd/" + std::to_string(pipe[0]);
  EXPECT_THROW(buffer.open_(end.c_str(), in | ate), nalo::fd_input_error);
  for (const char* text : {"abc", "de"}) {
    const descriptors file("file", text);
    const auto path = "/proc/self/fd/" + std::to_string(file.ends[0]);
    buffer.open_(path.c_str(), in | out | ate);
    EXPECT_THROW(buffer.open_(path.c_str(), in), nalo::fd_input_error);
    put(buffer, "x");
    buffer.close();
    EXPECT_EQ(content(file.ends[1]), text + std::string("x"));
  }
  for (const int fd : pipe) ::close(fd);
}

TEST(Fdbuf, MovesWithAllThatItHolds) {
  const descriptors sockets("sockets"), full("/dev/full");
  EXPECT_EQ(::write(sockets.ends[1], "abcdef", 6), 6);
  nalo::fdbuf from(sockets.ends[0], fd_ownership::borrowed, 8);
  from.pubimbue(nalo::locale().without_<nalo::ctype<char>>());
  taken(from, 2);
  put(from, "xy");

  nalo::fdbuf to(std::move(from));
  EXPECT_TRUE(!from.is_open() && from.sungetc() == -1);
  EXPECT_TRUE(nalo::has_facet<nalo::ctype<char>>(from.getloc()));
  EXPECT_FALSE(nalo::has_facet<nalo::ctype<char>>(to.getloc()));
  EXPECT_EQ(taken(to, 4), "cdef");

  nalo::fdbuf pending(full.ends[0]);
  put(pending, "z");
  EXPECT_THROW(pending = std::move(to), nalo::fd_output_error);
  EXPECT_TRUE(pending.is_open() && to.is_open());
  from = std::move(to);
  swap(from, pending);
  EXPECT_THROW(from.pubsync(), nalo::fd_output_error);
  EXPECT_FALSE(to.is_open());
  EXPECT_EQ(put(pending, "12345678"), 8) << "the size goes along";
  EXPECT_EQ(content(sockets.ends[1]), "xy12345678");
}

TEST(Fdbuf, TransfersGoOnAfterInterruptions) {
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGUSR1, &action, nullptr);
  const std::string text = sample_text<char>(1'500'000);
  std::string arrived;
  const descriptors sockets("sockets");
  for (const int fd : sockets.ends) ::fcntl(fd, F_SETFL, 0);  // they wait
  std::thread echo([&, waiting = ::pthread_self()] {
    nalo::fdbuf end(sockets.ends[1]);
    for (std::size_t step = 0; step < 60; ++step) {
      ::usleep(1000);
      ::pthread_kill(waiting, SIGUSR1);
      if (step < 30) {
        arrived += taken(end, 50'000);
      } else {
        end.sputn(&arrived[(step - 30) * 50'000], 50'000);
      }
    }
  });
  // A part goes past the put area, and the rest through it.
  nalo::fdbuf buffer(sockets.ends[0], fd_ownership::borrowed, 1'000'000);
  buffer.sputn(text.data(), 1'000'000);
  buffer.sputn(text.data() + 1'000'000, 500'000);
  EXPECT_TRUE(taken(buffer, text.size()) == text);
  echo.join();
}

// Nothing may unwind through a destructor, which writes. Opening may unwind.
TEST(Fdbuf, IsDestroyedAndOpenedUnderCancellation) {
  const descriptors file("file");
  int is_off = 1;
  std::thread([&] {
    {
      nalo::fdbuf buffer(file.ends[0]);
      buffer.sputc('x');
      ::pthread_cancel(::pthread_self());
    }
    ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &is_off);
    try {  // makes the address sanitizer forget the frames that are about to go
      throw 0;
    } catch (int) {
    }
    const nalo::fdbuf opened("/dev/null");
    is_off = -1;
  }).join();
  EXPECT_EQ(is_off, PTHREAD_CANCEL_ENABLE);
  EXPECT_EQ(content(file.ends[1]), "x");
}

}  // namespace
