// When the console streams write their output.
#include <nalo/iostream>

#include <pty.h>

#include "common.h"

namespace {

// What a child process writes, which ends without running exit handlers.
std::string written(bool to_terminal, void (*work)()) {
  const nalo_test::memory_file file;
  int ours = file.fd, theirs = file.fd;
  if (to_terminal) {
    EXPECT_EQ(::openpty(&ours, &theirs, nullptr, nullptr, nullptr), 0);
  }
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    for (const int fd : {1, 2}) ::dup2(theirs, fd);
    work();
    ::_exit(0);
  }
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  if (to_terminal) ::close(theirs);
  return nalo_test::content(ours);
}

struct opened : nalo::streambuf {
  using basic_streambuf::overflow;
};

TEST(ConsoleStreams, WriteAtOnceOrWhenTheyAreFlushed) {
  using nalo::cerr, nalo::cin, nalo::clog, nalo::cout, nalo::wcerr, nalo::wcout;
  const struct {
    void (*work)();
    const char *in_file, *on_terminal;
  } rows[] = {
      {[] { cout << "a" << '\n'
                 << "b\n"
                 << 'c'; }, "", "a\r\nb\r\n"},
      {[] { cout << "a" << nalo::flush << 'b'; }, "a", "a"},
      {[] { cout.put('a').put('\n').put('b'); }, "", "a\r\n"},
      {[] { cerr.put('a'), clog.put('b').put('\n').put('c'); }, "ab\n",
       "ab\r\n"},
      {[] { cout << "a", cin.get(); }, "a", "a"},
      {[] { cout << "a", cerr << "b" << 1, cout << "c"; }, "ab1", "ab1"},
      {[] { clog << "a\n", clog << "b"; }, "a\n", "a\r\n"},
      {[] { clog << "a", cerr << "b"; }, "ab", "ab"},
      {[] { clog << "a", (clog.rdbuf()->*&opened::overflow)(-1); }, "a", "a"},
      {[] { cout << "a", wcout << L"\u00E4", cout << "b", wcerr << L'c'; },
       "aäbc", "aäbc"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(written(false, row.work), row.in_file);
    EXPECT_EQ(written(true, row.work), row.on_terminal);
  }
}

// Each write() to such a pipe is one packet.
TEST(ConsoleStreams, WriteEachLineAtOnce) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_DIRECT), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(ends[1], 2);
    nalo::clog.put('a').put('b') << "cd";
    nalo::clog.put('e').put('\n') << "fg\nh";
    ::_exit(0);
  }
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  for (const std::string_view packet : {"abcde\n", "fg\nh"}) {
    char text[9] = {};
    EXPECT_EQ(::read(ends[0], text, 9), std::ssize(packet));
    EXPECT_EQ(text, packet);
  }
}

}  // namespace
