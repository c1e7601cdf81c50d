// A program for the pretty printers. When it has stopped in stop(), each
// "(gdb)" line is run and must print the lines below it.
#include <nalo/fstream>
#include <nalo/istream>

namespace {

struct two_areas : nalo::streambuf {
  two_areas() {
    setg(in, in + 2, in + 5);
    setp(out, out + 8);
  }
  char in[5] = {'a', 'b', '\n', 'd', 'e'};
  char out[8] = {};
};

[[gnu::noinline]] void stop() { asm volatile(""); }

}  // namespace

int main() {
  nalo::wstring text(L"a \"quoted\" line\n");
  // (gdb) print text
  // L"a \"quoted\" line\n" (heap, 16 of 16, 1 user)
  nalo::string shared(50, 'x'), copy(shared);
  // (gdb) set print elements 3
  // (gdb) print shared
  // "xxx"... (heap, 50 of 50, 2 users)
  nalo::string exposed(41, 'y');
  exposed[0] = 'z';
  // (gdb) print exposed
  // "zyy"... (heap, 41 of 41, 1 user, handed out for writing)
  // (gdb) set print elements 200
  auto read_only = nalo::string::c_str("somebody else's");
  // (gdb) print read_only
  // "somebody else's" (read-only, 15)
  nalo::string broken("broken");
  *reinterpret_cast<std::size_t*>(reinterpret_cast<char*>(&broken) + 48) = 99;
  // (gdb) print broken
  // <no string: 99 characters in room for 39>

  two_areas buffer;
  nalo::ostream out(&buffer);
  out.fill('*');
  out << nalo::hex << nalo::left << 255;
  out.width(7);
  // (gdb) print out
  // {state = goodbit, mask = goodbit, flags = hex|left|skipws, width = 7,
  // precision = 6, fill = 42 '*', tie = none, buffer = {get area = 2 taken, 3
  // to read: "\nde", put area = 2 written, 6 free: "ff"}}
  nalo::wiostream none(nullptr);
  none.exceptions(nalo::ios_base::eofbit);
  // (gdb) print none
  // {state = badbit, mask = eofbit, flags = dec|skipws, width = 0, precision =
  // 6, tie = none, buffer = none, gcount = 0}
  nalo::ofstream file("/dev/null");
  file << "text";
  // (gdb) print file
  // {state = goodbit, mask = goodbit, flags = dec|skipws, width = 0, precision
  // = 6, tie = none, buffer = {fd = N, get area = none, put area = 4 written,
  // 65532 free: "text"}}
  stop();

  *reinterpret_cast<std::size_t*>(reinterpret_cast<char*>(&broken) + 48) = 6;
}
