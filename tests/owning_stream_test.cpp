// Streams that own their buffers, over strings, arrays and files.
#include <nalo/fstream>
#include <nalo/spanstream>

#include <filesystem>

#include "common.h"

namespace {

using namespace nalo_test;

TEST_SUITE_OF_CHARACTERS(OwningStreams);

// The sum of the numbers that streams begin with.
int sum(auto&&... streams) {
  int sum = 0, number = 0;
  ((streams >> number, sum += std::exchange(number, 0)), ...);
  return sum;
}

// State, flags, width, a word, gcount(), and the text to be read or written.
template <class Stream>
std::string status(Stream& stream) {
  using Char = typename Stream::char_type;
  std::ostringstream all;
  all << long{stream.rdstate()} << ' ' << long{stream.flags()} << ' '
      << stream.width() << ' ' << stream.iword(20) << ' ';
  if constexpr (requires { stream.gcount(); }) {
    all << stream.gcount() << ' ' << shown<Char>(taken(*stream.rdbuf(), 1000));
  } else if constexpr (requires { stream.rdbuf()->view(); }) {
    all << shown<Char>(stream.rdbuf()->view());
  }
  return all.str();
}

// Uses a stream, moves and swaps it in each way, and returns its status.
template <class Stream>
std::string moved_about(Stream stream) {
  if constexpr (requires { stream.ignore(); }) stream.ignore();
  if constexpr (requires { stream.put('x'); }) stream.put('x');
  stream.setf(ios_base::hex, ios_base::basefield);
  stream.width(3);
  stream.iword(20) = 7;
  stream.setstate(eof);

  Stream second(std::move(stream));
  swap(stream, second);
  const std::string moved_from = status(second);
  EXPECT_TRUE(moved_from.starts_with("0 4098 0 0 ")) << moved_from;
  EXPECT_LT(moved_from.size(), 14u) << "there is text: " << moved_from;
  std::vector<Stream> streams;
  streams.push_back(std::move(stream));
  streams.push_back(std::move(second));
  streams[1] = std::move(streams[0]);
  Stream& same = streams[1];
  streams[1] = std::move(same);
  return status(streams[1]);
}

TYPED_TEST(OwningStreams, MoveWithStateAndText) {
  using namespace nalo;
  using Char = TypeParam;
  for (const std::string rest : {"cd", "cd, too long a text to be in place"}) {
    const auto text = widened<Char>("a" + rest);
    auto array = text;
    const std::string read = "2 4104 3 7 1 ", wrote = "2 4104 3 7 ";
    EXPECT_EQ(moved_about(basic_istringstream<Char>(text)), read + rest);
    EXPECT_EQ(moved_about(basic_stringstream<Char>(text)), read + rest);
    EXPECT_EQ(moved_about(basic_ostringstream<Char>(text)), wrote + 'x' + rest);
    EXPECT_EQ(moved_about(basic_ispanstream<Char>(array)), read + rest);
    EXPECT_EQ(moved_about(basic_spanstream<Char>(array)), read + rest);
    EXPECT_EQ(moved_about(basic_ospanstream<Char>(array)), wrote + 'x');
    const memory_file file("a" + rest);
    EXPECT_EQ(moved_about(basic_ifstream<Char>(file.path)), read + rest);
    EXPECT_EQ(moved_about(basic_fstream<Char>(file.path)), read + (&rest[1]));
    EXPECT_EQ(content(file.fd), "ax" + rest.substr(1));
    EXPECT_EQ(moved_about(basic_ofstream<Char>(file.path)), wrote);
    EXPECT_EQ(content(file.fd), "x");
  }
}

// Moves and swaps buffers of texts.
template <class Char>
void move_and_swap(auto make) {
  std::basic_string<Char> texts[] = {widened<Char>("one"), widened<Char>("two"),
                                     widened<Char>("three")};
  auto one = make(texts[0]), two = make(texts[1]);
  one.sbumpc();
  auto* const same = &(two = std::move(one));
  EXPECT_EQ(shown<Char>(taken(*same, 9)), "ne");
  one = make(texts[2]);
  swap(one, two);
  two.swap(*same);
  EXPECT_EQ(shown<Char>(taken(two, 9)), "three");
  EXPECT_EQ(taken(one, 9).size(), 0u);
  // Each is destroyed before what it held is used.
  auto from = std::make_unique<decltype(one)>(make(texts[0]));
  decltype(one) moved(std::move(*from));
  EXPECT_EQ(taken(*from, 9).size(), 0u);
  from = std::make_unique<decltype(one)>(make(texts[1]));
  EXPECT_EQ(shown<Char>(taken(moved, 9)), "one");
  moved.swap(*from);
  from.reset();
  EXPECT_EQ(shown<Char>(taken(moved, 9)), "two");
}

TYPED_TEST(OwningStreams, HaveBuffersThatMoveAndSwapByThemselves) {
  using namespace nalo;
  using Char = TypeParam;
  move_and_swap<Char>([](auto& text) { return basic_stringbuf<Char>(text); });
  move_and_swap<Char>([](auto& text) { return basic_spanbuf<Char>(text); });
  move_and_swap<Char>([](auto& text) { return basic_viewbuf<Char>(text); });
  auto text = widened<Char>("abc");
  basic_stringbuf<Char> given(text), read_only(text, ios_base::in);
  EXPECT_EQ(put(read_only, "x"), 0);
  EXPECT_EQ(read_only.sputc('x'), char_traits<Char>::eof());
  EXPECT_EQ(std::move(given).str(), text);
  EXPECT_TRUE(given.view().empty());
  EXPECT_EQ(basic_spanbuf<Char>(text, ios_base::in).span().size(), 3u);
  basic_spanbuf<Char> later;
  EXPECT_TRUE(later.span().empty());
  later.span(text);
  EXPECT_TRUE(put(later, "a") == 1 && later.span().size() == 1);
  EXPECT_EQ(put(*basic_ostringstream<Char>(text, ate).rdbuf(), "x"), 1);
  basic_spanbuf<Char> reader(text, ios_base::in), writer(text, ios_base::out);
  basic_ispanstream<Char> reads(text);
  basic_ospanstream<Char> writes(text);
  reads.span(std::span<const Char>(text).subspan(1));
  writes.span(std::span(text).subspan(2));
  writes.put('z');
  EXPECT_EQ(reads.get(), 'b');
  EXPECT_EQ(reads.get(), 'z');
  swap(reader, writer);
  EXPECT_TRUE(put(reader, "x") == 1 && put(writer, "x") == 0);
  EXPECT_TRUE(taken(reader, 1).empty() && taken(writer, 1).size() == 1);
}

// The allocators of the strings move too; a buffer set by rdbuf() stays.
TYPED_TEST(OwningStreams, SwapWithoutMemoryAndWithoutSetBuffers) {
  using ostream = nalo::basic_ostringstream<TypeParam>;
  failing_source source;
  nalo::allocator memory(source);
  nalo::basic_stringbuf<TypeParam> elsewhere;
  ostream one(nalo::basic_string<TypeParam>(100, 'a', memory)), other;
  nalo::basic_ios<TypeParam>&base = one, &other_base = other;
  base.rdbuf(&elsewhere);
  other_base.rdbuf(nullptr);
  source.refuse_after(0);
  swap(one, other);
  source.refuse_after(failing_source::never);
  EXPECT_EQ(other.rdbuf()->str().get_allocator(), memory);
  EXPECT_EQ(other.view().size(), 100u);
  EXPECT_TRUE(one.bad() && other.bad());  // the state, and no buffer
  one.clear();
  one.put('x');
  EXPECT_EQ(elsewhere.view().size(), 1u);
}

TYPED_TEST(OwningStreams, AcceptTextsOfEachType) {
  using Char = TypeParam;
  using istream = nalo::basic_istringstream<Char>;
  using ispanstream = nalo::basic_ispanstream<Char>;
  const auto text = widened<Char>("12 x");
  const std::basic_string_view<Char> view = text;
  const nalo::basic_string<Char> own(text);
  EXPECT_EQ(sum(istream(text), istream(view, ios_base::binary), istream(own),
                istream(text.c_str()), istream(own + view), ispanstream(text),
                ispanstream(view), ispanstream(own)),
            8 * 12);
  istream one, two, three, four;
  one.str(text), two.str(view), three.str(text.c_str()), four.str(own);
  EXPECT_EQ(sum(one, two, three, four), 4 * 12);
  EXPECT_THROW(istream(own, in, fail).ignore(9).get(), ios_base::failure);
}

TEST(FileStreams, AcceptPathsOfEachType) {
  using nalo::ifstream;
  const memory_file file("1");
  const std::string longer = file.path + "0";
  const nalo::string own(file.path.c_str());
  const auto lent = nalo::string::c_str(longer.c_str(), file.path.size());
  EXPECT_EQ(sum(ifstream(file.path), ifstream(file.path.c_str()),
                ifstream(std::filesystem::path(file.path)), ifstream(own),
                ifstream(own + ""), ifstream(lent)),
            6);
}

// The result of work on a file with "abcd", with or without failbit in the
// mask: raised or not, state, open or not, content and registered error.
std::string outcome(void (*work)(nalo::fstream&), bool raises = false) {
  const dump_counter dumps;
  const memory_file file("abcd");
  const auto earlier = nalo::exception::last_on_thread().count;
  nalo::fstream stream(file.path);
  std::string all;
  try {
    if (raises) stream.exceptions(fail);
    work(stream);
  } catch (const ios_base::failure&) {
    all = "raised ";
  }
  stream.flush();
  const auto error = nalo::exception::last_on_thread();
  all += nalo::state_names(stream.rdstate());
  all += (stream.is_open() ? " open " : " ") + content(file.fd);
  if (error.count != earlier) all += std::string(", ") + error.message;
  return dumps.count() == 0 ? all : all + " dumped";
}

TEST(FileStreams, OpenAndClose) {
  using io = nalo::fstream&;
  EXPECT_EQ(outcome([](io s) { s.close(); }, true), "goodbit abcd");
  EXPECT_EQ(outcome([](io s) { s.close(), s.get(); }), "eofbit|failbit abcd");
  EXPECT_EQ(outcome([](io s) { s.close(), s << 1; }), "badbit abcd");
  EXPECT_EQ(outcome([](io s) { s.close(), s.close(); }),
            "failbit abcd, cannot close: Bad file descriptor");
  // A failure is raised as it is; success clears the state.
  const std::string none =
      "failbit abcd, cannot open \"/none\": No such file or directory";
  const auto open_none = [](io s) { s.close(), s.open("/none"); };
  EXPECT_EQ(outcome(open_none), none);
  EXPECT_EQ(outcome(open_none, true), "raised " + none);
  EXPECT_EQ(outcome([](io s) { s.open("/"); }),
            "failbit open abcd, cannot open \"/\": Device or resource busy");
  EXPECT_EQ(outcome([](io s) { s.close(), s.get(), s.open("/", in); }),
            "goodbit open abcd");
  EXPECT_THROW(nalo::ifstream("/none", in, fail), nalo::fd_input_error);
  // What cannot be written is dropped, and the file is closed.
  EXPECT_EQ(
      outcome([](io s) { s.close(), s.open("/dev/full"), s << 1, s.close(); }),
      "failbit abcd, cannot write: No space left on device");
}

// A filebuf by itself reports errors by its results.
TYPED_TEST(OwningStreams, HaveFileBuffersThatWorkByThemselves) {
  const memory_file file("abcd");
  nalo::basic_filebuf<TypeParam> buffer;
  EXPECT_TRUE(!buffer.close() && !buffer.open("/none", in));
  EXPECT_EQ(buffer.open(file.path, in | out | ate), &buffer);
  EXPECT_EQ(buffer.open(file.path, in), nullptr);
  EXPECT_EQ(put(buffer, "ef"), 2);
  nalo::basic_filebuf<TypeParam> other;
  other = std::move(buffer);
  swap(other, buffer);
  EXPECT_TRUE(buffer.is_open() && !other.is_open());
  EXPECT_EQ(buffer.close(), &buffer);
  EXPECT_EQ(content(file.fd), "abcdef");
  EXPECT_EQ(buffer.open(file.path, in), &buffer);
  buffer.sbumpc();
  buffer.close();
  EXPECT_EQ(taken(buffer, 100000).size(), 0u);
  EXPECT_EQ(put(buffer, std::string(100000, 'x')), 0);
  nalo::basic_ifstream<TypeParam> stream(file.path);
  stream.get();
  stream.close();
  EXPECT_EQ(stream.peek() + 1, 0u) << "a character of a closed file";
  stream.close();
  EXPECT_TRUE(stream.fail());
}

}  // namespace
