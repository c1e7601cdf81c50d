// The buffers over descriptors, memory, strings and the standard library's.
#include <nalo/buffers/fd>
#include <nalo/istream>
#include <nalo/ostream>

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>
#include <thread>

namespace {

using nalo::ios_base;
using traits = nalo::streambuf::traits_type;

std::string numbered_text(std::size_t size) {
  std::string text;
  for (int n = 0; text.size() < size; ++n) text += std::to_string(n) + '\n';
  text.resize(size);
  return text;
}

// Takes up to size characters.
std::string taken(nalo::streambuf& buffer, std::size_t size) {
  std::string text(size, '\0');
  const auto n = buffer.sgetn(text.data(), static_cast<long>(size));
  text.resize(static_cast<std::size_t>(n));
  return text;
}

// Two ends that are closed behind the test: of a pipe, of a pair of sockets.
struct ends {
  explicit ends(bool sockets = false) {
    const int failed =
        sockets ? ::socketpair(AF_UNIX, SOCK_STREAM, 0, fds) : ::pipe(fds);
    if (failed) throw std::system_error(errno, std::generic_category());
  }
  ~ends() {
    close(0);
    close(1);
  }
  void close(int end) {
    if (fds[end] != -1) ::close(fds[end]);
    fds[end] = -1;
  }
  int fds[2];
};

// Reads, writes, seeks and puts back at random in a file, in steps below and
// above the size of the areas, and does the same to a string and a position.
TEST(Fdbuf, FileBehavesAsTextWithOnePosition) {
  FILE* const file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::string text;
  std::ptrdiff_t pos = 0;
  bool can_unget = false;
  std::mt19937 random(20240229);
  const auto up_to = [&](std::ptrdiff_t n) {
    return std::uniform_int_distribution<std::ptrdiff_t>(0, n)(random);
  };
  const auto length = [&] { return up_to(up_to(3) == 0 ? 150'000 : 20); };
  {
    nalo::fdbuf buffer(fileno(file));
    for (int step = 0; step < 3000; ++step) {
      const auto size = static_cast<std::ptrdiff_t>(text.size());
      const auto what = up_to(5);
      SCOPED_TRACE("step " + std::to_string(step) + ", operation " +
                   std::to_string(what) + " at " + std::to_string(pos));
      const auto at = static_cast<std::size_t>(pos);
      if (what == 0) {
        const auto written = numbered_text(static_cast<std::size_t>(length()));
        buffer.sputn(written.data(), static_cast<long>(written.size()));
        text.replace(at, written.size(), written);
        pos += static_cast<std::ptrdiff_t>(written.size());
        if (!written.empty()) can_unget = false;
      } else if (what == 1) {
        const auto wanted = static_cast<std::size_t>(length());
        const std::string read = taken(buffer, wanted);
        ASSERT_TRUE(read == text.substr(at, wanted)) << wanted << " wanted";
        pos += static_cast<std::ptrdiff_t>(read.size());
        can_unget = can_unget || !read.empty();
      } else if (what == 2 && can_unget && pos > 0) {
        ASSERT_EQ(buffer.sungetc(), traits::to_int_type(text[at - 1]));
        --pos;
        can_unget = false;
      } else if (what == 3) {
        const auto target = up_to(3) == 0 ? -1 - up_to(5) : up_to(size);
        const ios_base::seekdir ways[] = {ios_base::beg, ios_base::cur,
                                          ios_base::end};
        const std::ptrdiff_t from[] = {0, pos, size};
        const auto way = static_cast<std::size_t>(up_to(2));
        const bool moves = target >= 0;
        ASSERT_EQ(buffer.pubseekoff(target - from[way], ways[way]),
                  moves ? target : -1);
        if (moves) pos = target;
        can_unget = can_unget && !moves;
      } else if (what == 4) {
        ASSERT_EQ(buffer.pubsync(), 0);
        ASSERT_EQ(::lseek(fileno(file), 0, SEEK_CUR), pos);
        can_unget = false;
      }
      ASSERT_EQ(buffer.pubseekoff(0, ios_base::cur), pos);
    }
  }
  nalo::fdbuf buffer(fileno(file));
  buffer.pubseekpos(0);
  EXPECT_EQ(buffer.in_avail(), static_cast<nalo::streamsize>(text.size()));
  EXPECT_TRUE(taken(buffer, text.size() + 1) == text);
  EXPECT_EQ(buffer.in_avail(), -1);
  std::fclose(file);
}

TEST(Fdbuf, SocketKeepsInputApartFromOutput) {
  ends sockets(true);
  nalo::fdbuf here(sockets.fds[0]), there(sockets.fds[1]);
  there.sputn("unread", 6);
  there.pubsync();
  EXPECT_EQ(here.in_avail(), 6);
  EXPECT_EQ(taken(here, 2), "un");
  here.sputn("question", 8);
  EXPECT_EQ(here.pubsync(), 0);
  EXPECT_EQ(taken(there, 8), "question");
  EXPECT_EQ(taken(here, 4), "read");
  EXPECT_EQ(here.pubseekoff(0, ios_base::cur), -1);
  // Asking for input sends what was written, so that it can be answered.
  here.sputc('?');
  std::thread peer([&] {
    there.sputc(there.sbumpc() == '?' ? '!' : '-');
    there.pubsync();
  });
  EXPECT_EQ(here.sbumpc(), '!');
  peer.join();
}

TEST(Fdbuf, ErrorsAreToldFromTheEndOfInput) {
  EXPECT_THROW(nalo::fdbuf("/nonexistent"), nalo::fd_input_error);
  EXPECT_EQ(nalo::exception::last_on_thread().message,
            "cannot open: No such file or directory");

  nalo::fdbuf directory("/");
  nalo::istream in(&directory);
  nalo::string line;
  const auto dump = nalo::exception::set_dump_handler(nullptr);
  EXPECT_FALSE(getline(in, line));
  EXPECT_TRUE(in.bad() && !in.eof()) << in.rdstate();
  EXPECT_EQ(nalo::exception::last_on_thread().message,
            "cannot read: Is a directory");
  nalo::exception::set_dump_handler(dump);

  ends pipe;
  pipe.close(0);
  nalo::fdbuf broken(pipe.fds[1]);
  nalo::ostream out(&broken, ios_base::badbit);
  const auto handler = ::signal(SIGPIPE, SIG_IGN);
  out << "text";
  try {
    out.flush();
    ADD_FAILURE() << "nothing raised";
  } catch (const nalo::fd_output_error& error) {
    EXPECT_EQ(error.code(), EPIPE);
  }
  // The text is not lost with the error.
  ends other;
  ASSERT_EQ(::dup2(other.fds[1], pipe.fds[1]), pipe.fds[1]);
  out.clear();
  out.flush();
  nalo::fdbuf reader(other.fds[0]);
  EXPECT_EQ(taken(reader, 4), "text");
  ::signal(SIGPIPE, handler);
}

volatile sig_atomic_t interruptions = 0;

// A slow peer makes transfers wait and short, signals interrupt them.
TEST(Fdbuf, TransfersGoOnAfterInterruptions) {
  const std::string text = numbered_text(400'000);
  ends sockets(true);
  sigset_t alarm;
  sigemptyset(&alarm);
  sigaddset(&alarm, SIGALRM);
  ::pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
  std::thread echo([&] {  // takes all, then gives it back
    std::string received;
    char block[20'000];
    while (received.size() < text.size()) {
      ::usleep(2000);
      const ssize_t n = ::read(sockets.fds[1], block, sizeof block);
      received.append(block, static_cast<std::size_t>(n));
    }
    for (std::size_t at = 0; at < received.size(); at += sizeof block) {
      ::usleep(2000);
      const std::string piece = received.substr(at, sizeof block);
      ASSERT_EQ(::write(sockets.fds[1], piece.data(), piece.size()),
                static_cast<ssize_t>(piece.size()));
    }
    sockets.close(1);
  });
  ::pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
  struct sigaction action = {}, old_action;
  action.sa_handler = [](int) { interruptions = interruptions + 1; };
  ::sigaction(SIGALRM, &action, &old_action);
  const itimerval often = {{0, 1000}, {0, 1000}}, never = {};
  ::setitimer(ITIMER_REAL, &often, nullptr);

  nalo::fdbuf buffer(sockets.fds[0]);
  buffer.sputn(text.data(), static_cast<long>(text.size()));
  EXPECT_EQ(buffer.pubsync(), 0);
  EXPECT_TRUE(taken(buffer, text.size() + 1) == text);

  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &old_action, nullptr);
  echo.join();
  EXPECT_GT(interruptions, 10);
}

}  // namespace
