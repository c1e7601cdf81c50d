// The buffers over descriptors, memory, strings and the standard library's.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
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

#include "failing_source.h"
#include "text.h"

namespace {

using nalo::fd_ownership, nalo::ios_base;
using nalo::testing::check_input, nalo::testing::check_output;
using nalo::testing::sample_text, nalo::testing::violations;
using nalo_test::shown, nalo_test::widened;

constexpr auto in = ios_base::in, out = ios_base::out, app = ios_base::app;
constexpr auto ate = ios_base::ate, trunc = ios_base::trunc;

template <class Char>
using over_std =
    std::conditional_t<sizeof(Char) == 1, nalo::stdbuf, nalo::wstdbuf>;
template <class Char>
using over_nalo =
    std::conditional_t<sizeof(Char) == 1, nalo::nalobuf, nalo::wnalobuf>;

// A buffer of nalo over one of the standard library's over one of nalo's.
template <class Char>
struct sandwich : over_std<Char> {
  explicit sandwich(std::basic_string_view<Char> text = {})
      : over_std<Char>(&middle), inside(nalo::basic_string<Char>(text)) {}
  auto view() const { return inside.view(); }

  nalo::basic_stringbuf<Char> inside;
  over_nalo<Char> middle{&inside};
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
long put(nalo::basic_streambuf<Char>& to, const std::string& s) {
  const auto wide = widened<Char>(s);
  return to.sputn(wide.data(), static_cast<long>(wide.size()));
}

template <class Char>
class Buffers : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Buffers, Chars);

TYPED_TEST(Buffers, KeepTheContract) {
  using span = nalo::basic_spanbuf<TypeParam>;
  using string = nalo::basic_stringbuf<TypeParam>;
  using view = nalo::basic_viewbuf<TypeParam>;
  const auto text = sample_text<TypeParam>(300);
  auto array = text;
  const auto check_in = [&](auto make) {
    EXPECT_EQ(check_input<TypeParam>(make, text), violations());
  };
  check_in([&] { return std::make_unique<view>(array); });
  check_in([&] { return std::make_unique<sandwich<TypeParam>>(text); });
  check_in([&] {
    array = text;  // what is put back may have changed it
    return std::make_unique<span>(array);
  });
  const auto check_out = [&](auto make) {
    const auto written = [](const auto& buffer) { return buffer.view(); };
    EXPECT_EQ(check_output<TypeParam>(make, written), violations());
  };
  check_out([] { return std::make_unique<sandwich<TypeParam>>(); });
  for (const auto mode : {out, in | out, in | app}) {
    check_out([=] { return std::make_unique<string>(mode); });
    check_out([&] { return std::make_unique<span>(array, mode | trunc); });
  }
}

// What comes of writing, reading and writing again, and of seeks in the input,
// the output and both.
template <class Buffer>
std::string played(Buffer& buffer) {
  using Char = typename Buffer::char_type;
  std::ostringstream log;
  log << put(buffer, "xy") << ' ' << shown<Char>(buffer.view()) << ' ';
  log << shown<Char>(taken(buffer, 9)) << ' ' << put(buffer, "z") << ' ';
  log << buffer.in_avail() << " at";
  for (const auto mode : {in, out, in | out}) {
    for (const long to : {1, 7}) {
      log << ' ' << nalo::streamoff(buffer.pubseekpos(to, mode));
    }
    log << ' ' << nalo::streamoff(buffer.pubseekoff(0, ios_base::cur, mode));
  }
  return log.str();
}

TYPED_TEST(Buffers, DoWhatTheirModeSays) {
  const struct {
    ios_base::openmode mode;
    const char* log;
  } rows[] = {
      {in, "0 abcd abcd 0 -1 at 1 -1 1 -1 -1 -1 1 -1 1"},
      {out, "2 xy  1 -1 at -1 -1 -1 1 -1 1 1 -1 1"},
      {in | out, "2 xycd xycd 1 -1 at 1 -1 1 1 -1 1 1 -1 -1"},
      {out | ate | trunc, "2 xy  1 -1 at -1 -1 -1 1 -1 1 1 -1 1"},
      {in | app | trunc, "2 xy xy 1 1 at 1 -1 1 -1 -1 3 -1 -1 -1"},
  };
  const auto text = widened<TypeParam>("abcd");
  for (const auto& row : rows) {
    auto array = text;
    nalo::basic_spanbuf<TypeParam> span(array, row.mode);
    EXPECT_EQ(played(span), row.log) << row.mode;
    const bool is_both = row.mode != in && (row.mode & in) != 0;
    EXPECT_EQ(span.sputbackc('q') == 'q', is_both) << row.mode;
  }
  // The wide character that reads as eof is none that can be put back.
  auto array = text;
  nalo::basic_spanbuf<TypeParam> span(array);
  span.sbumpc();
  span.sputbackc(static_cast<TypeParam>(-1));
  EXPECT_EQ(span.sgetc(), sizeof(TypeParam) > 1 ? 'b' : 0xFF);
  sandwich<TypeParam> adapters(text);
  EXPECT_EQ(played(adapters), rows[2].log);
  adapters.pubseekpos(3, out);
  EXPECT_EQ(adapters.sbumpc(), 'y');
  // A string keeps its text.
  const nalo::basic_string<TypeParam> string(text);
  nalo::basic_stringbuf<TypeParam> at_end(string, out | ate | trunc);
  EXPECT_EQ(played(at_end), "2 abcdxy  1 -1 at -1 -1 -1 1 7 7 1 7 7");
  nalo::basic_stringbuf<TypeParam> appends(string, in | app | trunc);
  EXPECT_EQ(played(appends), "2 abcdxy abcdxy 1 1 at 1 7 7 -1 7 7 -1 7 -1");
}

TYPED_TEST(Buffers, CopyNoStringThatNeedNotBe) {
  using string = nalo::basic_string<TypeParam>;
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  const TypeParam literal[] = {'b', 0};
  const string text(1000, 'a');
  stringbuf reader(text, in);
  EXPECT_EQ(put(reader, "x"), 0);
  EXPECT_EQ(reader.str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(text, in).str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(string::c_str(literal), in).view().data(), literal);

  // A text that others have is copied before it is written.
  stringbuf writer(text);
  put(writer, "xyz");
  writer.str(string::c_str(literal));
  EXPECT_EQ(shown<TypeParam>(writer.str()), "b");
  put(writer, "xy");
  EXPECT_EQ(shown<TypeParam>(writer.str()), "xy");
  EXPECT_TRUE(text[0] == 'a' && literal[0] == 'b');

  string own(1000, 'c');
  own.reserve(2000);
  const TypeParam* const chunk = own.c_str();
  stringbuf owner(std::move(own));
  put(owner, "x");
  const string result = std::move(owner).str();
  EXPECT_EQ(result.c_str(), chunk);
  EXPECT_EQ(result.size(), 1000u);
  EXPECT_EQ(string(result).c_str(), chunk) << "it cannot be shared";
  EXPECT_EQ(put(owner, "y"), 1);
  EXPECT_EQ(owner.view().size(), 1u);
}

TYPED_TEST(Buffers, KeepTheirTextWhenMemoryIsRefused) {
  nalo_test::failing_source source;
  nalo::allocator memory(source);
  using string = nalo::basic_string<TypeParam>;
  nalo::basic_stringbuf<TypeParam> buffer{string(memory)};
  source.refuse_after(1);
  std::size_t written = 0;
  const auto write = [&] {
    for (;; ++written) buffer.sputc('x');
  };
  EXPECT_THROW(write(), nalo::allocation_error);
  // A text that others have would be copied.
  const string text(1000, 'y', memory);
  source.refuse_after(0);
  EXPECT_THROW(buffer.str({text, memory}), nalo::allocation_error);
  EXPECT_EQ(written, sizeof(TypeParam) == 1 ? 59u : 14u);
  EXPECT_EQ(taken(buffer, 1000), std::basic_string<TypeParam>(written, 'x'));
}

TYPED_TEST(Buffers, PassBetweenTheLibrariesWithoutLoss) {
  std::basic_stringbuf<TypeParam> below(widened<TypeParam>("abcdef"));
  over_std<TypeParam> buffer(&below);
  EXPECT_EQ(below.sbumpc(), 'a');
  EXPECT_EQ(buffer.sbumpc(), 'b');
  EXPECT_EQ(below.sbumpc(), 'c');
  buffer.pubseekpos(1, in);
  EXPECT_EQ(below.sbumpc(), 'b');
  put(buffer, "x");
  below.sputc('y');
  put(buffer, "z");
  EXPECT_EQ(shown<TypeParam>(below.str()), "xyzdef");

  // Whole positions reach the other side and come back.
  struct : nalo::basic_streambuf<TypeParam> {
    nalo::streampos seekpos(nalo::streampos to, ios_base::openmode) override {
      return to;
    }
  } own;
  over_nalo<TypeParam> over(&own);
  std::streampos place(5);
  place.state({3, {}});
  EXPECT_EQ(over.pubseekpos(place).state().__count, 3);
  EXPECT_EQ(over.below_buffer_(), &own);
}

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
      {in | trunc, "cannot open: Invalid argument"},
  };
  for (const auto& row : rows) {
    const descriptors file("file", "abcd");
    std::string result;
    try {
      const auto path = "/proc/self/fd/" + std::to_string(file.ends[0]);
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
