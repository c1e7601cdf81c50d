// Buffers over memory, strings, files in memory and standard buffers.
#include <nalo/buffers/map>
#include <nalo/buffers/span>
#include <nalo/buffers/std>
#include <nalo/testing>

#include "steps.h"

namespace {

using namespace nalo_test;
using nalo::testing::check_input, nalo::testing::check_output;
using nalo::testing::sample_text, nalo::testing::violations;
using nalo_test::trunc;  // not the one of <cmath>

template <class Char>
using over_std =
    std::conditional_t<sizeof(Char) == 1, nalo::stdbuf, nalo::wstdbuf>;
template <class Char>
using over_nalo =
    std::conditional_t<sizeof(Char) == 1, nalo::nalobuf, nalo::wnalobuf>;

// A buffer of nalo over a standard one, which is over one of nalo again.
template <class Char>
struct sandwich : over_std<Char> {
  explicit sandwich(std::basic_string_view<Char> text = {})
      : over_std<Char>(&middle), inside(nalo::basic_string<Char>(text)) {}
  auto view() const { return inside.view(); }

  nalo::basic_stringbuf<Char> inside;
  over_nalo<Char> middle{&inside};
};

TEST_SUITE_OF_CHARACTERS(Buffers);

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

// The results of writes, reads, and seeks in the input, the output and both.
std::string played_on(auto& buffer) {
  const auto run = [&](auto& step) {
    return step == "view" ? shown(buffer.view()) : done(step, buffer);
  };
  return played(">xy view <9 >z ? =1in =7in @ =1out =7out @out =1 =7 @both",
                run);
}

TYPED_TEST(Buffers, DoWhatTheirModeSays) {
  const struct {
    ios_base::openmode mode;
    const char* log;
  } rows[] = {
      {in, "0 abcd abcd 0 0 1 -1 1 -1 -1 -1 1 -1 1"},
      {out, "2 xy  1 -1 -1 -1 -1 1 -1 1 1 -1 1"},
      {in | out, "2 xycd xycd 1 0 1 -1 1 1 -1 1 1 -1 -1"},
      {out | ate | trunc, "2 xy  1 -1 -1 -1 -1 1 -1 1 1 -1 1"},
      {in | app | trunc, "2 xy xy 1 1 1 -1 1 -1 -1 3 -1 -1 -1"},
  };
  const auto text = widened<TypeParam>("abcd");
  for (const auto& row : rows) {
    auto array = text;
    nalo::basic_spanbuf<TypeParam> span(array, row.mode);
    EXPECT_EQ(played_on(span), row.log) << row.mode;
    const bool is_both = row.mode != in && (row.mode & in) != 0;
    EXPECT_EQ(span.sputbackc('q') == 'q', is_both) << row.mode;
  }
  // The wide character that equals eof cannot be put back.
  auto array = text;
  nalo::basic_spanbuf<TypeParam> span(array);
  span.sbumpc();
  span.sputbackc(static_cast<TypeParam>(-1));
  EXPECT_EQ(span.sgetc(), sizeof(TypeParam) > 1 ? 'b' : 0xFF);
  sandwich<TypeParam> adapters(text);
  EXPECT_EQ(played_on(adapters), rows[2].log);
  adapters.pubseekpos(3, out);
  EXPECT_EQ(adapters.sbumpc(), 'y');
  // A string keeps its text.
  const nalo::basic_string<TypeParam> string(text);
  nalo::basic_stringbuf<TypeParam> at_end(string, out | ate | trunc);
  EXPECT_EQ(played_on(at_end), "2 abcdxy  1 -1 -1 -1 -1 1 7 7 1 7 7");
  nalo::basic_stringbuf<TypeParam> appends(string, in | app | trunc);
  EXPECT_EQ(played_on(appends), "2 abcdxy abcdxy 1 1 1 7 7 -1 7 7 -1 7 -1");
}

TYPED_TEST(Buffers, CopyStringsOnlyWhenNeeded) {
  using string = nalo::basic_string<TypeParam>;
  using stringbuf = nalo::basic_stringbuf<TypeParam>;
  const TypeParam literal[] = {'b', 0};
  const string text(1000, 'a');
  const stringbuf reader(text, in);
  EXPECT_EQ(reader.str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(text, in).str().c_str(), text.c_str());
  EXPECT_EQ(stringbuf(string::c_str(literal), in).view().data(), literal);

  // A shared text is copied before it is written.
  stringbuf writer(text);
  put(writer, "xyz");
  writer.str(string::c_str(literal));
  EXPECT_EQ(shown<TypeParam>(writer.str()), "b");
  put(writer, "xy");
  EXPECT_TRUE(text[0] == 'a' && literal[0] == 'b');

  string own(1000, 'c');
  own.reserve(2000);
  const TypeParam* const chunk = own.c_str();
  stringbuf owner(std::move(own));
  put(owner, "x");
  const string result = std::move(owner).str();
  EXPECT_TRUE(result.c_str() == chunk && result.size() == 1000);
  EXPECT_EQ(string(result).c_str(), chunk) << "the chunk cannot be shared";
  put(owner, "y");
  EXPECT_EQ(owner.view().size(), 1u) << "the buffer is not empty";
}

TYPED_TEST(Buffers, KeepTheirTextWhenMemoryIsRefused) {
  failing_source source;
  nalo::allocator memory(source);
  using string = nalo::basic_string<TypeParam>;
  nalo::basic_stringbuf<TypeParam> buffer{string(memory)};
  source.refuse_after(1);
  const auto write = [&] {
    for (;;) buffer.sputc('x');
  };
  EXPECT_THROW(write(), nalo::allocation_error);
  // A shared text would be copied.
  const string text(1000, 'y', memory);
  source.refuse_after(0);
  EXPECT_THROW(buffer.str({text, memory}), nalo::allocation_error);
  EXPECT_EQ(taken(buffer, 1000), std::basic_string<TypeParam>(
                                     sizeof(TypeParam) == 1 ? 59 : 14, 'x'));
}

TYPED_TEST(Buffers, ShareTextsAndPositionsWithTheStandardLibrary) {
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

  // Positions are passed on and returned with their state.
  struct : nalo::basic_streambuf<TypeParam> {
    nalo::streampos seekpos(nalo::streampos to, ios_base::openmode) override {
      return to;
    }
  } own;
  over_nalo<TypeParam> over(&own);
  std::streampos place(5);
  place.state({3, {}});
  EXPECT_EQ(over.pubseekpos(place).state().__count, 3);
  enum { three = 3 };
  EXPECT_EQ(nalo::streampos(7) + 1 - nalo::streampos(5), three);
  static_assert(std::is_same_v<decltype(nalo::streampos() + three),
                               decltype(nalo::streampos() - three)>);
  EXPECT_EQ(nalo::streampos(), 0);
  EXPECT_EQ(over.below_buffer_(), &own);
}

TEST(Mapbuf, ReadsAFileInMemory) {
  const std::string text = sample_text<char>(300);
  const memory_file file(text);
  EXPECT_EQ(nalo::mapbuf(memory_file().fd).sgetc(), EOF);
  nalo::mapbuf one(::dup(file.fd)), two(file.fd);
  one.sbumpc();
  EXPECT_EQ(one.sputbackc('\1'), EOF) << "it cannot be written";
  EXPECT_EQ(one.sputc('x'), EOF);
  two = std::move(one);
  EXPECT_EQ(taken(two, 999), text.substr(1));
  EXPECT_EQ(two.view(), text);
  EXPECT_EQ(one.view(), "");
  swap(one, two);
  EXPECT_EQ(one.view(), text);
  char* const page = const_cast<char*>(one.view().data());
  unsigned char in_core;
  EXPECT_EQ(::mincore(page, 1, &in_core), 0);
  one = std::move(two);
  EXPECT_EQ(::mincore(page, 1, &in_core), -1) << "it is still mapped";
}

TEST(Mapbuf, ReportsWhatItCannotMap) {
  const auto expect = [](auto what, const char* error) {
    EXPECT_EQ(raised_by([=] { nalo::mapbuf buffer(what); }), error);
  };
  expect("/", "cannot map \"/\": No such device");
  expect("/none", "cannot open \"/none\": No such file or directory");
  expect("/proc/self/status",
         "cannot map \"/proc/self/status\": No such device");
  const char* const no_path = nullptr;
  expect(no_path, "cannot open \"\": No such file or directory");
  expect(-1, "cannot map a descriptor: Bad file descriptor");
  const memory_file file("text");
  const int write_only = ::open(file.path.c_str(), O_WRONLY);
  expect(write_only, "cannot map a descriptor: Permission denied");
  ::close(write_only);
}

}  // namespace
