// The buffers over descriptors, memory, strings and the standard library's.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/buffers/string>
#include <nalo/istream>
#include <nalo/testing>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <climits>
#include <cwchar>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "failing_source.h"
#include "text.h"

namespace {

using nalo::fd_ownership, nalo::ios_base;
using nalo::testing::check_input, nalo::testing::check_output;
using nalo::testing::sample_text;
using nalo_test::shown, nalo_test::widened;

constexpr auto in = ios_base::in, out = ios_base::out, app = ios_base::app;
constexpr auto ate = ios_base::ate, trunc = ios_base::trunc;

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
      : inside(nalo::basic_string<Char>(text)) {}
  nalo::basic_stringbuf<Char> inside;
  over_nalo<Char> middle{&inside};
  over_std<Char> outside{&middle};
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

// Does the steps of a script, in which words are steps.
template <class Do>
std::string played(const std::string& script, Do done) {
  std::istringstream steps(script);
  std::string log;
  for (std::string step; steps >> step;) {
    log += ' ';
    try {
      log += done(step);
    } catch (const nalo::fd_error& error) {
      const bool is_input = dynamic_cast<const nalo::fd_input_error*>(&error);
      log += is_input ? "in:" : "out:";
      log += ::strerrorname_np(error.code());
    }
  }
  return log.substr(1);
}

// Does a step of a script and answers what came of it:
//   <3  takes up to three characters   >ab  writes "ab"
//   ?   counts what can be read        !    synchronizes
//   -   puts the last one back         @    tells the position
//   @3  seeks, as @i3 and @o3 in the input and the output only
template <class Char>
std::string done(nalo::basic_streambuf<Char>& buffer, const std::string& step) {
  const std::string argument = step.substr(1);
  const auto is = [&](char what) { return step[0] == what; };
  if (is('<')) return shown<Char>(taken(buffer, std::stoul(argument)));
  if (is('>')) return std::to_string(put(buffer, argument));
  if (is('?')) return std::to_string(buffer.in_avail());
  if (is('!')) return std::to_string(buffer.pubsync());
  if (is('-')) return std::to_string(buffer.sungetc());
  const char side = argument[0];
  const auto mode = side == 'i' ? in : side == 'o' ? out : in | out;
  const auto to = argument.substr(mode == (in | out) ? 0 : 1);
  const nalo::streamoff pos = to.empty()
                                  ? buffer.pubseekoff(0, ios_base::cur, mode)
                                  : buffer.pubseekpos(std::stol(to), mode);
  return std::to_string(pos);
}

template <class Char>
class Buffers : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(Buffers, Chars);

TYPED_TEST(Buffers, KeepTheContract) {
  using buffer = nalo::basic_streambuf<TypeParam>;
  using span = nalo::basic_spanbuf<TypeParam>;
  using string = nalo::basic_stringbuf<TypeParam>;
  using view = nalo::basic_viewbuf<TypeParam>;
  const auto text = sample_text<TypeParam>(300);
  const nalo::basic_string<TypeParam> copy{
      std::basic_string_view<TypeParam>(text)};
  auto array = text;
  std::optional<sandwich<TypeParam>> adapters;
  const std::function<std::shared_ptr<buffer>()> inputs[] = {
      [&] { return std::make_shared<view>(text); },
      [&] { return std::make_shared<string>(copy); },
      [&] { return std::make_shared<string>(copy, in); },
      [&] {
        array = text;  // what is put back may have changed it
        return std::make_shared<span>(array);
      }};
  for (const auto& make : inputs) {
    expect_none("input", check_input<TypeParam>(make, text));
  }
  const auto adapted_input = [&] { return &adapters.emplace(text).outside; };
  expect_none("adapters", check_input<TypeParam>(adapted_input, text));
  const auto nothing = [] { return std::make_unique<string>(); };
  expect_none("nothing", check_input<TypeParam>(nothing, {}));

  const auto viewed = [](const auto& memory) { return memory.view(); };
  for (const auto mode : {out, in | out, in | app}) {
    const auto a_string = [&] { return std::make_unique<string>(mode); };
    expect_none("string", check_output<TypeParam>(a_string, viewed));
    const auto a_span = [&] {
      return std::make_unique<span>(array, mode | trunc);
    };
    expect_none("span", check_output<TypeParam>(a_span, viewed));
  }
  const auto adapted_output = [&] { return &adapters.emplace().outside; };
  const auto written = [&](const auto&) { return adapters->inside.view(); };
  expect_none("adapters", check_output<TypeParam>(adapted_output, written));
}

TYPED_TEST(Buffers, DoWhatTheirModeSays) {
  const std::string script = ">xy * <9 >z ? @o1 @i1 @o7 @o @i @";
  const struct {
    ios_base::openmode mode;
    const char* span;  // over "abcd"
    const char* string;
  } rows[] = {
      {in, "0 abcd abcd 0 -1 -1 1 -1 -1 1 1",
       "0 abcd abcd 0 -1 -1 1 -1 -1 1 1"},
      {out, "2 xy  1 -1 1 -1 -1 1 -1 1", "2 xycd  1 -1 1 -1 -1 1 -1 1"},
      {in | out, "2 xycd xycd 1 -1 1 1 -1 1 1 -1",
       "2 xycd xycd 1 -1 1 1 -1 1 1 -1"},
      {in | out | trunc, "2 xy xy 1 1 1 1 -1 1 1 -1",
       "2 xycd xycd 1 -1 1 1 -1 1 1 -1"},
      {out | ate | trunc, "2 xy  1 -1 1 -1 -1 1 -1 1",
       "2 abcdxy  1 -1 1 -1 7 7 -1 7"},
      {in | app | trunc, "2 xy xy 1 1 -1 1 -1 3 1 -1",
       "2 abcdxy abcdxy 1 1 -1 1 7 7 1 -1"},
  };
  const auto play = [&](auto& buffer, const auto& memory) {
    return played(script, [&](const std::string& step) {
      return step == "*" ? shown<TypeParam>(memory.view()) : done(buffer, step);
    });
  };
  for (const auto& row : rows) {
    auto array = widened<TypeParam>("abcd");
    nalo::basic_spanbuf<TypeParam> span(array, row.mode);
    nalo::basic_stringbuf<TypeParam> string(
        nalo::basic_string<TypeParam>(array.c_str()), row.mode);
    EXPECT_EQ(play(span, span), row.span) << row.mode;
    EXPECT_EQ(play(string, string), row.string) << row.mode;
  }
  sandwich<TypeParam> adapters(widened<TypeParam>("abcd"));
  EXPECT_EQ(play(adapters.outside, adapters.inside), rows[2].string);
}

TYPED_TEST(Buffers, CopyNoStringThatNeedNotBe) {
  using string = nalo::basic_string<TypeParam>;
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  const TypeParam literal[] = {'b', 0};
  const string text(1000, 'a');
  const stringbuf reader(text, in);
  EXPECT_EQ(reader.view().data(), text.c_str());
  EXPECT_EQ(reader.str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(text, in).str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(string::c_str(literal), in).view().data(), literal);

  // A text that others have is copied before it is written.
  stringbuf writer(text);
  put(writer, "x");
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
  EXPECT_EQ(owner.view().size(), 0u);
  EXPECT_EQ(put(owner, "y"), 1);
}

TYPED_TEST(Buffers, TellCharactersFromTheEnd) {
  struct open : nalo::basic_spanbuf<TypeParam> {
    using nalo::basic_spanbuf<TypeParam>::basic_spanbuf;
    using nalo::basic_spanbuf<TypeParam>::overflow;
  };
  auto array = widened<TypeParam>("ab");
  open buffer(array);
  constexpr auto eof = nalo::char_traits<TypeParam>::eof();
  EXPECT_NE(buffer.overflow(eof), eof);
  EXPECT_EQ(buffer.overflow('c'), eof);
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
  std::size_t written = 0;
  const auto write = [&] {
    for (;; ++written) buffer.sputc('x');
  };
  EXPECT_THROW(write(), nalo::allocation_error);
  // A text that others have would be copied.
  const nalo::basic_string<TypeParam> text(1000, 'y', memory);
  source.refuse_after(0);
  EXPECT_THROW(buffer.str({text, memory}), nalo::allocation_error);
  EXPECT_EQ(written, sizeof(TypeParam) == 1 ? 59u : 14u);
  EXPECT_EQ(taken(buffer, 1000), std::basic_string<TypeParam>(written, 'x'));
}

TYPED_TEST(Buffers, PassBetweenTheLibrariesWithoutLoss) {
  std::basic_stringbuf<TypeParam> below(widened<TypeParam>("abcdef"));
  over_std<TypeParam> buffer(&below);
  EXPECT_EQ(buffer.below_buffer_(), &below);
  const auto log = played("s <1 s @i1 s >x p >z", [&](const std::string& step) {
    if (step == "s") return std::string(1, char(below.sbumpc()));
    if (step == "p") return std::to_string(below.sputc('y'));
    return done<TypeParam>(buffer, step);
  });
  EXPECT_EQ(log, "a b c 1 b 1 121 1");
  EXPECT_EQ(shown<TypeParam>(below.str()), "xyzdef");

  // What one side raises, and positions, reach the other.
  struct : nalo::basic_streambuf<TypeParam> {
    nalo::streampos seekpos(nalo::streampos to, ios_base::openmode) override {
      if (to == 0) throw std::runtime_error("nowhere");
      return to;
    }
  } own;
  over_nalo<TypeParam> over(&own);
  EXPECT_THROW(over.pubseekpos(0), std::runtime_error);
  std::streampos place(5);
  std::mbstate_t state = {};
  state.__count = 3;
  place.state(state);
  EXPECT_EQ(over.pubseekpos(place), place);
  EXPECT_EQ(over.pubseekpos(place).state().__count, 3);
}

std::string path(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

// What a file holds, or has come to an end; the size of a long text.
std::string content(int fd) {
  std::string text(100'000, '\0');
  ssize_t n = ::pread(fd, text.data(), text.size(), 0);
  if (n < 0) n = ::read(fd, text.data(), text.size());
  text.resize(n < 0 ? 0 : static_cast<std::size_t>(n));
  return text.size() < 2000 ? text : std::to_string(text.size());
}

// A descriptor of some kind from which a text can be read, and its other end,
// or the same again. Neither waits.
struct target {
  explicit target(std::string_view kind, std::string_view text = {}) {
    if (kind == "sockets") {
      ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0, ends);
    } else if (kind == "pipe" || kind == "pipe out") {
      EXPECT_EQ(::pipe2(ends, O_NONBLOCK), 0);
      ::fcntl(ends[0], F_SETPIPE_SZ, 4096);
      if (kind == "pipe out") std::swap(ends[0], ends[1]);
    } else {
      ends[0] = kind == "file"   ? ::memfd_create("test", 0)
                : kind == "full" ? ::open("/dev/full", O_WRONLY)
                                 : ::open(kind.data(), O_RDONLY);
      ends[1] = ::dup(ends[0]);
    }
    EXPECT_TRUE(text.empty() ||
                ::pwrite(ends[1], text.data(), text.size(), 0) > 0 ||
                ::write(ends[1], text.data(), text.size()) > 0);
  }
  ~target() {
    for (const int fd : ends) ::close(fd);
  }

  int ends[2];
};

TEST(Fdbuf, KeepsTheContract) {
  const std::string text = sample_text<char>(300);
  for (const std::size_t size : {0u, 1u, 7u, 64u, 1000u}) {
    const auto over = [=](const char* kind, std::string_view input) {
      return [=] {
        const target on(kind, input);
        return std::make_unique<nalo::fdbuf>(::dup(on.ends[0]),
                                             fd_ownership::owned, size);
      };
    };
    const auto written = [](const auto& buffer) {
      return content(buffer.fd());
    };
    expect_none("file", check_input<char>(over("file", text), text));
    expect_none("pipe", check_input<char>(over("pipe", text), text));
    expect_none("output", check_output<char>(over("file", ""), written));
  }
}

// Beside the steps of all buffers:
//   #   tells where the descriptor is  *    tells what came to the other end
//   .   closes                         +ab  writes at the other end
//   a   appends from now on            /    closes the other end
//   =n  writes so many characters
// In the end the buffer is gone, and the descriptor if it was owned.
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
      {"file", "abcdefgh", 4, "<5 #", "abcde 5"},
      {"file", "", 4, ">abc # >defg # >h # ! #", "3 0 4 7 1 7 0 8"},
      // Reading and writing share a position, and what was not read is left.
      {"file", "abcdef", 99, "<1 >x ? <1 # >y @ ! # *",
       "a 1 4 c 6 1 4 0 4 axcyef"},
      {"file", "abcdef", 99, "<1 >x . . <1 >y !",
       "a 1 -1 -1 in:EBADF out:EBADF 0"},
      {"file", "", 99, ">x . >y", "1 -1 out:EBADF"},
      {"file", "abcdefghijklmnopq", 4, "<4 <4 - - - - - - - - - <17 - -",
       "abcd efgh 104 103 102 101 100 99 98 97 -1 abcdefghijklmnopq 113 112"},
      {"file", "abcdef", 99, "<3 @4 - <9 ? @99 <1 ?", "abc 4 -1 ef -1 99  -1"},
      {"file", "abcdef", 99, "<2 ! # <1 . #", "ab 0 2 c -1 3"},
      {"file", "abcdef", 99, ">xy @ #", "2 2 0"},
      {"file", "abcdef", 99, "a >xy @ #", "0 2 8 8"},
      // Elsewhere they are apart, and asking for input sends the output.
      {"sockets", "unread", 99, "? <2 >question ! * <3 @ <1",
       "6 un 8 0 question rea -1 d"},
      {"sockets", "", 99, ">? <1 * +! <1", "1 in:EAGAIN ? 1 !"},
      {"pipe", "", 99, "<1 +abc ? <1 ? . <1", "in:EAGAIN 3 3 a 2 -1 in:EBADF"},
      {"pipe", "ab", 99, "/ <3 <3", "0 ab "},
      // What could not be written is pending.
      {"pipe out", "", 9000, "=7000 ! * ! *", "7000 out:EAGAIN 4096 0 2904"},
      {"pipe out", "", 99, ">x / !", "1 0 out:EPIPE"},
      {"full", "", 99, ">x ! .", "1 out:ENOSPC out:ENOSPC"},
      // What cannot tell what there is.
      {"/", "", 99, "? <1", "0 in:EISDIR"},
      {"/proc/self/status", "", 99, "?", "0"},
      {"/nonexistent", "", 99, "? <1 >x !", "0 in:EBADF out:EBADF 0"},
  };
  ::signal(SIGPIPE, SIG_IGN);
  for (const auto& row : rows) {
    for (const auto ownership : {fd_ownership::borrowed, fd_ownership::owned}) {
      target on(row.kind, row.text);
      const int fd = on.ends[0], other = on.ends[1];
      auto buffer = std::make_unique<nalo::fdbuf>(fd, ownership, row.size);
      const auto do_step = [&](const std::string& step) {
        const auto argument = step.substr(1);
        const auto is = [&](char what) { return step[0] == what; };
        if (is('#')) return std::to_string(::lseek(other, 0, SEEK_CUR));
        if (is('*')) return content(other);
        if (is('a')) return std::to_string(::fcntl(fd, F_SETFL, O_APPEND));
        if (is('+'))
          return std::to_string(
              ::write(other, argument.data(), argument.size()));
        if (is('/')) return std::to_string(::close(other));
        if (is('='))
          return std::to_string(
              put(*buffer, std::string(std::stoul(argument), 'x')));
        if (!is('.')) return done(*buffer, step);
        buffer->close();
        return std::to_string(buffer->fd());
      };
      EXPECT_EQ(played(row.script, do_step), row.log)
          << row.kind << ": " << row.script;
      buffer.reset();
      EXPECT_EQ(::fcntl(fd, F_GETFD) == -1,
                fd == -1 || ownership == fd_ownership::owned)
          << row.script;
    }
  }
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
      {trunc, "cannot open: Invalid argument"},
  };
  for (const auto& row : rows) {
    const target file("file", "abcd");
    std::string result;
    try {
      nalo::fdbuf buffer(path(file.ends[0]).c_str(), row.mode);
      EXPECT_NE(::fcntl(buffer.fd(), F_GETFD) & FD_CLOEXEC, 0);
      put(buffer, "xy");
      buffer.close();
      result = content(file.ends[1]);
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
  EXPECT_THROW(nalo::fdbuf(99999, fd_ownership::owned).close(),
               nalo::fd_output_error);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  // Those end the program instead.
  EXPECT_THROW(nalo::fdbuf(-1, fd_ownership::borrowed, SIZE_MAX).sgetc(),
               std::bad_alloc);
#endif
  EXPECT_THROW(nalo::tThrow(nalo::fd_error("file", 7, "fails", EPIPE)),
               nalo::fd_error);
}

// Acts only while a transfer waits: every second interruption moves a block
// between descriptors.
volatile sig_atomic_t interruptions = 0, source = -1, sink = -1;
void interrupt(int) {
  interruptions = interruptions + 1;
  if (interruptions % 2 != 0) return;
  char block[10'000];
  const ssize_t n = ::read(source, block, sizeof block);
  if (n > 0 && ::write(sink, block, static_cast<std::size_t>(n)) != n) abort();
}

TEST(Fdbuf, TransfersGoOnAfterInterruptions) {
  const std::string text = sample_text<char>(400'000);
  const target sockets("sockets"), from("file", text), to("file");
  ::fcntl(sockets.ends[0], F_SETFL, 0);  // it waits
  nalo::fdbuf buffer(sockets.ends[0]), copy(to.ends[0]);
  struct sigaction action = {}, before;
  action.sa_handler = interrupt;
  ::sigaction(SIGALRM, &action, &before);
  const itimerval often = {{0, 1000}, {0, 1000}}, never = {};
  source = sockets.ends[1];
  sink = to.ends[1];
  ::setitimer(ITIMER_REAL, &often, nullptr);
  EXPECT_EQ(buffer.sputn(text.data(), 400'000), 400'000);
  while (::lseek(to.ends[1], 0, SEEK_CUR) < 400'000) ::pause();
  char more;
  EXPECT_EQ(::read(sockets.ends[1], &more, 1), -1);
  source = from.ends[0];
  sink = sockets.ends[1];
  EXPECT_TRUE(taken(buffer, text.size()) == text);
  ::setitimer(ITIMER_REAL, &never, nullptr);
  ::sigaction(SIGALRM, &before, nullptr);
  copy.pubseekpos(0);
  EXPECT_TRUE(taken(copy, text.size() + 1) == text);
  EXPECT_GT(interruptions, 10);
}

// Nothing may unwind through a destructor, which writes. Opening may unwind.
TEST(Fdbuf, IsDestroyedAndOpenedUnderCancellation) {
  const target pipe("pipe out");
  bool goes_on = false;
  std::thread thread([&] {
    {
      nalo::fdbuf buffer(pipe.ends[0]);
      buffer.sputc('x');
      ::pthread_cancel(::pthread_self());
    }
    try {  // makes the address sanitizer forget the frames that are about to go
      throw 0;
    } catch (int) {
    }
    const nalo::fdbuf opened("/dev/null");
    goes_on = true;
  });
  thread.join();
  EXPECT_FALSE(goes_on);
  EXPECT_EQ(content(pipe.ends[1]), "x");
}

}  // namespace
