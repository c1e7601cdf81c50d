// Buffers over file descriptors.
#include <nalo/buffers/fd>
#include <nalo/syncstream>
#include <nalo/testing>

#include "descriptor_model.h"
#include "steps.h"

namespace {

using namespace nalo_test;
using nalo::fd_ownership, nalo::fd_output_error;
using nalo::testing::check_input, nalo::testing::check_output;
using nalo::testing::sample_text, nalo::testing::violations;
using nalo_test::trunc;  // not the one of <cmath>

TEST(Fdbuf, KeepsTheContract) {
  const std::string text = sample_text<char>(300);
  const memory_file file(text);
  const auto over_file = [&] {
    return std::make_unique<nalo::fdbuf>(file.path.c_str(), in, 7u);
  };
  EXPECT_EQ(check_input<char>(over_file, text), violations());
  const auto over_new_file = [] {
    return std::make_unique<nalo::fdbuf>(memory_file().path.c_str(), in | out);
  };
  const auto written = [](const auto& buffer) { return content(buffer.fd()); };
  EXPECT_EQ(check_output<char>(over_new_file, written), violations());
}

TEST(Fdbuf, DeliversEachByteOnceOrReportsAnError) {
  for (std::uint64_t seed = 0; seed < 1000 && !HasFailure(); ++seed) {
    choices random(seed);
    descriptor_comparison both(random);
    for (int steps = 0; steps < 60 && !HasFailure(); ++steps) both.step();
    both.finish();
  }
}

// Performs a step on a buffer, or at the other end of its descriptor:
//   .   closes                   *   returns what arrived at the other end
//   #   returns the position of the descriptor
//   $   returns the number of system calls since the last $
// Returns an error as "in:" or "out:" and the errno.
std::string done_on_ends(const std::string& step, nalo::fdbuf& buffer,
                         const descriptors& on) {
  try {
    if (step == ".") return buffer.close(), std::to_string(buffer.fd());
    if (step == "*") return content(on.ends[1]);
    if (step == "#") return std::to_string(::lseek(on.ends[1], 0, SEEK_CUR));
    if (step == "$") return std::to_string(std::exchange(watched.count, 0));
    return done(step, buffer);
  } catch (const nalo::fd_error& error) {
    const bool is_input = dynamic_cast<const nalo::fd_input_error*>(&error);
    return (is_input ? "in:" : "out:") +
           std::string(::strerrorname_np(error.code()));
  }
}

TEST(Fdbuf, WorksOnDescriptorsOfEachKind) {
  const struct {
    const char *kind, *text;
    size_t size;
    const char *script, *log;
  } rows[] = {
      // The areas are of the given size, and larger blocks bypass them.
      {"file", "abcd", 0, "<1 #", "a 1"},
      {"file", "abcdefghijklmnopqrstuvw", 4, "<5 # <3 # <5 # <1 <6 #",
       "abcde 5 fgh 9 ijklm 13 n opqrst 21"},
      {"file", "", 4, ">abc # >defg # >h # ! #", "3 0 4 7 1 7 0 8"},
      // Reading and writing share the position of a file.
      {"file", "abcdef", 99, "<1 >x ? <1 # >y @ ! # *",
       "a 1 4 c 6 1 4 0 4 axcyef"},
      {"file", "abcd", 99, ">x @ *", "1 1 abcd"},
      // A file is read again to put back what has left the area.
      {"file", "abcdefghijklmnopq", 4, "<4 <4 - - - - - - - - - <17 - -",
       "abcd efgh 104 103 102 101 100 99 98 97 -1 abcdefghijklmnopq 113 112"},
      {"file", "abcdef", 99, "=3 -x @ -c @ - <9 ?", "3 -1 3 99 2 98 bcdef -1"},
      {"file", "abcdef", 99, "=3 -c @ <9", "3 99 2 cdef"},
      {"file", "abcdef", 99, "=1 - - <9", "1 97 -1 abcdef"},
      {"file", "abcdef", 99, "<2 $ -x $ <9", "ab 1 -1 0 cdef"},
      {"file", "abcdef", 99, "<1 >x . . >y <1 !",
       "a 1 -1 -1 out:EBADF in:EBADF 0"},
      // No system call if there is nothing to write or to give back.
      {"file", "", 99, "! $ >x $ ! $ ! $ <1 ! $", "0 0 1 0 0 1 0 0  0 1"},
      {"file", "abcd", 99, "<9 $ ! $ >x $ <1 $", "abcd 2 0 0 1 1  2"},
      {"file", "abcd", 2, "<2 $ <1 $ >xy $", "ab 1 c 1 2 3"},
      {"sockets", "abc", 99, "<1 $ ! $ ! >x ! $", "a 1 0 1 0 1 0 1"},
      // Elsewhere they are separate, and a request for input writes the output.
      {"sockets", "unread", 99, "? <2 >question ! * <2 @ =3 <1 . <1",
       "6 un 8 0 question re -1 -1 a -1 in:EBADF"},
      // What cannot be written stays pending.
      {"/dev/full", "", 99, "? >x ! .", "-1 1 out:ENOSPC out:ENOSPC"},
      // The size of a file of /proc is 0, and that of a directory says nothing.
      {"/", "", 99, "? <1", "0 in:EISDIR"},
      {"/proc/self/status", "", 99, "?", "0"},
  };
  for (const auto& row : rows) {
    const descriptors on(row.kind, row.text);
    nalo::fdbuf buffer(on.ends[0], fd_ownership::owned, row.size);
    watched = {.fd = on.ends[0]};
    const auto run = [&](auto& step) { return done_on_ends(step, buffer, on); };
    EXPECT_EQ(played(row.script, run), row.log) << row.script;
  }
}

TEST(Fdbuf, ClosesWhatItOwns) {
  for (const auto ownership : {fd_ownership::borrowed, fd_ownership::owned}) {
    const bool is_owned = ownership == fd_ownership::owned;
    const descriptors full("/dev/full"), file("file", "abc");
    nalo::fdbuf(full.ends[0], ownership).sputc('x');
    EXPECT_EQ(::fcntl(full.ends[0], F_GETFD) == -1, is_owned);
    // Another process may share the position of what is owned.
    nalo::fdbuf reader(file.ends[0], ownership);
    reader.sbumpc();
    nalo::fdbuf(std::move(reader));
    EXPECT_EQ(::fcntl(file.ends[0], F_GETFD) == -1, is_owned);
    EXPECT_EQ(::lseek(file.ends[1], 0, SEEK_CUR), is_owned ? 3 : 1);
  }
  EXPECT_THROW(nalo::fdbuf(9999, fd_ownership::owned).close(), fd_output_error);
  nalo::fdbuf own(memory_file("text").path.c_str(), in);
  nalo::fdbuf& same = own;
  own = std::move(same);
  EXPECT_EQ(own.sbumpc(), 't');
  const int opened = own.fd();
  own.close();
  EXPECT_EQ(::fcntl(opened, F_GETFD), -1);
}

TEST(Fdbuf, OpensFilesInEveryMode) {
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
      {in | trunc, "cannot open \"PATH\": Invalid argument"},
  };
  for (const auto& row : rows) {
    const memory_file file("abcd");
    std::string result;
    try {
      nalo::fdbuf buffer(file.path.c_str(), row.mode);
      EXPECT_NE(::fcntl(buffer.fd(), F_GETFD) & FD_CLOEXEC, 0);
      put(buffer, "xy");
      buffer.close();
      result = content(file.fd);
    } catch (const nalo::fd_error& error) {
      result = error.what();
      const auto at = result.find(file.path);
      if (at != result.npos) result.replace(at, file.path.size(), "PATH");
    }
    EXPECT_EQ(result, row.result) << row.mode;
  }
}

TEST(Fdbuf, ReportsFilesThatCannotBeUsed) {
  nalo::fdbuf status("/proc/self/status");
  status.sgetc();
  EXPECT_EQ(status.pubseekoff(LONG_MIN, ios_base::cur), -1);
  EXPECT_EQ(raised_by([] { nalo::fdbuf buffer("/none", in | ate); }),
            "cannot open \"/none\": No such file or directory");
  EXPECT_EQ(raised_by([] { nalo::fdbuf("/", in).sgetc(); }),
            "cannot read: Is a directory");
  const char* const no_path = nullptr;
  EXPECT_THROW(nalo::fdbuf("/", out), fd_output_error);
  EXPECT_THROW(nalo::fdbuf buffer(no_path), nalo::fd_input_error);
  nalo::fdbuf unreadable(::open("/proc/self/exe", O_PATH));
  EXPECT_EQ(unreadable.in_avail(), 0) << "a file without a position";
  const nalo::fd_error error("file", 7, "fails", EPIPE, 3);
  EXPECT_STREQ(error.what(), "fails: Broken pipe, after 3 characters");
  EXPECT_THROW(nalo::tThrow(error), nalo::fd_error);
}

// After a pipe, which has no position, comes a file, which has one.
TEST(Fdbuf, OpensOneFileAfterAnother) {
  const descriptors pipe("pipe"), file("file", "abc");
  nalo::filebuf buffer;
  const int lowest = ::dup(pipe.ends[0]);
  ::close(lowest);
  EXPECT_EQ(::write(pipe.ends[1], "de", 2), 2);
  for (const auto& [fd, position] :
       {std::pair(pipe.ends[0], -1), std::pair(file.ends[0], 1)}) {
    const auto path = "/proc/self/fd/" + std::to_string(fd);
    EXPECT_EQ(buffer.open(path, in | ate) != nullptr, position != -1);
    buffer.close();
    EXPECT_EQ(buffer.open(path, in), &buffer);
    buffer.sbumpc();
    buffer.pubsync();
    EXPECT_EQ(::lseek(buffer.fd(), 0, SEEK_CUR), position);
    EXPECT_EQ(buffer.fd(), lowest) << "a descriptor is still open";
    buffer.close();
    EXPECT_EQ(buffer.open(path, app), &buffer);
    EXPECT_EQ(buffer.pubseekoff(0, ios_base::cur), position == -1 ? -1 : 3);
    buffer.close();
  }
}

// The locale and the size move too; output that cannot be written stays.
TEST(Fdbuf, MovesWithAllThatItHolds) {
  const descriptors sockets("sockets", "abc"), full("/dev/full"),
      file("file", "abc");
  nalo::fdbuf from(sockets.ends[0], fd_ownership::borrowed, 8);
  from.pubimbue(nalo::locale().without_<nalo::ctype<char>>());
  nalo::fdbuf to(std::move(from)), pending(full.ends[0]);
  EXPECT_TRUE(nalo::has_facet<nalo::ctype<char>>(from.getloc()));
  EXPECT_FALSE(nalo::has_facet<nalo::ctype<char>>(to.getloc()));
  put(pending, "z");
  EXPECT_THROW(pending = std::move(to), fd_output_error);
  EXPECT_TRUE(pending.is_open() && to.is_open());
  swap(to, pending);
  EXPECT_THROW(to.pubsync(), fd_output_error);
  put(pending, "12345678");
  EXPECT_EQ(content(sockets.ends[1]), "12345678") << "the size was not moved";

  // The areas move with what they hold.
  const descriptors both("sockets", "abc");
  auto gone = std::make_unique<nalo::fdbuf>(both.ends[0]);
  EXPECT_EQ(played("<1 >x", [&](auto& step) { return done(step, *gone); }),
            "a 1");
  nalo::fdbuf stays;
  stays.swap(*gone);
  gone.reset();
  EXPECT_EQ(content(both.ends[1]), "");
  EXPECT_EQ(played("<1 !", [&](auto& step) { return done(step, stays); }),
            "b 0");
  EXPECT_EQ(content(both.ends[1]), "x");

  // A buffer over sockets, which have no position, takes over a file.
  for (const int position : {-1, 0}) {
    pending.sgetc();
    pending.pubsync();
    EXPECT_EQ(::lseek(pending.fd(), 0, SEEK_CUR), position);
    pending = nalo::fdbuf(file.ends[0]);
  }
}

// Cancellation must not unwind from a destructor that writes, nor between
// forgetting a descriptor and closing it. Opening may unwind.
TEST(Fdbuf, ClosesAndOpensInACancelledThread) {
  if (!with_libstdcxx) GTEST_SKIP() << "libc++ ends a cancelled program";
  const descriptors file("file");
  int is_off = 1, next = -1;
  std::thread([&] {
    {
      nalo::fdbuf buffer(file.ends[0]);
      buffer.sputc('x');
      nalo::fdbuf closed(::dup(file.ends[0]), fd_ownership::owned);
      const int fd = closed.fd();
      ::pthread_cancel(::pthread_self());
      closed.close();
      nalo::fdbuf direct(file.ends[0], fd_ownership::borrowed, 0);
      nalo::syncbuf(&direct).sputc('y');
      next = ::dup(file.ends[0]);  // gets the number that has become free
      EXPECT_EQ(next, fd);
    }
    ::pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &is_off);
    try {  // makes the address sanitizer forget the frames that will be unwound
      throw 0;
    } catch (int) {
    }
    const nalo::fdbuf opened("/dev/null");
    is_off = -1;
  }).join();
  EXPECT_EQ(is_off, PTHREAD_CANCEL_ENABLE);
  EXPECT_EQ(content(file.ends[1]), "yx");
  EXPECT_EQ(::close(next), 0) << "closed twice";
}

}  // namespace
