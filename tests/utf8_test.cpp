// Wide characters over buffers of UTF-8.
#include <nalo/buffers/fd>
#include <nalo/buffers/span>
#include <nalo/buffers/string>
#include <nalo/buffers/utf8>
#include <nalo/testing>

#include "steps.h"

namespace {

using namespace nalo_test;
using nalo::encoding_errors, nalo::utf8buf;
using std::string_view_literals::operator""sv;

// Over a buffer of bytes with get and put areas of the given sizes.
struct over_script : utf8buf {
  explicit over_script(std::string_view text, std::vector<size_t> areas,
                       encoding_errors errors = encoding_errors::raise)
      : utf8buf(&below, errors), below({std::string(text), areas, areas}) {}
  scripted_streambuf<char> below;
};

// The characters that a buffer delivers, and the error that ends them.
std::string read_from(nalo::wstreambuf& buffer) {
  std::wstring text;
  try {
    for (auto ch = buffer.sbumpc(); ch + 1 != 0; ch = buffer.sbumpc()) {
      text += static_cast<wchar_t>(ch);
    }
    return shown<wchar_t>(text);
  } catch (const nalo::encoding_error& error) {
    const auto end = " byte " + std::to_string(error.position());
    EXPECT_TRUE(std::string(error.what()).ends_with(end)) << error.what();
    return shown<wchar_t>(text) + error.what();
  }
}

// The well-formed sequences, as the Unicode standard lists them.
struct range {
  unsigned low = 0, high = 0;
};
constexpr range any = {0x80, 0xBF};
const std::vector<std::vector<range>> well_formed = {
    {{0, 0x7F}},
    {{0xC2, 0xDF}, any},
    {{0xE0, 0xE0}, {0xA0, 0xBF}, any},
    {{0xE1, 0xEC}, any, any},
    {{0xED, 0xED}, {0x80, 0x9F}, any},
    {{0xEE, 0xEF}, any, any},
    {{0xF0, 0xF0}, {0x90, 0xBF}, any, any},
    {{0xF1, 0xF3}, any, any, any},
    {{0xF4, 0xF4}, {0x80, 0x8F}, any, any},
};

// The characters of a text. With `error`, stops at the first invalid bytes and
// stores the message about them.
std::wstring decoded(std::string_view text, std::string* error = nullptr) {
  std::wstring result;
  for (size_t at = 0; at < text.size();) {
    size_t longest = 1, value = 0xFFFD;
    for (const auto& row : well_formed) {
      size_t n = 0, bits = 0;
      for (; n < row.size() && at + n < text.size(); ++n) {
        const unsigned byte = static_cast<unsigned char>(text[at + n]);
        if (byte < row[n].low || byte > row[n].high) break;
        bits = bits << 6 | (n > 0 ? byte & 0x3F : byte);
      }
      longest = std::max(longest, n);
      // The mark of the length is in the upper bits of the first byte.
      if (n == row.size())
        value = bits & ((1ul << (n == 1 ? 7 : 5 * n + 1)) - 1);
    }
    if (value == 0xFFFD && error) {
      *error = "not UTF-8 at byte " + std::to_string(at);
      return result;
    }
    result += static_cast<wchar_t>(value);
    at += longest;
  }
  return result;
}

TEST(Utf8buf, DecodesEverySequenceAcrossEdgesOfAreas) {
  const std::string_view first =
      "A\x7F\x80\x8F\x90\x9F\xA0\xBF\xC0\xC1\xC2\xE0\xE1\xED\xEF\xF0\xF3\xF4"
      "\xF5";
  std::vector<std::string> texts = {"12345678"};  // decoded as a block
  for (const std::string_view bytes :
       {first, first, "\x7F\x80\xC0"sv, "\x7F\xBF\xC0"sv}) {
    for (size_t n = texts.size(); n > 0; --n) {
      for (const char byte : bytes) texts.push_back(texts[n - 1] + byte);
    }
  }
  const std::vector<size_t> edges[] = {{99}, {1}, {2, 0, 3}};
  for (const std::string& text : texts) {
    const auto all = shown<wchar_t>(decoded(text));
    std::string error;
    const auto some = shown<wchar_t>(decoded(text, &error)) + error;
    for (const std::vector<size_t>& sizes : edges) {
      over_script replaces(text, sizes, encoding_errors::replace);
      over_script raises(text, sizes);
      ASSERT_EQ(read_from(replaces), all) << shown<char>(text);
      ASSERT_EQ(read_from(raises), some) << shown<char>(text);
    }
  }
}

TEST(Utf8buf, EncodesEveryCharacter) {
  for (const size_t area : {0u, 1u, 3u, 4000u}) {
    const wchar_t step = area == 4000 ? 1 : 101;
    std::wstring all;
    for (wchar_t ch = 0; ch < 0x110000; ch += step) {
      if (ch < 0xD800 || ch > 0xDFFF) all += ch;
    }
    const auto size = std::ssize(all);
    over_script writer("", {area});
    EXPECT_EQ(writer.sputn(all.data(), size), size);
    for (const wchar_t ch : all.substr(0, 1000)) writer.sputc(ch);
    over_script reader(writer.below.output(), {area});
    std::wstring again(all.size() + 1001, L'\0');
    again.resize(static_cast<size_t>(reader.sgetn(again.data(), size + 1001)));
    EXPECT_TRUE(again == all + all.substr(0, 1000)) << area;
  }
}

TEST(Utf8buf, RaisesForCharactersThatUtf8CannotEncode) {
  for (const unsigned value : {0xD800u, 0xDFFFu, 0x110000u, 0xFFFFFFFFu}) {
    const wchar_t text[] = {L'\xE9', static_cast<wchar_t>(value), L'b'};
    for (const size_t area : {0u, 99u}) {
      over_script raises("", {area}),
          replaces("", {area}, encoding_errors::replace);
      EXPECT_EQ(raised_by([&] { raises.sputn(text, 3); }),
                "no UTF-8 for the wide character at byte 2");
      EXPECT_EQ(raises.below.output(), "\xC3\xA9");
      EXPECT_EQ(replaces.sputn(text, 3), 3);
      EXPECT_EQ(replaces.below.output(), "\xC3\xA9\xEF\xBF\xBD\x62");
      EXPECT_EQ(replaces.sputc(static_cast<wchar_t>(-1)) + 1, 0u);
    }
  }
}

TEST(Utf8buf, ContinuesAfterInvalidBytes) {
  nalo::stringbuf text(nalo::string("ab\xFF\x63"));
  utf8buf buffer(&text);
  text.sbumpc();  // positions count from the beginning of the text
  EXPECT_EQ(read_from(buffer), "bnot UTF-8 at byte 2");
  EXPECT_EQ(read_from(buffer), "c");
}

TEST(Utf8buf, KeepsTheContract) {
  using namespace nalo::testing;
  const auto text = sample_text<wchar_t>(300);
  over_script encoder("", {99});
  encoder.sputn(text.data(), 300);
  for (const size_t area : {0u, 1u, 7u, 999u}) {
    const auto over = [area](const std::string& bytes) {
      return [=] {
        return std::make_unique<over_script>(bytes, std::vector{area});
      };
    };
    const auto written = [](over_script& buffer) {
      return decoded(buffer.below.output());
    };
    EXPECT_EQ(check_input<wchar_t>(over(encoder.below.output()), text),
              violations());
    EXPECT_EQ(check_output<wchar_t>(over(""), written), violations());
  }
}

std::string played_on(utf8buf& buffer, const std::string& script) {
  return played(script, [&](auto& step) { return done(step, buffer); });
}

TEST(Utf8buf, UsesThePositionsOfTheBytes) {
  const std::string text = "a\xC3\xA9\xFF\xE2\x82\xAC\xF0\x9F\x98\x80z";
  const struct {
    const char *script, *in_file;
    const char* in_string = nullptr;  // where that differs
  } rows[] = {
      {"@ <1 @ <1 @ <1 @ <1 @ <1 @ <1 @",
       R"(0 a 1 \xE9 3 \xFFFD 4 \x20AC 7 \x1F600 11 z 12)"},
      {"<4 @ - - @ <4 =3 <1 - @",
       R"(a\xE9\xFFFD\x20AC 7 8364 65533 3 \xFFFD\x20AC\x1F600z )"
       R"(3 \xFFFD 65533 3)"},
      {"<2 ! <1 @", R"(a\xE9 0 \xFFFD 4)"},
      {"<1 =4in <1 @ <9 ?", R"(a 4 \x20AC 7 \x1F600z -1)",
       R"(a 4 \x20AC 7 \x1F600z 0)"},
      // Reading and writing share a position in a file, but not in a string.
      {"<1 >x @ @out <2", R"(a 1 2 2 \xFFFD\xFFFD)", R"(a 1 1 1 \xE9\xFFFD)"},
      {"<1 =4out <1", R"(a 4 \x20AC)", R"(a 4 \xE9)"},
      {">x =4in <1 >y =7in <1", R"(1 4 \x20AC 1 7 y)",
       R"(1 4 \x20AC 1 7 \x1F600)"},
      {"<1 @out >x @ <2", R"(a 1 1 2 \xFFFD\xFFFD)", R"(a 0 1 1 \xE9\xFFFD)"},
  };
  for (const auto& row : rows) {
    nalo::owning_utf8buf<nalo::fdbuf> file(encoding_errors::replace,
                                           ::dup(memory_file(text).fd),
                                           nalo::fd_ownership::owned);
    nalo::stringbuf bytes{nalo::string(text)};
    utf8buf string(&bytes, encoding_errors::replace);
    EXPECT_EQ(played_on(file, row.script), row.in_file) << row.script;
    EXPECT_EQ(played_on(string, row.script),
              row.in_string ? row.in_string : row.in_file)
        << row.script;
    EXPECT_EQ(file.pubseekoff(1, ios_base::cur), -1);
    EXPECT_EQ(file.pubseekoff(-1, ios_base::end), -1);
    EXPECT_EQ(file.pubseekoff(0, ios_base::end), 12);
    EXPECT_EQ(file.pubseekoff(4, ios_base::beg), 4);
  }
}

TEST(Utf8buf, IsMovedAndSwappedInTheMiddleOfACharacter) {
  using over_file = nalo::owning_utf8buf<nalo::fdbuf>;
  over_file one(encoding_errors::raise, ::dup(memory_file("ab\xC3\xA9").fd),
                nalo::fd_ownership::owned, 3u);
  EXPECT_EQ(played_on(one, "<1"), "a");
  over_file two(std::move(one)), none(encoding_errors::raise);
  EXPECT_EQ(one.bytes()->fd(), -1);
  EXPECT_EQ(played_on(two, "@ <1 @"), "1 b 2");
  swap(two, none);
  EXPECT_THROW(two.sgetc(), nalo::fd_input_error) << "reads other bytes";
  EXPECT_EQ(played_on(none, "<1 - @"), "\\xE9 233 2");
  one = std::move(none);
  EXPECT_EQ(played_on(one, "<1 @"), "\\xE9 4");
}

TEST(Utf8buf, IsMovedAndSwappedWithoutItsBytes) {
  nalo::stringbuf first(nalo::string("ab")), second(nalo::string("cd"));
  utf8buf one(&first), two(&first);
  one = utf8buf(&second);
  one.sgetc();
  two.sputc('x');
  EXPECT_EQ(second.in_avail(), 0);
  swap(one, two);
  EXPECT_TRUE(one.bytes() == &first && two.bytes() == &second);
  two.sputc('y');
  EXPECT_EQ(second.in_avail(), 2) << "undelivered input was not given back";
  EXPECT_EQ(read_from(one) + read_from(two), "xbyd");
}

TEST(Utf8buf, ForgetsTheBeginningOfACharacterWhenItMoves) {
  for (const char* script : {"=0in", "!"}) {
    over_script buffer("\xC3\xA9z", {1});
    buffer.below.play_.seekable = true;
    EXPECT_EQ(raised_by([&] { buffer.sgetc(); }, 2, fault::library), "library");
    EXPECT_EQ(played_on(buffer, script), "0");
    EXPECT_EQ(read_from(buffer), "\\xE9z") << script;
  }
}

TEST(Utf8buf, CompletesACharacterThatWasWrittenInPart) {
  constexpr auto none = nalo::wstreambuf::traits_type::eof();
  for (const bool as_block : {true, false}) {
    over_script buffer("", {1});
    buffer.below.play_.accepts = 2;
    buffer.below.play_.seekable = true;
    EXPECT_EQ(buffer.sputn(L"a\u20AC", 2), 2);
    EXPECT_EQ(buffer.sputn(L"bc", 2), 0);
    EXPECT_EQ(buffer.sputc(L'b'), none);
    EXPECT_EQ(buffer.pubsync(), -1);
    EXPECT_EQ(buffer.pubseekoff(0, ios_base::cur), -1);
    EXPECT_EQ(buffer.pubseekpos(0), -1);
    EXPECT_EQ(buffer.below.output(), "a\xE2");
    buffer.below.play_.accepts = 5;
    EXPECT_EQ(as_block ? buffer.sputn(L"bc", 2) : buffer.sputc(L'b'),
              as_block ? 1 : 'b');
    EXPECT_EQ(buffer.sputc(L'c'), none);
    EXPECT_EQ(buffer.below.output(), "a\xE2\x82\xAC\x62");
  }
  over_script buffer("z", {9});
  buffer.below.play_.accepts = 1;
  EXPECT_EQ(buffer.sputn(L"\u20AC", 1), 1);
  buffer.below.play_.accepts = 9;
  EXPECT_EQ(buffer.sgetc(), 'z');
  EXPECT_EQ(buffer.below.output(), "\xE2\x82\xAC") << "read before written";
}

TEST(Utf8buf, ContinuesACharacterWhoseOtherBytesComeLater) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_NONBLOCK), 0);
  nalo::owning_utf8buf<nalo::fdbuf> pipe(encoding_errors::raise, ends[0],
                                         nalo::fd_ownership::owned);
  EXPECT_EQ(pipe.in_avail(), 0);
  EXPECT_EQ(::write(ends[1], "\xC3", 1), 1);
  EXPECT_EQ(pipe.in_avail(), 0);
  EXPECT_EQ(::write(ends[1], "\xA9\x62\xE2\x82", 4), 4);
  EXPECT_EQ(played_on(pipe, "<2"), "\\xE9\x62");
  for (int i = 0; i < 2; ++i) {
    EXPECT_THROW(pipe.sgetc(), nalo::fd_input_error);
    EXPECT_EQ(pipe.in_avail(), 0);
  }
  auto moved = std::move(pipe);
  EXPECT_EQ(::write(ends[1], "\xACz", 2), 2);
  EXPECT_EQ(moved.sbumpc(), 0x20AC);
  EXPECT_EQ(moved.in_avail(), 1);
  EXPECT_EQ(played_on(moved, "<1"), "z");
  EXPECT_EQ(::write(ends[1], "\xE2", 1), 1);
  EXPECT_THROW(moved.sgetc(), nalo::fd_input_error);
  EXPECT_EQ(::write(ends[1], "y", 1), 1);
  EXPECT_EQ(moved.in_avail(), 0) << "a character has begun";
  EXPECT_EQ(read_from(moved), "not UTF-8 at byte 7");
  ::close(ends[1]);
  EXPECT_EQ(played_on(moved, "<2 ?"), "y 0");
}

// What a buffer without positions has counted, it moves too.
TEST(Utf8buf, CountsBytesForTheMessagesOfErrors) {
  scripted_streambuf<char> below({"ab\xFFz", {9}, {1}});
  utf8buf one(&below, encoding_errors::raise);
  utf8buf two(nullptr, encoding_errors::replace);
  EXPECT_EQ(one.sputn(L"\xE9", 1) + one.sputn(L"b\xE9", 2), 3);
  EXPECT_EQ(one.sputc(L'c'), 'c');
  EXPECT_EQ(played_on(one, "<1"), "a");
  below.play_.accepts = 7;
  EXPECT_EQ(one.sputn(L"\u20AC", 1), 1);
  swap(one, two);
  EXPECT_EQ(read_from(two), "bnot UTF-8 at byte 2");
  below.play_.accepts = 99;
  EXPECT_EQ(raised_by([&] { two.sputn(L"\xD800", 1); }),
            "no UTF-8 for the wide character at byte 9");
}

}  // namespace
