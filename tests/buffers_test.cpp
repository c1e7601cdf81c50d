// The buffers over descriptors, memory, strings and the standard library's.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
#include <nalo/istream>
#include <nalo/ostream>
#include <nalo/testing>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <istream>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "failing_source.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo::testing::check_input;
using nalo::testing::check_output;
using nalo::testing::sample_text;
using nalo_test::shown;
using nalo_test::widened;
using traits = nalo::streambuf::traits_type;

constexpr auto mode_in = ios_base::in, mode_out = ios_base::out;
constexpr auto mode_app = ios_base::app, mode_ate = ios_base::ate;
constexpr auto mode_trunc = ios_base::trunc;

void expect_none(const char* what, const nalo::testing::violations& found) {
  for (const auto& violation : found)
    ADD_FAILURE() << what << ": " << violation;
}

template <class Char>
using over_std =
    std::conditional_t<sizeof(Char) == 1, nalo::stdbuf, nalo::wstdbuf>;
template <class Char>
using over_nalo =
    std::conditional_t<sizeof(Char) == 1, nalo::nalobuf, nalo::wnalobuf>;

// A buffer of nalo over one of the standard library's over one of nalo's.
template <class Char>
struct sandwich {
  explicit sandwich(std::basic_string_view<Char> text = {})
      : inside(nalo::basic_string<Char>(text)),
        middle(&inside),
        outside(&middle) {}
  nalo::basic_stringbuf<Char> inside;
  over_nalo<Char> middle;
  over_std<Char> outside;
};

// Takes up to size characters.
template <class Char>
std::basic_string<Char> taken(nalo::basic_streambuf<Char>& from,
                              std::size_t size) {
  std::basic_string<Char> text(size, Char());
  const auto n = from.sgetn(text.data(), static_cast<long>(size));
  text.resize(static_cast<std::size_t>(n));
  return text;
}
template <class Char>
long put(nalo::basic_streambuf<Char>& to, const char* s) {
  const auto wide = widened<Char>(s);
  return to.sputn(wide.data(), static_cast<long>(wide.size()));
}

template <class Char>
class Buffers : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Buffers, Chars);

TYPED_TEST(Buffers, KeepTheContract) {
  using nalo::basic_spanbuf, nalo::basic_viewbuf;
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  using outer = over_std<TypeParam>;
  const auto text = sample_text<TypeParam>(300);
  const nalo::basic_string<TypeParam> copy{
      std::basic_string_view<TypeParam>(text)};
  const auto input = [&](const char* what, auto make) {
    expect_none(what, check_input<TypeParam>(make, text));
  };
  input("view",
        [&] { return std::make_unique<basic_viewbuf<TypeParam>>(text); });
  input("string", [&] { return std::make_unique<stringbuf>(copy); });
  input("const string",
        [&] { return std::make_unique<stringbuf>(copy, mode_in); });
  expect_none("empty", check_input<TypeParam>(
                           [] { return std::make_unique<stringbuf>(); }, {}));
  auto array = text;
  input("span", [&] {
    array = text;  // what is put back may have changed it
    return std::make_unique<basic_spanbuf<TypeParam>>(std::span(array));
  });
  input("adapters", [&] {
    const auto all = std::make_shared<sandwich<TypeParam>>(text);
    return std::shared_ptr<outer>(all, &all->outside);
  });

  const auto viewed = [](const auto& buffer) { return buffer.view(); };
  const auto output = [&](const char* what, auto make, auto written) {
    expect_none(what, check_output<TypeParam>(make, written));
  };
  for (const auto mode : {mode_out, mode_in | mode_out, mode_in | mode_app}) {
    output(
        "string", [=] { return std::make_unique<stringbuf>(mode); }, viewed);
  }
  for (const auto mode : {mode_out, mode_in | mode_out | mode_trunc}) {
    output(
        "span",
        [&] {
          return std::make_unique<basic_spanbuf<TypeParam>>(std::span(array),
                                                            mode);
        },
        viewed);
  }
  stringbuf* target = nullptr;
  output(
      "adapters",
      [&] {
        const auto all = std::make_shared<sandwich<TypeParam>>();
        target = &all->inside;
        return std::shared_ptr<outer>(all, &all->outside);
      },
      [&](const auto&) { return target->view(); });
}

// Each over "abcd", into which "xy" is written.
TYPED_TEST(Buffers, DoWhatTheirModeSays) {
  const struct {
    ios_base::openmode mode;
    long put;
    const char* span;       // the text then
    const char* span_rest;  // what can be read then
    const char* string;
    const char* string_rest;
  } rows[] = {
      {mode_in, 0, "abcd", "abcd", "abcd", "abcd"},
      {mode_out, 2, "xy", "", "xycd", ""},
      {mode_in | mode_out, 2, "xycd", "xycd", "xycd", "xycd"},
      {mode_in | mode_out | mode_trunc, 2, "xy", "xy", "xycd", "xycd"},
      {mode_out | mode_ate | mode_trunc, 2, "xy", "", "abcdxy", ""},
      {mode_in | mode_app | mode_trunc, 2, "xy", "xy", "abcdxy", "abcdxy"},
  };
  for (const auto& row : rows) {
    auto array = widened<TypeParam>("abcd");
    nalo::basic_spanbuf<TypeParam> span(array, row.mode);
    nalo::basic_stringbuf<TypeParam> string(
        nalo::basic_string<TypeParam>(array.c_str()), row.mode);
    EXPECT_EQ(put(span, "xy"), row.put) << row.mode;
    EXPECT_EQ(put(string, "xy"), row.put) << row.mode;
    EXPECT_EQ(shown<TypeParam>(span.view()), row.span) << row.mode;
    EXPECT_EQ(shown<TypeParam>(string.view()), row.string) << row.mode;
    EXPECT_EQ(shown<TypeParam>(taken(span, 9)), row.span_rest) << row.mode;
    EXPECT_EQ(shown<TypeParam>(taken(string, 9)), row.string_rest) << row.mode;
    const bool appends = (row.mode & mode_app) != 0;
    put(string, "z");
    EXPECT_EQ(string.in_avail(), appends ? 1 : -1) << row.mode;
    EXPECT_EQ(string.pubseekoff(0, ios_base::beg, mode_out) != -1,
              row.put != 0 && !appends)
        << row.mode;
    EXPECT_EQ(string.pubseekoff(0, ios_base::cur, mode_in | mode_out) != -1,
              (row.mode & mode_in) == 0 || row.put == 0)
        << row.mode;
  }
}

TYPED_TEST(Buffers, CopyNoStringThatNeedNotBe) {
  using string = nalo::basic_string<TypeParam>;
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  string text(1000, 'a');
  const TypeParam* const chunk = text.c_str();
  const stringbuf reader(text, mode_in);
  EXPECT_EQ(reader.view().data(), chunk);
  EXPECT_EQ(reader.str().c_str(), chunk);
  EXPECT_EQ(stringbuf(text, mode_in).str().c_str(), chunk);
  const TypeParam literal[] = {'b', 0};
  EXPECT_EQ(stringbuf(string::c_str(literal), mode_in).view().data(), literal);

  // A text that others have is copied before it is written.
  stringbuf writer(text);
  put(writer, "x");
  EXPECT_EQ(text[0], TypeParam('a'));
  writer.str(string::c_str(literal));
  put(writer, "xy");
  EXPECT_EQ(shown<TypeParam>(writer.str()), "xy");
  EXPECT_EQ(literal[0], TypeParam('b'));

  string own(1000, 'c');
  own.reserve(2000);
  const TypeParam* const own_chunk = own.c_str();
  stringbuf owner(std::move(own));
  put(owner, "x");
  const string result = std::move(owner).str();
  EXPECT_EQ(result.c_str(), own_chunk);
  EXPECT_EQ(result.size(), 1000u);
  EXPECT_EQ(string(result).c_str(), own_chunk) << "it cannot be shared";
  EXPECT_EQ(owner.view().size(), 0u);
  EXPECT_EQ(put(owner, "y"), 1);
}

TYPED_TEST(Buffers, PutBackAnyCharacterThatDoesNotReadAsTheEnd) {
  auto array = widened<TypeParam>("ab");
  nalo::basic_spanbuf<TypeParam> buffer(array, mode_in | mode_out);
  buffer.sbumpc();
  buffer.sputbackc(static_cast<TypeParam>(-1));
  EXPECT_EQ(shown<TypeParam>(taken(buffer, 9)),
            sizeof(TypeParam) == 1 ? "\\xFFb" : "b");
}

TYPED_TEST(Buffers, KeepTheirTextWhenMemoryIsRefused) {
  nalo_test::failing_source source;
  nalo::allocator memory(source);
  nalo::basic_stringbuf<TypeParam> buffer{
      nalo::basic_string<TypeParam>(memory)};
  source.refuse_after(1);
  std::basic_string<TypeParam> text;
  const auto write = [&] {
    for (const auto ch : sample_text<TypeParam>(1000)) {
      buffer.sputc(ch);
      text += ch;
    }
  };
  EXPECT_THROW(write(), nalo::allocation_error);
  EXPECT_TRUE(buffer.view() == text);
  EXPECT_TRUE(taken(buffer, 1000) == text);
}

TYPED_TEST(Buffers, PassBetweenTheLibrariesWithoutLoss) {
  using std_ios = std::ios_base;
  std::basic_stringbuf<TypeParam> below(
      widened<TypeParam>("one two\nthree\n4 5"));
  over_std<TypeParam> buffer(&below);
  EXPECT_EQ(buffer.below_buffer_(), &below);
  std::basic_iostream<TypeParam> std_stream(&below);
  nalo::basic_iostream<TypeParam> stream(&buffer);
  std::basic_string<TypeParam> word;
  nalo::basic_string<TypeParam> line;
  std_stream >> word;
  getline(stream, line);
  EXPECT_EQ(shown<TypeParam>(word) + shown<TypeParam>(line), "one two");
  const auto pos = stream.tellg();
  EXPECT_EQ(std_stream.tellg(), std::streamoff(pos));
  std_stream >> word;
  stream.seekg(pos);
  getline(stream, line);
  EXPECT_EQ(line, word);
  int four = 0, five = 0;
  stream >> four;
  std_stream >> five;
  EXPECT_EQ(four * 10 + five, 45);
  std_stream.clear();
  std_stream.seekp(0);
  stream << 12;
  std_stream << 3;
  stream << 45;
  EXPECT_EQ(shown<TypeParam>(below.str()), "12345wo\\x0Athree\\x0A4 5");

  // What one side raises reaches the streams of the other.
  struct : std::basic_streambuf<TypeParam> {
    typename std::basic_streambuf<TypeParam>::int_type underflow() override {
      throw std::runtime_error("std");
    }
  } std_raises;
  struct : nalo::basic_streambuf<TypeParam> {
    typename nalo::basic_streambuf<TypeParam>::int_type underflow() override {
      throw nalo::exception("file", 7, "nalo");
    }
    nalo::streampos seekpos(nalo::streampos to, ios_base::openmode) override {
      return to;
    }
  } nalo_raises;
  over_std<TypeParam> from_std(&std_raises);
  over_nalo<TypeParam> from_nalo(&nalo_raises);
  nalo::basic_istream<TypeParam> reads_std(&from_std, ios_base::badbit);
  std::basic_istream<TypeParam> reads_nalo(&from_nalo);
  reads_nalo.exceptions(std_ios::badbit);
  EXPECT_THROW(reads_std.peek(), std::runtime_error);
  EXPECT_THROW(reads_nalo.peek(), nalo::exception);
  EXPECT_TRUE(reads_std.bad() && reads_nalo.bad());

  std::mbstate_t state;
  std::memset(&state, 1, sizeof state);
  std::streampos place(5);
  place.state(state);
  const std::streampos same = from_nalo.pubseekpos(place);
  EXPECT_EQ(same, place);
  const std::mbstate_t same_state = same.state();
  EXPECT_EQ(std::memcmp(&same_state, &state, sizeof state), 0);
}

std::string numbered_text(std::size_t size) {
  std::string text;
  for (int n = 0; text.size() < size; ++n) text += std::to_string(n) + '\n';
  text.resize(size);
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

// A file in memory that begins with a text.
int file_with(std::string_view text) {
  const int fd = ::memfd_create("test", 0);
  EXPECT_EQ(::pwrite(fd, text.data(), text.size(), 0),
            static_cast<ssize_t>(text.size()));
  return fd;
}
std::string contents(int fd) {
  std::string text(100'000, '\0');
  const ssize_t n = ::pread(fd, text.data(), text.size(), 0);
  text.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
  return text;
}
constexpr auto owned = nalo::fd_ownership::owned;

TEST(Fdbuf, KeepsTheContract) {
  const std::string text = sample_text<char>(300);
  for (const std::size_t size : {0u, 1u, 7u, 64u, 1000u}) {
    expect_none("file", check_input<char>(
                            [&] {
                              return std::make_unique<nalo::fdbuf>(
                                  file_with(text), owned, size);
                            },
                            text));
    expect_none("pipe",
                check_input<char>(
                    [&] {
                      ends pipe;
                      EXPECT_EQ(::write(pipe.fds[1], text.data(), text.size()),
                                300);
                      return std::make_unique<nalo::fdbuf>(::dup(pipe.fds[0]),
                                                           owned, size);
                    },
                    text));
    expect_none(
        "output",
        check_output<char>(
            [&] {
              return std::make_unique<nalo::fdbuf>(file_with(""), owned, size);
            },
            [](const nalo::fdbuf& buffer) { return contents(buffer.fd()); }));
  }
}

TEST(Fdbuf, PutsBackAcrossItsBlocks) {
  const std::string text = numbered_text(100);
  for (const std::size_t block : {1u, 5u, 16u, 40u}) {  // in areas of 16
    nalo::fdbuf buffer(file_with(text), owned, 16);
    std::string read;
    for (int n = 0; n < 2; ++n) read += taken(buffer, block);
    taken(buffer, 8);
    for (std::size_t n = 0; n < nalo::fdbuf::putback_size; ++n) {
      ASSERT_NE(buffer.sungetc(), traits::eof()) << n << ' ' << block;
    }
    EXPECT_EQ(read + taken(buffer, 100), text) << block;
  }
}

TEST(Fdbuf, OpensFilesAsTheModeSays) {
  const struct {
    ios_base::openmode mode;
    const char* result;  // of writing "xy" over "abcd", or the error
  } rows[] = {
      {mode_in, "cannot write: Bad file descriptor"},
      {mode_out, "xy"},
      {mode_out | mode_trunc | ios_base::binary, "xy"},
      {mode_in | mode_out, "xycd"},
      {mode_in | mode_out | mode_ate, "abcdxy"},
      {mode_in | mode_out | mode_trunc, "xy"},
      {mode_app, "abcdxy"},
      {mode_out | mode_app, "abcdxy"},
      {mode_in | mode_app, "abcdxy"},
      {mode_in | mode_out | mode_app, "abcdxy"},
      {mode_in | mode_trunc, "cannot open: Invalid argument"},
      {mode_trunc, "cannot open: Invalid argument"},
  };
  for (const auto& row : rows) {
    const int file = file_with("abcd");
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    std::string result;
    try {
      nalo::fdbuf buffer(path.c_str(), row.mode);
      EXPECT_NE(::fcntl(buffer.fd(), F_GETFD) & FD_CLOEXEC, 0);
      buffer.sputn("xy", 2);
      EXPECT_EQ(
          buffer.pubseekoff(0, ios_base::cur),
          row.mode == mode_in
              ? 2
              : static_cast<long>(std::string_view(row.result).find('y') + 1));
      buffer.close();
      result = contents(file);
    } catch (const nalo::fd_error& error) {
      EXPECT_STREQ(error.file(), "sys/lib/buffers/fd.cpp");
      result = error.what();
    }
    EXPECT_EQ(result, row.result) << row.mode;
    ::close(file);
  }
  EXPECT_THROW(nalo::fdbuf("/", mode_out), nalo::fd_output_error);
}

TEST(Fdbuf, ClosesWhatItOwns) {
  const int file = file_with("0123456789");
  {
    nalo::fdbuf borrower(file);
    borrower.sbumpc();
    borrower.sputc('x');
    EXPECT_EQ(borrower.in_avail(), 8);
    EXPECT_EQ(borrower.sbumpc(), '2');
  }
  EXPECT_EQ(contents(file), "0x23456789");
  EXPECT_EQ(::lseek(file, 0, SEEK_CUR), 3);  // what was not read is left
  {
    nalo::fdbuf owner(file, owned);
    owner.sputc('y');
    owner.close();
    EXPECT_EQ(owner.fd(), -1);
    EXPECT_EQ(::fcntl(file, F_GETFD), -1);
    owner.close();
    EXPECT_THROW(owner.sgetc(), nalo::fd_input_error);
    owner.sputc('z');
    EXPECT_THROW(owner.pubsync(), nalo::fd_output_error);
  }
  { nalo::fdbuf ends_quietly(file, owned); }
  nalo::fdbuf gone(file, owned);
  EXPECT_THROW(gone.close(), nalo::fd_output_error);
  EXPECT_EQ(gone.fd(), -1);

  const int full = ::open("/dev/full", O_WRONLY);
  {
    nalo::fdbuf buffer(full, owned);
    buffer.sputc('x');
    for (int n = 0; n < 2; ++n) {
      EXPECT_THROW(buffer.close(), nalo::fd_output_error);
      EXPECT_EQ(buffer.fd(), full);
    }
  }
  EXPECT_EQ(::fcntl(full, F_GETFD), -1) << "it leaks";
}

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
  buffer.sgetc();
  EXPECT_EQ(buffer.pubseekoff(LONG_MIN, ios_base::cur), -1);
  EXPECT_TRUE(taken(buffer, text.size() + 1) == text);
  EXPECT_EQ(buffer.in_avail(), -1);
  std::fclose(file);
}

TEST(Fdbuf, KnowsNotWhetherMoreWillCome) {
  EXPECT_EQ(nalo::fdbuf(-1).in_avail(), 0);
  EXPECT_EQ(nalo::fdbuf("/proc/self/status").in_avail(), 0);
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

  EXPECT_THROW(nalo::tThrow(nalo::fd_error("file", 7, "fails", EPIPE)),
               nalo::fd_error);

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
