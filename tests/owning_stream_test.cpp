// The streams that own their buffers: over strings, arrays and files.
#include <nalo/fstream>
#include <nalo/spanstream>
#include <nalo/sstream>

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "dump_counter.h"
#include "failing_source.h"
#include "text.h"

namespace {

using nalo::ios_base;
using nalo_test::failing_source, nalo_test::shown, nalo_test::widened;

constexpr auto in = ios_base::in, out = ios_base::out, ate = ios_base::ate;
constexpr auto failbit = ios_base::failbit;

// A new file, for as long as this lives.
struct temporary_file {
  explicit temporary_file(std::string_view text = {}) {
    EXPECT_EQ(::write(fd, text.data(), text.size()), ssize_t(text.size()));
  }
  ~temporary_file() { ::close(fd); }
  std::string text() const {
    std::string text(1000, '\0');
    const auto n = ::pread(fd, text.data(), text.size(), 0);
    return text.substr(0, n < 0 ? 0 : static_cast<std::size_t>(n));
  }

  int fd = ::memfd_create("test", 0);
  std::string path = "/proc/self/fd/" + std::to_string(fd);
};

template <class Char>
class OwningStreams : public testing::Test {};
using Chars = testing::Types<char, wchar_t>;
TYPED_TEST_SUITE(OwningStreams, Chars);

// State, flags, width, a word and gcount(), then what is left to read, or what
// was written.
template <class Stream>
std::string told(Stream& stream) {
  using Char = typename Stream::char_type;
  using view = std::basic_string_view<Char>;
  std::string all;
  for (const long value : {long{stream.rdstate()}, long{stream.flags()},
                           stream.width(), stream.iword(20)}) {
    all += std::to_string(value) + ' ';
  }
  if constexpr (requires { stream.gcount(); }) {
    all += std::to_string(stream.gcount()) + ' ';
    all += shown<Char>(nalo_test::taken(*stream.rdbuf(), 1000));
  } else if constexpr (requires { stream.view(); }) {
    all += shown<Char>(stream.view());
  } else if constexpr (requires { stream.span(); }) {
    all += shown<Char>(view(stream.span().data(), stream.span().size()));
  }
  return all;
}

// Uses a stream, moves and swaps it in each way, and returns what it tells.
template <class Stream>
std::string moved_about(Stream stream) {
  if constexpr (requires { stream.ignore(); }) stream.ignore();
  if constexpr (requires { stream.put('x'); }) stream.put('x');
  stream.setf(ios_base::hex, ios_base::basefield);
  stream.width(3);
  stream.iword(20) = 7;
  stream.setstate(ios_base::eofbit);

  Stream second(std::move(stream));
  swap(stream, second);
  const bool has_gcount = requires { stream.gcount(); };
  EXPECT_EQ(told(second), has_gcount ? "0 4098 0 0 0 " : "0 4098 0 0 ");
  std::vector<Stream> streams;
  streams.push_back(std::move(stream));
  streams.push_back(std::move(second));
  streams[1] = std::move(streams[0]);
  Stream& same = streams[1];
  streams[1] = std::move(same);
  return told(streams[1]);
}

TYPED_TEST(OwningStreams, MoveWithAllThatTheyHave) {
  using Char = TypeParam;
  for (const char* const tail :
       {"cd", "cd, too long a text to stand in place"}) {
    const std::string rest = tail, written = "x" + rest;
    const auto text = widened<Char>("a" + rest);
    auto array = text;
    EXPECT_EQ(moved_about(nalo::basic_istringstream<Char>(text)),
              "2 4104 3 7 1 " + rest);
    EXPECT_EQ(moved_about(nalo::basic_stringstream<Char>(text)),
              "2 4104 3 7 1 " + rest);
    EXPECT_EQ(moved_about(nalo::basic_ostringstream<Char>(text)),
              "2 4104 3 7 x" + rest);
    EXPECT_EQ(moved_about(nalo::basic_ispanstream<Char>(array)),
              "2 4104 3 7 1 " + rest);
    EXPECT_EQ(moved_about(nalo::basic_spanstream<Char>(array)),
              "2 4104 3 7 1 " + rest);
    EXPECT_EQ(moved_about(nalo::basic_ospanstream<Char>(array)),
              "2 4104 3 7 x");
    const temporary_file file("a" + rest);
    EXPECT_EQ(moved_about(nalo::basic_ifstream<Char>(file.path)),
              "2 4104 3 7 1 " + rest);
    EXPECT_EQ(moved_about(nalo::basic_fstream<Char>(file.path)),
              "2 4104 3 7 1 " + rest.substr(1));
    EXPECT_EQ(file.text(), "ax" + rest.substr(1));
    EXPECT_EQ(moved_about(nalo::basic_ofstream<Char>(file.path)),
              "2 4104 3 7 ");
    EXPECT_EQ(file.text(), "x");
  }
}

// Moving takes no memory, whatever the allocators of the strings.
TYPED_TEST(OwningStreams, KeepTheAllocatorsOfTheirStrings) {
  failing_source source;
  nalo::allocator memory(source);
  using stream = nalo::basic_ostringstream<TypeParam>;
  stream one(nalo::basic_string<TypeParam>(100, 'a', memory)), other;
  source.refuse_after(0);
  swap(one, other);
  one = std::move(other);
  source.refuse_after(failing_source::never);
  EXPECT_EQ(one.view().size(), 100u);
  EXPECT_EQ(one.rdbuf()->str().get_allocator(), memory);
}

TYPED_TEST(OwningStreams, KeepABufferThatWasSet) {
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  using ostream = nalo::basic_ostringstream<TypeParam>;
  stringbuf elsewhere;
  ostream one, other;
  nalo::basic_ios<TypeParam>&base = one, &other_base = other;
  base.rdbuf(&elsewhere);
  other_base.rdbuf(nullptr);
  swap(one, other);
  one.put('x');
  EXPECT_TRUE(other.bad());  // it still has none
  EXPECT_EQ(elsewhere.view().size() + one.view().size(), 0u);
  one.clear();
  one.put('x');
  EXPECT_EQ(elsewhere.view().size(), 1u);
  EXPECT_NE(one.rdbuf(), base.rdbuf());
}

TYPED_TEST(OwningStreams, TakeTextOfEachKind) {
  using Char = TypeParam;
  using istream = nalo::basic_istringstream<Char>;
  using string = nalo::basic_string<Char>;
  const auto text = widened<Char>("12 x");
  const std::basic_string_view<Char> view = text;
  const Char* const literal = text.c_str();
  const string own(text);
  const auto check = [](auto&& stream) {
    int number = 0;
    EXPECT_TRUE(stream >> number);
    EXPECT_EQ(number, 12);
  };
  check(istream(text));
  check(istream(view, ios_base::binary));
  check(istream(literal));
  check(istream(own));
  check(istream(own + literal));
  check(nalo::basic_stringstream<Char>(text));
  check(nalo::basic_ispanstream<Char>(text));
  check(nalo::basic_ispanstream<Char>(view));
  check(nalo::basic_ispanstream<Char>(own));
  istream stream;
  stream.str(text);
  check(stream);
  stream.str(view);
  check(stream);
  stream.str(literal);
  check(stream);
  stream.str(own);
  check(stream);

  string moved(1000, 'x');
  const Char* const chunk = std::as_const(moved).c_str();
  nalo::basic_ostringstream<Char> writer(std::move(moved), ate);
  EXPECT_EQ(std::move(writer).str().c_str(), chunk);
  writer << 1;
  EXPECT_EQ(writer.view().size(), 1u) << "as at the end of an empty text";
  EXPECT_THROW(istream(own, in, failbit).ignore(9).get(), ios_base::failure);
}

TEST(FileStreams, TakePathsOfEachKind) {
  const temporary_file file("12");
  const nalo::string own(file.path.c_str());
  const auto check = [](auto&& path) {
    int number = 0;
    EXPECT_TRUE(nalo::ifstream(path) >> number);
    nalo::fstream stream;
    stream.open(path, in);
    EXPECT_TRUE(stream.is_open());
  };
  check(file.path.c_str());
  check(file.path);
  check(std::filesystem::path(file.path));
  check(own);
  const std::string longer = file.path + "0";
  check(nalo::string::c_str(longer.c_str(), file.path.size()));
  int number = 0;
  EXPECT_TRUE(nalo::ifstream(own + "") >> number);
}

// What comes of some work on a stream over a file that holds "abcd": what was
// raised, the state, whether a file is open, the text of the file, and the
// error that was registered last.
template <class Stream>
std::string outcome(void (*work)(Stream&), ios_base::iostate mask) {
  const nalo_test::dump_counter dumps;
  const temporary_file file("abcd");
  const auto earlier = nalo::exception::last_on_thread().count;
  Stream stream(file.path);
  std::string raised;
  try {
    stream.exceptions(mask);
    work(stream);
  } catch (const ios_base::failure&) {
    raised = "raised ";
  }
  stream.flush();
  const auto error = nalo::exception::last_on_thread();
  return raised + nalo::state_names(stream.rdstate()) +
         (stream.is_open() ? " open " : " ") + file.text() +
         (error.count == earlier ? "" : std::string(" ") + error.message) +
         (dumps.count() == 0 ? "" : " dumped");
}

TEST(FileStreams, OpenAndClose) {
  using nalo::fstream, nalo::ofstream;
  const struct {
    void (*work)(fstream&);
    ios_base::iostate mask;
    const char* outcome;
  } rows[] = {
      // Reading and writing share a position.
      {[](fstream& s) { s << "xy" << static_cast<char>(s.get()); },
       {},
       "goodbit open xycc"},
      {[](fstream& s) { s.seekp(1) << 'x', s.seekg(0), s.put('y'); },
       {},
       "goodbit open yxcd"},
      // Without a file.
      {[](fstream& s) { s.close(); }, failbit, "goodbit abcd"},
      {[](fstream& s) { s.close(), s.get(); }, {}, "eofbit|failbit abcd"},
      {[](fstream& s) { s.close(), s << 1; }, {}, "badbit abcd"},
      {[](fstream& s) { s.close(), s.close(); },
       {},
       "failbit abcd cannot close: Bad file descriptor"},
      // A failure is raised as it is; success clears the state.
      {[](fstream& s) { s.close(), s.open("/none/x"); },
       {},
       "failbit abcd cannot open \"/none/x\": No such file or directory"},
      {[](fstream& s) { s.close(), s.open("/none/x"); }, failbit,
       "raised failbit abcd cannot open \"/none/x\": No such file or "
       "directory"},
      {[](fstream& s) { s.open("/"); }, ios_base::badbit,
       "failbit open abcd cannot open \"/\": Device or resource busy"},
      {[](fstream& s) { s.close(), s.get(), s.open("/", in); },
       {},
       "goodbit open abcd"},
      // What cannot be written is dropped, and the file is closed.
      {[](fstream& s) { s.close(), s.open("/dev/full"), s << 1, s.close(); },
       {},
       "failbit abcd cannot write: No space left on device"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(outcome(row.work, row.mask), row.outcome);
  }
  EXPECT_EQ(outcome<ofstream>([](ofstream& s) { s << 'x'; }, {}),
            "goodbit open x");
  EXPECT_THROW(nalo::ifstream("/none", in, failbit), nalo::fd_input_error);
}

// A filebuf by itself reports in its results.
TEST(FileStreams, OwnABufferThatWorksAlone) {
  const temporary_file file("abcd");
  nalo::filebuf buffer;
  EXPECT_EQ(buffer.close(), nullptr);
  EXPECT_EQ(buffer.open("/none", in), nullptr);
  EXPECT_EQ(buffer.open(file.path, in | out | ate), &buffer);
  EXPECT_EQ(buffer.open(file.path, in), nullptr);
  nalo_test::put(buffer, "ef");
  nalo::filebuf other(std::move(buffer));
  EXPECT_FALSE(buffer.is_open());
  buffer = std::move(other);
  EXPECT_EQ(buffer.close(), &buffer);
  EXPECT_EQ(file.text(), "abcdef");
  char array[100000];
  EXPECT_EQ(buffer.sgetn(array, 100000) + buffer.sputn(array, 100000), 0);
}

}  // namespace
