// The console streams: when they write what they are given.
#include <nalo/iostream>

#include <pty.h>

#include "common.h"

namespace {

// What a child process has written to a device that is its output and error,
// when it ends without a normal exit.
std::string written(bool to_terminal, void (*work)()) {
  int ours, theirs, ends[2];
  if (to_terminal) {
    EXPECT_EQ(::openpty(&ours, &theirs, nullptr, nullptr, nullptr), 0);
  } else {
    EXPECT_EQ(::pipe(ends), 0);
    ours = ends[0];
    theirs = ends[1];
  }
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    for (const int fd : {1, 2}) ::dup2(theirs, fd);
    work();
    ::_exit(0);
  }
  ::close(theirs);
  std::string text;
  char block[4096];
  for (ssize_t n; (n = ::read(ours, block, sizeof block)) > 0;) {
    text.append(block, static_cast<std::size_t>(n));
  }
  ::close(ours);
  EXPECT_EQ(::waitpid(child, nullptr, 0), child);
  return text;
}

TEST(ConsoleStreams, WriteWhenItIsTime) {
  using nalo::cerr, nalo::cin, nalo::clog, nalo::cout, nalo::wcerr, nalo::wcout;
  const struct {
    void (*work)();
    const char* through_pipe;
    const char* on_terminal;
  } rows[] = {
      {[] { cout << "a" << '\n'
                 << "b\n"
                 << 'c'; }, "", "a\r\nb\r\n"},
      {[] { cout << "a" << nalo::flush << 'b'; }, "a", "a"},
      {[] { cout << "a", cin.get(); }, "a", "a"},
      {[] { cout << "a", cerr << "b" << 1, cout << "c"; }, "ab1", "ab1"},
      {[] { clog << "a\n", clog << "b"; }, "a\n", "a\r\n"},
      {[] { clog << "a", cerr << "b"; }, "ab", "ab"},
      {[] { cout << "a", wcout << L"\u00E4", cout << "b", wcerr << L'c'; },
       "aäbc", "aäbc"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(written(false, row.work), row.through_pipe);
    EXPECT_EQ(written(true, row.work), row.on_terminal);
  }
}

}  // namespace
